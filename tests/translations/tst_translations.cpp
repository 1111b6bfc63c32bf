// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBookmarksController.h"
#include "TQDateUtilities.h"
#include "TQFile.h"
#include "TQFormatting.h"
#include "TQMenuUtilities.h"
#include "TQTranslations.h"
#include "UWFinderLabels.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

// Placeholders a translation has to keep, in any order: Qt's %1 and %n, and the printf-like
// conversions the library fills itself ("%d", "%1.1f", "%qu", "%@", "%2$@").
QStringList placeholders(const QString &text)
{
    static const QRegularExpression placeholder(
        uR"(%%|%L?[0-9]+(?![0-9.$a-z@])|%n|%(?:[0-9]+\$)?[-+ #0-9.]*(?:qu|l?[dfsu@]))"_s);
    QStringList found;
    for (auto it = placeholder.globalMatch(text); it.hasNext();) {
        static const QRegularExpression position(QStringLiteral("^%[0-9]+\\$"));
        found.append(it.next().captured().replace(position, QStringLiteral("%")));
    }
    found.sort();
    return found;
}

struct Message
{
    QString context;
    QString source;
    QString type;            // "unfinished", "obsolete", "vanished" or empty
    QStringList translations; // one, or one per plural form
};

QList<Message> readTsFile(const QString &path, QString *language)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<Message> messages;
    QXmlStreamReader xml(&file);
    QString context;
    Message current;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == u"TS") {
            *language = xml.attributes().value(QStringLiteral("language")).toString();
        } else if (xml.name() == u"name") {
            context = xml.readElementText();
        } else if (xml.name() == u"message") {
            current = Message{context, {}, {}, {}};
        } else if (xml.name() == u"source") {
            current.source = xml.readElementText();
        } else if (xml.name() == u"translation") {
            current.type = xml.attributes().value(QStringLiteral("type")).toString();
            QString text;
            QStringList forms;
            while (!xml.atEnd() && !(xml.readNext() == QXmlStreamReader::EndElement && xml.name() == u"translation")) {
                if (xml.isCharacters())
                    text += xml.text();
                else if (xml.isStartElement() && xml.name() == u"numerusform")
                    forms.append(xml.readElementText());
            }
            current.translations = forms.isEmpty() ? QStringList{text} : forms;
            messages.append(current);
        }
    }
    if (xml.hasError())
        qWarning("%s: %s", qUtf8Printable(path), qUtf8Printable(xml.errorString()));
    return messages;
}

// Plural forms a translation into the language must give for every text with %n (Qt's rules:
// German has one and many); 0 where this test does not know the language's count.
int pluralForms(const QString &language)
{
    return language.section(u'_', 0, 0) == u"de" ? 2 : 0;
}

} // namespace

class tst_Translations : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_dir.isValid());
        QVERIFY(TQTranslations::availableLanguages().contains(u"de"_s));
    }

    void cleanup()
    {
        TQTranslations::remove();
        QLocale::setDefault(QLocale::c());
    }

    void germanHost_data()
    {
        QTest::addColumn<std::function<QString()>>("text");
        QTest::addColumn<QString>("german");
        using Text = std::function<QString()>;
        const QDateTime now = QDateTime::currentDateTimeUtc();
        // A task half done after this long has as much left.
        const auto timeLeft = [now](qint64 done) -> Text {
            return [=] { return TQDateUtilities::stringForTimeLeftWithPercentComplete(now.addSecs(-done), 0.5, nullptr, now); };
        };
        QTest::newRow("an hour and minutes") << timeLeft(3900) << u"Noch 1 Stunde und 5 Minuten"_s;
        QTest::newRow("days, hours and minutes") << timeLeft(86400 + 2 * 3600 + 3 * 60) << u"Noch 1 Tag, 2 Stunden und 3 Minuten"_s;
        QTest::newRow("no bytes") << Text([] { return TQByteCountString(0); }) << u"Null KB"_s;
        QTest::newRow("one byte") << Text([] { return TQByteCountString(1); }) << u"1 Byte"_s;
        QTest::newRow("megabytes, with the decimal comma") << Text([] { return TQByteCountString(1'500'000); }) << u"1,5 MB"_s;
        // Label names are looked up once per process: this is the first lookup of the test.
        QTest::newRow("a label's name") << Text([] { return UWFinderLabels::nameForLabel(6); }) << u"Rot"_s;
        QTest::newRow("the bookmarks' separator")
            << Text([] { return TQBookmarksController().separatorString(); }) << u"–––– Trennlinie ––––"_s;
        // Kinds come from the system's MIME database, in the language of the default locale.
        const QString jpeg = m_dir.filePath(u"photo.jpg"_s);
        QImage(8, 8, QImage::Format_RGB32).save(jpeg, "JPEG");
        QTest::newRow("a file's kind") << Text([jpeg] { return TQFile::newFileForPath(jpeg)->kindString(); }) << u"JPEG-Bild"_s;
    }

    // A host in a German locale installs the library's translations and everything it is shown
    // by the library comes out German.
    void germanHost()
    {
        QFETCH(std::function<QString()>, text);
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QVERIFY(TQTranslations::install());
        QTEST(text(), "german");
    }

    // The menus are built by the widgets library, from texts lupdate finds in this folder's list.
    void menusOfAGermanHost()
    {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QVERIFY(TQTranslations::install());
        const auto texts = [](const QMenu &menu) {
            QStringList found;
            for (const QAction *action : menu.actions())
                found.append(action->text());
            return found;
        };
        const TQFileRef file = TQFile::newFileForPath(m_dir.filePath(u"photo.jpg"_s));
        const std::unique_ptr<QMenu> openWith = TQMenuUtilities::openWithMenuForFiles({file}, {});
        QCOMPARE(openWith->title(), u"Öffnen mit"_s);
        QCOMPARE(texts(*openWith).constLast(), u"Menü bearbeiten …"_s);
        const TQFileRef folder = TQFile::newFileForPath(m_dir.path());
        TQMenuUtilities::DropMenuOptions options;
        options.recentDestinations = {folder};
        const std::unique_ptr<QMenu> drop = TQMenuUtilities::dropMenuWithFolders({folder}, options);
        QCOMPARE(drop->title(), u"Ablageorte"_s);
        for (const char *german : {"Verschieben nach:", "Letzte Ziele", "Anderer Ort …"})
            QVERIFY2(texts(*drop).contains(QString::fromUtf8(german)), german);
    }

    void languages_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("timeLeft");
        QTest::addColumn<QString>("labelName");
        const QString english = u"About 30 seconds remaining"_s, german = u"Noch etwa 30 Sekunden"_s;
        QTest::newRow("German of Austria finds the German one") << QLocale(QLocale::German, QLocale::Austria) << true << german << u"Grün"_s;
        QTest::newRow("Finnish has none: the English keys") << QLocale(QLocale::Finnish) << false << english << u"Green"_s;
        QTest::newRow("English needs no table") << QLocale(QLocale::English, QLocale::UnitedKingdom) << true << english << u"Green"_s;
        QTest::newRow("the C locale reads English") << QLocale::c() << true << english << u"Green"_s;
    }

    // Each language is installed over a German one: the German translator must go when the new
    // language has none of its own.
    void languages()
    {
        QFETCH(QLocale, locale);
        QVERIFY(TQTranslations::install(QLocale(QLocale::German)));
        QTEST(TQTranslations::install(locale), "found");
        const QDateTime now = QDateTime::currentDateTimeUtc();
        QTEST(TQDateUtilities::stringForTimeLeftWithPercentComplete(now.addSecs(-30), 0.5, nullptr, now), "timeLeft");
        QTEST(UWFinderLabels::defaultName(2), "labelName");
    }

    void translationFiles_data()
    {
        QTest::addColumn<QString>("tsFile");
        QTest::addColumn<QStringList>("folders"); // where lupdate collects its texts
        const QStringList library = QStringLiteral(TQKIT_TRANSLATED_FOLDERS).split(u'|');
        for (const QString &path : QStringLiteral(TQKIT_TS_FILES).split(u'|'))
            QTest::newRow(qPrintable(QFileInfo(path).fileName())) << path << library;
        QTest::newRow("quillbox_de.ts") << QStringLiteral(QUILLBOX_TS_FILE) << QStringList{u"examples/quillbox"_s};
    }

    // The file in the repository, and the same file with the texts collected again from today's
    // sources, have a finished translation for every text, keeping its placeholders.
    void translationFiles()
    {
        QFETCH(QString, tsFile);
        QFETCH(QStringList, folders);
        const QString collected = m_dir.filePath(QFileInfo(tsFile).fileName());
        QFile::remove(collected);
        QVERIFY(QFile::copy(tsFile, collected));
        QFile::setPermissions(collected, QFile::ReadOwner | QFile::WriteOwner);
        QProcess lupdate;
        lupdate.setWorkingDirectory(QStringLiteral(TQKIT_SOURCE_DIR));
        lupdate.setProcessChannelMode(QProcess::MergedChannels);
        lupdate.start(QStringLiteral(TQKIT_LUPDATE),
                      QStringLiteral(TQKIT_LUPDATE_OPTIONS).split(u'|') + folders + QStringList{u"-silent"_s, u"-ts"_s, collected});
        QVERIFY(lupdate.waitForFinished(120000));
        QVERIFY2(lupdate.exitCode() == 0, lupdate.readAll().constData());
        for (const QString &path : {tsFile, collected}) {
            QString language;
            const QList<Message> messages = readTsFile(path, &language);
            QVERIFY2(!messages.isEmpty(), qPrintable(path));
            for (const Message &message : messages) {
                const QByteArray where = (path == tsFile ? "in the file: " : "collected from the sources: ")
                    + message.context.toUtf8() + " \"" + message.source.toUtf8() + '"';
                QVERIFY2(message.type.isEmpty(), (where + " is " + message.type.toUtf8()).constData());
                if (message.source.contains(u"%n"_s) && pluralForms(language) > 0)
                    QVERIFY2(message.translations.size() == pluralForms(language), where.constData());
                for (const QString &translation : message.translations) {
                    QVERIFY2(!translation.isEmpty(), (where + " has an empty translation").constData());
                    QVERIFY2(placeholders(translation) == placeholders(message.source),
                             (where + " loses or adds a placeholder in \"" + translation.toUtf8() + '"').constData());
                }
            }
        }
    }
};

QTEST_MAIN(tst_Translations)
#include "tst_translations.moc"
