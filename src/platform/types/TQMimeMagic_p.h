// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QByteArrayView>
#include <QString>

#include <optional>

// The content rules ("magic") of the shared MIME database, matched straight from the binary
// cache (mime.cache) that Qt's QMimeDatabase reads, with Qt's answer but at a fraction of its
// cost: Qt compares a rule's value at every offset of its range one call at a time, and a few
// rules search the first 18 KiB of every file.
//
// Only the plain case is served: one MIME folder, holding the freedesktop.org database and a
// valid cache, and QT_NO_MIME_CACHE unset, which is when QMimeDatabase has that one cache as
// its only source. Anything else (a user's own MIME folder, no cache, a cache that does not
// parse) answers nothing and leaves the question to QMimeDatabase. The cache is looked at again
// at most every five seconds, as Qt does, and reloaded when it changed.
//
// Thread-safe.
namespace TQMimeMagic {

/*!
    The name of the MIME type QMimeDatabase::mimeTypeForData() gives \a data: the first type,
    in the cache's order of priority, whose magic the data matches; without one, "text/plain"
    when the first 128 bytes look like text (a UTF-16 byte order mark, or no control character
    but tab, line feed and carriage return), "application/octet-stream" otherwise. Nothing for
    empty data, or when only QMimeDatabase can tell.
*/
TQKIT_EXPORT std::optional<QString> mimeTypeForData(QByteArrayView data); // exported for the tests

//! What the cache's name patterns can say about a file name (without a folder).
struct NameVerdict
{
    /*!
        True when no pattern can match the name: QMimeDatabase::mimeTypeForFile(name,
        QMimeDatabase::MatchExtension) then answers its default type,
        "application/octet-stream", after compiling a regular expression for each complex
        pattern.
    */
    bool matchesNothing = false;
    /*!
        When only suffix patterns ("*.tar.gz") can match: the characters of the name the
        database reads, so that names with the same key get the same answer from it, as long
        as \a generation stays the same. Empty otherwise.
    */
    QString key;
    //! Which reading of the cache the key belongs to.
    quint64 generation = 0;
};

//! The verdict for \a fileName; nothing known when only QMimeDatabase can tell.
NameVerdict nameVerdict(const QString &fileName);

} // namespace TQMimeMagic
