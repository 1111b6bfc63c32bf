// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQTypeRegistry.h"

#include <QFile>
#include <QImage>
#include <QMimeDatabase>
#include <QScopeGuard>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

class TestTypeRegistry : public QObject
{
    Q_OBJECT

private slots:
    void conformance_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("conformsTo");
        QTest::addColumn<bool>("expected");

        const auto row = [](const char *name, const QString &type, const QString &other, bool expected) {
            QTest::newRow(name) << type << other << expected;
        };

        row("a JPEG is an item", u"public.jpeg"_s, u"public.item"_s, true);
        row("an image is not a JPEG", u"public.image"_s, u"public.jpeg"_s, false);
        row("an MP3 is audiovisual content", u"public.mp3"_s, u"public.audiovisual-content"_s, true);
        row("an MP3 is not a movie", u"public.mp3"_s, u"public.movie"_s, false);
        row("a JPEG is not audiovisual content", u"public.jpeg"_s, u"public.audiovisual-content"_s, false);
        row("MPEG-4 audio is a movie as well as audio", u"public.mpeg-4-audio"_s, u"public.movie"_s, true);
        row("a folder is not data", u"public.folder"_s, u"public.data"_s, false);
        row("a link is not data", u"public.symlink"_s, u"public.data"_s, false);
        row("HEIC is not HEIF, they are siblings", u"public.heic"_s, u"public.heif"_s, false);
        row("every type conforms to itself", u"public.item"_s, u"public.item"_s, true);
        row("an unknown identifier conforms to itself", u"com.example.unknown"_s, u"com.example.unknown"_s, true);
        row("an unknown identifier conforms to nothing else", u"com.example.unknown"_s, u"public.item"_s, false);
        row("the empty identifier conforms to nothing", QString(), u"public.item"_s, false);
        row("nothing conforms to the empty identifier", u"public.jpeg"_s, QString(), false);

        // Dynamic identifiers follow the MIME database's sub-class-of chain, then the media class.
        row("a makefile is plain text", dyn("text/x-makefile"), u"public.plain-text"_s, true);
        row("an SQLite database is not content", dyn("application/vnd.sqlite3"), u"public.content"_s, false);
        row("an OpenDocument drawing is a zip archive", dyn("application/vnd.oasis.opendocument.graphics"), u"public.zip-archive"_s, true);
        row("a MIME type unknown to the database is data", dyn("application/x-tqkit-test"), u"public.data"_s, true);
        row("an unknown audio MIME type is audiovisual content", dyn("audio/x-tqkit-test"), u"public.audiovisual-content"_s, true);
    }

    void conformance()
    {
        QFETCH(QString, type);
        QFETCH(QString, conformsTo);
        QFETCH(bool, expected);

        QCOMPARE(registry().conformsTo(type, conformsTo), expected);
        QCOMPARE(TQUTTypeConformsTo(type, conformsTo), expected);
        // The same answer among other candidates, asked twice: the second time from the
        // supertypes the first one kept.
        for (int pass = 0; pass < 2; ++pass)
            QCOMPARE(registry().conformsToAny(type, {u"com.example.none"_s, conformsTo, u"public.zzz"_s}), expected);
        QVERIFY(!registry().conformsToAny(type, {}));
        // allSupertypes() must tell the same story as conformsTo().
        QCOMPARE(registry().allSupertypes(type).contains(conformsTo), expected);
        // The list of audiovisual types is the declared part of the same answer.
        if (conformsTo == u"public.audiovisual-content" && registry().isDeclared(type))
            QCOMPARE(registry().audiovisualTypes().contains(type), expected);
    }

    void everyDeclaredTypeReachesTheRoots()
    {
        // A misspelt parent in the table would silently cut a type off from the graph.
        const QStringList declared = registry().declaredTypes();
        QCOMPARE(QSet<QString>(declared.cbegin(), declared.cend()).size(), declared.size());
        for (const QString &type : declared) {
            for (const QString &parent : registry().directSupertypes(type))
                QVERIFY2(registry().isDeclared(parent), qPrintable(type + QStringLiteral(" -> ") + parent));
            const bool rooted = registry().conformsTo(type, QStringLiteral("public.item"))
                || registry().conformsTo(type, QStringLiteral("public.content"))
                || type == u"public.content";
            QVERIFY2(rooted, qPrintable(type));
        }
    }

    void mimeTypesAndNames_data()
    {
        QTest::addColumn<bool>("isMime"); // else a file name
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("type");

        const auto mime = [](const char *tag, const char *name, const char *type) { QTest::newRow(tag) << true << name << type; };
        mime("image/jpeg is a JPEG", "image/jpeg", "public.jpeg");
        mime("an alias finds its type", "audio/x-flac", "org.xiph.flac");
        mime("image/heic is HEIC, an alias the registry claims itself", "image/heic", "public.heic");
        mime("image/heif is HEIF", "image/heif", "public.heif");
        mime("inode/directory is a folder", "inode/directory", "public.folder");
        mime("the unknown MIME type is data", "application/octet-stream", "public.data");
        mime("an undeclared MIME type gets a dynamic identifier", "text/x-makefile", "dyn.mime.text.x-makefile");
        mime("so does one with aliases the registry does not claim", "application/mathml+xml", "dyn.mime.application.mathml+xml");
        mime("a dynamic identifier keeps dots and a plus", "application/vnd.tqkit.a+xml", "dyn.mime.application.vnd.tqkit.a+xml");
        mime("white space is ignored", " image/png ", "public.png");
        mime("an empty name has no type", "", "");
        mime("a name without a slash has no type", "nonsense", "");
        const auto name = [](const char *tag, const char *name, const char *type) { QTest::newRow(tag) << false << name << type; };
        name("an upper-case JPG is a JPEG", "DSC_0001.JPG", "public.jpeg");
        name("a HEIC extension is HEIC, not HEIF", "IMG_1234.HEIC", "public.heic");
        name("a two-part extension wins", "backup.tar.gz", "org.gnu.gnu-zip-tar-archive");
        name("a lone gz is a gzip archive", "notes.gz", "org.gnu.gnu-zip-archive");
        name("an unknown extension is data", "file.qqqzzz", "public.data");
        name("a dot-file's name is not an extension", ".jpg", "public.data");
    }

    void mimeTypesAndNames()
    {
        QFETCH(bool, isMime);
        QFETCH(QString, name);
        QFETCH(QString, type);
        if (!isMime) {
            QCOMPARE(registry().typeForFileName(name), type);
            const qsizetype dot = name.indexOf(QLatin1Char('.'), 1);
            if (dot > 0 && type.startsWith(u"public."))
                QCOMPARE(registry().typeForFilenameExtension(name.mid(dot + 1)), type);
            return;
        }
        QCOMPARE(registry().typeForMimeType(name), type);
        if (TQTypeRegistry::isDynamic(type)) { // and back again
            QVERIFY(!registry().isDeclared(type));
            QCOMPARE(registry().mimeTypes(type), QStringList{name});
            QCOMPARE(registry().preferredMimeType(type), name);
        }
    }

    void descriptions_data()
    {
        // The texts are the MIME database's own (and so its translations); the test checks
        // which MIME type's text each identifier borrows.
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("describedAs");
        QTest::newRow("a JPEG borrows its MIME type's text") << "public.jpeg" << "image/jpeg";
        QTest::newRow("HEIC borrows its alias's text") << "public.heic" << "image/heif";
        QTest::newRow("a type without a MIME type borrows its parent's") << "public.utf8-plain-text" << "text/plain";
        QTest::newRow("a dynamic type borrows its MIME type's text") << "dyn.mime.text.x-makefile" << "text/x-makefile";
        QTest::newRow("an unknown identifier has no text") << "com.example.unknown" << "";
    }

    void descriptions()
    {
        QFETCH(QString, type);
        QFETCH(QString, describedAs);
        const QString expected = describedAs.isEmpty()
            ? QString() : QMimeDatabase().mimeTypeForName(describedAs).comment();
        QVERIFY(describedAs.isEmpty() || !expected.isEmpty());
        QCOMPARE(registry().localizedDescription(type), expected);
    }

    // The texts kept for one default locale are not given in another, and back.
    void descriptionsFollowTheLocale()
    {
        const QLocale before;
        const auto restore = qScopeGuard([&before] { QLocale::setDefault(before); });
        const QString type = u"public.jpeg"_s;
        QLocale::setDefault(QLocale::c());
        const QString english = registry().localizedDescription(type);
        QCOMPARE(english, QMimeDatabase().mimeTypeForName(u"image/jpeg"_s).comment());
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        const QString german = QMimeDatabase().mimeTypeForName(u"image/jpeg"_s).comment();
        if (german == english)
            QSKIP("the MIME database has no German text for JPEG here");
        QCOMPARE(registry().localizedDescription(type), german);
        QLocale::setDefault(QLocale::c());
        QCOMPARE(registry().localizedDescription(type), english);
    }

    void detectsFiles_data()
    {
        QTest::addColumn<QByteArray>("name");    // the file system's bytes
        QTest::addColumn<QByteArray>("content"); // "PNG" and "JPEG" make a real image, "fifo" and "device" those
        QTest::addColumn<QString>("byContentAndName");
        QTest::addColumn<QString>("byNameOnly");

        const auto row = [](const char *tag, const QByteArray &name, const QByteArray &content, const QString &both,
                            const QString &nameOnly) { QTest::newRow(tag) << name << content << both << nameOnly; };
        row("a PNG named like a JPEG is a PNG", "photo.jpg", "PNG", u"public.png"_s, u"public.jpeg"_s);
        row("a JPEG named like a PNG is a JPEG", "picture.png", "JPEG", u"public.jpeg"_s, u"public.png"_s);
        row("a JPEG without an extension is a JPEG", "IMG_0001", "JPEG", u"public.jpeg"_s, u"public.data"_s);
        row("text named like an image is text", "image.jpg", "just some words\n", u"public.plain-text"_s, u"public.jpeg"_s);
        row("text without an extension is text", "notes", "remember the milk\n", u"public.plain-text"_s, u"public.data"_s);
        row("a specific text type keeps its name", "data.json", "{\"a\": 1}\n", u"public.json"_s, u"public.json"_s);
        row("an empty file is typed by its name", "empty.txt", QByteArray(), u"public.plain-text"_s, u"public.plain-text"_s);
        row("binary noise keeps its name", "noise.mp3", QByteArray("\x01\x02\x03\xff\xfe\x00\x10", 7), u"public.mp3"_s,
            u"public.mp3"_s);
        // Text formats are told from a few characters; a name claiming another text format stands.
        row("Markdown opening with an HTML comment", "CHANGELOG.md", "<!--\nnote\n-->\n# Changes\n",
            u"net.daringfireball.markdown"_s, u"net.daringfireball.markdown"_s);
        row("HTML named like an image is HTML", "photo.png", "<!DOCTYPE html>\n<html></html>\n", u"public.html"_s,
            u"public.png"_s);
        // Sparse and preallocated files: zeros of any length say nothing, the name decides.
        row("three zeros named like a song", "blank.mp3", QByteArray(3, '\0'), u"public.mp3"_s, u"public.mp3"_s);
        row("zeros named like text", "blank.txt", QByteArray(4099, '\0'), u"public.plain-text"_s, u"public.plain-text"_s);
        row("zeros past the part read, no name", "blank", QByteArray(20000, '\0'), u"public.data"_s, u"public.data"_s);
        row("a film whose signature starts with zeros", "clip", QByteArray("\0\0\0\x18" "ftypmp42" "\0\0\0\0", 16),
            u"public.mpeg-4"_s, u"public.data"_s);
        row("a PNG whose name is not UTF-8", "\xff.jpg", "PNG", u"public.png"_s, u"public.jpeg"_s);
        // Opening any of these to look at its content would block or never end.
        const QString fifo = dyn("inode/fifo"), device = dyn("inode/chardevice");
        row("a FIFO named like a JPEG", "pipe.jpg", "fifo", fifo, fifo);
        row("a link to a device named like a HEIC", "zero.heic", "device", device, device);
        row("a FIFO whose name is not UTF-8", "\xff.png", "fifo", fifo, fifo);
        // A folder is a folder whatever its name; what is not there has no type.
        row("a folder named like a JPEG", "photos.jpg", "folder", u"public.folder"_s, u"public.folder"_s);
        row("a missing file, and so a dangling link", "missing.jpg", "missing", QString(), QString());
        row("the root folder is a volume", "/", "root", u"public.volume"_s, u"public.volume"_s);
        row("no path has no type", "", "root", QString(), QString());
    }

    void detectsFiles()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, content);
        QFETCH(QString, byContentAndName);
        QFETCH(QString, byNameOnly);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QByteArray path = content == "root" ? name : QFile::encodeName(dir.path()) + '/' + name;
        const bool special = content == "fifo" || content == "device";
        const auto removeFile = qScopeGuard([&] {
            if (content != "root")
                ::unlink(path.constData());
        });
        if (content == "fifo") {
            QVERIFY(::mkfifo(path.constData(), 0644) == 0);
        } else if (content == "device") {
            QVERIFY(::symlink("/dev/zero", path.constData()) == 0);
        } else if (content == "folder") {
            QVERIFY(::mkdir(path.constData(), 0755) == 0);
        } else if (content != "missing" && content != "root") {
            QFile file;
            const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            QVERIFY(fd >= 0 && file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle));
            QImage image(16, 12, QImage::Format_RGB32);
            image.fill(Qt::darkCyan);
            QVERIFY(content == "PNG" || content == "JPEG" ? image.save(&file, content.constData())
                                                          : file.write(content) == content.size());
        }

        QCOMPARE(registry().typeForFile(path), byContentAndName);
        QCOMPARE(registry().typeForFile(path, TQTypeRegistry::Detection::NameOnly), byNameOnly);
        if (content == "root") {
            return;
        } else if (special) {
            // No special file passes for a picture whatever its name, so no reader tries to decode it.
            QVERIFY(!registry().conformsTo(byContentAndName, u"public.image"_s));
            QVERIFY(!registry().localizedDescription(byContentAndName).isEmpty());
        } else { // a link is typed by what it points to
            const QByteArray link = QFile::encodeName(dir.path()) + "/link-to-" + name;
            QVERIFY(::symlink(path.constData(), link.constData()) == 0);
            QCOMPARE(registry().typeForFile(link), byContentAndName);
            ::unlink(link.constData()); // QTemporaryDir can't name what is not UTF-8
        }
    }

    void concurrentQuestionsAgree()
    {
        // Dynamic identifiers are cached under a lock; many threads asking at once must get the
        // answers one thread gets.
        const QList<std::pair<QString, QString>> cases = {
            {u"text/x-makefile"_s, u"public.plain-text"_s}, {u"image/x-xcf"_s, u"public.image"_s},
            {u"application/vnd.oasis.opendocument.graphics"_s, u"public.zip-archive"_s},
            {u"application/x-tqkit-a"_s, u"public.data"_s}, {u"audio/x-tqkit-b"_s, u"public.audio"_s}};
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&] {
                for (int round = 0; round < 200; ++round) {
                    for (const auto &[mime, parent] : cases)
                        wrong += !registry().conformsTo(registry().typeForMimeType(mime), parent);
                }
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
    }


private:
    static const TQTypeRegistry &registry() { return TQTypeRegistry::shared(); }
    static QString dyn(QAnyStringView mime) { return registry().typeForMimeType(mime.toString()); }
};

QTEST_GUILESS_MAIN(TestTypeRegistry)
#include "tst_typeregistry.moc"
