// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folder model under a real view on the offscreen platform: the rows the view shows are
// the rows whose values and thumbnails are loaded first.

#include "TQFolderModel.h"
#include "TQFolderViewport.h"
#include "TQVisibleRowsTracker.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QListView>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

using namespace Qt::StringLiterals;

namespace {

struct Model : TQFolderModel
{
    QAbstractItemModelTester tester{this, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

bool hasThumbnail(const TQFolderModel &model, int row)
{
    return !model.index(row, 0).data(TQFolderModel::ThumbnailRole).value<QImage>().isNull();
}

} // namespace

class TestFolderView : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir; // 300 small images

private Q_SLOTS:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
        QVERIFY(m_dir.isValid());
        QImage image(24, 16, QImage::Format_RGB32);
        for (int i = 0; i < 300; ++i) {
            image.fill(QColor::fromHsv(i % 360, 200, 200));
            QVERIFY(image.save(m_dir.filePath(u"img %1.png"_s.arg(i, 3, 10, QLatin1Char('0')))));
        }
    }

    void visibleRowsFirst_data()
    {
        QTest::addColumn<bool>("thumbnails"); // else image values
        QTest::newRow("image values") << false;
        QTest::newRow("thumbnails") << true;
    }

    // Scrolled to the bottom, the view's rows get their work before any other row; scrolled
    // back to the top, the rows there get theirs and nothing is made for rows in between.
    void visibleRowsFirst()
    {
        QFETCH(bool, thumbnails);
        Model model;
        model.setLoadsImageInfo(false);
        QSignalSpy finished(&model, &TQFolderModel::loadingFinished);
        model.setFolderPath(m_dir.path());
        QVERIFY(finished.wait(20000));
        QCOMPARE(model.rowCount(), 300);

        QTreeView view;
        view.setUniformRowHeights(true);
        view.setModel(&model);
        view.resize(400, 300);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        auto *viewport = new TQFolderViewport(&view, &model);
        viewport->tracker()->setMargin(0);
        view.scrollToBottom();
        QTRY_COMPARE(model.visibleRows().second, 299);
        // Plain names, not a structured binding: the lambdas below capture them, which clang 14
        // (the sanitizer builds' compiler) does not allow for bindings.
        const int first = model.visibleRows().first, last = model.visibleRows().second;
        QVERIFY(first > 250);

        // Rows in the order their work reached the model, and whether a row off screen ever
        // had its work done while one on screen waited.
        const int role = thumbnails ? int(TQFolderModel::ThumbnailRole) : int(TQFolderModel::IsPendingRole);
        auto isDone = [&model, thumbnails](int row) {
            return thumbnails ? hasThumbnail(model, row)
                              : !model.index(row, TQFolderModel::WidthColumn).data(TQFolderModel::IsPendingRole).toBool();
        };
        auto allOnScreenDone = [&] {
            for (int row = first; row <= last; ++row) {
                if (!isDone(row))
                    return false;
            }
            return true;
        };
        QList<int> done;
        int offScreenFirst = 0;
        connect(&model, &QAbstractItemModel::dataChanged, this,
                [&](const QModelIndex &topLeft, const QModelIndex &bottomRight, const QList<int> &roles) {
                    if (!roles.contains(role))
                        return;
                    for (int row = topLeft.row(); row <= bottomRight.row(); ++row)
                        done.append(row);
                    const bool onScreenWaits = !allOnScreenDone();
                    for (int row = 0; onScreenWaits && row < model.rowCount(); ++row)
                        offScreenFirst += (row < first || row > last) && isDone(row);
                });
        if (thumbnails)
            model.setThumbnailSize({16, 16});
        else
            model.setLoadsImageInfo(true);
        const int shown = last - first + 1;
        QTRY_VERIFY_WITH_TIMEOUT(done.size() >= shown, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(allOnScreenDone(), 20000);
        QCOMPARE(offScreenFirst, 0);
        if (!thumbnails)
            return;
        // Only the rows on screen get thumbnails; the top's arrive once it is scrolled to.
        QTest::qWait(100);
        QCOMPARE(done.size(), shown);
        view.scrollToTop();
        QTRY_COMPARE(model.visibleRows().first, 0);
        QTRY_VERIFY_WITH_TIMEOUT(hasThumbnail(model, 0), 20000);
        QVERIFY(!hasThumbnail(model, 150));
    }

    void decorationsFitTheView_data()
    {
        QTest::addColumn<bool>("grid");
        QTest::addColumn<int>("iconSide"); // 0: the style's own
        QTest::addColumn<QSize>("drawn");  // the thumbnail's size as the view draws it
        QTest::newRow("table, the style's icons") << false << 0 << QSize(16, 9);
        QTest::newRow("table, 32 px icons") << false << 32 << QSize(32, 19);
        QTest::newRow("grid, 64 px icons") << true << 64 << QSize(64, 38);
        QTest::newRow("grid, icons larger than the thumbnail") << true << 160 << QSize(96, 57);
    }

    // A thumbnail decorates its row as an icon that takes the view's icon size, never more than
    // the thumbnail: tables keep rows as tall as their icons, grids show the picture.
    void decorationsFitTheView()
    {
        QFETCH(bool, grid);
        QFETCH(int, iconSide);
        QFETCH(QSize, drawn);
        QTemporaryDir dir;
        QImage image(200, 120, QImage::Format_RGB32);
        image.fill(Qt::darkYellow);
        QVERIFY(image.save(dir.filePath(u"wide.png"_s)));
        Model model;
        model.setThumbnailSize({96, 96});
        model.setFolderPath(dir.path());
        QListView list;
        list.setViewMode(QListView::IconMode);
        QTreeView table;
        QAbstractItemView *view = grid ? static_cast<QAbstractItemView *>(&list) : &table;
        view->setModel(&model);
        if (iconSide)
            view->setIconSize({iconSide, iconSide});
        view->resize(400, 300);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        new TQFolderViewport(view, &model);
        QTRY_VERIFY_WITH_TIMEOUT(hasThumbnail(model, 0), 20000);
        const QVariant decoration = model.index(0, 0).data(Qt::DecorationRole);
        QCOMPARE(decoration.typeId(), QMetaType::QIcon);
        const int side = iconSide ? iconSide : view->style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, view);
        QCOMPARE(decoration.value<QIcon>().actualSize({side, side}), drawn);
        QCOMPARE(decoration.value<QIcon>().pixmap(QSize(side, side), 1.0).size(), drawn);
        if (!grid)
            QVERIFY(table.visualRect(model.index(0, 0)).height() <= std::max(side, table.fontMetrics().height()) + 8);
    }
};

QTEST_MAIN(TestFolderView)
#include "tst_folderview.moc"
