// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tqinfo_menus.h"

#include "TQFile.h"
#include "TQMenuDescription.h"

#include <QFile>
#include <QKeySequence>

#include <cstdio>

namespace TQInfo {

QCommandLineOption openWithOption()
{
    return QCommandLineOption(QStringLiteral("open-with"),
                              QStringLiteral("Prints the Open With menu for the FILEs (the first decides the "
                                             "applications): title, shortcut, action and application per line."));
}

std::unique_ptr<QCoreApplication> makeApplication(int &argc, char **argv)
{
    return std::make_unique<QCoreApplication>(argc, argv);
}

int printOpenWithMenu(const QList<QByteArray> &paths, QString *usageError)
{
    if (paths.isEmpty()) {
        *usageError = QStringLiteral("--open-with needs a file");
        return 2;
    }
    QList<TQFileRef> files;
    for (const QByteArray &path : paths) {
        if (const TQFileRef file = TQFile::newFileForNativePath(path))
            files.append(file);
    }
    if (files.isEmpty() || !files.first()->exists()) {
        const QByteArray line = "tqinfo: " + QFile::decodeName(paths.first()).toUtf8() + ": no such file\n";
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
        return 1;
    }

    const TQMenuDescription menu = TQMenuDescriptions::openWithMenuForFiles(files, {});
    QByteArray out;
    for (const TQMenuItemDescription &item : menu.items) {
        if (item.isSeparator) {
            out += "-\n";
            continue;
        }
        const QString line = item.title + u'\t' + item.keyEquivalent.toString(QKeySequence::PortableText) + u'\t'
                           + item.actionName + u'\t'
                           + (item.representedObject ? item.representedObject->path() : QString());
        out += line.toUtf8() + '\n';
    }
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return 0;
}

} // namespace TQInfo
