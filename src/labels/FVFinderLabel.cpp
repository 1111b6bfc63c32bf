// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVFinderLabel.h"

#include "FVIntegerKeyDictionary.h"
#include "TQInvalidParameterException.h"
#include "UWFileManagerCategories.h"
#include "UWFinderLabels.h"

#include <QMutex>
#include <QPainter>
#include <QPainterPath>
#include <QPaintDevice>

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal maxRoundEndsRadius = 6.5;

// Beyond this many device pixels a side, the intermediate image of a rounded swatch would
// cost more memory than the few pixels of its corners are worth; the swatch is stretched
// from the smaller image instead.
constexpr int maxRoundImageSide = 4096;

struct LayerCache
{
    QMutex lock;
    FVIntegerKeyDictionary<QImage> layers;
};

LayerCache &layerCache()
{
    static LayerCache cache;
    return cache;
}

void checkContext(const QPainter *context, const char *file, int line)
{
    if (!context)
        throw TQInvalidParameterException(QStringLiteral("NULL != context"), file, line);
}

bool isDrawable(const QRectF &rect)
{
    return rect.isValid() && std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

// The four quarter arcs about the corners of the rectangle inset by r, clockwise on screen
// from the top-left corner's left end. Qt counts arc angles counter-clockwise on screen, so
// each quarter sweeps -90 degrees.
QPainterPath roundedPath(const QRectF &rect, qreal r)
{
    const QRectF inset = rect.adjusted(r, r, -r, -r);
    QPainterPath path;
    path.moveTo(inset.left() - r, inset.top());
    const auto quarter = [&](const QPointF &centre, qreal startDegrees) {
        path.arcTo(QRectF(centre.x() - r, centre.y() - r, 2 * r, 2 * r), startDegrees, -90);
    };
    quarter(inset.topLeft(), 180);
    quarter(inset.topRight(), 90);
    quarter(inset.bottomRight(), 0);
    quarter(inset.bottomLeft(), 270);
    path.closeSubpath();
    return path;
}

qreal devicePixelRatio(const QPainter *painter)
{
    const QPaintDevice *device = painter->device();
    return device ? std::max<qreal>(device->devicePixelRatioF(), 1) : 1;
}

// Draws an image of the swatch into rect, mirrored for a y-up painter so the swatch's top
// row lands at the top of the screen.
void drawSwatchImage(const QImage &image, const QRectF &rect, QPainter *context, bool flipped)
{
    context->save();
    context->setRenderHint(QPainter::SmoothPixmapTransform);
    if (!flipped) {
        context->translate(0, rect.top() + rect.bottom());
        context->scale(1, -1);
    }
    context->drawImage(rect, image);
    context->restore();
}

} // namespace

QString FVFinderLabel::nameForLabel(int label)
{
    return UWFinderLabels::nameForLabel(label);
}

QSizeF FVFinderLabel::_layerSize()
{
    return QSizeF(1, 32);
}

qreal FVFinderLabel::roundEndsRadius(const QSizeF &size)
{
    if (std::isnan(size.width()) || std::isnan(size.height()))
        return maxRoundEndsRadius;
    const qreal half = std::min(size.width(), size.height()) / 2;
    return std::clamp<qreal>(half, 0, maxRoundEndsRadius);
}

void FVFinderLabel::_drawLabel(int label, const QRectF &rect, QPainter *context)
{
    checkContext(context, __FILE__, __LINE__);
    // Colours first: a bad label must throw before the painter's state is saved.
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    gradient.setColorAt(0, UWFileManagerCategories::upperColorForFinderLabel(label));
    gradient.setColorAt(1, UWFileManagerCategories::lowerColorForFinderLabel(label));
    gradient.setSpread(QGradient::PadSpread);
    if (!isDrawable(rect) || !context->isActive())
        return;

    context->save();
    context->setClipRect(rect, Qt::IntersectClip);
    context->fillRect(rect, gradient);
    context->restore();
}

QImage FVFinderLabel::_layerForLabel(int label, QPainter *context)
{
    LayerCache &cache = layerCache();
    {
        QMutexLocker locker(&cache.lock);
        if (const auto found = cache.layers.find(label); found != cache.layers.end())
            return found->second;
    }
    checkContext(context, __FILE__, __LINE__);

    // The layer is a smooth vertical gradient, so one resolution serves every screen: it is
    // made at a device pixel ratio of 1 whatever the first painter's device is.
    const QSize size = _layerSize().toSize();
    QImage layer(size, QImage::Format_ARGB32_Premultiplied);
    layer.fill(Qt::transparent);
    {
        QPainter painter(&layer);
        _drawLabel(label, QRectF(QPointF(0, 0), _layerSize()), &painter);
    }

    QMutexLocker locker(&cache.lock);
    // Another thread may have drawn the same layer meanwhile: the first one stored wins, so
    // every caller shares one image.
    return cache.layers.try_emplace(label, std::move(layer)).first->second;
}

void FVFinderLabel::drawFinderLabel(int label, const QRectF &rect, QPainter *context, bool flipped, bool roundEnds)
{
    checkContext(context, __FILE__, __LINE__);
    const QImage layer = _layerForLabel(label, context);
    // An inactive painter would only print warnings; there is nothing to draw on.
    if (!isDrawable(rect) || !context->isActive())
        return;
    if (!roundEnds) {
        drawSwatchImage(layer, rect, context, flipped);
        return;
    }

    const qreal ratio = devicePixelRatio(context);
    const auto side = [ratio](qreal logical) {
        return int(std::clamp<qreal>(std::ceil(logical * ratio), 1, maxRoundImageSide));
    };
    const QSize pixels(side(rect.width()), side(rect.height()));
    QImage rounded(pixels, QImage::Format_ARGB32_Premultiplied);
    rounded.setDevicePixelRatio(ratio);
    rounded.fill(Qt::transparent);
    {
        QPainter painter(&rounded);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        // The swatch fills the whole image, whose size was rounded up to whole pixels or capped.
        painter.scale(pixels.width() / (rect.width() * ratio), pixels.height() / (rect.height() * ratio));
        const QRectF local(QPointF(0, 0), rect.size());
        // The raster engine clips to a path without antialiasing; painting the layer into an
        // antialiased mask keeps the corners smooth.
        painter.fillPath(roundedPath(local, roundEndsRadius(rect.size())), Qt::black);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.drawImage(local, layer);
    }
    drawSwatchImage(rounded, rect, context, flipped);
}

void FVFinderLabel::drawFinderLabel(int label, const QRectF &rect, QPainter *painter, bool roundEnds)
{
    checkContext(painter, __FILE__, __LINE__);
    // An inactive painter has no transform to ask (and draws nothing anyway).
    const bool flipped = !painter->isActive() || painter->combinedTransform().m22() >= 0;
    drawFinderLabel(label, rect, painter, flipped, roundEnds);
}
