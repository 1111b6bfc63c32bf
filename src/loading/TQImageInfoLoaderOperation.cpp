// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageInfoLoaderOperation.h"

#include "TQFile.h"
#include "TQImageUtilities.h"

#include <QVariantMap>

TQImageInfoLoaderOperation::TQImageInfoLoaderOperation() = default;

TQImageInfoLoaderOperation::~TQImageInfoLoaderOperation() = default;

void TQImageInfoLoaderOperation::main()
{
    if (isCancelled())
        return;
    for (;;) {
        {
            const UWStandardFileRef item = popFromQueue();
            if (!item)
                return;
            const TQFileRef file = TQFile::fromItem(item);
            if (file && file->isImage()) {
                QVariantMap properties;
                // Unreadable as the browser shows it (see TQImageLoaderOperation), even where
                // the superuser could read it.
                const bool read = file->isReadable() && TQImageUtilities::addPropertiesofFile(item, properties);
                postResult({read ? QVariant(properties) : QVariant(), item});
            }
        }
        if (isCancelled())
            return;
    }
}
