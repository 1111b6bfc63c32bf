// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQFile.h"
#include "tqkit_export.h"

#include <QKeySequence>
#include <QList>
#include <QString>

/*!
    \struct TQMenuItemDescription
    \brief One row of a menu, as data: what a widgets host turns into a QAction, a QML host
    into a MenuItem, and a command-line tool prints.

    A plain value; \c representedObject is shared with whoever else holds the item.

    \ingroup files
*/
struct TQKIT_EXPORT TQMenuItemDescription
{
    //! A separator line; every other field is empty.
    bool isSeparator = false;
    //! The title as it is shown: an "&" is an ampersand, never a mnemonic mark.
    QString title;
    //! A themed icon name or the absolute path of an icon file; empty when the entry names none.
    QString iconName;
    //! The desktop file ID of the application the row stands for; empty for other rows.
    QString applicationId;
    //! The object the row stands for (an application's desktop entry); null for other rows.
    TQFileRef representedObject;
    //! The row is the default choice, shown in bold.
    bool isDefault = false;
    //! The shortcut, in the library's modifier mapping (Command = Ctrl, Option = Alt); empty for none.
    QKeySequence keyEquivalent;
    //! The responder-chain action the row sends ("openWithMenuAction:"); empty for none.
    QString actionName;
};

/*!
    \struct TQMenuDescription
    \brief A menu's title and rows, without widgets.

    A plain value; it shares the rows' represented objects with whoever else holds them.

    \ingroup files
*/
struct TQKIT_EXPORT TQMenuDescription
{
    QString title;                      //!< the menu's title ("Open With")
    QList<TQMenuItemDescription> items; //!< the rows, top to bottom
};

/*!
    \namespace TQMenuDescriptions
    \brief The content of the library's file menus, computed without QtWidgets.

    TQMenuUtilities (the widgets library) builds its QMenus from these descriptions; a host
    without widgets builds its own menus from them, and tqinfo prints them.

    \par Threads and cost
    GUI thread only (file items' icons and names belong to it). The Open With description
    asks GIO for the applications of the first file's type and reads their desktop entries;
    GIO scans the applications folders on the first look-up of the process.

    \ingroup files
*/
namespace TQMenuDescriptions {

/*!
    Choices beyond the plain Open With menu, all off by default. A plain value.

    \ingroup files
*/
struct TQKIT_EXPORT OpenWithOptions
{
    //! Marks the default application of the first file's type (isDefault, shown in bold).
    bool markDefaultApplication = false;
    /*!
        Leaves the host's own desktop entry out of the system section: the entry whose file
        name is QGuiApplication::desktopFileName() (with ".desktop" added when missing).
    */
    bool excludeHostApplication = false;
};

/*!
    The Open With menu for \a files, titled "Open With":
    1. one row per include item (applications the user put on the menu), its display name,
       the first with the shortcut Ctrl+Alt+O; a separator after them;
    2. the applications GIO names for the first file's type, in GIO's order (the default is
       not moved; a default that only a [Default Applications] group names comes last), each
       standing for a file item of its desktop entry; an application that is an include item
       (the same object) is not repeated, nor is a placeholder; a separator after them when
       there is one;
    3. "Edit menu..." with the action "addToOpenWithMenuAction:".
    Application rows send "openWithMenuAction:". Only the first file decides the
    applications; without files, or when the first has no location, there are none. An entry
    GIO names that cannot be launched or has no name is left out with one warning per entry
    and process in "tqkit.files" naming its path.
*/
TQKIT_EXPORT TQMenuDescription openWithMenuForFiles(const QList<TQFileRef> &files,
                                                    const QList<TQFileRef> &includeItems,
                                                    const OpenWithOptions &options = {});

} // namespace TQMenuDescriptions
