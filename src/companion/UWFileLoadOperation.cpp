// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFileLoadOperation.h"

#include "UWCompanionLogging.h"
#include "UWFolderListing_p.h"

struct UWFileLoadOperation::Private
{
    QList<UWStandardFileRef> queue;
    QList<UWStandardFileRef> results;
};

UWFileLoadOperation::UWFileLoadOperation()
    : d(std::make_unique<Private>())
{
}

UWFileLoadOperation::~UWFileLoadOperation() = default;

void UWFileLoadOperation::addObjectToQueue(const UWStandardFileRef &folder)
{
    if (folder)
        d->queue.append(folder);
}

void UWFileLoadOperation::main()
{
    while (!d->queue.isEmpty()) {
        const UWStandardFileRef folder = d->queue.takeFirst()->resolvedFileItem();
        QString error;
        const QList<UWFolderListing::Entry> entries = UWFolderListing::list(folder->nativePath(), &error);
        if (!error.isEmpty())
            qCInfo(lcCompanion).noquote() << "cannot list" << folder->path() << "-" << error;
        d->results.reserve(d->results.size() + entries.size());
        for (const UWFolderListing::Entry &entry : entries)
            d->results.append(entry.file);
    }
}

QList<UWStandardFileRef> UWFileLoadOperation::results() const
{
    return d->results;
}
