// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAsyncQuicklookThumbnailer.h"

#include "TQLoadingDelivery_p.h"

#include <QPointer>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <optional>

struct TQAsyncQuicklookThumbnailer::Private
{
    // Absent until the first addFilesToQueue(): that call fixes maxProcesses.
    std::optional<QList<std::shared_ptr<TQQuicklookThumbnailOperation>>> operations;
    int maxProcesses = 0;
    int processorCount = 0; // 0: ask the system
    TQLoadingDelivery::Delegate<TQAsyncQuicklookThumbnailerDelegate> delegate{"TQAsyncQuicklookThumbnailerDelegate"};

    // A host may set these from a worker of its own, so they alone are behind a lock.
    mutable std::mutex settingsMutex;
    QSizeF size{0, 0}; // QSizeF() would be -1 by -1, a size no host ever set
    QStringList runLoopModes;
};

TQAsyncQuicklookThumbnailerDelegate::~TQAsyncQuicklookThumbnailerDelegate() = default;

TQAsyncQuicklookThumbnailer::TQAsyncQuicklookThumbnailer(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
}

TQAsyncQuicklookThumbnailer::~TQAsyncQuicklookThumbnailer()
{
    cancel();
    setRunLoopModes({});
}

void TQAsyncQuicklookThumbnailer::setDelegate(QObject *delegate)
{
    d->delegate.set(delegate);
}

QObject *TQAsyncQuicklookThumbnailer::delegate() const
{
    return d->delegate.object();
}

QSizeF TQAsyncQuicklookThumbnailer::size() const
{
    const std::lock_guard lock(d->settingsMutex);
    return d->size;
}

void TQAsyncQuicklookThumbnailer::setSize(const QSizeF &size)
{
    const std::lock_guard lock(d->settingsMutex);
    d->size = size;
}

QStringList TQAsyncQuicklookThumbnailer::runLoopModes() const
{
    const std::lock_guard lock(d->settingsMutex);
    return d->runLoopModes;
}

void TQAsyncQuicklookThumbnailer::setRunLoopModes(const QStringList &modes)
{
    const std::lock_guard lock(d->settingsMutex);
    d->runLoopModes = modes;
}

void TQAsyncQuicklookThumbnailer::setProcessorCount(int count)
{
    if (!d->operations)
        d->processorCount = std::max(count, 0);
}

int TQAsyncQuicklookThumbnailer::maxProcesses() const
{
    return d->maxProcesses;
}

void TQAsyncQuicklookThumbnailer::addFilesToQueue(const QList<UWStandardFileRef> &files)
{
    if (!d->operations) {
        d->operations.emplace();
        const int processors =
            std::max(d->processorCount > 0 ? d->processorCount : QThread::idealThreadCount(), 1);
        // Thumbnails are bound by I/O as much as by the processor: beyond four workers they
        // mostly wait on the disk together.
        d->maxProcesses = processors < 5 ? processors : 4;
    }

    QList<UWStandardFileRef> queued;
    queued.reserve(files.size());
    std::copy_if(files.cbegin(), files.cend(), std::back_inserter(queued),
                 [](const UWStandardFileRef &file) { return file != nullptr; });
    const qsizetype count = queued.size();
    if (count == 0)
        return;

    const qsizetype operationCount = std::min<qsizetype>(count, d->maxProcesses);
    const qsizetype runLength = count / operationCount;
    qsizetype longerRuns = count % operationCount;
    const QSizeF thumbnailSize = size();
    const QStringList modes = runLoopModes();
    QThreadPool *pool = TQLoadingDelivery::utilityQueue();

    qsizetype start = 0;
    for (qsizetype i = 0; i < operationCount; ++i) {
        qsizetype length = runLength;
        if (longerRuns > 0) {
            ++length;
            --longerRuns;
        }
        auto operation = std::make_shared<TQQuicklookThumbnailOperation>();
        operation->setSize(thumbnailSize);
        operation->setDelegate(this);
        operation->setRunLoopModes(modes);
        operation->setQueue(queued.mid(start, length));
        start += length;
        d->operations->append(operation);
        UWQueuedObjectOperation::start(operation, pool);
    }
}

qsizetype TQAsyncQuicklookThumbnailer::countLeft() const
{
    qsizetype left = 0;
    if (d->operations) {
        for (const auto &operation : *d->operations)
            left += operation->queueCount();
    }
    return left;
}

void TQAsyncQuicklookThumbnailer::clearQueue()
{
    cancel();
}

void TQAsyncQuicklookThumbnailer::cancel()
{
    if (!d->operations)
        return;
    // The list itself stays: the thumbnailer remains set up, with its maxProcesses fixed.
    const auto cancelled = std::exchange(*d->operations, {});
    for (const auto &operation : cancelled) {
        operation->cancel();
        operation->setDelegate(nullptr);
    }
}

QList<std::shared_ptr<const TQQuicklookThumbnailOperation>> TQAsyncQuicklookThumbnailer::operations() const
{
    if (!d->operations)
        return {};
    return {d->operations->cbegin(), d->operations->cend()};
}

void TQAsyncQuicklookThumbnailer::queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation)
{
    if (operation)
        deliver(operation);
}

void TQAsyncQuicklookThumbnailer::deliver(UWQueuedObjectOperation *operation)
{
    const QPointer<TQAsyncQuicklookThumbnailer> self(this);
    TQLoadingDelivery::deliverWithNext(
        operation,
        // A cancel() from inside a delegate call ends the batch too.
        [&] { return self && !operation->isCancelled(); },
        [&](const UWQueuedObjectResult &result, const UWStandardFileRef &next) {
            if (auto *target = d->delegate.get())
                target->asynchronousThumbnailerCreatedThumbnail(this, result.product.value<QImage>(),
                                                                result.object, next);
        });
}

void TQAsyncQuicklookThumbnailer::queuedObjectOperationComplete(UWQueuedObjectOperation *operation)
{
    if (!operation)
        return;
    const QPointer<TQAsyncQuicklookThumbnailer> self(this);
    deliver(operation);
    if (!self || operation->isCancelled())
        return;
    const QList<UWStandardFileRef> waiting = operation->queue();
    if (d->operations) {
        d->operations->removeIf(
            [operation](const auto &candidate) { return candidate.get() == operation; });
    }
    if (!waiting.isEmpty())
        addFilesToQueue(waiting);
}
