// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QList>
#include <QModelIndex>
#include <QPersistentModelIndex>

class QTreeView;

/*!
    \namespace TQOutlineViewUtilities
    \brief Selection and expansion of a tree view by item.

    An item is the QModelIndex of column 0 of a row of the view's model. A "row" is a line the
    view shows: an item has a row only when it lies under the view's root index and every
    ancestor down to the root is expanded and no row on the way (the item's own included) is
    hidden (QTreeView::isRowHidden). An item without a row is skipped by every function here;
    nothing is expanded to reach it.

    Rows come in the order the view shows them (a parent before its children, children in
    the model's order). Selection goes through the view's QItemSelectionModel and selects
    whole rows.

    GUI thread only. A null view, or one without a model or selection model, has no rows.

    \ingroup ui
*/
namespace TQOutlineViewUtilities {

/*!
    The item of the selected row: the current index's row when it is selected (the row the
    user or selectItems() selected last), else the last selected row in view order. An
    invalid index when no row is selected.
*/
TQKIT_EXPORT QModelIndex selectedItem(const QTreeView *self);

/*! The items of all selected rows, in view order; selected items without a row are left out. */
TQKIT_EXPORT QModelIndexList allSelectedItems(const QTreeView *self);

/*!
    Expands every item that has children, at every level, walking the rows from the top
    and taking in the rows each expansion reveals (a model that fetches its children lazily
    is asked for them as each item expands). Items under hidden rows stay as they are.
*/
TQKIT_EXPORT void expandAllItems(QTreeView *self);

/*!
    Selects the rows of \a items, in their order, after clearing the selection unless
    \a byExtendingSelection. Items without a row, and indexes of another model, are skipped
    (their parents are not expanded). The last row selected becomes the current index (without
    changing the selection), so selectedItem() answers it. An empty list with
    \a byExtendingSelection false leaves nothing selected.
*/
TQKIT_EXPORT void selectItems(QTreeView *self, const QModelIndexList &items, bool byExtendingSelection);
//! \overload
TQKIT_EXPORT void selectItems(QTreeView *self, const QList<QPersistentModelIndex> &items,
                              bool byExtendingSelection);

/*! Whether \a item has a row in \a self, as described above. */
TQKIT_EXPORT bool hasRow(const QTreeView *self, const QModelIndex &item);

} // namespace TQOutlineViewUtilities
