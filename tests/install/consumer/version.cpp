// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The installed version header against the library a program loads: prints the headers'
// version and the library's, and fails when the numbers do not order versions the way
// TQKIT_VERSION_CHECK promises.
#include <TQKit/tqkit_version.h>

#include <cstdio>

static_assert(TQKIT_VERSION == TQKIT_VERSION_CHECK(TQKIT_VERSION_MAJOR, TQKIT_VERSION_MINOR, TQKIT_VERSION_PATCH));
// Each part outweighs every value of the parts after it.
static_assert(TQKIT_VERSION_CHECK(0, 1, 255) < TQKIT_VERSION_CHECK(0, 2, 0));
static_assert(TQKIT_VERSION_CHECK(0, 255, 255) < TQKIT_VERSION_CHECK(1, 0, 0));
static_assert(TQKIT_VERSION_CHECK(1, 2, 3) == 0x010203);

int main()
{
    if (TQKit::version() != TQKIT_VERSION)
        return 1;
    std::printf("%s %s\n", TQKIT_VERSION_STRING, qPrintable(TQKit::versionString()));
    return 0;
}
