// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVColorMenuMatrix.h"
#include "FVColorMenuView.h"
#include "TQInvalidParameterException.h"
#include "TQResponderUtilities.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QPainter>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <functional>

using namespace Qt::StringLiterals;
using Call = std::function<void()>;

// The host: a main window whose selection carries some labels and which handles the picker's
// action through the responder chain, noting what the action and the picker said.
class Host : public QMainWindow
{
    Q_OBJECT
public:
    QList<int> labels;
    QList<int> actionTags;
    QList<int> pickerTags;
    Q_INVOKABLE QList<int> selectedFinderLabels() const { return labels; }
    Q_INVOKABLE void labelMenuAction(QAction *sender)
    {
        actionTags << static_cast<FVColorMenuAction *>(sender)->tag();
        const auto pickers = findChildren<FVColorMenuView *>();
        for (const FVColorMenuView *picker : pickers) {
            if (picker->isVisible())
                pickerTags << picker->tag();
        }
    }
};

namespace {

const QList<int> cellOrder{0, 6, 7, 5, 2, 4, 3, 1};

// Device pixel of a logical point of a grab, whatever the scale factor.
QColor pixel(const QImage &image, const QPointF &logical)
{
    const qreal dpr = image.devicePixelRatio();
    return image.pixelColor(int(std::floor(logical.x() * dpr)), int(std::floor(logical.y() * dpr)));
}

// A point on the top side of a swatch's box rim, above the swatch and its shadow, which
// falls below it.
QPointF rimPoint(const FVColorMenuMatrix *matrix, int column)
{
    const QRectF box = matrix->boxRectForCellAtRow(0, column);
    return QPointF(box.center().x(), box.top() + 0.25);
}

QPoint centre(const FVColorMenuMatrix *matrix, int column)
{
    return matrix->cellFrameAtRow(0, column).center().toPoint();
}

} // namespace

class TestColorMenuView : public QObject
{
    Q_OBJECT

private:
    Host *host = nullptr;
    QMenu *menu = nullptr;
    FVColorMenuAction *action = nullptr;

    FVColorMenuView *picker() const { return menu->findChild<FVColorMenuView *>(); }
    FVColorMenuMatrix *matrix() const { return picker()->matrix(); }

    // The offscreen platform says, each time a popup opens, that it can neither raise it nor
    // grab the keyboard for it; the menu works all the same.
    static void expectPopupWarnings()
    {
        if (QGuiApplication::platformName() != u"offscreen"_s)
            return;
        QTest::ignoreMessage(QtWarningMsg, "This plugin does not support raise()");
        QTest::ignoreMessage(QtWarningMsg, "This plugin does not support grabbing the keyboard");
    }

    bool openMenu()
    {
        expectPopupWarnings();
        menu->popup(host->mapToGlobal(QPoint(20, 20)));
        return QTest::qWaitForWindowExposed(menu) && picker() && picker()->isVisible();
    }

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        host = new Host;
        host->resize(300, 200);
        host->show();
        host->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(host));
        menu = new QMenu(host);
        menu->addAction(u"Open"_s);
        QFETCH_GLOBAL(bool, small);
        action = new FVColorMenuAction(menu, small ? FVColorMenuAction::Small : FVColorMenuAction::Normal);
        TQResponderUtilities::setAction(action, u"labelMenuAction:"_s);
        menu->addAction(action);
        menu->addAction(u"Get Info"_s);
    }

    void cleanup() { delete host; }

    void initTestCase_data()
    {
        QTest::addColumn<bool>("small");
        QTest::newRow("normal picker") << false;
        QTest::newRow("small picker") << true;
    }

    void layoutFromItsFile()
    {
        QFETCH_GLOBAL(bool, small);
        QVERIFY(openMenu());
        FVColorMenuView *view = picker();
        QCOMPARE(view->objectName(), small ? u"FVColorMenuViewSmall"_s : u"FVColorMenuView"_s);
        QCOMPARE(view->labelField()->text(), u"Label:"_s);
        QVERIFY(view->labelNameField()->text().isEmpty());
        QCOMPARE(matrix()->numberOfRows(), 1);
        QList<int> tags;
        for (int column = 0; column < matrix()->numberOfColumns(); ++column)
            tags << matrix()->cellAtRow(0, column)->tag();
        QCOMPARE(tags, cellOrder);
        // The small one is one line; the normal one puts the caption above the swatches.
        const QRect caption = view->labelField()->geometry(), swatches = matrix()->geometry();
        QCOMPARE(caption.bottom() < swatches.top(), !small);
        QVERIFY(view->rect().contains(swatches));
        QCOMPARE(view->focusPolicy(), Qt::NoFocus);
    }

    void failureAssertions_data()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QString>("condition");
        QTest::newRow("selecting without a matrix") << Call([] { FVColorMenuView().selectLabel(2); }) << u"nil != _matrix"_s;
        QTest::newRow("tag without a matrix") << Call([] { FVColorMenuView().tag(); }) << u"nil != [_matrix selectedCell]"_s;
        QTest::newRow("tag with nothing selected") << Call([] { FVColorMenuView::menuView()->selectedTag(); })
                                                   << u"nil != [_matrix selectedCell]"_s;
        QTest::newRow("a form that makes nothing") << Call([] { FVColorMenuView::fromInterface([](QWidget *) {}); })
                                                   << u"[objects count] > 0"_s;
    }
    void failureAssertions()
    {
        QFETCH(Call, call);
        QFETCH(QString, condition);
        try {
            call();
            QFAIL("no exception");
        } catch (const TQInvalidParameterException &e) {
            QCOMPARE(QString::fromUtf8(e.what()), u"Invalid parameter not satisfying: "_s + condition);
        }
    }

    void hoverBoxesAndNamesAndClickPicks_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("name");
        QTest::newRow("no label shows no name") << 0 << QString();
        QTest::newRow("red") << 1 << u"“Red”"_s;
        QTest::newRow("gray, last") << 7 << u"“Gray”"_s;
    }
    void hoverBoxesAndNamesAndClickPicks()
    {
        QFETCH(int, column);
        QVERIFY(openMenu());
        const QImage before = matrix()->grab().toImage();
        QTest::mouseMove(matrix(), centre(matrix(), column));
        QCOMPARE(matrix()->boxedColumn(), column);
        QTEST(picker()->labelNameField()->text(), "name");
        const QImage boxed = matrix()->grab().toImage();
        for (int other = 0; other < matrix()->numberOfColumns(); ++other) {
            const QPointF rim = rimPoint(matrix(), other);
            QCOMPARE(pixel(boxed, rim) != pixel(before, rim), other == column);
        }
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(matrix(), &leave);
        QCOMPARE(matrix()->boxedColumn(), -1);
        QVERIFY(picker()->labelNameField()->text().isEmpty());
        QCOMPARE(matrix()->grab().toImage(), before);

        QSignalSpy triggered(action, &QAction::triggered);
        QTest::mouseClick(matrix(), Qt::LeftButton, {}, centre(matrix(), column));
        QCOMPARE(triggered.size(), 1);
        QCOMPARE(host->actionTags, QList<int>{cellOrder.at(column)});
        QCOMPARE(host->pickerTags, QList<int>{cellOrder.at(column)});
        QTRY_VERIFY(!menu->isVisible());
        QVERIFY(!matrix()->isEnabled());
    }

    // The host's selection is outlined each time the menu opens; a disabled item shows washed
    // out, without outlines, and reacts to nothing.
    void outlinesAndDisabledItem()
    {
        host->labels = {2, 6};
        QVERIFY(openMenu());
        const QImage enabled = matrix()->grab().toImage();
        const QColor background = pixel(enabled, rimPoint(matrix(), 0));
        const auto outlined = [&](const QImage &grab) {
            QList<int> labels;
            for (int column = 0; column < cellOrder.size(); ++column) {
                if (pixel(grab, rimPoint(matrix(), column)) != background)
                    labels << cellOrder.at(column);
            }
            std::sort(labels.begin(), labels.end());
            return labels;
        };
        QCOMPARE(outlined(enabled), (QList<int>{2, 6}));
        QVERIFY(QAccessible::queryAccessibleInterface(matrix())->child(1)->state().checked);
        menu->hide();
        QVERIFY(!matrix()->selectedLabels());
        host->labels = {4};
        QVERIFY(openMenu());
        QCOMPARE(outlined(matrix()->grab().toImage()), QList<int>{4});

        menu->hide();
        action->setEnabled(false);
        QVERIFY(openMenu());
        QVERIFY(!matrix()->isEnabled());
        QVERIFY(!matrix()->isTracking());
        QVERIFY(!matrix()->selectedLabels());
        const QImage disabled = matrix()->grab().toImage();
        for (int column = 1; column < cellOrder.size(); ++column) {
            const QColor bright = pixel(enabled, centre(matrix(), column)), washed = pixel(disabled, centre(matrix(), column));
            QVERIFY2(washed.lightness() > bright.lightness() + 40 && washed.saturation() < bright.saturation(),
                     qPrintable(washed.name() + u" against "_s + bright.name()));
        }
        QSignalSpy triggered(action, &QAction::triggered);
        QTest::mouseMove(matrix(), centre(matrix(), 3));
        QTest::mouseClick(matrix(), Qt::LeftButton, {}, centre(matrix(), 3));
        matrix()->setBoxedCell(0, 2); // nor from the program
        matrix()->performClickOnCell(0, 3);
        QCOMPARE(matrix()->boxedColumn(), -1);
        QVERIFY(picker()->labelNameField()->text().isEmpty());
        QCOMPARE(triggered.size(), 0);
        QVERIFY(menu->isVisible());
    }

    // In a host's own panel, outside any menu, a click picks and there is no action to trigger.
    void pickerOutsideAMenu()
    {
        const std::unique_ptr<FVColorMenuView> view = FVColorMenuView::menuView();
        view->setParent(host);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QVERIFY(!view->menuAction());
        QSignalSpy picked(view.get(), &FVColorMenuView::labelPicked);
        QTest::mouseClick(view->matrix(), Qt::LeftButton, {}, centre(view->matrix(), 2));
        QCOMPARE(picked.size(), 1);
        QCOMPARE(picked.at(0).at(0).toInt(), cellOrder.at(2));
        // Shown again in a panel the host has disabled: it outlines nothing of the selection.
        view->hide();
        view->setEnabled(false);
        host->labels = {2, 6};
        view->show();
        QVERIFY(!view->matrix()->isEnabled());
        QVERIFY(!view->matrix()->selectedLabels());
    }

    void keyboardMovesTheBoxAndPicks()
    {
        QVERIFY(openMenu());
        QSignalSpy triggered(action, &QAction::triggered);
        QTest::keyClick(menu, Qt::Key_Down);
        QTest::keyClick(menu, Qt::Key_Down);
        QCOMPARE(menu->activeAction(), action);
        QTest::keyClick(menu, Qt::Key_Return); // nothing boxed: nothing picked
        QCOMPARE(triggered.size(), 0);
        QTest::keyClick(menu, Qt::Key_Left); // from nothing, Left boxes the last swatch
        QCOMPARE(matrix()->boxedColumn(), 7);
        QTest::keyClick(menu, Qt::Key_Right); // at the end: the key is the menu's
        QCOMPARE(matrix()->boxedColumn(), 7);
        for (int i = 0; i < 6; ++i)
            QTest::keyClick(menu, Qt::Key_Left);
        QCOMPARE(matrix()->boxedColumn(), 1);
        QCOMPARE(picker()->labelNameField()->text(), u"“Red”"_s);
        QTest::keyClick(menu, Qt::Key_Down); // the menu's own navigation goes on, the box goes
        QCOMPARE(menu->activeAction()->text(), u"Get Info"_s);
        QCOMPARE(matrix()->boxedColumn(), -1);
        QTest::keyClick(menu, Qt::Key_Up);
        QTest::keyClick(menu, Qt::Key_Right);
        QTest::keyClick(menu, Qt::Key_Enter);
        QCOMPARE(triggered.size(), 1);
        QCOMPARE(action->tag(), 0);
        QTRY_VERIFY(!menu->isVisible());
    }

    void swatchesForAssistiveTechnology()
    {
        QVERIFY(openMenu());
        QAccessibleInterface *grid = QAccessible::queryAccessibleInterface(matrix());
        QVERIFY(grid);
        QCOMPARE(grid->childCount(), cellOrder.size());
        QStringList names;
        for (int i = 0; i < grid->childCount(); ++i) {
            QAccessibleInterface *swatch = grid->child(i);
            QCOMPARE(swatch->role(), QAccessible::Button);
            QCOMPARE(swatch->parent(), grid);
            QCOMPARE(grid->indexOfChild(swatch), i);
            QCOMPARE(grid->childAt(swatch->rect().center().x(), swatch->rect().center().y()), swatch);
            names << swatch->text(QAccessible::Name);
        }
        QCOMPARE(names, (QStringList{u"No Label"_s, u"Red"_s, u"Orange"_s, u"Yellow"_s, u"Green"_s, u"Blue"_s, u"Purple"_s, u"Gray"_s}));

        QSignalSpy triggered(action, &QAction::triggered);
        grid->child(5)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(triggered.size(), 1);
        QCOMPARE(action->tag(), 4);
    }

    void squareSwatchInAnyCell_data()
    {
        QTest::addColumn<QSize>("cell");
        QTest::newRow("wider than high") << QSize(40, 20);
        QTest::newRow("higher than wide") << QSize(20, 40);
    }
    void squareSwatchInAnyCell()
    {
        QFETCH(QSize, cell);
        QImage image(cell, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::white);
        {
            QPainter painter(&image);
            FVColorMenuCell(6).drawInteriorWithFrame(&painter, QRectF(QPointF(), QSizeF(cell)), nullptr);
        }
        // The red region is a square of three fifths of the shorter side, in the middle.
        QRect red;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (c.red() > 150 && c.green() < 120)
                    red |= QRect(x, y, 1, 1);
            }
        }
        const int side = std::min(cell.width(), cell.height()) * 3 / 5;
        QVERIFY2(std::abs(red.width() - side) <= 1 && std::abs(red.height() - side) <= 1, qPrintable(QString::number(red.width())));
        QVERIFY(std::abs(red.center().x() * 2 + 1 - cell.width()) <= 2);
        QVERIFY(std::abs(red.center().y() * 2 + 1 - cell.height()) <= 2);
    }
};

int main(int argc, char *argv[])
{
    // No user's label names: the defaults are what the tests read.
    QTemporaryDir configHome;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome.path()));
    QApplication app(argc, argv);
    TestColorMenuView test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_colormenuview.moc"
