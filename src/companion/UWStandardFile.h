// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file UWStandardFile.h
    \ingroup companion
    \brief UWStandardFile, the file item of the storage layer, its events and its observers.
*/

#include "TQKeyValueCoding.h"
#include "tqkit_export.h"

#include <QByteArray>
#include <QDateTime>
#include <QIcon>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class UWStandardFile;
class UWFileObserver;

//! The one way file items are held: shared, identity is the pointer.
using UWStandardFileRef = std::shared_ptr<UWStandardFile>;

//! Status information a folder listing already has; handed on unchanged to initWithURL().
struct UWStatInfo;

/*!
    \brief A change the file system reported for one item.

    \c type is one of the Type values. After types 1, 2 and 4 the item's content and
    attributes may have changed; after type 3 the item has a new path: \c newNativePath, the
    file system's own bytes, when it is set, else \c newPath. A plain value.

    \ingroup companion
*/
struct UWFileEvent
{
    //! The kinds of change.
    enum Type {
        ContentChanged = 1,    //!< the file was written
        AttributesChanged = 2, //!< mode, owner, times or extended attributes changed
        Renamed = 3,           //!< the entry was renamed or moved; \c newPath is where it is now
        CreatedOrReplaced = 4, //!< an entry of this name appeared, or replaced the one there
        Removed = 5,           //!< the entry is gone
    };
    //! A content change.
    UWFileEvent() = default;
    //! An event of \a type; \a newPath and \a newNativePath say where a renamed item is now.
    // Also what `{UWFileEvent::Renamed, path}` builds, as it did before the native path was added.
    UWFileEvent(int type, const QString &newPath = {}, const QByteArray &newNativePath = {})
        : type(type), newPath(newPath), newNativePath(newNativePath)
    {
    }

    int type = ContentChanged; //!< one of the Type values
    QString newPath;           //!< after Renamed: the new path as text
    QByteArray newNativePath; //!< wins over newPath: a name need not be valid UTF-8
};

/*!
    \class UWStandardFile
    \brief A file item: one file, folder or link as a file browser shows it.

    An item stands for a location (URL()) and answers what the browser shows of it: its name,
    type, kind text, icon, dates and flags. Each value is read from the file system on first
    request and cached in the item; updateForEvent() empties what a change made stale.

    Links are followed where the answer is about the content: resolvedURL(), resolvedUTI()
    and resolvedFileItem() describe the link's target (a chain of links is followed to its
    end; a loop or a dangling link resolves to the link itself), while uti() of a link is
    "public.symlink" and its dates are the link's own.

    \par Names that are not UTF-8
    A file name is a string of bytes, and not every one is valid UTF-8 (a name written on
    another system may hold a byte 0xFF). The item keeps the bytes (nativePath()) and reaches
    the file through them; URL() carries them percent-encoded (QUrl::toEncoded() keeps "%FF"),
    while path(), fileName() and displayName() are texts to show, with U+FFFD in place of what
    does not decode. Use nativePath() or nativePathForURL(), never path(), to reach the file.

    \par Placeholders
    An item made from an archive (archiveDictionary()) whose volume is not mounted is a
    \e placeholder: isPlaceholder() is true, it has no URL() and no path(), and it answers
    its display name and nothing else. When the volume is mounted again, the file manager
    finds the file, the item takes its location and placeholderStatusChanged() runs.

    \par Ownership
    Items are made by the class operations (newFileForURL(), newFileForPath(),
    newFileForArchive(), arrayOfFilesForPaths()) and by folder listings, always through the
    file manager's item factory (UWFileManager::setFileFactory()), so that every item of a
    program is of the program's item class. They are held as UWStandardFileRef; the caller
    owns what it is handed.

    \par Threads
    Every getter (and valueForKey(), cachedValueForKey(), resolveContentType()) may be called
    from any thread at any time, also while the main thread applies an event. The item holds
    one immutable record of what the file system said (location, status, placeholder state)
    with the values derived from it; a reset (updateForEvent(), a change of placeholder state,
    setFinderLabel(), currentURL()) publishes a new record, so a reader sees the values of the
    old record or of the new one, never a half-emptied mix. A value is computed outside any
    lock, on the thread that asks first; two threads may compute the same value, and the first
    to store it wins. fileIcon() alone belongs to the main thread, as QIcon does.

    Events, resets, observers and change announcements belong to the main thread.

    \par Keys
    One table in the implementation lists every key: the value valueForKey() answers, what
    cachedValueForKey() can answer without the file system, and which announcement names it,
    in which order (keysAnnouncedBy()). keys() and every announcement are read from it.

    \par Asking without reading
    A view that paints many rows asks cachedValueForKey() (or isValueCached()): it answers what
    is at hand (the status record's facts, and values computed before) and nothing for what
    would need the file system, so that the view draws a placeholder and queues the work, for
    example resolveContentType() on a worker thread. fileIcon() never reads the file: until the
    content type is known it draws from the type the name gives; when the content type turns
    out different, "uti", "resolvedUTI", "kindString" and "fileIcon" are announced on the main
    thread (queued from whichever thread resolved it).

    \par Cost
    Making an item for a path does one statx; a listing hands its own statx on. uti(),
    resolvedUTI() and kindString() may read the start of the file to recognise its content
    (see UWFileManager::setTypeDetection()); isInvisible() reads the folder's ".hidden" file;
    finderLabel() reads extended attributes; the other values are cheap. Each getter takes one
    short uncontended lock.

    \ingroup companion
*/
class TQKIT_EXPORT UWStandardFile : public std::enable_shared_from_this<UWStandardFile>,
                                    public TQKeyValueCoding
{
public:
    /*!
        A new item for the local file \a url, or nullptr when \a url is not a local file URL.
        The file need not exist: an item for a missing path answers its name and no type.
    */
    static UWStandardFileRef newFileForURL(const QUrl &url);
    //! A new item for the local path \a path (made absolute and cleaned), or nullptr when empty.
    static UWStandardFileRef newFileForPath(const QString &path);
    //! newFileForPath() for a path in the file system's own bytes, which need not be UTF-8.
    static UWStandardFileRef newFileForNativePath(const QByteArray &nativePath);
    //! The file URL for \a nativePath, its bytes percent-encoded; empty for a relative path.
    static QUrl URLForNativePath(const QByteArray &nativePath);
    //! The path bytes of the local file \a url (the inverse of URLForNativePath()); empty when
    //! \a url is not a local file URL. Unlike QUrl::toLocalFile(), keeps bytes that are not UTF-8.
    static QByteArray nativePathForURL(const QUrl &url);
    /*!
        The item an archive (archiveDictionary()) describes, found again: at its old path if
        that still holds the file; else at the same place on its volume's current mount point;
        else, when the volume is not mounted and \a allowPlaceholders is true, a placeholder.
        Otherwise nullptr, with the reason in \a error when given.
    */
    static UWStandardFileRef newFileForArchive(const QVariantMap &archive, bool allowPlaceholders,
                                               QString *error = nullptr);
    //! newFileForArchive() with placeholders allowed.
    static UWStandardFileRef newFileForArchive(const QVariantMap &archive);
    /*!
        Items for \a paths, in order. A path that does not exist gives a placeholder named
        after it when \a allowPlaceholders is true, and is left out otherwise.
    */
    static QList<UWStandardFileRef> arrayOfFilesForPaths(const QStringList &paths, bool allowPlaceholders);

    ~UWStandardFile() override;
    UWStandardFile(const UWStandardFile &) = delete;
    UWStandardFile &operator=(const UWStandardFile &) = delete;

    //! The item's location; empty for a placeholder and for a file that was lost (currentURL()).
    QUrl URL() const;
    //! The item's local path as text (see "Names that are not UTF-8"); empty when URL() is.
    QString path() const;
    //! The item's path in the file system's own bytes; empty when URL() is.
    QByteArray nativePath() const;
    /*!
        Checks that the item is still where it was; if the file moved on its volume or the
        volume is mounted elsewhere, the item takes the new location (announcing "URL",
        "path" and "displayName"). A placeholder whose file is reachable again stops being one.
        Returns the (new) URL. When the file cannot be found, the item is left without a
        location (announcing "URL" and "path"): URL() and path() are empty from then on, it
        keeps its name, and a later call finds the file again if an entry reappears at the
        old path. Returns an empty URL then.
    */
    QUrl currentURL();
    //! The location after following links; the item's own URL when it is not a link.
    QUrl resolvedURL() const;
    //! The item a link leads to; this item itself when it is not a link (or leads nowhere).
    UWStandardFileRef resolvedFileItem() const;
    //! The folder that holds the item; nullptr for "/" and for placeholders.
    UWStandardFileRef parentItem() const;

    /*!
        A record that finds the file again later, after a move on its volume or after the
        volume was mounted elsewhere: a versioned map of the path, the volume's identity
        (file-system UUID where there is one), the path relative to the volume's mount point,
        the inode and the display name. Empty for an item whose file does not exist. Treat it
        as opaque; it round-trips through QSettings and QDataStream.
    */
    QVariantMap archiveDictionary() const;

    /*!
        The name shown to the user: the file name, except for an application's desktop entry,
        which shows the application's (translated) name. Reads the entry on first request.
    */
    QString displayName() const;
    //! The last path component ("/" for the root folder; the kept name for a placeholder).
    QString fileName() const;
    //! fileName() in the file system's own bytes, as a folder names the entry; empty for a placeholder.
    QByteArray nativeFileName() const;
    //! The item's own type identifier ("public.symlink" for a link, "public.folder" for a folder).
    QString uti() const;
    //! The type identifier of what the item resolves to.
    QString resolvedUTI() const;
    //! The localised description of the resolved type ("JPEG image", "folder").
    QString kindString() const;
    /*!
        The icon-theme icon of the resolved type, with generic fallbacks; null for a
        placeholder. Never reads the file (see "Asking without reading"): the type the name
        gives until the content type is known, and an application's own icon once its desktop
        entry was read (displayName()). Main thread only.
    */
    QIcon fileIcon() const;
    /*!
        Recognises the content type now (what resolvedUTI() does on first request), so that a
        view need not do it while painting. Any thread; blocks for the read. When the type
        differs from the one fileIcon() drew from, the change is announced on the main thread.
    */
    void resolveContentType() const;

    //! True while the item stands for a file that is not available (see Placeholders).
    bool isPlaceholder() const;
    /*!
        True when both items stand for the same file: the same object, or two items with the
        same path, or two placeholders with the same archive. Identity is the pointer; this is
        equality, as records of items (bookmarks) compare them.
    */
    bool isEqual(const UWStandardFile &other) const;
    //! True for any directory (a link to a directory is not one; its target is).
    bool isDirectory() const;
    //! True for a plain folder; Linux has no packages, so this is isDirectory().
    bool isBasicDirectory() const;
    //! True for names starting with '.' and for names listed in the folder's ".hidden" file.
    bool isInvisible() const;
    //! False for a symbolic link, true for everything else that exists.
    bool isRealFile() const;
    //! True when the file exists (a dangling link exists).
    bool exists() const;
    /*!
        True when this process may read the resolved file. A file whose mode grants reading
        to nobody counts as unreadable even for the superuser, as a file browser shows it.
    */
    bool isReadable() const;
    //! True when this process may write the resolved file; the same rule for the superuser.
    bool isWritable() const;

    //! The entry's size in bytes as the file system gives it (a link's own); -1 when it does not exist.
    qint64 byteSize() const;

    //! The last change of the file's content; null when unknown.
    QDateTime modificationDate() const;
    /*!
        The file's birth time where the file system keeps one (statx); else the last status
        change, the nearest thing Linux has. Null when unknown.
    */
    QDateTime creationDate() const;
    //! The last access as the file system records it (often coarse: relatime).
    QDateTime accessDate() const;
    /*!
        When the entry arrived in its folder. Linux keeps no such date; the nearest is the
        last status change (a move into the folder sets it, but so do a write and a change
        of mode), which is what this answers. Also the value of the key "addedDate".
    */
    QDateTime dateAdded() const;

    /*!
        The item's Finder label, 0 (none) to 7, read from the file's extended attributes:
        the freedesktop "user.xdg.tags" list first (the first tag that names a label), else
        the colour bits of a Mac FinderInfo record kept by macOS, Samba or Netatalk.
    */
    int finderLabel() const;
    //! The name of finderLabel(), the user's own where one is set (UWFinderLabels::nameForLabel());
    //! empty for no label.
    QString finderLabelTitle() const;
    /*!
        Gives the file label \a label (0 for none) with UWFinderLabels::setLabelForNativePath()
        and announces "finderLabel" and "finderLabelTitle" (will, then did) around it, success
        or not, for the label is read again either way. False with the reason in \a error
        when the label was not set. Subclasses that derive keys from the label announce them
        around the base. Main thread, like every announcement; blocks on the file system.
    */
    virtual bool setFinderLabel(int label, QString *error = nullptr);

    /*!
        The value named \a key: one of keys() or "addedDate". Strings, booleans, numbers and
        dates come as QString, bool, int and QDateTime (UTC); a missing value is a null QVariant.
    */
    QVariant valueForKey(QStringView key) const override;
    void prefetchValueForKey(QStringView key, int step) const override;
    //! The dates as their milliseconds; other keys through valueForKey().
    SortNumber sortNumberForKey(QStringView key, qint64 *number) const override;
    /*!
        The value of \a key when it is at hand without touching the file system: a fact of the
        status record, or a value computed before and not reset since. Nothing when the value
        would have to be read or computed (the content type before it was recognised, the
        label before it was read; isReadable and isWritable, which ask the system each time),
        and for a key valueForKey() does not answer. Never blocks for I/O; any thread.
    */
    virtual std::optional<QVariant> cachedValueForKey(QStringView key) const;
    //! Whether cachedValueForKey() has an answer for \a key.
    bool isValueCached(QStringView key) const;
    //! The keys valueForKey() answers, in a stable order ("addedDate", an alias of
    //! "dateAdded" that sorting asks for, is answered but not listed).
    static QStringList keys();
    //! The few keys a one-line summary of an item shows (a table of files), in keys() order.
    static QStringList summaryKeys();

    /*!
        The announcements the item makes, each a list of keys announced will-change in order,
        then did-change in reverse order, around one change of the record.
    */
    enum class Announcement : quint16 {
        Moved = 0x01,               //!< a rename, or currentURL() found the file elsewhere
        Removed = 0x02,             //!< event type 5
        StatusRead = 0x04,          //!< types 1, 2 and 4 read the status again
        LabelChanged = 0x08,        //!< types 2 and 4, and setFinderLabel()
        TypesReset = 0x10,          //!< types 1 and 4
        PlaceholderChanged = 0x20,  //!< placeholderStatusChanged()
        Lost = 0x40,                //!< currentURL() lost the file, or found it again at its path
        ContentTypeResolved = 0x80, //!< the content type differs from the one fileIcon() drew from
    };
    //! The keys \a announcement names, in the order of their will-change announcements.
    static QStringList keysAnnouncedBy(Announcement announcement);

    /*!
        The file system reported \a event for this item. The base empties the caches the
        event made stale, reads the file's status again and announces the keys it changed;
        subclasses that cache more empty their own caches and call the base last.
        Called on the main thread by the file manager.
    */
    virtual void updateForEvent(const UWFileEvent &event);
    /*!
        The item became a placeholder or stopped being one. The base announces "isPlaceholder",
        "URL" and "path"; subclasses call it first, then empty their own caches.
    */
    virtual void placeholderStatusChanged();
    /*!
        Whether a generic setter announces \a key by itself. The base answers true for every
        key; a subclass that announces some keys by hand answers false for those.
    */
    static bool automaticallyNotifiesObserversForKey(QStringView key);

    //! Subscribes \a observer to this item's announcements. The observer must outlive the
    //! subscription or remove itself first. Main thread.
    void addObserver(UWFileObserver *observer);
    //! Ends \a observer's subscription. Main thread.
    void removeObserver(UWFileObserver *observer);

    //! Announces to the observers that \a key is about to change.
    void willChangeValueForKey(QStringView key);
    //! Announces to the observers that \a key has changed.
    void didChangeValueForKey(QStringView key);

protected:
    UWStandardFile();
    /*!
        Sets the item up for \a url, or for \a pathRep (the path's bytes) when that is given:
        \a url may then be empty, as the library's own listings leave it. \a statInfo (what a
        listing already knows) may be null and only spares a system call. Returns false when
        the item cannot stand for the location.
    */
    virtual bool initWithURL(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo);

private:
    friend class UWFileManagerPrivate;
    friend struct UWFileFactoryAccess;
    friend struct UWStandardFileKeys;
    void becomePlaceholder(const QString &displayName, const QVariantMap &archive);
    bool adoptPath(const QByteArray &nativePath);
    UWStatInfo statInfo() const;
    void announceIconChangeIfNeeded(const QString &contentType) const;

    struct Private;
    std::unique_ptr<Private> d;
};

/*!
    \class UWFileObserver
    \brief Receives a file item's will/did change announcements, in the order they are made.

    Called on the main thread, where announcements are made; the item does not own its
    observers (see UWStandardFile::addObserver()).

    \ingroup companion
*/
class TQKIT_EXPORT UWFileObserver
{
public:
    virtual ~UWFileObserver();
    //! \a key of \a file is about to change.
    virtual void fileWillChangeValueForKey(UWStandardFile *file, QStringView key) = 0;
    //! \a key of \a file has changed.
    virtual void fileDidChangeValueForKey(UWStandardFile *file, QStringView key) = 0;
};

Q_DECLARE_METATYPE(UWStandardFileRef)
