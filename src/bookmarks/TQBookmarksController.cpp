// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBookmarksController.h"

#include "TQBookmarksLogging.h"
#include "TQBookmarksModel.h"
#include "TQCopyDeep.h"
#include "TQFile.h"
#include "TQInvalidParameterException.h"
#include "TQUtilityFunctions.h"

#include <QAction>
#include <QCborArray>
#include <QCborValue>
#include <QCoreApplication>
#include <QDir>
#include <QIcon>
#include <QMimeData>
#include <QMutex>
#include <QUrl>

#include <pwd.h>
#include <unistd.h>

const QString TQBookmarkFileKey = QStringLiteral("BookmarkFile");
const QString TQBookmarkArchiveKey = QStringLiteral("BookmarkArchive");
const QString TQBookmarkTitleKey = QStringLiteral("BookmarkTitle");
const QString TQBookmarkSeparatorKey = QStringLiteral("BookmarkSeparator");
const QString TQBookmarkKeyEquivalentKey = QStringLiteral("BookmarkKeyEquivalent");
const QString TQBookmarksChangedNotification = QStringLiteral("TQBookmarksChangedNotification");
const QString TQBookmarksInternalPboardType = QStringLiteral("TQBookmarksInternalPboardType");

namespace {

const char *const entryIdProperty = "tqBookmarkEntryId";
const QString uriListFormat = QStringLiteral("text/uri-list");

UWStandardFileRef fileOf(const QVariantMap &entry)
{
    return TQFile::itemFromValue(entry.value(TQBookmarkFileKey));
}

bool isRecord(const QVariant &value)
{
    return value.metaType() == QMetaType::fromType<QVariantMap>();
}

bool reachable(const UWStandardFileRef &item)
{
    return item && !item->isPlaceholder() && !item->URL().isEmpty();
}

QString userName()
{
    if (const passwd *entry = ::getpwuid(::geteuid()))
        return QString::fromLocal8Bit(entry->pw_name);
    return qEnvironmentVariable("USER");
}

// The folders that hold the volumes themselves: a bookmark of one of them is a bookmark of
// nothing in particular. Only the folder itself, not what lies below it.
bool isVolumesFolder(const QString &path)
{
    static const QString user = userName();
    QString folder = path;
    if (folder.size() > 1 && folder.endsWith(u'/'))
        folder.chop(1);
    if (folder == u"/Volumes" || folder == u"/media" || folder == u"/mnt" || folder == u"/run/media")
        return true;
    return !user.isEmpty() && (folder == u"/media/" + user || folder == u"/run/media/" + user);
}

QIcon menuIcon(const UWStandardFileRef &item)
{
    // A 16×16 copy: the item's own icon stays as it is.
    const QPixmap pixmap = item->fileIcon().pixmap(QSize(16, 16));
    return pixmap.isNull() ? QIcon() : QIcon(pixmap.scaled(16, 16, Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

// A new entry in the order its values are taken; like the record it stands for, it ends at
// the first value that is missing.
QVariantMap newEntry(const UWStandardFileRef &item, const QVariantMap &archive)
{
    QVariantMap entry{{TQBookmarkFileKey, QVariant::fromValue(item)}};
    const QString title = item->displayName();
    if (title.isEmpty())
        return entry;
    entry.insert(TQBookmarkTitleKey, title);
    if (!archive.isEmpty())
        entry.insert(TQBookmarkArchiveKey, archive);
    return entry;
}

// One line per malformed saved entry: where it stood and what was wrong, never what it held.
void refuseSaved(qsizetype index, const QString &why)
{
    qCWarning(lcBookmarks).noquote() << QStringLiteral("saved bookmarks, entry %1: %2").arg(index).arg(why);
}

// The file item a saved archive stands for, placeholders allowed; none, with one line, for an
// archive that describes no file at all; none, quietly, for a file that is gone.
UWStandardFileRef itemForSavedArchive(const QVariantMap &archive, qsizetype index)
{
    QString error;
    const UWStandardFileRef item = UWStandardFile::newFileForArchive(archive, true, &error);
    if (item)
        return item;
    // The file item's own answer for a record it cannot read; the other answers name a file
    // that was there once and is not now, which is no fault of the list.
    if (error == u"not a file archive")
        refuseSaved(index, QStringLiteral("not a file archive"));
    else
        qCDebug(lcBookmarks).noquote() << QStringLiteral("saved bookmarks, entry %1: the file is gone").arg(index);
    return nullptr;
}

QList<int> rowsIn(const QMimeData *data)
{
    QList<int> rows;
    const QCborValue value = QCborValue::fromCbor(data->data(TQBookmarksInternalPboardType));
    for (const QCborValue &row : value.toArray()) {
        if (row.isInteger() && row.toInteger() >= 0 && row.toInteger() <= std::numeric_limits<int>::max())
            rows.append(int(row.toInteger()));
    }
    return rows;
}

// Dropped files as items, reached through their names' bytes (a URL's text form would turn a
// name that is not UTF-8 into another name).
QList<UWStandardFileRef> filesIn(const QMimeData *data)
{
    QList<UWStandardFileRef> files;
    for (const QUrl &url : data->urls()) {
        if (!url.isLocalFile())
            continue;
        UWStandardFileRef file = UWStandardFile::newFileForNativePath(UWStandardFile::nativePathForURL(url));
        if (file && file->exists())
            files.append(std::move(file));
    }
    return files;
}

} // namespace

struct TQBookmarksController::Private
{
    struct Entry
    {
        quint64 id;
        QVariantMap record;
    };

    QList<Entry> list;
    quint64 nextId = 1;
    mutable QMutex propertyLock;
    QStringList allowedUTIs; // guarded by propertyLock
    QString separatorString; // guarded by propertyLock
    TQBookmarksModel *model = nullptr;

    Entry make(QVariantMap record) { return Entry{nextId++, std::move(record)}; }

    // A row whose file item was replaced in place: its icon, tooltip and entry are new.
    void fileReplacedAt(qsizetype row)
    {
        const QModelIndex index = model->index(int(row), 0);
        Q_EMIT model->dataChanged(index, index, {Qt::DecorationRole, Qt::ToolTipRole, TQBookmarksModel::BookmarkDictRole});
    }

    qsizetype indexOfId(quint64 id) const
    {
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (list.at(i).id == id)
                return i;
        }
        return -1;
    }

    qsizetype indexOfEqual(const QVariantMap &record) const
    {
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (isEqualRecord(list.at(i).record, record))
                return i;
        }
        return -1;
    }

    bool passesFilter(const UWStandardFileRef &item) const
    {
        const QStringList types = [this] {
            QMutexLocker locker(&propertyLock);
            return allowedUTIs;
        }();
        if (types.isEmpty())
            return true;
        if (!item)
            return false;
        return item->isPlaceholder() || TQUTTypeConformsToArray(item->resolvedUTI(), types);
    }
};

TQBookmarksController::TQBookmarksController(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    d->separatorString = QCoreApplication::translate("Quillbox", "\u2013\u2013\u2013\u2013 Separator \u2013\u2013\u2013\u2013");
    d->model = new TQBookmarksModel(this);
}

TQBookmarksController::~TQBookmarksController() = default;

// Replacing the whole list is the one change a view hears as a reset; every other change
// names its rows, so that selections and scroll positions survive it.
template <class Change>
void TQBookmarksController::replaceList(Change &&change)
{
    d->model->beginResetModel();
    change();
    d->model->endResetModel();
    Q_EMIT bookmarksChanged();
}

QVariantList TQBookmarksController::bookmarks() const
{
    QVariantList copy;
    copy.reserve(d->list.size());
    for (const Private::Entry &entry : d->list)
        copy.append(TQCopyDeep::copyDeep(QVariant(entry.record)));
    return copy;
}

qsizetype TQBookmarksController::bookmarksCount() const
{
    return d->list.size();
}

void TQBookmarksController::setBookmarks(const QVariantList &bookmarks)
{
    replaceList([&] {
        d->list.clear();
        for (qsizetype index = 0; index < bookmarks.size(); ++index) {
            const QVariant &value = bookmarks.at(index);
            if (!isRecord(value))
                continue;
            // The live list stays as shallow as a saved one may be: comparisons and copies walk it.
            if (TQCopyDeep::nestingDepth(value) > TQCopyDeep::maximumDepth) {
                qCWarning(lcBookmarks).noquote()
                    << QStringLiteral("bookmarks, entry %1: nested deeper than %2 levels").arg(index).arg(TQCopyDeep::maximumDepth);
                continue;
            }
            const QVariantMap record = value.toMap();
            if (d->passesFilter(fileOf(record)))
                d->list.append(d->make(record));
        }
    });
}

QVariantList TQBookmarksController::savableBookmarks()
{
    QVariantList saved;
    saved.reserve(d->list.size());
    for (qsizetype row = 0; row < d->list.size(); ++row) {
        Private::Entry &entry = d->list[row];
        // Taken before the fresh archive below: the record carries the archive the entry
        // held until now, the fresh one goes out with the next save.
        QVariantMap copy = entry.record;
        const UWStandardFileRef item = fileOf(entry.record);
        if (!entry.record.contains(TQBookmarkFileKey)) {
            if (entry.record.contains(TQBookmarkSeparatorKey))
                saved.append(copy);
            continue;
        }
        if (item && !item->isPlaceholder() && !item->URL().isEmpty()) {
            const QVariantMap fresh = item->archiveDictionary();
            if (!fresh.isEmpty() && entry.record.value(TQBookmarkArchiveKey) != fresh) {
                entry.record.insert(TQBookmarkArchiveKey, fresh);
                const QModelIndex index = d->model->index(int(row), 0);
                Q_EMIT d->model->dataChanged(index, index, {TQBookmarksModel::BookmarkDictRole});
            }
        }
        if (entry.record.contains(TQBookmarkArchiveKey)) {
            copy.remove(TQBookmarkFileKey);
            saved.append(copy);
        }
    }
    return saved;
}

void TQBookmarksController::setBookmarksFromSavableBookmarks(const QVariantList &savableBookmarks)
{
    replaceList([&] {
        d->list.clear();
        for (qsizetype index = 0; index < savableBookmarks.size(); ++index) {
            const QVariant &value = savableBookmarks.at(index);
            // Checked before anything walks the entry: every later step (the archive's
            // resolution, comparisons, copies) recurses through it.
            if (TQCopyDeep::nestingDepth(value) > TQCopyDeep::maximumDepth) {
                refuseSaved(index, QStringLiteral("nested deeper than %1 levels").arg(TQCopyDeep::maximumDepth));
                continue;
            }
            if (const UWStandardFileRef item = TQFile::itemFromValue(value)) {
                // A bare file item: taken only when it is a real file that passes.
                if (item->isPlaceholder() || isVolumesFolder(item->path()))
                    continue;
                const QVariantMap archive = item->archiveDictionary();
                if (archive.isEmpty() || !d->passesFilter(item))
                    continue;
                d->list.append(d->make(newEntry(item, archive)));
                continue;
            }
            if (!isRecord(value)) {
                refuseSaved(index, QStringLiteral("not a map"));
                continue;
            }
            const QVariantMap record = value.toMap();
            const bool hasFile = record.contains(TQBookmarkFileKey);
            const bool hasArchive = record.contains(TQBookmarkArchiveKey);
            if (hasFile || hasArchive) {
                // The current form keeps the archive under its own key; the older one kept
                // it where the live item goes now.
                const QString archiveKey = hasFile ? TQBookmarkFileKey : TQBookmarkArchiveKey;
                const QVariant stored = record.value(archiveKey);
                if (!isRecord(stored)) {
                    refuseSaved(index, QStringLiteral("the value under \"%1\" is not a map").arg(archiveKey));
                    continue;
                }
                const QVariantMap storedArchive = stored.toMap();
                const UWStandardFileRef item = itemForSavedArchive(storedArchive, index);
                if (!item || !d->passesFilter(item))
                    continue;
                QVariantMap entry = record;
                if (reachable(item)) {
                    const QVariantMap fresh = item->archiveDictionary();
                    if (!fresh.isEmpty())
                        entry.insert(TQBookmarkArchiveKey, fresh);
                } else {
                    // Kept whole while the file is away, so that nothing of it is lost.
                    entry.insert(TQBookmarkArchiveKey, storedArchive);
                }
                entry.insert(TQBookmarkFileKey, QVariant::fromValue(item));
                if (!entry.contains(TQBookmarkTitleKey))
                    entry.insert(TQBookmarkTitleKey, item->displayName());
                d->list.append(d->make(entry));
            } else if (record.contains(TQBookmarkSeparatorKey)) {
                d->list.append(d->make(record));
            } else {
                // The oldest form: the record is itself an archive.
                const UWStandardFileRef item = itemForSavedArchive(record, index);
                if (!item || item->isPlaceholder() || isVolumesFolder(item->path()) || !d->passesFilter(item))
                    continue;
                d->list.append(d->make(newEntry(item, record)));
            }
        }
    });
}

void TQBookmarksController::refreshBookmarks()
{
    for (qsizetype row = 0; row < d->list.size(); ++row) {
        Private::Entry &entry = d->list[row];
        UWStandardFileRef item = fileOf(entry.record);
        if (item)
            item->currentURL();
        if (item && !item->URL().isEmpty())
            continue;
        const QVariant archive = entry.record.value(TQBookmarkArchiveKey);
        if (!isRecord(archive))
            continue;
        if (const UWStandardFileRef found = UWStandardFile::newFileForArchive(archive.toMap(), true)) {
            entry.record.insert(TQBookmarkFileKey, QVariant::fromValue(found));
            d->fileReplacedAt(row);
        }
    }
}

void TQBookmarksController::removeItems(const QVariantList &items)
{
    QList<qsizetype> doomed;
    for (qsizetype row = 0; row < d->list.size(); ++row) {
        const QVariantMap &record = d->list.at(row).record;
        if (std::any_of(items.cbegin(), items.cend(),
                        [&record](const QVariant &item) { return isRecord(item) && isEqualRecord(record, item.toMap()); }))
            doomed.append(row);
    }
    // Each run of neighbouring rows goes at once, from the end, so the rows before it keep
    // their numbers.
    for (qsizetype k = doomed.size(); k > 0;) {
        const qsizetype last = doomed.at(--k);
        qsizetype first = last;
        while (k > 0 && doomed.at(k - 1) == first - 1)
            first = doomed.at(--k);
        d->model->beginRemoveRows({}, int(first), int(last));
        d->list.remove(first, last - first + 1);
        d->model->endRemoveRows();
    }
    Q_EMIT bookmarksChanged();
}

void TQBookmarksController::removeItemAtIndex(qsizetype index)
{
    if (index < 0 || index >= d->list.size())
        throw TQInvalidParameterException(QStringLiteral("index < bookmarksCount"), __FILE__, __LINE__);
    d->model->beginRemoveRows({}, int(index), int(index));
    d->list.removeAt(index);
    d->model->endRemoveRows();
    Q_EMIT bookmarksChanged();
}

void TQBookmarksController::addFiles(const QList<UWStandardFileRef> &files, qsizetype index)
{
    if (index == TQNotFound)
        index = d->list.size();
    if (index < 0 || index > d->list.size())
        throw TQInvalidParameterException(QStringLiteral("index <= bookmarksCount"), __FILE__, __LINE__);
    QList<QVariantMap> added;
    for (const UWStandardFileRef &item : files) {
        if (!item || item->URL().isEmpty() || !d->passesFilter(item))
            continue;
        const QVariantMap entry = newEntry(item, item->archiveDictionary());
        if (d->indexOfEqual(entry) >= 0
            || std::any_of(added.cbegin(), added.cend(), [&entry](const QVariantMap &other) { return isEqualRecord(entry, other); }))
            continue;
        added.append(entry);
    }
    if (!added.isEmpty()) {
        d->model->beginInsertRows({}, int(index), int(index + added.size() - 1));
        for (const QVariantMap &entry : std::as_const(added))
            d->list.insert(index++, d->make(entry));
        d->model->endInsertRows();
    }
    Q_EMIT bookmarksChanged();
}

void TQBookmarksController::addSeparatorAtIndex(qsizetype index)
{
    if (index == TQNotFound)
        index = d->list.size();
    if (index < 0 || index > d->list.size())
        throw TQInvalidParameterException(QStringLiteral("index <= bookmarksCount"), __FILE__, __LINE__);
    d->model->beginInsertRows({}, int(index), int(index));
    d->list.insert(index, d->make({{TQBookmarkSeparatorKey, TQBookmarkSeparatorKey}}));
    d->model->endInsertRows();
    Q_EMIT bookmarksChanged();
}

QStringList TQBookmarksController::allowedUTIs() const
{
    QMutexLocker locker(&d->propertyLock);
    return d->allowedUTIs;
}

void TQBookmarksController::setAllowedUTIs(const QStringList &types)
{
    QMutexLocker locker(&d->propertyLock);
    d->allowedUTIs = types;
}

QString TQBookmarksController::separatorString() const
{
    QMutexLocker locker(&d->propertyLock);
    return d->separatorString;
}

void TQBookmarksController::setSeparatorString(const QString &text)
{
    {
        QMutexLocker locker(&d->propertyLock);
        d->separatorString = text;
    }
    // Separator rows show the text; the others do not change.
    for (qsizetype row = 0; row < d->list.size(); ++row) {
        const QVariantMap &record = d->list.at(row).record;
        if (record.contains(TQBookmarkSeparatorKey) && !record.contains(TQBookmarkFileKey)) {
            const QModelIndex index = d->model->index(int(row), 0);
            Q_EMIT d->model->dataChanged(index, index, {Qt::DisplayRole, TQBookmarksModel::BookmarkDictRole});
        }
    }
}

bool TQBookmarksController::isEqualRecord(const QVariantMap &a, const QVariantMap &b)
{
    // The comparison below (and Qt's own, of nested lists) recurses as deep as the records.
    if (a.size() != b.size() || TQCopyDeep::nestingDepth(a) > TQCopyDeep::maximumDepth
        || TQCopyDeep::nestingDepth(b) > TQCopyDeep::maximumDepth)
        return false;
    for (auto it = a.cbegin(), other = b.cbegin(); it != a.cend(); ++it, ++other) {
        if (it.key() != other.key())
            return false;
        const UWStandardFileRef itemA = TQFile::itemFromValue(it.value());
        const UWStandardFileRef itemB = TQFile::itemFromValue(other.value());
        if (itemA || itemB) {
            if (!itemA || !itemB || !itemA->isEqual(*itemB))
                return false;
        } else if (isRecord(it.value()) && isRecord(other.value())) {
            if (!isEqualRecord(it.value().toMap(), other.value().toMap()))
                return false;
        } else if (it.value() != other.value()) {
            return false;
        }
    }
    return true;
}

// ---- Menu ----------------------------------------------------------------------------------

QList<QAction *> TQBookmarksController::menuItemsForBookmarks(QObject *parent)
{
    refreshBookmarks();
    QList<QAction *> items;
    items.reserve(d->list.size());
    for (const Private::Entry &entry : std::as_const(d->list)) {
        auto *action = new QAction(parent);
        action->setProperty(entryIdProperty, entry.id);
        if (const UWStandardFileRef item = fileOf(entry.record)) {
            action->setText(entry.record.value(TQBookmarkTitleKey).toString());
            action->setIcon(menuIcon(item));
            action->setData(entry.record);
        } else {
            action->setSeparator(true);
        }
        items.append(action);
    }
    return items;
}

bool TQBookmarksController::validateMenuItem(QAction *item)
{
    if (!item)
        return false;
    QVariantMap entry = item->data().toMap();
    const UWStandardFileRef file = fileOf(entry);
    bool enabled = false;
    if (file) {
        file->currentURL();
        if (reachable(file)) {
            enabled = true;
        } else if (file->URL().isEmpty()) {
            const QVariant archive = entry.value(TQBookmarkArchiveKey);
            const UWStandardFileRef found = isRecord(archive) ? UWStandardFile::newFileForArchive(archive.toMap()) : nullptr;
            if (found) {
                // Kept even as a placeholder: the next validation starts from it.
                entry.insert(TQBookmarkFileKey, QVariant::fromValue(found));
                item->setData(entry);
                const qsizetype index = d->indexOfId(item->property(entryIdProperty).toULongLong());
                if (index >= 0) {
                    d->list[index].record.insert(TQBookmarkFileKey, QVariant::fromValue(found));
                    d->fileReplacedAt(index);
                }
                if (reachable(found)) {
                    item->setIcon(menuIcon(found));
                    enabled = true;
                }
            }
        }
    }
    item->setEnabled(enabled);
    return enabled;
}

// ---- Table ---------------------------------------------------------------------------------

TQBookmarksModel *TQBookmarksController::model()
{
    return d->model;
}

QMimeData *TQBookmarksController::mimeDataForRows(QList<int> rows) const
{
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    QCborArray array;
    for (int row : std::as_const(rows))
        array.append(row);
    auto *data = new QMimeData;
    data->setData(TQBookmarksInternalPboardType, QCborValue(array).toCbor());
    return data;
}

bool TQBookmarksController::validateDrop(const QMimeData *data, int &row, DropOperation &operation) const
{
    if (!data)
        return false;
    if (data->hasFormat(uriListFormat)) {
        const QList<UWStandardFileRef> files = filesIn(data);
        if (files.isEmpty())
            return false;
        for (const UWStandardFileRef &file : files) {
            if (!file->isPlaceholder() && !d->passesFilter(file))
                return false;
        }
    } else if (!data->hasFormat(TQBookmarksInternalPboardType) || rowsIn(data).isEmpty()) {
        return false;
    }
    if (operation == DropOperation::On) {
        if (row == -1)
            row = int(d->list.size());
        operation = DropOperation::Above;
    }
    return true;
}

bool TQBookmarksController::acceptDrop(const QMimeData *data, int row)
{
    if (!data || row < 0)
        return false;
    QList<QVariantMap> placed;
    if (data->hasFormat(uriListFormat)) {
        for (const UWStandardFileRef &file : filesIn(data)) {
            const QVariantMap archive = file->archiveDictionary();
            if (archive.isEmpty() || file->URL().isEmpty() || !d->passesFilter(file))
                continue;
            placed.append(newEntry(file, archive));
        }
    } else if (data->hasFormat(TQBookmarksInternalPboardType)) {
        // The rows as they stand now, before anything moves.
        for (int dragged : rowsIn(data)) {
            if (dragged < d->list.size())
                placed.append(d->list.at(dragged).record);
        }
    } else {
        return false;
    }
    if (placed.isEmpty())
        return false;
    qsizetype insertion = std::min<qsizetype>(row, d->list.size());
    for (const QVariantMap &record : std::as_const(placed)) {
        const qsizetype existing = d->indexOfEqual(record);
        if (existing < 0) {
            d->model->beginInsertRows({}, int(insertion), int(insertion));
            d->list.insert(insertion, d->make(record));
            d->model->endInsertRows();
            ++insertion;
            continue;
        }
        // Taken out, then put in above the insertion row: where it ends up, counted in the
        // list without it.
        const qsizetype target = existing < insertion ? insertion - 1 : insertion;
        if (target != existing) {
            // A view counts the destination in the list as it stands before the move.
            d->model->beginMoveRows({}, int(existing), int(existing), {}, int(target > existing ? target + 1 : target));
            d->list.move(existing, target);
            d->model->endMoveRows();
        }
        insertion = target + 1;
    }
    Q_EMIT bookmarksChanged();
    return true;
}

bool TQBookmarksController::setTitleAtRow(int row, const QVariant &title)
{
    if (row < 0 || row >= d->list.size() || title.metaType() != QMetaType::fromType<QString>())
        return false;
    const QString text = title.toString();
    if (text.isEmpty())
        return false;
    d->list[row].record.insert(TQBookmarkTitleKey, text);
    const QModelIndex index = d->model->index(row, 0);
    Q_EMIT d->model->dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole, TQBookmarksModel::BookmarkDictRole});
    Q_EMIT bookmarksChanged();
    return true;
}

const QVariantMap *TQBookmarksController::entryAt(int row) const
{
    return row >= 0 && row < d->list.size() ? &d->list.at(row).record : nullptr;
}
