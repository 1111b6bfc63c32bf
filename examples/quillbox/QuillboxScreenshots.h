// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QImage>
#include <QStringList>

#include <functional>

class QMenu;
class QWidget;
class QuillboxWindow;

/**
    Pictures of a Quillbox window, for the demo on a machine without a display and for the
    README: the list view, the thumbnail grid with the inspector, and the context menu open
    with each of its library submenus. GUI thread only.
*/
namespace QuillboxScreenshots {

/**
    Turns the event loop until \a done answers true or \a milliseconds have passed; returns
    what \a done answered last. For waiting on background work in pictures and tests.
*/
bool waitFor(const std::function<bool()> &done, int milliseconds);

/**
    One picture of \a window with the open menus \a menus drawn where they are on screen
    (each menu is a window of its own, which a grab of the main window leaves out).
*/
QImage composite(QWidget *window, const QList<QMenu *> &menus);

/**
    Shows \a window (already restored on a folder), waits for its listing, thumbnails and
    inspector, and writes into \a folder: quillbox-list.png, quillbox-grid.png,
    quillbox-menu-open-with.png and quillbox-menu-drop.png. Returns the paths written;
    \a error names what failed when fewer than four were.
*/
QStringList write(QuillboxWindow &window, const QString &folder, QString *error = nullptr);

} // namespace QuillboxScreenshots
