// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Lists a folder of many files into file items with their types (by name), side by side with
// find(1) on the same folder, and reports items per second and memory per item.
//
//   bench_listing [COUNT] [FOLDER]     default 100000 files in a fresh temporary folder

#include "UWFileLoadOperation.h"
#include "UWFileManager.h"
#include "UWStandardFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <malloc.h>

namespace {

// The heap in use, which is what the items cost (resident pages lag behind and overshoot).
qint64 heapInUse()
{
    const struct mallinfo2 info = ::mallinfo2();
    return qint64(info.uordblks + info.hblkhd);
}

void makeFiles(const QString &folder, int count)
{
    static const char *extensions[] = {"jpg", "png", "txt", "mp3", "mov", "pdf", "cpp", "json", "heic", "dng"};
    for (int i = 0; i < count; ++i) {
        const QByteArray name = QFile::encodeName(folder) + "/file-" + QByteArray::number(i) + '.'
            + extensions[i % 10];
        const int fd = ::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd >= 0)
            ::close(fd);
    }
}

double timeFind(const QString &folder, int rounds)
{
    double best = 1e9;
    for (int round = 0; round < rounds; ++round) {
        QProcess find;
        find.setStandardOutputFile(QProcess::nullDevice());
        QElapsedTimer timer;
        timer.start();
        find.start(QStringLiteral("find"), {folder, QStringLiteral("-printf"), QStringLiteral("%f %s\\n")});
        find.waitForFinished(-1);
        best = std::min(best, timer.nsecsElapsed() / 1e9);
    }
    return best;
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
    const UWStandardFileRef folderItem = UWStandardFile::newFileForPath(folder);
    constexpr int rounds = 5;

    // Warm the page cache and the registry once, as a browser that has shown a folder before.
    {
        UWFileLoadOperation warm;
        warm.addObjectToQueue(folderItem);
        warm.main();
    }

    double bestList = 1e9;
    qint64 bytesPerItem = 0;
    qsizetype listed = 0;
    for (int round = 0; round < rounds; ++round) {
        const qint64 before = heapInUse();
        QElapsedTimer timer;
        timer.start();
        UWFileLoadOperation load;
        load.addObjectToQueue(folderItem);
        load.main();
        const QList<UWStandardFileRef> files = load.results();
        const double listSeconds = timer.nsecsElapsed() / 1e9;
        bytesPerItem = (heapInUse() - before) / std::max<qsizetype>(files.size(), 1);
        qsizetype typed = 0;
        for (const UWStandardFileRef &file : files)
            typed += !file->uti().isEmpty();
        const double seconds = timer.nsecsElapsed() / 1e9;
        if (typed != files.size())
            std::fprintf(stderr, "only %lld of %lld items typed\n", qlonglong(typed), qlonglong(files.size()));
        listed = files.size();
        bestList = std::min(bestList, seconds);
        std::fprintf(stderr, "round %d: listing %.3f s, with types %.3f s\n", round + 1, listSeconds, seconds);
    }
    const double bestFind = timeFind(folder, rounds);

    std::printf("items                      %lld\n", qlonglong(listed));
    std::printf("TQKit listing + types      %.3f s  %.0f items/s\n", bestList, listed / bestList);
    std::printf("find -printf '%%f %%s\\n'     %.3f s  %.0f items/s\n", bestFind, listed / bestFind);
    std::printf("ratio (TQKit / find)       %.2f\n", bestFind / bestList);
    std::printf("heap per item before any value is asked: %lld bytes\n", qlonglong(bytesPerItem));
    return 0;
}
