// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQUserDefaultsUtilities.h"

#include "TQKeyedArchive_p.h"
#include "TQUtilitiesLogging.h"

#include <QSettings>

namespace {

QByteArray archiveForKey(const QVariant &object, const QString &key)
{
    QString problem;
    const QByteArray data = TQKeyedArchive::archive(object, &problem);
    if (!problem.isEmpty())
        qCDebug(lcUtilities) << "nothing stored under" << key << "because" << problem;
    return data;
}

QVariant unarchiveStored(const QVariant &stored, const QString &key)
{
    if (!stored.isValid())
        return {};
    // A byte array is the only thing an archive is stored as; text or a number under the
    // key was put there by someone else, and reading it as bytes would only hide that.
    if (stored.metaType().id() != QMetaType::QByteArray) {
        qCDebug(lcUtilities) << "the value under" << key << "is a" << stored.metaType().name()
                             << "not an archive";
        return {};
    }
    const QByteArray data = stored.toByteArray();
    if (data.isEmpty())
        return {};
    QString problem;
    const QVariant value = TQKeyedArchive::unarchive(data, &problem);
    if (!problem.isEmpty())
        qCDebug(lcUtilities) << "the archive under" << key << "is refused:" << problem;
    return value;
}

} // namespace

namespace TQUserDefaultsUtilities {

bool setKeyedArchivableObject(QSettings &self, const QVariant &object, const QString &key)
{
    const QByteArray data = archiveForKey(object, key);
    if (data.isEmpty())
        return false;
    self.setValue(key, data);
    return true;
}

QVariant keyedUnarchiveObjectForKey(const QSettings &self, const QString &key)
{
    return unarchiveStored(self.value(key), key);
}

bool setKeyedArchivableObject(QVariantMap &self, const QVariant &object, const QString &key)
{
    const QByteArray data = archiveForKey(object, key);
    if (data.isEmpty())
        return false;
    self.insert(key, data);
    return true;
}

QVariant keyedUnarchiveObjectForKey(const QVariantMap &self, const QString &key)
{
    return unarchiveStored(self.value(key), key);
}

} // namespace TQUserDefaultsUtilities
