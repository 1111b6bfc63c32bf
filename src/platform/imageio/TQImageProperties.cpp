// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageProperties.h"
#include "TQImageProperties_p.h"

#include "TQExiv2_p.h"
#include "TQHeifInput_p.h"
#include "TQImageSegments_p.h"
#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"

#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QVariantList>
#include <QVarLengthArray>

#include <exiv2/exiv2.hpp>
#include <libheif/heif.h>
#include <zlib.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <exception>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <map>
#include <new>
#include <optional>
#include <vector>

#include <unistd.h>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace TQImageProperties {
namespace {

enum class Format { Unknown, Jpeg, Png, Tiff, Raw, WebP, Gif, Bmp, Heif };

// The budgets of one file. Every length a file declares is checked against the file's size
// and these before anything is allocated or read, so what a file can cost does not depend on
// what it claims.
//
// Any one metadata block (JPEG segment, PNG chunk, WebP chunk, HEIF item) larger than this is
// damage, not metadata.
constexpr qint64 MaxBlock = 16 << 20;
// All the metadata blocks read from one file together.
constexpr qint64 MaxMetadataRead = 64 << 20;
// What one compressed PNG chunk (zTXt, iTXt, iCCP) may inflate to; past it the chunk is left
// out. Real texts and profiles are far smaller; a few hundred bytes can claim gigabytes.
constexpr qint64 MaxInflatedChunk = 4 << 20;
// What all the compressed chunks of one file may inflate to together, so that many chunks
// just under the cap cost no more than a few.
constexpr qint64 MaxInflatedTotal = 16 << 20;
// The chunk walkers (PNG, WebP) look for metadata no further into a file than this: on a huge
// or sparse file the walk ends instead of hopping through gigabytes of picture data or holes.
constexpr qint64 MaxScanOffset = 256 << 20;
// The prefix of a GIF searched for the extension blocks that precede its first frame.
constexpr qint64 MaxGifPrefix = 1 << 20;
// libheif refuses pictures with a side longer than this before it builds anything for them.
constexpr int MaxHeifSide = 1 << 16;
// Segments, chunks and extension blocks visited at most, whatever their sizes.
constexpr int MaxBlocks = 4096;

quint32 be16(const char *p) { return quint32(uchar(p[0])) << 8 | uchar(p[1]); }
quint32 be32(const char *p) { return be16(p) << 16 | be16(p + 2); }
quint32 le16(const char *p) { return quint32(uchar(p[1])) << 8 | uchar(p[0]); }
quint32 le32(const char *p) { return le16(p + 2) << 16 | le16(p); }

// A floating value's integer part, when it has one that fits in an int: a cast of anything
// else (infinity, NaN, 1e300) is undefined behaviour.
std::optional<int> wholeInt(double value)
{
    if (!std::isfinite(value))
        return std::nullopt;
    const double whole = std::trunc(value);
    if (whole < double(INT_MIN) || whole > double(INT_MAX))
        return std::nullopt;
    return int(whole);
}

std::optional<int> wholeInt(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
        return value.toInt();
    case QMetaType::Double:
    case QMetaType::Float:
        return wholeInt(value.toDouble());
    default:
        return std::nullopt;
    }
}

// One picture file being read: the checked descriptor, and what is left of the file's budgets.
class Source
{
public:
    Source(const TQRegularFile &file, const QString &path) : m_file(file), m_path(path) {}

    qint64 size() const { return m_file.size(); }
    const QString &path() const { return m_path; }
    const TQRegularFile &file() const { return m_file; }

    // A few header bytes (at most a few KiB); shorter at the end of the file.
    QByteArray peek(qint64 offset, qint64 length) const { return m_file.read(offset, std::min<qint64>(length, 4096)); }

    // A whole block the file declares at `offset`, or a null array (the block is then absent)
    // when it lies past the end of the file, is larger than a block may be, or would overrun
    // what the file may still read.
    QByteArray block(qint64 offset, qint64 length)
    {
        if (offset < 0 || length < 0 || length > MaxBlock || length > size() || offset > size() - length) {
            qCDebug(lcPlatform) << m_path << "declares a block of" << length << "bytes at" << offset
                                << "that the file can't hold";
            return {};
        }
        if (length > m_readLeft) {
            qCDebug(lcPlatform) << "stopped reading metadata blocks of" << m_path << "after"
                                << MaxMetadataRead << "bytes";
            return {};
        }
        m_readLeft -= length;
        QByteArray data = m_file.read(offset, length);
        if (data.size() != length)
            return {}; // shrank while it was read
        return data.isNull() ? QByteArray("") : data;
    }

    // A zlib stream inflated under the caps above, or a null array (the chunk is then absent)
    // when it is damaged or would inflate past them.
    QByteArray inflate(QByteArrayView compressed, const char *chunk)
    {
        const qint64 cap = std::min(MaxInflatedChunk, m_inflateLeft);
        z_stream stream = {};
        if (inflateInit(&stream) != Z_OK)
            return {};
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(compressed.data()));
        stream.avail_in = uInt(std::min<qsizetype>(compressed.size(), MaxBlock));
        QByteArray out;
        char buffer[16384];
        int status = Z_OK;
        bool overCap = false;
        while (status == Z_OK) {
            stream.next_out = reinterpret_cast<Bytef *>(buffer);
            stream.avail_out = sizeof buffer;
            status = ::inflate(&stream, Z_NO_FLUSH);
            const qsizetype produced = qsizetype(sizeof buffer - stream.avail_out);
            if (out.size() + produced > cap) {
                overCap = true;
                break;
            }
            out.append(buffer, produced);
        }
        inflateEnd(&stream);
        // What was inflated counts whether it is kept or not: the work is done either way.
        m_inflateLeft -= std::min<qint64>(m_inflateLeft, out.size());
        if (overCap) {
            if (!m_warned)
                qCWarning(lcPlatform, "Leaving out a %s chunk of %s: it inflates past %lld bytes",
                          chunk, qUtf8Printable(m_path), cap);
            m_warned = true;
            return {};
        }
        if (status != Z_STREAM_END) {
            qCDebug(lcPlatform) << "a" << chunk << "chunk of" << m_path << "does not inflate:" << status;
            return {};
        }
        return out.isNull() ? QByteArray("") : out;
    }

private:
    const TQRegularFile &m_file;
    const QString m_path;
    qint64 m_readLeft = MaxMetadataRead;
    qint64 m_inflateLeft = MaxInflatedTotal;
    bool m_warned = false;
};

// ---------------------------------------------------------------------------------------------
// exiv2 is set up once for the whole platform layer (TQExiv2::prepare).

// Runs one step of reading; a failure loses only what that step would have added.
template<typename Step>
void guarded(const QString &path, const char *what, Step step)
{
    try {
        step();
    } catch (const Exiv2::AnyError &e) {
        qCDebug(lcPlatform) << "no" << what << "read from" << path << ":" << e.what();
    } catch (const std::bad_alloc &) {
        qCDebug(lcPlatform) << "no" << what << "read from" << path << ": out of memory";
    } catch (const std::exception &e) { // std::out_of_range and the like from malformed data
        qCDebug(lcPlatform) << "no" << what << "read from" << path << ":" << e.what();
    }
}

QString trimmed(const QString &text)
{
    qsizetype end = text.size();
    while (end > 0 && (text.at(end - 1) == QChar(0) || text.at(end - 1).isSpace()))
        --end;
    return text.left(end).trimmed();
}

QString textOf(const std::string &bytes)
{
    // EXIF and IPTC texts are ASCII by the book and UTF-8 in practice; Latin-1 is the old habit.
    const QByteArray raw = QByteArray::fromStdString(bytes);
    QString text = QString::fromUtf8(raw);
    if (text.contains(QChar::ReplacementCharacter))
        text = QString::fromLatin1(raw);
    return trimmed(text);
}

// ---------------------------------------------------------------------------------------------
// EXIF tags as ImageIO names them.

enum class Kind { Auto, List, Text, Version, Coordinate, GpsTime, Comment };

struct TagName
{
    QString name;
    Kind kind;
};

// The groups tags are taken from: IFD0 ("{TIFF}"), the EXIF IFD and the GPS IFD.
QString groupName(int group)
{
    return group == 0 ? u"{TIFF}"_s : group == 1 ? u"{Exif}"_s : u"{GPS}"_s;
}

quint32 nameKey(int group, quint16 tag)
{
    return quint32(group) << 16 | tag;
}

const QHash<quint32, TagName> &exifNames()
{
    static const QHash<quint32, TagName> names = [] {
        QHash<quint32, TagName> h;
        const auto add = [&h](int group, quint16 tag, const char *name, Kind kind = Kind::Auto) {
            h.insert(nameKey(group, tag), TagName{QString::fromLatin1(name), kind});
        };
        using enum Kind;
        const auto tiff = [&](quint16 tag, const char *name, Kind kind = Auto) { add(0, tag, name, kind); };
        tiff(0x0103, "Compression");
        tiff(0x0106, "PhotometricInterpretation");
        tiff(0x010e, "ImageDescription", Text);
        tiff(0x010f, "Make", Text);
        tiff(0x0110, "Model", Text);
        tiff(0x0112, "Orientation");
        tiff(0x011a, "XResolution");
        tiff(0x011b, "YResolution");
        tiff(0x0128, "ResolutionUnit");
        tiff(0x0131, "Software", Text);
        tiff(0x0132, "DateTime", Text);
        tiff(0x013b, "Artist", Text);
        tiff(0x013c, "HostComputer", Text);
        tiff(0x013e, "WhitePoint", List);
        tiff(0x013f, "PrimaryChromaticities", List);
        tiff(0x0142, "TileWidth");
        tiff(0x0143, "TileLength");
        tiff(0x8298, "Copyright", Text);
        const auto exif = [&](quint16 tag, const char *name, Kind kind = Auto) { add(1, tag, name, kind); };
        exif(0x829a, "ExposureTime");
        exif(0x829d, "FNumber");
        exif(0x8822, "ExposureProgram");
        exif(0x8824, "SpectralSensitivity", Text);
        exif(0x8827, "ISOSpeedRatings", List);
        exif(0x8830, "SensitivityType");
        exif(0x8832, "RecommendedExposureIndex");
        exif(0x9000, "ExifVersion", Version);
        exif(0x9003, "DateTimeOriginal", Text);
        exif(0x9004, "DateTimeDigitized", Text);
        exif(0x9010, "OffsetTime", Text);
        exif(0x9011, "OffsetTimeOriginal", Text);
        exif(0x9012, "OffsetTimeDigitized", Text);
        exif(0x9102, "CompressedBitsPerPixel");
        exif(0x9201, "ShutterSpeedValue");
        exif(0x9202, "ApertureValue");
        exif(0x9203, "BrightnessValue");
        exif(0x9204, "ExposureBiasValue");
        exif(0x9205, "MaxApertureValue");
        exif(0x9206, "SubjectDistance");
        exif(0x9207, "MeteringMode");
        exif(0x9208, "LightSource");
        exif(0x9209, "Flash");
        exif(0x920a, "FocalLength");
        exif(0x9214, "SubjectArea", List);
        exif(0x9286, "UserComment", Comment);
        exif(0x9290, "SubsecTime", Text);
        exif(0x9291, "SubsecTimeOriginal", Text);
        exif(0x9292, "SubsecTimeDigitized", Text);
        exif(0xa000, "FlashPixVersion", Version);
        exif(0xa001, "ColorSpace");
        exif(0xa002, "PixelXDimension");
        exif(0xa003, "PixelYDimension");
        exif(0xa20e, "FocalPlaneXResolution");
        exif(0xa20f, "FocalPlaneYResolution");
        exif(0xa210, "FocalPlaneResolutionUnit");
        exif(0xa217, "SensingMethod");
        exif(0xa300, "FileSource");
        exif(0xa301, "SceneType");
        exif(0xa401, "CustomRendered");
        exif(0xa402, "ExposureMode");
        exif(0xa403, "WhiteBalance");
        exif(0xa404, "DigitalZoomRatio");
        exif(0xa405, "FocalLenIn35mmFilm");
        exif(0xa406, "SceneCaptureType");
        exif(0xa407, "GainControl");
        exif(0xa408, "Contrast");
        exif(0xa409, "Saturation");
        exif(0xa40a, "Sharpness");
        exif(0xa40c, "SubjectDistRange");
        exif(0xa420, "ImageUniqueID", Text);
        exif(0xa430, "CameraOwnerName", Text);
        exif(0xa431, "BodySerialNumber", Text);
        exif(0xa432, "LensSpecification", List);
        exif(0xa433, "LensMake", Text);
        exif(0xa434, "LensModel", Text);
        exif(0xa435, "LensSerialNumber", Text);
        const auto gps = [&](quint16 tag, const char *name, Kind kind = Auto) { add(2, tag, name, kind); };
        gps(0x0000, "GPSVersion", List);
        gps(0x0001, "LatitudeRef", Text);
        gps(0x0002, "Latitude", Coordinate);
        gps(0x0003, "LongitudeRef", Text);
        gps(0x0004, "Longitude", Coordinate);
        gps(0x0005, "AltitudeRef");
        gps(0x0006, "Altitude");
        gps(0x0007, "TimeStamp", GpsTime);
        gps(0x0009, "Status", Text);
        gps(0x000a, "MeasureMode", Text);
        gps(0x000b, "DOP");
        gps(0x000c, "SpeedRef", Text);
        gps(0x000d, "Speed");
        gps(0x000e, "TrackRef", Text);
        gps(0x000f, "Track");
        gps(0x0010, "ImgDirectionRef", Text);
        gps(0x0011, "ImgDirection");
        gps(0x0012, "MapDatum", Text);
        gps(0x0017, "DestBearingRef", Text);
        gps(0x0018, "DestBearing");
        gps(0x001d, "DateStamp", Text);
        gps(0x001f, "HPositioningError");
        return h;
    }();
    return names;
}

// A FLOAT or DOUBLE component as stored. exiv2's own toFloat() narrows a double with a cast,
// which is undefined for 1e300; the stored bytes are taken instead.
std::optional<double> floatingAt(const Exiv2::Value &v, long i)
{
    const bool isDouble = v.typeId() == Exiv2::tiffDouble;
    const long width = isDouble ? 8 : 4;
    if (i < 0 || i >= v.count() || v.size() != width * v.count())
        return std::nullopt;
    std::vector<Exiv2::byte> bytes(size_t(v.size()));
    v.copy(bytes.data(), Exiv2::littleEndian);
    const Exiv2::byte *at = bytes.data() + i * width;
    if (isDouble) {
        return Exiv2::getDouble(at, Exiv2::littleEndian);
    }
    return double(Exiv2::getFloat(at, Exiv2::littleEndian));
}

// A value exiv2 parsed, as the conversion below reads it.
class ParsedValue
{
public:
    explicit ParsedValue(const Exiv2::Value &v) : m_v(v) {}
    int typeId() const { return int(m_v.typeId()); }
    long count() const { return m_v.count(); }
    long toLong(long i) const { return m_v.toLong(i); }
    std::pair<qint32, qint32> toRational(long i) const { return m_v.toRational(i); }
    std::optional<double> floating(long i) const { return floatingAt(m_v, i); }
    QString text() const { return textOf(m_v.toString()); }
    std::optional<QString> comment() const
    {
        if (const auto *comment = dynamic_cast<const Exiv2::CommentValue *>(&m_v))
            return QString::fromStdString(comment->comment());
        return std::nullopt;
    }

private:
    const Exiv2::Value &m_v;
};

template<typename Value>
QVariant numberAt(const Value &v, long i)
{
    switch (v.typeId()) {
    case Exiv2::unsignedRational:
    case Exiv2::signedRational: {
        const auto [numerator, denominator] = v.toRational(i);
        if (denominator == 0)
            return {};
        return double(numerator) / double(denominator);
    }
    case Exiv2::tiffFloat:
    case Exiv2::tiffDouble: {
        // Infinity and NaN are no measurement; they are left out rather than handed on.
        const std::optional<double> value = v.floating(i);
        if (!value || !std::isfinite(*value))
            return {};
        return *value;
    }
    default:
        return int(v.toLong(i));
    }
}

template<typename Value>
QVariant convert(const Value &v, Kind kind)
{
    const long count = v.count();
    const bool ascii = v.typeId() == Exiv2::asciiString || v.typeId() == Exiv2::string;
    switch (kind) {
    case Kind::Text:
        if (ascii || v.typeId() == Exiv2::undefined || v.typeId() == Exiv2::unsignedByte) {
            const QString text = v.text();
            return text.isEmpty() ? QVariant() : QVariant(text);
        }
        return {};
    case Kind::Comment:
        if (const std::optional<QString> comment = v.comment()) {
            const QString text = trimmed(*comment);
            return text.isEmpty() ? QVariant() : QVariant(text);
        }
        return {};
    case Kind::Version: {
        // Four ASCII digits, "0232" for 2.3.2.
        QByteArray bytes;
        for (long i = 0; i < count && i < 4; ++i)
            bytes.append(char(v.toLong(i)));
        if (bytes.size() != 4)
            return {};
        return QVariantList{(bytes.at(0) - '0') * 10 + (bytes.at(1) - '0'), bytes.at(2) - '0', bytes.at(3) - '0'};
    }
    case Kind::Coordinate: {
        if (count != 3)
            return {};
        double degrees = 0;
        for (long i = 0; i < 3; ++i) {
            const QVariant part = numberAt(v, i);
            if (!part.isValid())
                return {};
            degrees += part.toDouble() / std::pow(60.0, double(i));
        }
        return degrees;
    }
    case Kind::GpsTime: {
        if (count != 3)
            return {};
        const QVariant seconds = numberAt(v, 2);
        const std::optional<int> hours = wholeInt(numberAt(v, 0)), minutes = wholeInt(numberAt(v, 1));
        if (!hours || !minutes || *hours < 0 || *hours > 24 || *minutes < 0 || *minutes > 59
            || !seconds.isValid() || seconds.toDouble() < 0 || seconds.toDouble() >= 61)
            return {};
        const QChar zero(u'0');
        return u"%1:%2:%3"_s.arg(QString::number(*hours).rightJustified(2, zero),
                                 QString::number(*minutes).rightJustified(2, zero),
                                 QString::number(seconds.toDouble(), 'f', 2).rightJustified(5, zero));
    }
    case Kind::Auto:
    case Kind::List:
        break;
    }
    if (ascii) {
        const QString text = v.text();
        return text.isEmpty() ? QVariant() : QVariant(text);
    }
    if (v.typeId() == Exiv2::undefined && count != 1)
        return {};
    if (count == 1 && kind != Kind::List)
        return numberAt(v, 0);
    QVariantList list;
    for (long i = 0; i < count && i < 256; ++i) {
        const QVariant n = numberAt(v, i);
        if (n.isValid())
            list.append(n);
    }
    return list.isEmpty() ? QVariant() : QVariant(list);
}

// The values of one EXIF block, by group, in the order they were found: a tag stated twice
// keeps its last readable value.
using ExifGroups = std::array<QVariantMap, 3>;

void mergeExifGroups(ExifGroups &groups, QVariantMap &props)
{
    for (int group = 0; group < 3; ++group) {
        if (groups[group].isEmpty())
            continue;
        const QString name = groupName(group);
        QVariantMap merged = props.value(name).toMap();
        merged.insert(groups[group]);
        props.insert(name, merged);
    }
}

void addExifData(const Exiv2::ExifData &data, QVariantMap &props)
{
    const auto &names = exifNames();
    // exiv2 keeps its IFD numbering private; its keys know theirs.
    static const int ifds[3] = {Exiv2::ExifKey("Exif.Image.Make").ifdId(), Exiv2::ExifKey("Exif.Photo.FNumber").ifdId(),
                                Exiv2::ExifKey("Exif.GPSInfo.GPSLatitude").ifdId()};
    ExifGroups groups;
    for (const Exiv2::Exifdatum &d : data) {
        const int group = int(std::find(std::begin(ifds), std::end(ifds), int(d.ifdId())) - std::begin(ifds));
        if (group == 3 || d.count() == 0)
            continue;
        const auto it = names.constFind(nameKey(group, d.tag()));
        if (it == names.constEnd())
            continue;
        const QVariant value = convert(ParsedValue(d.value()), it->kind);
        if (value.isValid())
            groups[group].insert(it->name, value);
    }
    mergeExifGroups(groups, props);
}

// ---------------------------------------------------------------------------------------------
// The EXIF block of a JPEG read directly: the three IFDs the dictionary takes tags from, and
// nothing else. exiv2 parses the whole structure, the maker's private notes included, to
// give a few dozen values; the walk below gives the same values at a fraction of the cost.
// It answers only for a block it fully understands: whatever it is not sure exiv2 would read
// the same way (a value out of the block, a type or text encoding it does not convert, a
// directory exiv2 would skip or read twice) hands the whole block to exiv2 instead.

std::atomic<bool> exiv2Only{false};
std::atomic<int> directReads{0};

class DirectExif
{
public:
    explicit DirectExif(QByteArrayView tiff) : m_data(reinterpret_cast<const uchar *>(tiff.data())), m_size(tiff.size()) {}

    std::optional<ExifGroups> read()
    {
        if (m_size < 8 || m_size > MaxBlock)
            return std::nullopt;
        if (m_data[0] == 'I' && m_data[1] == 'I')
            m_bigEndian = false;
        else if (m_data[0] == 'M' && m_data[1] == 'M')
            m_bigEndian = true;
        else
            return std::nullopt;
        if (u16(2) != 42)
            return std::nullopt;
        ExifGroups groups;
        const quint32 ifd0 = u32(4);
        if (!readIfd(ifd0, 0, groups))
            return std::nullopt;
        // IFD0 visited first, then what its entries point to, in their order: a directory
        // pointed to twice is read only once by exiv2 (the later pointer is ignored).
        QVarLengthArray<quint32, 4> visited{ifd0};
        for (const Pointer &pointer : m_pointers) {
            if (visited.contains(pointer.offset))
                return std::nullopt;
            visited.append(pointer.offset);
            if (pointer.group == 1) {
                if (!readIfd(pointer.offset, 1, groups))
                    return std::nullopt;
                // What the EXIF IFD points to is visited before the GPS IFD.
                if (m_interop) {
                    if (visited.contains(*m_interop))
                        return std::nullopt;
                    visited.append(*m_interop);
                }
            } else if (!readIfd(pointer.offset, 2, groups)) {
                return std::nullopt;
            }
            // A maker's notes hold directories of their own, which exiv2 visits in turn.
            if (pointer.group == 2 && m_makerNote
                && pointer.offset >= m_makerNote->first && pointer.offset < m_makerNote->second)
                return std::nullopt;
        }
        return groups;
    }

private:
    struct Pointer
    {
        int group;
        quint32 offset;
    };

    quint32 u16(qint64 at) const
    {
        return m_bigEndian ? quint32(m_data[at]) << 8 | m_data[at + 1] : quint32(m_data[at + 1]) << 8 | m_data[at];
    }
    quint32 u32(qint64 at) const
    {
        return m_bigEndian ? u16(at) << 16 | u16(at + 2) : u16(at + 2) << 16 | u16(at);
    }

    // One directory of `group`; false when exiv2 must read the block.
    bool readIfd(quint32 offset, int group, ExifGroups &groups)
    {
        if (offset < 8 || qint64(offset) + 2 > m_size)
            return false;
        const quint32 entries = u16(offset);
        // exiv2 reads no directory of more entries than this, and stops at one cut short.
        if (entries > 256 || qint64(offset) + 2 + 12 * qint64(entries) + 4 > m_size)
            return false;
        const auto &names = exifNames();
        for (quint32 e = 0; e < entries; ++e) {
            const qint64 at = qint64(offset) + 2 + 12 * qint64(e);
            const quint16 tag = quint16(u16(at));
            const Entry entry{this, int(u16(at + 2)), u32(at + 4), at + 8};
            if (group == 0 && (tag == 0x8769 || tag == 0x8825)) {
                if (entry.type != 4 || entry.n != 1 || hasPointer(tag == 0x8769 ? 1 : 2))
                    return false;
                m_pointers.append(Pointer{tag == 0x8769 ? 1 : 2, u32(at + 8)});
                continue;
            }
            // Further picture directories, and a maker's notes in a DNG's private data: rare in
            // a JPEG, and exiv2 visits what they point to.
            if (group == 0 && (tag == 0x014a || tag == 0xc634))
                return false;
            if (group == 1 && tag == 0xa005) {
                if (m_interop || entry.type != 4 || entry.n != 1)
                    return false;
                m_interop = u32(at + 8);
                continue;
            }
            if (group == 1 && tag == 0x927c) {
                const std::optional<qint64> data = entry.dataOffset();
                if (m_makerNote || !data)
                    return false;
                m_makerNote = std::pair<qint64, qint64>(*data, *data + entry.n);
                continue;
            }
            const auto it = names.constFind(nameKey(group, tag));
            if (it == names.constEnd() || entry.n == 0)
                continue;
            if (!entry.readable(it->kind))
                return false;
            const QVariant value = convert(entry, it->kind);
            if (value.isValid())
                groups[group].insert(it->name, value);
        }
        return true;
    }

    bool hasPointer(int group) const
    {
        return std::any_of(m_pointers.begin(), m_pointers.end(), [group](const Pointer &p) { return p.group == group; });
    }

    // One directory entry, read the way exiv2 reads its value.
    struct Entry
    {
        const DirectExif *exif;
        int type;
        quint32 n; // components
        qint64 valueField;

        static int width(int type)
        {
            switch (type) {
            case 1: case 2: case 6: case 7: return 1;
            case 3: case 8: return 2;
            case 4: case 9: case 11: case 13: return 4;
            case 5: case 10: case 12: return 8;
            default: return 0;
            }
        }
        // Where the value's bytes are, when all of them are inside the block.
        std::optional<qint64> dataOffset() const
        {
            const qint64 size = qint64(n) * width(type);
            if (width(type) == 0)
                return std::nullopt;
            if (size <= 4)
                return valueField;
            const qint64 offset = exif->u32(valueField);
            // Offset 0 is the block's own header, never a value: exiv2 drops such an entry,
            // and the two readings must agree.
            if (offset == 0 || offset > exif->m_size || size > exif->m_size - offset)
                return std::nullopt;
            return offset;
        }
        // Whether this walk converts the value exactly as exiv2's value classes would.
        bool readable(Kind kind) const
        {
            if (!dataOffset())
                return false;
            switch (type) {
            case 2: // ASCII
                return kind == Kind::Auto || kind == Kind::List || kind == Kind::Text;
            case 1: case 7: // BYTE, UNDEFINED
                if (kind == Kind::Text)
                    return false;
                if (kind == Kind::Comment && type == 7) {
                    // Texts marked ASCII or unmarked; Unicode and JIS are exiv2's to convert.
                    const QByteArrayView marker(reinterpret_cast<const char *>(exif->m_data) + *dataOffset(),
                                                std::min<qint64>(n, 8));
                    return marker == QByteArrayView("ASCII\0\0\0", 8) || marker == QByteArrayView("\0\0\0\0\0\0\0\0", 8);
                }
                return true;
            case 3: case 4: case 8: case 9: // SHORT, LONG, SSHORT, SLONG
                return true;
            case 5: case 10: // RATIONAL, SRATIONAL
                return kind != Kind::Version;
            default:
                return false;
            }
        }

        int typeId() const { return type; }
        long count() const { return long(n); }
        const uchar *bytes() const { return exif->m_data + *dataOffset(); }
        long toLong(long i) const
        {
            const qint64 at = *dataOffset();
            switch (type) {
            case 3: return long(exif->u16(at + 2 * i));
            case 8: return long(qint16(exif->u16(at + 2 * i)));
            case 4: return long(exif->u32(at + 4 * i));
            case 9: return long(qint32(exif->u32(at + 4 * i)));
            default: return long(exif->m_data[at + i]);
            }
        }
        std::pair<qint32, qint32> toRational(long i) const
        {
            const qint64 at = *dataOffset() + 8 * i;
            return {qint32(exif->u32(at)), qint32(exif->u32(at + 4))};
        }
        std::optional<double> floating(long) const { return std::nullopt; }
        QString text() const
        {
            const char *begin = reinterpret_cast<const char *>(bytes());
            return textOf(std::string(begin, qstrnlen(begin, n)));
        }
        std::optional<QString> comment() const
        {
            if (type != 7)
                return std::nullopt;
            if (n < 8)
                return QString();
            const char *begin = reinterpret_cast<const char *>(bytes()) + 8;
            return QString::fromUtf8(begin, qsizetype(qstrnlen(begin, n - 8)));
        }
    };

    const uchar *m_data;
    qint64 m_size;
    bool m_bigEndian = false;
    QVarLengthArray<Pointer, 2> m_pointers;
    std::optional<quint32> m_interop;
    std::optional<std::pair<qint64, qint64>> m_makerNote;
};

// A TIFF structure ("II*\0" or "MM\0*"), possibly still behind the "Exif\0\0" of a JPEG segment.
void addExifBlock(const QString &path, QByteArray block, QVariantMap &props)
{
    if (block.startsWith(QByteArrayView("Exif\0\0", 6)))
        block.remove(0, 6);
    if (block.size() < 8)
        return;
    if (!exiv2Only.load(std::memory_order_relaxed)) {
        if (std::optional<ExifGroups> groups = DirectExif(block).read()) {
            directReads.fetch_add(1, std::memory_order_relaxed);
            mergeExifGroups(*groups, props);
            return;
        }
        qCDebug(lcPlatform) << "the EXIF block of" << path << "is read by exiv2";
    }
    guarded(path, "EXIF", [&] {
        Exiv2::ExifData data;
        Exiv2::ExifParser::decode(data, reinterpret_cast<const Exiv2::byte *>(block.constData()),
                                  uint32_t(block.size()));
        addExifData(data, props);
    });
}

void addIptcData(const Exiv2::IptcData &data, QVariantMap &props)
{
    struct Name { quint16 tag; const char *name; bool list; };
    static constexpr Name names[] = {
        {5, "ObjectName", false},       {7, "EditStatus", false},
        {10, "Urgency", false},         {15, "Category", false},
        {20, "SupplementalCategory", true}, {25, "Keywords", true},
        {40, "SpecialInstructions", false}, {55, "DateCreated", false},
        {60, "TimeCreated", false},     {65, "OriginatingProgram", false},
        {70, "ProgramVersion", false},  {80, "By-line", true},
        {85, "By-lineTitle", false},    {90, "City", false},
        {92, "SubLocation", false},     {95, "Province/State", false},
        {100, "Country/PrimaryLocationCode", false}, {101, "Country/PrimaryLocationName", false},
        {103, "OriginalTransmissionReference", false}, {105, "Headline", false},
        {110, "Credit", false},         {115, "Source", false},
        {116, "CopyrightNotice", false}, {118, "Contact", false},
        {120, "Caption/Abstract", false}, {122, "Writer/Editor", false},
    };
    QVariantMap group;
    for (const Exiv2::Iptcdatum &d : data) {
        if (d.record() != Exiv2::IptcDataSets::application2)
            continue;
        for (const Name &n : names) {
            if (n.tag != d.tag())
                continue;
            const QString text = textOf(d.toString());
            if (text.isEmpty())
                break;
            const QString key = QString::fromLatin1(n.name);
            if (n.list) {
                QVariantList list = group.value(key).toList();
                list.append(text);
                group.insert(key, list);
            } else if (!group.contains(key)) {
                group.insert(key, text);
            }
            break;
        }
    }
    if (!group.isEmpty())
        props.insert(u"{IPTC}"_s, group);
}

// The IPTC record inside Photoshop's image resources (a JPEG's APP13 segments).
void addPhotoshopBlock(const QString &path, const QByteArray &resources, QVariantMap &props)
{
    guarded(path, "IPTC", [&] {
        const auto *bytes = reinterpret_cast<const Exiv2::byte *>(resources.constData());
        const Exiv2::byte *record = nullptr;
        uint32_t header = 0, size = 0;
        if (Exiv2::Photoshop::locateIptcIrb(bytes, long(resources.size()), &record, &header, &size) != 0)
            return;
        if (record + header + size > bytes + resources.size())
            return;
        Exiv2::IptcData data;
        if (Exiv2::IptcParser::decode(data, record + header, size) == 0)
            addIptcData(data, props);
    });
}

// ---------------------------------------------------------------------------------------------
// ICC profiles: only the description is wanted ('desc': a v2 textDescriptionType or a v4 mluc).

QString profileName(const QByteArray &icc)
{
    if (icc.size() < 132)
        return {};
    const char *p = icc.constData();
    const quint32 count = be32(p + 128);
    for (quint32 i = 0; i < count && 132 + 12 * qint64(i + 1) <= icc.size(); ++i) {
        const char *entry = p + 132 + 12 * i;
        if (qstrncmp(entry, "desc", 4) != 0)
            continue;
        const qint64 offset = be32(entry + 4), size = be32(entry + 8);
        if (offset + size > icc.size() || size < 12)
            return {};
        const char *tag = p + offset;
        if (qstrncmp(tag, "desc", 4) == 0) {
            const qint64 length = be32(tag + 8);
            if (length > size - 12)
                return {};
            return trimmed(QString::fromLatin1(tag + 12, length));
        }
        if (qstrncmp(tag, "mluc", 4) == 0 && size >= 16) {
            const quint32 records = be32(tag + 8), recordSize = be32(tag + 12);
            if (records == 0 || recordSize < 12 || 16 + qint64(recordSize) > size)
                return {};
            // The first record, unless an English one follows.
            qint64 pick = 16;
            for (quint32 r = 0; r < records && 16 + qint64(r + 1) * recordSize <= size; ++r) {
                if (qstrncmp(tag + 16 + r * recordSize, "en", 2) == 0) {
                    pick = 16 + r * recordSize;
                    break;
                }
            }
            const qint64 length = be32(tag + pick + 4), at = be32(tag + pick + 8);
            if (at + length > size)
                return {};
            QString text;
            for (qint64 k = 0; k + 1 < length; k += 2)
                text.append(QChar(char16_t(be16(tag + at + k))));
            return trimmed(text);
        }
        return {};
    }
    return {};
}

void addProfile(const QByteArray &icc, QVariantMap &props)
{
    const QString name = profileName(icc);
    if (!name.isEmpty())
        props.insert(u"ProfileName"_s, name);
}

// ---------------------------------------------------------------------------------------------
// Formats.

void setSize(QVariantMap &props, qint64 width, qint64 height)
{
    if (width <= 0 || height <= 0 || width > INT_MAX || height > INT_MAX)
        return;
    props.insert(u"PixelWidth"_s, int(width));
    props.insert(u"PixelHeight"_s, int(height));
}

void setPixels(QVariantMap &props, int depth, const QString &model, bool alpha)
{
    if (depth > 0)
        props.insert(u"Depth"_s, depth);
    if (!model.isEmpty())
        props.insert(u"ColorModel"_s, model);
    props.insert(u"HasAlpha"_s, alpha);
}

void readJpeg(Source &file, QVariantMap &props)
{
    QByteArray exif, photoshop;
    std::map<int, QByteArray> iccChunks;
    QVariantMap jfif;
    bool progressive = false;
    // Metadata can only be in the segments in front of the first scan: the walk ends at the
    // start of scan (or at anything that is not a segment), however large the file is.
    TQImageSegments::JpegWalker walker(file.file().fd(), file.size(), MaxBlocks);
    TQImageSegments::Block segment;
    while (walker.next(&segment)) {
        const int marker = segment.marker;
        if (marker == 0xda)
            break;
        const bool sof = marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (sof || marker == 0xe0 || marker == 0xe1 || marker == 0xe2 || marker == 0xed) {
            const QByteArray data = file.block(segment.dataOffset, segment.dataLength);
            if (data.isNull())
                break; // cut short or over budget: keep what came before
            const char *d = data.constData();
            if (sof && data.size() >= 6 && !props.contains(u"PixelWidth"_s)) {
                progressive = marker == 0xc2 || marker == 0xc6 || marker == 0xca || marker == 0xce;
                setSize(props, be16(d + 3), be16(d + 1));
                const int components = uchar(d[5]);
                setPixels(props, uchar(d[0]),
                          components == 1 ? u"Gray"_s : components == 4 ? u"CMYK"_s : u"RGB"_s, false);
            } else if (marker == 0xe0 && data.size() >= 12 && data.startsWith(QByteArrayView("JFIF\0", 5))) {
                jfif.insert(u"JFIFVersion"_s, QVariantList{int(uchar(d[5])), int(uchar(d[6]))});
                jfif.insert(u"DensityUnit"_s, int(uchar(d[7])));
                jfif.insert(u"XDensity"_s, int(be16(d + 8)));
                jfif.insert(u"YDensity"_s, int(be16(d + 10)));
            } else if (marker == 0xe1 && exif.isEmpty() && data.startsWith(QByteArrayView("Exif\0", 5))) {
                exif = data;
            } else if (marker == 0xe2 && data.size() > 14 && data.startsWith(QByteArrayView("ICC_PROFILE\0", 12))) {
                iccChunks[uchar(d[12])] = data.mid(14);
            } else if (marker == 0xed && data.startsWith(QByteArrayView("Photoshop 3.0\0", 14))) {
                photoshop += data.mid(14);
            }
        }
    }
    if (walker.stop() != TQImageSegments::Stop::StartOfScan)
        qCDebug(lcPlatform) << "stopped reading the segments of" << file.path() << ":"
                            << TQImageSegments::describe(walker.stop());
    if (!props.contains(u"PixelWidth"_s))
        return; // no frame header: not a JPEG we can say anything true about
    if (!jfif.isEmpty()) {
        jfif.insert(u"IsProgressive"_s, progressive);
        props.insert(u"{JFIF}"_s, jfif);
        const int unit = jfif.value(u"DensityUnit"_s).toInt();
        if (unit == 1 || unit == 2) {
            const double scale = unit == 2 ? 2.54 : 1.0;
            props.insert(u"DPIWidth"_s, jfif.value(u"XDensity"_s).toDouble() * scale);
            props.insert(u"DPIHeight"_s, jfif.value(u"YDensity"_s).toDouble() * scale);
        }
    }
    QByteArray icc;
    for (const auto &[sequence, chunk] : iccChunks)
        icc += chunk;
    addProfile(icc, props);
    if (!exif.isEmpty())
        addExifBlock(file.path(), exif, props);
    if (!photoshop.isEmpty())
        addPhotoshopBlock(file.path(), photoshop, props);
}

// ImageMagick and exiv2 keep a PNG's EXIF as hex text in a "Raw profile type exif" chunk:
// "\nexif\n<length>\n<hex digits, in lines>". The stated length bounds what is decoded.
QByteArray rawProfile(const QByteArray &text)
{
    const QList<QByteArray> parts = text.trimmed().split('\n');
    if (parts.size() < 3)
        return {};
    bool ok = false;
    const qint64 length = parts.at(1).trimmed().toLongLong(&ok);
    if (!ok || length <= 0 || length > MaxBlock)
        return {};
    QByteArray hex;
    for (qsizetype i = 2; i < parts.size() && hex.size() < 2 * length; ++i)
        hex += parts.at(i).trimmed();
    if (hex.size() < 2 * length)
        return {};
    return QByteArray::fromHex(hex.first(2 * length));
}

bool readPng(Source &file, QVariantMap &props)
{
    const QByteArray ihdr = file.peek(8, 25);
    if (ihdr.size() < 25 || be32(ihdr.constData()) != 13 || !ihdr.mid(4).startsWith("IHDR"))
        return false;
    const char *h = ihdr.constData() + 8;
    const quint32 width = be32(h), height = be32(h + 4);
    const int depth = uchar(h[8]), colour = uchar(h[9]), interlace = uchar(h[12]);
    static const QHash<int, QList<int>> depths{{0, {1, 2, 4, 8, 16}}, {2, {8, 16}}, {3, {1, 2, 4, 8}},
                                               {4, {8, 16}}, {6, {8, 16}}};
    if (width == 0 || height == 0 || width > INT_MAX || height > INT_MAX || !depths.value(colour).contains(depth)
        || interlace > 1) {
        qCDebug(lcPlatform) << file.path() << "has an impossible PNG header";
        return false;
    }
    setSize(props, width, height);
    const bool gray = colour == 0 || colour == 4;
    bool alpha = colour == 4 || colour == 6;
    QVariantMap png{{u"InterlaceType"_s, interlace}};
    QByteArray exif;

    // The chunks in front of the picture data; a length the file can't hold, or a chunk that
    // is no chunk (as in a hole of a sparse file), ends the walk.
    TQImageSegments::PngWalker walker(file.file().fd(), file.size(), 33, MaxBlocks, MaxScanOffset);
    TQImageSegments::Block chunk;
    while (walker.next(&chunk)) {
        const QByteArrayView type = chunk.typeName();
        const qint64 length = chunk.dataLength;
        if (type == "IDAT" || type == "IEND")
            break;
        const bool wanted = type == "pHYs" || type == "tRNS" || type == "iCCP" || type == "gAMA" || type == "sRGB"
                || type == "eXIf" || type == "tEXt" || type == "zTXt" || type == "iTXt";
        if (wanted && length <= MaxBlock) {
            const QByteArray data = file.block(chunk.dataOffset, length);
            if (data.isNull())
                break;
            const char *d = data.constData();
            if (type == "pHYs" && length == 9) {
                const quint32 x = be32(d), y = be32(d + 4);
                png.insert(u"XPixelsPerMeter"_s, int(x));
                png.insert(u"YPixelsPerMeter"_s, int(y));
                if (d[8] == 1 && x > 0 && y > 0) {
                    props.insert(u"DPIWidth"_s, x * 0.0254);
                    props.insert(u"DPIHeight"_s, y * 0.0254);
                }
            } else if (type == "tRNS") {
                alpha = true;
            } else if (type == "gAMA" && length == 4) {
                png.insert(u"Gamma"_s, be32(d) / 100000.0);
            } else if (type == "sRGB" && length == 1) {
                png.insert(u"sRGBIntent"_s, int(uchar(d[0])));
            } else if (type == "eXIf") {
                exif = data;
            } else {
                const qsizetype nul = data.indexOf('\0');
                // zTXt and iCCP: keyword, NUL, compression method (0, deflate), stream.
                const bool deflated = nul > 0 && nul + 2 <= data.size() && data.at(nul + 1) == 0;
                if (nul > 0 && nul + 2 <= data.size()) {
                    const QByteArray keyword = data.left(nul);
                    const QByteArrayView stream = QByteArrayView(data).sliced(nul + 2);
                    if (type == "iCCP") {
                        if (deflated)
                            addProfile(file.inflate(stream, "iCCP"), props);
                    } else if (type == "zTXt" && keyword.startsWith("Raw profile type ")) {
                        const QByteArray profile = keyword.mid(17).toLower();
                        if ((profile == "exif" || profile == "app1") && exif.isEmpty() && deflated)
                            exif = rawProfile(file.inflate(stream, "zTXt"));
                    } else {
                        static const QHash<QByteArray, QString> textKeys{
                                {"Title", u"Title"_s},       {"Author", u"Author"_s},
                                {"Description", u"Description"_s}, {"Copyright", u"Copyright"_s},
                                {"Software", u"Software"_s}, {"Comment", u"Comment"_s},
                                {"Creation Time", u"CreationTime"_s}};
                        const QString key = textKeys.value(keyword);
                        QString text;
                        if (!key.isEmpty() && type == "tEXt") {
                            text = QString::fromLatin1(data.mid(nul + 1));
                        } else if (!key.isEmpty() && type == "zTXt" && deflated) {
                            text = QString::fromLatin1(file.inflate(stream, "zTXt"));
                        } else if (!key.isEmpty() && type == "iTXt" && nul + 3 <= data.size()) {
                            // keyword, NUL, compressed flag, method, language, NUL, translated keyword, NUL, text
                            const bool compressed = d[nul + 1] != 0;
                            const qsizetype language = data.indexOf('\0', nul + 3);
                            const qsizetype translated = language < 0 ? -1 : data.indexOf('\0', language + 1);
                            if (translated >= 0) {
                                const QByteArrayView body = QByteArrayView(data).sliced(translated + 1);
                                if (!compressed)
                                    text = QString::fromUtf8(body);
                                else if (d[nul + 2] == 0)
                                    text = QString::fromUtf8(file.inflate(body, "iTXt"));
                            }
                        }
                        text = trimmed(text);
                        if (!text.isEmpty())
                            png.insert(key, text);
                    }
                }
            }
        }
    }
    setPixels(props, colour == 3 ? 8 : depth, gray ? u"Gray"_s : u"RGB"_s, alpha);
    props.insert(u"{PNG}"_s, png);
    if (!exif.isEmpty())
        addExifBlock(file.path(), exif, props);
    return true;
}

bool readWebP(Source &file, QVariantMap &props)
{
    const QByteArray riff = file.peek(4, 4);
    if (riff.size() < 4)
        return false;
    const qint64 riffEnd = std::min({file.size(), 8 + qint64(le32(riff.constData())), MaxScanOffset});
    QByteArray exif;
    bool alpha = false;
    qint64 pos = 12;
    // Every chunk must lie inside the RIFF container and the file; one that does not ends the
    // walk before anything is read of it.
    const auto fits = [&](qint64 length) { return length <= riffEnd - pos - 8; };
    for (int chunks = 0; chunks < MaxBlocks && pos + 8 <= riffEnd; ++chunks) {
        const QByteArray head = file.peek(pos, 8);
        if (head.size() < 8)
            break;
        const QByteArray type = head.left(4);
        const qint64 length = le32(head.constData() + 4);
        if (!fits(length))
            break;
        const bool image = type == "VP8 " || type == "VP8L";
        if (type == "VP8X" || image) {
            const QByteArray data = file.peek(pos + 8, std::min<qint64>(length, 16));
            const char *d = data.constData();
            if (type == "VP8X" && data.size() >= 10) {
                alpha = d[0] & 0x10;
                setSize(props, (le32(d + 4) & 0xffffff) + 1, (le32(d + 7) & 0xffffff) + 1);
            } else if (type == "VP8 " && data.size() >= 10 && qstrncmp(d + 3, "\x9d\x01\x2a", 3) == 0) {
                if (!props.contains(u"PixelWidth"_s))
                    setSize(props, le16(d + 6) & 0x3fff, le16(d + 8) & 0x3fff);
                setPixels(props, 8, u"RGB"_s, alpha);
                pos += 8 + length + (length & 1);
                break;
            } else if (type == "VP8L" && data.size() >= 5 && uchar(d[0]) == 0x2f) {
                const quint32 bits = le32(d + 1);
                if (!props.contains(u"PixelWidth"_s))
                    setSize(props, (bits & 0x3fff) + 1, ((bits >> 14) & 0x3fff) + 1);
                setPixels(props, 8, u"RGB"_s, alpha || (bits >> 28 & 1));
                pos += 8 + length + (length & 1);
                break;
            }
        } else if (type == "ICCP") {
            addProfile(file.block(pos + 8, length), props);
        } else if (type == "EXIF" && exif.isEmpty()) {
            exif = file.block(pos + 8, length);
        }
        pos += 8 + length + (length & 1);
    }
    // EXIF and ICC chunks sit before the bitstream only in an extended file; after it they
    // follow in the same order, so look once more past the picture data.
    if (exif.isEmpty() && props.contains(u"PixelWidth"_s)) {
        for (int chunks = 0; chunks < 64 && pos + 8 <= riffEnd; ++chunks) {
            const QByteArray head = file.peek(pos, 8);
            if (head.size() < 8)
                break;
            const qint64 length = le32(head.constData() + 4);
            if (!fits(length))
                break;
            if (head.startsWith("EXIF")) {
                exif = file.block(pos + 8, length);
                break;
            }
            pos += 8 + length + (length & 1);
        }
    }
    if (!props.contains(u"PixelWidth"_s))
        return false;
    if (!exif.isEmpty())
        addExifBlock(file.path(), exif, props);
    return true;
}

bool readGif(const Source &file, QVariantMap &props)
{
    // The extension blocks in front of the first frame lie in a small prefix; it is read once
    // and walked in memory.
    const QByteArray prefix = file.file().read(0, std::min(file.size(), MaxGifPrefix));
    if (prefix.size() < 13)
        return false;
    const char *h = prefix.constData();
    const int width = int(le16(h + 6)), height = int(le16(h + 8));
    const int packed = uchar(h[10]);
    const bool globalMap = packed & 0x80;
    bool alpha = false;
    // The transparency flag is in the graphic control extension in front of the first frame.
    qint64 pos = 13 + (globalMap ? 3 * (qint64(2) << (packed & 7)) : 0);
    const auto at = [&prefix](qint64 i) { return i < prefix.size() ? int(uchar(prefix.at(i))) : -1; };
    for (int blocks = 0; blocks < MaxBlocks && at(pos) == 0x21; ++blocks) {
        if (at(pos + 1) == 0xf9 && at(pos + 3) >= 0) {
            alpha = at(pos + 3) & 1;
            break;
        }
        pos += 2;
        while (at(pos) > 0)
            pos += 1 + at(pos);
        if (at(pos) < 0)
            break;
        ++pos;
    }
    setSize(props, width, height);
    if (!props.contains(u"PixelWidth"_s))
        return false;
    setPixels(props, 8, u"RGB"_s, alpha);
    props.insert(u"{GIF}"_s, QVariantMap{{u"HasGlobalColorMap"_s, globalMap},
                                         {u"CanvasPixelWidth"_s, width},
                                         {u"CanvasPixelHeight"_s, height}});
    return true;
}

bool readBmp(const Source &file, QVariantMap &props)
{
    const QByteArray head = file.peek(0, 70);
    if (head.size() < 26)
        return false;
    const char *h = head.constData();
    const quint32 header = le32(h + 14);
    if (header == 12) {
        setSize(props, le16(h + 18), le16(h + 20));
    } else if (header >= 40 && head.size() >= 46) {
        const qint32 height = qint32(le32(h + 22));
        setSize(props, qint32(le32(h + 18)), std::abs(qint64(height)));
        const int bits = int(le16(h + 28));
        const bool alpha = bits == 32 && header >= 56 && head.size() >= 70 && le32(h + 66) != 0;
        setPixels(props, 8, u"RGB"_s, alpha);
        const qint32 x = qint32(le32(h + 38)), y = qint32(le32(h + 42));
        if (x > 0 && y > 0) {
            props.insert(u"DPIWidth"_s, x * 0.0254);
            props.insert(u"DPIHeight"_s, y * 0.0254);
        }
    }
    return props.contains(u"PixelWidth"_s);
}

// A size libheif reports for a block it is about to copy out, checked like any declared size.
bool fitsBlock(const Source &file, size_t size)
{
    return size > 0 && size <= size_t(MaxBlock) && size <= size_t(file.size());
}

bool readHeif(Source &file, QVariantMap &props)
{
    heif_context *context = heif_context_alloc();
    if (!context)
        return false;
    heif_context_set_maximum_image_size_limit(context, MaxHeifSide);
    TQHeifInput input{&file.file()};
    heif_image_handle *handle = nullptr;
    bool ok = false;
    if (heif_context_read_from_reader(context, &TQHeifInput::reader, &input, nullptr).code == heif_error_Ok
        && heif_context_get_primary_image_handle(context, &handle).code == heif_error_Ok) {
        // The stored size, before the container's rotation: like every other format, the size is
        // what is stored and the orientation says how to turn it.
        setSize(props, heif_image_handle_get_ispe_width(handle), heif_image_handle_get_ispe_height(handle));
        ok = props.contains(u"PixelWidth"_s);
        if (ok) {
            setPixels(props, heif_image_handle_get_luma_bits_per_pixel(handle), u"RGB"_s,
                      heif_image_handle_has_alpha_channel(handle));
            const size_t iccSize = heif_image_handle_get_raw_color_profile_size(handle);
            if (fitsBlock(file, iccSize)) {
                QByteArray icc(qsizetype(iccSize), Qt::Uninitialized);
                if (heif_image_handle_get_raw_color_profile(handle, icc.data()).code == heif_error_Ok)
                    addProfile(icc, props);
            }
            heif_item_id id = 0;
            if (heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", &id, 1) == 1) {
                const size_t size = heif_image_handle_get_metadata_size(handle, id);
                if (size > 4 && fitsBlock(file, size)) {
                    QByteArray block(qsizetype(size), Qt::Uninitialized);
                    if (heif_image_handle_get_metadata(handle, id, block.data()).code == heif_error_Ok) {
                        // The block starts with the offset of the TIFF header past these four bytes.
                        const quint32 offset = be32(block.constData());
                        if (offset < size - 4)
                            addExifBlock(file.path(), block.mid(4 + offset), props);
                    }
                }
            }
        }
    }
    if (!ok)
        qCDebug(lcPlatform) << "libheif can't read" << file.path();
    if (handle)
        heif_image_handle_release(handle);
    heif_context_free(context);
    return ok;
}

// An IFD0 value that must be a small whole number, or -1.
int smallNumber(const Exiv2::ExifData &exif, const char *key)
{
    const auto it = exif.findKey(Exiv2::ExifKey(key));
    if (it == exif.end() || it->count() == 0)
        return -1;
    const std::optional<int> value = wholeInt(numberAt(ParsedValue(it->value()), 0));
    return value && *value >= 0 && *value <= 0xffff ? *value : -1;
}

// TIFF and the TIFF-like camera RAW formats: exiv2 parses the IFDs itself, given the file only
// when its content is one of the still formats exiv2 is trusted with.
bool readWithExiv2(Source &file, bool plainTiff, QVariantMap &props)
{
    bool ok = false;
    guarded(file.path(), "metadata", [&] {
        auto image = TQExiv2::open(file.file(), file.path());
        if (!image.get())
            return;
        image->readMetadata();
        setSize(props, image->pixelWidth(), image->pixelHeight());
        const Exiv2::ExifData &exif = image->exifData();
        if (plainTiff) {
            const int bits = smallNumber(exif, "Exif.Image.BitsPerSample");
            const int photometric = smallNumber(exif, "Exif.Image.PhotometricInterpretation");
            const int samples = smallNumber(exif, "Exif.Image.SamplesPerPixel");
            const int colours = photometric == 0 || photometric == 1 || photometric == 3 ? 1 : photometric == 5 ? 4 : 3;
            const QString model = photometric == 0 || photometric == 1 ? u"Gray"_s
                                : photometric == 5 ? u"CMYK"_s
                                : photometric == 8 || photometric == 9 ? u"Lab"_s
                                : u"RGB"_s;
            const bool alpha = smallNumber(exif, "Exif.Image.ExtraSamples") >= 0 || samples > colours;
            setPixels(props, bits > 0 ? bits : 1, photometric == 3 ? u"RGB"_s : model, alpha);
        }
        if (image->iccProfileDefined()) {
            const Exiv2::DataBuf *icc = image->iccProfile();
            if (icc->size_ > 0 && icc->size_ <= MaxBlock)
                addProfile(QByteArray(reinterpret_cast<const char *>(icc->pData_), qsizetype(icc->size_)), props);
        }
        addExifData(exif, props);
        addIptcData(image->iptcData(), props);
        ok = true;
    });
    return ok && props.contains(u"PixelWidth"_s);
}

bool isRawName(const QString &path)
{
    static const QStringList suffixes{u"dng"_s, u"cr2"_s, u"cr3"_s, u"crw"_s, u"nef"_s, u"nrw"_s, u"arw"_s,
                                      u"srf"_s, u"sr2"_s, u"orf"_s, u"rw2"_s, u"raw"_s, u"pef"_s, u"raf"_s,
                                      u"srw"_s, u"3fr"_s, u"erf"_s, u"kdc"_s, u"dcr"_s, u"mrw"_s, u"mef"_s,
                                      u"mos"_s, u"iiq"_s, u"x3f"_s, u"rwl"_s};
    const qsizetype dot = path.lastIndexOf(u'.');
    return dot >= 0 && suffixes.contains(path.mid(dot + 1).toLower());
}

Format formatOfHint(const QString &hint)
{
    static const QHash<QString, Format> formats{
            {u"public.jpeg"_s, Format::Jpeg},       {u"public.png"_s, Format::Png},
            {u"public.tiff"_s, Format::Tiff},       {u"org.webmproject.webp"_s, Format::WebP},
            {u"com.compuserve.gif"_s, Format::Gif}, {u"com.microsoft.bmp"_s, Format::Bmp},
            {u"public.heic"_s, Format::Heif},       {u"public.heif"_s, Format::Heif},
            {u"public.heif-standard"_s, Format::Heif}, {u"public.avif"_s, Format::Heif},
            {u"public.heics"_s, Format::Heif}};
    if (hint.isEmpty())
        return Format::Unknown;
    const Format f = formats.value(hint, Format::Unknown);
    if (f == Format::Unknown && hint.contains(u"raw-image"_s))
        return Format::Raw;
    return f;
}

bool matches(Format format, const QByteArray &head)
{
    const auto starts = [&head](const char *magic, qsizetype length) {
        return head.startsWith(QByteArrayView(magic, length));
    };
    switch (format) {
    case Format::Jpeg:
        return starts("\xff\xd8\xff", 3);
    case Format::Png:
        return starts("\x89PNG\r\n\x1a\n", 8);
    case Format::Tiff:
        return starts("II*\0", 4) || starts("MM\0*", 4);
    case Format::WebP:
        return starts("RIFF", 4) && head.mid(8, 4) == "WEBP";
    case Format::Gif:
        return starts("GIF87a", 6) || starts("GIF89a", 6);
    case Format::Bmp:
        return starts("BM", 2) && head.size() >= 26;
    case Format::Heif: {
        if (head.size() < 16 || head.mid(4, 4) != "ftyp")
            return false;
        static const QList<QByteArray> brands{"heic", "heix", "hevc", "hevx", "heim", "heis", "hevm",
                                              "hevs", "mif1", "msf1", "avif", "avis"};
        const qint64 box = std::min<qint64>(be32(head.constData()), head.size());
        for (qint64 at = 8; at + 4 <= box; at += at == 8 ? 8 : 4) // major brand, then the compatible ones
            if (brands.contains(head.mid(at, 4)))
                return true;
        return false;
    }
    case Format::Raw:
        return starts("II*\0", 4) || starts("MM\0*", 4) || starts("IIRO", 4) || starts("IIRS", 4)
                || starts("MMOR", 4) || starts("IIU\0", 4) || starts("FUJIFILMCCD-RAW", 15)
                || starts("\0MRM", 4) || starts("FOVb", 4) || (head.size() >= 14 && head.mid(6, 8) == "HEAPCCDR");
    case Format::Unknown:
        break;
    }
    return false;
}

Format sniff(const QByteArray &head, const QString &path)
{
    for (Format f : {Format::Jpeg, Format::Png, Format::WebP, Format::Heif, Format::Gif, Format::Bmp}) {
        if (matches(f, head))
            return f;
    }
    if (matches(Format::Tiff, head))
        return isRawName(path) ? Format::Raw : Format::Tiff;
    if (matches(Format::Raw, head) || isRawName(path))
        return Format::Raw;
    return Format::Unknown;
}

void finish(QVariantMap &props)
{
    const QVariantMap tiff = props.value(u"{TIFF}"_s).toMap();
    const std::optional<int> orientation = wholeInt(tiff.value(u"Orientation"_s));
    if (orientation && *orientation >= 1 && *orientation <= 8)
        props.insert(u"Orientation"_s, *orientation);
    // The EXIF resolution wins over the format's own density, as ImageIO has it.
    const double x = tiff.value(u"XResolution"_s).toDouble(), y = tiff.value(u"YResolution"_s).toDouble();
    const int unit = wholeInt(tiff.value(u"ResolutionUnit"_s, 2)).value_or(0);
    if (std::isfinite(x) && std::isfinite(y) && x > 0 && y > 0 && (unit == 2 || unit == 3)) {
        const double scale = unit == 3 ? 2.54 : 1.0;
        props.insert(u"DPIWidth"_s, x * scale);
        props.insert(u"DPIHeight"_s, y * scale);
    }
}

QVariantMap read(const QByteArray &nativePath, const QString &typeHint)
{
    const QString path = QFile::decodeName(nativePath);
    const TQRegularFile opened(nativePath);
    if (!opened.isOpen()) {
        if (opened.refused())
            opened.warnIfRefused(path, "its image properties");
        else
            qCDebug(lcPlatform) << "can't open" << path << "for its image properties:" << opened.error();
        return {};
    }
    Source file(opened, path);
    const QByteArray head = file.peek(0, 64);
    Format format = formatOfHint(typeHint);
    if (format == Format::Tiff && isRawName(path))
        format = Format::Raw;
    if (format == Format::Unknown || !matches(format, head))
        format = sniff(head, path);
    if (format == Format::Unknown) {
        qCDebug(lcPlatform) << path << "is not a picture format the properties reader knows";
        return {};
    }
    TQExiv2::prepare();
    QVariantMap props;
    switch (format) {
    case Format::Jpeg:
        readJpeg(file, props);
        break;
    case Format::Png:
        readPng(file, props);
        break;
    case Format::WebP:
        readWebP(file, props);
        break;
    case Format::Gif:
        readGif(file, props);
        break;
    case Format::Bmp:
        readBmp(file, props);
        break;
    case Format::Heif:
        readHeif(file, props);
        break;
    case Format::Tiff:
    case Format::Raw:
        readWithExiv2(file, format == Format::Tiff, props);
        break;
    case Format::Unknown:
        break;
    }
    if (!props.contains(u"PixelWidth"_s) && !props.contains(u"{Exif}"_s) && !props.contains(u"{TIFF}"_s))
        return {};
    finish(props);
    return props;
}

} // namespace

QVariantMap propertiesOfFile(const QByteArray &nativePath, const QString &typeHint)
{
    try {
        return read(nativePath, typeHint);
    } catch (const std::exception &e) {
        qCDebug(lcPlatform) << "no image properties for" << QFile::decodeName(nativePath) << ":" << e.what();
    } catch (...) {
        qCDebug(lcPlatform) << "no image properties for" << QFile::decodeName(nativePath);
    }
    return {};
}

QVariantMap propertiesOfFile(const QString &path, const QString &typeHint)
{
    return propertiesOfFile(QFile::encodeName(path), typeHint);
}

} // namespace TQImageProperties

void TQImageProperties_setExiv2OnlyForTesting(bool exiv2Only)
{
    TQImageProperties::exiv2Only.store(exiv2Only);
}

int TQImageProperties_directExifReadsForTesting()
{
    return TQImageProperties::directReads.load();
}
