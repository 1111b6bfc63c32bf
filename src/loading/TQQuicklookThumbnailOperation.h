// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWQueuedObjectOperation.h"
#include "tqkit_export.h"

#include <QSizeF>

#include <mutex>

/*!
    \class TQQuicklookThumbnailOperation
    \brief A queued operation that makes a thumbnail of each file of its queue with
    TQThumbnailService.

    For each item it takes, it posts one result: the thumbnail as a QVariant holding a QImage,
    no larger than size(), or a null QVariant when the item's resolved file is unreadable or
    no thumbnail can be made. The result names the item itself, not the file a link leads to.

    It works until its queue runs dry or it is cancelled, and never waits for more: files
    added after its last take stay in queue() once it has completed.
    TQAsyncQuicklookThumbnailer runs several of these side by side and hands such files to
    new operations when one completes.

    \par Threads
    size() and setSize() may be called from any thread, also while main() runs; a new size
    applies from the next file on.

    \ingroup loading
*/
class TQKIT_EXPORT TQQuicklookThumbnailOperation : public UWQueuedObjectOperation
{
public:
    TQQuicklookThumbnailOperation();
    ~TQQuicklookThumbnailOperation() override;

    //! The largest thumbnail to make (aspect ratio kept); 300×300 unless set. An empty size
    //! makes no thumbnails: every result is null.
    QSizeF size() const;
    //! Sets what size() answers.
    void setSize(const QSizeF &size);

protected:
    void main() override;

private:
    mutable std::mutex m_sizeMutex;
    QSizeF m_size{300, 300};
};
