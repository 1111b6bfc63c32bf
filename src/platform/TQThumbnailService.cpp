#include "TQThumbnailService.h"

#include <QImageReader>

QImage TQThumbnailService::thumbnailForFile(const QString &path, const QSizeF &maxSize)
{
    if (maxSize.isEmpty())
        return {};
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid())
        reader.setScaledSize(size.scaled(maxSize.toSize().boundedTo(size), Qt::KeepAspectRatio));
    return reader.read();
}
