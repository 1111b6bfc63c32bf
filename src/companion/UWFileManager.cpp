#include "UWFileManager.h"

#include "UWCompanionLogging.h"
#include "UWFileFactory_p.h"
#include "UWFolderListing_p.h"
#include "UWStatInfo_p.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>
#include <QThreadPool>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr uint32_t watchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY
    | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

} // namespace

// ---- The subscription ----------------------------------------------------------------------

class UWFileSubscriptionPrivate
{
public:
    UWStandardFileRef folder;
    QByteArray path; // the folder's resolved path, in the file system's bytes
    QList<UWStandardFileRef> files;
    bool loaded = false;
    int watch = -1;

    // Names are compared as bytes: two names that are not UTF-8 may show as the same text.
    qsizetype indexOf(const QByteArray &name) const
    {
        for (qsizetype i = 0; i < files.size(); ++i) {
            if (files.at(i)->nativeFileName() == name)
                return i;
        }
        return -1;
    }
    QByteArray childPath(const QByteArray &name) const
    {
        return path == "/" ? QByteArray(path + name) : QByteArray(path + '/' + name);
    }
    UWFileEvent renamedTo(const QByteArray &name) const
    {
        UWFileEvent event{UWFileEvent::Renamed, {}, childPath(name)};
        event.newPath = QFile::decodeName(event.newNativePath);
        return event;
    }
};

UWFileSubscription::UWFileSubscription(const UWStandardFileRef &folder)
    : d(std::make_unique<UWFileSubscriptionPrivate>())
{
    d->folder = folder;
    d->path = folder->resolvedFileItem()->nativePath();
}

UWStandardFileRef UWFileSubscription::folder() const
{
    return d->folder;
}

QList<UWStandardFileRef> UWFileSubscription::files() const
{
    return d->files;
}

bool UWFileSubscription::isLoaded() const
{
    return d->loaded;
}

// ---- The manager ---------------------------------------------------------------------------

class UWFileManagerPrivate
{
public:
    explicit UWFileManagerPrivate(UWFileManager *q)
        : q(q)
    {
    }
    ~UWFileManagerPrivate()
    {
        if (inotifyFd >= 0)
            ::close(inotifyFd);
        if (mountsFd >= 0)
            ::close(mountsFd);
    }

    UWFileManager *q;
    QThreadPool pool;
    int inotifyFd = -1;
    int mountsFd = -1;
    QSocketNotifier *inotifyNotifier = nullptr;
    QSocketNotifier *mountsNotifier = nullptr;
    QHash<int, UWFileSubscription *> byWatch;
    QHash<QByteArray, std::weak_ptr<UWFileSubscription>> byPath;

    void startWatching();
    void load(UWFileSubscription *subscription);
    void relist(UWFileSubscription *subscription);
    void forget(UWFileSubscription *subscription);
    void readEvents();
    void mountsChanged();
};

UWFileSubscription::~UWFileSubscription()
{
    if (UWFileManager *manager = UWFileManager::sharedFileManager())
        manager->d->forget(this);
}

void UWFileSubscription::loadImmediately()
{
    if (UWFileManager *manager = UWFileManager::sharedFileManager())
        manager->d->load(this);
}

void UWFileManagerPrivate::startWatching()
{
    inotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotifyFd < 0) {
        // Views will not follow changes on disk: worth one visible line.
        qCWarning(lcCompanion) << "no file-system events:" << ::strerror(errno);
    } else {
        inotifyNotifier = new QSocketNotifier(inotifyFd, QSocketNotifier::Read, q);
        QObject::connect(inotifyNotifier, &QSocketNotifier::activated, q, [this] { readEvents(); });
    }
    // The kernel marks the mount table readable with an exceptional condition when a volume
    // comes or goes; that is when placeholders may find their files again.
    mountsFd = ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    if (mountsFd >= 0) {
        mountsNotifier = new QSocketNotifier(mountsFd, QSocketNotifier::Exception, q);
        QObject::connect(mountsNotifier, &QSocketNotifier::activated, q, [this] { mountsChanged(); });
    }
}

void UWFileManagerPrivate::load(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->loaded) {
        relist(subscription);
        return;
    }
    QString error;
    const QList<UWFolderListing::Entry> entries = UWFolderListing::list(s->path, &error);
    if (!error.isEmpty())
        qCInfo(lcCompanion).noquote() << "cannot list" << QFile::decodeName(s->path) << "-" << error;
    s->files.reserve(entries.size());
    for (const UWFolderListing::Entry &entry : entries)
        s->files.append(entry.file);
    s->loaded = true;
    if (inotifyFd >= 0 && QThread::currentThread() == q->thread()) {
        s->watch = ::inotify_add_watch(inotifyFd, s->path.constData(), watchMask);
        if (s->watch >= 0)
            byWatch.insert(s->watch, subscription);
    }
}

void UWFileManagerPrivate::relist(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    QString error;
    const QList<UWFolderListing::Entry> entries = UWFolderListing::list(s->path, &error);
    if (!error.isEmpty())
        qCInfo(lcCompanion).noquote() << "cannot list" << QFile::decodeName(s->path) << "-" << error;

    QHash<QByteArray, UWStandardFileRef> previous;
    for (const UWStandardFileRef &file : std::as_const(s->files))
        previous.insert(file->nativeFileName(), file);
    QHash<ino_t, UWStandardFileRef> previousByInode;
    for (const UWStandardFileRef &file : std::as_const(s->files))
        previousByInode.insert(file->statInfo().inode, file);

    bool changed = false;
    QList<UWStandardFileRef> now;
    now.reserve(entries.size());
    QSet<UWStandardFile *> kept;
    for (const UWFolderListing::Entry &entry : entries) {
        const UWStatInfo &fresh = entry.file->statInfo();
        if (const UWStandardFileRef old = previous.value(entry.name)) {
            const UWStatInfo &was = old->statInfo();
            int type = 0;
            if (fresh.inode != was.inode || !old->exists())
                type = UWFileEvent::CreatedOrReplaced;
            else if (fresh.modifiedNSecs != was.modifiedNSecs || fresh.size != was.size)
                type = UWFileEvent::ContentChanged;
            else if (fresh.statusChangedNSecs != was.statusChangedNSecs)
                type = UWFileEvent::AttributesChanged;
            if (type) {
                old->updateForEvent({type, {}});
                changed = true;
            }
            kept.insert(old.get());
            now.append(old);
            continue;
        }
        // A rename keeps the inode and the file's times; a new file may get a freed inode
        // back at once, but never the old file's birth and modification times.
        const UWStandardFileRef moved = previousByInode.value(fresh.inode);
        const bool sameFile = moved && moved->statInfo().modifiedNSecs == fresh.modifiedNSecs
            && moved->statInfo().bornNSecs == fresh.bornNSecs;
        if (sameFile && !previous.contains(entry.name) && !kept.contains(moved.get())
            && std::none_of(entries.cbegin(), entries.cend(),
                            [&](const UWFolderListing::Entry &e) { return e.name == moved->nativeFileName(); })) {
            moved->updateForEvent(s->renamedTo(entry.name));
            kept.insert(moved.get());
            now.append(moved);
        } else {
            now.append(entry.file);
        }
        changed = true;
    }
    for (const UWStandardFileRef &old : std::as_const(s->files)) {
        if (!kept.contains(old.get())) {
            old->updateForEvent({UWFileEvent::Removed, {}});
            changed = true;
        }
    }
    s->files = now;
    if (changed) {
        Q_EMIT subscription->filesChanged();
        Q_EMIT q->directoryChanged(QFile::decodeName(s->path));
    }
}

void UWFileManagerPrivate::forget(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->watch >= 0) {
        byWatch.remove(s->watch);
        if (inotifyFd >= 0)
            ::inotify_rm_watch(inotifyFd, s->watch);
    }
    const auto it = byPath.constFind(s->path);
    if (it != byPath.cend() && it->expired())
        byPath.erase(it);
}

void UWFileManagerPrivate::readEvents()
{
    struct Pending
    {
        UWFileSubscription *subscription;
        QByteArray name;
    };
    QHash<uint32_t, Pending> movedAway; // by cookie, until the other half arrives
    QSet<UWFileSubscription *> touched;
    bool overflow = false;

    alignas(inotify_event) char buffer[16 * 1024];
    for (;;) {
        const ssize_t length = ::read(inotifyFd, buffer, sizeof buffer);
        if (length <= 0)
            break;
        for (ssize_t at = 0; at < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                overflow = true;
                continue;
            }
            UWFileSubscription *subscription = byWatch.value(event->wd);
            if (!subscription)
                continue;
            if (event->mask & IN_IGNORED) {
                byWatch.remove(event->wd);
                subscription->d->watch = -1;
                continue;
            }
            if (event->len == 0)
                continue; // the folder itself; its own item hears of it from its parent
            UWFileSubscriptionPrivate *s = subscription->d.get();
            const QByteArray name(event->name);
            const qsizetype index = s->indexOf(name);
            const UWStandardFileRef existing = index >= 0 ? s->files.at(index) : nullptr;

            if (event->mask & IN_MOVED_FROM) {
                movedAway.insert(event->cookie, {subscription, name});
                continue;
            }
            touched.insert(subscription);
            if (event->mask & IN_MOVED_TO) {
                const auto from = movedAway.constFind(event->cookie);
                if (from != movedAway.cend()) {
                    UWFileSubscriptionPrivate *source = from->subscription->d.get();
                    const qsizetype sourceIndex = source->indexOf(from->name);
                    touched.insert(from->subscription);
                    movedAway.erase(from);
                    if (sourceIndex >= 0) {
                        const UWStandardFileRef moved = source->files.takeAt(sourceIndex);
                        if (existing) {
                            // Saving by writing a copy and renaming it over the original:
                            // the item people look at is the original, now replaced.
                            moved->updateForEvent({UWFileEvent::Removed, {}});
                            existing->updateForEvent({UWFileEvent::CreatedOrReplaced, {}});
                        } else {
                            moved->updateForEvent(s->renamedTo(name));
                            s->files.append(moved);
                        }
                        continue;
                    }
                }
            }
            if (event->mask & (IN_CREATE | IN_MOVED_TO)) {
                if (existing) {
                    existing->updateForEvent({UWFileEvent::CreatedOrReplaced, {}});
                } else if (UWStandardFileRef file = UWStandardFile::newFileForNativePath(s->childPath(name));
                           file && file->exists()) {
                    s->files.append(file);
                }
            } else if (event->mask & IN_DELETE) {
                if (existing) {
                    existing->updateForEvent({UWFileEvent::Removed, {}});
                    s->files.removeAt(index);
                }
            } else if (event->mask & (IN_MODIFY | IN_CLOSE_WRITE)) {
                if (existing)
                    existing->updateForEvent({UWFileEvent::ContentChanged, {}});
            } else if (event->mask & IN_ATTRIB) {
                if (existing)
                    existing->updateForEvent({UWFileEvent::AttributesChanged, {}});
            }
        }
    }
    // A move whose other half never came left the watched folders.
    for (const Pending &away : std::as_const(movedAway)) {
        UWFileSubscriptionPrivate *s = away.subscription->d.get();
        const qsizetype index = s->indexOf(away.name);
        if (index >= 0) {
            s->files.takeAt(index)->updateForEvent({UWFileEvent::Removed, {}});
            touched.insert(away.subscription);
        }
    }
    if (overflow) {
        // The kernel dropped events: only a fresh listing tells what happened.
        for (UWFileSubscription *subscription : std::as_const(byWatch))
            relist(subscription);
        return;
    }
    for (UWFileSubscription *subscription : std::as_const(touched)) {
        Q_EMIT subscription->filesChanged();
        Q_EMIT q->directoryChanged(QFile::decodeName(subscription->d->path));
    }
}

void UWFileManagerPrivate::mountsChanged()
{
    // Reading the table to its end is what re-arms the notification.
    char buffer[4096];
    ::lseek(mountsFd, 0, SEEK_SET);
    while (::read(mountsFd, buffer, sizeof buffer) > 0) {
    }
    QList<UWStandardFileRef> resolved;
    for (const UWStandardFileRef &placeholder : UWFileFactory::livePlaceholders()) {
        if (!placeholder->currentURL().isEmpty())
            resolved.append(placeholder);
    }
    if (!resolved.isEmpty())
        Q_EMIT q->placeholdersResolved(resolved);
}

UWFileManager::UWFileManager()
    : d(std::make_unique<UWFileManagerPrivate>(this))
{
    // Watching needs an event loop to hear from the kernel; without an application object
    // the manager still lists folders, it just cannot keep them live.
    if (QCoreApplication::instance())
        d->startWatching();
}

UWFileManager::~UWFileManager()
{
    // Background operations may still hold items; let them end before the manager goes.
    d->pool.waitForDone();
}

UWFileManager *UWFileManager::sharedFileManager()
{
    static QPointer<UWFileManager> shared;
    static bool made = false;
    if (!made) {
        made = true;
        if (QCoreApplication *app = QCoreApplication::instance()) {
            if (QThread::currentThread() != app->thread())
                qCWarning(lcCompanion) << "the file manager must first be asked for on the main thread";
            shared = new UWFileManager;
            // Gone with the application, so its notifiers never outlive the event loop.
            shared->setParent(app);
        } else {
            shared = new UWFileManager;
        }
    }
    return shared.data();
}

std::shared_ptr<UWFileSubscription> UWFileManager::subscriptionForFile(const UWStandardFileRef &folder)
{
    if (!folder)
        return nullptr;
    const UWStandardFileRef target = folder->resolvedFileItem();
    if (!target->isDirectory())
        return nullptr;
    if (std::shared_ptr<UWFileSubscription> existing = d->byPath.value(target->nativePath()).lock())
        return existing;
    std::shared_ptr<UWFileSubscription> subscription(new UWFileSubscription(folder));
    d->byPath.insert(target->nativePath(), subscription);
    return subscription;
}

void UWFileManager::changeHappenedInDirectory(const UWStandardFileRef &folder)
{
    if (!folder || folder->isPlaceholder())
        return;
    const QByteArray path = folder->resolvedFileItem()->nativePath();
    if (std::shared_ptr<UWFileSubscription> subscription = d->byPath.value(path).lock();
        subscription && subscription->isLoaded())
        d->relist(subscription.get());
}

QThreadPool *UWFileManager::utilityQueue() const
{
    return &d->pool;
}

void UWFileManager::setFileFactory(FileFactory factory)
{
    UWFileFactory::setFactory(std::move(factory));
}

UWFileManager::FileFactory UWFileManager::fileFactory()
{
    return UWFileFactory::factory();
}

void UWFileManager::setTypeDetection(TQTypeRegistry::Detection detection)
{
    UWFileFactory::setTypeDetection(detection);
}

TQTypeRegistry::Detection UWFileManager::typeDetection()
{
    return UWFileFactory::typeDetection();
}
