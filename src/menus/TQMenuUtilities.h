// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQFile.h"
#include "TQMenuDescription.h"
#include "tqkit_export.h"

#include <QList>
#include <QString>

#include <memory>

class QAction;
class QMenu;

/*!
    \namespace TQMenuUtilities
    \brief The file menus of a browser: "Open With" and "Drop Locations".

    \par Ownership
    Every menu the library builds is returned as a \c std::unique_ptr<QMenu> with no parent:
    the caller owns it. Submenus inside it are its children, and its actions belong to it.
    To nest a menu into a menu of the host, hand it over with addSubmenu(), which makes the
    host's menu its owner.

    \par Actions
    Items carry an action name and no receiver (TQResponderUtilities::setAction()): a
    triggered item reaches the first object of the responder chain with a Q_INVOKABLE method
    of that name taking the QAction, e.g.
    \code
    Q_INVOKABLE void openWithMenuAction(QAction *sender); // sender->data(): the application's TQFileRef
    \endcode
    An item's represented object (the application or folder) is its \c data(), a TQFileRef
    (read it with TQFile::itemFromValue()). Titles are the items' display names with "&"
    doubled, so Qt shows them as they are instead of making a mnemonic of them.

    \par Shortcuts
    Shortcuts follow the library's modifier mapping: Command = Ctrl, Option = Alt,
    Control = Meta. They show in the menu (setShortcutVisibleInContextMenu()). Qt fires the
    shortcut of an action only when the action is in a window: for Ctrl+Alt+O or Ctrl+1 to
    work while the menu is closed, the host adds the menu's actions to its window
    (QWidget::addActions(menu->actions())) or puts the menu in its menu bar, and builds the
    menu again when the selection changes. While the drop menu is open, it handles its digit
    keys itself (TQAlternatesMenu).

    \par Threads and cost
    GUI thread only. The Open With menu asks GIO (through TQApplications) for the applications
    of the first file's type and reads their desktop entries and icons; GIO scans the applications folders on the first
    look-up of the process, which warmUpApplications() can do ahead on another thread.

    \ingroup menus
*/
namespace TQMenuUtilities {

//! The QAction property that holds an item's tag (an int; 0 when unset).
TQKIT_EXPORT extern const char *const TagProperty;
//! The tag of \a action: 98 "New Folder", 99 "Other Location..." in the drop menu, else 0.
TQKIT_EXPORT int tag(const QAction *action);

//! Choices beyond the plain Open With menu (the description's, shared with hosts without widgets).
using OpenWithOptions = TQMenuDescriptions::OpenWithOptions;

/*!
    The Open With menu for \a files: TQMenuDescriptions::openWithMenuForFiles() (which says
    what it holds, in which order, and which broken entries it leaves out with a warning) built
    by menuFromDescription(). Application items show their file item's icon at 16×16.
*/
TQKIT_EXPORT std::unique_ptr<QMenu> openWithMenuForFiles(const QList<TQFileRef> &files,
                                                         const QList<TQFileRef> &includeItems,
                                                         const OpenWithOptions &options = {});

/*!
    A QMenu of \a description: its title, and per row an item with the title shown as it is
    ("&" doubled), the action name (TQResponderUtilities::setAction()), the shortcut (shown in
    the menu), the represented object as data() with its icon at 16×16 (or else the row's icon
    name: an absolute path or a theme name), bold when it is the default; a separator row is a
    separator.
*/
TQKIT_EXPORT std::unique_ptr<QMenu> menuFromDescription(const TQMenuDescription &description);

/*!
    Choices beyond the plain drop menu, all off by default. A plain value.

    \ingroup menus
*/
struct TQKIT_EXPORT DropMenuOptions
{
    /*!
        Folders the host moved or copied to lately, newest first: shown after the numbered
        folders under the header "Recent Destinations", three variants each as a numbered
        folder has, without shortcuts. Empty: no section.
    */
    QList<TQFileRef> recentDestinations;
};

/*!
    The Drop Locations menu for \a folders. Every row is a group of three variants, of which
    the modifiers held pick the one shown (TQAlternatesMenu): move (mask Ctrl, action
    "moveToMenuAction:"), copy (Ctrl+Alt, "copyToMenuAction:"), alias (Ctrl+Meta,
    "aliasToMenuAction:"); alternates are marked (TQAlternatesMenu::isAlternate()).
    1. headers "Move to:", "Copy to:", "Alias in:", disabled, in the menu font at 11 points;
    2. per folder its display name and icon (one 16×16 icon shared by the three variants),
       the shortcuts Ctrl+1 to Ctrl+9, then Ctrl+0, for the first ten folders (with Alt or
       Meta added for the copy and alias variants); from the eleventh on no shortcut, and
       all three variants send "moveToMenuAction:"; a separator after the folders;
    3. "New Folder" (tag 98) and "Other Location..." (tag 99), three variants each, no data;
    4. a separator and "Edit menu..." ("addToMoveToMenuAction:").
    A folder without a name or icon still gets its items.
*/
TQKIT_EXPORT std::unique_ptr<QMenu> dropMenuWithFolders(const QList<TQFileRef> &folders,
                                                        const DropMenuOptions &options = {});

/*!
    The item in \a menu's parent menu whose submenu \a menu is (its menuAction(), once a
    menu holds it); nullptr for a menu no other menu holds.
*/
TQKIT_EXPORT QAction *itemOfMenu(const QMenu *menu);

/*!
    Hands \a submenu to \a parent: appends it as a submenu and makes \a parent its owner
    (its QObject parent). Returns the item that opens it, or nullptr (and \a submenu is
    destroyed) when \a parent is null.
*/
TQKIT_EXPORT QAction *addSubmenu(QMenu *parent, std::unique_ptr<QMenu> submenu);

/*!
    Has GIO scan the applications folders on a thread of the global pool, so that the first
    Open With menu is not the one that pays for it. Call it once, early; any thread.
*/
TQKIT_EXPORT void warmUpApplications();

} // namespace TQMenuUtilities
