#include "TQApplications.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <QThread>

#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

// GIO reads its folders once per process, so the whole world is built in initTestCase, before
// the first look-up: desktop entries, the mimeinfo.cache update-desktop-database would write
// for them, and a user mimeapps.list. The system folders hold nothing but a link to the
// machine's MIME database, which GIO needs for aliases and parents and the registry for typing.
class TestApplications : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void glibMessagesStayOffStderr();
    void handlersForTypes_data();
    void handlersForTypes();
    void handlersForFiles_data();
    void handlersForFiles();
    void describesEntries_data();
    void describesEntries();
    void everyHandlerRoundTripsThroughItsEntry();
    void launchPassesFiles_data();
    void launchPassesFiles();
    void launchFailures_data();
    void launchFailures();
    void concurrentLookupsAgree();
    void noticesNewEntriesWithoutEventLoop();

private:
    QString path(const QString &relative) const { return m_root.filePath(relative); }
    QString apps(const QString &name) const { return path(u"data/applications/"_s + name); }
    QString file(const QString &name) const { return path(u"files/"_s + name); }
    static void write(const QString &path, const QByteArray &contents);
    void writeEntry(const QString &name, const QByteArray &body);
    void writeMimeCache();

    QTemporaryDir m_root;
    QList<QPair<QString, QByteArray>> m_entries; // in the order the cache lists them
};

// "Viewer" -> "org.example.Viewer.desktop"; IDs with a '-' are written out.
static QStringList ids(const QStringList &shortNames)
{
    QStringList result;
    for (const QString &name : shortNames)
        result.append(name.contains(u'-') ? name + u".desktop"_s : u"org.example."_s + name + u".desktop"_s);
    return result;
}

static QStringList ids(const QList<TQApplicationInfo> &apps)
{
    QStringList result;
    for (const TQApplicationInfo &app : apps)
        result.append(app.id);
    return result;
}

void TestApplications::write(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile out(path); // whole files only: GIO may be reading from its worker thread
    QVERIFY(out.open(QIODevice::WriteOnly));
    out.write(contents);
    QVERIFY(out.commit());
}

void TestApplications::writeEntry(const QString &name, const QByteArray &body)
{
    write(apps(name), "[Desktop Entry]\nType=Application\n" + body);
    m_entries.append({QString(name).replace(u'/', u'-'), body});
}

void TestApplications::writeMimeCache()
{
    QMap<QByteArray, QByteArray> byType;
    const QRegularExpression mimeTypeKey(u"^MimeType=(.*)$"_s, QRegularExpression::MultilineOption);
    for (const auto &[id, body] : std::as_const(m_entries)) {
        for (const QString &type : mimeTypeKey.match(QString::fromUtf8(body)).captured(1).split(u';', Qt::SkipEmptyParts))
            byType[type.toUtf8()] += id.toUtf8() + ';';
    }
    QByteArray cache = "[MIME Cache]\n";
    for (auto it = byType.cbegin(); it != byType.cend(); ++it)
        cache += it.key() + '=' + it.value() + '\n';
    write(apps(u"mimeinfo.cache"_s), cache);
}

void TestApplications::initTestCase()
{
    QVERIFY(m_root.isValid());
    const QString mimeCache = QStandardPaths::locate(QStandardPaths::GenericDataLocation, u"mime/mime.cache"_s);
    QVERIFY2(!mimeCache.isEmpty(), "the shared MIME database (shared-mime-info) is needed");
    for (const char *dir : {"data", "config", "system-data", "system-config", "gio-modules", "files/folder"})
        QVERIFY(QDir(m_root.path()).mkpath(QString::fromLatin1(dir)));
    QVERIFY(QFile::link(QFileInfo(mimeCache).path(), path(u"system-data/mime"_s)));
    qputenv("XDG_DATA_HOME", path(u"data"_s).toUtf8());
    qputenv("XDG_CONFIG_HOME", path(u"config"_s).toUtf8());
    qputenv("XDG_DATA_DIRS", path(u"system-data"_s).toUtf8());
    qputenv("XDG_CONFIG_DIRS", path(u"system-config"_s).toUtf8());
    qputenv("GIO_MODULE_DIR", path(u"gio-modules"_s).toUtf8()); // not the machine's gvfs or dconf
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + path(u"no-bus"_s).toUtf8());
    qputenv("XDG_CURRENT_DESKTOP", "TQTest");
    qputenv("LANGUAGE", "de");

    writeEntry(u"org.example.Paint.desktop"_s, "Name=Paint\nExec=/bin/true %F\nIcon=/opt/example/paint.svg\nMimeType=image/jpeg;image/png;image/bmp;\n");
    writeEntry(u"org.example.Viewer.desktop"_s, "Name=Viewer\nName[de]=Bildbetrachter\nExec=true %U\nIcon=org.example.Viewer\nMimeType=image/jpeg;image/png;image/webp;\n");
    writeEntry(u"org.example.Helper.desktop"_s, "Name=Helper\nNoDisplay=true\nExec=true %F\nMimeType=image/png;\n");
    writeEntry(u"org.example.Ghost.desktop"_s, "Name=Ghost\nHidden=true\nExec=true %F\nMimeType=image/png;image/jpeg;image/gif;\n");
    writeEntry(u"org.example.Broken.desktop"_s, "Name=Broken\nMimeType=image/png;text/plain;\n");
    writeEntry(u"org.example.Missing.desktop"_s, "Name=Missing\nTryExec=/nonexistent/tqkit-no-such-program\nExec=true %F\nMimeType=image/jpeg;image/png;\n");
    writeEntry(u"org.example.Unwanted.desktop"_s, "Name=Unwanted\nExec=true %F\nMimeType=image/jpeg;\n");
    writeEntry(u"org.example.Gallery.desktop"_s, "Name=Gallery\nExec=true %U\nIcon=gallery.png\nMimeType=image/gif;\n");
    writeEntry(u"org.example.Notes.desktop"_s, "Name=Notes\nExec=true %F\nMimeType=text/plain;\n");
    writeEntry(u"vendor/tool.desktop"_s, "Name=Tool\nExec=true %F\nMimeType=text/x-csrc;\n");
    // Desktop-entry quoting: %% is a literal %, and the key file turns \\ into one backslash.
    writeEntry(u"org.example.Recorder.desktop"_s, "Name=Recorder\nNoDisplay=true\nExec=sh -c 'printf \"%%s\\\\n\" \"$@\" > "
                   + path(u"launched.txt"_s).toUtf8() + "' sh %F\n");
    write(apps(u"org.example.Garbage.desktop"_s), "this is no key file\n[[[\nMimeType=image/png;\n");
    m_entries.append({u"org.example.Garbage.desktop"_s, "MimeType=image/png;\n"});
    writeMimeCache();
    write(apps(u"org.example.Link.desktop"_s), "[Desktop Entry]\nType=Link\nName=Link\nURL=https://example.org/\n");
    write(path(u"elsewhere/org.example.Outside.desktop"_s), "[Desktop Entry]\nType=Application\nName=Outside\nExec=true\n");
    write(path(u"config/mimeapps.list"_s),
          "[Default Applications]\nimage/jpeg=org.example.Viewer.desktop;\nimage/gif=org.example.Ghost.desktop;\n"
          "image/bmp=org.example.Broken.desktop;\nimage/webp=org.example.Missing.desktop;\ntext/plain=org.example.Notes.desktop;\n"
          "[Added Associations]\nimage/png=org.example.Gallery.desktop;\n"
          "[Removed Associations]\nimage/jpeg=org.example.Unwanted.desktop;\n");

    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QVERIFY(image.save(file(u"photo.jpg"_s), "JPEG"));
    QVERIFY(image.save(file(u"disguised.jpg"_s), "PNG"));
    write(file(u"notes.txt"_s), "plain words\n");
    write(file(u"main.c"_s), "int main(void) { return 0; }\n");
}

void TestApplications::glibMessagesStayOffStderr()
{
    // A desktop-specific list may not add associations; GIO says so with g_warning when it
    // reads the folder, which it does again on the first look-up after the folder changed.
    static QStringList routed;
    QTemporaryFile captured;
    QVERIFY(captured.open());
    fflush(stderr);
    const int savedStderr = dup(STDERR_FILENO);
    dup2(captured.handle(), STDERR_FILENO);
    QLoggingCategory::setFilterRules(u"tqkit.platform.debug=true"_s);
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &context, const QString &message) {
        if (qstrcmp(context.category, "tqkit.platform") == 0)
            routed.append(message);
    });
    write(path(u"config/tqtest-mimeapps.list"_s), "[Added Associations]\nimage/png=org.example.Notes.desktop;\n");
    QElapsedTimer timer;
    timer.start();
    while (!routed.join(u'\n').contains(u"not permitted") && timer.elapsed() < 5000) {
        TQApplications::applicationsForMimeType(u"image/png"_s);
        QThread::msleep(20);
    }
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());
    fflush(stderr);
    dup2(savedStderr, STDERR_FILENO);
    close(savedStderr);

    QVERIFY2(routed.join(u'\n').contains(u"GLib-GIO: "_s + path(u"config/tqtest-mimeapps.list"_s)), qPrintable(routed.join(u'\n')));
    QFile written(captured.fileName()); // captured's own offset moved along with stderr's writes
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), QByteArray());
}

void TestApplications::handlersForTypes_data()
{
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QStringList>("expected"); // the default first

    const auto row = [](const char *name, const char *type, const QStringList &expected) {
        QTest::newRow(name) << QString::fromLatin1(type) << ids(expected);
    };
    row("the mimeapps default comes first, removed and uninstallable entries are gone", "image/jpeg", {u"Viewer"_s, u"Paint"_s});
    row("an alias finds the handlers of its canonical type", "image/pjpeg", {u"Viewer"_s, u"Paint"_s});
    row("without a default an added association leads, entries hidden from menus stay", "image/png",
        {u"Gallery"_s, u"Paint"_s, u"Viewer"_s, u"Helper"_s});
    row("a deleted (Hidden) default gives way to the next handler", "image/gif", {u"Gallery"_s});
    row("a default without Exec gives way to the next handler", "image/bmp", {u"Paint"_s});
    row("a default whose TryExec program is missing gives way", "image/webp", {u"Viewer"_s});
    row("a type's own handler precedes its parent's default", "text/x-csrc", {u"vendor-tool"_s, u"Notes"_s});
    row("a subclass two levels down reaches its ancestors' handlers", "text/x-chdr", {u"vendor-tool"_s, u"Notes"_s});
    row("a subclass without handlers falls back to its parent's default", "text/markdown", {u"Notes"_s});
    row("the alias of a subclass falls back as well", "text/x-markdown", {u"Notes"_s});
    row("a type nobody handles has no application", "application/x-tqkit-nobody", {});
    row("the empty type has no application", "", {});
}

void TestApplications::handlersForTypes()
{
    QFETCH(QString, mimeType);
    QFETCH(QStringList, expected);
    QCOMPARE(ids(TQApplications::applicationsForMimeType(mimeType)), expected);
    QCOMPARE(TQApplications::defaultApplicationForMimeType(mimeType).id, expected.value(0));
}

void TestApplications::handlersForFiles_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QStringList>("expected");

    const auto row = [this](const char *name, const char *fileName, const char *type, const QStringList &expected) {
        QTest::newRow(name) << file(QString::fromLatin1(fileName)) << QString::fromLatin1(type) << ids(expected);
    };
    row("a JPEG opens with the default for JPEG", "photo.jpg", "image/jpeg", {u"Viewer"_s, u"Paint"_s});
    row("a PNG named .jpg opens as the PNG it is", "disguised.jpg", "image/png", {u"Gallery"_s, u"Paint"_s, u"Viewer"_s, u"Helper"_s});
    row("a text file opens with the text default", "notes.txt", "text/plain", {u"Notes"_s});
    row("a C source opens with its own handler, then plain text's", "main.c", "text/x-csrc", {u"vendor-tool"_s, u"Notes"_s});
    row("a folder nobody handles has no application", "folder", "inode/directory", {});
    row("a missing file has no type and no application", "missing.txt", "", {});
}

void TestApplications::handlersForFiles()
{
    QFETCH(QString, path);
    QFETCH(QStringList, expected);
    QTEST(TQApplications::mimeTypeForFile(path), "mimeType");
    QCOMPARE(ids(TQApplications::applicationsForFile(path)), expected);
    QCOMPARE(TQApplications::defaultApplicationForFile(path).id, expected.value(0));
    QCOMPARE(TQApplications::defaultEditorForFile(path), TQApplications::defaultApplicationForFile(path));
}

void TestApplications::describesEntries_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<TQApplicationInfo>("expected");

    const auto row = [](const char *name, const QString &path, const QString &id, const QString &appName, const QString &icon, const QStringList &types) {
        QTest::newRow(name) << path << TQApplicationInfo{id, appName, path, icon, types};
    };
    row("the name is translated and a themed icon keeps its name", apps(u"org.example.Viewer.desktop"_s), u"org.example.Viewer.desktop"_s,
        u"Bildbetrachter"_s, u"org.example.Viewer"_s, {u"image/jpeg"_s, u"image/png"_s, u"image/webp"_s});
    row("an icon file keeps its path", apps(u"org.example.Paint.desktop"_s), u"org.example.Paint.desktop"_s, u"Paint"_s,
        u"/opt/example/paint.svg"_s, {u"image/jpeg"_s, u"image/png"_s, u"image/bmp"_s});
    row("a themed icon loses a mistaken file extension", apps(u"org.example.Gallery.desktop"_s), u"org.example.Gallery.desktop"_s,
        u"Gallery"_s, u"gallery"_s, {u"image/gif"_s});
    row("an entry in a subfolder has the folder in its ID", apps(u"vendor/tool.desktop"_s), u"vendor-tool.desktop"_s, u"Tool"_s, {},
        {u"text/x-csrc"_s});
    row("an entry outside the applications folders is named by its file", path(u"elsewhere/org.example.Outside.desktop"_s),
        u"org.example.Outside.desktop"_s, u"Outside"_s, {}, {});
    for (const char *refused : {"Ghost", "Broken", "Missing", "Garbage", "Link", "Nowhere"}) {
        QTest::addRow("the %s entry is no application", refused)
            << apps(u"org.example."_s + QString::fromLatin1(refused) + u".desktop"_s) << TQApplicationInfo();
    }
}

void TestApplications::describesEntries()
{
    QFETCH(QString, path);
    QFETCH(TQApplicationInfo, expected);
    const TQApplicationInfo app = TQApplications::applicationForDesktopFile(path);
    QCOMPARE(app.isValid(), expected.isValid());
    QCOMPARE(app.id, expected.id);
    QCOMPARE(app.name, expected.name);
    QCOMPARE(app.desktopFilePath, expected.desktopFilePath);
    QCOMPARE(app.iconName, expected.iconName);
    QCOMPARE(app.mimeTypes, expected.mimeTypes);
}

void TestApplications::everyHandlerRoundTripsThroughItsEntry()
{
    // The file-item layer turns an application into the item of its entry and back.
    QSet<TQApplicationInfo> seen;
    for (const char *type : {"image/jpeg", "image/png", "image/gif", "text/x-chdr"}) {
        for (const TQApplicationInfo &app : TQApplications::applicationsForMimeType(QString::fromLatin1(type))) {
            QVERIFY2(app.desktopFilePath.startsWith(apps(QString())) && QFileInfo(app.desktopFilePath).isFile(), qPrintable(app.desktopFilePath));
            QCOMPARE(TQApplications::applicationForDesktopFile(app.desktopFilePath), app);
            seen.insert(app);
        }
    }
    QCOMPARE(seen.size(), 6); // ten answers, six entries: equal infos hash alike
}

void TestApplications::launchPassesFiles_data()
{
    QTest::addColumn<bool>("byIdOnly");
    QTest::addColumn<QStringList>("paths");
    QTest::addColumn<QStringList>("received");

    const QString notes = file(u"notes.txt"_s), spaced = file(u"with space.txt"_s), quoted = file(u"café 'quoted'.txt"_s);
    QTest::newRow("one file arrives as its absolute path") << false << QStringList{notes} << QStringList{notes};
    QTest::newRow("files keep their order, spaces, accents and quotes") << false << QStringList{spaced, quoted, notes} << QStringList{spaced, quoted, notes};
    QTest::newRow("a relative path is taken from the current folder") << false << QStringList{u"notes.txt"_s} << QStringList{notes};
    QTest::newRow("no file starts the application alone") << false << QStringList() << QStringList{QString()};
    QTest::newRow("an application known by its ID alone is found") << true << QStringList{notes} << QStringList{notes};
}

void TestApplications::launchPassesFiles()
{
    QFETCH(bool, byIdOnly);
    QFETCH(QStringList, paths);
    QFETCH(QStringList, received);
    TQApplicationInfo recorder = TQApplications::applicationForDesktopFile(apps(u"org.example.Recorder.desktop"_s));
    QVERIFY(recorder.isValid());
    if (byIdOnly)
        recorder.desktopFilePath.clear();
    QFile output(path(u"launched.txt"_s));
    output.remove();
    const QString current = QDir::currentPath();
    QDir::setCurrent(file(QString()));
    QString error;
    const bool launched = TQApplications::launch(recorder, paths, &error);
    QDir::setCurrent(current);
    QVERIFY2(launched, qPrintable(error));
    const auto contents = [&output] {
        const bool opened = output.open(QIODevice::ReadOnly);
        const QString text = opened ? QString::fromUtf8(output.readAll()) : QString();
        output.close();
        return text;
    };
    QTRY_COMPARE_WITH_TIMEOUT(contents(), received.join(u'\n') + u'\n', 10000);
}

void TestApplications::launchFailures_data()
{
    QTest::addColumn<TQApplicationInfo>("app");
    QTest::addColumn<QString>("reason");

    const auto entry = [this](const char *name) {
        const QString id = u"org.example."_s + QString::fromLatin1(name) + u".desktop"_s;
        return TQApplicationInfo{id, QString::fromLatin1(name), apps(id), {}, {}};
    };
    QTest::newRow("an invalid info names no entry") << TQApplicationInfo() << u"no desktop entry"_s;
    QTest::newRow("a deleted (Hidden) entry is refused") << entry("Ghost") << u"Hidden"_s;
    QTest::newRow("an entry without Exec is refused") << entry("Broken") << u"no Exec"_s;
    QTest::newRow("an entry whose program is missing is refused") << entry("Missing") << u"not a launchable application entry"_s;
    QTest::newRow("an entry whose file is gone is refused") << entry("Gone") << u"not a launchable application entry"_s;
    QTest::newRow("an ID nobody installed is refused") << TQApplicationInfo{u"org.example.Unknown.desktop"_s, {}, {}, {}, {}}
                                                       << u"no installed entry"_s;
}

void TestApplications::launchFailures()
{
    QFETCH(TQApplicationInfo, app);
    QFETCH(QString, reason);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Cannot launch .*"_s + QRegularExpression::escape(reason)));
    QString error;
    QVERIFY(!TQApplications::launch(app, {file(u"notes.txt"_s)}, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void TestApplications::concurrentLookupsAgree()
{
    const QStringList types{u"image/jpeg"_s, u"image/png"_s, u"text/x-chdr"_s, u"image/gif"_s};
    QList<QList<TQApplicationInfo>> expected;
    for (const QString &type : types)
        expected.append(TQApplications::applicationsForMimeType(type));
    std::atomic<int> mismatches = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 40; ++i) {
                const int k = (i + t) % types.size();
                if (TQApplications::applicationsForMimeType(types[k]) != expected[k]
                    || TQApplications::defaultApplicationForMimeType(types[k]) != expected[k].value(0))
                    ++mismatches;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(mismatches.load(), 0);
}

void TestApplications::noticesNewEntriesWithoutEventLoop()
{
    // GIO watches its folders from its own worker thread: no event loop runs in this wait.
    const QString type = u"image/x-tqkit-late"_s;
    QVERIFY(TQApplications::applicationsForMimeType(type).isEmpty());
    writeEntry(u"org.example.Late.desktop"_s, "Name=Late\nExec=true %F\nMimeType=image/x-tqkit-late;\n");
    writeMimeCache();
    QElapsedTimer timer;
    timer.start();
    while (TQApplications::defaultApplicationForMimeType(type).id != u"org.example.Late.desktop" && timer.elapsed() < 10000)
        QThread::msleep(20);
    QCOMPARE(ids(TQApplications::applicationsForMimeType(type)), ids(QStringList{u"Late"_s}));
}

QTEST_GUILESS_MAIN(TestApplications)
#include "tst_applications.moc"
