// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QImage>
#include <QImageIOHandler>
#include <QSize>
#include <QTransform>

/*!
    \namespace TQImageOrientation
    \brief The library's one table of EXIF orientations: how a picture stored with
    orientation 1 to 8 is turned upright.

    EXIF numbers the eight ways a camera may have stored its pixels relative to the upright
    picture:
    | Orientation | Stored pixels, turned upright by | Qt's name |
    |---|---|---|
    | 1 | nothing | TransformationNone |
    | 2 | a mirror about the vertical axis | TransformationMirror |
    | 3 | a half turn | TransformationRotate180 |
    | 4 | a mirror about the horizontal axis | TransformationFlip |
    | 5 | a mirror about the main diagonal (a transpose) | TransformationFlipAndRotate90 |
    | 6 | a quarter turn clockwise | TransformationRotate90 |
    | 7 | a mirror about the other diagonal | TransformationMirrorAndRotate90 |
    | 8 | a quarter turn counter-clockwise | TransformationRotate270 |
    Orientations 5 to 8 swap width and height. Any other number (0, a missing or impossible
    tag) counts as 1: the picture is shown as stored.

    Everything that turns a picture upright in the library goes through these functions, so
    that a thumbnail, a decoded picture and a drawn one cannot disagree. Pure functions;
    callable from any thread.

    \ingroup platform
*/
namespace TQImageOrientation {

//! True for 1 to 8.
constexpr bool isValid(int orientation)
{
    return orientation >= 1 && orientation <= 8;
}

//! The transformation that turns pixels stored with \a orientation upright.
TQKIT_EXPORT QImageIOHandler::Transformations transformation(int orientation);

//! The EXIF orientation of \a transformation; the inverse of transformation().
TQKIT_EXPORT int orientation(QImageIOHandler::Transformations transformation);

//! True when \a orientation swaps width and height (5 to 8).
TQKIT_EXPORT bool swapsDimensions(int orientation);

//! The upright size of a picture of \a storedSize stored with \a orientation.
TQKIT_EXPORT QSize uprightSize(const QSize &storedSize, int orientation);

/*!
    The transform that maps a point of the stored picture, whose pixels cover
    (0, 0, \a storedSize), to the same point of the upright picture, whose pixels cover
    (0, 0, uprightSize(\a storedSize, \a orientation)). To draw stored pixels upright, set it
    on the painter (combined with any transform it already has) and draw at (0, 0).
*/
TQKIT_EXPORT QTransform transform(int orientation, const QSizeF &storedSize);

/*!
    \a stored turned upright from \a orientation: the same image (shared, not copied) for 1
    and for anything invalid, else a new image with exactly the stored pixels moved (no
    interpolation). The format and colour space are kept.
*/
TQKIT_EXPORT QImage uprightImage(const QImage &stored, int orientation);

} // namespace TQImageOrientation
