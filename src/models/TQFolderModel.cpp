// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFolderModel.h"

#include "TQModelsLogging.h"

#include <QFile>
#include <QItemSelectionModel>

struct TQFolderModel::Private
{
    UWStandardFileRef folder;
    QList<UWStandardFileRef> rows;
    int sortType = 0;
    int folderPriority = 0;
    bool ascending = true;
    int filterType = 0;
    bool excludeFolders = false;
    QString nameFilter;
    QPair<int, int> visible{-1, -1};
    QSize thumbnailSize;
    qint64 budget = 32 << 20;
    bool loadsImageInfo = true;
};

TQFolderModel::TQFolderModel(QObject *parent) : QAbstractItemModel(parent), d(std::make_unique<Private>()) {}
TQFolderModel::~TQFolderModel() = default;

TQSortType TQFolderModel::sortTypeForColumn(int) { return TQSortType::Name; }
int TQFolderModel::columnForSortType(TQSortType) { return NameColumn; }
bool TQFolderModel::columnNeedsContent(int) { return false; }
void TQFolderModel::setFolder(const UWStandardFileRef &folder) { d->folder = folder; }
void TQFolderModel::setFolderPath(const QString &path) { setFolderNativePath(QFile::encodeName(path)); }
void TQFolderModel::setFolderNativePath(const QByteArray &nativePath) { setFolder(UWStandardFile::newFileForNativePath(nativePath)); }
UWStandardFileRef TQFolderModel::folder() const { return d->folder; }
void TQFolderModel::setItems(const QList<UWStandardFileRef> &) {}
QList<UWStandardFileRef> TQFolderModel::allItems() const { return d->rows; }
bool TQFolderModel::isLoading() const { return false; }
void TQFolderModel::setSortType(int sortType, int folderPriority, bool ascending)
{
    d->sortType = sortType;
    d->folderPriority = folderPriority;
    d->ascending = ascending;
}
void TQFolderModel::setSortType(TQSortType sortType, TQFolderPriority folderPriority, bool ascending)
{
    setSortType(int(sortType), int(folderPriority), ascending);
}
int TQFolderModel::sortType() const { return d->sortType; }
int TQFolderModel::folderPriority() const { return d->folderPriority; }
bool TQFolderModel::isAscending() const { return d->ascending; }
void TQFolderModel::sort(int, Qt::SortOrder) {}
void TQFolderModel::setFilterType(int filterType) { d->filterType = filterType; }
void TQFolderModel::setFilterType(TQFilterType filterType) { setFilterType(int(filterType)); }
int TQFolderModel::filterType() const { return d->filterType; }
void TQFolderModel::setExcludeFolders(bool exclude) { d->excludeFolders = exclude; }
bool TQFolderModel::excludeFolders() const { return d->excludeFolders; }
void TQFolderModel::setNameFilter(const QString &text) { d->nameFilter = text; }
QString TQFolderModel::nameFilter() const { return d->nameFilter; }
void TQFolderModel::setVisibleRows(int first, int last) { d->visible = {first, last}; }
QPair<int, int> TQFolderModel::visibleRows() const { return d->visible; }
void TQFolderModel::setThumbnailSize(const QSize &size) { d->thumbnailSize = size; }
QSize TQFolderModel::thumbnailSize() const { return d->thumbnailSize; }
void TQFolderModel::setThumbnailMemoryBudget(qint64 bytes) { d->budget = bytes; }
qint64 TQFolderModel::thumbnailMemoryBudget() const { return d->budget; }
qint64 TQFolderModel::thumbnailMemoryUsed() const { return 0; }
void TQFolderModel::setLoadsImageInfo(bool load) { d->loadsImageInfo = load; }
bool TQFolderModel::loadsImageInfo() const { return d->loadsImageInfo; }
UWStandardFileRef TQFolderModel::itemAt(const QModelIndex &) const { return {}; }
TQFileRef TQFolderModel::fileAt(const QModelIndex &) const { return {}; }
QModelIndex TQFolderModel::indexOf(const UWStandardFileRef &, int) const { return {}; }
QModelIndex TQFolderModel::indexOfNativePath(const QByteArray &, int) const { return {}; }
QList<UWStandardFileRef> TQFolderModel::selectedItems(const QItemSelectionModel *) const { return {}; }
QList<int> TQFolderModel::selectedFinderLabels(const QItemSelectionModel *) const { return {}; }
UWStandardFileRef TQFolderModel::firstSelectedFile(const QItemSelectionModel *) const { return {}; }
QModelIndex TQFolderModel::index(int row, int column, const QModelIndex &parent) const
{
    return hasIndex(row, column, parent) ? createIndex(row, column) : QModelIndex();
}
QModelIndex TQFolderModel::parent(const QModelIndex &) const { return {}; }
QModelIndex TQFolderModel::sibling(int row, int column, const QModelIndex &) const { return index(row, column); }
int TQFolderModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(d->rows.size()); }
int TQFolderModel::columnCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : ColumnCount; }
bool TQFolderModel::hasChildren(const QModelIndex &parent) const { return !parent.isValid() && !d->rows.isEmpty(); }
QVariant TQFolderModel::data(const QModelIndex &, int) const { return {}; }
QVariant TQFolderModel::headerData(int, Qt::Orientation, int) const { return {}; }
Qt::ItemFlags TQFolderModel::flags(const QModelIndex &index) const { return QAbstractItemModel::flags(index); }
QHash<int, QByteArray> TQFolderModel::roleNames() const { return QAbstractItemModel::roleNames(); }
