// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQNumberUtilities.h"

#include <cmath>

namespace {

// 2^63: the first double beyond qint64's range.
constexpr double int64Limit = 9223372036854775808.0;

QString magnitudeFraction(double magnitude)
{
    const double whole = std::floor(magnitude);
    const double denominator = std::floor(1.0 / (magnitude - whole) + 0.5);
    // Whole numbers divide by zero above; past 2^53 every double is whole, which is also why
    // the whole part is formatted as a double: it need not fit in 64 bits.
    if (!(denominator < int64Limit))
        return QString::number(whole, 'f', 0);
    const QString fraction = QStringLiteral("1/%1").arg(qint64(denominator));
    if (whole == 0.0)
        return fraction;
    return QStringLiteral("%1 %2").arg(qint64(whole)).arg(fraction);
}

} // namespace

namespace TQNumberUtilities {

QString fractionValue(double self)
{
    if (!std::isfinite(self))
        return {};
    const QString text = magnitudeFraction(std::fabs(self));
    // A value too close to zero to show reads "0", and "-0" would mean nothing to anyone.
    if (self < 0.0 && text != QLatin1String("0"))
        return QLatin1Char('-') + text;
    return text;
}

} // namespace TQNumberUtilities
