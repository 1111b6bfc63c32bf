// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "UWStandardFile.h"
#include "tqkit_export.h"

#include <memory>

/*!
    \class UWFileLoadOperation
    \brief Lists folders on the calling thread.

    Give it folder items with addObjectToQueue(), run main() (on any thread; it blocks for the
    time of the listing), then take results(): the items of every queued folder, in order.
    A folder that cannot be read lists as empty and the reason is logged.
    Not thread-safe: one thread at a time.

    \ingroup companion
*/
class TQKIT_EXPORT UWFileLoadOperation
{
public:
    UWFileLoadOperation();
    ~UWFileLoadOperation();
    UWFileLoadOperation(const UWFileLoadOperation &) = delete;
    UWFileLoadOperation &operator=(const UWFileLoadOperation &) = delete;

    //! Queues the folder \a folder (a link to a folder lists its target).
    void addObjectToQueue(const UWStandardFileRef &folder);
    //! Lists every queued folder.
    void main();
    //! The items listed by main().
    QList<UWStandardFileRef> results() const;

private:
    struct Private;
    std::unique_ptr<Private> const d;
};
