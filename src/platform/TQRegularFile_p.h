// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QString>

#include <sys/stat.h>

// The one way the platform layer opens a file it did not make: whatever lies on a disk may be
// a FIFO that blocks the first read for ever, a device that never ends, or a link to either.
// The file is opened non-blocking (so opening a FIFO returns at once), without becoming a
// controlling terminal, and its descriptor is checked with fstat: only a regular file is kept.
// Because the check is made on the open descriptor, a file swapped for a FIFO after a path
// check is still refused, and everything after reads the file that was checked.
class TQRegularFile
{
public:
    // `nativePath` is the file's name in the file system's own bytes (QFile::encodeName for a
    // name that came in as text); links are followed.
    explicit TQRegularFile(const QByteArray &nativePath);
    explicit TQRegularFile(const QString &path);
    // For a caller that has just looked at `nativePath` with stat() (links followed) and found
    // `named`: that look stands for the one made before opening; the descriptor is still checked.
    TQRegularFile(const QByteArray &nativePath, const struct stat &named);
    TQRegularFile(const TQRegularFile &) = delete;
    TQRegularFile &operator=(const TQRegularFile &) = delete;
    ~TQRegularFile();

    bool isOpen() const { return m_fd >= 0; }
    int fd() const { return m_fd; }
    qint64 size() const { return m_status.st_size; }
    const struct stat &status() const { return m_status; }
    // Why the file is not open: "is a named pipe", "is a device", the system's error text, ...
    QString error() const { return m_error; }
    // Whether the file was refused for what it is (not a regular file), rather than because it
    // could not be opened; a refusal deserves a warning, a missing file does not.
    bool refused() const { return m_refused; }

    // Up to `length` bytes at `offset`; shorter at the end of the file or on an error.
    QByteArray read(qint64 offset, qint64 length) const;
    // Exactly `size` bytes at `offset` into `to`; false at the end of the file or on an error.
    bool readExactly(qint64 offset, void *to, size_t size) const;
    // The whole file, or a null array when it is larger than `limit` bytes or can't be read.
    QByteArray readAll(qint64 limit) const;
    // A name under which a library that insists on opening by name reaches exactly this
    // descriptor's file ("/proc/self/fd/N"), valid while this object lives.
    QByteArray descriptorPath() const;

    // One warning line in "tqkit.platform" naming the file and why it was refused; nothing for
    // a file that merely could not be opened (that is a debug line, logged by the caller).
    void warnIfRefused(const QString &path, const char *purpose) const;

private:
    void open(const QByteArray &nativePath, const struct stat *named = nullptr);

    int m_fd = -1;
    struct stat m_status = {};
    QString m_error;
    bool m_refused = false;
};
