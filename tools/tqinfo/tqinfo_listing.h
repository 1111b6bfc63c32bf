// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"

#include <QString>
#include <QStringList>

// Where tqinfo's items come from: the paths named on the command line, or a folder's entries.
namespace TQInfo {

//! An item for a path, or the reason there is none.
struct Lookup
{
    UWStandardFileRef item;
    QString error; //!< the system's text for why the path is not there; empty on success
};

// Paths are the file system's bytes, as the command line gave them: a name need not be UTF-8.

//! The item for \a path; a path counts as there when lstat finds it, so a dangling link is.
Lookup lookUp(const QByteArray &path);

//! A folder's entries, and the reason when it could not be read (in full).
struct Listing
{
    QList<QByteArray> paths; //!< \a folder joined with each entry's name, in name order
    QString error;           //!< empty when the whole folder was read
};

/*!
    The entries of \a folder, hidden ones included, without "." and "..", sorted by name in
    the order people expect ("file2" before "file10", case aside); names that are not UTF-8
    sort as they are shown, with U+FFFD for what does not decode.
*/
Listing listFolder(const QByteArray &folder);

} // namespace TQInfo
