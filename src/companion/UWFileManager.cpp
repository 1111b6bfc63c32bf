// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFileManager.h"
#include "UWFileManager_p.h"

#include "UWCompanionLogging.h"
#include "UWFileFactory_p.h"
#include "UWFolderListing_p.h"
#include "UWStatInfo_p.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QPointer>
#include <QSet>
#include <QSocketNotifier>
#include <QThread>
#include <QThreadPool>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <optional>
#include <utility>

namespace {

constexpr uint32_t watchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY
    | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

// Reads of the event queue per wake-up: a program that writes without pause must not keep the
// GUI thread in here for long; the notifier wakes us again for the rest after the loop has
// turned. Each event that names a new file becomes a new item and a view's entry for it:
// 16 KiB of events (about 500 with short names) is a few milliseconds of that.
constexpr int readsPerBatch = 2;
constexpr size_t readSize = 8 * 1024;
// Steps applied per turn of the event loop, at most about what one wake-up reads: after a long
// wait for a slow folder the queue may hold far more than that. What a step costs depends on
// who listens (a model of a big folder pays for every batch of removals in proportion to the
// folder), so the number follows the time the last turns took, listeners included, aiming at
// a turn that leaves a 60 Hz frame room to paint.
constexpr int stepsPerTurn = 1024;
// Not fewer: a listener may walk all its rows at every batch (a model tester, a proxy), and
// many small batches would cost it more in all than they spare any one turn.
constexpr int fewestStepsPerTurn = 128;
constexpr qint64 turnBudgetNs = 5'000'000;
// Steps a worker is asked about at once, from the head of the queue: a few turns' worth. Asking
// is walking the steps on the GUI thread, and a program that makes files faster than they are
// applied can leave 15,000 queued, 10 ms of walking each time; those further back are asked
// about when they come near the head.
constexpr int stepsAskedAhead = 1024;

// Hears which keys an item announces while it takes in one event.
class KeyRecorder final : public UWFileObserver
{
public:
    explicit KeyRecorder(QStringList *keys)
        : m_keys(keys)
    {
    }
    void fileWillChangeValueForKey(UWStandardFile *, QStringView) override {}
    void fileDidChangeValueForKey(UWStandardFile *, QStringView key) override
    {
        if (!m_keys->contains(key))
            m_keys->append(key.toString());
    }

private:
    QStringList *m_keys;
};

// What happened to the items of one folder in one batch, reduced to its net effect when told.
class ChangeRecorder
{
public:
    enum Kind { Added, Removed, Renamed, Changed };

    void note(const UWStandardFileRef &file, Kind kind)
    {
        auto it = m_states.find(file.get());
        if (it == m_states.end()) {
            m_order.append(file);
            it = m_states.insert(file.get(), State{kind != Added, true, false, false});
        }
        switch (kind) {
        case Added:
            if (!it->wasListed && !it->listed)
                it->listed = true;
            else if (!it->listed)
                it->listed = it->renamed = true; // moved out and back: the same item elsewhere
            break;
        case Removed:
            it->listed = false;
            break;
        case Renamed:
            it->renamed = true;
            break;
        case Changed:
            it->changed = true;
            break;
        }
    }
    // Tells \a file of \a event, recording the keys it announces.
    void tell(const UWStandardFileRef &file, const UWFileEvent &event, Kind kind)
    {
        note(file, kind);
        KeyRecorder recorder(&m_keys[file.get()]);
        file->addObserver(&recorder);
        file->updateForEvent(event);
        file->removeObserver(&recorder);
    }
    UWFolderChanges take(const UWStandardFileRef &folder, const QByteArray &path)
    {
        UWFolderChanges changes;
        changes.folder = folder;
        changes.nativePath = path;
        for (const UWStandardFileRef &file : std::as_const(m_order)) {
            const State state = m_states.value(file.get());
            if (!state.wasListed && !state.listed)
                continue;
            if (state.wasListed && !state.listed)
                changes.removed.append(file);
            else if (!state.wasListed)
                changes.added.append(file);
            if (state.wasListed && state.listed && state.renamed)
                changes.renamed.append(file);
            if (state.wasListed && state.listed && state.changed)
                changes.changed.append(file);
            if (const QStringList keys = m_keys.value(file.get()); !keys.isEmpty())
                changes.keys.insert(file.get(), keys);
        }
        *this = {};
        return changes;
    }

private:
    struct State
    {
        bool wasListed = false, listed = false, renamed = false, changed = false;
    };
    QList<UWStandardFileRef> m_order;
    QHash<const UWStandardFile *, State> m_states;
    QHash<const UWStandardFile *, QStringList> m_keys;
};

// The event a file's new status amounts to against what was known of it (0: none). Another
// inode, or \a otherFile, means the name now holds a different file.
int eventForStatus(const UWStatInfo &was, const UWStatInfo &fresh, bool otherFile)
{
    if (otherFile || fresh.inode != was.inode)
        return UWFileEvent::CreatedOrReplaced;
    if (fresh.modifiedNSecs != was.modifiedNSecs || fresh.size != was.size)
        return UWFileEvent::ContentChanged;
    if (fresh.statusChangedNSecs != was.statusChangedNSecs)
        return UWFileEvent::AttributesChanged;
    return 0;
}

QByteArray childPathOf(const QByteArray &folder, const QByteArray &name)
{
    return folder == "/" ? QByteArray(folder + name) : QByteArray(folder + '/' + name);
}

// How a folder listed again meets the items its subscription held: for each entry, the item
// it keeps (with the event its new status amounts to), the item renamed to it, or none (a new
// item); and the items that went. Only items are read, and they are thread-safe, so a worker
// makes it with the listing, from the items held when the listing was asked for.
struct RelistPlan
{
    struct Match
    {
        UWStandardFileRef item; // nullptr: the entry's own item is new
        int event = 0;          // for an item kept under its name
        bool renamed = false;
        QString type;           // the item's own type after an event that makes it forget it
    };
    QList<UWStandardFileRef> basis; // the items it was made from
    std::vector<Match> matches;     // one per entry
    QList<UWStandardFileRef> gone;
};

} // namespace

// ---- The subscription ----------------------------------------------------------------------

class UWFileSubscriptionPrivate
{
public:
    std::weak_ptr<UWFileSubscription> self;
    UWStandardFileRef folder;
    QByteArray path; // the folder's resolved path, in the file system's bytes
    QList<UWStandardFileRef> files;
    // Names are compared as bytes: two names that are not UTF-8 may show as the same text.
    QHash<QByteArray, UWStandardFileRef> byName;
    // Removed within the batch under way; taken out of files at its end, all at once.
    QSet<const UWStandardFile *> leaving;
    bool loaded = false;
    // Watched before it was loaded (startWatching()): the names events touched meanwhile, and
    // whether only a new listing can tell what happened (events dropped, the folder gone).
    QSet<QByteArray> touched;
    bool stale = false;
    // When the folder was last listed, on the manager's clock: a relisting asked for before
    // then has nothing left to tell.
    quint64 listedAt = 0;
    int watch = -1;
    dev_t device = 0; // the watched folder's identity, to tell whether it still is at path
    ino_t inode = 0;

    // The listed item named \a name. An item renamed behind the manager's back (somebody told
    // it of a rename) is found again by its new name.
    UWStandardFileRef find(const QByteArray &name)
    {
        const auto it = byName.constFind(name);
        if (it == byName.cend())
            return nullptr;
        if ((*it)->nativeFileName() == name)
            return *it;
        reindex();
        return byName.value(name);
    }
    void reindex()
    {
        byName.clear();
        byName.reserve(files.size());
        for (const UWStandardFileRef &file : std::as_const(files)) {
            if (!leaving.contains(file.get()))
                byName.insert(file->nativeFileName(), file);
        }
    }
    void append(const UWStandardFileRef &file)
    {
        // Moved out and back within one batch: still in files, at its old place.
        if (!leaving.remove(file.get()))
            files.append(file);
        byName.insert(file->nativeFileName(), file);
    }
    void remove(const UWStandardFileRef &file, const QByteArray &name)
    {
        byName.remove(name);
        leaving.insert(file.get());
    }
    void compact()
    {
        if (leaving.isEmpty())
            return;
        files.removeIf([this](const UWStandardFileRef &file) { return leaving.contains(file.get()); });
        leaving.clear();
    }
    QByteArray childPath(const QByteArray &name) const { return childPathOf(path, name); }
    UWFileEvent renamedTo(const QByteArray &name) const
    {
        UWFileEvent event{UWFileEvent::Renamed, {}, childPath(name)};
        event.newPath = QFile::decodeName(event.newNativePath);
        return event;
    }
    // Whether the folder at path is still the one the watch follows.
    bool stillAtPath() const
    {
        struct stat info = {};
        return ::stat(path.constData(), &info) == 0 && info.st_dev == device && info.st_ino == inode;
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

// The folders one batch of events (or one relisting) changed, each kept alive until it was
// told: a receiver may drop the last reference to a subscription while it hears of it.
class UWFolderBatch
{
public:
    struct Folder
    {
        std::shared_ptr<UWFileSubscription> guard;
        ChangeRecorder changes;
        bool relist = false;
    };

    ChangeRecorder &of(UWFileSubscription *subscription) { return folder(subscription).changes; }
    void relistLater(UWFileSubscription *subscription) { folder(subscription).relist = true; }
    std::deque<Folder> &folders() { return m_folders; }

private:
    Folder &folder(UWFileSubscription *subscription)
    {
        const auto it = m_index.constFind(subscription);
        if (it != m_index.cend())
            return m_folders[*it];
        m_index.insert(subscription, m_folders.size());
        m_folders.push_back({subscription->d->self.lock(), {}, false});
        return m_folders.back();
    }
    // In the order they were first touched; a deque, so that a folder's changes stay where
    // they are while another folder joins.
    std::deque<Folder> m_folders;
    QHash<UWFileSubscription *, size_t> m_index;
};

// What the file manager has heard and not applied yet, in the order it was heard: an event,
// or a mark that stands for what the events cannot say.
struct UWHeardStep
{
    enum Kind : quint8 {
        Event,
        Overflow, // the kernel dropped events: every folder is listed again
        Drained,  // the queue was read to its end: moves still half-heard left the folders
        CatchUp,  // an adopted listing's names that events touched before the adoption
        Relist,   // one folder is listed again
    };
    Kind kind = Event;
    quint64 heardAt = 0; // on the manager's clock
    int watch = -1;
    uint32_t mask = 0;
    uint32_t cookie = 0;
    QByteArray name;
    std::weak_ptr<UWFileSubscription> subscription; // CatchUp, Relist
    QSet<QByteArray> names;                          // CatchUp
};

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

    // The first half of a move, until the second half arrives.
    struct Pending
    {
        std::weak_ptr<UWFileSubscription> subscription;
        QByteArray name;
    };
    // What a worker found at a path, or in a folder, once asked at askedAt: it tells about
    // everything heard up to then, and nothing about what was heard later.
    struct Lookup
    {
        quint64 askedAt = 0;
        bool present = false;
        UWStatInfo stat;
        UWStandardFileRef file; // made from stat, when present
        QString type;           // an item's own type with that status, for a name already shown
    };
    struct Listing
    {
        quint64 askedAt = 0;
        QList<UWFolderListing::Entry> entries;
        QString error;
        std::shared_ptr<const RelistPlan> plan; // from the items held when it was asked for
    };
    using NameKey = std::pair<int, QByteArray>; // a watch and a name in its folder

    UWFileManager *q;
    QThreadPool pool;
    int inotifyFd = -1;
    int mountsFd = -1;
    QSocketNotifier *inotifyNotifier = nullptr;
    QSocketNotifier *mountsNotifier = nullptr;
    // A folder reached by two paths (a bind mount, or a renamed folder subscribed again under
    // its new name before the old subscription went) has one watch for both.
    QHash<int, QList<UWFileSubscription *>> byWatch;
    QHash<QByteArray, std::weak_ptr<UWFileSubscription>> byPath;
    // Moves whose second half may be in the events not read yet, when a batch stopped early.
    QMultiHash<uint32_t, Pending> movedAway;

    // Anything that needs the file system's answer (a new name's status, a folder's listing)
    // is asked for on the utility queue; the steps wait in order until it is in, so that the
    // folders' change batches keep the order the events came in while the GUI thread never
    // waits for a slow folder.
    std::deque<UWHeardStep> steps;
    quint64 clock = 0;   // counts what was heard; answers are stamped with it
    bool asking = false; // a worker is finding answers
    bool askedAgain = false;
    quint64 askedUpTo = 0; // the clock when the worker was last asked
    bool pumping = false;
    bool pumpQueued = false;
    bool queuedPumpGathers = true; // whether the queued pump asks before it applies
    // Follows what the last turns cost (see stepsPerTurn); from the least, since nothing is
    // known yet of what the listeners make of a step.
    int stepBudget = fewestStepsPerTurn;
    QHash<QByteArray, Lookup> lookups;   // by path
    QHash<QByteArray, Listing> listings; // by folder path
    // When each name was last deleted or moved away, as heard: a name created before that
    // is gone again and needs no looking up.
    QHash<NameKey, quint64> lastGone;
    // Watches that other threads are adding (UWFileManagerInternal::watchLater): until they
    // are in byWatch, an event of a watch not known may be one of theirs, and waits.
    int watchesOnTheirWay = 0;
    QSet<int> removedWatches; // known strangers: removed here, their events still coming
    quint64 overflows = 0; // events lost so far; a watch added meanwhile may have lost some

    void startWatching();
    static std::function<void()> watchLater(UWFileSubscription *subscription);
    void registerWatch(const std::weak_ptr<UWFileSubscription> &subscription, int watch, dev_t device, ino_t inode,
                       quint64 overflowsBefore);
    void attach(UWFileSubscription *subscription);
    static int addWatch(int inotifyFd, const QByteArray &path, struct stat *info);
    void registerAttached(UWFileSubscription *subscription, int watch, dev_t device, ino_t inode);
    void detach(UWFileSubscription *subscription);
    void load(UWFileSubscription *subscription);
    bool adopt(UWFileSubscription *subscription, QList<UWStandardFileRef> files,
               QHash<QByteArray, UWStandardFileRef> byName = {});
    static bool adoptIndexed(UWFileSubscription *subscription, QList<UWStandardFileRef> files,
                             QHash<QByteArray, UWStandardFileRef> byName)
    {
        UWFileManager *manager = UWFileManager::sharedFileManager();
        return manager && manager->d->adopt(subscription, std::move(files), std::move(byName));
    }
    void noteBeforeLoad(UWFileSubscription *subscription, const UWHeardStep &event);
    void relistNow(UWFileSubscription *subscription, UWFolderBatch &batch);
    void applyListing(UWFileSubscription *subscription, const QList<UWFolderListing::Entry> &entries,
                      const QString &error, UWFolderBatch &batch, const RelistPlan *plan = nullptr);
    static RelistPlan planRelisting(const QByteArray &folder, const QList<UWStandardFileRef> &files,
                                    const QList<UWFolderListing::Entry> &entries);
    void report(UWFolderBatch &batch);
    void forget(UWFileSubscription *subscription);

    void readEvents();
    void hear();
    void pump(bool gatherFirst);
    void schedulePump(bool gatherFirst = true);
    void adaptStepBudget(int applied, qint64 elapsedNs);
    bool ask();
    void answersArrived(const QHash<QByteArray, Lookup> &found, const QHash<QByteArray, Listing> &listed);
    bool applyStep(const UWHeardStep &step, UWFolderBatch &batch);
    bool catchUp(const UWHeardStep &step, UWFolderBatch &batch);
    bool relistFromAnswer(const UWHeardStep &step, UWFolderBatch &batch);
    void apply(UWFileSubscription *subscription, const UWHeardStep &event, UWFolderBatch &batch);
    void moveArrived(UWFileSubscription *subscription, const UWHeardStep &event, UWFolderBatch &batch);
    QMultiHash<uint32_t, Pending>::iterator moveSource(UWFileSubscription *subscription, uint32_t cookie);
    bool needsLookup(UWFileSubscription *subscription, const UWHeardStep &event, bool guess = false);
    bool answered(const QByteArray &path, quint64 heardAt) const
    {
        const auto it = lookups.constFind(path);
        return it != lookups.cend() && it->askedAt >= heardAt;
    }
    // Whether the name \a event created was deleted or moved away again by a later event.
    bool goneLater(const UWHeardStep &event) const
    {
        return lastGone.value({event.watch, event.name}) > event.heardAt;
    }
    // The item for the new entry \a event made, as a worker found it; nullptr when it is gone.
    UWStandardFileRef arrival(UWFileSubscriptionPrivate *s, const UWHeardStep &event) const
    {
        if (goneLater(event))
            return nullptr;
        const QByteArray path = s->childPath(event.name);
        return itemFrom(lookups.value(path), path);
    }
    // The item a worker's answer for \a path stands for; nullptr when nothing was there.
    static UWStandardFileRef itemFrom(const Lookup &found, const QByteArray &path)
    {
        if (!found.present || found.file)
            return found.file;
        // Asked for as a status only; the status is all an item needs to be made.
        return UWFileFactory::make(QUrl(), path, &found.stat);
    }
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

void UWFileSubscription::startWatching()
{
    if (UWFileManager *manager = UWFileManager::sharedFileManager(); manager && !d->loaded)
        manager->d->attach(this);
}

bool UWFileSubscription::adoptListing(const QList<UWStandardFileRef> &files)
{
    UWFileManager *manager = UWFileManager::sharedFileManager();
    return manager && manager->d->adopt(this, files);
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

void UWFileManagerPrivate::attach(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->watch >= 0 || inotifyFd < 0 || QThread::currentThread() != q->thread())
        return;
    struct stat info = {};
    const int watch = addWatch(inotifyFd, s->path, &info);
    if (watch >= 0)
        registerAttached(subscription, watch, info.st_dev, info.st_ino);
}

// Any thread: the folder's watch, and the folder's status read after it; -1 when either fails.
int UWFileManagerPrivate::addWatch(int inotifyFd, const QByteArray &path, struct stat *info)
{
    const int watch = ::inotify_add_watch(inotifyFd, path.constData(), watchMask);
    if (watch < 0 || ::stat(path.constData(), info) != 0) {
        qCDebug(lcCompanion).noquote() << "cannot watch" << QFile::decodeName(path) << "-" << ::strerror(errno);
        return -1;
    }
    return watch;
}

void UWFileManagerPrivate::registerAttached(UWFileSubscription *subscription, int watch, dev_t device, ino_t inode)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    s->watch = watch;
    s->device = device;
    s->inode = inode;
    QList<UWFileSubscription *> &sharing = byWatch[watch];
    if (!sharing.contains(subscription))
        sharing.append(subscription);
}

void UWFileManagerPrivate::detach(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->watch < 0)
        return;
    const auto it = byWatch.find(s->watch);
    if (it != byWatch.end()) {
        it->removeAll(subscription);
        // The watch is the folder's, not the subscription's: it goes with the last one using it.
        if (it->isEmpty()) {
            byWatch.erase(it);
            if (inotifyFd >= 0 && ::inotify_rm_watch(inotifyFd, s->watch) == 0)
                removedWatches.insert(s->watch); // its last event, IN_IGNORED, is on its way
        }
    }
    s->watch = -1;
}

void UWFileManagerPrivate::load(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->loaded) {
        UWFolderBatch batch;
        relistNow(subscription, batch);
        report(batch);
        return;
    }
    QString error;
    const QList<UWFolderListing::Entry> entries = UWFolderListing::list(s->path, &error);
    if (!error.isEmpty())
        qCInfo(lcCompanion).noquote() << "cannot list" << QFile::decodeName(s->path) << "-" << error;
    s->files.reserve(entries.size());
    for (const UWFolderListing::Entry &entry : entries)
        s->files.append(entry.file);
    s->reindex();
    s->loaded = true;
    s->listedAt = clock;
    s->touched.clear();
    s->stale = false;
    attach(subscription);
}

bool UWFileManagerInternal::adoptListing(UWFileSubscription *subscription, QList<UWStandardFileRef> files,
                                         QHash<QByteArray, UWStandardFileRef> byName)
{
    return UWFileManagerPrivate::adoptIndexed(subscription, std::move(files), std::move(byName));
}

std::function<void()> UWFileManagerInternal::watchLater(UWFileSubscription *subscription)
{
    return UWFileManagerPrivate::watchLater(subscription);
}

std::function<void()> UWFileManagerPrivate::watchLater(UWFileSubscription *subscription)
{
    UWFileManager *manager = UWFileManager::sharedFileManager();
    if (!manager || !subscription)
        return {};
    UWFileManagerPrivate *d = manager->d.get();
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->loaded || s->watch >= 0 || d->inotifyFd < 0 || QThread::currentThread() != manager->thread())
        return {};
    ++d->watchesOnTheirWay;
    // Registered exactly once, whether the function runs or is dropped unrun.
    struct Added
    {
        QPointer<UWFileManager> manager;
        std::weak_ptr<UWFileSubscription> subscription;
        int fd = -1;
        QByteArray path;
        quint64 overflowsBefore = 0;
        int watch = -1;
        struct stat info = {};
        ~Added()
        {
            if (!manager)
                return; // gone with the application, and its watches with it
            QMetaObject::invokeMethod(
                manager.data(),
                [manager = manager, subscription = subscription, watch = watch, device = info.st_dev,
                 inode = info.st_ino, overflowsBefore = overflowsBefore] {
                    if (manager)
                        manager->d->registerWatch(subscription, watch, device, inode, overflowsBefore);
                },
                Qt::QueuedConnection);
        }
    };
    // Filled in place: a temporary would register on its destruction.
    const auto added = std::make_shared<Added>();
    added->manager = manager;
    added->subscription = s->self;
    added->fd = d->inotifyFd;
    added->path = s->path;
    added->overflowsBefore = d->overflows;
    return [added] {
        if (added->watch < 0)
            added->watch = addWatch(added->fd, added->path, &added->info);
    };
}

// On the main thread, after another thread added a watch (or failed to, watch < 0).
void UWFileManagerPrivate::registerWatch(const std::weak_ptr<UWFileSubscription> &subscription, int watch,
                                         dev_t device, ino_t inode, quint64 overflowsBefore)
{
    --watchesOnTheirWay;
    const std::shared_ptr<UWFileSubscription> alive = subscription.lock();
    if (watch >= 0) {
        if (alive && alive->d->watch < 0) {
            registerAttached(alive.get(), watch, device, inode);
            // Events lost after the watch began cannot be told apart from the others.
            if (overflows != overflowsBefore)
                alive->d->stale = true;
        } else if (!byWatch.contains(watch) && inotifyFd >= 0) {
            // Nobody wants it (the subscription went, or was watched on the main thread
            // meanwhile under another number): the kernel keeps one watch per folder, and
            // one that is shared is in byWatch.
            if (::inotify_rm_watch(inotifyFd, watch) == 0)
                removedWatches.insert(watch);
        }
    }
    schedulePump();
}

bool UWFileManagerPrivate::adopt(UWFileSubscription *subscription, QList<UWStandardFileRef> files,
                                 QHash<QByteArray, UWStandardFileRef> byName)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->loaded)
        return false;
    const bool watchedBefore = s->watch >= 0;
    s->files = std::move(files);
    // Indexing a big folder's names costs the main thread more than a frame: a caller that
    // listed elsewhere made the index there.
    if (byName.isEmpty() && !s->files.isEmpty())
        s->reindex();
    else
        s->byName = std::move(byName);
    s->loaded = true;
    QSet<QByteArray> touched = std::exchange(s->touched, {});
    const bool stale = std::exchange(s->stale, false) || (!watchedBefore && inotifyFd >= 0);
    // Both go before whatever is still waiting in the queue: the events that touched the names
    // (or were lost) came first.
    UWHeardStep step;
    step.heardAt = clock;
    step.subscription = s->self;
    if (stale) {
        // Only the folder itself can say what the lost events did.
        qCDebug(lcCompanion).noquote() << "listing again after lost events:" << QFile::decodeName(s->path);
        step.kind = UWHeardStep::Relist;
    } else if (!touched.isEmpty()) {
        // The listing may have seen each touched entry before or after its change: its item is
        // compared with what is there now, which is what the events led to.
        step.kind = UWHeardStep::CatchUp;
        step.names = std::move(touched);
    } else {
        attach(subscription);
        return true;
    }
    attach(subscription);
    steps.push_front(std::move(step));
    if (!pumping)
        pump(true);
    return true;
}

// Events for a folder watched but not loaded yet: its listing is being made elsewhere, and
// what these events did is looked up when it is adopted.
void UWFileManagerPrivate::noteBeforeLoad(UWFileSubscription *subscription, const UWHeardStep &event)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (event.mask & IN_IGNORED) {
        byWatch.remove(event.watch);
        s->watch = -1;
        s->stale = true;
    } else if (event.name.isEmpty()) {
        if ((event.mask & IN_DELETE_SELF) || ((event.mask & IN_MOVE_SELF) && !s->stillAtPath())) {
            detach(subscription);
            s->stale = true;
        }
    } else {
        s->touched.insert(event.name);
    }
}

// A listing on the calling thread, for the callers that ask for one at once.
void UWFileManagerPrivate::relistNow(UWFileSubscription *subscription, UWFolderBatch &batch)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    attach(subscription); // a folder that has come to the path since the last watch went
    QString error;
    const QList<UWFolderListing::Entry> entries = UWFolderListing::list(s->path, &error);
    s->listedAt = clock;
    applyListing(subscription, entries, error, batch);
}

RelistPlan UWFileManagerPrivate::planRelisting(const QByteArray &folder, const QList<UWStandardFileRef> &files,
                                               const QList<UWFolderListing::Entry> &entries)
{
    RelistPlan plan;
    plan.basis = files;
    QHash<QByteArray, UWStandardFileRef> previous;
    QHash<ino_t, UWStandardFileRef> previousByInode;
    previous.reserve(files.size());
    previousByInode.reserve(files.size());
    for (const UWStandardFileRef &file : files) {
        previous.insert(file->nativeFileName(), file);
        previousByInode.insert(file->statInfo().inode, file);
    }
    QSet<QByteArray> listedNames;
    listedNames.reserve(entries.size());
    for (const UWFolderListing::Entry &entry : entries)
        listedNames.insert(entry.name);

    QSet<const UWStandardFile *> kept;
    plan.matches.reserve(size_t(entries.size()));
    for (const UWFolderListing::Entry &entry : entries) {
        const UWStatInfo fresh = entry.file->statInfo();
        if (const UWStandardFileRef old = previous.value(entry.name)) {
            RelistPlan::Match match{old, eventForStatus(old->statInfo(), fresh, !old->exists()), false, {}};
            // A file written anew may have changed kind: found here, not where it is told.
            if (match.event == UWFileEvent::ContentChanged || match.event == UWFileEvent::CreatedOrReplaced)
                match.type = UWFileFactory::typeOf(childPathOf(folder, entry.name), fresh);
            plan.matches.push_back(std::move(match));
            kept.insert(old.get());
            continue;
        }
        // A rename keeps the inode and the file's times; a new file may get a freed inode
        // back at once, but never the old file's birth and modification times.
        const UWStandardFileRef moved = previousByInode.value(fresh.inode);
        const bool sameFile = moved && moved->statInfo().modifiedNSecs == fresh.modifiedNSecs
            && moved->statInfo().bornNSecs == fresh.bornNSecs;
        if (sameFile && !kept.contains(moved.get()) && !listedNames.contains(moved->nativeFileName())) {
            plan.matches.push_back({moved, 0, true, {}});
            kept.insert(moved.get());
        } else {
            plan.matches.push_back({});
        }
    }
    for (const UWStandardFileRef &old : files) {
        if (!kept.contains(old.get()))
            plan.gone.append(old);
    }
    return plan;
}

void UWFileManagerPrivate::applyListing(UWFileSubscription *subscription, const QList<UWFolderListing::Entry> &entries,
                                        const QString &error, UWFolderBatch &batch, const RelistPlan *made)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    ChangeRecorder &changes = batch.of(subscription);
    s->compact();
    if (!error.isEmpty())
        qCInfo(lcCompanion).noquote() << "cannot list" << QFile::decodeName(s->path) << "-" << error;

    // The worker's plan holds while the items it was made from are the ones held: any change
    // to the list since would have detached it from the plan's copy.
    std::optional<RelistPlan> here;
    const RelistPlan *plan = made;
    if (!plan || plan->basis.constData() != s->files.constData() || plan->basis.size() != s->files.size()
        || plan->matches.size() != size_t(entries.size())) {
        here = planRelisting(s->path, s->files, entries);
        plan = &*here;
    }
    QList<UWStandardFileRef> now;
    now.reserve(entries.size());
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const UWFolderListing::Entry &entry = entries.at(i);
        const RelistPlan::Match &match = plan->matches[size_t(i)];
        if (!match.item) {
            changes.note(entry.file, ChangeRecorder::Added);
            now.append(entry.file);
            continue;
        }
        if (match.renamed || match.event) {
            // What an item told here reads of its file is what the listing read.
            const UWKnownStatus known(s->childPath(entry.name), true, entry.file->statInfo(), match.type);
            if (match.renamed)
                changes.tell(match.item, s->renamedTo(entry.name), ChangeRecorder::Renamed);
            else
                changes.tell(match.item, {match.event, {}}, ChangeRecorder::Changed);
        }
        now.append(match.item);
    }
    for (const UWStandardFileRef &old : plan->gone)
        changes.tell(old, {UWFileEvent::Removed, {}}, ChangeRecorder::Removed);
    s->files = std::move(now);
    s->reindex();
}

void UWFileManagerPrivate::report(UWFolderBatch &batch)
{
    for (UWFolderBatch::Folder &folder : batch.folders()) {
        UWFileSubscription *subscription = folder.guard.get();
        if (!subscription)
            continue;
        subscription->d->compact();
        const UWFolderChanges changes = folder.changes.take(subscription->d->folder, subscription->d->path);
        if (changes.isEmpty())
            continue;
        const QString path = QFile::decodeName(changes.nativePath);
        Q_EMIT subscription->filesChanged(changes);
        Q_EMIT q->directoryChanged(path, changes);
    }
}

void UWFileManagerPrivate::forget(UWFileSubscription *subscription)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    detach(subscription);
    const auto it = byPath.constFind(s->path);
    if (it != byPath.cend() && it->expired())
        byPath.erase(it);
}

// What was read waits for a pump already queued: the kernel's notice and that pump come in
// the same turn of the event loop, and each applying a turn's worth of steps there would make
// the turn twice as long.
void UWFileManagerPrivate::readEvents()
{
    hear();
    if (!pumpQueued)
        pump(true);
}

// Reads what the kernel has to say into the queue of steps; nothing is applied here.
void UWFileManagerPrivate::hear()
{
    if (inotifyFd < 0)
        return;
    bool overflow = false;
    bool drained = false;
    alignas(inotify_event) char buffer[readSize];
    for (int reads = 0; reads < readsPerBatch; ++reads) {
        const ssize_t length = ::read(inotifyFd, buffer, sizeof buffer);
        if (length <= 0) {
            drained = true;
            break;
        }
        for (ssize_t at = 0; at < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                overflow = true;
                continue;
            }
            UWHeardStep step;
            step.heardAt = ++clock;
            step.watch = event->wd;
            step.mask = event->mask;
            step.cookie = event->cookie;
            if (event->len > 0)
                step.name = QByteArray(event->name);
            if ((step.mask & (IN_DELETE | IN_MOVED_FROM)) && !step.name.isEmpty())
                lastGone.insert({step.watch, step.name}, step.heardAt);
            steps.push_back(std::move(step));
        }
    }
    if (overflow) {
        UWHeardStep step;
        step.kind = UWHeardStep::Overflow;
        step.heardAt = ++clock;
        steps.push_back(std::move(step));
    } else if (drained && (steps.empty() || steps.back().kind != UWHeardStep::Drained)) {
        UWHeardStep step;
        step.kind = UWHeardStep::Drained;
        step.heardAt = clock;
        steps.push_back(std::move(step));
    }
}

// Applies the steps in order until one needs an answer not in yet, reporting what they did.
// Steps just heard first wait until everything they are likely to need is in, so that what
// one read brought is reported as one batch; once answers are in, the steps are applied as
// far as they can be, so that a program that never stops making files cannot starve them.
void UWFileManagerPrivate::pump(bool gatherFirst)
{
    if (pumping || asking)
        return;
    if (gatherFirst && ask())
        return;
    pumping = true;
    QElapsedTimer turn;
    turn.start();
    UWFolderBatch batch;
    bool waits = false;
    int applied = 0;
    for (; applied < stepBudget && !steps.empty(); ++applied) {
        if (!applyStep(steps.front(), batch)) {
            waits = true;
            break;
        }
        steps.pop_front();
    }
    // Relisted after the events applied with them: whatever the events said, the listing is
    // what is on disk then. In reverse, so that the folders are listed in the order touched.
    bool relists = false;
    for (auto it = batch.folders().rbegin(); it != batch.folders().rend(); ++it) {
        UWFileSubscription *subscription = it->guard.get();
        if (!it->relist || !subscription)
            continue;
        if (!subscription->d->loaded) {
            subscription->d->stale = true; // its adoption lists it again
            continue;
        }
        UWHeardStep step;
        step.kind = UWHeardStep::Relist;
        step.heardAt = clock;
        step.subscription = it->guard;
        steps.push_front(std::move(step));
        relists = true;
    }
    report(batch);
    pumping = false;
    adaptStepBudget(applied, turn.nsecsElapsed());
    if (waits && !relists && ask())
        return;
    const bool waitsForWatch = waits && !asking && watchesOnTheirWay > 0 && steps.front().kind == UWHeardStep::Event
        && !byWatch.contains(steps.front().watch);
    if (!steps.empty() && !waitsForWatch)
        schedulePump();
    else if (!asking) {
        // Nothing waits for them: the items found go with the last reference elsewhere.
        lookups.clear();
        listings.clear();
        lastGone.clear();
    }
}

// A turn over budget shrinks the next one in proportion; a full turn under it lets the next
// grow towards what the budget would hold at that rate, by half at most: what a step costs
// varies with the steps (a new name costs its listeners more than a write), and a doubling
// after a cheap turn made the next one twice as long as the frame. A turn of a few steps says
// little about what one costs.
void UWFileManagerPrivate::adaptStepBudget(int applied, qint64 elapsedNs)
{
    if (applied < fewestStepsPerTurn)
        return;
    const int atThisRate = int(std::min<qint64>(stepsPerTurn, applied * turnBudgetNs / std::max<qint64>(elapsedNs, 1)));
    if (elapsedNs > turnBudgetNs)
        stepBudget = std::max(fewestStepsPerTurn, atThisRate);
    else if (applied == stepBudget)
        stepBudget = std::max(stepBudget, std::min(atThisRate, stepBudget + stepBudget / 2));
}

void UWFileManagerPrivate::schedulePump(bool gatherFirst)
{
    // Not asking first wins: a pump after answers must not ask a second time.
    queuedPumpGathers = pumpQueued ? queuedPumpGathers && gatherFirst : gatherFirst;
    if (pumpQueued)
        return;
    pumpQueued = true;
    QMetaObject::invokeMethod(
        q,
        [this] {
            pumpQueued = false;
            pump(std::exchange(queuedPumpGathers, true));
        },
        Qt::QueuedConnection);
}

// Asks a worker for what the first step waits for and, while it is at it, for what the steps
// after it are likely to wait for: one round trip for everything heard so far. False when
// nothing needs asking.
bool UWFileManagerPrivate::ask()
{
    if (asking || steps.empty())
        return asking;
    QSet<QByteArray> paths;     // whose status an item told takes
    QSet<QByteArray> newcomers; // that may need a new item
    QHash<QByteArray, QList<UWStandardFileRef>> folders; // with the items each holds now
    bool first = true;
    int ahead = 0;
    for (const UWHeardStep &step : steps) {
        if (++ahead > stepsAskedAhead)
            break;
        switch (step.kind) {
        case UWHeardStep::Event:
            // The steps after the first are not applied yet: whether their names will be
            // listed is a guess, on the side of asking.
            for (UWFileSubscription *subscription : byWatch.value(step.watch)) {
                if (needsLookup(subscription, step, !first))
                    (step.mask & (IN_CREATE | IN_MOVED_TO) ? newcomers : paths).insert(subscription->d->childPath(step.name));
            }
            break;
        case UWHeardStep::CatchUp:
            if (const std::shared_ptr<UWFileSubscription> subscription = step.subscription.lock()) {
                for (const QByteArray &name : step.names) {
                    const QByteArray path = subscription->d->childPath(name);
                    if (!answered(path, step.heardAt))
                        newcomers.insert(path);
                }
            }
            break;
        case UWHeardStep::Relist:
            if (const std::shared_ptr<UWFileSubscription> subscription = step.subscription.lock()) {
                UWFileSubscriptionPrivate *s = subscription->d.get();
                const auto listed = listings.constFind(s->path);
                if (s->listedAt < step.heardAt && (listed == listings.cend() || listed->askedAt < step.heardAt)) {
                    // Watched before it is listed, so that nothing after the listing is lost.
                    attach(subscription.get());
                    folders.insert(s->path, s->files);
                }
            }
            break;
        case UWHeardStep::Overflow:
        case UWHeardStep::Drained:
            break;
        }
        first = false;
    }
    paths -= newcomers;
    if (paths.isEmpty() && newcomers.isEmpty() && folders.isEmpty())
        return false;
    asking = true;
    const quint64 askedAt = clock;
    askedUpTo = askedAt;
    pool.start([this, paths, newcomers, folders = std::move(folders), askedAt] {
        QHash<QByteArray, Lookup> found;
        found.reserve(paths.size() + newcomers.size());
        for (const QSet<QByteArray> *set : {&newcomers, &paths}) {
            for (const QByteArray &path : *set) {
                Lookup lookup;
                lookup.askedAt = askedAt;
                lookup.present = lookup.stat.read(path.constData());
                if (lookup.present && set == &newcomers) {
                    lookup.file = UWFileFactory::make(QUrl(), path, &lookup.stat);
                    // What a view reads first of a new entry, which may read the folder's
                    // ".hidden" file and the file's first bytes: here, not on the GUI thread.
                    if (lookup.file) {
                        lookup.file->isInvisible();
                        lookup.file->kindString();
                    }
                } else if (lookup.present) {
                    // A file written anew may have changed kind; the item told of it takes
                    // this instead of reading the file on the GUI thread.
                    lookup.type = UWFileFactory::typeOf(path, lookup.stat);
                }
                found.insert(path, std::move(lookup));
            }
        }
        QHash<QByteArray, Listing> listed;
        for (auto folder = folders.cbegin(); folder != folders.cend(); ++folder) {
            Listing listing;
            listing.askedAt = askedAt;
            listing.entries = UWFolderListing::list(folder.key(), &listing.error);
            listing.plan = std::make_shared<const RelistPlan>(planRelisting(folder.key(), folder.value(), listing.entries));
            listed.insert(folder.key(), std::move(listing));
        }
        QMetaObject::invokeMethod(
            q, [this, found, listed] { answersArrived(found, listed); }, Qt::QueuedConnection);
    });
    return true;
}

void UWFileManagerPrivate::answersArrived(const QHash<QByteArray, Lookup> &found, const QHash<QByteArray, Listing> &listed)
{
    asking = false;
    lookups.insert(found);
    listings.insert(listed);
    // What was heard while the worker asked goes after the steps that waited, so that it wins
    // over an answer it made stale. It is asked about before anything is applied, once: a
    // write that was under way is then reported as it ended rather than in halves, and a
    // program that never stops writing is not waited for a second time.
    hear();
    if (clock > askedUpTo && !askedAgain) {
        askedAgain = true;
        if (ask())
            return;
    }
    askedAgain = false;
    schedulePump(false);
}

// Applies \a step; false, leaving everything as it was, when it needs an answer not in yet.
bool UWFileManagerPrivate::applyStep(const UWHeardStep &step, UWFolderBatch &batch)
{
    switch (step.kind) {
    case UWHeardStep::Event: {
        if (!byWatch.contains(step.watch)) {
            if (removedWatches.contains(step.watch)) {
                if (step.mask & IN_IGNORED)
                    removedWatches.remove(step.watch);
                return true;
            }
            if (watchesOnTheirWay > 0)
                return false; // maybe a watch another thread added; its registration pumps again
        }
        // A copy: telling items may make or drop subscriptions of this very watch.
        const QList<UWFileSubscription *> sharing = byWatch.value(step.watch);
        for (UWFileSubscription *subscription : sharing) {
            if (needsLookup(subscription, step))
                return false;
        }
        for (UWFileSubscription *subscription : sharing)
            apply(subscription, step, batch);
        return true;
    }
    case UWHeardStep::Overflow:
        // Only a fresh listing tells what happened, and it finds renames by their inodes; the
        // halves of moves still waiting may never come.
        ++overflows;
        movedAway.clear();
        for (const QList<UWFileSubscription *> &sharing : std::as_const(byWatch)) {
            for (UWFileSubscription *subscription : sharing)
                batch.relistLater(subscription);
        }
        return true;
    case UWHeardStep::Drained:
        // A move whose other half never came left the watched folders.
        for (const Pending &away : std::as_const(movedAway)) {
            const std::shared_ptr<UWFileSubscription> subscription = away.subscription.lock();
            if (!subscription)
                continue;
            UWFileSubscriptionPrivate *s = subscription->d.get();
            if (const UWStandardFileRef file = s->find(away.name)) {
                s->remove(file, away.name);
                batch.of(subscription.get()).tell(file, {UWFileEvent::Removed, {}}, ChangeRecorder::Removed);
            }
        }
        movedAway.clear();
        return true;
    case UWHeardStep::CatchUp:
        return catchUp(step, batch);
    case UWHeardStep::Relist:
        return relistFromAnswer(step, batch);
    }
    return true;
}

bool UWFileManagerPrivate::catchUp(const UWHeardStep &step, UWFolderBatch &batch)
{
    const std::shared_ptr<UWFileSubscription> subscription = step.subscription.lock();
    if (!subscription)
        return true;
    UWFileSubscriptionPrivate *s = subscription->d.get();
    for (const QByteArray &name : step.names) {
        if (!answered(s->childPath(name), step.heardAt))
            return false;
    }
    ChangeRecorder &changes = batch.of(subscription.get());
    for (const QByteArray &name : step.names) {
        const QByteArray path = s->childPath(name);
        const Lookup found = lookups.value(path);
        const UWStandardFileRef existing = s->find(name);
        if (!found.present) {
            if (existing) {
                s->remove(existing, name);
                changes.tell(existing, {UWFileEvent::Removed, {}}, ChangeRecorder::Removed);
            }
        } else if (!existing) {
            if (const UWStandardFileRef file = itemFrom(found, path)) {
                s->append(file);
                changes.note(file, ChangeRecorder::Added);
            }
        } else {
            const UWStatInfo was = existing->statInfo();
            if (const int type = eventForStatus(was, found.stat, found.stat.device != was.device)) {
                const UWKnownStatus known(path, true, found.stat, found.type);
                changes.tell(existing, {type, {}}, ChangeRecorder::Changed);
            }
        }
    }
    return true;
}

bool UWFileManagerPrivate::relistFromAnswer(const UWHeardStep &step, UWFolderBatch &batch)
{
    const std::shared_ptr<UWFileSubscription> subscription = step.subscription.lock();
    if (!subscription)
        return true;
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (s->listedAt >= step.heardAt)
        return true; // listed at once since (loadImmediately(), changeHappenedInDirectory())
    const auto listed = listings.constFind(s->path);
    if (listed == listings.cend() || listed->askedAt < step.heardAt)
        return false;
    s->listedAt = listed->askedAt;
    applyListing(subscription.get(), listed->entries, listed->error, batch, listed->plan.get());
    return true;
}

// Whether \a event needs a worker's answer for \a subscription that is not in yet: the status
// of the name it created, moved in or changed, which its item (new, renamed or told) takes.
// A name that a later event deletes needs none: it is known to be gone. With \a guess, for a
// step whose turn has not come, a name changed is taken to be listed by then.
bool UWFileManagerPrivate::needsLookup(UWFileSubscription *subscription, const UWHeardStep &event, bool guess)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (!s->loaded || event.name.isEmpty() || goneLater(event))
        return false;
    if (event.mask & (IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB)) {
        if (!guess && !s->find(event.name))
            return false;
    } else if (!(event.mask & (IN_CREATE | IN_MOVED_TO))) {
        return false;
    }
    return !answered(s->childPath(event.name), event.heardAt);
}

void UWFileManagerPrivate::apply(UWFileSubscription *subscription, const UWHeardStep &event, UWFolderBatch &batch)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    if (!s->loaded) {
        noteBeforeLoad(subscription, event);
        return;
    }
    if (event.mask & IN_IGNORED) {
        // The watch is gone (the folder was deleted, or its file system unmounted).
        byWatch.remove(event.watch);
        s->watch = -1;
        batch.relistLater(subscription);
        return;
    }
    if (event.name.isEmpty()) {
        // The folder itself; its own item hears of it from its parent. Gone from the path,
        // it takes its listing along; the path may be another folder's now.
        if ((event.mask & IN_DELETE_SELF) || ((event.mask & IN_MOVE_SELF) && !s->stillAtPath())) {
            detach(subscription);
            batch.relistLater(subscription);
        }
        return;
    }
    const QByteArray &name = event.name;
    if (event.mask & IN_MOVED_FROM) {
        movedAway.insert(event.cookie, {s->self, name});
        return;
    }
    ChangeRecorder &changes = batch.of(subscription);
    // The item told takes the status the worker found, not one asked for here.
    std::optional<UWKnownStatus> known;
    const QByteArray path = s->childPath(name);
    if (goneLater(event)) {
        known.emplace(path, false, UWStatInfo{});
    } else if (const auto found = lookups.constFind(path); found != lookups.cend() && found->askedAt >= event.heardAt) {
        known.emplace(path, found->present, found->stat, found->type);
    }
    if (event.mask & IN_MOVED_TO) {
        moveArrived(subscription, event, batch);
        return;
    }
    const UWStandardFileRef existing = s->find(name);
    if (event.mask & IN_CREATE) {
        if (existing) {
            changes.tell(existing, {UWFileEvent::CreatedOrReplaced, {}}, ChangeRecorder::Changed);
        } else if (const UWStandardFileRef file = arrival(s, event)) {
            s->append(file);
            changes.note(file, ChangeRecorder::Added);
        }
    } else if (event.mask & IN_DELETE) {
        if (existing) {
            s->remove(existing, name);
            changes.tell(existing, {UWFileEvent::Removed, {}}, ChangeRecorder::Removed);
        }
    } else if (event.mask & (IN_MODIFY | IN_CLOSE_WRITE)) {
        if (existing)
            changes.tell(existing, {UWFileEvent::ContentChanged, {}}, ChangeRecorder::Changed);
    } else if (event.mask & IN_ATTRIB) {
        if (existing)
            changes.tell(existing, {UWFileEvent::AttributesChanged, {}}, ChangeRecorder::Changed);
    }
}

// The first half heard by this same subscription wins (a folder watched under two paths
// hears both halves twice); otherwise the one whose folder lists the name.
QMultiHash<uint32_t, UWFileManagerPrivate::Pending>::iterator UWFileManagerPrivate::moveSource(UWFileSubscription *subscription,
                                                                                                uint32_t cookie)
{
    auto from = movedAway.end();
    for (auto it = movedAway.find(cookie); it != movedAway.end() && it.key() == cookie; ++it) {
        if (it->subscription.lock().get() == subscription)
            return it;
        if (from == movedAway.end())
            from = it;
    }
    return from;
}

void UWFileManagerPrivate::moveArrived(UWFileSubscription *subscription, const UWHeardStep &event, UWFolderBatch &batch)
{
    UWFileSubscriptionPrivate *s = subscription->d.get();
    const QByteArray &name = event.name;
    ChangeRecorder &changes = batch.of(subscription);
    const UWStandardFileRef existing = s->find(name);
    if (const auto from = moveSource(subscription, event.cookie); from != movedAway.end()) {
        const std::shared_ptr<UWFileSubscription> source = from->subscription.lock();
        const QByteArray oldName = from->name;
        movedAway.erase(from);
        const UWStandardFileRef moved = source ? source->d->find(oldName) : nullptr;
        if (moved && moved == existing) {
            return; // renamed onto itself (a hard link's other name): nothing moved
        } else if (moved) {
            ChangeRecorder &sourceChanges = batch.of(source.get());
            source->d->remove(moved, oldName);
            if (existing) {
                // Saving by writing a copy and renaming it over the original: the item
                // people look at is the original, now replaced.
                sourceChanges.tell(moved, {UWFileEvent::Removed, {}}, ChangeRecorder::Removed);
                changes.tell(existing, {UWFileEvent::CreatedOrReplaced, {}}, ChangeRecorder::Changed);
            } else if (source.get() == subscription) {
                changes.tell(moved, s->renamedTo(name), ChangeRecorder::Renamed);
                s->leaving.remove(moved.get()); // renamed in place: it keeps its row
                s->byName.insert(name, moved);
            } else {
                sourceChanges.note(moved, ChangeRecorder::Removed);
                changes.tell(moved, s->renamedTo(name), ChangeRecorder::Added);
                s->append(moved);
            }
            return;
        }
    }
    if (existing) {
        changes.tell(existing, {UWFileEvent::CreatedOrReplaced, {}}, ChangeRecorder::Changed);
    } else if (const UWStandardFileRef file = arrival(s, event)) {
        s->append(file);
        changes.note(file, ChangeRecorder::Added);
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
    subscription->d->self = subscription;
    d->byPath.insert(target->nativePath(), subscription);
    return subscription;
}

void UWFileManager::changeHappenedInDirectory(const UWStandardFileRef &folder)
{
    if (!folder || folder->isPlaceholder())
        return;
    const QByteArray path = folder->resolvedFileItem()->nativePath();
    if (std::shared_ptr<UWFileSubscription> subscription = d->byPath.value(path).lock();
        subscription && subscription->isLoaded()) {
        UWFolderBatch batch;
        d->relistNow(subscription.get(), batch);
        d->report(batch);
    }
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
