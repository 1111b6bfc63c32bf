// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"

#include <QString>

namespace UWFolderListing {

struct Entry
{
    QByteArray name; // the file system's bytes, which need not be UTF-8
    UWStandardFileRef file;
};

// The entries of \a folder (a path in the file system's bytes) (without "." and ".."), each made into an item with the status the
// listing read; \a error receives the reason when the folder could not be read (then the list
// is empty or holds what was read before the failure). Any thread.
QList<Entry> list(const QByteArray &folder, QString *error);

} // namespace UWFolderListing
