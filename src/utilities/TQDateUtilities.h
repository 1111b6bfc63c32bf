// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QDateTime>
#include <QString>

/*!
    \namespace TQDateUtilities
    \brief The "time remaining" sentence of a progress display, from the moment a task began.

    Reentrant; may be called from any thread, provided the translators of the application are
    not being installed or removed at the same time (QCoreApplication's own rule). Constant cost.

    \ingroup utilities
*/
namespace TQDateUtilities {

/*!
    A coarse English estimate of the time left for a task that began at \a self and has done
    \a fraction of its work (0.25 = a quarter, 1.0 = finished), measured against the current
    time: "About 30 seconds remaining", "2 minutes remaining", "1 hour and 5 minutes remaining",
    "1 day, 2 hours, and 3 minutes remaining".

    A fraction of exactly 0 gives "" and leaves \a returnSecondsLeft alone. Otherwise the
    estimate, (1 / fraction - 1) x elapsed seconds rounded half away from zero, is held as an
    unsigned 64-bit count of seconds and written to \a returnSecondsLeft (when not null) as a
    whole double. The count is not clamped: a negative estimate (a fraction above 1, a start in
    the future) wraps through a signed 64-bit integer to an enormous count that reads as
    billions of days. An estimate no 64-bit integer can hold saturates instead of being
    undefined: at 2^64 - 1 above, at the wrap of -2^63 below; not-a-number counts as 0.
    An invalid \a self counts as no time elapsed.

    Under a minute the text is one of four fixed sentences; from 61 seconds it counts whole
    minutes (seconds are dropped, never rounded up), from 61 minutes hours and minutes, from
    25 hours days, hours and minutes. Only the leading unit has a singular form ("1 hour and
    1 minutes remaining"); a day count with no minutes drops its hours ("1 day remaining" for
    29 hours). Numbers are unsigned decimals without group separators.

    Every unit word, format and sentence is passed through
    QCoreApplication::translate("Quillbox", english) just before use, so the host's
    translation applies and English comes back when it has none. A translated format writes
    "%qu" for a number and "%@" for a word, in the English order, or "%1$qu" / "%2$@" (the
    argument's position, from 1) to reorder them; "%%" is a percent sign.
*/
TQKIT_EXPORT QString stringForTimeLeftWithPercentComplete(const QDateTime &self, double fraction,
                                                          double *returnSecondsLeft = nullptr);

/*!
    As above, with \a now in place of the current time, so that a caller (or a test) that
    already holds the time measures against it.
*/
TQKIT_EXPORT QString stringForTimeLeftWithPercentComplete(const QDateTime &self, double fraction,
                                                          double *returnSecondsLeft, const QDateTime &now);

} // namespace TQDateUtilities
