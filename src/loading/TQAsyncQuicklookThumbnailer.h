// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQQuicklookThumbnailOperation.h"
#include "UWQueuedObjectOperation.h"
#include "tqkit_export.h"

#include <QImage>
#include <QList>
#include <QObject>
#include <QSizeF>
#include <QStringList>

#include <memory>

class TQAsyncQuicklookThumbnailer;

/*!
    \class TQAsyncQuicklookThumbnailerDelegate
    \brief What receives the thumbnails of a TQAsyncQuicklookThumbnailer.

    A delegate is a QObject that also implements this interface; pass the QObject to
    TQAsyncQuicklookThumbnailer::setDelegate(). Calls arrive on the main thread.

    \ingroup loading
*/
class TQKIT_EXPORT TQAsyncQuicklookThumbnailerDelegate
{
public:
    virtual ~TQAsyncQuicklookThumbnailerDelegate();

    /*!
        \a thumbnail was made for \a file; a null image when none could be made. \a nextInQueue
        is the file the same worker delivers next, as far as is known now (nullptr when its
        queue is empty): an interface can show it as "in progress". With several workers,
        calls for different workers interleave.
    */
    virtual void asynchronousThumbnailerCreatedThumbnail(TQAsyncQuicklookThumbnailer *thumbnailer,
                                                        const QImage &thumbnail,
                                                        const UWStandardFileRef &file,
                                                        const UWStandardFileRef &nextInQueue) = 0;
};

/*!
    \class TQAsyncQuicklookThumbnailer
    \brief Makes thumbnails of many files at once, on several threads of the file manager's
    utility queue, and hands each to a delegate on the main thread.

    addFilesToQueue() splits the files it is given into contiguous runs, one per new
    TQQuicklookThumbnailOperation, as evenly as possible (the first runs one longer), using
    at most maxProcesses() operations per call. Operations already running are not asked to
    take more: each call starts its own. Files of one run are delivered in their order.

    clearQueue() and cancel() stop everything: no file that was waiting is delivered after
    them, not even the rest of a batch being delivered when they were called.

    The thumbnailer lives on the main thread and is used from there, except size(),
    setSize(), runLoopModes() and setRunLoopModes(), which any thread may call. It holds its
    delegate by a guarded pointer and does not own it; a destroyed delegate receives nothing.
    It may be destroyed at any time, also from inside a delegate call.

    \ingroup loading
*/
class TQKIT_EXPORT TQAsyncQuicklookThumbnailer : public QObject, public UWQueuedObjectOperationDelegate
{
    Q_OBJECT

public:
    //! An idle thumbnailer without a delegate.
    explicit TQAsyncQuicklookThumbnailer(QObject *parent = nullptr);
    //! Cancels every operation, as cancel() does.
    ~TQAsyncQuicklookThumbnailer() override;

    /*!
        Sends thumbnails to \a delegate, a QObject that implements
        TQAsyncQuicklookThumbnailerDelegate; nullptr (or an object without the interface)
        sends them nowhere.
    */
    void setDelegate(QObject *delegate);
    //! The delegate set with setDelegate() (held weakly), or null.
    QObject *delegate() const;

    //! The largest thumbnail to make; zero by zero until set, and an empty size makes only
    //! null images.
    //! Applies to operations started after the change.
    QSizeF size() const;
    //! Sets what size() answers.
    void setSize(const QSizeF &size);

    //! Handed to every new operation (see UWQueuedObjectOperation::setRunLoopModes()).
    QStringList runLoopModes() const;
    //! Sets what runLoopModes() answers.
    void setRunLoopModes(const QStringList &modes);

    /*!
        Takes \a count as the number of processors instead of QThread::idealThreadCount(),
        for hosts that want fewer workers and for tests. Only before the first
        addFilesToQueue(), which fixes maxProcesses(); later calls are ignored. 0 asks the
        system again.
    */
    void setProcessorCount(int count);
    /*!
        The most operations one addFilesToQueue() starts: the number of processors when it is
        below 5, else 4. 0 until the first addFilesToQueue() fixes it.
    */
    int maxProcesses() const;

    /*!
        Starts thumbnails of \a files (null entries are left out), in up to maxProcesses()
        new operations. The first call sets the thumbnailer up, even with an empty list.
    */
    void addFilesToQueue(const QList<UWStandardFileRef> &files);
    //! How many files wait in all operations together (not those being worked on).
    qsizetype countLeft() const;
    //! The same as cancel().
    void clearQueue();
    /*!
        Cancels every operation and lets go of them; nothing more reaches the delegate for
        them. The thumbnailer stays set up and takes new files.
    */
    void cancel();

    /*!
        The operations that have not completed, in the order they were started, read-only:
        what a host (or a test) may inspect of the split, e.g. each one's queue().
    */
    QList<std::shared_ptr<const TQQuicklookThumbnailOperation>> operations() const;

    //! \internal Delivery from the operations; any operation's results are accepted, except
    //! those of a cancelled one.
    void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) override;
    /*!
        \internal Delivers \a operation's last results and forgets it. Files still waiting in
        it (its main() stopped early) are not lost: they are queued again as by
        addFilesToQueue().
    */
    void queuedObjectOperationComplete(UWQueuedObjectOperation *operation) override;

private:
    void deliver(UWQueuedObjectOperation *operation);

    struct Private;
    std::unique_ptr<Private> d;
};
