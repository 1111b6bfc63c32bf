// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageSegments_p.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

namespace TQImageSegments {
namespace {

// Segment heads are a few bytes; a page covers the next several of them in one read.
constexpr qint64 HeadWindow = 4096;
// Scan data is searched byte by byte for its end; a large window keeps that to a few reads.
constexpr qint64 ScanWindow = 1 << 20;

quint32 be16(const uchar *p) { return quint32(p[0]) << 8 | p[1]; }
quint32 be32(const uchar *p) { return be16(p) << 16 | be16(p + 2); }

bool isLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

} // namespace

const char *describe(Stop stop)
{
    switch (stop) {
    case Stop::Walking: return "the walk has not ended";
    case Stop::StartOfScan: return "the picture data begins";
    case Stop::EndOfImage: return "it ends before its picture data";
    case Stop::EndChunk: return "the last chunk was reached";
    case Stop::NotAMarker: return "a segment doesn't start with a marker";
    case Stop::NotAChunk: return "a chunk has a type that is no chunk type";
    case Stop::BadLength: return "a block declares a length shorter than its own header";
    case Stop::PastEnd: return "a block runs past the end of the file";
    case Stop::TooMany: return "it has more blocks than any picture needs";
    case Stop::TooFar: return "its metadata lies further into the file than is searched";
    case Stop::ReadFailed: return "it can't be read, or became shorter while it was read";
    }
    return "";
}

// ---------------------------------------------------------------------------------------------

bool Window::fill(qint64 pos, qint64 need)
{
    if (pos < 0 || pos >= m_size || m_failed)
        return false;
    if (pos >= m_start && pos + need <= m_start + m_buffer.size())
        return true;
    const qint64 length = std::min(m_capacity, m_size - pos);
    m_buffer.resize(length);
    qint64 got = 0;
    while (got < length) {
        const ssize_t n = ::pread(m_fd, m_buffer.data() + got, size_t(length - got), off_t(pos + got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            // Inside the measured size, a short read means the file changed or failed.
            m_failed = true;
            m_buffer.clear();
            return false;
        }
        got += n;
    }
    m_start = pos;
    return true;
}

int Window::at(qint64 pos)
{
    if (!fill(pos))
        return -1;
    return uchar(m_buffer.at(pos - m_start));
}

bool Window::copy(qint64 pos, void *to, qint64 length)
{
    if (length < 0 || length > m_capacity || pos < 0 || length > m_size - pos)
        return false;
    if (length == 0)
        return true;
    if (!fill(pos, length))
        return false;
    std::memcpy(to, m_buffer.constData() + (pos - m_start), size_t(length));
    return true;
}

qint64 Window::nextFF(qint64 pos)
{
    while (fill(pos)) {
        const char *from = m_buffer.constData() + (pos - m_start);
        const qint64 left = m_buffer.size() - (pos - m_start);
        if (const void *hit = std::memchr(from, 0xff, size_t(left)))
            return pos + (static_cast<const char *>(hit) - from);
        pos += left;
    }
    return -1;
}

// ---------------------------------------------------------------------------------------------

JpegWalker::JpegWalker(int fd, qint64 size, int maxSegments)
    : m_window(fd, size, HeadWindow)
    , m_fd(fd)
    , m_left(maxSegments)
{
}

bool JpegWalker::end(Stop why)
{
    m_stop = why;
    return false;
}

bool JpegWalker::next(Block *segment)
{
    if (m_stop != Stop::Walking)
        return false;
    // Fill bytes and standalone markers cost one window look-up each and carry no length, so
    // a file of nothing else is walked in linear time without counting against the budget.
    for (;;) {
        const int first = m_window.at(m_pos);
        if (first != 0xff)
            return end(m_window.failed() ? Stop::ReadFailed : first < 0 ? Stop::PastEnd : Stop::NotAMarker);
        int marker = m_window.at(m_pos + 1);
        while (marker == 0xff) {
            ++m_pos;
            marker = m_window.at(m_pos + 1);
        }
        if (marker < 0)
            return end(m_window.failed() ? Stop::ReadFailed : Stop::PastEnd);
        if (marker == 0xd9)
            return end(Stop::EndOfImage);
        if (marker == 0x01 || (marker >= 0xd0 && marker <= 0xd8)) {
            m_pos += 2;
            continue;
        }
        if (m_left-- <= 0)
            return end(Stop::TooMany);
        uchar head[4];
        if (!m_window.copy(m_pos, head, 4))
            return end(m_window.failed() ? Stop::ReadFailed : Stop::PastEnd);
        const qint64 length = be16(head + 2);
        if (length < 2)
            return end(Stop::BadLength);
        if (length > m_window.size() - m_pos - 2)
            return end(Stop::PastEnd);
        segment->marker = marker;
        std::memset(segment->type, 0, sizeof segment->type);
        segment->offset = m_pos;
        segment->dataOffset = m_pos + 4;
        segment->dataLength = length - 2;
        segment->end = m_pos + 2 + length;
        m_pos = segment->end;
        if (marker == 0xda)
            m_stop = Stop::StartOfScan; // handed out, and the last one
        return true;
    }
}

qint64 JpegWalker::endOfImage(qint64 from)
{
    Window scan(m_fd, m_window.size(), ScanWindow);
    // In scan data a 0xFF is followed by 0x00 (a stuffed byte), a restart marker, or, in a
    // progressive file, a table or the next scan's header, which carry their own lengths.
    for (qint64 p = scan.nextFF(from); p >= 0; p = scan.nextFF(p)) {
        const int marker = scan.at(p + 1);
        if (marker == 0xd9)
            return p;
        if (marker == 0x00 || marker == 0xff || (marker >= 0xd0 && marker <= 0xd7)) {
            p += marker == 0xff ? 1 : 2;
            continue;
        }
        if (marker < 0)
            break;
        const int hi = scan.at(p + 2), lo = scan.at(p + 3);
        if (hi < 0 || lo < 0 || (hi << 8 | lo) < 2)
            break;
        p += 2 + (hi << 8 | lo);
    }
    m_scanFailed = scan.failed();
    return -1;
}

// ---------------------------------------------------------------------------------------------

PngWalker::PngWalker(int fd, qint64 size, qint64 start, int maxChunks, qint64 maxOffset)
    : m_window(fd, size, HeadWindow)
    , m_pos(start)
    , m_left(maxChunks)
    , m_maxOffset(maxOffset)
{
}

bool PngWalker::end(Stop why)
{
    m_stop = why;
    return false;
}

bool PngWalker::next(Block *chunk)
{
    if (m_stop != Stop::Walking)
        return false;
    if (m_pos >= m_maxOffset)
        return end(Stop::TooFar);
    if (m_left-- <= 0)
        return end(Stop::TooMany);
    uchar head[8];
    if (!m_window.copy(m_pos, head, 8))
        return end(m_window.failed() ? Stop::ReadFailed : Stop::PastEnd);
    const qint64 length = be32(head);
    const char *type = reinterpret_cast<const char *>(head + 4);
    // A PNG's types are letters; anything else is damage, or a hole in a sparse file, whose
    // zero "lengths" would otherwise be walked twelve bytes at a time.
    if (!std::all_of(type, type + 4, isLetter))
        return end(Stop::NotAChunk);
    if (length > 0x7fffffff || length > m_window.size() - m_pos - 12)
        return end(Stop::PastEnd);
    std::memcpy(chunk->type, type, 4);
    chunk->marker = 0;
    chunk->offset = m_pos;
    chunk->dataOffset = m_pos + 8;
    chunk->dataLength = length;
    chunk->end = m_pos + 12 + length;
    m_pos = chunk->end;
    if (chunk->isType("IEND"))
        m_stop = Stop::EndChunk;
    return true;
}

} // namespace TQImageSegments
