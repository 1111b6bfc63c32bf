// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQFile.h"
#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QAbstractItemModel>
#include <QList>
#include <QSize>
#include <QString>

#include <memory>

class QItemSelectionModel;

/*!
    \class TQFolderModel
    \ingroup models
    \brief One folder's items (or a list of items), live, sorted and filtered inside the
    model, with thumbnails and image values loaded in the background: a folder view's model
    for any Qt view.

    \par Rows
    A flat table: one row per item that passes the filter, in sort order, one column per
    Column. setFolder() lists the folder through the file manager's utility queue (never on
    the GUI thread) and inserts rows in batches as the listing arrives, the first batch at
    once; loadingFinished() follows the last one. From then on the folder's file-system events
    become row inserts, removals, moves and dataChanged() naming the roles of the keys each
    item announced: the model resets only in setFolder() and setItems().

    \par Sorting
    By the library's sort types, folder priority and direction (setSortType(), or sort() by
    column), stable, with each item's sort key computed once (a number, or a name's collation
    key) and compared without QVariant. Values that need the file's content (dimensions, date
    taken, camera, ...) are read in the background for every item, visible rows first; an item
    whose value has not arrived sorts as "unknown": after every known value whatever the
    direction (folders still go where the folder priority puts them), among themselves by
    name. When values arrive the rows move (layoutAboutToBeChanged()/layoutChanged(),
    persistent indexes kept). A resort never reads a file.

    \par Filtering
    A filter type (TQFilterType), "exclude folders" and a name filter (TQNameFilter: contains,
    case- and diacritics-insensitive) combine with AND. Filtered-out items stay in the model's
    own list, so clearing a filter never lists the folder again.

    \par Background work
    The host tells the model which rows are visible (setVisibleRows(), or the widgets
    library's TQFolderViewport for a QAbstractItemView); thumbnails (TQAsyncQuicklookThumbnailer)
    and image properties (TQAsyncImageInfoLoader) of those rows are requested first, the rest
    of the properties after, and thumbnail requests of rows scrolled away are cancelled.
    Thumbnails are kept by a TQThumbnailMemoryCache up to thumbnailMemoryBudget() (least
    recently used dropped first); the freedesktop cache on disk serves the rest.

    \par Threads and ownership
    GUI thread only, like every model; the background work runs on the file manager's utility
    queue and reaches the model through queued deliveries. The model holds its items by
    reference (UWStandardFileRef); itemAt() hands out a new reference. It owns its loaders and
    cache. Logging category "tqkit.models".
*/
class TQKIT_EXPORT TQFolderModel : public QAbstractItemModel
{
    Q_OBJECT

    /** The sort type's code (TQSortType as a number). */
    Q_PROPERTY(int sortType READ sortType NOTIFY sortOrderChanged)
    /** The filter type's code (TQFilterType as a number). */
    Q_PROPERTY(int filterType READ filterType WRITE setFilterType NOTIFY filterChanged)
    /** Whether folders are left out. */
    Q_PROPERTY(bool excludeFolders READ excludeFolders WRITE setExcludeFolders NOTIFY filterChanged)
    /** The name filter's text. */
    Q_PROPERTY(QString nameFilter READ nameFilter WRITE setNameFilter NOTIFY filterChanged)
    /** True from setFolder() until the listing's last batch is in. */
    Q_PROPERTY(bool loading READ isLoading NOTIFY loadingChanged)

public:
    /** The roles of data() beyond Qt's own. */
    enum Roles {
        ItemRole = Qt::UserRole + 1, //!< the row's item, a UWStandardFileRef in a QVariant
        FileRole,                    //!< the row's item as a TQFileRef (null when not a TQFile)
        ThumbnailRole,               //!< the thumbnail, a QImage; null until it arrives
        LabelRole,                   //!< the Finder label, an int 0..7
        LabelColorRole,              //!< the label's colour, a QColor; invalid for label 0
        SortValueRole,               //!< the column's sort value, as the item's key gives it
        IsDirectoryRole,             //!< bool
        IsPendingRole,               //!< bool: the column's value needs the file and has not arrived
        NativePathRole,              //!< the path in the file system's bytes, a QByteArray
    };
    Q_ENUM(Roles)

    /**
        The columns: one per sort type with a value to show. Qt::DisplayRole gives the
        item's text for it, SortValueRole the value it sorts by; Qt::DecorationRole of the
        name column is a QIcon: the thumbnail once it has arrived, else the file's icon. The
        thumbnail's icon is never larger than the thumbnail and scales down to the view's
        iconSize, so a table's rows stay as tall as its icons and a grid shows the picture.
    */
    enum Column {
        NameColumn = 0,           //!< "displayName"
        KindColumn,               //!< "kindString"
        SizeColumn,               //!< "fileSizeString", sorted by "fileSize"
        ModificationDateColumn,   //!< "modificationDateString"
        CreationDateColumn,       //!< "creationDateString"
        DateAddedColumn,          //!< "dateAddedString"
        LabelColumn,              //!< the label's name
        WidthColumn,              //!< "dimensionsWidth" (needs the file)
        HeightColumn,             //!< "dimensionsHeight" (needs the file)
        MegapixelsColumn,         //!< "megapixelString" (needs the file)
        ImageDepthColumn,         //!< "imageDepthString" (needs the file)
        ColorProfileColumn,       //!< "ICCProfileString" (needs the file)
        ExifDateColumn,           //!< "EXIFDateString", date taken (needs the file)
        OrientationColumn,        //!< "generalOrientationString" (needs the file)
        ExposureTimeColumn,       //!< "exposureTimeString" (needs the file)
        FNumberColumn,            //!< "fNumberString" (needs the file)
        ISOColumn,                //!< "ISOString" (needs the file)
        FocalLengthColumn,        //!< "focalLengthString" (needs the file)
        CameraModelColumn,        //!< "cameraModelString" (needs the file)
        ColumnCount               //!< the number of columns
    };
    Q_ENUM(Column)

    /** An empty model; \a parent owns it as usual. */
    explicit TQFolderModel(QObject *parent = nullptr);
    /** Cancels the listing and every background request. */
    ~TQFolderModel() override;

    /** The sort type column \a column sorts by. */
    static TQSortType sortTypeForColumn(int column);
    /** The column that sorts by \a sortType; -1 for a type without a column (random order). */
    static int columnForSortType(TQSortType sortType);
    /** Whether \a column's value needs the file's content (read in the background). */
    static bool columnNeedsContent(int column);

    /**
        Shows the folder \a folder (a link to a folder shows its target), live. Resets the
        model to no rows, then lists in the background and inserts rows in batches.
        A null item or one that is not a folder shows nothing (logged at debug level).
    */
    void setFolder(const UWStandardFileRef &folder);
    /** setFolder() for the local path \a path. */
    void setFolderPath(const QString &path);
    /** setFolder() for a path in the file system's bytes, which need not be UTF-8. */
    void setFolderNativePath(const QByteArray &nativePath);
    /** The folder shown; nullptr when showing a list of items or nothing. */
    UWStandardFileRef folder() const;

    /**
        Shows \a items (null entries left out, duplicates kept once) instead of a folder:
        one reset, no listing, no file-system events. Values, thumbnails, sorting and
        filtering as for a folder.
    */
    void setItems(const QList<UWStandardFileRef> &items);
    /** Every item held, filtered out or not, in no particular order. */
    QList<UWStandardFileRef> allItems() const;

    /** True from setFolder() until the listing is complete. */
    bool isLoading() const;

    /**
        Sorts by sort type \a sortType with folder priority \a folderPriority and direction
        \a ascending, the codes of TQFile::sortDescriptorsForSortType() (which documents
        them; unknown types sort by name). Rows move with layoutChanged().
    */
    void setSortType(int sortType, int folderPriority, bool ascending);
    /** The same for C++ callers. */
    void setSortType(TQSortType sortType, TQFolderPriority folderPriority, bool ascending);
    /** The sort type's code (0, name, by default). */
    int sortType() const;
    /** The folder priority's code (TQFolderPriority::Mixed by default). */
    int folderPriority() const;
    /** The direction (ascending by default). */
    bool isAscending() const;
    /**
        Sorts by \a column's sort type in \a order, keeping the folder priority: what a view's
        header asks for. A column out of range is ignored.
    */
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    /** Filters with preset \a filterType (TQFile::filterPredicateForFilterType()). */
    void setFilterType(int filterType);
    /** The same for C++ callers. */
    void setFilterType(TQFilterType filterType);
    /** The preset's code (TQFilterType::Visible by default). */
    int filterType() const;
    /**
        Leaves folders out (with any preset; a preset without a filter then filters on
        folders alone).
    */
    void setExcludeFolders(bool exclude);
    /** Whether folders are left out (false by default). */
    bool excludeFolders() const;
    /** Shows only items whose display name contains \a text (see TQNameFilter); empty: all. */
    void setNameFilter(const QString &text);
    /** The name filter's text. */
    QString nameFilter() const;

    /**
        Rows \a first to \a last (inclusive) are on screen: their thumbnails and image values
        are requested before all others, and thumbnail requests for rows outside them are
        cancelled. An empty range (\a last < \a first) means none is visible. The range is kept
        when the model shows another folder or list, so it may be given before the folder is.
    */
    void setVisibleRows(int first, int last);
    /** The visible rows as last set; (-1, -1) when none. */
    QPair<int, int> visibleRows() const;

    /**
        The largest thumbnail to make; an empty size (the default) makes none and
        ThumbnailRole stays null. Changing it drops the thumbnails held.
    */
    void setThumbnailSize(const QSize &size);
    /** The thumbnail size. */
    QSize thumbnailSize() const;
    /** The bytes of thumbnails the model keeps in memory (32 MiB by default). */
    void setThumbnailMemoryBudget(qint64 bytes);
    /** The thumbnail memory budget. */
    qint64 thumbnailMemoryBudget() const;
    /** The bytes of thumbnails kept now. */
    qint64 thumbnailMemoryUsed() const;

    /**
        Whether image values are read in the background (true by default). Hosts that show
        no image column and sort by none may turn it off.
    */
    void setLoadsImageInfo(bool load);
    /** Whether image values are read in the background. */
    bool loadsImageInfo() const;

    /** The item of \a index's row; nullptr for an invalid index or another model's. */
    UWStandardFileRef itemAt(const QModelIndex &index) const;
    /** The item of \a index's row as a TQFile; nullptr when it is not one. */
    TQFileRef fileAt(const QModelIndex &index) const;
    /** The index of \a item's row in \a column; invalid when the item is not shown. */
    QModelIndex indexOf(const UWStandardFileRef &item, int column = NameColumn) const;
    /** The index of the shown item whose file has the path \a nativePath (bytes). */
    QModelIndex indexOfNativePath(const QByteArray &nativePath, int column = NameColumn) const;

    /** The items of the rows \a selection selects (any column), in row order. */
    QList<UWStandardFileRef> selectedItems(const QItemSelectionModel *selection) const;
    /**
        The labels (0..7, 0 for none) the selected items carry, each once, in ascending
        order: the answer a label picker asks the host for.
    */
    QList<int> selectedFinderLabels(const QItemSelectionModel *selection) const;
    /** The first selected item in row order that is not a folder (for Open With); nullptr if none. */
    UWStandardFileRef firstSelectedFile(const QItemSelectionModel *selection) const;

    /** \name QAbstractItemModel */
    //@{
    QModelIndex index(int row, int column, const QModelIndex &parent = {}) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    QModelIndex sibling(int row, int column, const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    bool hasChildren(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;
    //@}

Q_SIGNALS:
    /** isLoading() changed. */
    void loadingChanged(bool loading);
    /** The folder's listing is in (every row inserted); after setFolder(), once. */
    void loadingFinished();
    /** The folder shown went away (deleted or moved); its rows were removed. */
    void folderRemoved();
    /** The sort type, folder priority or direction changed. */
    void sortOrderChanged();
    /** A filter setting changed. */
    void filterChanged();
    /** Every item's image values have arrived (or were found missing); after each load. */
    void imageInfoFinished();
    /** \a item's thumbnail arrived and its row's ThumbnailRole changed. */
    void thumbnailArrived(const UWStandardFileRef &item);

private:
    struct Private;
    std::unique_ptr<Private> const d;
};
