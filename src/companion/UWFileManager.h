// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQTypeRegistry.h"
#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QHash>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

class QThreadPool;
class UWFileManagerPrivate;
class UWFileSubscriptionPrivate;
class UWFolderBatch;

/*!
    \class UWFolderChanges
    \brief What one batch of file-system changes did to a subscribed folder's listing.

    Each item stands in at most one of \c added and \c removed, and then in neither
    \c renamed nor \c changed; \c renamed and \c changed may both hold an item. An item that
    came and went within the batch is in none. Lists are in the order the changes were heard.
    The items hold their new values already (their caches were emptied and their keys
    announced before the signal).

    A plain value, copied across threads like any; the items it lists are shared with the
    file manager's listing.

    \ingroup companion
*/
struct TQKIT_EXPORT UWFolderChanges
{
    UWStandardFileRef folder; //!< the subscribed folder's item
    QByteArray nativePath;    //!< the listed folder's resolved path, in the file system's bytes
    //! New in the listing: created, or moved in from another folder (then the same item as
    //! before, under its new path).
    QList<UWStandardFileRef> added;
    //! Gone from the listing: deleted, or moved out of the folder.
    QList<UWStandardFileRef> removed;
    //! Still listed, under another name (renamed within the folder).
    QList<UWStandardFileRef> renamed;
    //! Still listed; written, given other attributes, or replaced by a new file of its name.
    QList<UWStandardFileRef> changed;
    /*!
        The keys each item announced while the batch changed it (did-change announcements, in
        their order, each once); items that announced nothing are absent. Keyed by the items
        of the lists above, which keep them alive.
    */
    QHash<const UWStandardFile *, QStringList> keys;

    //! True when the batch added, removed, renamed and changed nothing.
    bool isEmpty() const { return added.isEmpty() && removed.isEmpty() && renamed.isEmpty() && changed.isEmpty(); }
    //! The keys \a file announced in this batch.
    QStringList keysFor(const UWStandardFileRef &file) const { return keys.value(file.get()); }
};
Q_DECLARE_METATYPE(UWFolderChanges)

/*!
    \class UWFileSubscription
    \brief A folder's listing, kept up to date while anyone holds the subscription.

    Get one with UWFileManager::subscriptionForFile(). loadImmediately() lists the folder on
    the calling thread; from then on the file manager watches the folder (inotify) and keeps
    files() current: items that change get UWStandardFile::updateForEvent() with the event's
    type, new entries become new items, removed ones leave the list, and filesChanged() is
    emitted once per batch of changes, naming them. The main thread never waits for the folder:
    new names are looked up, and a folder whose events were lost is listed again, on the utility
    queue, and what the events did is applied once the answer is in, in the order they came.
    The subscription lives on the main thread; it stops watching when the last reference to it
    is dropped.

    The subscription stands for its path: when the folder there is deleted or moved away, its
    items leave the listing (they hear UWFileEvent::Removed) and a folder that takes the path
    later is listed on the next loadImmediately().

    \ingroup companion
*/
class TQKIT_EXPORT UWFileSubscription : public QObject
{
    Q_OBJECT

public:
    ~UWFileSubscription() override;

    //! The folder this subscription lists.
    UWStandardFileRef folder() const;
    /*!
        Lists the folder now, on the calling thread, and starts watching it. A second call
        lists again and reports the differences as events. An unreadable folder lists as
        empty (the reason is logged in "tqkit.companion").
    */
    void loadImmediately();
    /*!
        The folder's items as of the last reported change: in the order the folder listed
        them, a renamed item in its place, new ones at the end.
    */
    QList<UWStandardFileRef> files() const;
    //! True once loadImmediately() or adoptListing() has run.
    bool isLoaded() const;

    /*!
        Starts watching the folder without listing it, for a caller that lists the folder
        itself off the main thread and hands the result to adoptListing(): changes made after
        this call and before the adoption are remembered by name, not lost. Main thread. Does
        nothing for a loaded subscription.
    */
    void startWatching();
    /*!
        Takes \a files, the folder's items as listed (on any thread) after startWatching(),
        as the listing, without reading the folder again. The entries that changed since
        startWatching() are looked at once more (one stat each, on the utility queue) and their
        differences reported by filesChanged() once the answers are in, before anything heard
        later; a rename among them is reported as a removal and an addition. When the kernel
        dropped events, or the folder went from its path, meanwhile, the folder is listed again
        on the utility queue instead. Returns false, and keeps its own listing, when
        the subscription was loaded already (by loadImmediately() or an earlier adoption): the
        caller then takes files(). Main thread.
    */
    bool adoptListing(const QList<UWStandardFileRef> &files);

Q_SIGNALS:
    /*!
        The folder's entries or an entry's values changed; \a changes names them and is never
        empty. On the main thread, once per batch of events (or per relisting), after every
        item of the batch heard its event and files() shows the result, and before the
        manager's UWFileManager::directoryChanged() for the same batch. A receiver may drop
        its reference to the subscription here.
    */
    void filesChanged(const UWFolderChanges &changes = {});

private:
    friend class UWFileManager;
    friend class UWFileManagerPrivate;
    friend class UWFolderBatch;
    explicit UWFileSubscription(const UWStandardFileRef &folder);
    std::unique_ptr<UWFileSubscriptionPrivate> const d;
};

/*!
    \class UWFileManager
    \brief The one file manager of the process: folder subscriptions, file-system events,
    the item factory and the utility queue for background operations.

    \par Threads
    The manager lives on the main thread; subscriptionForFile() and changeHappenedInDirectory()
    are main-thread calls, and events reach items there. setFileFactory(), fileFactory(),
    setTypeDetection() and utilityQueue() may be called from any thread.

    \ingroup companion
*/
class TQKIT_EXPORT UWFileManager : public QObject
{
    Q_OBJECT

public:
    //! Makes one bare item of the program's item class; the storage layer initialises it.
    using FileFactory = std::function<UWStandardFileRef()>;

    /*!
        The manager, made on first use (on the main thread, after the application object);
        it goes with the application object, after which this answers nullptr. Made without
        an application object, it lists folders but cannot keep them live.
    */
    static UWFileManager *sharedFileManager();
    ~UWFileManager() override;

    /*!
        The subscription for the folder \a folder (a link to a folder subscribes to its
        target); the same object for as long as anyone holds it. nullptr for an item that is
        not a folder.
    */
    std::shared_ptr<UWFileSubscription> subscriptionForFile(const UWStandardFileRef &folder);

    /*!
        Tells the manager that the contents of \a folder changed (the library wrote a file
        there): a subscribed folder is listed again at once and its changes reported.
    */
    void changeHappenedInDirectory(const UWStandardFileRef &folder);

    //! The thread pool that runs background operations; owned by the manager.
    QThreadPool *utilityQueue() const;

    /*!
        Installs the factory that makes every item of the process, so that all items are of
        the program's own item class. An empty factory restores UWStandardFile.
    */
    static void setFileFactory(FileFactory factory);
    //! The factory setFileFactory() installed; empty for UWStandardFile.
    static FileFactory fileFactory();

    /*!
        How items recognise their type: by content and name (the default), or by name only,
        which never opens a file and suits huge folders.
    */
    static void setTypeDetection(TQTypeRegistry::Detection detection);
    //! How items recognise their type (see setTypeDetection()).
    static TQTypeRegistry::Detection typeDetection();

Q_SIGNALS:
    /*!
        A subscribed folder's listing changed: \a path is the folder's resolved path as text,
        \a changes what changed (as UWFileSubscription::filesChanged(), just emitted). Folders
        changed by one batch of events are reported in the order they were first touched.
    */
    void directoryChanged(const QString &path, const UWFolderChanges &changes = {});
    //! Placeholders found their files again after a volume was mounted.
    void placeholdersResolved(const QList<UWStandardFileRef> &files);

private:
    UWFileManager();
    friend class UWFileSubscription;
    friend class UWFileManagerPrivate;
    std::unique_ptr<UWFileManagerPrivate> const d;
};
