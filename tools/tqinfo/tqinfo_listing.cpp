#include "tqinfo_listing.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QLocale>

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace TQInfo {

namespace {

QString errorText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

struct DirCloser
{
    void operator()(DIR *dir) const { ::closedir(dir); }
};

} // namespace

Lookup lookUp(const QString &path)
{
    // The item cleans its path ("notes.txt/" becomes "notes.txt"), so the name as the user
    // wrote it is checked here first: the system's verdict on it is the one worth reporting.
    struct stat status;
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
        return {nullptr, errorText(errno)};
    UWStandardFileRef item = UWStandardFile::newFileForPath(path);
    if (!item || !item->exists())
        return {nullptr, errorText(ENOENT)};
    return {item, {}};
}

Listing listFolder(const QString &folder)
{
    Listing listing;
    // opendir rather than QDir: only the system call can say why a folder cannot be read.
    std::unique_ptr<DIR, DirCloser> dir(::opendir(QFile::encodeName(folder).constData()));
    if (!dir) {
        listing.error = errorText(errno);
        return listing;
    }

    QStringList names;
    for (;;) {
        errno = 0;
        const dirent *entry = ::readdir(dir.get());
        if (!entry) {
            if (errno != 0)
                listing.error = errorText(errno);
            break;
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        const QString name = QFile::decodeName(entry->d_name);
        // Decoding replaced the stray bytes, so the item would stand for some other name.
        if (QFile::encodeName(name) != entry->d_name)
            listing.undecodable.append(QDir(folder).filePath(name));
        else
            names.append(name);
    }

    // The C locale's collator compares code points and knows no numeric mode, and C is what
    // scripts and services usually run in; English order is the neutral one people expect.
    const QLocale locale = QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    // Names the collator calls equal ("a" and "A") still need one fixed order between runs.
    std::sort(names.begin(), names.end(), [&collator](const QString &a, const QString &b) {
        const int order = collator.compare(a, b);
        return order != 0 ? order < 0 : a < b;
    });

    const QDir base(folder);
    listing.paths.reserve(names.size());
    for (const QString &name : std::as_const(names))
        listing.paths.append(base.filePath(name));
    return listing;
}

} // namespace TQInfo
