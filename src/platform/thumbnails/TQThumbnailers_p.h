// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QImage>
#include <QMimeType>
#include <QSize>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class QIODevice;
class TQRegularFile;

// The thumbnailers installed the freedesktop way: "*.thumbnailer" key files in
// $XDG_DATA_HOME/thumbnailers and every $XDG_DATA_DIRS/thumbnailers, each naming a command
// and the MIME types it thumbnails. Reentrant: every function may be called from any thread.
namespace TQThumbnailers {

struct Entry
{
    QString file;          // the .thumbnailer file it came from
    QString exec;          // its Exec value, key-file escapes undone
    QStringList mimeTypes; // canonical names
};

// The entry for files of mimeType, else for the nearest of its ancestors that has one. The
// first entry found for a type wins, folders in XDG order; entries whose TryExec names no
// executable program are left out.
std::optional<Entry> entryFor(const QMimeType &mimeType);

// What the field codes of an Exec value stand for.
struct Fields
{
    QByteArray uri;  // %u
    QString input;   // %i
    QString output;  // %o
    int size = 0;    // %s
};

// The argument vector of an Exec value: split by the desktop-entry quoting rules, field codes
// expanded inside each argument (never re-split). Nothing, and why, for a malformed value.
std::optional<QStringList> commandLine(const QString &exec, const Fields &fields, QString *why);

enum class Outcome {
    Made,     // a valid image came back
    Failed,   // the thumbnailer ran and gave no usable image
    TimedOut, // it was killed at the time limit
    NotRun,   // it could not be started (missing program, malformed entry, no temporary folder)
};

// Runs entry for the file at input (uri is its URI), asking for size pixels, and returns its
// picture fitted into box. Each run gets a private output folder (0700) that is removed
// afterwards; the whole process group is killed at timeoutMs. The program runs with resource
// limits (address space, CPU time, file size, no core files): see MaxAddressSpace.
QImage run(const Entry &entry, const QString &input, const QByteArray &uri, int size, const QSize &box,
           int timeoutMs, Outcome *outcome);

// The address space a thumbnailer may map. Enough for any decoder working on a picture a
// thumbnail is made of; a hostile file that states a size of gigabytes makes its allocation
// fail instead of taking the host's memory. Its CPU time is limited to the time limit (so
// threads can't multiply it) and the files it writes to MaxOutputFileSize.
inline constexpr qint64 MaxAddressSpace = qint64(1) << 30;
inline constexpr qint64 MaxOutputFileSize = qint64(64) << 20;

// size shrunk (never enlarged) to fit box, aspect ratio kept, at least 1x1; empty when either
// is empty.
QSize fitted(const QSize &size, const QSize &box);

// True when thumbnailers run inside bubblewrap: it is allowed, bwrap is installed and a probe
// run of it succeeded (it fails where user namespaces are not allowed). Probed once per process.
bool sandboxed();
void allowSandbox(bool allowed);

// ---------------------------------------------------------------------------------------------
// Decoding in process, within a budget worked out from what a file declares.

// What one in-process decode may hold in memory: 100 megapixels at four bytes a pixel. It is
// checked against the sizes a file's header states, before anything is decoded.
inline constexpr qint64 DecodeBudgetPixels = 100'000'000;
inline constexpr qint64 DecodeBudgetBytes = DecodeBudgetPixels * 4;

// A random-access, read-only device over an open regular file for Qt's readers. It reads with
// pread, so it shares no file offset with anyone; it must not outlive file.
std::unique_ptr<QIODevice> deviceFor(const TQRegularFile &file);

// Why the chunks of the PNG in device can't be right (a chunk longer than what is left of the
// file, a type that is not four letters, far more chunks than a picture has); empty when they
// can. Reads only the chunks' headers.
QString pngLayoutProblem(QIODevice *device);

// What a JPEG's markers before its first scan say, read without decoding anything.
struct JpegLayout
{
    QSize size;
    // libjpeg holds every coefficient of the picture at full size, whatever the output scale,
    // when the file is progressive or sends its components in separate scans.
    bool wholeCoefficients = false;
    qint64 coefficientBytes = 0; // what those coefficients take
    // An end-of-image marker follows the first scan, looked for only in the file's tail: a
    // cut-off file's scan data holds none, and libjpeg would make up its missing rows.
    bool complete = false;
};
// The layout of the JPEG in device; nothing, and why, when its markers are malformed.
std::optional<JpegLayout> jpegLayout(QIODevice *device, QString *why);

// What decoding a JPEG of this layout into an output of target's size (at most) takes.
qint64 jpegDecodeCost(const JpegLayout &layout, const QSize &target);

struct Decoded
{
    QImage image;
    QByteArray format; // the reader's format, also when nothing was decoded
    QString why;       // why image is null
    // The file declares what no picture should (sizes beyond its end, a cost beyond the
    // budget): it was not handed to a decoder. Worth a warning; other failures are not.
    bool refused = false;
};

// The picture in device (random access), scaled down to fit box (JPEG while decoding, at a DCT
// scale), stored orientation kept. Declared sizes are checked first: a PNG's chunks against
// the device's size, the decode's cost against DecodeBudgetBytes (a format that declares no
// size is not decoded), a JPEG's end marker.
Decoded decode(QIODevice *device, const QSize &box);

} // namespace TQThumbnailers
