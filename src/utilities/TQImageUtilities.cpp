// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageUtilities.h"

#include "TQCopyDeep.h"
#include "TQImageProperties.h"

#include <QMutex>

#include <algorithm>
#include <cmath>

namespace {

QImage resourceImage(const char *name)
{
    return QImage(QStringLiteral(":/tqkit/images/") + QLatin1StringView(name));
}

bool isFinite(const QRectF &rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

} // namespace

namespace TQImageUtilities {

bool addPropertiesofFile(const UWStandardFileRef &file, QVariantMap &dictionary)
{
    if (!file || file->URL().isEmpty())
        return false;
    const QVariantMap properties = TQImageProperties::propertiesOfFile(file->nativePath(), file->uti());
    if (properties.isEmpty())
        return false;
    const QVariantMap copy = TQCopyDeep::copyDeepMutable(properties);
    for (auto it = copy.cbegin(); it != copy.cend(); ++it)
        dictionary.insert(it.key(), it.value());
    for (const char *group : {"{Exif}", "{IPTC}", "{TIFF}", "{CIFF}", "{MakerCanon}", "{MakerNikon}"}) {
        const QString key = QString::fromLatin1(group);
        if (!dictionary.contains(key))
            dictionary.insert(key, QVariantMap());
    }
    return true;
}

QImage aliasBadge()
{
    static QMutex lock;
    static QImage cached;
    QMutexLocker locker(&lock);
    // A failed read is not cached: the resource may be registered later (a host that loads
    // the library by hand), and a null image costs nothing to keep asking for.
    if (cached.isNull())
        cached = resourceImage("alias-badge.png");
    // QImage shares its pixels until written; a deep copy keeps a caller's changes out of
    // the cache and out of every other caller's badge.
    return cached.copy();
}

QImage trashImage()
{
    return resourceImage("trash.png");
}

QImage noticeImage()
{
    return resourceImage("notice.png");
}

QIcon genericFolder()
{
    return QIcon::fromTheme(QStringLiteral("folder"));
}

QIcon openFolder()
{
    return QIcon::fromTheme(QStringLiteral("folder-open"));
}

QIcon genericDocument()
{
    return QIcon::fromTheme(QStringLiteral("text-x-generic"),
                            QIcon::fromTheme(QStringLiteral("application-octet-stream"),
                                             QIcon::fromTheme(QStringLiteral("unknown"))));
}

QIcon genericApplication()
{
    return QIcon::fromTheme(QStringLiteral("application-x-executable"));
}

void drawAdjustedInRect(const QImage &image, QPainter *painter, const QRectF &destination,
                        const QRectF &source, QPainter::CompositionMode operation, qreal fraction)
{
    // An inactive painter would answer every call with a warning and draw nothing anyway.
    if (!painter || !painter->isActive() || image.isNull() || destination.isEmpty() || !isFinite(destination)
        || !isFinite(source) || !(fraction > 0))
        return;
    const bool flipped = painter->combinedTransform().m22() >= 0;
    const QRectF part = source.isEmpty() ? QRectF(image.rect()) : source;

    painter->save();
    painter->setCompositionMode(operation);
    painter->setOpacity(painter->opacity() * std::min<qreal>(fraction, 1));
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    if (!flipped) {
        // Mirrored about the destination's centre line, so its top edge maps to the bottom
        // one and the image's first row ends up on top of the screen.
        painter->translate(0, destination.top() + destination.bottom());
        painter->scale(1, -1);
    }
    painter->drawImage(destination, image, part);
    painter->restore();
}

void drawImageAdjustedInRect(const QImage &image, QPainter *painter, const QRectF &destination)
{
    drawAdjustedInRect(image, painter, destination, QRectF(), QPainter::CompositionMode_SourceOver, 1);
}

} // namespace TQImageUtilities
