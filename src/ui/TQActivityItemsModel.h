// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQActivityItem.h"

#include <QAbstractListModel>
#include <QList>

#include <memory>

/*!
    \class TQActivityItemsModel
    \brief The list of running tasks behind the activity window, one row per TQActivityItem
    (the window's array controller).

    All additions and removals go through addObject() and removeObject() so that views follow
    with exact row insertions and removals. A change an item reports (from any thread) arrives
    here on the GUI thread and is announced as dataChanged() for that item's row, all roles.

    Thread rules: the model is a GUI-thread object, except content(), which may be called from
    any thread and gives a snapshot. The items it holds follow their own rules (TQActivityItem).

    \ingroup ui
*/
class TQKIT_EXPORT TQActivityItemsModel : public QAbstractListModel
{
    Q_OBJECT

public:
    //! The model's own item data roles, beside Qt::DisplayRole (the title).
    enum Role {
        //! The TQActivityItemRef of the row.
        ItemRole = Qt::UserRole + 1,
        //! The fraction done (double; negative when not known).
        ProgressRole,
        //! The start date (QDateTime).
        StartDateRole,
        //! Whether the task was asked to stop (bool).
        ShouldCancelRole,
        //! The time-remaining text for the fraction done, measured from the start date ("" while
        //! nothing is done or the amount is not known).
        TimeLeftRole,
    };
    Q_ENUM(Role)

    //! Every row is this tall (Qt::SizeHintRole), in device-independent pixels.
    static constexpr int RowHeight = 80;

    //! An empty list.
    explicit TQActivityItemsModel(QObject *parent = nullptr);
    ~TQActivityItemsModel() override;

    //! A new item starting now; it is not added.
    TQActivityItemRef newObject() const;

    /*! Appends \a item as the last row. A null item, or one already in the list, is not
        added; returns whether a row was added. */
    bool addObject(const TQActivityItemRef &item);

    //! Removes \a item's row; returns whether it was in the list.
    bool removeObject(const TQActivityItemRef &item);

    //! The items in row order: a snapshot, callable from any thread.
    QList<TQActivityItemRef> content() const;
    //! Replaces every row (a reset); duplicates and null items are dropped.
    void setContent(const QList<TQActivityItemRef> &items);

    //! The item of \a row, or null.
    TQActivityItemRef itemAt(int row) const;
    //! The row of \a item, or -1.
    int rowOf(const TQActivityItem *item) const;

    //! \name Reimplemented from QAbstractItemModel
    //!@{

    //! The list as a flat model: one row per item, the roles above.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;
    //!@}

private:
    friend class TQActivityItem;
    void postItemChanged(const TQActivityItem *item);
    void itemChanged(const TQActivityItem *item);

    struct Private;
    std::unique_ptr<Private> const d;
};
