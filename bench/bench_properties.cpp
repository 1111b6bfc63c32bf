// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Reads the image properties of many camera-like JPEGs (EXIF with GPS, a maker note for the
// Canon and Nikon ones, an EXIF thumbnail and XMP), side by side with one exiftool process
// over the same files and with exiv2 -pa in batches, and reports files per second for each.
//
//   bench_properties [COUNT] [FOLDER]   default 2000 files of 640x480 in a fresh temporary folder;
//                                       a FOLDER that already holds them is reused

#include "TQImageProperties.h"
#include "TQSampleData.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

QStringList makeFiles(const QString &folder, int count)
{
    static const char *makes[][3] = {{"Canon", "Canon EOS R5", "RF24-105mm F4 L IS USM"},
                                     {"NIKON CORPORATION", "NIKON Z 6_2", "NIKKOR Z 24-70mm f/4 S"},
                                     {"SONY", "ILCE-7M3", "FE 85mm F1.8"},
                                     {"FUJIFILM", "X-T4", "XF23mmF1.4 R"}};
    QStringList files;
    for (int i = 0; i < count; ++i) {
        const QString path = folder + u"/IMG_%1.jpg"_s.arg(i, 5, 10, QChar(u'0'));
        files.append(path);
        if (QFile::exists(path))
            continue;
        const auto &camera = makes[i % 4];
        const QVariantMap exif{
                {u"Orientation"_s, 1 + i % 8}, {u"Make"_s, QString::fromLatin1(camera[0])},
                {u"Model"_s, QString::fromLatin1(camera[1])}, {u"LensModel"_s, QString::fromLatin1(camera[2])},
                {u"Software"_s, u"bench_properties"_s},
                {u"DateTimeOriginal"_s, QDateTime(QDate(2023, 1, 1), QTime(8, 0)).addSecs(i * 37)},
                {u"ISO"_s, 100 << (i % 6)}, {u"ExposureTime"_s, 1.0 / (30 << (i % 5))},
                {u"FNumber"_s, 1.4 * (1 + i % 6)}, {u"FocalLength"_s, 24 + i % 60}};
        if (!TQSampleData::writeImage(path, "JPEG", {640, 480}, exif) || !TQSampleData::addCameraMetadata(path)) {
            std::fprintf(stderr, "can't write %s\n", qPrintable(path));
            return {};
        }
    }
    return files;
}

double secondsOf(const std::function<void()> &run, int rounds)
{
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        run();
        best = std::min(best, timer.nsecsElapsed() / 1e9);
    }
    return best;
}

bool runTool(const QString &program, const QStringList &arguments)
{
    QProcess p;
    p.setStandardOutputFile(QProcess::nullDevice());
    p.setStandardErrorFile(QProcess::nullDevice());
    p.start(program, arguments);
    return p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? QByteArray(argv[1]).toInt() : 2000;
    QTemporaryDir temporary;
    const QString folder = argc > 2 ? QString::fromLocal8Bit(argv[2]) : temporary.path();
    QDir().mkpath(folder);
    std::printf("writing %d camera-like JPEGs (640x480, EXIF) into %s\n", count, qPrintable(folder));
    const QStringList files = makeFiles(folder, count);
    if (files.isEmpty())
        return 1;

    qint64 keys = 0;
    const auto ours = [&] {
        keys = 0;
        for (const QString &path : files)
            keys += TQImageProperties::propertiesOfFile(path).size();
    };
    ours(); // warm the page cache and the one-time set-up
    const double oursSeconds = secondsOf(ours, 3);
    std::printf("%-34s %10.0f files/s  (%.1f top-level keys per file)\n", "propertiesOfFile, best of 3",
                files.size() / oursSeconds, double(keys) / files.size());

    const QString exiftool = QStandardPaths::findExecutable(u"exiftool"_s);
    if (!exiftool.isEmpty()) {
        const double s = secondsOf([&] { runTool(exiftool, QStringList{u"-fast2"_s, u"-j"_s} + files); }, 1);
        std::printf("%-34s %10.0f files/s  -> ours is %.1fx\n", "exiftool -fast2 -j, one process", files.size() / s,
                    s / oursSeconds);
    }
    const QString exiv2 = QStandardPaths::findExecutable(u"exiv2"_s);
    if (!exiv2.isEmpty()) {
        constexpr int Batch = 500;
        const double s = secondsOf([&] {
            for (qsizetype at = 0; at < files.size(); at += Batch)
                runTool(exiv2, QStringList{u"-pa"_s} + files.mid(at, Batch));
        }, 3);
        std::printf("%-34s %10.0f files/s  -> ours is %.1fx\n", "exiv2 -pa, 500 per run, best of 3",
                    files.size() / s, s / oursSeconds);
    }
    return 0;
}
