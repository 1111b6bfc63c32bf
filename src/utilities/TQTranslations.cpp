// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQTranslations.h"

#include "TQUtilitiesLogging.h"

#include <QCoreApplication>
#include <QDir>
#include <QPointer>
#include <QTranslator>

namespace {

const QString &translationsFolder()
{
    static const QString folder = QStringLiteral(":/tqkit/translations");
    return folder;
}

// Only install() and remove() touch it, both on the GUI thread. A QPointer, because the
// application deletes the translator with itself and a host may make a second application.
QPointer<QTranslator> &installedTranslator()
{
    static QPointer<QTranslator> translator;
    return translator;
}

// The keys are English, so English (any region) and the C locale need no table.
bool isEnglish(const QString &uiLanguage)
{
    return uiLanguage == u"C" || uiLanguage == u"en" || uiLanguage.startsWith(u"en-")
        || uiLanguage.startsWith(u"en_");
}

} // namespace

namespace TQTranslations {

bool install(const QLocale &locale)
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application) {
        qCWarning(lcUtilities, "Translations: not installed for %s: there is no application object yet",
                  qUtf8Printable(locale.name()));
        return false;
    }
    const QStringList uiLanguages = locale.uiLanguages();
    for (const QString &language : uiLanguages) {
        if (isEnglish(language)) {
            remove();
            qCDebug(lcUtilities, "Translations: %s reads the English keys", qUtf8Printable(language));
            return true;
        }
        auto translator = std::make_unique<QTranslator>(application);
        // QTranslator drops trailing "_region" parts itself: "de_AT" finds tqkit_de.qm.
        const QString fileName = QStringLiteral("tqkit_") + QString(language).replace(u'-', u'_');
        if (!translator->load(fileName, translationsFolder()))
            continue;
        remove();
        QCoreApplication::installTranslator(translator.get());
        installedTranslator() = translator.release();
        qCDebug(lcUtilities, "Translations: %s for %s", qUtf8Printable(installedTranslator()->filePath()),
                qUtf8Printable(language));
        return true;
    }
    remove();
    qCDebug(lcUtilities, "Translations: none for %s; the texts stay English",
            qUtf8Printable(uiLanguages.join(u',')));
    return false;
}

void remove()
{
    QPointer<QTranslator> &translator = installedTranslator();
    if (!translator)
        return;
    QCoreApplication::removeTranslator(translator);
    delete translator.data();
    translator.clear();
}

QStringList availableLanguages()
{
    QStringList languages;
    const QStringList files = QDir(translationsFolder())
                                  .entryList({QStringLiteral("tqkit_*.qm")}, QDir::Files, QDir::Name);
    for (const QString &file : files)
        languages.append(file.mid(6, file.size() - 6 - 3));
    return languages;
}

} // namespace TQTranslations
