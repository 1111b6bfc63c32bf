// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tqinfo_thumbnails.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <cstdio>

namespace TQInfo {

namespace {

void report(const QString &message)
{
    const QByteArray line = "tqinfo: " + message.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

} // namespace

ThumbnailWriter::ThumbnailWriter(const QString &outputFolder, int size)
    : m_output(outputFolder)
    , m_size(size)
{
}

int ThumbnailWriter::run(const QList<UWStandardFileRef> &files)
{
    m_left = files.size();
    if (m_left == 0)
        return m_failed ? 1 : 0;
    TQAsyncQuicklookThumbnailer thumbnailer;
    thumbnailer.setSize(QSizeF(m_size, m_size));
    thumbnailer.setDelegate(this);
    QEventLoop loop;
    connect(this, &ThumbnailWriter::finished, &loop, &QEventLoop::quit);
    thumbnailer.addFilesToQueue(files);
    loop.exec();
    return m_failed ? 1 : 0;
}

void ThumbnailWriter::asynchronousThumbnailerCreatedThumbnail(TQAsyncQuicklookThumbnailer *, const QImage &thumbnail,
                                                              const UWStandardFileRef &file,
                                                              const UWStandardFileRef &)
{
    if (thumbnail.isNull()) {
        report(file->path() + QStringLiteral(": no thumbnail"));
        m_failed = true;
    } else {
        // Two files of the same name from different folders keep both thumbnails.
        QString name = file->fileName();
        for (int copy = 2; m_names.contains(name); ++copy)
            name = QStringLiteral("%1 (%2)").arg(file->fileName()).arg(copy);
        m_names.insert(name);
        const QString target = m_output.filePath(name + QStringLiteral(".png"));
        if (!thumbnail.save(target, "PNG")) {
            report(target + QStringLiteral(": cannot write the thumbnail"));
            m_failed = true;
        }
    }
    if (--m_left == 0)
        Q_EMIT finished();
}

} // namespace TQInfo
