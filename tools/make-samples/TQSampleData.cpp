// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQSampleData.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QLoggingCategory>

#include <exiv2/exiv2.hpp>
#include <libheif/heif.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include <unistd.h>

Q_LOGGING_CATEGORY(lcSampleData, "tqkit.sampledata")

using namespace Qt::StringLiterals;

namespace TQSampleData {
namespace {

const QString DateFormat = u"yyyy:MM:dd HH:mm:ss"_s;

// exiv2 reports anything it finds odd on stderr by default, which would bury a test's own
// output; the exceptions it throws carry all we need.
void muteExiv2()
{
    static std::once_flag once;
    std::call_once(once, [] { Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute); });
}

QString qtFormatName(const char *format)
{
    const QString name = QString::fromLatin1(format ? format : "").toLower();
    if (name == u"jpeg" || name == u"jpg")
        return u"jpeg"_s;
    if (name == u"png" || name == u"tiff" || name == u"webp")
        return name;
    return {};
}

// The stored pixel (x, y) of a picture w pixels wide and h high, as it lands on screen once
// the EXIF orientation is applied. Written out case by case rather than composed from
// QTransform so that each one can be checked against the EXIF table by eye.
QPoint uprightPosition(int orientation, int x, int y, int w, int h)
{
    switch (orientation) {
    case 2: return {w - 1 - x, y};
    case 3: return {w - 1 - x, h - 1 - y};
    case 4: return {x, h - 1 - y};
    case 5: return {y, x};
    case 6: return {h - 1 - y, x};
    case 7: return {h - 1 - y, w - 1 - x};
    case 8: return {y, w - 1 - x};
    default: return {x, y};
    }
}

QImage drawStored(QSize upright, int orientation)
{
    QImage shown(upright, QImage::Format_RGB32);
    shown.fill(Background);
    const int bw = upright.width() / 4;
    const int bh = upright.height() / 4;
    for (int y = 0; y < bh; ++y) {
        for (int x = 0; x < bw; ++x) {
            shown.setPixel(x, y, TopLeftMarker);
            shown.setPixel(upright.width() - 1 - x, y, TopRightMarker);
        }
    }
    if (orientation == 1)
        return shown;

    const QSize storedSize = orientation >= 5 ? upright.transposed() : upright;
    QImage stored(storedSize, QImage::Format_RGB32);
    for (int y = 0; y < storedSize.height(); ++y) {
        for (int x = 0; x < storedSize.width(); ++x) {
            const QPoint p = uprightPosition(orientation, x, y, storedSize.width(), storedSize.height());
            stored.setPixel(x, y, shown.pixel(p));
        }
    }
    return stored;
}

// Cameras record exposure as 1/n seconds, so that form is tried first; anything else gets
// the continued-fraction approximation with a small denominator (2.8 -> 14/5).
Exiv2::URational toRational(double value)
{
    if (value > 0.0 && value < 1.0) {
        const double n = std::round(1.0 / value);
        if (std::abs(1.0 / n - value) <= value * 1e-9)
            return {1u, static_cast<uint32_t>(n)};
    }
    long long h0 = 0, h1 = 1, k0 = 1, k1 = 0;
    double x = value;
    for (int i = 0; i < 32; ++i) {
        const double a = std::floor(x);
        const long long h2 = static_cast<long long>(a) * h1 + h0;
        const long long k2 = static_cast<long long>(a) * k1 + k0;
        if (k2 > 10000 || h2 > 0xffffffffLL)
            break;
        h0 = h1; h1 = h2;
        k0 = k1; k1 = k2;
        const double rest = x - a;
        if (rest < 1e-12)
            break;
        x = 1.0 / rest;
    }
    return {static_cast<uint32_t>(h1), static_cast<uint32_t>(k1)};
}

struct ExifValues
{
    int orientation = 0; // 0: not written
    QString make, model, lensModel, software, dateTimeOriginal;
    int iso = 0;
    double exposureTime = 0, fNumber = 0, focalLength = 0;
};

// Strict on purpose: a misspelt key in a test would otherwise just leave a tag out and the
// test would check something other than it thinks.
bool parseExif(const QVariantMap &exif, ExifValues *out, QString *error)
{
    for (auto it = exif.cbegin(); it != exif.cend(); ++it) {
        const QString &key = it.key();
        const QVariant &v = it.value();
        bool ok = true;
        if (key == u"Orientation") {
            out->orientation = v.toInt(&ok);
            ok = ok && out->orientation >= 1 && out->orientation <= 8;
        } else if (key == u"ISO") {
            out->iso = v.toInt(&ok);
            ok = ok && out->iso >= 1 && out->iso <= 65535;
        } else if (key == u"ExposureTime" || key == u"FNumber" || key == u"FocalLength") {
            const double d = v.toDouble(&ok);
            ok = ok && std::isfinite(d) && d > 0.0 && d < 100000.0;
            (key == u"ExposureTime" ? out->exposureTime
                                    : key == u"FNumber" ? out->fNumber : out->focalLength) = d;
        } else if (key == u"DateTimeOriginal") {
            QDateTime when = v.metaType().id() == QMetaType::QDateTime
                    ? v.toDateTime()
                    : QDateTime::fromString(v.toString(), DateFormat);
            ok = when.isValid();
            out->dateTimeOriginal = when.toString(DateFormat);
        } else if (key == u"Make" || key == u"Model" || key == u"LensModel" || key == u"Software") {
            const QString s = v.toString();
            ok = !s.isEmpty();
            (key == u"Make" ? out->make
                            : key == u"Model" ? out->model
                            : key == u"LensModel" ? out->lensModel : out->software) = s;
        } else {
            *error = u"unknown EXIF key \"%1\""_s.arg(key);
            return false;
        }
        if (!ok) {
            *error = u"bad value %1 for EXIF key \"%2\""_s.arg(v.toString(), key);
            return false;
        }
    }
    return true;
}

bool writeExif(const QString &path, const ExifValues &values, QSize stored, QString *error)
{
    muteExiv2();
    try {
        auto image = Exiv2::ImageFactory::open(std::string(QFile::encodeName(path).constData()));
        if (!image.get()) {
            *error = u"exiv2 cannot open %1"_s.arg(path);
            return false;
        }
        // Read first: in a TIFF the picture's own structure lives in the same IFD0 as the
        // EXIF tags, and writing a fresh ExifData would throw it away.
        image->readMetadata();
        Exiv2::ExifData &data = image->exifData();
        const auto ascii = [&data](const char *key, const QString &value) {
            if (!value.isEmpty())
                data[key] = std::string(value.toUtf8().constData());
        };
        if (values.orientation)
            data["Exif.Image.Orientation"] = static_cast<uint16_t>(values.orientation);
        ascii("Exif.Image.Make", values.make);
        ascii("Exif.Image.Model", values.model);
        ascii("Exif.Image.Software", values.software);
        ascii("Exif.Photo.DateTimeOriginal", values.dateTimeOriginal);
        ascii("Exif.Photo.LensModel", values.lensModel);
        if (values.iso)
            data["Exif.Photo.ISOSpeedRatings"] = static_cast<uint16_t>(values.iso);
        if (values.exposureTime > 0)
            data["Exif.Photo.ExposureTime"] = toRational(values.exposureTime);
        if (values.fNumber > 0)
            data["Exif.Photo.FNumber"] = toRational(values.fNumber);
        if (values.focalLength > 0)
            data["Exif.Photo.FocalLength"] = toRational(values.focalLength);
        data["Exif.Photo.PixelXDimension"] = static_cast<uint32_t>(stored.width());
        data["Exif.Photo.PixelYDimension"] = static_cast<uint32_t>(stored.height());
        image->writeMetadata();
    } catch (const Exiv2::AnyError &e) {
        *error = u"exiv2 could not write EXIF into %1: %2"_s.arg(path, QString::fromLocal8Bit(e.what()));
        return false;
    } catch (const std::exception &e) {
        *error = u"exiv2 could not write EXIF into %1: %2"_s.arg(path, QString::fromLocal8Bit(e.what()));
        return false;
    }
    return true;
}

bool writeImageOrFail(const QString &path, const char *format, QSize size, const QVariantMap &exif,
                      QString *error)
{
    const QString qtFormat = qtFormatName(format);
    if (qtFormat.isEmpty()) {
        *error = u"unsupported picture format \"%1\""_s.arg(QString::fromLatin1(format ? format : ""));
        return false;
    }
    // Smaller than 4 pixels a side the corner blocks vanish and orientation can't be seen.
    if (size.width() < 4 || size.height() < 4 || size.width() > 4096 || size.height() > 4096) {
        *error = u"picture size %1x%2 is out of range"_s.arg(size.width()).arg(size.height());
        return false;
    }
    ExifValues values;
    if (!parseExif(exif, &values, error))
        return false;

    const QImage stored = drawStored(size, values.orientation ? values.orientation : 1);
    QImageWriter writer(path, qtFormat.toLatin1());
    if (qtFormat == u"webp")
        writer.setQuality(100); // lossless, so the marker colours survive exactly
    else if (qtFormat == u"jpeg")
        writer.setQuality(90);
    if (!writer.write(stored)) {
        *error = u"cannot write %1 as %2: %3"_s.arg(path, qtFormat.toUpper(), writer.errorString());
        return false;
    }
    if (exif.isEmpty())
        return true;
    return writeExif(path, values, stored.size(), error);
}

// Everything writeSamples() knows about one picture it is about to draw.
struct Picture
{
    const char *format;
    QSize size;
    QVariantMap exif;
};

QVariantMap expectedForPicture(const Picture &picture)
{
    const QString format = qtFormatName(picture.format);
    const int orientation = picture.exif.value(u"Orientation"_s, 1).toInt();
    const QSize stored = orientation >= 5 ? picture.size.transposed() : picture.size;
    QVariantMap e{
        {u"format"_s, format},
        {u"contentMime"_s, u"image/"_s + format},
        {u"width"_s, stored.width()},
        {u"height"_s, stored.height()},
        {u"displayWidth"_s, picture.size.width()},
        {u"displayHeight"_s, picture.size.height()},
        {u"hasExif"_s, !picture.exif.isEmpty()},
    };
    ExifValues v;
    QString ignored;
    parseExif(picture.exif, &v, &ignored);
    if (v.orientation)
        e[u"orientation"_s] = v.orientation;
    const auto text = [&e](const QString &key, const QString &value) {
        if (!value.isEmpty())
            e[key] = value;
    };
    text(u"make"_s, v.make);
    text(u"model"_s, v.model);
    text(u"lensModel"_s, v.lensModel);
    text(u"software"_s, v.software);
    text(u"dateTimeOriginal"_s, v.dateTimeOriginal);
    if (v.iso)
        e[u"iso"_s] = v.iso;
    // The value asked for, not the rational written: every one in the tree is a fraction with a
    // small denominator, so a file that doesn't give it back to within rounding is wrong.
    const auto number = [&e](const QString &key, double value) {
        if (value > 0)
            e[key] = value;
    };
    number(u"exposureTime"_s, v.exposureTime);
    number(u"fNumber"_s, v.fNumber);
    number(u"focalLength"_s, v.focalLength);
    return e;
}

QVariantMap camera(int orientation, const char *make, const char *model, const char *lens,
                   const QVariant &when, int iso, double exposure, double fNumber, double focal)
{
    QVariantMap exif{
        {u"Make"_s, QString::fromUtf8(make)},
        {u"Model"_s, QString::fromUtf8(model)},
        {u"DateTimeOriginal"_s, when},
        {u"ISO"_s, iso},
        {u"ExposureTime"_s, exposure},
        {u"FNumber"_s, fNumber},
        {u"FocalLength"_s, focal},
        {u"Software"_s, u"tqkit-make-samples"_s},
    };
    if (orientation)
        exif[u"Orientation"_s] = orientation;
    if (lens)
        exif[u"LensModel"_s] = QString::fromUtf8(lens);
    return exif;
}

QDateTime localTime(int y, int mo, int d, int h, int mi, int s)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s));
}

QByteArray mp3Bytes()
{
    // ID3v2.4 header with no frames (the size is synchsafe, and zero).
    QByteArray b("ID3\x04\x00\x00\x00\x00\x00\x00", 10);
    // One MPEG-1 Layer III frame, 128 kbit/s at 44.1 kHz, no padding: 417 bytes in all.
    b.append("\xff\xfb\x90\x44", 4);
    b.append(417 - 4, '\0');
    return b;
}

QByteArray flacBytes()
{
    QByteArray b("fLaC", 4);
    // The last (and only) metadata block: STREAMINFO, 34 bytes long.
    b.append("\x80\x00\x00\x22", 4);
    b.append("\x10\x00\x10\x00", 4);     // minimum and maximum block size: 4096
    b.append("\x00\x00\x00\x00\x00\x00", 6); // frame sizes unknown
    // 20 bits sample rate (44100), 3 bits channels - 1 (1), 5 bits bits per sample - 1 (15),
    // 36 bits total samples (0).
    b.append("\x0a\xc4\x42\xf0\x00\x00\x00\x00", 8);
    b.append(16, '\0'); // MD5 of no audio, left unset as encoders may
    return b;
}

QByteArray ftypBytes(const char majorBrand[4], const QByteArrayList &compatible)
{
    QByteArray body(majorBrand, 4);
    body.append("\x00\x00\x02\x00", 4); // minor version
    for (const QByteArray &brand : compatible)
        body.append(brand);
    QByteArray box;
    const quint32 size = 8 + quint32(body.size());
    box.append(char(size >> 24)).append(char(size >> 16)).append(char(size >> 8)).append(char(size));
    box.append("ftyp").append(body);
    return box;
}

QByteArray matroskaBytes()
{
    // DocType goes first: sniffers look for its element ID within the first few dozen bytes.
    const QByteArray elements = QByteArray("\x42\x82\x88", 3) + "matroska"
            + QByteArray("\x42\x87\x81\x04", 4)   // DocTypeVersion 4
            + QByteArray("\x42\x85\x81\x02", 4)   // DocTypeReadVersion 2
            + QByteArray("\x42\x86\x81\x01", 4)   // EBMLVersion 1
            + QByteArray("\x42\xf7\x81\x01", 4)   // EBMLReadVersion 1
            + QByteArray("\x42\xf2\x81\x04", 4)   // EBMLMaxIDLength 4
            + QByteArray("\x42\xf3\x81\x08", 4);  // EBMLMaxSizeLength 8
    return QByteArray("\x1a\x45\xdf\xa3", 4) + char(0x80 | elements.size()) + elements;
}

class TreeWriter
{
public:
    explicit TreeWriter(const QString &root) : m_root(QDir::cleanPath(root)) {}

    QList<Sample> samples;
    QString error;

    bool folder(const QString &rel)
    {
        if (!QDir(m_root).mkpath(rel))
            return fail(u"cannot create the folder %1"_s.arg(abs(rel)));
        samples.append({rel, u"folder"_s, {}});
        return true;
    }

    bool file(const QString &rel, const QString &kind, const QByteArray &bytes, QVariantMap expected,
              bool executable = false)
    {
        const QString path = abs(rel);
        if (!clear(path))
            return false;
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(bytes) != bytes.size()) {
            return fail(u"cannot write %1: %2"_s.arg(path, f.errorString()));
        }
        f.close();
        const QFileDevice::Permissions readWrite = QFileDevice::ReadOwner | QFileDevice::WriteOwner
                | QFileDevice::ReadGroup | QFileDevice::ReadOther;
        const QFileDevice::Permissions exec = QFileDevice::ExeOwner | QFileDevice::ExeGroup
                | QFileDevice::ExeOther;
        // Set both ways, so that a tree written over an older one doesn't keep a stale mode.
        if (!f.setPermissions(executable ? readWrite | exec : readWrite))
            return fail(u"cannot set the permissions of %1"_s.arg(path));
        add(rel, kind, std::move(expected));
        return true;
    }

    bool text(const QString &rel, const QString &kind, const QString &content, QVariantMap expected,
              bool executable = false)
    {
        const QByteArray bytes = content.toUtf8();
        expected.insert(u"lineCount"_s, bytes.count('\n'));
        expected.insert(u"executable"_s, executable);
        if (!expected.contains(u"contentMime"_s))
            expected.insert(u"contentMime"_s, u"text/plain"_s);
        return file(rel, kind, bytes, std::move(expected), executable);
    }

    bool picture(const QString &rel, const QString &kind, const Picture &picture, QVariantMap extra = {})
    {
        const QString path = abs(rel);
        if (!clear(path))
            return false;
        QString why;
        if (!writeImageOrFail(path, picture.format, picture.size, picture.exif, &why))
            return fail(why);
        QVariantMap expected = expectedForPicture(picture);
        expected.insert(extra);
        add(rel, kind, std::move(expected));
        return true;
    }

    bool link(const QString &rel, const QString &target, const QString &resolvesTo, bool loop)
    {
        const QString path = abs(rel);
        if (!clear(path))
            return false;
        if (::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()) != 0)
            return fail(u"cannot create the link %1: %2"_s.arg(path, QString::fromLocal8Bit(std::strerror(errno))));
        samples.append({rel, u"link"_s, {
            {u"target"_s, target},
            {u"resolvesTo"_s, resolvesTo},
            {u"dangling"_s, resolvesTo.isEmpty() && !loop},
            {u"loop"_s, loop},
        }});
        return true;
    }

    // Counted from what was written rather than from the disk, so that a test comparing the
    // two finds entries the list leaves out.
    void countFolderEntries()
    {
        for (Sample &folder : samples) {
            if (folder.kind != u"folder")
                continue;
            const QString prefix = folder.relativePath + u'/';
            qsizetype count = 0;
            for (const Sample &s : std::as_const(samples)) {
                if (s.relativePath.startsWith(prefix) && !s.relativePath.mid(prefix.size()).contains(u'/'))
                    ++count;
            }
            folder.expected.insert(u"entryCount"_s, count);
        }
    }

private:
    QString m_root;

    QString abs(const QString &rel) const { return m_root + u'/' + rel; }

    bool fail(const QString &why)
    {
        error = why;
        return false;
    }

    // Only files and links are replaced; a folder where a file should go means the caller
    // pointed us at something that isn't a sample tree, and it is left alone.
    bool clear(const QString &path)
    {
        const QFileInfo info(path);
        if (!info.isSymLink() && !info.exists())
            return true;
        if (info.isDir() && !info.isSymLink())
            return fail(u"%1 is in the way: it is a folder"_s.arg(path));
        if (!QFile::remove(path))
            return fail(u"cannot replace %1"_s.arg(path));
        return true;
    }

    void add(const QString &rel, const QString &kind, QVariantMap expected)
    {
        expected.insert(u"size"_s, QFileInfo(abs(rel)).size());
        samples.append({rel, kind, std::move(expected)});
    }
};

bool writeTree(TreeWriter &w)
{
    for (const QString &folder : {u"images"_s, u"lying"_s, u"text"_s, u"media"_s, u"hidden"_s,
                                  u"links"_s, u"empty-folder"_s}) {
        if (!w.folder(folder))
            return false;
    }

    // The eight orientations all show as the same 64x48 landscape picture; each comes from a
    // different "camera" so that a mix-up between files shows in every field at once.
    const QSize landscape(64, 48);
    const QSize portrait(48, 64);
    const QVariantMap cameras[8] = {
        camera(1, "Canon", "Canon EOS 5D Mark IV", "EF24-70mm f/2.8L II USM",
               localTime(2019, 6, 15, 14, 3, 22), 100, 1.0 / 4000, 2.8, 50),
        camera(2, "NIKON CORPORATION", "NIKON D850", "24.0-70.0 mm f/2.8",
               u"2020:01:02 08:15:00"_s, 200, 1.0 / 1000, 4, 24),
        camera(3, "SONY", "ILCE-7M3", "FE 85mm F1.8",
               localTime(2018, 12, 31, 23, 59, 59), 400, 1.0 / 250, 5.6, 85),
        camera(4, "FUJIFILM", "X-T4", "XF23mmF1.4 R",
               u"2021:07:04 19:45:10"_s, 800, 1.0 / 60, 8, 23),
        camera(5, "Canon", "Canon EOS R5", nullptr,
               localTime(2022, 2, 28, 6, 30, 0), 1600, 1.0 / 15, 11, 105),
        camera(6, "NIKON CORPORATION", "NIKON Z 6_2", "NIKKOR Z 14-30mm f/4 S",
               u"2017:03:09 12:00:01"_s, 3200, 0.5, 16, 14),
        camera(7, "SONY", "ILCE-7RM4", "FE 35mm F1.4 GM",
               localTime(2023, 10, 1, 22, 10, 5), 6400, 2, 1.4, 35),
        camera(8, "FUJIFILM", "X100V", nullptr,
               u"2016:05:20 17:25:43"_s, 250, 1.0 / 30, 2, 23),
    };
    for (int o = 1; o <= 8; ++o) {
        if (!w.picture(u"images/orientation-%1.jpg"_s.arg(o), u"image"_s,
                       {"JPEG", landscape, cameras[o - 1]}, {{u"nameMime"_s, u"image/jpeg"_s}}))
            return false;
    }
    const struct { QString name; Picture picture; QString nameMime; } others[] = {
        {u"portrait.jpg"_s, {"JPEG", portrait, camera(1, "OLYMPUS CORPORATION", "E-M1MarkIII", nullptr,
                                                       localTime(2015, 8, 8, 9, 9, 9), 320, 0.3, 6.3, 12)},
         u"image/jpeg"_s},
        {u"no-exif.jpg"_s, {"JPEG", landscape, {}}, u"image/jpeg"_s},
        {u"photo.png"_s, {"PNG", landscape, camera(1, "Google", "Pixel 7", nullptr,
                                                   u"2023:04:01 10:11:12"_s, 50, 1.0 / 120, 1.85, 6.81)},
         u"image/png"_s},
        // Orientation 6 in a TIFF lands in the same IFD0 tag that TIFF readers use themselves,
        // so Qt turns it upright. Qt's PNG and WebP readers ignore EXIF orientation, which is
        // why those two stay at 1: anything else would show sideways in every Qt viewer.
        {u"photo.tiff"_s, {"TIFF", landscape, camera(6, "Leica Camera AG", "LEICA Q2", "SUMMILUX 1:1.7/28 ASPH.",
                                                     localTime(2020, 11, 11, 11, 11, 11), 100, 1.0 / 500, 1.7, 28)},
         u"image/tiff"_s},
        {u"photo.webp"_s, {"WEBP", landscape, camera(1, "samsung", "SM-G991B", nullptr,
                                                     u"2021:12:24 18:00:00"_s, 640, 1.0 / 8, 1.8, 5.4)},
         u"image/webp"_s},
    };
    for (const auto &o : others) {
        if (!w.picture(u"images/"_s + o.name, u"image"_s, o.picture, {{u"nameMime"_s, o.nameMime}}))
            return false;
    }

    const Picture plainPng{"PNG", landscape, {}};
    const Picture plainJpeg{"JPEG", landscape, {}};
    if (!w.picture(u"lying/photo.jpg"_s, u"lying"_s, plainPng, {{u"nameMime"_s, u"image/jpeg"_s}})
        || !w.picture(u"lying/picture.png"_s, u"lying"_s, plainJpeg, {{u"nameMime"_s, u"image/png"_s}})
        || !w.picture(u"lying/IMG_0001"_s, u"lying"_s, plainJpeg)
        || !w.text(u"lying/image.jpg"_s, u"lying"_s,
                   u"This is not a picture. It is text that was saved under a .jpg name.\n"_s,
                   {{u"nameMime"_s, u"image/jpeg"_s}})
        || !w.text(u"lying/untitled"_s, u"lying"_s,
                   u"Ein Text ohne Dateiendung \u2013 a text without an extension.\n"_s, {})) {
        return false;
    }

    const struct { QString name; QString content; QString nameMime; QString contentMime; bool executable; } texts[] = {
        {u"notes.txt"_s,
         u"Shopping list for the weekend\n"
         u"- \u00c4pfel, Birnen und Br\u00f6tchen\n"
         u"- cr\u00e8me fra\u00eeche for the caf\u00e9\n"
         u"- \u5bff\u53f8 (sushi)\n"
         u"- \u00bd kg Kaffee \u2615\n"_s,
         u"text/plain"_s, {}, false},
        {u"README.md"_s,
         u"# Sample tree\n\n"
         u"Files that the TQKit tests read. They are *generated*; do not edit them by hand.\n\n"
         u"- `images/`: pictures with EXIF\n"
         u"- `text/`: plain text of several kinds\n"_s,
         u"text/markdown"_s, {}, false},
        {u"main.cpp"_s,
         u"#include <iostream>\n\n"
         u"int main()\n{\n"
         u"    std::cout << \"Hello from the sample tree\\n\";\n"
         u"    return 0;\n}\n"_s,
         // "#include" at the start is what the content sniffer goes by, and it says C.
         u"text/x-c++src"_s, u"text/x-csrc"_s, false},
        {u"script.sh"_s,
         u"#!/bin/sh\n"
         u"# Lists the sample pictures.\n"
         u"set -eu\n"
         u"cd \"$(dirname \"$0\")/../images\"\n"
         u"ls -l -- *.jpg\n"_s,
         u"application/x-shellscript"_s, u"application/x-shellscript"_s, true},
        {u"data.json"_s,
         u"{\n"
         u"  \"name\": \"sample\",\n"
         u"  \"count\": 3,\n"
         u"  \"tags\": [\"red\", \"blue\", \"grey\"],\n"
         u"  \"nested\": {\"ok\": true, \"ratio\": 0.75}\n"
         u"}\n"_s,
         u"application/json"_s, {}, false},
        {u"table.csv"_s,
         u"file,width,height,orientation\n"
         u"orientation-1.jpg,64,48,1\n"
         u"orientation-6.jpg,48,64,6\n"
         u"portrait.jpg,48,64,1\n"_s,
         u"text/csv"_s, {}, false},
        {u"caf\u00e9 menu.txt"_s,
         u"Espresso 2,20 \u20ac\n"
         u"Caf\u00e9 cr\u00e8me 3,40 \u20ac\n"_s,
         u"text/plain"_s, {}, false},
    };
    for (const auto &t : texts) {
        QVariantMap expected{{u"nameMime"_s, t.nameMime}};
        if (!t.contentMime.isEmpty())
            expected.insert(u"contentMime"_s, t.contentMime);
        if (!w.text(u"text/"_s + t.name, u"text"_s, t.content, expected, t.executable))
            return false;
    }

    const QByteArrayList mp4Brands{"isom", "iso2", "mp41"};
    const struct { QString name; QString kind; QByteArray bytes; QString nameMime; QString contentMime; } media[] = {
        {u"song.mp3"_s, u"audio"_s, mp3Bytes(), u"audio/mpeg"_s, u"audio/mpeg"_s},
        {u"track.flac"_s, u"audio"_s, flacBytes(), u"audio/flac"_s, u"audio/flac"_s},
        {u"voice.m4a"_s, u"audio"_s, ftypBytes("M4A ", {"M4A ", "mp42", "isom"}), u"audio/mp4"_s, u"audio/mp4"_s},
        {u"clip.mp4"_s, u"video"_s, ftypBytes("isom", mp4Brands), u"video/mp4"_s, u"video/mp4"_s},
        {u"movie.mkv"_s, u"video"_s, matroskaBytes(), u"video/x-matroska"_s, u"application/x-matroska"_s},
        {u"film.mov"_s, u"video"_s, ftypBytes("qt  ", {"qt  "}), u"video/quicktime"_s, u"video/quicktime"_s},
    };
    for (const auto &m : media) {
        if (!w.file(u"media/"_s + m.name, m.kind, m.bytes,
                    {{u"nameMime"_s, m.nameMime}, {u"contentMime"_s, m.contentMime}}))
            return false;
    }

    const QVariantMap byDot{{u"hidden"_s, true}, {u"hiddenBy"_s, u"dot"_s}};
    QVariantMap byList{{u"hidden"_s, true}, {u"hiddenBy"_s, u"hidden-list"_s}};
    byList.insert(u"nameMime"_s, u"text/plain"_s);
    if (!w.text(u"hidden/.hidden-config"_s, u"hidden"_s, u"# settings nobody should see\ntheme=dark\n"_s, byDot)
        || !w.text(u"hidden/.hidden"_s, u"hidden"_s, u"listed-hidden.txt\n"_s, byDot)
        || !w.text(u"hidden/listed-hidden.txt"_s, u"hidden"_s,
                   u"Named in this folder's .hidden file, so a file browser leaves it out.\n"_s, byList)
        || !w.text(u"hidden/visible.txt"_s, u"text"_s, u"Neither a dot file nor listed in .hidden.\n"_s,
                   {{u"hidden"_s, false}, {u"nameMime"_s, u"text/plain"_s}})) {
        return false;
    }

    if (!w.link(u"links/link-to-photo.jpg"_s, u"../images/orientation-1.jpg"_s, u"images/orientation-1.jpg"_s, false)
        || !w.link(u"links/link-to-text"_s, u"../text"_s, u"text"_s, false)
        || !w.link(u"links/dangling.jpg"_s, u"../images/does-not-exist.jpg"_s, {}, false)
        || !w.link(u"links/loop-a"_s, u"loop-b"_s, {}, true)
        || !w.link(u"links/loop-b"_s, u"loop-a"_s, {}, true)) {
        return false;
    }

    if (!w.file(u"empty.dat"_s, u"empty"_s, {}, {{u"contentMime"_s, u"application/x-zerosize"_s}}))
        return false;

    w.countFolderEntries();
    return true;
}

} // namespace

bool writeImage(const QString &path, const char *format, QSize size, const QVariantMap &exif)
{
    QString error;
    if (writeImageOrFail(path, format, size, exif, &error))
        return true;
    qCWarning(lcSampleData).noquote() << error;
    return false;
}

QList<Sample> writeSamples(const QString &dir, QString *errorMessage)
{
    const QFileInfo root(dir);
    TreeWriter writer(root.absoluteFilePath());
    bool ok = false;
    if (dir.isEmpty() || !root.isDir())
        writer.error = u"the folder \"%1\" does not exist"_s.arg(dir);
    else
        ok = writeTree(writer);

    if (ok) {
        if (errorMessage)
            errorMessage->clear();
        return writer.samples;
    }
    if (errorMessage)
        *errorMessage = writer.error;
    else
        qCWarning(lcSampleData).noquote() << "could not write the samples:" << writer.error;
    return {};
}

bool addCameraMetadata(const QString &path)
{
    muteExiv2();
    try {
        auto image = Exiv2::ImageFactory::open(std::string(QFile::encodeName(path).constData()));
        if (!image.get())
            return false;
        image->readMetadata();
        Exiv2::ExifData &exif = image->exifData();
        const auto make = exif.findKey(Exiv2::ExifKey("Exif.Image.Make"));
        const std::string maker = make != exif.end() ? make->toString() : std::string();

        QImage small(160, 120, QImage::Format_RGB32);
        small.fill(QColor(90, 120, 160));
        QByteArray thumbnail;
        QBuffer buffer(&thumbnail);
        buffer.open(QIODevice::WriteOnly);
        small.save(&buffer, "JPEG", 80);
        Exiv2::ExifThumb(exif).setJpegThumbnail(reinterpret_cast<const Exiv2::byte *>(thumbnail.constData()),
                                                long(thumbnail.size()));

        exif["Exif.Photo.ExposureProgram"] = uint16_t(3);
        exif["Exif.Photo.MeteringMode"] = uint16_t(5);
        exif["Exif.Photo.Flash"] = uint16_t(16);
        exif["Exif.Photo.WhiteBalance"] = uint16_t(0);
        exif["Exif.Photo.ColorSpace"] = uint16_t(1);
        exif["Exif.Photo.SubSecTimeOriginal"] = std::string("42");
        exif["Exif.Photo.BodySerialNumber"] = std::string("012345678901");
        exif["Exif.GPSInfo.GPSVersionID"] = std::string("2 3 0 0");
        exif["Exif.GPSInfo.GPSLatitudeRef"] = std::string("N");
        exif["Exif.GPSInfo.GPSLatitude"] = std::string("48/1 8/1 2345/100");
        exif["Exif.GPSInfo.GPSLongitudeRef"] = std::string("E");
        exif["Exif.GPSInfo.GPSLongitude"] = std::string("11/1 34/1 5678/100");
        exif["Exif.GPSInfo.GPSAltitude"] = Exiv2::URational(519, 1);
        if (maker == "Canon") {
            exif["Exif.Canon.ImageType"] = std::string("Canon EOS R5");
            exif["Exif.Canon.FirmwareVersion"] = std::string("Firmware Version 1.8.1");
            exif["Exif.Canon.OwnerName"] = std::string("Quillbox");
            exif["Exif.Canon.ModelID"] = uint32_t(0x80000421);
            for (int tag = 1; tag <= 40; ++tag)
                exif[QStringLiteral("Exif.CanonCs.0x%1").arg(tag, 4, 16, QLatin1Char('0')).toStdString()] = uint16_t(tag);
        } else if (maker.rfind("NIKON", 0) == 0) {
            exif["Exif.Nikon3.Version"] = std::string("48 50 49 48");
            exif["Exif.Nikon3.Quality"] = std::string("FINE");
            exif["Exif.Nikon3.WhiteBalance"] = std::string("AUTO");
            exif["Exif.Nikon3.Focus"] = std::string("AF-S");
            exif["Exif.Nikon3.SerialNumber"] = std::string("6012345");
            for (int tag = 0x80; tag < 0x80 + 30; ++tag)
                exif[QStringLiteral("Exif.Nikon3.0x%1").arg(tag, 4, 16, QLatin1Char('0')).toStdString()] = uint16_t(tag);
        }
        Exiv2::XmpData &xmp = image->xmpData();
        xmp["Xmp.xmp.Rating"] = std::string("3");
        xmp["Xmp.xmp.CreatorTool"] = std::string("TQKit sample data");
        xmp["Xmp.dc.creator"] = std::string("Quillbox");
        xmp["Xmp.photoshop.City"] = std::string("Munich");
        xmp["Xmp.aux.Lens"] = std::string("24-105mm");
        image->writeMetadata();
        return true;
    } catch (const std::exception &e) { // Exiv2::AnyError and the rest
        qWarning("exiv2 could not add camera metadata to %s: %s", qPrintable(path), e.what());
        return false;
    }
}

bool writeHeic(const QString &path, const QImage &picture, const QByteArray &exifTiff, const QImage &thumbnail,
               int thumbnailSide)
{
    heif_context *context = heif_context_alloc();
    heif_encoder *encoder = nullptr;
    std::vector<heif_image *> images;
    const auto toHeif = [&images](const QImage &from) {
        const QImage rgb = from.convertToFormat(QImage::Format_RGB888);
        heif_image *image = nullptr;
        heif_image_create(rgb.width(), rgb.height(), heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image);
        heif_image_add_plane(image, heif_channel_interleaved, rgb.width(), rgb.height(), 8);
        int stride = 0;
        uint8_t *pixels = heif_image_get_plane(image, heif_channel_interleaved, &stride);
        for (int y = 0; y < rgb.height(); ++y)
            std::memcpy(pixels + y * stride, rgb.constScanLine(y), size_t(rgb.width()) * 3);
        images.push_back(image);
        return image;
    };
    heif_image_handle *handle = nullptr, *thumbnailHandle = nullptr;
    bool written = context && !picture.isNull()
            && heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code == heif_error_Ok
            && heif_context_encode_image(context, toHeif(picture), encoder, nullptr, &handle).code == heif_error_Ok;
    if (written && !exifTiff.isEmpty())
        written = heif_context_add_exif_metadata(context, handle, exifTiff.constData(), int(exifTiff.size())).code
                == heif_error_Ok;
    if (written && !thumbnail.isNull())
        written = heif_context_encode_thumbnail(context, toHeif(thumbnail), handle, encoder, nullptr, thumbnailSide,
                                                &thumbnailHandle).code == heif_error_Ok
                && thumbnailHandle;
    written = written && heif_context_write_to_file(context, QFile::encodeName(path).constData()).code == heif_error_Ok;
    for (heif_image_handle *h : {handle, thumbnailHandle})
        if (h)
            heif_image_handle_release(h);
    for (heif_image *image : images)
        heif_image_release(image);
    if (encoder)
        heif_encoder_release(encoder);
    if (context)
        heif_context_free(context);
    return written;
}

} // namespace TQSampleData
