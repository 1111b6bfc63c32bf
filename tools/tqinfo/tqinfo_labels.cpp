// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tqinfo_labels.h"

#include "tqinfo_listing.h"

#include <QFile>

#include <algorithm>
#include <cstdio>

namespace TQInfo {

QCommandLineOption setLabelOption()
{
    return QCommandLineOption(
        QStringLiteral("set-label"),
        QStringLiteral("Gives each FILE (or folder) the Finder label N (0 none, 1 gray, 2 green, 3 purple, 4 blue, "
                       "5 yellow, 6 red, 7 orange) in its user.xdg.tags list, keeping its other tags."),
        QStringLiteral("N"));
}

int setLabels(const QCommandLineParser &parser, const QCommandLineOption &option, const QList<QByteArray> &paths,
              QString *usageError)
{
    // Labels are set on files named one by one; a listing or a report alongside would have to
    // say whether it shows the labels from before or after.
    const QStringList given = parser.optionNames();
    if (std::any_of(given.begin(), given.end(), [&](const QString &name) { return !option.names().contains(name); })) {
        *usageError = QStringLiteral("--set-label takes files only");
        return 2;
    }
    bool ok = false;
    const int label = parser.value(option).toInt(&ok);
    if (!ok || label < 0 || label > 7) {
        *usageError = QStringLiteral("--set-label needs a label from 0 (none) to 7");
        return 2;
    }
    if (paths.isEmpty()) {
        *usageError = QStringLiteral("no file given");
        return 2;
    }
    int status = 0;
    for (const QByteArray &path : paths) {
        const Lookup found = lookUp(path);
        QString reason = found.error;
        if (found.item && found.item->setFinderLabel(label, &reason))
            continue;
        const QByteArray line = "tqinfo: " + QFile::decodeName(path).toUtf8() + ": " + reason.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
        status = 1;
    }
    return status;
}

} // namespace TQInfo
