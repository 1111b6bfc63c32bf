// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFormatting.h"

#include "UWSerialized_p.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <array>
#include <cmath>
#include <mutex>

QString TQByteCountString(qint64 bytes, const QLocale &locale)
{
    if (bytes == 0)
        return QCoreApplication::translate("Quillbox", "Zero KB");
    const qint64 magnitude = bytes < 0 ? -bytes : bytes;
    if (magnitude < 1000) {
        // One byte has a text of its own, so English reads right without a translation
        // loaded; every other count goes through the language's plural forms.
        if (bytes == 1)
            return QCoreApplication::translate("Quillbox", "1 byte");
        return QCoreApplication::translate("Quillbox", "%n bytes", nullptr, int(bytes))
            .replace(QString::number(bytes), locale.toString(bytes));
    }
    struct Unit
    {
        const char *format;
        int decimals;
    };
    static constexpr std::array<Unit, 6> units = {{
        {QT_TRANSLATE_NOOP("Quillbox", "%1 KB"), 0},
        {QT_TRANSLATE_NOOP("Quillbox", "%1 MB"), 1},
        {QT_TRANSLATE_NOOP("Quillbox", "%1 GB"), 2},
        {QT_TRANSLATE_NOOP("Quillbox", "%1 TB"), 2},
        {QT_TRANSLATE_NOOP("Quillbox", "%1 PB"), 2},
        {QT_TRANSLATE_NOOP("Quillbox", "%1 EB"), 2},
    }};
    double value = double(bytes) / 1000.0;
    size_t unit = 0;
    // Move up a unit once the rounded value would read 1000 or more ("1,000 KB" reads as 1 MB).
    while (unit + 1 < units.size()) {
        const double scale = std::pow(10.0, units[unit].decimals);
        if (std::round(std::abs(value) * scale) / scale < 1000.0)
            break;
        value /= 1000.0;
        ++unit;
    }
    return QCoreApplication::translate("Quillbox", units[unit].format)
        .arg(locale.toString(value, 'f', units[unit].decimals));
}

QString TQMediumDateShortTimeString(const QDateTime &date, const QLocale &locale)
{
    if (!date.isValid())
        return {};
    // Qt knows short and long formats; the medium one is the long one with abbreviated
    // month names and no weekday, which is how the locales' medium forms read.
    QString dateFormat = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("d{4}[,.]?\\s*"));
    dateFormat.remove(weekday);
    dateFormat.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    QDateTime local;
    {
        std::lock_guard serialized(UWSerialized::localTime());
        local = date.toLocalTime();
    }
    // Qt joins a date and a time with a space in every locale; how a language joins them is
    // its translation's to say (English and German put a comma between).
    return QCoreApplication::translate("Quillbox", "%1, %2", "a date, then a time of day")
        .arg(locale.toString(local.date(), dateFormat.trimmed()), locale.toString(local.time(), QLocale::ShortFormat));
}
