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
    The program's application object. Menus are widgets, which need a QApplication; when the
    arguments ask for one (--open-with) that is what is made, on the offscreen platform unless
    QT_QPA_PLATFORM names another, so that it runs without a display. Otherwise a
    QCoreApplication, as before.
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
