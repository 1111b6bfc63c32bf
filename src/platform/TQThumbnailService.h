#pragma once

#include "tqkit_export.h"

#include <QImage>
#include <QSizeF>
#include <QString>

/*!
    \class TQThumbnailService
    \brief Thumbnails of files, the way the desktop makes them: from the shared thumbnail
    cache, from the image itself, or from the installed thumbnailers.

    thumbnailForFile() is reentrant and thread-safe: the thumbnail queues call it from
    several threads at once. It blocks for the file's I/O (and a thumbnailer's run).
*/
class TQKIT_EXPORT TQThumbnailService
{
public:
    TQThumbnailService() = delete;

    /*!
        An upright thumbnail of the file at \a path, no larger than \a maxSize (aspect ratio
        kept), or a null image when none can be made (also for an empty \a maxSize).
    */
    static QImage thumbnailForFile(const QString &path, const QSizeF &maxSize);
};
