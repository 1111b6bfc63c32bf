// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientation.h"
#include "TQSampleData.h"
#include "TQTestDesktop.h"
#include "TQThumbnailService.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QImageReader>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <exiv2/exiv2.hpp>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
namespace {

QImage (*const thumbnailForFile)(const QString &, const QSizeF &) = &TQThumbnailService::thumbnailForFile;

constexpr QRgb Green = 0xff00c000;
constexpr QRgb Red = 0xffff0000;
const QString FailFolder = u"fail/tqkit-"_s + QStringLiteral(TQKIT_TEST_VERSION);

QString cacheRoot()
{
    return qEnvironmentVariable("XDG_CACHE_HOME") + u"/thumbnails"_s;
}

// Where the cache keeps what it knows of the file whose URI is `uri`, in `folder`.
QString cachedFor(const QByteArray &uri, const QString &folder)
{
    const QByteArray hash = QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex();
    return cacheRoot() + u'/' + folder + u'/' + QString::fromLatin1(hash) + u".png"_s;
}

// Only for paths of characters a URI keeps as they are; the script checks the others.
QString cached(const QString &path, const QString &folder = u"normal"_s)
{
    return cachedFor("file://" + QFile::encodeName(path), folder);
}

QString failRecord(const QString &path)
{
    return cached(path, FailFolder);
}

// What a reader that knows nothing of TQKit finds in the cache for `path` by the standard's
// own rules: every size's thumbnail, or with `fail` the fail record, each checked valid (see
// check-thumbnail.py); else what is wrong.
QStringList cacheRecords(const QString &path, bool fail = false)
{
    QProcess check;
    check.start(u"python3"_s, QStringList{QStringLiteral(CHECK_THUMBNAIL_SCRIPT)}
                        + (fail ? QStringList{u"--fail"_s, FailFolder.section(u'/', 1)} : QStringList()) << path);
    if (!check.waitForFinished(30000))
        return {u"python3 did not run"_s};
    const QByteArray out = check.exitCode() == 1 ? check.readAllStandardError() : check.readAllStandardOutput();
    return QString::fromUtf8(out).split(u'\n', Qt::SkipEmptyParts);
}

QByteArray contents(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void setMTime(const QString &path, qint64 seconds)
{
    const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
}

qint64 mtimeOf(const QString &path)
{
    return QFileInfo(path).lastModified().toSecsSinceEpoch();
}

bool near(QRgb colour, QRgb wanted)
{
    return qAbs(qRed(colour) - qRed(wanted)) < 60 && qAbs(qGreen(colour) - qGreen(wanted)) < 60
            && qAbs(qBlue(colour) - qBlue(wanted)) < 60;
}

// Empty when image shows a sample picture upright: red top left, blue top right, and
// `background` around; else what is wrong.
QString notUpright(const QImage &image, QRgb background = TQSampleData::Background)
{
    if (image.isNull())
        return u"no image"_s;
    const int w = image.width(), h = image.height();
    const auto at = [&](int x, int y, QRgb wanted, const char *what) {
        return near(image.pixel(x, y), wanted) ? QString()
                                               : u"%1 at (%2, %3) is #%4"_s.arg(QLatin1StringView(what)).arg(x).arg(y)
                                                         .arg(image.pixel(x, y), 8, 16);
    };
    return at(w / 8, h / 8, TQSampleData::TopLeftMarker, "top left")
            + at(w - 1 - w / 8, h / 8, TQSampleData::TopRightMarker, "top right")
            + at(w / 2, h * 3 / 4, background, "the background");
}

// The sample's background turned green: an embedded preview that can be told from the picture.
QImage tinted(const QImage &sample)
{
    QImage out = sample.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < out.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(out.scanLine(y));
        for (int x = 0; x < out.width(); ++x)
            line[x] = near(line[x], TQSampleData::Background) ? Green : line[x];
    }
    return out;
}

QImage storedPixels(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(false);
    return reader.read();
}

QByteArray encoded(const QImage &image, const char *format, bool progressive = false)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setProgressiveScanWrite(progressive);
    writer.write(image);
    return bytes;
}

QByteArray solidPng(QSize size, QRgb colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return encoded(image, "PNG");
}

quint32 crc32(QByteArrayView data)
{
    quint32 c = 0xffffffffu;
    for (const char byte : data) {
        c ^= uchar(byte);
        for (int k = 0; k < 8; ++k)
            c = (c >> 1) ^ (0xedb88320u & (0u - (c & 1u)));
    }
    return ~c;
}

void setExifThumbnail(const QString &path, const QByteArray &jpeg)
{
    auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
    image->readMetadata();
    Exiv2::ExifThumb(image->exifData()).setJpegThumbnail(reinterpret_cast<const Exiv2::byte *>(jpeg.constData()),
                                                         long(jpeg.size()));
    image->writeMetadata();
}

// A small JPEG whose frame header states `stated` instead of its real 16x16, and with
// `fullChroma` its colours sampled as finely as its brightness (4:4:4).
QByteArray jpegStating(QSize stated, bool progressive, bool fullChroma = false)
{
    QImage image(16, 16, QImage::Format_RGB32);
    image.fill(TQSampleData::Background);
    QByteArray bytes = encoded(image, "jpeg", progressive);
    qsizetype at = 2;
    while (at + 9 < bytes.size() && uchar(bytes[at + 1]) != 0xc0 && uchar(bytes[at + 1]) != 0xc2)
        at += 2 + qFromBigEndian<quint16>(bytes.constData() + at + 2);
    qToBigEndian<quint16>(quint16(stated.height()), bytes.data() + at + 5);
    qToBigEndian<quint16>(quint16(stated.width()), bytes.data() + at + 7);
    if (fullChroma)
        bytes[at + 11] = 0x11;
    return bytes;
}

// A PNG with a chunk of `type` after its header that declares `length` bytes but holds four.
QByteArray pngWithChunk(const char *type, quint32 length)
{
    QByteArray chunk(12 + 4, 'x');
    qToBigEndian(length, chunk.data());
    return solidPng({8, 8}, Red).insert(33, chunk.replace(4, 4, type));
}

// ---------------------------------------------------------------------------------------------
// Thumbnailers: shell scripts, run directly (never through a shell command line) by the service.

// The bytes as printf(1) octal escapes, so a script can write a picture with the shell alone.
QString printfPicture(const QByteArray &bytes)
{
    QString out = u"printf '"_s;
    for (const char c : bytes)
        out += u"\\%1"_s.arg(uint(uchar(c)), 3, 8, QLatin1Char('0'));
    return out + u'\'';
}

QString quoted(const QString &text)
{
    return u'\'' + QString(text).replace(u"'"_s, u"'\\''"_s) + u'\'';
}

// Installs `exec` as the thumbnailer of `types` in the data folder `folder` (the user's when
// empty), with `script` as the program {script} stands for.
bool installThumbnailer(const QString &exec, const QString &types, const QString &script, const QString &tryExec = {},
                        const QString &folder = qEnvironmentVariable("XDG_DATA_HOME"))
{
    const QString program = folder + u"/thumbnailers/"_s + QString::number(qHash(script)) + u".sh"_s;
    QString text = u"[Thumbnailer Entry]\nExec="_s + QString(exec).replace(u"{script}"_s, program) + u"\nMimeType="_s
            + types + u'\n' + (tryExec.isEmpty() ? QString() : u"TryExec="_s + tryExec + u'\n');
    return writeWholeFile(program, "#!/bin/sh\n" + script.toUtf8() + '\n')
            && ::chmod(QFile::encodeName(program).constData(), 0755) == 0 && writeWholeFile(folder + u"/thumbnailers/tqkit-test.thumbnailer"_s, text.toUtf8());
}

bool running(const QString &argument)
{
    for (const QString &pid : QDir(u"/proc"_s).entryList(QDir::Dirs)) {
        if (pid.toInt() > 0 && contents(u"/proc/"_s + pid + u"/cmdline"_s).split('\0').contains(argument.toUtf8()))
            return true;
    }
    return false;
}

// What a thumbnailer row ends in: the user's red thumbnailer's picture, the lower folder's
// green one's, or nothing (with or without a fail record).
enum Expected { NullOnly, NullAndFailRecord, RedPicture, GreenPicture };

} // namespace

Q_DECLARE_METATYPE(Expected)

class tst_ThumbnailService : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_allocationLimit = QImageReader::allocationLimit();
    const QString m_picture = printfPicture(solidPng({40, 30}, Red));

    QString file(const QString &name) const { return m_dir.filePath(name); }
    QString sample(const QString &name, const char *format, QSize size, int orientation = 1)
    {
        const QString path = file(name);
        return TQSampleData::writeImage(path, format, size, {{u"Orientation"_s, orientation}}) ? path : QString();
    }

private slots:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void cleanup()
    {
        QDir(qEnvironmentVariable("XDG_DATA_HOME") + u"/thumbnailers"_s).removeRecursively();
        QDir(qEnvironmentVariable("XDG_DATA_DIRS").section(u':', 0, 0) + u"/thumbnailers"_s).removeRecursively();
        TQThumbnailService::setThumbnailerTimeout(0);
        TQThumbnailService::setThumbnailerSandboxEnabled(true);
        TQThumbnailService::setCacheEnabled(true);
        QImageReader::setAllocationLimit(m_allocationLimit);
    }

    void orientation_data()
    {
        QTest::addColumn<int>("orientation");
        for (int o = 0; o <= 9; ++o)
            QTest::addRow("%d", o) << o;
    }

    // Against the sample generator's stored pixels: the table, the transform and a thumbnail of
    // each format all turn every orientation upright, and an impossible one counts as 1.
    void orientation()
    {
        QFETCH(int, orientation);
        const bool valid = orientation >= 1 && orientation <= 8;
        const char *format = std::array{"JPEG", "PNG", "TIFF", "WEBP"}[orientation % 4];
        const QString path = sample(u"turned-%1.%2"_s.arg(orientation).arg(QString::fromLatin1(format).toLower()), format,
                                    {256, 192}, valid ? orientation : 1);
        const QImage stored = storedPixels(path);
        QCOMPARE(TQImageOrientation::uprightSize(stored.size(), orientation), QSize(256, 192));
        const QImage thumbnail = thumbnailForFile(path, {64, 64});
        QCOMPARE(thumbnail.size(), QSize(64, 48));
        for (const QImage &image : {TQImageOrientation::uprightImage(stored, orientation), thumbnail})
            QVERIFY2(notUpright(image).isEmpty(), qPrintable(notUpright(image)));
        const QTransform transform = TQImageOrientation::transform(orientation, stored.size());
        for (int y = 1; y < stored.height() - 1; y += 3) {
            for (int x = 1; x < stored.width() - 1; x += 3) {
                const QPointF at = transform.map(QPointF(x + 0.5, y + 0.5));
                if (stored.pixel(x, y) == TQSampleData::TopLeftMarker)
                    QVERIFY2(at.x() < 64 && at.y() < 48, qPrintable(u"(%1, %2)"_s.arg(at.x()).arg(at.y())));
            }
        }
        QCOMPARE(TQImageOrientation::orientation(TQImageOrientation::transformation(orientation)), valid ? orientation : 1);
    }

    void sizesAndCacheRecords_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<QSizeF>("request");
        QTest::addColumn<QSize>("expected"); // what comes back; invalid: a null image
        QTest::addColumn<QString>("bucket"); // where it is stored; empty: nowhere
        QTest::addColumn<QSize>("stored");
        const QSize vga(640, 480);
        QTest::newRow("128: normal") << vga << QSizeF(128, 128) << QSize(128, 96) << u"normal"_s << QSize(128, 96);
        QTest::newRow("100: normal, made at 128") << vga << QSizeF(100, 100) << QSize(100, 75) << u"normal"_s << QSize(128, 96);
        QTest::newRow("tall picture") << QSize(48, 640) << QSizeF(128, 128) << QSize(9, 128) << u"normal"_s << QSize(9, 128);
        QTest::newRow("fractional, narrow box") << vga << QSizeF(50.7, 300) << QSize(50, 37) << u"x-large"_s << QSize(512, 384);
        QTest::newRow("between buckets") << vga << QSizeF(200, 200) << QSize(200, 150) << u"large"_s << QSize(256, 192);
        QTest::newRow("600: xx-large, not enlarged") << vga << QSizeF(600, 600) << QSize(600, 450) << u"xx-large"_s << vga;
        QTest::newRow("2000: never enlarged, not stored") << vga << QSizeF(2000, 2000) << vga << QString() << QSize();
        QTest::newRow("one pixel: the smallest box") << vga << QSizeF(1, 1) << QSize(1, 1) << u"normal"_s << QSize(128, 96);
        QTest::newRow("empty request") << vga << QSizeF(0, 100) << QSize() << QString() << QSize();
        QTest::newRow("under a pixel") << vga << QSizeF(0.99, 100) << QSize() << QString() << QSize();
        QTest::newRow("negative request") << vga << QSizeF(-5, -5) << QSize() << QString() << QSize();
        QTest::newRow("a b;c#d[e]{f}%g^h|i`j'k(l)m*n+o,p=q@r!s$t&u~v ü") << vga << QSizeF(128, 128) << QSize(128, 96)
                                                                          << u"normal"_s << QSize(128, 96);
    }

    // What comes back, and what is stored where as readers that know nothing of TQKit find it by
    // the standard's rules: check-thumbnail.py, and GLib (gio) where it is installed.
    void sizesAndCacheRecords()
    {
        QFETCH(QSize, picture);
        QFETCH(QSizeF, request);
        QFETCH(QSize, expected);
        QFETCH(QString, bucket);
        QFETCH(QSize, stored);
        const QString path = sample(u"record %1.jpg"_s.arg(QString::fromUtf8(QTest::currentDataTag())), "JPEG", picture);
        const QByteArray original = contents(path);
        QCOMPARE(thumbnailForFile(path, request).size(), expected.isValid() ? expected : QSize(0, 0));
        const QStringList records = cacheRecords(path);
        QCOMPARE(contents(path), original); // the user's file is never touched
        QVERIFY2(records.size() == (bucket.isEmpty() ? 0 : 1) && (bucket.isEmpty() || records[0].startsWith(cacheRoot() + u'/' + bucket + u'/')),
                 qPrintable(records.join(u"; ")));
        if (bucket.isEmpty())
            return;
        const QImage thumbnail(records[0]);
        QCOMPARE(thumbnail.size(), stored);
        QCOMPARE(thumbnail.text(u"Thumb::Mimetype"_s), u"image/jpeg"_s);
        if (bucket != u"normal" || QStandardPaths::findExecutable(u"gio"_s).isEmpty())
            return;
        QProcess info;
        info.start(u"gio"_s, {u"info"_s, u"-a"_s, u"thumbnail::path,thumbnail::is-valid"_s, path});
        QVERIFY(info.waitForFinished(30000));
        const QString out = QString::fromUtf8(info.readAllStandardOutput());
        QVERIFY2(out.contains(u"thumbnail::path: "_s + records[0]) && out.contains(u"thumbnail::is-valid: TRUE"_s), qPrintable(out));
    }

    void cacheHit_data()
    {
        QTest::addColumn<QString>("bucket");
        QTest::addColumn<QString>("change"); // what the hand-made thumbnail gets wrong
        QTest::addColumn<QSize>("markerSize");
        QTest::addColumn<qreal>("request");
        QTest::addColumn<bool>("hit");
        QTest::newRow("valid") << u"normal"_s << QString() << QSize(128, 64) << 64.0 << true;
        QTest::newRow("valid, from a larger bucket") << u"large"_s << QString() << QSize(256, 128) << 100.0 << true;
        QTest::newRow("smaller bucket than asked") << u"normal"_s << QString() << QSize(128, 64) << 200.0 << false;
        QTest::newRow("older mtime") << u"normal"_s << u"mtime"_s << QSize(128, 64) << 64.0 << false;
        QTest::newRow("another file's URI") << u"normal"_s << u"uri"_s << QSize(128, 64) << 64.0 << false;
        QTest::newRow("another size") << u"normal"_s << u"size"_s << QSize(128, 64) << 64.0 << false;
        QTest::newRow("no mtime") << u"normal"_s << u"no mtime"_s << QSize(128, 64) << 64.0 << false;
        QTest::newRow("too large for its bucket") << u"normal"_s << QString() << QSize(200, 100) << 64.0 << false;
    }

    // A thumbnail written by hand (by Qt, so long values become zTXt chunks as other writers
    // make them) is returned when it describes the file, and replaced when it doesn't.
    void cacheHit()
    {
        QFETCH(QString, bucket);
        QFETCH(QString, change);
        QFETCH(QSize, markerSize);
        QFETCH(qreal, request);
        QFETCH(bool, hit);
        const QString path = sample(u"hit-%1.png"_s.arg(QLatin1StringView(QTest::currentDataTag())).replace(u' ', u'-'), "PNG", {640, 480});
        QImage marker(markerSize, QImage::Format_RGB32);
        marker.fill(Green);
        marker.setText(u"Thumb::URI"_s, u"file://"_s + path + (change == u"uri" ? u"x"_s : QString()));
        if (change != u"no mtime")
            marker.setText(u"Thumb::MTime"_s, QString::number(mtimeOf(path) - (change == u"mtime" ? 1 : 0)));
        marker.setText(u"Thumb::Size"_s, QString::number(QFileInfo(path).size() + (change == u"size" ? 1 : 0)));
        QVERIFY(QDir().mkpath(cacheRoot() + u'/' + bucket));
        QVERIFY(marker.save(cached(path, bucket), "PNG"));

        const QImage thumbnail = thumbnailForFile(path, {request, request});
        QCOMPARE(near(thumbnail.pixel(thumbnail.width() / 2, thumbnail.height() / 2), Green), hit);
        QCOMPARE(thumbnail.size(), hit ? QSize(markerSize).scaled(int(request), int(request), Qt::KeepAspectRatio)
                                       : QSize(int(request), int(request) * 3 / 4));
        if (!hit && request <= 128) // the stale one was replaced by a valid one
            QCOMPARE(QImage(cached(path, bucket)).text(u"Thumb::MTime"_s), QString::number(mtimeOf(path)));
    }

    // A broken file is tried once: the fail record answers every later request while the
    // file's time and size stay the same, even when its bytes have become readable.
    void failRecordShortCircuits()
    {
        const QString path = sample(u"broken.jpg"_s, "JPEG", {320, 240});
        const QByteArray good = contents(path);
        QVERIFY(writeWholeFile(path, QByteArray(2, '\0') + good.mid(2)));
        const qint64 brokenTime = mtimeOf(path);
        QVERIFY(thumbnailForFile(path, {128, 128}).isNull());
        QCOMPARE(cacheRecords(path, true), QStringList{failRecord(path)});
        QCOMPARE(cacheRecords(path), QStringList());

        QVERIFY(writeWholeFile(path, good));
        setMTime(path, brokenTime);
        QVERIFY(thumbnailForFile(path, {128, 128}).isNull());
        setMTime(path, brokenTime + 1);
        QCOMPARE(thumbnailForFile(path, {128, 128}).size(), QSize(128, 96));
    }

    void concurrentRequests()
    {
        const QString path = sample(u"shared.jpg"_s, "JPEG", {640, 480}, 8);
        std::vector<QImage> results(16);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < results.size(); ++i)
            threads.emplace_back([&results, &path, i] { results[i] = thumbnailForFile(path, i % 2 ? QSizeF(256, 256) : QSizeF(128, 128)); });
        for (std::thread &t : threads)
            t.join();
        for (size_t i = 0; i < results.size(); ++i) {
            QCOMPARE(results[i].size(), i % 2 ? QSize(256, 192) : QSize(128, 96));
            QVERIFY2(notUpright(results[i]).isEmpty(), qPrintable(notUpright(results[i])));
        }
        // The large record is certain. A normal one exists only if a small request looked before
        // the large one landed, since a valid larger record answers small requests too.
        const QStringList records = cacheRecords(path);
        QVERIFY2(records.contains(cached(path, u"large"_s)), qPrintable(records.join(u"; ")));
        QVERIFY2(QSet<QString>(records.cbegin(), records.cend()).subtract({cached(path), cached(path, u"large"_s)}).isEmpty(),
                 qPrintable(records.join(u"; ")));
        // Writers racing for one record leave no temporary files behind.
        for (const QString &folder : {u"normal"_s, u"large"_s})
            QCOMPARE(QDir(cacheRoot() + u'/' + folder).entryList({u".*"_s}, QDir::Files | QDir::Hidden), QStringList());
    }

    void refusedFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("setup");      // "offered" to a thumbnailer with the cache off; "sparse": 8 GiB of
                                                 // holes follow; "limited": Qt's allocation limit at 16 MB
        QTest::addColumn<QString>("warning");    // a pattern; empty: none
        QTest::addColumn<QSize>("expected");     // invalid: no thumbnail
        QTest::addColumn<bool>("recorded");      // as failed
        QTest::addColumn<QByteArray>("preview"); // an EXIF thumbnail to add, if any
        const QByteArray jpeg = contents(sample(u"whole.jpg"_s, "JPEG", {320, 240}));
        QByteArray hugePng = solidPng({8, 8}, Red).replace(16, 8, QByteArray::fromHex("000186a0000186a0"));
        QByteArray crc(4, '\0'); // of the IHDR chunk, now stating 100000x100000
        qToBigEndian(crc32(QByteArrayView(hugePng).sliced(12, 17)), crc.data());
        hugePng.replace(29, 4, crc);
        // A QuickTime file type box, then an atom whose size exiv2's video parser loops on.
        const QByteArray quickTime = QByteArray("\0\0\0\x18" "ftypqt  \0\0\0\0qt  \0\0\0\0", 24) + "\xff\xff\xff\xfe" "mvhd"
                + QByteArray(64, '\0');
        const auto row = [](const char *tag, const char *name, const QByteArray &bytes, const char *setup, const QString &warning,
                            QSize expected, bool recorded, const QByteArray &preview = {}) {
            QTest::newRow(tag) << QString::fromLatin1(name) << bytes << QString::fromLatin1(setup) << warning << expected
                               << recorded << preview;
        };
        // Offered to a thumbnailer with the cache off; `warning` follows "take" for a progressive JPEG.
        const auto offered = [&row](const char *tag, const char *name, const QByteArray &bytes, const QString &warning,
                                    QSize expected = {}, const QByteArray &preview = {}) {
            row(tag, name, bytes, "offered", warning, expected, false, preview);
        };
        const auto progressive = [&offered](QSize stated, const char *megabytes, bool fullChroma = true) {
            const QString size = u"%1x%2"_s.arg(stated.width()).arg(stated.height());
            offered(qPrintable(u"progressive JPEG stating "_s + size + (fullChroma ? u", 4:4:4"_s : QString())),
                    qPrintable(u"progressive-"_s + size + u".jpg"_s), jpegStating(stated, true, fullChroma),
                    size + u" pixels \\(progressive or in several scans\\) take "_s + QLatin1StringView(megabytes) + u" MB"_s);
        };
        const QByteArray cut = jpeg.left(jpeg.size() * 2 / 3);
        row("cut-off JPEG", "cut.jpg", cut, "", {}, {}, true);
        offered("cut-off JPEG, the cache off: the thumbnailer's", "cut-uncached.jpg", cut, {}, {40, 30});
        // An empty comment segment is a whole one, not the end of the markers.
        row("JPEG with an empty comment", "comment.jpg", QByteArray(jpeg).insert(2, "\xff\xfe\x00\x02", 4), "", {}, {320, 240}, false);
        row("text named .jpg", "text.jpg", "not a picture at all\n", "", {}, {}, true);
        row("PNG claiming 100000x100000", "huge.png", hugePng, "",
            u"the picture 100000x100000 pixels take 40000 MB to decode, more than the budget of 400 MB$"_s, {}, true);
        row("HEIF brand, no boxes", "junk.heic", QByteArray("\0\0\0\x18" "ftypheic\0\0\0\0mif1heic", 24), "", {}, {}, true);
        for (const char *name : {"qt.jpg", "qt.webp", "qt.dng"})
            row(qPrintable(u"QuickTime atoms named "_s + QLatin1StringView(name)), name, quickTime, "", {}, {}, true);
        row("plain text", "notes.txt", "just words\n", "", {}, {}, false);
        const QSize huge(16000, 12000);
        // Its coefficients, 128 bytes a block (4:2:0: 2000x1500 luma blocks, twice 1000x750 chroma
        // ones), and its output at 1/8 (2000x1500, 4 bytes a pixel): 588 MB.
        progressive(huge, "588", false);
        // 1/8 would be 1023 pixels wide, short of 1024, so it decodes at 1/4: 2046x2044, 4 bytes a
        // pixel, and three full planes of 1023x1022 blocks: 418 MB.
        progressive({8184, 8176}, "418");
        progressive({8176, 8184}, "418");
        // At 1/8 exactly 1024 wide, so 1/8 it is: 1024x1022, and 1024x1022 blocks a plane: 406 MB.
        progressive({8192, 8176}, "406");
        // At 1/8 1024x1042, as many blocks a plane: 413 MB, 4 KB short of 414.
        progressive({8192, 8336}, "413");
        // At 1/8 scale it is 2000x1500, well within the budget.
        offered("baseline JPEG stating 16000x12000", "baseline.jpg", jpegStating(huge, false), {}, {1024, 768});
        offered("EXIF preview: progressive, stating 16000x12000", "with-preview.jpg", jpegStating(huge, false),
                u"its embedded preview 16000x12000 pixels \\(progressive"_s, {1024, 768}, jpegStating(huge, true));
        offered("PNG chunk declaring 2 GB", "chunk.png", pngWithChunk("tEXt", 0x7ffffff0), u"its tEXt chunk declares 2147483632 bytes"_s);
        offered("PNG chunk past the end", "chunk-past.png", pngWithChunk("iCCP", 5000), u"its iCCP chunk declares 5000 bytes"_s);
        // libjpeg's DCT scaling keeps a 12-megapixel decode well under an allocation limit that
        // the whole picture (48 MB) would exceed.
        QImage large(4000, 3000, QImage::Format_RGB32);
        large.fill(TQSampleData::Background);
        row("4000x3000 JPEG, 16 MB allowed", "large.jpg", encoded(large, "JPEG"), "limited", {}, {1024, 768}, false);
        // Nothing in the thumbnail path reads or scans the whole of a huge (sparse) file.
        row("a JPEG, then 8 GiB of holes", "sparse.jpg", jpegStating({16, 16}, false), "sparse", {}, {}, true);
        row("a PNG header, then 8 GiB of holes", "sparse.png", solidPng({8, 8}, Red).left(33), "sparse",
            u"chunk 1 has no type"_s, {}, true);
    }

    // Costs are worked out from what a file states, before any decoder is handed it; a broken
    // file is recorded as failed and left as it was.
    void refusedFiles()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, setup);
        QFETCH(QString, warning);
        QFETCH(QSize, expected);
        QFETCH(bool, recorded);
        QFETCH(QByteArray, preview);
        const bool sparse = setup == u"sparse", offered = setup == u"offered";
        const QString path = file(u"refused-"_s + name);
        QVERIFY(writeWholeFile(path, bytes));
        if (!preview.isEmpty())
            setExifThumbnail(path, preview);
        if (sparse && !QFile(path).resize(qint64(8) << 30))
            QSKIP("this file system holds no 8 GiB sparse file");
        // A thumbnailer would face the same declared sizes: a refused file is not handed to one.
        TQThumbnailService::setCacheEnabled(!offered);
        QVERIFY(!offered || installThumbnailer(u"{script} %o"_s, u"image/jpeg;image/png;"_s, m_picture + u" > \"$1\""_s));
        if (setup == u"limited")
            QImageReader::setAllocationLimit(16);
        QVERIFY(setup != u"limited" || storedPixels(path).isNull()); // the limit does bite a full decode
        const QByteArray before = sparse ? QByteArray() : contents(path);
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Not decoding "_s + QRegularExpression::escape(path)
                                                                  + u" for a thumbnail: .*"_s + warning));
        QCOMPARE(thumbnailForFile(path, {1024, 1024}).size(), expected.isValid() ? expected : QSize(0, 0));
        QCOMPARE(QFile::exists(failRecord(path)), recorded);
        QVERIFY(!offered || !QFile::exists(cached(path, u"xx-large"_s))); // nothing stored with the cache off
        QVERIFY(sparse ? QFile::remove(path) : contents(path) == before);
    }

    void notRegularFiles_data()
    {
        QTest::addColumn<QString>("what");  // a FIFO, a link to /dev/zero, a folder, or a picture in the cache
        QTest::addColumn<QString>("where"); // the file asked for ("input.jpg"), or the cache entry of a picture
        QTest::addColumn<QString>("refusal"); // what the warning says it is; empty: no warning
        QTest::newRow("FIFO named .jpg") << u"fifo"_s << u"input.jpg"_s << u"is a named pipe"_s;
        QTest::newRow("FIFO named .png") << u"fifo"_s << u"input.png"_s << u"is a named pipe"_s;
        QTest::newRow("FIFO named .heic") << u"fifo"_s << u"input.heic"_s << u"is a named pipe"_s;
        QTest::newRow("link to /dev/zero named .jpg") << u"zero"_s << u"input.jpg"_s << u"is a device"_s;
        QTest::newRow("folder named .jpg") << u"folder"_s << u"input.jpg"_s << QString();
        QTest::newRow("a picture inside the cache") << u"cache"_s << u"input"_s << QString();
        QTest::newRow("a picture inside the cache, through a link") << u"cache"_s << u"input through a link"_s << QString();
        QTest::newRow("FIFO as the thumbnail") << u"fifo"_s << u"thumbnail"_s << u"is a named pipe"_s;
        QTest::newRow("folder as the thumbnail") << u"folder"_s << u"thumbnail"_s << u"is a folder"_s;
        QTest::newRow("link to /dev/zero as the thumbnail") << u"zero"_s << u"thumbnail"_s << u"is a device"_s;
        QTest::newRow("FIFO as the fail record") << u"fifo"_s << u"fail record"_s << u"is a named pipe"_s;
    }

    // Nothing that is not a regular file is read: no hang on a FIFO, no endless device; nor is
    // anything in the cache itself. Asked for, it gives nothing, whether the cache is used or
    // not; under a cache name, it is a miss and the thumbnail is made.
    void notRegularFiles()
    {
        QFETCH(QString, what);
        QFETCH(QString, where);
        QFETCH(QString, refusal);
        const bool input = where.startsWith(u"input"), inCache = what == u"cache";
        const QString inside = cacheRoot() + u"/normal/picture.jpg"_s, link = file(u"cache-link"_s);
        const QString path = inCache ? (where == u"input" ? inside : link + u"/normal/picture.jpg"_s)
                : input              ? file(u"special/"_s + what + where.mid(5))
                                     : sample(u"planted-%1-%2.jpg"_s.arg(what, where).replace(u' ', u'-'), "JPEG", {320, 240});
        const QString target = input ? path : where == u"thumbnail" ? cached(path) : failRecord(path);
        QVERIFY(QDir().mkpath(QFileInfo(inCache ? inside : target).path()));
        if (inCache) {
            QFile::link(cacheRoot(), link); // once for both rows
            QVERIFY(TQSampleData::writeImage(inside, "JPEG", {64, 48}, {}));
        } else if (what == u"fifo")
            QVERIFY(::mkfifo(QFile::encodeName(target).constData(), 0600) == 0);
        else if (what == u"zero")
            QVERIFY(QFile::link(u"/dev/zero"_s, target));
        else
            QVERIFY(QDir().mkpath(target));
        if (!refusal.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, u"Not reading %1 for a %2thumbnail: it %3"_s
                                                       .arg(target, input ? QString() : u"cached "_s, refusal).toUtf8());
        const QImage thumbnail = thumbnailForFile(path, {128, 128});
        QCOMPARE(thumbnail.size(), input ? QSize(0, 0) : QSize(128, 96));
        QVERIFY(input || notUpright(thumbnail).isEmpty());
        QVERIFY(!input || !QFile::exists(failRecord(path)));
        TQThumbnailService::setCacheEnabled(false);
        QVERIFY(!inCache || thumbnailForFile(path, {64, 64}).isNull());
    }

    void embeddedPreviews_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QSize>("picture"); // upright
        QTest::addColumn<int>("orientation");
        QTest::addColumn<QSize>("preview"); // stored orientation, like the picture
        QTest::addColumn<qreal>("request");
        QTest::addColumn<bool>("used");
        const QSize turned(1200, 1600), wide(320, 240), small(160, 120);
        QTest::newRow("large enough") << u"JPEG"_s << turned << 6 << wide << 200.0 << true;
        QTest::newRow("too small") << u"JPEG"_s << turned << 6 << wide << 400.0 << false;
        QTest::newRow("letterboxed 16:9") << u"JPEG"_s << turned << 6 << QSize(320, 180) << 100.0 << false;
        QTest::newRow("within the tolerance") << u"JPEG"_s << turned << 6 << QSize(320, 238) << 100.0 << true;
        // Made for the 128 bucket: 126 is wide enough for 128 and of the picture's shape, but 94
        // is short of 96; 100 is as short of 102 as the tolerance allows.
        QTest::newRow("wide enough, too short") << u"JPEG"_s << QSize(640, 480) << 1 << QSize(126, 94) << 128.0 << false;
        QTest::newRow("short by the tolerance") << u"JPEG"_s << QSize(640, 512) << 1 << QSize(126, 100) << 128.0 << true;
        // Some writers store a 160x120 EXIF thumbnail whatever the picture's size.
        QTest::newRow("PNG 120x90, preview 160x120") << u"PNG"_s << QSize(120, 90) << 1 << small << 128.0 << false;
        QTest::newRow("JPEG 120x90, preview 160x120") << u"JPEG"_s << QSize(120, 90) << 1 << small << 128.0 << false;
        QTest::newRow("JPEG 160x120, preview 160x120") << u"JPEG"_s << small << 1 << small << 128.0 << true;
        QTest::newRow("JPEG 640x480, preview 160x120") << u"JPEG"_s << QSize(640, 480) << 1 << small << 128.0 << true;
        QTest::newRow("HEIC, its thumbnail large enough") << u"HEIC"_s << wide << 1 << small << 100.0 << true;
        QTest::newRow("HEIC, its thumbnail too small") << u"HEIC"_s << wide << 1 << small << 200.0 << false;
        // Decoded at its own size: what comes back must not borrow libheif's freed plane.
        QTest::newRow("HEIC smaller than the box") << u"HEIC"_s << wide << 1 << small << 1024.0 << false;
    }

    // An embedded preview stands in for the picture when it is large enough, has the picture's
    // shape and is no larger than the picture; either way the result is upright and never larger
    // than the picture.
    void embeddedPreviews()
    {
        QFETCH(QString, format);
        QFETCH(QSize, picture);
        QFETCH(int, orientation);
        QFETCH(QSize, preview);
        QFETCH(qreal, request);
        QFETCH(bool, used);
        const QString name = u"preview-%1."_s.arg(QLatin1StringView(QTest::currentDataTag())).replace(u' ', u'-').replace(u',', u'-');
        QString path;
        if (format == u"HEIC") {
            const QImage pixels = storedPixels(sample(name + u"png"_s, "PNG", picture));
            path = file(name + u"heic"_s);
            if (!TQSampleData::writeHeic(path, pixels, {}, tinted(pixels), preview.width()))
                QSKIP("libheif has no HEVC encoder here, or it failed");
        } else {
            path = sample(name + format.toLower(), qPrintable(format), picture, orientation);
            setExifThumbnail(path, encoded(tinted(storedPixels(path).scaled(preview)), "JPEG"));
        }
        const QImage thumbnail = thumbnailForFile(path, {request, request});
        // A preview used gives its own shape, as upright as the picture's.
        const QSize shape = !used ? picture : orientation >= 5 ? preview.transposed() : preview;
        const bool fits = shape.width() <= request && shape.height() <= request; // never enlarged
        QCOMPARE(thumbnail.size(), fits ? shape : shape.scaled(int(request), int(request), Qt::KeepAspectRatio));
        const QString problem = notUpright(thumbnail, used ? Green : TQSampleData::Background);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
    }

    // A name that is not UTF-8 reaches its file, and its cache entry is the one under the URI
    // of its bytes, as every other desktop program computes it.
    void nativeNames()
    {
        const QByteArray folder = QFile::encodeName(m_dir.path()), path = folder + "/pic-\xff\xfe.png";
        const QByteArray png = solidPng({64, 48}, Red);
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        QVERIFY(fd >= 0 && ::write(fd, png.constData(), size_t(png.size())) == png.size() && ::close(fd) == 0);
        const QImage thumbnail = TQThumbnailService::thumbnailForFile(path, QSizeF(128, 128));
        QCOMPARE(thumbnail.size(), QSize(64, 48));
        QVERIFY(near(thumbnail.pixel(32, 24), Red));
        QVERIFY(QFile::exists(cachedFor("file://" + folder + "/pic-%FF%FE.png", u"normal"_s)));
        QCOMPARE(::unlink(path.constData()), 0); // QDir can't name it to clean up
    }

    void thumbnailers_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("exec");
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("types");
        QTest::addColumn<QString>("tryExec");
        QTest::addColumn<QString>("confined"); // "sandboxed" or "unconfined"; empty: as it comes
        QTest::addColumn<Expected>("expected");
        const auto row = [](const QByteArray &tag, const QString &name, const QString &exec, const QString &script, Expected expected,
                            const QString &types = u"text/plain;"_s, const QString &tryExec = {}, const QString &confined = {}) {
            QTest::newRow(tag.constData()) << name << exec << script << types << tryExec << confined << expected;
        };
        const QString io = u"{script} %i %o"_s, writes = u"{picture} > \"$2\""_s;
        row("writes its picture", u"a.txt"_s, io, u"[ -r \"$1\" ] || exit 3\n"_s + writes, RedPicture);
        row("all field codes", u"b.txt"_s, u"{script} %u %i %o %s"_s,
            u"[ $# = 4 ] && [ \"$1\" = {uri} ] && [ \"$2\" = {input} ] && [ \"$4\" = 128 ] || exit 3\n{picture} > \"$3\""_s,
            RedPicture, u"text/plain"_s);
        row("quoting, escapes, %% and embedded codes", u"c.txt"_s,
            u"{script} \"a \\\\\"quoted\\\\\" word\" 100%% 'two words' --out=%o a\\\\ b\\\\"_s,
            u"[ \"$1\" = 'a \"quoted\" word' ] && [ \"$2\" = '100%' ] && [ \"$3\" = 'two words' ] && [ \"$5\" = 'a b\\' ] || exit 3\n"
            u"{picture} > \"${4#--out=}\""_s, RedPicture);
        row("a parent type's thumbnailer", u"main.c"_s, io, writes, RedPicture);
        row("output is not a picture", u"d.txt"_s, io, u"echo nonsense > \"$2\""_s, NullAndFailRecord);
        row("output is 20000 pixels wide", u"e.txt"_s, io, printfPicture(solidPng({20000, 2}, Red)) + u" > \"$2\""_s, NullAndFailRecord);
        row("its picture file is 50 MiB, the most taken", u"e2.txt"_s, io, writes + u"\ntruncate -s 52428800 \"$2\""_s, RedPicture);
        row("leaves a FIFO as its picture", u"fifo.txt"_s, io, u"mkfifo \"$2\""_s, NullAndFailRecord);
        row("exit status 1", u"f.txt"_s, io, writes + u"; exit 1"_s, NullAndFailRecord);
        row("TryExec names no program", u"g.txt"_s, io, writes, GreenPicture, u"text/plain;"_s, u"/nonexistent/tqkit-thumbnailer"_s);
        row("TryExec names a file that is no program", u"g2.txt"_s, io, writes, GreenPicture, u"text/plain;"_s, u"/etc/passwd"_s);
        row("unknown field code", u"h.txt"_s, u"{script} %x %o"_s, writes, NullOnly);
        row("missing program", u"i.txt"_s, u"/nonexistent/tqkit-thumbnailer %i %o"_s, QString(), NullOnly);
        row("another type", u"j.txt"_s, io, writes, GreenPicture, u"image/x-tqkit-other;"_s);
        // Limits make a hostile file's demands fail inside the thumbnailer, which then writes its picture.
        for (const QString &confined : {u"sandboxed"_s, u"unconfined"_s}) {
            const auto limited = [&](const char *what, const QString &script, Expected expected = RedPicture) {
                row(confined.toLatin1() + ", " + what, u"limited-%1-%2.txt"_s.arg(confined, QLatin1StringView(what)).replace(u' ', u'-'), io, script,
                    expected, u"text/plain;"_s, {}, confined);
            };
            limited("allocating 1.5 GB", u"python3 -c 'bytearray(1536 << 20)' 2>/dev/null && exit 3\n"_s + writes);
            limited("writing 80 MB", u"head -c 80000000 /dev/zero > big 2>/dev/null && exit 3\n"_s + writes);
            limited("CPU time", u"t=$(ulimit -t); [ \"$t\" != unlimited ] && [ \"$t\" -le 10 ] || exit 3\n"_s + writes);
            // Never ends: it is killed with everything it started, and the request ends.
            limited("hanging", u"sleep {marker} &\nwait"_s, NullAndFailRecord);
        }
        // Every network interface but the loopback one is a way out; so is any file but the output.
        row("sandboxed, writing elsewhere and reaching out", u"out.txt"_s, io,
            u"echo out > {outside} 2>/dev/null\necho more >> \"$1\" 2>/dev/null\n"
            u"tail -n +3 /proc/net/dev | grep -v ' lo:' | grep -q . && exit 5\n"_s + writes,
            RedPicture, u"text/plain;"_s, {}, u"sandboxed"_s);
    }

    // The thumbnailer of a file's type (or a parent type's) runs with its field codes filled in
    // and within limits; sandboxed it changes nothing but its output, and one that hangs is
    // killed with everything it started.
    void thumbnailers()
    {
        QFETCH(QString, name);
        QFETCH(QString, exec);
        QFETCH(QString, script);
        QFETCH(QString, types);
        QFETCH(QString, tryExec);
        QFETCH(QString, confined);
        QFETCH(Expected, expected);
        TQThumbnailService::setThumbnailerSandboxEnabled(confined != u"unconfined");
        if (confined == u"sandboxed" && !TQThumbnailService::thumbnailersSandboxed())
            QSKIP("bwrap is missing or does not work here");
        if (script.startsWith(u"python3") && QStandardPaths::findExecutable(u"python3"_s).isEmpty())
            QSKIP("python3 is not on PATH");
        const bool hangs = script.contains(u"{marker}");
        // sleep's unique argument
        const QString marker = u"59.%1%2"_s.arg(QCoreApplication::applicationPid()).arg(int(confined == u"sandboxed"));
        if (hangs) // long enough for a sandbox to start on a loaded machine, so that the child does run
            TQThumbnailService::setThumbnailerTimeout(3000);
        const QString input = file(u"thumbnailers/"_s + name), outside = file(u"escaped"_s);
        QVERIFY(writeWholeFile(input, "int main() { return 0; }\n"));
        QVERIFY(installThumbnailer(exec, types,
                                   QString(script).replace(u"{picture}"_s, m_picture).replace(u"{marker}"_s, marker)
                                           .replace(u"{uri}"_s, quoted(u"file://"_s + input)).replace(u"{input}"_s, quoted(input))
                                           .replace(u"{outside}"_s, quoted(outside)),
                                   tryExec));
        // A folder of lower priority offers another thumbnailer for the same type.
        QVERIFY(installThumbnailer(u"{script} %o"_s, u"text/plain;"_s, printfPicture(solidPng({40, 30}, Green)) + u" > \"$1\""_s,
                                   {}, qEnvironmentVariable("XDG_DATA_DIRS").section(u':', 0, 0)));

        std::atomic<bool> done = false;
        QImage thumbnail(1, 1, QImage::Format_RGB32);
        std::thread request([&] {
            thumbnail = thumbnailForFile(input, {128, 128});
            done = true;
        });
        const bool started = hangs && QTest::qWaitFor([&] { return running(marker) || done; }, 10000) && running(marker);
        request.join(); // a hanging thumbnailer's request ends all the same
        QVERIFY2(started || !hangs, "the thumbnailer's child never ran");
        QTRY_VERIFY_WITH_TIMEOUT(!hangs || !running(marker), 5000);
        const bool picture = expected == RedPicture || expected == GreenPicture;
        QCOMPARE(thumbnail.size(), picture ? QSize(40, 30) : QSize(0, 0));
        QVERIFY(!picture || near(thumbnail.pixel(20, 15), expected == RedPicture ? Red : Green));
        QCOMPARE(QFile::exists(cached(input)), picture);
        QCOMPARE(QFile::exists(failRecord(input)), expected == NullAndFailRecord);
        QVERIFY(!QFile::exists(outside));
        QCOMPARE(contents(input), QByteArray("int main() { return 0; }\n"));
    }
};

int main(int argc, char **argv)
{
    // Before anything reads them: the cache, the user's data folder and the system's data
    // folders are the suite's own, the last with the shared MIME database linked in and no
    // installed thumbnailers, so the machine's thumbnailers take no part.
    QTemporaryDir home;
    if (!home.isValid())
        return 1;
    QString mime;
    for (const QString &dir : qEnvironmentVariable("XDG_DATA_DIRS", u"/usr/local/share:/usr/share"_s).split(u':')) {
        if (mime.isEmpty() && QFile::exists(dir + u"/mime/mime.cache"_s))
            mime = dir + u"/mime"_s;
    }
    QDir().mkpath(home.filePath(u"system"_s));
    QFile::link(mime, home.filePath(u"system/mime"_s));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.filePath(u"cache"_s)));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(u"data"_s)));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(home.filePath(u"data-dir"_s) + u':' + home.filePath(u"system"_s)));
    // Freed blocks of 64 KiB and more go back to the system at once, so an image that still
    // points into a decoder's freed buffer crashes here, not only under AddressSanitizer.
    mallopt(M_MMAP_THRESHOLD, 64 << 10);
    QCoreApplication app(argc, argv);
    // Broken and hostile files make Qt's image readers complain; those complaints are expected.
    QLoggingCategory::setFilterRules(u"qt.gui.imageio.warning=false\nqt.gui.imageio.*.warning=false"_s);
    tst_ThumbnailService test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_thumbnailservice.moc"
