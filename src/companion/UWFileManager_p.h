// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <QByteArray>
#include <QHash>
#include <QList>

#include <functional>

class UWFileSubscription;

namespace UWFileManagerInternal {

// UWFileSubscription::adoptListing() for a caller that made the name index off the main
// thread as well: \a byName holds each item of \a files under its file name in the file
// system's bytes. Both are taken over; move them in, since a copy still shared would be copied
// whole on the first change. An empty index is made here. Main thread.
bool adoptListing(UWFileSubscription *subscription, QList<UWStandardFileRef> files,
                  QHash<QByteArray, UWStandardFileRef> byName);

// The watch of \a subscription's folder, to be added by whichever thread lists the folder,
// before it lists: the kernel marks every cached entry of the folder as it adds a watch (10 ms
// and more for a folder of 100k entries), which the main thread should not wait for. Main
// thread; the function returned may run on any thread, once, and until it has run (or been
// destroyed unrun) the file manager holds back events it cannot place. Empty when the
// subscription is loaded or watched already, or nothing can be watched.
TQKIT_EXPORT std::function<void()> watchLater(UWFileSubscription *subscription); // exported for the tests

} // namespace UWFileManagerInternal
