// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWQueuedObjectOperation.h"
#include "UWStandardFile.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSemaphore>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <array>

namespace {

// Posts each item's path, like a loader with a trivial product. With holdEvery set it stops
// after every so many pops, before posting, until released, so that a test acts at a known
// point of the work.
class PathOperation : public UWQueuedObjectOperation
{
public:
    int workMicroseconds = 0;
    int holdEvery = 0;
    QSemaphore holding;
    QSemaphore resume;

protected:
    void main() override
    {
        for (int pops = 0; !isCancelled(); ++pops) {
            const UWStandardFileRef item = popFromQueue();
            if (!item)
                return;
            if (holdEvery > 0 && pops % holdEvery == 0) {
                holding.release();
                resume.tryAcquire(1, 20000); // a failed test must not leave the pool stuck
            }
            QThread::usleep(workMicroseconds);
            postResult({item->path(), item});
        }
    }
};

// What a delegate saw, kept apart from it so that it can be read after the delegate is gone.
struct Log
{
    QList<UWQueuedObjectResult> results;
    int deliveries = 0;
    int completions = 0;
    bool resultsAfterCompletion = false;
};

struct Recorder : QObject, UWQueuedObjectOperationDelegate
{
    explicit Recorder(Log *target) : log(target) {}
    Log *const log;
    int callsToDecline = 0; // leaves the results of that many calls where they are
    int pauseMicroseconds = 0; // after taking the results, so that posts land meanwhile
    bool cancels = false;

    void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) override
    {
        log->resultsAfterCompletion |= log->completions > 0;
        ++log->deliveries;
        if (callsToDecline-- > 0)
            return;
        log->results += operation->latestResults();
        QThread::usleep(pauseMicroseconds);
        if (cancels)
            operation->cancel();
    }
    void queuedObjectOperationComplete(UWQueuedObjectOperation *) override
    {
        ++log->completions;
    }
};

// New items, each a new identity. The operation only hands them around, so no file is needed.
QList<UWStandardFileRef> items(int count)
{
    QList<UWStandardFileRef> made;
    for (int i = 0; i < count; ++i)
        made.append(UWStandardFile::newFileForPath(QStringLiteral("/nonexistent/item-%1").arg(i)));
    return made;
}

QList<UWQueuedObjectResult> resultsFor(const QList<UWStandardFileRef> &items)
{
    QList<UWQueuedObjectResult> results;
    for (const UWStandardFileRef &item : items)
        results.append({item->path(), item});
    return results;
}

// An operation over new items, with a recording delegate and a pool of its own.
struct Run
{
    explicit Run(int count = 1000) : work(items(count))
    {
        operation->setDelegate(recorder.get());
        operation->setQueue(work);
    }
    ~Run()
    {
        if (operation) // ends a held run, so that a failed test does not wait for the pool
            operation->resume.release(1000);
    }
    void start() { UWQueuedObjectOperation::start(operation, &pool); }

    Log log;
    std::unique_ptr<Recorder> recorder = std::make_unique<Recorder>(&log);
    std::shared_ptr<PathOperation> operation = std::make_shared<PathOperation>();
    QList<UWStandardFileRef> work;
    QThreadPool pool; // destroyed first: waits for main() to return
};

} // namespace

class TestQueuedObjectOperation : public QObject
{
    Q_OBJECT

private slots:
    void currentObjectFollowsTheWork()
    {
        const QList<UWStandardFileRef> pool = items(3);
        const UWStandardFileRef &a = pool[0], &b = pool[1], &c = pool[2];
        const auto operation = std::make_shared<PathOperation>();
        operation->setQueue({a, b});
        QCOMPARE(operation->currentObject(), a); // the one it will take
        QCOMPARE(operation->popFromQueue(), a);
        operation->addObjectsToFrontOfQueue({c});
        QCOMPARE(operation->currentObject(), a); // in progress, however the queue changes
        operation->postResult({{}, a});
        QCOMPARE(operation->currentObject(), c); // done: the next to take
        operation->postResult({{}, b});
        QCOMPARE(operation->currentObject(), c); // a result for another object changes nothing
        QCOMPARE(operation->popFromQueue(), c);
        QCOMPARE(operation->popFromQueue(), b); // c dropped without a result: the latest pop counts
        QCOMPARE(operation->currentObject(), b);
        operation->postResult({{}, b});
        QCOMPARE(operation->currentObject(), nullptr);
    }

    void deliversEachResultOnceInOrder_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("workMicroseconds");
        QTest::addColumn<QString>("mainThread"); // what it does while main() runs

        QTest::newRow("An empty queue still completes once") << 0 << 0 << "loops";
        QTest::newRow("Many items at full speed arrive once each, in order") << 2000 << 0 << "loops";
        QTest::newRow("Slow items arrive once each, in order") << 100 << 300 << "loops";
        QTest::newRow("Results posted during a delivery are not stranded") << 1000 << 50 << "checks each burst";
        QTest::newRow("Results posted while the main thread waits arrive in one call") << 500 << 0 << "waits";
        QTest::newRow("Results left untaken arrive before the completion") << 20 << 0 << "waits, then declines once";
        QTest::newRow("A destroyed delegate receives nothing") << 200 << 0 << "waits, then destroys the delegate";
        QTest::newRow("A delegate set to null receives nothing") << 200 << 0 << "waits, then unsets the delegate";
        QTest::newRow("Cancelled before it starts, it delivers nothing and still completes") << 3 << 0 << "cancels before the start";
        QTest::newRow("Cancelled under load, it delivers what it took once each") << 3000 << 100 << "cancels on the first results";
    }

    void deliversEachResultOnceInOrder()
    {
        QFETCH(int, count);
        QFETCH(int, workMicroseconds);
        QFETCH(QString, mainThread);

        Run run(count);
        const int burst = mainThread == u"checks each burst" ? 50 : 0;
        run.operation->workMicroseconds = workMicroseconds;
        run.operation->holdEvery = burst;
        run.recorder->pauseMicroseconds = burst > 0 ? 500 : 0;
        const int declines = run.recorder->callsToDecline = mainThread == u"waits, then declines once";
        run.recorder->cancels = mainThread == u"cancels on the first results";
        if (mainThread == u"cancels before the start")
            run.operation->cancel();
        run.start();
        for (int posted = 0; burst > 0 && posted < count; posted += burst) {
            // Spun, not waited on (QTRY_ sleeps between its rounds of events): the main thread
            // must be delivering while the burst is posted.
            const QDeadlineTimer deadline(20000);
            while (!run.operation->holding.tryAcquire() && !deadline.hasExpired())
                QCoreApplication::processEvents();
            QVERIFY(!deadline.hasExpired());
            // main() posts nothing more until released: a result left behind by a delivery
            // that raced with a post would stay undelivered here.
            QTRY_COMPARE(run.log.results.size(), qsizetype(posted));
            run.operation->resume.release();
        }
        if (mainThread.startsWith(u"waits")) {
            QVERIFY(run.operation->waitForFinished(20000));
            // The deliveries and the completion are now queued but not delivered.
            if (mainThread.endsWith(u"destroys the delegate"))
                run.recorder.reset();
            if (mainThread.endsWith(u"unsets the delegate"))
                run.operation->setDelegate(nullptr);
            QCoreApplication::sendPostedEvents();
            if (mainThread.endsWith(u"the delegate")) {
                QCOMPARE(run.log.deliveries + run.log.completions, 0);
                QCOMPARE(run.operation->latestResults(), resultsFor(run.work)); // not lost
                return;
            }
            QCOMPARE(run.log.deliveries, 1 + declines);
        }
        QTRY_COMPARE_WITH_TIMEOUT(run.log.completions, 1, 60000);

        const qsizetype delivered = run.log.results.size();
        QCOMPARE(delivered == count, !mainThread.startsWith(u"cancels"));
        QCOMPARE(run.log.results, resultsFor(run.work.first(delivered)));
        // Whatever was taken was posted: the rest is still waiting, nothing fell in between.
        QCOMPARE(run.operation->queueCount(), count - delivered);
        QVERIFY(!run.log.resultsAfterCompletion);
        QCOMPARE(run.operation->currentObject(), nullptr);

        // A second start() is ignored: an item added now stays waiting, and nothing more arrives.
        run.operation->addObjectsToQueue(items(1));
        run.start();
        run.pool.waitForDone();
        QCoreApplication::sendPostedEvents();
        QCOMPARE(run.operation->queueCount(), count - delivered + 1);
        QCOMPARE(run.log.completions, 1);
    }

    void queueEditsWhileRunning_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QList<int>>("argument"); // -1 is a null item, 10 an equal twin of item 1
        QTest::addColumn<QList<int>>("delivered"); // the queue starts as 0..7, and 0 is taken

        QTest::newRow("Items put in front come next, in their order, without nulls")
            << "front" << QList<int>{9, -1, 8} << QList<int>{0, 9, 8, 1, 2, 3, 4, 5, 6, 7};
        QTest::newRow("Removed items are not delivered, the taken one and equal ones are")
            << "remove" << QList<int>{5, 0, 3, 10} << QList<int>{0, 1, 2, 4, 6, 7};
        QTest::newRow("A cleared queue delivers only the item already taken")
            << "clear" << QList<int>{} << QList<int>{0};
    }

    void queueEditsWhileRunning()
    {
        QFETCH(QString, edit);
        QFETCH(QList<int>, argument);
        QFETCH(QList<int>, delivered);

        Run run(8);
        QList<UWStandardFileRef> pool = run.work + items(10).mid(8);
        pool.append(UWStandardFile::newFileForPath(pool.at(1)->path()));
        const auto pick = [&pool](const QList<int> &indices) {
            QList<UWStandardFileRef> picked;
            for (int index : indices)
                picked.append(index < 0 ? nullptr : pool.at(index));
            return picked;
        };
        run.operation->holdEvery = 1000; // after the first pop only
        run.start();
        QVERIFY(run.operation->holding.tryAcquire(1, 20000));
        QVERIFY(!run.operation->waitForFinished(0)); // a look, not a wait
        if (edit == u"front")
            run.operation->addObjectsToFrontOfQueue(pick(argument));
        else if (edit == u"remove")
            run.operation->removeObjectsFromQueue(pick(argument));
        else
            run.operation->clearQueue();
        run.operation->resume.release();

        QTRY_COMPARE_WITH_TIMEOUT(run.log.completions, 1, 20000);
        QCOMPARE(run.log.results, resultsFor(pick(delivered)));
    }

    void manyOperationsAtOnce()
    {
        // A pool and a thread each, all at once: more workers than processors contend for the
        // locks, and no pool's own task queue (behind a lock ThreadSanitizer cannot see into)
        // is shared between them.
        std::array<Run, 8> runs;
        for (Run &run : runs)
            run.start();
        // Half the owners let go at once: the pools and the queued deliveries keep those alive.
        for (std::size_t i = 0; i < runs.size(); i += 2)
            runs[i].operation.reset();
        QTRY_VERIFY_WITH_TIMEOUT(std::all_of(runs.cbegin(), runs.cend(),
                                             [](const Run &run) { return run.log.completions > 0; }),
                                 120000);

        for (const Run &run : runs) {
            QCOMPARE(run.log.completions, 1);
            QVERIFY(!run.log.resultsAfterCompletion);
            QCOMPARE(run.log.results, resultsFor(run.work));
        }
    }
};

QTEST_GUILESS_MAIN(TestQueuedObjectOperation)
#include "tst_queuedobjectoperation.moc"
