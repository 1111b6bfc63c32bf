#include "TQQuicklookThumbnailOperation.h"

#include "TQThumbnailService.h"

#include <QImage>
#include <QThread>

namespace {

// Long enough for an interface that feeds files in bursts (one per row as a list scrolls)
// to hand over the next burst, short enough not to hold a pool thread for nothing.
constexpr unsigned long idleWaitMilliseconds = 80;

QVariant thumbnailOf(const UWStandardFileRef &item, const QSizeF &size)
{
    const UWStandardFileRef resolved = item->resolvedFileItem();
    // An unreadable file is not handed to the thumbnail service at all: a thumbnailer run on
    // it would only fail, more slowly.
    if (!resolved || !resolved->isReadable())
        return {};
    const QImage thumbnail = TQThumbnailService::thumbnailForFile(resolved->nativePath(), size);
    return thumbnail.isNull() ? QVariant() : QVariant::fromValue(thumbnail);
}

} // namespace

TQQuicklookThumbnailOperation::TQQuicklookThumbnailOperation() = default;

TQQuicklookThumbnailOperation::~TQQuicklookThumbnailOperation() = default;

QSizeF TQQuicklookThumbnailOperation::size() const
{
    const std::lock_guard lock(m_sizeMutex);
    return m_size;
}

void TQQuicklookThumbnailOperation::setSize(const QSizeF &size)
{
    const std::lock_guard lock(m_sizeMutex);
    m_size = size;
}

void TQQuicklookThumbnailOperation::main()
{
    if (isCancelled())
        return;
    for (;;) {
        // Every pass in a scope of its own: the item, its resolved twin and the decoded
        // pixels are released before the next file is taken, so a long queue holds no more
        // than one file's worth at a time.
        {
            UWStandardFileRef item = popFromQueue();
            if (!item) {
                QThread::msleep(idleWaitMilliseconds);
                if (isCancelled())
                    return;
                item = popFromQueue();
                if (!item)
                    return;
            }
            postResult({thumbnailOf(item, size()), item});
        }
        if (isCancelled())
            return;
    }
}
