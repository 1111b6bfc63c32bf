#include "TQThumbnailService.h"

#include "TQExiv2_p.h"
#include "TQImageOrientation.h"
#include "TQPlatformLogging.h"
#include "TQThumbnailCache_p.h"
#include "TQThumbnailers_p.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QImageReader>
#include <QMimeDatabase>
#include <QSet>
#include <QtEndian>

#include <exiv2/exiv2.hpp>
#include <libheif/heif.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>

#include <unistd.h>

using namespace Qt::StringLiterals;
using TQThumbnailers::fitted;

namespace {

constexpr int DefaultTimeoutMs = 10000;
// A camera's preview is a few megabytes at most; anything past this is not worth holding.
constexpr uint32_t MaxPreviewBytes = 64 << 20;
// Some cameras letterbox their previews: one whose shape is further than this from the
// picture's would show black bars (or a crop) and is passed over.
constexpr double AspectTolerance = 0.02;

std::atomic<int> cacheSetting{-1}; // -1 until the environment was read
std::atomic<int> timeoutSetting{0}; // 0 until the environment was read

bool conformsToAny(const QMimeType &type, const QSet<QString> &types)
{
    if (types.contains(type.name()))
        return true;
    const QStringList ancestors = type.allAncestors();
    return std::any_of(ancestors.begin(), ancestors.end(), [&types](const QString &a) { return types.contains(a); });
}

const QSet<QString> &qtReadableTypes()
{
    static const QSet<QString> types = [] {
        QSet<QString> out;
        const QMimeDatabase db;
        for (const QByteArray &name : QImageReader::supportedMimeTypes()) {
            const QMimeType type = db.mimeTypeForName(QString::fromLatin1(name));
            out.insert(type.isValid() ? type.name() : QString::fromLatin1(name));
        }
        return out;
    }();
    return types;
}

bool looksLikeHeif(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(64);
    if (head.size() < 16 || head.mid(4, 4) != "ftyp")
        return false;
    static const QList<QByteArray> brands{"heic", "heix", "hevc", "hevx", "heim", "heis", "hevm",
                                          "hevs", "mif1", "msf1", "avif", "avis"};
    const qsizetype box = std::min<qsizetype>(qFromBigEndian<quint32>(head.constData()), head.size());
    for (qsizetype at = 8; at + 4 <= box; at += at == 8 ? 8 : 4) // major brand, then the compatible ones
        if (brands.contains(head.mid(at, 4)))
            return true;
    return false;
}

// Whether a JPEG's scan data ends: libjpeg makes up the missing rows of a cut-off file
// (grey) and reports success, and such a picture is not a thumbnail of the file.
bool jpegComplete(QByteArrayView data)
{
    const auto at = [&data](qsizetype i) { return uchar(data[i]); };
    if (data.size() < 4 || at(0) != 0xff || at(1) != 0xd8)
        return false;
    qsizetype pos = 2;
    qsizetype scan = -1;
    while (pos + 4 <= data.size()) {
        if (at(pos) != 0xff)
            return false;
        const uchar marker = at(pos + 1);
        if (marker == 0xff) { // fill byte
            ++pos;
            continue;
        }
        if (marker == 0x01 || (marker >= 0xd0 && marker <= 0xd8)) {
            pos += 2;
            continue;
        }
        const qsizetype length = at(pos + 2) << 8 | at(pos + 3);
        if (marker == 0xd9 || length < 2)
            return false;
        if (marker == 0xda) {
            scan = pos + 2 + length;
            break;
        }
        pos += 2 + length;
    }
    // Scan data holds no FF D9 (every FF in it is followed by 00 or a restart marker), so an
    // end-of-image marker past the first scan is the end of this picture or of a later one.
    for (qsizetype i = data.size() - 2; scan >= 0 && i >= scan; --i) {
        if (at(i) == 0xff && at(i + 1) == 0xd9)
            return true;
    }
    return false;
}

bool jpegFileComplete(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 size = file.size();
    if (const uchar *mapped = file.map(0, size))
        return jpegComplete(QByteArrayView(mapped, size));
    return jpegComplete(file.readAll());
}

// The stored picture the reader holds, scaled down while decoding where the format can
// (JPEG by its DCT scaling) to fit storedBox; null, and why, when it can't be decoded.
// `format` receives the reader's format, which it forgets once it has read.
QImage decode(QImageReader &reader, const QSize &storedBox, QByteArray *format, QString *why)
{
    reader.setAutoTransform(false); // the one orientation table turns it, nothing else
    reader.setQuality(75);          // smooth scaling after the DCT step, as a thumbnail deserves
    *format = reader.format();
    const QSize size = reader.size();
    // Only JPEG decodes at a reduced scale; any other format costs its full size in time (and
    // often memory) whatever the thumbnail's, which a hostile header can make endless.
    const qint64 limit = qint64(QImageReader::allocationLimit()) << 20;
    if (*format != "jpeg" && limit > 0 && size.isValid() && qint64(size.width()) * size.height() * 4 > limit) {
        *why = u"%1x%2 pixels are more than a thumbnail is worth decoding"_s.arg(size.width()).arg(size.height());
        return {};
    }
    const QSize target = fitted(size, storedBox);
    if (size.isValid() && target != size)
        reader.setScaledSize(target);
    QImage image = reader.read();
    if (image.isNull()) {
        *why = reader.errorString();
        return {};
    }
    if (!size.isValid() && fitted(image.size(), storedBox) != image.size())
        image = image.scaled(fitted(image.size(), storedBox), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return image;
}

bool sameShape(const QSize &a, const QSize &b)
{
    if (a.isEmpty() || b.isEmpty())
        return !a.isEmpty(); // the picture's size is unknown: nothing to compare with
    const double ratio = (double(a.width()) * b.height()) / (double(b.width()) * a.height());
    return std::abs(ratio - 1.0) <= AspectTolerance;
}

// Whether a preview of previewSize is as large as the picture fitted into box needs.
bool largeEnough(const QSize &previewSize, const QSize &pictureSize, const QSize &box)
{
    const QSize needed = fitted(pictureSize.isEmpty() ? previewSize : pictureSize, box);
    return previewSize.width() * (1 + AspectTolerance) >= needed.width()
            && previewSize.height() * (1 + AspectTolerance) >= needed.height();
}

// ---------------------------------------------------------------------------------------------
// EXIF thumbnails and camera previews (exiv2), and the orientation of everything but HEIF.

struct Embedded
{
    int orientation = 1;
    QImage preview;  // stored orientation, fitted to the box: large enough and of the right shape
    QImage fallback; // the largest preview of the right shape, too small; only used as a last resort
};

QImage decodePreview(const Exiv2::PreviewManager &previews, const Exiv2::PreviewProperties &properties,
                     const QSize &pictureSize, const QSize &storedBox, bool mustBeLargeEnough)
{
    const Exiv2::PreviewImage data = previews.getPreviewImage(properties);
    QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data.pData()), qsizetype(data.size()));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize size = reader.size();
    if (!sameShape(size, pictureSize) || (mustBeLargeEnough && !largeEnough(size, pictureSize, storedBox)))
        return {};
    QString why;
    QByteArray format;
    QImage image = decode(reader, storedBox, &format, &why);
    if (!image.isNull() && format == "jpeg" && !jpegComplete(bytes))
        image = QImage();
    if (image.isNull())
        qCDebug(lcPlatform) << "an embedded preview can't be decoded:" << (why.isEmpty() ? u"truncated"_s : why);
    return image;
}

Embedded readEmbedded(const QString &path, const QSize &box, bool wantFallback)
{
    Embedded out;
    TQExiv2::prepare();
    try {
        auto image = Exiv2::ImageFactory::open(QFile::encodeName(path).toStdString());
        if (!image.get())
            return out;
        image->readMetadata();
        out.orientation = TQExiv2::orientation(image->exifData());
        const QSize pictureSize(int(image->pixelWidth()), int(image->pixelHeight()));
        const QSize storedBox = TQImageOrientation::uprightSize(box, out.orientation);
        const Exiv2::PreviewManager previews(*image);
        const Exiv2::PreviewPropertiesList list = previews.getPreviewProperties(); // smallest first
        const Exiv2::PreviewProperties *largestSmall = nullptr;
        for (const Exiv2::PreviewProperties &properties : list) {
            const QSize stated(int(properties.width_), int(properties.height_));
            if (properties.size_ > MaxPreviewBytes || (stated.isValid() && !sameShape(stated, pictureSize)))
                continue;
            if (stated.isValid() && !largeEnough(stated, pictureSize, storedBox)) {
                largestSmall = &properties;
                continue;
            }
            out.preview = decodePreview(previews, properties, pictureSize, storedBox, true);
            if (!out.preview.isNull())
                return out;
        }
        if (wantFallback && largestSmall)
            out.fallback = decodePreview(previews, *largestSmall, pictureSize, storedBox, false);
    } catch (const std::exception &e) { // Exiv2::AnyError, std::bad_alloc, std::out_of_range, …
        qCDebug(lcPlatform) << "exiv2 can't read" << path << ":" << e.what();
    }
    return out;
}

// ---------------------------------------------------------------------------------------------
// HEIF and AVIF (libheif). The container's own transformations (rotation, mirroring, crop)
// are the picture's geometry and libheif applies them while decoding; the EXIF orientation a
// HEIF may carry only repeats them, so it is not applied a second time.

QImage heifThumbnail(const QString &path, const QSize &box, QString *why)
{
    struct Handles
    {
        heif_context *context = heif_context_alloc();
        heif_image_handle *primary = nullptr;
        heif_image_handle *thumbnail = nullptr;
        heif_image *image = nullptr;
        ~Handles()
        {
            if (image)
                heif_image_release(image);
            if (thumbnail)
                heif_image_handle_release(thumbnail);
            if (primary)
                heif_image_handle_release(primary);
            if (context)
                heif_context_free(context);
        }
    } h;
    const QByteArray native = QFile::encodeName(path);
    heif_error error = h.context ? heif_context_read_from_file(h.context, native.constData(), nullptr)
                                 : heif_error{heif_error_Memory_allocation_error, heif_suberror_Unspecified, "no context"};
    if (error.code == heif_error_Ok)
        error = heif_context_get_primary_image_handle(h.context, &h.primary);
    if (error.code != heif_error_Ok) {
        *why = QString::fromUtf8(error.message);
        return {};
    }
    const QSize pictureSize(heif_image_handle_get_width(h.primary), heif_image_handle_get_height(h.primary));
    const int count = heif_image_handle_get_number_of_thumbnails(h.primary);
    std::vector<heif_item_id> ids(size_t(std::max(count, 0)));
    if (count > 0)
        heif_image_handle_get_list_of_thumbnail_IDs(h.primary, ids.data(), count);
    QSize chosen;
    for (const heif_item_id id : ids) {
        heif_image_handle *candidate = nullptr;
        if (heif_image_handle_get_thumbnail(h.primary, id, &candidate).code != heif_error_Ok)
            continue;
        const QSize size(heif_image_handle_get_width(candidate), heif_image_handle_get_height(candidate));
        if (sameShape(size, pictureSize) && largeEnough(size, pictureSize, box)
            && (chosen.isEmpty() || qint64(size.width()) * size.height() < qint64(chosen.width()) * chosen.height())) {
            if (h.thumbnail)
                heif_image_handle_release(h.thumbnail);
            h.thumbnail = candidate;
            chosen = size;
        } else {
            heif_image_handle_release(candidate);
        }
    }
    heif_image_handle *handle = h.thumbnail ? h.thumbnail : h.primary;
    const QSize size = h.thumbnail ? chosen : pictureSize;
    const qint64 limit = qint64(QImageReader::allocationLimit()) << 20;
    if (size.isEmpty() || (limit > 0 && qint64(size.width()) * size.height() * 4 > limit)) {
        *why = u"its picture is %1x%2"_s.arg(size.width()).arg(size.height());
        return {};
    }
    error = heif_decode_image(handle, &h.image, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, nullptr);
    int stride = 0;
    const uint8_t *pixels = error.code == heif_error_Ok
            ? heif_image_get_plane_readonly(h.image, heif_channel_interleaved, &stride) : nullptr;
    if (!pixels) {
        *why = QString::fromUtf8(error.message);
        return {};
    }
    const QImage view(pixels, heif_image_get_width(h.image, heif_channel_interleaved),
                      heif_image_get_height(h.image, heif_channel_interleaved), stride, QImage::Format_RGBA8888);
    return view.scaled(fitted(view.size(), box), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

// ---------------------------------------------------------------------------------------------

struct Made
{
    QImage image;      // upright, fitted into the box
    bool claimed = false; // an in-process decoder should have managed this file
    QImage fallback;   // upright, smaller than asked for: better than nothing, not for the cache
};

Made makeInProcess(const QString &path, const QMimeType &type, const QSize &box)
{
    Made made;
    QString why;
    if (conformsToAny(type, {u"image/heif"_s, u"image/heic"_s, u"image/avif"_s}) || looksLikeHeif(path)) {
        made.claimed = true;
        made.image = heifThumbnail(path, box, &why);
        if (made.image.isNull())
            qCDebug(lcPlatform) << "libheif can't thumbnail" << path << ":" << why;
        return made;
    }
    // Qt's TIFF reader would take a camera file's first, tiny picture for the picture itself.
    const bool raw = conformsToAny(type, {u"image/x-dcraw"_s});
    const bool readable = !raw && conformsToAny(type, qtReadableTypes());
    if (!raw && !readable)
        return made;
    made.claimed = true;
    const Embedded embedded = readEmbedded(path, box, raw);
    const auto upright = [&embedded](const QImage &stored) {
        return TQImageOrientation::uprightImage(stored, embedded.orientation);
    };
    if (!embedded.preview.isNull()) {
        made.image = upright(embedded.preview);
        return made;
    }
    if (readable) {
        QImageReader reader(path);
        reader.setDecideFormatFromContent(true);
        QByteArray format;
        QImage stored = decode(reader, TQImageOrientation::uprightSize(box, embedded.orientation), &format, &why);
        if (!stored.isNull() && format == "jpeg" && !jpegFileComplete(path)) {
            stored = QImage();
            why = u"the JPEG data is cut short"_s;
        }
        if (!stored.isNull()) {
            made.image = upright(stored);
            return made;
        }
        qCDebug(lcPlatform) << "can't decode" << path << ":" << why;
    }
    made.fallback = upright(embedded.fallback);
    return made;
}

QSize boxOf(const QSizeF &maxSize)
{
    if (!(maxSize.width() >= 1 && maxSize.height() >= 1)) // also false for NaN
        return {};
    constexpr double Largest = 1 << 16;
    return QSize(int(std::floor(std::min(maxSize.width(), Largest))), int(std::floor(std::min(maxSize.height(), Largest))));
}

QImage shrunk(const QImage &image, const QSize &box)
{
    const QSize size = fitted(image.size(), box);
    return size == image.size() ? image : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace

QImage TQThumbnailService::thumbnailForFile(const QString &path, const QSizeF &maxSize)
{
    const QSize box = boxOf(maxSize);
    if (box.isEmpty())
        return {};
    QString why;
    const std::optional<TQThumbnailCache::Source> source = TQThumbnailCache::source(path, &why);
    if (!source || ::access(QFile::encodeName(source->path).constData(), R_OK) != 0) {
        qCDebug(lcPlatform) << "no thumbnail for" << path << ":" << (source ? u"not readable"_s : why);
        return {};
    }
    if (TQThumbnailCache::isInside(source->path)) {
        qCDebug(lcPlatform) << "no thumbnail for" << path << ": it is inside the thumbnail cache";
        return {};
    }
    const bool cache = isCacheEnabled();
    const int bucket = cache ? TQThumbnailCache::bucketFor(std::max(box.width(), box.height())) : -1;
    if (bucket >= 0) {
        const QImage cached = TQThumbnailCache::lookup(*source, bucket);
        if (!cached.isNull())
            return shrunk(cached, box);
    }
    if (cache && TQThumbnailCache::hasFailure(*source)) {
        qCDebug(lcPlatform) << "no thumbnail for" << path << ": an earlier attempt failed on this version of it";
        return {};
    }

    const int side = bucket >= 0 ? TQThumbnailCache::Buckets[bucket].size : std::max(box.width(), box.height());
    const QSize workBox = bucket >= 0 ? QSize(side, side) : box;
    const QMimeType type = QMimeDatabase().mimeTypeForFile(source->path);
    const Made made = makeInProcess(source->path, type, workBox);
    QImage image = made.image;
    bool expected = made.claimed;
    if (image.isNull()) {
        if (const std::optional<TQThumbnailers::Entry> entry = TQThumbnailers::entryFor(type)) {
            TQThumbnailers::Outcome outcome;
            image = TQThumbnailers::run(*entry, source->path, source->uri, side, workBox, thumbnailerTimeout(), &outcome);
            // A thumbnailer that could not even start says nothing about the file.
            expected = expected || outcome != TQThumbnailers::Outcome::NotRun;
        }
    }
    const bool storable = !image.isNull();
    if (image.isNull())
        image = made.fallback;
    if (image.isNull()) {
        qCDebug(lcPlatform) << "no thumbnail could be made for" << path << "of type" << type.name();
        if (expected && cache && TQThumbnailCache::unchanged(*source))
            TQThumbnailCache::storeFailure(*source, type.name());
        return {};
    }
    // The cache is shared with programs that take every thumbnail for sRGB.
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace(QColorSpace::SRgb))
        image.convertToColorSpace(QColorSpace::SRgb);
    if (bucket >= 0 && storable && TQThumbnailCache::unchanged(*source))
        TQThumbnailCache::store(*source, bucket, image, type.name());
    return shrunk(image, box);
}

void TQThumbnailService::setCacheEnabled(bool enabled)
{
    cacheSetting.store(enabled ? 1 : 0);
}

bool TQThumbnailService::isCacheEnabled()
{
    int value = cacheSetting.load();
    if (value < 0) {
        const QString setting = qEnvironmentVariable("TQKIT_THUMBNAIL_CACHE").trimmed().toLower();
        const int fromEnvironment = (setting == u"0" || setting == u"false" || setting == u"off" || setting == u"no") ? 0 : 1;
        cacheSetting.compare_exchange_strong(value, fromEnvironment);
        value = cacheSetting.load();
    }
    return value != 0;
}

void TQThumbnailService::setThumbnailerTimeout(int milliseconds)
{
    bool ok = false;
    const int fromEnvironment = qEnvironmentVariableIntValue("TQKIT_THUMBNAILER_TIMEOUT_MS", &ok);
    timeoutSetting.store(milliseconds > 0 ? milliseconds : ok && fromEnvironment > 0 ? fromEnvironment : DefaultTimeoutMs);
}

int TQThumbnailService::thumbnailerTimeout()
{
    if (timeoutSetting.load() <= 0)
        setThumbnailerTimeout(0);
    return timeoutSetting.load();
}

void TQThumbnailService::setThumbnailerSandboxEnabled(bool enabled)
{
    TQThumbnailers::allowSandbox(enabled);
}

bool TQThumbnailService::thumbnailersSandboxed()
{
    return TQThumbnailers::sandboxed();
}
