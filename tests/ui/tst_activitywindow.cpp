// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQActivityItemsModel.h"
#include "TQActivityRowWidget.h"
#include "TQActivityWindowController.h"
#include "TQWindowUtilities.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QLabel>
#include <QListView>
#include <QProcess>
#include <QProgressBar>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QThread>
#include <QToolButton>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// A window system that reports a title bar of a known height (the offscreen platform draws none).
struct FixedTitleBarController : TQActivityWindowController
{
    float titleBar = -1; // negative: what the window system reports
    float titleBarHeight() const override { return titleBar < 0 ? TQActivityWindowController::titleBarHeight() : titleBar; }
};

// Counts the times a window really appeared.
struct ShowCounter : QObject
{
    int shows = 0;
    bool eventFilter(QObject *, QEvent *event) override
    {
        shows += event->type() == QEvent::Show;
        return false;
    }
};

// A host's own row, to see that the factory hook is used and fed.
struct CountingRow : TQActivityRowWidget
{
    explicit CountingRow(QWidget *parent) : TQActivityRowWidget(NoDefaultLayout{}, parent) {}
    void refresh() override { ++refreshes; }
    int refreshes = 0;
};

class TestActivityWindow : public QObject
{
    Q_OBJECT

private:
    QProcess m_bus;
    QString m_busAddress;
    struct Update {
        QString uri;
        QVariantMap properties;
    };
    QList<Update> m_updates;

    static QList<TQActivityItemRef> addItems(TQActivityWindowController &controller, int count)
    {
        QList<TQActivityItemRef> items;
        for (int i = 0; i < count; ++i) {
            items << controller.newItem();
            items.last()->setTitle(u"Task %1"_s.arg(i));
            controller.addItem(items.last());
        }
        return items;
    }

public Q_SLOTS:
    void launcherUpdate(const QString &uri, const QVariantMap &properties) { m_updates.append({uri, properties}); }

private Q_SLOTS:
    void initTestCase()
    {
        // The offscreen platform says, on every window, what it cannot do (raise it, pass size
        // hints on); those notes are expected here and everything else still reaches QTest.
        static QtMessageHandler qtTest = nullptr;
        qtTest = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context, const QString &message) {
            if (!message.startsWith(u"This plugin does not support"))
                qtTest(type, context, message);
        });
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(u"TQKitTests"_s);
        QCoreApplication::setApplicationName(u"tst_activitywindow"_s);

        // A session bus of the test's own, so the launcher signal is heard without a desktop.
        m_bus.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        QVERIFY2(m_bus.waitForStarted(), "dbus-daemon is needed for the launcher test");
        QTRY_VERIFY(m_bus.canReadLine());
        m_busAddress = QString::fromUtf8(m_bus.readLine()).trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_busAddress.toUtf8());
        QDBusConnection listener = QDBusConnection::connectToBus(m_busAddress, u"listener"_s);
        QVERIFY(listener.isConnected());
        QVERIFY(listener.connect(QString(), QString(), u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s, this,
                                 SLOT(launcherUpdate(QString, QVariantMap))));
    }

    void cleanupTestCase()
    {
        QDBusConnection::disconnectFromBus(u"listener"_s);
        m_bus.terminate();
        m_bus.waitForFinished();
    }

    void init()
    {
        QSettings().remove(TQActivityWindowController::FrameAutosaveName);
        // A controller of the last test said goodbye to the launcher as it went: wait for a
        // signal sent after it, on the same connection, so that nothing of it arrives later.
        QDBusMessage marker = QDBusMessage::createSignal(u"/marker"_s, u"com.canonical.Unity.LauncherEntry"_s, u"Update"_s);
        marker << u"application://marker.desktop"_s << QVariantMap();
        QVERIFY(QDBusConnection::sessionBus().send(marker));
        QTRY_VERIFY(!m_updates.isEmpty() && m_updates.last().uri == u"application://marker.desktop"_s);
        // Only the one test that names a desktop entry may have been heard by the launcher.
        for (const Update &update : std::as_const(m_updates).first(m_updates.size() - 1))
            QCOMPARE(update.uri, u"application://org.tqkit.ActivityTest.desktop"_s);
        m_updates.clear();
    }

    // A real window fits its rows under the platform's title bar or one the window system
    // reports; the top edge, x and width stay put.
    void windowFitsItsRows_data()
    {
        QTest::addColumn<float>("titleBar"); // negative: what the window system reports
        QTest::addColumn<int>("items");
        QTest::addColumn<int>("rowsHeight");

        QTest::newRow("no items are as tall as one") << -1.0f << 0 << 80;
        QTest::newRow("two items") << 22.0f << 2 << 160;
        QTest::newRow("a sixth item does not grow it") << 22.0f << 6 << 400;
        QTest::newRow("four rows and a title bar exactly at the limit") << 80.0f << 4 << 320;
        QTest::newRow("past the limit the title bar comes on top of five rows") << 100.0f << 4 << 400;
    }

    void windowFitsItsRows()
    {
        QFETCH(float, titleBar);
        QFETCH(int, items);
        QFETCH(int, rowsHeight);

        FixedTitleBarController controller;
        controller.titleBar = titleBar;
        if (titleBar >= 0)
            controller.reframe(); // the first frame was measured before the subclass existed
        new QAbstractItemModelTester(controller.controller(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     &controller);
        QWidget *window = controller.window();
        window->move(50, 70);
        const QRect before = window->frameGeometry();
        const int maximumWidth = window->maximumWidth();
        addItems(controller, items);

        const int bar = titleBar < 0 ? int(TQWindowUtilities::titleBarHeight(window)) : int(titleBar);
        QCOMPARE(window->frameGeometry(), QRect(before.topLeft(), QSize(before.width(), rowsHeight + bar)));
        QCOMPARE(controller.newFrameForItemsCount(), QRectF(window->frameGeometry()));
        const QRectF far(31, 57, 333, 999);
        QCOMPARE(TQActivityWindowController::frameForItemsCount(far, items, bar), QRectF(31, 57, 333, rowsHeight + bar));
        QCOMPARE(window->isVisible(), items > 0);
        if (items > 0) {
            // The content may be as tall as the frame, a title bar more than its rows; the
            // width limit stays what it was.
            QCOMPARE(window->maximumHeight(), rowsHeight + bar);
            QCOMPARE(window->maximumWidth(), maximumWidth);
        }
        QCOMPARE(window->sizeIncrement(), QSize(1, 80));
    }

    void removingItems()
    {
        FixedTitleBarController controller;
        controller.titleBar = 22;
        QSignalSpy closed(&controller, &TQActivityWindowController::windowClosed);
        const QList<TQActivityItemRef> items = addItems(controller, 3);
        QWidget *window = controller.window();
        QCOMPARE(window->frameGeometry().height(), 262);

        controller.removeItem(items.at(1));
        QCOMPARE(window->frameGeometry().height(), 182);
        QVERIFY(window->isVisible());
        QCOMPARE(controller.items(), (QList<TQActivityItemRef>{items.at(0), items.at(2)}));

        // Left with one item by a plain replacement of the list (which never resizes), the
        // window is still three rows tall; removing that item closes it as it is.
        controller.addItem(items.at(1));
        controller.setItems({items.at(0)});
        QCOMPARE(window->frameGeometry().height(), 262);
        controller.removeItem(items.at(0));
        QVERIFY(!window->isVisible());
        QCOMPARE(closed.count(), 1);
        // Closing a window that reports work must not end the host application. Qt decides
        // that only inside QApplication::exec(), so what is checked is the window's say in it.
        QVERIFY(!window->testAttribute(Qt::WA_QuitOnClose));
        QCOMPARE(window->frameGeometry().height(), 262);
        QCOMPARE(window->maximumHeight(), 262);
    }

    void showing_data()
    {
        QTest::addColumn<int>("delay");
        QTest::addColumn<bool>("taskEndsAtOnce");
        QTest::addColumn<int>("shows");

        QTest::newRow("no delay shows at once") << 0 << false << 1;
        QTest::newRow("no delay shows even a task that ends at once") << 0 << true << 1;
        QTest::newRow("a task that outlasts the delay shows the window") << 30 << false << 1;
        QTest::newRow("a task that ends within the delay never shows it") << 150 << true << 0;
    }

    void showing()
    {
        QFETCH(int, delay);
        QFETCH(bool, taskEndsAtOnce);
        QFETCH(int, shows);

        TQActivityWindowController controller;
        controller.setShowDelay(std::chrono::milliseconds(delay));
        ShowCounter counter;
        controller.window()->installEventFilter(&counter);
        QSignalSpy shown(&controller, &TQActivityWindowController::windowShown);

        const TQActivityItemRef item = addItems(controller, 1).first();
        QCOMPARE(controller.window()->isVisible(), delay == 0);
        if (taskEndsAtOnce)
            controller.removeItem(item);
        if (shows) {
            QTRY_COMPARE(counter.shows, shows);
        } else {
            // Past the delay, with the event loop running, nothing may have appeared.
            QTest::qWait(2 * delay);
            QCOMPARE(counter.shows, 0);
        }
        QCOMPARE(shown.count(), shows);
        // Each later task brings the window forward again, without showing it anew.
        if (!taskEndsAtOnce) {
            addItems(controller, 1);
            QCOMPARE(shown.count(), 2);
            QCOMPARE(counter.shows, 1);
        }
    }

    void frameIsKeptBetweenRuns()
    {
        int width = 0;
        {
            TQActivityWindowController controller;
            QCOMPARE(controller.windowFrameAutosaveName(), u"QuillboxActivityWindow"_s);
            const TQActivityItemRef item = addItems(controller, 1).first();
            controller.window()->move(60, 90);
            width = controller.window()->frameGeometry().width() + 37;
            controller.window()->resize(controller.window()->width() + 37, controller.window()->height());
            controller.removeItem(item);
        }
        QVERIFY(!QSettings().value(u"QuillboxActivityWindow"_s).toByteArray().isEmpty());

        TQActivityWindowController controller;
        const QRect frame = controller.window()->frameGeometry();
        QCOMPARE(frame.topLeft(), QPoint(60, 90));
        QCOMPARE(frame.width(), width);
        // The height is always the rows', whatever was saved.
        QCOMPARE(frame.height(), 80 + int(controller.titleBarHeight()));
    }

    void zoomFitsTheRows()
    {
        TQActivityWindowController controller;
        addItems(controller, 3);
        QWidget *window = controller.window();
        window->resize(window->width(), 100);
        QCOMPARE(controller.windowWillUseStandardFrame(QRectF(0, 0, 800, 600)), controller.newFrameForItemsCount());

        window->setWindowState(Qt::WindowMaximized);
        QTRY_VERIFY(!window->windowState().testFlag(Qt::WindowMaximized));
        QTRY_COMPARE(window->frameGeometry().height(), 240 + int(controller.titleBarHeight()));
    }

    // A row shows its item's title, progress and time left, and its stop button asks the
    // task, and no other, to stop.
    void rowShowsItsItem_data()
    {
        QTest::addColumn<double>("fraction");
        QTest::addColumn<int>("secondsAgo");
        QTest::addColumn<int>("bar"); // of 1000; -1 for a busy bar
        QTest::addColumn<QString>("timeLeft");
        QTest::addColumn<QString>("cancel"); // who asks the task to stop, if anyone

        const QString aMinute = u"About a minute remaining"_s;
        QTest::newRow("nothing done yet, nothing estimated") << 0.0 << 100 << 0 << QString() << QString();
        QTest::newRow("half done after 100 seconds") << 0.5 << 100 << 500 << aMinute << QString();
        QTest::newRow("a quarter done after 40 seconds") << 0.25 << 40 << 250 << u"2 minutes remaining"_s << QString();
        QTest::newRow("past done reads as done") << 1.5 << 100 << 1000 << u"About 5 seconds remaining"_s << QString();
        QTest::newRow("an unknown amount is a busy bar") << -1.0 << 100 << -1 << QString() << QString();
        QTest::newRow("the host cancels") << 0.5 << 100 << 500 << aMinute << u"host"_s;
        QTest::newRow("the user presses the stop button") << 0.5 << 100 << 500 << aMinute << u"button"_s;
    }

    void rowShowsItsItem()
    {
        QFETCH(double, fraction);
        QFETCH(int, secondsAgo);
        QFETCH(int, bar);
        QFETCH(QString, timeLeft);
        QFETCH(QString, cancel);

        TQActivityWindowController controller;
        const QList<TQActivityItemRef> items = addItems(controller, 2);
        const TQActivityItemRef item = items.at(1);
        item->setTitle(u"Rotating 3 images"_s);
        item->setStartDate(QDateTime::currentDateTimeUtc().addSecs(-secondsAgo));
        item->setProgress(fraction);
        TQActivityRowWidget *row = controller.rowWidget(item);
        QVERIFY(row && row->cancelButton());
        QTRY_COMPARE(row->titleLabel()->text(), u"Rotating 3 images"_s);
        QVERIFY(row->cancelButton()->isEnabled());
        if (cancel == u"button")
            QTest::mouseClick(row->cancelButton(), Qt::LeftButton);
        else if (cancel == u"host")
            controller.cancelItem(item);
        QCOMPARE(item->valueForKey(TQActivityItem::ShouldCancelKey), QVariant(!cancel.isEmpty()));
        QVERIFY(!items.at(0)->shouldCancel());
        QCOMPARE(controller.items(), items); // listed until whoever runs the task removes it
        QTRY_COMPARE(row->cancelButton()->isEnabled(), cancel.isEmpty());
        QCOMPARE(row->progressBar()->maximum(), bar < 0 ? 0 : 1000);
        if (bar >= 0)
            QCOMPARE(row->progressBar()->value(), bar);
        QCOMPARE(row->timeLeftLabel()->text(), cancel.isEmpty() ? timeLeft : u"Cancelling…"_s);
        // A change of language writes the row's texts anew, in the new language.
        row->timeLeftLabel()->setText(u"stale"_s);
        QEvent languageChange(QEvent::LanguageChange);
        QCoreApplication::sendEvent(row, &languageChange);
        QCOMPARE(row->timeLeftLabel()->text(), cancel.isEmpty() ? timeLeft : u"Cancelling…"_s);
        const QModelIndex index = controller.controller()->index(1);
        QCOMPARE(index.data(TQActivityItemsModel::TimeLeftRole).toString(), timeLeft);
        QCOMPARE(index.data(Qt::SizeHintRole).toSize().height(), 80);
        QCOMPARE(controller.listView()->visualRect(index).height(), 80);
    }

    // The list under the model tester, through every kind of change a view follows.
    void modelFollowsItsList_data()
    {
        // "+" adds a new item, "+N" adds row N's item again (refused), "-N" removes row N's item, "~N" changes row N's item from
        // another thread, "." lets queued changes arrive, "=N,M,..." replaces the list by the
        // items of those rows (a row twice, or "x" for no item, is dropped).
        QTest::addColumn<QString>("steps");
        QTest::addColumn<QStringList>("heard");

        QTest::newRow("adds and removes") << u"+ + + -1 -1 + -0"_s
                                          << QStringList{u"insert 0"_s, u"insert 1"_s, u"insert 2"_s, u"remove 1"_s,
                                                         u"remove 1"_s, u"insert 1"_s, u"remove 0"_s};
        QTest::newRow("an item listed already") << u"+ + +0 +1"_s << QStringList{u"insert 0"_s, u"insert 1"_s};
        QTest::newRow("changes from another thread") << u"+ + ~1 ~1 . ~0 ."_s
                                                     << QStringList{u"insert 0"_s, u"insert 1"_s, u"data 1"_s, u"data 0"_s};
        QTest::newRow("the list replaced") << u"+ + + =2,x,0,2 ~0 ."_s
                                           << QStringList{u"insert 0"_s, u"insert 1"_s, u"insert 2"_s, u"reset 2"_s,
                                                          u"data 0"_s};
    }

    void modelFollowsItsList()
    {
        QFETCH(QString, steps);
        QFETCH(QStringList, heard);

        TQActivityItemsModel model;
        new QAbstractItemModelTester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal, &model);
        QStringList log;
        connect(&model, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex &, int first) { log << u"insert %1"_s.arg(first); });
        connect(&model, &QAbstractItemModel::rowsRemoved, this, [&](const QModelIndex &, int first) { log << u"remove %1"_s.arg(first); });
        connect(&model, &QAbstractItemModel::modelReset, this, [&] { log << u"reset %1"_s.arg(model.rowCount()); });
        connect(&model, &QAbstractItemModel::dataChanged, this, [&](const QModelIndex &from, const QModelIndex &to) {
            QCOMPARE(from, to);
            log << u"data %1"_s.arg(from.row());
        });
        for (const QString &step : steps.split(u' ')) {
            if (step == u"+") {
                QVERIFY(model.addObject(model.newObject()));
            } else if (step.startsWith(u'+')) {
                QVERIFY(!model.addObject(model.itemAt(step.mid(1).toInt())));
            } else if (step.startsWith(u'-')) {
                QVERIFY(model.removeObject(model.itemAt(step.mid(1).toInt())));
            } else if (step.startsWith(u'~')) {
                const TQActivityItemRef item = model.itemAt(step.mid(1).toInt());
                std::unique_ptr<QThread> worker(QThread::create([item] { item->setProgress(0.5); }));
                worker->start();
                QVERIFY(worker->wait());
            } else if (step == u".") {
                QCoreApplication::processEvents();
            } else if (step.startsWith(u'=')) {
                QList<TQActivityItemRef> items;
                for (const QString &row : step.mid(1).split(u','))
                    items << (row == u"x" ? nullptr : model.itemAt(row.toInt()));
                model.setContent(items);
            }
        }
        QCOMPARE(log, heard);
        QCOMPARE(model.content().size(), model.rowCount());
        QVERIFY(!model.itemAt(model.rowCount()) && !model.itemAt(-1)); // past either end: no item
    }

    void hostRows()
    {
        TQActivityWindowController controller;
        controller.setRowWidgetFactory([](QWidget *parent) { return new CountingRow(parent); });
        const TQActivityItemRef item = addItems(controller, 1).first();
        auto *row = dynamic_cast<CountingRow *>(controller.rowWidget(item));
        QVERIFY(row);
        QCOMPARE(row->item(), item);
        QCOMPARE(row->refreshes, 1);
        item->setProgress(0.3);
        QTRY_COMPARE(row->refreshes, 2);

        // Without a factory the view's delegate paints the rows from the model.
        controller.setRowWidgetFactory(nullptr);
        QVERIFY(!controller.rowWidget(item));
        QCOMPARE(controller.listView()->indexWidget(controller.controller()->index(0)), nullptr);
    }

    void launcherProgress_data()
    {
        QTest::addColumn<QList<double>>("fractions");
        QTest::addColumn<double>("progress");
        QTest::addColumn<bool>("countVisible");
        QTest::addColumn<double>("progressAfterFirstDone");
        QTest::addColumn<QString>("desktopId"); // with or without its suffix: the same launcher

        const QString id = u"org.tqkit.ActivityTest"_s;
        QTest::newRow("one task half done") << QList<double>{0.5} << 0.5 << false << 1.0 << id;
        QTest::newRow("an unknown amount leaves the mean") << QList<double>{0.25, -1.0} << 0.25 << true << 1.0 << id;
        QTest::newRow("three tasks") << QList<double>{0.2, 0.4, 0.9} << 0.5 << true << 2.3 / 3 << id + u".desktop"_s;
    }

    void launcherProgress()
    {
        QFETCH(QList<double>, fractions);
        QFETCH(double, progress);
        QFETCH(bool, countVisible);
        QFETCH(double, progressAfterFirstDone);
        QFETCH(QString, desktopId);

        TQActivityWindowController controller;
        controller.setLauncherDesktopId(desktopId);
        QCOMPARE(controller.launcherDesktopId(), u"org.tqkit.ActivityTest.desktop"_s);
        QList<TQActivityItemRef> items;
        for (const double fraction : fractions) {
            items << controller.newItem();
            items.last()->setProgress(fraction);
            controller.addItem(items.last());
        }
        auto last = [this](const QString &key) { return m_updates.isEmpty() ? QVariant() : m_updates.last().properties.value(key); };
        QTRY_COMPARE(last(u"count"_s).toLongLong(), qint64(fractions.size()));
        QTRY_COMPARE(last(u"progress"_s).toDouble(), progress);
        QCOMPARE(m_updates.last().uri, u"application://org.tqkit.ActivityTest.desktop"_s);
        QCOMPARE(last(u"progress-visible"_s), QVariant(true));
        QCOMPARE(last(u"count-visible"_s), QVariant(countVisible));

        // A report moves the bar: the first task done, the others as they were.
        items.first()->setProgress(1.0);
        QTRY_COMPARE(last(u"progress"_s).toDouble(), progressAfterFirstDone);

        for (const TQActivityItemRef &item : items)
            controller.removeItem(item);
        QTRY_COMPARE(last(u"progress-visible"_s), QVariant(false));
        QCOMPARE(last(u"count-visible"_s), QVariant(false));
    }
};

QTEST_MAIN(TestActivityWindow)
#include "tst_activitywindow.moc"
