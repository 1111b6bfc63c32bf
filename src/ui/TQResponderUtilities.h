// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QList>
#include <QPointer>
#include <QString>

class QAction;
class QObject;
class QWidget;

/*!
    The responder chain: how a menu action "with an action and no target" finds the object
    that handles it.

    Qt connects actions to receivers explicitly; the menus the library builds cannot know the
    host's objects, so each of their actions carries only an action name (the QAction property
    `"action"`, e.g. `"openWithMenuAction:"`). When such an action is triggered, the library
    walks a chain of objects and invokes, on the first one that responds, the invokable method
    named like the action without its colon, passing the QAction:

    \code
    class BrowserWindow : public QMainWindow {
        Q_OBJECT
    public:
        Q_INVOKABLE void openWithMenuAction(QAction *sender);
    };
    \endcode

    The chain, in order (see responderChain()):
    1. the focus widget of the key window (QApplication::activeWindow()), then its parents up
       to and including that window;
    2. the key window's delegate (setWindowDelegate());
    3. when the main window is another window (the key window is a dialog or tool window whose
       parent window is the main one): the same walk through the main window and its delegate;
    4. the QApplication object, then the application's delegate (setApplicationDelegate()).

    An object "responds to" an action when its meta-object has a slot or Q_INVOKABLE method of
    that name taking one `QAction *`.

    Everything here is GUI-thread only. Delegates are held weakly (a QPointer): a destroyed
    delegate simply drops out of the chain.

    \ingroup ui
*/
namespace TQResponderUtilities {

/*! The QAction property that holds an action name (`"action"`). */
TQKIT_EXPORT extern const char *const ActionProperty;

/*! Sets the action name \a action (e.g. `"moveToMenuAction:"`) on \a menuAction and
    connects its `triggered` signal to sendAction(), so that triggering it reaches the chain. */
TQKIT_EXPORT void setAction(QAction *menuAction, const QString &action);

/*! The action name of \a menuAction, or an empty string. */
TQKIT_EXPORT QString action(const QAction *menuAction);

/*! Whether \a target has an invokable method for \a action (with or without the trailing
    colon) taking a `QAction *`. A null target responds to nothing. */
TQKIT_EXPORT bool respondsToAction(const QObject *target, const QString &action);

/*! Delivers \a menuAction's action name through the chain: invokes the method on
    TQApplicationUtilites::betterSearchForTargetForAction() with \a menuAction as its argument.
    Returns whether a target was found. A triggered action that reaches no target is logged
    at debug level in `tqkit.ui` and otherwise ignored, as a menu item nobody handles is. */
TQKIT_EXPORT bool sendAction(QAction *menuAction);

/*! The object that stands behind \a window in the chain (Cocoa's window delegate): typically
    the controller that owns the window's content. Held weakly. */
TQKIT_EXPORT void setWindowDelegate(QWidget *window, QObject *delegate);
//! The delegate setWindowDelegate() gave \a window, or null.
TQKIT_EXPORT QObject *windowDelegate(const QWidget *window);

/*! The last object of the chain, after the QApplication itself. Held weakly. */
TQKIT_EXPORT void setApplicationDelegate(QObject *delegate);
//! The delegate setApplicationDelegate() gave, or null.
TQKIT_EXPORT QObject *applicationDelegate();

/*! The key window: the active window (QApplication::activeWindow()), or null. */
TQKIT_EXPORT QWidget *keyWindow();

/*! The main window: the key window, unless it is a dialog, tool window or popup whose parent
    belongs to another window, in which case that window (a panel becomes key, never main).
    Null when the application has no active window. */
TQKIT_EXPORT QWidget *mainWindow();

/*! The first responder of \a window: its focus widget, or the window itself when nothing in
    it has focus. Null for a null window. */
TQKIT_EXPORT QWidget *firstResponder(QWidget *window);

/*! The chain as described above, each object once, in order. */
TQKIT_EXPORT QList<QPointer<QObject>> responderChain();

/*! Logs "Responder chain:" and then one line per object of the main window's own chain (its
    first responder, that widget's parents up to the window, the window's delegate: not the
    application), "\t" followed by the object's debug description, in the category
    `tqkit.ui` at info level. With no main window one line is logged for the missing responder.
    A debugging aid. */
TQKIT_EXPORT void inspectResponderChain();

} // namespace TQResponderUtilities

/*!
    The application's target search (the name is spelled so).

    \ingroup ui
*/
namespace TQApplicationUtilites {

/*! The application's own search: the first object of TQResponderUtilities::responderChain()
    that responds to \a action, or null. */
TQKIT_EXPORT QObject *targetForAction(const QString &action);

/*! The application's search, then the key window's delegate, then the main window's delegate:
    1. T = targetForAction(); 2. if T is null, T = the key window's delegate; 3. if T responds
    to the action, T; 4. else the main window's delegate if it responds; else null. */
TQKIT_EXPORT QObject *betterSearchForTargetForAction(const QString &action);

} // namespace TQApplicationUtilites
