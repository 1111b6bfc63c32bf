// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFile.h"
#include "TQFile_p.h"

#include "TQApplications.h"
#include "TQFilesLogging.h"
#include "TQFormatting.h"
#include "TQImageMetadata.h"
#include "TQImageProperties.h"
#include "TQImageOrientationWriter.h"
#include "TQPropertiesCodec_p.h"
#include "TQTypeRegistry.h"
#include "TQUtilityFunctions.h"
#include "TQInvalidParameterException.h"
#include "UWFileLoadOperation.h"
#include "UWFileManager.h"
#include "UWRecordCache_p.h"
#include "UWSerialized_p.h"

#include <QHash>
#include <QLocale>
#include <QRandomGenerator>
#include <QSet>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <mutex>
#include <optional>

Q_LOGGING_CATEGORY(lcFiles, "tqkit.files", QtWarningMsg)

// Every item of the process is a TQFile: the factory goes in as the library loads. The item
// and its shared count are one allocation: a listing makes thousands.
struct TQFileFactory
{
    struct Made final : TQFile
    {
    };
    static UWStandardFileRef make() { return std::make_shared<Made>(); }
};

static void installFileFactory()
{
    UWFileManager::setFileFactory(&TQFileFactory::make);
    // Rows may hold items under either pointer type; key paths pass through both.
    TQKeyValueCoding::registerReferenceType<TQFile>();
}
Q_CONSTRUCTOR_FUNCTION(installFileFactory)

namespace {

// The values an image's property dictionary gives, all derived at once when it is read. A
// folder view asks every image for them, so they are kept small: the dictionary as a few
// bytes that keep every value's type (TQPropertiesCodec; a small JPEG's dictionary takes 1.4 KB
// as a map), read back only when the dictionary itself is asked for, which showing and
// sorting never do; and the texts that many images share ("8-bit RGB", "Landscape") as one
// copy (see sharedText()).
struct ImageValues
{
    QByteArray encodedProperties; // empty for an empty dictionary, or one that could not be kept
    QVariantMap properties() const;
    int orientation = 1;
    TQImageDimensions dimensions;
    TQImageValue focalLength, iso, exposureTime, fNumber;
    QDateTime exifDate;
    QString exifDateString;
    QString imageDepthString, iccProfileString, resolutionString, cameraModelString;
};

// One record of the item's own values (see UWRecordCache): each slot is filled on first
// request and emptied only by the resets that announce it.
struct Values
{
    struct Size
    {
        qint64 bytes = 0;
        QString text;
    };
    std::optional<QString> modificationDateString, creationDateString, dateAddedString, accessDateString;
    std::optional<Size> size;
    std::optional<bool> isImage, isText, isMovie, isMusic;
    // The trash state: a host's business; the library never fills it, so no reset announces it.
    std::optional<bool> isInTrash;
    std::optional<bool> imageMetadataEditable;
    // Made on the first request of an image value, so that a listing of thousands of
    // non-images does not pay for it.
    std::optional<std::shared_ptr<const ImageValues>> image;
};

// The name's sort key, made when the item is first sorted by name; valid while the name and
// the default locale are the ones it was made for.
struct NameKey
{
    TQStringUtilities::FinderStyleSortKey key;
    QLocale locale;
    QByteArray path;
    std::unique_ptr<NameKey> older; // the key this one replaced

    ~NameKey()
    {
        // Unlinked one by one: an item renamed many times must not recurse that deep.
        std::unique_ptr<NameKey> next = std::move(older);
        while (next)
            next = std::move(next->older);
    }
};

} // namespace

struct TQFile::Caches
{
    UWRecordCache<Values> cache;
    std::atomic<int> imageOrientation{-1};

    // Guards the marks and the name keys: a spin lock, as the record cache's, because sorting
    // by name takes it once per comparison, and a std::mutex would also make every item of a
    // big folder 40 bytes bigger.
    mutable UWSpinLock lock;
    QVariantMap marks; // guarded by lock
    // Every key handed out stays until the item goes: a sort on another thread may still read
    // one that a rename or a new locale replaced. Guarded by lock.
    // The newest first; a list rather than a vector, which would cost every item of a big
    // folder 16 bytes more for what is mostly a single key or none.
    std::unique_ptr<NameKey> nameKeys;
};

TQMarkableItemProtocol::~TQMarkableItemProtocol() = default;

TQFile::TQFile()
    : d(std::make_unique<Caches>())
{
}

TQFile::~TQFile() = default;

bool TQFile::initWithURL(const QUrl &url, const QByteArray &pathRep, const UWStatInfo *statInfo)
{
    if (!UWStandardFile::initWithURL(url, pathRep, statInfo))
        return false;
    // The values start unknown: a new item's record is empty.
    d->imageOrientation = -1;
    std::lock_guard locker(d->lock);
    d->marks.clear();
    return true;
}

TQFileRef TQFile::fromItem(const UWStandardFileRef &item)
{
    return std::dynamic_pointer_cast<TQFile>(item);
}

UWStandardFileRef TQFile::itemFromValue(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<UWStandardFileRef>())
        return value.value<UWStandardFileRef>();
    if (value.metaType() == QMetaType::fromType<TQFileRef>())
        return value.value<TQFileRef>();
    return nullptr;
}

TQFileRef TQFile::newFileForURL(const QUrl &url)
{
    return fromItem(UWStandardFile::newFileForURL(url));
}

TQFileRef TQFile::newFileForPath(const QString &path)
{
    return fromItem(UWStandardFile::newFileForPath(path));
}

TQFileRef TQFile::newFileForNativePath(const QByteArray &nativePath)
{
    return fromItem(UWStandardFile::newFileForNativePath(nativePath));
}

QStringList TQFile::imageTypes()
{
    static const QStringList types{QStringLiteral("public.image"), QStringLiteral("com.adobe.encapsulated-postscript")};
    return types;
}

QStringList TQFile::movieTypes()
{
    static const QStringList types = TQTypeRegistry::shared().audiovisualTypes();
    return types;
}

// ---- Kinds ---------------------------------------------------------------------------------

namespace {

// What each kind flag stands for, kept apart from the caches so that tqFileKinds() answers
// exactly as the flags do.
// Whether the item has a URL, without making one: URL() is empty exactly when the native path
// is not absolute, and percent-encoding every path of a big folder only to see that it is
// not empty was a sixth of its listing.
bool hasURL(const TQFile &file)
{
    return file.nativePath().startsWith('/');
}

bool imageKind(const TQFile &file)
{
    const QString type = file.resolvedUTI();
    if (!file.isPlaceholder() && hasURL(file) && TQUTTypeConformsToArray(type, TQFile::imageTypes()))
        return true;
    qCDebug(lcFiles).noquote() << QStringLiteral("UTI %1 for %2 not an image").arg(type, file.displayName());
    return false;
}

bool musicKind(const TQFile &file)
{
    return !file.isPlaceholder() && hasURL(file)
        && TQUTTypeConformsTo(file.resolvedUTI(), QStringLiteral("public.audio"));
}

bool textKind(const TQFile &file)
{
    return !file.isPlaceholder() && hasURL(file)
        && TQUTTypeConformsTo(file.resolvedUTI(), QStringLiteral("public.text"));
}

// The item's own type, not the resolved one: a link to a film is not itself a film here.
bool movieKind(const TQFile &file)
{
    return !file.isPlaceholder() && hasURL(file) && TQUTTypeConformsToArray(file.uti(), TQFile::movieTypes());
}

} // namespace

bool TQFile::isImage() const
{
    return d->cache.value(&Values::isImage, [this](const Values &) { return imageKind(*this); });
}

bool TQFile::isMusic() const
{
    return d->cache.value(&Values::isMusic, [this](const Values &) { return musicKind(*this); });
}

bool TQFile::isText() const
{
    return d->cache.value(&Values::isText, [this](const Values &) { return textKind(*this); });
}

bool TQFile::isMovie() const
{
    return d->cache.value(&Values::isMovie, [this](const Values &) { return movieKind(*this); });
}

TQFileKinds tqFileKinds(const TQFile &file)
{
    // A flag the item already holds is its answer; the rest are computed as the flags would
    // compute them, and not kept.
    const auto kind = [&file](std::optional<bool> Values::*slot, bool (*compute)(const TQFile &)) {
        const std::optional<bool> held = file.d->cache.peek(slot);
        return held ? *held : compute(file);
    };
    TQFileKinds kinds;
    kinds.image = kind(&Values::isImage, imageKind);
    kinds.media = !file.isBasicDirectory()
        && (kinds.image || kind(&Values::isMovie, movieKind) || kind(&Values::isMusic, musicKind)
            || kind(&Values::isText, textKind));
    return kinds;
}

bool TQFile::isPreviewable() const
{
    if (isBasicDirectory())
        return false;
    if (isImage())
        return true;
    const QString type = resolvedUTI();
    return TQUTTypeConformsTo(type, QStringLiteral("public.content"))
        || TQUTTypeConformsTo(type, QStringLiteral("public.composite-content"));
}

bool TQFile::isMedia() const
{
    if (isBasicDirectory())
        return false;
    return isImage() || isMovie() || isMusic() || isText();
}

// ---- Size and dates ------------------------------------------------------------------------

namespace {

Values::Size sizeOf(const TQFile &file)
{
    if (file.isPlaceholder() || file.isBasicDirectory() || file.URL().isEmpty())
        return {0, QString()};
    qint64 size = file.byteSize();
    if (size < 0) {
        qCInfo(lcFiles).noquote() << QStringLiteral("Error getting file size for file %1").arg(file.path());
        size = 0;
    }
    return {size, TQByteCountString(size)};
}

} // namespace

qint64 TQFile::fileSize() const
{
    // Sorting by size asks this for every comparison: the number alone, not a copy of the text.
    const std::optional<qint64> cached = d->cache.read([](const Values &v) {
        return v.size ? std::optional<qint64>(v.size->bytes) : std::nullopt;
    });
    if (cached)
        return *cached;
    return d->cache.value(&Values::size, [this](const Values &) { return sizeOf(*this); }).bytes;
}

QString TQFile::fileSizeString() const
{
    return d->cache.value(&Values::size, [this](const Values &) { return sizeOf(*this); }).text;
}

namespace {

QString dateText(const TQFile &file, const QDateTime &date)
{
    return file.isPlaceholder() ? QString() : TQMediumDateShortTimeString(date);
}

} // namespace

QString TQFile::modificationDateString() const
{
    return d->cache.value(&Values::modificationDateString, [this](const Values &) { return dateText(*this, modificationDate()); });
}

QString TQFile::creationDateString() const
{
    return d->cache.value(&Values::creationDateString, [this](const Values &) { return dateText(*this, creationDate()); });
}

QString TQFile::dateAddedString() const
{
    return d->cache.value(&Values::dateAddedString, [this](const Values &) { return dateText(*this, dateAdded()); });
}

QString TQFile::accessDateString() const
{
    d->cache.value(&Values::accessDateString, [this](const Values &) { return dateText(*this, accessDate()); });
    return d->cache.peek(&Values::creationDateString).value_or(QString());
}

// ---- Keys ----------------------------------------------------------------------------------

namespace {

using Reset = TQFile::Reset;
constexpr quint8 operator|(Reset a, Reset b) { return quint8(quint8(a) | quint8(b)); }

QVariant itemValue(const TQFileRef &item)
{
    return item ? QVariant::fromValue(UWStandardFileRef(item)) : QVariant();
}

enum class Source : quint8 {
    Own,        // the row's getter answers
    Inherited,  // the base answers; the row adds what this class says of the key
    Unanswered, // announced by hand, never answered
};

enum class Order : quint8 { None, Natural, Name };

} // namespace

// The one table of the keys this class adds or says something of. Every list is read from it:
// the keys valueForKey() answers and keys() lists, what a peek answers, the keys announced by
// hand, each reset's announcements (the rows that carry the reset, in table order; consecutive
// nested rows are announced as one change, will in order and did in reverse), and the sort
// columns. The rows stand in the order the resets name them.
struct TQFileKeys
{
    using F = const TQFile &;
    using Value = QVariant (*)(F);
    using Peek = std::optional<QVariant> (*)(F);

    QStringView name;
    Source source;
    Value value = nullptr;
    Peek peek = nullptr; // nullptr for an own key: always at hand
    bool byHand = false;
    quint8 resets = 0;   // Reset flags
    bool nested = false;
    TQSortType sortType = TQSortType(-1);
    Order order = Order::None;
    // The value as a number that sorts as it does (TQKeyValueCoding::sortNumberForKey()).
    using Number = TQKeyValueCoding::SortNumber (*)(F, qint64 *);
    Number number = nullptr;

    static std::shared_ptr<const ImageValues> imageValues(F file);

    template <class T>
    static std::optional<QVariant> peekSlot(F file, std::optional<T> Values::*slot)
    {
        const std::optional<T> value = file.d->cache.peek(slot);
        return value ? std::optional<QVariant>(QVariant::fromValue(*value)) : std::nullopt;
    }
    // The image rows: known once the dictionary was read, and then all together.
    template <class Pick>
    static std::optional<QVariant> peekImage(F file, Pick pick)
    {
        const auto values = file.d->cache.peek(&Values::image);
        return values ? std::optional<QVariant>(pick(**values)) : std::nullopt;
    }
    static std::optional<QVariant> peekSize(F file, bool text)
    {
        const std::optional<Values::Size> size = file.d->cache.peek(&Values::size);
        if (!size)
            return std::nullopt;
        return text ? QVariant(size->text) : QVariant(size->bytes);
    }
    // A value computed afresh from the kinds: known when they are.
    static std::optional<QVariant> peekFromKinds(F file, QStringView key)
    {
        if (file.isBasicDirectory())
            return QVariant(false);
        const std::optional<bool> image = file.d->cache.peek(&Values::isImage);
        if (key == u"isPreviewable") {
            if (image && *image)
                return QVariant(true);
            const std::optional<QVariant> type = file.UWStandardFile::cachedValueForKey(u"resolvedUTI");
            if (!type)
                return std::nullopt;
            return QVariant(file.isPreviewable());
        }
        const std::optional<bool> kinds[] = {image, file.d->cache.peek(&Values::isMovie),
                                             file.d->cache.peek(&Values::isMusic), file.d->cache.peek(&Values::isText)};
        for (const std::optional<bool> &kind : kinds) {
            if (!kind)
                return std::nullopt;
            if (*kind)
                return QVariant(true);
        }
        return QVariant(false);
    }

    static const std::vector<TQFileKeys> &table();
    static const TQFileKeys *find(QStringView key);
};

#define TQ_IMAGE_ROW(key, expression, sort, sortOrder)                                                         \
    TQFileKeys{u"" #key, Source::Own, [](F f) { return QVariant(f.key()); },                                  \
               [](F f) { return peekImage(f, [](const ImageValues &v) { return QVariant(expression); }); },   \
               true, quint8(Reset::ImageProperties), true, sort, sortOrder}

const std::vector<TQFileKeys> &TQFileKeys::table()
{
    constexpr TQSortType none = TQSortType(-1);
    constexpr quint8 cachedValue = Reset::ContentChange | Reset::PlaceholderChange;
    static const std::vector<TQFileKeys> rows = {
        {u"modificationDateString", Source::Own, [](F f) { return QVariant(f.modificationDateString()); },
         [](F f) { return peekSlot(f, &Values::modificationDateString); }, true, quint8(Reset::EveryEvent)},

        // The image values, as one change; "dimensionsHeight" is emptied with them, unannounced.
        TQ_IMAGE_ROW(imageProperties, v.properties(), none, Order::None),
        TQ_IMAGE_ROW(orientation, v.orientation, none, Order::None),
        TQ_IMAGE_ROW(EXIFDateString, v.exifDateString, none, Order::None),
        TQ_IMAGE_ROW(dimensionsWidth, v.dimensions.dimensions.width(), TQSortType::Width, Order::Natural),
        TQ_IMAGE_ROW(megapixels, v.dimensions.megapixels, TQSortType::Megapixels, Order::Natural),
        TQ_IMAGE_ROW(ISO, v.iso.value, TQSortType::ISO, Order::Natural),
        TQ_IMAGE_ROW(exposureTime, v.exposureTime.value, TQSortType::ExposureTime, Order::Natural),
        TQ_IMAGE_ROW(fNumber, v.fNumber.value, TQSortType::FNumber, Order::Natural),
        TQ_IMAGE_ROW(generalOrientation, v.dimensions.generalOrientation, TQSortType::GeneralOrientation, Order::Natural),
        TQ_IMAGE_ROW(focalLength, v.focalLength.value, TQSortType::FocalLength, Order::Natural),
        TQ_IMAGE_ROW(trueDimensions, v.dimensions.trueDimensions, none, Order::None),
        TQ_IMAGE_ROW(dimensions, v.dimensions.dimensions, none, Order::None),
        TQ_IMAGE_ROW(dimensionsString, v.dimensions.dimensionsString, none, Order::None),
        TQ_IMAGE_ROW(megapixelString, v.dimensions.megapixelString, none, Order::None),
        TQ_IMAGE_ROW(imageDepthString, v.imageDepthString, TQSortType::ImageDepth, Order::Name),
        TQ_IMAGE_ROW(ICCProfileString, v.iccProfileString, TQSortType::ColorProfile, Order::Name),
        TQ_IMAGE_ROW(ISOString, v.iso.text, none, Order::None),
        TQ_IMAGE_ROW(exposureTimeString, v.exposureTime.text, none, Order::None),
        TQ_IMAGE_ROW(fNumberString, v.fNumber.text, none, Order::None),
        TQ_IMAGE_ROW(resolutionString, v.resolutionString, none, Order::None),
        TQ_IMAGE_ROW(generalOrientationString, v.dimensions.generalOrientationString, none, Order::None),
        TQ_IMAGE_ROW(focalLengthString, v.focalLength.text, none, Order::None),
        TQ_IMAGE_ROW(cameraModelString, v.cameraModelString, TQSortType::CameraModel, Order::Name),
        TQ_IMAGE_ROW(EXIFDate, v.exifDate, TQSortType::ExifDate, Order::Natural),
        {u"dimensionsHeight", Source::Own, [](F f) { return QVariant(f.dimensionsHeight()); },
         [](F f) { return peekImage(f, [](const ImageValues &v) { return QVariant(v.dimensions.dimensions.height()); }); },
         false, 0, false, TQSortType::Height, Order::Natural},

        // What a change of content, attributes or placeholder state empties when it is filled.
        {u"creationDateString", Source::Own, [](F f) { return QVariant(f.creationDateString()); },
         [](F f) { return peekSlot(f, &Values::creationDateString); }, true, cachedValue},
        {u"dateAddedString", Source::Own, [](F f) { return QVariant(f.dateAddedString()); },
         [](F f) { return peekSlot(f, &Values::dateAddedString); }, true, cachedValue},
        // The getter answers the creation-date text; the peek says what it would answer.
        {u"accessDateString", Source::Own, [](F f) { return QVariant(f.accessDateString()); },
         [](F f) { return f.d->cache.peek(&Values::accessDateString)
                       ? std::optional<QVariant>(f.d->cache.peek(&Values::creationDateString).value_or(QString()))
                       : std::nullopt; },
         true, cachedValue},
        {u"fileSizeString", Source::Own, [](F f) { return QVariant(f.fileSizeString()); },
         [](F f) { return peekSize(f, true); }, true, cachedValue, true},
        {u"fileSize", Source::Own, [](F f) { return QVariant(f.fileSize()); }, [](F f) { return peekSize(f, false); },
         true, cachedValue, true, TQSortType::FileSize, Order::Natural, [](F f, qint64 *number) {
             *number = f.fileSize();
             return TQKeyValueCoding::SortNumber::Integer;
         }},
        {u"isImage", Source::Own, [](F f) { return QVariant(f.isImage()); },
         [](F f) { return peekSlot(f, &Values::isImage); }, true, cachedValue},
        {u"isMusic", Source::Own, [](F f) { return QVariant(f.isMusic()); },
         [](F f) { return peekSlot(f, &Values::isMusic); }, true, cachedValue},
        {u"isText", Source::Own, [](F f) { return QVariant(f.isText()); },
         [](F f) { return peekSlot(f, &Values::isText); }, true, cachedValue},
        {u"isMovie", Source::Own, [](F f) { return QVariant(f.isMovie()); },
         [](F f) { return peekSlot(f, &Values::isMovie); }, true, cachedValue},
        // Reset on file-system events only, and only when known: the library never fills it.
        {u"isInTrash", Source::Unanswered, nullptr, nullptr, true, quint8(Reset::ContentChange)},

        // Computed afresh from the kinds each time: observers of these watch the kinds.
        {u"isMedia", Source::Own, [](F f) { return QVariant(f.isMedia()); },
         [](F f) { return peekFromKinds(f, u"isMedia"); }, true},
        {u"isPreviewable", Source::Own, [](F f) { return QVariant(f.isPreviewable()); },
         [](F f) { return peekFromKinds(f, u"isPreviewable"); }, true},

        // Keys of the base that this class announces by hand or sorts by.
        {u"creationDate", Source::Inherited, nullptr, nullptr, true, 0, false, TQSortType::CreationDate, Order::Natural},
        {u"displayName", Source::Inherited, nullptr, nullptr, false, 0, false, TQSortType::Name, Order::Name},
        {u"kindString", Source::Inherited, nullptr, nullptr, false, 0, false, TQSortType::Kind, Order::Name},
        {u"modificationDate", Source::Inherited, nullptr, nullptr, false, 0, false, TQSortType::ModificationDate, Order::Natural},
        {u"addedDate", Source::Inherited, nullptr, nullptr, false, 0, false, TQSortType::DateAdded, Order::Natural},

        {u"finderLabelSortValue", Source::Own, [](F f) { return QVariant(f.finderLabelSortValue()); },
         [](F f) -> std::optional<QVariant> {
             const std::optional<QVariant> title = f.UWStandardFile::cachedValueForKey(u"finderLabelTitle");
             return title ? std::optional<QVariant>(QVariant(title->toString().isEmpty() ? QStringLiteral("") : title->toString()))
                          : std::nullopt;
         },
         false, quint8(Reset::LabelChange), false, TQSortType::Label, Order::Name},
        {u"hasEditableImageMetadata", Source::Own, [](F f) { return QVariant(f.hasEditableImageMetadata()); },
         [](F f) { return peekSlot(f, &Values::imageMetadataEditable); }},
        // Asked of the desktop each time: never at hand.
        {u"preferredApplication", Source::Own, [](F f) { return itemValue(f.preferredApplication()); },
         [](F) { return std::optional<QVariant>(); }},
        {u"editorApplication", Source::Own, [](F f) { return itemValue(f.editorApplication()); },
         [](F) { return std::optional<QVariant>(); }},
        {u"marks", Source::Own, [](F f) { return QVariant(f.marks()); }},
    };
    return rows;
}

#undef TQ_IMAGE_ROW

const TQFileKeys *TQFileKeys::find(QStringView key)
{
    // Sorting asks every item of a folder for a key: one hash look-up, not a scan.
    static const QHash<QStringView, const TQFileKeys *> byName = [] {
        QHash<QStringView, const TQFileKeys *> index;
        for (const TQFileKeys &row : table())
            index.insert(row.name, &row);
        return index;
    }();
    return byName.value(key);
}

// ---- Image metadata ------------------------------------------------------------------------

namespace {

// One copy of a text for every image that shows it. The pool is bounded, so a session that
// meets many distinct texts (a camera's exposure times) stops sharing rather than growing.
QString sharedText(const QString &text)
{
    constexpr qsizetype poolLimit = 4096;
    if (text.isEmpty())
        return text;
    static std::mutex lock;
    static QSet<QString> pool;
    const std::lock_guard guard(lock);
    if (const auto it = pool.constFind(text); it != pool.cend())
        return *it;
    if (pool.size() < poolLimit)
        pool.insert(text);
    return text;
}

TQImageValue sharedValue(TQImageValue value)
{
    value.text = sharedText(value.text);
    return value;
}

// Everything but the dictionary's bytes.
std::shared_ptr<ImageValues> derivedValues(const QVariantMap &properties)
{
    auto values = std::make_shared<ImageValues>();
    values->orientation = TQImageMetadata::orientation(properties);
    values->dimensions = TQImageMetadata::dimensions(properties, values->orientation);
    values->dimensions.dimensionsString = sharedText(values->dimensions.dimensionsString);
    values->dimensions.megapixelString = sharedText(values->dimensions.megapixelString);
    values->dimensions.generalOrientationString = sharedText(values->dimensions.generalOrientationString);
    values->focalLength = sharedValue(TQImageMetadata::focalLength(properties));
    values->iso = sharedValue(TQImageMetadata::iso(properties));
    values->exposureTime = sharedValue(TQImageMetadata::exposureTime(properties));
    values->fNumber = sharedValue(TQImageMetadata::fNumber(properties));
    values->exifDate = TQImageMetadata::exifDate(properties, &values->exifDateString);
    values->imageDepthString = sharedText(TQImageMetadata::imageDepthString(properties));
    values->iccProfileString = sharedText(TQImageMetadata::iccProfileString(properties));
    values->resolutionString = sharedText(TQImageMetadata::resolutionString(properties));
    values->cameraModelString = sharedText(TQImageMetadata::cameraModelString(properties));
    return values;
}

std::shared_ptr<const ImageValues> imageValuesOf(const QVariantMap &properties)
{
    // Every item without a dictionary (non-images, placeholders) shares one record.
    static const std::shared_ptr<const ImageValues> none = derivedValues({});
    if (properties.isEmpty())
        return none;
    const std::shared_ptr<ImageValues> values = derivedValues(properties);
    values->encodedProperties = TQPropertiesCodec::encode(properties);
    if (values->encodedProperties.isEmpty())
        qCWarning(lcFiles) << "an image's properties could not be kept:" << properties.keys();
    return values;
}

} // namespace

QVariantMap ImageValues::properties() const
{
    return TQPropertiesCodec::decode(encodedProperties);
}

std::shared_ptr<const ImageValues> TQFileKeys::imageValues(F file)
{
    using Image = std::shared_ptr<const ImageValues>;
    UWRecordCache<Values>::Origin from;
    if (std::optional<Image> cached = file.d->cache.lookUp(&Values::image, &from))
        return *cached;
    // The kind is asked without being kept, or a file that gives nothing (one still being
    // written, a damaged one, a name that lies) would keep a record for that answer alone.
    if (file.isPlaceholder() || !tqFileKinds(file).image)
        return file.d->cache.publish(&Values::image, from, imageValuesOf({}));
    const QVariantMap properties = TQImageProperties::propertiesOfFile(
        UWStandardFile::nativePathForURL(file.resolvedURL()), file.resolvedUTI());
    const Image values = imageValuesOf(properties);
    // A file that opened but gave nothing is asked again next time.
    return properties.isEmpty() ? values : file.d->cache.publish(&Values::image, from, values);
}

bool TQFile::findAllImageInfo() const
{
    return !TQFileKeys::imageValues(*this)->encodedProperties.isEmpty();
}

QVariantMap TQFile::imageProperties() const { return TQFileKeys::imageValues(*this)->properties(); }
int TQFile::orientation() const { return TQFileKeys::imageValues(*this)->orientation; }
double TQFile::megapixels() const { return TQFileKeys::imageValues(*this)->dimensions.megapixels; }
QSizeF TQFile::trueDimensions() const { return TQFileKeys::imageValues(*this)->dimensions.trueDimensions; }
QSizeF TQFile::dimensions() const { return TQFileKeys::imageValues(*this)->dimensions.dimensions; }
double TQFile::dimensionsWidth() const { return TQFileKeys::imageValues(*this)->dimensions.dimensions.width(); }
double TQFile::dimensionsHeight() const { return TQFileKeys::imageValues(*this)->dimensions.dimensions.height(); }
QString TQFile::dimensionsString() const { return TQFileKeys::imageValues(*this)->dimensions.dimensionsString; }
QString TQFile::megapixelString() const { return TQFileKeys::imageValues(*this)->dimensions.megapixelString; }
uint TQFile::generalOrientation() const { return TQFileKeys::imageValues(*this)->dimensions.generalOrientation; }
QString TQFile::generalOrientationString() const { return TQFileKeys::imageValues(*this)->dimensions.generalOrientationString; }
double TQFile::focalLength() const { return TQFileKeys::imageValues(*this)->focalLength.value; }
QString TQFile::focalLengthString() const { return TQFileKeys::imageValues(*this)->focalLength.text; }
double TQFile::ISO() const { return TQFileKeys::imageValues(*this)->iso.value; }
QString TQFile::ISOString() const { return TQFileKeys::imageValues(*this)->iso.text; }
double TQFile::exposureTime() const { return TQFileKeys::imageValues(*this)->exposureTime.value; }
QString TQFile::exposureTimeString() const { return TQFileKeys::imageValues(*this)->exposureTime.text; }
double TQFile::fNumber() const { return TQFileKeys::imageValues(*this)->fNumber.value; }
QString TQFile::fNumberString() const { return TQFileKeys::imageValues(*this)->fNumber.text; }
QDateTime TQFile::EXIFDate() const { return TQFileKeys::imageValues(*this)->exifDate; }
QString TQFile::EXIFDateString() const { return TQFileKeys::imageValues(*this)->exifDateString; }
QString TQFile::imageDepthString() const { return TQFileKeys::imageValues(*this)->imageDepthString; }
QString TQFile::ICCProfileString() const { return TQFileKeys::imageValues(*this)->iccProfileString; }
QString TQFile::resolutionString() const { return TQFileKeys::imageValues(*this)->resolutionString; }
QString TQFile::cameraModelString() const { return TQFileKeys::imageValues(*this)->cameraModelString; }

// ---- Applications and writing --------------------------------------------------------------

namespace {

// The bytes of the file a link leads to: its name need not survive a trip through text.
QByteArray resolvedNativePath(const TQFile &file)
{
    return UWStandardFile::nativePathForURL(file.resolvedURL());
}

TQFileRef itemForApplication(const TQApplicationInfo &application)
{
    if (!application.isValid())
        return nullptr;
    const TQFileRef item = TQFile::newFileForPath(application.desktopFilePath);
    return item && !item->isPlaceholder() ? item : nullptr;
}

} // namespace

TQFileRef TQFile::preferredApplication() const
{
    if (isPlaceholder() || URL().isEmpty())
        return nullptr;
    const QByteArray path = UWStandardFile::nativePathForURL(resolvedURL());
    std::unique_lock serialized(UWSerialized::desktopLookups());
    const TQApplicationInfo application = TQApplications::defaultApplicationForFile(path);
    serialized.unlock();
    return itemForApplication(application);
}

TQFileRef TQFile::editorApplication() const
{
    if (isPlaceholder() || URL().isEmpty())
        return nullptr;
    const QByteArray path = UWStandardFile::nativePathForURL(resolvedURL());
    std::unique_lock serialized(UWSerialized::desktopLookups());
    const TQApplicationInfo application = TQApplications::defaultEditorForFile(path);
    serialized.unlock();
    return itemForApplication(application);
}

bool TQFile::hasEditableImageMetadata() const
{
    return d->cache.value(&Values::imageMetadataEditable, [this](const Values &) {
        return !isPlaceholder() && isWritable() && TQUTTypeConformsToArray(uti(), TQEditableMetadataImageTypes());
    });
}

bool TQFile::setImageOrientation(int orientation)
{
    return setImageOrientation(orientation, nullptr);
}

int TQFile::storedImageOrientation() const
{
    if (isPlaceholder() || URL().isEmpty())
        return 0;
    return TQImageOrientationWriter::readOrientation(resolvedNativePath(*this));
}

bool TQFile::setImageOrientation(int orientation, QString *reason)
{
    if (!hasEditableImageMetadata()) {
        if (reason)
            *reason = QStringLiteral("not a writable JPEG, PNG, TIFF or camera RAW file (its kind: %1)").arg(kindString());
        return false;
    }
    using TQImageOrientationWriter::Result;
    QString error;
    const Result result = TQImageOrientationWriter::writeOrientation(resolvedNativePath(*this), orientation, &error);
    if (TQImageOrientationWriter::succeeded(result)) {
        UWFileManager *manager = UWFileManager::sharedFileManager();
        if (const UWStandardFileRef parent = parentItem(); parent && manager)
            manager->changeHappenedInDirectory(parent);
        return true;
    }
    switch (result) {
    case Result::ImageDataWouldChange:
    case Result::NoSpace:
    case Result::IoError:
        // The write itself failed; the cases above it never got as far as a copy to write.
        qCWarning(lcFiles).noquote() << QStringLiteral("Error rotating image %1").arg(path());
        break;
    default:
        break;
    }
    qCDebug(lcFiles).noquote() << error;
    if (reason)
        *reason = error;
    return false;
}

int TQFile::imageOrientation() const
{
    return d->imageOrientation.load(std::memory_order_relaxed);
}

void TQFile::setImageOrientationValue(int orientation)
{
    d->imageOrientation.store(orientation, std::memory_order_relaxed);
}

// ---- Sorting and filtering -----------------------------------------------------------------

namespace {

constexpr int foldersFirst = 10;
constexpr int foldersLast = 11;
constexpr int randomOrder = 7;

// Never "same": the lowest bit of a random number picks before or after.
int randomComparison(const QVariant &, const QVariant &)
{
    return int(QRandomGenerator::global()->generate() & 1) * 2 - 1;
}

} // namespace

namespace {

const QList<TQSortColumn> &columns()
{
    static const QList<TQSortColumn> all = TQFile::sortColumns();
    return all;
}

} // namespace

QList<TQSortDescriptor> TQFile::sortDescriptorsForSortType(int sortType, int folderPriority, bool ascending,
                                                           const QString &itemKeyPath)
{
    const auto path = [&itemKeyPath](QStringView key) {
        return itemKeyPath.isEmpty() ? key.toString() : QStringLiteral("%1.%2").arg(itemKeyPath, key);
    };
    QList<TQSortDescriptor> descriptors;
    descriptors.reserve(10);
    const TQSortDescriptor name(path(u"displayName"), ascending, TQSortDescriptor::Comparison::NameOrder);
    if (folderPriority == foldersFirst || folderPriority == foldersLast)
        descriptors.append(TQSortDescriptor(path(u"isDirectory"), folderPriority == foldersLast));
    if (sortType == randomOrder) {
        descriptors.append(TQSortDescriptor(path(u"displayName"), ascending, &randomComparison));
    } else {
        // The name column is the name descriptor itself, not repeated.
        for (const TQSortColumn &column : columns()) {
            if (int(column.type) == sortType && column.type != TQSortType::Name) {
                descriptors.append(TQSortDescriptor(path(column.key), ascending,
                                                    column.nameOrder ? TQSortDescriptor::Comparison::NameOrder
                                                                     : TQSortDescriptor::Comparison::Natural));
                break;
            }
        }
    }
    descriptors.append(name);
    return descriptors;
}

std::optional<TQPredicate> TQFile::filterPredicateForFilterType(int filterType, bool excludeFolders,
                                                                const QString &itemKeyPath)
{
    struct Filter
    {
        const char16_t *format;
        std::initializer_list<QStringView> keys;
    };
    static const std::array<Filter, 8> filters = {{
        {u"%K == NO", {u"isInvisible"}},
        {u"TRUEPREDICATE", {}},
        {u"(%K == NO) && (%K == YES)", {u"isInvisible", u"isImage"}},
        {u"(%K == NO) && (%K == YES)", {u"isInvisible", u"isMedia"}},
        {u"(%K == NO) && ((%K == YES) || (%K == YES))", {u"isInvisible", u"isImage", u"isDirectory"}},
        {u"(%K == NO) && ((%K == YES) || (%K == YES))", {u"isInvisible", u"isMedia", u"isDirectory"}},
        {u"(%K == NO) && (%K == YES)", {u"isInvisible", u"isDirectory"}},
        {u"(%K == NO) && (%K == NO)", {u"isInvisible", u"isDirectory"}},
    }};
    const auto path = [&itemKeyPath](QStringView key) {
        return itemKeyPath.isEmpty() ? key.toString() : QStringLiteral("%1.%2").arg(itemKeyPath, key);
    };
    std::optional<TQPredicate> predicate;
    if (filterType >= 0 && filterType < int(filters.size())) {
        QStringList keys;
        for (QStringView key : filters[size_t(filterType)].keys)
            keys.append(path(key));
        predicate = TQPredicate::predicateWithFormat(QString::fromUtf16(filters[size_t(filterType)].format), keys);
    }
    // Folders only: the folders stay whatever the flag says.
    if (filterType == 6 || !excludeFolders)
        return predicate;
    if (!predicate)
        throw TQInvalidParameterException(QStringLiteral("nil != predicate"), __FILE__, __LINE__);
    return TQPredicate::andPredicateWithSubpredicates(
        {*predicate, *TQPredicate::predicateWithFormat(QStringLiteral("%K == NO"), {path(u"isDirectory")})});
}

QVariant TQFile::comparisonValueForType(int sortType) const
{
    switch (sortType) {
    case randomOrder:
        return QVariant(QRandomGenerator::global()->generate());
    case int(TQSortType::DateAdded):
        return QVariant::fromValue(dateAdded());
    default:
        for (const TQSortColumn &column : columns()) {
            if (int(column.type) == sortType)
                return valueForKey(column.key);
        }
        return QVariant(displayName());
    }
}

QString TQFile::finderLabelSortValue() const
{
    if (finderLabel() == 0)
        return QStringLiteral("");
    return finderLabelTitle();
}

bool TQFile::setFinderLabel(int label, QString *error)
{
    const QStringList around = keysResetBy(Reset::LabelChange);
    for (const QString &key : around)
        willChangeValueForKey(key);
    const bool set = UWStandardFile::setFinderLabel(label, error);
    for (auto key = around.rbegin(); key != around.rend(); ++key)
        didChangeValueForKey(*key);
    return set;
}

const TQStringUtilities::FinderStyleSortKey *TQFile::nameSortKeyForKey(QStringView key) const
{
    if (key != u"displayName")
        return nullptr;
    // The display name follows from the path (a placeholder's from its archive, which does
    // not change): while the path is the very string the key was made for, so is the name.
    // The copy of the path the key keeps holds that string's buffer, so a new path never
    // reuses it.
    const QByteArray path = nativePath();
    const QLocale locale;
    const auto valid = [&](const NameKey &kept) {
        return kept.locale == locale
            && (path.isEmpty() ? kept.key.string() == displayName() : path.constData() == kept.path.constData());
    };
    {
        std::lock_guard locker(d->lock);
        if (d->nameKeys && valid(*d->nameKeys))
            return &d->nameKeys->key;
    }
    std::unique_ptr<NameKey> made(new NameKey{TQStringUtilities::finderStyleSortKey(displayName()), locale, path, {}});
    std::lock_guard locker(d->lock);
    made->older = std::move(d->nameKeys);
    d->nameKeys = std::move(made);
    return &d->nameKeys->key;
}

// ---- Counting ------------------------------------------------------------------------------

bool TQFile::countOfFiles(uint *files, uint *folders, uint *total, const TQPredicate *fileFilter,
                          const TQPredicate *directoryFilter) const
{
    if (!isDirectory())
        return false;
    std::shared_ptr<UWFileSubscription> subscription;
    if (UWFileManager *manager = UWFileManager::sharedFileManager())
        subscription = manager->subscriptionForFile(resolvedFileItem());
    return countOfFiles(files, folders, total, subscription.get(), fileFilter, directoryFilter);
}

bool TQFile::countOfFiles(uint *files, uint *folders, uint *total, UWFileSubscription *subscription,
                          const TQPredicate *fileFilter, const TQPredicate *directoryFilter) const
{
    if (!files && !folders && !total)
        return true;
    QList<UWStandardFileRef> listing;
    if (subscription) {
        subscription->loadImmediately();
        listing = subscription->files();
    } else if (const UWStandardFileRef folder = resolvedFileItem()) {
        UWFileLoadOperation load;
        load.addObjectToQueue(folder);
        load.main();
        listing = load.results();
    }
    uint fileCount = 0, folderCount = 0;
    for (const UWStandardFileRef &item : listing) {
        if (item->isDirectory()) {
            if (!directoryFilter || directoryFilter->evaluateWithObject(item))
                ++folderCount;
        } else if (!fileFilter || fileFilter->evaluateWithObject(item)) {
            ++fileCount;
        }
    }
    if (files)
        *files = fileCount;
    if (folders)
        *folders = folderCount;
    if (total)
        *total = fileCount + folderCount;
    return true;
}

// ---- Marks ---------------------------------------------------------------------------------

QVariantMap TQFile::marks() const
{
    std::lock_guard locker(d->lock);
    return d->marks;
}

void TQFile::setMarks(const QVariantMap &marks)
{
    std::lock_guard locker(d->lock);
    d->marks = marks;
}


namespace {

// The slots behind the keys a reset empties: whether one is filled, and emptying it. The image
// rows share one slot, emptied as a whole.
struct SlotAccess
{
    bool (*filled)(const Values &);
    void (*clear)(Values &);
};

#define TQ_SLOT(key, member) {u"" #key, {[](const Values &v) { return v.member.has_value(); }, [](Values &v) { v.member.reset(); }}}

const SlotAccess *slotOf(QStringView key)
{
    static const QHash<QStringView, SlotAccess> byKey = {
        TQ_SLOT(modificationDateString, modificationDateString),
        TQ_SLOT(creationDateString, creationDateString),
        TQ_SLOT(dateAddedString, dateAddedString),
        TQ_SLOT(accessDateString, accessDateString),
        TQ_SLOT(fileSizeString, size),
        TQ_SLOT(fileSize, size),
        TQ_SLOT(isImage, isImage),
        TQ_SLOT(isMusic, isMusic),
        TQ_SLOT(isText, isText),
        TQ_SLOT(isMovie, isMovie),
        TQ_SLOT(isInTrash, isInTrash),
    };
    static const SlotAccess image{[](const Values &v) { return v.image.has_value(); }, [](Values &v) { v.image.reset(); }};
    if (const auto found = byKey.constFind(key); found != byKey.constEnd())
        return &*found;
    const TQFileKeys *row = TQFileKeys::find(key);
    return row && (row->resets & quint8(Reset::ImageProperties)) ? &image : nullptr;
}

#undef TQ_SLOT

// The rows \a reset announces, in order, as groups announced as one change each.
const std::vector<std::vector<const TQFileKeys *>> &groupsOf(Reset reset)
{
    static const auto all = [] {
        std::array<std::vector<std::vector<const TQFileKeys *>>, 8> groups;
        for (size_t bit = 0; bit < groups.size(); ++bit) {
            const TQFileKeys *previous = nullptr;
            for (const TQFileKeys &row : TQFileKeys::table()) {
                if (!(row.resets & (1u << bit)))
                    continue;
                if (previous && previous->nested && row.nested)
                    groups[bit].back().push_back(&row);
                else
                    groups[bit].push_back({&row});
                previous = &row;
            }
        }
        return groups;
    }();
    return all[size_t(std::countr_zero(quint8(reset)))];
}

} // namespace

void TQFile::runReset(Reset reset, bool onlyFilled)
{
    for (const std::vector<const TQFileKeys *> &group : groupsOf(reset)) {
        const SlotAccess *slot = slotOf(group.front()->name);
        if (onlyFilled && (!slot || !d->cache.read([slot](const Values &v) { return slot->filled(v); })))
            continue;
        for (const TQFileKeys *row : group)
            willChangeValueForKey(row->name);
        d->cache.reset([&group](Values &next) {
            for (const TQFileKeys *row : group) {
                if (const SlotAccess *emptied = slotOf(row->name))
                    emptied->clear(next);
            }
        });
        for (auto row = group.rbegin(); row != group.rend(); ++row)
            didChangeValueForKey((*row)->name);
    }
}

void TQFile::_resetImageProperties()
{
    d->cache.reset([](Values &next) { next.imageMetadataEditable.reset(); });
    runReset(Reset::ImageProperties, false);
}

void TQFile::updateForEvent(const UWFileEvent &event)
{
    // Nothing computed from the base's old status lands in a record while it is replaced.
    d->cache.beginResets();
    runReset(Reset::EveryEvent, false);
    if (event.type == UWFileEvent::ContentChanged || event.type == UWFileEvent::AttributesChanged
        || event.type == UWFileEvent::CreatedOrReplaced) {
        _resetImageProperties();
        runReset(Reset::ContentChange, true);
    }
    UWStandardFile::updateForEvent(event);
    d->cache.endResets();
}

void TQFile::placeholderStatusChanged()
{
    d->cache.beginResets();
    UWStandardFile::placeholderStatusChanged();
    _resetImageProperties();
    runReset(Reset::PlaceholderChange, true);
    d->cache.endResets();
}

QStringList TQFile::keysResetBy(Reset reset)
{
    QStringList keys;
    for (const std::vector<const TQFileKeys *> &group : groupsOf(reset)) {
        for (const TQFileKeys *row : group)
            keys.append(row->name.toString());
    }
    return keys;
}

QStringList TQFile::keysAnnouncedByHand()
{
    QStringList keys;
    for (const TQFileKeys &row : TQFileKeys::table()) {
        if (row.byHand)
            keys.append(row.name.toString());
    }
    return keys;
}

bool TQFile::automaticallyNotifiesObserversForKey(QStringView key)
{
    if (const TQFileKeys *row = TQFileKeys::find(key); row && row->byHand)
        return false;
    return UWStandardFile::automaticallyNotifiesObserversForKey(key);
}

QVariant TQFile::valueForKey(QStringView key) const
{
    if (const TQFileKeys *row = TQFileKeys::find(key); row && row->source == Source::Own)
        return row->value(*this);
    return UWStandardFile::valueForKey(key);
}

std::optional<QVariant> TQFile::cachedValueForKey(QStringView key) const
{
    const TQFileKeys *row = TQFileKeys::find(key);
    if (!row || row->source == Source::Inherited)
        return UWStandardFile::cachedValueForKey(key);
    if (row->source == Source::Unanswered)
        return std::nullopt;
    return row->peek ? row->peek(*this) : std::optional<QVariant>(row->value(*this));
}

TQKeyValueCoding::SortNumber TQFile::sortNumberForKey(QStringView key, qint64 *number) const
{
    const TQFileKeys *row = TQFileKeys::find(key);
    if (!row || row->source == Source::Inherited)
        return UWStandardFile::sortNumberForKey(key, number);
    return row->number ? row->number(*this, number) : SortNumber::Unknown;
}

void TQFile::prefetchValueForKey(QStringView key, int step) const
{
    UWStandardFile::prefetchValueForKey(key, step);
    // The base's keys need nothing of this side, but for the name's sort key kept here.
    const TQFileKeys *row = TQFileKeys::find(key);
    if (!row || (row->source != Source::Own && row->order != Order::Name))
        return;
    if (step == 0)
        __builtin_prefetch(d.get());
    else if (row->source == Source::Own)
        d->cache.prefetch();
}

QStringList TQFile::keys()
{
    QStringList all = UWStandardFile::keys();
    for (const TQFileKeys &row : TQFileKeys::table()) {
        if (row.source == Source::Own)
            all.append(row.name.toString());
    }
    return all;
}

QList<TQSortColumn> TQFile::sortColumns()
{
    QList<TQSortColumn> columns;
    for (const TQFileKeys &row : TQFileKeys::table()) {
        if (row.order != Order::None)
            columns.append({row.sortType, row.name.toString(), row.order == Order::Name});
    }
    std::sort(columns.begin(), columns.end(),
              [](const TQSortColumn &a, const TQSortColumn &b) { return int(a.type) < int(b.type); });
    return columns;
}
