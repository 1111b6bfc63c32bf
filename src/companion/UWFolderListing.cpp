// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFolderListing_p.h"

#include "UWFileFactory_p.h"
#include "UWStatInfo_p.h"

#include <QFile>
#include <QSet>

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace UWFolderListing {

QList<Entry> list(const QByteArray &folder, QString *error)
{
    QList<Entry> entries;
    const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        *error = QString::fromLocal8Bit(::strerror(errno));
        return entries;
    }
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        *error = QString::fromLocal8Bit(::strerror(errno));
        ::close(fd);
        return entries;
    }
    const QByteArray prefix = folder == "/" ? folder : folder + '/';
    const UWHiddenNames hidden(folder);
    errno = 0;
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        UWStatInfo stat;
        // An entry removed between readdir and statx is simply no longer there.
        if (!stat.readAt(fd, name))
            continue;
        hidden.mark(stat, name);
        // The bytes go to the item as they are: a name need not survive a trip through text.
        const QByteArray path = prefix + name;
        if (UWStandardFileRef file = UWFileFactory::make(QUrl(), path, &stat))
            entries.append({QByteArray(name), std::move(file)});
        errno = 0;
    }
    if (errno != 0)
        *error = QString::fromLocal8Bit(::strerror(errno));
    ::closedir(dir);
    return entries;
}

} // namespace UWFolderListing
