// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxDesktopBookmarks.h"
#include "QuillboxLogging.h"

#include <QFile>
#include <QSet>
#include <QStandardPaths>
#include <QXmlStreamReader>

#include <cerrno>
#include <cstring>
#include <optional>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The whole file, or nothing. Opened non-blocking and checked on the descriptor, so that a
// FIFO or a device put under the name is refused instead of read.
std::optional<QByteArray> readSmallRegularFile(const QString &path)
{
    const QByteArray native = QFile::encodeName(path);
    const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        if (errno != ENOENT)
            qCWarning(lcQuillbox, "Desktop bookmarks %s: cannot be opened (%s)", qPrintable(path), strerror(errno));
        return std::nullopt;
    }
    struct stat status = {};
    std::optional<QByteArray> contents;
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        qCWarning(lcQuillbox, "Desktop bookmarks %s: not a regular file, left alone", qPrintable(path));
    } else if (status.st_size > QuillboxDesktopBookmarks::MaximumFileSize) {
        qCWarning(lcQuillbox, "Desktop bookmarks %s: %lld bytes, more than a bookmarks file holds, left alone",
                  qPrintable(path), static_cast<long long>(status.st_size));
    } else {
        QByteArray bytes(qsizetype(status.st_size), Qt::Uninitialized);
        qsizetype done = 0;
        while (done < bytes.size()) {
            const ssize_t got = ::read(fd, bytes.data() + done, size_t(bytes.size() - done));
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            done += got;
        }
        bytes.truncate(done);
        contents = bytes;
    }
    ::close(fd);
    return contents;
}

// The local path of a file: URI as bytes; empty for any other scheme or a remote host.
QByteArray pathOfFileUri(const QByteArray &uri)
{
    if (!uri.startsWith("file://"))
        return {};
    QByteArray rest = uri.sliced(7);
    if (!rest.startsWith('/')) {
        // file://host/path names the host; only this machine's name is local.
        const qsizetype slash = rest.indexOf('/');
        if (slash < 0 || rest.first(slash) != "localhost")
            return {};
        rest = rest.sliced(slash);
    }
    const QByteArray path = QByteArray::fromPercentEncoding(rest);
    // A NUL cannot be part of a path; such an entry is garbage, not a place.
    return path.contains('\0') ? QByteArray() : path;
}

} // namespace

namespace QuillboxDesktopBookmarks {

QList<QuillboxDesktopBookmark> readGtkBookmarks(const QString &path)
{
    QList<QuillboxDesktopBookmark> places;
    const std::optional<QByteArray> contents = readSmallRegularFile(path);
    if (!contents)
        return places;
    const QList<QByteArray> lines = contents->split('\n');
    for (const QByteArray &line : lines) {
        if (places.size() >= MaximumEntries)
            break;
        const QByteArray trimmed = line.trimmed();
        const qsizetype space = trimmed.indexOf(' ');
        const QByteArray nativePath = pathOfFileUri(space < 0 ? trimmed : trimmed.first(space));
        if (nativePath.isEmpty())
            continue;
        const QString title = space < 0 ? QString() : QString::fromUtf8(trimmed.sliced(space + 1)).trimmed();
        places.append({nativePath, title});
    }
    return places;
}

QList<QuillboxDesktopBookmark> readKdePlaces(const QString &path)
{
    QList<QuillboxDesktopBookmark> places;
    const std::optional<QByteArray> contents = readSmallRegularFile(path);
    if (!contents)
        return places;
    QXmlStreamReader xml(*contents);
    QuillboxDesktopBookmark current;
    bool inBookmark = false;
    bool systemItem = false;
    bool onlyInApp = false;
    while (!xml.atEnd() && places.size() < MaximumEntries) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            const QStringView name = xml.name();
            if (name == u"bookmark") {
                inBookmark = true;
                systemItem = onlyInApp = false;
                current = {pathOfFileUri(xml.attributes().value(QStringLiteral("href")).toUtf8()), QString()};
            } else if (inBookmark && name == u"title") {
                current.title = xml.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
            } else if (inBookmark && name == u"isSystemItem") {
                systemItem = xml.readElementText(QXmlStreamReader::SkipChildElements).trimmed() == u"true";
            } else if (inBookmark && name == u"OnlyInApp") {
                onlyInApp = !xml.readElementText(QXmlStreamReader::SkipChildElements).trimmed().isEmpty();
            }
        } else if (token == QXmlStreamReader::EndElement && xml.name() == u"bookmark") {
            // KDE's own system places (Home, Trash, Network) are the desktop's, not the user's.
            if (!current.nativePath.isEmpty() && !systemItem && !onlyInApp)
                places.append(current);
            inBookmark = false;
        }
    }
    if (xml.hasError() && xml.error() != QXmlStreamReader::PrematureEndOfDocumentError)
        qCWarning(lcQuillbox, "Desktop bookmarks %s: not a places file (line %lld), read up to there", qPrintable(path),
                  static_cast<long long>(xml.lineNumber()));
    return places;
}

QList<QuillboxDesktopBookmark> readDesktopBookmarks()
{
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QList<QuillboxDesktopBookmark> places = readGtkBookmarks(config + QStringLiteral("/gtk-3.0/bookmarks"));
    places += readKdePlaces(data + QStringLiteral("/user-places.xbel"));
    QSet<QByteArray> seen;
    QList<QuillboxDesktopBookmark> unique;
    for (const QuillboxDesktopBookmark &place : std::as_const(places)) {
        if (!seen.contains(place.nativePath)) {
            seen.insert(place.nativePath);
            unique.append(place);
        }
    }
    return unique;
}

} // namespace QuillboxDesktopBookmarks
