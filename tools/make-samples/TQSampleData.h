// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QList>
#include <QRgb>
#include <QImage>
#include <QSize>
#include <QString>
#include <QVariantMap>

/*!
    \namespace TQSampleData
    \brief Writes the small tree of sample files that the tests, the benchmarks and the demo
    run against.

    Nothing in the tree is copied from elsewhere: every picture is drawn here and every other
    file is spelled out byte by byte, so the tree is the same on every machine and can be
    rebuilt at will. It is kept tiny (a few dozen files, well under 100 KiB) so that writing
    it into a fresh temporary folder costs a test next to nothing.

    \section Pictures
    Every picture, when shown upright (with its EXIF orientation applied), is a mid-grey
    field with a red block (TopLeftMarker) in its top-left corner and a blue block
    (TopRightMarker) in its top-right corner, each a quarter of the width and a quarter of
    the height. The eight orientations are told apart by where those two blocks land in the
    stored pixels, so a viewer that applies an orientation the wrong way round shows them in
    the wrong corners.

    \section The tree
    \list
    \li \c images/ orientation-1.jpg to orientation-8.jpg (all 64x48 upright, so 48x64 stored
        for orientations 5 to 8), portrait.jpg (48x64), no-exif.jpg (no APP1 segment at
        all), photo.png, photo.tiff (orientation 6), photo.webp. Each one with EXIF names a
        different camera, date, ISO, exposure, f-number and focal length.
    \li \c lying/ photo.jpg (a PNG), picture.png (a JPEG), image.jpg (UTF-8 text, as a
        download that went wrong would leave it: the one picture here no decoder can read),
        IMG_0001 (a JPEG without an extension), untitled (UTF-8 text without an extension).
    \li \c text/ notes.txt (UTF-8 with non-ASCII letters), README.md, main.cpp, script.sh
        (mode 0755), data.json, table.csv, and "café menu.txt", whose name has a space and
        a non-ASCII letter.
    \li \c media/ stand-ins for audio and video whose first bytes are what a content sniffer
        looks for, but which hold no playable sound or picture:
        song.mp3 is an empty ID3v2.4 tag followed by one MPEG-1 Layer III frame of zeros;
        track.flac is "fLaC" and a STREAMINFO block for a stream of zero samples;
        voice.m4a, clip.mp4 and film.mov are a lone ISO base media "ftyp" box with the major
        brand "M4A ", "isom" and "qt  ";
        movie.mkv is a lone EBML header whose DocType is "matroska".
    \li \c hidden/ .hidden-config (hidden by its leading dot), listed-hidden.txt (hidden by
        being named in the folder's ".hidden" file, the freedesktop convention), the
        ".hidden" file itself, and visible.txt, which neither rule hides.
    \li \c links/ relative symbolic links: link-to-photo.jpg to ../images/orientation-1.jpg,
        link-to-text to ../text, dangling.jpg to a file that does not exist, and loop-a and
        loop-b pointing at each other.
    \li empty.dat (zero bytes) and empty-folder/ at the top.
    \endlist

    \section What a sample promises
    Sample::expected holds the facts a test can check, all as JSON-friendly values:
    \list
    \li every regular file: "size" (bytes), "contentMime" (the MIME type its bytes alone
        give in the shared MIME database; a media file may get a parent of the type its
        name gives, e.g. application/x-matroska for movie.mkv), "nameMime" (the type its
        name alone gives, where it has an extension).
    \li pictures: "format" ("jpeg", "png", "tiff", "webp"), "width" and "height" (as
        stored), "displayWidth" and "displayHeight" (upright), "hasExif", and, where
        written, "orientation", "make", "model", "lensModel", "software",
        "dateTimeOriginal" ("yyyy:MM:dd HH:mm:ss"), "iso", "exposureTime" (seconds),
        "fNumber", "focalLength" (mm).
    \li text: "lineCount", "executable".
    \li hidden and listed files: "hidden" (bool) and "hiddenBy" ("dot" or "hidden-list").
    \li links: "target" (the link's own text, relative), "resolvesTo" (the final target
        relative to the root, empty when there is none), "dangling", "loop".
    \li folders: "entryCount", counting hidden entries and links.
    \endlist
*/
namespace TQSampleData {

//! The colour of the block in the top-left corner of every upright sample picture.
inline constexpr QRgb TopLeftMarker = 0xffff0000;
//! The colour of the block in the top-right corner of every upright sample picture.
inline constexpr QRgb TopRightMarker = 0xff0000ff;
//! The colour of the rest of every sample picture.
inline constexpr QRgb Background = 0xff808080;

struct Sample
{
    QString relativePath; //!< relative to the folder given to writeSamples(), '/'-separated
    QString kind;         //!< "image", "text", "audio", "video", "hidden", "link", "folder", "lying", "empty"
    QVariantMap expected; //!< see "What a sample promises" above
};

/*!
    Writes the whole sample tree into \a dir, which must exist, and returns what it wrote,
    folders first, in a fixed order. Files and links already there under the same names are
    replaced, so writing twice into one folder is fine. On failure it returns an empty list
    and gives the reason in \a errorMessage, or logs it (category "tqkit.sampledata") when
    \a errorMessage is null.
*/
QList<Sample> writeSamples(const QString &dir, QString *errorMessage = nullptr);

/*!
    Draws a sample picture that shows upright at \a size once its EXIF orientation is
    applied, saves it at \a path in \a format ("JPEG", "PNG", "TIFF" or "WEBP", any case)
    and writes \a exif into it. With an empty \a exif the file gets no EXIF block at all.

    The keys of \a exif, all optional: "Orientation" (int 1 to 8), "Make", "Model",
    "LensModel", "Software" (strings), "DateTimeOriginal" (QDateTime or a
    "yyyy:MM:dd HH:mm:ss" string), "ISO" (int), "ExposureTime" (seconds), "FNumber",
    "FocalLength" (mm). Whenever EXIF is written the pixel dimensions go in too.

    Returns false, and logs why, for an unknown format or key, a value out of range, or a
    file that cannot be written.
*/
bool writeImage(const QString &path, const char *format, QSize size, const QVariantMap &exif);

/*!
    Adds what a camera writes besides the basic EXIF tags to the JPEG at \a path (written by
    writeImage() with a "Make"): a 160x120 EXIF thumbnail, the maker's own note for Canon and
    Nikon makes (a few dozen tags, as exiv2 writes them), GPS tags and an XMP packet. For
    benchmarks that should meet a camera's metadata, not a minimal one. False, and logged,
    when exiv2 cannot write the file.
*/
bool addCameraMetadata(const QString &path);

/*!
    Writes \a picture as a HEIC at \a path with libheif's HEVC encoder, with \a exifTiff (a TIFF
    structure, as in a JPEG's Exif segment after "Exif\0\0") as its EXIF block when not empty,
    and \a thumbnail, scaled by libheif to fit \a thumbnailSide, as its thumbnail when not null.
    False when libheif has no HEVC encoder here or a step fails.
*/
bool writeHeic(const QString &path, const QImage &picture, const QByteArray &exifTiff = {},
               const QImage &thumbnail = {}, int thumbnailSide = 0);

} // namespace TQSampleData
