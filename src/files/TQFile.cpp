#include "TQFile.h"

#include "TQApplications.h"
#include "TQFilesLogging.h"
#include "TQFormatting.h"
#include "TQImageMetadata.h"
#include "TQImageProperties.h"
#include "TQImageOrientationWriter.h"
#include "TQTypeRegistry.h"
#include "TQUtilityFunctions.h"
#include "TQInvalidParameterException.h"
#include "UWFileLoadOperation.h"
#include "UWFileManager.h"

#include <QHash>
#include <QLocale>
#include <QMutex>
#include <QMutexLocker>
#include <QRandomGenerator>
#include <QSet>

#include <array>
#include <optional>

Q_LOGGING_CATEGORY(lcFiles, "tqkit.files", QtWarningMsg)

namespace {

// The form of every boolean cache: 0 no, 1 yes, 255 not yet known.
constexpr quint8 unknown = 255;

quint8 tri(bool value)
{
    return value ? 1 : 0;
}

} // namespace

// Every item of the process is a TQFile: the factory goes in as the library loads.
struct TQFileFactory
{
    static UWStandardFileRef make() { return UWStandardFileRef(new TQFile); }
};

static void installFileFactory()
{
    UWFileManager::setFileFactory(&TQFileFactory::make);
    // Rows may hold items under either pointer type; key paths pass through both.
    TQKeyValueCoding::registerReferenceType<TQFile>();
}
Q_CONSTRUCTOR_FUNCTION(installFileFactory)

struct TQFile::Caches
{
    QString modificationDateString;
    QString creationDateString;
    QString dateAddedString;
    QString accessDateString;
    std::optional<QString> fileSizeString;
    std::optional<qint64> fileSize;
    quint8 isImage = unknown;
    quint8 isText = unknown;
    quint8 isMovie = unknown;
    quint8 isMusic = unknown;
    quint8 isInTrash = unknown;
    int imageOrientation = -1;
    quint8 imageMetadataEditable = unknown;

    // Image metadata: kept out of line, made on the first request, so that a listing of
    // thousands of non-images does not pay for it.
    struct Image
    {
        std::optional<QVariantMap> properties;
        std::optional<int> orientation;
        std::optional<TQImageDimensions> dimensions;
        std::optional<TQImageValue> focalLength, iso, exposureTime, fNumber;
        std::optional<QDateTime> exifDate;
        QString exifDateString;
        std::optional<QString> imageDepthString, iccProfileString, resolutionString, cameraModelString;
    };
    std::unique_ptr<Image> image;
    Image &ensureImage()
    {
        if (!image)
            image = std::make_unique<Image>();
        return *image;
    }

    mutable QMutex marksLock;
    QVariantMap marks; // guarded by marksLock

    // The name's sort key, made when the item is first sorted by name; valid while the name
    // and the default locale are the ones it was made for.
    struct NameKey
    {
        TQStringUtilities::FinderStyleSortKey key;
        QLocale locale;
        QByteArray path;
    };
    std::optional<NameKey> nameKey;
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
    d->isInTrash = d->imageMetadataEditable = d->isMusic = d->isMovie = d->isText = d->isImage = unknown;
    d->imageOrientation = -1;
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

bool TQFile::isImage() const
{
    if (d->isImage != unknown)
        return d->isImage;
    const QString type = resolvedUTI();
    if (!isPlaceholder() && !URL().isEmpty() && TQUTTypeConformsToArray(type, imageTypes())) {
        d->isImage = 1;
        return true;
    }
    qCDebug(lcFiles).noquote() << QStringLiteral("UTI %1 for %2 not an image").arg(type, displayName());
    d->isImage = 0;
    return false;
}

bool TQFile::isMusic() const
{
    if (d->isMusic == unknown)
        d->isMusic = tri(!isPlaceholder() && !URL().isEmpty()
                         && TQUTTypeConformsTo(resolvedUTI(), QStringLiteral("public.audio")));
    return d->isMusic;
}

bool TQFile::isText() const
{
    if (d->isText == unknown)
        d->isText = tri(!isPlaceholder() && !URL().isEmpty()
                        && TQUTTypeConformsTo(resolvedUTI(), QStringLiteral("public.text")));
    return d->isText;
}

bool TQFile::isMovie() const
{
    // The item's own type, not the resolved one: a link to a film is not itself a film here.
    if (d->isMovie == unknown)
        d->isMovie = tri(!isPlaceholder() && !URL().isEmpty() && TQUTTypeConformsToArray(uti(), movieTypes()));
    return d->isMovie;
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

qint64 TQFile::fileSize() const
{
    if (d->fileSize)
        return *d->fileSize;
    if (!isPlaceholder() && !isBasicDirectory() && !URL().isEmpty()) {
        const qint64 size = byteSize();
        if (size < 0) {
            qCInfo(lcFiles).noquote() << QStringLiteral("Error getting file size for file %1").arg(path());
            d->fileSize = 0;
        } else {
            d->fileSize = size;
        }
        d->fileSizeString = TQByteCountString(*d->fileSize);
    } else {
        d->fileSize = 0;
        d->fileSizeString = QString();
    }
    return *d->fileSize;
}

QString TQFile::fileSizeString() const
{
    if (!d->fileSizeString)
        fileSize();
    return d->fileSizeString.value_or(QString());
}

namespace {

void fillDateText(QString &cache, bool placeholder, const QDateTime &date)
{
    if (!cache.isEmpty())
        return;
    cache = placeholder ? QString() : TQMediumDateShortTimeString(date);
}

} // namespace

QString TQFile::modificationDateString() const
{
    fillDateText(d->modificationDateString, isPlaceholder(), modificationDate());
    return d->modificationDateString;
}

QString TQFile::creationDateString() const
{
    fillDateText(d->creationDateString, isPlaceholder(), creationDate());
    return d->creationDateString;
}

QString TQFile::dateAddedString() const
{
    fillDateText(d->dateAddedString, isPlaceholder(), dateAdded());
    return d->dateAddedString;
}

QString TQFile::accessDateString() const
{
    fillDateText(d->accessDateString, isPlaceholder(), accessDate());
    return d->creationDateString;
}

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
    return itemForApplication(TQApplications::defaultApplicationForFile(UWStandardFile::nativePathForURL(resolvedURL())));
}

TQFileRef TQFile::editorApplication() const
{
    if (isPlaceholder() || URL().isEmpty())
        return nullptr;
    return itemForApplication(TQApplications::defaultEditorForFile(UWStandardFile::nativePathForURL(resolvedURL())));
}

bool TQFile::hasEditableImageMetadata() const
{
    if (d->imageMetadataEditable != unknown)
        return d->imageMetadataEditable;
    d->imageMetadataEditable = tri(!isPlaceholder() && isWritable()
                                   && TQUTTypeConformsToArray(uti(), TQEditableMetadataImageTypes()));
    return d->imageMetadataEditable;
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
    return d->imageOrientation;
}

void TQFile::setImageOrientationValue(int orientation)
{
    d->imageOrientation = orientation;
}

// ---- Image metadata ------------------------------------------------------------------------

bool TQFile::findAllImageInfo() const
{
    Caches::Image &image = d->ensureImage();
    if (image.properties)
        return true;
    if (!isPlaceholder() && isImage()) {
        const QVariantMap properties = TQImageProperties::propertiesOfFile(resolvedNativePath(*this), resolvedUTI());
        // A file that opened but gave nothing is asked again next time.
        if (!properties.isEmpty()) {
            image.properties = properties;
            return true;
        }
        return false;
    }
    image.properties = QVariantMap();
    return false;
}

QVariantMap TQFile::imageProperties() const
{
    findAllImageInfo();
    return d->ensureImage().properties.value_or(QVariantMap());
}

int TQFile::orientation() const
{
    Caches::Image &image = d->ensureImage();
    if (!image.orientation)
        image.orientation = TQImageMetadata::orientation(imageProperties());
    return *image.orientation;
}

namespace {

template<typename T, typename Fill>
const T &filled(std::optional<T> &cache, Fill fill)
{
    if (!cache)
        cache = fill();
    return *cache;
}

} // namespace

double TQFile::megapixels() const
{
    return filled(d->ensureImage().dimensions, [this] {
               return TQImageMetadata::dimensions(imageProperties(), orientation());
           }).megapixels;
}

QSizeF TQFile::trueDimensions() const { megapixels(); return d->image->dimensions->trueDimensions; }
QSizeF TQFile::dimensions() const { megapixels(); return d->image->dimensions->dimensions; }
double TQFile::dimensionsWidth() const { megapixels(); return d->image->dimensions->dimensions.width(); }
double TQFile::dimensionsHeight() const { megapixels(); return d->image->dimensions->dimensions.height(); }
QString TQFile::dimensionsString() const { megapixels(); return d->image->dimensions->dimensionsString; }
QString TQFile::megapixelString() const { megapixels(); return d->image->dimensions->megapixelString; }
uint TQFile::generalOrientation() const { megapixels(); return d->image->dimensions->generalOrientation; }
QString TQFile::generalOrientationString() const { megapixels(); return d->image->dimensions->generalOrientationString; }

double TQFile::focalLength() const
{
    return filled(d->ensureImage().focalLength, [this] { return TQImageMetadata::focalLength(imageProperties()); }).value;
}

QString TQFile::focalLengthString() const
{
    focalLength();
    return d->image->focalLength->text;
}

double TQFile::ISO() const
{
    return filled(d->ensureImage().iso, [this] { return TQImageMetadata::iso(imageProperties()); }).value;
}

QString TQFile::ISOString() const
{
    ISO();
    return d->image->iso->text;
}

double TQFile::exposureTime() const
{
    return filled(d->ensureImage().exposureTime, [this] { return TQImageMetadata::exposureTime(imageProperties()); }).value;
}

QString TQFile::exposureTimeString() const
{
    exposureTime();
    return d->image->exposureTime->text;
}

double TQFile::fNumber() const
{
    return filled(d->ensureImage().fNumber, [this] { return TQImageMetadata::fNumber(imageProperties()); }).value;
}

QString TQFile::fNumberString() const
{
    fNumber();
    return d->image->fNumber->text;
}

QDateTime TQFile::EXIFDate() const
{
    Caches::Image &image = d->ensureImage();
    if (!image.exifDate)
        image.exifDate = TQImageMetadata::exifDate(imageProperties(), &image.exifDateString);
    return *image.exifDate;
}

QString TQFile::EXIFDateString() const
{
    EXIFDate();
    return d->image->exifDateString;
}

QString TQFile::imageDepthString() const
{
    return filled(d->ensureImage().imageDepthString, [this] { return TQImageMetadata::imageDepthString(imageProperties()); });
}

QString TQFile::ICCProfileString() const
{
    return filled(d->ensureImage().iccProfileString, [this] { return TQImageMetadata::iccProfileString(imageProperties()); });
}

QString TQFile::resolutionString() const
{
    return filled(d->ensureImage().resolutionString, [this] { return TQImageMetadata::resolutionString(imageProperties()); });
}

QString TQFile::cameraModelString() const
{
    return filled(d->ensureImage().cameraModelString, [this] { return TQImageMetadata::cameraModelString(imageProperties()); });
}

void TQFile::_resetImageProperties()
{
    d->imageMetadataEditable = unknown;
    // The order hosts observe; "dimensionsHeight" is emptied without an announcement of its own.
    static constexpr std::array<QStringView, 24> keys = {
        u"imageProperties", u"orientation", u"EXIFDateString", u"dimensionsWidth", u"megapixels",
        u"ISO", u"exposureTime", u"fNumber", u"generalOrientation", u"focalLength",
        u"trueDimensions", u"dimensions", u"dimensionsString", u"megapixelString",
        u"imageDepthString", u"ICCProfileString", u"ISOString", u"exposureTimeString",
        u"fNumberString", u"resolutionString", u"generalOrientationString", u"focalLengthString",
        u"cameraModelString", u"EXIFDate"};
    for (QStringView key : keys)
        willChangeValueForKey(key);
    d->image.reset();
    for (auto key = keys.rbegin(); key != keys.rend(); ++key)
        didChangeValueForKey(*key);
}

// ---- Sorting and filtering -----------------------------------------------------------------

namespace {

enum class Order { Natural, Name };

struct SortColumn
{
    int type;
    QStringView key;
    Order order;
};

constexpr std::array sortColumns = {
    SortColumn{1, u"fileSize", Order::Natural},
    SortColumn{3, u"kindString", Order::Name},
    SortColumn{4, u"megapixels", Order::Natural},
    SortColumn{5, u"imageDepthString", Order::Name},
    SortColumn{6, u"modificationDate", Order::Natural},
    SortColumn{8, u"ICCProfileString", Order::Name},
    SortColumn{9, u"creationDate", Order::Natural},
    SortColumn{13, u"finderLabelSortValue", Order::Name},
    SortColumn{14, u"dimensionsHeight", Order::Natural},
    SortColumn{15, u"dimensionsWidth", Order::Natural},
    SortColumn{16, u"EXIFDate", Order::Natural},
    SortColumn{17, u"generalOrientation", Order::Natural},
    SortColumn{18, u"exposureTime", Order::Natural},
    SortColumn{19, u"fNumber", Order::Natural},
    SortColumn{20, u"ISO", Order::Natural},
    SortColumn{21, u"focalLength", Order::Natural},
    SortColumn{22, u"cameraModelString", Order::Name},
    SortColumn{23, u"addedDate", Order::Natural},
};

constexpr int foldersFirst = 10;
constexpr int foldersLast = 11;
constexpr int randomOrder = 7;

// Never "same": the lowest bit of a random number picks before or after.
int randomComparison(const QVariant &, const QVariant &)
{
    return int(QRandomGenerator::global()->generate() & 1) * 2 - 1;
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
        for (const SortColumn &column : sortColumns) {
            if (column.type == sortType) {
                descriptors.append(TQSortDescriptor(path(column.key), ascending,
                                                    column.order == Order::Name ? TQSortDescriptor::Comparison::NameOrder
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

bool TQFile::automaticallyNotifiesObserversForKey(QStringView key)
{
    static const QSet<QStringView> announcedByHand = {
        u"fileSizeString", u"fileSize", u"accessDateString", u"modificationDateString",
        u"creationDateString", u"dateAddedString", u"creationDate", u"isImage", u"isMovie",
        u"isText", u"isMusic", u"isMedia", u"isPreviewable", u"isInTrash", u"imageProperties",
        u"orientation", u"EXIFDateString", u"dimensionsWidth", u"megapixels", u"ISO",
        u"exposureTime", u"fNumber", u"generalOrientation", u"focalLength", u"trueDimensions",
        u"dimensions", u"dimensionsString", u"megapixelString", u"imageDepthString",
        u"ICCProfileString", u"ISOString", u"exposureTimeString", u"fNumberString",
        u"resolutionString", u"generalOrientationString", u"focalLengthString",
        u"cameraModelString", u"EXIFDate"};
    if (announcedByHand.contains(key))
        return false;
    return UWStandardFile::automaticallyNotifiesObserversForKey(key);
}

QVariant TQFile::comparisonValueForType(int sortType) const
{
    switch (sortType) {
    case randomOrder:
        return QVariant(QRandomGenerator::global()->generate());
    case 23:
        return valueForKey(u"dateAdded");
    default:
        for (const SortColumn &column : sortColumns) {
            if (column.type == sortType)
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
    willChangeValueForKey(u"finderLabelSortValue");
    const bool set = UWStandardFile::setFinderLabel(label, error);
    didChangeValueForKey(u"finderLabelSortValue");
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
    const bool valid = d->nameKey && d->nameKey->locale == locale
        && (path.isEmpty() ? d->nameKey->key.string() == displayName() : path.constData() == d->nameKey->path.constData());
    if (!valid) {
        const QString name = displayName();
        d->nameKey.emplace(Caches::NameKey{TQStringUtilities::finderStyleSortKey(name), locale, path});
    }
    return &d->nameKey->key;
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
    QMutexLocker locker(&d->marksLock);
    return d->marks;
}

void TQFile::setMarks(const QVariantMap &marks)
{
    QMutexLocker locker(&d->marksLock);
    d->marks = marks;
}

// ---- Change notification -------------------------------------------------------------------

namespace {

// Empties one text cache between its own announcements, if it was filled.
void resetText(TQFile &file, QString &cache, QStringView key)
{
    if (cache.isEmpty())
        return;
    file.willChangeValueForKey(key);
    cache.clear();
    file.didChangeValueForKey(key);
}

void resetKind(TQFile &file, quint8 &cache, QStringView key)
{
    if (cache == unknown)
        return;
    file.willChangeValueForKey(key);
    cache = unknown;
    file.didChangeValueForKey(key);
}

} // namespace

namespace {

// What a change of the file's content or attributes, or of its placeholder state, makes
// stale, each reset between its own announcements in this order. The trash state is reset
// only on file-system events, not when the placeholder state changes.
void resetDerivedValues(TQFile &file, TQFile::Caches &caches, bool includingTrash)
{
    resetText(file, caches.creationDateString, u"creationDateString");
    resetText(file, caches.dateAddedString, u"dateAddedString");
    resetText(file, caches.accessDateString, u"accessDateString");
    if (caches.fileSize) {
        file.willChangeValueForKey(u"fileSizeString");
        file.willChangeValueForKey(u"fileSize");
        caches.fileSize.reset();
        caches.fileSizeString.reset();
        file.didChangeValueForKey(u"fileSize");
        file.didChangeValueForKey(u"fileSizeString");
    }
    resetKind(file, caches.isImage, u"isImage");
    resetKind(file, caches.isMusic, u"isMusic");
    resetKind(file, caches.isText, u"isText");
    resetKind(file, caches.isMovie, u"isMovie");
    if (includingTrash)
        resetKind(file, caches.isInTrash, u"isInTrash");
}

} // namespace

void TQFile::updateForEvent(const UWFileEvent &event)
{
    willChangeValueForKey(u"modificationDateString");
    d->modificationDateString.clear();
    didChangeValueForKey(u"modificationDateString");

    if (event.type == UWFileEvent::ContentChanged || event.type == UWFileEvent::AttributesChanged
        || event.type == UWFileEvent::CreatedOrReplaced) {
        _resetImageProperties();
        resetDerivedValues(*this, *d, true);
    }
    UWStandardFile::updateForEvent(event);
}

void TQFile::placeholderStatusChanged()
{
    UWStandardFile::placeholderStatusChanged();
    _resetImageProperties();
    resetDerivedValues(*this, *d, false);
}

// ---- Keys ----------------------------------------------------------------------------------

namespace {

struct KeyGetter
{
    QStringView key;
    QVariant (*get)(const TQFile &);
};

QVariant itemValue(const TQFileRef &item)
{
    return item ? QVariant::fromValue(UWStandardFileRef(item)) : QVariant();
}

const std::array fileKeyGetters = {
    KeyGetter{u"finderLabelSortValue", [](const TQFile &f) { return QVariant(f.finderLabelSortValue()); }},
    KeyGetter{u"fileSize", [](const TQFile &f) { return QVariant(f.fileSize()); }},
    KeyGetter{u"fileSizeString", [](const TQFile &f) { return QVariant(f.fileSizeString()); }},
    KeyGetter{u"modificationDateString", [](const TQFile &f) { return QVariant(f.modificationDateString()); }},
    KeyGetter{u"creationDateString", [](const TQFile &f) { return QVariant(f.creationDateString()); }},
    KeyGetter{u"dateAddedString", [](const TQFile &f) { return QVariant(f.dateAddedString()); }},
    KeyGetter{u"accessDateString", [](const TQFile &f) { return QVariant(f.accessDateString()); }},
    KeyGetter{u"isImage", [](const TQFile &f) { return QVariant(f.isImage()); }},
    KeyGetter{u"isMovie", [](const TQFile &f) { return QVariant(f.isMovie()); }},
    KeyGetter{u"isText", [](const TQFile &f) { return QVariant(f.isText()); }},
    KeyGetter{u"isMusic", [](const TQFile &f) { return QVariant(f.isMusic()); }},
    KeyGetter{u"isMedia", [](const TQFile &f) { return QVariant(f.isMedia()); }},
    KeyGetter{u"isPreviewable", [](const TQFile &f) { return QVariant(f.isPreviewable()); }},
    KeyGetter{u"hasEditableImageMetadata", [](const TQFile &f) { return QVariant(f.hasEditableImageMetadata()); }},
    KeyGetter{u"preferredApplication", [](const TQFile &f) { return itemValue(f.preferredApplication()); }},
    KeyGetter{u"editorApplication", [](const TQFile &f) { return itemValue(f.editorApplication()); }},
    KeyGetter{u"marks", [](const TQFile &f) { return QVariant(f.marks()); }},
    KeyGetter{u"imageProperties", [](const TQFile &f) { return QVariant(f.imageProperties()); }},
    KeyGetter{u"orientation", [](const TQFile &f) { return QVariant(f.orientation()); }},
    KeyGetter{u"trueDimensions", [](const TQFile &f) { return QVariant(f.trueDimensions()); }},
    KeyGetter{u"dimensions", [](const TQFile &f) { return QVariant(f.dimensions()); }},
    KeyGetter{u"dimensionsWidth", [](const TQFile &f) { return QVariant(f.dimensionsWidth()); }},
    KeyGetter{u"dimensionsHeight", [](const TQFile &f) { return QVariant(f.dimensionsHeight()); }},
    KeyGetter{u"megapixels", [](const TQFile &f) { return QVariant(f.megapixels()); }},
    KeyGetter{u"dimensionsString", [](const TQFile &f) { return QVariant(f.dimensionsString()); }},
    KeyGetter{u"megapixelString", [](const TQFile &f) { return QVariant(f.megapixelString()); }},
    KeyGetter{u"generalOrientation", [](const TQFile &f) { return QVariant(f.generalOrientation()); }},
    KeyGetter{u"generalOrientationString", [](const TQFile &f) { return QVariant(f.generalOrientationString()); }},
    KeyGetter{u"focalLength", [](const TQFile &f) { return QVariant(f.focalLength()); }},
    KeyGetter{u"focalLengthString", [](const TQFile &f) { return QVariant(f.focalLengthString()); }},
    KeyGetter{u"ISO", [](const TQFile &f) { return QVariant(f.ISO()); }},
    KeyGetter{u"ISOString", [](const TQFile &f) { return QVariant(f.ISOString()); }},
    KeyGetter{u"exposureTime", [](const TQFile &f) { return QVariant(f.exposureTime()); }},
    KeyGetter{u"exposureTimeString", [](const TQFile &f) { return QVariant(f.exposureTimeString()); }},
    KeyGetter{u"fNumber", [](const TQFile &f) { return QVariant(f.fNumber()); }},
    KeyGetter{u"fNumberString", [](const TQFile &f) { return QVariant(f.fNumberString()); }},
    KeyGetter{u"EXIFDate", [](const TQFile &f) { return QVariant(f.EXIFDate()); }},
    KeyGetter{u"EXIFDateString", [](const TQFile &f) { return QVariant(f.EXIFDateString()); }},
    KeyGetter{u"imageDepthString", [](const TQFile &f) { return QVariant(f.imageDepthString()); }},
    KeyGetter{u"ICCProfileString", [](const TQFile &f) { return QVariant(f.ICCProfileString()); }},
    KeyGetter{u"resolutionString", [](const TQFile &f) { return QVariant(f.resolutionString()); }},
    KeyGetter{u"cameraModelString", [](const TQFile &f) { return QVariant(f.cameraModelString()); }},
};

} // namespace

QVariant TQFile::valueForKey(QStringView key) const
{
    // Sorting asks every item of a folder for a key: one hash look-up, not a scan.
    using Getter = QVariant (*)(const TQFile &);
    static const QHash<QStringView, Getter> byKey = [] {
        QHash<QStringView, Getter> table;
        for (const KeyGetter &getter : fileKeyGetters)
            table.insert(getter.key, getter.get);
        return table;
    }();
    if (const Getter get = byKey.value(key))
        return get(*this);
    return UWStandardFile::valueForKey(key);
}

void TQFile::prefetchValueForKey(QStringView key) const
{
    // Most keys need the storage side's record as well as the caches here.
    UWStandardFile::prefetchValueForKey(key);
    __builtin_prefetch(d.get());
    __builtin_prefetch(&d->fileSize);
}

QStringList TQFile::keys()
{
    QStringList all = UWStandardFile::keys();
    for (const KeyGetter &getter : fileKeyGetters)
        all.append(getter.key.toString());
    return all;
}
