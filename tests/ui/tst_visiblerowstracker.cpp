// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQVisibleRowsTracker.h"

#include <QApplication>
#include <QListView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>
#include <QTreeView>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using Range = TQVisibleRowsTracker::Range;

namespace {

enum class Shape { List, ListHorizontal, Icons, IconsFree, IconsRightToLeft, Tree };

// A flat model of \a count rows, or for a tree 40 folders of 30 files each.
std::unique_ptr<QStandardItemModel> makeModel(Shape shape, int count)
{
    auto model = std::make_unique<QStandardItemModel>();
    if (shape != Shape::Tree) {
        for (int row = 0; row < count; ++row)
            model->appendRow(new QStandardItem(u"file %1.jpg"_s.arg(row)));
        return model;
    }
    for (int folder = 0; folder < 40; ++folder) {
        auto *item = new QStandardItem(u"folder %1"_s.arg(folder));
        for (int file = 0; file < 30; ++file)
            item->appendRow(new QStandardItem(u"file %1.%2"_s.arg(folder).arg(file)));
        model->appendRow(item);
    }
    return model;
}

std::unique_ptr<QAbstractItemView> makeView(Shape shape)
{
    if (shape == Shape::Tree)
        return std::make_unique<QTreeView>();
    auto list = std::make_unique<QListView>();
    list->setUniformItemSizes(true);
    if (shape == Shape::ListHorizontal)
        list->setFlow(QListView::LeftToRight);
    if (shape >= Shape::Icons) {
        list->setViewMode(QListView::IconMode);
        list->setGridSize(QSize(90, 60));
        list->setMovement(shape == Shape::IconsFree ? QListView::Free : QListView::Static);
    }
    if (shape == Shape::IconsRightToLeft) {
        list->setLayoutDirection(Qt::RightToLeft);
        list->setFlow(QListView::TopToBottom);
    }
    return list;
}

// Every index the view shows, in display order: the children of expanded rows after their parent.
QList<QModelIndex> displayOrder(const QAbstractItemView *view)
{
    QList<QModelIndex> order;
    const auto *tree = qobject_cast<const QTreeView *>(view);
    const auto *list = qobject_cast<const QListView *>(view);
    std::function<void(const QModelIndex &)> walk = [&](const QModelIndex &parent) {
        for (int row = 0; row < view->model()->rowCount(parent); ++row) {
            if ((tree && tree->isRowHidden(row, parent)) || (list && list->isRowHidden(row)))
                continue;
            const QModelIndex index = view->model()->index(row, 0, parent);
            order.append(index);
            if (tree && tree->isExpanded(index))
                walk(index);
        }
    };
    walk(view->rootIndex());
    return order;
}

// The rows a brute-force look at every item finds on screen, widened by \a margin in display
// order, as runs of siblings. Hidden rows inside a run are left in, as the tracker does.
QList<Range> expectedRanges(const QAbstractItemView *view, int margin)
{
    const QList<QModelIndex> order = displayOrder(view);
    const QRect viewport = view->viewport()->rect();
    qsizetype first = -1;
    qsizetype last = -1;
    for (qsizetype i = 0; i < order.size(); ++i) {
        if (view->visualRect(order.at(i)).intersects(viewport)) {
            if (first < 0)
                first = i;
            last = i;
        }
    }
    QList<Range> ranges;
    if (first < 0)
        return ranges;
    first = std::max<qsizetype>(0, first - margin);
    last = std::min<qsizetype>(order.size() - 1, last + margin);
    for (qsizetype i = first; i <= last; ++i) {
        const QModelIndex &index = order.at(i);
        if (!ranges.isEmpty() && ranges.last().parent == index.parent() && ranges.last().last < index.row()) {
            ranges.last().last = index.row();
            continue;
        }
        ranges.append(Range{QPersistentModelIndex(index.parent()), index.row(), index.row()});
    }
    return ranges;
}

void settle(TQVisibleRowsTracker &tracker)
{
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    tracker.update();
}

// The top-level row (under the view's root) \a row under \a parent is or lies in.
int topRow(const QAbstractItemView *view, QModelIndex index)
{
    while (index.parent() != view->rootIndex())
        index = index.parent();
    return index.row();
}

// The tracker's answer is the brute-force one, first and last top-level rows included.
void compareWithTheView(const TQVisibleRowsTracker &tracker, const QAbstractItemView *view, int margin)
{
    const QList<Range> expected = expectedRanges(view, margin);
    QCOMPARE(tracker.ranges(), expected);
    const QAbstractItemModel *model = view->model();
    QCOMPARE(tracker.firstRow(), expected.isEmpty() ? -1 : topRow(view, model->index(expected.first().first, 0, expected.first().parent)));
    QCOMPARE(tracker.lastRow(), expected.isEmpty() ? -1 : topRow(view, model->index(expected.last().last, 0, expected.last().parent)));
}

} // namespace

Q_DECLARE_METATYPE(Shape)

class TestVisibleRowsTracker : public QObject
{
    Q_OBJECT

private slots:
    void matchesWhatTheViewShows_data()
    {
        QTest::addColumn<Shape>("shape");
        QTest::addColumn<int>("scrollTo");
        QTest::addColumn<int>("margin");
        QTest::addColumn<QList<int>>("hiddenRows");

        QTest::newRow("a list at the top") << Shape::List << 0 << 0 << QList<int>();
        QTest::newRow("a list scrolled to the end, with a margin") << Shape::List << 9999 << 5 << QList<int>();
        QList<int> everyThird;
        for (int row = 3900; row < 4100; row += 3)
            everyThird.append(row);
        QTest::newRow("a list with every third row hidden") << Shape::List << 4001 << 0 << everyThird;
        QTest::newRow("a list with a hidden run past the end") << Shape::List << 9990 << 0 << QList<int>{9995, 9996, 9997, 9998, 9999};
        QTest::newRow("a horizontal list scrolled") << Shape::ListHorizontal << 5000 << 2 << QList<int>();
        QTest::newRow("an icon grid scrolled, with a margin") << Shape::Icons << 6000 << 12 << QList<int>();
        QTest::newRow("an icon grid with free movement") << Shape::IconsFree << 300 << 3 << QList<int>();
        QTest::newRow("columns of icons, right to left") << Shape::IconsRightToLeft << 5000 << 0 << QList<int>();
        QTest::newRow("a tree with folders open, with a margin") << Shape::Tree << 5 + 31 * 3 + 28 << 40 << QList<int>();
    }

    void matchesWhatTheViewShows()
    {
        QFETCH(Shape, shape);
        QFETCH(int, scrollTo);
        QFETCH(int, margin);
        QFETCH(QList<int>, hiddenRows);

        const std::unique_ptr<QStandardItemModel> model = makeModel(shape, shape == Shape::IconsFree ? 600 : 10000);
        const std::unique_ptr<QAbstractItemView> view = makeView(shape);
        view->setModel(model.get());
        view->resize(420, 300);
        auto *tree = qobject_cast<QTreeView *>(view.get());
        for (const int row : hiddenRows)
            qobject_cast<QListView *>(view.get())->setRowHidden(row, true);
        for (int folder = 5; tree && folder < 12; ++folder)
            tree->expand(model->index(folder, 0));
        TQVisibleRowsTracker tracker(view.get());
        tracker.setMargin(margin);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));

        const QModelIndex target = tree ? displayOrder(tree).at(scrollTo) : model->index(scrollTo, 0);
        view->scrollTo(target, QAbstractItemView::PositionAtCenter);
        settle(tracker);

        const QList<Range> expected = expectedRanges(view.get(), margin);
        QVERIFY(!expected.isEmpty());
        if (scrollTo > 0)
            QVERIFY2(expected.first().first > 0 || expected.first().parent.isValid(), "the view did not scroll");
        compareWithTheView(tracker, view.get(), margin);
        for (const Range &range : expected) { // both ends count as visible
            QVERIFY(tracker.isVisible(model->index(range.first, 0, range.parent)));
            QVERIFY(tracker.isVisible(model->index(range.last, 0, range.parent)));
        }
        QVERIFY(!tracker.isVisible(model->index(0, 0)) || expected.first().first == 0);
        const Range &end = expected.last();
        if (end.last + 1 < model->rowCount(end.parent))
            QVERIFY(!tracker.isVisible(model->index(end.last + 1, 0, end.parent)));
    }

    void followsChanges_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("many changes in one turn of the event loop make one signal") << u"many"_s;
        QTest::newRow("a margin set alone") << u"margin"_s;
        QTest::newRow("rows inserted off screen move the items under the row numbers") << u"insert"_s;
        QTest::newRow("every row removed") << u"remove"_s;
        QTest::newRow("a new model set on the view, announced by refresh()") << u"model"_s;
        QTest::newRow("a folder of a tree opened") << u"expand"_s;
        QTest::newRow("the viewport grows by half a row, the scroll range the same") << u"resize"_s;
    }

    // After each change to what the view shows, one signal in the next turn of the event
    // loop, and the answer fits the view again.
    void followsChanges()
    {
        QFETCH(QString, change);
        const bool isTree = change == u"expand";
        const std::unique_ptr<QStandardItemModel> model = makeModel(isTree ? Shape::Tree : Shape::List, 500);
        const std::unique_ptr<QStandardItemModel> other = makeModel(Shape::List, 50);
        const std::unique_ptr<QAbstractItemView> view = makeView(isTree ? Shape::Tree : Shape::List);
        view->setModel(model.get());
        view->resize(300, isTree ? 900 : 200);
        TQVisibleRowsTracker tracker(view.get());
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        if (!isTree)
            view->scrollTo(model->index(250, 0), QAbstractItemView::PositionAtTop);
        const int rowHeight = view->visualRect(model->index(0, 0)).height();
        if (change == u"resize") // whole rows fill the viewport, the last one to its bottom edge
            view->resize(300, view->height() - view->viewport()->height() % rowHeight);
        settle(tracker);
        compareWithTheView(tracker, view.get(), 0);
        const int lastRow = tracker.lastRow();
        const int scrollRange = view->verticalScrollBar()->maximum();

        QSignalSpy changed(&tracker, &TQVisibleRowsTracker::visibleRowsChanged);
        const int margin = change == u"many" || change == u"margin" ? 3 : 0;
        if (change == u"many") {
            for (int step = 1; step <= 20; ++step)
                view->verticalScrollBar()->setValue(step * 10);
            view->resize(300, 260);
            model->insertRow(0, new QStandardItem(u"new"_s));
            tracker.setMargin(margin);
        } else if (change == u"margin") {
            tracker.setMargin(margin);
        } else if (change == u"insert") {
            model->insertRows(0, 3);
        } else if (change == u"remove") {
            model->removeRows(0, model->rowCount());
        } else if (change == u"model") {
            view->setModel(other.get());
            tracker.refresh();
        } else if (change == u"resize") {
            // Only the viewport's resizing tells: per-item scrolling keeps the scroll bar as it was.
            view->resize(300, view->height() + rowHeight / 2);
        } else {
            qobject_cast<QTreeView *>(view.get())->expand(model->index(2, 0));
        }
        QCOMPARE(changed.count(), 0);
        QTRY_COMPARE(changed.count(), 1);
        const auto turns = [] {
            for (int turn = 0; turn < 5; ++turn)
                QCoreApplication::processEvents();
        };
        turns();
        QCOMPARE(changed.count(), 1);
        compareWithTheView(tracker, view.get(), margin);
        QCOMPARE(tracker.ranges().isEmpty(), change == u"remove");
        // Nothing changed since: no signal.
        tracker.refresh();
        turns();
        QCOMPARE(changed.count(), 1);
        if (change == u"resize") {
            QCOMPARE(view->verticalScrollBar()->maximum(), scrollRange);
            QCOMPARE(tracker.lastRow(), lastRow + 1);
        } else if (change == u"model") {
            other->removeRow(0); // the tracker listens to the new model
            QVERIFY(changed.wait());
        } else if (isTree) {
            QCOMPARE(tracker.ranges().size(), 3);
            QCOMPARE(tracker.ranges().at(1).parent, QPersistentModelIndex(model->index(2, 0)));
            QVERIFY(tracker.lastRow() < lastRow);
            QVERIFY(tracker.isVisible(model->index(0, 0, model->index(2, 0))));
        }
    }
};

QTEST_MAIN(TestVisibleRowsTracker)
#include "tst_visiblerowstracker.moc"
