// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQOutlineViewUtilities.h"

#include "TQUiLogging.h"

#include <QAbstractItemModel>
#include <QItemSelectionModel>
#include <QSet>
#include <QTreeView>
#include <QVarLengthArray>

#include <algorithm>

namespace {

bool usable(const QTreeView *view)
{
    return view && view->model() && view->selectionModel();
}

// The rows from the root down to the item: comparing these in dictionary order gives the
// order the view shows its rows in (a parent, a prefix, before its children).
using RowPath = QVarLengthArray<int, 8>;

RowPath rowPath(QModelIndex index)
{
    RowPath path;
    for (; index.isValid(); index = index.parent())
        path.append(index.row());
    std::reverse(path.begin(), path.end());
    return path;
}

void sortInViewOrder(QModelIndexList &items)
{
    QList<std::pair<RowPath, QModelIndex>> keyed;
    keyed.reserve(items.size());
    for (const QModelIndex &item : std::as_const(items))
        keyed.append({rowPath(item), item});
    std::sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) {
        return std::lexicographical_compare(a.first.begin(), a.first.end(), b.first.begin(), b.first.end());
    });
    for (qsizetype i = 0; i < keyed.size(); ++i)
        items[i] = keyed[i].second;
}

// Column 0 of every row that has any selected cell and a row of its own, in no order.
QSet<QModelIndex> selectedRowItems(const QTreeView *view)
{
    QSet<QModelIndex> items;
    const QItemSelection selection = view->selectionModel()->selection();
    for (const QItemSelectionRange &range : selection) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            const QModelIndex item = view->model()->index(row, 0, range.parent());
            if (TQOutlineViewUtilities::hasRow(view, item))
                items.insert(item);
        }
    }
    return items;
}

template<typename Items>
void selectItemsImpl(QTreeView *view, const Items &items, bool byExtendingSelection)
{
    if (!usable(view))
        return;
    QItemSelectionModel *selection = view->selectionModel();
    if (!byExtendingSelection)
        selection->clearSelection();
    QModelIndex last;
    for (const auto &given : items) {
        const QModelIndex item(given);
        if (!TQOutlineViewUtilities::hasRow(view, item)) {
            qCDebug(lcUi) << "selectItems: skipping an item without a row in the view:" << item;
            continue;
        }
        selection->select(item, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        last = item;
    }
    if (last.isValid())
        selection->setCurrentIndex(last, QItemSelectionModel::NoUpdate);
}

} // namespace

namespace TQOutlineViewUtilities {

bool hasRow(const QTreeView *self, const QModelIndex &item)
{
    if (!self || !item.isValid() || item.model() != self->model())
        return false;
    const QModelIndex root = self->rootIndex();
    QModelIndex index = item;
    if (index == root)
        return false;
    while (index != root) {
        // Reaching the top of the model without meeting the root: the item is outside it.
        // (The expansion test below already answers that, as the top is never expanded;
        // this keeps the walk finite on its own.)
        if (!index.isValid())
            return false;
        const QModelIndex parent = index.parent();
        if (self->isRowHidden(index.row(), parent))
            return false;
        if (parent != root && !self->isExpanded(parent))
            return false;
        index = parent;
    }
    return true;
}

QModelIndex selectedItem(const QTreeView *self)
{
    if (!usable(self))
        return {};
    const QSet<QModelIndex> selected = selectedRowItems(self);
    if (selected.isEmpty())
        return {};
    const QModelIndex current = self->selectionModel()->currentIndex().siblingAtColumn(0);
    if (selected.contains(current))
        return current;
    QModelIndexList items(selected.cbegin(), selected.cend());
    sortInViewOrder(items);
    return items.constLast();
}

QModelIndexList allSelectedItems(const QTreeView *self)
{
    if (!usable(self))
        return {};
    const QSet<QModelIndex> selected = selectedRowItems(self);
    QModelIndexList items(selected.cbegin(), selected.cend());
    sortInViewOrder(items);
    return items;
}

void expandAllItems(QTreeView *self)
{
    if (!usable(self))
        return;
    QAbstractItemModel *model = self->model();
    // An explicit stack rather than recursion: a deep tree must not exhaust the thread's stack.
    struct Level
    {
        QModelIndex parent;
        int nextRow;
    };
    QList<Level> stack{{self->rootIndex(), 0}};
    while (!stack.isEmpty()) {
        Level &level = stack.last();
        // The count is read again at every step: expanding may have fetched more rows.
        if (level.nextRow >= model->rowCount(level.parent)) {
            stack.removeLast();
            continue;
        }
        const int row = level.nextRow++;
        const QModelIndex parent = level.parent;
        if (self->isRowHidden(row, parent))
            continue;
        const QModelIndex item = model->index(row, 0, parent);
        if (!model->hasChildren(item))
            continue;
        self->expand(item);
        if (model->canFetchMore(item))
            model->fetchMore(item);
        stack.append({item, 0});
    }
}

void selectItems(QTreeView *self, const QModelIndexList &items, bool byExtendingSelection)
{
    selectItemsImpl(self, items, byExtendingSelection);
}

void selectItems(QTreeView *self, const QList<QPersistentModelIndex> &items, bool byExtendingSelection)
{
    selectItemsImpl(self, items, byExtendingSelection);
}

} // namespace TQOutlineViewUtilities
