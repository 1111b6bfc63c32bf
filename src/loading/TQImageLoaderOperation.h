// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWQueuedObjectOperation.h"
#include "tqkit_export.h"

/*!
    \class TQImageLoaderOperation
    \brief A queued operation that decodes each image file of its queue in full.

    For each item it takes it posts one result: the first image of the file as a QVariant
    holding a QImage, in its stored pixels (no EXIF orientation applied: the viewer turns it
    by the item's orientation()), or a null QVariant for an item that is not an image, has no
    location, cannot be read (UWStandardFile::isReadable(): a file whose mode lets nobody
    read it counts as unreadable, also for the superuser) or does not decode. The format is recognised from the file's
    content; where the content says nothing, the item's type names it.

    The file is read whole into memory and decoded from there. The read bypasses the page
    cache as far as Linux lets a plain read do so: once the bytes are in, the kernel is told
    (posix_fadvise POSIX_FADV_DONTNEED) that the file's cached pages are not wanted, so that
    browsing through many large images does not push everything else out of memory. (O_DIRECT
    would need aligned buffers and is refused by some file systems; dropping the pages after
    the read gives the same effect on memory without either.) A file that was in the cache
    before is dropped from it as well. Files above 1 GiB, and anything but regular files,
    are not read.

    Takes files until the queue is empty, without waiting for more, or until cancelled.

    Threads and ownership as for every UWQueuedObjectOperation: held by std::shared_ptr, run
    on a pool thread, its queue usable from any thread, results delivered on the main thread.

    \ingroup loading
*/
class TQKIT_EXPORT TQImageLoaderOperation : public UWQueuedObjectOperation
{
public:
    TQImageLoaderOperation();
    ~TQImageLoaderOperation() override;

protected:
    void main() override;
};
