// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxApplication.h"
#include "QuillboxIcons.h"
#include "QuillboxLogging.h"

#include <TQEventUtilities.h>
#include <TQTranslations.h>
#include <tqkit_version.h>

#include <QApplication>
#include <QLibraryInfo>
#include <QPointer>
#include <QStyleHints>
#include <QTranslator>

namespace QuillboxApplication {

void setUp()
{
    QApplication::setOrganizationName(QStringLiteral("Quillbox"));
    QApplication::setApplicationName(QStringLiteral("Quillbox"));
    QApplication::setApplicationVersion(TQKit::versionString());
    QApplication::setApplicationDisplayName(QStringLiteral("Quillbox"));
    QGuiApplication::setDesktopFileName(QStringLiteral("org.tqkit.Quillbox"));
    // Qt's views tell a double click by the application's interval; the library's rule says
    // which interval that is (the user's own setting, else the desktop's).
    QGuiApplication::styleHints()->setMouseDoubleClickInterval(int(TQEventUtilities::doubleClickDelay() * 1000));
    QuillboxIcons::install();
    installTranslations(QLocale());
}

bool installTranslations(const QLocale &locale)
{
    static QPointer<QTranslator> quillbox;
    static QPointer<QTranslator> qt;
    for (QTranslator *old : {quillbox.data(), qt.data()}) {
        if (old) {
            QCoreApplication::removeTranslator(old);
            delete old;
        }
    }
    TQTranslations::install(locale);
    // Qt's own texts (the buttons of dialogs), where the system has them installed.
    qt = new QTranslator(qApp);
    if (qt->load(locale, QStringLiteral("qtbase"), QStringLiteral("_"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(qt);
    quillbox = new QTranslator(qApp);
    if (quillbox->load(locale, QStringLiteral("quillbox"), QStringLiteral("_"), QStringLiteral(":/quillbox/translations"))) {
        QCoreApplication::installTranslator(quillbox);
        qCDebug(lcQuillbox) << "translation" << quillbox->language() << "for" << locale.uiLanguages();
        return true;
    }
    // English is the language of the texts themselves.
    const QString first = locale.uiLanguages().value(0);
    return first.isEmpty() || first.startsWith(u"en") || first == u"C";
}

} // namespace QuillboxApplication
