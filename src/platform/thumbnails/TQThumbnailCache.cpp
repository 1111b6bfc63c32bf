// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQThumbnailCache_p.h"

#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"
#include "TQThumbnailers_p.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QBuffer>
#include <QHash>
#include <QStandardPaths>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <png.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

#ifndef TQKIT_VERSION
#error "TQKIT_VERSION must name the library's version"
#endif

namespace TQThumbnailCache {
namespace {

constexpr char Software[] = "TQKit " TQKIT_VERSION;
// A real thumbnail is at most 1024x1024; anything this large in the cache was not put there
// by a thumbnailer and is not worth decoding.
constexpr qint64 MaxCachedFileSize = 32 << 20;
// A thumbnail's text and profile chunks are small; libpng holds a whole chunk to read it.
constexpr size_t MaxPngChunkBytes = 1 << 20;

// What a thumbnail's text chunks must say for it to describe this version of the file.
bool describes(const QString &uri, const QString &mtime, const QString &size, const Source &source)
{
    if (uri.toUtf8() != source.uri)
        return false;
    bool ok = false;
    qint64 seconds = mtime.toLongLong(&ok);
    if (!ok) // some writers store a fraction; the standard's unit is the whole second
        seconds = qint64(mtime.toDouble(&ok));
    if (!ok || seconds != source.mtime)
        return false;
    return size.isEmpty() || size.toLongLong() == source.size;
}

// libpng reports through longjmp: the error handler keeps the message for the log and jumps
// back, and warnings (a bad checksum in an ancillary chunk) are not worth a line.
void pngError(png_structp png, png_const_charp message)
{
    if (auto *why = static_cast<QByteArray *>(png_get_error_ptr(png)))
        *why = message;
    png_longjmp(png, 1);
}

void pngWarning(png_structp, png_const_charp)
{
}

struct PngInput
{
    const QByteArray *bytes;
    qsizetype at = 0;
};

void readPngBytes(png_structp png, png_bytep out, size_t length)
{
    auto *input = static_cast<PngInput *>(png_get_io_ptr(png));
    if (qsizetype(length) > input->bytes->size() - input->at)
        png_error(png, "the file ends early");
    std::memcpy(out, input->bytes->constData() + input->at, length);
    input->at += qsizetype(length);
}

using Texts = QHash<QByteArray, QString>;

void collectTexts(png_structp png, png_infop info, Texts *texts)
{
    png_textp text = nullptr;
    int count = 0;
    png_get_text(png, info, &text, &count);
    for (int i = 0; i < count; ++i)
        texts->insert(QByteArray(text[i].key), QString::fromUtf8(text[i].text, qsizetype(text[i].text_length)));
}

bool textsDescribe(const Texts &texts, const Source &source)
{
    return describes(texts.value("Thumb::URI"), texts.value("Thumb::MTime"), texts.value("Thumb::Size"), source);
}

// Runs step with libpng's errors turned into a false answer. longjmp leaves this frame and
// step's without running destructors, so step keeps nothing of its own across libpng calls:
// everything it fills lives in the caller.
template <class Step>
bool guarded(png_structp png, Step &&step)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    step();
    return true;
}

// What reading one cached PNG fills in; kept outside the guarded steps.
struct PngRead
{
    Texts texts;
    QImage image;
    std::vector<png_bytep> rows;
    bool stale = false;
};

// The pixels of a PNG of at most maxSide pixels a side whose keys describe source, read with
// libpng itself: cache hits are what a browser does most, and this is about a third faster
// than going through the image plug-in. Keys that come before the pixels (as every writer of
// the standard puts them) are checked before anything is decoded.
QImage decodeValid(const QByteArray &bytes, int maxSide, const Source &source, QByteArray *why)
{
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, why, pngError, pngWarning);
    if (!png)
        return {};
    png_infop info = png_create_info_struct(png);
    png_infop end = png_create_info_struct(png);
    PngInput input{&bytes};
    PngRead read;
    const bool headerRead = info && end && guarded(png, [&] {
        png_set_read_fn(png, &input, readPngBytes);
        png_set_user_limits(png, png_uint_32(maxSide), png_uint_32(maxSide));
        png_set_chunk_malloc_max(png, MaxPngChunkBytes);
        // The chunks' own checksums cover the compressed pixels already.
        png_set_option(png, PNG_IGNORE_ADLER32, PNG_OPTION_ON);
        png_read_info(png, info);
        collectTexts(png, info, &read.texts);
        read.stale = read.texts.contains("Thumb::URI") && read.texts.contains("Thumb::MTime")
                && !textsDescribe(read.texts, source);
        if (read.stale)
            return;
        png_set_expand(png);
        png_set_strip_16(png);
        png_set_gray_to_rgb(png);
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        const int channels = png_get_channels(png, info);
        if (channels == 3 || channels == 4)
            read.image = QImage(int(png_get_image_width(png, info)), int(png_get_image_height(png, info)),
                                channels == 4 ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    });
    if (headerRead && !read.stale && !read.image.isNull()) {
        read.rows.resize(size_t(read.image.height()));
        for (int y = 0; y < read.image.height(); ++y)
            read.rows[size_t(y)] = read.image.scanLine(y);
    }
    const bool pixelsRead = headerRead && !read.rows.empty() && guarded(png, [&] {
        png_read_image(png, read.rows.data());
        png_read_end(png, end);
        collectTexts(png, end, &read.texts);
    });
    png_destroy_read_struct(&png, &info, &end);
    if (read.stale) {
        *why = "stale";
        return {};
    }
    if (!pixelsRead) {
        if (why->isEmpty())
            *why = "unusable pixel format";
        return {};
    }
    if (!textsDescribe(read.texts, source)) {
        *why = "stale or for another file";
        return {};
    }
    return read.image;
}

// The cached image at path, when it is a PNG of at most maxSide pixels a side whose keys
// describe source.
QImage readValid(const QString &path, int maxSide, const Source &source)
{
    const TQRegularFile file(path);
    file.warnIfRefused(path, "a cached thumbnail");
    if (!file.isOpen())
        return {}; // the ordinary miss
    if (file.size() > MaxCachedFileSize) {
        qCDebug(lcPlatform) << "ignoring the oversized cached thumbnail" << path;
        return {};
    }
    QByteArray bytes = file.readAll(MaxCachedFileSize);
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QByteArray why = TQThumbnailers::pngLayoutProblem(&buffer).toUtf8();
    const QImage image = why.isEmpty() ? decodeValid(bytes, maxSide, source, &why) : QImage();
    if (image.isNull())
        qCDebug(lcPlatform) << "ignoring the cached thumbnail" << path << ":" << why;
    return image;
}

void writePngBytes(png_structp png, png_bytep data, size_t length)
{
    static_cast<QByteArray *>(png_get_io_ptr(png))->append(reinterpret_cast<const char *>(data), qsizetype(length));
}

void flushPng(png_structp)
{
}

// PNG bytes of image with the given texts as plain tEXt chunks right after the header (GLib's
// check of a thumbnail reads no compressed zTXt), rows filtered with Sub or Up only: the file
// is as small as with every filter, and a third quicker to decode on every later hit.
QByteArray pngWithText(const QImage &image, const QList<std::pair<QByteArray, QByteArray>> &texts)
{
    const bool alpha = image.hasAlphaChannel();
    const QImage pixels = image.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
    QByteArray png;
    QByteArray why;
    std::vector<png_text> chunks(size_t(texts.size()));
    for (qsizetype i = 0; i < texts.size(); ++i) {
        png_text &chunk = chunks[size_t(i)];
        chunk.compression = PNG_TEXT_COMPRESSION_NONE;
        chunk.key = const_cast<char *>(texts.at(i).first.constData());
        chunk.text = const_cast<char *>(texts.at(i).second.constData());
        chunk.text_length = size_t(texts.at(i).second.size());
    }
    png_structp writer = png_create_write_struct(PNG_LIBPNG_VER_STRING, &why, pngError, pngWarning);
    if (!writer)
        return {};
    png_infop info = png_create_info_struct(writer);
    const bool written = info && guarded(writer, [&] {
        png_set_write_fn(writer, &png, writePngBytes, flushPng);
        png_set_IHDR(writer, info, png_uint_32(pixels.width()), png_uint_32(pixels.height()), 8,
                     alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_filter(writer, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB | PNG_FILTER_UP);
        png_set_text(writer, info, chunks.data(), int(chunks.size()));
        png_write_info(writer, info);
        for (int y = 0; y < pixels.height(); ++y)
            png_write_row(writer, pixels.constScanLine(y));
        png_write_end(writer, nullptr);
    });
    png_destroy_write_struct(&writer, &info);
    if (!written) {
        qCWarning(lcPlatform) << "cannot write a thumbnail:" << why;
        return {};
    }
    return png;
}

// Makes folder and any missing parent, each new one private to the user (0700), as the
// standard asks; folders that exist keep their mode.
bool makeFolder(const QByteArray &folder)
{
    if (folder.isEmpty())
        return false;
    if (::mkdir(folder.constData(), 0700) == 0)
        return ::chmod(folder.constData(), 0700) == 0; // whatever the umask
    if (errno == ENOENT) {
        const qsizetype slash = folder.lastIndexOf('/');
        if (slash <= 0 || !makeFolder(folder.left(slash)))
            return false;
        if (::mkdir(folder.constData(), 0700) == 0)
            return ::chmod(folder.constData(), 0700) == 0;
    }
    struct stat st = {};
    return ::stat(folder.constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool writeAll(int fd, QByteArrayView data)
{
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, size_t(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

// Writes bytes as folder/name by way of a uniquely named file in the same folder, so that
// readers (and other threads writing the same thumbnail) only ever see a whole file.
bool writeAtomically(const QString &folder, const QString &name, const QByteArray &bytes)
{
    const QByteArray nativeFolder = QFile::encodeName(folder);
    if (!makeFolder(nativeFolder)) {
        qCDebug(lcPlatform) << "can't make the thumbnail folder" << folder << qt_error_string(errno);
        return false;
    }
    QByteArray temporary = nativeFolder + "/." + QFile::encodeName(name) + ".XXXXXX";
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        qCDebug(lcPlatform) << "can't write into the thumbnail folder" << folder << qt_error_string(errno);
        return false;
    }
    bool ok = ::fchmod(fd, 0600) == 0 && writeAll(fd, bytes);
    ok = ::close(fd) == 0 && ok;
    const QByteArray target = nativeFolder + '/' + QFile::encodeName(name);
    if (ok)
        ok = ::rename(temporary.constData(), target.constData()) == 0;
    if (!ok) {
        qCDebug(lcPlatform) << "can't write the thumbnail" << QFile::decodeName(target) << qt_error_string(errno);
        ::unlink(temporary.constData());
    }
    return ok;
}

QList<std::pair<QByteArray, QByteArray>> keysOf(const Source &source, const QString &mimeType)
{
    QList<std::pair<QByteArray, QByteArray>> keys{{"Thumb::URI", source.uri},
                                                  {"Thumb::MTime", QByteArray::number(source.mtime)},
                                                  {"Thumb::Size", QByteArray::number(source.size)}};
    if (!mimeType.isEmpty())
        keys.emplaceBack("Thumb::Mimetype", mimeType.toLatin1());
    keys.emplaceBack("Software", Software);
    return keys;
}

// The path made absolute and cleaned of "." and ".." the way QDir::cleanPath does it, in bytes:
// a name that is not UTF-8 would not survive a trip through QString.
QByteArray absoluteCleanPath(const QByteArray &path)
{
    QByteArray absolute = path;
    if (!path.startsWith('/')) {
        char *cwd = ::getcwd(nullptr, 0);
        absolute = QByteArray(cwd ? cwd : "") + '/' + path;
        std::free(cwd);
    }
    QList<QByteArray> parts;
    for (const QByteArray &part : absolute.split('/')) {
        if (part.isEmpty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.isEmpty())
                parts.removeLast();
            continue;
        }
        parts.append(part);
    }
    return '/' + parts.join('/');
}

QByteArray realPath(const QByteArray &path)
{
    char *resolved = ::realpath(path.constData(), nullptr);
    const QByteArray out(resolved ? resolved : "");
    std::free(resolved);
    return out;
}

QString failPath(const Source &source)
{
    return root() + u"/fail/"_s + failFolderName() + u'/' + source.hash + u".png"_s;
}

} // namespace

int bucketFor(int longSide)
{
    for (int i = 0; i < int(Buckets.size()); ++i) {
        if (Buckets[i].size >= longSide)
            return i;
    }
    return -1;
}

std::optional<Source> source(const QByteArray &nativePath, const struct stat &status, QString *why)
{
    if (nativePath.isEmpty()) {
        *why = u"no path"_s;
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        *why = u"not a regular file"_s;
        return std::nullopt;
    }
    Source s;
    s.nativePath = absoluteCleanPath(nativePath);
    s.path = QFile::decodeName(s.nativePath);
    s.uri = fileUri(s.nativePath);
    s.hash = QString::fromLatin1(QCryptographicHash::hash(s.uri, QCryptographicHash::Md5).toHex());
    s.mtime = status.st_mtim.tv_sec;
    s.mtimeNs = status.st_mtim.tv_nsec;
    s.size = status.st_size;
    s.device = status.st_dev;
    s.inode = status.st_ino;
    return s;
}

bool unchanged(const Source &source)
{
    struct stat st = {};
    return ::stat(source.nativePath.constData(), &st) == 0 && st.st_mtim.tv_sec == source.mtime
            && st.st_mtim.tv_nsec == source.mtimeNs && st.st_size == source.size && st.st_dev == source.device
            && st.st_ino == source.inode;
}

QByteArray fileUri(const QByteArray &bytes)
{
    static constexpr char Hex[] = "0123456789ABCDEF";
    static constexpr char Kept[] = "-._~!$&'()*+,=:@/";
    QByteArray uri("file://");
    uri.reserve(7 + bytes.size() * 3);
    for (const char c : bytes) {
        const uchar u = uchar(c);
        if ((u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || (u && std::memchr(Kept, u, sizeof Kept - 1))) {
            uri += c;
        } else {
            uri += '%';
            uri += Hex[u >> 4];
            uri += Hex[u & 15];
        }
    }
    return uri;
}

QString root()
{
    const QString home = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    return home.isEmpty() ? QString() : home + u"/thumbnails"_s;
}

bool isInside(const QByteArray &nativePath)
{
    // Every request asks; the cache folder's own resolution is kept per thread until the
    // folder's name changes (a test or host may point XDG_CACHE_HOME elsewhere).
    thread_local QString resolvedFor;
    thread_local QByteArray resolved;
    const QString cacheRoot = root();
    if (cacheRoot != resolvedFor || resolved.isEmpty()) {
        resolvedFor = cacheRoot;
        resolved = realPath(QFile::encodeName(cacheRoot));
    }
    const QByteArray file = realPath(nativePath);
    return !resolved.isEmpty() && !file.isEmpty() && file.startsWith(QByteArray(resolved + '/'));
}

QImage lookup(const Source &source, int firstBucket)
{
    const QString folder = root();
    if (folder.isEmpty() || firstBucket < 0)
        return {};
    for (int i = firstBucket; i < int(Buckets.size()); ++i) {
        const QString path = folder + u'/' + QLatin1StringView(Buckets[i].folder) + u'/' + source.hash + u".png"_s;
        QImage image = readValid(path, Buckets[i].size, source);
        if (!image.isNull())
            return image;
    }
    return {};
}

bool hasFailure(const Source &source)
{
    return !root().isEmpty() && !readValid(failPath(source), Buckets.back().size, source).isNull();
}

bool store(const Source &source, int bucket, const QImage &image, const QString &mimeType)
{
    const QString folder = root();
    if (folder.isEmpty() || bucket < 0 || bucket >= int(Buckets.size()) || image.isNull()
        || image.width() > Buckets[bucket].size || image.height() > Buckets[bucket].size)
        return false;
    const QByteArray png = pngWithText(image, keysOf(source, mimeType));
    return !png.isEmpty()
            && writeAtomically(folder + u'/' + QLatin1StringView(Buckets[bucket].folder), source.hash + u".png"_s, png);
}

bool storeFailure(const Source &source, const QString &mimeType)
{
    if (root().isEmpty())
        return false;
    QImage empty(1, 1, QImage::Format_ARGB32);
    empty.fill(Qt::transparent);
    const QByteArray png = pngWithText(empty, keysOf(source, mimeType));
    const QString path = failPath(source);
    return !png.isEmpty() && writeAtomically(QFileInfo(path).path(), QFileInfo(path).fileName(), png);
}

QString failFolderName()
{
    return u"tqkit-"_s + QLatin1StringView(TQKIT_VERSION);
}

} // namespace TQThumbnailCache
