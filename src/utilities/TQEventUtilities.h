// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

/*!
    \namespace TQEventUtilities
    \brief The keyboard's modifier keys at this moment, and the double-click time.

    The modifier keys map as everywhere in the library: Command is Ctrl
    (Qt::ControlModifier), Option is Alt (Qt::AltModifier), Control is Meta
    (Qt::MetaModifier), Shift is Shift. Each query asks the window system for the state of the
    keyboard now (QGuiApplication::queryKeyboardModifiers()), not the state an event carried.
    Where the window system cannot be asked (the offscreen platform), Qt answers with the
    modifiers of the last input event it delivered.

    GUI thread only; a QGuiApplication must exist.

    \ingroup utilities
*/
namespace TQEventUtilities {

TQKIT_EXPORT bool isControlKeyDown(); //!< The Meta key (Control on a Mac keyboard).
TQKIT_EXPORT bool isOptionKeyDown();  //!< The Alt key.
TQKIT_EXPORT bool isCommandKeyDown(); //!< The Ctrl key.
TQKIT_EXPORT bool isShiftKeyDown();   //!< The Shift key.

//! The settings key a host may set to choose its own double-click time, in seconds.
TQKIT_EXPORT extern const char *const DoubleClickThresholdKey; // "com.apple.mouse.doubleClickThreshold"

/*!
    The longest time between the clicks of a double click, in seconds.

    T is the value the host stored under DoubleClickThresholdKey in its default QSettings
    (organisation and application of QCoreApplication), read as a single-precision number (a
    value that is not a number reads as 0). When the key is not set, T is the desktop's
    double-click interval, QStyleHints::mouseDoubleClickInterval() / 1000. Only a T strictly
    between 0.25 and 2 is trusted: otherwise the answer is 1.0.
*/
TQKIT_EXPORT double doubleClickDelay();

} // namespace TQEventUtilities
