// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageLoaderOperation.h"

#include "TQFile.h"
#include "TQLoadingLogging.h"
#include "TQTypeRegistry.h"

#include <QBuffer>
#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QImageReader>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A compressed file this large could not decode within QImageReader's allocation limit
// anyway; refusing it spares reading it into memory first.
constexpr qint64 maximumFileBytes = qint64(1) << 30;

class FileDescriptor
{
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

// \a nativePath is the file system's bytes: a name need not survive a trip through text.
bool readUncached(const QByteArray &nativePath, QByteArray *contents)
{
    const QString path = QFile::decodeName(nativePath);
    // O_NONBLOCK: a FIFO that has a picture's name must not hang the worker in open().
    const FileDescriptor file(::open(nativePath.constData(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (file.get() < 0) {
        qCDebug(lcLoading) << "cannot open" << path << std::strerror(errno);
        return false;
    }
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > maximumFileBytes) {
        qCDebug(lcLoading) << "not reading" << path << "(not a regular file, or too large)";
        return false;
    }
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    // The size is a hint only: the file may grow or shrink while it is read.
    QByteArray data(qMax<qint64>(status.st_size, 0) + 1, Qt::Uninitialized);
    qsizetype filled = 0;
    for (;;) {
        if (filled == data.size()) {
            if (data.size() > maximumFileBytes)
                return false;
            data.resize(data.size() * 2);
        }
        const ssize_t got = ::read(file.get(), data.data() + filled, size_t(data.size() - filled));
        if (got < 0) {
            if (errno == EINTR)
                continue;
            qCDebug(lcLoading) << "cannot read" << path << std::strerror(errno);
            return false;
        }
        if (got == 0)
            break;
        filled += got;
    }
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    data.truncate(filled);
    *contents = std::move(data);
    return true;
}

QByteArray formatForType(const QString &type)
{
    const QString mimeType = TQTypeRegistry::shared().preferredMimeType(type);
    if (mimeType.isEmpty())
        return {};
    const QList<QByteArray> formats = QImageReader::imageFormatsForMimeType(mimeType.toLatin1());
    return formats.isEmpty() ? QByteArray() : formats.constFirst();
}

QVariant imageOf(const UWStandardFileRef &item)
{
    const TQFileRef file = TQFile::fromItem(item);
    if (!file || !file->isImage() || file->URL().isEmpty())
        return {};
    // As the browser shows it: a file whose mode lets nobody read it is not read, even by
    // the superuser, who could.
    if (!file->isReadable())
        return {};
    const QUrl resolved = file->resolvedURL();
    if (resolved.isEmpty() || !resolved.isLocalFile())
        return {};
    QByteArray contents;
    if (!readUncached(UWStandardFile::nativePathForURL(resolved), &contents))
        return {};

    QBuffer buffer(&contents);
    buffer.open(QIODevice::ReadOnly);
    // The content decides where it speaks (a PNG saved as .jpg decodes as the PNG it is):
    // Qt's decoder for a wrong hint would simply fail. The type is the hint for formats
    // that cannot be recognised from their first bytes.
    QByteArray format = QImageReader::imageFormat(&buffer);
    buffer.seek(0);
    if (format.isEmpty())
        format = formatForType(file->resolvedUTI());
    QImageReader reader(&buffer, format);
    reader.setAutoTransform(false);
    QImage image;
    if (!reader.read(&image)) {
        qCDebug(lcLoading) << "cannot decode" << file->path() << reader.errorString();
        return {};
    }
    return QVariant::fromValue(image);
}

} // namespace

TQImageLoaderOperation::TQImageLoaderOperation() = default;

TQImageLoaderOperation::~TQImageLoaderOperation() = default;

void TQImageLoaderOperation::main()
{
    if (isCancelled())
        return;
    for (;;) {
        {
            const UWStandardFileRef item = popFromQueue();
            if (!item)
                return;
            postResult({imageOf(item), item});
        }
        if (isCancelled())
            return;
    }
}
