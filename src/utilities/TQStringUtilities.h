// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQNameOrder.h"

#include <QString>

/*!
    \namespace TQStringUtilities
    \brief Free functions over a string: the browser's name order, path tests and key texts.

    Every function is reentrant and may be called from any thread. The name order itself
    lives in TQNameOrder, below the key-value coding that sorts by it; the functions here
    forward to it.

    \ingroup utilities
*/
namespace TQStringUtilities {

// The name order, finderStyleCompare(), finderStyleSortKey() and FinderStyleSortKey, is
// declared in TQNameOrder.h (included above), which forwards these names to TQNameOrder.

/*!
    True when \a self's parent path (its last component removed, trailing separators
    ignored) and \a directory are the same path once both are standardised: a leading "~" or
    "~/" becomes the home folder ("~user" is left as it is), "." components go, ".."
    components take away the component before them, repeated and trailing separators go.
    Purely textual: symbolic links are not followed and nothing is read from the disk.
    Cost: linear in the lengths.
*/
TQKIT_EXPORT bool isInDirectory(const QString &self, const QString &directory);

/*!
    True when \a self begins with \a directory, compared as plain case-sensitive text: no
    standardisation and no check for a separator after the prefix, so "/x/y" is inside
    "/x/y" and "/x/yz/a" is inside "/x/y". An empty \a directory contains nothing.
    Constant setup, linear in the length of \a directory.
*/
TQKIT_EXPORT bool isInSubdirectoryOfDirectory(const QString &self, const QString &directory);

/*!
    \name Key texts
    One-character strings of the codes a key press reports (the function keys use the
    private-use codes of the Mac key events). Each is built once per process, on first use,
    and returned by reference to that one instance, which lives until the process exits.
    Constant cost; any thread.
*/
///@{
TQKIT_EXPORT const QString &tabString();              //!< U+0009
TQKIT_EXPORT const QString &escapeKeyString();        //!< U+001B
TQKIT_EXPORT const QString &rightKeyString();         //!< U+F703
TQKIT_EXPORT const QString &leftKeyString();          //!< U+F702
TQKIT_EXPORT const QString &upKeyString();            //!< U+F700
TQKIT_EXPORT const QString &downKeyString();          //!< U+F701
TQKIT_EXPORT const QString &backspaceKeyString();     //!< U+0008, ASCII backspace, not DEL
TQKIT_EXPORT const QString &pageDownKeyString();      //!< U+F72D
TQKIT_EXPORT const QString &pageUpKeyString();        //!< U+F72C
TQKIT_EXPORT const QString &homeKeyString();          //!< U+F729
TQKIT_EXPORT const QString &endKeyString();           //!< U+F72B
TQKIT_EXPORT const QString &forwardDeleteKeyString(); //!< U+F728
TQKIT_EXPORT const QString &f1KeyString();            //!< U+F704
TQKIT_EXPORT const QString &f2KeyString();            //!< U+F705
TQKIT_EXPORT const QString &f3KeyString();            //!< U+F706
TQKIT_EXPORT const QString &f4KeyString();            //!< U+F707
///@}

} // namespace TQStringUtilities
