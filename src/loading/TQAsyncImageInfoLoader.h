// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQImageInfoLoaderOperation.h"
#include "UWQueuedObjectOperation.h"
#include "tqkit_export.h"

#include <QList>
#include <QObject>
#include <QVariantMap>

#include <memory>
#include <optional>

class TQAsyncImageInfoLoader;

/*!
    \class TQAsyncImageInfoLoaderDelegate
    \brief What receives the image properties of a TQAsyncImageInfoLoader.

    A delegate is a QObject that also implements this interface; pass the QObject to
    TQAsyncImageInfoLoader::setDelegate(). Calls arrive on the main thread.

    \ingroup loading
*/
class TQKIT_EXPORT TQAsyncImageInfoLoaderDelegate
{
public:
    virtual ~TQAsyncImageInfoLoaderDelegate();

    /*!
        The properties of the image \a file: \a info holds them, or is empty (std::nullopt,
        not an empty map) when they could not be read. Files that are not images get no call.
        \a nextInQueue is the file taken next, as far as is known now; nullptr when nothing
        waits.

        When the loader's operation has completed, one more call follows with no info, no
        file and no next file: the loader is done with everything it was given.
    */
    virtual void asynchronousImageInfoLoaderLoadedInfo(TQAsyncImageInfoLoader *loader,
                                                       const std::optional<QVariantMap> &info,
                                                       const UWStandardFileRef &file,
                                                       const UWStandardFileRef &nextInQueue) = 0;
};

/*!
    \class TQAsyncImageInfoLoader
    \brief Reads the image properties of files one after another on the file manager's
    utility queue and hands them to a delegate on the main thread.

    One TQImageInfoLoaderOperation works at a time; files added while it works join the end
    of its queue. When it completes, the delegate hears the final call (see
    TQAsyncImageInfoLoaderDelegate) and the loader is idle; the next addFilesToQueue() starts
    a new operation. Files added in the moment between the operation's last take and its
    completion reaching the main thread (including from inside the final call) are not read.

    cancel() and the destructor stop at once: nothing more of that operation reaches the
    delegate, not even the final call.

    The loader lives on the main thread and is used from there. It holds its delegate by a
    guarded pointer and does not own it; a destroyed delegate receives nothing. It may be
    destroyed at any time, also from inside a delegate call.

    \ingroup loading
*/
class TQKIT_EXPORT TQAsyncImageInfoLoader : public QObject, public UWQueuedObjectOperationDelegate
{
    Q_OBJECT

public:
    //! An idle loader without a delegate.
    explicit TQAsyncImageInfoLoader(QObject *parent = nullptr);
    //! Lets go of the delegate and cancels the operation.
    ~TQAsyncImageInfoLoader() override;

    //! Sends properties to \a delegate, a QObject that implements TQAsyncImageInfoLoaderDelegate;
    //! nullptr (or an object without the interface) sends them nowhere.
    void setDelegate(QObject *delegate);
    //! The delegate set with setDelegate() (held weakly), or null.
    QObject *delegate() const;

    //! Reads the properties of \a files (null entries are left out): starts an operation when
    //! idle, else appends them to the working one's queue.
    void addFilesToQueue(const QList<UWStandardFileRef> &files);
    //! Drops \a files (the same items) from the waiting list; one being read is still delivered.
    void removeFilesFromQueue(const QList<UWStandardFileRef> &files);
    //! Drops every waiting file; the operation then completes as usual, with the final call.
    void clearQueue();
    //! Stops the operation and lets go of it; nothing more of it reaches the delegate.
    void cancel();
    //! How many files wait, non-images included (they are skipped only when taken); 0 when idle.
    qsizetype countLeft() const;

    //! The working operation, read-only; nullptr when idle.
    std::shared_ptr<const TQImageInfoLoaderOperation> loadOperation() const;

    //! \internal Delivery from the working operation; results of any other are dropped.
    void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) override;
    //! \internal Delivers the last results and the final call, and becomes idle.
    void queuedObjectOperationComplete(UWQueuedObjectOperation *operation) override;

private:
    void deliver(UWQueuedObjectOperation *operation);

    struct Private;
    std::unique_ptr<Private> d;
};
