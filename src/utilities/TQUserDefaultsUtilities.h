// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>
#include <QVariant>
#include <QVariantMap>

class QSettings;

/*!
    \namespace TQUserDefaultsUtilities
    \brief Values kept in settings as keyed archives: a whole tree of values under one key.

    A settings backend keeps strings, numbers and byte arrays well, but loses the types of
    nested values (an INI file brings back every number as text). An archived value is stored
    as one QByteArray that describes its own types, and comes back exactly as it went in.

    Values that can be archived: an invalid QVariant inside a container; QVariantMap,
    QVariantHash, QVariantList, QStringList and QSet<QString> (see TQCopyDeep for why sets
    hold strings); and the leaves bool, int, uint, qint64, quint64, double, float, short,
    ushort, QChar, QString, QByteArray, QDate, QTime, QDateTime, QUrl, QUuid, QSize, QSizeF,
    QPoint, QPointF, QRect, QRectF and QColor. A tree holding anything else (a user type, an
    image) is not archived at all.

    Storing never removes a key: when there is nothing to store (a null QVariant, or a tree
    that cannot be archived) the old value stays. Reading gives a null QVariant when the key
    is missing or empty, and also, with a debug line in the category "tqkit.utilities", when
    the stored value is not a byte array or not a complete archive of this format.

    Stored form, version 1 (big-endian; strings and byte arrays as QDataStream writes them,
    version Qt_6_4: a 32-bit byte count, then UTF-16 or the bytes):
    \code
    archive  = "TQKA" (4 bytes), quint8 1, value
    value    = quint8 tag, then by tag:
               0 invalid:     nothing
               1 leaf:        quint32 QMetaType id, the leaf as QDataStream writes it
                              (floating-point numbers as 64-bit doubles)
               2 list:        quint32 n, n values
               3 map, 4 hash: quint32 n, n times (QString key, value)
               5 string list, 6 string set: quint32 n, n QStrings
    \endcode
    Containers nest at most 256 deep. A reader accepts nothing else: another magic or
    version, an unknown tag or leaf type, a count larger than the bytes left could hold,
    bytes after the value.

    QSettings is reentrant, not thread-safe: a QSettings (or a map) is used by one thread at
    a time, and these functions add no lock. Cost: proportional to the size of the tree or
    the archive; reading never allocates much more than the archive's own size.

    \ingroup utilities
*/
namespace TQUserDefaultsUtilities {

/*!
    Stores the archive of \a object in \a self under \a key, replacing the old value; stores
    nothing, leaving the old value, when \a object is null or cannot be archived (logged).
    True when something was stored.
*/
TQKIT_EXPORT bool setKeyedArchivableObject(QSettings &self, const QVariant &object, const QString &key);
//! The value archived in \a self under \a key; a null QVariant when missing or unreadable.
TQKIT_EXPORT QVariant keyedUnarchiveObjectForKey(const QSettings &self, const QString &key);

//! As setKeyedArchivableObject() for settings, storing into the map \a self.
TQKIT_EXPORT bool setKeyedArchivableObject(QVariantMap &self, const QVariant &object, const QString &key);
//! As keyedUnarchiveObjectForKey() for settings, reading from the map \a self.
TQKIT_EXPORT QVariant keyedUnarchiveObjectForKey(const QVariantMap &self, const QString &key);

} // namespace TQUserDefaultsUtilities
