// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QColor>
#include <QLinearGradient>

/*!
    \namespace UWFileManagerCategories
    \brief The colours of the eight Finder labels: 0 (no label), 1 Gray, 2 Green, 3 Purple,
    4 Blue, 5 Yellow, 6 Red and 7 Orange.

    Each label has an upper colour, drawn at the top of its swatch, and a lower colour, the
    upper one a tenth darker, drawn at the bottom. "No label" is a near-white neutral, so a
    swatch of it reads as empty on a light background.

    Every function throws TQInvalidParameterException ("label >= 0 && label < 8") for a label
    outside 0..7, as an out-of-range index is a programming error of the caller. The table is
    constant: every function is reentrant and may be called from any thread.

    \ingroup labels
*/
namespace UWFileManagerCategories {

//! The colour at the top of label \a label's swatch.
TQKIT_EXPORT QColor upperColorForFinderLabel(int label);

//! The colour at the bottom of label \a label's swatch: the upper colour with red, green and
//! blue each multiplied by 0.9, alpha kept.
TQKIT_EXPORT QColor lowerColorForFinderLabel(int label);

/*!
    A new gradient for label \a label's swatch: the upper colour at stop 0, the lower colour
    at stop 1, from (0, 0) to (0, 1) in QGradient::ObjectBoundingMode, with pad spread. In a
    painter whose y axis grows downwards (a widget's or an image's) it runs from the top of
    the filled shape to its bottom, whatever the shape's size.
*/
TQKIT_EXPORT QLinearGradient gradientForFinderLabel(int label);

} // namespace UWFileManagerCategories
