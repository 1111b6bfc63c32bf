// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientationWriter.h"

#include "TQExiv2_p.h"
#include "TQHeifInput_p.h"
#include "TQImageSegments_p.h"
#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"

#include <QByteArray>
#include <QFile>
#include <QRandomGenerator>

#include <exiv2/exiv2.hpp>
#include <libheif/heif.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <exception>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace TQImageOrientationWriter {
namespace {

constexpr quint16 OrientationTag = 0x0112;
constexpr qint64 CopyChunk = 1 << 20;
constexpr qint64 MaxExiv2Size = qint64(1) << 30;
// Segments in front of a JPEG's first scan; real files have a few dozen.
constexpr int MaxSegments = 1 << 16;

// Failures travel as this one exception from wherever they are noticed up to
// writeOrientation(), whose locals (descriptors, the temporary copy) clean up on the way.
struct Refusal
{
    Result result;
    QString message;
};

[[noreturn]] void refuse(Result result, const QString &message)
{
    throw Refusal{result, message};
}

[[noreturn]] void refuseErrno(int error, const QString &what)
{
    const Result result = (error == ENOSPC || error == EDQUOT || error == EFBIG) ? Result::NoSpace
                        : error == EROFS ? Result::ReadOnlyFolder
                        : Result::IoError;
    refuse(result, what + u": "_s + qt_error_string(error));
}

QString quoted(const QString &path)
{
    return u"\u201c"_s + path + u"\u201d"_s;
}

struct Descriptor
{
    int fd = -1;
    Descriptor() = default;
    explicit Descriptor(int fd) : fd(fd) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() { reset(); }
    void reset(int other = -1)
    {
        if (fd >= 0)
            ::close(fd);
        fd = other;
    }
};

// ---------------------------------------------------------------------------------------------
// Reading: every parser goes through Reader, which turns a read past the end into "Corrupt".
// pread keeps no shared offset, so the original and the copy can be read side by side.

class Reader
{
public:
    Reader(int fd, qint64 size, const QString &path) : m_fd(fd), m_size(size), m_path(path) {}

    int fd() const { return m_fd; }
    qint64 size() const { return m_size; }
    const QString &path() const { return m_path; }

    void read(qint64 offset, void *to, qint64 length) const
    {
        if (offset < 0 || length < 0 || offset > m_size || length > m_size - offset)
            refuse(Result::Corrupt, quoted(m_path) + u" is truncated or malformed"_s);
        auto *out = static_cast<char *>(to);
        while (length > 0) {
            const ssize_t n = ::pread(m_fd, out, size_t(length), offset);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0)
                refuseErrno(errno, u"Can't read "_s + quoted(m_path));
            if (n == 0)
                refuse(Result::IoError, quoted(m_path) + u" became shorter while it was read"_s);
            out += n;
            offset += n;
            length -= n;
        }
    }

    [[noreturn]] void corrupt(const QString &why) const
    {
        refuse(Result::Corrupt, quoted(m_path) + u" is damaged: "_s + why);
    }

private:
    int m_fd;
    qint64 m_size;
    QString m_path;
};

quint16 get16(const uchar *p, bool big)
{
    return big ? quint16(p[0] << 8 | p[1]) : quint16(p[1] << 8 | p[0]);
}

quint32 get32(const uchar *p, bool big)
{
    return big ? quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | p[3]
               : quint32(p[3]) << 24 | quint32(p[2]) << 16 | quint32(p[1]) << 8 | p[0];
}

// Byte ranges (absolute offset, length) whose concatenation is a file's picture data.
using Ranges = std::vector<std::pair<qint64, qint64>>;

// ---------------------------------------------------------------------------------------------
// TIFF structure: a whole TIFF-based file, the Exif block of a JPEG, or a PNG's eXIf chunk.
// Offsets inside are relative to `base`, and nothing may point past `limit`.

struct TiffEntry
{
    quint16 tag;
    quint16 type;
    quint32 count;
    qint64 at; // absolute offset of the 12-byte entry
    std::array<uchar, 4> inlineValue;
};

class Tiff
{
public:
    Tiff(const Reader &reader, qint64 base, qint64 limit) : r(reader), m_base(base), m_limit(limit)
    {
        uchar header[8];
        if (limit - base < 8)
            r.corrupt(u"its TIFF header is cut short"_s);
        r.read(base, header, 8);
        if (header[0] == 'I' && header[1] == 'I')
            m_big = false;
        else if (header[0] == 'M' && header[1] == 'M')
            m_big = true;
        else
            r.corrupt(u"its TIFF header names no byte order"_s);
        // 42 is TIFF's own; Olympus writes "RO" or "RS" there and keeps the same structure.
        const quint16 magic = get16(header + 2, m_big);
        if (magic != 42 && magic != 0x4f52 && magic != 0x5352)
            refuse(Result::UnsupportedFormat, quoted(r.path()) + u" is not a classic TIFF structure"_s);
        m_first = get32(header + 4, m_big);
    }

    bool bigEndian() const { return m_big; }
    quint32 firstIfd() const { return m_first; }

    std::vector<TiffEntry> ifd(quint32 offset, quint32 *next) const
    {
        const qint64 at = m_base + offset;
        if (offset < 8 || at + 2 > m_limit)
            r.corrupt(u"an IFD lies outside the TIFF structure"_s);
        uchar countBytes[2];
        r.read(at, countBytes, 2);
        const quint16 count = get16(countBytes, m_big);
        const qint64 bytes = 12 * qint64(count);
        if (at + 2 + bytes > m_limit)
            r.corrupt(u"an IFD runs past the end of its block"_s);
        QByteArray block(bytes + 4, '\0');
        // Some writers end the last IFD right at the end of the block, without its link.
        const bool hasLink = at + 2 + bytes + 4 <= m_limit;
        r.read(at + 2, block.data(), hasLink ? bytes + 4 : bytes);
        const auto *p = reinterpret_cast<const uchar *>(block.constData());
        std::vector<TiffEntry> entries;
        entries.reserve(count);
        for (int i = 0; i < count; ++i, p += 12) {
            TiffEntry e{get16(p, m_big), get16(p + 2, m_big), get32(p + 4, m_big), at + 2 + 12 * i, {}};
            std::copy(p + 8, p + 12, e.inlineValue.begin());
            entries.push_back(e);
        }
        *next = hasLink ? get32(p, m_big) : 0;
        return entries;
    }

    // The numbers of a SHORT, LONG or IFD entry; anything else here is malformed.
    std::vector<quint32> values(const TiffEntry &e) const
    {
        const int size = e.type == 3 ? 2 : (e.type == 4 || e.type == 13) ? 4 : 0;
        if (size == 0 || qint64(e.count) * size > m_limit - m_base)
            r.corrupt(u"a layout tag has an impossible type or count"_s);
        const qint64 bytes = qint64(e.count) * size;
        QByteArray data;
        if (bytes <= 4) {
            data = QByteArray(reinterpret_cast<const char *>(e.inlineValue.data()), 4);
        } else {
            const qint64 at = m_base + get32(e.inlineValue.data(), m_big);
            if (at + bytes > m_limit)
                r.corrupt(u"a layout tag points past the end of the file"_s);
            data.resize(bytes);
            r.read(at, data.data(), bytes);
        }
        const auto *p = reinterpret_cast<const uchar *>(data.constData());
        std::vector<quint32> out(e.count);
        for (quint32 i = 0; i < e.count; ++i)
            out[i] = size == 2 ? get16(p + 2 * i, m_big) : get32(p + 4 * i, m_big);
        return out;
    }

    // Where IFD0's Orientation value sits. Only a SHORT with count 1 is patched: any other
    // form would need a value of another size, which is exiv2's job.
    void findOrientation(std::vector<qint64> *patchAt, int *current) const
    {
        quint32 next = 0;
        bool patchable = true;
        for (const TiffEntry &e : ifd(m_first, &next)) {
            if (e.tag != OrientationTag)
                continue;
            if (e.type != 3 || e.count != 1) {
                patchable = false;
                continue;
            }
            if (patchAt->empty())
                *current = get16(e.inlineValue.data(), m_big);
            patchAt->push_back(e.at + 8);
        }
        if (!patchable)
            patchAt->clear();
    }

    // The strips, tiles and embedded JPEG previews of every IFD in the main chain and their
    // SubIFDs, in file order of discovery. A rewrite by exiv2 must reproduce them exactly.
    Ranges imageData() const
    {
        Ranges out;
        std::set<quint32> seen;
        collect(m_first, 0, &seen, &out);
        return out;
    }

private:
    void collect(quint32 offset, int depth, std::set<quint32> *seen, Ranges *out) const
    {
        static constexpr std::array<std::pair<quint16, quint16>, 3> Pairs{{
            {0x0111, 0x0117}, // StripOffsets, StripByteCounts
            {0x0144, 0x0145}, // TileOffsets, TileByteCounts
            {0x0201, 0x0202}, // JPEGInterchangeFormat, its length
        }};
        while (offset != 0) {
            if (!seen->insert(offset).second || seen->size() > 512 || depth > 4)
                r.corrupt(u"its IFDs form a loop or an absurd tree"_s);
            quint32 next = 0;
            const std::vector<TiffEntry> entries = ifd(offset, &next);
            const auto find = [&entries](quint16 tag) {
                return std::find_if(entries.begin(), entries.end(),
                                    [tag](const TiffEntry &e) { return e.tag == tag; });
            };
            for (const auto &[offsetsTag, countsTag] : Pairs) {
                const auto offsets = find(offsetsTag);
                const auto counts = find(countsTag);
                if (offsets == entries.end() || counts == entries.end())
                    continue;
                const std::vector<quint32> starts = values(*offsets);
                const std::vector<quint32> lengths = values(*counts);
                if (starts.size() != lengths.size())
                    r.corrupt(u"its strip or tile tables disagree in length"_s);
                for (size_t i = 0; i < starts.size(); ++i) {
                    const qint64 at = m_base + starts[i];
                    if (at + qint64(lengths[i]) > m_limit)
                        r.corrupt(u"picture data lies past the end of the file"_s);
                    out->emplace_back(at, qint64(lengths[i]));
                }
            }
            const auto subIfds = find(0x014a);
            if (subIfds != entries.end()) {
                for (quint32 sub : values(*subIfds))
                    collect(sub, depth + 1, seen, out);
            }
            offset = next;
        }
    }

    const Reader &r;
    qint64 m_base;
    qint64 m_limit;
    bool m_big = false;
    quint32 m_first = 0;
};

// ---------------------------------------------------------------------------------------------
// What each format looks like to this writer.

enum class Format { Jpeg, Png, Tiff };

struct Layout
{
    Format format = Format::Jpeg;
    bool bigEndian = false;
    std::vector<qint64> patchAt; // the Orientation value's two bytes; empty: exiv2 adds the tag
    int current = 0;             // the orientation the file states now, 0 when we can't tell
    qint64 pngChunk = -1;        // start of the eXIf chunk whose CRC follows a patch
    quint32 pngChunkLength = 0;
    bool jpegMpf = false;
    Ranges imageData;
};

// The segments up to the first scan, then the scan data up to EOI. Requiring the EOI is
// what tells a complete JPEG from one cut off in the middle of its picture.
// What a walk that ended on damage means for a rewrite: a file that can't be read is an I/O
// fault, anything else a file that isn't whole.
[[noreturn]] void walkRefused(const Reader &r, TQImageSegments::Stop stop, const char *format)
{
    if (stop == TQImageSegments::Stop::ReadFailed)
        refuse(Result::IoError, quoted(r.path()) + u" can't be read, or became shorter while it was read"_s);
    r.corrupt(u"its %1 structure ends early: "_s.arg(QLatin1StringView(format))
              + QLatin1StringView(TQImageSegments::describe(stop)));
}

Layout inspectJpeg(const Reader &r)
{
    Layout layout;
    layout.format = Format::Jpeg;
    // Every segment is at least four bytes, so the walk is bounded by the file; the budget
    // only keeps a file of nothing but tiny segments from costing more than a real one could.
    TQImageSegments::JpegWalker walker(r.fd(), r.size(), MaxSegments);
    TQImageSegments::Block segment;
    bool seenExif = false;
    while (walker.next(&segment)) {
        uchar head[6] = {};
        if (segment.marker == 0xe1 || segment.marker == 0xe2)
            r.read(segment.dataOffset, head, std::min<qint64>(sizeof head, segment.dataLength));
        if (segment.marker == 0xe1 && segment.dataLength >= 14 && !seenExif && std::memcmp(head, "Exif\0\0", 6) == 0) {
            seenExif = true; // readers take the first Exif segment; so do we
            const Tiff exif(r, segment.dataOffset + 6, segment.end);
            layout.bigEndian = exif.bigEndian();
            exif.findOrientation(&layout.patchAt, &layout.current);
        } else if (segment.marker == 0xe2 && segment.dataLength >= 4 && std::memcmp(head, "MPF\0", 4) == 0) {
            layout.jpegMpf = true;
        } else if (segment.marker == 0xda) {
            layout.imageData.emplace_back(segment.offset, r.size() - segment.offset);
        }
    }
    if (walker.stop() != TQImageSegments::Stop::StartOfScan)
        walkRefused(r, walker.stop(), "JPEG");
    // Requiring the EOI is what tells a complete JPEG from one cut off in its picture data.
    if (walker.endOfImage(segment.end) < 0) {
        if (walker.readFailed())
            walkRefused(r, TQImageSegments::Stop::ReadFailed, "JPEG");
        r.corrupt(u"its picture data is cut short (no end-of-image marker)"_s);
    }
    return layout;
}

constexpr std::array<quint32, 256> crcTable()
{
    std::array<quint32, 256> table{};
    for (quint32 n = 0; n < 256; ++n) {
        quint32 c = n;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
        table[n] = c;
    }
    return table;
}

quint32 crc32(const QByteArray &data)
{
    static constexpr std::array<quint32, 256> Table = crcTable();
    quint32 c = 0xffffffffu;
    for (char ch : data)
        c = Table[(c ^ uchar(ch)) & 0xff] ^ (c >> 8);
    return c ^ 0xffffffffu;
}

// The chunk list up to IEND. Only an eXIf chunk is patched in place; EXIF kept as a
// "Raw profile" text chunk (what exiv2 writes) is hex inside zlib and goes through exiv2.
Layout inspectPng(const Reader &r)
{
    Layout layout;
    layout.format = Format::Png;
    bool textExif = false;
    // IDAT chunks are walked too (their bytes are compared after a rewrite), so the budget is
    // only the file: every chunk takes at least twelve bytes of it.
    TQImageSegments::PngWalker walker(r.fd(), r.size(), 8, INT_MAX);
    TQImageSegments::Block chunk;
    while (walker.next(&chunk)) {
        const qint64 pos = chunk.offset;
        const qint64 length = chunk.dataLength;
        const QByteArrayView type = chunk.typeName();
        if (pos == 8 && type != "IHDR")
            r.corrupt(u"it doesn't start with an IHDR chunk"_s);
        if (type == "IEND")
            break;
        if (type.at(0) >= 'A' && type.at(0) <= 'Z')
            layout.imageData.emplace_back(pos + 4, length + 4); // type and data
        if (type == "eXIf" && layout.pngChunk < 0) {
            QByteArray data(length + 8, '\0');
            r.read(pos + 4, data.data(), data.size());
            const auto *crc = reinterpret_cast<const uchar *>(data.constData()) + 4 + length;
            const qint64 skip = length >= 6 && std::memcmp(data.constData() + 4, "Exif\0\0", 6) == 0 ? 6 : 0;
            const Tiff exif(r, pos + 8 + skip, pos + 8 + length);
            layout.bigEndian = exif.bigEndian();
            exif.findOrientation(&layout.patchAt, &layout.current);
            // A chunk whose CRC is already wrong is not ours to "repair" silently.
            if (crc32(data.left(4 + length)) != get32(crc, true))
                layout.patchAt.clear();
            layout.pngChunk = pos;
            layout.pngChunkLength = quint32(length);
        } else if (type == "tEXt" || type == "zTXt" || type == "iTXt") {
            QByteArray keyword(std::min<qint64>(length, 22), '\0');
            r.read(pos + 8, keyword.data(), keyword.size());
            textExif = textExif || keyword.startsWith("Raw profile type exif")
                    || keyword.startsWith("Raw profile type APP1");
        }
    }
    if (walker.stop() != TQImageSegments::Stop::EndChunk)
        walkRefused(r, walker.stop(), "PNG");
    // EXIF in both an eXIf chunk and a text chunk: exiv2 keeps the eXIf's and drops the other
    // tags, and patching the eXIf alone would leave two answers. Neither is ours to choose.
    if (textExif && layout.pngChunk >= 0)
        refuse(Result::UnsupportedFormat,
               quoted(r.path()) + u" holds its EXIF twice, in an eXIf chunk and in text; either write would lose or contradict one"_s);
    if (textExif) {
        // Only exiv2 writes the text form.
        layout.patchAt.clear();
        layout.current = 0;
    }
    return layout;
}

Layout inspectTiff(const Reader &r)
{
    Layout layout;
    layout.format = Format::Tiff;
    const Tiff tiff(r, 0, r.size());
    layout.bigEndian = tiff.bigEndian();
    tiff.findOrientation(&layout.patchAt, &layout.current);
    layout.imageData = tiff.imageData();
    if (layout.imageData.empty())
        r.corrupt(u"it has no strips or tiles"_s);
    return layout;
}

Layout inspect(const Reader &r)
{
    uchar magic[8] = {};
    if (r.size() >= 8)
        r.read(0, magic, 8);
    Layout layout;
    if (magic[0] == 0xff && magic[1] == 0xd8 && magic[2] == 0xff)
        layout = inspectJpeg(r);
    else if (std::memcmp(magic, "\x89PNG\r\n\x1a\n", 8) == 0)
        layout = inspectPng(r);
    else if (std::memcmp(magic, "II*\0", 4) == 0 || std::memcmp(magic, "MM\0*", 4) == 0
             || std::memcmp(magic, "IIRO", 4) == 0 || std::memcmp(magic, "IIRS", 4) == 0
             || std::memcmp(magic, "MMOR", 4) == 0)
        layout = inspectTiff(r);
    else
        refuse(Result::UnsupportedFormat,
               quoted(r.path()) + u" is not a JPEG, PNG, TIFF or TIFF-based camera RAW file"_s);

    qint64 total = 0;
    for (const auto &range : layout.imageData)
        total += range.second;
    // Overlapping strips could make the comparison below read the file a million times over.
    if (total > 2 * r.size() + CopyChunk)
        r.corrupt(u"its picture data overlaps itself"_s);
    return layout;
}

bool sameBytes(const Reader &a, const Ranges &ra, const Reader &b, const Ranges &rb)
{
    const auto total = [](const Ranges &ranges) {
        qint64 sum = 0;
        for (const auto &range : ranges)
            sum += range.second;
        return sum;
    };
    if (total(ra) != total(rb))
        return false;
    QByteArray bufA, bufB;
    size_t ia = 0, ib = 0;
    qint64 offA = 0, offB = 0; // progress inside the current range of each
    while (ia < ra.size() && ib < rb.size()) {
        const qint64 n = std::min({ra[ia].second - offA, rb[ib].second - offB, CopyChunk});
        if (n > 0) {
            bufA.resize(n);
            bufB.resize(n);
            a.read(ra[ia].first + offA, bufA.data(), n);
            b.read(rb[ib].first + offB, bufB.data(), n);
            if (bufA != bufB)
                return false;
        }
        offA += n;
        offB += n;
        if (offA == ra[ia].second) { ++ia; offA = 0; }
        if (offB == rb[ib].second) { ++ib; offB = 0; }
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// Writing the copy.

void writeAll(int fd, const char *data, qint64 length, qint64 offset, const QString &path)
{
    while (length > 0) {
        const ssize_t n = ::pwrite(fd, data, size_t(length), offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            refuseErrno(errno, u"Can't write the copy of "_s + quoted(path));
        data += n;
        offset += n;
        length -= n;
    }
}

void copyContents(const Reader &from, int fromFd, int to, const QString &path)
{
    // copy_file_range lets the file system share or clone extents; a plain loop covers
    // the file systems and kernels that can't.
    loff_t in = 0, out = 0;
    while (in < from.size()) {
        const ssize_t n = ::copy_file_range(fromFd, &in, to, &out, size_t(from.size() - in), 0);
        if (n > 0)
            continue;
        if (n < 0 && errno == EINTR)
            continue;
        if (n == 0)
            refuse(Result::IoError, quoted(path) + u" became shorter while it was copied"_s);
        if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP)
            refuseErrno(errno, u"Can't copy "_s + quoted(path));
        QByteArray buffer;
        while (in < from.size()) {
            buffer.resize(std::min<qint64>(CopyChunk, from.size() - in));
            from.read(in, buffer.data(), buffer.size());
            writeAll(to, buffer.constData(), buffer.size(), in, path);
            in += buffer.size();
        }
    }
}

void patchInPlace(int fd, const Layout &layout, int orientation, const QString &path)
{
    const char value[2] = {char(layout.bigEndian ? 0 : orientation), char(layout.bigEndian ? orientation : 0)};
    for (qint64 at : layout.patchAt)
        writeAll(fd, value, 2, at, path);
    if (layout.format != Format::Png)
        return;
    const Reader copy(fd, layout.pngChunk + 12 + layout.pngChunkLength, path);
    QByteArray chunk(4 + qint64(layout.pngChunkLength), '\0');
    copy.read(layout.pngChunk + 4, chunk.data(), chunk.size());
    const quint32 crc = crc32(chunk);
    const char bytes[4] = {char(crc >> 24), char(crc >> 16), char(crc >> 8), char(crc)};
    writeAll(fd, bytes, 4, layout.pngChunk + 8 + layout.pngChunkLength, path);
}

// The whole file as exiv2 writes it with the tag added (or retyped), or an empty array when
// exiv2 finds the file already stating `orientation` in a form we didn't patch. exiv2 works
// in memory only: the file system sees nothing but our own writes, whose errors we can tell
// apart (exiv2 doesn't report a short write at all).
QByteArray rewriteWithExiv2(const QByteArray &file, int orientation, const QString &path)
{
    TQExiv2::prepare();
    const Exiv2::ExifKey key("Exif.Image.Orientation");
    const auto why = [](const std::exception &e) { return QString::fromLocal8Bit(e.what()); };
    const auto bytes = [](const QByteArray &a) { return reinterpret_cast<const Exiv2::byte *>(a.constData()); };
    QByteArray out;
    bool reading = true;
    try {
        auto image = Exiv2::ImageFactory::open(bytes(file), long(file.size()));
        if (!image.get())
            refuse(Result::UnsupportedFormat, u"exiv2 doesn't know the format of "_s + quoted(path));
        TQExiv2::complaints() = 0;
        image->readMetadata();
        if (TQExiv2::complaints() > 0)
            refuse(Result::Corrupt, u"exiv2 can't read all of "_s + quoted(path)
                                            + u" and would drop the rest in a rewrite"_s);
        if (TQExiv2::statedOrientation(image->exifData()) == orientation)
            return {};
        image->exifData()[key.key()] = uint16_t(orientation);
        // Hand back the XMP packet as it was read: re-serialising it would reformat it.
        image->writeXmpFromPacket(true);
        reading = false;
        image->writeMetadata();

        Exiv2::BasicIo &io = image->io();
        if (io.open() != 0)
            refuse(Result::IoError, u"exiv2 lost its rewrite of "_s + quoted(path));
        out.resize(io.size());
        const long got = io.read(reinterpret_cast<Exiv2::byte *>(out.data()), long(out.size()));
        io.close();
        if (got != long(out.size()))
            refuse(Result::IoError, u"exiv2 lost its rewrite of "_s + quoted(path));
    } catch (const std::exception &e) { // Exiv2::AnyError, std::bad_alloc, std::out_of_range, …
        refuse(reading ? Result::Corrupt : Result::IoError,
               u"exiv2 can't "_s + (reading ? u"read "_s : u"rewrite "_s) + quoted(path) + u": "_s + why(e));
    }
    try {
        auto check = Exiv2::ImageFactory::open(bytes(out), long(out.size()));
        check->readMetadata();
        if (TQExiv2::statedOrientation(check->exifData()) == orientation)
            return out;
    } catch (const std::exception &e) {
        qCDebug(lcPlatform) << "exiv2 can't read back its rewrite of" << path << why(e);
    }
    refuse(Result::IoError, u"exiv2's rewrite of "_s + quoted(path) + u" doesn't read back as written"_s);
}

void copyAttributes(int from, int to, const struct stat &original, const QString &path)
{
    // The owner first: a change of owner clears set-id bits, which the mode then restores.
    // Only a privileged process may give a file away; anyone else's copy stays theirs.
    if (::fchown(to, original.st_uid, original.st_gid) != 0 && ::fchown(to, uid_t(-1), original.st_gid) != 0)
        qCDebug(lcPlatform) << "the rewritten" << path << "keeps the writer's owner:" << qt_error_string(errno);
    if (::fchmod(to, original.st_mode & 07777) != 0)
        refuseErrno(errno, u"Can't give the copy of "_s + quoted(path) + u" its mode"_s);

    QByteArray names;
    for (;;) {
        const ssize_t size = ::flistxattr(from, nullptr, 0);
        if (size < 0 && (errno == ENOTSUP || errno == ENOSYS))
            return;
        if (size < 0)
            refuseErrno(errno, u"Can't list the extended attributes of "_s + quoted(path));
        names.resize(size);
        const ssize_t got = ::flistxattr(from, names.data(), size_t(names.size()));
        if (got >= 0) {
            names.truncate(got);
            break;
        }
        if (errno != ERANGE) // ERANGE: one was added in between
            refuseErrno(errno, u"Can't list the extended attributes of "_s + quoted(path));
    }
    QByteArray value;
    for (const QByteArray &name : names.split('\0')) {
        if (name.isEmpty())
            continue;
        ssize_t size = ::fgetxattr(from, name.constData(), nullptr, 0);
        if (size >= 0) {
            value.resize(size);
            size = ::fgetxattr(from, name.constData(), value.data(), size_t(value.size()));
        }
        if (size >= 0 && ::fsetxattr(to, name.constData(), value.constData(), size_t(size), 0) == 0)
            continue;
        // The user's own attributes (tags, labels, comments) must not be lost; security and
        // trusted ones are the system's business and often not ours to set.
        if (name.startsWith("user."))
            refuseErrno(errno, u"Can't carry over the extended attribute %1 of "_s.arg(QString::fromUtf8(name))
                                       + quoted(path));
        qCDebug(lcPlatform) << "not carried over to the rewritten" << path << name << qt_error_string(errno);
    }
}

// ---------------------------------------------------------------------------------------------
// The copy's name. Hidden, next to the file, and spelled only for this file, so that a later
// write of the same file can recognise a copy left behind by a killed writer and nothing else:
// ".<name>.XXXXXX", six letters or digits. A name too long for that keeps its start and a
// checksum of the whole ("~" and eight hex digits) in place of its end.

constexpr int SuffixLength = 6;
constexpr qsizetype NameMax = 255;
// A copy this long untouched and not locked belongs to a writer that died, even where the
// file system can't say whether it is locked.
constexpr int StaleAfterSeconds = 5;

QByteArray copyPrefix(const QByteArray &name)
{
    const qsizetype room = NameMax - 2 - SuffixLength;
    if (name.size() <= room)
        return '.' + name + '.';
    const QByteArray sum = QByteArray::number(crc32(name), 16).rightJustified(8, '0');
    return '.' + name.left(room - 9) + '~' + sum + '.';
}

bool isCopyName(const char *entry, const QByteArray &prefix)
{
    const qsizetype length = qsizetype(std::strlen(entry));
    if (length != prefix.size() + SuffixLength || std::memcmp(entry, prefix.constData(), size_t(prefix.size())) != 0)
        return false;
    return std::all_of(entry + prefix.size(), entry + length,
                       [](char c) { return std::isalnum(uchar(c)) && uchar(c) < 0x80; });
}

QByteArray randomSuffix()
{
    static constexpr char Letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QByteArray suffix(SuffixLength, '\0');
    for (char &c : suffix)
        c = Letters[QRandomGenerator::global()->bounded(int(sizeof Letters - 1))];
    return suffix;
}

// Every copy is locked by its writer (an open file description lock, which dies with the
// process) from before it has a name, or, where it is named from the start, from before its
// mode leaves 0000. So a named copy that is unlocked and not of mode 0000 is dead for certain;
// a file system that keeps no locks leaves only the copy's age to go by.
bool lockCopy(int fd)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

enum class LockState { Held, Free, Unknown };

LockState lockState(int fd)
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(fd, F_OFD_GETLK, &lock) != 0)
        return LockState::Unknown;
    return lock.l_type == F_UNLCK ? LockState::Free : LockState::Held;
}

// Removes the copies of this file that killed writers left behind: exactly this file's name
// pattern, regular files of ours with no other name, and dead (see lockCopy).
void removeDeadCopies(int folderFd, const QByteArray &prefix, const QString &path)
{
    const int listFd = ::openat(folderFd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = listFd < 0 ? nullptr : ::fdopendir(listFd);
    if (!dir) {
        if (listFd >= 0)
            ::close(listFd);
        return;
    }
    const time_t now = ::time(nullptr);
    while (const dirent *entry = ::readdir(dir)) {
        if (!isCopyName(entry->d_name, prefix))
            continue;
        struct stat st = {};
        if (::fstatat(folderFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode)
            || st.st_uid != ::geteuid() || st.st_nlink != 1)
            continue;
        const Descriptor copy(::openat(folderFd, entry->d_name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
        struct stat opened = {};
        if (copy.fd < 0 || ::fstat(copy.fd, &opened) != 0 || opened.st_dev != st.st_dev || opened.st_ino != st.st_ino)
            continue;
        const LockState lock = lockState(copy.fd);
        const bool old = now - opened.st_mtim.tv_sec >= StaleAfterSeconds;
        if (!(lock == LockState::Free && (opened.st_mode & 07777) != 0) && !(lock != LockState::Held && old))
            continue;
        if (::unlinkat(folderFd, entry->d_name, 0) == 0)
            qCDebug(lcPlatform) << "removed" << entry->d_name << "a writer of" << path << "left behind";
    }
    ::closedir(dir);
}

// What a folder's refusal to take the copy means, named after the folder.
[[noreturn]] void folderRefused(int error, const QString &folder, const QString &path)
{
    if (error == EACCES || error == EPERM)
        refuse(Result::ReadOnlyFolder, u"The folder "_s + quoted(folder) + u" doesn't let a rewritten copy of "_s
                                               + quoted(path) + u" be put in it: "_s + qt_error_string(error));
    if (error == EROFS)
        refuse(Result::ReadOnlyFolder, u"The file system of "_s + quoted(folder) + u" is mounted read-only"_s);
    if (error == ENOSPC || error == EDQUOT || error == EFBIG)
        refuse(Result::NoSpace, u"The file system of "_s + quoted(folder) + u" has no room for a copy of "_s
                                        + quoted(path) + u": "_s + qt_error_string(error));
    refuseErrno(error, u"Can't make a copy of "_s + quoted(path) + u" in "_s + quoted(folder));
}

// The copy, removed unless it was renamed into place. Where the file system allows, it has
// no name while it is written (O_TMPFILE) and gets one only right before the rename, so a
// kill at any other moment leaves nothing behind; elsewhere it is named from the start.
class TemporaryCopy
{
public:
    TemporaryCopy(int folderFd, const QByteArray &prefix, const QString &folder, const QString &path)
        : m_folderFd(folderFd), m_prefix(prefix), m_folder(folder), m_path(path)
    {
        m_fd.reset(::openat(folderFd, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
        if (m_fd.fd < 0 && errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
            folderRefused(errno, folder, path);
        const bool named = m_fd.fd < 0;
        for (int attempt = 0; m_fd.fd < 0 && attempt < 100; ++attempt) {
            const QByteArray name = m_prefix + randomSuffix();
            // Mode 0000 until it is locked, so that no other writer takes it for a dead copy.
            m_fd.reset(::openat(folderFd, name.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0));
            if (m_fd.fd >= 0)
                m_name = name;
            else if (errno != EEXIST)
                folderRefused(errno, folder, path);
        }
        if (m_fd.fd < 0)
            refuse(Result::IoError, u"No free name for a copy of "_s + quoted(path));
        if (!lockCopy(m_fd.fd))
            qCDebug(lcPlatform) << "the copy of" << path << "can't be locked:" << qt_error_string(errno);
        if (named && ::fchmod(m_fd.fd, 0600) != 0)
            refuseErrno(errno, u"Can't give the copy of "_s + quoted(path) + u" a mode"_s);
    }
    TemporaryCopy(const TemporaryCopy &) = delete;
    TemporaryCopy &operator=(const TemporaryCopy &) = delete;
    ~TemporaryCopy()
    {
        if (!m_name.isEmpty() && !m_kept)
            ::unlinkat(m_folderFd, m_name.constData(), 0);
    }

    int fd() const { return m_fd.fd; }
    const QByteArray &name() const { return m_name; }
    void keep() { m_kept = true; }

    // Gives an unnamed copy its name, the last step before the rename.
    void link()
    {
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd.fd);
        for (int attempt = 0; m_name.isEmpty() && attempt < 100; ++attempt) {
            const QByteArray name = m_prefix + randomSuffix();
            // The descriptor itself takes privilege; anyone may go through /proc.
            int linked = ::linkat(m_fd.fd, "", m_folderFd, name.constData(), AT_EMPTY_PATH);
            if (linked != 0 && errno == ENOENT)
                linked = ::linkat(AT_FDCWD, self.constData(), m_folderFd, name.constData(), AT_SYMLINK_FOLLOW);
            if (linked == 0)
                m_name = name;
            else if (errno != EEXIST)
                folderRefused(errno, m_folder, m_path);
        }
        if (m_name.isEmpty())
            refuse(Result::IoError, u"No free name for a copy of "_s + quoted(m_path));
    }

private:
    int m_folderFd;
    QByteArray m_prefix;
    QString m_folder;
    QString m_path;
    Descriptor m_fd;
    QByteArray m_name;
    bool m_kept = false;
};

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size
            && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

const char *kindOf(mode_t mode)
{
    return S_ISFIFO(mode) ? "a named pipe" : S_ISCHR(mode) || S_ISBLK(mode) ? "a device"
         : S_ISSOCK(mode) ? "a socket" : "not a regular file";
}

Result write(const QByteArray &native, int orientation)
{
    const QString path = QFile::decodeName(native);
    if (orientation < 1 || orientation > 8)
        refuse(Result::InvalidOrientation,
               u"%1 is not an EXIF orientation (1 to 8); "_s.arg(orientation) + quoted(path) + u" is unchanged"_s);
    struct stat before = {};
    if (native.isEmpty() || native.contains('\0') || ::lstat(native.constData(), &before) != 0) {
        const int error = native.isEmpty() || native.contains('\0') ? ENOENT : errno;
        if (error == ENOENT || error == ENOTDIR)
            refuse(Result::NotFound, u"There is no file "_s + quoted(path));
        refuseErrno(error, u"Can't look at "_s + quoted(path));
    }
    if (S_ISLNK(before.st_mode))
        refuse(Result::NotAFile, quoted(path) + u" is a symbolic link; pass the file it points to"_s);
    if (S_ISDIR(before.st_mode))
        refuse(Result::NotAFile, quoted(path) + u" is a folder"_s);
    if (!S_ISREG(before.st_mode)) {
        qCWarning(lcPlatform, "Not writing an orientation into %s: it is %s", qUtf8Printable(path),
                  kindOf(before.st_mode));
        refuse(Result::NotAFile, quoted(path) + u" is "_s + QLatin1StringView(kindOf(before.st_mode)));
    }

    const qsizetype slash = native.lastIndexOf('/');
    const QByteArray folder = slash < 0 ? QByteArray(".") : slash == 0 ? QByteArray("/") : native.left(slash);
    const QByteArray name = native.mid(slash + 1);
    const QString folderName = QFile::decodeName(folder);
    Descriptor folderFd(::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat folderStat = {};
    struct statvfs volume = {};
    if (folderFd.fd < 0 || ::fstat(folderFd.fd, &folderStat) != 0)
        refuseErrno(errno, u"Can't open the folder "_s + quoted(folderName));
    // Each refusal names what refuses: the file system, the file's own mode, the folder's.
    if (::fstatvfs(folderFd.fd, &volume) == 0 && (volume.f_flag & ST_RDONLY))
        refuse(Result::ReadOnlyFolder, quoted(path) + u" lies on a file system mounted read-only"_s);
    // As everywhere in the library, a mode that grants nobody the right counts even for root.
    if ((before.st_mode & 0222) == 0)
        refuse(Result::ReadOnlyFile, quoted(path) + u" is read-only: its permissions let nobody write to it"_s);
    if (::access(native.constData(), W_OK) != 0)
        refuse(Result::ReadOnlyFile, quoted(path) + u" can't be written to: "_s + qt_error_string(errno));
    if ((folderStat.st_mode & 0222) == 0)
        refuse(Result::ReadOnlyFolder, u"The folder "_s + quoted(folderName) + u" is read-only: its permissions "
                                                                                 u"let nobody replace "_s + quoted(path));
    if (::access(folder.constData(), W_OK) != 0)
        refuse(Result::ReadOnlyFolder, u"The folder "_s + quoted(folderName) + u" doesn't let "_s + quoted(path)
                                               + u" be replaced: "_s + qt_error_string(errno));

    const TQRegularFile source(native);
    if (!source.isOpen()) {
        source.warnIfRefused(path, "writing an orientation");
        if (source.refused())
            refuse(Result::NotAFile, quoted(path) + u" "_s + source.error());
        refuse(Result::IoError, u"Can't open "_s + quoted(path) + u": "_s + source.error());
    }
    const struct stat opened = source.status();
    if (!sameFile(before, opened))
        refuse(Result::IoError, quoted(path) + u" changed while it was opened"_s);

    const Reader original(source.fd(), opened.st_size, path);
    const Layout layout = inspect(original);
    if (layout.current == orientation)
        return Result::AlreadySet;
    if (layout.format == Format::Jpeg && layout.patchAt.empty() && layout.jpegMpf)
        refuse(Result::UnsupportedFormat,
               quoted(path) + u" holds further pictures (MPF) that adding an orientation tag would misplace"_s);

    const bool inPlace = !layout.patchAt.empty();
    QByteArray rewrite;
    if (!inPlace) {
        // exiv2 rewrites in memory, a few copies at once; past this a RAW file would exhaust
        // a modest machine before exiv2 got anywhere.
        if (original.size() > MaxExiv2Size)
            refuse(Result::UnsupportedFormat,
                   quoted(path) + u" is too large to have an orientation tag added (it has none to patch)"_s);
        QByteArray contents(original.size(), '\0');
        original.read(0, contents.data(), contents.size());
        rewrite = rewriteWithExiv2(contents, orientation, path);
        if (rewrite.isEmpty())
            return Result::AlreadySet;
    }

    const QByteArray prefix = copyPrefix(name);
    removeDeadCopies(folderFd.fd, prefix, path);
    TemporaryCopy copy(folderFd.fd, prefix, folderName, path);
    if (inPlace) {
        copyContents(original, source.fd(), copy.fd(), path);
        patchInPlace(copy.fd(), layout, orientation, path);
    } else {
        writeAll(copy.fd(), rewrite.constData(), rewrite.size(), 0, path);
        rewrite = QByteArray(); // a RAW file can be large; don't hold it twice
    }

    struct stat copied = {};
    if (::fstat(copy.fd(), &copied) != 0 || !S_ISREG(copied.st_mode))
        refuse(Result::IoError, u"The copy of "_s + quoted(path) + u" vanished"_s);
    const Reader rewritten(copy.fd(), copied.st_size, path);
    Layout after;
    try {
        after = inspect(rewritten);
    } catch (const Refusal &r) {
        refuse(Result::IoError, u"The rewritten copy doesn't hold together: "_s + r.message);
    }
    // A PNG rewritten by exiv2 keeps EXIF where only exiv2 reads it; exiv2 checked it above.
    if (after.current != orientation && !(layout.format == Format::Png && !inPlace && after.patchAt.empty()))
        refuse(Result::IoError, u"The copy of "_s + quoted(path) + u" doesn't read back as written"_s);
    if (!sameBytes(original, layout.imageData, rewritten, after.imageData))
        refuse(Result::ImageDataWouldChange,
               u"Writing the orientation would have changed the picture data of "_s + quoted(path)
                       + u"; it is left as it was"_s);

    copyAttributes(source.fd(), copy.fd(), opened, path);
    if (::fsync(copy.fd()) != 0)
        refuseErrno(errno, u"Can't flush the copy of "_s + quoted(path));

    // The last look before the rename: the name must still hold the file that was read. Then
    // the copy gets its name and replaces the file, two calls in a row, the one moment a kill
    // can leave a copy behind.
    struct stat now = {};
    if (::fstatat(folderFd.fd, name.constData(), &now, AT_SYMLINK_NOFOLLOW) != 0 || !sameFile(opened, now))
        refuse(Result::IoError, quoted(path) + u" changed while it was being rewritten; it is left as it is now"_s);
    copy.link();
    if (::renameat(folderFd.fd, copy.name().constData(), folderFd.fd, name.constData()) != 0) {
        const int error = errno;
        if (error == EPERM || error == EACCES)
            refuse(Result::ReadOnlyFolder, u"The folder "_s + quoted(folderName) + u" doesn't let "_s + quoted(path)
                                                   + u" be replaced (a sticky folder keeps others' files): "_s
                                                   + qt_error_string(error));
        refuseErrno(error, u"Can't put the rewritten "_s + quoted(path) + u" in place"_s);
    }
    copy.keep();
    // The new contents are in place either way; a folder that can't be flushed only makes the
    // rename less durable across a crash, which is worth a line but not a failure.
    if (::fsync(folderFd.fd) != 0)
        qCWarning(lcPlatform) << "can't flush the folder of" << path << qt_error_string(errno);
    qCDebug(lcPlatform) << "wrote orientation" << orientation << "into" << path
                        << (inPlace ? "by patching its tag" : "through exiv2");
    return Result::Written;
}

// ---------------------------------------------------------------------------------------------
// Reading the stored orientation.

// The orientation IFD0 of an in-memory TIFF structure states, through the same checks as
// exiv2's values get. Only for HEIF, whose EXIF block libheif hands over as bytes.
int orientationInTiff(const QByteArray &tiff)
{
    const auto *p = reinterpret_cast<const uchar *>(tiff.constData());
    const qint64 size = tiff.size();
    if (size < 8 || !((p[0] == 'I' && p[1] == 'I') || (p[0] == 'M' && p[1] == 'M')))
        return 0;
    const bool big = p[0] == 'M';
    const qint64 ifd = get32(p + 4, big);
    if (get16(p + 2, big) != 42 || ifd + 2 > size)
        return 0;
    const int count = get16(p + ifd, big);
    for (qint64 e = ifd + 2; e + 12 <= size && e < ifd + 2 + 12 * qint64(count); e += 12) {
        const quint16 type = get16(p + e + 2, big);
        if (get16(p + e, big) != OrientationTag || get32(p + e + 4, big) != 1)
            continue;
        const quint32 bits = get32(p + e + 8, big);
        switch (type) {
        case 1: return TQExiv2::wholeOrientation(p[e + 8]);
        case 6: return TQExiv2::wholeOrientation(qint8(p[e + 8]));
        case 3: return TQExiv2::wholeOrientation(get16(p + e + 8, big));
        case 8: return TQExiv2::wholeOrientation(qint16(get16(p + e + 8, big)));
        case 4: return TQExiv2::wholeOrientation(bits);
        case 9: return TQExiv2::wholeOrientation(qint32(bits));
        case 5:
        case 10: {
            if (qint64(bits) + 8 > size)
                return 0;
            const quint32 numerator = get32(p + bits, big), denominator = get32(p + bits + 4, big);
            if (denominator == 0)
                return 0;
            return TQExiv2::wholeOrientation(type == 5 ? double(numerator) / denominator
                                                       : double(qint32(numerator)) / qint32(denominator));
        }
        case 11: return TQExiv2::wholeOrientation(std::bit_cast<float>(bits));
        case 12: {
            if (qint64(bits) + 8 > size)
                return 0;
            const quint64 wide = quint64(get32(p + bits + (big ? 0 : 4), big)) << 32 | get32(p + bits + (big ? 4 : 0), big);
            return TQExiv2::wholeOrientation(std::bit_cast<double>(wide));
        }
        default: return 0;
        }
    }
    return 0;
}

// A HEIF's EXIF orientation, read by libheif through the checked descriptor.
int heifOrientation(const TQRegularFile &file, const QString &path)
{
    TQHeifInput source{&file};

    heif_context *context = heif_context_alloc();
    heif_image_handle *handle = nullptr;
    int orientation = 0;
    heif_item_id id = 0;
    if (context && heif_context_read_from_reader(context, &TQHeifInput::reader, &source, nullptr).code == heif_error_Ok
        && heif_context_get_primary_image_handle(context, &handle).code == heif_error_Ok) {
        orientation = 1;
        if (heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", &id, 1) == 1) {
            const size_t size = heif_image_handle_get_metadata_size(handle, id);
            // EXIF rarely passes 64 KiB; a block claiming more than this is not worth reading.
            if (size > 4 && size <= (size_t(1) << 22)) {
                QByteArray block(qsizetype(size), '\0');
                if (heif_image_handle_get_metadata(handle, id, block.data()).code == heif_error_Ok) {
                    // Four bytes give where the TIFF header starts after them.
                    const quint32 skip = get32(reinterpret_cast<const uchar *>(block.constData()), true);
                    if (skip < size - 4)
                        orientation = std::max(1, orientationInTiff(block.mid(4 + skip)));
                }
            }
        }
    } else {
        qCDebug(lcPlatform) << "libheif can't read" << path;
    }
    if (handle)
        heif_image_handle_release(handle);
    heif_context_free(context);
    return orientation;
}

int read(const QByteArray &native)
{
    const QString path = QFile::decodeName(native);
    const TQRegularFile file(native);
    if (!file.isOpen()) {
        file.warnIfRefused(path, "its orientation");
        return 0;
    }
    const QByteArray head = file.read(0, 32);
    if (heif_check_filetype(reinterpret_cast<const uint8_t *>(head.constData()), int(head.size())) != heif_filetype_no)
        return heifOrientation(file, path);
    try {
        const auto image = TQExiv2::open(file, path);
        if (!image.get())
            return 0;
        image->readMetadata();
        return std::max(1, TQExiv2::statedOrientation(image->exifData()));
    } catch (const std::exception &e) { // Exiv2::AnyError, std::bad_alloc, std::out_of_range, …
        qCDebug(lcPlatform) << "no orientation read from" << path << ":" << e.what();
        return 0;
    }
}

} // namespace

Result writeOrientation(const QByteArray &nativePath, int orientation, QString *error)
{
    Refusal refusal{Result::IoError, {}};
    try {
        const Result result = write(nativePath, orientation);
        if (error)
            error->clear();
        return result;
    } catch (const Refusal &r) {
        refusal = r;
    } catch (const std::bad_alloc &) {
        refusal.message = u"Not enough memory to rewrite "_s + quoted(QFile::decodeName(nativePath));
    } catch (const std::exception &e) {
        refusal.message = u"Can't rewrite "_s + quoted(QFile::decodeName(nativePath)) + u": "_s
                + QString::fromLocal8Bit(e.what());
    }
    qCDebug(lcPlatform) << "orientation not written:" << refusal.message;
    if (error)
        *error = refusal.message;
    return refusal.result;
}

Result writeOrientation(const QString &path, int orientation, QString *error)
{
    return writeOrientation(QFile::encodeName(path), orientation, error);
}

int readOrientation(const QByteArray &nativePath)
{
    return read(nativePath);
}

int readOrientation(const QString &path)
{
    return read(QFile::encodeName(path));
}

} // namespace TQImageOrientationWriter
