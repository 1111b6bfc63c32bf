// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QByteArray>
#include <QString>

/*!
    \namespace TQImageOrientationWriter
    \brief Rotates a picture the lossless way: by rewriting only its EXIF orientation tag.

    writeOrientation() changes the Orientation tag (IFD0, 0x0112) of a JPEG, PNG, TIFF or
    TIFF-based camera RAW file (DNG, CR2, NEF, ARW, PEF, ORF, …) and nothing else: the
    compressed picture stays byte for byte the same, and so does every other tag.

    The file is never written in place. A copy is made next to it, changed, checked, flushed
    to disk, given the original's mode, owner (where the process may) and extended attributes,
    and renamed over the original. Whatever goes wrong before the rename, the original keeps
    its bytes and its inode and the copy is removed. A successful write therefore gives the
    file a new inode, and needs write permission on its folder as well as on the file.

    <b>Hard links:</b> because the file is replaced, not changed, a write reaches only the name
    it was given. Any other hard link to the file keeps the old inode and the old orientation.

    <b>Kills and crashes:</b> where the file system supports it (O_TMPFILE: ext4, XFS, Btrfs,
    tmpfs, ...), the copy has no name while it is written; it is linked as ".name.XXXXXX"
    (six letters or digits; a name longer than 247 bytes is shortened and a checksum of it
    appended) only right before the rename, so a process killed at any other moment leaves
    nothing behind. Elsewhere the copy bears that name from the start. Either way, a copy left
    by a killed writer is removed by the next write of the same file: only names of exactly
    that file's pattern, regular files of the writing user with no other link, and only once
    no living writer holds the lock every writer keeps on its copy (where the file system
    keeps no such locks: once untouched for five seconds).
    Right before the copy is named and renamed, the name is checked to still hold the file
    that was read (device, inode, size, modification time); if not, nothing is replaced.

    <b>Special files:</b> the file is opened non-blocking and checked on its descriptor; a named
    pipe, device or socket is refused (NotAFile) with one warning in "tqkit.platform" naming
    the path.

    How the tag is changed:
    \list
    \li When the file already has a two-byte Orientation value (a JPEG's Exif segment, a
        TIFF-based file's first IFD, a PNG's eXIf chunk), those two bytes are patched in
        the copy (and, in a PNG, the chunk's CRC). Length and layout stay the same.
    \li Otherwise exiv2 adds the tag to the copy. A TIFF-based file may then be laid out
        anew by exiv2; a PNG's EXIF is stored as the text chunk exiv2 writes.
    \endlist
    Either way the copy's picture data (a JPEG's scan, a PNG's critical chunks, every strip
    and tile of a TIFF's IFDs) is compared with the original's before the rename, and a
    write that would change it is refused.

    <b>HEIF</b> files are not edited (UnsupportedFormat): their rotation is a property of the
    container, which libheif applies when decoding, and an EXIF tag would only repeat it.

    \b Threading: reentrant; calls for different files may run on any threads at once.
    Two concurrent writes to the same file are the caller's concern: the last rename wins.
    \b Cost: blocking I/O. The file is read about three times and written once (the copy is
    made by the kernel where it can); the exiv2 route also holds the whole file in memory, about
    three times over while exiv2 works, which matters for large RAW files.

    \ingroup platform
*/
namespace TQImageOrientationWriter {

//! What became of a request. Everything after AlreadySet is a refusal or a failure, and
//! in every one of those cases the file was left exactly as it was.
enum class Result {
    Written,              //!< the file holds the new orientation (it now has a new inode)
    AlreadySet,           //!< it held that orientation already and was not touched
    InvalidOrientation,   //!< the orientation is not 1 to 8
    NotFound,             //!< there is no such file
    NotAFile,             //!< a folder, link, device or other non-regular file
    ReadOnlyFile,         //!< the file's mode grants nobody write access, or we may not write it
    ReadOnlyFolder,       //!< the folder can't take the copy (mode, permission, sticky bit) or
                          //!< the file system is mounted read-only; the message says which
    UnsupportedFormat,    //!< not a JPEG, PNG or TIFF-based file this writer can change safely
    Corrupt,              //!< truncated or malformed, or exiv2 could not make sense of it
    ImageDataWouldChange, //!< the rewritten copy's picture data differed, so it was dropped
    NoSpace,              //!< no room for the copy (full disk, quota, file-size limit)
    IoError,              //!< any other read, write or rename failure, or the file changed meanwhile
};

//! True for Written and AlreadySet.
constexpr bool succeeded(Result result)
{
    return result == Result::Written || result == Result::AlreadySet;
}

/*!
    Sets the EXIF orientation of the file at \a nativePath (the file system's own bytes, which
    need not be UTF-8) to \a orientation (1 to 8, as EXIF numbers them). The path must name
    the regular file itself: a symbolic link is refused, so resolve it first. On anything but
    Written and AlreadySet, \a error (when given) receives a sentence saying why, naming the
    file and what refused (the file, its folder or its file system); it is cleared on success.
    Failures are also logged at debug level in "tqkit.platform".
*/
TQKIT_EXPORT Result writeOrientation(const QByteArray &nativePath, int orientation, QString *error = nullptr);
//! The same for a path given as text (QFile::encodeName(\a path)).
TQKIT_EXPORT Result writeOrientation(const QString &path, int orientation, QString *error = nullptr);

/*!
    The EXIF orientation the file at \a nativePath states (following links): 1 to 8; 1 when it
    states none or an impossible value (0, 9, a fraction, NaN, infinity, ...); 0 when the file
    cannot be read as an image. Reads only the metadata, through the descriptor of the regular
    file that was opened: a named pipe or device answers 0 at once, with one warning. JPEG,
    PNG, TIFF, WebP and the camera RAW formats are read by exiv2; a HEIF's EXIF block is read
    by libheif (and only repeats the rotation libheif applies); anything else, whatever its
    name, answers 0. Reentrant.
*/
TQKIT_EXPORT int readOrientation(const QByteArray &nativePath);
//! The same for a path given as text (QFile::encodeName(\a path)).
TQKIT_EXPORT int readOrientation(const QString &path);

} // namespace TQImageOrientationWriter
