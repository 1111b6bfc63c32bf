// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQBookmarksController.h
    \ingroup bookmarks
    \brief TQBookmarksController and the keys of its bookmark records.
*/

#include "TQNotFound.h"
#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <memory>

class QAction;
class QMimeData;
class TQBookmarksModel;

//! \name Keys of a bookmark record, and the names the bookmarks use
//@{
TQKIT_EXPORT extern const QString TQBookmarkFileKey;           //!< "BookmarkFile": the live file item
TQKIT_EXPORT extern const QString TQBookmarkArchiveKey;        //!< "BookmarkArchive": the item's archive record
TQKIT_EXPORT extern const QString TQBookmarkTitleKey;          //!< "BookmarkTitle": the text shown
TQKIT_EXPORT extern const QString TQBookmarkSeparatorKey;      //!< "BookmarkSeparator": marks a separator
TQKIT_EXPORT extern const QString TQBookmarkKeyEquivalentKey;  //!< "BookmarkKeyEquivalent": the host's, carried along
TQKIT_EXPORT extern const QString TQBookmarksChangedNotification; //!< the name of bookmarksChanged()
TQKIT_EXPORT extern const QString TQBookmarksInternalPboardType;  //!< the data format of rows dragged in the table
//@}

/*!
    \class TQBookmarksController
    \brief The user's ordered list of bookmarked files and folders, with separators, for a
    bookmarks menu and a bookmarks window; its saved form; its menu; its table model.

    \par Entries
    An entry is a QVariantMap. A file entry holds the live file item under TQBookmarkFileKey
    (a QVariant of UWStandardFileRef), its archive record (UWStandardFile::archiveDictionary())
    under TQBookmarkArchiveKey and its title under TQBookmarkTitleKey, and may hold
    TQBookmarkKeyEquivalentKey and any key of the host's, all carried along unread. A
    separator holds TQBookmarkSeparatorKey (value "BookmarkSeparator") and no file item.
    Two entries are equal when they hold the same keys with equal values, file items
    compared with UWStandardFile::isEqual() (isEqualRecord()).

    \par Filter
    allowedUTIs() filters by type: a file item passes when the list is empty, when it is a
    placeholder (a bookmark on an absent volume is never thrown away for its type), or when
    its resolved type conforms to one of the listed types. An entry without a file item
    passes only when the list is empty.

    \par Saving
    savableBookmarks() gives a list of plain records (strings and archive records, no live
    items) that round-trips through QSettings and the archived-value helpers;
    setBookmarksFromSavableBookmarks() brings such a list back, and also the two older forms
    (the archive under TQBookmarkFileKey; a bare archive record). Current and older records
    of files that cannot be found now come back as placeholders, which turn into live items
    when their volume returns (refreshBookmarks()); bare archives and bare items are taken
    only when they resolve to a real file, and never when they are a volumes folder
    ("/Volumes", "/media", "/media/USER", "/run/media", "/run/media/USER", "/mnt"). A list
    that is malformed restores what it can and drops the rest; nothing throws. Each entry
    dropped as malformed (not a map, an archive that is not a map or describes no file, or
    containers nested deeper than TQCopyDeep::maximumDepth levels) gets one warning line in
    "tqkit.bookmarks" naming its index in the list and what was wrong, never its content;
    an entry whose file is gone is dropped with a debug line only. setBookmarks() refuses
    entries nested too deep the same way, so that no comparison or copy of the live list
    recurses further than that bound; isEqualRecord() takes such records for unequal.

    To restore a list saved as bytes (from settings, a file, a fuzzer):
    TQUserDefaultsUtilities::keyedUnarchiveObjectForKey() of a map or QSettings holding the
    bytes under a key, then .toList(), then setBookmarksFromSavableBookmarks().

    \par Signals
    bookmarksChanged() (TQBookmarksChangedNotification) follows setBookmarks(),
    setBookmarksFromSavableBookmarks(), addFiles(), addSeparatorAtIndex(), removeItems(),
    removeItemAtIndex(), a title edited in the table and an accepted drop. refreshBookmarks(),
    savableBookmarks() and validateMenuItem() change entries in place without it.

    \par Threads
    The GUI thread only; allowedUTIs and separatorString alone may be read and set from any
    thread.

    \ingroup bookmarks
*/
class TQKIT_EXPORT TQBookmarksController : public QObject
{
    Q_OBJECT
    //! The types a file must conform to (see Filter); empty lets every file in.
    Q_PROPERTY(QStringList allowedUTIs READ allowedUTIs WRITE setAllowedUTIs)
    //! The text a separator row shows in the table.
    Q_PROPERTY(QString separatorString READ separatorString WRITE setSeparatorString)

public:
    //! An empty list, no filter, and the separator text "–––– Separator ––––" (translated in
    //! the context "Quillbox").
    explicit TQBookmarksController(QObject *parent = nullptr);
    ~TQBookmarksController() override;

    //! A deep copy of the list: changing it leaves the controller's list alone.
    QVariantList bookmarks() const;
    //! The number of entries, separators included.
    qsizetype bookmarksCount() const;
    //! Replaces the list with the entries of \a bookmarks (live form) that pass the filter;
    //! elements that are not records are left out.
    void setBookmarks(const QVariantList &bookmarks);

    /*!
        The list in saved form. Asks each reachable file item for a fresh archive and keeps
        it in the live entry; the record written carries the archive the entry held before
        this call, so a file renamed since the last save is written with its new archive on
        the next save.
    */
    QVariantList savableBookmarks();
    //! Replaces the list with what can be brought back of \a savableBookmarks.
    void setBookmarksFromSavableBookmarks(const QVariantList &savableBookmarks);
    //! Makes entries whose file cannot be reached try their archive again.
    void refreshBookmarks();

    //! Removes every entry equal to one of \a items.
    void removeItems(const QVariantList &items);
    //! Removes the entry at \a index; an index outside the list is a programming error
    //! (TQInvalidParameterException).
    void removeItemAtIndex(qsizetype index);
    /*!
        Inserts entries for \a files at \a index (TQNotFound: at the end), in their order.
        Files without a URL or refused by the filter are skipped; a file whose entry already
        stands unchanged in the list is not added again. Throws TQInvalidParameterException
        for an index beyond the end.
    */
    void addFiles(const QList<UWStandardFileRef> &files, qsizetype index = TQNotFound);
    //! Inserts a separator at \a index (TQNotFound: at the end).
    void addSeparatorAtIndex(qsizetype index = TQNotFound);

    //! The filter's types (see Filter); empty by default.
    QStringList allowedUTIs() const;
    //! Sets the filter's types; entries already in the list stay.
    void setAllowedUTIs(const QStringList &types);
    //! The text a separator row shows.
    QString separatorString() const;
    //! Sets the text a separator row shows; the table's separator rows change with it.
    void setSeparatorString(const QString &text);

    //! True when the two records hold the same keys with equal values (file items by
    //! UWStandardFile::isEqual()).
    static bool isEqualRecord(const QVariantMap &a, const QVariantMap &b);

    /*!
        \name Menu
        menuItemsForBookmarks() first refreshes the list, then makes one action per entry:
        the entry's title, its file's icon at 16×16, the entry in data(), no shortcut and no
        connection (the host connects QMenu::triggered and reads data()); a separator action
        for a separator. The actions are children of \a parent (the caller owns them when it
        is nullptr). validateMenuItem() enables an action whose file can be reached now: it
        tries the archive again for a file that went away and keeps the new item in the
        entry (in the action's data and in the list).
    */
    //@{
    //! One action per entry, children of \a parent (see Menu).
    QList<QAction *> menuItemsForBookmarks(QObject *parent = nullptr);
    //! Enables \a item when its file can be reached now; returns whether it is enabled.
    bool validateMenuItem(QAction *item);
    //@}

    /*!
        \name Table
        model() is a one-column table model over the live list, for a QListView, QTableView
        or QTreeView: rename in place, reorder by dragging rows, drop files from outside (see
        TQBookmarksModel). The functions below are what the model does, for hosts that run
        their own views.
    */
    //@{
    //! The table model over the live list; the controller owns it.
    TQBookmarksModel *model();

    //! Where a drop lands relative to its row.
    enum class DropOperation { On, Above };
    //! The rows (ascending) as the table's drag data: format TQBookmarksInternalPboardType.
    QMimeData *mimeDataForRows(QList<int> rows) const;
    /*!
        True when \a data may be dropped: files ("text/uri-list", which wins over rows) that
        all pass the filter, or at least one dragged row. A drop on a row becomes a drop
        above it, a drop on row -1 a drop at the end: \a row and \a operation are changed.
    */
    bool validateDrop(const QMimeData *data, int &row, DropOperation &operation) const;
    /*!
        Places the dropped files or rows above \a row: each entry is moved from where an
        equal entry stands (the first one), or inserted; false (nothing changed) for row -1,
        an unknown format or nothing to place.
    */
    bool acceptDrop(const QMimeData *data, int row);
    //! Stores \a title as the title of the entry at \a row: only a non-empty string.
    bool setTitleAtRow(int row, const QVariant &title);
    //@}

Q_SIGNALS:
    //! The list changed (TQBookmarksChangedNotification).
    void bookmarksChanged();

private:
    friend class TQBookmarksModel;
    const QVariantMap *entryAt(int row) const;
    template <class Change>
    void replaceList(Change &&change);
    struct Private;
    std::unique_ptr<Private> const d;
};
