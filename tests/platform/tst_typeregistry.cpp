#include "TQTypeRegistry.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QMimeDatabase>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <vector>

class TestTypeRegistry : public QObject
{
    Q_OBJECT

private slots:
    void conformance_data();
    void conformance();
    void everyDeclaredTypeReachesTheRoots();
    void mimeTypes_data();
    void mimeTypes();
    void extensions_data();
    void extensions();
    void dynamicTypesRoundTrip_data();
    void dynamicTypesRoundTrip();
    void audiovisualTypes();
    void descriptions_data();
    void descriptions();
    void detectsFiles_data();
    void detectsFiles();
    void foldersAndVolumes();
    void concurrentQuestionsAgree();

private:
    static const TQTypeRegistry &registry() { return TQTypeRegistry::shared(); }
    static QString dyn(const char *mime)
    {
        return registry().typeForMimeType(QString::fromLatin1(mime));
    }
};

void TestTypeRegistry::conformance_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("conformsTo");
    QTest::addColumn<bool>("expected");

    const auto row = [](const char *name, const QString &type, const char *other, bool expected) {
        QTest::newRow(name) << type << QString::fromLatin1(other) << expected;
    };
    const auto s = [](const char *text) { return QString::fromLatin1(text); };

    row("a JPEG is an image", s("public.jpeg"), "public.image", true);
    row("a JPEG is data", s("public.jpeg"), "public.data", true);
    row("a JPEG is an item", s("public.jpeg"), "public.item", true);
    row("a JPEG is content", s("public.jpeg"), "public.content", true);
    row("an image is not a JPEG", s("public.image"), "public.jpeg", false);
    row("a PNG is not a JPEG", s("public.png"), "public.jpeg", false);
    row("EPS is not an image", s("com.adobe.encapsulated-postscript"), "public.image", false);
    row("EPS is PostScript", s("com.adobe.encapsulated-postscript"), "com.adobe.postscript", true);
    row("EPS is data", s("com.adobe.encapsulated-postscript"), "public.data", true);
    row("an MP3 is audio", s("public.mp3"), "public.audio", true);
    row("an MP3 is audiovisual content", s("public.mp3"), "public.audiovisual-content", true);
    row("an MP3 is not a movie", s("public.mp3"), "public.movie", false);
    row("MPEG-4 audio is a movie as well as audio", s("public.mpeg-4-audio"), "public.movie", true);
    row("a QuickTime movie is audiovisual content", s("com.apple.quicktime-movie"), "public.audiovisual-content", true);
    row("a QuickTime movie is not audio", s("com.apple.quicktime-movie"), "public.audio", false);
    row("a folder is a folder", s("public.folder"), "public.folder", true);
    row("a folder is a directory", s("public.folder"), "public.directory", true);
    row("a folder is an item", s("public.folder"), "public.item", true);
    row("a folder is not data", s("public.folder"), "public.data", false);
    row("a volume is a folder", s("public.volume"), "public.folder", true);
    row("a link is an item", s("public.symlink"), "public.item", true);
    row("a link is not data", s("public.symlink"), "public.data", false);
    row("a text file is content", s("public.plain-text"), "public.content", true);
    row("a text file is text", s("public.plain-text"), "public.text", true);
    row("C++ source is plain text", s("public.c-plus-plus-source"), "public.plain-text", true);
    row("a shell script is source code", s("public.shell-script"), "public.source-code", true);
    row("JSON is text", s("public.json"), "public.text", true);
    row("JSON is not an executable", s("public.json"), "public.executable", false);
    row("a PDF is composite content", s("com.adobe.pdf"), "public.composite-content", true);
    row("a PDF is content", s("com.adobe.pdf"), "public.content", true);
    row("a PDF is not text", s("com.adobe.pdf"), "public.text", false);
    row("a DNG is a camera raw image", s("com.adobe.raw-image"), "public.camera-raw-image", true);
    row("a CR3 is an image", s("com.canon.cr3-raw-image"), "public.image", true);
    row("HEIC is an image", s("public.heic"), "public.image", true);
    row("HEIC is not HEIF, they are siblings", s("public.heic"), "public.heif", false);
    row("a DOCX is a zip archive", s("org.openxmlformats.wordprocessingml.document"), "public.zip-archive", true);
    row("a DOCX is composite content", s("org.openxmlformats.wordprocessingml.document"), "public.composite-content", true);
    row("a gzipped tar is a gzip archive", s("org.gnu.gnu-zip-tar-archive"), "org.gnu.gnu-zip-archive", true);
    row("a desktop entry is an application", s("org.freedesktop.desktop-entry"), "com.apple.application", true);
    row("an application is executable", s("com.apple.application"), "public.executable", true);
    row("every type conforms to itself", s("public.item"), "public.item", true);
    row("an unknown identifier conforms to itself", s("com.example.unknown"), "com.example.unknown", true);
    row("an unknown identifier conforms to nothing else", s("com.example.unknown"), "public.item", false);
    row("the empty identifier conforms to nothing", QString(), "public.item", false);
    row("nothing conforms to the empty identifier", s("public.jpeg"), "", false);

    // Dynamic identifiers follow the MIME database's sub-class-of chain, then the media class.
    row("a makefile is plain text", dyn("text/x-makefile"), "public.plain-text", true);
    row("a makefile is content", dyn("text/x-makefile"), "public.content", true);
    row("a GIMP image is an image", dyn("image/x-xcf"), "public.image", true);
    row("an SQLite database is data", dyn("application/vnd.sqlite3"), "public.data", true);
    row("an SQLite database is not content", dyn("application/vnd.sqlite3"), "public.content", false);
    row("an OpenDocument drawing is a zip archive", dyn("application/vnd.oasis.opendocument.graphics"), "public.zip-archive", true);
    row("a MIME type unknown to the database is data", dyn("application/x-tqkit-test"), "public.data", true);
    row("a MIME type unknown to the database is an item", dyn("application/x-tqkit-test"), "public.item", true);
    row("an unknown audio MIME type is audiovisual content", dyn("audio/x-tqkit-test"), "public.audiovisual-content", true);
}

void TestTypeRegistry::conformance()
{
    QFETCH(QString, type);
    QFETCH(QString, conformsTo);
    QFETCH(bool, expected);

    QCOMPARE(registry().conformsTo(type, conformsTo), expected);
    QCOMPARE(TQUTTypeConformsTo(type, conformsTo), expected);
    // allSupertypes() must tell the same story as conformsTo().
    QCOMPARE(registry().allSupertypes(type).contains(conformsTo), expected);
}

void TestTypeRegistry::everyDeclaredTypeReachesTheRoots()
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

void TestTypeRegistry::mimeTypes_data()
{
    QTest::addColumn<QString>("mime");
    QTest::addColumn<QString>("type");

    QTest::newRow("JPEG") << "image/jpeg" << "public.jpeg";
    QTest::newRow("an alias finds its type") << "audio/x-flac" << "org.xiph.flac";
    QTest::newRow("another alias") << "text/javascript" << "com.netscape.javascript-source";
    QTest::newRow("HEIC, an alias the registry claims itself") << "image/heic" << "public.heic";
    QTest::newRow("HEIF") << "image/heif" << "public.heif";
    QTest::newRow("a raw image") << "image/x-nikon-nef" << "com.nikon.raw-image";
    QTest::newRow("a folder") << "inode/directory" << "public.folder";
    QTest::newRow("the unknown type is data") << "application/octet-stream" << "public.data";
    QTest::newRow("an undeclared MIME type gets a dynamic identifier") << "text/x-makefile" << "dyn.mime.text.x-makefile";
    QTest::newRow("a MIME type unknown everywhere still gets one") << "application/x-tqkit-test" << "dyn.mime.application.x-tqkit-test";
    QTest::newRow("white space is ignored") << " image/png " << "public.png";
    QTest::newRow("an empty name has no type") << "" << "";
    QTest::newRow("a name without a slash has no type") << "nonsense" << "";
}

void TestTypeRegistry::mimeTypes()
{
    QFETCH(QString, mime);
    QFETCH(QString, type);
    QCOMPARE(registry().typeForMimeType(mime), type);
}

void TestTypeRegistry::extensions_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("type");

    QTest::newRow("jpg") << "a.jpg" << "public.jpeg";
    QTest::newRow("upper-case JPG") << "DSC_0001.JPG" << "public.jpeg";
    QTest::newRow("HEIC, not HEIF") << "IMG_1234.HEIC" << "public.heic";
    QTest::newRow("a two-part extension wins") << "backup.tar.gz" << "org.gnu.gnu-zip-tar-archive";
    QTest::newRow("a lone gz") << "notes.gz" << "org.gnu.gnu-zip-archive";
    QTest::newRow("DNG") << "photo.dng" << "com.adobe.raw-image";
    QTest::newRow("a glob the MIME database knows") << "Makefile" << "dyn.mime.text.x-makefile";
    QTest::newRow("an unknown extension is data") << "file.qqqzzz" << "public.data";
    QTest::newRow("no extension is data") << "blob" << "public.data";
    QTest::newRow("a dot-file's name is not an extension") << ".jpg" << "public.data";
}

void TestTypeRegistry::extensions()
{
    QFETCH(QString, fileName);
    QFETCH(QString, type);
    QCOMPARE(registry().typeForFileName(fileName), type);
    const qsizetype dot = fileName.indexOf(QLatin1Char('.'), 1);
    if (dot > 0 && type.startsWith(u"public."))
        QCOMPARE(registry().typeForFilenameExtension(fileName.mid(dot + 1)), type);
}

void TestTypeRegistry::dynamicTypesRoundTrip_data()
{
    QTest::addColumn<QString>("mime");
    QTest::newRow("a plain subtype") << "text/x-makefile";
    QTest::newRow("a subtype with dots") << "application/vnd.oasis.opendocument.graphics";
    QTest::newRow("a subtype with a plus") << "application/x-tqkit+xml";
}

void TestTypeRegistry::dynamicTypesRoundTrip()
{
    QFETCH(QString, mime);
    const QString type = registry().typeForMimeType(mime);
    QVERIFY(TQTypeRegistry::isDynamic(type));
    QVERIFY(!registry().isDeclared(type));
    QCOMPARE(registry().mimeTypes(type), QStringList{mime});
    QCOMPARE(registry().preferredMimeType(type), mime);
    QCOMPARE(registry().typeForMimeType(registry().preferredMimeType(type)), type);
}

void TestTypeRegistry::audiovisualTypes()
{
    const QStringList types = registry().audiovisualTypes();
    for (const char *expected : {"public.audio", "public.movie", "public.mp3", "public.mpeg-4",
                                 "com.apple.quicktime-movie", "org.matroska.mkv", "org.xiph.flac"})
        QVERIFY2(types.contains(QString::fromLatin1(expected)), expected);
    for (const char *unexpected : {"public.jpeg", "public.plain-text", "public.audiovisual-content_"})
        QVERIFY2(!types.contains(QString::fromLatin1(unexpected)), unexpected);
    for (const QString &type : types)
        QVERIFY(registry().conformsTo(type, QStringLiteral("public.audiovisual-content")));
}

void TestTypeRegistry::descriptions_data()
{
    // The texts are the MIME database's own (and so its translations); the test checks
    // which MIME type's text each identifier borrows.
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("describedAs");
    QTest::newRow("a JPEG") << "public.jpeg" << "image/jpeg";
    QTest::newRow("a folder") << "public.folder" << "inode/directory";
    QTest::newRow("HEIC borrows its alias's text") << "public.heic" << "image/heif";
    QTest::newRow("a type without a MIME type borrows its parent's") << "public.utf8-plain-text" << "text/plain";
    QTest::newRow("a dynamic type") << "dyn.mime.text.x-makefile" << "text/x-makefile";
    QTest::newRow("an unknown identifier has none") << "com.example.unknown" << "";
}

void TestTypeRegistry::descriptions()
{
    QFETCH(QString, type);
    QFETCH(QString, describedAs);
    const QString expected = describedAs.isEmpty()
        ? QString() : QMimeDatabase().mimeTypeForName(describedAs).comment();
    QVERIFY(describedAs.isEmpty() || !expected.isEmpty());
    QCOMPARE(registry().localizedDescription(type), expected);
}

void TestTypeRegistry::detectsFiles_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("content"); // "png:" / "jpeg:" make a real image
    QTest::addColumn<QString>("byContentAndName");
    QTest::addColumn<QString>("byNameOnly");

    QTest::newRow("a PNG named like a JPEG is a PNG") << "photo.jpg" << QByteArray("png:") << "public.png" << "public.jpeg";
    QTest::newRow("a JPEG named like a PNG is a JPEG") << "picture.png" << QByteArray("jpeg:") << "public.jpeg" << "public.png";
    QTest::newRow("a JPEG without an extension is a JPEG") << "IMG_0001" << QByteArray("jpeg:") << "public.jpeg" << "public.data";
    QTest::newRow("an honest JPEG") << "honest.jpeg" << QByteArray("jpeg:") << "public.jpeg" << "public.jpeg";
    QTest::newRow("text named like an image is text") << "image.jpg" << QByteArray("just some words\n") << "public.plain-text" << "public.jpeg";
    QTest::newRow("text without an extension is text") << "notes" << QByteArray("remember the milk\n") << "public.plain-text" << "public.data";
    QTest::newRow("a specific text type keeps its name") << "data.json" << QByteArray("{\"a\": 1}\n") << "public.json" << "public.json";
    QTest::newRow("a script keeps its name") << "tool.py" << QByteArray("print('hi')\n") << "public.python-script" << "public.python-script";
    QTest::newRow("a CSV keeps its name") << "table.csv" << QByteArray("a,b\n1,2\n") << "public.comma-separated-values-text" << "public.comma-separated-values-text";
    QTest::newRow("an empty file is typed by its name") << "empty.txt" << QByteArray() << "public.plain-text" << "public.plain-text";
    QTest::newRow("an empty file with an unknown name is data") << "empty.qqqzzz" << QByteArray() << "public.data" << "public.data";
    QTest::newRow("binary noise keeps its name") << "noise.mp3" << QByteArray("\x01\x02\x03\xff\xfe\x00\x10", 7) << "public.mp3" << "public.mp3";
    QTest::newRow("PDF content without a name") << "document" << QByteArray("%PDF-1.4\n%\xe2\xe3\xcf\xd3\n") << "com.adobe.pdf" << "public.data";
    QTest::newRow("a dot-file with text") << ".profile-notes" << QByteArray("export A=1\n") << "public.plain-text" << "public.data";
}

void TestTypeRegistry::detectsFiles()
{
    QFETCH(QString, fileName);
    QFETCH(QByteArray, content);
    QFETCH(QString, byContentAndName);
    QFETCH(QString, byNameOnly);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(fileName);
    if (content.startsWith("png:") || content.startsWith("jpeg:")) {
        QImage image(16, 12, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        QVERIFY(image.save(path, content.startsWith("png:") ? "PNG" : "JPEG"));
    } else {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }

    QCOMPARE(registry().typeForFile(path), byContentAndName);
    QCOMPARE(registry().typeForFile(path, TQTypeRegistry::Detection::NameOnly), byNameOnly);

    // A link is typed by what it points to.
    const QString link = dir.filePath(QStringLiteral("link-to-") + fileName);
    QVERIFY(QFile::link(path, link));
    QCOMPARE(registry().typeForFile(link), byContentAndName);
}

void TestTypeRegistry::foldersAndVolumes()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QCOMPARE(registry().typeForFile(dir.path()), QStringLiteral("public.folder"));
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("photos.jpg")));
    QCOMPARE(registry().typeForFile(dir.filePath(QStringLiteral("photos.jpg"))), QStringLiteral("public.folder"));
    QCOMPARE(registry().typeForFile(QStringLiteral("/")), QStringLiteral("public.volume"));
    QCOMPARE(registry().typeForFile(dir.filePath(QStringLiteral("missing"))), QString());
    const QString dangling = dir.filePath(QStringLiteral("dangling"));
    QVERIFY(QFile::link(dir.filePath(QStringLiteral("nowhere")), dangling));
    QCOMPARE(registry().typeForFile(dangling), QString());
    QCOMPARE(registry().typeForFile(QString()), QString());
}

void TestTypeRegistry::concurrentQuestionsAgree()
{
    // Dynamic identifiers are cached under a lock; many threads asking at once must get the
    // answers one thread gets.
    const QStringList mimes = {QStringLiteral("text/x-makefile"), QStringLiteral("image/x-xcf"),
                               QStringLiteral("application/vnd.oasis.opendocument.graphics"),
                               QStringLiteral("application/x-tqkit-a"), QStringLiteral("audio/x-tqkit-b")};
    const QStringList parents = {QStringLiteral("public.plain-text"), QStringLiteral("public.image"),
                                 QStringLiteral("public.zip-archive"), QStringLiteral("public.data"),
                                 QStringLiteral("public.audio")};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                for (qsizetype i = 0; i < mimes.size(); ++i) {
                    const QString type = TQTypeRegistry::shared().typeForMimeType(mimes.at(i));
                    if (!TQTypeRegistry::shared().conformsTo(type, parents.at(i)))
                        ++wrong;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(TestTypeRegistry)
#include "tst_typeregistry.moc"
