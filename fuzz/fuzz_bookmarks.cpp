// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Restoring a saved bookmark list from the bytes settings hold: the archived-value reader,
// then the controller's restore of what it read. What was restored must save and restore
// again to the same number of entries, and any value the reader accepts must archive again
// to bytes that read back to the same archive.

#include "TQBookmarksController.h"
#include "TQFuzzSupport.h"
#include "TQUserDefaultsUtilities.h"

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    TQFuzz::initialize(argc, argv);
    return 0;
}

namespace {

const QString Key = u"Bookmarks"_s;

QVariant unarchived(const QByteArray &bytes)
{
    return TQUserDefaultsUtilities::keyedUnarchiveObjectForKey(QVariantMap{{Key, bytes}}, Key);
}

QByteArray archived(const QVariant &value)
{
    QVariantMap settings;
    if (!TQUserDefaultsUtilities::setKeyedArchivableObject(settings, value, Key))
        return {};
    return settings.value(Key).toByteArray();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QVariant value = unarchived(TQFuzz::view(data, size));
    if (!value.isValid())
        return 0;

    const QByteArray again = archived(value);
    if (again.isEmpty())
        TQFuzz::fail("a value read from an archive can't be archived again, type", QString::fromLatin1(value.typeName()));
    if (archived(unarchived(again)) != again)
        TQFuzz::fail("archiving is not stable for a value of type", QString::fromLatin1(value.typeName()));

    QVariantList saved = value.toList();
    if (value.metaType().id() == QMetaType::QVariantMap)
        saved = QVariantList{value}; // a single record, as an older list may hold
    TQBookmarksController controller;
    controller.setBookmarksFromSavableBookmarks(saved);
    (void)controller.bookmarks();

    const QByteArray resaved = archived(controller.savableBookmarks());
    TQBookmarksController restored;
    restored.setBookmarksFromSavableBookmarks(unarchived(resaved).toList());
    if (restored.bookmarksCount() != controller.bookmarksCount())
        TQFuzz::fail("a saved list restores to another number of entries:",
                     u"%1 then %2"_s.arg(controller.bookmarksCount()).arg(restored.bookmarksCount()));
    return 0;
}
