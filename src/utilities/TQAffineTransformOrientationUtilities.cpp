// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAffineTransformOrientationUtilities.h"

namespace TQAffineTransformOrientationUtilities {

QTransform rotationTransformForOrientation(int orientation, bool flipped)
{
    // Only the turning orientations count here; this is the drawing convention of views that
    // mirror nothing, kept apart from TQImageOrientation's complete table on purpose.
    qreal degrees = 0;
    switch (orientation) {
    case 3:
        degrees = 180;
        break;
    case 6:
        degrees = flipped ? 90 : -90;
        break;
    case 8:
        degrees = flipped ? -90 : 90;
        break;
    default:
        return QTransform();
    }
    return QTransform().rotate(degrees);
}

} // namespace TQAffineTransformOrientationUtilities
