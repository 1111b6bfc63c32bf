// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// 256-pixel thumbnails of 24-megapixel camera-like JPEGs, side by side in one run with
// `vipsthumbnail -s 256` over the same files (warm page cache):
//   - one core: vipsthumbnail pinned to CPU 0 with VIPS_CONCURRENCY=1, against the thumbnail
//     service called in a loop on one thread pinned to CPU 0, shared cache off;
//   - the thumbnail queue with its own parallelism (every core), shared cache off, against
//     vipsthumbnail with its default threads;
//   - cache hits: 2,000 small images whose thumbnails are in the shared cache, through the queue.
// Best of 3 rounds each. The camera files are made once in FOLDER and reused.
//
//   bench_thumbnails [COUNT] [FOLDER]     default 24 files in a fresh temporary folder
// Needs vipsthumbnail (scripts/install-deps.sh --bench) for the side-by-side figures.

#include "TQAsyncQuicklookThumbnailer.h"
#include "TQFile.h"
#include "TQThumbnailService.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <sched.h>

#include <cstdio>
#include <functional>

namespace {

constexpr int rounds = 3;
constexpr QSize cameraSize(6000, 4000);

// Smooth light with fine grain, as sensors give it: the grain keeps the JPEG as large and as
// slow to decode as a photograph's, which a flat test picture would not be.
QImage cameraPicture(int seed)
{
    QImage picture(cameraSize, QImage::Format_RGB32);
    QRandomGenerator random{quint32(seed)};
    for (int y = 0; y < picture.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(picture.scanLine(y));
        for (int x = 0; x < picture.width(); ++x) {
            const int grain = int(random.generate() & 31) - 16;
            const int r = qBound(0, (x * 255 / picture.width() + seed * 37) % 256 + grain, 255);
            const int g = qBound(0, (y * 255 / picture.height()) + grain, 255);
            const int b = qBound(0, ((x + y) * 128 / picture.width()) + grain, 255);
            line[x] = qRgb(r, g, b);
        }
    }
    return picture;
}

QStringList makeCameraFiles(const QString &folder, int count)
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        const QString path = folder + QStringLiteral("/IMG_%1.JPG").arg(1000 + i);
        paths.append(path);
        if (QFile::exists(path))
            continue;
        if (!cameraPicture(i).save(path, "JPEG", 92)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            std::exit(1);
        }
        // What a camera writes first; the thumbnail in it is too small for 256 pixels.
        QProcess::execute(QStringLiteral("exiv2"), {QStringLiteral("-M"), QStringLiteral("set Exif.Image.Make Camera"),
                                                    QStringLiteral("-M"), QStringLiteral("set Exif.Image.Model Bench 24"),
                                                    QStringLiteral("-M"), QStringLiteral("set Exif.Image.Orientation 1"), path});
    }
    return paths;
}

QStringList makeSmallFiles(const QString &folder, int count)
{
    QDir().mkpath(folder);
    QStringList paths;
    // Made the way a camera's small copies are, by averaging pixels: grain is smoothed out.
    const QImage picture = cameraPicture(7).scaled(640, 480, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    for (int i = 0; i < count; ++i) {
        const QString path = folder + QStringLiteral("/small-%1.jpg").arg(i);
        paths.append(path);
        if (!QFile::exists(path))
            picture.save(path, "JPEG", 85);
    }
    return paths;
}

void warm(const QStringList &paths)
{
    for (const QString &path : paths) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            while (!file.read(1 << 20).isEmpty()) {
            }
    }
}

double bestOf(const std::function<void()> &work)
{
    double best = 1e18;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        work();
        best = std::min(best, timer.nsecsElapsed() / 1e9);
    }
    return best;
}

// Thumbnails through the queue: returns when every file was delivered.
class QueueRun : public QObject, public TQAsyncQuicklookThumbnailerDelegate
{
public:
    int made = 0;
    qsizetype left = 0;
    QEventLoop loop;

    void run(const QList<UWStandardFileRef> &files)
    {
        made = 0;
        left = files.size();
        TQAsyncQuicklookThumbnailer thumbnailer;
        thumbnailer.setSize(QSizeF(256, 256));
        thumbnailer.setDelegate(this);
        thumbnailer.addFilesToQueue(files);
        loop.exec();
    }

    void asynchronousThumbnailerCreatedThumbnail(TQAsyncQuicklookThumbnailer *, const QImage &thumbnail,
                                                 const UWStandardFileRef &, const UWStandardFileRef &) override
    {
        made += thumbnail.isNull() ? 0 : 1;
        if (--left == 0)
            loop.quit();
    }
};

QList<UWStandardFileRef> items(const QStringList &paths)
{
    QList<UWStandardFileRef> files;
    for (const QString &path : paths)
        files.append(TQFile::newFileForPath(path));
    return files;
}

void pinToCpu0()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(0, &set);
    sched_setaffinity(0, sizeof(set), &set);
}

void unpin()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
        CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof(set), &set);
}

} // namespace

int main(int argc, char **argv)
{
    // The shared cache of this run is a scratch one, never the user's.
    QTemporaryDir cache;
    qputenv("XDG_CACHE_HOME", QFile::encodeName(cache.path()));
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 24;
    QTemporaryDir scratch;
    const QString folder = argc > 2 ? QString::fromLocal8Bit(argv[2]) : scratch.path();
    QDir().mkpath(folder);
    const QStringList paths = makeCameraFiles(folder, count);
    warm(paths);
    std::printf("%d JPEGs of %dx%d (%.1f MB on average), 256-pixel thumbnails, best of %d\n", count, cameraSize.width(),
                cameraSize.height(), QFileInfo(paths.first()).size() / 1e6, rounds);

    double vips = 0, vipsThreads = 0;
    const QString vipsProgram = QStandardPaths::findExecutable(QStringLiteral("vipsthumbnail"));
    if (!vipsProgram.isEmpty()) {
        QTemporaryDir out;
        const QStringList arguments = QStringList{QStringLiteral("-s"), QStringLiteral("256"), QStringLiteral("-o"),
                                                  out.path() + QStringLiteral("/%s.jpg")} + paths;
        vips = bestOf([&] {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("VIPS_CONCURRENCY"), QStringLiteral("1"));
            process.setProcessEnvironment(environment);
            process.start(QStringLiteral("taskset"), QStringList{QStringLiteral("-c"), QStringLiteral("0"), vipsProgram} + arguments);
            process.waitForFinished(-1);
        });
        std::printf("vipsthumbnail -s 256, one core:             %7.2f files/s\n", count / vips);
        vipsThreads = bestOf([&] {
            QProcess process;
            process.start(vipsProgram, arguments);
            process.waitForFinished(-1);
        });
        std::printf("vipsthumbnail -s 256, its default threads:  %7.2f files/s\n", count / vipsThreads);
    } else {
        std::printf("vipsthumbnail not found: scripts/install-deps.sh --bench installs it\n");
    }

    TQThumbnailService::setCacheEnabled(false);
    pinToCpu0();
    int made = 0;
    const double single = bestOf([&] {
        made = 0;
        for (const QString &path : paths)
            made += TQThumbnailService::thumbnailForFile(path, QSizeF(256, 256)).isNull() ? 0 : 1;
    });
    unpin();
    std::printf("thumbnail service, one thread on one core:  %7.2f files/s (%d made)", count / single, made);
    if (vips > 0)
        std::printf("   ratio to vipsthumbnail %.2f", vips / single);
    std::printf("\n");

    QueueRun queue;
    const QList<UWStandardFileRef> cameraItems = items(paths);
    const double parallel = bestOf([&] { queue.run(cameraItems); });
    std::printf("thumbnail queue, every core:                %7.2f files/s (%d made)", count / parallel, queue.made);
    if (vipsThreads > 0)
        std::printf("   ratio to vipsthumbnail's threads %.2f", vipsThreads / parallel);
    std::printf("\n");

    // Cache hits: the first run fills the shared cache, the timed ones read it.
    TQThumbnailService::setCacheEnabled(true);
    const QStringList small = makeSmallFiles(folder + QStringLiteral("/small"), 2000);
    warm(small);
    const QList<UWStandardFileRef> smallItems = items(small);
    queue.run(smallItems);
    const double hits = bestOf([&] { queue.run(smallItems); });
    std::printf("cache hits through the queue:               %7.0f thumbnails/s (%d of %lld)\n", small.size() / hits,
                queue.made, qlonglong(small.size()));
    return 0;
}
