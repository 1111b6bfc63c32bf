#include "TQImageProperties.h"
#include "TQSampleData.h"

#include <QColorSpace>
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

#include <libheif/heif.h>

#include <cstdio>
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

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// The TIFF structure of a JPEG's Exif segment, to be carried into a HEIF file.
QByteArray exifOfJpeg(const QByteArray &jpeg)
{
    const qsizetype at = jpeg.indexOf(QByteArrayView("Exif\0\0", 6));
    if (at < 4)
        return {};
    const int length = uchar(jpeg.at(at - 2)) << 8 | uchar(jpeg.at(at - 1));
    return jpeg.mid(at + 6, length - 8);
}

// An empty string when written, else why not.
QString writeHeif(const QString &path, QSize size, const QByteArray &exif)
{
    heif_context *context = heif_context_alloc();
    heif_encoder *encoder = nullptr;
    if (heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code != heif_error_Ok) {
        heif_context_free(context);
        return u"libheif has no HEVC encoder here"_s;
    }
    heif_image *image = nullptr;
    heif_image_create(size.width(), size.height(), heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image);
    heif_image_add_plane(image, heif_channel_interleaved, size.width(), size.height(), 8);
    int stride = 0;
    uint8_t *pixels = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    for (int y = 0; y < size.height(); ++y)
        std::fill_n(pixels + y * stride, size.width() * 3, uint8_t(0x80));
    heif_image_handle *handle = nullptr;
    QString why;
    if (heif_context_encode_image(context, image, encoder, nullptr, &handle).code != heif_error_Ok)
        why = u"libheif could not encode"_s;
    else if (heif_context_add_exif_metadata(context, handle, exif.constData(), int(exif.size())).code != heif_error_Ok)
        why = u"libheif could not add EXIF"_s;
    else if (heif_context_write_to_file(context, QFile::encodeName(path).constData()).code != heif_error_Ok)
        why = u"libheif could not write"_s;
    if (handle)
        heif_image_handle_release(handle);
    heif_image_release(image);
    heif_encoder_release(encoder);
    heif_context_free(context);
    return why;
}

// Anything above debug level from the library, or anything on stderr, is a fault.
QStringList loudMessages;
void recordLoud(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        loudMessages.append(message);
}

QVariantMap quietly(const QString &path, const QString &hint, QByteArray *stderrText)
{
    std::fflush(stderr);
    FILE *capture = std::tmpfile();
    const int saved = ::dup(2);
    ::dup2(::fileno(capture), 2);
    const QtMessageHandler previous = qInstallMessageHandler(recordLoud);
    const QVariantMap props = propertiesOfFile(path, hint);
    qInstallMessageHandler(previous);
    std::fflush(stderr);
    ::dup2(saved, 2);
    ::close(saved);
    std::rewind(capture);
    char buffer[4096];
    const size_t n = std::fread(buffer, 1, sizeof buffer, capture);
    std::fclose(capture);
    *stderrText = QByteArray(buffer, qsizetype(n));
    return props;
}

} // namespace

class tst_ImageProperties : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void agreesWithExiftool_data();
    void agreesWithExiftool();
    void describesPixels_data();
    void describesPixels();
    void readsGpsAndIptc();
    void survivesDamage_data();
    void survivesDamage();
    void hintChangesNothing_data();
    void hintChangesNothing();

private:
    QString file(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
    QString m_heifProblem;
    QHash<QString, QJsonObject> m_exiftool;
};

void tst_ImageProperties::initTestCase()
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

    QImage bitmap(33, 21, QImage::Format_RGB32);
    bitmap.fill(Qt::blue);
    QVERIFY(bitmap.save(file(u"photo.bmp"_s), "BMP"));
    // Qt writes no GIF: a 57x31 screen holding one 1x1 frame, spelled out from the format.
    QByteArray gif("GIF89a");
    gif += QByteArray("\x39\x00\x1f\x00", 4);        // logical screen 57 x 31
    gif += QByteArray("\x80\x00\x00", 3);              // global colour table of 2 entries
    gif += QByteArray("\xff\xff\xff\x00\x00\x00", 6); // white, black
    gif += QByteArray("\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00", 10); // one 1x1 frame
    gif += QByteArray("\x02\x02\x44\x01\x00\x3b", 6); // its LZW data, then the trailer
    QFile gifFile(file(u"frame.gif"_s));
    QVERIFY(gifFile.open(QIODevice::WriteOnly) && gifFile.write(gif) == gif.size());
    gifFile.close();

    m_heifProblem = writeHeif(file(u"photo.heic"_s), {128, 96}, exifOfJpeg(contents(file(u"camera.jpg"_s))));

    if (Exiftool.isEmpty())
        return;
    QVERIFY(QFile::copy(file(u"plain.jpg"_s), file(u"tagged.jpg"_s)));
    QProcess tag;
    tag.start(Exiftool, {u"-q"_s, u"-overwrite_original"_s, u"-GPSLatitude=48.8584"_s, u"-GPSLatitudeRef=N"_s,
                         u"-GPSLongitude=2.2945"_s, u"-GPSLongitudeRef=W"_s, u"-GPSAltitude=35.5"_s,
                         u"-GPSAltitudeRef=0"_s, u"-IPTC:Keywords=tower"_s, u"-IPTC:Keywords=Paris"_s,
                         u"-IPTC:Caption-Abstract=Under the tower "_s, u"-IPTC:By-line=A. Photographer"_s,
                         u"-XResolution=300"_s, u"-YResolution=300"_s, u"-ResolutionUnit=inches"_s,
                         file(u"tagged.jpg"_s)});
    QVERIFY(tag.waitForFinished(60000));
    QCOMPARE(tag.exitCode(), 0);

    QStringList all;
    for (const QString &name : QDir(m_dir.path()).entryList(QDir::Files))
        all.append(file(name));
    QProcess p;
    p.start(Exiftool, QStringList{u"-j"_s, u"-n"_s} + all);
    QVERIFY(p.waitForFinished(120000));
    for (const QJsonValue &v : QJsonDocument::fromJson(p.readAllStandardOutput()).array())
        m_exiftool.insert(v.toObject().value(u"SourceFile"_s).toString(), v.toObject());
}

void tst_ImageProperties::agreesWithExiftool_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("a camera JPEG turned by EXIF orientation 6") << u"camera.jpg"_s;
    QTest::newRow("a JPEG without any EXIF") << u"plain.jpg"_s;
    QTest::newRow("a PNG whose EXIF exiv2 wrote as a raw profile") << u"photo.png"_s;
    QTest::newRow("a TIFF whose EXIF shares IFD0 with the picture") << u"photo.tiff"_s;
    QTest::newRow("a WebP with an EXIF chunk") << u"photo.webp"_s;
    QTest::newRow("a HEIC with the camera JPEG's EXIF") << u"photo.heic"_s;
    QTest::newRow("a PNG with a Display P3 profile and alpha") << u"profiled.png"_s;
    QTest::newRow("a JPEG with a Display P3 profile") << u"profiled.jpg"_s;
    QTest::newRow("a JPEG tagged by exiftool with GPS, IPTC and 300 dpi") << u"tagged.jpg"_s;
    QTest::newRow("a BMP") << u"photo.bmp"_s;
    QTest::newRow("a GIF, sized by its logical screen") << u"frame.gif"_s;
}

void tst_ImageProperties::agreesWithExiftool()
{
    QFETCH(QString, name);
    if (name.endsWith(u".heic"_s) && !m_heifProblem.isEmpty())
        QSKIP(qPrintable(u"no HEIF file could be made: "_s + m_heifProblem));
    if (Exiftool.isEmpty())
        QSKIP("exiftool is not installed");
    const QJsonObject oracle = m_exiftool.value(file(name));
    QVERIFY2(!oracle.isEmpty(), "exiftool said nothing about the file");
    const QVariantMap props = propertiesOfFile(file(name));
    const QVariantMap exif = props.value(u"{Exif}"_s).toMap();
    const QVariantMap tiff = props.value(u"{TIFF}"_s).toMap();
    const QVariantMap jfif = props.value(u"{JFIF}"_s).toMap();
    const QVariant iso = exif.value(u"ISOSpeedRatings"_s).toList().value(0);
    const QVariant resolution = tiff.contains(u"XResolution"_s) ? tiff.value(u"XResolution"_s)
                                                                : jfif.value(u"XDensity"_s);

    const QList<std::pair<QString, QVariant>> pairs{
            {u"ImageWidth"_s, props.value(u"PixelWidth"_s)},
            {u"ImageHeight"_s, props.value(u"PixelHeight"_s)},
            {u"Orientation"_s, props.value(u"Orientation"_s)},
            {u"Make"_s, tiff.value(u"Make"_s)},
            {u"Model"_s, tiff.value(u"Model"_s)},
            {u"ISO"_s, iso},
            {u"ExposureTime"_s, exif.value(u"ExposureTime"_s)},
            {u"FNumber"_s, exif.value(u"FNumber"_s)},
            {u"FocalLength"_s, exif.value(u"FocalLength"_s)},
            {u"DateTimeOriginal"_s, exif.value(u"DateTimeOriginal"_s)},
            {u"LensModel"_s, exif.value(u"LensModel"_s)},
            {u"XResolution"_s, resolution},
            {u"ProfileDescription"_s, props.value(u"ProfileName"_s)},
    };
    for (const auto &[key, ours] : pairs) {
        const QJsonValue theirs = oracle.value(key);
        const QString what = key + u": ours "_s + ours.toString() + u", exiftool's "_s + theirs.toVariant().toString();
        if (key == u"XResolution"_s && !ours.isValid())
            continue; // a PNG's pHYs is PixelsPerUnitX to exiftool and {PNG} to us
        QVERIFY2(theirs.isUndefined() == !ours.isValid(), qPrintable(what));
        if (theirs.isDouble())
            // exiftool prints ten significant digits; a float would be off in the eighth.
            QVERIFY2(qAbs(theirs.toDouble() - ours.toDouble()) < 1e-9 * qMax(1.0, qAbs(theirs.toDouble())), qPrintable(what));
        else if (!theirs.isUndefined())
            QVERIFY2(theirs.toVariant().toString() == ours.toString(), qPrintable(what));
    }
}

void tst_ImageProperties::describesPixels_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("depth");
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("alpha");
    QTest::addColumn<double>("dpi"); // 0: none stated
    QTest::newRow("an opaque camera JPEG is 8-bit RGB") << u"camera.jpg"_s << 8 << u"RGB"_s << false << 0.0;
    QTest::newRow("a TIFF is 8-bit RGB") << u"photo.tiff"_s << 8 << u"RGB"_s << false << 0.0;
    QTest::newRow("a WebP is 8-bit RGB") << u"photo.webp"_s << 8 << u"RGB"_s << false << 0.0;
    QTest::newRow("a translucent PNG has alpha") << u"profiled.png"_s << 8 << u"RGB"_s << true << 0.0;
    QTest::newRow("a HEIC reports its luma depth") << u"photo.heic"_s << 8 << u"RGB"_s << false << 0.0;
    QTest::newRow("EXIF resolution gives the DPI") << u"tagged.jpg"_s << 8 << u"RGB"_s << false << 300.0;
}

void tst_ImageProperties::describesPixels()
{
    QFETCH(QString, name);
    QFETCH(int, depth);
    QFETCH(QString, model);
    QFETCH(bool, alpha);
    QFETCH(double, dpi);
    if (!QFile::exists(file(name)))
        QSKIP(qPrintable(name + u" could not be made here: "_s + m_heifProblem));
    const QVariantMap props = propertiesOfFile(file(name));
    QCOMPARE(props.value(u"Depth"_s).toInt(), depth);
    QCOMPARE(props.value(u"ColorModel"_s).toString(), model);
    QCOMPARE(props.value(u"HasAlpha"_s).toBool(), alpha);
    if (dpi > 0) {
        QCOMPARE(props.value(u"DPIWidth"_s).toDouble(), dpi);
        QCOMPARE(props.value(u"DPIHeight"_s).toDouble(), dpi);
    }
    QCOMPARE(props.value(u"PixelWidth"_s).typeId(), QMetaType::Int);
}

void tst_ImageProperties::readsGpsAndIptc()
{
    if (Exiftool.isEmpty())
        QSKIP("exiftool is not installed, and it writes the GPS and IPTC tags here");
    const QVariantMap props = propertiesOfFile(file(u"tagged.jpg"_s));
    const QVariantMap gps = props.value(u"{GPS}"_s).toMap();
    QVERIFY(qAbs(gps.value(u"Latitude"_s).toDouble() - 48.8584) < 1e-4);
    QVERIFY(qAbs(gps.value(u"Longitude"_s).toDouble() - 2.2945) < 1e-4);
    QCOMPARE(gps.value(u"LatitudeRef"_s).toString(), u"N"_s);
    QCOMPARE(gps.value(u"LongitudeRef"_s).toString(), u"W"_s);
    QCOMPARE(gps.value(u"Altitude"_s).toDouble(), 35.5);
    QCOMPARE(gps.value(u"AltitudeRef"_s).toInt(), 0);
    const QVariantMap iptc = props.value(u"{IPTC}"_s).toMap();
    QCOMPARE(iptc.value(u"Keywords"_s).toStringList(), (QStringList{u"tower"_s, u"Paris"_s}));
    QCOMPARE(iptc.value(u"Caption/Abstract"_s).toString(), u"Under the tower"_s);
    QCOMPARE(iptc.value(u"By-line"_s).toStringList(), QStringList{u"A. Photographer"_s});
    QCOMPARE(props.value(u"{JFIF}"_s).toMap().value(u"JFIFVersion"_s).toList().size(), 2);
}

void tst_ImageProperties::survivesDamage_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("partial"); // may keep the pixel size its intact header states

    const QByteArray jpeg = contents(file(u"camera.jpg"_s));
    QByteArray png = contents(file(u"photo.png"_s));
    png[16] = png[17] = png[18] = png[19] = 0; // width 0
    png[25] = 5;                               // no such colour type
    QByteArray noise(4096, Qt::Uninitialized);
    QRandomGenerator seeded(20230714);
    for (char &c : noise)
        c = char(seeded.bounded(256));
    noise.replace(4, 4, "ftyp"); // enough to look like an ISO box to a sniffer

    QTest::newRow("text named .jpg gives nothing") << u"text.jpg"_s << QByteArray("not a picture\n") << false;
    QTest::newRow("a JPEG cut in half keeps what its header says") << u"half.jpg"_s << jpeg.left(jpeg.size() / 2) << true;
    QTest::newRow("a JPEG cut inside its Exif segment keeps nothing false") << u"cut.jpg"_s << jpeg.left(200) << true;
    QTest::newRow("an empty file gives nothing") << u"empty.png"_s << QByteArray() << false;
    QTest::newRow("random bytes named .heic give nothing") << u"noise.heic"_s << noise << false;
    QTest::newRow("a PNG with an impossible IHDR gives nothing") << u"bad.png"_s << png << false;
}

void tst_ImageProperties::survivesDamage()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QFETCH(bool, partial);
    const QString path = m_dir.filePath(u"damaged/"_s + name);
    QVERIFY(QDir().mkpath(m_dir.filePath(u"damaged"_s)));
    QVERIFY(writeFile(path, bytes));
    loudMessages.clear();
    QByteArray stderrText;
    const QVariantMap props = quietly(path, QString(), &stderrText);
    QVERIFY2(stderrText.isEmpty(), stderrText.constData());
    QVERIFY2(loudMessages.isEmpty(), qPrintable(loudMessages.join(u'\n')));
    if (!partial) {
        QVERIFY2(props.isEmpty(), qPrintable(QStringList(props.keys()).join(u", "_s)));
    } else if (props.contains(u"PixelWidth"_s)) {
        QCOMPARE(props.value(u"PixelWidth"_s).toInt(), 240); // stored turned: 320x240 upright, orientation 6
        QCOMPARE(props.value(u"PixelHeight"_s).toInt(), 320);
    }
}

void tst_ImageProperties::hintChangesNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("hint");
    QTest::newRow("a PNG named .jpg, hinted as PNG") << u"png-named.jpg"_s << u"public.png"_s;
    QTest::newRow("a PNG named .jpg, wrongly hinted as JPEG") << u"png-named.jpg"_s << u"public.jpeg"_s;
    QTest::newRow("a TIFF hinted as TIFF") << u"photo.tiff"_s << u"public.tiff"_s;
    QTest::newRow("a WebP hinted as HEIC") << u"photo.webp"_s << u"public.heic"_s;
}

void tst_ImageProperties::hintChangesNothing()
{
    QFETCH(QString, name);
    QFETCH(QString, hint);
    if (!QFile::exists(file(name)))
        QVERIFY(QFile::copy(file(u"photo.png"_s), file(name)));
    const QVariantMap unhinted = propertiesOfFile(file(name));
    QVERIFY(unhinted.contains(u"PixelWidth"_s));
    QCOMPARE(propertiesOfFile(file(name), hint), unhinted);
}

QTEST_GUILESS_MAIN(tst_ImageProperties)
#include "tst_imageproperties.moc"
