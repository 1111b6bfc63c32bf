// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQVisibleRowsTracker.h"

#include "TQUiLogging.h"

#include <QEvent>
#include <QHeaderView>
#include <QListView>
#include <QPointer>
#include <QScrollBar>
#include <QTreeView>

#include <algorithm>

namespace {

using Range = TQVisibleRowsTracker::Range;

// Appends \a row to \a ranges, extending the last range when \a row follows it among siblings.
void appendRow(QList<Range> &ranges, const QModelIndex &parent, int row)
{
    if (!ranges.isEmpty() && ranges.last().parent == parent && ranges.last().last + 1 == row) {
        ranges.last().last = row;
        return;
    }
    ranges.append(Range{QPersistentModelIndex(parent), row, row});
}

// The runs of \a rows (ascending) under \a parent, each widened by \a margin within [0, count).
QList<Range> rangesOfRows(const QList<int> &rows, const QModelIndex &parent, int margin, int count)
{
    QList<Range> ranges;
    for (const int row : rows) {
        const int first = std::max(0, row - margin);
        const int last = std::min(count - 1, row + margin);
        if (!ranges.isEmpty() && ranges.last().last + 1 >= first) {
            ranges.last().last = std::max(ranges.last().last, last);
            continue;
        }
        ranges.append(Range{QPersistentModelIndex(parent), first, last});
    }
    return ranges;
}

QList<Range> contiguousRange(const QModelIndex &parent, int first, int last, int margin, int count)
{
    if (first < 0 || last < first)
        return {};
    return {Range{QPersistentModelIndex(parent), std::max(0, first - margin), std::min(count - 1, last + margin)}};
}

// Rows of a list view whose layout keeps rows in order along the scrolling axis (Static and
// Snap movement): a binary search from each end. Hidden rows have no rectangle, so a probe
// that lands on one looks at the next shown row in the direction of the search.
QList<Range> listViewRanges(const QListView *view, int margin)
{
    const QAbstractItemModel *model = view->model();
    const QModelIndex root = view->rootIndex();
    const int count = model->rowCount(root);
    const int column = view->modelColumn();
    const QRect viewport = view->viewport()->rect();
    if (count == 0 || viewport.isEmpty())
        return {};

    const bool vertical = (view->flow() == QListView::TopToBottom) != view->isWrapping();
    const bool mirrored = !vertical && view->isRightToLeft();
    auto rectOf = [&](int row) { return view->visualRect(model->index(row, column, root)); };

    if (view->movement() == QListView::Free) {
        QList<int> rows;
        for (int row = 0; row < count; ++row) {
            if (!view->isRowHidden(row) && rectOf(row).intersects(viewport))
                rows.append(row);
        }
        return rangesOfRows(rows, root, margin, count);
    }

    auto nextShown = [&](int row) {
        while (row < count && view->isRowHidden(row))
            ++row;
        return row;
    };
    auto previousShown = [&](int row) {
        while (row >= 0 && view->isRowHidden(row))
            --row;
        return row;
    };
    // Whether the item reaches past the start of the viewport along the axis.
    auto reachesStart = [&](const QRect &rect) {
        if (vertical)
            return rect.bottom() >= viewport.top();
        return mirrored ? rect.left() <= viewport.right() : rect.right() >= viewport.left();
    };
    // Whether the item starts before the end of the viewport along the axis.
    auto startsBeforeEnd = [&](const QRect &rect) {
        if (vertical)
            return rect.top() <= viewport.bottom();
        return mirrored ? rect.right() >= viewport.left() : rect.left() <= viewport.right();
    };

    // The smallest row whose next shown row reaches the start (rows past the end count as reaching).
    int low = 0;
    int high = count;
    while (low < high) {
        const int middle = low + (high - low) / 2;
        const int shown = nextShown(middle);
        if (shown == count || reachesStart(rectOf(shown)))
            high = middle;
        else
            low = middle + 1;
    }
    const int first = nextShown(low);
    // The largest row whose previous shown row starts before the end.
    low = -1;
    high = count - 1;
    while (low < high) {
        const int middle = high - (high - low) / 2;
        const int shown = previousShown(middle);
        if (shown < 0 || startsBeforeEnd(rectOf(shown)))
            low = middle;
        else
            high = middle - 1;
    }
    const int last = previousShown(low);
    if (first >= count || last < 0 || !rectOf(first).intersects(viewport))
        return {};
    return contiguousRange(root, first, last, margin, count);
}

// Rows of a tree on screen: the row at the top of the viewport, then the rows below it in
// display order until one starts below the viewport; the margin walks on in both directions.
QList<Range> treeViewRanges(const QTreeView *view, int margin)
{
    const QHeaderView *header = view->header();
    int column = -1;
    for (int visual = 0; visual < header->count(); ++visual) {
        const int logical = header->logicalIndex(visual);
        if (!header->isSectionHidden(logical)) {
            column = logical;
            break;
        }
    }
    const QRect viewport = view->viewport()->rect();
    if (column < 0 || viewport.isEmpty())
        return {};

    const QPoint top(header->sectionViewportPosition(column), viewport.top());
    QModelIndex index = view->indexAt(top);
    if (!index.isValid())
        return {};
    index = index.siblingAtColumn(column);

    QList<QModelIndex> before;
    QModelIndex above = view->indexAbove(index);
    for (int i = 0; i < margin && above.isValid(); ++i) {
        before.prepend(above);
        above = view->indexAbove(above);
    }

    QList<Range> ranges;
    for (const QModelIndex &row : std::as_const(before))
        appendRow(ranges, row.parent(), row.row());
    int extra = 0;
    for (; index.isValid(); index = view->indexBelow(index)) {
        if (view->visualRect(index).top() > viewport.bottom() && ++extra > margin)
            break;
        appendRow(ranges, index.parent(), index.row());
    }
    return ranges;
}

// Any other view: each row under the root, by the rectangle of its first column.
QList<Range> genericRanges(const QAbstractItemView *view, int margin)
{
    const QAbstractItemModel *model = view->model();
    const QModelIndex root = view->rootIndex();
    const int count = model->rowCount(root);
    const QRect viewport = view->viewport()->rect();
    QList<int> rows;
    for (int row = 0; row < count; ++row) {
        const QRect rect = view->visualRect(model->index(row, 0, root));
        if (rect.isValid() && rect.bottom() >= viewport.top() && rect.top() <= viewport.bottom())
            rows.append(row);
    }
    return rangesOfRows(rows, root, margin, count);
}

// The row under \a root that \a index is, or descends from; -1 if it is not under \a root.
int rowUnderRoot(QModelIndex index, const QModelIndex &root)
{
    while (index.isValid() && index.parent() != root)
        index = index.parent();
    return index.isValid() ? index.row() : -1;
}

} // namespace

struct TQVisibleRowsTracker::Private
{
    QPointer<QAbstractItemView> view;
    // Compared with the watched object only: while the view is being destroyed its viewport
    // still sends events, and the view can no longer be used as a QAbstractItemView then.
    QPointer<QWidget> viewport;
    QPointer<QAbstractItemModel> model;
    QList<QMetaObject::Connection> modelConnections;
    int margin = 0;
    QList<Range> ranges;
    int firstRow = -1;
    int lastRow = -1;
    bool pending = false;
    // Rows came or went since the last answer, so equal row numbers may name other items.
    bool rowsChanged = false;
};

TQVisibleRowsTracker::TQVisibleRowsTracker(QAbstractItemView *view, QObject *parent)
    : QObject(parent ? parent : view)
    , d(std::make_unique<Private>())
{
    d->view = view;
    if (!view)
        return;
    for (QScrollBar *bar : {view->verticalScrollBar(), view->horizontalScrollBar()}) {
        connect(bar, &QScrollBar::valueChanged, this, &TQVisibleRowsTracker::refresh);
        connect(bar, &QScrollBar::rangeChanged, this, &TQVisibleRowsTracker::refresh);
    }
    if (auto *tree = qobject_cast<QTreeView *>(view)) {
        connect(tree, &QTreeView::expanded, this, &TQVisibleRowsTracker::refresh);
        connect(tree, &QTreeView::collapsed, this, &TQVisibleRowsTracker::refresh);
    }
    d->viewport = view->viewport();
    d->viewport->installEventFilter(this);
    refresh();
}

TQVisibleRowsTracker::~TQVisibleRowsTracker() = default;

QAbstractItemView *TQVisibleRowsTracker::view() const
{
    return d->view;
}

int TQVisibleRowsTracker::margin() const
{
    return d->margin;
}

void TQVisibleRowsTracker::setMargin(int rows)
{
    rows = std::max(0, rows);
    if (rows == d->margin)
        return;
    d->margin = rows;
    refresh();
}

QList<TQVisibleRowsTracker::Range> TQVisibleRowsTracker::ranges() const
{
    return d->ranges;
}

int TQVisibleRowsTracker::firstRow() const
{
    return d->firstRow;
}

int TQVisibleRowsTracker::lastRow() const
{
    return d->lastRow;
}

bool TQVisibleRowsTracker::isVisible(const QModelIndex &index) const
{
    if (!index.isValid())
        return false;
    const QModelIndex parent = index.parent();
    const int row = index.row();
    return std::any_of(d->ranges.cbegin(), d->ranges.cend(), [&](const Range &range) {
        return range.parent == parent && row >= range.first && row <= range.last;
    });
}

void TQVisibleRowsTracker::refresh()
{
    if (d->pending)
        return;
    d->pending = true;
    QMetaObject::invokeMethod(this, &TQVisibleRowsTracker::update, Qt::QueuedConnection);
}

void TQVisibleRowsTracker::update()
{
    d->pending = false;
    QAbstractItemModel *model = d->view ? d->view->model() : nullptr;
    if (model != d->model) {
        for (const QMetaObject::Connection &connection : std::as_const(d->modelConnections))
            disconnect(connection);
        d->modelConnections.clear();
        d->model = model;
        d->rowsChanged = true;
        if (model) {
            auto changed = [this] {
                d->rowsChanged = true;
                refresh();
            };
            d->modelConnections = {
                connect(model, &QAbstractItemModel::rowsInserted, this, changed),
                connect(model, &QAbstractItemModel::rowsRemoved, this, changed),
                connect(model, &QAbstractItemModel::rowsMoved, this, changed),
                connect(model, &QAbstractItemModel::layoutChanged, this, changed),
                connect(model, &QAbstractItemModel::modelReset, this, changed),
            };
        }
    }

    QList<Range> ranges;
    if (model) {
        if (const auto *list = qobject_cast<const QListView *>(d->view.data()))
            ranges = listViewRanges(list, d->margin);
        else if (const auto *tree = qobject_cast<const QTreeView *>(d->view.data()))
            ranges = treeViewRanges(tree, d->margin);
        else
            ranges = genericRanges(d->view, d->margin);
    }
    if (ranges == d->ranges && !d->rowsChanged)
        return;
    d->rowsChanged = false;
    d->ranges = std::move(ranges);
    d->firstRow = -1;
    d->lastRow = -1;
    if (!d->ranges.isEmpty()) {
        const QModelIndex root = d->view->rootIndex();
        const Range &first = d->ranges.first();
        const Range &last = d->ranges.last();
        d->firstRow = first.parent == root ? first.first
                                           : rowUnderRoot(model->index(first.first, 0, first.parent), root);
        d->lastRow = last.parent == root ? last.last : rowUnderRoot(model->index(last.last, 0, last.parent), root);
    }
    qCDebug(lcUi) << "visible rows" << d->ranges;
    Q_EMIT visibleRowsChanged();
}

bool TQVisibleRowsTracker::eventFilter(QObject *watched, QEvent *event)
{
    if ((event->type() == QEvent::Resize || event->type() == QEvent::Show) && watched == d->viewport.data())
        refresh();
    return QObject::eventFilter(watched, event);
}

QDebug operator<<(QDebug debug, const TQVisibleRowsTracker::Range &range)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "Range(" << range.first << ".." << range.last;
    if (range.parent.isValid())
        debug << " under row " << range.parent.row();
    debug << ')';
    return debug;
}
