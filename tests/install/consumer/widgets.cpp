// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Built against an installed TQKit's widgets library (which brings the core along): the
// headers, the CMake package and the libraries.
#include <TQKit/TQIconAndFilenameCell.h>
#include <TQKit/TQImageUtilities.h>
#include <TQKit/TQTypeRegistry.h>
#include <TQKit/TQUtilityFunctions.h>
#include <TQKit/UWStandardFile.h>

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    const UWStandardFileRef file = UWStandardFile::newFileForPath(QString::fromLocal8Bit(argv[1]));
    if (!file || !TQUTTypeConformsToArray(file->resolvedUTI(), {QStringLiteral("public.item")}))
        return 1;
    // The core's images reach a widgets host, and the cells bring Qt Widgets along.
    if (TQImageUtilities::aliasBadge().isNull())
        return 3;
    const TQIconAndFilenameCell cell;
    if (cell.imageRectForBounds(QRectF(0, 0, 100, 20)).x() != cell.leftSpacing())
        return 4;
    std::printf("%s\n", qPrintable(file->resolvedUTI()));
    return 0;
}
