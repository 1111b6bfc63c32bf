// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QTransform>

/*!
    \namespace TQAffineTransformOrientationUtilities
    \brief The rotation that draws a picture of a given EXIF orientation upright.

    Pure functions; callable from any thread.

    \ingroup utilities
*/
namespace TQAffineTransformOrientationUtilities {

/*!
    A new transform holding only the rotation for \a orientation:

    | orientation | \a flipped false | \a flipped true |
    |---|---|---|
    | 3 | rotate(180) | rotate(180) |
    | 6 | rotate(-90) | rotate(90) |
    | 8 | rotate(90) | rotate(-90) |
    | 1, 2, 4, 5, 7, anything else | identity | identity |

    QTransform::rotate(a) maps (1, 0) to (cos a, sin a). In coordinates whose y grows upwards
    a positive angle turns counter-clockwise on the screen; in coordinates whose y grows
    downwards (\a flipped, which is what a QWidget and a QImage have) the same matrix turns
    clockwise. Either way orientation 6 comes out turned a quarter clockwise on the screen,
    and 8 a quarter counter-clockwise.

    The mirrored orientations (2, 4, 5, 7) get no rotation and no mirror here; a caller that
    wants every orientation drawn upright uses TQImageOrientation::transform().
*/
TQKIT_EXPORT QTransform rotationTransformForOrientation(int orientation, bool flipped);

} // namespace TQAffineTransformOrientationUtilities
