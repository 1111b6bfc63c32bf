// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QDateTime>
#include <QLocale>
#include <QString>

/*!
    \file TQFormatting.h
    \ingroup files
    The texts a browser shows for sizes and dates, in the user's locale. Reentrant.
*/

/*!
    \a bytes as people read a file's size, in decimal units: "Zero KB", "1 byte", "999 bytes",
    "2 KB" (kilobytes without decimals), "123.5 MB" (one decimal), "1.23 GB" (two decimals
    from gigabytes on). Unit words go through the translation context "Quillbox".
*/
TQKIT_EXPORT QString TQByteCountString(qint64 bytes, const QLocale &locale = QLocale());

/*!
    \a date in local time as the locale's medium date and short time: "Nov 21, 2026, 5:27 AM"
    in English (United States). Empty for an invalid date.
*/
TQKIT_EXPORT QString TQMediumDateShortTimeString(const QDateTime &date, const QLocale &locale = QLocale());
