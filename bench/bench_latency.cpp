// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Event-loop latency of a Qt program while work runs on its GUI thread: the longest time the
// loop went without turning (LatencyProbe), beside the wall time of the work. The first two
// rows check the probe itself (idle, and one call known to block for 40 ms); the others are
// pieces a folder view runs on the GUI thread: the name filter over a whole folder, at once and
// in slices that return to the loop, and the thumbnail memory cache.
//
//   bench_latency [COUNT] [FOLDER]     default 100000 names, made up unless FOLDER is given
//                                      (e.g. one made by make-big-folder)

#include "LatencyProbe.h"

#include "TQNameFilter.h"
#include "TQThumbnailMemoryCache.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QEventLoop>
#include <QImage>
#include <QTimer>

#include <cstdio>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

// Runs \a work from the event loop; the work calls its argument when it is finished, possibly
// from a later turn of the loop. Prints the wall time and the probe's figures.
void measure(const char *label, const std::function<void(const std::function<void()> &)> &work)
{
    LatencyProbe probe;
    QEventLoop loop;
    QElapsedTimer wall;
    probe.start();
    // Let the probe tick a few times first, so that the first gap is not the start-up.
    QTimer::singleShot(20, &loop, [&] {
        wall.start();
        work([&] { loop.quit(); });
    });
    loop.exec();
    const double wallMs = wall.nsecsElapsed() / 1e6;
    probe.stop();
    std::printf("%-56s %7.1f ms work   longest gap %7.1f ms   p99 %5.1f ms   gaps > 16 ms: %d of %d\n", label,
                wallMs, probe.longestMs(), probe.percentileMs(0.99), probe.gapsLongerThan(16), probe.ticks());
}

QStringList madeUpNames(int count)
{
    static const char16_t *const patterns[] = {u"IMG_%1.JPG", u"Caf\u00e9 cr\u00e8me %1.txt", u"Report 2024-03 (%1).pdf",
                                               u"Stra\u00dfe %1.jpg", u"\u65e5\u672c\u8a9e %1.png", u"file%1",
                                               u"Cafe\u0301 %1.md", u"holiday photo %1.heic"};
    QStringList names;
    names.reserve(count);
    for (int i = 0; i < count; ++i)
        names.append(QString::fromUtf16(patterns[i % 8]).arg(i));
    return names;
}

void busyFor(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
    }
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 100000;
    QStringList names;
    if (argc > 2) {
        names = QDir(QFile::decodeName(argv[2])).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
        names = names.mid(0, count);
    } else {
        names = madeUpNames(count);
    }
    std::printf("%lld names%s\n", static_cast<long long>(names.size()), argc > 2 ? " from the folder" : " made up");

    measure("idle, 300 ms", [](const auto &done) { QTimer::singleShot(300, done); });
    measure("one call that blocks for 40 ms", [](const auto &done) {
        busyFor(40);
        done();
    });

    // Once per process: the first character beyond ASCII builds the folding table of the BMP.
    measure("first accented text folded (the table built)", [](const auto &done) {
        (void)TQNameFilter(u"\u00e9"_s);
        done();
    });
    for (const QString &text : {u"cafe"_s, u"img_0"_s, u"strasse"_s}) {
        qsizetype matches = 0;
        const QByteArray label = "filter \"" + text.toUtf8() + "\", all names in one call";
        measure(label.constData(), [&](const auto &done) {
            const TQNameFilter filter(text);
            for (const QString &name : std::as_const(names))
                matches += filter.matches(name);
            done();
        });
        std::printf("    %lld of %lld names match\n", static_cast<long long>(matches),
                    static_cast<long long>(names.size()));
    }

    // The baseline: Qt's own case-insensitive contains, which knows no accents.
    {
        qsizetype matches = 0;
        measure("baseline: QString::contains(\"cafe\", case-insensitive)", [&](const auto &done) {
            for (const QString &name : std::as_const(names))
                matches += name.contains(u"cafe"_s, Qt::CaseInsensitive);
            done();
        });
        std::printf("    %lld of %lld names match\n", static_cast<long long>(matches),
                    static_cast<long long>(names.size()));
    }

    // The same work in slices of 4 ms that go back to the loop: what a model does while it filters.
    {
        const TQNameFilter filter(u"cafe"_s);
        qsizetype next = 0;
        std::function<void()> finished;
        QTimer slicer;
        // A zero interval would run ahead of every other timer of the loop, the probe's included.
        slicer.setTimerType(Qt::PreciseTimer);
        slicer.setInterval(1);
        QObject::connect(&slicer, &QTimer::timeout, [&] {
            QElapsedTimer slice;
            slice.start();
            while (next < names.size() && slice.nsecsElapsed() < 4'000'000) {
                const qsizetype end = std::min(names.size(), next + 256);
                for (; next < end; ++next)
                    filter.matches(names.at(next));
            }
            if (next == names.size()) {
                slicer.stop();
                finished();
            }
        });
        measure("filter \"cafe\" in slices of 4 ms", [&](const auto &done) {
            finished = done;
            slicer.start();
        });
    }

    {
        TQThumbnailMemoryCache cache(64ll << 20);
        QImage thumbnail(128, 96, QImage::Format_ARGB32);
        thumbnail.fill(Qt::darkCyan);
        measure("cache: a thumbnail per name, then every read", [&](const auto &done) {
            for (const QString &name : std::as_const(names))
                cache.insert({name, thumbnail.size()}, thumbnail);
            for (const QString &name : std::as_const(names))
                cache.image({name, thumbnail.size()});
            done();
        });
        const TQThumbnailMemoryCache::Statistics statistics = cache.statistics();
        std::printf("    budget 64 MiB, %lld entries kept (%lld bytes): %lld hits, %lld misses, %lld evictions\n",
                    static_cast<long long>(cache.count()), static_cast<long long>(cache.bytesUsed()),
                    static_cast<long long>(statistics.hits), static_cast<long long>(statistics.misses),
                    static_cast<long long>(statistics.evictions));
    }
    return 0;
}
