// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A file typed by its content gets the type Qt's own MIME database gives that content, at the
// edges of the magic rules' ranges, with masks, and where text is told from binary; a name
// outside the registry's own extensions gets the type Qt gives the name, whole names and
// complex patterns included.

#include "TQMimeMagic_p.h"
#include "TQTypeRegistry.h"

#include <QFile>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <random>

using namespace Qt::StringLiterals;

// The identifier of what Qt's own database says.
static QString asQtSays(const QMimeType &byQt)
{
    return byQt.isDefault() ? u"public.data"_s : TQTypeRegistry::shared().typeForMimeType(byQt.name());
}

class TestContentTypes : public QObject
{
    Q_OBJECT

private slots:
    void typesContentAsQtDoes_data()
    {
        QTest::addColumn<QByteArray>("content");
        const QByteArray filler(1024, 'a');
        QByteArray noise(16 * 1024, Qt::Uninitialized);
        std::mt19937 draw(7);
        for (char &c : noise)
            c = char(draw());

        QTest::newRow("JPEG") << QByteArray("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11) + noise.left(200);
        QTest::newRow("PNG") << QByteArray("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16) + noise.left(64);
        QTest::newRow("PDF marker at the first offset") << QByteArray("%PDF-1.7\n") + filler;
        QTest::newRow("PDF marker at the last offset of its range") << filler + "%PDF-1.7";
        QTest::newRow("PDF marker one past its range") << filler + "a%PDF-1.7";
        QTest::newRow("PDF marker cut by the end of the data") << filler + "%PDF";
        QTest::newRow("tar: a value at a fixed offset") << QByteArray(257, 'x') + QByteArray("ustar\0" "00", 8) + QByteArray(300, '\0');
        QTest::newRow("BMP: a mask that skips the file size") << QByteArray("BM\x12\x34\x56\x78\0\0", 8) + noise.left(60);
        QTest::newRow("BMP with the masked-in bytes wrong") << QByteArray("BM\x12\x34\x56\x78\0\x01", 8) + noise.left(60);
        QTest::newRow("AAC: a mask inside a byte") << QByteArray("\xFF\xF9\x50\x80", 4) + noise.left(40);
        QTest::newRow("ZIP") << QByteArray("PK\x03\x04\x14\0\0\0", 8) + noise.left(100);
        QTest::newRow("gzip") << QByteArray("\x1F\x8B\x08\0", 4) + noise.left(100);
        QTest::newRow("XML") << QByteArray("<?xml version=\"1.0\"?>\n<root/>\n");
        QTest::newRow("HTML after a comment") << QByteArray("<!-- x -->\n<html><body></body></html>\n");
        QTest::newRow("shell script") << QByteArray("#!/bin/sh\necho hello\n");
        QTest::newRow("plain text") << QByteArray("Line 0 of note 1764: notes\n").repeated(50);
        QTest::newRow("form feed: binary") << QByteArray("page one\fpage two\n");
        QTest::newRow("control byte at 127: binary") << QByteArray(127, 'a') + '\x01' + "bc";
        QTest::newRow("control byte at 128: text") << QByteArray(128, 'a') + '\x01' + "bc";
        QTest::newRow("UTF-16 byte order mark") << QByteArray("\xFF\xFE" "a\0b\0", 6);
        QTest::newRow("one byte") << QByteArray("x");
        QTest::newRow("random bytes") << noise;
    }

    void typesContentAsQtDoes()
    {
        QFETCH(QByteArray, content);
        // No extension: the name says nothing, and the content decides whenever it is recognised.
        QTemporaryDir folder;
        QFile file(folder.filePath(u"probe"_s));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        const QMimeType byQt = QMimeDatabase().mimeTypeForData(content);
        QCOMPARE(TQTypeRegistry::shared().typeForFile(file.fileName()), asQtSays(byQt));

        // Where the system has one MIME folder, the library's own reading of its cache answers
        // (the registry falls back on Qt's database otherwise, so the answer above alone cannot
        // tell a cache it failed to read).
        const QStringList folders =
            QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, u"mime"_s, QStandardPaths::LocateDirectory);
        if (folders.size() != 1 || !QFile::exists(folders.first() + u"/mime.cache"_s))
            QSKIP("not a system with one MIME folder and its cache");
        QCOMPARE(TQMimeMagic::mimeTypeForData(content), std::optional<QString>(byQt.name()));
    }

    void typesNamesAsQtDoes_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name : {"file112", "IMG_00019", "Makefile", "GNUmakefile", "makefile.am", "CORE", "README",
                                 "ReadMe.first", "manual.3", "manual.0", "libfoo.so.6", "libfoo.so", "libfoo.so.x",
                                 "007.vdr", "07.vdr", "intro.anim7", "intro.animj", "intro.anim0", "backup~", "a.",
                                 "...", ".backup150", "x.core", "winmail.dat", "SConscript.py",
                                 // Remembered answers must not cross: a suffix only the lower-case
                                 // name has, then one in a case the pattern does not take.
                                 "hello.gs", "hello.GS", "world.Gs", "hello.gs~", "hello.gz~"})
            QTest::newRow(name) << QString::fromLatin1(name);
        QTest::newRow("a capital I with a dot, which lowers to two characters") << u"\u0130NSTALL"_s;
        QTest::newRow("a sharp s") << u"stra\u00DFe"_s;
        QTest::newRow("a Kelvin sign") << u"\u212Aore"_s;
    }

    void typesNamesAsQtDoes()
    {
        QFETCH(QString, name);
        QCOMPARE(TQTypeRegistry::shared().typeForFileName(name),
                 asQtSays(QMimeDatabase().mimeTypeForFile(name, QMimeDatabase::MatchExtension)));
    }
};

QTEST_GUILESS_MAIN(TestContentTypes)
#include "tst_contenttypes.moc"
