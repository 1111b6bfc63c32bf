// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The system calls alone that a listing of names, kinds, sizes and dates needs for a folder,
// without any work between them: the floor under `tqinfo --list`, to compare with find's.
//
//   bench_listing_floor library|fewest FOLDER
//
// "library": the calls the library makes per entry today, by path: the item's statx, the type
// detection's stat, the regular-file check's stat, open, fstat, one read of the first 16 KiB and
// close (for non-empty regular files), and the look for the folder's ".hidden".
// "fewest": what typing by content cannot do without: one statx, and for a non-empty regular
// file openat, one read and close, all relative to the folder's descriptor.
// Run it under /usr/bin/time next to find; it prints only the number of entries.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

int main(int argc, char *argv[])
{
    if (argc != 3 || (std::strcmp(argv[1], "library") != 0 && std::strcmp(argv[1], "fewest") != 0)) {
        std::fprintf(stderr, "usage: bench_listing_floor library|fewest FOLDER\n");
        return 2;
    }
    const bool library = std::strcmp(argv[1], "library") == 0;
    const std::string folder = argv[2];
    DIR *dir = ::opendir(folder.c_str());
    if (!dir) {
        std::perror(folder.c_str());
        return 1;
    }
    std::vector<std::string> names;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    const int fd = ::dirfd(dir);
    static char head[16 * 1024];
    const std::string hidden = folder + "/.hidden";
    for (const std::string &name : names) {
        const std::string path = folder + '/' + name;
        struct statx sx;
        const char *at = library ? path.c_str() : name.c_str();
        if (::statx(library ? AT_FDCWD : fd, at, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
            continue;
        struct stat st;
        if (library && ::stat(path.c_str(), &st) != 0)
            continue;
        const bool content = S_ISREG(sx.stx_mode) && sx.stx_size > 0;
        if (content) {
            if (library)
                ::stat(path.c_str(), &st);
            const int file = library ? ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)
                                     : ::openat(fd, name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
            if (file >= 0) {
                if (library)
                    ::fstat(file, &st);
                if (::pread(file, head, sizeof head, 0) < 0)
                    std::perror(path.c_str());
                ::close(file);
            }
        }
        if (library)
            ::stat(hidden.c_str(), &st);
    }
    ::closedir(dir);
    std::printf("%zu entries\n", names.size());
    return 0;
}
