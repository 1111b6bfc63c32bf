// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBezierPathUtilities.h"

#include <QPainter>
#include <QPainterPath>
#include <QRectF>

namespace TQBezierPathUtilities {

void strokeInsideWithinRect(const QPainterPath &self, QPainter &painter, const QRectF &rect)
{
    QPen pen = painter.pen();
    const float width = float(pen.widthF());
    painter.save();
    pen.setWidthF(2.0 * width);
    painter.setClipPath(self, Qt::ReplaceClip);
    if (rect.width() > 0 && rect.height() > 0)
        painter.setClipRect(rect, Qt::IntersectClip);
    painter.strokePath(self, pen);
    painter.restore();
}

} // namespace TQBezierPathUtilities
