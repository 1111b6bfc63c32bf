// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>

// --set-label: Finder labels written from the shell.
namespace TQInfo {

//! The option "--set-label N", with its line for --help.
QCommandLineOption setLabelOption();

/*!
    Gives each of \a paths (the file system's bytes) the label the parser's \a option names,
    through the file item, so that it lands in the file's "user.xdg.tags" list as every
    other program reads it. A file that could not be labelled gets one line
    "tqinfo: PATH: reason" on stderr and the rest are still done.

    Returns the exit status: 0 when every file was labelled, 1 otherwise; or 2 with
    \a usageError set (nothing done) when the label is not 0 to 7, no file is named, or
    another option is given.
*/
int setLabels(const QCommandLineParser &parser, const QCommandLineOption &option, const QList<QByteArray> &paths,
              QString *usageError);

} // namespace TQInfo
