// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFile.h"
#include "TQTestDesktop.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

// A process of its own: GIO reads the desktop's folders once per process, so they must point
// at this suite's own entries before anything asks.
class TestFileApplications : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        const QString problem = isolateTestDesktop(m_root.path());
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path(QStringLiteral("no-bus")).toUtf8());

        QVERIFY(write(QStringLiteral("data/applications/org.example.Viewer.desktop"),
                      "[Desktop Entry]\nType=Application\nName=Viewer\nExec=true %U\nMimeType=image/jpeg;image/png;\n"));
        QVERIFY(write(QStringLiteral("data/applications/org.example.Editor.desktop"),
                      "[Desktop Entry]\nType=Application\nName=Editor\nExec=true %F\nMimeType=text/plain;image/png;\n"));
        // What update-desktop-database would write: GIO reads MimeType= through this cache.
        QVERIFY(write(QStringLiteral("data/applications/mimeinfo.cache"),
                      "[MIME Cache]\nimage/jpeg=org.example.Viewer.desktop;\n"
                      "image/png=org.example.Viewer.desktop;org.example.Editor.desktop;\n"
                      "text/plain=org.example.Editor.desktop;\n"));
        QVERIFY(write(QStringLiteral("config/mimeapps.list"),
                      "[Default Applications]\nimage/png=org.example.Editor.desktop;\n"));

        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::green);
        QVERIFY(image.save(path(QStringLiteral("files/photo.jpg")), "JPEG"));
        QVERIFY(image.save(path(QStringLiteral("files/drawing.png")), "PNG"));
        QVERIFY(write(QStringLiteral("files/notes.txt"), "text\n"));
        QVERIFY(write(QStringLiteral("files/archive.zip"), "PK\x03\x04"));
        QVERIFY(QFile::link(path(QStringLiteral("files/photo.jpg")), path(QStringLiteral("files/link-to-photo"))));
    }

    void applications_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("application"); // its display name; empty for none

        QTest::newRow("a JPEG opens in the only viewer") << "photo.jpg" << "Viewer";
        QTest::newRow("a PNG opens in the application the user chose") << "drawing.png" << "Editor";
        QTest::newRow("text opens in its editor") << "notes.txt" << "Editor";
        QTest::newRow("a link opens like its target") << "link-to-photo" << "Viewer";
        QTest::newRow("nobody opens a zip archive here") << "archive.zip" << "";
    }

    void applications()
    {
        QFETCH(QString, file);
        QFETCH(QString, application);

        const TQFileRef item = TQFile::newFileForPath(path(QStringLiteral("files/") + file));
        const TQFileRef preferred = item->preferredApplication();
        const TQFileRef editor = item->editorApplication();
        if (application.isEmpty()) {
            QVERIFY(!preferred);
            QVERIFY(!editor);
            return;
        }
        QVERIFY(preferred);
        // The application is the item of its desktop entry, shown by the entry's name.
        QCOMPARE(preferred->displayName(), application);
        QVERIFY(preferred->fileName().endsWith(u".desktop"));
        QCOMPARE(preferred->uti(), QStringLiteral("org.freedesktop.desktop-entry"));
        QVERIFY(editor);
        QCOMPARE(editor->path(), preferred->path());
        QCOMPARE(item->valueForKey(u"preferredApplication").value<UWStandardFileRef>()->path(), preferred->path());
    }


private:
    QTemporaryDir m_root;
    QString path(const QString &relative) const { return m_root.filePath(relative); }
    bool write(const QString &relative, const QByteArray &contents) { return writeWholeFile(path(relative), contents); }
};

QTEST_GUILESS_MAIN(TestFileApplications)
#include "tst_fileapplications.moc"
