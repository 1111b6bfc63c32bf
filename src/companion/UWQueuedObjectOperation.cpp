// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWQueuedObjectOperation.h"

#include "UWCompanionLogging.h"

#include <QCoreApplication>
#include <QDebug>
#include <QPointer>
#include <QSet>
#include <QThreadPool>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>

// The lock is a std::mutex rather than a QMutex so that ThreadSanitizer, which cannot see
// into Qt's futex-based locks, understands what it orders.
struct UWQueuedObjectOperation::Private
{
    mutable std::mutex mutex;
    mutable std::condition_variable completionQueuedChanged;

    // Behind the mutex.
    QList<UWStandardFileRef> queue;
    UWStandardFileRef inProgress; // popped, and no result posted for it yet
    QList<UWQueuedObjectResult> batch;
    QStringList runLoopModes;
    bool deliveryQueued = false;
    bool completionQueued = false;
    bool completionDelivered = false;

    // Written under the mutex where a waiter or a reader of the queue must see them change
    // together with the rest; read lock-free by the accessors.
    std::atomic<bool> started{false};
    std::atomic<bool> cancelled{false};
    std::atomic<bool> executing{false};
    std::atomic<bool> finished{false};

    // Main thread only, like the delegate itself.
    QPointer<QObject> delegate;
};

namespace {

QList<UWStandardFileRef> withoutNulls(const QList<UWStandardFileRef> &objects)
{
    QList<UWStandardFileRef> kept;
    kept.reserve(objects.size());
    for (const UWStandardFileRef &object : objects) {
        if (object)
            kept.append(object);
    }
    return kept;
}

UWQueuedObjectOperationDelegate *delegateInterface(QObject *object)
{
    return dynamic_cast<UWQueuedObjectOperationDelegate *>(object);
}

} // namespace

QDebug operator<<(QDebug debug, const UWQueuedObjectResult &result)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "UWQueuedObjectResult(" << result.product << ", ";
    if (result.object)
        debug << result.object->path();
    else
        debug << "no object";
    debug << ')';
    return debug;
}

UWQueuedObjectOperationDelegate::~UWQueuedObjectOperationDelegate() = default;

UWQueuedObjectOperation::UWQueuedObjectOperation()
    : d(std::make_unique<Private>())
{
}

UWQueuedObjectOperation::~UWQueuedObjectOperation() = default;

void UWQueuedObjectOperation::start(const std::shared_ptr<UWQueuedObjectOperation> &operation,
                                    QThreadPool *pool)
{
    if (!operation)
        return;
    if (operation->d->started.exchange(true)) {
        qCDebug(lcCompanion) << "a queued operation was started twice; it runs once";
        return;
    }
    // The task's copy of the reference keeps the operation alive however early its owner
    // lets go; the pool destroys the task, and with it the reference, after run().
    (pool ? pool : QThreadPool::globalInstance())->start([operation] { operation->run(); });
}

void UWQueuedObjectOperation::run()
{
    if (!isCancelled()) {
        d->executing = true;
        // An exception must not unwind into the thread pool, and the delegate must still
        // hear of the end, or a loader would wait forever for its completion.
        try {
            main();
        } catch (const std::exception &error) {
            qCWarning(lcCompanion) << "a queued operation stopped on an exception:" << error.what();
        } catch (...) {
            qCWarning(lcCompanion) << "a queued operation stopped on an exception";
        }
        d->executing = false;
    }
    {
        const std::lock_guard lock(d->mutex);
        d->finished = true;
        d->inProgress.reset();
    }
    // Posted after the last postResult() of main(), so the completion arrives behind every
    // delivery main() queued (the main thread handles posted events in order).
    const std::shared_ptr<UWQueuedObjectOperation> self = shared_from_this();
    if (QCoreApplication *app = QCoreApplication::instance()) {
        QMetaObject::invokeMethod(
            app, [self] { self->deliverResults(true); }, Qt::QueuedConnection);
    } else {
        qCDebug(lcCompanion) << "no application to deliver the completion of a queued operation to";
    }
    // Waiters are released only now, so that one waiting on the main thread finds the
    // completion already among the posted events.
    {
        const std::lock_guard lock(d->mutex);
        d->completionQueued = true;
    }
    d->completionQueuedChanged.notify_all();
}

void UWQueuedObjectOperation::main()
{
}

void UWQueuedObjectOperation::setDelegate(QObject *delegate)
{
    if (delegate && !delegateInterface(delegate)) {
        qCDebug(lcCompanion) << delegate << "does not implement UWQueuedObjectOperationDelegate";
        delegate = nullptr;
    }
    d->delegate = delegate;
}

QObject *UWQueuedObjectOperation::delegate() const
{
    return d->delegate.data();
}

void UWQueuedObjectOperation::setRunLoopModes(const QStringList &modes)
{
    const std::lock_guard lock(d->mutex);
    d->runLoopModes = modes;
}

QStringList UWQueuedObjectOperation::runLoopModes() const
{
    const std::lock_guard lock(d->mutex);
    return d->runLoopModes;
}

void UWQueuedObjectOperation::setQueue(const QList<UWStandardFileRef> &objects)
{
    QList<UWStandardFileRef> kept = withoutNulls(objects);
    const std::lock_guard lock(d->mutex);
    d->queue.swap(kept);
    // The old list is released after the lock, by kept's destructor: dropping the last
    // reference to many items is not work to do while main() waits for the lock.
}

QList<UWStandardFileRef> UWQueuedObjectOperation::queue() const
{
    const std::lock_guard lock(d->mutex);
    return d->queue;
}

qsizetype UWQueuedObjectOperation::queueCount() const
{
    const std::lock_guard lock(d->mutex);
    return d->queue.size();
}

UWStandardFileRef UWQueuedObjectOperation::popFromQueue()
{
    const std::lock_guard lock(d->mutex);
    d->inProgress = d->queue.isEmpty() ? nullptr : d->queue.takeFirst();
    return d->inProgress;
}

void UWQueuedObjectOperation::addObjectsToQueue(const QList<UWStandardFileRef> &objects)
{
    const QList<UWStandardFileRef> kept = withoutNulls(objects);
    const std::lock_guard lock(d->mutex);
    d->queue.append(kept);
}

void UWQueuedObjectOperation::addObjectsToFrontOfQueue(const QList<UWStandardFileRef> &objects)
{
    QList<UWStandardFileRef> front = withoutNulls(objects);
    if (front.isEmpty())
        return;
    const std::lock_guard lock(d->mutex);
    front.append(d->queue);
    d->queue.swap(front);
}

void UWQueuedObjectOperation::removeObjectsFromQueue(const QList<UWStandardFileRef> &objects)
{
    QSet<const UWStandardFile *> doomed;
    doomed.reserve(objects.size());
    for (const UWStandardFileRef &object : objects)
        doomed.insert(object.get());
    const std::lock_guard lock(d->mutex);
    d->queue.removeIf([&](const UWStandardFileRef &object) { return doomed.contains(object.get()); });
}

void UWQueuedObjectOperation::clearQueue()
{
    QList<UWStandardFileRef> old;
    const std::lock_guard lock(d->mutex);
    d->queue.swap(old);
}

void UWQueuedObjectOperation::postResult(const UWQueuedObjectResult &result)
{
    // A delivery holds a reference of its own, so it needs the operation to be shared; an
    // operation that is not (one on the stack) keeps its results for latestResults().
    std::shared_ptr<UWQueuedObjectOperation> self = weak_from_this().lock();
    bool queueDelivery = false;
    {
        const std::lock_guard lock(d->mutex);
        if (d->inProgress && d->inProgress == result.object)
            d->inProgress.reset();
        d->batch.append(result);
        // One delivery on its way is enough: it hands over whatever the batch holds by the
        // time the delegate takes it, this result included.
        if (self && !d->deliveryQueued && !d->finished) {
            d->deliveryQueued = true;
            queueDelivery = true;
        }
    }
    if (!queueDelivery)
        return;
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || !QMetaObject::invokeMethod(app, [self] { self->deliverResults(false); },
                                           Qt::QueuedConnection)) {
        qCDebug(lcCompanion) << "no application to deliver the results of a queued operation to";
        const std::lock_guard lock(d->mutex);
        d->deliveryQueued = false;
    }
}

QList<UWQueuedObjectResult> UWQueuedObjectOperation::latestResults()
{
    QList<UWQueuedObjectResult> taken;
    const std::lock_guard lock(d->mutex);
    d->batch.swap(taken);
    return taken;
}

void UWQueuedObjectOperation::deliverResults(bool completing)
{
    bool haveResults = false;
    {
        const std::lock_guard lock(d->mutex);
        if (d->completionDelivered)
            return;
        // The flag drops before the delegate takes the batch: a result posted from here on
        // either lands in this batch or queues a delivery of its own, so none is stranded.
        // A later delivery that finds the batch already taken calls nothing.
        if (completing)
            d->completionDelivered = true;
        else
            d->deliveryQueued = false;
        haveResults = !d->batch.isEmpty();
    }
    if (haveResults) {
        if (UWQueuedObjectOperationDelegate *target = delegateInterface(d->delegate.data()))
            target->queuedObjectOperationPostedResults(this);
    }
    if (completing) {
        // Looked up again: the delegate may have let go of the operation in the call above.
        if (UWQueuedObjectOperationDelegate *target = delegateInterface(d->delegate.data()))
            target->queuedObjectOperationComplete(this);
    }
}

UWStandardFileRef UWQueuedObjectOperation::currentObject() const
{
    const std::lock_guard lock(d->mutex);
    if (d->finished)
        return nullptr;
    if (d->inProgress)
        return d->inProgress;
    return d->queue.isEmpty() ? nullptr : d->queue.constFirst();
}

void UWQueuedObjectOperation::cancel()
{
    d->cancelled = true;
}

bool UWQueuedObjectOperation::isCancelled() const
{
    return d->cancelled;
}

bool UWQueuedObjectOperation::isExecuting() const
{
    return d->executing;
}

bool UWQueuedObjectOperation::isFinished() const
{
    return d->finished;
}

bool UWQueuedObjectOperation::waitForFinished(int msecs) const
{
    std::unique_lock lock(d->mutex);
    const auto done = [this] { return d->completionQueued; };
    if (msecs < 0)
        d->completionQueuedChanged.wait(lock, done);
    else
        d->completionQueuedChanged.wait_for(lock, std::chrono::milliseconds(msecs), done);
    return d->completionQueued;
}
