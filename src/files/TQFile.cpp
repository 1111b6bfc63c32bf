#include "TQFile.h"

#include "TQApplications.h"
#include "TQFilesLogging.h"
#include "TQFormatting.h"
#include "TQImageOrientationWriter.h"
#include "TQTypeRegistry.h"
#include "TQUtilityFunctions.h"
#include "UWFileManager.h"

#include <QMutex>
#include <QMutexLocker>

#include <array>
#include <optional>

Q_LOGGING_CATEGORY(lcFiles, "tqkit.files", QtInfoMsg)

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

    mutable QMutex marksLock;
    QVariantMap marks; // guarded by marksLock
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

TQFileRef TQFile::newFileForURL(const QUrl &url)
{
    return fromItem(UWStandardFile::newFileForURL(url));
}

TQFileRef TQFile::newFileForPath(const QString &path)
{
    return fromItem(UWStandardFile::newFileForPath(path));
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
    qCInfo(lcFiles).noquote() << QStringLiteral("UTI %1 for %2 not an image").arg(type, displayName());
    if (TQUTTypeConformsTo(type, QStringLiteral("public.image")))
        qCInfo(lcFiles).noquote() << "BUT IS IMAGE";
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
    return itemForApplication(TQApplications::defaultApplicationForFile(resolvedURL().toLocalFile()));
}

TQFileRef TQFile::editorApplication() const
{
    if (isPlaceholder() || URL().isEmpty())
        return nullptr;
    return itemForApplication(TQApplications::defaultEditorForFile(resolvedURL().toLocalFile()));
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
    return TQImageOrientationWriter::readOrientation(resolvedURL().toLocalFile());
}

bool TQFile::setImageOrientation(int orientation, QString *reason)
{
    if (!hasEditableImageMetadata()) {
        if (reason)
            *reason = QStringLiteral("not a writable JPEG, PNG, TIFF or camera RAW file");
        return false;
    }
    using TQImageOrientationWriter::Result;
    QString error;
    const Result result = TQImageOrientationWriter::writeOrientation(resolvedURL().toLocalFile(), orientation, &error);
    if (TQImageOrientationWriter::succeeded(result)) {
        if (const UWStandardFileRef parent = parentItem())
            UWFileManager::sharedFileManager()->changeHappenedInDirectory(parent);
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
        || event.type == UWFileEvent::CreatedOrReplaced)
        resetDerivedValues(*this, *d, true);
    UWStandardFile::updateForEvent(event);
}

void TQFile::placeholderStatusChanged()
{
    UWStandardFile::placeholderStatusChanged();
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
};

} // namespace

QVariant TQFile::valueForKey(QStringView key) const
{
    for (const KeyGetter &getter : fileKeyGetters) {
        if (getter.key == key)
            return getter.get(*this);
    }
    return UWStandardFile::valueForKey(key);
}

QStringList TQFile::keys()
{
    QStringList all = UWStandardFile::keys();
    for (const KeyGetter &getter : fileKeyGetters)
        all.append(getter.key.toString());
    return all;
}
