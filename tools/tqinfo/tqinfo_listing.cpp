// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

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
#include <numeric>
#include <vector>

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

Lookup lookUp(const QByteArray &path)
{
    if (path.contains('\0'))
        return {nullptr, errorText(EINVAL)};
    // The item looks its path up itself, without following a link, which is all lstat does:
    // when the item's path is the one given, its answer stands for lstat's (a folder's
    // entries are such paths, and each costs one system call less).
    UWStandardFileRef item = UWStandardFile::newFileForNativePath(path);
    if (item && item->exists() && item->nativePath() == path)
        return {item, {}};
    // The item cleans its path ("notes.txt/" becomes "notes.txt"), so the name as the user
    // wrote it is checked here: the system's verdict on it is the one worth reporting.
    struct stat status;
    if (::lstat(path.constData(), &status) != 0)
        return {nullptr, errorText(errno)};
    if (!item || !item->exists())
        return {nullptr, errorText(ENOENT)};
    return {item, {}};
}

Listing listFolder(const QByteArray &folder)
{
    Listing listing;
    // opendir rather than QDir: only the system call can say why a folder cannot be read.
    std::unique_ptr<DIR, DirCloser> dir(::opendir(folder.constData()));
    if (!dir) {
        listing.error = errorText(errno);
        return listing;
    }

    struct Name
    {
        QString text;
        QByteArray bytes;
    };
    QList<Name> names;
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
        const QByteArray bytes(entry->d_name);
        names.append({QFile::decodeName(bytes), bytes});
    }

    // The C locale's collator compares code points and knows no numeric mode, and C is what
    // scripts and services usually run in; English order is the neutral one people expect.
    const QLocale locale = QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    // One collation key per name, compared as bytes: a big folder sorted by asking the collator
    // to compare two texts spends most of its time there. Names the collator calls equal
    // ("a" and "A") still need one fixed order between runs. Two names that are not UTF-8 may
    // show as the same text; their bytes still tell them apart.
    std::vector<QCollatorSortKey> keys;
    keys.reserve(size_t(names.size()));
    for (const Name &name : std::as_const(names))
        keys.push_back(collator.sortKey(name.text));
    std::vector<qsizetype> order(keys.size());
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](qsizetype i, qsizetype j) {
        const Name &a = names.at(i), &b = names.at(j);
        const int byKey = keys[size_t(i)].compare(keys[size_t(j)]);
        return byKey != 0 ? byKey < 0 : a.text != b.text ? a.text < b.text : a.bytes < b.bytes;
    });

    const QByteArray base = folder.endsWith('/') ? folder : folder + '/';
    listing.paths.reserve(names.size());
    for (qsizetype i : order)
        listing.paths.append(base + names.at(i).bytes);
    return listing;
}

} // namespace TQInfo
