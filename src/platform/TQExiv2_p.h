#pragma once

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

// The orientation IFD0 states: 1 to 8, or 1 when it states none or an impossible value.
int orientation(const Exiv2::ExifData &exif);

} // namespace TQExiv2
