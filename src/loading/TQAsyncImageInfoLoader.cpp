#include "TQAsyncImageInfoLoader.h"

#include "TQLoadingDelivery_p.h"
#include "UWFileManager.h"

#include <QPointer>
#include <QThreadPool>

struct TQAsyncImageInfoLoader::Private
{
    std::shared_ptr<TQImageInfoLoaderOperation> loadOperation; // null when idle
    QPointer<QObject> delegate;
};

TQAsyncImageInfoLoaderDelegate::~TQAsyncImageInfoLoaderDelegate() = default;

TQAsyncImageInfoLoader::TQAsyncImageInfoLoader(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
}

TQAsyncImageInfoLoader::~TQAsyncImageInfoLoader()
{
    d->delegate = nullptr;
    cancel();
}

void TQAsyncImageInfoLoader::setDelegate(QObject *delegate)
{
    d->delegate = TQLoadingDelivery::acceptedDelegate<TQAsyncImageInfoLoaderDelegate>(
        delegate, "TQAsyncImageInfoLoaderDelegate");
}

QObject *TQAsyncImageInfoLoader::delegate() const
{
    return d->delegate.data();
}

void TQAsyncImageInfoLoader::addFilesToQueue(const QList<UWStandardFileRef> &files)
{
    if (d->loadOperation) {
        d->loadOperation->addObjectsToQueue(files);
        return;
    }
    d->loadOperation = std::make_shared<TQImageInfoLoaderOperation>();
    d->loadOperation->setDelegate(this);
    d->loadOperation->setQueue(files);
    UWFileManager *manager = UWFileManager::sharedFileManager();
    UWQueuedObjectOperation::start(d->loadOperation,
                                   manager ? manager->utilityQueue() : QThreadPool::globalInstance());
}

void TQAsyncImageInfoLoader::removeFilesFromQueue(const QList<UWStandardFileRef> &files)
{
    if (d->loadOperation)
        d->loadOperation->removeObjectsFromQueue(files);
}

void TQAsyncImageInfoLoader::clearQueue()
{
    if (d->loadOperation)
        d->loadOperation->clearQueue();
}

void TQAsyncImageInfoLoader::cancel()
{
    if (const auto operation = std::exchange(d->loadOperation, nullptr)) {
        // The delegate goes first: deliveries already queued then find no one to call.
        operation->setDelegate(nullptr);
        operation->cancel();
    }
}

qsizetype TQAsyncImageInfoLoader::countLeft() const
{
    return d->loadOperation ? d->loadOperation->queueCount() : 0;
}

std::shared_ptr<const TQImageInfoLoaderOperation> TQAsyncImageInfoLoader::loadOperation() const
{
    return d->loadOperation;
}

void TQAsyncImageInfoLoader::queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation)
{
    if (operation && operation == d->loadOperation.get())
        deliver(operation);
}

void TQAsyncImageInfoLoader::deliver(UWQueuedObjectOperation *operation)
{
    const QPointer<TQAsyncImageInfoLoader> self(this);
    TQLoadingDelivery::deliverWithNext(
        operation,
        // The delegate may cancel or start anew from inside a call; the rest of this batch
        // then belongs to an operation the loader has let go of.
        [&] { return self && operation == d->loadOperation.get(); },
        [&](const UWQueuedObjectResult &result, const UWStandardFileRef &next) {
            using namespace TQLoadingDelivery;
            if (auto *target = delegateInterface<TQAsyncImageInfoLoaderDelegate>(d->delegate)) {
                std::optional<QVariantMap> info;
                if (!result.product.isNull())
                    info = result.product.toMap();
                target->asynchronousImageInfoLoaderLoadedInfo(this, info, result.object, next);
            }
        });
}

void TQAsyncImageInfoLoader::queuedObjectOperationComplete(UWQueuedObjectOperation *operation)
{
    if (!operation || operation != d->loadOperation.get())
        return;
    const QPointer<TQAsyncImageInfoLoader> self(this);
    deliver(operation);
    if (!self || operation != d->loadOperation.get())
        return;
    using namespace TQLoadingDelivery;
    if (auto *target = delegateInterface<TQAsyncImageInfoLoaderDelegate>(d->delegate))
        target->asynchronousImageInfoLoaderLoadedInfo(this, std::nullopt, nullptr, nullptr);
    if (self && operation == d->loadOperation.get())
        d->loadOperation.reset();
}
