// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/*!
    \namespace TQImageProperties
    \brief The properties of a picture file, keyed the way ImageIO keys its property dictionary.

    Top-level keys: "PixelWidth", "PixelHeight" (the stored size), "Orientation" (1 to 8, only
    when the file states one), "Depth", "ColorModel" ("RGB", "Gray", "CMYK", "Lab"), "HasAlpha",
    "ProfileName" (the embedded ICC profile's description), "DPIWidth", "DPIHeight". Groups, as
    nested maps and only when the file has them: "{Exif}", "{TIFF}", "{GPS}", "{IPTC}", and the
    format's own "{JFIF}", "{PNG}" or "{GIF}". Numbers are numbers, rationals are doubles,
    texts are trimmed.

    Formats: JPEG, PNG, TIFF, WebP, GIF, BMP, HEIF/HEIC/AVIF (through libheif) and the camera
    RAW formats exiv2 reads (DNG, CR2, NEF, ARW, ORF, RW2, PEF, RAF, …).

    \ingroup platform
*/
namespace TQImageProperties {

/*!
    The properties of image 0 of the file named \a nativePath, in the file system's own bytes
    (links followed); an empty map when the file is not a readable image, a partial one when
    only its header could be read. This is the form to use for a name that may not be UTF-8.
    \a typeHint, a type identifier such as "public.jpeg" (may be empty), lets the reader try
    that format first; a wrong hint costs nothing but the check.

    Only a regular file is read: a named pipe, a device, a socket or a folder answers an empty
    map at once, with one warning in "tqkit.platform" naming it.

    \b Threading: reentrant; call it from any thread, for any files at once.
    \b Ownership: the map is the caller's; nothing is cached.
    \b Cost: blocking I/O of the headers and metadata blocks only (typically a few KiB); pixels
    are never decoded. Whatever a file declares, the reading is bounded: no metadata block over
    16 MiB and no more than 64 MiB of blocks per file; a compressed PNG text or profile that
    inflates past 4 MiB (or past 16 MiB for all of a file's) is left out, with one warning;
    metadata is looked for only in front of a JPEG's picture data and in the first 256 MiB of
    other formats; HEIF pictures with a side over 65536 are not read. Other problems are logged
    at debug level in "tqkit.platform".
*/
TQKIT_EXPORT QVariantMap propertiesOfFile(const QByteArray &nativePath, const QString &typeHint = QString());

//! The same for a \a path given as text (encoded with QFile::encodeName).
TQKIT_EXPORT QVariantMap propertiesOfFile(const QString &path, const QString &typeHint = QString());

} // namespace TQImageProperties
