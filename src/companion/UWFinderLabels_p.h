// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QtGlobal>

// For tests: the clock (milliseconds since the epoch) by which UWFinderLabels::nameForLabel()
// decides that its copy of the preference domain is stale; nullptr restores the real clock.
// Also forgets the copy.
TQKIT_EXPORT void UWFinderLabels_setClockForTesting(qint64 (*now)());

#include <QByteArray>

namespace UWFinderLabelsPrivate {

// The value of one extended attribute of a path itself (a link's own), read whole however
// long it is. `error` is the errno of a failed read; a missing attribute is no error.
struct Attribute
{
    bool exists = false;
    QByteArray value;
    int error = 0;
};
Attribute readAttribute(const QByteArray &nativePath, const char *name);

// The attributes that may hold a Mac FinderInfo record, in the order they are consulted.
inline constexpr const char *finderInfoAttributes[] = {"com.apple.FinderInfo", "user.com.apple.FinderInfo",
                                                       "user.DosStream.AFP_AfpInfo",
                                                       "user.org.netatalk.Metadata"};
// Where the 32-byte FinderInfo record starts inside the value of the attribute `name`; -1
// when the value holds none (too short, not the record its name promises).
qsizetype finderInfoOffset(const char *name, const QByteArray &value);

// The English name of label `index` (1..7), the tag written for it; nullptr otherwise.
const char *englishName(int index);

} // namespace UWFinderLabelsPrivate
