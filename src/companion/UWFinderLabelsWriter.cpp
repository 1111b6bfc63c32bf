// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWCompanionLogging.h"
#include "UWFinderLabels.h"
#include "UWFinderLabels_p.h"

#include <QFile>

#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>

using namespace UWFinderLabelsPrivate;

namespace {

// Where the colour bits sit in a FinderInfo record (byte 9, bits 1 to 3).
constexpr int colourByte = 9;
constexpr uchar colourMask = 0x0e;

// Each round reads, writes and reads again; another writer that changes the list this often
// in a row is not going to stop.
constexpr int maxRounds = 16;
// An errno of our own for "another program kept changing the attribute".
constexpr int keptChanging = -1;

QString errorText(int error)
{
    if (error == keptChanging)
        return QStringLiteral("another program kept changing its attributes at the same time");
    if (error == ENOTSUP)
        return QStringLiteral("its file system does not keep user extended attributes");
    if (error == EACCES || error == EPERM)
        return QStringLiteral("not allowed to change its attributes (%1)").arg(QString::fromLocal8Bit(std::strerror(error)));
    return QString::fromLocal8Bit(std::strerror(error));
}

QString kindOf(mode_t mode)
{
    if (S_ISLNK(mode))
        return QStringLiteral("a symbolic link; a label belongs to the file it points to");
    if (S_ISFIFO(mode))
        return QStringLiteral("a named pipe");
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return QStringLiteral("a device");
    if (S_ISSOCK(mode))
        return QStringLiteral("a socket");
    return QStringLiteral("not a regular file or folder");
}

// Rewrites the attribute `name` of the path itself to what `change` makes of its current
// value (nullopt: remove it). Returns 0 or an errno (keptChanging).
int rewriteAttribute(const QByteArray &path, const char *name,
                     const std::function<std::optional<QByteArray>(const Attribute &)> &change)
{
    for (int round = 0; round < maxRounds; ++round) {
        const Attribute now = readAttribute(path, name);
        if (now.error)
            return now.error;
        const std::optional<QByteArray> next = change(now);
        if (next ? (now.exists && now.value == *next) : !now.exists)
            return 0;
        // The flags make the write fail when another writer created or removed the attribute
        // since it was read; its value can change unseen, which the read below catches.
        const int result = next ? ::lsetxattr(path.constData(), name, next->constData(), size_t(next->size()),
                                              now.exists ? XATTR_REPLACE : XATTR_CREATE)
                                : ::lremovexattr(path.constData(), name);
        if (result != 0) {
            if (errno == ENODATA || errno == EEXIST)
                continue;
            return errno;
        }
        const Attribute after = readAttribute(path, name);
        if (after.error)
            return after.error;
        if (next ? (after.exists && after.value == *next) : !after.exists)
            return 0;
    }
    return keptChanging;
}

// Gives the FinderInfo record in `name`, when the file has one, the colour bits of `label`.
void rewriteFinderInfo(const QByteArray &path, const char *name, int label)
{
    const int error = rewriteAttribute(path, name, [&](const Attribute &now) -> std::optional<QByteArray> {
        if (!now.exists)
            return std::nullopt;
        const qsizetype at = finderInfoOffset(name, now.value);
        if (at < 0)
            return now.value;
        QByteArray value = now.value;
        char &flags = value[at + colourByte];
        flags = char((uchar(flags) & ~colourMask) | (label << 1));
        return value;
    });
    // A record that cannot be written is no failure while the tag decides the label; whether
    // it does is checked by reading the label back.
    if (error && error != ENOTSUP)
        qCDebug(lcCompanion) << "Could not write the label into" << name << "of" << QFile::decodeName(path) << ":"
                             << errorText(error);
}

bool refuse(const QByteArray &path, const QString &reason, QString *error, bool warn = true)
{
    const QString line = QStringLiteral("Not setting the label of %1: %2").arg(QFile::decodeName(path), reason);
    if (warn)
        qCWarning(lcCompanion).noquote() << line;
    else
        qCDebug(lcCompanion).noquote() << line;
    if (error)
        *error = reason;
    return false;
}

} // namespace

namespace UWFinderLabels {

QByteArray tagsWithLabel(const QByteArray &tags, int label)
{
    QList<QByteArray> kept;
    qsizetype labelAt = -1;
    for (const QByteArray &tag : tags.split(',')) {
        if (tag.trimmed().isEmpty())
            continue;
        if (labelFromTags(tag) != 0) {
            if (labelAt < 0)
                labelAt = kept.size();
            continue;
        }
        kept.append(tag);
    }
    if (const char *name = englishName(label))
        kept.insert(labelAt < 0 ? kept.size() : labelAt, QByteArray(name));
    return kept.join(',');
}

bool setLabelForPath(const QString &path, int label, QString *error)
{
    return setLabelForNativePath(QFile::encodeName(path), label, error);
}

bool setLabelForNativePath(const QByteArray &path, int label, QString *error)
{
    if (label < 0 || label > 7)
        return refuse(path, QStringLiteral("there is no label %1 (labels are 0 for none to 7)").arg(label), error);
    if (path.isEmpty() || path.contains('\0'))
        return refuse(path, QStringLiteral("not a path"), error);
    // lstat and the l*xattr calls below never open the file: a named pipe stays unopened
    // even when one takes the file's place between the check and the write.
    struct stat status = {};
    if (::lstat(path.constData(), &status) != 0) {
        const int lstatError = errno;
        return refuse(path, errorText(lstatError), error, lstatError != ENOENT && lstatError != ENOTDIR);
    }
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
        return refuse(path, QStringLiteral("it is %1").arg(kindOf(status.st_mode)), error);

    const int tagsError = rewriteAttribute(path, "user.xdg.tags", [label](const Attribute &now) {
        const QByteArray tags = tagsWithLabel(now.value, label);
        return tags.isEmpty() ? std::nullopt : std::optional<QByteArray>(tags);
    });
    if (tagsError)
        return refuse(path, errorText(tagsError), error);
    for (const char *name : finderInfoAttributes)
        rewriteFinderInfo(path, name, label);

    const int labelNow = labelForNativePath(path);
    if (labelNow != label) {
        // With the label's tag gone, what is left to say otherwise is a Mac record.
        const QString where = label == 0 ? QStringLiteral(", kept in a Mac record that cannot be changed here")
                                         : QString();
        return refuse(path, QStringLiteral("it still reads as label %1 after the write%2").arg(labelNow).arg(where),
                      error);
    }
    qCDebug(lcCompanion) << "Label" << label << "set on" << QFile::decodeName(path);
    return true;
}

} // namespace UWFinderLabels
