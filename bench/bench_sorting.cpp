// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Sorts the file items of a large folder through the sort descriptors of the browser's columns,
// side by side in one run with the plain sorts they stand against:
//   by name  (sort type 0)  vs  std::stable_sort of the same names by precomputed QCollatorSortKeys
//                               (numeric, case-insensitive)
//   by size  (sort type 1)  vs  std::stable_sort of the raw sizes
//   by date  (sort type 6)  vs  std::stable_sort of the raw modification times (ms)
// and, for scale, one pass that asks every item for its size and date once.
// Every round sorts the same shuffled order; the best of the rounds is reported.
//
//   bench_sorting [COUNT] [FOLDER]     default 100000 files in a fresh temporary folder

#include "TQFile.h"
#include "UWFileLoadOperation.h"
#include "UWFileManager.h"

#include <QCollator>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

constexpr int rounds = 5;

// Names as cameras, people and programs make them: digits, case, spaces, accents, wide forms.
QString makeName(int i, QRandomGenerator &random)
{
    static const char16_t *const stems[] = {u"IMG_", u"img_", u"DSC", u"Photo ", u"photo ", u"Résumé ",
                                            u"resume ", u"Scan ", u"ｆｉｌｅ", u"notes-", u"Zebra ", u"Äpfel "};
    static const char *const extensions[] = {"jpg", "JPG", "png", "txt", "heic", "pdf"};
    const quint32 pick = random.generate();
    return QString::fromUtf16(stems[pick % 12]) + QString::number(random.bounded(20000)) + u'-'
        + QString::number(i) + u'.' + QLatin1String(extensions[(pick >> 8) % 6]);
}

void makeFiles(const QString &folder, int count)
{
    QRandomGenerator random(2026);
    for (int i = 0; i < count; ++i) {
        const QByteArray path = QFile::encodeName(folder + u'/' + makeName(i, random));
        const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd < 0)
            continue;
        // Sparse files: any size costs nothing. Some sizes repeat, as they do in real folders.
        if (::ftruncate(fd, off_t(random.bounded(i % 10 == 0 ? 100 : 1 << 30))) != 0)
            std::perror("ftruncate");
        const timespec times[2] = {{0, UTIME_OMIT}, {time_t(1.5e9 + random.bounded(3e8)), long(random.bounded(1e9))}};
        ::futimens(fd, times);
        ::close(fd);
    }
}

double bestOf(const std::function<void()> &prepare, const std::function<void()> &work)
{
    double best = 1e9;
    for (int round = 0; round < rounds; ++round) {
        prepare();
        QElapsedTimer timer;
        timer.start();
        work();
        best = std::min(best, timer.nsecsElapsed() / 1e6);
    }
    return best;
}

template <class T, class Less>
double timeStableSort(const std::vector<T> &shuffled, Less less)
{
    std::vector<T> values;
    return bestOf([&] { values = shuffled; }, [&] { std::stable_sort(values.begin(), values.end(), less); });
}

double timeDescriptors(const QList<UWStandardFileRef> &shuffled, int sortType)
{
    QList<UWStandardFileRef> items;
    const QList<TQSortDescriptor> descriptors = TQFile::sortDescriptorsForSortType(sortType, 0, true);
    return bestOf([&] { items = shuffled; items.detach(); }, [&] { TQSortDescriptor::sort(items, descriptors); });
}

void report(const char *what, double ours, const char *peer, double theirs)
{
    std::printf("%-34s %9.1f ms   %-46s %9.1f ms   ratio %.2f\n", what, ours, peer, theirs, ours / theirs);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 100000;
    QTemporaryDir scratch;
    const QString folder = argc > 2 ? QString::fromLocal8Bit(argv[2]) : scratch.path();
    if (QDir(folder).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::Hidden).size() < count)
        makeFiles(folder, count);

    UWFileManager::setTypeDetection(TQTypeRegistry::Detection::NameOnly);
    UWFileLoadOperation load;
    load.addObjectToQueue(UWStandardFile::newFileForPath(folder));
    load.main();
    QList<UWStandardFileRef> items = load.results();
    std::shuffle(items.begin(), items.end(), std::mt19937(7));
    std::printf("%lld file items, best of %d rounds, same shuffled order for every sort\n", qlonglong(items.size()), rounds);

    // By name. The first sort makes each item's collation key; later sorts reuse it.
    {
        QElapsedTimer timer;
        timer.start();
        QList<UWStandardFileRef> first = items;
        TQSortDescriptor::sort(first, TQFile::sortDescriptorsForSortType(0, 0, true));
        const double cold = timer.nsecsElapsed() / 1e6;

        QCollator collator(QLocale::system().language() == QLocale::C ? QLocale(QLocale::English) : QLocale::system());
        collator.setNumericMode(true);
        collator.setCaseSensitivity(Qt::CaseInsensitive);
        std::vector<QCollatorSortKey> keys;
        keys.reserve(size_t(items.size()));
        timer.restart();
        for (const UWStandardFileRef &item : items)
            keys.push_back(collator.sortKey(item->displayName()));
        const double making = timer.nsecsElapsed() / 1e6;
        std::vector<qsizetype> positions(keys.size());
        std::iota(positions.begin(), positions.end(), 0);
        const double peer = timeStableSort(positions, [&keys](qsizetype a, qsizetype b) { return keys[size_t(a)].compare(keys[size_t(b)]) < 0; });
        report("descriptors, sort type 0 (name)", timeDescriptors(items, 0), "stable_sort by precomputed QCollatorSortKey", peer);
        std::printf("  first sort by name, making the items' keys: %.1f ms (making %lld QCollatorSortKeys alone: %.1f ms)\n",
                    cold, qlonglong(keys.size()), making);
    }

    // By size and by date, against the raw numbers.
    std::vector<qint64> sizes, times;
    for (const UWStandardFileRef &item : items) {
        const TQFileRef file = TQFile::fromItem(item);
        sizes.push_back(file->fileSize());
        times.push_back(file->modificationDate().toMSecsSinceEpoch());
    }
    report("descriptors, sort type 1 (size)", timeDescriptors(items, 1), "stable_sort of the raw sizes", timeStableSort(sizes, std::less<>()));
    report("descriptors, sort type 6 (modified)", timeDescriptors(items, 6), "stable_sort of the raw times", timeStableSort(times, std::less<>()));

    // The least any sort by the items' own values pays: one pass over the shuffled items that
    // asks each for the value once (a few dependent cache misses per item).
    volatile qint64 sink = 0;
    const double passSizes = bestOf([] {}, [&] {
        qint64 sum = 0;
        for (const UWStandardFileRef &item : items)
            sum += static_cast<const TQFile *>(item.get())->fileSize();
        sink = sum;
    });
    const double passDates = bestOf([] {}, [&] {
        qint64 sum = 0;
        for (const UWStandardFileRef &item : items)
            sum += item->modificationDate().toMSecsSinceEpoch();
        sink = sum;
    });
    std::printf("  one pass asking every item once: fileSize() %.1f ms, modificationDate() %.1f ms\n", passSizes, passDates);

    // For scale: what a host writes by hand without descriptors, asking the items themselves
    // (no tie-break by name).
    QList<UWStandardFileRef> byHand;
    const double handSizes = bestOf([&] { byHand = items; byHand.detach(); }, [&] {
        std::stable_sort(byHand.begin(), byHand.end(), [](const UWStandardFileRef &a, const UWStandardFileRef &b) {
            return static_cast<const TQFile *>(a.get())->fileSize() < static_cast<const TQFile *>(b.get())->fileSize();
        });
    });
    report("descriptors, sort type 1 (size)", timeDescriptors(items, 1), "stable_sort of the items by fileSize()", handSizes);
    return 0;
}
