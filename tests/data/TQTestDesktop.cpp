// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQTestDesktop.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

QString isolateTestDesktop(const QString &root)
{
    const QString mimeCache = QStandardPaths::locate(QStandardPaths::GenericDataLocation, QStringLiteral("mime/mime.cache"));
    if (mimeCache.isEmpty())
        return QStringLiteral("the shared MIME database (shared-mime-info) is needed");
    const QDir dir(root);
    for (const char *sub : {"data", "config", "system-data", "system-config", "gio-modules", "files"}) {
        if (!dir.mkpath(QString::fromLatin1(sub)))
            return QStringLiteral("cannot make %1").arg(dir.filePath(QString::fromLatin1(sub)));
    }
    if (!QFile::link(QFileInfo(mimeCache).path(), dir.filePath(QStringLiteral("system-data/mime"))))
        return QStringLiteral("cannot link the MIME database");
    const auto set = [&](const char *name, const char *sub) {
        qputenv(name, QFile::encodeName(dir.filePath(QString::fromLatin1(sub))));
    };
    set("XDG_DATA_HOME", "data");
    set("XDG_CONFIG_HOME", "config");
    set("XDG_DATA_DIRS", "system-data");
    set("XDG_CONFIG_DIRS", "system-config");
    set("GIO_MODULE_DIR", "gio-modules");
    qputenv("XDG_CURRENT_DESKTOP", "TQTest");
    return {};
}

bool writeWholeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    out.write(contents);
    return out.commit();
}
