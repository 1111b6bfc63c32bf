// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QIcon>
#include <QString>
#include <QStringList>

/*!
    \namespace QuillboxIcons
    \brief Icons that show wherever Quillbox runs: the desktop's theme, else an installed
    freedesktop theme, else images the program draws itself.

    A desktop session names its icon theme; the offscreen and minimal platforms, a bare X
    server or a fresh machine name none (or only "hicolor", which holds almost no action
    icons). install() then picks the first of Adwaita, breeze and oxygen found in Qt's theme
    search paths as the theme, and in every case as Qt's fallback theme, which Qt consults
    after the desktop's theme and the themes it inherits. icon() adds the last resort:
    for a name no theme has, a drawn picture (a folder, a page, an arrow, a turn, a list,
    a grid) or one of the library's own images (the trash, the alias badge, the notice).

    GUI thread only, after the QGuiApplication is made.
*/
namespace QuillboxIcons {

/// Sets Qt's icon theme (when the platform names none that is installed), fallback theme and
/// search paths. Call once at start, before the first icon is made. Answers the theme that
/// icons come from, or an empty string when no freedesktop theme is installed at all.
QString install();

/// The icon \a name (a freedesktop icon name, e.g. "go-up", "object-rotate-left") from the
/// themes, else drawn: never a null icon.
QIcon icon(const QString &name);

/// Whether icon(\a name) comes from an installed theme rather than being drawn.
bool isThemed(const QString &name);

/// The icon names Quillbox's window, menus and toolbars ask for.
QStringList names();

} // namespace QuillboxIcons
