// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folder model under a real QTreeView on the offscreen platform: the rows the view shows
// are the rows whose values and thumbnails are loaded first.

#include "TQFolderModel.h"
#include "TQFolderViewport.h"
#include "TQVisibleRowsTracker.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QHeaderView>
#include <QImage>
#include <QLoggingCategory>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

using namespace Qt::StringLiterals;

class TestFolderView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void visibleRowsFirst_data();
    void visibleRowsFirst();

private:
    QTemporaryDir m_dir; // 300 small images
};

void TestFolderView::initTestCase()
{
    QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
    QVERIFY(m_dir.isValid());
    QImage image(24, 16, QImage::Format_RGB32);
    for (int i = 0; i < 300; ++i) {
        image.fill(QColor::fromHsv(i % 360, 200, 200));
        QVERIFY(image.save(m_dir.filePath(u"img %1.png"_s.arg(i, 3, 10, QLatin1Char('0')))));
    }
}

void TestFolderView::visibleRowsFirst_data()
{
    QTest::addColumn<bool>("thumbnails"); // else image values
    QTest::newRow("image values") << false;
    QTest::newRow("thumbnails") << true;
}

// Scrolled to the bottom, the view's rows get their work before any other row; scrolled back
// to the top, the rows there get theirs and nothing is made for rows in between.
void TestFolderView::visibleRowsFirst()
{
    QFETCH(bool, thumbnails);
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
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
    const auto [first, last] = model.visibleRows();
    QVERIFY(first > 250);

    // Rows in the order their work reached the model.
    QList<int> done;
    connect(&model, &QAbstractItemModel::dataChanged, this,
            [&done](const QModelIndex &topLeft, const QModelIndex &, const QList<int> &roles) {
                if (roles.contains(TQFolderModel::IsPendingRole) || roles.contains(TQFolderModel::ThumbnailRole))
                    done.append(topLeft.row());
            });
    if (thumbnails)
        model.setThumbnailSize({16, 16});
    else
        model.setLoadsImageInfo(true);
    const int shown = last - first + 1;
    QTRY_VERIFY_WITH_TIMEOUT(done.size() >= shown, 20000);
    for (int i = 0; i < shown; ++i)
        QVERIFY2(done[i] >= first && done[i] <= last, qPrintable(u"row %1 came in %2th"_s.arg(done[i]).arg(i)));

    if (!thumbnails)
        return;
    // Only the rows on screen get thumbnails; the top's arrive once it is scrolled to.
    QTest::qWait(100);
    QCOMPARE(done.size(), shown);
    view.scrollToTop();
    QTRY_COMPARE(model.visibleRows().first, 0);
    QTRY_VERIFY_WITH_TIMEOUT(!model.index(0, 0).data(TQFolderModel::ThumbnailRole).value<QImage>().isNull(), 20000);
    QVERIFY(model.index(150, 0).data(TQFolderModel::ThumbnailRole).value<QImage>().isNull());
}

QTEST_MAIN(TestFolderView)
#include "tst_folderview.moc"
