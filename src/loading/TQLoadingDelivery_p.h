// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQLoadingLogging.h"
#include "UWQueuedObjectOperation.h"

#include "UWFileManager.h"

#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <memory>
#include <utility>

// What the three loaders share in handing an operation's results to their own delegates.
namespace TQLoadingDelivery {

// A delegate object that lacks the interface is dropped at once, so that every later call
// can ask the guarded pointer alone.
template <typename Interface>
QObject *acceptedDelegate(QObject *delegate, const char *interfaceName)
{
    if (delegate && !dynamic_cast<Interface *>(delegate)) {
        qCDebug(lcLoading) << delegate << "does not implement" << interfaceName;
        return nullptr;
    }
    return delegate;
}

template <typename Interface>
Interface *delegateInterface(const QPointer<QObject> &delegate)
{
    return dynamic_cast<Interface *>(delegate.data());
}

// A loader's delegate: a QObject that implements Interface, held by a guarded pointer and not
// owned. Main thread only.
template <typename Interface>
class Delegate
{
public:
    explicit Delegate(const char *interfaceName) : m_interfaceName(interfaceName) {}

    void set(QObject *delegate) { m_object = acceptedDelegate<Interface>(delegate, m_interfaceName); }
    QObject *object() const { return m_object.data(); }
    // Asked afresh for every call: a delegate may go away between two.
    Interface *get() const { return delegateInterface<Interface>(m_object); }

private:
    const char *m_interfaceName;
    QPointer<QObject> m_object;
};

// Where the loaders start their operations: the file manager's utility queue, or Qt's global
// pool when there is no file manager.
inline QThreadPool *utilityQueue()
{
    UWFileManager *manager = UWFileManager::sharedFileManager();
    return manager ? manager->utilityQueue() : QThreadPool::globalInstance();
}

/*
    Takes the operation's new results, and in \a following the file that comes after the last
    of them: what the operation works on or takes next.

    The two cannot be read in one step, and a result posted in between would make the answer
    skip a file (the worker has moved on to the one after). So the batch is taken again
    until nothing came in between; a worker that posts without pause cannot keep this going
    for more than a few rounds, after which the answer is merely as fresh as can be.
*/
inline QList<UWQueuedObjectResult> takeResults(UWQueuedObjectOperation *operation, UWStandardFileRef *following)
{
    QList<UWQueuedObjectResult> results = operation->latestResults();
    *following = operation->currentObject();
    for (int round = 0; round < 8; ++round) {
        const QList<UWQueuedObjectResult> more = operation->latestResults();
        if (more.isEmpty())
            break;
        results += more;
        *following = operation->currentObject();
    }
    return results;
}

/*
    Takes the operation's new results and calls deliver(result, next) for each in order, where
    next is the file of the result that follows, or for the last one the file after it.

    The receiver may cancel, replace or destroy the owner from inside any call, so
    stillWanted() is asked before every call and ends the delivery once it answers false.
    It must not touch the owner's members once the owner is gone (ask a QPointer first).
*/
template <typename StillWanted, typename Deliver>
void deliverWithNext(UWQueuedObjectOperation *operation, StillWanted &&stillWanted, Deliver &&deliver)
{
    UWStandardFileRef following;
    const QList<UWQueuedObjectResult> results = takeResults(operation, &following);
    for (qsizetype i = 0; i < results.size(); ++i) {
        if (!stillWanted())
            return;
        deliver(results.at(i), i + 1 < results.size() ? results.at(i + 1).object : following);
    }
}

/*
    The queue of a loader that runs one operation at a time (the image and image-info loaders):
    files join the working operation, or start a new one when none works; cancellation lets go
    of the operation before anything more of it is delivered; results reach the owner only
    from the operation it holds now.

    Lives inside its owner (a QObject on the main thread), which the owner's delegate may
    destroy from inside any delivery: every step after a delivery asks the owner's guarded
    pointer before it touches this object again.
*/
template <typename Operation>
class SingleOperation
{
public:
    SingleOperation(QObject *owner, QObject *operationDelegate)
        : m_owner(owner)
        , m_operationDelegate(operationDelegate)
    {
    }
    SingleOperation(const SingleOperation &) = delete;
    SingleOperation &operator=(const SingleOperation &) = delete;
    ~SingleOperation() { cancel(); }

    const std::shared_ptr<Operation> &operation() const { return m_operation; }
    bool holds(const UWQueuedObjectOperation *operation) const
    {
        return operation && operation == m_operation.get();
    }

    void add(const QList<UWStandardFileRef> &files, bool toFront = false)
    {
        if (m_operation) {
            if (toFront)
                m_operation->addObjectsToFrontOfQueue(files);
            else
                m_operation->addObjectsToQueue(files);
            return;
        }
        m_operation = std::make_shared<Operation>();
        m_operation->setDelegate(m_operationDelegate);
        m_operation->setQueue(files);
        UWQueuedObjectOperation::start(m_operation, utilityQueue());
    }
    void remove(const QList<UWStandardFileRef> &files)
    {
        if (m_operation)
            m_operation->removeObjectsFromQueue(files);
    }
    void clear()
    {
        if (m_operation)
            m_operation->clearQueue();
    }
    void cancel()
    {
        if (const auto operation = std::exchange(m_operation, nullptr)) {
            // The delegate goes first: deliveries already queued then find no one to call.
            operation->setDelegate(nullptr);
            operation->cancel();
        }
    }
    qsizetype countLeft() const { return m_operation ? m_operation->queueCount() : 0; }

    /*
        Hands the results of \a operation, when it is the one held, to deliver(result, next),
        in order. The delegate may cancel or start anew from inside a call; the rest of the
        batch then belongs to an operation the owner has let go of, and is dropped. Answers
        whether the owner still exists and holds \a operation afterwards.
    */
    template <typename Deliver>
    bool deliver(UWQueuedObjectOperation *operation, Deliver &&deliver)
    {
        if (!holds(operation))
            return false;
        const QPointer<QObject> owner(m_owner);
        deliverWithNext(operation, [&] { return owner && holds(operation); }, deliver);
        return owner && holds(operation);
    }

    // After the completion's last call: the operation is done, and the owner idle, unless
    // that call started a new one.
    void finished(const QPointer<QObject> &owner, UWQueuedObjectOperation *operation)
    {
        if (owner && holds(operation))
            m_operation.reset();
    }

private:
    QObject *m_owner;
    QObject *m_operationDelegate;
    std::shared_ptr<Operation> m_operation; // null when idle
};

} // namespace TQLoadingDelivery
