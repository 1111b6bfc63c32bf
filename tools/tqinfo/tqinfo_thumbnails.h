// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQAsyncQuicklookThumbnailer.h"

#include <QDir>
#include <QObject>
#include <QSet>

namespace TQInfo {

/*!
    Runs the library's thumbnail queue over files and writes each thumbnail as
    OUTDIR/<file name>.png; files that get none are reported on stderr. run() returns when
    every file was delivered.
*/
class ThumbnailWriter : public QObject, public TQAsyncQuicklookThumbnailerDelegate
{
    Q_OBJECT

public:
    ThumbnailWriter(const QString &outputFolder, int size);

    //! 0 when every file got a thumbnail that was written, else 1.
    int run(const QList<UWStandardFileRef> &files);

    void asynchronousThumbnailerCreatedThumbnail(TQAsyncQuicklookThumbnailer *thumbnailer, const QImage &thumbnail,
                                                 const UWStandardFileRef &file,
                                                 const UWStandardFileRef &nextInQueue) override;

Q_SIGNALS:
    //! Every file was delivered.
    void finished();

private:
    QDir m_output;
    int m_size;
    qsizetype m_left = 0;
    bool m_failed = false;
    QSet<QString> m_names; // output names already used in this run
};

} // namespace TQInfo
