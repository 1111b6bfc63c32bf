// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQActivityItemsModel.h"
#include "TQDateUtilities.h"
#include "TQUiLogging.h"

#include <QMutex>
#include <QMutexLocker>
#include <QSize>

struct TQActivityItemsModel::Private
{
    // Guards the list against content() from other threads; only the GUI thread writes.
    mutable QMutex mutex;
    QList<TQActivityItemRef> items;
};

namespace {

void registerItemType()
{
    static const bool registered = [] {
        TQKeyValueCoding::registerReferenceType<TQActivityItem>();
        return true;
    }();
    Q_UNUSED(registered);
}

} // namespace

TQActivityItemsModel::TQActivityItemsModel(QObject *parent)
    : QAbstractListModel(parent)
    , d(std::make_unique<Private>())
{
    registerItemType();
}

TQActivityItemsModel::~TQActivityItemsModel()
{
    // Items outlive the list when a worker still holds them; they must stop posting here.
    for (const TQActivityItemRef &item : std::as_const(d->items)) {
        item->detachFromModel(this);
    }
}

TQActivityItemRef TQActivityItemsModel::newObject() const
{
    return std::make_shared<TQActivityItem>();
}

bool TQActivityItemsModel::addObject(const TQActivityItemRef &item)
{
    if (!item) {
        qCDebug(lcUi) << "Activity list: no item to add";
        return false;
    }
    if (rowOf(item.get()) >= 0) {
        qCDebug(lcUi) << "Activity list: item" << item->title() << "is listed already";
        return false;
    }
    const int row = rowCount();
    beginInsertRows(QModelIndex(), row, row);
    {
        QMutexLocker lock(&d->mutex);
        d->items.append(item);
    }
    item->attachToModel(this);
    endInsertRows();
    return true;
}

bool TQActivityItemsModel::removeObject(const TQActivityItemRef &item)
{
    const int row = item ? rowOf(item.get()) : -1;
    if (row < 0)
        return false;
    beginRemoveRows(QModelIndex(), row, row);
    {
        item->detachFromModel(this);
    }
    {
        QMutexLocker lock(&d->mutex);
        d->items.removeAt(row);
    }
    endRemoveRows();
    return true;
}

QList<TQActivityItemRef> TQActivityItemsModel::content() const
{
    QMutexLocker lock(&d->mutex);
    return d->items;
}

void TQActivityItemsModel::setContent(const QList<TQActivityItemRef> &items)
{
    beginResetModel();
    QList<TQActivityItemRef> old;
    {
        QMutexLocker lock(&d->mutex);
        old.swap(d->items);
    }
    for (const TQActivityItemRef &item : std::as_const(old)) {
        item->detachFromModel(this);
    }
    QList<TQActivityItemRef> kept;
    for (const TQActivityItemRef &item : items) {
        if (!item || kept.contains(item))
            continue;
        kept.append(item);
        item->attachToModel(this);
    }
    {
        QMutexLocker lock(&d->mutex);
        d->items = std::move(kept);
    }
    endResetModel();
}

TQActivityItemRef TQActivityItemsModel::itemAt(int row) const
{
    QMutexLocker lock(&d->mutex);
    return row >= 0 && row < d->items.size() ? d->items.at(row) : TQActivityItemRef();
}

int TQActivityItemsModel::rowOf(const TQActivityItem *item) const
{
    QMutexLocker lock(&d->mutex);
    for (int row = 0; row < d->items.size(); ++row) {
        if (d->items.at(row).get() == item)
            return row;
    }
    return -1;
}

int TQActivityItemsModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid())
        return 0;
    QMutexLocker lock(&d->mutex);
    return int(d->items.size());
}

QVariant TQActivityItemsModel::data(const QModelIndex &index, int role) const
{
    const TQActivityItemRef item = index.isValid() && !index.parent().isValid() ? itemAt(index.row()) : nullptr;
    if (!item)
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return item->title();
    case Qt::SizeHintRole:
        return QSize(0, RowHeight);
    case ItemRole:
        return QVariant::fromValue(item);
    case ProgressRole:
        return item->progress();
    case StartDateRole:
        return item->startDate();
    case ShouldCancelRole:
        return item->shouldCancel();
    case TimeLeftRole: {
        // An amount not known has no estimate; past "all done" the estimate would count
        // backwards into an enormous number of days, so the display stops at done.
        const double fraction = item->progress();
        if (!(fraction > 0.0))
            return QString();
        return TQDateUtilities::stringForTimeLeftWithPercentComplete(item->startDate(), qMin(fraction, 1.0));
    }
    default:
        return QVariant();
    }
}

Qt::ItemFlags TQActivityItemsModel::flags(const QModelIndex &index) const
{
    // Rows are shown, not picked: a selection would only hide the row's own controls.
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemNeverHasChildren : Qt::NoItemFlags;
}

QHash<int, QByteArray> TQActivityItemsModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(ItemRole, "item");
    names.insert(ProgressRole, "progress");
    names.insert(StartDateRole, "startDate");
    names.insert(ShouldCancelRole, "shouldCancel");
    names.insert(TimeLeftRole, "timeLeft");
    return names;
}

void TQActivityItemsModel::postItemChanged(const TQActivityItem *item)
{
    // Called under the item's lock, from any thread: only queue, never touch the list here.
    QMetaObject::invokeMethod(this, [this, item] { itemChanged(item); }, Qt::QueuedConnection);
}

void TQActivityItemsModel::itemChanged(const TQActivityItem *item)
{
    // The pointer is compared, never followed, until the list shows it still holds the item:
    // a removed item may be gone by now.
    const int row = rowOf(item);
    if (row < 0)
        return;
    // Cleared before the views read, so a change made while they read posts again.
    itemAt(row)->clearChangePending();
    const QModelIndex changed = index(row);
    emit dataChanged(changed, changed);
}
