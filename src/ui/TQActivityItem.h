// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQActivityItem.h
    \ingroup ui
    \brief TQActivityItem and the shared pointer it is held by.
*/

#include "tqkit_export.h"
#include "TQKeyValueCoding.h"

#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

#include <memory>

class TQActivityItemsModel;

/*!
    \class TQActivityItem
    \brief One running task as the activity window shows it: a title, how much is done, when
    it began, whether the user asked it to stop, and any further values the host wants its
    rows to read.

    An item is shared (TQActivityItemRef) between the window's list, which shows it, and the
    code that does the work, which reports progress into it and reads shouldCancel() to know
    when to stop. Cancelling never stops anything by itself: the worker polls the flag.

    Thread rules: every member may be called from any thread at any time. The values are kept
    under the item's own lock; shouldCancel() is a lock-free atomic read, cheap enough for the
    innermost loop of a worker. A change made on a worker thread reaches the window's list on
    the GUI thread as one queued notification, however many changes came in before the GUI
    thread got to it, so a worker may report as often as it likes.

    The keys an item answers through valueForKey(): TitleKey, ProgressKey, StartDateKey and
    ShouldCancelKey for the fields below, and any key the host set with setValue().

    \ingroup ui
*/
class TQKIT_EXPORT TQActivityItem : public TQKeyValueCoding
{
public:
    static const QString TitleKey;        //!< "title"
    static const QString ProgressKey;     //!< "progress"
    static const QString StartDateKey;    //!< "startDate"
    static const QString ShouldCancelKey; //!< "shouldCancel"

    //! An item that starts now (UTC), with an empty title and nothing done yet.
    TQActivityItem();
    ~TQActivityItem() override;

    TQActivityItem(const TQActivityItem &) = delete;
    TQActivityItem &operator=(const TQActivityItem &) = delete;

    //! The text the row shows above its bar.
    QString title() const;
    //! Sets the title; the row follows.
    void setTitle(const QString &title);

    /*!
        The fraction of the work done: 0 nothing, 1 all of it. A negative fraction means the
        amount is not known (the row shows a busy bar and no time left). Values are kept as
        given; the display clamps what it draws.
    */
    double progress() const;
    //! Sets the fraction done (see progress()); the row follows.
    void setProgress(double fraction);

    //! When the task began; the time-remaining estimate is measured from it.
    QDateTime startDate() const;
    //! Sets when the task began.
    void setStartDate(const QDateTime &startDate);

    //! Whether the user asked the task to stop. The worker reads it; see the class notes.
    bool shouldCancel() const;
    //! Asks the task to stop (the stop button does this) or takes the request back.
    void setShouldCancel(bool shouldCancel);

    //! A host value under \a key (the fields above answer their own keys too).
    QVariant value(const QString &key) const;
    //! Sets a host value; setting one of the field keys sets that field instead.
    void setValue(const QString &key, const QVariant &value);

    QVariant valueForKey(QStringView key) const override;

private:
    // The list that shows the item links itself here to hear of its changes.
    friend class TQActivityItemsModel;
    void attachToModel(TQActivityItemsModel *model);
    void detachFromModel(const TQActivityItemsModel *model);
    void clearChangePending();

    struct Private;
    std::unique_ptr<Private> const d;
};

//! How items are passed around: shared by the list and the worker.
using TQActivityItemRef = std::shared_ptr<TQActivityItem>;

Q_DECLARE_METATYPE(TQActivityItemRef)
