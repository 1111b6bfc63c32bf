// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QList>
#include <QObject>
#include <QPointer>

class QAction;
class QMenu;

/*!
    \class TQAlternatesMenu
    \brief Groups of alternate menu items, of which the modifier keys held pick the one shown,
    live while the menu is open.

    A group is a primary action followed by its alternates: the same row of the menu, each
    variant with its own modifier mask (modifierMask()). While the menu is open exactly one
    variant of every group is visible: the alternate whose mask adds to the primary's mask
    exactly the modifiers held beyond it (the primary's mask Ctrl, an alternate's Ctrl+Alt:
    holding Alt, with or without Ctrl, shows it), else the primary. When nothing matches and
    Shift is held, the match is tried again without Shift, so a keyboard that needs Shift for
    digits still reaches the digit variants.

    The menu builder only declares the groups (addGroup()); this object watches the menu:
    - when it opens, the variants follow QGuiApplication::queryKeyboardModifiers();
    - pressing and releasing Ctrl, Alt, Meta or Shift switches the variants without reopening
      the menu; those key events are consumed, so a style that closes menus on a lone Alt
      does not;
    - the highlighted row stays highlighted on the variant that replaces it;
    - the menu keeps the width of its widest variant, so it does not jump;
    - a key that is the shortcut key of a group (Ctrl+1: the key 1) triggers, while the menu is
      open, the variant for the modifiers held, with Shift ignored when no variant asks for it,
      and closes the open menus, as a click would.

    While the menu is closed every variant is visible, so that the shortcuts of all variants
    work from a window the host added them to (Qt disables the shortcut of a hidden action).

    \par Desktops that keep a modifier
    Where the desktop grabs a modifier for itself (Meta, the "Super" key, on many Wayland
    sessions), the menu never hears it: the variants that need it (the alias items of the drop
    menu, Ctrl+Meta) cannot be shown or reached by keys there. A host offers them another way,
    for instance by adding groups()' variants to a menu of their own.

    \par Ownership and threads
    The object is a child of its menu (forMenu() makes it on first use) and holds the actions
    weakly. GUI thread only.

    \ingroup menus
*/
class TQKIT_EXPORT TQAlternatesMenu : public QObject
{
    Q_OBJECT
public:
    //! The alternates object of \a menu, made (as the menu's child) on first use.
    static TQAlternatesMenu *forMenu(QMenu *menu);
    //! The alternates object of \a menu, or nullptr when it has none.
    static TQAlternatesMenu *existingForMenu(const QMenu *menu);

    //! Declares \a variants (actions of the menu) as one group, the primary first.
    void addGroup(const QList<QAction *> &variants);
    //! The groups, in the order they were declared; actions destroyed since are left out.
    QList<QList<QAction *>> groups() const;

    //! The modifiers held as this object last saw them (while the menu is open).
    Qt::KeyboardModifiers heldModifiers() const;
    //! The variant of \a group that \a held shows (the rule above); nullptr for an empty group.
    static QAction *variantForModifiers(const QList<QAction *> &group, Qt::KeyboardModifiers held);

    //! The modifier mask of a variant (Cocoa's keyEquivalentModifierMask): Ctrl by default.
    static void setModifierMask(QAction *action, Qt::KeyboardModifiers mask);
    //! The modifier mask setModifierMask() gave \a action, else Ctrl.
    static Qt::KeyboardModifiers modifierMask(const QAction *action);
    //! Marks \a action as an alternate (a variant that is not the primary of its group).
    static void setAlternate(QAction *action, bool alternate);
    //! True when setAlternate() marked \a action as an alternate.
    static bool isAlternate(const QAction *action);

protected:
    //! Watches the menu's showing and its modifier and shortcut keys (see above).
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit TQAlternatesMenu(QMenu *menu);
    void menuAboutToShow();
    void showVariants(Qt::KeyboardModifiers held);
    void showEveryVariant();
    bool triggerForKey(int key, Qt::KeyboardModifiers held);

    QMenu *m_menu;
    QList<QList<QPointer<QAction>>> m_groups;
    Qt::KeyboardModifiers m_held;
    int m_hostMinimumWidth = 0;
    bool m_open = false;
};
