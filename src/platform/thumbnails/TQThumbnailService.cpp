// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQThumbnailService.h"

#include "TQExiv2_p.h"
#include "TQHeifInput_p.h"
#include "TQImageOrientation.h"
#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"
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
#include <cerrno>
#include <climits>
#include <cmath>
#include <exception>
#include <memory>

#include <sys/stat.h>
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

bool looksLikeHeif(const TQRegularFile &file)
{
    const QByteArray head = file.read(0, 64);
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

void logFailure(const QString &path, const char *what, const TQThumbnailers::Decoded &decoded)
{
    if (decoded.refused)
        qCWarning(lcPlatform, "Not decoding %s for a thumbnail: %s %s", qUtf8Printable(path), what,
                  qUtf8Printable(decoded.why));
    else
        qCDebug(lcPlatform) << "can't decode" << what << "of" << path << ":" << decoded.why;
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

// A preview larger than the picture it stands for would make a thumbnail larger than the
// picture (some writers store a 160x120 EXIF thumbnail whatever the picture's size).
bool notLarger(const QSize &previewSize, const QSize &pictureSize)
{
    return pictureSize.isEmpty()
            || (previewSize.width() <= pictureSize.width() && previewSize.height() <= pictureSize.height());
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
                     const QString &path, const QSize &pictureSize, const QSize &storedBox, bool mustBeLargeEnough)
{
    const Exiv2::PreviewImage data = previews.getPreviewImage(properties);
    QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data.pData()), qsizetype(data.size()));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    const QSize size = QImageReader(&buffer).size();
    if (!sameShape(size, pictureSize) || !notLarger(size, pictureSize)
        || (mustBeLargeEnough && !largeEnough(size, pictureSize, storedBox)))
        return {};
    const TQThumbnailers::Decoded decoded = TQThumbnailers::decode(&buffer, storedBox);
    if (decoded.image.isNull())
        logFailure(path, "its embedded preview", decoded);
    return decoded.image;
}

// `declaredSize` is the picture's size as its own reader states it, for when exiv2 has none.
Embedded readEmbedded(const TQRegularFile &file, const QString &path, const QSize &declaredSize, const QSize &box,
                      bool wantFallback)
{
    Embedded out;
    try {
        const auto image = TQExiv2::open(file, path);
        if (!image.get())
            return out;
        image->readMetadata();
        out.orientation = TQExiv2::orientation(image->exifData());
        QSize pictureSize(int(std::min<uint32_t>(image->pixelWidth(), INT_MAX)),
                          int(std::min<uint32_t>(image->pixelHeight(), INT_MAX)));
        if (pictureSize.isEmpty())
            pictureSize = declaredSize;
        const QSize storedBox = TQImageOrientation::uprightSize(box, out.orientation);
        const Exiv2::PreviewManager previews(*image);
        const Exiv2::PreviewPropertiesList list = previews.getPreviewProperties(); // smallest first
        const Exiv2::PreviewProperties *largestSmall = nullptr;
        for (const Exiv2::PreviewProperties &properties : list) {
            const QSize stated(int(std::min<uint32_t>(properties.width_, INT_MAX)),
                               int(std::min<uint32_t>(properties.height_, INT_MAX)));
            if (properties.size_ > MaxPreviewBytes
                || (stated.isValid() && (!sameShape(stated, pictureSize) || !notLarger(stated, pictureSize))))
                continue;
            if (stated.isValid() && !largeEnough(stated, pictureSize, storedBox)) {
                largestSmall = &properties;
                continue;
            }
            out.preview = decodePreview(previews, properties, path, pictureSize, storedBox, true);
            if (!out.preview.isNull())
                return out;
        }
        if (wantFallback && largestSmall)
            out.fallback = decodePreview(previews, *largestSmall, path, pictureSize, storedBox, false);
    } catch (const std::exception &e) { // Exiv2::AnyError, std::bad_alloc, std::out_of_range, …
        qCDebug(lcPlatform) << "exiv2 can't read" << path << ":" << e.what();
    }
    return out;
}

// ---------------------------------------------------------------------------------------------
// HEIF and AVIF (libheif). The container's own transformations (rotation, mirroring, crop)
// are the picture's geometry and libheif applies them while decoding; the EXIF orientation a
// HEIF may carry only repeats them, so it is not applied a second time.

// What libheif holds to decode a picture: its own planes (YCbCr, up to 16 bits a sample) and
// the RGBA picture they are converted into.
constexpr qint64 HeifBytesPerPixel = 10;

QImage heifThumbnail(const TQRegularFile &file, const QString &path, const QSize &box, QString *why, bool *refused)
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
    TQHeifInput input{&file};
    heif_error error = h.context ? heif_context_read_from_reader(h.context, &TQHeifInput::reader, &input, nullptr)
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
        if (sameShape(size, pictureSize) && notLarger(size, pictureSize) && largeEnough(size, pictureSize, box)
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
    const qint64 cost = qint64(size.width()) * size.height() * HeifBytesPerPixel;
    if (size.isEmpty() || cost > TQThumbnailers::DecodeBudgetBytes) {
        qCWarning(lcPlatform, "Not decoding %s for a thumbnail: %dx%d pixels take %lld MB to decode, more than the budget of %lld MB",
                  qUtf8Printable(path), size.width(), size.height(), cost / 1000000,
                  TQThumbnailers::DecodeBudgetBytes / 1000000);
        *why = u"its picture is %1x%2"_s.arg(size.width()).arg(size.height());
        *refused = !size.isEmpty();
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
    // The view borrows libheif's plane, which goes with h: what leaves here owns its pixels.
    const QImage view(pixels, heif_image_get_width(h.image, heif_channel_interleaved),
                      heif_image_get_height(h.image, heif_channel_interleaved), stride, QImage::Format_RGBA8888);
    const QSize target = fitted(view.size(), box);
    return target == view.size() ? view.copy() : view.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

// ---------------------------------------------------------------------------------------------

// Files larger than this are not decoded whole in process: no picture within the budget needs
// so many bytes, and a decoder looking for a marker would read all of a huge sparse file.
constexpr qint64 MaxDecodedFileBytes = qint64(256) << 20;

struct Made
{
    QImage image;      // upright, fitted into the box
    bool claimed = false; // an in-process decoder should have managed this file
    QImage fallback;   // upright, smaller than asked for: better than nothing, not for the cache
    // What the file declares is beyond what may be decoded: a thumbnailer would face the same
    // sizes (or read the whole of a huge file), so it is not asked either.
    bool refused = false;
};

Made makeInProcess(const TQRegularFile &file, const QString &path, const QMimeType &type, const QSize &box)
{
    Made made;
    QString why;
    if (conformsToAny(type, {u"image/heif"_s, u"image/heic"_s, u"image/avif"_s}) || looksLikeHeif(file)) {
        made.claimed = true;
        made.image = heifThumbnail(file, path, box, &why, &made.refused);
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
    const std::unique_ptr<QIODevice> device = TQThumbnailers::deviceFor(file);
    // A PNG's chunk lengths are checked before any parser (exiv2's included) walks them.
    if (file.read(0, 8) == "\x89PNG\r\n\x1a\n") {
        const QString problem = TQThumbnailers::pngLayoutProblem(device.get());
        if (!problem.isEmpty()) {
            qCWarning(lcPlatform, "Not decoding %s for a thumbnail: %s", qUtf8Printable(path), qUtf8Printable(problem));
            made.refused = true;
            return made;
        }
    }
    const QSize declared = readable ? QImageReader(device.get()).size() : QSize();
    const Embedded embedded = readEmbedded(file, path, declared, box, raw);
    const auto upright = [&embedded](const QImage &stored) {
        return TQImageOrientation::uprightImage(stored, embedded.orientation);
    };
    if (!embedded.preview.isNull()) {
        made.image = upright(embedded.preview);
        return made;
    }
    if (readable && file.size() > MaxDecodedFileBytes) {
        qCDebug(lcPlatform) << "not decoding" << path << "whole:" << file.size() << "bytes";
        made.refused = embedded.fallback.isNull();
    } else if (readable) {
        const TQThumbnailers::Decoded decoded =
                TQThumbnailers::decode(device.get(), TQImageOrientation::uprightSize(box, embedded.orientation));
        if (!decoded.image.isNull()) {
            made.image = upright(decoded.image);
            return made;
        }
        logFailure(path, "the picture", decoded);
        made.refused = decoded.refused && embedded.fallback.isNull();
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
    return thumbnailForFile(QFile::encodeName(path), maxSize);
}

QImage TQThumbnailService::thumbnailForFile(const QByteArray &nativePath, const QSizeF &maxSize)
{
    const QSize box = boxOf(maxSize);
    if (box.isEmpty())
        return {};
    const QString path = QFile::decodeName(nativePath);
    // Every reader below reads this descriptor: a FIFO, a device or a link to one is refused
    // here, and a file swapped after this check is not the one read.
    const TQRegularFile file(nativePath);
    if (!file.isOpen()) {
        // A browser asks for folders' thumbnails all the time: that is no hostile file.
        struct stat st = {};
        if (file.refused() && !(::stat(nativePath.constData(), &st) == 0 && S_ISDIR(st.st_mode)))
            file.warnIfRefused(path, "a thumbnail");
        else
            qCDebug(lcPlatform) << "no thumbnail for" << path << ":" << file.error();
        return {};
    }
    QString why;
    const std::optional<TQThumbnailCache::Source> source = TQThumbnailCache::source(nativePath, file.status(), &why);
    if (!source) {
        qCDebug(lcPlatform) << "no thumbnail for" << path << ":" << why;
        return {};
    }
    if (TQThumbnailCache::isInside(source->nativePath)) {
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
    const QMimeType type = [&] {
        const std::unique_ptr<QIODevice> device = TQThumbnailers::deviceFor(file);
        return QMimeDatabase().mimeTypeForFileNameAndData(source->path, device.get());
    }();
    const Made made = makeInProcess(file, source->path, type, workBox);
    QImage image = made.image;
    bool expected = made.claimed;
    if (image.isNull() && made.refused) {
        qCDebug(lcPlatform) << "no thumbnailer is asked for" << path << ": it was refused for what it declares";
    } else if (image.isNull()) {
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
