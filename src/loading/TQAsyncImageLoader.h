// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQImageLoaderOperation.h"
#include "UWQueuedObjectOperation.h"
#include "tqkit_export.h"

#include <QImage>
#include <QList>
#include <QObject>

#include <memory>

class TQAsyncImageLoader;

/*!
    \class TQAsyncImageLoaderDelegate
    \brief What receives the images of a TQAsyncImageLoader.

    A delegate is a QObject that also implements this interface; pass the QObject to
    TQAsyncImageLoader::setDelegate(). Calls arrive on the main thread.

    \ingroup loading
*/
class TQKIT_EXPORT TQAsyncImageLoaderDelegate
{
public:
    virtual ~TQAsyncImageLoaderDelegate();

    /*!
        \a image was loaded from \a file; a null image when it could not be (see
        TQImageLoaderOperation). \a nextInQueue is the file delivered next, as far as is known
        now; nullptr when nothing waits.
    */
    virtual void asynchronousImageLoaderLoadedImage(TQAsyncImageLoader *loader, const QImage &image,
                                                    const UWStandardFileRef &file,
                                                    const UWStandardFileRef &nextInQueue) = 0;
};

/*!
    \class TQAsyncImageLoader
    \brief Loads full images one after another on the file manager's utility queue and hands
    each to a delegate on the main thread.

    One TQImageLoaderOperation works at a time. Files added while it works join its queue,
    at the end or, for the files that just came into view, at the front. Once it has
    completed (its queue ran dry) the loader is idle and the next addFilesToQueue() starts a
    new one. Files added in the moment between the operation's last take and its completion
    reaching the main thread are not loaded and not reported.

    cancel() stops at once: nothing more of that operation reaches the delegate, even if it
    had results on their way and a new operation has started since.

    The loader lives on the main thread and is used from there. It holds its delegate by a
    guarded pointer and does not own it; a destroyed delegate receives nothing. It may be
    destroyed at any time, also from inside a delegate call.

    \ingroup loading
*/
class TQKIT_EXPORT TQAsyncImageLoader : public QObject, public UWQueuedObjectOperationDelegate
{
    Q_OBJECT

public:
    //! An idle loader without a delegate.
    explicit TQAsyncImageLoader(QObject *parent = nullptr);
    //! Cancels the operation, as cancel() does.
    ~TQAsyncImageLoader() override;

    //! Sends images to \a delegate, a QObject that implements TQAsyncImageLoaderDelegate;
    //! nullptr (or an object without the interface) sends them nowhere.
    void setDelegate(QObject *delegate);
    //! The delegate set with setDelegate() (held weakly), or null.
    QObject *delegate() const;

    /*!
        Loads \a files (null entries are left out). When idle, starts an operation for them
        (\a highPriority means nothing then: they are all there is). Otherwise they join the
        working operation's queue: before everything that waits when \a highPriority is true,
        else after it.
    */
    void addFilesToQueue(const QList<UWStandardFileRef> &files, bool highPriority = false);
    //! Drops \a files (the same items) from the waiting list; one being loaded is still delivered.
    void removeFilesFromQueue(const QList<UWStandardFileRef> &files);
    //! Drops every waiting file; the file being loaded is still delivered, then the operation completes.
    void clearQueue();
    //! Stops the operation and lets go of it; nothing more of it reaches the delegate.
    void cancel();
    //! How many files wait (not the one being loaded); 0 when idle.
    qsizetype countLeft() const;

    //! The working operation, read-only; nullptr when idle.
    std::shared_ptr<const TQImageLoaderOperation> loadOperation() const;

    //! \internal Delivery from the working operation; results of any other are dropped.
    void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) override;
    //! \internal Delivers the last results and becomes idle; files still waiting are dropped.
    void queuedObjectOperationComplete(UWQueuedObjectOperation *operation) override;

private:
    void deliver(UWQueuedObjectOperation *operation);

    struct Private;
    std::unique_ptr<Private> d;
};
