// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQDateUtilities.h"

#include <QCoreApplication>
#include <QStringList>

#include <cmath>
#include <limits>

namespace {

// The texts belong to the host's translation table; each is marked where it is used with
// QT_TRANSLATE_NOOP so that the host's lupdate, run over these sources, finds them there.
QString localized(const char *english)
{
    return QCoreApplication::translate("Quillbox", english);
}

// The estimate is kept as an unsigned count on purpose, so that a negative one wraps into
// an absurd number of days rather than silently reading as "done". C++ leaves a negative
// double converted straight to an unsigned type undefined, so it goes through a signed
// integer first, which then wraps. Beyond what 64 bits hold, the conversion saturates.
quint64 unsignedCount(double value)
{
    constexpr double twoTo63 = 9223372036854775808.0;
    constexpr double twoTo64 = 18446744073709551616.0;
    if (std::isnan(value))
        return 0;
    if (value >= twoTo64)
        return std::numeric_limits<quint64>::max();
    if (value >= 0)
        return static_cast<quint64>(value);
    if (value < -twoTo63)
        return static_cast<quint64>(std::numeric_limits<qint64>::min());
    return static_cast<quint64>(static_cast<qint64>(value));
}

// Fills the "%qu" and "%@" conversions of a (possibly translated) format in order, or by the
// position a translator gave them ("%2$@"). A conversion with no argument left is dropped
// rather than trusted: a translation is data, not code.
QString fill(const QString &format, const QStringList &arguments)
{
    QString text;
    text.reserve(format.size() + 16);
    qsizetype nextArgument = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c != u'%' || i + 1 == format.size()) {
            text += c;
            continue;
        }
        if (format.at(i + 1) == u'%') {
            text += c;
            ++i;
            continue;
        }
        qsizetype j = i + 1;
        qsizetype position = 0;
        while (j < format.size() && j < i + 3 && format.at(j).isDigit()) {
            position = position * 10 + format.at(j).digitValue();
            ++j;
        }
        const bool positional = j > i + 1 && j < format.size() && format.at(j) == u'$';
        j = positional ? j + 1 : i + 1;
        const QStringView rest = QStringView(format).mid(j);
        const qsizetype length = rest.startsWith(u"qu") ? 2 : rest.startsWith(u'@') ? 1 : 0;
        if (length == 0) {
            text += c;
            continue;
        }
        const qsizetype index = positional ? position - 1 : nextArgument++;
        if (index >= 0 && index < arguments.size())
            text += arguments.at(index);
        i = j + length - 1;
    }
    return text;
}

QString number(quint64 value)
{
    return QString::number(value);
}

} // namespace

namespace TQDateUtilities {

QString stringForTimeLeftWithPercentComplete(const QDateTime &self, double fraction, double *returnSecondsLeft)
{
    return stringForTimeLeftWithPercentComplete(self, fraction, returnSecondsLeft,
                                                QDateTime::currentDateTimeUtc());
}

QString stringForTimeLeftWithPercentComplete(const QDateTime &self, double fraction, double *returnSecondsLeft,
                                             const QDateTime &now)
{
    if (fraction == 0.0)
        return QString();

    const double elapsed = double(self.msecsTo(now)) / 1000.0;
    const double estimate = std::round((1.0 / fraction) * elapsed - elapsed);
    const quint64 seconds = unsignedCount(estimate);
    if (returnSecondsLeft)
        *returnSecondsLeft = double(seconds);

    // Looked up on every call, used or not, so a translation table sees the same requests
    // whatever the estimate.
    const QString days = localized(QT_TRANSLATE_NOOP("Quillbox", "days"));
    const QString hours = localized(QT_TRANSLATE_NOOP("Quillbox", "hours"));
    const QString minutes = localized(QT_TRANSLATE_NOOP("Quillbox", "minutes"));

    const quint64 ceiling = unsignedCount(std::ceil(double(seconds)));
    if (ceiling < 61) {
        if (ceiling < 5)
            return localized(QT_TRANSLATE_NOOP("Quillbox", "About 5 seconds remaining"));
        if (ceiling < 20)
            return localized(QT_TRANSLATE_NOOP("Quillbox", "About 15 seconds remaining"));
        if (ceiling < 42)
            return localized(QT_TRANSLATE_NOOP("Quillbox", "About 30 seconds remaining"));
        return localized(QT_TRANSLATE_NOOP("Quillbox", "About a minute remaining"));
    }

    const quint64 totalMinutes = seconds / 60;
    if (totalMinutes == 1) {
        // Asked for and not shown: the sentence has no number to agree with.
        static_cast<void>(localized(QT_TRANSLATE_NOOP("Quillbox", "minute")));
        return localized(QT_TRANSLATE_NOOP("Quillbox", "About a minute remaining"));
    }
    if (totalMinutes <= 60)
        return fill(localized(QT_TRANSLATE_NOOP("Quillbox", "%qu %@ remaining")),
                    {number(totalMinutes), minutes});

    const quint64 totalHours = totalMinutes / 60;
    const quint64 minuteRest = totalMinutes % 60;
    if (totalHours <= 24) {
        const QString hourWord = totalHours == 1 ? localized(QT_TRANSLATE_NOOP("Quillbox", "hour")) : hours;
        if (minuteRest == 0)
            return fill(localized(QT_TRANSLATE_NOOP("Quillbox", "%qu %@ remaining")),
                        {number(totalHours), hourWord});
        return fill(localized(QT_TRANSLATE_NOOP("Quillbox", "%qu %@ and %qu %@ remaining")),
                    {number(totalHours), hourWord, number(minuteRest), minutes});
    }

    const quint64 totalDays = totalHours / 24;
    const quint64 hourRest = totalHours % 24;
    const QString dayWord = totalDays == 1 ? localized(QT_TRANSLATE_NOOP("Quillbox", "day")) : days;
    if (minuteRest == 0)
        return fill(localized(QT_TRANSLATE_NOOP("Quillbox", "%qu %@ remaining")),
                    {number(totalDays), dayWord});
    if (hourRest == 0)
        return fill(localized(QT_TRANSLATE_NOOP("Quillbox", "%qu %@ and %qu %@ remaining")),
                    {number(totalDays), dayWord, number(minuteRest), minutes});
    return fill(localized(QT_TRANSLATE_NOOP("Quillbox", "%qu %@, %qu %@, and %qu %@ remaining")),
                {number(totalDays), dayWord, number(hourRest), hours, number(minuteRest), minutes});
}

} // namespace TQDateUtilities
