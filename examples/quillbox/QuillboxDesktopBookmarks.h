// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/**
    A place the desktop's own file managers list in their sidebars: the path in the file
    system's bytes and the title the user gave it (empty for none).
*/
struct QuillboxDesktopBookmark
{
    QByteArray nativePath; ///< the folder or file, as bytes (need not be UTF-8)
    QString title;         ///< the user's title; empty when the desktop keeps none
    bool operator==(const QuillboxDesktopBookmark &) const = default;
};

/**
    Reads the bookmarks of GTK's file chooser and Nautilus ($XDG_CONFIG_HOME/gtk-3.0/bookmarks)
    and the places of KDE's Dolphin ($XDG_DATA_HOME/user-places.xbel), for "Import Desktop
    Bookmarks". Only local places (file: URIs) are taken; remote ones, the trash, searches and
    KDE's system items are left out.

    Both files are the user's and may hold anything: each is read only when it is a regular
    file of at most MaximumFileSize bytes, opened without blocking (a FIFO under that name
    never hangs the window), and at most MaximumEntries places are taken from it. A refused
    file gets one warning in "quillbox" naming its path and what was wrong; a missing one is
    no error. Reentrant; nothing here touches the GUI.
*/
namespace QuillboxDesktopBookmarks {

constexpr qint64 MaximumFileSize = 1024 * 1024; ///< larger files are refused whole
constexpr int MaximumEntries = 1000;            ///< places past this are left out

/** The places of a GTK bookmarks file ("URI [title]" per line). */
QList<QuillboxDesktopBookmark> readGtkBookmarks(const QString &path);
/** The places of a KDE places file (XBEL). */
QList<QuillboxDesktopBookmark> readKdePlaces(const QString &path);
/**
    Both files of the current user (GTK's first), each place once (by path, the first
    title kept): the folders QStandardPaths names for configuration and data.
*/
QList<QuillboxDesktopBookmark> readDesktopBookmarks();

} // namespace QuillboxDesktopBookmarks
