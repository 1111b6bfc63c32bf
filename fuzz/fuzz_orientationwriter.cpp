// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The orientation writer on a copy of any bytes. Besides the sanitizers it holds the writer to
// its promises: a refusal leaves the file byte for byte as it was and says why, a write is
// read back as the orientation asked for, and no temporary sibling is left behind.

#include "TQFuzzSupport.h"
#include "TQImageOrientationWriter.h"

#include <QDir>

using namespace Qt::StringLiterals;
using TQImageOrientationWriter::Result;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    TQFuzz::initialize(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray original = TQFuzz::view(data, size);
    const QString path = TQFuzz::writeInput(u"photo.jpg"_s, original);

    const int before = TQImageOrientationWriter::readOrientation(path);
    if (before < 0 || before > 8)
        TQFuzz::fail("readOrientation answered", QString::number(before));
    // Always a different orientation from the one read, so that a readable file is rewritten.
    const int wanted = before % 8 + 1;
    QString error;
    const Result result = TQImageOrientationWriter::writeOrientation(path, wanted, &error);

    if (!TQImageOrientationWriter::succeeded(result)) {
        if (TQFuzz::readBack(path) != original)
            TQFuzz::fail("a refused write changed the file:", error);
        if (error.isEmpty())
            TQFuzz::fail("a refusal without a reason, result", QString::number(int(result)));
    } else if (result == Result::Written) {
        const int after = TQImageOrientationWriter::readOrientation(path);
        if (after != wanted)
            TQFuzz::fail("written orientation reads back wrong:",
                         u"%1 asked, %2 read"_s.arg(wanted).arg(after));
    }

    const QStringList left = QDir(TQFuzz::scratchFolder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    if (left != QStringList{u"photo.jpg"_s})
        TQFuzz::fail("the writer left files behind:", left.join(u", "_s));
    return 0;
}
