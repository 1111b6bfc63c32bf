// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQActivityItem.h"
#include "TQActivityItemsModel.h"

#include <QMutex>
#include <QMutexLocker>

#include <atomic>

const QString TQActivityItem::TitleKey = QStringLiteral("title");
const QString TQActivityItem::ProgressKey = QStringLiteral("progress");
const QString TQActivityItem::StartDateKey = QStringLiteral("startDate");
const QString TQActivityItem::ShouldCancelKey = QStringLiteral("shouldCancel");

struct TQActivityItem::Private
{
    mutable QMutex mutex;
    QString title;
    double progress = 0.0;
    QDateTime startDate = QDateTime::currentDateTimeUtc();
    QVariantMap values;
    // The list showing the item, told of every change. It clears this under the mutex
    // before it lets go of the item or dies, so whoever holds the mutex may post to it.
    TQActivityItemsModel *model = nullptr;

    std::atomic<bool> shouldCancel{false};
    // Set by the first change after the list last looked, so a worker that reports in a
    // tight loop posts one notification per turn of the GUI's event loop, not one per call.
    std::atomic<bool> changePending{false};

    void changed(const TQActivityItem *item)
    {
        QMutexLocker lock(&mutex);
        if (model && !changePending.exchange(true))
            model->postItemChanged(item);
    }
};

TQActivityItem::TQActivityItem()
    : d(std::make_unique<Private>())
{
}

TQActivityItem::~TQActivityItem() = default;

QString TQActivityItem::title() const
{
    QMutexLocker lock(&d->mutex);
    return d->title;
}

void TQActivityItem::setTitle(const QString &title)
{
    {
        QMutexLocker lock(&d->mutex);
        d->title = title;
    }
    d->changed(this);
}

double TQActivityItem::progress() const
{
    QMutexLocker lock(&d->mutex);
    return d->progress;
}

void TQActivityItem::setProgress(double fraction)
{
    {
        QMutexLocker lock(&d->mutex);
        d->progress = fraction;
    }
    d->changed(this);
}

QDateTime TQActivityItem::startDate() const
{
    QMutexLocker lock(&d->mutex);
    return d->startDate;
}

void TQActivityItem::setStartDate(const QDateTime &startDate)
{
    {
        QMutexLocker lock(&d->mutex);
        d->startDate = startDate;
    }
    d->changed(this);
}

bool TQActivityItem::shouldCancel() const
{
    return d->shouldCancel.load(std::memory_order_acquire);
}

void TQActivityItem::setShouldCancel(bool shouldCancel)
{
    d->shouldCancel.store(shouldCancel, std::memory_order_release);
    d->changed(this);
}

QVariant TQActivityItem::value(const QString &key) const
{
    return valueForKey(key);
}

void TQActivityItem::setValue(const QString &key, const QVariant &value)
{
    if (key == TitleKey)
        return setTitle(value.toString());
    if (key == ProgressKey)
        return setProgress(value.toDouble());
    if (key == StartDateKey)
        return setStartDate(value.toDateTime());
    if (key == ShouldCancelKey)
        return setShouldCancel(value.toBool());
    {
        QMutexLocker lock(&d->mutex);
        if (value.isValid())
            d->values.insert(key, value);
        else
            d->values.remove(key);
    }
    d->changed(this);
}

QVariant TQActivityItem::valueForKey(QStringView key) const
{
    if (key == ShouldCancelKey)
        return shouldCancel();
    QMutexLocker lock(&d->mutex);
    if (key == TitleKey)
        return d->title;
    if (key == ProgressKey)
        return d->progress;
    if (key == StartDateKey)
        return d->startDate;
    return d->values.value(key.toString());
}

void TQActivityItem::attachToModel(TQActivityItemsModel *model)
{
    QMutexLocker lock(&d->mutex);
    d->model = model;
    d->changePending = false;
}

void TQActivityItem::detachFromModel(const TQActivityItemsModel *model)
{
    QMutexLocker lock(&d->mutex);
    if (d->model == model)
        d->model = nullptr;
}

void TQActivityItem::clearChangePending()
{
    d->changePending = false;
}
