// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAsyncImageInfoLoader.h"
#include "TQAsyncImageLoader.h"
#include "TQAsyncQuicklookThumbnailer.h"
#include "TQFile.h"
#include "TQSampleData.h"
#include "UWFileManager.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QHash>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

struct Call
{
    QObject *owner = nullptr;
    QImage image;
    std::optional<QVariantMap> info;
    UWStandardFileRef file;
    UWStandardFileRef next;
};

// A delegate of all three loaders. Its calls are logged outside it, so that they can be read
// after it is gone; afterCall may destroy it or the loader that called.
struct Recorder : QObject,
                  TQAsyncQuicklookThumbnailerDelegate,
                  TQAsyncImageLoaderDelegate,
                  TQAsyncImageInfoLoaderDelegate
{
    explicit Recorder(QList<Call> *target) : calls(target) {}
    QList<Call> *const calls;
    std::function<void(const Call &)> afterCall;

    void asynchronousThumbnailerCreatedThumbnail(TQAsyncQuicklookThumbnailer *owner, const QImage &image,
                                                const UWStandardFileRef &file, const UWStandardFileRef &next) override
    {
        record({owner, image, {}, file, next});
    }
    void asynchronousImageLoaderLoadedImage(TQAsyncImageLoader *owner, const QImage &image,
                                            const UWStandardFileRef &file, const UWStandardFileRef &next) override
    {
        record({owner, image, {}, file, next});
    }
    void asynchronousImageInfoLoaderLoadedInfo(TQAsyncImageInfoLoader *owner, const std::optional<QVariantMap> &info,
                                               const UWStandardFileRef &file, const UWStandardFileRef &next) override
    {
        record({owner, {}, info, file, next});
    }
    void record(const Call &call)
    {
        calls->append(call);
        if (const auto hook = afterCall) // a copy: the hook may destroy this recorder
            hook(call);
    }
};

// One of each loader, all reporting to one recorder; the thumbnailer with one worker unless told.
struct Rig
{
    explicit Rig(int processors = 1)
    {
        thumbnailer.setProcessorCount(processors);
        thumbnailer.setDelegate(&recorder);
        images.setDelegate(&recorder);
        infos.setDelegate(&recorder);
    }
    void add(const QString &owner, const QList<UWStandardFileRef> &files, bool highPriority = false)
    {
        if (owner == u"thumbnailer")
            thumbnailer.addFilesToQueue(files);
        else if (owner == u"image loader")
            images.addFilesToQueue(files, highPriority);
        else
            infos.addFilesToQueue(files);
    }
    void cancel(const QString &owner)
    {
        owner == u"thumbnailer" ? thumbnailer.cancel() : owner == u"image loader" ? images.cancel() : infos.cancel();
    }
    bool idle() const { return thumbnailer.operations().isEmpty() && !images.loadOperation() && !infos.loadOperation(); }
    // Lets the owner's workers finish: their results then wait among the main thread's events.
    bool finish() const
    {
        QList<std::shared_ptr<const UWQueuedObjectOperation>> running{images.loadOperation(), infos.loadOperation()};
        for (const auto &operation : thumbnailer.operations())
            running.append(operation);
        return std::all_of(running.cbegin(), running.cend(), [](const auto &o) { return !o || o->waitForFinished(20000); });
    }
    QList<UWStandardFileRef> files() const
    {
        QList<UWStandardFileRef> delivered;
        for (const Call &call : calls)
            delivered.append(call.file);
        return delivered;
    }

    QList<Call> calls;
    Recorder recorder{&calls};
    TQAsyncQuicklookThumbnailer thumbnailer;
    TQAsyncImageLoader images;
    TQAsyncImageInfoLoader infos;
};

QThreadPool *utilityQueue()
{
    return UWFileManager::sharedFileManager()->utilityQueue();
}

// Lets every operation finish and every delivery and completion reach the main thread.
void drain()
{
    for (int round = 0; round < 3; ++round) { // a completion may start new operations
        utilityQueue()->waitForDone();
        QCoreApplication::sendPostedEvents();
    }
}

// Occupies every thread of the utility queue until opened, so that operations started
// meanwhile keep their queues as they were handed over.
class PoolGate
{
public:
    PoolGate() : m_threads(utilityQueue()->maxThreadCount())
    {
        for (int i = 0; i < m_threads; ++i)
            utilityQueue()->start([started = m_started, gate = m_gate] {
                started->release();
                gate->tryAcquire(1, 20000); // a failed test must not leave the pool stuck
            });
        m_started->acquire(m_threads);
    }
    ~PoolGate() { open(); }
    void open() { m_gate->release(std::exchange(m_threads, 0)); }

private:
    std::shared_ptr<QSemaphore> m_started = std::make_shared<QSemaphore>();
    std::shared_ptr<QSemaphore> m_gate = std::make_shared<QSemaphore>();
    int m_threads;
};

} // namespace

class TestLoading : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { drain(); }

    void initTestCase()
    {
        // File items announce every non-image they are asked about; the loaders ask about many.
        QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
        QVERIFY(m_dir.isValid());
        // Thumbnails made here must not land in the user's shared thumbnail cache.
        qputenv("XDG_CACHE_HOME", QFile::encodeName(m_dir.filePath(u"cache"_s)));
        const QList<TQSampleData::Sample> samples = TQSampleData::writeSamples(m_dir.path());
        QVERIFY(!samples.isEmpty());
        QHash<QString, QVariantMap> facts;
        for (const TQSampleData::Sample &sample : samples) {
            facts.insert(sample.relativePath, sample.expected);
            if (sample.kind == u"image" || sample.kind == u"text")
                (sample.kind == u"image" ? m_pictures : m_others).append(sample.relativePath);
        }
        QVERIFY(QFile::copy(m_dir.filePath(m_pictures.constFirst()), m_dir.filePath(u"unreadable.jpg"_s)));
        QVERIFY(QFile::setPermissions(m_dir.filePath(u"unreadable.jpg"_s), {})); // unreadable even to root
        m_mixed = m_pictures + m_others
            + QStringList{u"lying/photo.jpg"_s, u"links/link-to-photo.jpg"_s, u"links/dangling.jpg"_s,
                          u"unreadable.jpg"_s};
        for (const QString &path : std::as_const(m_mixed)) {
            QVariantMap fact = facts.value(path);
            if (fact.contains(u"resolvesTo"_s))
                fact = facts.value(fact.value(u"resolvesTo"_s).toString());
            if (fact.contains(u"width"_s))
                m_stored.insert(path, QSize(fact.value(u"width"_s).toInt(), fact.value(u"height"_s).toInt()));
        }
    }

    void thumbnailerSplitsFilesIntoContiguousRuns_data()
    {
        QTest::addColumn<int>("processors");
        QTest::addColumn<QList<int>>("adds"); // the file counts of successive calls
        QTest::addColumn<int>("maxProcesses");
        QTest::addColumn<QList<int>>("runs"); // the queue lengths of the operations started

        const auto row = [](int files, int processors, const QList<int> &runs) {
            QTest::addRow("%d files over %d processors", files, processors)
                << processors << QList<int>{files} << (processors < 5 ? processors : 4) << runs;
        };
        row(0, 4, {});
        row(3, 2, {2, 1});
        row(3, 4, {1, 1, 1});
        row(9, 4, {3, 2, 2, 2});
        row(10, 2, {5, 5});
        row(10, 8, {3, 3, 2, 2});
        QTest::newRow("A second call starts operations of its own")
            << 4 << QList<int>{10, 3} << 4 << QList<int>{3, 3, 2, 2, 1, 1, 1};
    }

    void thumbnailerSplitsFilesIntoContiguousRuns()
    {
        QFETCH(int, processors);
        QFETCH(QList<int>, adds);
        QFETCH(int, maxProcesses);
        QFETCH(QList<int>, runs);

        TQAsyncQuicklookThumbnailer thumbnailer;
        thumbnailer.setProcessorCount(processors);
        thumbnailer.setSize({40, 30});
        thumbnailer.setRunLoopModes({u"tracking"_s});
        QCOMPARE(thumbnailer.maxProcesses(), 0); // not set up before the first call
        QCOMPARE(TQAsyncQuicklookThumbnailer().size(), QSizeF(0, 0)); // never set: not the operation's own

        const PoolGate gate;
        QList<UWStandardFileRef> files;
        for (int count : adds) {
            const QList<UWStandardFileRef> added = items(QList<QString>(count, u"missing"_s));
            thumbnailer.addFilesToQueue(added);
            files += added;
        }
        thumbnailer.setProcessorCount(1); // too late: the first call fixed it
        QCOMPARE(thumbnailer.maxProcesses(), maxProcesses);

        QList<int> lengths;
        QList<UWStandardFileRef> queued;
        for (const auto &operation : thumbnailer.operations()) {
            lengths.append(int(operation->queueCount()));
            queued += operation->queue();
            QCOMPARE(operation->size(), thumbnailer.size());
            QCOMPARE(operation->runLoopModes(), thumbnailer.runLoopModes());
        }
        QCOMPARE(lengths, runs);
        QCOMPARE(queued, files); // contiguous runs, in order, none twice
        QCOMPARE(thumbnailer.countLeft(), files.size());

        thumbnailer.cancel();
        QCOMPARE(thumbnailer.countLeft(), qsizetype(0));
        QVERIFY(thumbnailer.operations().isEmpty());
        QCOMPARE(thumbnailer.maxProcesses(), maxProcesses); // still set up
    }

    void deliversEachFileInOrderNamingTheNext_data()
    {
        QTest::addColumn<QString>("owner");
        QTest::addColumn<QSizeF>("size"); // of thumbnails

        QTest::newRow("Thumbnails within the size") << "thumbnailer" << QSizeF(32, 24);
        QTest::newRow("No thumbnails for a size never set") << "thumbnailer" << QSizeF();
        QTest::newRow("Images as stored") << "image loader" << QSizeF();
        QTest::newRow("Properties of images only, then the final call") << "info loader" << QSizeF();
    }

    void deliversEachFileInOrderNamingTheNext()
    {
        QFETCH(QString, owner);
        QFETCH(QSizeF, size);

        Rig rig; // one worker: the order is the queue's
        if (size.isValid())
            rig.thumbnailer.setSize(size);
        // A cancelled run's results, already on their way, are dropped.
        rig.add(owner, items(m_pictures));
        QVERIFY(rig.finish());
        rig.cancel(owner);
        QVERIFY(rig.idle());
        const QList<UWStandardFileRef> files = items(m_mixed);
        rig.add(owner, files);
        QTRY_VERIFY(rig.idle());
        drain();

        const bool info = owner == u"info loader";
        if (info) {
            const Call last = rig.calls.takeLast();
            QVERIFY(!last.file && !last.next && !last.info);
        }
        QList<UWStandardFileRef> expected;
        for (qsizetype i = 0; i < files.size(); ++i) {
            // The info loader skips what is not an image; the unreadable picture is one by name.
            if (!info || m_stored.contains(m_mixed.at(i)) || m_mixed.at(i) == u"unreadable.jpg")
                expected.append(files.at(i));
        }
        QCOMPARE(rig.files(), expected);
        for (qsizetype i = 0; i < rig.calls.size(); ++i) {
            const Call &call = rig.calls.at(i);
            const QString path = m_mixed.at(files.indexOf(call.file));
            const QSize stored = m_stored.value(path, QSize(0, 0)); // a null image's size
            QCOMPARE(call.owner, owner == u"thumbnailer" ? static_cast<QObject *>(&rig.thumbnailer)
                                 : info                  ? static_cast<QObject *>(&rig.infos)
                                                         : &rig.images);
            if (!info) // the info loader's next may be a file it will skip
                QCOMPARE(call.next, i + 1 < rig.calls.size() ? rig.calls.at(i + 1).file : nullptr);
            if (owner == u"thumbnailer") {
                QVERIFY2(call.image.isNull() == (stored.isEmpty() || size.isEmpty()), qPrintable(path));
                QVERIFY(call.image.isNull() || QSizeF(call.image.size()).boundedTo(size) == call.image.size());
            } else if (!info) {
                QVERIFY2(call.image.size() == stored, qPrintable(path));
            } else {
                QVERIFY2(call.info.has_value() == !stored.isEmpty(), qPrintable(path));
                QCOMPARE(call.info.value_or(QVariantMap()).value(u"PixelWidth"_s).toInt(), stored.width());
            }
        }
    }

    // What is a picture is the item's type: with types told by name alone, a picture named
    // .txt is text, and the image loader hands it on without decoding it.
    void imageLoaderGoesByType()
    {
        QVERIFY(QFile::copy(m_dir.filePath(m_pictures.constFirst()), m_dir.filePath(u"picture.txt"_s)));
        UWFileManager::setTypeDetection(TQTypeRegistry::Detection::NameOnly);
        const auto restore = qScopeGuard([] { UWFileManager::setTypeDetection(TQTypeRegistry::Detection::ContentAndName); });
        Rig rig;
        const QList<UWStandardFileRef> files = items({u"picture.txt"_s});
        rig.add(u"image loader"_s, files);
        QTRY_VERIFY(rig.idle());
        drain();
        QCOMPARE(rig.files(), files);
        QVERIFY(rig.calls.constFirst().image.isNull());
    }

    void thumbnailerStopsWhenToldTo_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<bool>("insideTheCall"); // or with every result made but not yet delivered

        QTest::newRow("cancel() inside a call ends even the batch") << "cancel" << true;
        QTest::newRow("clearQueue() inside a call ends even the batch") << "clearQueue" << true;
        QTest::newRow("The thumbnailer destroyed inside a call") << "destroy the thumbnailer" << true;
        QTest::newRow("The thumbnailer destroyed with results on their way") << "destroy the thumbnailer" << false;
        QTest::newRow("The delegate destroyed inside its call") << "destroy the delegate" << true;
        QTest::newRow("The delegate destroyed with results on their way") << "destroy the delegate" << false;
    }

    void thumbnailerStopsWhenToldTo()
    {
        QFETCH(QString, action);
        QFETCH(bool, insideTheCall);

        auto thumbnailer = std::make_unique<TQAsyncQuicklookThumbnailer>();
        thumbnailer->setProcessorCount(2);
        thumbnailer->setSize({16, 16});
        QList<Call> calls;
        auto recorder = std::make_unique<Recorder>(&calls);
        thumbnailer->setDelegate(recorder.get());
        qsizetype deliveredBefore = -1;
        const auto act = [&] {
            deliveredBefore = calls.size();
            if (action == u"destroy the thumbnailer")
                thumbnailer.reset();
            else if (action == u"destroy the delegate")
                recorder.reset();
            else
                action == u"clearQueue" ? thumbnailer->clearQueue() : thumbnailer->cancel();
        };
        recorder->afterCall = [&](const Call &) {
            if (insideTheCall && deliveredBefore < 0)
                act();
        };

        const QList<UWStandardFileRef> files = items(QList<QString>(200, m_pictures.first()));
        thumbnailer->addFilesToQueue(files);
        if (insideTheCall) {
            QTRY_VERIFY(deliveredBefore >= 0);
        } else {
            // The main thread only waits: every result and completion is now queued for it.
            for (const auto &operation : thumbnailer->operations())
                QVERIFY(operation->waitForFinished(20000));
            act();
        }
        drain();
        QCOMPARE(calls.size(), deliveredBefore);
        QVERIFY(deliveredBefore < files.size());
        QVERIFY(!thumbnailer || (thumbnailer->countLeft() == 0 && thumbnailer->operations().isEmpty()));
    }

    void thumbnailerPassesFilesOfAStoppedOperationOn_data()
    {
        QTest::addColumn<bool>("cancelled");

        QTest::newRow("Files left in an operation are queued again") << false;
        QTest::newRow("A cancelled operation delivers and passes on nothing") << true;
    }

    void thumbnailerPassesFilesOfAStoppedOperationOn()
    {
        QFETCH(bool, cancelled);

        Rig rig;
        // An operation whose main() stopped after one file, as one ended by an exception does.
        const QList<UWStandardFileRef> files = items(m_pictures.first(4));
        const auto stopped = std::make_shared<TQQuicklookThumbnailOperation>();
        stopped->setQueue(files.mid(1));
        stopped->postResult({{}, files.first()});
        if (cancelled)
            stopped->cancel();
        rig.thumbnailer.queuedObjectOperationComplete(stopped.get());
        QTRY_VERIFY(rig.idle());

        QCOMPARE(rig.files(), cancelled ? QList<UWStandardFileRef>() : files);
        QVERIFY(cancelled || rig.calls.first().next == files.at(1)); // what the stopped one still held
    }

    void imageLoaderAddsWhileBusy_data()
    {
        QTest::addColumn<bool>("highPriority");

        QTest::newRow("High-priority files come before those waiting") << true;
        QTest::newRow("Other files come after those waiting") << false;
    }

    void imageLoaderAddsWhileBusy()
    {
        QFETCH(bool, highPriority);

        Rig rig;
        const QList<UWStandardFileRef> waiting = items(QList<QString>(150, m_pictures.first()));
        const QList<UWStandardFileRef> added = items(m_pictures.first(3));
        rig.images.addFilesToQueue(waiting);
        rig.images.addFilesToQueue(added, highPriority);
        QTRY_VERIFY(rig.idle());

        // Whatever the worker had taken before the addition, the rest follows the rule.
        const QList<UWStandardFileRef> delivered = rig.files();
        const qsizetype taken = highPriority ? delivered.indexOf(added.first()) : waiting.size();
        QVERIFY(taken >= 0 && (taken < waiting.size() || !highPriority)); // they did jump the queue
        QCOMPARE(delivered, waiting.first(taken) + added + waiting.mid(taken));
    }

    void infoLoaderCountsSkippedFilesUntilTaken()
    {
        Rig rig;
        const QList<UWStandardFileRef> files =
            items({m_others.at(0), m_pictures.at(0), m_others.at(1), m_pictures.at(1), m_others.at(2)});
        PoolGate gate;
        rig.infos.addFilesToQueue(files);
        QCOMPARE(rig.infos.countLeft(), files.size());
        rig.infos.removeFilesFromQueue({files.at(1)});
        QCOMPARE(rig.infos.countLeft(), files.size() - 1);
        gate.open();
        QTRY_VERIFY(rig.idle());
        QCOMPARE(rig.infos.countLeft(), qsizetype(0));
        QCOMPARE(rig.files(), (QList<UWStandardFileRef>{files.at(3), nullptr}));
    }

    void survivesRandomCancellationUnderLoad()
    {
        // Each owner's files carry the owner's generation when added; cancelling starts a new one.
        // A call for a file of an older generation or of another owner, or a second call for one
        // file, is a fault. Fresh items for every add, kept alive so that no address is reused.
        const QStringList names{u"thumbnailer"_s, u"image loader"_s, u"info loader"_s};
        struct Owner
        {
            Rig rig{2};
            int generation = 0;
            QHash<const UWStandardFile *, int> addedIn;
            QSet<const UWStandardFile *> delivered;
        };
        std::array<Owner, 3> owners;
        QList<UWStandardFileRef> everything;
        QStringList faults;
        QRandomGenerator random(20260421);
        const auto cancel = [&](int which) {
            ++owners[which].generation;
            owners[which].rig.cancel(names.at(which));
        };
        for (int which = 0; which < 3; ++which) {
            owners[which].rig.thumbnailer.setSize({8, 8});
            owners[which].rig.recorder.afterCall = [&, which](const Call &call) {
                Owner &self = owners[which];
                if (!call.file)
                    return; // the info loader's final call
                const auto added = self.addedIn.constFind(call.file.get());
                if (added == self.addedIn.cend() || *added != self.generation || self.delivered.contains(call.file.get()))
                    faults.append(names.at(which) + u": "_s + call.file->path());
                self.delivered.insert(call.file.get());
                if (random.bounded(100) == 0)
                    cancel(which); // from inside the call
            };
        }

        const QStringList sources = m_pictures.first(4) + m_others.first(4);
        while (everything.size() < 2000) {
            const int which = int(random.bounded(3));
            Owner &owner = owners[which];
            const int action = int(random.bounded(20));
            if (action < 15) {
                QStringList paths;
                for (int i = int(random.bounded(10, 60)); i > 0; --i)
                    paths.append(sources.at(random.bounded(int(sources.size()))));
                const QList<UWStandardFileRef> files = items(paths);
                for (const UWStandardFileRef &file : files)
                    owner.addedIn.insert(file.get(), owner.generation);
                everything += files;
                owner.rig.add(names.at(which), files, random.bounded(2) == 1);
            } else if (action < 17 || which == 0) {
                cancel(which); // the thumbnailer's clearQueue() is cancel()
            } else if (which == 1) {
                owner.rig.images.removeFilesFromQueue(everything.mid(random.bounded(int(everything.size())), 20));
            } else {
                owner.rig.infos.clearQueue();
            }
            // Paced, so that deliveries and the next action interleave with the workers.
            const QDeadlineTimer pause(3);
            while (!pause.hasExpired())
                QCoreApplication::processEvents();
        }
        QTRY_VERIFY_WITH_TIMEOUT(owners[0].rig.idle() && owners[1].rig.idle() && owners[2].rig.idle(), 30000);
        drain();

        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(u'\n')));
        for (int which = 0; which < 3; ++which) // the run did something
            QVERIFY2(!owners[which].delivered.isEmpty(), qPrintable(names.at(which)));
    }

private:
    // New items, one identity per entry even where paths repeat: an item is used by one
    // thread at a time, so no two operations share one.
    QList<UWStandardFileRef> items(const QStringList &paths) const
    {
        QList<UWStandardFileRef> made;
        for (const QString &path : paths)
            made.append(TQFile::newFileForPath(m_dir.filePath(path)));
        return made;
    }

    QTemporaryDir m_dir;
    QStringList m_pictures, m_others; // sample pictures; readable text
    QStringList m_mixed;              // pictures, text, a lying name, links, an unreadable picture
    QHash<QString, QSize> m_stored;   // the stored size of what each of m_mixed shows, if a picture
};

QTEST_GUILESS_MAIN(TestLoading)
#include "tst_loading.moc"
