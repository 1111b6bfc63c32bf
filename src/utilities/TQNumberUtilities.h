// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>

/*!
    \namespace TQNumberUtilities
    \brief Numbers as the text a photographer expects, such as exposure times.

    Reentrant; may be called from any thread. Constant cost.

    \ingroup utilities
*/
namespace TQNumberUtilities {

/*!
    \a self as a whole part and a unit fraction, the way exposure times are written:
    2.5 gives "2 1/2", 1.25 "1 1/4", 0.004 "1/250", 0.3 "1/3".

    The denominator is the reciprocal of the fractional part rounded to the nearest integer,
    so only unit fractions come out: 0.75 gives "1/1" and 2.9999 "2 1/1". A whole number is
    written alone (30.0 gives "30", 0.0 "0"), and so is a number whose fractional part is too
    small for a 64-bit denominator (1e-300 gives "0"). A negative number is its magnitude's
    text after a '-' (-0.5 gives "-1/2", -2.5 "-2 1/2"), never "-0". NaN and the infinities
    give an empty string. Digits are ASCII, without group separators, whatever the locale.
*/
TQKIT_EXPORT QString fractionValue(double self);

} // namespace TQNumberUtilities
