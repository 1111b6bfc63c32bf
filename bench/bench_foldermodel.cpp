// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folder model on a big folder, each figure beside its baseline in the same run:
//   - the first 1,000 rows, and the whole folder listed, typed and sorted by name, beside
//     `find DIR -maxdepth 1 -printf '%f\t%s\t%T@\n' | sort`;
//   - resorting by size, date, kind and name beside std::stable_sort of precomputed keys of
//     the same type (integers; collation keys for texts), in the thread's CPU time, the two
//     taking turns so that a busy machine slows both alike;
//   - the longest time the event loop goes without turning while the folder loads and the
//     thumbnails of the first rows arrive (LatencyProbe), without image values and again with
//     them (the model's default) until every value is in;
//   - heap per item of the model, beside the items of a plain listing and beside the names
//     themselves (each display name and its collation key);
//   - the longest gap while another program fills a live folder with 10,000 files, then
//     removes them all.
//
//   bench_foldermodel [FOLDER]     default: 100,000 files made in a temporary folder
//   bench_foldermodel --churn      the live folder alone
//   bench_foldermodel FOLDER --loading    the figures of loading alone
//
// Type detection is by name, as a browser showing huge folders sets it.

#include "LatencyProbe.h"
#include "TQFolderModel.h"
#include "TQNameOrder.h"
#include "UWFileLoadOperation.h"
#include "UWFileManager.h"

#include <QCollator>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

namespace {

qint64 heapInUse()
{
    const struct mallinfo2 info = ::mallinfo2();
    return qint64(info.uordblks + info.hblkhd);
}

// Files with sizes and dates spread out, and images among the first names so that the rows
// on screen have thumbnails to make.
void makeFolder(const QString &folder, int count)
{
    static const char *extensions[] = {"jpg", "txt", "mp3", "mov", "pdf", "cpp", "json", "heic", "dng", "md"};
    QImage image(64, 48, QImage::Format_RGB32);
    for (int i = 0; i < 40; ++i) {
        image.fill(QColor::fromHsv(i * 9, 200, 220));
        image.save(folder + QStringLiteral("/0 picture %1.png").arg(i));
    }
    for (int i = 40; i < count; ++i) {
        const QByteArray name = QFile::encodeName(folder) + "/File " + QByteArray::number((i * 7919) % count) + '.'
            + extensions[i % 10];
        const int fd = ::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd < 0)
            continue;
        (void)::ftruncate(fd, (i * 104729) % 5000000);
        const struct timespec times[2] = {{0, UTIME_NOW}, {1700000000 - (i * 6151) % 400000000, 0}};
        ::futimens(fd, times);
        ::close(fd);
    }
}

double timeFindSort(const QString &folder)
{
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
        QProcess shell;
        shell.setStandardOutputFile(QProcess::nullDevice());
        QElapsedTimer timer;
        timer.start();
        shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("find \"$0\" -maxdepth 1 -printf '%f\\t%s\\t%T@\\n' | sort"), folder});
        shell.waitForFinished(-1);
        best = std::min(best, timer.nsecsElapsed() / 1e6);
    }
    return best;
}

// The calling thread's CPU time in milliseconds: on a busy machine the wall time of a short
// sort is mostly other programs' turns.
double threadCpuMs()
{
    struct timespec now = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// The best of several runs, in wall and in thread CPU time.
struct Best
{
    double wallMs = 1e9;
    double cpuMs = 1e9;

    template <typename Run>
    void time(Run run)
    {
        QElapsedTimer timer;
        const double cpu = threadCpuMs();
        timer.start();
        run();
        wallMs = std::min(wallMs, timer.nsecsElapsed() / 1e6);
        cpuMs = std::min(cpuMs, threadCpuMs() - cpu);
    }
};

// std::stable_sort of a copy of \a keys; the copy is not timed.
template <typename T, typename Less>
void timeStableSort(Best &best, const std::vector<T> &keys, Less less)
{
    std::vector<T> copy = keys;
    best.time([&] { std::stable_sort(copy.begin(), copy.end(), less); });
}

// A live folder that another program fills with 10,000 files and then empties: the event
// loop's gaps while the model follows, until every file has come and gone.
void churn(QGuiApplication &app)
{
    QTemporaryDir live;
    TQFolderModel model;
    model.setFolderPath(live.path());
    QTimer::singleShot(60000, &model, [&app] { app.quit(); });
    const QMetaObject::Connection loaded =
        QObject::connect(&model, &TQFolderModel::loadingFinished, &app, &QCoreApplication::quit);
    app.exec();
    QObject::disconnect(loaded);
    LatencyProbe churnProbe;
    QElapsedTimer timer;
    double filledMs = -1, emptiedMs = -1;
    QProcess writer, eraser;
    const auto watch = [&] {
        if (filledMs < 0 && model.rowCount() == 10000 && writer.state() == QProcess::NotRunning) {
            filledMs = timer.nsecsElapsed() / 1e6;
            eraser.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("cd \"$1\" && rm -f f*"),
                                                QStringLiteral("sh"), live.path()});
        } else if (filledMs >= 0 && emptiedMs < 0 && model.rowCount() == 0) {
            emptiedMs = timer.nsecsElapsed() / 1e6;
            app.quit();
        }
    };
    QObject::connect(&model, &QAbstractItemModel::rowsInserted, &app, watch);
    QObject::connect(&model, &QAbstractItemModel::rowsRemoved, &app, watch);
    QObject::connect(&writer, &QProcess::finished, &app, watch);
    churnProbe.start();
    timer.start();
    writer.start(QStringLiteral("sh"), {QStringLiteral("-c"),
                                        QStringLiteral("cd \"$1\" && i=0; while [ $i -lt 10000 ]; do : > f$i; i=$((i+1)); done"),
                                        QStringLiteral("sh"), live.path()});
    QTimer::singleShot(120000, &model, [&app] { app.quit(); });
    app.exec();
    writer.waitForFinished();
    eraser.waitForFinished();
    churnProbe.stop();
    std::printf("10,000 files made, then removed, by another program: all in %8.1f ms, all gone %8.1f ms\n", filledMs,
                emptiedMs);
    std::printf("event loop: longest gap meanwhile          %8.1f ms   (goal 16 ms; %d gaps > 16 ms, 99th pct %.1f ms)\n",
                churnProbe.longestMs(), churnProbe.gapsLongerThan(16), churnProbe.percentileMs(0.99));
    std::printf("  GUI thread's CPU time in that gap %.1f ms; its longest stretch of work %.1f ms\n",
                churnProbe.busyInLongestMs(), churnProbe.longestBusyMs());
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--churn") == 0) {
        UWFileManager::setTypeDetection(TQTypeRegistry::Detection::NameOnly);
        churn(app);
        return 0;
    }
    QTemporaryDir scratch;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : scratch.path();
    const bool loadingOnly = argc > 2 && qstrcmp(argv[2], "--loading") == 0;
    if (argc <= 1)
        makeFolder(folder, 100000);
    qputenv("XDG_CACHE_HOME", QFile::encodeName(scratch.path() + QStringLiteral("/cache")));
    UWFileManager::setTypeDetection(TQTypeRegistry::Detection::NameOnly);
    const UWStandardFileRef folderItem = UWStandardFile::newFileForPath(folder);

    // Warm the page cache and the type registry, as a browser that has shown a folder before;
    // the plain listing's heap per item is the baseline of the model's.
    qint64 itemBytes = 0, nameBytes = 0;
    qsizetype count = 0;
    for (int round = 0; round < 2; ++round) {
        const qint64 before = heapInUse();
        UWFileLoadOperation load;
        load.addObjectToQueue(folderItem);
        load.main();
        const QList<UWStandardFileRef> files = load.results();
        count = files.size();
        itemBytes = (heapInUse() - before) / std::max<qsizetype>(count, 1);
        // The names themselves, as a sorted view must hold them: each display name with its
        // collation key (the vector's own storage is not counted).
        std::vector<TQNameOrder::SortKey> names;
        names.reserve(files.size());
        const qint64 beforeNames = heapInUse();
        for (const UWStandardFileRef &file : files)
            names.push_back(TQNameOrder::sortKey(file->displayName()));
        nameBytes = (heapInUse() - beforeNames) / std::max<qsizetype>(count, 1);
    }
    const double findMs = timeFindSort(folder);

    // Load, with the first rows "on screen" and their thumbnails wanted.
    double firstRowsMs = -1, allRowsMs = -1, finishedMs = -1, thumbnailsMs = -1;
    qint64 modelBytes = 0;
    int thumbnails = 0;
    LatencyProbe probe;
    {
        const qint64 before = heapInUse();
        TQFolderModel model;
        model.setLoadsImageInfo(false);
        model.setThumbnailSize({64, 64});
        model.setVisibleRows(0, 39);
        QElapsedTimer timer;
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, &model, [&] {
            if (firstRowsMs < 0 && model.rowCount() >= 1000)
                firstRowsMs = timer.nsecsElapsed() / 1e6;
            if (allRowsMs < 0 && model.rowCount() >= count)
                allRowsMs = timer.nsecsElapsed() / 1e6;
        });
        // Hidden names are filtered out: every row is in when the listing is.
        QObject::connect(&model, &TQFolderModel::loadingFinished, &model, [&] {
            finishedMs = timer.nsecsElapsed() / 1e6;
            if (allRowsMs < 0)
                allRowsMs = finishedMs;
        });
        // Not every row on screen is an image: done when the thumbnails have been quiet for
        // two seconds after the listing (the quiet time is not counted).
        QTimer quiet;
        quiet.setSingleShot(true);
        quiet.setInterval(2000);
        QObject::connect(&quiet, &QTimer::timeout, &app, &QCoreApplication::quit);
        QObject::connect(&model, &TQFolderModel::loadingFinished, &quiet, qOverload<>(&QTimer::start));
        QObject::connect(&model, &TQFolderModel::thumbnailArrived, &model, [&] {
            ++thumbnails;
            thumbnailsMs = timer.nsecsElapsed() / 1e6;
            quiet.start();
        });
        probe.start();
        timer.start();
        model.setFolderPath(folder);
        // Bound to the model, so that the limit of this run cannot end a later one.
        QTimer::singleShot(60000, &model, [&app] { app.quit(); });
        app.exec();
        probe.stop();
        modelBytes = (heapInUse() - before) / std::max<qsizetype>(count, 1);

        std::printf("entries                                   %lld\n", qlonglong(count));
        std::printf("find -maxdepth 1 -printf ... | sort       %8.1f ms   (baseline)\n", findMs);
        std::printf("model: first 1,000 rows                   %8.1f ms   (goal 100 ms)\n", firstRowsMs);
        std::printf("model: all rows, typed, sorted by name    %8.1f ms   %.2fx find|sort (goal 4x)\n", allRowsMs,
                    allRowsMs / findMs);
        std::printf("model: live (loadingFinished)             %8.1f ms   %.2fx find|sort\n", finishedMs, finishedMs / findMs);
        std::printf("model: thumbnails of rows 0-39            %8.1f ms   (%d arrived; the last)\n", thumbnailsMs, thumbnails);
        std::printf("event loop: longest gap while loading     %8.1f ms   (goal 16 ms; %d gaps > 16 ms, 99th pct %.1f ms)\n",
                    probe.longestMs(), probe.gapsLongerThan(16), probe.percentileMs(0.99));
        std::printf("  GUI thread's CPU time in that gap %.1f ms; its longest stretch of work %.1f ms\n",
                    probe.busyInLongestMs(), probe.longestBusyMs());
        std::printf("  the longest gap ended %.1f ms after setFolder\n", probe.longestEndedAtMs());
        if (loadingOnly)
            return 0;

        // Resorting, from name order each time, beside std::stable_sort of the same keys.
        std::vector<qint64> sizes, dates;
        std::vector<QCollatorSortKey> kinds, names;
        QCollator collator;
        collator.setNumericMode(true);
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        for (int row = 0; row < model.rowCount(); ++row) {
            sizes.push_back(model.index(row, TQFolderModel::SizeColumn).data(TQFolderModel::SortValueRole).toLongLong());
            dates.push_back(model.index(row, TQFolderModel::ModificationDateColumn)
                                .data(TQFolderModel::SortValueRole)
                                .toDateTime()
                                .toMSecsSinceEpoch());
            kinds.push_back(collator.sortKey(model.index(row, TQFolderModel::KindColumn).data().toString()));
            names.push_back(collator.sortKey(model.index(row, TQFolderModel::NameColumn).data().toString()));
        }
        const auto lessKey = [](const QCollatorSortKey &a, const QCollatorSortKey &b) { return a.compare(b) < 0; };
        // The model and its baseline take turns, round by round, so that both meet the same
        // load; the model starts each round from name order, as the keys were taken.
        struct Resort
        {
            const char *name;
            TQSortType type;
            bool ascending;
            std::function<void(Best &)> baseline;
            double limit;
        } resorts[] = {
            {"size", TQSortType::FileSize, false, [&](Best &best) { timeStableSort(best, sizes, std::greater<qint64>()); }, 2},
            {"date", TQSortType::ModificationDate, false, [&](Best &best) { timeStableSort(best, dates, std::greater<qint64>()); }, 2},
            {"kind", TQSortType::Kind, true, [&](Best &best) { timeStableSort(best, kinds, lessKey); }, 2},
            {"name, descending", TQSortType::Name, false, [&](Best &best) { timeStableSort(best, names, lessKey); }, 3},
        };
        std::printf("resorts: best of 5 alternated rounds, thread CPU time (wall time in brackets)\n");
        for (const Resort &resort : resorts) {
            Best model_, peer;
            for (int round = 0; round < 5; ++round) {
                model.setSortType(TQSortType::Name, TQFolderPriority::Mixed, true);
                model_.time([&] { model.setSortType(resort.type, TQFolderPriority::Mixed, resort.ascending); });
                resort.baseline(peer);
            }
            std::printf("resort by %-17s model %6.1f ms (%6.1f)   stable_sort of keys %6.1f ms (%6.1f)   %.2fx (goal %.0fx)\n",
                        resort.name, model_.cpuMs, model_.wallMs, peer.cpuMs, peer.wallMs, model_.cpuMs / peer.cpuMs,
                        resort.limit);
        }
    }
    // The same load with image values read in the background (the model's default): the
    // event loop's gaps until every value is in, and the heap per item then.
    {
        const qint64 before = heapInUse();
        TQFolderModel model;
        model.setThumbnailSize({64, 64});
        model.setVisibleRows(0, 39);
        double listedMs = -1, valuesMs = -1;
        QElapsedTimer timer;
        QObject::connect(&model, &TQFolderModel::loadingFinished, &model, [&] { listedMs = timer.nsecsElapsed() / 1e6; });
        QObject::connect(&model, &TQFolderModel::imageInfoFinished, &model, [&] {
            valuesMs = timer.nsecsElapsed() / 1e6;
            app.quit();
        });
        LatencyProbe valuesProbe;
        valuesProbe.start();
        timer.start();
        model.setFolderPath(folder);
        QTimer::singleShot(180000, &model, [&app] { app.quit(); });
        app.exec();
        valuesProbe.stop();
        const qint64 bytes = (heapInUse() - before) / std::max<qsizetype>(count, 1);
        std::printf("image values on: listed %8.1f ms, every value in %8.1f ms (-1: not within 180 s)\n", listedMs, valuesMs);
        std::printf("event loop: longest gap, image values on  %8.1f ms   (goal 16 ms; %d gaps > 16 ms, 99th pct %.1f ms)\n",
                    valuesProbe.longestMs(), valuesProbe.gapsLongerThan(16), valuesProbe.percentileMs(0.99));
        std::printf("  GUI thread's CPU time in that gap %.1f ms; its longest stretch of work %.1f ms\n",
                    valuesProbe.busyInLongestMs(), valuesProbe.longestBusyMs());
        std::printf("heap per item, image values on: model %lld bytes, %lld beyond the names\n", qlonglong(bytes),
                    qlonglong(bytes - nameBytes));
    }
    churn(app);
    std::printf("heap per item: model %lld bytes, items of a plain listing %lld bytes, model beyond items %lld bytes\n",
                qlonglong(modelBytes), qlonglong(itemBytes), qlonglong(modelBytes - itemBytes));
    std::printf("heap per item beyond the names (%lld bytes of name and collation key): model %lld bytes (goal 1024)\n",
                qlonglong(nameBytes), qlonglong(modelBytes - nameBytes));
    return 0;
}
