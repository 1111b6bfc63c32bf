// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAsyncImageInfoLoader.h"

#include "TQLoadingDelivery_p.h"

struct TQAsyncImageInfoLoader::Private
{
    explicit Private(TQAsyncImageInfoLoader *owner) : queue(owner, owner) {}

    TQLoadingDelivery::Delegate<TQAsyncImageInfoLoaderDelegate> delegate{"TQAsyncImageInfoLoaderDelegate"};
    TQLoadingDelivery::SingleOperation<TQImageInfoLoaderOperation> queue;
};

TQAsyncImageInfoLoaderDelegate::~TQAsyncImageInfoLoaderDelegate() = default;

TQAsyncImageInfoLoader::TQAsyncImageInfoLoader(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
}

TQAsyncImageInfoLoader::~TQAsyncImageInfoLoader()
{
    d->delegate.set(nullptr);
    cancel();
}

void TQAsyncImageInfoLoader::setDelegate(QObject *delegate)
{
    d->delegate.set(delegate);
}

QObject *TQAsyncImageInfoLoader::delegate() const
{
    return d->delegate.object();
}

void TQAsyncImageInfoLoader::addFilesToQueue(const QList<UWStandardFileRef> &files)
{
    d->queue.add(files);
}

void TQAsyncImageInfoLoader::removeFilesFromQueue(const QList<UWStandardFileRef> &files)
{
    d->queue.remove(files);
}

void TQAsyncImageInfoLoader::clearQueue()
{
    d->queue.clear();
}

void TQAsyncImageInfoLoader::cancel()
{
    d->queue.cancel();
}

qsizetype TQAsyncImageInfoLoader::countLeft() const
{
    return d->queue.countLeft();
}

std::shared_ptr<const TQImageInfoLoaderOperation> TQAsyncImageInfoLoader::loadOperation() const
{
    return d->queue.operation();
}

void TQAsyncImageInfoLoader::queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation)
{
    deliver(operation);
}

void TQAsyncImageInfoLoader::deliver(UWQueuedObjectOperation *operation)
{
    d->queue.deliver(operation, [this](const UWQueuedObjectResult &result, const UWStandardFileRef &next) {
        if (auto *target = d->delegate.get()) {
            std::optional<QVariantMap> info;
            if (!result.product.isNull())
                info = result.product.toMap();
            target->asynchronousImageInfoLoaderLoadedInfo(this, info, result.object, next);
        }
    });
}

void TQAsyncImageInfoLoader::queuedObjectOperationComplete(UWQueuedObjectOperation *operation)
{
    if (!d->queue.holds(operation))
        return;
    const QPointer<QObject> self(this);
    deliver(operation);
    // The final call, with no file, follows only while the operation is still the one held.
    if (!self || !d->queue.holds(operation))
        return;
    if (auto *target = d->delegate.get())
        target->asynchronousImageInfoLoaderLoadedInfo(this, std::nullopt, nullptr, nullptr);
    d->queue.finished(self, operation);
}
