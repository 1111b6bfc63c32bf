// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A command-line program built against an installed TQKit's core library alone: no QtWidgets
// header, no QApplication.
#include <TQKit/TQImageUtilities.h>
#include <TQKit/TQTypeRegistry.h>
#include <TQKit/TQUtilityFunctions.h>
#include <TQKit/UWStandardFile.h>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2)
        return 2;
    const UWStandardFileRef file = UWStandardFile::newFileForPath(QString::fromLocal8Bit(argv[1]));
    if (!file || !TQUTTypeConformsToArray(file->resolvedUTI(), {QStringLiteral("public.item")}))
        return 1;
    // The library's images travel inside the core library.
    if (TQImageUtilities::aliasBadge().isNull())
        return 3;
    std::printf("%s\n", qPrintable(file->resolvedUTI()));
    return 0;
}
