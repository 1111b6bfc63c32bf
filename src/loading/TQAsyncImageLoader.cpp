#include "TQAsyncImageLoader.h"

#include "TQLoadingDelivery_p.h"
#include "UWFileManager.h"

#include <QPointer>
#include <QThreadPool>

struct TQAsyncImageLoader::Private
{
    std::shared_ptr<TQImageLoaderOperation> loadOperation; // null when idle
    QPointer<QObject> delegate;
};

TQAsyncImageLoaderDelegate::~TQAsyncImageLoaderDelegate() = default;

TQAsyncImageLoader::TQAsyncImageLoader(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
}

TQAsyncImageLoader::~TQAsyncImageLoader()
{
    cancel();
}

void TQAsyncImageLoader::setDelegate(QObject *delegate)
{
    d->delegate = TQLoadingDelivery::acceptedDelegate<TQAsyncImageLoaderDelegate>(
        delegate, "TQAsyncImageLoaderDelegate");
}

QObject *TQAsyncImageLoader::delegate() const
{
    return d->delegate.data();
}

void TQAsyncImageLoader::addFilesToQueue(const QList<UWStandardFileRef> &files, bool highPriority)
{
    if (d->loadOperation) {
        if (highPriority)
            d->loadOperation->addObjectsToFrontOfQueue(files);
        else
            d->loadOperation->addObjectsToQueue(files);
        return;
    }
    d->loadOperation = std::make_shared<TQImageLoaderOperation>();
    d->loadOperation->setDelegate(this);
    d->loadOperation->setQueue(files);
    UWFileManager *manager = UWFileManager::sharedFileManager();
    UWQueuedObjectOperation::start(d->loadOperation,
                                   manager ? manager->utilityQueue() : QThreadPool::globalInstance());
}

void TQAsyncImageLoader::removeFilesFromQueue(const QList<UWStandardFileRef> &files)
{
    if (d->loadOperation)
        d->loadOperation->removeObjectsFromQueue(files);
}

void TQAsyncImageLoader::clearQueue()
{
    if (d->loadOperation)
        d->loadOperation->clearQueue();
}

void TQAsyncImageLoader::cancel()
{
    if (const auto operation = std::exchange(d->loadOperation, nullptr)) {
        // The delegate goes first: deliveries already queued then find no one to call.
        operation->setDelegate(nullptr);
        operation->cancel();
    }
}

qsizetype TQAsyncImageLoader::countLeft() const
{
    return d->loadOperation ? d->loadOperation->queueCount() : 0;
}

std::shared_ptr<const TQImageLoaderOperation> TQAsyncImageLoader::loadOperation() const
{
    return d->loadOperation;
}

void TQAsyncImageLoader::queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation)
{
    if (operation && operation == d->loadOperation.get())
        deliver(operation);
}

void TQAsyncImageLoader::deliver(UWQueuedObjectOperation *operation)
{
    const QPointer<TQAsyncImageLoader> self(this);
    TQLoadingDelivery::deliverWithNext(
        operation,
        // The delegate may cancel or start anew from inside a call; the rest of this batch
        // then belongs to an operation the loader has let go of.
        [&] { return self && operation == d->loadOperation.get(); },
        [&](const UWQueuedObjectResult &result, const UWStandardFileRef &next) {
            using namespace TQLoadingDelivery;
            if (auto *target = delegateInterface<TQAsyncImageLoaderDelegate>(d->delegate))
                target->asynchronousImageLoaderLoadedImage(this, result.product.value<QImage>(),
                                                           result.object, next);
        });
}

void TQAsyncImageLoader::queuedObjectOperationComplete(UWQueuedObjectOperation *operation)
{
    if (!operation || operation != d->loadOperation.get())
        return;
    const QPointer<TQAsyncImageLoader> self(this);
    deliver(operation);
    if (self && operation == d->loadOperation.get())
        d->loadOperation.reset();
}
