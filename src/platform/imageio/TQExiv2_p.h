// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <exiv2/exiv2.hpp>
#include <exiv2/webpimage.hpp> // not part of exiv2.hpp in 0.27

#include <QString>

#include <initializer_list>
#include <memory>

class TQRegularFile;

namespace Exiv2 {
class ExifData;
}

// What every user of exiv2 in the platform layer sets up the same way.
namespace TQExiv2 {

// Once per process: exiv2's messages go to "tqkit.platform" at debug level instead of stderr,
// and its XMP toolkit is initialised with a lock, which it needs to be used from many threads.
void prepare();

// The error lines exiv2 logged on the calling thread since the caller last set this to 0.
// exiv2 reads past what it cannot parse and then leaves it out of a rewrite; counting its
// complaints lets a rewrite be refused instead of quietly dropping tags.
int &complaints();

// The formats exiv2 is allowed to parse for the library: the still-picture formats whose
// metadata the library reads or writes through it. Its video parsers (QuickTime, RIFF,
// Matroska, ASF) and its BMFF parser are never used: they loop or allocate from size fields
// of hostile files, and HEIF goes through libheif.
inline constexpr std::initializer_list<int> StillFormats = {
        Exiv2::ImageType::jpeg, Exiv2::ImageType::crw, Exiv2::ImageType::tiff, Exiv2::ImageType::mrw,
        Exiv2::ImageType::png,  Exiv2::ImageType::cr2, Exiv2::ImageType::raf,  Exiv2::ImageType::orf,
        Exiv2::ImageType::rw2,  Exiv2::ImageType::webp};

// The one door through which the library hands exiv2 a file: the format is decided from the
// content first, and a file of any format outside `allowed` is never given to a parser. The
// image reads through the already-checked descriptor of `file` (a regular file) and must not
// outlive it. Null (logged at debug level with `path`) when the format is not allowed or
// exiv2 can't open it; exiv2's exceptions from opening are caught here, those of reading the
// metadata later are the caller's. A TIFF-like file over 1 GiB is read from its first 16 MiB
// only: exiv2 would map it whole and misread a size past 4 GiB.
std::unique_ptr<Exiv2::Image> open(const TQRegularFile &file, const QString &path,
                           std::initializer_list<int> allowed = StillFormats);

// An orientation held as a number of any type: 1 to 8 when it is exactly one of those, else 0.
// Floats are checked before any conversion, as NaN, infinities and 1e300 have no integer.
int wholeOrientation(double value);

// The orientation IFD0 states, whatever type the tag was stored as: 1 to 8, or 0 for none or
// an impossible value.
int statedOrientation(const Exiv2::ExifData &exif);

// statedOrientation(), with 1 for none: how the picture is to be turned.
int orientation(const Exiv2::ExifData &exif);

} // namespace TQExiv2
