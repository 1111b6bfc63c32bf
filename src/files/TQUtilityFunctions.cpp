#include "TQUtilityFunctions.h"

#include "TQTypeRegistry.h"

#include <algorithm>
#include <cmath>

bool TQUTTypeConformsToArray(const QString &type, const QStringList &types)
{
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    return std::any_of(types.cbegin(), types.cend(),
                       [&](const QString &candidate) { return registry.conformsTo(type, candidate); });
}

int TQDegreesForRotation(int orientation)
{
    switch (orientation) {
    case 3:
        return 180;
    case 6:
        return 270;
    case 8:
        return 90;
    default:
        return 0;
    }
}

int TQRotationForDegrees(int degrees)
{
    if (degrees >= 360)
        degrees %= 360;
    if (degrees <= -360)
        degrees %= 360; // C++ keeps the sign: -450 % 360 is -90
    if (degrees < 0)
        degrees += 360;
    switch (degrees) {
    case 90:
        return 8;
    case 180:
        return 3;
    case 270:
        return 6;
    default:
        return 1;
    }
}

int TQChangeRotationByDegrees(int orientation, int degrees)
{
    if (degrees % 90 != 0)
        return 1;
    // In 64 bits: the sum of two ints must not overflow before it is normalised.
    const long long sum = (long long)TQDegreesForRotation(orientation) + degrees;
    return TQRotationForDegrees(int(sum % 360));
}

QStringList TQEditableMetadataImageTypes()
{
    return {QStringLiteral("public.jpeg"), QStringLiteral("public.camera-raw-image"),
            QStringLiteral("public.png"), QStringLiteral("public.tiff"),
            QStringLiteral("public.jpeg"), QStringLiteral("public.jpeg")};
}

QSizeF TQProportionalScaleToMaxSize(int maxSize, QSizeF size)
{
    const double width = size.width();
    const double height = size.height();
    if (width <= 0 || height <= 0)
        return {0, 0};
    // The maximum enters the product in single precision; it only shows above 2^24.
    const double maximum = double(float(maxSize));
    if (width >= height)
        return {double(maxSize), std::floor(maximum * height / width)};
    return {std::floor(maximum * width / height), double(maxSize)};
}
