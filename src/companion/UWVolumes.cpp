// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWVolumes_p.h"

#include <QDir>
#include <QFile>
#include <QHash>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace {

// mountinfo escapes blanks, tabs, newlines and backslashes in paths as octal: "\040".
QString unescape(const QByteArray &field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field.at(i) == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int value = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok && value < 256) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(field.at(i));
    }
    return QFile::decodeName(out);
}

// Device number -> file-system UUID, from the links udev keeps in /dev/disk/by-uuid.
QHash<dev_t, QString> uuidsByDevice()
{
    QHash<dev_t, QString> uuids;
    const QDir byUuid(QStringLiteral("/dev/disk/by-uuid"));
    for (const QString &uuid : byUuid.entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot)) {
        struct stat device;
        if (::stat(QFile::encodeName(byUuid.filePath(uuid)).constData(), &device) == 0
            && S_ISBLK(device.st_mode))
            uuids.insert(device.st_rdev, uuid);
    }
    return uuids;
}

} // namespace

namespace UWVolumes {

QList<Mount> mounts()
{
    QList<Mount> result;
    QFile file(QStringLiteral("/proc/self/mountinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return result;
    const QHash<dev_t, QString> uuids = uuidsByDevice();
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        // id parent major:minor root mountpoint options [optional...] - fstype source super
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-");
        if (fields.size() < 7 || separator < 6 || separator + 2 >= fields.size())
            continue;
        const QList<QByteArray> majorMinor = fields.at(2).split(':');
        if (majorMinor.size() != 2)
            continue;
        Mount mount;
        mount.device = makedev(majorMinor.at(0).toUInt(), majorMinor.at(1).toUInt());
        mount.root = unescape(fields.at(3));
        mount.mountPoint = unescape(fields.at(4));
        mount.fileSystem = QString::fromUtf8(fields.at(separator + 1));
        mount.source = unescape(fields.at(separator + 2));
        const QString uuid = uuids.value(mount.device);
        mount.identity = uuid.isEmpty()
            ? QString(QStringLiteral("fs:") + mount.fileSystem + QLatin1Char(':') + mount.source)
            : QString(QStringLiteral("uuid:") + uuid);
        result.append(mount);
    }
    return result;
}

Mount mountForPath(const QList<Mount> &all, const QByteArray &path, dev_t device)
{
    Mount best;
    qsizetype bestLength = -1;
    for (const Mount &mount : all) {
        if (mount.device != device)
            continue;
        const QByteArray point = QFile::encodeName(mount.mountPoint);
        const bool covers = point == "/" || path == point || path.startsWith(QByteArray(point + '/'));
        if (covers && point.size() >= bestLength) {
            best = mount;
            bestLength = point.size();
        }
    }
    return best;
}

namespace {

// Cleaned as Latin-1 text, so that no byte of a name that is not UTF-8 is lost.
QByteArray cleanBytes(const QByteArray &path)
{
    return QDir::cleanPath(QString::fromLatin1(path)).toLatin1();
}

} // namespace

QByteArray volumeRelativePath(const Mount &mount, const QByteArray &path)
{
    const QByteArray point = QFile::encodeName(mount.mountPoint);
    const QByteArray inside = point == "/" ? path : path.mid(point.size());
    return cleanBytes(QFile::encodeName(mount.root) + '/' + inside);
}

QByteArray pathOnMount(const Mount &mount, const QByteArray &volumeRelative)
{
    const QByteArray root = mount.root == u"/" ? QByteArray() : QFile::encodeName(mount.root);
    if (!root.isEmpty() && volumeRelative != root && !volumeRelative.startsWith(QByteArray(root + '/')))
        return {};
    return cleanBytes(QFile::encodeName(mount.mountPoint) + '/' + volumeRelative.mid(root.size()));
}

} // namespace UWVolumes
