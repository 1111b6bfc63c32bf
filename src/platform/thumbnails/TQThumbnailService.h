// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QByteArray>
#include <QImage>
#include <QSizeF>
#include <QString>

/*!
    \class TQThumbnailService
    \brief Thumbnails of files, the way the desktop makes them: from the shared thumbnail
    cache, from the image itself, or from the installed thumbnailers.

    thumbnailForFile() works through, in order:
    \list
    \li the freedesktop shared thumbnail cache ($XDG_CACHE_HOME/thumbnails): a thumbnail of
        the right size bucket (or a larger one) whose Thumb::URI, Thumb::MTime and, when
        present, Thumb::Size match the file; then this library's own fail record for the
        file, which makes the answer null at once;
    \li pictures decoded in process: an embedded preview (EXIF thumbnail, camera RAW preview,
        HEIF thumbnail) when it is large enough, has the picture's shape and is not larger than
        the picture, else a scaled decode (JPEG files are decoded at a reduced DCT scale),
        turned upright with TQImageOrientation;
    \li the thumbnailer installed for the file's MIME type (or a parent type) as a
        "*.thumbnailer" entry, run with a time limit, inside bubblewrap where it works.
    \endlist

    \par Hostile files

    The file is opened once, non-blocking, and only a regular file is read (a FIFO, a device,
    or a link to one gets a null thumbnail and one warning naming the path); every reader
    reads that descriptor. Cached thumbnails are read the same way, so anything but a regular
    file planted under a cache name is a miss.

    <b>Decoding budget.</b> One in-process decode may hold at most 400 MB: 100 megapixels at
    four bytes a pixel. The cost is worked out from the sizes the file states, before anything
    is decoded: for most formats the picture at full size; for a baseline JPEG the picture at
    the DCT scale it is decoded at; for a progressive JPEG (or one sending its components in
    separate scans) also libjpeg's coefficients of the whole picture, about two bytes a sample
    at full size whatever the scale; for HEIF ten bytes a pixel (libheif's planes and the RGBA
    picture). Embedded previews are held to the same budget. A PNG whose chunks declare more
    bytes than the file holds, a format that states no size, and files over 256 MB are not
    decoded in process, and no thumbnailer is asked for them (it would face the same sizes);
    refusals for what a file declares are logged as one warning. The budget holds per
    request: the thumbnail queues run one request per thread.

    Thumbnailers run with an address space of 1 GiB, their CPU time limited to the time limit,
    files they write limited to 64 MB, and no core files.
    A new thumbnail is stored back into the cache when the request fits a bucket: it is made at
    the bucket's size (128, 256, 512 or 1024 pixels: the smallest that is at least the
    request's longer side) and scaled down to the request, so that every later request up to
    that size is served from the cache. Requests larger than 1024 pixels are made for the
    request alone and not stored. When nothing could make a thumbnail of a file that should
    have one, a fail record ("fail/tqkit-<version>/") keeps it from being tried again until
    the file changes. Files inside the thumbnail cache itself are never thumbnailed.

    thumbnailForFile() is reentrant and thread-safe: the thumbnail queues call it from
    several threads at once, also for the same file. It blocks for the file's I/O (and a
    thumbnailer's run, at most the time limit). Diagnostics go to "tqkit.platform" at debug
    level only.

    \ingroup platform
*/
class TQKIT_EXPORT TQThumbnailService
{
public:
    TQThumbnailService() = delete;

    /*!
        An upright thumbnail of the file at \a path, no larger than \a maxSize (aspect ratio
        kept, never enlarged beyond the picture's own size), or a null image when none can be
        made (also for an empty \a maxSize, a folder, or an unreadable file).
    */
    static QImage thumbnailForFile(const QString &path, const QSizeF &maxSize);

    /*!
        The same for the file whose name is \a nativePath in the file system's own bytes, which
        need not be UTF-8 (a name holding the byte 0xFF). The cache's URI is made from these
        bytes, so it is the one every other desktop program computes for the file.
    */
    static QImage thumbnailForFile(const QByteArray &nativePath, const QSizeF &maxSize);

    /*!
        Whether the shared cache is read and written (fail records included). On by default;
        the environment variable TQKIT_THUMBNAIL_CACHE=0 turns it off for the process, and
        this setter overrides that. Benchmarks turn it off to measure the decoders.
    */
    static void setCacheEnabled(bool enabled);
    //! Whether the shared cache is in use (see setCacheEnabled()).
    static bool isCacheEnabled();

    /*!
        How long a thumbnailer may run before it and every process it started are killed, in
        milliseconds: 10 000 by default, or TQKIT_THUMBNAILER_TIMEOUT_MS from the environment;
        a value of 0 or less restores that default.
    */
    static void setThumbnailerTimeout(int milliseconds);
    //! The thumbnailers' time limit in milliseconds (see setThumbnailerTimeout()).
    static int thumbnailerTimeout();

    /*!
        Whether thumbnailers may run inside bubblewrap (no network, the system and the input
        file read-only, only a private output folder writable). On by default; a host turns it
        off for thumbnailers that need more than that (the user's home folder, a program
        installed outside the system folders). Unconfined thumbnailers run in their own process
        group, which the time limit kills.
    */
    static void setThumbnailerSandboxEnabled(bool enabled);

    /*!
        True when thumbnailers run inside bubblewrap: it is enabled, installed, and works here.
        Whether it works is found out once per process by a trial run of bwrap, which fails
        where user namespaces are not available; thumbnailers then run unconfined.
    */
    static bool thumbnailersSandboxed();
};
