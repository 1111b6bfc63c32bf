#pragma once

#include <QByteArray>
#include <QImage>
#include <QMimeType>
#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

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
// afterwards; the whole process group is killed at timeoutMs.
QImage run(const Entry &entry, const QString &input, const QByteArray &uri, int size, const QSize &box,
           int timeoutMs, Outcome *outcome);

// size shrunk (never enlarged) to fit box, aspect ratio kept, at least 1x1; empty when either
// is empty.
QSize fitted(const QSize &size, const QSize &box);

// True when thumbnailers run inside bubblewrap: it is allowed, bwrap is installed and a probe
// run of it succeeded (it fails where user namespaces are not allowed). Probed once per process.
bool sandboxed();
void allowSandbox(bool allowed);

} // namespace TQThumbnailers
