// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageMetadata.h"

#include "TQFormatting.h"
#include "TQNumberUtilities.h"
#include "UWSerialized_p.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <climits>
#include <mutex>
#include <cmath>
#include <optional>

namespace {

const QString exifGroup = QStringLiteral("{Exif}");
const QString tiffGroup = QStringLiteral("{TIFF}");

QVariantMap group(const QVariantMap &properties, const QString &name)
{
    return properties.value(name).toMap();
}

// The conversions of a printf format, in order: a translation must keep them as they are,
// or it would read the wrong arguments; one that does not is ignored.
QString conversions(const QString &format)
{
    static const QRegularExpression conversion(QStringLiteral("%[-+ #0-9.]*l?[dfs@]"));
    QString found;
    for (auto it = conversion.globalMatch(format); it.hasNext();)
        found += it.next().captured().right(1);
    return found;
}

// The host's translation of the format \a key, with "%@" (a text) written as "%s".
QByteArray localizedFormat(const char *key)
{
    const QString english = QString::fromLatin1(key);
    QString translated = QCoreApplication::translate("Quillbox", key);
    if (conversions(translated) != conversions(english))
        translated = english;
    return translated.replace(QStringLiteral("%@"), QStringLiteral("%s")).toUtf8();
}

// A number's value, when it is a finite one; a map may come from anywhere, and NaN or infinity
// is no measurement.
std::optional<double> finiteNumber(const QVariant &value)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!value.isValid() || !ok || !std::isfinite(number))
        return std::nullopt;
    return number;
}

// A number's integer value the way a C cast takes it, truncated toward zero, when it has one
// between \a lowest and \a highest; converting anything else is undefined behaviour.
std::optional<qint64> wholeValue(const QVariant &value, double lowest, double highest)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar: {
        const qint64 whole = value.toLongLong();
        if (double(whole) < lowest || double(whole) > highest)
            return std::nullopt;
        return whole;
    }
    default: {
        const std::optional<double> number = finiteNumber(value);
        if (!number)
            return std::nullopt;
        const double whole = std::trunc(*number);
        // The bounds are powers of two or 32-bit values, exact as doubles.
        if (whole < lowest || whole > highest)
            return std::nullopt;
        return qint64(whole);
    }
    }
}

std::optional<int> wholeInt(const QVariant &value)
{
    const std::optional<qint64> whole = wholeValue(value, INT_MIN, INT_MAX);
    return whole ? std::optional<int>(int(*whole)) : std::nullopt;
}

// Within the range of a long (64-bit here): [-2^63, 2^63).
std::optional<long> wholeLong(const QVariant &value)
{
    const std::optional<qint64> whole = wholeValue(value, -0x1p63, 0x1p63 - 1024);
    return whole ? std::optional<long>(long(*whole)) : std::nullopt;
}

} // namespace

QDateTime TQDistantPast()
{
    static const QDateTime distantPast(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
    return distantPast;
}

namespace TQImageMetadata {

int orientation(const QVariantMap &properties)
{
    const QVariant stated = properties.value(QStringLiteral("Orientation"));
    return stated.isValid() ? wholeInt(stated).value_or(1) : 1;
}

TQImageDimensions dimensions(const QVariantMap &properties, int orientation)
{
    TQImageDimensions result;
    // Each side as a signed integer; one that has no integer value counts as absent.
    const double storedHeight = double(wholeValue(properties.value(QStringLiteral("PixelHeight")), -0x1p63, 0x1p63 - 1024).value_or(0));
    const double storedWidth = double(wholeValue(properties.value(QStringLiteral("PixelWidth")), -0x1p63, 0x1p63 - 1024).value_or(0));
    result.trueDimensions = {storedWidth, storedHeight};
    // Only the plain quarter turns swap the sides; 5 and 7 keep their stored sides.
    const bool swapped = orientation == 6 || orientation == 8;
    const double width = swapped ? storedHeight : storedWidth;
    const double height = swapped ? storedWidth : storedHeight;
    result.dimensions = {width, height};
    result.megapixels = width * height / 1000000.0;
    if (width > 0 && height > 0) {
        // A side past the 32-bit range has no text of its own; the shape still follows.
        if (width <= INT_MAX && height <= INT_MAX)
            result.dimensionsString = QString::asprintf("%dx%d", int(std::floor(width)), int(std::floor(height)));
        result.megapixelString = QString::asprintf(localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%1.1f MP")).constData(),
                                                   result.megapixels);
        if (width > height) {
            result.generalOrientation = 3;
            result.generalOrientationString = QCoreApplication::translate("Quillbox", "Landscape");
        } else if (height > width) {
            result.generalOrientation = 1;
            result.generalOrientationString = QCoreApplication::translate("Quillbox", "Portrait");
        } else {
            result.generalOrientation = 2;
            result.generalOrientationString = QCoreApplication::translate("Quillbox", "Square");
        }
    }
    return result;
}

TQImageValue focalLength(const QVariantMap &properties)
{
    const QVariant stated = group(properties, exifGroup).value(QStringLiteral("FocalLength"));
    const std::optional<long> whole = wholeLong(stated);
    if (!whole)
        return {};
    return {stated.toDouble(), QString::asprintf("%ldmm", *whole)};
}

TQImageValue iso(const QVariantMap &properties)
{
    const QVariantList ratings = group(properties, exifGroup).value(QStringLiteral("ISOSpeedRatings")).toList();
    if (ratings.isEmpty() || !ratings.constLast().isValid())
        return {};
    const std::optional<long> whole = wholeLong(ratings.constLast());
    if (!whole)
        return {};
    return {ratings.constLast().toDouble(), QString::asprintf("ISO %ld", *whole)};
}

TQImageValue exposureTime(const QVariantMap &properties)
{
    const std::optional<double> value = finiteNumber(group(properties, exifGroup).value(QStringLiteral("ExposureTime")));
    if (!value)
        return {};
    return {*value, TQNumberUtilities::fractionValue(*value)};
}

TQImageValue fNumber(const QVariantMap &properties)
{
    const std::optional<double> value = finiteNumber(group(properties, exifGroup).value(QStringLiteral("FNumber")));
    if (!value)
        return {};
    return {*value, QString::asprintf("f%1.1f", *value)};
}

QDateTime exifDate(const QVariantMap &properties, QString *text)
{
    const QString stated = group(properties, exifGroup).value(QStringLiteral("DateTimeOriginal")).toString();
    QDateTime date;
    {
        // Read in local time: the C library's time-zone state, shared with every thread.
        std::lock_guard serialized(UWSerialized::localTime());
        date = QDateTime::fromString(stated, QStringLiteral("yyyy:MM:dd HH:mm:ss"));
    }
    if (!date.isValid()) {
        if (text)
            *text = QString();
        return TQDistantPast();
    }
    if (text)
        *text = TQMediumDateShortTimeString(date);
    return date;
}

QString imageDepthString(const QVariantMap &properties)
{
    const std::optional<int> depth = wholeInt(properties.value(QStringLiteral("Depth")));
    if (!depth || *depth == -1)
        return {};
    const QVariant model = properties.value(QStringLiteral("ColorModel"));
    if (!model.isValid()) {
        return QString::asprintf(localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d-bit")).constData(), *depth);
    }
    // Only a stated "true" counts as alpha: a missing or other value does not.
    const QVariant alpha = properties.value(QStringLiteral("HasAlpha"));
    const bool hasAlpha = alpha.typeId() == QMetaType::Bool && alpha.toBool();
    const QByteArray format = hasAlpha ? localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d-bit %@(A)"))
                                       : localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d-bit %@"));
    return QString::asprintf(format.constData(), *depth, model.toString().toUtf8().constData());
}

QString iccProfileString(const QVariantMap &properties)
{
    return properties.value(QStringLiteral("ProfileName")).toString();
}

QString resolutionString(const QVariantMap &properties)
{
    // Each value as a 32-bit integer, truncated like any number's integer value (72.9 is 72);
    // one that has no such value (NaN, infinity, past the range) counts as absent.
    const QVariant heightValue = properties.value(QStringLiteral("DPIHeight"));
    const int vertical = heightValue.isValid() ? wholeInt(heightValue).value_or(-1) : -1;
    const QVariant widthValue = properties.value(QStringLiteral("DPIWidth"));
    if (!widthValue.isValid())
        return {};
    const int horizontal = wholeInt(widthValue).value_or(-1);
    if (horizontal != -1 && horizontal == vertical)
        return QString::asprintf(localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d dpi")).constData(), horizontal);
    if (horizontal != -1 && vertical != -1)
        return QString::asprintf(localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%dx%d dpi")).constData(), horizontal, vertical);
    return {};
}

QString cameraModelString(const QVariantMap &properties)
{
    return group(properties, tiffGroup).value(QStringLiteral("Model")).toString();
}

} // namespace TQImageMetadata
