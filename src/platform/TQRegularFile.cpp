// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQRegularFile_p.h"

#include "TQPlatformLogging.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

TQRegularFile::TQRegularFile(const QByteArray &nativePath)
{
    open(nativePath);
}

TQRegularFile::TQRegularFile(const QString &path)
{
    open(QFile::encodeName(path));
}

TQRegularFile::TQRegularFile(const QByteArray &nativePath, const struct stat &named)
{
    open(nativePath, &named);
}

TQRegularFile::~TQRegularFile()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

void TQRegularFile::open(const QByteArray &nativePath, const struct stat *named)
{
    if (nativePath.isEmpty() || nativePath.contains('\0')) {
        m_error = u"has no usable name"_s;
        return;
    }
    const auto refuse = [this](mode_t mode) {
        m_refused = true;
        m_error = S_ISFIFO(mode)                  ? u"is a named pipe"_s
                : S_ISCHR(mode) || S_ISBLK(mode) ? u"is a device"_s
                : S_ISDIR(mode)                   ? u"is a folder"_s
                : S_ISSOCK(mode)                  ? u"is a socket"_s
                                                  : u"is not a regular file"_s;
    };
    // Opening a device can itself do something (rewind a tape, raise a modem line), so what the
    // path names is looked at before it is opened; the descriptor is checked again below, since
    // the entry may be swapped in between.
    struct stat looked = {};
    if (!named) {
        if (::stat(nativePath.constData(), &looked) != 0) {
            m_error = QString::fromLocal8Bit(std::strerror(errno));
            return;
        }
        named = &looked;
    }
    if (!S_ISREG(named->st_mode)) {
        refuse(named->st_mode);
        return;
    }
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a writer for ever.
    // For a regular file the flag changes nothing, so it is left on.
    m_fd = ::open(nativePath.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (m_fd < 0) {
        m_error = QString::fromLocal8Bit(std::strerror(errno));
        return;
    }
    if (::fstat(m_fd, &m_status) != 0) {
        m_error = QString::fromLocal8Bit(std::strerror(errno));
    } else if (!S_ISREG(m_status.st_mode)) {
        refuse(m_status.st_mode);
    } else {
        return;
    }
    ::close(m_fd);
    m_fd = -1;
    m_status = {};
}

QByteArray TQRegularFile::read(qint64 offset, qint64 length) const
{
    if (m_fd < 0 || offset < 0 || offset >= size() || length <= 0)
        return {};
    length = std::min(length, size() - offset);
    QByteArray out(length, Qt::Uninitialized);
    qint64 got = 0;
    while (got < length) {
        const ssize_t n = ::pread(m_fd, out.data() + got, size_t(length - got), offset + got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += n;
    }
    out.truncate(got);
    return out;
}

bool TQRegularFile::readExactly(qint64 offset, void *to, size_t size) const
{
    if (m_fd < 0 || offset < 0)
        return false;
    size_t got = 0;
    while (got < size) {
        const ssize_t n = ::pread(m_fd, static_cast<char *>(to) + got, size - got, off_t(offset + qint64(got)));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        got += size_t(n);
    }
    return true;
}

QByteArray TQRegularFile::readAll(qint64 limit) const
{
    if (m_fd < 0 || size() > limit)
        return {};
    QByteArray out = read(0, size());
    if (out.size() != size())
        return {}; // shrank while it was read: not the file that was measured
    return out.isNull() ? QByteArray("") : out;
}

QByteArray TQRegularFile::descriptorPath() const
{
    return m_fd < 0 ? QByteArray() : "/proc/self/fd/" + QByteArray::number(m_fd);
}

void TQRegularFile::warnIfRefused(const QString &path, const char *purpose) const
{
    if (m_refused)
        qCWarning(lcPlatform, "Not reading %s for %s: it %s", qUtf8Printable(path), purpose, qUtf8Printable(m_error));
}
