// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <sys/types.h>

// The mounted file systems, read from /proc/self/mountinfo, and the identity of a volume
// that survives it being mounted somewhere else.
namespace UWVolumes {

struct Mount
{
    dev_t device = 0;
    QString root;       // the folder of the file system that is mounted (not "/" for a bind mount)
    QString mountPoint;
    QString fileSystem; // "ext4", "vfat", ...
    QString source;     // "/dev/sdb1", "server:/export", "tmpfs"
    QString identity;   // "uuid:…" where the device has a file-system UUID, else "fs:TYPE:SOURCE"
};

// Every mount of this process's namespace, in the kernel's order. Reads the file each time:
// it is small, and mounts come and go.
QList<Mount> mounts();

// Paths below are the file system's bytes (a name need not be UTF-8).

// The mount that holds \a path on \a device: the longest mount point that is a prefix of
// the path among the mounts of that device. Null mount (empty mountPoint) when none.
Mount mountForPath(const QList<Mount> &all, const QByteArray &path, dev_t device);

// \a path relative to the root of its file system, starting with '/'.
QByteArray volumeRelativePath(const Mount &mount, const QByteArray &path);

// Where \a volumeRelative is under \a mount now; empty when the mount does not reach it.
QByteArray pathOnMount(const Mount &mount, const QByteArray &volumeRelative);

} // namespace UWVolumes
