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

// A grey HEIC carrying the TIFF structure of a JPEG's Exif segment; an empty string when
// written, else why not.
QString writeHeif(const QString &path, QSize size, const QByteArray &jpeg)
{
    const qsizetype at = jpeg.indexOf(QByteArrayView("Exif\0\0", 6));
    if (at < 4)
        return u"the JPEG has no Exif segment"_s;
    const QByteArray exif = jpeg.mid(at + 6, (uchar(jpeg.at(at - 2)) << 8 | uchar(jpeg.at(at - 1))) - 8);
    heif_context *context = heif_context_alloc();
    heif_encoder *encoder = nullptr;
    heif_image *image = nullptr;
    heif_image_create(size.width(), size.height(), heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image);
    heif_image_add_plane(image, heif_channel_interleaved, size.width(), size.height(), 8);
    int stride = 0;
    uint8_t *pixels = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    std::fill_n(pixels, stride * size.height(), uint8_t(0x80));
    heif_image_handle *handle = nullptr;
    const bool written =
            heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code == heif_error_Ok
            && heif_context_encode_image(context, image, encoder, nullptr, &handle).code == heif_error_Ok
            && heif_context_add_exif_metadata(context, handle, exif.constData(), int(exif.size())).code == heif_error_Ok
            && heif_context_write_to_file(context, QFile::encodeName(path).constData()).code == heif_error_Ok;
    if (handle)
        heif_image_handle_release(handle);
    heif_image_release(image);
    if (encoder)
        heif_encoder_release(encoder);
    heif_context_free(context);
    return written ? QString() : u"no HEVC encoder, or it could not encode, tag or write"_s;
}

QStringList loudMessages; // logged above debug level while stderr is captured

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
        QVERIFY(QFile::copy(file(u"photo.png"_s), file(u"png-named.jpg"_s)));

        QImage profiled(40, 30, QImage::Format_ARGB32);
        profiled.fill(qRgba(10, 200, 30, 128));
        profiled.setColorSpace(QColorSpace(QColorSpace::DisplayP3));
        QVERIFY(profiled.save(file(u"profiled.png"_s), "PNG"));
        QVERIFY(profiled.convertToFormat(QImage::Format_RGB32).save(file(u"profiled.jpg"_s), "JPEG"));
        QVERIFY(profiled.convertToFormat(QImage::Format_RGB32).copy(0, 0, 33, 21).save(file(u"photo.bmp"_s), "BMP"));
        // Qt writes no GIF: a 57x31 logical screen with a two-colour table, holding one 1x1 frame.
        const QByteArray gif("GIF89a\x39\x00\x1f\x00\x80\x00\x00\xff\xff\xff\x00\x00\x00"
                             "\x2c\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02\x44\x01\x00\x3b", 35);
        QVERIFY(writeFile(file(u"frame.gif"_s), gif));
        m_heifProblem = writeHeif(file(u"photo.heic"_s), {128, 96}, contents(file(u"camera.jpg"_s)));

        if (Exiftool.isEmpty())
            return;
        const QStringList tags{u"-q"_s, u"-GPSLatitude=48.8584"_s, u"-GPSLatitudeRef=N"_s, u"-GPSLongitude=2.2945"_s,
                               u"-GPSLongitudeRef=W"_s, u"-GPSAltitude=35.5"_s, u"-GPSAltitudeRef=0"_s,
                               u"-IPTC:Keywords=tower"_s, u"-IPTC:Keywords=Paris"_s,
                               u"-IPTC:Caption-Abstract=Under the tower "_s, u"-IPTC:By-line=A. Photographer"_s,
                               u"-XResolution=300"_s, u"-YResolution=300"_s,
                               u"-ResolutionUnit=inches"_s, u"-o"_s, file(u"tagged.jpg"_s), file(u"plain.jpg"_s)};
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
        QTest::newRow("a HEIC with the camera JPEG's EXIF") << u"photo.heic"_s << false;
        QTest::newRow("a PNG with a Display P3 profile and alpha") << u"profiled.png"_s << true;
        QTest::newRow("a JPEG with a Display P3 profile") << u"profiled.jpg"_s << false;
        QTest::newRow("a JPEG tagged by exiftool with GPS, IPTC and 300 dpi") << u"tagged.jpg"_s << false;
        QTest::newRow("a BMP") << u"photo.bmp"_s << false;
        QTest::newRow("a GIF, sized by its logical screen") << u"frame.gif"_s << false;
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

    void readsResolutionGpsAndIptc()
    {
        skipUnlessMade(u"tagged.jpg"_s);
        const QVariantMap props = propertiesOfFile(file(u"tagged.jpg"_s));
        QCOMPARE(props.value(u"DPIWidth"_s).toDouble(), 300.0);
        QCOMPARE(props.value(u"DPIHeight"_s).toDouble(), 300.0);
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
        QVERIFY(writeFile(file(name), bytes)); // named apart from the pictures made up front
        std::fflush(stderr);
        FILE *capture = std::tmpfile();
        const int saved = ::dup(2);
        ::dup2(::fileno(capture), 2);
        loudMessages.clear();
        const auto record = [](QtMsgType t, const QMessageLogContext &, const QString &m) {
            if (t != QtDebugMsg && t != QtInfoMsg)
                loudMessages.append(m);
        };
        const QtMessageHandler previous = qInstallMessageHandler(record);
        const QVariantMap props = propertiesOfFile(file(name));
        qInstallMessageHandler(previous);
        std::fflush(stderr);
        ::dup2(saved, 2);
        ::close(saved);
        std::rewind(capture);
        char said[4096] = {};
        const size_t n = std::fread(said, 1, sizeof said - 1, capture);
        std::fclose(capture);
        QVERIFY2(n == 0, said);
        QVERIFY2(loudMessages.isEmpty(), qPrintable(loudMessages.join(u'\n')));
        if (!partial) {
            QVERIFY2(props.isEmpty(), qPrintable(QStringList(props.keys()).join(u", "_s)));
        } else if (props.contains(u"PixelWidth"_s)) { // stored turned: 320x240 upright, orientation 6
            QCOMPARE(QSize(props[u"PixelWidth"_s].toInt(), props[u"PixelHeight"_s].toInt()), QSize(240, 320));
        }
    }

    void hintChangesNothing_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("hint");
        QTest::newRow("a PNG named .jpg, hinted as PNG") << u"png-named.jpg"_s << u"public.png"_s;
        QTest::newRow("a PNG named .jpg, wrongly hinted as JPEG") << u"png-named.jpg"_s << u"public.jpeg"_s;
        QTest::newRow("a TIFF hinted as TIFF") << u"photo.tiff"_s << u"public.tiff"_s;
        QTest::newRow("a WebP hinted as HEIC") << u"photo.webp"_s << u"public.heic"_s;
    }

    void hintChangesNothing()
    {
        QFETCH(QString, name);
        QFETCH(QString, hint);
        const QVariantMap unhinted = propertiesOfFile(file(name));
        QVERIFY(unhinted.contains(u"PixelWidth"_s));
        QCOMPARE(propertiesOfFile(file(name), hint), unhinted);
    }
};

QTEST_GUILESS_MAIN(tst_ImageProperties)
#include "tst_imageproperties.moc"
