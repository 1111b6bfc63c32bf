// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QDateTime>
#include <QSizeF>
#include <QString>
#include <QVariantMap>

/*!
    \file TQImageMetadata.h
    \ingroup files
    The values a browser shows of an image, derived from its property dictionary (the map
    TQImageProperties::propertiesOfFile() reads, keyed as ImageIO keys it). TQFile caches them;
    these functions hold the rules, so that they can be used on any dictionary. Pure and
    reentrant. Texts that people read go through the translation context "Quillbox" with the
    English format as the key; technical formats ("%dx%d", "ISO %ld", "f%1.1f") do not.
*/

//! The displayed size of an image and what follows from it.
struct TQImageDimensions
{
    QSizeF trueDimensions;     //!< as stored
    QSizeF dimensions;         //!< as displayed: the sides swapped for orientations 6 and 8
    double megapixels = 0;     //!< displayed width x height / 1,000,000
    QString dimensionsString;  //!< "3000x4000"; empty without both sides
    QString megapixelString;   //!< "12.0 MP"
    uint generalOrientation = 0; //!< 0 unknown, 1 portrait, 2 square, 3 landscape
    QString generalOrientationString; //!< "Portrait", "Square", "Landscape"
};

//! A number and the text shown for it; 0 and "" when the image does not state it.
struct TQImageValue
{
    double value = 0; //!< the number as stated
    QString text;     //!< the number as shown ("1/250", "f2.8")
};

//! The shared "distant past": 0001-01-01 00:00:00 UTC, the date of things that have none.
TQKIT_EXPORT QDateTime TQDistantPast();

namespace TQImageMetadata {

//! The stated orientation (1..8); 1 when the image states none.
TQKIT_EXPORT int orientation(const QVariantMap &properties);
//! Sizes, megapixels and shape for an image displayed with \a orientation.
TQKIT_EXPORT TQImageDimensions dimensions(const QVariantMap &properties, int orientation);
//! The focal length in millimetres; text "50mm".
TQKIT_EXPORT TQImageValue focalLength(const QVariantMap &properties);
//! The last ISO speed rating; text "ISO 400".
TQKIT_EXPORT TQImageValue iso(const QVariantMap &properties);
//! The exposure time in seconds; text as a fraction, "1/250".
TQKIT_EXPORT TQImageValue exposureTime(const QVariantMap &properties);
//! The f-number; text "f2.8".
TQKIT_EXPORT TQImageValue fNumber(const QVariantMap &properties);
/*!
    The date taken (DateTimeOriginal, read in local time), or TQDistantPast() when there is none
    or it does not parse; \a text receives its medium-date, short-time text or "".
*/
TQKIT_EXPORT QDateTime exifDate(const QVariantMap &properties, QString *text);
//! "8-bit RGB(A)", "16-bit Gray", "16-bit"; "" without a depth.
TQKIT_EXPORT QString imageDepthString(const QVariantMap &properties);
//! The colour profile's name, or "".
TQKIT_EXPORT QString iccProfileString(const QVariantMap &properties);
//! "72 dpi", "300x72 dpi", or "".
TQKIT_EXPORT QString resolutionString(const QVariantMap &properties);
//! The camera model of the TIFF group, or "".
TQKIT_EXPORT QString cameraModelString(const QVariantMap &properties);

} // namespace TQImageMetadata
