#pragma once

#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QVariantMap>

/*!
    \namespace TQImageUtilities
    \brief Images and image files as a file browser handles them.
*/
namespace TQImageUtilities {

/*!
    Reads the properties of image 0 of \a file (by its URL, with its type as the hint) and adds
    a deep copy of them to \a dictionary, replacing keys it had. Then makes sure the groups
    "{Exif}", "{IPTC}", "{TIFF}", "{CIFF}", "{MakerCanon}" and "{MakerNikon}" are present (empty
    when the image has none), so that a caller can fill them in; no other group is added.
    Returns false, leaving \a dictionary untouched, when the file is not a readable image.
    Reentrant; blocks for the read.
*/
TQKIT_EXPORT bool addPropertiesofFile(const UWStandardFileRef &file, QVariantMap &dictionary);

} // namespace TQImageUtilities
