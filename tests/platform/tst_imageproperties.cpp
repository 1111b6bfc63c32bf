// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageMetadata.h"
#include "TQBoundedChild.h"
#include "TQImageProperties.h"
#include "TQImageProperties_p.h"
#include "TQSampleData.h"
#include "TQTestDesktop.h"

#include <QBuffer>
#include <QColorSpace>
#include <QRegularExpression>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <bit>
#include <cstdio>
#include <functional>
#include <limits>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using TQImageProperties::propertiesOfFile;

namespace {

const QString Exiftool = QStandardPaths::findExecutable(u"exiftool"_s);

QVariantMap camera(int orientation, const char *make, const char *model, const char *lens, int iso,
                   double exposure, double fNumber, double focal)
{
    QVariantMap exif{{u"Orientation"_s, orientation}, {u"Make"_s, QString::fromLatin1(make)},
                     {u"Model"_s, QString::fromLatin1(model)}, {u"Software"_s, u"TQKit tests"_s},
                     {u"DateTimeOriginal"_s, u"2023:07:14 09:26:53"_s}, {u"ISO"_s, iso},
                     {u"ExposureTime"_s, exposure}, {u"FNumber"_s, fNumber}, {u"FocalLength"_s, focal}};
    if (lens)
        exif.insert(u"LensModel"_s, QString::fromLatin1(lens));
    return exif;
}

QByteArray contents(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The TIFF structure of a JPEG's Exif segment.
QByteArray exifOf(const QByteArray &jpeg)
{
    const qsizetype at = jpeg.indexOf(QByteArrayView("Exif\0\0", 6));
    return at < 4 ? QByteArray() : jpeg.mid(at + 6, (uchar(jpeg.at(at - 2)) << 8 | uchar(jpeg.at(at - 1))) - 8);
}

// `jpeg` with an Exif segment holding the TIFF structure `block` right after its SOI.
QByteArray withExif(QByteArray jpeg, const QByteArray &block)
{
    const QByteArray segment = "Exif" + QByteArray(2, '\0') + block;
    return jpeg.insert(2, QByteArray("\xff\xe1", 2) + char((segment.size() + 2) >> 8) + char(segment.size() + 2) + segment);
}

// What `probe` answered in a child held to hard bounds (TQBoundedChild), or why it did not.
QByteArray inBoundedChild(const std::function<QByteArray()> &probe)
{
    const TQChildOutcome outcome = runInBoundedChild(
            [&probe] {
                qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
                return probe();
            },
            TQChildLimits{512u << 20, 20, 60});
    return outcome.finished ? outcome.answer : outcome.failure;
}

// The top-level keys of what the reader says and the pixel size, or "nothing".
QByteArray keysOf(const QVariantMap &props)
{
    if (props.isEmpty())
        return "nothing";
    return QStringList(props.keys()).join(u',').toUtf8() + ' ' + props.value(u"PixelWidth"_s).toByteArray() + 'x'
            + props.value(u"PixelHeight"_s).toByteArray();
}

// A BMP of `size` bytes, zero but for little-endian 32-bit `fields` at their offsets.
QByteArray bmp(qsizetype size, std::initializer_list<std::pair<int, quint32>> fields)
{
    QByteArray bytes = "BM" + QByteArray(size - 2, '\0');
    for (const auto &[at, value] : fields)
        qToLittleEndian(value, bytes.data() + at);
    return bytes;
}

// ---------------------------------------------------------------------------------------------
// PNG chunks written by the test.

quint32 crc32(QByteArrayView bytes)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : bytes) {
        crc ^= uchar(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 1 ? (crc >> 1) ^ 0xedb88320u : crc >> 1;
    }
    return ~crc;
}

QByteArray chunk(const QByteArray &type, const QByteArray &data)
{
    QByteArray out(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(data.size()), out.data());
    out += type + data;
    QByteArray crc(4, Qt::Uninitialized);
    qToBigEndian<quint32>(crc32(QByteArray(type + data)), crc.data());
    return out + crc;
}

// A zlib stream (what qCompress writes after its four-byte length).
QByteArray deflated(const QByteArray &data)
{
    return qCompress(data, 9).mid(4);
}

// `png` with `chunks` put in right after its header.
QByteArray withChunks(const QByteArray &png, const QList<QByteArray> &chunks)
{
    QByteArray out = png;
    out.insert(33, chunks.join());
    return out;
}

QByteArray zText(const char *keyword, const QByteArray &text)
{
    return chunk("zTXt", QByteArray(keyword) + QByteArray(2, '\0') + deflated(text));
}

// An ICC profile whose only tag is a description naming it, padded to `size` bytes: a v2 one,
// or a v4 multilingual one with a single English record of 12 bytes, its text in UTF-16;
// `type`, when given, replaces the description's type signature.
QByteArray iccProfile(const QByteArray &name, qsizetype size, bool multilingual = false, const char *type = nullptr)
{
    QByteArray icc(132, '\0');
    icc.replace(36, 4, "acsp");
    QByteArray entry(12, '\0');
    qToBigEndian<quint32>(1, icc.data() + 128);
    entry.replace(0, 4, "desc");
    qToBigEndian<quint32>(144, entry.data() + 4);
    QByteArray desc = QByteArray("desc") + QByteArray(8, '\0') + name + '\0';
    qToBigEndian<quint32>(quint32(name.size() + 1), desc.data() + 8);
    if (multilingual) { // a German record first; the English one is the one to show
        const QByteArray german = "Farbprofil";
        desc = QByteArray("mluc") + QByteArray(36, '\0');
        qToBigEndian<quint32>(2, desc.data() + 8);
        qToBigEndian<quint32>(12, desc.data() + 12);
        desc.replace(16, 4, "deDE");
        qToBigEndian<quint32>(quint32(2 * german.size()), desc.data() + 20);
        qToBigEndian<quint32>(40, desc.data() + 24);
        desc.replace(28, 4, "enUS");
        qToBigEndian<quint32>(quint32(2 * name.size()), desc.data() + 32);
        qToBigEndian<quint32>(quint32(40 + 2 * german.size()), desc.data() + 36);
        for (const char c : german + name)
            desc += QByteArray(1, '\0') + c;
    }
    if (type)
        desc.replace(0, 4, type);
    qToBigEndian<quint32>(quint32(desc.size() + 64), entry.data() + 8);
    icc += entry + desc + QByteArray(64, '\0');
    icc = icc.leftJustified(std::max(size, icc.size()), '\0');
    qToBigEndian<quint32>(quint32(icc.size()), icc.data());
    return icc;
}


// ---------------------------------------------------------------------------------------------
// EXIF blocks written by the test: IFD0, the EXIF IFD and the GPS IFD, each a list of entries,
// laid out in that order with the values after them.

struct Tag
{
    quint16 tag;
    quint16 type;
    quint32 count;
    QByteArray value; // the value's bytes in the block's byte order
};

struct Tiff
{
    bool bigEndian = false;
    QList<Tag> ifd0, exif, gps;

    QByteArray number(quint64 v, int width) const
    {
        QByteArray out(width, '\0');
        for (int i = 0; i < width; ++i)
            out[bigEndian ? width - 1 - i : i] = char(v >> (8 * i));
        return out;
    }
    Tag ascii(quint16 tag, const QByteArray &text) const { return {tag, 2, quint32(text.size()), text}; }
    Tag numbers(quint16 tag, quint16 type, int width, const QList<qint64> &values, qsizetype count) const
    {
        QByteArray bytes;
        for (qint64 v : values)
            bytes += number(quint64(v), width);
        return {tag, type, quint32(count), bytes};
    }
    Tag shorts(quint16 tag, QList<qint64> v, quint16 type = 3) const { return numbers(tag, type, 2, v, v.size()); }
    Tag longs(quint16 tag, QList<qint64> v, quint16 type = 4) const { return numbers(tag, type, 4, v, v.size()); }
    // Numerator, denominator, numerator, ...
    Tag rationals(quint16 tag, QList<qint64> v, quint16 type = 5) const { return numbers(tag, type, 4, v, v.size() / 2); }
    Tag bytes(quint16 tag, const QByteArray &value, quint16 type = 7) const { return {tag, type, quint32(value.size()), value}; }

    // The block; `exifAt`/`gpsAt` replace where IFD0 points (0: where the IFD is written).
    QByteArray block(quint32 exifAt = 0, quint32 gpsAt = 0) const
    {
        const auto ifdSize = [](const QList<Tag> &tags) { return 2 + 12 * tags.size() + 4; };
        const bool withExif = !exif.isEmpty(), withGps = !gps.isEmpty();
        const qsizetype pointers = (withExif ? 1 : 0) + (withGps ? 1 : 0);
        const quint32 exifOffset = quint32(8 + ifdSize(ifd0) + 12 * pointers);
        const quint32 gpsOffset = quint32(exifOffset + (withExif ? ifdSize(exif) : 0));
        QList<Tag> first = ifd0;
        if (withExif)
            first.append(Tag{0x8769, 4, 1, number(exifAt ? exifAt : exifOffset, 4)});
        if (withGps)
            first.append(Tag{0x8825, 4, 1, number(gpsAt ? gpsAt : gpsOffset, 4)});
        QByteArray out = QByteArray(bigEndian ? "MM" : "II") + number(42, 2) + number(8, 4);
        qsizetype data = gpsOffset + (withGps ? ifdSize(gps) : 0);
        QByteArray values;
        const QList<Tag> *ifds[] = {&first, &exif, &gps};
        for (const QList<Tag> *ifd : ifds) {
            if (ifd->isEmpty())
                continue;
            out += number(quint64(ifd->size()), 2);
            for (const Tag &t : *ifd) {
                out += number(t.tag, 2) + number(t.type, 2) + number(t.count, 4);
                if (t.value.size() <= 4) {
                    out += t.value.leftJustified(4, '\0');
                } else {
                    out += number(quint64(data + values.size()), 4);
                    values += t.value;
                }
            }
            out += number(0, 4);
        }
        return out + values;
    }
};

} // namespace

class tst_ImageProperties : public QObject
{
    Q_OBJECT

    QString file(const QString &name) const { return m_dir.filePath(name); }
    void skipUnlessMade(const QString &name) // exiftool makes tagged.jpg, libheif photo.heic
    {
        if (!QFile::exists(file(name)))
            QSKIP(qPrintable(name + u" was not made; exiftool at \""_s + Exiftool + u"\"; "_s + m_heifProblem));
    }

    // A 40x30 PNG with nothing but its picture.
    QByteArray plainPng() const
    {
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::gray);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return bytes;
    }

    QTemporaryDir m_dir;
    QString m_heifProblem;
    QHash<QString, QJsonObject> m_exiftool;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        using TQSampleData::writeImage;
        QVERIFY(writeImage(file(u"camera.jpg"_s), "JPEG", {320, 240},
                           camera(6, "Canon", "Canon EOS R5", "RF24-105mm F4 L IS USM", 800, 1.0 / 250, 4.0, 47)));
        QVERIFY(writeImage(file(u"plain.jpg"_s), "JPEG", {64, 48}, {}));
        QVERIFY(writeImage(file(u"photo.png"_s), "PNG", {100, 75},
                           camera(1, "NIKON CORPORATION", "NIKON Z 6", nullptr, 100, 0.5, 8, 24)));
        QVERIFY(writeImage(file(u"photo.tiff"_s), "TIFF", {80, 60},
                           camera(3, "Leica Camera AG", "LEICA Q2", "SUMMILUX 1:1.7/28 ASPH.", 3200, 1.0 / 60, 1.7, 28)));
        QVERIFY(writeImage(file(u"photo.webp"_s), "WEBP", {90, 60},
                           camera(8, "samsung", "SM-G991B", nullptr, 50, 1.0 / 1000, 1.8, 5.4)));

        QImage profiled(40, 30, QImage::Format_ARGB32);
        profiled.fill(qRgba(10, 200, 30, 128));
        profiled.setColorSpace(QColorSpace(QColorSpace::DisplayP3));
        QVERIFY(profiled.save(file(u"profiled.png"_s), "PNG"));
        QVERIFY(profiled.convertToFormat(QImage::Format_RGB32).save(file(u"profiled.jpg"_s), "JPEG"));
        QVERIFY(profiled.convertToFormat(QImage::Format_RGB32).copy(0, 0, 33, 21).save(file(u"photo.bmp"_s), "BMP"));
        // Olympus's signature in place of a TIFF's: a RAW to exiv2.
        QVERIFY(writeWholeFile(file(u"photo.orf"_s), contents(file(u"photo.tiff"_s)).replace(2, 2, "RO")));
        // Opaque, with no profile and no EXIF: a simple lossy WebP, sized only by its VP8 frame.
        QImage opaque(27, 19, QImage::Format_RGB32);
        opaque.fill(qRgb(200, 120, 40));
        QVERIFY(opaque.save(file(u"plain.webp"_s), "WEBP", 80));
        // Qt writes no BMP with alpha: a 3x2 one whose V4 header masks an alpha channel (BGRA).
        QVERIFY(writeWholeFile(file(u"alpha.bmp"_s), bmp(146, {{2, 146}, {10, 122}, {14, 108}, {18, 3}, {22, 2}, {26, 1 | 32 << 16},
                                                           {30, 3}, {54, 0xff0000}, {58, 0xff00}, {62, 0xff}, {66, 0xff000000}})));
        // Qt writes no GIF: a 57x31 logical screen with a two-colour table, holding one 1x1 frame.
        const QByteArray gif("GIF89a\x39\x00\x1f\x00\x80\x00\x00\xff\xff\xff\x00\x00\x00"
                             "\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00\x3b", 35);
        QVERIFY(writeWholeFile(file(u"frame.gif"_s), gif));
        // The same with a comment ("a") and then a graphic control block in front of the frame:
        // only the control block's own flag says whether the frame has a transparent colour.
        const auto withControl = [&gif](char flags) {
            return gif.left(19) + QByteArray("\x21\xfe\x01\x61\x00" "\x21\xf9\x04", 8) + flags
                    + QByteArray("\x00\x00\x00\x00", 4) + gif.mid(19);
        };
        QVERIFY(writeWholeFile(file(u"opaque.gif"_s), withControl('\x00')));
        QVERIFY(writeWholeFile(file(u"transparent.gif"_s), withControl('\x01')));
        // Cut where the control block's flags would be: what is not there says nothing.
        QVERIFY(writeWholeFile(file(u"cut.gif"_s), withControl('\x01').first(27)));
        QImage grey(128, 96, QImage::Format_RGB888); // a HEIC with the camera JPEG's EXIF
        grey.fill(QColor(0x80, 0x80, 0x80));
        if (!TQSampleData::writeHeic(file(u"photo.heic"_s), grey, exifOf(contents(file(u"camera.jpg"_s)))))
            m_heifProblem = u"no HEVC encoder, or it could not encode, tag or write"_s;

        if (Exiftool.isEmpty())
            return;
        const QStringList tags{u"-q"_s, u"-GPSLatitude=48.8584"_s, u"-GPSLatitudeRef=N"_s, u"-GPSLongitude=2.2945"_s,
                               u"-GPSLongitudeRef=W"_s, u"-GPSAltitude=35.5"_s, u"-GPSAltitudeRef=0"_s,
                               u"-IPTC:Keywords=tower"_s, u"-IPTC:Keywords=Paris"_s,
                               u"-IPTC:Caption-Abstract=Under the tower "_s, u"-IPTC:By-line=A. Photographer"_s,
                               u"-XResolution=300"_s, u"-YResolution=300"_s, u"-ResolutionUnit=inches"_s,
                               u"-JFIF:ResolutionUnit=cm"_s, u"-JFIF:XResolution=118"_s, u"-JFIF:YResolution=59"_s,
                               u"-o"_s, file(u"tagged.jpg"_s), file(u"plain.jpg"_s)};
        QCOMPARE(QProcess::execute(Exiftool, tags), 0);
        QProcess p;
        p.setWorkingDirectory(m_dir.path());
        p.start(Exiftool, QStringList{u"-j"_s, u"-n"_s} + QDir(m_dir.path()).entryList(QDir::Files));
        QVERIFY(p.waitForFinished(120000));
        for (const QJsonValue &v : QJsonDocument::fromJson(p.readAllStandardOutput()).array())
            m_exiftool.insert(v[u"SourceFile"_s].toString(), v.toObject());
    }

    void agreesWithExiftool_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("alpha"); // all are 8-bit RGB
        QTest::newRow("a camera JPEG turned by EXIF orientation 6") << u"camera.jpg"_s << false;
        QTest::newRow("a JPEG without any EXIF") << u"plain.jpg"_s << false;
        QTest::newRow("a PNG whose EXIF exiv2 wrote as a raw profile") << u"photo.png"_s << false;
        QTest::newRow("a TIFF whose EXIF shares IFD0 with the picture") << u"photo.tiff"_s << false;
        QTest::newRow("a WebP with an EXIF chunk") << u"photo.webp"_s << false;
        QTest::newRow("a lossy WebP sized by its VP8 frame") << u"plain.webp"_s << false;
        QTest::newRow("a HEIC with the camera JPEG's EXIF") << u"photo.heic"_s << false;
        QTest::newRow("a PNG with a Display P3 profile and alpha") << u"profiled.png"_s << true;
        QTest::newRow("a JPEG with a Display P3 profile") << u"profiled.jpg"_s << false;
        QTest::newRow("a JPEG tagged by exiftool with GPS, IPTC and 300 dpi") << u"tagged.jpg"_s << false;
        QTest::newRow("a BMP") << u"photo.bmp"_s << false;
        QTest::newRow("a 32-bit BMP with an alpha mask") << u"alpha.bmp"_s << true;
        QTest::newRow("a GIF, sized by its logical screen") << u"frame.gif"_s << false;
        QTest::newRow("a GIF with a comment before its opaque frame") << u"opaque.gif"_s << false;
        QTest::newRow("a GIF with a comment before its transparent frame") << u"transparent.gif"_s << true;
        QTest::newRow("a GIF cut before its control block's flags") << u"cut.gif"_s << false;
    }

    void agreesWithExiftool()
    {
        QFETCH(QString, name);
        QFETCH(bool, alpha);
        skipUnlessMade(name);
        const QVariantMap props = propertiesOfFile(file(name));
        QCOMPARE(props.value(u"Depth"_s).toInt(), 8);
        QCOMPARE(props.value(u"ColorModel"_s).toString(), u"RGB"_s);
        QCOMPARE(props.value(u"HasAlpha"_s).toBool(), alpha);
        QCOMPARE(props.value(u"PixelWidth"_s).typeId(), QMetaType::Int);
        if (Exiftool.isEmpty())
            QSKIP("exiftool is not installed");
        const QJsonObject oracle = m_exiftool.value(name);
        QVERIFY2(!oracle.isEmpty(), "exiftool said nothing about the file");
        const QVariantMap exif = props.value(u"{Exif}"_s).toMap();
        const QVariantMap tiff = props.value(u"{TIFF}"_s).toMap();
        const QList<std::pair<QString, QVariant>> pairs{
                {u"ImageWidth"_s, props.value(u"PixelWidth"_s)}, {u"ImageHeight"_s, props.value(u"PixelHeight"_s)},
                {u"Orientation"_s, props.value(u"Orientation"_s)}, {u"Make"_s, tiff.value(u"Make"_s)},
                {u"Model"_s, tiff.value(u"Model"_s)}, {u"ISO"_s, exif.value(u"ISOSpeedRatings"_s).toList().value(0)},
                {u"ExposureTime"_s, exif.value(u"ExposureTime"_s)}, {u"FNumber"_s, exif.value(u"FNumber"_s)},
                {u"FocalLength"_s, exif.value(u"FocalLength"_s)}, {u"LensModel"_s, exif.value(u"LensModel"_s)},
                {u"DateTimeOriginal"_s, exif.value(u"DateTimeOriginal"_s)},
                {u"XResolution"_s, tiff.value(u"XResolution"_s, props.value(u"{JFIF}"_s).toMap().value(u"XDensity"_s))},
                {u"ProfileDescription"_s, props.value(u"ProfileName"_s)},
        };
        for (const auto &[key, ours] : pairs) {
            const QJsonValue theirs = oracle.value(key);
            const QString what = u"%1: ours %2, exiftool's %3"_s.arg(key, ours.toString(), theirs.toVariant().toString());
            QVERIFY2(theirs.isUndefined() == !ours.isValid(), qPrintable(what));
            if (theirs.isDouble()) // exiftool prints ten significant digits; a float is off in the eighth
                QVERIFY2(qAbs(theirs.toDouble() - ours.toDouble()) < 1e-9 * qMax(1.0, qAbs(theirs.toDouble())),
                         qPrintable(what));
            else if (!theirs.isUndefined())
                QVERIFY2(theirs.toVariant().toString() == ours.toString(), qPrintable(what));
        }
    }

    // The EXIF of a JPEG is read by a direct walk when it can be, and must then say exactly
    // what exiv2 says of the same block; what the walk is not sure of goes to exiv2.
    void readsExifAsExiv2Does_data()
    {
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<bool>("direct");
        for (const bool big : {false, true}) {
            Tiff t;
            t.bigEndian = big;
            t.ifd0 = {t.ascii(0x010f, "Canon\0"), t.ascii(0x0110, QByteArray("EOS R5  \0junk", 13)), t.shorts(0x0112, {6}),
                      t.rationals(0x011a, {300, 1}), t.shorts(0x0128, {2}), t.ascii(0x0131, "caf\xe9 latin-1"),
                      t.ascii(0x0132, "2023:07:14 09:26:53\0"), t.ascii(0x013b, "   \0")};
            t.exif = {t.rationals(0x829a, {1, 250}), t.rationals(0x829d, {28, 10}), t.shorts(0x8827, {800, 1600}),
                      t.bytes(0x9000, "0232"), t.rationals(0x9204, {-2, 3}, 10), t.rationals(0x920a, {47, 0}),
                      t.bytes(0x9286, QByteArray("ASCII\0\0\0a comment  \0x", 22)), t.bytes(0xa000, "0100"),
                      t.longs(0xa002, {0xffffffffLL}), t.shorts(0xa003, {-5}, 8), t.longs(0x9206, {-7}, 9),
                      t.bytes(0xa300, "\x03"), t.shorts(0x9214, {1, 2, 3, 4}), t.ascii(0xa434, "RF24-105mm"),
                      t.rationals(0xa432, {24, 1, 105, 1, 0x80000000LL, 1, 4, 0}), t.bytes(0x927c, "maker notes")};
            t.gps = {t.bytes(0x0000, "\x02\x03\0\0", 1), t.ascii(0x0001, "N"), t.rationals(0x0002, {48, 1, 51, 1, 3030, 100}),
                     t.rationals(0x0007, {9, 1, 26, 1, 5350, 100}), t.rationals(0x0006, {355, 10})};
            const char *order = big ? "big-endian" : "little-endian";
            QTest::addRow("%s: a camera's tags of every type", order) << t.block() << true;
            Tiff twice = t;
            twice.ifd0 += {t.ascii(0x010f, "Nikon"), t.ascii(0x0110, "\0"), t.shorts(0x0112, {8})};
            QTest::addRow("%s: tags stated twice", order) << twice.block() << true;
            Tiff odd = t;
            odd.exif = {t.bytes(0x9286, QByteArray(8, '\0') + "unmarked\0"), t.bytes(0x9000, "0\x80" "3"),
                        t.shorts(0x9000, {48, 50, 51, 50}), t.shorts(0x9003, {1})};
            QTest::addRow("%s: odd but plain types", order) << odd.block() << true;
        }
        Tiff t;
        t.ifd0 = {t.ascii(0x010f, "Canon")};
        t.exif = {t.rationals(0x829a, {1, 250})};
        t.gps = {t.ascii(0x0001, "N")};
        const QByteArray plain = t.block();
        QTest::newRow("plain") << plain << true;
        const auto with = [&t](QList<Tag> Tiff::*ifd, const Tag &tag) {
            Tiff changed = t;
            (changed.*ifd).append(tag);
            return changed.block();
        };
        QTest::newRow("a UserComment in Unicode") << with(&Tiff::exif, t.bytes(0x9286, QByteArray("UNICODE\0a\0b\0", 12))) << false;
        QTest::newRow("a UserComment in JIS") << with(&Tiff::exif, t.bytes(0x9286, QByteArray("JIS\0\0\0\0\0ab", 10))) << false;
        QTest::newRow("a UserComment stored as text") << with(&Tiff::exif, t.ascii(0x9286, "text")) << false;
        QTest::newRow("a text tag stored as bytes") << with(&Tiff::ifd0, t.bytes(0x0110, "R5", 1)) << false;
        QTest::newRow("a FLOAT value") << with(&Tiff::exif, Tag{0x920a, 11, 1, QByteArray("\0\0\x0c\x42", 4)}) << false;
        QTest::newRow("a version stored as text") << with(&Tiff::exif, t.ascii(0x9000, "0232")) << false;
        QTest::newRow("an unknown type") << with(&Tiff::ifd0, Tag{0x0110, 99, 1, "x"}) << false;
        QTest::newRow("an unknown type on a tag not asked for") << with(&Tiff::ifd0, Tag{0x0111, 99, 1, "x"}) << true;
        QByteArray outside = with(&Tiff::ifd0, t.ascii(0x0110, "a long model name"));
        outside.chop(5);
        QTest::newRow("a value past the end of the block") << outside << false;
        // A broken writer's value offset of 0 points at the block's own header.
        QByteArray atHeader = with(&Tiff::exif, t.rationals(0x920a, {47, 10}));
        const qsizetype focal = atHeader.indexOf(QByteArray("\x0a\x92\x05\x00\x01\x00\x00\x00", 8));
        QVERIFY(focal > 0);
        atHeader.replace(focal + 8, 4, QByteArray(4, '\0'));
        QTest::newRow("a value at offset 0, the header") << atHeader << false;
        QTest::newRow("a count no block holds") << with(&Tiff::ifd0, Tag{0x0110, 2, 0x40000000, "x"}) << false;
        QTest::newRow("the EXIF IFD is IFD0") << t.block(8) << false;
        QTest::newRow("the GPS IFD is the EXIF IFD") << t.block(0, 8 + 2 + 12 * 3 + 4) << false;
        QTest::newRow("an IFD past the end") << t.block(0, 5000) << false;
        QTest::newRow("an interoperability IFD shared with GPS")
                << with(&Tiff::exif, t.longs(0xa005, {8 + 2 + 12 * 3 + 4 + 2 + 12 * 2 + 4})) << false;
        Tiff noted = t;
        noted.exif.append(t.bytes(0x927c, QByteArray(100, 'U') + QByteArray(6, '\0') + QByteArray(94, 'U')));
        const QByteArray notes = noted.block();
        QTest::newRow("maker notes apart from the GPS IFD") << notes << true;
        QTest::newRow("a GPS IFD inside the maker notes") << noted.block(0, quint32(notes.indexOf(QByteArray(100, 'U')) + 100))
                                                          << false;
        // IFD0 also holds the two pointers.
        Tiff many = t;
        for (int i = many.ifd0.size(); i < 255; ++i)
            many.ifd0.append(t.shorts(quint16(0xc000 + i), {i}));
        QTest::newRow("257 entries") << many.block() << false;
        many.ifd0.removeLast();
        QTest::newRow("256 entries") << many.block() << true;
        QTest::newRow("a maker's private DNG data") << with(&Tiff::ifd0, t.bytes(0xc634, "PENTAX \0MM", 1)) << false;
        QTest::newRow("further picture directories") << with(&Tiff::ifd0, t.longs(0x014a, {8})) << false;
        QByteArray motorola = plain;
        motorola[0] = 'M';
        QTest::newRow("mixed byte order marks") << motorola << false;
    }

    void readsExifAsExiv2Does()
    {
        QFETCH(QByteArray, block);
        QFETCH(bool, direct);
        const QString name = file(u"exif.jpg"_s);
        QVERIFY(writeWholeFile(name, withExif(contents(file(u"plain.jpg"_s)), block)));
        const int before = TQImageProperties_directExifReadsForTesting();
        const QVariantMap ours = propertiesOfFile(name);
        QCOMPARE(TQImageProperties_directExifReadsForTesting() - before, direct ? 1 : 0);
        TQImageProperties_setExiv2OnlyForTesting(true);
        const QVariantMap theirs = propertiesOfFile(name);
        TQImageProperties_setExiv2OnlyForTesting(false);
        QCOMPARE(QJsonDocument::fromVariant(ours).toJson(), QJsonDocument::fromVariant(theirs).toJson());
        QCOMPARE(ours, theirs);
        QVERIFY(ours.contains(u"PixelWidth"_s));
        // Apart from the agreement: a text keeps no NUL and no blanks around it (Artist is all blanks).
        for (const QString &group : {u"{TIFF}"_s, u"{Exif}"_s, u"{GPS}"_s}) {
            for (const QVariant &value : ours.value(group).toMap()) {
                const QString text = value.typeId() == QMetaType::QString ? value.toString() : QString();
                QVERIFY2(!text.contains(QChar(0)) && text == text.trimmed(), qPrintable(text));
            }
        }
        // Apart from the two readers' agreement: FileSource, one UNDEFINED byte, is the number 3.
        const bool fileSource = block.contains(QByteArray("\x00\xa3\x07\x00\x01\x00\x00\x00\x03", 9))
                || block.contains(QByteArray("\xa3\x00\x00\x07\x00\x00\x00\x01\x03", 9));
        QCOMPARE(ours.value(u"{Exif}"_s).toMap().value(u"FileSource"_s).toInt(), fileSource ? 3 : 0);
        // And a GPS time of day, three rationals, is written out as a clock shows it.
        const bool gpsTime = block.contains(QByteArray("\x07\x00\x05\x00\x03\x00\x00\x00", 8))
                || block.contains(QByteArray("\x00\x07\x00\x05\x00\x00\x00\x03", 8));
        QCOMPARE(ours.value(u"{GPS}"_s).toMap().value(u"TimeStamp"_s).toString(), gpsTime ? u"09:26:53.50"_s : QString());
    }

    void readsResolutionGpsAndIptc()
    {
        skipUnlessMade(u"tagged.jpg"_s);
        const QVariantMap props = propertiesOfFile(file(u"tagged.jpg"_s));
        const QVariantMap gps = props.value(u"{GPS}"_s).toMap(), iptc = props.value(u"{IPTC}"_s).toMap(),
                          jfif = props.value(u"{JFIF}"_s).toMap();
        const auto number = [](const QVariant &v) { return QString::number(v.toDouble(), 'f', 4); };
        const QStringList said{number(props[u"DPIWidth"_s]), number(props[u"DPIHeight"_s]),
                               number(gps[u"Latitude"_s]) + gps[u"LatitudeRef"_s].toString(),
                               number(gps[u"Longitude"_s]) + gps[u"LongitudeRef"_s].toString(),
                               number(gps[u"Altitude"_s]) + u" ref "_s + number(gps[u"AltitudeRef"_s]),
                               iptc[u"Keywords"_s].toStringList().join(u'+'), iptc[u"Caption/Abstract"_s].toString(),
                               iptc[u"By-line"_s].toStringList().join(u'+'),
                               number(jfif[u"JFIFVersion"_s].toList().size()) + u" unit "_s + number(jfif[u"DensityUnit"_s]),
                               number(jfif[u"XDensity"_s]) + u'x' + number(jfif[u"YDensity"_s])};
        QCOMPARE(said, (QStringList{u"300.0000"_s, u"300.0000"_s, u"48.8584N"_s, u"2.2945W"_s, u"35.5000 ref 0.0000"_s,
                                    u"tower+Paris"_s, u"Under the tower"_s, u"A. Photographer"_s,
                                    u"2.0000 unit 2.0000"_s, u"118.0000x59.0000"_s}));
    }

    void survivesDamage_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("partial"); // may keep the pixel size its intact header states
        const QByteArray jpeg = contents(file(u"camera.jpg"_s));
        QByteArray png = contents(file(u"photo.png"_s));
        png.replace(16, 4, QByteArray(4, '\0')); // width 0
        png[25] = 5;                             // no such colour type
        quint32 words[1024];
        QRandomGenerator(20230714).fillRange(words);
        QByteArray noise(reinterpret_cast<const char *>(words), sizeof words);
        noise.replace(4, 4, "ftyp"); // enough to look like an ISO box to a sniffer
        QTest::newRow("text named .jpg gives nothing") << u"text.jpg"_s << QByteArray("not a picture\n") << false;
        QTest::newRow("a JPEG cut in half keeps what its header says") << u"half.jpg"_s << jpeg.first(jpeg.size() / 2)
                                                                       << true;
        QTest::newRow("a JPEG cut inside its Exif segment keeps nothing false") << u"cut.jpg"_s << jpeg.first(200) << true;
        QTest::newRow("an empty file gives nothing") << u"empty.png"_s << QByteArray() << false;
        QTest::newRow("random bytes named .heic give nothing") << u"noise.heic"_s << noise << false;
        QTest::newRow("a PNG with an impossible IHDR gives nothing") << u"bad.png"_s << png << false;
    }

    void survivesDamage()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, partial);
        QVERIFY(writeWholeFile(file(name), bytes)); // named apart from the pictures made up front
        // Damage is no fault of the user's: no warning, and nothing a library prints on stderr.
        QTest::failOnWarning(QRegularExpression(u"."_s));
        std::fflush(stderr);
        FILE *capture = std::tmpfile();
        const int saved = ::dup(2);
        ::dup2(::fileno(capture), 2);
        const QVariantMap props = propertiesOfFile(file(name));
        std::fflush(stderr);
        ::dup2(saved, 2);
        ::close(saved);
        std::rewind(capture);
        char said[4096] = {};
        const size_t n = std::fread(said, 1, sizeof said - 1, capture);
        std::fclose(capture);
        QVERIFY2(n == 0, said);
        if (!partial) {
            QVERIFY2(props.isEmpty(), qPrintable(QStringList(props.keys()).join(u", "_s)));
        } else if (props.contains(u"PixelWidth"_s)) { // stored turned: 320x240 upright, orientation 6
            QCOMPARE(QSize(props[u"PixelWidth"_s].toInt(), props[u"PixelHeight"_s].toInt()), QSize(240, 320));
        }
    }

    // The content decides the reader, and a hint changes nothing; a camera's RAW suffix or type
    // sends a TIFF-shaped file to the RAW reader, which states no pixel format of its own (the
    // RAW's first IFD is often a small preview's). A copy under a name that is not UTF-8, or
    // with padding between a JPEG's segments, reads as its source does.
    void readsAsItsSource_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QByteArray>("name"); // of the copy, in the file system's bytes
        QTest::addColumn<QByteArray>("padding"); // put in right after a JPEG's SOI
        QTest::addColumn<QString>("hint");
        QTest::addColumn<bool>("asRaw");
        QTest::addColumn<QByteArray>("brand"); // in place of an ISO file's brands but the first compatible one
        QTest::addColumn<QByteArray>("magic"); // in place of a TIFF's "*\0"
        const auto row = [](const char *tag, const char *source, const QByteArray &name, const char *hint, bool raw = false,
                            const QByteArray &padding = {}, const QByteArray &brand = {}, const QByteArray &magic = {}) {
            QTest::newRow(tag) << QString::fromLatin1(source) << name << padding << QString::fromLatin1(hint) << raw << brand
                               << magic;
        };
        row("a PNG named .jpg, hinted as PNG", "photo.png", "png.jpg", "public.png");
        row("a PNG named .jpg, wrongly hinted as JPEG", "photo.png", "png.jpg", "public.jpeg");
        row("a TIFF hinted as TIFF", "photo.tiff", "copy.tiff", "public.tiff");
        row("a WebP hinted as HEIC", "photo.webp", "copy.webp", "public.heic");
        row("a TIFF named .bin", "photo.tiff", "tiff.bin", "");
        row("a TIFF named .DNG", "photo.tiff", "tiff.DNG", "", true);
        row("a TIFF named .nef, hinted as TIFF", "photo.tiff", "tiff.nef", "public.tiff", true);
        row("a TIFF hinted as a RAW", "photo.tiff", "tiff.data", "com.nikon.raw-image", true);
        // Olympus's own TIFF signatures, known only by the hint when the name says nothing.
        row("an Olympus RAW (IIRO) hinted as a RAW", "photo.tiff", "orf.data", "com.olympus.raw-image", true, {}, {}, "RO");
        row("an Olympus RAW (IIRS) hinted as a RAW", "photo.tiff", "ors.data", "com.olympus.raw-image", true, {}, {}, "RS");
        row("a PNG named .dng", "photo.png", "png.dng", "");
        row("a JPEG hinted as a RAW", "camera.jpg", "jpeg.data", "com.canon.raw-image");
        row("a JPEG whose name is not UTF-8", "camera.jpg", "caf\xe9-\xff.jpg", "");
        // Fill bytes and markers without a length are padding, not blocks, and a budget of
        // blocks must not end the walk before the frame header.
        row("a JPEG after 5000 fill bytes", "camera.jpg", "padded.jpg", "", false, QByteArray(5000, '\xff'));
        row("a JPEG after 5000 TEM markers", "camera.jpg", "padded.jpg", "", false, QByteArray("\xff\x01", 2).repeated(5000));
        QByteArray restarts;
        for (int i = 0; i < 3000; ++i)
            restarts += QByteArray("\xff\xff\xff", 3) + char(0xd0 + i % 8);
        row("a JPEG after 3000 restart markers behind fill bytes", "camera.jpg", "padded.jpg", "", false, restarts);
        // Known by the first of its compatible brands alone, behind the minor version.
        row("a HEIC known by its first compatible brand, named .bin", "photo.heic", "heic.bin", "", false, {}, "zzzz");
    }

    void readsAsItsSource()
    {
        QFETCH(QString, source);
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, padding);
        QFETCH(QString, hint);
        QFETCH(bool, asRaw);
        QFETCH(QByteArray, brand);
        QFETCH(QByteArray, magic);
        if (source.endsWith(u".heic"_s))
            skipUnlessMade(source);
        const QByteArray path = QFile::encodeName(m_dir.path()) + '/' + name;
        QFile copy;
        QVERIFY(copy.open(std::fopen(path.constData(), "wb"), QIODevice::WriteOnly, QFileDevice::AutoCloseHandle));
        QByteArray bytes = contents(file(source)).insert(2, padding);
        if (!magic.isEmpty())
            bytes.replace(2, 2, magic);
        if (!brand.isEmpty()) {
            bytes.replace(8, 4, brand);
            for (qsizetype at = 20; at + 4 <= qsizetype(qFromBigEndian<quint32>(bytes.constData())); at += 4)
                bytes.replace(at, 4, brand);
        }
        QVERIFY(copy.write(bytes) > 0);
        copy.close();
        const QVariantMap props = propertiesOfFile(path, hint);
        QCOMPARE(::unlink(path.constData()), 0); // QTemporaryDir can't remove what QString can't name
        const QVariantMap original = propertiesOfFile(file(source));
        QVERIFY(original.contains(u"PixelWidth"_s) && original.contains(u"{TIFF}"_s));
        if (!asRaw)
            QCOMPARE(props, original);
        QCOMPARE(props.value(u"PixelWidth"_s), original.value(u"PixelWidth"_s));
        QCOMPARE(props.value(u"{TIFF}"_s), original.value(u"{TIFF}"_s));
        QCOMPARE(props.contains(u"Depth"_s), !asRaw);
        QCOMPARE(props.contains(u"ColorModel"_s), !asRaw);
    }

    // A TIFF's colour model and alpha come from its photometric interpretation and its
    // samples: a sample more than the model's colours is alpha, stated or not. Either byte order
    // is a TIFF; a RAW's type sends it to the RAW reader, which states no pixel format.
    void readsTiffPixelFormats_data()
    {
        QTest::addColumn<int>("photometric");
        QTest::addColumn<int>("samples");
        QTest::addColumn<bool>("extraSamples");
        QTest::addColumn<QString>("model"); // empty: none stated, as a RAW
        QTest::addColumn<bool>("alpha");
        QTest::addColumn<bool>("bigEndian");
        QTest::addColumn<QString>("hint");
        const auto row = [](const char *tag, int photometric, int samples, bool extra, const QString &model, bool alpha,
                            bool bigEndian = false, const QString &hint = {}) {
            QTest::newRow(tag) << photometric << samples << extra << model << alpha << bigEndian << hint;
        };
        row("white is zero", 0, 1, false, u"Gray"_s, false);
        row("white is zero, and alpha", 0, 2, false, u"Gray"_s, true);
        row("black is zero", 1, 1, false, u"Gray"_s, false);
        row("black is zero, and alpha", 1, 2, false, u"Gray"_s, true);
        row("RGB", 2, 3, false, u"RGB"_s, false);
        row("RGB and a fourth sample", 2, 4, false, u"RGB"_s, true);
        row("RGB and stated extra samples", 2, 3, true, u"RGB"_s, true);
        row("a palette", 3, 1, false, u"RGB"_s, false);
        row("a palette and alpha", 3, 2, false, u"RGB"_s, true);
        row("CMYK", 5, 4, false, u"CMYK"_s, false);
        row("CMYK and alpha", 5, 5, false, u"CMYK"_s, true);
        row("CIE Lab", 8, 3, false, u"Lab"_s, false);
        row("big-endian RGB", 2, 3, false, u"RGB"_s, false, true);
        row("big-endian, hinted as a RAW", 2, 3, false, QString(), false, true, u"com.nikon.raw-image"_s);
    }

    void readsTiffPixelFormats()
    {
        QFETCH(int, photometric);
        QFETCH(int, samples);
        QFETCH(bool, extraSamples);
        QFETCH(QString, model);
        QFETCH(bool, alpha);
        QFETCH(bool, bigEndian);
        QFETCH(QString, hint);
        Tiff t;
        t.bigEndian = bigEndian;
        t.ifd0 = {t.shorts(0x0100, {4}), t.shorts(0x0101, {2}), t.shorts(0x0102, QList<qint64>(samples, 8)),
                  t.shorts(0x0106, {photometric}), t.longs(0x0111, {8}), t.shorts(0x0115, {samples}),
                  t.longs(0x0117, {8 * samples})};
        if (extraSamples)
            t.ifd0.append(t.shorts(0x0152, {2}));
        const QString name = file(u"format.tif"_s);
        QVERIFY(writeWholeFile(name, t.block() + QByteArray(8 * samples, '\x40')));
        const QVariantMap props = propertiesOfFile(name, hint);
        QCOMPARE(props.value(u"PixelWidth"_s).toInt(), 4);
        QCOMPARE(props.value(u"Depth"_s).toInt(), model.isEmpty() ? 0 : 8);
        QCOMPARE(props.value(u"ColorModel"_s).toString(), model);
        QCOMPARE(props.value(u"HasAlpha"_s).toBool(), alpha);
    }

    // Compressed PNG texts and profiles are inflated under a cap per chunk and a total per file;
    // a chunk past either is left out, with one warning, and the rest of the file still read.
    void capsInflation_data()
    {
        QTest::addColumn<QList<QByteArray>>("chunks");
        QTest::addColumn<QStringList>("texts");   // the {PNG} texts expected
        QTest::addColumn<QString>("profile");     // the profile name expected
        QTest::addColumn<bool>("exif");           // whether an {Exif} group is expected
        QTest::addColumn<bool>("warned");

        // Right at the edges: 4 MiB a chunk, 16 MiB a file.
        const QByteArray big((4 << 20) + 1 - 13, ' '); // after "spaces follow": one byte past the cap
        const QByteArray part = QByteArray((4 << 20) - 3, 'x') + "end";
        const QByteArray compressedFlag("\0\x01\0\0\0", 5);         // NUL, compressed, deflate, no language, no translation
        QTest::newRow("a small zTXt comment is read")
                << QList<QByteArray>{zText("Comment", "a small comment")} << QStringList{u"Comment"_s} << QString() << false << false;
        QTest::newRow("a plain title of one character is read")
                << QList<QByteArray>{chunk("tEXt", QByteArray("Title\0X", 7))} << QStringList{u"Title"_s} << QString() << false
                << false;
        QTest::newRow("a zTXt comment that inflates to one byte past 4 MiB is left out")
                << QList<QByteArray>{zText("Comment", "spaces follow" + big)} << QStringList() << QString() << false << true;
        QTest::newRow("so is a compressed iTXt comment")
                << QList<QByteArray>{chunk("iTXt", "Comment" + compressedFlag + deflated("spaces follow" + big))}
                << QStringList() << QString() << false << true;
        QTest::newRow("a small iCCP profile is read")
                << QList<QByteArray>{chunk("iCCP", QByteArray("icc\0\0", 5) + deflated(iccProfile("Small", 0)))}
                << QStringList() << u"Small"_s << false << false;
        QTest::newRow("so is one whose name is multilingual")
                << QList<QByteArray>{chunk("iCCP", QByteArray("icc\0\0", 5) + deflated(iccProfile("Wide", 0, true)))}
                << QStringList() << u"Wide"_s << false << false;
        QTest::newRow("a description of another type is no name, however it is laid out")
                << QList<QByteArray>{chunk("iCCP", QByteArray("icc\0\0", 5) + deflated(iccProfile("Odd", 0, true, "text")))}
                << QStringList() << QString() << false << false;
        QTest::newRow("an iCCP profile that inflates to one byte past 4 MiB is left out")
                << QList<QByteArray>{chunk("iCCP", QByteArray("icc\0\0", 5) + deflated(iccProfile("Huge", (4 << 20) + 1)))}
                << QStringList() << QString() << false << true;
        QTest::newRow("a stream that never ends is left out, quietly")
                << QList<QByteArray>{zText("Comment", "cut"), chunk("zTXt", QByteArray("Title\0\0", 7) + deflated(big).first(200))}
                << QStringList{u"Comment"_s} << QString() << false << false;
        QTest::newRow("chunks of exactly the cap stop at the file's total")
                << QList<QByteArray>{zText("Title", part), zText("Author", part), zText("Description", part),
                                     zText("Copyright", part), zText("Software", "small")}
                << QStringList{u"Author"_s, u"Copyright"_s, u"Description"_s, u"Title"_s} << QString() << false << true;

        // exiv2's own way to keep EXIF in a PNG, here with megabytes of hex digits after the
        // stated length.
        const QByteArray tiff = exifOf(contents(file(u"camera.jpg"_s)));
        const QByteArray profile = "\nexif\n" + QByteArray::number(tiff.size()) + "\n" + tiff.toHex() + "\n";
        QTest::newRow("EXIF as a raw profile is read")
                << QList<QByteArray>{zText("Raw profile type exif", profile)} << QStringList() << QString() << true << false;
        QTest::newRow("a raw profile that inflates to 5 MiB is left out")
                << QList<QByteArray>{zText("Raw profile type exif", profile + QByteArray(5 << 20, '0'))}
                << QStringList() << QString() << false << true;
    }

    void capsInflation()
    {
        QFETCH(QList<QByteArray>, chunks);
        QFETCH(QStringList, texts);
        QFETCH(QString, profile);
        QFETCH(bool, exif);
        QFETCH(bool, warned);
        const QString name = file(u"inflate-%1.png"_s.arg(QString::fromUtf8(QTest::currentDataTag())).replace(u' ', u'-'));
        QVERIFY(writeWholeFile(name, withChunks(plainPng(), chunks)));
        if (warned)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QRegularExpression::escape(name) + u".*inflates past"_s));
        const QVariantMap props = propertiesOfFile(name);
        QCOMPARE(props.value(u"PixelWidth"_s).toInt(), 40); // the picture itself is still read
        QStringList found = props.value(u"{PNG}"_s).toMap().keys();
        found.removeIf([](const QString &key) { return !key.front().isUpper() || key.contains(u"PixelsPerMeter"_s)
                                                       || key == u"InterlaceType"_s || key == u"Gamma"_s; });
        QCOMPARE(found, texts);
        QCOMPARE(props.value(u"ProfileName"_s).toString(), profile);
        QCOMPARE(props.contains(u"{Exif}"_s), exif);
    }

    // Files that have sent exiv2's video parsers into a loop or a huge allocation, declared
    // sizes no file holds, 8 GiB files of holes with or without a real header in front, and
    // named pipes: each answers at once, within a bounded address space, without walking the
    // holes; a pipe is never opened in a way that waits for a writer, and is refused with one
    // warning naming it.
    void boundsHostileShapes_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("sparse"); // followed by holes up to 8 GiB; with no bytes either, a named pipe
        QTest::addColumn<QByteArray>("keys");

        QByteArray movie = QByteArray("\0\0\0\x18" "ftyp" "qt  ", 12).leftJustified(24, '\0');
        movie += QByteArray("\xff\xff\xff\xfe" "mvhd", 8) + QByteArray(56, '\0');
        const QByteArray nothing("nothing");
        for (const char *suffix : {"jpg", "webp", "dng", "heic"})
            QTest::addRow("a QuickTime atom of size 0xfffffffe named .%s", suffix) << u"movie."_s + QLatin1String(suffix)
                                                                                  << movie << false << nothing;
        QByteArray claim = chunk("tEXt", "Comment\0x");
        qToBigEndian<quint32>(0x7ffffff0u, claim.data());
        QTest::newRow("a PNG text chunk declaring 2 GiB")
                << u"claim.png"_s << withChunks(plainPng(), {claim}) << false << "ColorModel,Depth,HasAlpha,PixelHeight,PixelWidth,{PNG} 40x30"_ba;
        QByteArray header(13, '\0'); // 70000x50000, 8-bit RGB: sizes past 16 bits, and no pixels
        qToBigEndian<quint32>(70000, header.data());
        qToBigEndian<quint32>(50000, header.data() + 4);
        header[8] = 8;
        header[9] = 2;
        QTest::newRow("a PNG stating 70000x50000") << u"wide.png"_s << plainPng().first(8) + chunk("IHDR", header) + chunk("IEND", {})
                                                   << false << "ColorModel,Depth,HasAlpha,PixelHeight,PixelWidth,{PNG} 70000x50000"_ba;
        QByteArray webp = contents(file(u"photo.webp"_s));
        webp.insert(12, QByteArray("EXIF\xf0\xff\xff\x7f", 8) + QByteArray(64, '\0'));
        qToLittleEndian<quint32>(quint32(webp.size() - 8), webp.data() + 4);
        QTest::newRow("a WebP EXIF chunk declaring 2 GiB") << u"claim.webp"_s << webp << false << nothing;
        QTest::newRow("an OS/2 BMP ending after its 12-byte header") << u"os2.bmp"_s
                << bmp(26, {{2, 26}, {10, 26}, {14, 12}, {18, 3 | 2 << 16}, {22, 1 | 24 << 16}}) << false << "PixelHeight,PixelWidth 3x2"_ba;
        for (const char *suffix : {"jpg", "png", "tif", "dng", "heic", "webp"})
            QTest::addRow("only holes, named .%s", suffix) << u"holes."_s + QLatin1String(suffix) << QByteArray() << true << nothing;
        for (const char *suffix : {"jpg", "dng", "heic"})
            QTest::addRow("a named pipe called .%s", suffix) << u"pipe."_s + QLatin1String(suffix) << QByteArray() << false << nothing;
        for (const QString &header : {u"camera.jpg"_s, u"photo.png"_s, u"photo.webp"_s, u"photo.orf"_s})
            QTest::addRow("%s followed by holes", qPrintable(header)) << u"big-"_s + header << contents(file(header)) << true
                                                                     << keysOf(propertiesOfFile(file(header)));
    }

    void boundsHostileShapes()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(bool, sparse);
        QFETCH(QByteArray, keys);
        const bool pipe = bytes.isEmpty() && !sparse;
        QVERIFY(pipe ? ::mkfifo(QFile::encodeName(file(name)).constData(), 0600) == 0 : writeWholeFile(file(name), bytes));
        if (sparse && !QFile(file(name)).resize(qint64(8) << 30))
            QSKIP("the temporary folder's file system holds no 8 GiB sparse file");
        QCOMPARE(inBoundedChild([&] { return keysOf(propertiesOfFile(file(name))); }), keys);
        if (pipe) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QRegularExpression::escape(file(name)) + u".*named pipe"_s));
            QVERIFY(propertiesOfFile(file(name)).isEmpty());
        }
        QFile::remove(file(name));
    }

    // A PNG's chunks are looked for no further than 256 MiB into it: a text chunk starting just
    // inside is read, one right at the limit is not; the holes before it are never walked.
    void scansNoFurtherThanItsLimit_data()
    {
        QTest::addColumn<qint64>("at"); // where the text chunk starts
        QTest::addColumn<bool>("read");
        QTest::newRow("a byte inside 256 MiB") << (qint64(256) << 20) - 1 << true;
        QTest::newRow("at 256 MiB") << (qint64(256) << 20) << false;
    }

    void scansNoFurtherThanItsLimit()
    {
        QFETCH(qint64, at);
        QFETCH(bool, read);
        const QByteArray png = plainPng();
        QByteArray skipped = chunk("tqKt", {}); // an ancillary chunk of holes up to the text
        qToBigEndian<quint32>(quint32(at - 33 - 12), skipped.data());
        QFile far(file(u"far.png"_s));
        QVERIFY(far.open(QIODevice::WriteOnly | QIODevice::Truncate) && far.write(png.first(33) + skipped.first(8)) == 41);
        QVERIFY(far.seek(at) && far.write(chunk("tEXt", QByteArray("Comment\0far", 11)) + png.mid(33)) > 0);
        far.close();
        const QVariantMap props = propertiesOfFile(far.fileName());
        QCOMPARE(props.value(u"PixelWidth"_s).toInt(), 40);
        QCOMPARE(props.value(u"{PNG}"_s).toMap().contains(u"Comment"_s), read);
        QVERIFY(far.remove());
    }

    // Floating EXIF values with no integer value (infinity, NaN, 1e300) give no text, and
    // the reader's own conversions never cast them.
    void floatingExifHasNoText_data()
    {
        QTest::addColumn<int>("tag"); // FocalLength and ISO in the EXIF IFD, Orientation in IFD0
        QTest::addColumn<bool>("isDouble");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        constexpr double inf = std::numeric_limits<double>::infinity();
        const int focal = 0x920a, iso = 0x8827;
        QTest::newRow("a FLOAT focal length of 35.5") << focal << false << 35.5 << u"35mm"_s;
        QTest::newRow("a FLOAT focal length of infinity") << focal << false << inf << QString();
        QTest::newRow("a FLOAT focal length of NaN") << focal << false << std::nan("") << QString();
        QTest::newRow("a DOUBLE focal length of 1e300") << focal << true << 1e300 << QString();
        QTest::newRow("a DOUBLE focal length of -infinity") << focal << true << -inf << QString();
        QTest::newRow("a FLOAT ISO of infinity") << iso << false << inf << QString();
        QTest::newRow("a DOUBLE ISO of 1e300") << iso << true << 1e300 << QString();
        QTest::newRow("a DOUBLE ISO of 6400") << iso << true << 6400.0 << u"ISO 6400"_s;
        QTest::newRow("a DOUBLE orientation of 1e300") << 0x0112 << true << 1e300 << u"1"_s;
    }

    void floatingExifHasNoText()
    {
        QFETCH(int, tag);
        QFETCH(bool, isDouble);
        QFETCH(double, value);
        QFETCH(QString, text);
        Tiff t;
        const Tag number = isDouble ? t.numbers(quint16(tag), 12, 8, {qint64(std::bit_cast<quint64>(value))}, 1)
                                    : t.numbers(quint16(tag), 11, 4, {std::bit_cast<quint32>(float(value))}, 1);
        (tag == 0x0112 ? t.ifd0 : t.exif) = {number};
        const QString name = file(u"float.jpg"_s);
        QVERIFY(writeWholeFile(name, withExif(contents(file(u"plain.jpg"_s)), t.block())));
        const QVariantMap props = propertiesOfFile(name);
        QCOMPARE(props.value(u"PixelWidth"_s).toInt(), 64);
        QCOMPARE(tag == 0x920a ? TQImageMetadata::focalLength(props).text
                 : tag == 0x8827 ? TQImageMetadata::iso(props).text : QString::number(TQImageMetadata::orientation(props)),
                 text);
    }
};

QTEST_GUILESS_MAIN(tst_ImageProperties)
#include "tst_imageproperties.moc"
