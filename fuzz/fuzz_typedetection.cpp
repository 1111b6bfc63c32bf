// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Type detection on any bytes: the registry on the file (with and without a name that
// disagrees with the content), on the bytes themselves, and a file item's resolved type. Every
// answer must be a type the registry can place: it conforms to "public.item".

#include "TQFuzzSupport.h"
#include "TQTypeRegistry.h"
#include "UWStandardFile.h"

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    TQFuzz::initialize(argc, argv);
    return 0;
}

namespace {

void check(const QString &type, const QString &how)
{
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    if (type.isEmpty() || !registry.conformsTo(type, u"public.item"_s))
        TQFuzz::fail("a type outside the registry's graph:", type + u" from "_s + how);
    (void)registry.localizedDescription(type);
    (void)registry.preferredMimeType(type);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QStringList names{u"document"_s, u"document.jpg"_s, u"document.txt"_s};
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    const QByteArray bytes = TQFuzz::view(data, size);

    check(registry.typeForData(bytes), u"the bytes"_s);
    for (const QString &name : names) {
        const QString path = TQFuzz::writeInput(name, bytes);
        check(registry.typeForFile(path), name);
        const UWStandardFileRef item = UWStandardFile::newFileForPath(path);
        if (!item)
            TQFuzz::fail("no file item for", path);
        check(item->resolvedUTI(), u"the item "_s + name);
    }
    return 0;
}
