// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <array>
#include <optional>

#include <sys/stat.h>

// The freedesktop shared thumbnail cache ($XDG_CACHE_HOME/thumbnails), read and written the
// way every desktop program does, so that thumbnails made here are reused by the file
// managers and theirs by us. Reentrant: every function may be called from any thread.
namespace TQThumbnailCache {

struct Bucket
{
    const char *folder;
    int size; // the largest side a thumbnail in it may have
};

inline constexpr std::array<Bucket, 4> Buckets{
        {{"normal", 128}, {"large", 256}, {"x-large", 512}, {"xx-large", 1024}}};

// The index of the smallest bucket whose thumbnails are at least longSide pixels, or -1.
int bucketFor(int longSide);

// One version of one file, as the cache tells versions apart.
struct Source
{
    QByteArray nativePath; // absolute and cleaned; links are not resolved, as GLib does it
    QString path;          // the same for messages (a name that is not UTF-8 shows U+FFFD)
    QByteArray uri;        // file:// and the escaped bytes of nativePath
    QString hash;     // MD5 of uri, in lower-case hex: the thumbnail's file name without ".png"
    qint64 mtime = 0; // whole seconds
    qint64 size = 0;
    // Enough of the status to notice that the file changed while it was being thumbnailed.
    qint64 mtimeNs = 0;
    quint64 device = 0;
    quint64 inode = 0;
};

// The source for the file at nativePath whose status (of the open descriptor) is status;
// nothing, and why, when it is not a regular file.
std::optional<Source> source(const QByteArray &nativePath, const struct stat &status, QString *why);

// True while the file still is the version source describes.
bool unchanged(const Source &source);

// The URI GLib makes for a local path (g_filename_to_uri): every byte but ASCII letters,
// digits and -._~!$&'()*+,=:@/ percent-escaped with upper-case hex.
QByteArray fileUri(const QByteArray &absolutePath);

// $XDG_CACHE_HOME/thumbnails (with the usual default); empty when there is no cache home.
QString root();

// True when nativePath lies inside root() (links resolved).
bool isInside(const QByteArray &nativePath);

// A valid thumbnail of source from bucket first or, failing that, a larger one; null when
// there is none. Whatever lies under a thumbnail's name that is not a regular file (a FIFO,
// a folder, a link to a device) is a miss, never read.
QImage lookup(const Source &source, int firstBucket);

// True when our own fail record for this version of the file exists.
bool hasFailure(const Source &source);

// Writes image (no larger than the bucket) as the thumbnail of source in bucket, atomically.
bool store(const Source &source, int bucket, const QImage &image, const QString &mimeType);

// Records that no thumbnail could be made for this version of the file.
bool storeFailure(const Source &source, const QString &mimeType);

// The folder of our fail records inside root()/fail: "tqkit-<version>".
QString failFolderName();

} // namespace TQThumbnailCache
