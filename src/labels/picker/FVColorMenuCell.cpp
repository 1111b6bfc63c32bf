// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVColorMenuCell.h"

#include "FVFinderLabel.h"
#include "TQInvalidParameterException.h"

#include <QPainter>
#include <QWidget>

#include <algorithm>

namespace {

// The cross of the no-label swatch sits this much inside the swatch rectangle, so that its
// round caps stay within it.
constexpr qreal crossInset = 2;

QRectF centredSquare(const QRectF &frame)
{
    const qreal side = std::min(frame.width(), frame.height());
    return QRectF(frame.x() + (frame.width() - side) / 2, frame.y() + (frame.height() - side) / 2, side, side);
}

// A shadow one point below the swatch with a blur of about two points: rings of falling
// opacity around the offset rectangle, which is what a Gaussian of that radius looks like at
// swatch sizes, without an offscreen blur per paint.
void drawShadow(QPainter *painter, const QRectF &swatch)
{
    painter->setPen(Qt::NoPen);
    const QRectF below = swatch.translated(0, 1);
    for (const qreal spread : {2.0, 1.0, 0.0}) {
        painter->setBrush(QColor(0, 0, 0, 28));
        painter->drawRoundedRect(below.adjusted(-spread, -spread, spread, spread), spread, spread);
    }
}

} // namespace

QRectF FVColorMenuCell::swatchRect(const QRectF &frame)
{
    const QRectF square = centredSquare(frame);
    const qreal inset = square.width() / 5;
    return square.adjusted(inset, inset, -inset, -inset);
}

void FVColorMenuCell::drawInteriorWithFrame(QPainter *painter, const QRectF &frame, const QWidget *controlView) const
{
    // Checked before anything is drawn, so that a bad tag leaves no shadow behind.
    if (m_tag < 0 || m_tag > 7)
        throw TQInvalidParameterException(QStringLiteral("label >= 0 && label < 8"), __FILE__, __LINE__);
    const QRectF swatch = swatchRect(frame);
    QRectF drawn = swatch;

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (m_tag != 0) {
        drawShadow(painter, swatch);
        FVFinderLabel::drawFinderLabel(m_tag, swatch, painter, false);
    } else {
        drawn = swatch.adjusted(crossInset, crossInset, -crossInset, -crossInset);
        QPen pen(QColor::fromRgbF(1.0 / 3, 1.0 / 3, 1.0 / 3), 2);
        pen.setCapStyle(Qt::RoundCap);
        painter->setPen(pen);
        painter->drawLine(drawn.topLeft(), drawn.bottomRight());
        painter->drawLine(drawn.bottomLeft(), drawn.topRight());
    }
    if (controlView && !controlView->isEnabled())
        painter->fillRect(drawn.adjusted(-1, -1, 1, 1), QColor::fromRgbF(1, 1, 1, 0.7));
    painter->restore();
}
