// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

class QPainter;
class QPainterPath;
class QRectF;

/*!
    \namespace TQBezierPathUtilities
    \brief Drawing a path's outline inside the path.

    For the thread that owns the painter (a painter on a QImage may be used off the GUI
    thread; a painter on a widget may not).

    \ingroup utilities
*/
namespace TQBezierPathUtilities {

/*!
    Strokes \a self with \a painter's pen so that the whole stroke lies inside \a self: the
    pen's width w is doubled and the clip is replaced by \a self (Qt::ReplaceClip), so the
    outer half of the stroke is cut away and a line of width w remains inside. When \a rect
    has a positive width and height the clip is further limited to it; otherwise \a rect is
    ignored. Paths and rectangles are in the painter's logical coordinates. The painter's
    state (pen, clip, brush) is as it was afterwards; a clip the painter had before is not
    kept during the stroke, a window system's clip of a widget always is.

    A cosmetic pen (width 0) stays cosmetic: one device pixel, half of it clipped away.
*/
TQKIT_EXPORT void strokeInsideWithinRect(const QPainterPath &self, QPainter &painter, const QRectF &rect);

} // namespace TQBezierPathUtilities
