// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBookmarksModel.h"

#include "TQBookmarksController.h"
#include "TQFile.h"

#include <QIcon>
#include <QMimeData>

namespace {

bool isSeparatorEntry(const QVariantMap &entry)
{
    return entry.contains(TQBookmarkSeparatorKey) && !entry.contains(TQBookmarkFileKey);
}

UWStandardFileRef fileIn(const QVariantMap &entry)
{
    return TQFile::itemFromValue(entry.value(TQBookmarkFileKey));
}

} // namespace

TQBookmarksModel::TQBookmarksModel(TQBookmarksController *controller)
    : QAbstractTableModel(controller)
    , m_controller(controller)
{
}

TQBookmarksController *TQBookmarksModel::controller() const
{
    return m_controller;
}

int TQBookmarksModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_controller->bookmarksCount());
}

int TQBookmarksModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : 1;
}

QVariant TQBookmarksModel::data(const QModelIndex &index, int role) const
{
    const QVariantMap *entry = index.isValid() ? m_controller->entryAt(index.row()) : nullptr;
    if (!entry)
        return {};
    const bool separator = isSeparatorEntry(*entry);
    switch (role) {
    case Qt::DisplayRole:
        return separator ? m_controller->separatorString() : entry->value(TQBookmarkTitleKey);
    case Qt::EditRole:
        return separator ? QVariant() : entry->value(TQBookmarkTitleKey);
    case Qt::ToolTipRole:
        if (const UWStandardFileRef file = fileIn(*entry))
            return file->path();
        return {};
    case Qt::DecorationRole:
        if (const UWStandardFileRef file = separator ? nullptr : fileIn(*entry))
            return file->fileIcon();
        return {};
    case BookmarkDictRole:
        return separator ? QVariant(m_controller->separatorString()) : QVariant(*entry);
    case IsSeparatorRole:
        return separator;
    default:
        return {};
    }
}

QVariant TQBookmarksModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (section != 0 || orientation != Qt::Horizontal)
        return {};
    if (role == ColumnIdentifierRole)
        return QStringLiteral("bookmarkDict");
    if (role == Qt::DisplayRole)
        return tr("Bookmark");
    return {};
}

bool TQBookmarksModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || (role != Qt::EditRole && role != Qt::DisplayRole))
        return false;
    return m_controller->setTitleAtRow(index.row(), value);
}

Qt::ItemFlags TQBookmarksModel::flags(const QModelIndex &index) const
{
    // Drops between rows (and at the end) land on the invalid index.
    if (!index.isValid())
        return Qt::ItemIsDropEnabled;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
    const QVariantMap *entry = m_controller->entryAt(index.row());
    if (entry && !isSeparatorEntry(*entry))
        flags |= Qt::ItemIsEditable;
    return flags;
}

QHash<int, QByteArray> TQBookmarksModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractTableModel::roleNames();
    names.insert(BookmarkDictRole, "bookmarkDict");
    names.insert(IsSeparatorRole, "isSeparator");
    return names;
}

QStringList TQBookmarksModel::mimeTypes() const
{
    return {QStringLiteral("text/uri-list"), TQBookmarksInternalPboardType};
}

QMimeData *TQBookmarksModel::mimeData(const QModelIndexList &indexes) const
{
    QList<int> rows;
    for (const QModelIndex &index : indexes) {
        if (index.isValid())
            rows.append(index.row());
    }
    return m_controller->mimeDataForRows(rows);
}

namespace {

// A view proposes a drop between rows as (row, invalid parent), on a row as (-1, -1, that
// row's index), and below the last row as (-1, invalid parent).
void proposed(int row, const QModelIndex &parent, int *target, TQBookmarksController::DropOperation *operation)
{
    if (parent.isValid()) {
        *target = parent.row();
        *operation = TQBookmarksController::DropOperation::On;
    } else if (row < 0) {
        *target = -1;
        *operation = TQBookmarksController::DropOperation::On;
    } else {
        *target = row;
        *operation = TQBookmarksController::DropOperation::Above;
    }
}

} // namespace

bool TQBookmarksModel::canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                                       const QModelIndex &parent) const
{
    Q_UNUSED(action);
    Q_UNUSED(column);
    int target = -1;
    TQBookmarksController::DropOperation operation;
    proposed(row, parent, &target, &operation);
    return m_controller->validateDrop(data, target, operation);
}

bool TQBookmarksModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                                    const QModelIndex &parent)
{
    if (action == Qt::IgnoreAction)
        return true;
    Q_UNUSED(column);
    int target = -1;
    TQBookmarksController::DropOperation operation;
    proposed(row, parent, &target, &operation);
    if (!m_controller->validateDrop(data, target, operation))
        return false;
    return m_controller->acceptDrop(data, target);
}

Qt::DropActions TQBookmarksModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

Qt::DropActions TQBookmarksModel::supportedDragActions() const
{
    return Qt::MoveAction;
}
