// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The image property reader on any bytes: once under every type hint whose format it parses
// itself (a hint that does not match the content must cost nothing but the check), and once
// under names whose suffix decides the route (".dng" sends TIFF-shaped files to the RAW
// reader). A JPEG's EXIF is read both ways, by the direct walk and by exiv2 alone: the two
// answers must be the same.

#include "TQFuzzSupport.h"
#include "TQImageProperties.h"
#include "TQImageProperties_p.h"

#include <QJsonDocument>
#include <QStringList>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    TQFuzz::initialize(argc, argv);
    return 0;
}

namespace {

void check(const QVariantMap &properties, const QString &how)
{
    // A host shows the answer: every value must be something it can print.
    (void)QJsonDocument::fromVariant(properties).toJson();
    if (properties.contains(u"Orientation"_s)) {
        const int orientation = properties.value(u"Orientation"_s).toInt();
        if (orientation < 1 || orientation > 8)
            TQFuzz::fail("an Orientation outside 1 to 8 from", how);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QStringList hints{u"public.jpeg"_s,          u"public.png"_s,         u"public.tiff"_s,
                                   u"org.webmproject.webp"_s, u"com.compuserve.gif"_s, u"com.microsoft.bmp"_s,
                                   u"public.heic"_s,          u"com.adobe.raw-image"_s, QString()};
    static const QStringList names{u"picture.jpg"_s, u"picture.png"_s, u"picture.dng"_s};

    const QByteArray bytes = TQFuzz::view(data, size);
    const QString plain = TQFuzz::writeInput(u"picture"_s, bytes);
    for (const QString &hint : hints)
        check(TQImageProperties::propertiesOfFile(plain, hint), u"the hint "_s + hint);
    for (const QString &name : names)
        check(TQImageProperties::propertiesOfFile(TQFuzz::writeInput(name, bytes)), name);
    if (bytes.startsWith("\xff\xd8\xff")) {
        const QVariantMap direct = TQImageProperties::propertiesOfFile(plain, u"public.jpeg"_s);
        TQImageProperties_setExiv2OnlyForTesting(true);
        const QVariantMap parsed = TQImageProperties::propertiesOfFile(plain, u"public.jpeg"_s);
        TQImageProperties_setExiv2OnlyForTesting(false);
        if (direct != parsed)
            TQFuzz::fail("the direct EXIF walk and exiv2 disagree on", QString::fromUtf8(
                    QJsonDocument::fromVariant(direct).toJson(QJsonDocument::Compact) + " against "
                    + QJsonDocument::fromVariant(parsed).toJson(QJsonDocument::Compact)));
    }
    return 0;
}
