// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Read by lupdate only, never compiled.
//
// The menu builder passes these texts through a helper of its own to
// QCoreApplication::translate("Quillbox", ...), where lupdate cannot see them, so they are
// named here to be collected into the .ts files. Each entry must read exactly as at its call
// site; the translation test builds the real menus in another language and catches one that
// drifted. An entry whose call site marks its text itself (QT_TRANSLATE_NOOP) can go.
#error "This file lists texts for lupdate; it is not part of any build."

QT_TRANSLATE_NOOP("Quillbox", "Open With")
QT_TRANSLATE_NOOP("Quillbox", "Edit menu...")
QT_TRANSLATE_NOOP("Quillbox", "Drop Locations")
QT_TRANSLATE_NOOP("Quillbox", "Move to:")
QT_TRANSLATE_NOOP("Quillbox", "Copy to:")
QT_TRANSLATE_NOOP("Quillbox", "Alias in:")
QT_TRANSLATE_NOOP("Quillbox", "Recent Destinations")
QT_TRANSLATE_NOOP("Quillbox", "New Folder")
QT_TRANSLATE_NOOP("Quillbox", "Other Location...")
