#include "UWFolderListing_p.h"

#include "UWFileFactory_p.h"
#include "UWStatInfo_p.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace UWFolderListing {

QList<Entry> list(const QString &folder, QString *error)
{
    QList<Entry> entries;
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
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
    const QString prefix = folder == u"/" ? folder : folder + QLatin1Char('/');
    errno = 0;
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        UWStatInfo stat;
        // An entry removed between readdir and statx is simply no longer there.
        if (!stat.readAt(fd, name))
            continue;
        const QString decoded = QFile::decodeName(name);
        const QString path = prefix + decoded;
        if (UWStandardFileRef file = UWFileFactory::make(QUrl::fromLocalFile(path), {}, &stat))
            entries.append({decoded, std::move(file)});
        errno = 0;
    }
    if (errno != 0)
        *error = QString::fromLocal8Bit(::strerror(errno));
    ::closedir(dir);
    return entries;
}

} // namespace UWFolderListing
