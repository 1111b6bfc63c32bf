// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWStandardFile.h"

#include "TQApplications.h"
#include "TQRegularFile_p.h"
#include "TQTypeRegistry.h"
#include "UWCompanionLogging.h"
#include "UWFileFactory_p.h"
#include "UWRecordCache_p.h"
#include "UWSerialized_p.h"
#include "UWFinderLabels.h"
#include "UWStatInfo_p.h"
#include "UWVolumes_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QHash>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <bit>
#include <array>
#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <optional>
#include <vector>

namespace {
thread_local const UWKnownStatus *t_knownStatus = nullptr;
}

UWKnownStatus::UWKnownStatus(const QByteArray &path, bool present, const UWStatInfo &stat, const QString &type)
    : present(present)
    , stat(stat)
    , type(type)
    , m_path(path)
    , m_outer(t_knownStatus)
{
    t_knownStatus = this;
}

UWKnownStatus::~UWKnownStatus()
{
    t_knownStatus = m_outer;
}

const UWKnownStatus *UWKnownStatus::find(const char *path)
{
    for (const UWKnownStatus *known = t_knownStatus; known; known = known->m_outer) {
        if (known->m_path == path)
            return known;
    }
    return nullptr;
}

bool UWStatInfo::read(const char *path, bool followLinks)
{
    if (!followLinks) {
        if (const UWKnownStatus *known = UWKnownStatus::find(path)) {
            if (!known->present) {
                errno = ENOENT;
                return false;
            }
            *this = known->stat;
            return true;
        }
    }
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
    hiddenByListKnown = hiddenByList = false;
    return true;
}

QList<QByteArray> uwNamesInHiddenFile(const QByteArray &folder)
{
    // Anyone may plant a FIFO or a device under this name: only a regular file is read.
    const TQRegularFile hidden(folder + "/.hidden");
    if (!hidden.isOpen()) {
        hidden.warnIfRefused(QFile::decodeName(folder + "/.hidden"), "the hidden names");
        return {};
    }
    // The file is a short list by convention; a huge one is not worth reading whole.
    QList<QByteArray> names = hidden.read(0, 1 << 20).split('\n');
    for (QByteArray &line : names) {
        if (line.endsWith('\r'))
            line.chop(1);
    }
    return names;
}

UWHiddenNames::UWHiddenNames(const QByteArray &folder)
{
    const QList<QByteArray> names = uwNamesInHiddenFile(folder);
    m_names = QSet<QByteArray>(names.cbegin(), names.cend());
}

void UWHiddenNames::mark(UWStatInfo &stat, const char *name) const
{
    stat.hiddenByListKnown = true;
    stat.hiddenByList = !m_names.isEmpty() && m_names.contains(QByteArray::fromRawData(name, qstrlen(name)));
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
    // Standard locks: ThreadSanitizer sees them (Qt's slow paths are not instrumented).
    std::shared_mutex lock;
    UWFileFactory::Factory factory; // guarded by lock
    std::atomic<TQTypeRegistry::Detection> detection{TQTypeRegistry::Detection::ContentAndName};
    std::mutex placeholderLock;
    std::vector<std::weak_ptr<UWStandardFile>> placeholders; // guarded by placeholderLock
};

FactoryState &state()
{
    static FactoryState shared;
    return shared;
}

UWStandardFileRef newItem()
{
    std::shared_lock locker(state().lock);
    UWStandardFileRef item = state().factory ? state().factory() : nullptr;
    return item ? item : UWFileFactoryAccess::makeBase();
}

} // namespace

namespace UWFileFactory {

void setFactory(Factory factory)
{
    std::unique_lock locker(state().lock);
    state().factory = std::move(factory);
}

Factory factory()
{
    std::shared_lock locker(state().lock);
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

QString typeOf(const QByteArray &path, const UWStatInfo &stat)
{
    if (S_ISLNK(stat.mode))
        return QStringLiteral("public.symlink");
    return TQTypeRegistry::shared().typeForFile(path, quint32(stat.mode), stat.size, typeDetection());
}

void rememberPlaceholder(const UWStandardFileRef &placeholder)
{
    std::lock_guard locker(state().placeholderLock);
    std::erase_if(state().placeholders, [](const std::weak_ptr<UWStandardFile> &p) { return p.expired(); });
    state().placeholders.push_back(placeholder);
}

QList<UWStandardFileRef> livePlaceholders()
{
    std::lock_guard locker(state().placeholderLock);
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
    // Most paths arrive clean (a listing joins a clean folder and a name): those are kept as
    // they are, without the trip through text.
    const bool clean = path.startsWith('/') && !path.contains("//") && !path.contains("/./")
        && !path.contains("/../") && (path.size() == 1 || !path.endsWith('/')) && !path.endsWith("/.")
        && !path.endsWith("/..");
    if (clean)
        return path;
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

bool isListedInHiddenFile(const QByteArray &folder, const QByteArray &name)
{
    return uwNamesInHiddenFile(folder).contains(name);
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

// ---- The item ------------------------------------------------------------------------------

namespace {

// What an item that is not at its path any more keeps of what it was.
struct Placeholder
{
    QString name;
    QVariantMap archive;
};

// One record of what the file system said about the item, and what was derived from it. The
// facts are fixed once the record is published; the derived slots are filled on first request
// (see UWRecordCache). An event, a rename or a change of placeholder state publishes a new
// record.
struct Record
{
    // Facts. Whether the file exists and its status come first: sorting a big folder reads
    // them from every item, and one cache line then holds both.
    bool exists = false;
    bool lost = false; // currentURL() found the file nowhere: no location until it is back
    UWStatInfo stat;
    QByteArray path; // absolute and clean, the file system's bytes; empty for a placeholder
    std::shared_ptr<const Placeholder> placeholder;

    // Derived values.
    std::optional<QByteArray> resolvedPath;
    std::optional<QString> uti;
    std::optional<QString> resolvedUTI;
    std::optional<QString> kindString;
    std::optional<QString> nameType; // the resolved file's type by its name alone
    std::optional<bool> isInvisible;
    std::optional<int> finderLabel;
    std::optional<std::shared_ptr<const TQApplicationInfo>> application; // of a desktop entry
    // The type fileIcon() drew from before the content was known; once the content type
    // differs, its change is announced once.
    std::optional<QString> iconType;
    bool iconChangeAnnounced = false;

    bool isPlaceholder() const { return path.isEmpty(); }
    bool isLink() const { return exists && S_ISLNK(stat.mode); }
    bool isDirectory() const { return exists && S_ISDIR(stat.mode); }
    QString text() const { return QFile::decodeName(path); }
    QByteArray location() const { return lost ? QByteArray() : path; }
    void forgetTypes()
    {
        resolvedPath.reset();
        uti.reset();
        resolvedUTI.reset();
        kindString.reset();
        nameType.reset();
        iconType.reset();
        iconChangeAnnounced = false;
    }
    void forgetPlace()
    {
        forgetTypes();
        isInvisible.reset();
        finderLabel.reset();
        application.reset();
    }
};

// The status record's times, in nanoseconds: what each date key stands for.
qint64 modified(const UWStatInfo &s) { return s.modifiedNSecs; }
qint64 created(const UWStatInfo &s) { return s.hasBirthTime ? s.bornNSecs : s.statusChangedNSecs; }
qint64 accessed(const UWStatInfo &s) { return s.accessedNSecs; }
qint64 added(const UWStatInfo &s) { return s.statusChangedNSecs; }

// Where the links of \a record lead: the end of the chain, or the item itself.
QByteArray resolvePath(const Record &record)
{
    const QByteArray &path = record.path;
    QByteArray current = path;
    if (!record.isLink())
        return current;
    // Follow the chain one link at a time, so that a loop or a dangling end resolves to the
    // link itself instead of failing somewhere in between.
    QSet<QByteArray> visited{current};
    for (int depth = 0; depth < maxLinkDepth; ++depth) {
        const std::optional<QByteArray> target = readLink(current);
        if (!target)
            break;
        if (visited.contains(*target)) {
            qCDebug(lcCompanion) << "link loop at" << record.text();
            return path;
        }
        visited.insert(*target);
        current = *target;
    }
    struct stat end;
    if (current != path && (::lstat(current.constData(), &end) != 0 || S_ISLNK(end.st_mode))) {
        qCDebug(lcCompanion) << "link" << record.text() << "leads nowhere";
        return path;
    }
    return current;
}

} // namespace

namespace {

bool looksLikeDesktopEntry(const Record &record)
{
    return !record.isPlaceholder() && !record.isDirectory() && record.path.endsWith(".desktop");
}

// Only a regular file is worth reading as a desktop entry; a FIFO under such a name would
// block the reader for ever.
bool isRegularFile(const QByteArray &path)
{
    struct stat target;
    return ::stat(path.constData(), &target) == 0 && S_ISREG(target.st_mode);
}

QString nameOfApplication(const std::shared_ptr<const TQApplicationInfo> &application, const QString &fileName)
{
    return application->isValid() && !application->name.isEmpty() ? application->name : fileName;
}

} // namespace

struct UWStandardFile::Private
{
    UWRecordCache<Record> cache;

    // Observers live on the main thread, as announcements do; kept out of line so that an
    // item of a big listing stays small.
    std::unique_ptr<std::vector<UWFileObserver *>> observers;

    std::shared_ptr<Record> record() const { return cache.record(); }
    QByteArray resolved() const
    {
        return cache.value(&Record::resolvedPath, [](const Record &r) { return resolvePath(r); });
    }
};

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
    // The bytes without a URL: the item needs none, and making one costs more than the statx.
    return UWFileFactory::make(QUrl(), absolute);
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

// ---- Keys ----------------------------------------------------------------------------------

namespace {

using Announcement = UWStandardFile::Announcement;

QVariant dateValue(const QDateTime &date)
{
    return date.isValid() ? QVariant(date) : QVariant();
}

QVariant urlValue(const QUrl &url)
{
    return url.isEmpty() ? QVariant() : QVariant(url);
}

constexpr quint16 operator|(Announcement a, Announcement b)
{
    return quint16(a) | quint16(b);
}
constexpr quint16 operator|(quint16 a, Announcement b)
{
    return a | quint16(b);
}

} // namespace

// The one table of the item's keys. Every list of keys is read from it: the keys valueForKey()
// answers and keys() lists, what a peek can answer, and which announcement names a key. The
// rows stand in the order the announcements name their keys: an announcement's keys are the
// rows that carry it, in table order.
struct UWStandardFileKeys
{
    using Value = QVariant (*)(const UWStandardFile &);
    // What a peek answers: nothing while the value would need the file system.
    using Peek = std::optional<QVariant> (*)(const UWStandardFile &);

    QStringView name;
    Value value;
    Peek peek;           // nullptr: the value is at hand whenever asked (the status record)
    quint16 announcedBy; // Announcement flags
    bool listed = true;  // false: answered but not listed (an alias sorting asks for)
    bool summary = false; // one of the few keys a one-line summary of the item shows
    // The value as a number that sorts as it does (TQKeyValueCoding::sortNumberForKey()).
    using Number = TQKeyValueCoding::SortNumber (*)(const UWStandardFile &, qint64 *);
    Number number = nullptr;

    static const Record &record(const UWStandardFile &file, std::shared_ptr<Record> &holder)
    {
        holder = file.d->record();
        return *holder;
    }
    template <class T>
    static std::optional<QVariant> peekSlot(const UWStandardFile &file, std::optional<T> Record::*slot)
    {
        const std::optional<T> value = file.d->cache.peek(slot);
        return value ? std::optional<QVariant>(QVariant::fromValue(*value)) : std::nullopt;
    }
    static std::optional<QVariant> peekDisplayName(const UWStandardFile &file)
    {
        std::shared_ptr<Record> holder;
        if (!looksLikeDesktopEntry(record(file, holder)))
            return QVariant(file.fileName());
        const auto application = file.d->cache.peek(&Record::application);
        return application ? std::optional<QVariant>(nameOfApplication(*application, file.fileName())) : std::nullopt;
    }
    static std::optional<QVariant> peekResolvedURL(const UWStandardFile &file)
    {
        std::shared_ptr<Record> holder;
        const Record &r = record(file, holder);
        if (r.location().isEmpty())
            return QVariant();
        if (!r.isLink())
            return urlValue(UWStandardFile::URLForNativePath(r.path));
        const std::optional<QByteArray> resolved = file.d->cache.peek(&Record::resolvedPath);
        return resolved ? std::optional<QVariant>(urlValue(UWStandardFile::URLForNativePath(*resolved))) : std::nullopt;
    }
    static std::optional<QVariant> peekUti(const UWStandardFile &file)
    {
        std::shared_ptr<Record> holder;
        const Record &r = record(file, holder);
        if (!r.exists)
            return QVariant(QString());
        if (r.isLink())
            return QVariant(QStringLiteral("public.symlink"));
        return peekSlot(file, &Record::uti);
    }
    static std::optional<QVariant> peekResolvedUTI(const UWStandardFile &file)
    {
        if (std::optional<QVariant> resolved = peekSlot(file, &Record::resolvedUTI))
            return resolved;
        // What is not a link resolves to its own type.
        return file.d->cache.read([](const Record &r) { return r.isLink(); }) ? std::nullopt : peekUti(file);
    }
    static std::optional<QVariant> peekInvisible(const UWStandardFile &file)
    {
        if (file.fileName().startsWith(QLatin1Char('.')))
            return QVariant(true);
        return peekSlot(file, &Record::isInvisible);
    }
    static std::optional<QVariant> peekLabelTitle(const UWStandardFile &file)
    {
        const std::optional<int> label = file.d->cache.peek(&Record::finderLabel);
        if (!label)
            return std::nullopt;
        return QVariant(*label == 0 ? QString() : UWFinderLabels::nameForLabel(*label));
    }

    // A date of the status record as the milliseconds its QDateTime holds.
    template <qint64 (*pick)(const UWStatInfo &)>
    static TQKeyValueCoding::SortNumber dateNumber(const UWStandardFile &file, qint64 *number)
    {
        return file.d->cache.read([number](const Record &r) {
            if (!r.exists)
                return TQKeyValueCoding::SortNumber::Missing;
            *number = pick(r.stat) / 1000000;
            return TQKeyValueCoding::SortNumber::Integer;
        });
    }

    static const std::array<UWStandardFileKeys, 24> &table();
    static const UWStandardFileKeys *find(QStringView key);
};

const std::array<UWStandardFileKeys, 24> &UWStandardFileKeys::table()
{
    using K = UWStandardFileKeys;
    using F = const UWStandardFile &;
    constexpr quint16 none = 0;
    static const std::array<UWStandardFileKeys, 24> rows = {{
        {u"isPlaceholder", [](F f) { return QVariant(f.isPlaceholder()); }, nullptr, quint16(Announcement::PlaceholderChanged)},
        {u"exists", [](F f) { return QVariant(f.exists()); }, nullptr, quint16(Announcement::Removed)},
        {u"URL", [](F f) { return urlValue(f.URL()); }, nullptr,
         Announcement::Moved | Announcement::PlaceholderChanged | Announcement::Lost},
        {u"path", [](F f) { return f.path().isEmpty() ? QVariant() : QVariant(f.path()); }, nullptr,
         Announcement::Moved | Announcement::PlaceholderChanged | Announcement::Lost},
        {u"displayName", [](F f) { return QVariant(f.displayName()); }, &K::peekDisplayName, quint16(Announcement::Moved), true, true},
        {u"fileName", [](F f) { return QVariant(f.fileName()); }, nullptr, none},
        {u"resolvedURL", [](F f) { return urlValue(f.resolvedURL()); }, &K::peekResolvedURL, none},
        {u"modificationDate", [](F f) { return dateValue(f.modificationDate()); }, nullptr,
         Announcement::Removed | Announcement::StatusRead, true, true, &K::dateNumber<modified>},
        {u"creationDate", [](F f) { return dateValue(f.creationDate()); }, nullptr, quint16(Announcement::StatusRead),
         true, false, &K::dateNumber<created>},
        {u"accessDate", [](F f) { return dateValue(f.accessDate()); }, nullptr, quint16(Announcement::StatusRead),
         true, false, &K::dateNumber<accessed>},
        {u"dateAdded", [](F f) { return dateValue(f.dateAdded()); }, nullptr, quint16(Announcement::StatusRead),
         true, false, &K::dateNumber<added>},
        // Sorting asks for the date added under this name.
        {u"addedDate", [](F f) { return dateValue(f.dateAdded()); }, nullptr, quint16(Announcement::StatusRead), false,
         false, &K::dateNumber<added>},
        {u"finderLabel", [](F f) { return QVariant(f.finderLabel()); },
         [](F f) { return peekSlot(f, &Record::finderLabel); }, quint16(Announcement::LabelChanged)},
        {u"finderLabelTitle", [](F f) { return QVariant(f.finderLabelTitle()); }, &K::peekLabelTitle,
         quint16(Announcement::LabelChanged)},
        {u"uti", [](F f) { return QVariant(f.uti()); }, &K::peekUti,
         Announcement::TypesReset | Announcement::ContentTypeResolved, true, true},
        {u"resolvedUTI", [](F f) { return QVariant(f.resolvedUTI()); }, &K::peekResolvedUTI,
         Announcement::TypesReset | Announcement::ContentTypeResolved},
        {u"kindString", [](F f) { return QVariant(f.kindString()); },
         [](F f) { return peekSlot(f, &Record::kindString); },
         Announcement::TypesReset | Announcement::ContentTypeResolved, true, true},
        // Never reads the file: it is answered whenever asked.
        {u"fileIcon", [](F f) { return QVariant(f.fileIcon()); }, nullptr, quint16(Announcement::ContentTypeResolved)},
        {u"isDirectory", [](F f) { return QVariant(f.isDirectory()); }, nullptr, none, true, true},
        {u"isBasicDirectory", [](F f) { return QVariant(f.isBasicDirectory()); }, nullptr, none},
        {u"isInvisible", [](F f) { return QVariant(f.isInvisible()); }, &K::peekInvisible, none, true, true},
        {u"isRealFile", [](F f) { return QVariant(f.isRealFile()); }, nullptr, none},
        // access() each time: never at hand.
        {u"isReadable", [](F f) { return QVariant(f.isReadable()); }, [](F) { return std::optional<QVariant>(); }, none},
        {u"isWritable", [](F f) { return QVariant(f.isWritable()); }, [](F) { return std::optional<QVariant>(); }, none},
    }};
    return rows;
}

const UWStandardFileKeys *UWStandardFileKeys::find(QStringView key)
{
    // Sorting asks every item of a folder for a key: one hash look-up, not a scan.
    static const QHash<QStringView, const UWStandardFileKeys *> byName = [] {
        QHash<QStringView, const UWStandardFileKeys *> index;
        for (const UWStandardFileKeys &row : table())
            index.insert(row.name, &row);
        return index;
    }();
    return byName.value(key);
}

namespace {

// Announces the keys of \a announcement will-change in order, runs \a change, then did-change
// in reverse order.
template <typename Change>
void announcing(UWStandardFile &file, Announcement announcement, Change change)
{
    static const auto keysOf = [] {
        std::array<std::vector<QStringView>, 8> lists;
        for (const UWStandardFileKeys &row : UWStandardFileKeys::table()) {
            for (size_t bit = 0; bit < lists.size(); ++bit) {
                if (row.announcedBy & (1u << bit))
                    lists[bit].push_back(row.name);
            }
        }
        return lists;
    }();
    const std::vector<QStringView> &keys = keysOf[size_t(std::countr_zero(quint16(announcement)))];
    for (QStringView key : keys)
        file.willChangeValueForKey(key);
    change();
    for (auto key = keys.rbegin(); key != keys.rend(); ++key)
        file.didChangeValueForKey(*key);
}

} // namespace

QStringList UWStandardFile::keysAnnouncedBy(Announcement announcement)
{
    QStringList keys;
    for (const UWStandardFileKeys &row : UWStandardFileKeys::table()) {
        if (row.announcedBy & quint16(announcement))
            keys.append(row.name.toString());
    }
    return keys;
}

// Key paths through rows that hold items ("file.displayName") pass through this type.
static void registerFileReferences()
{
    TQKeyValueCoding::registerReferenceType<UWStandardFile>();
}
Q_CONSTRUCTOR_FUNCTION(registerFileReferences)

QVariant UWStandardFile::valueForKey(QStringView key) const
{
    const UWStandardFileKeys *row = UWStandardFileKeys::find(key);
    return row ? row->value(*this) : QVariant();
}

std::optional<QVariant> UWStandardFile::cachedValueForKey(QStringView key) const
{
    const UWStandardFileKeys *row = UWStandardFileKeys::find(key);
    if (!row)
        return std::nullopt;
    return row->peek ? row->peek(*this) : std::optional<QVariant>(row->value(*this));
}

bool UWStandardFile::isValueCached(QStringView key) const
{
    return cachedValueForKey(key).has_value();
}

TQKeyValueCoding::SortNumber UWStandardFile::sortNumberForKey(QStringView key, qint64 *number) const
{
    const UWStandardFileKeys *row = UWStandardFileKeys::find(key);
    return row && row->number ? row->number(*this, number) : SortNumber::Unknown;
}

void UWStandardFile::prefetchValueForKey(QStringView key, int step) const
{
    Q_UNUSED(key);
    // Sorted columns are mostly dates and names: the record, behind the cache's pointer.
    if (step == 0)
        __builtin_prefetch(d.get());
    else
        d->cache.prefetch();
}

QStringList UWStandardFile::summaryKeys()
{
    QStringList keys;
    for (const UWStandardFileKeys &row : UWStandardFileKeys::table()) {
        if (row.summary)
            keys.append(row.name.toString());
    }
    return keys;
}

QStringList UWStandardFile::keys()
{
    QStringList all;
    for (const UWStandardFileKeys &row : UWStandardFileKeys::table()) {
        if (row.listed)
            all.append(row.name.toString());
    }
    return all;
}

bool UWStandardFile::initWithURL(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo)
{
    if (pathRep.isEmpty() ? !url.isLocalFile() : !url.isEmpty() && !url.isLocalFile())
        return false;
    // The bytes a listing read are the name; a URL carries them percent-encoded.
    const QByteArray path = cleanNativePath(pathRep.isEmpty() ? nativePathForURL(url) : pathRep);
    if (path.isEmpty() || !path.startsWith('/') || path.contains('\0'))
        return false;
    Record record;
    record.path = path;
    if (statInfo) {
        record.stat = *statInfo;
        record.exists = true;
    } else {
        record.exists = record.stat.read(path.constData());
    }
    // No other thread knows the item yet: its first record is filled in place.
    d->cache.fill([&](Record &current) { current = std::move(record); });
    return true;
}

void UWStandardFile::becomePlaceholder(const QString &displayName, const QVariantMap &archive)
{
    d->cache.reset([&](Record &next) {
        next = Record();
        next.placeholder = std::make_shared<const Placeholder>(Placeholder{displayName, archive});
    });
}

bool UWStandardFile::adoptPath(const QByteArray &path)
{
    UWStatInfo stat;
    if (!stat.read(path.constData()))
        return false;
    d->cache.reset([&](Record &next) {
        next.path = path;
        next.stat = stat;
        next.exists = true;
        next.lost = false;
        next.forgetPlace();
    });
    return true;
}

QByteArray UWStandardFile::nativeFileName() const
{
    return d->cache.read([](const Record &r) { return r.isPlaceholder() ? QByteArray() : lastNativeComponent(r.path); });
}

UWStatInfo UWStandardFile::statInfo() const
{
    return d->cache.read([](const Record &r) { return r.stat; });
}

// ---- Archives ------------------------------------------------------------------------------

QVariantMap UWStandardFile::archiveDictionary() const
{
    const std::shared_ptr<const Record> r = d->record();
    if (r->isPlaceholder())
        return r->placeholder ? r->placeholder->archive : QVariantMap();
    if (!r->exists || r->lost)
        return {};
    const QList<UWVolumes::Mount> mounts = UWVolumes::mounts();
    const UWVolumes::Mount mount = UWVolumes::mountForPath(mounts, r->path, r->stat.device);
    const QString text = r->text();
    QVariantMap archive{
        {archiveVersionKey, archiveVersion},
        {archivePathKey, text},
        {archiveNameKey, QFile::decodeName(lastNativeComponent(r->path))},
        {archiveInodeKey, qulonglong(r->stat.inode)},
        {archiveDirectoryKey, r->isDirectory()},
    };
    const bool textKeepsBytes = QFile::encodeName(text) == r->path;
    if (!textKeepsBytes)
        archive.insert(archiveNativePathKey, r->path);
    if (!mount.mountPoint.isEmpty()) {
        const QByteArray relative = UWVolumes::volumeRelativePath(mount, r->path);
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
    const std::shared_ptr<const Record> r = d->record();
    if (!r->isPlaceholder()) {
        UWStatInfo now;
        if (now.read(r->path.constData())) {
            // The same entry, or one that replaced it: either way the path names the file.
            if (r->lost) {
                announcing(*this, Announcement::Lost, [&] { adoptPath(r->path); });
                return URL();
            }
            d->cache.reset([&](Record &next) {
                next.exists = true;
                next.stat = now;
            });
            return URL();
        }
        const QByteArray moved = r->exists && !r->lost
            ? findOnRemountedVolume(r->path, r->stat.device, r->stat.inode) : QByteArray();
        if (moved.isEmpty()) {
            // Keeping the old location would tell whoever holds the item (a bookmark's menu
            // item) that the file is still there; without one, they look for it again.
            if (!r->lost) {
                announcing(*this, Announcement::Lost, [&] {
                    d->cache.reset([](Record &next) {
                        next.exists = false;
                        next.lost = true;
                        next.forgetTypes();
                        next.finderLabel.reset();
                    });
                });
            }
            return {};
        }
        announcing(*this, Announcement::Moved, [&] { adoptPath(moved); });
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
    const QByteArray location = nativePath();
    return location.isEmpty() ? QUrl() : URLForNativePath(location);
}

QString UWStandardFile::path() const
{
    return QFile::decodeName(nativePath());
}

QByteArray UWStandardFile::nativePath() const
{
    return d->cache.read([](const Record &r) { return r.location(); });
}

QUrl UWStandardFile::resolvedURL() const
{
    if (nativePath().isEmpty())
        return {};
    return URLForNativePath(d->resolved());
}

UWStandardFileRef UWStandardFile::resolvedFileItem() const
{
    auto self = std::const_pointer_cast<UWStandardFile>(shared_from_this());
    const std::shared_ptr<const Record> r = d->record();
    if (!r->isLink())
        return self;
    const QByteArray resolved = d->resolved();
    if (resolved == r->path)
        return self;
    UWStandardFileRef target = newFileForNativePath(resolved);
    return target ? target : self;
}

UWStandardFileRef UWStandardFile::parentItem() const
{
    const QByteArray location = nativePath();
    if (location.isEmpty() || location == "/")
        return nullptr;
    return newFileForNativePath(parentNativePath(location));
}

QString UWStandardFile::fileName() const
{
    return d->cache.read([](const Record &r) {
        if (r.isPlaceholder())
            return r.placeholder ? r.placeholder->name : QString();
        return QFile::decodeName(lastNativeComponent(r.path));
    });
}


QString UWStandardFile::displayName() const
{
    const std::shared_ptr<const Record> r = d->record();
    if (!looksLikeDesktopEntry(*r))
        return fileName();
    const QByteArray resolved = d->resolved();
    const auto application = d->cache.value(&Record::application, [&resolved](const Record &) {
        if (!isRegularFile(resolved))
            return std::make_shared<const TQApplicationInfo>();
        std::lock_guard serialized(UWSerialized::desktopLookups());
        return std::make_shared<const TQApplicationInfo>(
            TQApplications::applicationForDesktopFile(QFile::decodeName(resolved)));
    });
    return nameOfApplication(application, fileName());
}

namespace {

// Takes the announcements of content types resolved on any thread to the main thread. The
// items wait in a list behind a standard lock, and a bare event wakes the main thread: nothing
// else crosses between the threads, so ThreadSanitizer sees every hand-over.
class ContentTypeAnnouncer : public QObject
{
public:
    static void queue(const UWStandardFileRef &item)
    {
        QCoreApplication *application = QCoreApplication::instance();
        if (!application)
            return;
        ContentTypeAnnouncer &announcer = shared(application);
        {
            std::lock_guard locker(announcer.m_lock);
            announcer.m_waiting.push_back(item);
        }
        QCoreApplication::postEvent(&announcer, new QEvent(QEvent::User));
    }

    bool event(QEvent *) override
    {
        std::vector<std::weak_ptr<UWStandardFile>> waiting;
        {
            std::lock_guard locker(m_lock);
            waiting.swap(m_waiting);
        }
        for (const std::weak_ptr<UWStandardFile> &weak : waiting) {
            if (const UWStandardFileRef item = weak.lock())
                announcing(*item, Announcement::ContentTypeResolved, [] {});
        }
        return true;
    }

private:
    static ContentTypeAnnouncer &shared(QCoreApplication *application)
    {
        // Lives as long as the process; belongs to the main thread wherever it was made.
        static ContentTypeAnnouncer *const announcer = [application] {
            auto *made = new ContentTypeAnnouncer;
            made->moveToThread(application->thread());
            return made;
        }();
        return *announcer;
    }

    std::mutex m_lock;
    std::vector<std::weak_ptr<UWStandardFile>> m_waiting; // guarded by m_lock
};

} // namespace

QString UWStandardFile::uti() const
{
    QString type = d->cache.value(&Record::uti, [](const Record &r) {
        // The status the record holds is what lstat() would say of the path.
        return r.exists ? UWFileFactory::typeOf(r.path, r.stat) : QString();
    });
    return type;
}

QString UWStandardFile::resolvedUTI() const
{
    const QByteArray resolved = d->resolved();
    const QString type = d->cache.value(&Record::resolvedUTI, [this, &resolved](const Record &r) {
        return resolved == r.path ? uti() : TQTypeRegistry::shared().typeForFile(resolved, UWFileFactory::typeDetection());
    });
    announceIconChangeIfNeeded(type);
    return type;
}

void UWStandardFile::resolveContentType() const
{
    resolvedUTI();
}

void UWStandardFile::announceIconChangeIfNeeded(const QString &contentType) const
{
    const bool announce = d->cache.fill([&contentType](Record &r) {
        if (!r.iconType || r.iconChangeAnnounced || *r.iconType == contentType)
            return false;
        r.iconChangeAnnounced = true;
        return true;
    });
    if (announce)
        ContentTypeAnnouncer::queue(std::const_pointer_cast<UWStandardFile>(shared_from_this()));
}

QString UWStandardFile::kindString() const
{
    const QString type = resolvedUTI();
    return d->cache.value(&Record::kindString,
                          [&type](const Record &) { return TQTypeRegistry::shared().localizedDescription(type); });
}

namespace {

QIcon iconForType(const QString &type)
{
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
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
    return QIcon::fromTheme(QStringLiteral("text-x-generic"), QIcon::fromTheme(QStringLiteral("unknown")));
}

} // namespace

QIcon UWStandardFile::fileIcon() const
{
    const std::shared_ptr<const Record> r = d->record();
    if (r->isPlaceholder())
        return {};
    // Only what is known: an icon is asked for while a row is painted, and the content may
    // sit on a slow disk. A desktop entry's own icon once the entry was read for its name.
    if (looksLikeDesktopEntry(*r)) {
        if (const auto application = d->cache.peek(&Record::application);
            application && !(*application)->iconName.isEmpty()) {
            const QString icon = (*application)->iconName;
            const QIcon themed = QDir::isAbsolutePath(icon) ? QIcon(icon) : QIcon::fromTheme(icon);
            if (!themed.isNull())
                return themed;
        }
    }
    if (const std::optional<QString> type = d->cache.peek(&Record::resolvedUTI))
        return iconForType(*type);
    const QByteArray resolved = d->resolved();
    const QString guess = d->cache.value(&Record::nameType, [&resolved](const Record &r) {
        if (!r.exists)
            return QString();
        struct stat target;
        if (::lstat(resolved.constData(), &target) == 0 && S_ISDIR(target.st_mode))
            return QStringLiteral("public.folder");
        return TQTypeRegistry::shared().typeForFile(resolved, TQTypeRegistry::Detection::NameOnly);
    });
    d->cache.fill([&guess](Record &record) {
        if (!record.iconType)
            record.iconType = guess;
    });
    // The content may have been resolved meanwhile, before the guess was noted.
    if (const std::optional<QString> type = d->cache.peek(&Record::resolvedUTI))
        announceIconChangeIfNeeded(*type);
    return iconForType(guess);
}

bool UWStandardFile::isPlaceholder() const
{
    return d->cache.read([](const Record &r) { return r.isPlaceholder(); });
}

bool UWStandardFile::isEqual(const UWStandardFile &other) const
{
    if (this == &other)
        return true;
    const std::shared_ptr<const Record> mine = d->record();
    const std::shared_ptr<const Record> theirs = other.d->record();
    if (mine->isPlaceholder() || theirs->isPlaceholder()) {
        return mine->isPlaceholder() && theirs->isPlaceholder() && mine->placeholder && theirs->placeholder
            && mine->placeholder->archive == theirs->placeholder->archive;
    }
    return mine->path == theirs->path;
}

bool UWStandardFile::isDirectory() const
{
    return d->cache.read([](const Record &r) { return r.isDirectory(); });
}

bool UWStandardFile::isBasicDirectory() const
{
    return isDirectory();
}

bool UWStandardFile::isInvisible() const
{
    return d->cache.value(&Record::isInvisible, [](const Record &r) {
        const QString name = r.isPlaceholder() ? (r.placeholder ? r.placeholder->name : QString())
                                               : QFile::decodeName(lastNativeComponent(r.path));
        return name.startsWith(QLatin1Char('.'))
            || (!r.isPlaceholder() && r.path != "/"
                && (r.stat.hiddenByListKnown
                        ? r.stat.hiddenByList
                        : isListedInHiddenFile(parentNativePath(r.path), lastNativeComponent(r.path))));
    });
}

bool UWStandardFile::isRealFile() const
{
    return d->cache.read([](const Record &r) { return r.exists && !r.isLink(); });
}

bool UWStandardFile::exists() const
{
    return d->cache.read([](const Record &r) { return r.exists; });
}

bool UWStandardFile::isReadable() const
{
    return exists() && mayAccess(d->resolved(), R_OK, S_IRUSR | S_IRGRP | S_IROTH);
}

bool UWStandardFile::isWritable() const
{
    return exists() && mayAccess(d->resolved(), W_OK, S_IWUSR | S_IWGRP | S_IWOTH);
}

qint64 UWStandardFile::byteSize() const
{
    return d->cache.read([](const Record &r) { return r.exists ? r.stat.size : -1; });
}

namespace {

// One of the status record's times; a missing file has none.
QDateTime statusDate(const UWRecordCache<Record> &cache, qint64 (*pick)(const UWStatInfo &))
{
    const std::optional<qint64> nsecs = cache.read([pick](const Record &r) {
        return r.exists ? std::optional<qint64>(pick(r.stat)) : std::nullopt;
    });
    return nsecs ? dateFromNSecs(*nsecs) : QDateTime();
}

} // namespace

QDateTime UWStandardFile::modificationDate() const
{
    return statusDate(d->cache, &modified);
}

QDateTime UWStandardFile::creationDate() const
{
    return statusDate(d->cache, &created);
}

QDateTime UWStandardFile::accessDate() const
{
    return statusDate(d->cache, &accessed);
}

QDateTime UWStandardFile::dateAdded() const
{
    return statusDate(d->cache, &added);
}

int UWStandardFile::finderLabel() const
{
    return d->cache.value(&Record::finderLabel, [](const Record &r) {
        return r.exists ? UWFinderLabels::labelForNativePath(r.path) : 0;
    });
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
    announcing(*this, Announcement::LabelChanged, [&] {
        set = UWFinderLabels::setLabelForNativePath(path, label, error);
        d->cache.reset([](Record &next) { next.finderLabel.reset(); });
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
    if (!observer)
        return;
    if (!d->observers)
        d->observers = std::make_unique<std::vector<UWFileObserver *>>();
    d->observers->push_back(observer);
}

void UWStandardFile::removeObserver(UWFileObserver *observer)
{
    if (d->observers)
        std::erase(*d->observers, observer);
}

void UWStandardFile::willChangeValueForKey(QStringView key)
{
    if (!d->observers)
        return;
    // A copy: an observer may unsubscribe while it is told.
    const std::vector<UWFileObserver *> observers = *d->observers;
    for (UWFileObserver *observer : observers)
        observer->fileWillChangeValueForKey(this, key);
}

void UWStandardFile::didChangeValueForKey(QStringView key)
{
    if (!d->observers)
        return;
    const std::vector<UWFileObserver *> observers = *d->observers;
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
        announcing(*this, Announcement::Moved, [&] {
            if (!adoptPath(newPath)) {
                d->cache.reset([&](Record &next) {
                    next.path = newPath;
                    next.stat.hiddenByListKnown = false; // the list named the old name
                });
            }
        });
        return;
    }
    case UWFileEvent::Removed:
        announcing(*this, Announcement::Removed, [&] { d->cache.reset([](Record &next) { next.exists = false; }); });
        // The type and label went with the file: both are asked afresh, and observers are told.
        announcing(*this, Announcement::LabelChanged, [&] { d->cache.reset([](Record &next) { next.finderLabel.reset(); }); });
        announcing(*this, Announcement::TypesReset, [&] { d->cache.reset([](Record &next) { next.forgetTypes(); }); });
        return;
    case UWFileEvent::ContentChanged:
    case UWFileEvent::AttributesChanged:
    case UWFileEvent::CreatedOrReplaced:
        announcing(*this, Announcement::StatusRead, [&] {
            UWStatInfo now;
            const QByteArray path = d->cache.read([](const Record &r) { return r.path; });
            const bool exists = now.read(path.constData());
            d->cache.reset([&](Record &next) {
                next.exists = exists;
                next.stat = exists ? now : UWStatInfo{};
                if (exists)
                    next.lost = false;
            });
        });
        if (event.type != UWFileEvent::ContentChanged) {
            announcing(*this, Announcement::LabelChanged,
                       [&] { d->cache.reset([](Record &next) { next.finderLabel.reset(); }); });
        }
        if (event.type != UWFileEvent::AttributesChanged) {
            announcing(*this, Announcement::TypesReset, [&] {
                d->cache.reset([](Record &next) {
                    next.forgetTypes();
                    const UWKnownStatus *known = UWKnownStatus::find(next.path.constData());
                    if (known && known->present && !known->type.isEmpty() && next.exists
                        && next.stat.mode == known->stat.mode && next.stat.size == known->stat.size
                        && next.stat.modifiedNSecs == known->stat.modifiedNSecs)
                        next.uti = known->type;
                });
            });
        }
        return;
    default:
        return;
    }
}

void UWStandardFile::placeholderStatusChanged()
{
    announcing(*this, Announcement::PlaceholderChanged, [] {});
}
