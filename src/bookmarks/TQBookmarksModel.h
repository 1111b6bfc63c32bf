// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QAbstractTableModel>
#include <QPointer>

class TQBookmarksController;

/*!
    \class TQBookmarksModel
    \brief The bookmarks list as a one-column table, owned by its TQBookmarksController.

    A row per entry. Qt::DisplayRole is the title (a separator shows the controller's
    separatorString()), Qt::EditRole the title, Qt::DecorationRole the file's icon (none for a
    separator), BookmarkDictRole the row's object for a cell: the entry itself, or the
    separator text for a separator (TQIconAndFilenameCell with that role, file key path
    TQBookmarkFileKey and text key path TQBookmarkTitleKey shows it). The column's
    identifier is "bookmarkDict" (ColumnIdentifierRole of the header).

    Every row can be selected and dragged; every row but a separator can be renamed, and only
    to a non-empty text. Dragged rows travel as their row numbers under the format
    "TQBookmarksInternalPboardType" (so they mean something only to the same model); files
    dropped from outside come as "text/uri-list", which wins when both are present. A drop
    on a row lands above it, a drop below the last row at the end; a dropped entry that is
    already in the list moves there instead of being added twice. The model never removes
    rows itself (removeRows() answers false), so a view's "move" drag does not delete the
    dragged rows after the drop has moved them.

    Views hear each change as it is: added entries as inserted rows, removed ones as removed
    rows (a run of neighbouring rows at once), a dragged row placed elsewhere as a moved row,
    and an entry changed in place (a new title, a file item found again, a fresh archive, the
    separator text) as dataChanged() naming the roles affected. Only replacing the whole list
    (TQBookmarksController::setBookmarks(), setBookmarksFromSavableBookmarks()) resets the
    model. The model follows the controller's thread rule: the GUI thread only.

    \ingroup bookmarks
*/
class TQKIT_EXPORT TQBookmarksModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    //! The model's own item data roles, beside Qt's.
    enum Roles {
        BookmarkDictRole = Qt::UserRole + 1, //!< the entry, or the separator text
        IsSeparatorRole,                     //!< bool
        ColumnIdentifierRole,                //!< of headerData(): "bookmarkDict"
    };

    //! The controller that made and owns the model.
    TQBookmarksController *controller() const;

    //! \name Reimplemented from QAbstractItemModel
    //! The table described above, as QAbstractItemModel documents each function.
    //!@{

    //! The model's side of QAbstractItemModel, as the class description tells it.
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                         const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                      const QModelIndex &parent) override;
    Qt::DropActions supportedDropActions() const override;
    Qt::DropActions supportedDragActions() const override;
    //!@}

private:
    friend class TQBookmarksController;
    explicit TQBookmarksModel(TQBookmarksController *controller);

    TQBookmarksController *m_controller;
};
