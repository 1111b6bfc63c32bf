// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"

#include <QByteArray>
#include <QHash>
#include <QList>

class UWFileSubscription;

namespace UWFileManagerInternal {

// UWFileSubscription::adoptListing() for a caller that made the name index off the main
// thread as well: \a byName holds each item of \a files under its file name in the file
// system's bytes. Both are taken over; move them in, since a copy still shared would be copied
// whole on the first change. An empty index is made here. Main thread.
bool adoptListing(UWFileSubscription *subscription, QList<UWStandardFileRef> files,
                  QHash<QByteArray, UWStandardFileRef> byName);

} // namespace UWFileManagerInternal
