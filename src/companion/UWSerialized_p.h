// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <mutex>

// Process-wide locks around libraries whose own locking ThreadSanitizer cannot see (they are
// not instrumented), taken by the items' getters, which run on any thread. Both guard short
// calls; neither is held while another is taken.
namespace UWSerialized {

// GIO's desktop-entry and default-application look-ups.
inline std::mutex &desktopLookups()
{
    static std::mutex lock;
    return lock;
}

// The C library's time-zone state, which every conversion to or from local time reads and
// tzset() rewrites.
inline std::mutex &localTime()
{
    static std::mutex lock;
    return lock;
}

} // namespace UWSerialized
