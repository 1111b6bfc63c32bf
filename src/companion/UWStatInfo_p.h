// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QtGlobal>

#include <sys/types.h>

// What one statx call tells about a path; a folder listing fills it once per entry so that
// making the item needs no second system call.
struct UWStatInfo
{
    // What sorting reads first: the kind, the size and the dates, so that they share a cache
    // line with the record's own first fields.
    mode_t mode = 0;
    bool hasBirthTime = false;
    // Whether the folder's ".hidden" file names the entry, when the listing that read the
    // status read that file too; otherwise the item reads the file itself when asked.
    bool hiddenByListKnown = false;
    bool hiddenByList = false;
    qint64 size = 0;
    qint64 modifiedNSecs = 0;
    qint64 statusChangedNSecs = 0;
    qint64 bornNSecs = 0;
    qint64 accessedNSecs = 0;
    dev_t device = 0;
    ino_t inode = 0;

    // Fills the record for \a path without following a final link; false (errno set) on failure.
    bool read(const char *path, bool followLinks = false);
    // The same for \a name inside the open folder \a directoryFd, as a listing reads it.
    bool readAt(int directoryFd, const char *name, bool followLinks = false);
};

// A status a worker read already. While one is in place on a thread, reads there of its path
// (not following a final link) take it instead of asking the file system again: the file
// manager tells items their events with one, so that the GUI thread never waits for a slow
// folder. They nest; the innermost for a path wins.
class UWKnownStatus
{
public:
    UWKnownStatus(const QByteArray &path, bool present, const UWStatInfo &stat, const QString &type = {});
    ~UWKnownStatus();
    UWKnownStatus(const UWKnownStatus &) = delete;
    UWKnownStatus &operator=(const UWKnownStatus &) = delete;

    // The status in place on this thread for \a path; nullptr when there is none.
    static const UWKnownStatus *find(const char *path);

    const bool present;   // false: nothing was there
    const UWStatInfo stat; // when present
    // The item's own type as the worker detected it with that status; empty when not asked.
    // An item that forgets its types in the scope takes this one instead of reading the file.
    const QString type;

private:
    const QByteArray m_path;
    const UWKnownStatus *const m_outer;
};

// The names \a folder's ".hidden" file lists, one per line; empty when it has none or it is not
// a regular file (refusing one is logged). Any thread.
QList<QByteArray> uwNamesInHiddenFile(const QByteArray &folder);

// A listing's answer to "does the folder's .hidden file name this entry", read once for the
// whole folder rather than once by every entry asked whether it is hidden.
class UWHiddenNames
{
public:
    explicit UWHiddenNames(const QByteArray &folder);
    // Records in \a stat, read for the entry \a name of the folder, whether the file names it.
    void mark(UWStatInfo &stat, const char *name) const;

private:
    QSet<QByteArray> m_names;
};
