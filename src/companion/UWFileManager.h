#pragma once

#include "TQTypeRegistry.h"
#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QObject>

#include <functional>
#include <memory>

class QThreadPool;
class UWFileManagerPrivate;
class UWFileSubscriptionPrivate;

/*!
    \class UWFileSubscription
    \brief A folder's listing, kept up to date while anyone holds the subscription.

    Get one with UWFileManager::subscriptionForFile(). loadImmediately() lists the folder on
    the calling thread; from then on the file manager watches the folder (inotify) and keeps
    files() current: items that change get UWStandardFile::updateForEvent() with the event's
    type, new entries become new items, removed ones leave the list, and filesChanged() is
    emitted once per batch of changes. The subscription lives on the main thread; it stops
    watching when the last reference to it is dropped.
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
    //! The folder's items as of the last listing, in the order the folder returned them.
    QList<UWStandardFileRef> files() const;
    //! True once loadImmediately() has run.
    bool isLoaded() const;

Q_SIGNALS:
    //! The folder's entries or an entry's values changed.
    void filesChanged();

private:
    friend class UWFileManager;
    friend class UWFileManagerPrivate;
    explicit UWFileSubscription(const UWStandardFileRef &folder);
    std::unique_ptr<UWFileSubscriptionPrivate> const d;
};

/*!
    \class UWFileManager
    \brief The one file manager of the process: folder subscriptions, file-system events,
    the item factory and the utility queue for background operations.

    \section Threads
    The manager lives on the main thread; subscriptionForFile() and changeHappenedInDirectory()
    are main-thread calls, and events reach items there. setFileFactory(), fileFactory(),
    setTypeDetection() and utilityQueue() may be called from any thread.
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
    static FileFactory fileFactory();

    /*!
        How items recognise their type: by content and name (the default), or by name only,
        which never opens a file and suits huge folders.
    */
    static void setTypeDetection(TQTypeRegistry::Detection detection);
    static TQTypeRegistry::Detection typeDetection();

Q_SIGNALS:
    //! A subscribed folder's listing changed.
    void directoryChanged(const QString &path);
    //! Placeholders found their files again after a volume was mounted.
    void placeholdersResolved(const QList<UWStandardFileRef> &files);

private:
    UWFileManager();
    friend class UWFileSubscription;
    friend class UWFileManagerPrivate;
    std::unique_ptr<UWFileManagerPrivate> const d;
};
