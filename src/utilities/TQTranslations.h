// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QLocale>
#include <QStringList>

/*!
    \namespace TQTranslations
    \brief The library's own translations, compiled into it, installed by the host in one call.

    The library looks every text up with its English wording as the key
    (QCoreApplication::translate in the contexts "Quillbox", "UWStorageKit", "ActivityRow", ...),
    so without a translator English comes back. The translations it ships are built from
    translations/tqkit_\<language\>.ts and embedded as resources under
    \c :/tqkit/translations/, so a host needs no install path.

    Kinds of files and the texts of dates are not in these tables: they come from the system's
    MIME database and from QLocale, in the language of the default QLocale.

    \b Threading: GUI thread only (the thread of the application object), after the
    QCoreApplication (or a subclass) has been made. Texts translated on other threads while the
    translator is being swapped follow QCoreApplication's own rule: don't.

    \ingroup utilities
*/
namespace TQTranslations {

/*!
    Installs the library's translation for the first of \a locale's user-interface languages
    (QLocale::uiLanguages(), so "de-AT" finds the German one) that the library has, replacing
    one an earlier call installed. The translator is a child of the application object, which
    deletes it; a later call removes and deletes the previous one.

    Returns true when the texts now come out in that language: a translation was found, or the
    language is English (or the C locale), which needs none and leaves the library in English.
    Returns false, and leaves the library in English, for a language it has no translation for
    and when there is no application object yet (logged in "tqkit.utilities").
*/
TQKIT_EXPORT bool install(const QLocale &locale = QLocale());

/*!
    Removes the translator install() put in place, if any, so the texts come out in English
    again. GUI thread only.
*/
TQKIT_EXPORT void remove();

/*!
    The languages the library ships a translation for, as their .qm files name them ("de"),
    sorted. English, the language of the keys, is not listed. Reentrant.
*/
TQKIT_EXPORT QStringList availableLanguages();

} // namespace TQTranslations
