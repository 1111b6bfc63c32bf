// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "TQTypeRegistry.h"
#include "UWStandardFile.h"

// How the storage layer makes items, shared by the item class operations, folder listings and
// the file manager. Thread-safe: listings make items on background threads.
namespace UWFileFactory {

using Factory = std::function<UWStandardFileRef()>;

// Installs the factory every item is made with; an empty one restores the base class.
void setFactory(Factory factory);
Factory factory();

// A new, initialised item for \a url, or for the path \a pathRep when it is given (\a url may
// then be empty); nullptr when the item refuses the location.
UWStandardFileRef make(const QUrl &url, const QByteArray &pathRep = {}, const UWStatInfo *statInfo = nullptr);
// A new placeholder item that stands for \a archive.
UWStandardFileRef makePlaceholder(const QString &displayName, const QVariantMap &archive);

void setTypeDetection(TQTypeRegistry::Detection detection);
TQTypeRegistry::Detection typeDetection();
// The type an item at \a path whose status (not following a final link) is \a stat takes as
// its own, by the detection set; the file's first bytes may be read.
QString typeOf(const QByteArray &path, const UWStatInfo &stat);

// Placeholders are remembered (weakly) so that a newly mounted volume can bring them back.
void rememberPlaceholder(const UWStandardFileRef &placeholder);
QList<UWStandardFileRef> livePlaceholders();

} // namespace UWFileFactory
