#include "UWStandardFile.h"

#include "TQTypeRegistry.h"
#include "UWCompanionLogging.h"
#include "UWFinderLabels.h"
#include "UWStatInfo_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <limits.h>
#include <unistd.h>
#include <sys/stat.h>

#include <array>
#include <optional>

bool UWStatInfo::read(const char *path, bool followLinks)
{
    struct statx sx;
    const int flags = AT_STATX_SYNC_AS_STAT | (followLinks ? 0 : AT_SYMLINK_NOFOLLOW);
    if (::statx(AT_FDCWD, path, flags, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
        return false;
    const auto msecs = [](const struct statx_timestamp &t) {
        return qint64(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
    };
    mode = sx.stx_mode;
    device = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    inode = sx.stx_ino;
    size = qint64(sx.stx_size);
    modifiedMSecs = msecs(sx.stx_mtime);
    statusChangedMSecs = msecs(sx.stx_ctime);
    accessedMSecs = msecs(sx.stx_atime);
    hasBirthTime = (sx.stx_mask & STATX_BTIME) != 0;
    bornMSecs = hasBirthTime ? msecs(sx.stx_btime) : 0;
    return true;
}

namespace {

// Links are followed at most this many times; the kernel's own limit for a path is 40.
constexpr int maxLinkDepth = 40;

QDateTime dateFromMSecs(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

// The names a folder's ".hidden" file lists, one per line.
bool isListedInHiddenFile(const QString &folder, const QString &name)
{
    QFile hidden(folder + QStringLiteral("/.hidden"));
    if (!hidden.open(QIODevice::ReadOnly))
        return false;
    // The file is a short list by convention; a huge one is not worth reading whole.
    const QByteArray contents = hidden.read(1 << 20);
    const QByteArray encoded = name.toUtf8();
    for (QByteArray line : contents.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line == encoded)
            return true;
    }
    return false;
}

// The absolute, clean path a link points to; nothing when \a path is not a link.
std::optional<QString> readLink(const QString &path)
{
    QByteArray target(PATH_MAX, Qt::Uninitialized);
    const ssize_t size = ::readlink(QFile::encodeName(path).constData(), target.data(), target.size());
    if (size <= 0 || size >= target.size())
        return std::nullopt;
    target.truncate(size);
    const QString decoded = QFile::decodeName(target);
    if (QDir::isAbsolutePath(decoded))
        return QDir::cleanPath(decoded);
    const QString folder = path.left(path.lastIndexOf(QLatin1Char('/')));
    return QDir::cleanPath(folder + QLatin1Char('/') + decoded);
}

} // namespace

struct UWStandardFile::Private
{
    QString path; // absolute and clean; empty for a placeholder
    UWStatInfo stat;
    bool exists = false;

    mutable std::optional<QString> resolvedPath;
    mutable std::optional<QString> uti;
    mutable std::optional<QString> resolvedUTI;
    mutable std::optional<QString> kindString;
    mutable std::optional<bool> isInvisible;
    mutable std::optional<int> finderLabel;

    bool isLink() const { return exists && S_ISLNK(stat.mode); }
    bool isDirectory() const { return exists && S_ISDIR(stat.mode); }
    const QString &resolved() const;
};

const QString &UWStandardFile::Private::resolved() const
{
    if (resolvedPath)
        return *resolvedPath;
    QString current = path;
    if (isLink()) {
        // Follow the chain one link at a time, so that a loop or a dangling end resolves to
        // the link itself instead of failing somewhere in between.
        QSet<QString> visited{current};
        for (int depth = 0; depth < maxLinkDepth; ++depth) {
            const std::optional<QString> target = readLink(current);
            if (!target)
                break;
            if (visited.contains(*target)) {
                qCDebug(lcCompanion) << "link loop at" << path;
                current = path;
                break;
            }
            visited.insert(*target);
            current = *target;
        }
        struct stat end;
        if (current != path
            && (::lstat(QFile::encodeName(current).constData(), &end) != 0 || S_ISLNK(end.st_mode))) {
            qCDebug(lcCompanion) << "link" << path << "leads nowhere";
            current = path;
        }
    }
    resolvedPath = current;
    return *resolvedPath;
}

UWStandardFile::UWStandardFile()
    : d(std::make_unique<Private>())
{
}

UWStandardFile::~UWStandardFile() = default;

UWStandardFileRef UWStandardFile::newFileForURL(const QUrl &url)
{
    UWStandardFileRef file(new UWStandardFile);
    if (!file->initWithURL(url, {}, nullptr))
        return nullptr;
    return file;
}

UWStandardFileRef UWStandardFile::newFileForPath(const QString &path)
{
    if (path.isEmpty())
        return nullptr;
    return newFileForURL(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

bool UWStandardFile::initWithURL(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo)
{
    if (!url.isLocalFile())
        return false;
    const QString path = QDir::cleanPath(url.toLocalFile());
    if (path.isEmpty() || !QDir::isAbsolutePath(path))
        return false;
    d->path = path;
    if (statInfo) {
        d->stat = *statInfo;
        d->exists = true;
    } else {
        const QByteArray encoded = pathRep.isEmpty() ? QFile::encodeName(path) : pathRep;
        d->exists = d->stat.read(encoded.constData());
    }
    return true;
}

QUrl UWStandardFile::URL() const
{
    return d->path.isEmpty() ? QUrl() : QUrl::fromLocalFile(d->path);
}

QString UWStandardFile::path() const
{
    return d->path;
}

QUrl UWStandardFile::resolvedURL() const
{
    return d->path.isEmpty() ? QUrl() : QUrl::fromLocalFile(d->resolved());
}

QString UWStandardFile::displayName() const
{
    if (d->path == u"/")
        return d->path;
    return d->path.mid(d->path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString UWStandardFile::uti() const
{
    if (!d->uti) {
        if (!d->exists)
            d->uti = QString();
        else if (d->isLink())
            d->uti = QStringLiteral("public.symlink");
        else
            d->uti = TQTypeRegistry::shared().typeForFile(d->path);
    }
    return *d->uti;
}

QString UWStandardFile::resolvedUTI() const
{
    if (!d->resolvedUTI) {
        const QString &target = d->resolved();
        d->resolvedUTI = target == d->path ? uti() : TQTypeRegistry::shared().typeForFile(target);
    }
    return *d->resolvedUTI;
}

QString UWStandardFile::kindString() const
{
    if (!d->kindString)
        d->kindString = TQTypeRegistry::shared().localizedDescription(resolvedUTI());
    return *d->kindString;
}

bool UWStandardFile::isPlaceholder() const
{
    return d->path.isEmpty();
}

bool UWStandardFile::isDirectory() const
{
    return d->isDirectory();
}

bool UWStandardFile::isBasicDirectory() const
{
    return d->isDirectory();
}

bool UWStandardFile::isInvisible() const
{
    if (!d->isInvisible) {
        const QString name = displayName();
        d->isInvisible = name.startsWith(QLatin1Char('.'))
            || (d->path != u"/" && isListedInHiddenFile(d->path.left(d->path.lastIndexOf(QLatin1Char('/'))), name));
    }
    return *d->isInvisible;
}

bool UWStandardFile::isRealFile() const
{
    return d->exists && !d->isLink();
}

bool UWStandardFile::exists() const
{
    return d->exists;
}

QDateTime UWStandardFile::modificationDate() const
{
    return d->exists ? dateFromMSecs(d->stat.modifiedMSecs) : QDateTime();
}

QDateTime UWStandardFile::creationDate() const
{
    if (!d->exists)
        return {};
    return dateFromMSecs(d->stat.hasBirthTime ? d->stat.bornMSecs : d->stat.statusChangedMSecs);
}

int UWStandardFile::finderLabel() const
{
    if (!d->finderLabel)
        d->finderLabel = d->exists ? UWFinderLabels::labelForPath(d->path) : 0;
    return *d->finderLabel;
}

QString UWStandardFile::finderLabelTitle() const
{
    return UWFinderLabels::defaultName(finderLabel());
}

namespace {

using Getter = QVariant (*)(const UWStandardFile &);

QVariant dateValue(const QDateTime &date)
{
    return date.isValid() ? QVariant(date) : QVariant();
}

QVariant urlValue(const QUrl &url)
{
    return url.isEmpty() ? QVariant() : QVariant(url);
}

struct KeyGetter
{
    QStringView key;
    Getter get;
};

// One table for the keys: valueForKey() and keys() both read it, so they cannot disagree.
const std::array keyGetters = {
    KeyGetter{u"displayName", [](const UWStandardFile &f) { return QVariant(f.displayName()); }},
    KeyGetter{u"path", [](const UWStandardFile &f) { return QVariant(f.path()); }},
    KeyGetter{u"URL", [](const UWStandardFile &f) { return urlValue(f.URL()); }},
    KeyGetter{u"resolvedURL", [](const UWStandardFile &f) { return urlValue(f.resolvedURL()); }},
    KeyGetter{u"uti", [](const UWStandardFile &f) { return QVariant(f.uti()); }},
    KeyGetter{u"resolvedUTI", [](const UWStandardFile &f) { return QVariant(f.resolvedUTI()); }},
    KeyGetter{u"kindString", [](const UWStandardFile &f) { return QVariant(f.kindString()); }},
    KeyGetter{u"isDirectory", [](const UWStandardFile &f) { return QVariant(f.isDirectory()); }},
    KeyGetter{u"isBasicDirectory", [](const UWStandardFile &f) { return QVariant(f.isBasicDirectory()); }},
    KeyGetter{u"isInvisible", [](const UWStandardFile &f) { return QVariant(f.isInvisible()); }},
    KeyGetter{u"isPlaceholder", [](const UWStandardFile &f) { return QVariant(f.isPlaceholder()); }},
    KeyGetter{u"isRealFile", [](const UWStandardFile &f) { return QVariant(f.isRealFile()); }},
    KeyGetter{u"modificationDate", [](const UWStandardFile &f) { return dateValue(f.modificationDate()); }},
    KeyGetter{u"creationDate", [](const UWStandardFile &f) { return dateValue(f.creationDate()); }},
    KeyGetter{u"finderLabel", [](const UWStandardFile &f) { return QVariant(f.finderLabel()); }},
    KeyGetter{u"finderLabelTitle", [](const UWStandardFile &f) { return QVariant(f.finderLabelTitle()); }},
};

} // namespace

QVariant UWStandardFile::valueForKey(QStringView key) const
{
    for (const KeyGetter &getter : keyGetters) {
        if (getter.key == key)
            return getter.get(*this);
    }
    return {};
}

QStringList UWStandardFile::keys()
{
    QStringList all;
    for (const KeyGetter &getter : keyGetters)
        all.append(getter.key.toString());
    return all;
}
