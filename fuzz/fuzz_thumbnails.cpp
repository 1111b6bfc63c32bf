// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The thumbnail service's own route (embedded previews and in-process decodes) on any bytes:
// the shared cache is off and no thumbnailer can be found, so nothing runs outside this
// process. Every pixel of the answer is read, so that an image whose buffer belongs to a
// decoder that is gone is a finding, and the answer must fit the size asked for.

#include "TQFuzzSupport.h"
#include "TQThumbnailService.h"

#include <atomic>

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    TQFuzz::initialize(argc, argv);
    // The data folders keep only the MIME database (so files are still typed as the desktop
    // types them) and no "thumbnailers" folder; set before anything asks QStandardPaths.
    const QString data = TQFuzz::scratchPath(u"xdg-data"_s);
    QDir().mkpath(data);
    QFile::link(u"/usr/share/mime"_s, data + u"/mime"_s);
    qputenv("XDG_DATA_HOME", QFile::encodeName(data));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(data));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(TQFuzz::scratchPath(u"xdg-cache"_s)));
    TQThumbnailService::setCacheEnabled(false);
    TQThumbnailService::setThumbnailerSandboxEnabled(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QStringList names{u"picture"_s, u"picture.dng"_s};
    static const QSizeF request(128, 96);
    static std::atomic<quint64> sink{0}; // keeps the reads from being optimised away

    const QByteArray bytes = TQFuzz::view(data, size);
    for (const QString &name : names) {
        const QImage thumbnail = TQThumbnailService::thumbnailForFile(TQFuzz::writeInput(name, bytes), request);
        if (thumbnail.isNull())
            continue;
        if (thumbnail.width() > request.width() || thumbnail.height() > request.height())
            TQFuzz::fail("a thumbnail larger than asked for:",
                         u"%1 x %2 for %3"_s.arg(thumbnail.width()).arg(thumbnail.height()).arg(name));
        sink.fetch_add(TQFuzz::touch(thumbnail.constBits(), thumbnail.sizeInBytes()), std::memory_order_relaxed);
    }
    return 0;
}
