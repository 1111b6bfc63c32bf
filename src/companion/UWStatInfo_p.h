#pragma once

#include <QtGlobal>

#include <sys/types.h>

// What one statx call tells about a path; a folder listing fills it once per entry so that
// making the item needs no second system call.
struct UWStatInfo
{
    mode_t mode = 0;
    dev_t device = 0;
    ino_t inode = 0;
    qint64 size = 0;
    qint64 modifiedMSecs = 0;
    qint64 statusChangedMSecs = 0;
    qint64 accessedMSecs = 0;
    qint64 bornMSecs = 0;
    bool hasBirthTime = false;

    // Fills the record for \a path without following a final link; false (errno set) on failure.
    bool read(const char *path, bool followLinks = false);
};
