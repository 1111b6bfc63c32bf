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

// Every item of the model, parents before their children.
QModelIndexList everyItem(const QAbstractItemModel *model, const QModelIndex &parent = {})
{
    QModelIndexList items;
    for (int row = 0; row < model->rowCount(parent); ++row)
        items << model->index(row, 0, parent) << everyItem(model, model->index(row, 0, parent));
    return items;
}

} // namespace

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

    // Selection, expansion and which items have rows, on the tree  A ( A1 ( A1a, A1b ), A2 ),
    // B ( B1 ),  C  after a few steps: "+X" expands X, "-X" collapses it, "hX" hides its row,
    // "rX" makes it the root, "sX" selects its row, "cX" only its cell of the second column,
    // ">X" makes it current, "=X,Y" and "&X,Y" select items by replacing or extending the
    // selection, "*" expands all items, and "grow" has the host add D ( D1 ) when B opens.
    void outline_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QString>("selected"); // in view order
        QTest::addColumn<QString>("selectedItem");
        QTest::addColumn<QString>("expanded");
        QTest::addColumn<QString>("rows"); // the items that have a row

        const QString top = u"A B C"_s, all = u"A A1 A1a A1b A2 B B1 C"_s;
        QTest::newRow("nothing new, not extending: nothing stays selected")
            << u"sA ="_s << u""_s << u""_s << u""_s << top;
        QTest::newRow("nothing new, extending: the selection stays") << u"sA &"_s << u"A"_s << u"A"_s << u""_s << top;
        QTest::newRow("not extending replaces the selection") << u"sA =B"_s << u"B"_s << u"B"_s << u""_s << top;
        QTest::newRow("extending adds to the selection") << u"sA &C"_s << u"A C"_s << u"C"_s << u""_s << top;
        QTest::newRow("rows come in view order, the selected item is the last one given")
            << u"=C,A"_s << u"A C"_s << u"A"_s << u""_s << top;
        QTest::newRow("an item under a collapsed parent is skipped and the parent stays collapsed")
            << u"=A1a,B"_s << u"B"_s << u"B"_s << u""_s << top;
        QTest::newRow("an item under a collapsed grandparent (its parent expanded) has no row")
            << u"+A1 =A1a"_s << u""_s << u""_s << u"A1"_s << top;
        QTest::newRow("an item whose parents are expanded is selected; a child of a collapsed item has no row")
            << u"+A +A1 =A1b,A2"_s << u"A1b A2"_s << u"A2"_s << u"A A1"_s << u"A A1 A1a A1b A2 B C"_s;
        QTest::newRow("a parent comes before its child")
            << u"+B =B1,B,A"_s << u"A B B1"_s << u"A"_s << u"B"_s << u"A B B1 C"_s;
        QTest::newRow("a selected item whose parent was collapsed afterwards has no row")
            << u"+A +A1 sA sA1b sC -A"_s << u"A C"_s << u"C"_s << u"A1"_s << top;
        QTest::newRow("a hidden row has no row") << u"sA sB sC hB"_s << u"A C"_s << u"C"_s << u""_s << u"A C"_s;
        QTest::newRow("a row with only a cell of another column selected counts once")
            << u"sA sC cB cC"_s << top << u"C"_s << u""_s << top;
        QTest::newRow("the current row when it is selected, not the last in view order")
            << u"sC sA >A"_s << u"A C"_s << u"A"_s << u""_s << top;
        QTest::newRow("a current row that is not selected does not count")
            << u"sC sA >B"_s << u"A C"_s << u"C"_s << u""_s << top;
        QTest::newRow("every level of a three-level tree expanded") << u"*"_s << u""_s << u""_s << u"A A1 B"_s << all;
        QTest::newRow("a hidden row and what lies under it stay as they are when expanding")
            << u"hA *"_s << u""_s << u""_s << u"B"_s << u"B B1 C"_s;
        QTest::newRow("only what lies under the view's root is expanded; the root is not a row")
            << u"rA *"_s << u""_s << u""_s << u"A1"_s << u"A1 A1a A1b A2"_s;
        QTest::newRow("rows added while expanding are expanded too")
            << u"grow *"_s << u""_s << u""_s << u"A A1 B D"_s << all + u" D D1"_s;
        QTest::newRow("a child of the root is a row even with the root collapsed, nothing outside it is")
            << u"+A +A1 rB"_s << u""_s << u""_s << u"A A1"_s << u"B1"_s;
    }

    void outline()
    {
        QFETCH(QString, steps);
        QFETCH(QString, selected);
        QFETCH(QString, selectedItem);
        QFETCH(QString, expanded);
        QFETCH(QString, rows);

        QTreeView view;
        QStandardItemModel *model = makeTree(&view);
        view.setModel(model);
        view.setSelectionMode(QAbstractItemView::ExtendedSelection);
        view.resize(300, 400);
        view.show();
        QItemSelectionModel *selection = view.selectionModel();
        for (const QString &step : steps.split(u' ')) {
            const QModelIndex item = itemNamed(model, step.mid(1));
            const QChar op = step.front();
            if (op == u'+' || op == u'-')
                view.setExpanded(item, op == u'+');
            else if (op == u'h')
                view.setRowHidden(item.row(), item.parent(), true);
            else if (op == u'r')
                view.setRootIndex(item);
            else if (op == u's')
                selection->select(item, QItemSelectionModel::Select | QItemSelectionModel::Rows);
            else if (op == u'c')
                selection->select(item.siblingAtColumn(1), QItemSelectionModel::Select);
            else if (op == u'>')
                selection->setCurrentIndex(item, QItemSelectionModel::NoUpdate);
            else if (op == u'*')
                TQOutlineViewUtilities::expandAllItems(&view);
            else if (op == u'=' || op == u'&') {
                QModelIndexList given;
                for (const QString &name : step.mid(1).split(u',', Qt::SkipEmptyParts))
                    given << itemNamed(model, name);
                TQOutlineViewUtilities::selectItems(&view, given, op == u'&');
            } else if (step == u"grow") {
                // The host fills in a new top-level branch when B opens, as a lazy model would.
                connect(&view, &QTreeView::expanded, &view, [model](const QModelIndex &index) {
                    if (index.data().toString() != u"B")
                        return;
                    auto *d = new QStandardItem(u"D"_s);
                    d->appendRow(new QStandardItem(u"D1"_s));
                    model->appendRow(d);
                });
            }
        }

        QCOMPARE(names(TQOutlineViewUtilities::allSelectedItems(&view)).join(u' '), selected);
        QCOMPARE(TQOutlineViewUtilities::selectedItem(&view).data().toString(), selectedItem);
        // Whole rows, or at least the second column's cell.
        for (const QString &name : selected.split(u' ', Qt::SkipEmptyParts))
            QVERIFY(selection->isSelected(itemNamed(model, name).siblingAtColumn(1)));
        QStringList nowExpanded, withRows;
        for (const QModelIndex &item : everyItem(model)) {
            if (view.isExpanded(item)) // leaves never are
                nowExpanded << item.data().toString();
            const bool hasRow = TQOutlineViewUtilities::hasRow(&view, item);
            if (hasRow)
                withRows << item.data().toString();
            // A cell of another column stands for its row; no view has no rows.
            if (const QModelIndex cell = item.siblingAtColumn(1); cell.isValid())
                QCOMPARE(TQOutlineViewUtilities::hasRow(&view, cell), hasRow);
            QVERIFY(!TQOutlineViewUtilities::hasRow(nullptr, item));
        }
        QCOMPARE(nowExpanded.join(u' '), expanded);
        QCOMPARE(withRows.join(u' '), rows);
        // Neither an index of another model at a row the view shows, nor an invalid one.
        QStandardItemModel other;
        other.appendRow(new QStandardItem(u"B"_s));
        QVERIFY(!TQOutlineViewUtilities::hasRow(&view, other.index(0, 0)));
        QVERIFY(!TQOutlineViewUtilities::hasRow(&view, QModelIndex()));
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
