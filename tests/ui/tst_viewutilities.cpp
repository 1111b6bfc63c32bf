// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQOutlineViewUtilities.h"
#include "TQScrollViewUtilities.h"
#include "TQWindowUtilities.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QRegularExpression>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

#include <climits>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Two offscreen screens that do not start at the origin, so that a y measured from the top of
// the window's own screen differs from a global y, and an x made relative would show.
constexpr QRect FirstScreen(100, 200, 640, 480);
constexpr QRect SecondScreen(740, 50, 400, 300);

// The model of the tree tests, by path:  A ( A1 ( A1a, A1b ), A2 ),  B ( B1 ),  C
QStandardItemModel *makeTree(QObject *parent)
{
    auto *model = new QStandardItemModel(parent);
    model->setColumnCount(2);
    auto *a = new QStandardItem(u"A"_s);
    auto *a1 = new QStandardItem(u"A1"_s);
    a1->appendRow({new QStandardItem(u"A1a"_s), new QStandardItem(u"A1a size"_s)});
    a1->appendRow({new QStandardItem(u"A1b"_s), new QStandardItem(u"A1b size"_s)});
    a->appendRow({a1, new QStandardItem(u"A1 size"_s)});
    a->appendRow({new QStandardItem(u"A2"_s), new QStandardItem(u"A2 size"_s)});
    auto *b = new QStandardItem(u"B"_s);
    b->appendRow({new QStandardItem(u"B1"_s), new QStandardItem(u"B1 size"_s)});
    model->appendRow({a, new QStandardItem(u"A size"_s)});
    model->appendRow({b, new QStandardItem(u"B size"_s)});
    model->appendRow({new QStandardItem(u"C"_s), new QStandardItem(u"C size"_s)});
    return model;
}

QModelIndex itemNamed(const QAbstractItemModel *model, const QString &name)
{
    const QModelIndexList found =
        model->match(model->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly | Qt::MatchRecursive);
    return found.value(0);
}

QStringList names(const QModelIndexList &items)
{
    QStringList result;
    for (const QModelIndex &item : items)
        result << item.data().toString();
    return result;
}

struct Tree
{
    std::unique_ptr<QTreeView> view = std::make_unique<QTreeView>();
    QStandardItemModel *model = makeTree(view.get());

    Tree()
    {
        view->setModel(model);
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        view->resize(300, 400);
        view->show();
    }
    QModelIndex operator[](const QString &name) const { return itemNamed(model, name); }
    void expand(const QStringList &items) const
    {
        for (const QString &name : items)
            view->expand((*this)[name]);
    }
    void select(const QStringList &items, QItemSelectionModel::SelectionFlags how = QItemSelectionModel::Rows) const
    {
        for (const QString &name : items) {
            const QModelIndex item = (*this)[name];
            const QModelIndex cell = how.testFlag(QItemSelectionModel::Rows) ? item : item.siblingAtColumn(1);
            view->selectionModel()->select(cell, QItemSelectionModel::Select | how);
        }
    }
};

// A call of selectItems() on the tree, and what it leaves.
struct Selecting
{
    QStringList expanded;
    QStringList before; // rows selected first
    QStringList items;
    bool extending = false;
    QStringList selected; // in view order
    QString selectedItem;
    QStringList expandedAfter;
};

} // namespace

Q_DECLARE_METATYPE(Selecting)

class TestViewUtilities : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        // Qt warns about misuse of its views (an index of another model, a bad row); none may occur.
        QTest::failOnWarning(QRegularExpression(u".*"_s));
    }

    // Where a window is, measured from the top of its own screen's free area, and how tall
    // its title bar is.
    void windowMetrics_data()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<QPoint>("framePosition");
        QTest::addColumn<QRect>("screen");
        QTest::addColumn<QPointF>("origin");

        QTest::newRow("decorated, at the top of the screen's free area: y = 0")
            << u"decorated"_s << QPoint(100, 200) << FirstScreen << QPointF(100, 0);
        QTest::newRow("a child answers for its window; x stays global while y is the screen's")
            << u"child"_s << QPoint(150, 250) << FirstScreen << QPointF(150, 50);
        QTest::newRow("frameless, on the second screen: y from that screen's top")
            << u"frameless"_s << QPoint(800, 80) << SecondScreen << QPointF(800, 30);
        QTest::newRow("never shown: no frame yet") << u"unshown"_s << QPoint(150, 250) << FirstScreen << QPointF(150, 50);
        QTest::newRow("no window") << u"null"_s << QPoint(150, 250) << FirstScreen << QPointF();
    }

    void windowMetrics()
    {
        QFETCH(QString, window);
        QFETCH(QPoint, framePosition);
        QFETCH(QRect, screen);
        QFETCH(QPointF, origin);

        QWidget top;
        top.resize(200, 120);
        auto *child = new QLabel(u"content"_s, &top);
        top.setWindowFlag(Qt::FramelessWindowHint, window == u"frameless");
        if (window != u"unshown") {
            top.show();
            QVERIFY(QTest::qWaitForWindowExposed(&top));
        }
        top.move(framePosition);
        QTRY_COMPARE(top.frameGeometry().topLeft(), framePosition);
        QTRY_COMPARE(top.screen()->availableGeometry(), screen);
        const QWidget *asked = window == u"null" ? nullptr : window == u"child" ? child : &top;

        QCOMPARE(TQWindowUtilities::currentOrigin(asked), origin);
        const float height = TQWindowUtilities::titleBarHeight(asked);
        if (window == u"decorated" || window == u"child") {
            const int frameExtra = top.frameGeometry().height() - top.geometry().height();
            QVERIFY2(frameExtra > 0, "the platform reports no frame, so nothing is tested");
            QCOMPARE(height, float(frameExtra));
        } else {
            QCOMPARE(height, 0.0f);
        }
    }

    void offsetXY_data()
    {
        QTest::addColumn<QPoint>("start");
        QTest::addColumn<QPoint>("offset");
        QTest::addColumn<QPoint>("expected"); // INT_MAX stands for the bar's maximum

        QTest::newRow("positive offsets bring smaller coordinates into view") << QPoint(300, 400) << QPoint(30, 20) << QPoint(270, 380);
        QTest::newRow("negative offsets bring larger coordinates into view") << QPoint(300, 400) << QPoint(-30, -20) << QPoint(330, 420);
        QTest::newRow("the largest offsets clamp instead of overflowing")
            << QPoint(300, 400) << QPoint(INT_MIN, INT_MAX) << QPoint(INT_MAX, 0);
    }

    void offsetXY()
    {
        QFETCH(QPoint, start);
        QFETCH(QPoint, offset);
        QFETCH(QPoint, expected);

        QScrollArea area;
        auto *content = new QLabel(u"a large picture"_s);
        content->setFixedSize(1000, 1200);
        area.setWidget(content);
        area.resize(200, 150);
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        QScrollBar *h = area.horizontalScrollBar();
        QScrollBar *v = area.verticalScrollBar();
        QVERIFY(h->maximum() > 400 && v->maximum() > 500);
        h->setValue(start.x());
        v->setValue(start.y());
        if (expected.x() == INT_MAX)
            expected.setX(h->maximum());
        if (expected.y() == INT_MAX)
            expected.setY(v->maximum());

        TQScrollViewUtilities::offsetXY(&area, offset.x(), offset.y());
        TQScrollViewUtilities::offsetXY(nullptr, offset.x(), offset.y()); // no view: nothing to do, no crash

        QCOMPARE(QPoint(h->value(), v->value()), expected);
    }

    void selectItems_data()
    {
        QTest::addColumn<Selecting>("selecting");
        QTest::newRow("nothing new, not extending: nothing stays selected") << Selecting{.before = {u"A"_s}};
        QTest::newRow("nothing new, extending: the selection stays")
            << Selecting{.before = {u"A"_s}, .extending = true, .selected = {u"A"_s}, .selectedItem = u"A"_s};
        QTest::newRow("not extending replaces the selection")
            << Selecting{.before = {u"A"_s}, .items = {u"B"_s}, .selected = {u"B"_s}, .selectedItem = u"B"_s};
        QTest::newRow("extending adds to the selection")
            << Selecting{.before = {u"A"_s}, .items = {u"C"_s}, .extending = true, .selected = {u"A"_s, u"C"_s}, .selectedItem = u"C"_s};
        QTest::newRow("rows come in view order, the selected item is the last one given")
            << Selecting{.items = {u"C"_s, u"A"_s}, .selected = {u"A"_s, u"C"_s}, .selectedItem = u"A"_s};
        QTest::newRow("an item under a collapsed parent is skipped and the parent stays collapsed")
            << Selecting{.items = {u"A1a"_s, u"B"_s}, .selected = {u"B"_s}, .selectedItem = u"B"_s};
        QTest::newRow("an item under a collapsed grandparent is skipped")
            << Selecting{.expanded = {u"A1"_s}, .items = {u"A1a"_s}, .expandedAfter = {u"A1"_s}};
        QTest::newRow("an item whose parents are expanded is selected")
            << Selecting{.expanded = {u"A"_s, u"A1"_s}, .items = {u"A1b"_s, u"A2"_s}, .selected = {u"A1b"_s, u"A2"_s},
                         .selectedItem = u"A2"_s, .expandedAfter = {u"A"_s, u"A1"_s}};
        QTest::newRow("a parent comes before its child")
            << Selecting{.expanded = {u"B"_s}, .items = {u"B1"_s, u"B"_s, u"A"_s}, .selected = {u"A"_s, u"B"_s, u"B1"_s},
                         .selectedItem = u"A"_s, .expandedAfter = {u"B"_s}};
    }

    void selectItems()
    {
        QFETCH(Selecting, selecting);
        const auto &[expanded, before, items, extending, selected, selectedItem, expandedAfter] = selecting;
        const Tree tree;
        tree.expand(expanded);
        tree.select(before);
        QModelIndexList given;
        for (const QString &name : items)
            given << tree[name];

        TQOutlineViewUtilities::selectItems(tree.view.get(), given, extending);

        QCOMPARE(names(TQOutlineViewUtilities::allSelectedItems(tree.view.get())), selected);
        QCOMPARE(TQOutlineViewUtilities::selectedItem(tree.view.get()).data().toString(), selectedItem);
        QStringList nowExpanded;
        for (const QString &name : {u"A"_s, u"A1"_s, u"B"_s})
            if (tree.view->isExpanded(tree[name]))
                nowExpanded << name;
        QCOMPARE(nowExpanded, expandedAfter);
        // Whole rows are selected.
        for (const QString &name : selected)
            QVERIFY(tree.view->selectionModel()->isSelected(tree[name].siblingAtColumn(1)));
    }

    void selectedItemsSkipRowsThatDoNotShow_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QStringList>("selected");
        QTest::addColumn<QString>("selectedItem");

        QTest::newRow("a selected item whose parent was collapsed afterwards has no row")
            << u"collapsed"_s << QStringList{u"A"_s, u"C"_s} << u"C"_s;
        QTest::newRow("a hidden row has no row")
            << u"hidden"_s << QStringList{u"A"_s, u"C"_s} << u"C"_s;
        QTest::newRow("a row with only a cell of another column selected counts once")
            << u"cells"_s << QStringList{u"A"_s, u"B"_s, u"C"_s} << u"C"_s;
        QTest::newRow("the current row when it is selected, not the last in view order")
            << u"current"_s << QStringList{u"A"_s, u"C"_s} << u"A"_s;
        QTest::newRow("a current row that is not selected does not count")
            << u"unselectedCurrent"_s << QStringList{u"A"_s, u"C"_s} << u"C"_s;
    }

    void selectedItemsSkipRowsThatDoNotShow()
    {
        QFETCH(QString, situation);
        QFETCH(QStringList, selected);
        QFETCH(QString, selectedItem);

        const Tree tree;
        QTreeView *view = tree.view.get();
        QItemSelectionModel *selection = view->selectionModel();
        if (situation == u"collapsed") {
            tree.expand({u"A"_s, u"A1"_s});
            tree.select({u"A"_s, u"A1b"_s, u"C"_s});
            view->collapse(tree[u"A"_s]);
        } else if (situation == u"hidden") {
            tree.select({u"A"_s, u"B"_s, u"C"_s});
            view->setRowHidden(1, QModelIndex(), true);
        } else if (situation == u"cells") {
            tree.select({u"A"_s, u"C"_s});
            tree.select({u"B"_s, u"C"_s}, QItemSelectionModel::NoUpdate);
        } else if (situation == u"current") {
            tree.select({u"C"_s, u"A"_s});
            selection->setCurrentIndex(tree[u"A"_s], QItemSelectionModel::NoUpdate);
        } else if (situation == u"unselectedCurrent") {
            tree.select({u"C"_s, u"A"_s});
            selection->setCurrentIndex(tree[u"B"_s], QItemSelectionModel::NoUpdate);
        }

        QCOMPARE(names(TQOutlineViewUtilities::allSelectedItems(view)), selected);
        QCOMPARE(TQOutlineViewUtilities::selectedItem(view).data().toString(), selectedItem);
    }

    void expandAllItems_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QStringList>("expanded");

        QTest::newRow("every level of a three-level tree") << QString() << QStringList{u"A"_s, u"A1"_s, u"B"_s};
        QTest::newRow("a hidden row and what lies under it stay as they are") << u"hidden"_s << QStringList{u"B"_s};
        QTest::newRow("only what lies under the view's root") << u"rooted"_s << QStringList{u"A1"_s};
        QTest::newRow("rows added while expanding are expanded too") << u"growing"_s << QStringList{u"A"_s, u"A1"_s, u"B"_s, u"D"_s};
    }

    void expandAllItems()
    {
        QFETCH(QString, situation);
        QFETCH(QStringList, expanded);

        const Tree tree;
        QTreeView *view = tree.view.get();
        if (situation == u"hidden")
            view->setRowHidden(0, QModelIndex(), true);
        if (situation == u"rooted")
            view->setRootIndex(tree[u"A"_s]);
        QMetaObject::Connection grow;
        if (situation == u"growing") {
            // The host fills in a new top-level branch when B opens, as a lazy model would.
            grow = connect(view, &QTreeView::expanded, view, [&tree](const QModelIndex &index) {
                if (index.data().toString() != u"B")
                    return;
                auto *d = new QStandardItem(u"D"_s);
                d->appendRow(new QStandardItem(u"D1"_s));
                tree.model->appendRow(d);
            });
        }

        TQOutlineViewUtilities::expandAllItems(view);
        disconnect(grow);

        QStringList nowExpanded;
        for (const QString &name : {u"A"_s, u"A1"_s, u"B"_s, u"D"_s}) {
            const QModelIndex item = tree[name];
            if (item.isValid() && view->isExpanded(item))
                nowExpanded << name;
        }
        QCOMPARE(nowExpanded, expanded);
        // Leaves are never marked expanded.
        QVERIFY(!view->isExpanded(tree[u"C"_s]));
        QVERIFY(!view->isExpanded(tree[u"A1a"_s]));
    }

    void hasRow_data()
    {
        QTest::addColumn<QString>("root"); // empty: the model's top
        QTest::addColumn<QStringList>("collapsed"); // A, A1 and B are expanded but these
        QTest::addColumn<QString>("item"); // "other model", "invalid" or a name
        QTest::addColumn<bool>("expected");

        const QStringList none;
        QTest::newRow("a child of an expanded item") << QString() << none << u"A1"_s << true;
        QTest::newRow("a child of a collapsed item") << QString() << QStringList{u"B"_s} << u"B1"_s << false;
        QTest::newRow("a grandchild under an expanded parent and a collapsed grandparent")
            << QString() << QStringList{u"A"_s} << u"A1a"_s << false;
        QTest::newRow("a cell of another column stands for its row") << QString() << none << u"A1 size"_s << true;
        QTest::newRow("the view's root is not a row") << u"A"_s << none << u"A"_s << false;
        QTest::newRow("a child of the root is a row even with the root collapsed")
            << u"B"_s << QStringList{u"B"_s} << u"B1"_s << true;
        QTest::newRow("an item outside the root") << u"B"_s << none << u"C"_s << false;
        QTest::newRow("an item of another model") << QString() << none << u"other model"_s << false;
        QTest::newRow("an invalid index") << QString() << none << u"invalid"_s << false;
    }

    void hasRow()
    {
        QFETCH(QString, root);
        QFETCH(QStringList, collapsed);
        QFETCH(QString, item);
        QFETCH(bool, expected);

        const Tree tree;
        tree.expand({u"A"_s, u"A1"_s, u"B"_s});
        for (const QString &name : collapsed)
            tree.view->collapse(tree[name]);
        if (!root.isEmpty())
            tree.view->setRootIndex(tree[root]);
        QStandardItemModel other;
        other.appendRow(new QStandardItem(u"B"_s));
        const QModelIndex index = item == u"other model" ? other.index(0, 0)
            : item == u"invalid"                         ? QModelIndex()
            : item.endsWith(u" size")                    ? tree[item.chopped(5)].siblingAtColumn(1)
                                                         : tree[item];
        QVERIFY(item == u"invalid" || index.isValid());

        QCOMPARE(TQOutlineViewUtilities::hasRow(tree.view.get(), index), expected);
        QVERIFY(!TQOutlineViewUtilities::hasRow(nullptr, index));
    }

    // A view not yet given a model (no selection model either), or none at all: nothing is
    // selected, and asking or selecting does nothing.
    void viewWithoutModel()
    {
        QTreeView bare;
        QStandardItemModel model;
        model.appendRow(new QStandardItem(u"A"_s));
        for (QTreeView *view : {&bare, static_cast<QTreeView *>(nullptr)}) {
            QVERIFY(TQOutlineViewUtilities::allSelectedItems(view).isEmpty());
            QVERIFY(!TQOutlineViewUtilities::selectedItem(view).isValid());
            TQOutlineViewUtilities::selectItems(view, QModelIndexList{model.index(0, 0)}, false);
            TQOutlineViewUtilities::expandAllItems(view);
        }
        QVERIFY(!bare.model() && !bare.selectionModel());
    }
};

int main(int argc, char **argv)
{
    // Still the offscreen platform, given screens that do not start at the origin.
    QTemporaryDir dir;
    const QString config = dir.filePath(u"screens.json"_s);
    QFile file(config);
    if (!dir.isValid() || !file.open(QIODevice::WriteOnly))
        return 1;
    const auto screen = [](const char *name, QRect r) {
        return QByteArray("{\"name\":\"") + name + "\",\"x\":" + QByteArray::number(r.x()) + ",\"y\":"
            + QByteArray::number(r.y()) + ",\"width\":" + QByteArray::number(r.width()) + ",\"height\":"
            + QByteArray::number(r.height()) + "}";
    };
    file.write("{\"screens\":[" + screen("first", FirstScreen) + "," + screen("second", SecondScreen) + "]}");
    file.close();
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + QFile::encodeName(config));

    QApplication app(argc, argv);
    TestViewUtilities test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_viewutilities.moc"
