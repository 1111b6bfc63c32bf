#include "UWStandardFile.h"

#include "TQApplications.h"
#include "TQTypeRegistry.h"
#include "UWCompanionLogging.h"
#include "UWFileFactory_p.h"
#include "UWFinderLabels.h"
#include "UWStatInfo_p.h"
#include "UWVolumes_p.h"

#include <QDir>
#include <QHash>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QMutex>
#include <QReadWriteLock>
#include <QSet>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <vector>

bool UWStatInfo::read(const char *path, bool followLinks)
{
    return readAt(AT_FDCWD, path, followLinks);
}

bool UWStatInfo::readAt(int directoryFd, const char *name, bool followLinks)
{
    struct statx sx;
    const int flags = AT_STATX_SYNC_AS_STAT | (followLinks ? 0 : AT_SYMLINK_NOFOLLOW);
    if (::statx(directoryFd, name, flags, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
        return false;
    // Nanoseconds: telling a renamed file from a new one that got its inode back needs them.
    const auto nsecs = [](const struct statx_timestamp &t) {
        return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
    };
    mode = sx.stx_mode;
    device = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    inode = sx.stx_ino;
    size = qint64(sx.stx_size);
    modifiedNSecs = nsecs(sx.stx_mtime);
    statusChangedNSecs = nsecs(sx.stx_ctime);
    accessedNSecs = nsecs(sx.stx_atime);
    hasBirthTime = (sx.stx_mask & STATX_BTIME) != 0;
    bornNSecs = hasBirthTime ? nsecs(sx.stx_btime) : 0;
    return true;
}

// ---- The factory ---------------------------------------------------------------------------

struct UWFileFactoryAccess
{
    static UWStandardFileRef makeBase() { return UWStandardFileRef(new UWStandardFile); }
    static bool init(UWStandardFile &file, const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo)
    {
        return file.initWithURL(url, pathRep, statInfo);
    }
    static void becomePlaceholder(UWStandardFile &file, const QString &name, const QVariantMap &archive)
    {
        file.becomePlaceholder(name, archive);
    }
};

namespace {

// Function-local, so that a factory installed while the library loads (before this file's
// globals would be constructed) finds its storage ready.
struct FactoryState
{
    QReadWriteLock lock;
    UWFileFactory::Factory factory; // guarded by lock
    std::atomic<TQTypeRegistry::Detection> detection{TQTypeRegistry::Detection::ContentAndName};
    QMutex placeholderLock;
    std::vector<std::weak_ptr<UWStandardFile>> placeholders; // guarded by placeholderLock
};

FactoryState &state()
{
    static FactoryState shared;
    return shared;
}

UWStandardFileRef newItem()
{
    QReadLocker locker(&state().lock);
    UWStandardFileRef item = state().factory ? state().factory() : nullptr;
    return item ? item : UWFileFactoryAccess::makeBase();
}

} // namespace

namespace UWFileFactory {

void setFactory(Factory factory)
{
    QWriteLocker locker(&state().lock);
    state().factory = std::move(factory);
}

Factory factory()
{
    QReadLocker locker(&state().lock);
    return state().factory;
}

UWStandardFileRef make(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo)
{
    UWStandardFileRef item = newItem();
    if (!UWFileFactoryAccess::init(*item, url, pathRep, statInfo))
        return nullptr;
    return item;
}

UWStandardFileRef makePlaceholder(const QString &displayName, const QVariantMap &archive)
{
    UWStandardFileRef item = newItem();
    UWFileFactoryAccess::becomePlaceholder(*item, displayName, archive);
    rememberPlaceholder(item);
    return item;
}

void setTypeDetection(TQTypeRegistry::Detection value)
{
    state().detection = value;
}

TQTypeRegistry::Detection typeDetection()
{
    return state().detection;
}

void rememberPlaceholder(const UWStandardFileRef &placeholder)
{
    QMutexLocker locker(&state().placeholderLock);
    std::erase_if(state().placeholders, [](const std::weak_ptr<UWStandardFile> &p) { return p.expired(); });
    state().placeholders.push_back(placeholder);
}

QList<UWStandardFileRef> livePlaceholders()
{
    QMutexLocker locker(&state().placeholderLock);
    QList<UWStandardFileRef> alive;
    for (const std::weak_ptr<UWStandardFile> &weak : state().placeholders) {
        if (UWStandardFileRef item = weak.lock(); item && item->isPlaceholder())
            alive.append(item);
    }
    return alive;
}

} // namespace UWFileFactory

// ---- Helpers -------------------------------------------------------------------------------

namespace {

// Links are followed at most this many times; the kernel's own limit for a path is 40.
constexpr int maxLinkDepth = 40;
constexpr int archiveVersion = 1;

const QString archiveVersionKey = QStringLiteral("version");
const QString archivePathKey = QStringLiteral("path");
const QString archiveNameKey = QStringLiteral("displayName");
const QString archiveVolumeKey = QStringLiteral("volume");
const QString archiveMountPointKey = QStringLiteral("mountPoint");
const QString archiveRelativeKey = QStringLiteral("volumePath");
const QString archiveInodeKey = QStringLiteral("inode");
const QString archiveDirectoryKey = QStringLiteral("isDirectory");

QDateTime dateFromNSecs(qint64 nsecs)
{
    return QDateTime::fromMSecsSinceEpoch(nsecs / 1000000, Qt::UTC);
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

QString parentPath(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

// The superuser passes every access() check; a browser still shows a file whose mode grants
// something to nobody as not allowing it.
bool mayAccess(const QString &path, int how, mode_t anyoneMask)
{
    struct stat target;
    const QByteArray encoded = QFile::encodeName(path);
    if (::stat(encoded.constData(), &target) != 0 || ::access(encoded.constData(), how) != 0)
        return false;
    return (target.st_mode & anyoneMask) != 0;
}

} // namespace

namespace {

// Announces \a keys will-change in order, runs \a change, then did-change in reverse order.
template<typename Change>
void announcing(UWStandardFile &file, std::initializer_list<QStringView> keys, Change change)
{
    for (QStringView key : keys)
        file.willChangeValueForKey(key);
    change();
    for (auto key = std::rbegin(keys); key != std::rend(keys); ++key)
        file.didChangeValueForKey(*key);
}

} // namespace

// ---- The item ------------------------------------------------------------------------------

struct UWStandardFile::Private
{
    QString path; // absolute and clean; empty for a placeholder
    UWStatInfo stat;
    bool exists = false;

    // Rarely used state, kept out of line so that an item of a big listing stays small.
    struct Extra
    {
        QString placeholderName;
        QVariantMap placeholderArchive;
        std::optional<TQApplicationInfo> application; // for a desktop entry, once read
        std::vector<UWFileObserver *> observers;
    };
    std::unique_ptr<Extra> extra;

    mutable std::optional<QString> resolvedPath;
    mutable std::optional<QString> uti;
    mutable std::optional<QString> resolvedUTI;
    mutable std::optional<QString> kindString;
    mutable std::optional<bool> isInvisible;
    mutable std::optional<int> finderLabel;

    Extra &ensureExtra()
    {
        if (!extra)
            extra = std::make_unique<Extra>();
        return *extra;
    }
    bool isPlaceholder() const { return path.isEmpty(); }
    bool isLink() const { return exists && S_ISLNK(stat.mode); }
    bool isDirectory() const { return exists && S_ISDIR(stat.mode); }
    const QString &resolved() const;
    void forgetTypes()
    {
        resolvedPath.reset();
        uti.reset();
        resolvedUTI.reset();
        kindString.reset();
    }
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

UWFileObserver::~UWFileObserver() = default;

UWStandardFileRef UWStandardFile::newFileForURL(const QUrl &url)
{
    return UWFileFactory::make(url);
}

UWStandardFileRef UWStandardFile::newFileForPath(const QString &path)
{
    if (path.isEmpty())
        return nullptr;
    return newFileForURL(QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
}

QList<UWStandardFileRef> UWStandardFile::arrayOfFilesForPaths(const QStringList &paths, bool allowPlaceholders)
{
    QList<UWStandardFileRef> files;
    files.reserve(paths.size());
    for (const QString &path : paths) {
        UWStandardFileRef file = newFileForPath(path);
        if (file && !file->exists()) {
            // A placeholder that finds its file again as soon as something appears at the path.
            const QVariantMap archive{{archiveVersionKey, archiveVersion},
                                      {archivePathKey, file->path()},
                                      {archiveNameKey, file->fileName()}};
            file = allowPlaceholders ? UWFileFactory::makePlaceholder(file->fileName(), archive) : nullptr;
        }
        if (file)
            files.append(file);
    }
    return files;
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

void UWStandardFile::becomePlaceholder(const QString &displayName, const QVariantMap &archive)
{
    d->path.clear();
    d->exists = false;
    d->stat = {};
    d->forgetTypes();
    d->isInvisible.reset();
    d->finderLabel.reset();
    Private::Extra &extra = d->ensureExtra();
    extra.placeholderName = displayName;
    extra.placeholderArchive = archive;
}

bool UWStandardFile::adoptPath(const QString &path)
{
    UWStatInfo stat;
    if (!stat.read(QFile::encodeName(path).constData()))
        return false;
    if (d->extra)
        d->extra->application.reset();
    d->path = path;
    d->stat = stat;
    d->exists = true;
    d->forgetTypes();
    d->isInvisible.reset();
    d->finderLabel.reset();
    return true;
}

const UWStatInfo &UWStandardFile::statInfo() const
{
    return d->stat;
}

// ---- Archives ------------------------------------------------------------------------------

QVariantMap UWStandardFile::archiveDictionary() const
{
    if (d->isPlaceholder())
        return d->extra ? d->extra->placeholderArchive : QVariantMap();
    if (!d->exists)
        return {};
    const QList<UWVolumes::Mount> mounts = UWVolumes::mounts();
    const UWVolumes::Mount mount = UWVolumes::mountForPath(mounts, d->path, d->stat.device);
    QVariantMap archive{
        {archiveVersionKey, archiveVersion},
        {archivePathKey, d->path},
        {archiveNameKey, fileName()},
        {archiveInodeKey, qulonglong(d->stat.inode)},
        {archiveDirectoryKey, d->isDirectory()},
    };
    if (!mount.mountPoint.isEmpty()) {
        archive.insert(archiveVolumeKey, mount.identity);
        archive.insert(archiveMountPointKey, mount.mountPoint);
        archive.insert(archiveRelativeKey, UWVolumes::volumeRelativePath(mount, d->path));
    }
    return archive;
}

namespace {

// Whether the file at \a path is the one \a archive describes: the same inode, or, after an
// editor replaced it by saving a new copy, at least the same kind of entry on the same volume.
bool holdsArchivedFile(const QString &path, const QVariantMap &archive, const QList<UWVolumes::Mount> &mounts)
{
    UWStatInfo stat;
    if (!stat.read(QFile::encodeName(path).constData()))
        return false;
    const QString volume = archive.value(archiveVolumeKey).toString();
    const UWVolumes::Mount mount = UWVolumes::mountForPath(mounts, path, stat.device);
    if (!volume.isEmpty() && mount.identity != volume)
        return false;
    if (stat.inode == ino_t(archive.value(archiveInodeKey).toULongLong()))
        return true;
    return S_ISDIR(stat.mode) == archive.value(archiveDirectoryKey).toBool();
}

enum class Resolution { Found, VolumeAway, Missing, Invalid };

Resolution resolveArchive(const QVariantMap &archive, QString *foundPath)
{
    if (archive.value(archiveVersionKey).toInt() != archiveVersion
        || !QDir::isAbsolutePath(archive.value(archivePathKey).toString()))
        return Resolution::Invalid;
    const QList<UWVolumes::Mount> mounts = UWVolumes::mounts();
    const QString original = QDir::cleanPath(archive.value(archivePathKey).toString());
    if (holdsArchivedFile(original, archive, mounts)) {
        *foundPath = original;
        return Resolution::Found;
    }
    const QString volume = archive.value(archiveVolumeKey).toString();
    const QString relative = archive.value(archiveRelativeKey).toString();
    if (volume.isEmpty() || relative.isEmpty())
        return Resolution::Missing;
    bool mounted = false;
    for (const UWVolumes::Mount &mount : mounts) {
        if (mount.identity != volume)
            continue;
        mounted = true;
        const QString candidate = UWVolumes::pathOnMount(mount, relative);
        if (!candidate.isEmpty() && holdsArchivedFile(candidate, archive, mounts)) {
            *foundPath = candidate;
            return Resolution::Found;
        }
    }
    return mounted ? Resolution::Missing : Resolution::VolumeAway;
}

} // namespace

UWStandardFileRef UWStandardFile::newFileForArchive(const QVariantMap &archive, bool allowPlaceholders, QString *error)
{
    QString found;
    switch (resolveArchive(archive, &found)) {
    case Resolution::Found:
        return newFileForPath(found);
    case Resolution::VolumeAway:
        if (allowPlaceholders)
            return UWFileFactory::makePlaceholder(archive.value(archiveNameKey).toString(), archive);
        if (error)
            *error = QStringLiteral("the volume of %1 is not mounted").arg(archive.value(archivePathKey).toString());
        return nullptr;
    case Resolution::Missing:
        if (error)
            *error = QStringLiteral("%1 is no longer there").arg(archive.value(archivePathKey).toString());
        return nullptr;
    case Resolution::Invalid:
        break;
    }
    qCInfo(lcCompanion) << "not a file archive:" << archive;
    if (error)
        *error = QStringLiteral("not a file archive");
    return nullptr;
}

UWStandardFileRef UWStandardFile::newFileForArchive(const QVariantMap &archive)
{
    return newFileForArchive(archive, true, nullptr);
}

namespace {

// Where a file that left \a oldPath is now, when its volume (the same device) was mounted
// elsewhere: some tail of the old path under one of the device's mount points, holding the
// same inode.
QString findOnRemountedVolume(const QString &oldPath, dev_t device, ino_t inode)
{
    const QStringList components = oldPath.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const UWVolumes::Mount &mount : UWVolumes::mounts()) {
        if (mount.device != device)
            continue;
        for (qsizetype first = 0; first < components.size(); ++first) {
            const QString candidate = QDir::cleanPath(
                mount.mountPoint + QLatin1Char('/') + components.mid(first).join(QLatin1Char('/')));
            UWStatInfo stat;
            if (stat.read(QFile::encodeName(candidate).constData()) && stat.inode == inode
                && stat.device == device)
                return candidate;
        }
    }
    return {};
}

} // namespace

QUrl UWStandardFile::currentURL()
{
    if (!d->isPlaceholder()) {
        UWStatInfo now;
        if (now.read(QFile::encodeName(d->path).constData())) {
            // The same entry, or one that replaced it: either way the path names the file.
            d->exists = true;
            d->stat = now;
            return URL();
        }
        const QString moved = d->exists ? findOnRemountedVolume(d->path, d->stat.device, d->stat.inode) : QString();
        if (moved.isEmpty()) {
            d->exists = false;
            return {};
        }
        announcing(*this, {u"URL", u"path", u"displayName"}, [&] { adoptPath(moved); });
        return URL();
    }
    QString found;
    if (resolveArchive(archiveDictionary(), &found) != Resolution::Found)
        return {};
    adoptPath(found);
    placeholderStatusChanged();
    return URL();
}

// ---- Values --------------------------------------------------------------------------------

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

UWStandardFileRef UWStandardFile::resolvedFileItem() const
{
    auto self = std::const_pointer_cast<UWStandardFile>(shared_from_this());
    if (!d->isLink() || d->resolved() == d->path)
        return self;
    UWStandardFileRef target = newFileForPath(d->resolved());
    return target ? target : self;
}

UWStandardFileRef UWStandardFile::parentItem() const
{
    if (d->isPlaceholder() || d->path == u"/")
        return nullptr;
    return newFileForPath(parentPath(d->path));
}

QString UWStandardFile::fileName() const
{
    if (d->isPlaceholder())
        return d->extra ? d->extra->placeholderName : QString();
    if (d->path == u"/")
        return d->path;
    return d->path.mid(d->path.lastIndexOf(QLatin1Char('/')) + 1);
}

namespace {

bool looksLikeDesktopEntry(const QString &path)
{
    return path.endsWith(u".desktop");
}

} // namespace

QString UWStandardFile::displayName() const
{
    if (!d->isPlaceholder() && looksLikeDesktopEntry(d->path) && !d->isDirectory()) {
        Private::Extra &extra = d->ensureExtra();
        if (!extra.application)
            extra.application = TQApplications::applicationForDesktopFile(d->resolved());
        if (extra.application->isValid() && !extra.application->name.isEmpty())
            return extra.application->name;
    }
    return fileName();
}

QString UWStandardFile::uti() const
{
    if (!d->uti) {
        if (!d->exists)
            d->uti = QString();
        else if (d->isLink())
            d->uti = QStringLiteral("public.symlink");
        else
            d->uti = TQTypeRegistry::shared().typeForFile(d->path, UWFileFactory::typeDetection());
    }
    return *d->uti;
}

QString UWStandardFile::resolvedUTI() const
{
    if (!d->resolvedUTI) {
        const QString &target = d->resolved();
        d->resolvedUTI = target == d->path
            ? uti() : TQTypeRegistry::shared().typeForFile(target, UWFileFactory::typeDetection());
    }
    return *d->resolvedUTI;
}

QString UWStandardFile::kindString() const
{
    if (!d->kindString)
        d->kindString = TQTypeRegistry::shared().localizedDescription(resolvedUTI());
    return *d->kindString;
}

QIcon UWStandardFile::fileIcon() const
{
    if (d->isPlaceholder())
        return {};
    if (looksLikeDesktopEntry(d->path)) {
        displayName(); // reads the entry
        if (d->extra && d->extra->application && !d->extra->application->iconName.isEmpty()) {
            const QString icon = d->extra->application->iconName;
            const QIcon themed = QDir::isAbsolutePath(icon) ? QIcon(icon) : QIcon::fromTheme(icon);
            if (!themed.isNull())
                return themed;
        }
    }
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    const QString type = resolvedUTI();
    if (registry.conformsTo(type, QStringLiteral("public.folder")))
        return QIcon::fromTheme(QStringLiteral("folder"));
    static const QMimeDatabase mimeDatabase;
    for (const QString &candidate : registry.allSupertypes(type)) {
        for (const QString &mimeName : registry.mimeTypes(candidate)) {
            const QMimeType mime = mimeDatabase.mimeTypeForName(mimeName);
            if (!mime.isValid())
                continue;
            const QIcon icon = QIcon::fromTheme(mime.iconName(), QIcon::fromTheme(mime.genericIconName()));
            if (!icon.isNull())
                return icon;
        }
    }
    return QIcon::fromTheme(QStringLiteral("text-x-generic"),
                            QIcon::fromTheme(QStringLiteral("unknown")));
}

bool UWStandardFile::isPlaceholder() const
{
    return d->isPlaceholder();
}

bool UWStandardFile::isEqual(const UWStandardFile &other) const
{
    if (this == &other)
        return true;
    if (d->isPlaceholder() || other.d->isPlaceholder()) {
        return d->isPlaceholder() && other.d->isPlaceholder() && d->extra && other.d->extra
            && d->extra->placeholderArchive == other.d->extra->placeholderArchive;
    }
    return d->path == other.d->path;
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
        const QString name = fileName();
        d->isInvisible = name.startsWith(QLatin1Char('.'))
            || (!d->isPlaceholder() && d->path != u"/" && isListedInHiddenFile(parentPath(d->path), name));
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

bool UWStandardFile::isReadable() const
{
    return d->exists && mayAccess(d->resolved(), R_OK, S_IRUSR | S_IRGRP | S_IROTH);
}

bool UWStandardFile::isWritable() const
{
    return d->exists && mayAccess(d->resolved(), W_OK, S_IWUSR | S_IWGRP | S_IWOTH);
}

qint64 UWStandardFile::byteSize() const
{
    return d->exists ? d->stat.size : -1;
}

QDateTime UWStandardFile::modificationDate() const
{
    return d->exists ? dateFromNSecs(d->stat.modifiedNSecs) : QDateTime();
}

QDateTime UWStandardFile::creationDate() const
{
    if (!d->exists)
        return {};
    return dateFromNSecs(d->stat.hasBirthTime ? d->stat.bornNSecs : d->stat.statusChangedNSecs);
}

QDateTime UWStandardFile::accessDate() const
{
    return d->exists ? dateFromNSecs(d->stat.accessedNSecs) : QDateTime();
}

QDateTime UWStandardFile::dateAdded() const
{
    return d->exists ? dateFromNSecs(d->stat.statusChangedNSecs) : QDateTime();
}

int UWStandardFile::finderLabel() const
{
    if (!d->finderLabel)
        d->finderLabel = d->exists ? UWFinderLabels::labelForPath(d->path) : 0;
    return *d->finderLabel;
}

QString UWStandardFile::finderLabelTitle() const
{
    const int label = finderLabel();
    return label == 0 ? QString() : UWFinderLabels::nameForLabel(label);
}

// ---- Change notification -------------------------------------------------------------------

void UWStandardFile::addObserver(UWFileObserver *observer)
{
    if (observer)
        d->ensureExtra().observers.push_back(observer);
}

void UWStandardFile::removeObserver(UWFileObserver *observer)
{
    if (d->extra)
        std::erase(d->extra->observers, observer);
}

void UWStandardFile::willChangeValueForKey(QStringView key)
{
    if (!d->extra)
        return;
    // A copy: an observer may unsubscribe while it is told.
    const std::vector<UWFileObserver *> observers = d->extra->observers;
    for (UWFileObserver *observer : observers)
        observer->fileWillChangeValueForKey(this, key);
}

void UWStandardFile::didChangeValueForKey(QStringView key)
{
    if (!d->extra)
        return;
    const std::vector<UWFileObserver *> observers = d->extra->observers;
    for (UWFileObserver *observer : observers)
        observer->fileDidChangeValueForKey(this, key);
}

bool UWStandardFile::automaticallyNotifiesObserversForKey(QStringView key)
{
    Q_UNUSED(key);
    return true;
}

void UWStandardFile::updateForEvent(const UWFileEvent &event)
{
    switch (event.type) {
    case UWFileEvent::Renamed: {
        const QString newPath = QDir::cleanPath(event.newPath);
        if (!QDir::isAbsolutePath(newPath))
            return;
        announcing(*this, {u"URL", u"path", u"displayName"}, [&] {
            if (!adoptPath(newPath))
                d->path = newPath;
        });
        return;
    }
    case UWFileEvent::Removed:
        announcing(*this, {u"exists", u"modificationDate"}, [&] {
            d->exists = false;
            d->forgetTypes();
            d->finderLabel.reset();
        });
        return;
    case UWFileEvent::ContentChanged:
    case UWFileEvent::AttributesChanged:
    case UWFileEvent::CreatedOrReplaced:
        announcing(*this, {u"modificationDate", u"creationDate", u"accessDate", u"dateAdded", u"addedDate"}, [&] {
            UWStatInfo now;
            d->exists = now.read(QFile::encodeName(d->path).constData());
            d->stat = d->exists ? now : UWStatInfo{};
        });
        if (event.type != UWFileEvent::ContentChanged) {
            announcing(*this, {u"finderLabel", u"finderLabelTitle"}, [&] { d->finderLabel.reset(); });
        }
        if (event.type != UWFileEvent::AttributesChanged) {
            announcing(*this, {u"uti", u"resolvedUTI", u"kindString"}, [&] { d->forgetTypes(); });
        }
        return;
    default:
        return;
    }
}

void UWStandardFile::placeholderStatusChanged()
{
    announcing(*this, {u"isPlaceholder", u"URL", u"path"}, [] {});
}

// ---- Keys ----------------------------------------------------------------------------------

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
    KeyGetter{u"fileName", [](const UWStandardFile &f) { return QVariant(f.fileName()); }},
    KeyGetter{u"path", [](const UWStandardFile &f) { return f.path().isEmpty() ? QVariant() : QVariant(f.path()); }},
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
    KeyGetter{u"isReadable", [](const UWStandardFile &f) { return QVariant(f.isReadable()); }},
    KeyGetter{u"isWritable", [](const UWStandardFile &f) { return QVariant(f.isWritable()); }},
    KeyGetter{u"modificationDate", [](const UWStandardFile &f) { return dateValue(f.modificationDate()); }},
    KeyGetter{u"creationDate", [](const UWStandardFile &f) { return dateValue(f.creationDate()); }},
    KeyGetter{u"accessDate", [](const UWStandardFile &f) { return dateValue(f.accessDate()); }},
    KeyGetter{u"dateAdded", [](const UWStandardFile &f) { return dateValue(f.dateAdded()); }},
    KeyGetter{u"finderLabel", [](const UWStandardFile &f) { return QVariant(f.finderLabel()); }},
    KeyGetter{u"finderLabelTitle", [](const UWStandardFile &f) { return QVariant(f.finderLabelTitle()); }},
    KeyGetter{u"fileIcon", [](const UWStandardFile &f) { return QVariant(f.fileIcon()); }},
};

} // namespace

// Key paths through rows that hold items ("file.displayName") pass through this type.
static void registerFileReferences()
{
    TQKeyValueCoding::registerReferenceType<UWStandardFile>();
}
Q_CONSTRUCTOR_FUNCTION(registerFileReferences)

QVariant UWStandardFile::valueForKey(QStringView key) const
{
    // Sorting asks for the date added under this name.
    if (key == u"addedDate")
        return dateValue(dateAdded());
    // Sorting asks every item of a folder for a key: one hash look-up, not a scan.
    static const QHash<QStringView, Getter> byKey = [] {
        QHash<QStringView, Getter> table;
        for (const KeyGetter &getter : keyGetters)
            table.insert(getter.key, getter.get);
        return table;
    }();
    const Getter get = byKey.value(key);
    return get ? get(*this) : QVariant();
}

void UWStandardFile::prefetchValueForKey(QStringView key) const
{
    Q_UNUSED(key);
    // Sorted columns are mostly dates and names: the status record and the path.
    __builtin_prefetch(d.get());
    __builtin_prefetch(&d->stat.modifiedNSecs);
}

QStringList UWStandardFile::keys()
{
    QStringList all;
    for (const KeyGetter &getter : keyGetters)
        all.append(getter.key.toString());
    return all;
}
