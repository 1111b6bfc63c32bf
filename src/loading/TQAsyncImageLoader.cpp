// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAsyncImageLoader.h"

#include "TQLoadingDelivery_p.h"

struct TQAsyncImageLoader::Private
{
    explicit Private(TQAsyncImageLoader *owner) : queue(owner, owner) {}

    TQLoadingDelivery::Delegate<TQAsyncImageLoaderDelegate> delegate{"TQAsyncImageLoaderDelegate"};
    TQLoadingDelivery::SingleOperation<TQImageLoaderOperation> queue;
};

TQAsyncImageLoaderDelegate::~TQAsyncImageLoaderDelegate() = default;

TQAsyncImageLoader::TQAsyncImageLoader(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
}

TQAsyncImageLoader::~TQAsyncImageLoader()
{
    cancel();
}

void TQAsyncImageLoader::setDelegate(QObject *delegate)
{
    d->delegate.set(delegate);
}

QObject *TQAsyncImageLoader::delegate() const
{
    return d->delegate.object();
}

void TQAsyncImageLoader::addFilesToQueue(const QList<UWStandardFileRef> &files, bool highPriority)
{
    d->queue.add(files, highPriority);
}

void TQAsyncImageLoader::removeFilesFromQueue(const QList<UWStandardFileRef> &files)
{
    d->queue.remove(files);
}

void TQAsyncImageLoader::clearQueue()
{
    d->queue.clear();
}

void TQAsyncImageLoader::cancel()
{
    d->queue.cancel();
}

qsizetype TQAsyncImageLoader::countLeft() const
{
    return d->queue.countLeft();
}

std::shared_ptr<const TQImageLoaderOperation> TQAsyncImageLoader::loadOperation() const
{
    return d->queue.operation();
}

void TQAsyncImageLoader::queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation)
{
    deliver(operation);
}

void TQAsyncImageLoader::deliver(UWQueuedObjectOperation *operation)
{
    d->queue.deliver(operation, [this](const UWQueuedObjectResult &result, const UWStandardFileRef &next) {
        if (auto *target = d->delegate.get())
            target->asynchronousImageLoaderLoadedImage(this, result.product.value<QImage>(), result.object, next);
    });
}

void TQAsyncImageLoader::queuedObjectOperationComplete(UWQueuedObjectOperation *operation)
{
    const QPointer<QObject> self(this);
    deliver(operation);
    if (self)
        d->queue.finished(self, operation);
}
