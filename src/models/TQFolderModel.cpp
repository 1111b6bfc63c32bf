// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFolderModel.h"

#include "FVFinderLabel.h"
#include "TQAsyncQuicklookThumbnailer.h"
#include "TQFile_p.h"
#include "TQModelsLogging.h"
#include "TQNameFilter.h"
#include "TQNameOrder.h"
#include "TQThumbnailMemoryCache.h"
#include "UWFileFactory_p.h"
#include "UWFileManager.h"
#include "UWFileManagerCategories.h"
#include "UWFileManager_p.h"
#include "UWQueuedObjectOperation.h"
#include "UWStatInfo_p.h"

#include <QColor>
#include <QDateTime>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QIcon>
#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <QItemSelectionModel>
#include <QPointer>
#include <QRandomGenerator>
#include <QThreadPool>
#include <QTimer>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <bit>
#include <atomic>
#include <cmath>
#include <cstring>
#include <mutex>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// What a column shows and sorts by. "Content" columns need the file's content (or an extended
// attribute, or the desktop's records) and are filled in the background.
struct ColumnInfo
{
    TQSortType type;
    const char16_t *textKey;
    const char16_t *sortKey;
    bool content;
    const char *title;
};

const ColumnInfo columns[TQFolderModel::ColumnCount] = {
    {TQSortType::Name, u"displayName", u"displayName", false, QT_TRANSLATE_NOOP("TQFolderModel", "Name")},
    {TQSortType::Kind, u"kindString", u"kindString", false, QT_TRANSLATE_NOOP("TQFolderModel", "Kind")},
    {TQSortType::FileSize, u"fileSizeString", u"fileSize", false, QT_TRANSLATE_NOOP("TQFolderModel", "Size")},
    {TQSortType::ModificationDate, u"modificationDateString", u"modificationDate", false,
     QT_TRANSLATE_NOOP("TQFolderModel", "Date Modified")},
    {TQSortType::CreationDate, u"creationDateString", u"creationDate", false,
     QT_TRANSLATE_NOOP("TQFolderModel", "Date Created")},
    {TQSortType::DateAdded, u"dateAddedString", u"addedDate", true, QT_TRANSLATE_NOOP("TQFolderModel", "Date Added")},
    {TQSortType::Label, u"finderLabelSortValue", u"finderLabelSortValue", true,
     QT_TRANSLATE_NOOP("TQFolderModel", "Label")},
    {TQSortType::Width, u"dimensionsWidth", u"dimensionsWidth", true, QT_TRANSLATE_NOOP("TQFolderModel", "Width")},
    {TQSortType::Height, u"dimensionsHeight", u"dimensionsHeight", true, QT_TRANSLATE_NOOP("TQFolderModel", "Height")},
    {TQSortType::Megapixels, u"megapixelString", u"megapixels", true, QT_TRANSLATE_NOOP("TQFolderModel", "Megapixels")},
    {TQSortType::ImageDepth, u"imageDepthString", u"imageDepthString", true, QT_TRANSLATE_NOOP("TQFolderModel", "Depth")},
    {TQSortType::ColorProfile, u"ICCProfileString", u"ICCProfileString", true,
     QT_TRANSLATE_NOOP("TQFolderModel", "Color Profile")},
    {TQSortType::ExifDate, u"EXIFDateString", u"EXIFDate", true, QT_TRANSLATE_NOOP("TQFolderModel", "Date Taken")},
    {TQSortType::GeneralOrientation, u"generalOrientationString", u"generalOrientation", true,
     QT_TRANSLATE_NOOP("TQFolderModel", "Orientation")},
    {TQSortType::ExposureTime, u"exposureTimeString", u"exposureTime", true, QT_TRANSLATE_NOOP("TQFolderModel", "Exposure")},
    {TQSortType::FNumber, u"fNumberString", u"fNumber", true, QT_TRANSLATE_NOOP("TQFolderModel", "F-Number")},
    {TQSortType::ISO, u"ISOString", u"ISO", true, QT_TRANSLATE_NOOP("TQFolderModel", "ISO")},
    {TQSortType::FocalLength, u"focalLengthString", u"focalLength", true, QT_TRANSLATE_NOOP("TQFolderModel", "Focal Length")},
    {TQSortType::CameraModel, u"cameraModelString", u"cameraModelString", true, QT_TRANSLATE_NOOP("TQFolderModel", "Camera")},
};

int columnOfType(int type)
{
    for (int c = 0; c < TQFolderModel::ColumnCount; ++c) {
        if (int(columns[c].type) == type)
            return c;
    }
    return -1;
}

// A double as an int64 of the same order (the IEEE trick), so that every sort key is one integer.
qint64 orderedBits(double value)
{
    if (std::isnan(value))
        value = 0;
    qint64 bits;
    std::memcpy(&bits, &value, sizeof bits);
    // Negative numbers grow in magnitude with their lower bits: turn those round.
    return bits < 0 ? bits ^ std::numeric_limits<qint64>::max() : bits;
}

qint64 msecs(const QDateTime &date)
{
    return date.isValid() ? date.toMSecsSinceEpoch() : std::numeric_limits<qint64>::min();
}

// A thumbnail as an icon: views size decorations by their iconSize through actualSize(),
// so a table's rows stay as tall as its small icons while a grid shows the whole picture.
// It shares the memory cache's image (never a second copy) and is never drawn larger than
// the thumbnail itself.
class ThumbnailIconEngine final : public QIconEngine
{
public:
    explicit ThumbnailIconEngine(const QImage &image) : m_image(image) {}

    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override
    {
        const QSize own = m_image.size();
        if (own.width() <= size.width() && own.height() <= size.height())
            return own;
        return own.scaled(size, Qt::KeepAspectRatio).expandedTo({1, 1});
    }
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        QRect target({}, actualSize(rect.size(), mode, state));
        target.moveCenter(rect.center());
        painter->save();
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(target, m_image);
        painter->restore();
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        const QSize fit = actualSize(size, mode, state);
        return QPixmap::fromImage(fit == m_image.size() ? m_image
                                                        : m_image.scaled(fit, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    }
    QIconEngine *clone() const override { return new ThumbnailIconEngine(m_image); }
    QString key() const override { return QStringLiteral("tqkit-thumbnail"); }

private:
    QImage m_image;
};

} // namespace

namespace {
const TQNameOrder::SortKey &emptyNameKey()
{
    static const TQNameOrder::SortKey key = TQNameOrder::sortKey(QString());
    return key;
}
} // namespace

// One item of the model, shown or filtered out. Everything that sorting and filtering read is
// here, computed once per item (and again when it changes), so that neither ever asks an item.
// What a resort reads comes first, in the entry's first cache line: a resort of a big folder
// reads that line of every entry and nothing else. A big folder holds 100k of these: every
// field counts.
struct TQFolderEntry
{
    qint64 size = 0;
    qint64 modified = 0;
    qint64 created = 0;
    qint64 added = 0;               // the date added, once the background values arrived
    qint64 key = 0;                 // the current sort type's key (see Private::computeKeys)
    int nameRank = 0;               // position in name order, while Private::ranksValid
    int row = -1;                   // row shown, -1 when filtered out
    qint8 label = -1;               // -1 until read
    bool directory : 1 = false;
    bool invisible : 1 = false;
    bool image : 1 = false;
    bool media : 1 = false;
    bool contentKnown : 1 = false;  // the background values have arrived
    bool passes : 1 = false;        // the filter lets it through
    bool noThumbnail : 1 = false;   // the thumbnailer could make none
    bool thumbnailRequested : 1 = false;
    bool valuesQueued : 1 = false;
    bool isFile : 1 = false;        // the item is a TQFile (a bit, not a second pointer)
    const QString *kind = nullptr;  // one shared copy per distinct kind (see internedKind)
    UWStandardFileRef item;
    TQNameOrder::SortKey nameKey = emptyNameKey(); // the display name and its collation key

    // The item as a TQFile; null for other item classes.
    TQFile *file() const { return isFile ? static_cast<TQFile *>(item.get()) : nullptr; }
};

namespace {

// The model's own key, not the one an item keeps on request: asking the item would leave a
// second record of the key in every item for as long as the item lives.
TQNameOrder::SortKey nameKeyOf(const UWStandardFile &item)
{
    return TQNameOrder::sortKey(item.displayName());
}

// The entry's name as the last bytes of its path, sharing the path's buffer: a big folder's
// index of names then costs no copy of every name. (A byte array may start inside its buffer,
// as one that was prepended to does; changing either copy detaches it.) A path that does not
// end in the name gets a copy.
QByteArray nameWithin(const QByteArray &path, const char *name)
{
    const qsizetype length = qsizetype(std::strlen(name));
    if (path.size() <= length || !path.endsWith(QByteArrayView(name, length)))
        return QByteArray(name, length);
    QByteArray slice = path;
    QByteArray::DataPointer &data = slice.data_ptr();
    data.ptr += path.size() - length;
    data.size = length;
    return slice;
}

// Kinds are few and every entry of a kind names the same text: entries point at one copy,
// kept for the process (the texts of the types met, a few hundred at most). Any thread.
const QString *internedKind(const QString &kind)
{
    static std::mutex lock;
    static std::unordered_set<QString> kinds;
    std::lock_guard locker(lock);
    return &*kinds.insert(kind).first;
}

// The item's facts that need no content; any thread (items are thread-safe).
void fill(TQFolderEntry &e, const UWStandardFileRef &item, const UWStatInfo *stat)
{
    e.item = item;
    e.isFile = dynamic_cast<TQFile *>(item.get()) != nullptr;
    e.nameKey = nameKeyOf(*item);
    e.directory = item->isDirectory();
    e.invisible = item->isInvisible();
    e.kind = internedKind(item->kindString());
    if (stat) {
        e.size = e.directory ? 0 : stat->size;
        e.modified = stat->modifiedNSecs / 1000000;
        e.created = (stat->hasBirthTime ? stat->bornNSecs : stat->statusChangedNSecs) / 1000000;
    } else {
        e.size = e.file() ? e.file()->fileSize() : item->byteSize();
        e.modified = msecs(item->modificationDate());
        e.created = msecs(item->creationDate());
    }
    // Asked without being kept in the item: the entry keeps them.
    if (const TQFile *file = e.file()) {
        const TQFileKinds kinds = tqFileKinds(*file);
        e.image = kinds.image;
        e.media = kinds.media;
    }
}

// The background values: image values into the item's own caches, its label, its date added.
class ValuesOperation : public UWQueuedObjectOperation
{
protected:
    void main() override
    {
        while (!isCancelled()) {
            const UWStandardFileRef item = popFromQueue();
            if (!item)
                return;
            if (auto *file = dynamic_cast<TQFile *>(item.get())) {
                if (!file->isDirectory() && tqFileKinds(*file).image && file->isReadable())
                    file->findAllImageInfo();
            }
            postResult({QVariantList{item->finderLabel(), msecs(item->dateAdded())}, item});
        }
    }
};

// A listing under way: the worker's side. The model drops it (cancelled) when it shows
// something else; batches of a dropped listing are thrown away on arrival.
struct ListingJob
{
    QByteArray path;
    // The subscription's own listing, when another view had it loaded already: its items are
    // taken as they are instead of reading the folder.
    std::optional<QList<UWStandardFileRef>> snapshot;
    // What the worker listed, in the folder's order and by name, for the subscription to take
    // over; read on the GUI thread once the last batch has arrived.
    QList<UWStandardFileRef> items;
    QHash<QByteArray, UWStandardFileRef> byName;
    // The model's index of its entries by item, made here rather than batch by batch on the
    // GUI thread, where growing it past 65,536 entries alone costs several milliseconds.
    QHash<const UWStandardFile *, TQFolderEntry *> byItem;
    // Adds the folder's watch, before the folder is read (UWFileManagerInternal::watchLater).
    std::function<void()> watch;
    std::atomic_bool cancelled{false};
};

} // namespace

using Entries = std::vector<TQFolderEntry *>;

struct TQFolderModel::Private : public QObject,
                                public UWQueuedObjectOperationDelegate,
                                public TQAsyncQuicklookThumbnailerDelegate
{
    TQFolderModel *q;
    UWStandardFileRef folder;
    QByteArray folderPath;
    std::shared_ptr<UWFileSubscription> subscription;
    std::shared_ptr<ListingJob> listing;
    QList<UWFolderChanges> heldChanges;   // heard while the listing was under way
    bool loading = false;
    bool folderGone = false;

    QHash<const UWStandardFile *, TQFolderEntry *> byItem;
    Entries all;  // every entry, in sort order
    Entries rows; // the entries that pass the filter, in sort order
    bool ranksValid = false;

    int sortType = 0;
    int folderPriority = 0;
    bool ascending = true;
    bool sortNeedsContent = false;
    bool keyed = false; // the sort type has a key besides the name
    int filterType = 0;
    bool excludeFolders = false;
    TQNameFilter nameFilter;

    int firstVisible = -1;
    int lastVisible = -1;

    QSize thumbnailSize;
    TQThumbnailMemoryCache cache{qint64(32) << 20};
    TQAsyncQuicklookThumbnailer thumbnailer;
    QSet<TQFolderEntry *> thumbnailsPending;

    bool loadsImageInfo = true;
    std::shared_ptr<ValuesOperation> values;
    qsizetype valuesLeft = 0;
    QTimer resortTimer;
    // Entries still to be queued for values, fed a slice per event-loop turn: queueing a big
    // folder at once walks every entry, several frames' worth on the GUI thread.
    Entries valuesBacklog;
    size_t valuesBacklogAt = 0;
    QTimer valuesBacklogTimer;
    bool valuesFinishHeld = false; // an operation ended while the backlog was not yet fed
    // The listing's batches not merged yet, a piece per event-loop turn (mergeListingBacklog).
    Entries listingBacklog;
    QTimer listingBacklogTimer;
    bool listingDone = false; // the last batch is among them
    QString listingError;
    static constexpr qint64 listingPieceBudgetNs = 5'000'000;
    static constexpr size_t fewestPerPiece = 256;
    static constexpr size_t mostPerPiece = 8192;
    size_t listingPiece = 1024;

    explicit Private(TQFolderModel *model) : q(model)
    {
        thumbnailer.setDelegate(this);
        resortTimer.setSingleShot(true);
        resortTimer.setInterval(100);
        connect(&resortTimer, &QTimer::timeout, this, [this] { resortChanged(); });
        valuesBacklogTimer.setInterval(0);
        connect(&valuesBacklogTimer, &QTimer::timeout, this, [this] { feedValuesBacklog(); });
        listingBacklogTimer.setInterval(0);
        connect(&listingBacklogTimer, &QTimer::timeout, this, [this] { mergeListingBacklog(); });
    }
    ~Private() override
    {
        stopBackground();
        qDeleteAll(all);
    }

    // ---- Sort keys and order ----------------------------------------------------------

    static bool typeNeedsContent(int type)
    {
        const int c = columnOfType(type);
        return c >= 0 && columns[c].content;
    }

    // Text columns sort by the name order of their texts: each distinct text gets its rank
    // once, so that items compare integers.
    void computeKeys(const Entries &entries)
    {
        keysRanked = false;
        const int c = columnOfType(sortType);
        if (sortType == int(TQSortType::Random)) {
            for (TQFolderEntry *e : entries)
                e->key = QRandomGenerator::global()->generate64();
            return;
        }
        if (c <= 0)
            return;
        switch (columns[c].type) {
        case TQSortType::FileSize:
            for (TQFolderEntry *e : entries)
                e->key = e->size;
            return;
        case TQSortType::ModificationDate:
            for (TQFolderEntry *e : entries)
                e->key = e->modified;
            return;
        case TQSortType::CreationDate:
            for (TQFolderEntry *e : entries)
                e->key = e->created;
            return;
        case TQSortType::Kind:
            rankTexts(entries, [](const TQFolderEntry *e) { return kindOf(e); });
            return;
        case TQSortType::DateAdded:
            for (TQFolderEntry *e : entries)
                e->key = e->added;
            return;
        case TQSortType::Label:
            rankTexts(entries, [](const TQFolderEntry *e) { return labelText(e); });
            return;
        default:
            break;
        }
        const QString key = QString::fromUtf16(columns[c].sortKey);
        QList<TQFolderEntry *> known;
        for (TQFolderEntry *e : entries) {
            if (!e->contentKnown || !e->file()) {
                e->key = 0;
                continue;
            }
            known.append(e);
        }
        if (known.isEmpty())
            return;
        // Every value of a column is of one type; the first value at hand tells which (items
        // that are not images have none).
        int typeId = QMetaType::UnknownType;
        for (const TQFolderEntry *e : std::as_const(known)) {
            if (const std::optional<QVariant> probe = e->file()->cachedValueForKey(key)) {
                typeId = probe->typeId();
                break;
            }
        }
        if (typeId == QMetaType::QString) {
            rankTexts(entries, [&key](const TQFolderEntry *e) {
                if (!e->contentKnown || !e->file())
                    return QString();
                return e->file()->cachedValueForKey(key).value_or(QVariant()).toString();
            });
            return;
        }
        for (TQFolderEntry *e : known) {
            const QVariant value = e->file()->cachedValueForKey(key).value_or(QVariant());
            if (value.typeId() == QMetaType::QDateTime)
                e->key = msecs(value.toDateTime());
            else if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float)
                e->key = orderedBits(value.toDouble());
            else
                e->key = value.toLongLong();
        }
    }

    static QString kindOf(const TQFolderEntry *e) { return e->kind ? *e->kind : QString(); }

    static QString labelText(const TQFolderEntry *e)
    {
        return e->label > 0 ? FVFinderLabel::nameForLabel(e->label) : QString();
    }

    // Whether the last computeKeys() ranked texts: ranks hold only among the entries given.
    bool keysRanked = false;

    template <typename TextOf>
    void rankTexts(const Entries &entries, TextOf textOf)
    {
        keysRanked = true;
        QHash<QString, qint64> ranks;
        for (TQFolderEntry *e : entries)
            ranks.insert(textOf(e), 0);
        QStringList texts = ranks.keys();
        std::sort(texts.begin(), texts.end(),
                  [](const QString &a, const QString &b) { return TQNameOrder::compareNames(a, b) < 0; });
        for (qsizetype i = 0; i < texts.size(); ++i)
            ranks[texts.at(i)] = i;
        for (TQFolderEntry *e : entries)
            e->key = ranks.value(textOf(e));
    }

    int compareNames(const TQFolderEntry *a, const TQFolderEntry *b) const
    {
        if (ranksValid)
            return a->nameRank < b->nameRank ? -1 : a->nameRank > b->nameRank;
        return a->nameKey.compare(b->nameKey);
    }

    // The one order of the model: folder priority, then known before unknown, then the key,
    // then the name, the last two in the direction asked for.
    bool less(const TQFolderEntry *a, const TQFolderEntry *b) const
    {
        if (folderPriority == int(TQFolderPriority::FoldersFirst) || folderPriority == int(TQFolderPriority::FoldersLast)) {
            if (a->directory != b->directory)
                return (folderPriority == int(TQFolderPriority::FoldersFirst)) == a->directory;
        }
        if (sortNeedsContent && a->contentKnown != b->contentKnown)
            return a->contentKnown;
        if (keyed && a->key != b->key)
            return ascending ? a->key < b->key : a->key > b->key;
        const int c = compareNames(a, b);
        return ascending ? c < 0 : c > 0;
    }

    auto comparator() const
    {
        return [this](const TQFolderEntry *a, const TQFolderEntry *b) { return less(a, b); };
    }

    // Names ranked once by a name sort of every entry; later sorts by other keys break ties
    // with integers.
    void ensureRanks()
    {
        if (ranksValid)
            return;
        Entries byName = all;
        std::stable_sort(byName.begin(), byName.end(),
                         [](const TQFolderEntry *a, const TQFolderEntry *b) { return a->nameKey.compare(b->nameKey) < 0; });
        for (size_t i = 0; i < byName.size(); ++i)
            byName[i]->nameRank = int(i);
        ranksValid = true;
    }

    // Sorts integers of \a bits significant bits by their digits, lowest first: a few
    // passes over the array, where a comparison sort of 100k integers makes seventeen.
    static void radixSort(std::vector<quint64> &values, int bits)
    {
        constexpr int digitBits = 11;
        constexpr size_t buckets = size_t(1) << digitBits;
        std::vector<quint64> spare(values.size());
        for (int shift = 0; shift < bits; shift += digitBits) {
            std::vector<size_t> starts(buckets + 1);
            for (quint64 v : values)
                ++starts[((v >> shift) & (buckets - 1)) + 1];
            for (size_t b = 1; b <= buckets; ++b)
                starts[b] += starts[b - 1];
            for (quint64 v : values)
                spare[starts[(v >> shift) & (buckets - 1)]++] = v;
            values.swap(spare);
        }
    }

    // Where a resort finds the key: in the entry's key (computeKeys() wrote it), or in one
    // of the entry's own values, read and stored in the same pass.
    enum class KeySource { None, Stored, Size, Modified, Created };

    KeySource keySource() const
    {
        if (!keyed)
            return KeySource::None;
        switch (sortType) {
        case int(TQSortType::FileSize): return KeySource::Size;
        case int(TQSortType::ModificationDate): return KeySource::Modified;
        case int(TQSortType::CreationDate): return KeySource::Created;
        default: return KeySource::Stored;
        }
    }

    // The order of less() with valid name ranks, as one unsigned integer per entry: group
    // (folder priority, then known before unknown), key and rank side by side, the key and
    // rank turned round for a descending order. Ranks are unique, so the integers are too,
    // and a plain sort of integers gives the one order less() gives. Each entry is read once,
    // in one pass; the sorted integers name their entries by rank. When \a shown is given, it
    // receives the entries that pass the filter, in the new order, without reading them again.
    void sortPacked(Entries *shown)
    {
        const size_t n = all.size();
        if (shown)
            shown->clear();
        if (n < 2) {
            if (shown && n == 1 && all[0]->passes)
                shown->push_back(all[0]);
            return;
        }
        const KeySource source = keySource();
        const bool first = folderPriority == int(TQFolderPriority::FoldersFirst);
        const bool last = folderPriority == int(TQFolderPriority::FoldersLast);
        std::vector<quint64> keys(n);
        std::vector<quint32> ranks(n);
        std::vector<quint8> groups(n);
        std::vector<TQFolderEntry *> byRank(n);
        std::vector<quint8> passesByRank(n);
        quint64 low = std::numeric_limits<quint64>::max(), high = 0;
        quint32 maxRank = 0;
        bool grouped = false;
        for (size_t i = 0; i < n; ++i) {
            // Entries lie scattered over the heap: ask for the next ones while this one is read.
            if (i + 8 < n)
                __builtin_prefetch(all[i + 8]);
            TQFolderEntry *e = all[i];
            qint64 key = 0;
            switch (source) {
            case KeySource::None: break;
            case KeySource::Stored: key = e->key; break;
            case KeySource::Size: key = e->key = e->size; break;
            case KeySource::Modified: key = e->key = e->modified; break;
            case KeySource::Created: key = e->key = e->created; break;
            }
            const quint64 u = quint64(key) ^ (quint64(1) << 63); // signed order as unsigned
            const quint8 group = quint8(((first && !e->directory) || (last && e->directory) ? 2 : 0)
                                        + (sortNeedsContent && !e->contentKnown ? 1 : 0));
            const quint32 rank = quint32(e->nameRank);
            if (rank >= byRank.size()) { // ranks keep their gaps after removals
                byRank.resize(rank + 1);
                passesByRank.resize(rank + 1);
            }
            keys[i] = u;
            ranks[i] = rank;
            groups[i] = group;
            byRank[rank] = e;
            passesByRank[rank] = e->passes;
            low = std::min(low, u);
            high = std::max(high, u);
            maxRank = std::max(maxRank, rank);
            grouped |= group != 0;
        }
        const bool up = ascending;
        const int keyBits = int(std::bit_width(high - low));
        const int rankBits = int(std::bit_width(maxRank));
        const int groupBits = grouped ? 2 : 0;
        const auto keyPart = [&](size_t i) { return up ? keys[i] - low : high - keys[i]; };
        const auto rankPart = [&](size_t i) { return up ? ranks[i] : maxRank - ranks[i]; };
        const auto place = [&](size_t i, quint32 part) {
            TQFolderEntry *e = byRank[up ? part : maxRank - part];
            all[i] = e;
            if (shown && passesByRank[up ? part : maxRank - part])
                shown->push_back(e);
        };
        if (groupBits + keyBits + rankBits <= 64) {
            // The usual case (sizes, dates, ranks of texts): one 64-bit integer each.
            std::vector<quint64> packed(n);
            for (size_t i = 0; i < n; ++i)
                packed[i] = (((quint64(groups[i]) << keyBits) | keyPart(i)) << rankBits) | rankPart(i);
            radixSort(packed, groupBits + keyBits + rankBits);
            const quint64 rankMask = (quint64(1) << rankBits) - 1;
            for (size_t i = 0; i < n; ++i)
                place(i, quint32(packed[i] & rankMask));
        } else {
            using Wide = unsigned __int128;
            std::vector<Wide> packed(n);
            for (size_t i = 0; i < n; ++i)
                packed[i] = (Wide(groups[i]) << 96) | (Wide(keyPart(i)) << 32) | rankPart(i);
            std::sort(packed.begin(), packed.end());
            for (size_t i = 0; i < n; ++i)
                place(i, quint32(packed[i]));
        }
    }

    // Sorts the list; \a shown, when given and the ranks allow the packed sort, receives the
    // rows in the new order (else it is left empty and false is answered).
    bool sortAll(Entries *shown = nullptr)
    {
        if (all.size() > 1 && sortType != 0)
            ensureRanks();
        if (ranksValid) {
            const KeySource source = keySource();
            if (source == KeySource::Stored || source == KeySource::None)
                computeKeys(all);
            else
                keysRanked = false;
            sortPacked(shown);
            return shown != nullptr;
        }
        computeKeys(all);
        std::stable_sort(all.begin(), all.end(), comparator());
        if (sortType == 0 && folderPriority == 0) {
            for (size_t i = 0; i < all.size(); ++i)
                all[i]->nameRank = ascending ? int(i) : int(all.size() - 1 - i);
            ranksValid = true;
        }
        return false;
    }

    // ---- Filtering --------------------------------------------------------------------

    bool passes(const TQFolderEntry *e) const
    {
        bool ok = true;
        switch (filterType) {
        case 0: ok = !e->invisible; break;
        case 1: break;
        case 2: ok = !e->invisible && e->image; break;
        case 3: ok = !e->invisible && e->media; break;
        case 4: ok = !e->invisible && (e->image || e->directory); break;
        case 5: ok = !e->invisible && (e->media || e->directory); break;
        case 6: ok = !e->invisible && e->directory; break;
        case 7: ok = !e->invisible && !e->directory; break;
        default: break;
        }
        // The folders preset keeps its folders whatever the switch says.
        if (ok && excludeFolders && filterType != 6)
            ok = !e->directory;
        if (ok && !nameFilter.isEmpty())
            ok = nameFilter.matches(e->nameKey.string());
        return ok;
    }

    // Row numbers live in the entries, scattered over the heap: numbering 100k of them costs
    // a cache miss each, more than a frame, and a listing inserts hundreds of batches. An
    // insertion leaves the rows after it unnumbered (from numberedUpTo on), and whoever reads
    // an entry's row numbers them first, once for all the batches before.
    size_t numberedUpTo = 0;

    void renumber(size_t from = 0)
    {
        for (size_t i = std::min(from, numberedUpTo); i < rows.size(); ++i)
            rows[i]->row = int(i);
        numberedUpTo = rows.size();
    }

    void ensureNumbered() { renumber(rows.size()); }

    // The entries of the rows the indexes name, read before a layout change moves them.
    QList<TQFolderEntry *> entriesAt(const QModelIndexList &indexes) const
    {
        QList<TQFolderEntry *> entries;
        entries.reserve(indexes.size());
        for (const QModelIndex &index : indexes)
            entries.append(rows.at(size_t(index.row())));
        return entries;
    }

    // Rows derived again from the sorted list, as one layout change: persistent indexes
    // follow their items, and those of items filtered out in the meantime would be lost, so
    // the filter must not have changed (applyFilter() removes and inserts rows first).
    // \a shown, when given, holds the new rows already (sortPacked() made them). Row numbers
    // are left to be brought up to date when one is next read; a persistent index's new row
    // is found by bisection, since the rows are in the order of less().
    void relayout(Entries *shown = nullptr)
    {
        Q_EMIT q->layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList before = q->persistentIndexList();
        const QList<TQFolderEntry *> entriesBefore = entriesAt(before);
        if (shown) {
            rows.swap(*shown);
            Entries().swap(*shown);
        } else {
            rows.clear();
            for (TQFolderEntry *e : all) {
                if (e->passes)
                    rows.push_back(e);
            }
        }
        numberedUpTo = 0;
        QModelIndexList after;
        after.reserve(before.size());
        const auto cmp = comparator();
        for (qsizetype i = 0; i < before.size(); ++i) {
            TQFolderEntry *e = entriesBefore.at(i);
            auto at = std::lower_bound(rows.begin(), rows.end(), e, cmp);
            int row = int(at - rows.begin());
            if (at == rows.end() || *at != e) {
                // Two entries the order cannot tell apart (equal display names): counted.
                ensureNumbered();
                row = e->row;
            }
            after.append(row >= 0 ? q->createIndex(row, before.at(i).column()) : QModelIndex());
        }
        q->changePersistentIndexList(before, after);
        Q_EMIT q->layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    }

    void setSortTraits()
    {
        sortNeedsContent = typeNeedsContent(sortType);
        keyed = columnOfType(sortType) > 0 || sortType == int(TQSortType::Random);
    }

    void resort()
    {
        setSortTraits();
        Entries shown;
        relayout(sortAll(&shown) ? &shown : nullptr);
    }

    // The filter changed: rows that leave are removed and rows that come are inserted, in
    // runs, so that selections and persistent indexes of the rest stay.
    void applyFilter()
    {
        // Removals, from the bottom up.
        for (qsizetype i = qsizetype(rows.size()) - 1; i >= 0;) {
            if (passes(rows[size_t(i)])) {
                --i;
                continue;
            }
            qsizetype first = i;
            while (first > 0 && !passes(rows[size_t(first - 1)]))
                --first;
            q->beginRemoveRows({}, int(first), int(i));
            for (qsizetype r = first; r <= i; ++r) {
                rows[size_t(r)]->passes = false;
                rows[size_t(r)]->row = -1;
            }
            rows.erase(rows.begin() + first, rows.begin() + i + 1);
            q->endRemoveRows();
            i = first - 1;
        }
        renumber();
        // Insertions, top down, walking the sorted list beside the rows.
        size_t row = 0;
        for (size_t i = 0; i < all.size();) {
            TQFolderEntry *e = all[i];
            if (e->passes) {
                ++row;
                ++i;
                continue;
            }
            if (!passes(e)) {
                ++i;
                continue;
            }
            Entries run;
            while (i < all.size() && !all[i]->passes && passes(all[i])) {
                run.push_back(all[i]);
                ++i;
            }
            // Entries filtered out before this run are skipped above; entries filtered out
            // inside it end the run.
            q->beginInsertRows({}, int(row), int(row + run.size() - 1));
            rows.insert(rows.begin() + qsizetype(row), run.begin(), run.end());
            for (TQFolderEntry *r : run)
                r->passes = true;
            renumber(row);
            q->endInsertRows();
            row += run.size();
        }
        requestVisibleWork();
    }

    // ---- Inserting, removing, changing ------------------------------------------------

    // \a indexed: the entries are in byItem already, or will be (a listing's batches).
    void insertEntries(Entries batch, bool indexed = false)
    {
        if (batch.empty())
            return;
        ranksValid = false;
        for (TQFolderEntry *e : batch) {
            if (!indexed)
                byItem.insert(e->item.get(), e);
            e->passes = passes(e);
            e->row = -1;
        }
        if (sortType == int(TQSortType::Kind)) {
            // Ranks of kinds are among all kinds: a new one shifts the others.
            Entries every = all;
            every.insert(every.end(), batch.begin(), batch.end());
            computeKeys(every);
        } else {
            computeKeys(batch);
        }
        const auto cmp = comparator();
        if (batch.size() <= 16) {
            for (TQFolderEntry *e : batch) {
                all.insert(std::upper_bound(all.begin(), all.end(), e, cmp), e);
                if (!e->passes)
                    continue;
                const auto at = std::upper_bound(rows.begin(), rows.end(), e, cmp);
                const int row = int(at - rows.begin());
                q->beginInsertRows({}, row, row);
                rows.insert(at, e);
                numberedUpTo = std::min(numberedUpTo, size_t(row));
                q->endInsertRows();
            }
        } else {
            // Many at once: appended as one run, then moved into place by one layout change.
            std::stable_sort(batch.begin(), batch.end(), cmp);
            Entries shown;
            for (TQFolderEntry *e : batch) {
                if (e->passes)
                    shown.push_back(e);
            }
            if (!shown.empty()) {
                q->beginInsertRows({}, int(rows.size()), int(rows.size() + shown.size() - 1));
                numberedUpTo = std::min(numberedUpTo, rows.size());
                rows.insert(rows.end(), shown.begin(), shown.end());
                q->endInsertRows();
            }
            mergeIntoAll(batch);
            if (!shown.empty())
                mergeShownRows(shown.size());
        }
        queueValues(batch);
    }

    // Merges \a sorted into the sorted list. A batch is small beside a big folder: each entry
    // finds its place by bisection, so comparisons (collation keys, the costly part) grow with
    // the batch, and only the moving of pointers with the folder.
    void mergeIntoAll(const Entries &sorted)
    {
        const auto cmp = comparator();
        if (sorted.size() * 16 > all.size()) {
            const size_t middle = all.size();
            all.insert(all.end(), sorted.begin(), sorted.end());
            std::inplace_merge(all.begin(), all.begin() + qsizetype(middle), all.end(), cmp);
            return;
        }
        Entries merged;
        merged.reserve(all.size() + sorted.size());
        auto from = all.begin();
        for (TQFolderEntry *e : sorted) {
            const auto at = std::upper_bound(from, all.end(), e, cmp);
            merged.insert(merged.end(), from, at);
            merged.push_back(e);
            from = at;
        }
        merged.insert(merged.end(), from, all.end());
        all.swap(merged);
    }

    // The last \a count rows, just appended in order, move to their places among the rows
    // before them in one layout change. The same order relayout() derives from the sorted
    // list, but reached by bisection: the cost grows with the batch, apart from moving
    // pointers, and no entry outside the batch is touched.
    void mergeShownRows(size_t count)
    {
        const size_t kept = rows.size() - count;
        const Entries shown(rows.begin() + qsizetype(kept), rows.end());
        const auto cmp = comparator();
        Q_EMIT q->layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList before = q->persistentIndexList();
        const QList<TQFolderEntry *> entriesBefore = entriesAt(before);
        // places[k]: how many kept rows go before shown[k].
        std::vector<size_t> places;
        places.reserve(count);
        Entries merged;
        merged.reserve(rows.size());
        // The sorted list, the batch merged already, holds the kept rows and the batch's in
        // the rows' order, among the entries the filter leaves out: walking it beside the kept
        // rows finds the batch's places by comparing pointers, without reading an entry (at
        // 100k, reading each would cost more than the merge).
        {
            size_t j = 0, k = 0;
            for (size_t i = 0; i < all.size() && (j < kept || k < shown.size()); ++i) {
                TQFolderEntry *e = all[i];
                if (j < kept && e == rows[j]) {
                    merged.push_back(e);
                    ++j;
                } else if (k < shown.size() && e == shown[k]) {
                    places.push_back(j);
                    merged.push_back(e);
                    ++k;
                }
            }
            if (j < kept || k < shown.size()) {
                // Not a subsequence: the lists disagree, which they should never do. The
                // comparisons decide instead.
                qCWarning(lcModels) << "rows out of step with the sorted list; placed by comparison";
                places.clear();
                merged.clear();
                auto from = rows.begin();
                const auto keptEnd = rows.begin() + qsizetype(kept);
                for (TQFolderEntry *e : shown) {
                    const auto at = std::upper_bound(from, keptEnd, e, cmp);
                    merged.insert(merged.end(), from, at);
                    places.push_back(size_t(at - rows.begin()));
                    merged.push_back(e);
                    from = at;
                }
                merged.insert(merged.end(), from, keptEnd);
            }
        }
        rows.swap(merged);
        numberedUpTo = std::min(numberedUpTo, places.empty() ? rows.size() : places.front());
        QHash<const TQFolderEntry *, size_t> shownRow;
        QModelIndexList after;
        after.reserve(before.size());
        for (qsizetype i = 0; i < before.size(); ++i) {
            const size_t old = size_t(before.at(i).row());
            size_t now;
            if (old < kept) {
                now = old + size_t(std::upper_bound(places.begin(), places.end(), old) - places.begin());
            } else {
                if (shownRow.isEmpty()) {
                    for (size_t k = 0; k < shown.size(); ++k)
                        shownRow.insert(shown[k], places[k] + k);
                }
                now = shownRow.value(entriesBefore.at(i));
            }
            after.append(q->createIndex(int(now), before.at(i).column()));
        }
        for (size_t k = 0; k < shown.size(); ++k)
            shown[k]->row = int(places[k] + k);
        q->changePersistentIndexList(before, after);
        Q_EMIT q->layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    }

    // Rows leaving from all over the list (a sort by size or date scatters the files another
    // program deletes together) would take a removal signal per run, and every view and proxy
    // walks its rows for each. Instead they move to the end in one layout change, the others
    // keeping their order, and leave as one run. \a gone: their rows, sorted.
    void removeScatteredRows(const std::vector<int> &gone)
    {
        Q_EMIT q->layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList before = q->persistentIndexList();
        Entries reordered;
        reordered.reserve(rows.size());
        Entries leaving;
        leaving.reserve(gone.size());
        for (size_t r = 0, k = 0; r < rows.size(); ++r) {
            if (k < gone.size() && size_t(gone[k]) == r) {
                leaving.push_back(rows[r]);
                ++k;
            } else {
                reordered.push_back(rows[r]);
            }
        }
        const size_t kept = reordered.size();
        reordered.insert(reordered.end(), leaving.begin(), leaving.end());
        rows.swap(reordered);
        numberedUpTo = std::min(numberedUpTo, size_t(gone.front()));
        QModelIndexList after;
        after.reserve(before.size());
        for (const QModelIndex &index : before) {
            const auto at = std::lower_bound(gone.begin(), gone.end(), index.row());
            const size_t earlier = size_t(at - gone.begin());
            const size_t now = at != gone.end() && *at == index.row() ? kept + earlier : size_t(index.row()) - earlier;
            after.append(q->createIndex(int(now), index.column()));
        }
        q->changePersistentIndexList(before, after);
        Q_EMIT q->layoutChanged({}, QAbstractItemModel::VerticalSortHint);
        q->beginRemoveRows({}, int(kept), int(rows.size() - 1));
        rows.resize(kept);
        q->endRemoveRows();
    }

    void removeEntries(const QList<TQFolderEntry *> &gone)
    {
        if (gone.isEmpty())
            return;
        ensureNumbered();
        QSet<TQFolderEntry *> set(gone.begin(), gone.end());
        std::vector<int> shown;
        for (TQFolderEntry *e : gone) {
            if (e->passes && e->row >= 0)
                shown.push_back(e->row);
        }
        std::sort(shown.begin(), shown.end());
        size_t runs = 0;
        for (size_t i = 0; i < shown.size(); ++i)
            runs += i == 0 || shown[i - 1] != shown[i] - 1;
        if (runs > 16) {
            removeScatteredRows(shown);
        } else {
            // Run by run, from the bottom up, so that the rows above keep their numbers.
            for (qsizetype i = qsizetype(shown.size()) - 1; i >= 0;) {
                qsizetype first = i;
                while (first > 0 && shown[size_t(first - 1)] == shown[size_t(first)] - 1)
                    --first;
                q->beginRemoveRows({}, shown[size_t(first)], shown[size_t(i)]);
                rows.erase(rows.begin() + shown[size_t(first)], rows.begin() + shown[size_t(i)] + 1);
                q->endRemoveRows();
                i = first - 1;
            }
        }
        renumber();
        std::erase_if(all, [&set](TQFolderEntry *e) { return set.contains(e); });
        if (valuesBacklogAt < valuesBacklog.size()) {
            const auto fed = valuesBacklog.begin() + qsizetype(valuesBacklogAt);
            valuesBacklogAt -= size_t(std::count_if(valuesBacklog.begin(), fed, [&set](TQFolderEntry *e) { return set.contains(e); }));
            std::erase_if(valuesBacklog, [&set](TQFolderEntry *e) { return set.contains(e); });
        }
        QList<UWStandardFileRef> queued;
        for (TQFolderEntry *e : gone) {
            byItem.remove(e->item.get());
            thumbnailsPending.remove(e);
            pendingResort.remove(e);
            if (cache.count())
                cache.removeIdentity(e->item->URL().toString(QUrl::FullyEncoded));
            if (e->valuesQueued)
                queued.append(e->item);
            delete e;
        }
        if (values && !queued.isEmpty())
            values->removeObjectsFromQueue(queued);
    }

    // The roles and columns that the keys an item announced touch.
    void announce(TQFolderEntry *e, const QStringList &keys)
    {
        ensureNumbered();
        if (e->row < 0)
            return;
        int first = ColumnCount, last = -1;
        QList<int> roles;
        auto touch = [&](int c) {
            first = std::min(first, c);
            last = std::max(last, c);
        };
        for (const QString &key : keys) {
            for (int c = 0; c < ColumnCount; ++c) {
                if (key == QStringView(columns[c].textKey) || key == QStringView(columns[c].sortKey))
                    touch(c);
            }
            if (key == u"displayName" || key == u"fileName" || key == u"URL" || key == u"path")
                touch(NameColumn);
            if (key == u"fileIcon" || key == u"uti" || key == u"resolvedUTI") {
                touch(NameColumn);
                roles << Qt::DecorationRole << ThumbnailRole;
            }
            if (key == u"finderLabel" || key == u"finderLabelSortValue") {
                touch(LabelColumn);
                roles << LabelRole << LabelColorRole;
            }
            if (key == u"isDirectory")
                roles << IsDirectoryRole;
        }
        if (last < 0)
            return;
        roles << Qt::DisplayRole << Qt::ToolTipRole << SortValueRole << IsPendingRole << ItemRole << FileRole << NativePathRole;
        std::sort(roles.begin(), roles.end());
        roles.erase(std::unique(roles.begin(), roles.end()), roles.end());
        Q_EMIT q->dataChanged(q->createIndex(e->row, first), q->createIndex(e->row, last), roles);
    }

    // An item changed (a write, a rename, new attributes): its facts are read again, its
    // row follows its new place and the filter, and its views hear the keys it announced.
    void changeEntry(TQFolderEntry *e, const UWStandardFileRef &item, const QStringList &keys)
    {
        const bool renamed = e->nameKey.string() != item->displayName();
        ensureNumbered();
        const TQFolderEntry was = *e;
        byItem.remove(e->item.get());
        fill(*e, item, nullptr);
        // What the entry itself shows changed too, whether or not the item had announced it
        // (an item announces only the values it had cached).
        QStringList touched = keys;
        if (was.size != e->size)
            touched << QStringLiteral("fileSize");
        if (was.modified != e->modified)
            touched << QStringLiteral("modificationDate");
        if (was.created != e->created)
            touched << QStringLiteral("creationDate");
        if (was.kind != e->kind)
            touched << QStringLiteral("kindString");
        if (renamed)
            touched << QStringLiteral("displayName");
        byItem.insert(item.get(), e);
        if (renamed)
            ranksValid = false;
        e->contentKnown = false;
        e->label = -1;
        e->noThumbnail = false;
        e->thumbnailRequested = false;
        cache.removeIdentity(item->URL().toString(QUrl::FullyEncoded));
        computeKeys({e});
        if (sortType == int(TQSortType::Kind))
            computeKeys(all);
        const bool shown = passes(e);
        if (e->passes && !shown) {
            const int row = e->row;
            q->beginRemoveRows({}, row, row);
            rows.erase(rows.begin() + row);
            e->passes = false;
            e->row = -1;
            renumber(size_t(row));
            q->endRemoveRows();
        }
        // Back to its place in the sorted list.
        std::erase(all, e);
        const auto cmp = comparator();
        all.insert(std::upper_bound(all.begin(), all.end(), e, cmp), e);
        if (e->passes) {
            const int from = e->row;
            rows.erase(rows.begin() + from);
            const auto at = std::upper_bound(rows.begin(), rows.end(), e, cmp);
            const int to = int(at - rows.begin());
            rows.insert(at, e);
            if (to != from) {
                // Undo, then move with the signals, so that views see one move.
                rows.erase(rows.begin() + to);
                rows.insert(rows.begin() + from, e);
                q->beginMoveRows({}, from, from, {}, to > from ? to + 1 : to);
                rows.erase(rows.begin() + from);
                rows.insert(rows.begin() + to, e);
                renumber(size_t(std::min(from, to)));
                q->endMoveRows();
            }
        } else if (shown) {
            e->passes = true;
            const auto at = std::upper_bound(rows.begin(), rows.end(), e, cmp);
            const int row = int(at - rows.begin());
            q->beginInsertRows({}, row, row);
            rows.insert(at, e);
            renumber(size_t(row));
            q->endInsertRows();
        }
        announce(e, touched);
        queueValues({e});
    }

    // ---- The folder ---------------------------------------------------------------------

    void stopBackground()
    {
        if (listing)
            listing->cancelled = true;
        listing.reset();
        dropListingBacklog();
        thumbnailer.cancel();
        thumbnailsPending.clear();
        if (values) {
            values->setDelegate(nullptr);
            values->cancel();
            values.reset();
        }
        valuesLeft = 0;
        dropValuesBacklog();
    }

    void clear()
    {
        stopBackground();
        if (subscription)
            QObject::disconnect(subscription.get(), nullptr, this, nullptr);
        subscription.reset();
        heldChanges.clear();
        pendingResort.clear();
        resortTimer.stop();
        folder.reset();
        folderPath.clear();
        folderGone = false;
        q->beginResetModel();
        qDeleteAll(all);
        byItem.clear();
        all.clear();
        rows.clear();
        numberedUpTo = 0;
        ranksValid = false;
        q->endResetModel();
        // The rows on screen stay as they were told: a view shows its first rows again after a
        // reset, and a host may well say which before it names the folder.
        cache.clear();
    }

    void setLoading(bool on)
    {
        if (loading == on)
            return;
        loading = on;
        Q_EMIT q->loadingChanged(on);
    }

    // Lists on the utility queue in batches: the first as soon as it holds enough rows to
    // fill a window, then one per 16 ms, so the GUI thread merges small runs often rather
    // than one huge run late.
    // The first batch fills a screen at once where the folder answers fast, and still goes
    // out after a moment where it answers slowly (a network share): rows then show while the
    // rest are being asked for. Later batches go out once a frame.
    static bool batchIsDue(size_t size, bool first, qint64 elapsedMs)
    {
        return first ? size >= 1000 || (size > 0 && elapsedMs >= 50) : elapsedMs >= 16;
    }

    static void list(const std::shared_ptr<ListingJob> &job, QPointer<TQFolderModel> model)
    {
        auto post = [&](Entries &&batch, bool done, const QString &error) {
            // A delivery that never runs (the application quits first) still frees its rows.
            auto owned = std::shared_ptr<Entries>(new Entries(std::move(batch)), [](Entries *entries) {
                qDeleteAll(*entries);
                delete entries;
            });
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [model, job, owned, done, error] {
                    Entries taken;
                    taken.swap(*owned);
                    if (!model || job->cancelled || model->d->listing != job) {
                        qDeleteAll(taken);
                        return;
                    }
                    model->d->listingArrived(std::move(taken), done, error);
                },
                Qt::QueuedConnection);
        };
        if (job->watch) {
            if (!job->cancelled)
                job->watch();
            job->watch = nullptr; // the file manager hears of it now, before any batch
        }
        if (job->snapshot) {
            Entries batch;
            bool first = true;
            QElapsedTimer sincePost;
            sincePost.start();
            for (const UWStandardFileRef &item : std::as_const(*job->snapshot)) {
                if (job->cancelled)
                    break;
                auto *e = new TQFolderEntry;
                fill(*e, item, nullptr);
                job->byItem.insert(item.get(), e);
                batch.push_back(e);
                if (batchIsDue(batch.size(), first, sincePost.elapsed())) {
                    post(std::move(batch), false, {});
                    batch = {};
                    first = false;
                    sincePost.restart();
                }
            }
            if (job->cancelled) {
                qDeleteAll(batch);
                return;
            }
            post(std::move(batch), true, {});
            return;
        }
        const int fd = ::open(job->path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR *dir = fd >= 0 ? ::fdopendir(fd) : nullptr;
        if (!dir) {
            const QString error = QString::fromLocal8Bit(::strerror(errno));
            if (fd >= 0)
                ::close(fd);
            post({}, true, error);
            return;
        }
        const QByteArray prefix = job->path == "/" ? job->path : job->path + '/';
        // Not asked by every entry: an open of a missing ".hidden" per entry was an eighth of
        // the listing.
        const UWHiddenNames hidden(job->path);
        Entries batch;
        bool first = true;
        QElapsedTimer sincePost;
        sincePost.start();
        errno = 0;
        while (const dirent *entry = ::readdir(dir)) {
            if (job->cancelled)
                break;
            const char *name = entry->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            UWStatInfo stat;
            if (!stat.readAt(fd, name))
                continue; // gone between readdir and statx
            hidden.mark(stat, name);
            if (UWStandardFileRef item = UWFileFactory::make(QUrl(), prefix + name, &stat)) {
                job->items.append(item);
                job->byName.insert(nameWithin(item->nativePath(), name), item);
                auto *e = new TQFolderEntry;
                fill(*e, item, &stat);
                job->byItem.insert(item.get(), e);
                batch.push_back(e);
            }
            if (batchIsDue(batch.size(), first, sincePost.elapsed())) {
                post(std::move(batch), false, {});
                batch = {};
                first = false;
                sincePost.restart();
            }
            errno = 0;
        }
        const QString error = errno ? QString::fromLocal8Bit(::strerror(errno)) : QString();
        ::closedir(dir);
        if (job->cancelled) {
            qDeleteAll(batch);
            return;
        }
        job->items.squeeze(); // grown by doubling: up to half of it unused for the folder's life
        post(std::move(batch), true, error);
    }

    // A batch of the listing is in: it waits with any earlier ones not merged yet for the
    // next turn of the event loop, which merges a piece of them. The worker cuts its batches
    // by its own time, not by what merging them costs here, and merging grows with the folder
    // (each entry finds its place among up to 100k by collation): a whole batch could hold
    // the event loop for more than a frame.
    void listingArrived(Entries &&batch, bool done, const QString &error)
    {
        if (listingBacklog.empty())
            listingBacklog = std::move(batch);
        else
            listingBacklog.insert(listingBacklog.end(), batch.begin(), batch.end());
        if (done) {
            listingDone = true;
            listingError = error;
        }
        // Not merged here: a piece merged on a batch's arrival and one on the timer could run
        // in the same turn.
        if (!listingBacklogTimer.isActive())
            listingBacklogTimer.start();
    }

    // Merges one piece of the waiting batches, sized from what the last piece cost, and comes
    // back on the next turn of the event loop for the rest; the listing ends after the last.
    void mergeListingBacklog()
    {
        listingBacklogTimer.stop();
        if (!listing)
            return;
        const size_t count = std::min(listingBacklog.size(), listingPiece);
        if (count > 0) {
            Entries piece(listingBacklog.begin(), listingBacklog.begin() + qsizetype(count));
            listingBacklog.erase(listingBacklog.begin(), listingBacklog.begin() + qsizetype(count));
            QElapsedTimer cost;
            cost.start();
            insertEntries(std::move(piece), true);
            const qint64 perEntryNs = std::max<qint64>(1, cost.nsecsElapsed() / qint64(count));
            // A last few entries tell nothing: the fixed costs of a merge (walking the lists)
            // would make each look dear.
            if (count >= fewestPerPiece)
                listingPiece = std::clamp<size_t>(size_t(listingPieceBudgetNs / perEntryNs), fewestPerPiece, mostPerPiece);
        }
        if (!listingBacklog.empty()) {
            listingBacklogTimer.start();
            return;
        }
        if (listingDone)
            finishListing();
    }

    void dropListingBacklog()
    {
        qDeleteAll(listingBacklog);
        Entries().swap(listingBacklog);
        listingBacklogTimer.stop();
        listingDone = false;
        listingError.clear();
    }

    void finishListing()
    {
        const QString error = std::exchange(listingError, {});
        listingDone = false;
        byItem = std::move(listing->byItem);
        if (!error.isEmpty())
            qCInfo(lcModels).noquote() << "cannot list" << QFile::decodeName(folderPath) << "-" << error;
        const std::shared_ptr<ListingJob> job = std::exchange(listing, {});
        goLive(*job);
        queueAllValues();
        setLoading(false);
        Q_EMIT q->loadingFinished();
        requestVisibleWork();
    }

    // Before the listing starts: the subscription watches the folder from now on, so that
    // nothing that happens while the listing runs is lost. A subscription another view loaded
    // already gives its items to the listing instead of the folder.
    void subscribe(ListingJob &job)
    {
        UWFileManager *manager = UWFileManager::sharedFileManager();
        subscription = manager ? manager->subscriptionForFile(folder) : nullptr;
        if (!subscription)
            return;
        connect(subscription.get(), &UWFileSubscription::filesChanged, this,
                [this](const UWFolderChanges &changes) { filesChanged(changes); });
        if (subscription->isLoaded()) {
            job.snapshot = subscription->files();
            return;
        }
        // Added by the worker that lists, before it lists: the kernel takes 10 ms and more
        // over a big folder's watch.
        job.watch = UWFileManagerInternal::watchLater(subscription.get());
        if (!job.watch)
            subscription->startWatching();
    }

    /*
        The listing is in; from here the file manager follows the folder. The subscription
        takes the listing's items as its own (never listing the folder a second time on this
        thread) and reports what changed while the listing ran. A snapshot's changes were
        held and are applied in their order. A subscription that another view loaded while
        the listing ran keeps its items: they take the place of the listing's name by name.
    */
    void goLive(ListingJob &job)
    {
        const QList<UWFolderChanges> held = std::exchange(heldChanges, {});
        if (!subscription || checkFolderGone())
            return;
        if (job.snapshot) {
            for (const UWFolderChanges &changes : held)
                filesChanged(changes);
            return;
        }
        if (UWFileManagerInternal::adoptListing(subscription.get(), std::move(job.items), std::move(job.byName)))
            return;
        QHash<QByteArray, TQFolderEntry *> byName;
        byName.reserve(all.size());
        for (TQFolderEntry *e : all)
            byName.insert(e->item->nativeFileName(), e);
        Entries added;
        QList<QPair<TQFolderEntry *, UWStandardFileRef>> changed;
        for (const UWStandardFileRef &file : subscription->files()) {
            TQFolderEntry *e = byName.take(file->nativeFileName());
            if (!e) {
                auto *n = new TQFolderEntry;
                fill(*n, file, nullptr);
                added.push_back(n);
                continue;
            }
            byItem.remove(e->item.get());
            const qint64 size = e->size, modified = e->modified;
            e->item = file;
            e->isFile = dynamic_cast<TQFile *>(file.get()) != nullptr;
            byItem.insert(file.get(), e);
            if (!e->directory && (file->byteSize() != size || msecs(file->modificationDate()) != modified))
                changed.append({e, file});
        }
        removeEntries(byName.values());
        insertEntries(std::move(added));
        for (const auto &[e, file] : std::as_const(changed))
            changeEntry(e, file, {QStringLiteral("fileSize"), QStringLiteral("modificationDate")});
    }

    void filesChanged(const UWFolderChanges &changes)
    {
        if (listing) {
            heldChanges.append(changes);
            return;
        }
        QList<TQFolderEntry *> gone;
        for (const UWStandardFileRef &file : changes.removed) {
            if (TQFolderEntry *e = byItem.value(file.get()))
                gone.append(e);
        }
        removeEntries(gone);
        Entries added;
        for (const UWStandardFileRef &file : changes.added) {
            if (byItem.contains(file.get()))
                continue;
            auto *e = new TQFolderEntry;
            fill(*e, file, nullptr);
            added.push_back(e);
        }
        insertEntries(std::move(added));
        QSet<const UWStandardFile *> seen;
        for (const QList<UWStandardFileRef> *list : {&changes.renamed, &changes.changed}) {
            for (const UWStandardFileRef &file : *list) {
                TQFolderEntry *e = byItem.value(file.get());
                if (!e || seen.contains(file.get()))
                    continue;
                seen.insert(file.get());
                changeEntry(e, file, changes.keysFor(file));
            }
        }
        checkFolderGone();
        requestVisibleWork();
    }

    // The folder shown is no longer at its path: its rows go, and the host hears it once.
    bool checkFolderGone()
    {
        if (!folder || folderGone)
            return folderGone;
        struct stat info = {};
        if (::stat(folderPath.constData(), &info) == 0 && S_ISDIR(info.st_mode))
            return false;
        folderGone = true;
        qCDebug(lcModels).noquote() << "folder went away:" << QFile::decodeName(folderPath);
        removeEntries(QList<TQFolderEntry *>(all.begin(), all.end()));
        Q_EMIT q->folderRemoved();
        return true;
    }

    // ---- Background values ------------------------------------------------------------

    // The rows on screen first, then the rest in row order, then what is filtered out (the
    // sorted list after the rows: queueValues() skips what is queued already). Building the
    // order copies pointers only; the entries are read a slice at a time.
    void queueAllValues()
    {
        if (!loadsImageInfo || listing)
            return;
        dropValuesBacklog();
        if (firstVisible >= 0) {
            for (int r = firstVisible; r <= std::min(lastVisible, int(rows.size()) - 1); ++r)
                valuesBacklog.push_back(rows[size_t(r)]);
        }
        valuesBacklog.insert(valuesBacklog.end(), rows.begin(), rows.end());
        valuesBacklog.insert(valuesBacklog.end(), all.begin(), all.end());
        feedValuesBacklog();
    }

    static constexpr size_t valuesSlice = 2048;

    void feedValuesBacklog()
    {
        const size_t end = std::min(valuesBacklog.size(), valuesBacklogAt + valuesSlice);
        queueValues(Entries(valuesBacklog.begin() + qsizetype(valuesBacklogAt), valuesBacklog.begin() + qsizetype(end)));
        valuesBacklogAt = end;
        if (valuesBacklogAt < valuesBacklog.size()) {
            valuesBacklogTimer.start();
            return;
        }
        // Freed by swap, not kept at its peak size for the model's lifetime.
        Entries().swap(valuesBacklog);
        valuesBacklogAt = 0;
        valuesBacklogTimer.stop();
        if (std::exchange(valuesFinishHeld, false) && !values)
            Q_EMIT q->imageInfoFinished();
    }

    void dropValuesBacklog()
    {
        Entries().swap(valuesBacklog);
        valuesBacklogAt = 0;
        valuesBacklogTimer.stop();
        valuesFinishHeld = false;
    }

    void queueValues(const Entries &entries)
    {
        if (!loadsImageInfo || listing)
            return;
        QList<UWStandardFileRef> items;
        for (TQFolderEntry *e : entries) {
            if (!e->contentKnown && !e->valuesQueued) {
                e->valuesQueued = true;
                items.append(e->item);
            }
        }
        if (items.isEmpty())
            return;
        if (!values || values->isFinished() || values->isCancelled()) {
            if (values)
                values->setDelegate(nullptr);
            values = std::make_shared<ValuesOperation>();
            values->setDelegate(this);
            values->setQueue(items);
            UWQueuedObjectOperation::start(values, UWFileManager::sharedFileManager()
                                                       ? UWFileManager::sharedFileManager()->utilityQueue()
                                                       : nullptr);
        } else {
            values->addObjectsToQueue(items);
        }
        valuesLeft += items.size();
    }

    void queuedObjectOperationPostedResults(UWQueuedObjectOperation *operation) override
    {
        if (operation != values.get())
            return;
        ensureNumbered();
        bool moved = false;
        std::vector<int> shown;
        for (const UWQueuedObjectResult &result : operation->latestResults()) {
            TQFolderEntry *e = byItem.value(result.object.get());
            --valuesLeft;
            if (!e)
                continue;
            e->valuesQueued = false;
            e->contentKnown = true;
            const QVariantList product = result.product.toList();
            e->label = qint8(product.value(0).toInt());
            e->added = product.value(1).toLongLong();
            if (sortNeedsContent) {
                e->key = 0;
                moved = true;
                pendingResort.insert(e);
            }
            if (e->row >= 0)
                shown.push_back(e->row);
        }
        // One change per run of rows, not one per item: views repaint once per run.
        std::sort(shown.begin(), shown.end());
        for (size_t i = 0; i < shown.size();) {
            size_t end = i + 1;
            while (end < shown.size() && shown[end] <= shown[end - 1] + 1)
                ++end;
            Q_EMIT q->dataChanged(q->createIndex(shown[i], DateAddedColumn), q->createIndex(shown[end - 1], ColumnCount - 1),
                                  {Qt::DisplayRole, SortValueRole, IsPendingRole, LabelRole, LabelColorRole});
            i = end;
        }
        if (moved && !resortTimer.isActive())
            resortTimer.start();
    }

    void queuedObjectOperationComplete(UWQueuedObjectOperation *operation) override
    {
        if (operation != values.get())
            return;
        queuedObjectOperationPostedResults(operation);
        // Items queued after the operation's last take are not read: queue them again.
        Entries again;
        for (TQFolderEntry *e : all) {
            if (e->valuesQueued && !e->contentKnown) {
                e->valuesQueued = false;
                again.push_back(e);
            }
        }
        values.reset();
        valuesLeft = 0;
        if (!again.empty()) {
            queueValues(again);
            return;
        }
        if (resortTimer.isActive()) {
            resortTimer.stop();
            resortChanged();
        }
        if (!valuesBacklog.empty()) {
            valuesFinishHeld = true;
            return;
        }
        Q_EMIT q->imageInfoFinished();
    }

    QSet<TQFolderEntry *> pendingResort;

    // Values arrived for some items: they leave the "unknown" end for their places, all in
    // one layout change per interval, merged into the sorted rest (linear, not a full sort).
    // The rest stays in order: its numbers did not change, and text ranks computed again
    // among all keep the order of the texts they had.
    void resortChanged()
    {
        if (pendingResort.isEmpty() || !sortNeedsContent) {
            pendingResort.clear();
            return;
        }
        ensureRanks();
        const QSet<TQFolderEntry *> arrivedSet = std::exchange(pendingResort, {});
        Entries rest, arrived;
        rest.reserve(all.size());
        for (TQFolderEntry *e : all)
            (arrivedSet.contains(e) ? arrived : rest).push_back(e);
        computeKeys(arrived);
        if (keysRanked)
            computeKeys(all);
        const auto cmp = comparator();
        std::stable_sort(arrived.begin(), arrived.end(), cmp);
        const size_t middle = rest.size();
        rest.insert(rest.end(), arrived.begin(), arrived.end());
        std::inplace_merge(rest.begin(), rest.begin() + qsizetype(middle), rest.end(), cmp);
        all.swap(rest);
        relayout();
    }

    // ---- Visibility and thumbnails ----------------------------------------------------

    void requestVisibleWork()
    {
        if (listing || rows.empty())
            return;
        const int first = std::max(0, firstVisible);
        const int last = std::min(int(rows.size()) - 1, lastVisible);
        if (firstVisible < 0 || last < first)
            return;
        // Values of the rows on screen go first.
        if (values && loadsImageInfo) {
            QList<UWStandardFileRef> front;
            for (int r = first; r <= last; ++r) {
                if (rows[size_t(r)]->valuesQueued)
                    front.append(rows[size_t(r)]->item);
            }
            if (!front.isEmpty()) {
                values->removeObjectsFromQueue(front);
                values->addObjectsToFrontOfQueue(front);
            }
        }
        if (thumbnailSize.isEmpty())
            return;
        // Requests for rows scrolled away are dropped; the rows on screen are asked again.
        // Told by the entries on screen, not by row numbers, which a resort leaves to be
        // counted when next read.
        bool away = false;
        if (!thumbnailsPending.isEmpty()) {
            QSet<const TQFolderEntry *> onScreen;
            onScreen.reserve(last - first + 1);
            for (int r = first; r <= last; ++r)
                onScreen.insert(rows[size_t(r)]);
            for (TQFolderEntry *e : std::as_const(thumbnailsPending)) {
                if (!onScreen.contains(e)) {
                    away = true;
                    break;
                }
            }
        }
        if (away) {
            thumbnailer.cancel();
            for (TQFolderEntry *e : std::as_const(thumbnailsPending))
                e->thumbnailRequested = false;
            thumbnailsPending.clear();
        }
        QList<UWStandardFileRef> wanted;
        for (int r = first; r <= last; ++r) {
            TQFolderEntry *e = rows[size_t(r)];
            if (e->thumbnailRequested || e->noThumbnail || e->directory || !e->file())
                continue;
            if (cache.contains(cacheKey(e)))
                continue;
            e->thumbnailRequested = true;
            thumbnailsPending.insert(e);
            wanted.append(e->item);
        }
        if (!wanted.isEmpty()) {
            thumbnailer.setSize(QSizeF(thumbnailSize));
            thumbnailer.addFilesToQueue(wanted);
        }
    }

    TQThumbnailMemoryCache::Key cacheKey(const TQFolderEntry *e) const
    {
        return TQThumbnailMemoryCache::Key::forUrl(e->item->URL(), thumbnailSize);
    }

    void asynchronousThumbnailerCreatedThumbnail(TQAsyncQuicklookThumbnailer *, const QImage &thumbnail,
                                                 const UWStandardFileRef &file, const UWStandardFileRef &) override
    {
        // While a listing runs its entries are not indexed yet; a thumbnail can only be for
        // one of the few entries waiting for one.
        TQFolderEntry *e = byItem.value(file.get());
        if (!e) {
            const auto waiting = std::find_if(thumbnailsPending.cbegin(), thumbnailsPending.cend(),
                                              [&file](const TQFolderEntry *p) { return p->item == file; });
            e = waiting == thumbnailsPending.cend() ? nullptr : *waiting;
        }
        if (!e || !thumbnailsPending.remove(e))
            return;
        ensureNumbered();
        e->thumbnailRequested = false;
        if (thumbnail.isNull()) {
            e->noThumbnail = true;
            return;
        }
        cache.insert(cacheKey(e), thumbnail);
        if (e->row >= 0)
            Q_EMIT q->dataChanged(q->createIndex(e->row, NameColumn), q->createIndex(e->row, NameColumn),
                                  {Qt::DecorationRole, ThumbnailRole});
        Q_EMIT q->thumbnailArrived(file);
    }

    // The entry of \a item. A listing's entries are indexed by its worker and arrive with
    // its last batch: until then they are found by walking the list.
    TQFolderEntry *entryOf(const UWStandardFile *item) const
    {
        if (TQFolderEntry *e = byItem.value(item))
            return e;
        if (listing) {
            // A batch's rows are in before its entries join the sorted list.
            for (const Entries *entries : {&rows, &all}) {
                for (TQFolderEntry *e : *entries) {
                    if (e->item.get() == item)
                        return e;
                }
            }
        }
        return nullptr;
    }

    TQFolderEntry *entry(const QModelIndex &index) const
    {
        if (!index.isValid() || index.model() != q || index.row() >= int(rows.size()))
            return nullptr;
        return rows[size_t(index.row())];
    }
};

TQFolderModel::TQFolderModel(QObject *parent) : QAbstractItemModel(parent), d(std::make_unique<Private>(this)) {}

TQFolderModel::~TQFolderModel() = default;

TQSortType TQFolderModel::sortTypeForColumn(int column)
{
    return column >= 0 && column < ColumnCount ? columns[column].type : TQSortType::Name;
}

int TQFolderModel::columnForSortType(TQSortType sortType)
{
    return columnOfType(int(sortType));
}

bool TQFolderModel::columnNeedsContent(int column)
{
    return column >= 0 && column < ColumnCount && columns[column].content;
}

void TQFolderModel::setFolder(const UWStandardFileRef &folder)
{
    d->clear();
    UWStandardFileRef target = folder ? folder->resolvedFileItem() : nullptr;
    if (!target || !target->isDirectory()) {
        qCDebug(lcModels).noquote() << "not a folder:" << (folder ? folder->path() : QStringLiteral("(none)"));
        d->setLoading(false);
        return;
    }
    d->folder = target;
    d->folderPath = target->nativePath();
    d->setLoading(true);
    d->listing = std::make_shared<ListingJob>();
    d->listing->path = d->folderPath;
    d->subscribe(*d->listing);
    const std::shared_ptr<ListingJob> job = d->listing;
    QPointer<TQFolderModel> self(this);
    QThreadPool *pool = UWFileManager::sharedFileManager() ? UWFileManager::sharedFileManager()->utilityQueue()
                                                           : QThreadPool::globalInstance();
    pool->start([job, self] { Private::list(job, self); });
}

void TQFolderModel::setFolderPath(const QString &path)
{
    setFolderNativePath(QFile::encodeName(path));
}

void TQFolderModel::setFolderNativePath(const QByteArray &nativePath)
{
    setFolder(UWStandardFile::newFileForNativePath(nativePath));
}

UWStandardFileRef TQFolderModel::folder() const
{
    return d->folder;
}

void TQFolderModel::setItems(const QList<UWStandardFileRef> &items)
{
    d->clear();
    d->setLoading(false);
    Entries entries;
    QSet<const UWStandardFile *> seen;
    for (const UWStandardFileRef &item : items) {
        if (!item || seen.contains(item.get()))
            continue;
        seen.insert(item.get());
        auto *e = new TQFolderEntry;
        fill(*e, item, nullptr);
        e->passes = d->passes(e);
        d->byItem.insert(item.get(), e);
        entries.push_back(e);
    }
    beginResetModel();
    d->all = entries;
    d->setSortTraits();
    d->sortAll();
    for (TQFolderEntry *e : d->all) {
        if (e->passes)
            d->rows.push_back(e);
    }
    d->renumber();
    endResetModel();
    d->queueValues(d->all);
    d->requestVisibleWork();
}

QList<UWStandardFileRef> TQFolderModel::allItems() const
{
    QList<UWStandardFileRef> items;
    items.reserve(qsizetype(d->all.size()));
    for (const TQFolderEntry *e : d->all)
        items.append(e->item);
    return items;
}

bool TQFolderModel::isLoading() const
{
    return d->loading;
}

void TQFolderModel::setSortType(int sortType, int folderPriority, bool ascending)
{
    if (sortType == d->sortType && folderPriority == d->folderPriority && ascending == d->ascending
        && sortType != int(TQSortType::Random))
        return;
    // Codes without a column of their own sort by name, as the descriptors do.
    d->sortType = (columnOfType(sortType) >= 0 || sortType == int(TQSortType::Random)) ? sortType : 0;
    d->folderPriority = folderPriority;
    d->ascending = ascending;
    d->resort();
    Q_EMIT sortOrderChanged();
    d->requestVisibleWork();
}

void TQFolderModel::setSortType(TQSortType sortType, TQFolderPriority folderPriority, bool ascending)
{
    setSortType(int(sortType), int(folderPriority), ascending);
}

int TQFolderModel::sortType() const
{
    return d->sortType;
}

int TQFolderModel::folderPriority() const
{
    return d->folderPriority;
}

bool TQFolderModel::isAscending() const
{
    return d->ascending;
}

void TQFolderModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= ColumnCount)
        return;
    setSortType(int(columns[column].type), d->folderPriority, order == Qt::AscendingOrder);
}

void TQFolderModel::setFilterType(int filterType)
{
    if (filterType == d->filterType)
        return;
    d->filterType = filterType;
    d->applyFilter();
    Q_EMIT filterChanged();
}

void TQFolderModel::setFilterType(TQFilterType filterType)
{
    setFilterType(int(filterType));
}

int TQFolderModel::filterType() const
{
    return d->filterType;
}

void TQFolderModel::setExcludeFolders(bool exclude)
{
    if (exclude == d->excludeFolders)
        return;
    d->excludeFolders = exclude;
    d->applyFilter();
    Q_EMIT filterChanged();
}

bool TQFolderModel::excludeFolders() const
{
    return d->excludeFolders;
}

void TQFolderModel::setNameFilter(const QString &text)
{
    if (text == d->nameFilter.text())
        return;
    d->nameFilter = TQNameFilter(text);
    d->applyFilter();
    Q_EMIT filterChanged();
}

QString TQFolderModel::nameFilter() const
{
    return d->nameFilter.text();
}

void TQFolderModel::setVisibleRows(int first, int last)
{
    if (last < first || last < 0)
        first = last = -1;
    if (first == d->firstVisible && last == d->lastVisible)
        return;
    d->firstVisible = first;
    d->lastVisible = last;
    d->requestVisibleWork();
}

QPair<int, int> TQFolderModel::visibleRows() const
{
    return {d->firstVisible, d->lastVisible};
}

void TQFolderModel::setThumbnailSize(const QSize &size)
{
    if (size == d->thumbnailSize)
        return;
    d->thumbnailSize = size;
    d->thumbnailer.cancel();
    d->thumbnailsPending.clear();
    d->cache.clear();
    for (TQFolderEntry *e : d->all) {
        e->thumbnailRequested = false;
        e->noThumbnail = false;
    }
    d->requestVisibleWork();
}

QSize TQFolderModel::thumbnailSize() const
{
    return d->thumbnailSize;
}

void TQFolderModel::setThumbnailMemoryBudget(qint64 bytes)
{
    d->cache.setBudget(std::max<qint64>(0, bytes));
}

qint64 TQFolderModel::thumbnailMemoryBudget() const
{
    return d->cache.budget();
}

qint64 TQFolderModel::thumbnailMemoryUsed() const
{
    return d->cache.bytesUsed();
}

void TQFolderModel::setLoadsImageInfo(bool load)
{
    if (load == d->loadsImageInfo)
        return;
    d->loadsImageInfo = load;
    if (!load) {
        if (d->values) {
            d->values->setDelegate(nullptr);
            d->values->cancel();
            d->values.reset();
        }
        d->dropValuesBacklog();
        for (TQFolderEntry *e : d->all)
            e->valuesQueued = false;
        d->valuesLeft = 0;
        return;
    }
    d->queueAllValues();
}

bool TQFolderModel::loadsImageInfo() const
{
    return d->loadsImageInfo;
}

UWStandardFileRef TQFolderModel::itemAt(const QModelIndex &index) const
{
    const TQFolderEntry *e = d->entry(index);
    return e ? e->item : nullptr;
}

TQFileRef TQFolderModel::fileAt(const QModelIndex &index) const
{
    return TQFile::fromItem(itemAt(index));
}

QModelIndex TQFolderModel::indexOf(const UWStandardFileRef &item, int column) const
{
    const TQFolderEntry *e = item ? d->entryOf(item.get()) : nullptr;
    d->ensureNumbered();
    if (!e || e->row < 0 || column < 0 || column >= ColumnCount)
        return {};
    return createIndex(e->row, column);
}

QModelIndex TQFolderModel::indexOfNativePath(const QByteArray &nativePath, int column) const
{
    for (size_t row = 0; row < d->rows.size(); ++row) {
        if (d->rows[row]->item->nativePath() == nativePath)
            return index(int(row), column);
    }
    return {};
}

QList<UWStandardFileRef> TQFolderModel::selectedItems(const QItemSelectionModel *selection) const
{
    QList<UWStandardFileRef> items;
    if (!selection || selection->model() != this)
        return items;
    QList<int> rowsSelected;
    for (const QModelIndex &index : selection->selectedIndexes())
        rowsSelected.append(index.row());
    std::sort(rowsSelected.begin(), rowsSelected.end());
    rowsSelected.erase(std::unique(rowsSelected.begin(), rowsSelected.end()), rowsSelected.end());
    for (int row : std::as_const(rowsSelected)) {
        if (row >= 0 && row < int(d->rows.size()))
            items.append(d->rows[size_t(row)]->item);
    }
    return items;
}

QList<int> TQFolderModel::selectedFinderLabels(const QItemSelectionModel *selection) const
{
    QList<int> labels;
    for (const UWStandardFileRef &item : selectedItems(selection)) {
        // Asked of the item, which keeps its label until it changes: a few items, and never stale.
        const int label = item->finderLabel();
        if (!labels.contains(label))
            labels.append(label);
    }
    std::sort(labels.begin(), labels.end());
    return labels;
}

UWStandardFileRef TQFolderModel::firstSelectedFile(const QItemSelectionModel *selection) const
{
    for (const UWStandardFileRef &item : selectedItems(selection)) {
        const TQFolderEntry *e = d->entryOf(item.get());
        if (e && !e->directory)
            return item;
    }
    return nullptr;
}

QModelIndex TQFolderModel::index(int row, int column, const QModelIndex &parent) const
{
    if (parent.isValid() || row < 0 || column < 0 || row >= int(d->rows.size()) || column >= ColumnCount)
        return {};
    return createIndex(row, column);
}

QModelIndex TQFolderModel::parent(const QModelIndex &) const
{
    return {};
}

QModelIndex TQFolderModel::sibling(int row, int column, const QModelIndex &index) const
{
    if (!index.isValid() || index.model() != this)
        return {};
    return this->index(row, column);
}

int TQFolderModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(d->rows.size());
}

int TQFolderModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

bool TQFolderModel::hasChildren(const QModelIndex &parent) const
{
    return !parent.isValid() && !d->rows.empty();
}

QVariant TQFolderModel::data(const QModelIndex &index, int role) const
{
    TQFolderEntry *e = d->entry(index);
    if (!e)
        return {};
    const int column = index.column();
    const ColumnInfo &info = columns[column];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: {
        if (column == NameColumn)
            return e->nameKey.string();
        if (column == KindColumn)
            return Private::kindOf(e);
        if (info.content && !e->contentKnown)
            return QString();
        if (column == LabelColumn)
            return Private::labelText(e);
        if (!e->file())
            return column == SizeColumn ? QString() : QString();
        const QVariant value = e->file()->valueForKey(info.textKey);
        if (value.typeId() == QMetaType::Double)
            return value.toDouble() > 0 ? QString::number(value.toDouble()) : QString();
        return value.toString();
    }
    case Qt::DecorationRole:
        if (column != NameColumn)
            return {};
        if (!d->thumbnailSize.isEmpty() && !e->directory) {
            const QImage image = d->cache.image(d->cacheKey(e));
            if (!image.isNull())
                return QIcon(new ThumbnailIconEngine(image));
        }
        return e->item->fileIcon();
    case Qt::TextAlignmentRole:
        return column == SizeColumn || (column >= WidthColumn && column != ColorProfileColumn && column != CameraModelColumn
                                        && column != ImageDepthColumn && column != ExifDateColumn
                                        && column != OrientationColumn)
            ? QVariant(int(Qt::AlignRight | Qt::AlignVCenter))
            : QVariant();
    case ItemRole:
        return QVariant::fromValue(e->item);
    case FileRole:
        return QVariant::fromValue(TQFile::fromItem(e->item));
    case ThumbnailRole:
        return d->thumbnailSize.isEmpty() ? QImage() : d->cache.image(d->cacheKey(e));
    case LabelRole:
        return e->label >= 0 ? int(e->label) : 0;
    case LabelColorRole:
        return e->label > 0 ? QVariant(UWFileManagerCategories::upperColorForFinderLabel(e->label)) : QVariant();
    case SortValueRole:
        if (column == NameColumn)
            return e->nameKey.string();
        if (column == KindColumn)
            return Private::kindOf(e);
        if (column == SizeColumn)
            return e->size;
        if (column == ModificationDateColumn)
            return QDateTime::fromMSecsSinceEpoch(e->modified);
        if (column == CreationDateColumn)
            return QDateTime::fromMSecsSinceEpoch(e->created);
        if (!e->contentKnown)
            return {};
        if (column == DateAddedColumn)
            return QDateTime::fromMSecsSinceEpoch(e->added);
        if (column == LabelColumn)
            return Private::labelText(e);
        if (!e->file())
            return {};
        return e->file()->cachedValueForKey(info.sortKey).value_or(QVariant());
    case IsDirectoryRole:
        return e->directory;
    case IsPendingRole:
        return info.content && !e->contentKnown;
    case NativePathRole:
        return e->item->nativePath();
    default:
        return {};
    }
}

QVariant TQFolderModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return {};
    if (role == Qt::DisplayRole)
        return tr(columns[section].title);
    if (role == Qt::InitialSortOrderRole)
        return int(section == NameColumn || section == KindColumn || section == LabelColumn ? Qt::AscendingOrder
                                                                                           : Qt::DescendingOrder);
    return {};
}

Qt::ItemFlags TQFolderModel::flags(const QModelIndex &index) const
{
    if (!d->entry(index))
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren | Qt::ItemIsDragEnabled;
}

QHash<int, QByteArray> TQFolderModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractItemModel::roleNames();
    names.insert(ItemRole, "item");
    names.insert(FileRole, "file");
    names.insert(ThumbnailRole, "thumbnail");
    names.insert(LabelRole, "label");
    names.insert(LabelColorRole, "labelColor");
    names.insert(SortValueRole, "sortValue");
    names.insert(IsDirectoryRole, "isDirectory");
    names.insert(IsPendingRole, "isPending");
    names.insert(NativePathRole, "nativePath");
    return names;
}
