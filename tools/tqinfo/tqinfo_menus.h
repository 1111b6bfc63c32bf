// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QCommandLineOption>
#include <QCoreApplication>
#include <QList>
#include <QString>

#include <memory>

// --open-with: the Open With menu as a host shows it, for checking from a shell.
namespace TQInfo {

//! The option "--open-with", with its line for --help.
QCommandLineOption openWithOption();

/*!
    The program's application object: a QCoreApplication, also for --open-with, whose menu is
    a description computed without widgets (TQMenuDescriptions).
*/
std::unique_ptr<QCoreApplication> makeApplication(int &argc, char **argv);

/*!
    Prints the Open With menu for \a paths (the file system's bytes; the first decides the
    applications), one line per item: the title as shown, the shortcut, the action name and
    the path of the item's application, separated by tabs; a separator is the line "-".

    Returns the exit status: 0, or 1 when the first path cannot be found (on stderr); or 2
    with \a usageError set when no file is named.
*/
int printOpenWithMenu(const QList<QByteArray> &paths, QString *usageError);

} // namespace TQInfo
