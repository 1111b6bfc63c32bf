#include "UWStandardFile.h"

#include "TQApplications.h"
#include "TQRegularFile_p.h"
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
// The bytes of the path and of the volume path, kept only when the text would not give them
// back (a name that is not UTF-8); a reader prefers them to the text.
const QString archiveNativePathKey = QStringLiteral("nativePath");
const QString archiveNativeRelativeKey = QStringLiteral("nativeVolumePath");

// The path an archive records, as bytes.
QByteArray archivedNativePath(const QVariantMap &archive, const QString &nativeKey, const QString &textKey)
{
    const QVariant native = archive.value(nativeKey);
    return native.isValid() ? native.toByteArray() : QFile::encodeName(archive.value(textKey).toString());
}

QDateTime dateFromNSecs(qint64 nsecs)
{
    return QDateTime::fromMSecsSinceEpoch(nsecs / 1000000, Qt::UTC);
}

// Paths are bytes: cleaned as Latin-1 text, one character per byte, because cleaning looks
// only at '/' and '.' and must neither lose nor change a byte that is not UTF-8.
QByteArray cleanNativePath(const QByteArray &path)
{
    return QDir::cleanPath(QString::fromLatin1(path)).toLatin1();
}

QByteArray parentNativePath(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

QByteArray lastNativeComponent(const QByteArray &path)
{
    return path == "/" ? path : path.mid(path.lastIndexOf('/') + 1);
}

// The names a folder's ".hidden" file lists, one per line.
bool isListedInHiddenFile(const QByteArray &folder, const QByteArray &name)
{
    // Anyone may plant a FIFO or a device under this name: only a regular file is read.
    const TQRegularFile hidden(folder + "/.hidden");
    if (!hidden.isOpen()) {
        hidden.warnIfRefused(QFile::decodeName(folder + "/.hidden"), "the hidden names");
        return false;
    }
    // The file is a short list by convention; a huge one is not worth reading whole.
    const QByteArray contents = hidden.read(0, 1 << 20);
    for (QByteArray line : contents.split('\n')) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line == name)
            return true;
    }
    return false;
}

// The absolute, clean path a link points to; nothing when \a path is not a link.
std::optional<QByteArray> readLink(const QByteArray &path)
{
    QByteArray target(PATH_MAX, Qt::Uninitialized);
    const ssize_t size = ::readlink(path.constData(), target.data(), target.size());
    if (size <= 0 || size >= target.size())
        return std::nullopt;
    target.truncate(size);
    if (target.startsWith('/'))
        return cleanNativePath(target);
    return cleanNativePath(parentNativePath(path) + '/' + target);
}

// The superuser passes every access() check; a browser still shows a file whose mode grants
// something to nobody as not allowing it.
bool mayAccess(const QByteArray &path, int how, mode_t anyoneMask)
{
    struct stat target;
    if (::stat(path.constData(), &target) != 0 || ::access(path.constData(), how) != 0)
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
    QByteArray path; // absolute and clean, the file system's bytes; empty for a placeholder
    UWStatInfo stat;
    bool exists = false;
    bool lost = false; // currentURL() found the file nowhere: no location until it is back

    // Rarely used state, kept out of line so that an item of a big listing stays small.
    struct Extra
    {
        QString placeholderName;
        QVariantMap placeholderArchive;
        std::optional<TQApplicationInfo> application; // for a desktop entry, once read
        std::vector<UWFileObserver *> observers;
    };
    std::unique_ptr<Extra> extra;

    mutable std::optional<QByteArray> resolvedPath;
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
    const QByteArray &resolved() const;
    QString text() const { return QFile::decodeName(path); }
    void forgetTypes()
    {
        resolvedPath.reset();
        uti.reset();
        resolvedUTI.reset();
        kindString.reset();
    }
};

const QByteArray &UWStandardFile::Private::resolved() const
{
    if (resolvedPath)
        return *resolvedPath;
    QByteArray current = path;
    if (isLink()) {
        // Follow the chain one link at a time, so that a loop or a dangling end resolves to
        // the link itself instead of failing somewhere in between.
        QSet<QByteArray> visited{current};
        for (int depth = 0; depth < maxLinkDepth; ++depth) {
            const std::optional<QByteArray> target = readLink(current);
            if (!target)
                break;
            if (visited.contains(*target)) {
                qCDebug(lcCompanion) << "link loop at" << text();
                current = path;
                break;
            }
            visited.insert(*target);
            current = *target;
        }
        struct stat end;
        if (current != path
            && (::lstat(current.constData(), &end) != 0 || S_ISLNK(end.st_mode))) {
            qCDebug(lcCompanion) << "link" << text() << "leads nowhere";
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
    return newFileForNativePath(QFile::encodeName(path));
}

UWStandardFileRef UWStandardFile::newFileForNativePath(const QByteArray &nativePath)
{
    if (nativePath.isEmpty() || nativePath.contains('\0'))
        return nullptr;
    QByteArray absolute = nativePath;
    if (!absolute.startsWith('/')) {
        // The working folder's own bytes: its name need not be UTF-8 either.
        char here[PATH_MAX];
        if (!::getcwd(here, sizeof here))
            return nullptr;
        absolute = QByteArray(here) + '/' + absolute;
    }
    absolute = cleanNativePath(absolute);
    return UWFileFactory::make(URLForNativePath(absolute), absolute);
}

QUrl UWStandardFile::URLForNativePath(const QByteArray &nativePath)
{
    if (!nativePath.startsWith('/'))
        return {};
    // Percent-encoded, a byte that is not UTF-8 survives in the URL as "%FF"; fromLocalFile()
    // would have to go through a QString and lose it.
    return QUrl::fromEncoded("file://" + nativePath.toPercentEncoding("/"));
}

QByteArray UWStandardFile::nativePathForURL(const QUrl &url)
{
    if (!url.isLocalFile())
        return {};
    // Fully encoded, the path holds UTF-8 for what decodes and the original "%FF" for what
    // does not; decoding the percent signs gives the file system's bytes back.
    return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
}

QList<UWStandardFileRef> UWStandardFile::arrayOfFilesForPaths(const QStringList &paths, bool allowPlaceholders)
{
    QList<UWStandardFileRef> files;
    files.reserve(paths.size());
    for (const QString &path : paths) {
        UWStandardFileRef file = newFileForPath(path);
        if (file && !file->exists()) {
            // A placeholder that finds its file again as soon as something appears at the path.
            QVariantMap archive{{archiveVersionKey, archiveVersion},
                                {archivePathKey, file->path()},
                                {archiveNameKey, file->fileName()}};
            if (QFile::encodeName(file->path()) != file->nativePath())
                archive.insert(archiveNativePathKey, file->nativePath());
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
    // The bytes a listing read are the name; a URL carries them percent-encoded.
    const QByteArray path = cleanNativePath(pathRep.isEmpty() ? nativePathForURL(url) : pathRep);
    if (path.isEmpty() || !path.startsWith('/') || path.contains('\0'))
        return false;
    d->path = path;
    d->lost = false;
    if (statInfo) {
        d->stat = *statInfo;
        d->exists = true;
    } else {
        d->exists = d->stat.read(path.constData());
    }
    return true;
}

void UWStandardFile::becomePlaceholder(const QString &displayName, const QVariantMap &archive)
{
    d->path.clear();
    d->lost = false;
    d->exists = false;
    d->stat = {};
    d->forgetTypes();
    d->isInvisible.reset();
    d->finderLabel.reset();
    Private::Extra &extra = d->ensureExtra();
    extra.placeholderName = displayName;
    extra.placeholderArchive = archive;
}

bool UWStandardFile::adoptPath(const QByteArray &path)
{
    UWStatInfo stat;
    if (!stat.read(path.constData()))
        return false;
    if (d->extra)
        d->extra->application.reset();
    d->path = path;
    d->stat = stat;
    d->exists = true;
    d->lost = false;
    d->forgetTypes();
    d->isInvisible.reset();
    d->finderLabel.reset();
    return true;
}

QByteArray UWStandardFile::nativeFileName() const
{
    return d->isPlaceholder() ? QByteArray() : lastNativeComponent(d->path);
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
    if (!d->exists || d->lost)
        return {};
    const QList<UWVolumes::Mount> mounts = UWVolumes::mounts();
    const UWVolumes::Mount mount = UWVolumes::mountForPath(mounts, d->path, d->stat.device);
    const QString text = d->text();
    QVariantMap archive{
        {archiveVersionKey, archiveVersion},
        {archivePathKey, text},
        {archiveNameKey, fileName()},
        {archiveInodeKey, qulonglong(d->stat.inode)},
        {archiveDirectoryKey, d->isDirectory()},
    };
    const bool textKeepsBytes = QFile::encodeName(text) == d->path;
    if (!textKeepsBytes)
        archive.insert(archiveNativePathKey, d->path);
    if (!mount.mountPoint.isEmpty()) {
        const QByteArray relative = UWVolumes::volumeRelativePath(mount, d->path);
        archive.insert(archiveVolumeKey, mount.identity);
        archive.insert(archiveMountPointKey, mount.mountPoint);
        archive.insert(archiveRelativeKey, QFile::decodeName(relative));
        if (!textKeepsBytes)
            archive.insert(archiveNativeRelativeKey, relative);
    }
    return archive;
}

namespace {

// Whether the file at \a path is the one \a archive describes: the same inode, or, after an
// editor replaced it by saving a new copy, at least the same kind of entry on the same volume.
bool holdsArchivedFile(const QByteArray &path, const QVariantMap &archive, const QList<UWVolumes::Mount> &mounts)
{
    UWStatInfo stat;
    if (!stat.read(path.constData()))
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

Resolution resolveArchive(const QVariantMap &archive, QByteArray *foundPath)
{
    const QByteArray original = cleanNativePath(archivedNativePath(archive, archiveNativePathKey, archivePathKey));
    if (archive.value(archiveVersionKey).toInt() != archiveVersion || !original.startsWith('/')
        || original.contains('\0'))
        return Resolution::Invalid;
    const QList<UWVolumes::Mount> mounts = UWVolumes::mounts();
    if (holdsArchivedFile(original, archive, mounts)) {
        *foundPath = original;
        return Resolution::Found;
    }
    const QString volume = archive.value(archiveVolumeKey).toString();
    const QByteArray relative = archivedNativePath(archive, archiveNativeRelativeKey, archiveRelativeKey);
    if (volume.isEmpty() || relative.isEmpty())
        return Resolution::Missing;
    bool mounted = false;
    for (const UWVolumes::Mount &mount : mounts) {
        if (mount.identity != volume)
            continue;
        mounted = true;
        const QByteArray candidate = UWVolumes::pathOnMount(mount, relative);
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
    QByteArray found;
    switch (resolveArchive(archive, &found)) {
    case Resolution::Found:
        return newFileForNativePath(found);
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
    // The record itself holds the user's paths and may be huge or hostile: it is not logged.
    qCInfo(lcCompanion) << "not a file archive: a record of" << archive.size() << "keys";
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
QByteArray findOnRemountedVolume(const QByteArray &oldPath, dev_t device, ino_t inode)
{
    QList<QByteArray> components = oldPath.split('/');
    components.removeAll(QByteArray());
    for (const UWVolumes::Mount &mount : UWVolumes::mounts()) {
        if (mount.device != device)
            continue;
        for (qsizetype first = 0; first < components.size(); ++first) {
            const QByteArray candidate = cleanNativePath(
                QFile::encodeName(mount.mountPoint) + '/' + components.mid(first).join('/'));
            UWStatInfo stat;
            if (stat.read(candidate.constData()) && stat.inode == inode && stat.device == device)
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
        if (now.read(d->path.constData())) {
            // The same entry, or one that replaced it: either way the path names the file.
            if (d->lost) {
                announcing(*this, {u"URL", u"path"}, [&] { adoptPath(d->path); });
                return URL();
            }
            d->exists = true;
            d->stat = now;
            return URL();
        }
        const QByteArray moved = d->exists && !d->lost
            ? findOnRemountedVolume(d->path, d->stat.device, d->stat.inode) : QByteArray();
        if (moved.isEmpty()) {
            // Keeping the old location would tell whoever holds the item (a bookmark's menu
            // item) that the file is still there; without one, they look for it again.
            if (!d->lost) {
                announcing(*this, {u"URL", u"path"}, [&] {
                    d->exists = false;
                    d->lost = true;
                    d->forgetTypes();
                    d->finderLabel.reset();
                });
            }
            return {};
        }
        announcing(*this, {u"URL", u"path", u"displayName"}, [&] { adoptPath(moved); });
        return URL();
    }
    QByteArray found;
    if (resolveArchive(archiveDictionary(), &found) != Resolution::Found)
        return {};
    adoptPath(found);
    placeholderStatusChanged();
    return URL();
}

// ---- Values --------------------------------------------------------------------------------

QUrl UWStandardFile::URL() const
{
    return d->path.isEmpty() || d->lost ? QUrl() : URLForNativePath(d->path);
}

QString UWStandardFile::path() const
{
    return d->lost ? QString() : d->text();
}

QByteArray UWStandardFile::nativePath() const
{
    return d->lost ? QByteArray() : d->path;
}

QUrl UWStandardFile::resolvedURL() const
{
    return d->path.isEmpty() || d->lost ? QUrl() : URLForNativePath(d->resolved());
}

UWStandardFileRef UWStandardFile::resolvedFileItem() const
{
    auto self = std::const_pointer_cast<UWStandardFile>(shared_from_this());
    if (!d->isLink() || d->resolved() == d->path)
        return self;
    UWStandardFileRef target = newFileForNativePath(d->resolved());
    return target ? target : self;
}

UWStandardFileRef UWStandardFile::parentItem() const
{
    if (d->isPlaceholder() || d->lost || d->path == "/")
        return nullptr;
    return newFileForNativePath(parentNativePath(d->path));
}

QString UWStandardFile::fileName() const
{
    if (d->isPlaceholder())
        return d->extra ? d->extra->placeholderName : QString();
    return QFile::decodeName(lastNativeComponent(d->path));
}

namespace {

bool looksLikeDesktopEntry(const QByteArray &path)
{
    return path.endsWith(".desktop");
}

// Only a regular file is worth reading as a desktop entry; a FIFO under such a name would
// block the reader for ever.
bool isRegularFile(const QByteArray &path)
{
    struct stat target;
    return ::stat(path.constData(), &target) == 0 && S_ISREG(target.st_mode);
}

} // namespace

QString UWStandardFile::displayName() const
{
    if (!d->isPlaceholder() && looksLikeDesktopEntry(d->path) && !d->isDirectory()) {
        Private::Extra &extra = d->ensureExtra();
        if (!extra.application) {
            extra.application = isRegularFile(d->resolved())
                ? TQApplications::applicationForDesktopFile(QFile::decodeName(d->resolved()))
                : TQApplicationInfo();
        }
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
        const QByteArray &target = d->resolved();
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
            || (!d->isPlaceholder() && d->path != "/"
                && isListedInHiddenFile(parentNativePath(d->path), lastNativeComponent(d->path)));
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
        d->finderLabel = d->exists ? UWFinderLabels::labelForNativePath(d->path) : 0;
    return *d->finderLabel;
}

bool UWStandardFile::setFinderLabel(int label, QString *error)
{
    const QByteArray path = nativePath();
    if (path.isEmpty()) {
        if (error)
            *error = QStringLiteral("the item has no file");
        return false;
    }
    bool set = false;
    announcing(*this, {u"finderLabel", u"finderLabelTitle"}, [&] {
        set = UWFinderLabels::setLabelForNativePath(path, label, error);
        d->finderLabel.reset();
    });
    return set;
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
        const QByteArray newPath = cleanNativePath(
            event.newNativePath.isEmpty() ? QFile::encodeName(event.newPath) : event.newNativePath);
        if (!newPath.startsWith('/') || newPath.contains('\0'))
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
            d->exists = now.read(d->path.constData());
            d->stat = d->exists ? now : UWStatInfo{};
            if (d->exists)
                d->lost = false;
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
