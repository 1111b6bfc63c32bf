// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWQueuedObjectOperation.h"
#include "tqkit_export.h"

/*!
    \class TQImageInfoLoaderOperation
    \brief A queued operation that reads the image properties of each image file of its queue.

    For each image it takes, it posts one result: a QVariant holding a QVariantMap with the
    properties TQImageUtilities::addPropertiesofFile() gives ("PixelWidth", "{Exif}", …), or a
    null QVariant when they cannot be read (also when UWStandardFile::isReadable() says no,
    as it does for a file whose mode lets nobody read it, even to the superuser). Items that are not images are taken and skipped
    without a result. Takes files until the queue is empty, without waiting for more, or
    until cancelled.

    Threads and ownership as for every UWQueuedObjectOperation: held by std::shared_ptr, run
    on a pool thread, its queue usable from any thread, results delivered on the main thread.

    \ingroup loading
*/
class TQKIT_EXPORT TQImageInfoLoaderOperation : public UWQueuedObjectOperation
{
public:
    TQImageInfoLoaderOperation();
    ~TQImageInfoLoaderOperation() override;

protected:
    void main() override;
};
