#include "TQImageMetadata.h"

#include "TQFormatting.h"
#include "TQNumberUtilities.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <cmath>

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
    return stated.isValid() ? stated.toInt() : 1;
}

TQImageDimensions dimensions(const QVariantMap &properties, int orientation)
{
    TQImageDimensions result;
    const double storedHeight = double(properties.value(QStringLiteral("PixelHeight")).toLongLong());
    const double storedWidth = double(properties.value(QStringLiteral("PixelWidth")).toLongLong());
    result.trueDimensions = {storedWidth, storedHeight};
    // Only the plain quarter turns swap the sides; 5 and 7 keep their stored sides.
    const bool swapped = orientation == 6 || orientation == 8;
    const double width = swapped ? storedHeight : storedWidth;
    const double height = swapped ? storedWidth : storedHeight;
    result.dimensions = {width, height};
    result.megapixels = width * height / 1000000.0;
    if (width > 0 && height > 0) {
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
    if (!stated.isValid())
        return {};
    const double value = stated.toDouble();
    return {value, QString::asprintf("%ldmm", long(value))};
}

TQImageValue iso(const QVariantMap &properties)
{
    const QVariantList ratings = group(properties, exifGroup).value(QStringLiteral("ISOSpeedRatings")).toList();
    if (ratings.isEmpty() || !ratings.constLast().isValid())
        return {};
    const double value = ratings.constLast().toDouble();
    return {value, QString::asprintf("ISO %ld", long(value))};
}

TQImageValue exposureTime(const QVariantMap &properties)
{
    const QVariant stated = group(properties, exifGroup).value(QStringLiteral("ExposureTime"));
    if (!stated.isValid())
        return {};
    const double value = stated.toDouble();
    return {value, TQNumberUtilities::fractionValue(value)};
}

TQImageValue fNumber(const QVariantMap &properties)
{
    const QVariant stated = group(properties, exifGroup).value(QStringLiteral("FNumber"));
    if (!stated.isValid())
        return {};
    const double value = stated.toDouble();
    return {value, QString::asprintf("f%1.1f", value)};
}

QDateTime exifDate(const QVariantMap &properties, QString *text)
{
    const QString stated = group(properties, exifGroup).value(QStringLiteral("DateTimeOriginal")).toString();
    const QDateTime date = QDateTime::fromString(stated, QStringLiteral("yyyy:MM:dd HH:mm:ss"));
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
    const QVariant depth = properties.value(QStringLiteral("Depth"));
    if (!depth.isValid() || depth.toInt() == -1)
        return {};
    const QVariant model = properties.value(QStringLiteral("ColorModel"));
    if (!model.isValid()) {
        return QString::asprintf(localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d-bit")).constData(), depth.toInt());
    }
    // Only a stated "true" counts as alpha: a missing or other value does not.
    const QVariant alpha = properties.value(QStringLiteral("HasAlpha"));
    const bool hasAlpha = alpha.typeId() == QMetaType::Bool && alpha.toBool();
    const QByteArray format = hasAlpha ? localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d-bit %@(A)"))
                                       : localizedFormat(QT_TRANSLATE_NOOP("Quillbox", "%d-bit %@"));
    return QString::asprintf(format.constData(), depth.toInt(), model.toString().toUtf8().constData());
}

QString iccProfileString(const QVariantMap &properties)
{
    return properties.value(QStringLiteral("ProfileName")).toString();
}

QString resolutionString(const QVariantMap &properties)
{
    const QVariant heightValue = properties.value(QStringLiteral("DPIHeight"));
    const int vertical = heightValue.isValid() ? heightValue.toInt() : -1;
    const QVariant widthValue = properties.value(QStringLiteral("DPIWidth"));
    if (!widthValue.isValid())
        return {};
    const int horizontal = widthValue.toInt();
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
