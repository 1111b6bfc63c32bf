#include "UWQueuedObjectOperation.h"
#include "UWStandardFile.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QScopeGuard>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <atomic>
#include <functional>

namespace {

// Posts each item's path, like a loader with a trivial product. It can stop after its first
// pop, or after every so many posts, until released, so that a test acts at a known point of
// the work.
class PathOperation : public UWQueuedObjectOperation
{
public:
    int workMicroseconds = 0;
    bool holdAfterFirstPop = false;
    int holdAfterPosts = 0;
    QSemaphore holding;
    QSemaphore resume;
    std::atomic<int> mainCalls{0};

    // Ends a held run early, so that a failed test does not wait for the pool.
    void letGo()
    {
        cancel();
        resume.release(1000);
    }

protected:
    void main() override
    {
        ++mainCalls;
        for (int posts = 0; !isCancelled(); ++posts) {
            const UWStandardFileRef item = popFromQueue();
            if (!item)
                return;
            if (posts == 0 && holdAfterFirstPop)
                hold();
            if (workMicroseconds > 0)
                QThread::usleep(workMicroseconds);
            postResult({item->path(), item});
            if (holdAfterPosts > 0 && (posts + 1) % holdAfterPosts == 0)
                hold();
        }
    }

private:
    void hold()
    {
        holding.release();
        resume.tryAcquire(1, 20000); // a failed test must not leave the pool stuck
    }
};

// What a delegate saw, kept apart from it so that it can be read after the delegate is gone.
struct Log
{
    QList<UWQueuedObjectResult> results;
    int deliveries = 0;
    int emptyDeliveries = 0;
    int completions = 0;
    bool resultsAfterCompletion = false;
    bool offMainThread = false;
    const UWQueuedObjectOperation *completed = nullptr;
};

class Recorder : public QObject, public UWQueuedObjectOperationDelegate
{
public:
    explicit Recorder(Log *log) : m_log(log) {}
    std::function<void(UWQueuedObjectOperation *)> afterResults;
    int callsToDecline = 0; // leaves the results of that many calls where they are

    void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) override
    {
        noteThread();
        m_log->resultsAfterCompletion |= m_log->completions > 0;
        ++m_log->deliveries;
        if (callsToDecline > 0) {
            --callsToDecline;
            return;
        }
        const QList<UWQueuedObjectResult> taken = operation->latestResults();
        m_log->emptyDeliveries += taken.isEmpty();
        m_log->results += taken;
        if (afterResults)
            afterResults(operation);
    }
    void queuedObjectOperationComplete(UWQueuedObjectOperation *operation) override
    {
        noteThread();
        ++m_log->completions;
        m_log->completed = operation;
    }

private:
    void noteThread() { m_log->offMainThread |= QThread::currentThread() != qApp->thread(); }
    Log *m_log;
};

QList<UWQueuedObjectResult> resultsFor(const QList<UWStandardFileRef> &items)
{
    QList<UWQueuedObjectResult> results;
    for (const UWStandardFileRef &item : items)
        results.append({item->path(), item});
    return results;
}

} // namespace

class TestQueuedObjectOperation : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void currentObjectFollowsTheWork();
    void deliversEachResultOnceInOrder_data();
    void deliversEachResultOnceInOrder();
    void resultsArriveWhileRunning();
    void queueEditsWhileRunning_data();
    void queueEditsWhileRunning();
    void cancelKeepsAPrefix();
    void goneDelegateReceivesNothing_data();
    void goneDelegateReceivesNothing();
    void manyOperationsAtOnce();

private:
    // New items (new identities) for the first \a count sample files.
    QList<UWStandardFileRef> items(int count) const;

    QTemporaryDir m_dir;
    static constexpr int fileCount = 3000;
};

void TestQueuedObjectOperation::initTestCase()
{
    QVERIFY(m_dir.isValid());
    for (int i = 0; i < fileCount; ++i) {
        QFile file(m_dir.filePath(QStringLiteral("item-%1").arg(i, 4, 10, QLatin1Char('0'))));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
}

QList<UWStandardFileRef> TestQueuedObjectOperation::items(int count) const
{
    QList<UWStandardFileRef> made;
    for (int i = 0; i < count; ++i)
        made.append(UWStandardFile::newFileForPath(
            m_dir.filePath(QStringLiteral("item-%1").arg(i, 4, 10, QLatin1Char('0')))));
    return made;
}

void TestQueuedObjectOperation::currentObjectFollowsTheWork()
{
    const QList<UWStandardFileRef> pool = items(3);
    const UWStandardFileRef &a = pool[0], &b = pool[1], &c = pool[2];
    const auto operation = std::make_shared<PathOperation>();
    QCOMPARE(operation->currentObject(), nullptr);

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
    QCOMPARE(operation->popFromQueue(), nullptr);
    operation->addObjectsToQueue({a});
    QCOMPARE(operation->currentObject(), a);

    const QList<UWQueuedObjectResult> posted{{{}, a}, {{}, b}, {{}, b}};
    QCOMPARE(operation->latestResults(), posted);
    QVERIFY(operation->latestResults().isEmpty());
}

void TestQueuedObjectOperation::deliversEachResultOnceInOrder_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("workMicroseconds");
    QTest::addColumn<bool>("mainThreadWaits"); // all posts happen while nothing can be delivered
    QTest::addColumn<int>("callsToDecline");

    QTest::newRow("nothing to do") << 0 << 0 << false << 0;
    QTest::newRow("one item") << 1 << 0 << false << 0;
    QTest::newRow("many items at full speed") << 2000 << 0 << false << 0;
    QTest::newRow("items that take time") << 100 << 300 << false << 0;
    QTest::newRow("posts during a wait arrive together") << 500 << 0 << true << 0;
    QTest::newRow("results left untaken come before completion") << 20 << 0 << true << 1;
}

void TestQueuedObjectOperation::deliversEachResultOnceInOrder()
{
    QFETCH(int, count);
    QFETCH(int, workMicroseconds);
    QFETCH(bool, mainThreadWaits);
    QFETCH(int, callsToDecline);

    Log log;
    Recorder recorder(&log);
    recorder.callsToDecline = callsToDecline;
    const QList<UWStandardFileRef> work = items(count);
    const auto operation = std::make_shared<PathOperation>();
    operation->workMicroseconds = workMicroseconds;
    operation->setDelegate(&recorder);
    operation->setQueue(work);
    QThreadPool pool;
    UWQueuedObjectOperation::start(operation, &pool);
    if (mainThreadWaits) {
        QVERIFY(operation->waitForFinished(20000));
        QCOMPARE(log.deliveries, 0);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(log.deliveries, 1 + callsToDecline);
    }
    QTRY_COMPARE_WITH_TIMEOUT(log.completions, 1, 20000);

    QCOMPARE(log.results, resultsFor(work));
    QCOMPARE(log.completed, operation.get());
    QVERIFY(!log.resultsAfterCompletion);
    QVERIFY(!log.offMainThread);
    QCOMPARE(log.emptyDeliveries, 0);
    QVERIFY(operation->isFinished());
    QVERIFY(!operation->isExecuting());
    QCOMPARE(operation->currentObject(), nullptr);

    UWQueuedObjectOperation::start(operation, &pool); // runs once only
    pool.waitForDone();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(log.completions, 1);
    QCOMPARE(operation->mainCalls.load(), 1);
}

void TestQueuedObjectOperation::resultsArriveWhileRunning()
{
    constexpr int burst = 50;
    constexpr int bursts = 20;
    Log log;
    Recorder recorder(&log);
    // A delegate that takes its time after taking the batch, and posts spread over that
    // time, make posts land while a delivery is in progress.
    recorder.afterResults = [](UWQueuedObjectOperation *) { QThread::usleep(500); };
    const QList<UWStandardFileRef> work = items(burst * bursts);
    const auto operation = std::make_shared<PathOperation>();
    operation->workMicroseconds = 50;
    operation->holdAfterPosts = burst;
    operation->setDelegate(&recorder);
    operation->setQueue(work);
    QThreadPool pool;
    const auto letGo = qScopeGuard([&] { operation->letGo(); });
    UWQueuedObjectOperation::start(operation, &pool);
    for (int round = 1; round <= bursts; ++round) {
        // Spun, not waited on (QTRY_ sleeps between its rounds of events): the main thread
        // must be delivering while the burst is posted.
        const QDeadlineTimer deadline(20000);
        while (!operation->holding.tryAcquire() && !deadline.hasExpired())
            QCoreApplication::processEvents();
        QVERIFY(!deadline.hasExpired());
        // main() posts nothing more until released: a result left behind by a delivery
        // that raced with a post would stay undelivered here.
        QTRY_COMPARE(log.results.size(), qsizetype(round * burst));
        QCOMPARE(log.completions, 0);
        operation->resume.release();
    }
    QTRY_COMPARE(log.completions, 1);
    QCOMPARE(log.results, resultsFor(work));
}

void TestQueuedObjectOperation::queueEditsWhileRunning_data()
{
    QTest::addColumn<QString>("edit");
    QTest::addColumn<QList<int>>("argument"); // -1 is a null item, 10 an equal twin of item 1
    QTest::addColumn<QList<int>>("delivered"); // the queue starts as 0..7, and 0 is taken

    QTest::newRow("front keeps the order, not nulls") << "front" << QList<int>{9, -1, 8} << QList<int>{0, 9, 8, 1, 2, 3, 4, 5, 6, 7};
    QTest::newRow("append") << "append" << QList<int>{8} << QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8};
    QTest::newRow("remove spares the taken and the equal") << "remove" << QList<int>{5, 0, 3, 10} << QList<int>{0, 1, 2, 4, 6, 7};
    QTest::newRow("set") << "set" << QList<int>{9, 8} << QList<int>{0, 9, 8};
    QTest::newRow("clear") << "clear" << QList<int>{} << QList<int>{0};
}

void TestQueuedObjectOperation::queueEditsWhileRunning()
{
    QFETCH(QString, edit);
    QFETCH(QList<int>, argument);
    QFETCH(QList<int>, delivered);

    QList<UWStandardFileRef> pool = items(10);
    pool.append(UWStandardFile::newFileForPath(pool.at(1)->path()));
    const auto pick = [&pool](const QList<int> &indices) {
        QList<UWStandardFileRef> picked;
        for (int index : indices)
            picked.append(index < 0 ? nullptr : pool.at(index));
        return picked;
    };
    Log log;
    Recorder recorder(&log);
    const auto operation = std::make_shared<PathOperation>();
    operation->holdAfterFirstPop = true;
    operation->setDelegate(&recorder);
    operation->setQueue(pool.first(8));
    QThreadPool threads;
    const auto letGo = qScopeGuard([&] { operation->letGo(); });
    UWQueuedObjectOperation::start(operation, &threads);
    QVERIFY(operation->holding.tryAcquire(1, 20000));
    QVERIFY(operation->isExecuting());
    QCOMPARE(operation->currentObject(), pool.at(0));

    const QList<UWStandardFileRef> objects = pick(argument);
    if (edit == u"front")
        operation->addObjectsToFrontOfQueue(objects);
    else if (edit == u"append")
        operation->addObjectsToQueue(objects);
    else if (edit == u"remove")
        operation->removeObjectsFromQueue(objects);
    else if (edit == u"set")
        operation->setQueue(objects);
    else
        operation->clearQueue();
    QCOMPARE(operation->queue(), pick(delivered.mid(1)));
    QCOMPARE(operation->queueCount(), delivered.size() - 1);
    QCOMPARE(operation->currentObject(), pool.at(0));
    operation->resume.release();

    QTRY_COMPARE_WITH_TIMEOUT(log.completions, 1, 20000);
    QCOMPARE(log.results, resultsFor(pick(delivered)));
}

void TestQueuedObjectOperation::cancelKeepsAPrefix()
{
    Log log;
    Recorder recorder(&log);
    recorder.afterResults = [](UWQueuedObjectOperation *operation) { operation->cancel(); };
    const QList<UWStandardFileRef> work = items(fileCount);
    const auto operation = std::make_shared<PathOperation>();
    operation->workMicroseconds = 100;
    operation->setDelegate(&recorder);
    operation->setQueue(work);
    QThreadPool pool;
    UWQueuedObjectOperation::start(operation, &pool);
    QTRY_COMPARE_WITH_TIMEOUT(log.completions, 1, 60000);

    QVERIFY(!log.resultsAfterCompletion);
    QVERIFY(!log.results.isEmpty());
    QVERIFY(log.results.size() < work.size());
    QCOMPARE(log.results, resultsFor(work.first(log.results.size())));
    // Whatever was taken was posted: the rest is still waiting, nothing fell in between.
    QCOMPARE(operation->queueCount(), work.size() - log.results.size());

    // Cancelled before it starts, an operation skips main() and still completes.
    Log early;
    Recorder earlyRecorder(&early);
    const auto skipped = std::make_shared<PathOperation>();
    skipped->setDelegate(&earlyRecorder);
    skipped->setQueue(items(3));
    skipped->cancel();
    UWQueuedObjectOperation::start(skipped, &pool);
    QTRY_COMPARE_WITH_TIMEOUT(early.completions, 1, 20000);
    QCOMPARE(skipped->mainCalls.load(), 0);
    QCOMPARE(early.deliveries, 0);
    QCOMPARE(skipped->queueCount(), 3);
    QCOMPARE(skipped->currentObject(), nullptr); // waiting, but nothing will take them
}

void TestQueuedObjectOperation::goneDelegateReceivesNothing_data()
{
    QTest::addColumn<bool>("destroy");
    QTest::newRow("destroyed delegate") << true;
    QTest::newRow("delegate unset") << false;
}

void TestQueuedObjectOperation::goneDelegateReceivesNothing()
{
    QFETCH(bool, destroy);

    Log log;
    auto recorder = std::make_unique<Recorder>(&log);
    const QList<UWStandardFileRef> work = items(200);
    const auto operation = std::make_shared<PathOperation>();
    operation->setDelegate(recorder.get());
    operation->setQueue(work);
    QThreadPool pool;
    UWQueuedObjectOperation::start(operation, &pool);
    // The deliveries and the completion are now queued but not delivered.
    QVERIFY(operation->waitForFinished(20000));
    if (destroy)
        recorder.reset();
    else
        operation->setDelegate(nullptr);
    QCOMPARE(operation->delegate(), nullptr);
    QCoreApplication::sendPostedEvents();

    QCOMPARE(log.deliveries, 0);
    QCOMPARE(log.completions, 0);
    QCOMPARE(operation->latestResults(), resultsFor(work)); // not delivered, not lost
}

void TestQueuedObjectOperation::manyOperationsAtOnce()
{
    constexpr int operationCount = 8;
    QList<Log> logs(operationCount);
    std::vector<std::unique_ptr<Recorder>> recorders;
    QList<QList<UWStandardFileRef>> work;
    std::vector<std::shared_ptr<PathOperation>> operations;
    QList<const UWQueuedObjectOperation *> addresses;
    // A thread each, all at once: more workers than processors contend for the locks, and
    // QThreadPool's own task queue, guarded by a lock ThreadSanitizer cannot see into, stays
    // out of the picture.
    QThreadPool pool;
    pool.setMaxThreadCount(operationCount);
    for (int i = 0; i < operationCount; ++i) {
        recorders.push_back(std::make_unique<Recorder>(&logs[i]));
        work.append(items(1000));
        operations.push_back(std::make_shared<PathOperation>());
        operations.back()->setDelegate(recorders.back().get());
        operations.back()->setQueue(work.last());
        addresses.append(operations.back().get());
        UWQueuedObjectOperation::start(operations.back(), &pool);
    }
    // Half the owners let go at once; the others keep reading while the work goes on.
    for (int i = 0; i < operationCount; i += 2)
        operations[i].reset();
    const auto allComplete = [&] {
        for (int i = 1; i < operationCount; i += 2)
            operations[i]->currentObject();
        return std::all_of(logs.cbegin(), logs.cend(), [](const Log &log) { return log.completions > 0; });
    };
    QTRY_VERIFY_WITH_TIMEOUT(allComplete(), 120000);

    for (int i = 0; i < operationCount; ++i) {
        QCOMPARE(logs[i].completions, 1);
        QCOMPARE(logs[i].completed, addresses[i]);
        QVERIFY(!logs[i].resultsAfterCompletion);
        QVERIFY(!logs[i].offMainThread);
        QCOMPARE(logs[i].results, resultsFor(work[i]));
    }
}

QTEST_GUILESS_MAIN(TestQueuedObjectOperation)
#include "tst_queuedobjectoperation.moc"
