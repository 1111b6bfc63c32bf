#pragma once

#include "tqkit_export.h"

#include <QSizeF>
#include <QString>
#include <QStringList>

/*!
    \file TQUtilityFunctions.h
    Free functions about types and image orientation. All are pure (TQEditableMetadataImageTypes
    makes a new list) and may be called from any thread.

    Orientations are EXIF orientation values, 1 (upright) to 8. Degrees count
    counter-clockwise: orientation 8 is 90 degrees, 3 is 180, 6 is 270; the mirrored
    orientations 2, 4, 5 and 7 count as 0 degrees, so a turn drops any mirroring.
*/

/*!
    True when \a type conforms to at least one entry of \a types, asked in the list's order;
    false for an empty list. Conformance is the type registry's (TQTypeRegistry).
*/
TQKIT_EXPORT bool TQUTTypeConformsToArray(const QString &type, const QStringList &types);

//! The degrees of \a orientation: 180 for 3, 270 for 6, 90 for 8, 0 for anything else.
TQKIT_EXPORT int TQDegreesForRotation(int orientation);

//! The orientation of \a degrees (brought into 0..359): 8 for 90, 3 for 180, 6 for 270, else 1.
TQKIT_EXPORT int TQRotationForDegrees(int degrees);

/*!
    \a orientation turned further by \a degrees; 1 (upright) when \a degrees is not a whole
    multiple of 90.
*/
TQKIT_EXPORT int TQChangeRotationByDegrees(int orientation, int degrees);

/*!
    The types whose metadata the library may rewrite, a new list each call: JPEG, camera RAW,
    PNG, TIFF (JPEG appears three times; conformance is unaffected).
*/
TQKIT_EXPORT QStringList TQEditableMetadataImageTypes();

/*!
    \a size scaled so that its longer side is exactly \a maxSize (smaller sizes are scaled
    up), the other side rounded down to a whole number; (0, 0) when a side is not positive.
*/
TQKIT_EXPORT QSizeF TQProportionalScaleToMaxSize(int maxSize, QSizeF size);
