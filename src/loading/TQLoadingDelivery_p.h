#pragma once

#include "TQLoadingLogging.h"
#include "UWQueuedObjectOperation.h"

#include <QObject>
#include <QPointer>

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

} // namespace TQLoadingDelivery
