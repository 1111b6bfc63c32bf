// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QLocale>

/**
    What Quillbox sets up once, after the QApplication is made and before its window:
    its names (which decide where QSettings keeps the user's choices), the double-click time
    the user chose (TQEventUtilities::doubleClickDelay()), and the translations.
    GUI thread only.
*/
namespace QuillboxApplication {

/** The names, the double-click time, the icon themes (QuillboxIcons) and the translations for QLocale(). */
void setUp();

/**
    Installs the library's translation (TQTranslations::install()) and Quillbox's own for
    \a locale's first user-interface language that has one, replacing the ones installed
    before. True when Quillbox's texts now come out in that language (English needs none).
*/
bool installTranslations(const QLocale &locale);

} // namespace QuillboxApplication
