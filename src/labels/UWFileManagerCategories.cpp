// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFileManagerCategories.h"

#include "TQInvalidParameterException.h"

#include <array>

namespace {

struct Rgb
{
    int red, green, blue;
};

// Light enough for black text drawn over a swatch, saturated enough to tell eight apart at
// a glance in a list row.
constexpr std::array<Rgb, 8> upperColors = {{
    {246, 246, 246}, // no label
    {170, 170, 176}, // Gray
    {150, 208, 98},  // Green
    {192, 150, 222}, // Purple
    {110, 170, 242}, // Blue
    {248, 222, 92},  // Yellow
    {242, 102, 96},  // Red
    {250, 168, 72},  // Orange
}};

void checkLabel(int label, const char *file, int line)
{
    if (label < 0 || label >= int(upperColors.size()))
        throw TQInvalidParameterException(QStringLiteral("label >= 0 && label < 8"), file, line);
}

} // namespace

namespace UWFileManagerCategories {

QColor upperColorForFinderLabel(int label)
{
    checkLabel(label, __FILE__, __LINE__);
    const Rgb &rgb = upperColors[label];
    return QColor(rgb.red, rgb.green, rgb.blue);
}

QColor lowerColorForFinderLabel(int label)
{
    const QColor upper = upperColorForFinderLabel(label);
    // Blending a tenth toward black, in floating point so the darker colour keeps the
    // table's precision instead of rounding to 8 bits twice.
    constexpr float keep = 0.9f;
    return QColor::fromRgbF(upper.redF() * keep, upper.greenF() * keep, upper.blueF() * keep, upper.alphaF());
}

QLinearGradient gradientForFinderLabel(int label)
{
    QLinearGradient gradient(0, 0, 0, 1);
    gradient.setCoordinateMode(QGradient::ObjectBoundingMode);
    gradient.setColorAt(0, upperColorForFinderLabel(label));
    gradient.setColorAt(1, lowerColorForFinderLabel(label));
    return gradient;
}

} // namespace UWFileManagerCategories
