// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQQuicklookThumbnailOperation.h"

#include "TQThumbnailService.h"

#include <QImage>

namespace {

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
    // No waiting for more once the queue is dry: a pool thread is held only while there is
    // work. Files that arrive after the last take are not lost: the thumbnailer hands what
    // still waits in a completed operation to new ones.
    while (!isCancelled()) {
        // Every pass in a scope of its own: the item, its resolved twin and the decoded
        // pixels are released before the next file is taken, so a long queue holds no more
        // than one file's worth at a time.
        const UWStandardFileRef item = popFromQueue();
        if (!item)
            return;
        postResult({thumbnailOf(item, size()), item});
    }
}
