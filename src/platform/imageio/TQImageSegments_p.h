// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <climits>
#include <cstring>

// The block structure of the two formats the platform layer both reads and rewrites: a JPEG's
// marker segments and a PNG's chunks. The properties reader and the orientation writer walk
// the same structure; they differ only in what they do with a segment and in how they answer
// a damaged one (the reader keeps what came before, the writer refuses the file), so the walk
// stops with a reason and leaves the answer to the caller.
//
// The walk reads through a descriptor with pread and never allocates from a size the file
// declares: every declared length is checked against the file's size before it is believed,
// every step moves forward by at least the bytes it read, and the number of steps is capped.
// The descriptor must stay open, and the file the size describes, while a walker is used.
// One walker per thread; it holds no global state.
namespace TQImageSegments {

// Why a walk ended. Everything but a structural end (the first scan, IEND) is a damage report.
enum class Stop {
    Walking,       // not ended yet
    StartOfScan,   // a JPEG's first SOS was handed out: what follows is picture data
    EndOfImage,    // a JPEG's EOI came before any scan
    EndChunk,      // a PNG's IEND was handed out
    NotAMarker,    // a JPEG byte where a marker must be is no 0xFF
    NotAChunk,     // a PNG chunk type that is not four ASCII letters
    BadLength,     // a declared length smaller than its own header
    PastEnd,       // a block, or the header of the next one, runs past the end of the file
    TooMany,       // more blocks than the walk's budget
    TooFar,        // the next block starts beyond the walk's offset limit
    ReadFailed,    // the file could not be read, or shrank, inside its measured size
};

// A short text for logs: "a segment runs past the end of the file", ...
const char *describe(Stop stop);

// One JPEG segment that carries a length, or one PNG chunk.
struct Block
{
    int marker = 0;          // JPEG: the marker byte (0xe1 for APP1, 0xda for SOS, ...)
    char type[4] = {};       // PNG: the chunk type
    qint64 offset = 0;       // where it starts: the JPEG marker's 0xFF, the PNG length field
    qint64 dataOffset = 0;   // its payload
    qint64 dataLength = 0;   // the payload's length, checked to lie inside the file
    qint64 end = 0;          // the first byte after it (for PNG, after the CRC)

    bool isType(const char (&name)[5]) const { return std::memcmp(type, name, 4) == 0; }
    QByteArrayView typeName() const { return QByteArrayView(type, 4); }
};

// A small cache of the file around the walk, so that a run of fill bytes or a JPEG's scan data
// costs one pread per window instead of one per byte.
class Window
{
public:
    Window(int fd, qint64 size, qint64 capacity) : m_fd(fd), m_size(size), m_capacity(capacity) {}

    qint64 size() const { return m_size; }
    bool failed() const { return m_failed; }

    // The byte at `pos`; -1 past the end or when it can't be read (failed() then says so).
    int at(qint64 pos);
    // `length` bytes (at most the capacity) at `pos` into `to`; false when they are not all there.
    bool copy(qint64 pos, void *to, qint64 length);
    // The first 0xFF at or after `pos`; -1 when none.
    qint64 nextFF(qint64 pos);

private:
    // Makes [pos, pos + need) held, reading from `pos` when it is not.
    bool fill(qint64 pos, qint64 need = 1);

    int m_fd;
    qint64 m_size;
    qint64 m_capacity;
    QByteArray m_buffer;
    qint64 m_start = 0;
    bool m_failed = false;
};

// A JPEG's segments from its SOI up to and including the first SOS. Standalone markers
// (TEM, RSTn, a second SOI) and fill bytes are passed over; each segment handed out has a
// length that lies inside the file. The walk does not look into picture data, except when
// asked for the end of image.
class JpegWalker
{
public:
    JpegWalker(int fd, qint64 size, int maxSegments);

    // The next segment; false once the walk has ended, stop() then says why.
    bool next(Block *segment);
    Stop stop() const { return m_stop; }

    // The offset of the EOI that ends the picture data starting at `from` (the end of the
    // SOS segment), stepping over stuffed bytes, restart markers and the tables and scan
    // headers of a progressive file; -1 when the data is cut short or damaged, or the file
    // can't be read (readFailed()).
    qint64 endOfImage(qint64 from);
    bool readFailed() const { return m_window.failed() || m_scanFailed; }

private:
    bool end(Stop why);

    Window m_window;
    int m_fd;
    bool m_scanFailed = false;
    qint64 m_pos = 2;
    int m_left;
    Stop m_stop = Stop::Walking;
};

// A PNG's chunks from `start` (8 for the first, IHDR) up to and including IEND, each with a
// type of four letters and a length that lies inside the file.
class PngWalker
{
public:
    // `maxOffset`: no chunk is looked at that starts at or beyond it.
    PngWalker(int fd, qint64 size, qint64 start, int maxChunks, qint64 maxOffset = LLONG_MAX);

    bool next(Block *chunk);
    Stop stop() const { return m_stop; }

private:
    bool end(Stop why);

    Window m_window;
    qint64 m_pos;
    int m_left;
    qint64 m_maxOffset;
    Stop m_stop = Stop::Walking;
};

} // namespace TQImageSegments
