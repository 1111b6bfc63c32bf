// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file UWQueuedObjectOperation.h
    \ingroup companion
    \brief UWQueuedObjectOperation, its results and its delegate's interface.
*/

#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariant>

#include <memory>

class QDebug;
class QObject;
class QThreadPool;
class UWQueuedObjectOperation;

/*!
    \struct UWQueuedObjectResult
    \brief What a queued operation made of one object: the product (a thumbnail, an image, a
    set of properties) and the file item it was made from.

    \a product is a null QVariant when the operation made nothing of the object (an unreadable
    file, say); the result is still posted, so that the receiver knows the object was handled.

    A plain value; copying it copies a QVariant (implicitly shared) and a reference to the item.

    \ingroup companion
*/
struct UWQueuedObjectResult
{
    QVariant product;         //!< what the operation made of the object; null for nothing
    UWStandardFileRef object; //!< the item the product was made from

    //! Equal products made from the same item: identity is the pointer, as everywhere.
    friend bool operator==(const UWQueuedObjectResult &, const UWQueuedObjectResult &) = default;
};

//! Writes the product and the item's path, for logs and test failures.
TQKIT_EXPORT QDebug operator<<(QDebug debug, const UWQueuedObjectResult &result);

Q_DECLARE_METATYPE(UWQueuedObjectResult)

/*!
    \class UWQueuedObjectOperationDelegate
    \brief What receives the results of a UWQueuedObjectOperation.

    A delegate is a QObject that also implements this interface, so that the operation can
    hold it by a guarded pointer: pass the QObject to UWQueuedObjectOperation::setDelegate().
    Both calls arrive on the main thread (the thread of QCoreApplication), where the delegate
    object must live.

    \ingroup companion
*/
class TQKIT_EXPORT UWQueuedObjectOperationDelegate
{
public:
    virtual ~UWQueuedObjectOperationDelegate();

    /*!
        New results of \a operation are waiting: take them with latestResults(). Results that
        are not taken here are handed on with the next call.
    */
    virtual void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) = 0;
    //! \a operation's main() has returned; no more results follow. Called exactly once.
    virtual void queuedObjectOperationComplete(UWQueuedObjectOperation *operation) = 0;
};

/*!
    \class UWQueuedObjectOperation
    \brief A background operation that works through a list of file items one at a time and
    hands what it makes of each to a delegate on the main thread.

    A subclass overrides main(), which runs once on a thread of a QThreadPool: it takes the
    next item with popFromQueue() until that answers nullptr or isCancelled() turns true, and
    posts one result per item with postResult(). While it works, the interface may reorder the
    waiting list (addObjectsToFrontOfQueue() for the items that just scrolled into view) or
    drop items from it.

    \par Delivery
    Results are gathered into a batch. When a result joins a batch that has no delivery on its
    way, one delivery is queued into the main thread; it calls the delegate's
    queuedObjectOperationPostedResults(), which takes the batch with latestResults(). Several
    results posted before the main thread gets round to the delivery thus arrive in one call,
    in posting order. After main() has returned, queuedObjectOperationComplete() is called
    exactly once, after the last results. A delivery that finds an empty batch (its results
    were already taken) calls nothing. Delivery needs the main thread's event loop; with no
    QCoreApplication, nothing is delivered and the results stay in latestResults().

    \par Ownership
    Hold an operation as a std::shared_ptr (std::make_shared) and run it with start(): the
    thread pool and every queued delivery keep a reference, so the owner may drop its own at
    any time. The last reference may therefore be released on a worker thread, where the
    operation is then destroyed. The operation holds its waiting items and undelivered
    results by reference, and the delegate by a guarded pointer: it does not own the delegate,
    and a destroyed delegate simply receives nothing.

    \par Threads
    The queue, the results, currentObject(), runLoopModes() and the state flags are behind one
    lock: they may be used from any thread, in particular from the main thread while main()
    runs. The delegate belongs to the main thread. Each call takes the lock once for a short
    time; the queue calls cost in proportion to the lengths of the lists involved.

    An operation runs once: a second start() is ignored.

    \ingroup companion
*/
class TQKIT_EXPORT UWQueuedObjectOperation
    : public std::enable_shared_from_this<UWQueuedObjectOperation>
{
public:
    //! A new operation with an empty queue, not cancelled, not started.
    UWQueuedObjectOperation();
    virtual ~UWQueuedObjectOperation();
    UWQueuedObjectOperation(const UWQueuedObjectOperation &) = delete;
    UWQueuedObjectOperation &operator=(const UWQueuedObjectOperation &) = delete;

    /*!
        Runs \a operation's main() on a thread of \a pool (the global pool when nullptr).
        The pool keeps a reference to the operation until main() has returned. Does nothing
        for a null operation or one that was started before. Any thread.
    */
    static void start(const std::shared_ptr<UWQueuedObjectOperation> &operation, QThreadPool *pool);

    /*!
        Sends the results and the completion to \a delegate, a QObject that implements
        UWQueuedObjectOperationDelegate and lives on the main thread; not owned. nullptr (or
        an object that does not implement the interface) stops all further calls, including
        deliveries already queued. Main thread only.
    */
    void setDelegate(QObject *delegate);
    //! The delegate object; nullptr when none was set or it was destroyed. Main thread only.
    QObject *delegate() const;

    /*!
        The run-loop modes in which results should be delivered. Qt has no run-loop modes:
        deliveries are queued invocations into the main thread and happen whenever its event
        loop runs, including inside modal loops and while the user drags. The list is kept for
        callers that name modes and is otherwise advisory; empty stands for the default mode.
        Any thread.
    */
    void setRunLoopModes(const QStringList &modes);
    //! The modes setRunLoopModes() gave; any thread.
    QStringList runLoopModes() const;

    //! Replaces the waiting list with \a objects, in order; null entries are left out.
    void setQueue(const QList<UWStandardFileRef> &objects);
    //! A copy of the objects still waiting, in the order they will be taken.
    QList<UWStandardFileRef> queue() const;
    //! How many objects are still waiting.
    qsizetype queueCount() const;
    /*!
        Removes and returns the first waiting object; nullptr when none waits. Meant for
        main(); safe against queue changes made by other threads at the same time.
    */
    UWStandardFileRef popFromQueue();
    //! Appends \a objects to the waiting list; null entries are left out.
    void addObjectsToQueue(const QList<UWStandardFileRef> &objects);
    //! Puts \a objects before all that wait, in the given order; null entries are left out.
    void addObjectsToFrontOfQueue(const QList<UWStandardFileRef> &objects);
    /*!
        Removes every waiting entry that is one of \a objects (the same item, not an equal
        one). An object already taken by main() is not affected.
    */
    void removeObjectsFromQueue(const QList<UWStandardFileRef> &objects);
    //! Empties the waiting list; main() finds nothing more to take.
    void clearQueue();

    /*!
        Adds \a result to the batch the delegate receives; meant for main(). Queues a delivery
        into the main thread when none is on its way. When \a result is for the object
        currentObject() reports as in progress, that object is done. Results posted after
        main() has returned are not sure to be delivered; they stay in latestResults().
    */
    void postResult(const UWQueuedObjectResult &result);
    /*!
        Takes the results posted since the batch was last taken, in posting order, leaving
        the batch empty: each result is handed out exactly once. Meant for the delegate's
        queuedObjectOperationPostedResults(); safe from any thread.
    */
    QList<UWQueuedObjectResult> latestResults();

    /*!
        The object the operation is working on or will take next:
        \list
        \li from a popFromQueue() that returned an object until a result for that object is
            posted (or the next pop), that object;
        \li otherwise, while main() has not returned, the first waiting object, or nullptr
            when none waits;
        \li once main() has returned, nullptr.
        \endlist
    */
    UWStandardFileRef currentObject() const;

    //! Asks main() to stop at its next check of isCancelled(). Lock-free; any thread.
    void cancel();
    //! True once cancel() was called. Lock-free; any thread.
    bool isCancelled() const;
    //! True while main() runs. Lock-free; any thread.
    bool isExecuting() const;
    //! True once main() has returned, or was skipped because of an early cancel(). Lock-free.
    bool isFinished() const;

    /*!
        Blocks the calling thread until main() has returned and the completion is queued
        into the main thread, or until \a msecs have passed (forever when negative). Returns
        true in the first case; the completion then waits among the main thread's posted
        events, so QCoreApplication::sendPostedEvents() on the main thread delivers it.

        main() runs without the main thread, so waiting there is fine unless main() itself
        waits for something the main thread does. Nothing is delivered while the main thread
        waits; results and the completion arrive once it returns to its event loop.
    */
    bool waitForFinished(int msecs = -1) const;

protected:
    /*!
        The work: runs once on a worker thread. The base does nothing. A subclass takes
        objects with popFromQueue(), posts a result for each and returns when the queue is
        empty or isCancelled(). main() is not called when the operation was cancelled before
        it began; the delegate is told of the completion in either case.
    */
    virtual void main();

private:
    void run();
    void deliverResults(bool completing);

    struct Private;
    std::unique_ptr<Private> d;
};
