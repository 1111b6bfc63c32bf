// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxIcons.h"
#include "QuillboxTasks.h"

#include <TQActivityRowWidget.h>
#include <TQActivityWindowController.h>
#include <TQImageOrientationWriter.h>

#include <QApplication>
#include <QDirIterator>
#include <QImageReader>
#include <QPainter>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>

using namespace Qt::StringLiterals;
using Kind = QuillboxTaskResult::Kind;
Q_DECLARE_METATYPE(Kind)

namespace {

QString dataHome;

// Not the shared whole-file writer: its sync to disk, for the megabytes every test starts
// with, doubles the suite's time.
bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray linkText(const QString &path)
{
    char target[4096];
    const ssize_t length = ::readlink(QFile::encodeName(path).constData(), target, sizeof target);
    return "-> " + QByteArray(target, qMax<ssize_t>(length, 0));
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

// Every entry under `path` (hidden ones too) with what it holds: a file's bytes, a link's
// target, a folder's mark. What a copy must reproduce and a cancelled one must not leave.
QMap<QString, QByteArray> tree(const QString &path)
{
    QMap<QString, QByteArray> entries;
    const QFileInfo top(path);
    if (top.isSymLink())
        entries.insert(QString(), linkText(path));
    else if (top.isFile())
        entries.insert(QString(), readFile(path));
    QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        const QString relative = info.filePath().mid(path.size());
        if (info.isSymLink())
            entries.insert(relative, linkText(info.filePath()));
        else
            entries.insert(relative, info.isDir() ? QByteArray("/") : readFile(info.filePath()));
    }
    return entries;
}

QStringList fileNames(const QList<QByteArray> &paths)
{
    QStringList found;
    for (const QByteArray &path : paths)
        found.append(QFileInfo(QFile::decodeName(path)).fileName());
    return found;
}

QStringList names(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QByteArray noise(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(7);
    generator.fillRange(reinterpret_cast<quint32 *>(bytes.data()), size / 4);
    return bytes;
}

// Four blocks of colour, so that any turn or mirror of the picture shows.
void writeJpeg(const QString &path, int orientation)
{
    QImage image(64, 32, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.fillRect(0, 0, 32, 16, Qt::red);
    painter.fillRect(32, 0, 32, 16, Qt::green);
    painter.fillRect(0, 16, 32, 16, Qt::blue);
    painter.fillRect(32, 16, 32, 16, Qt::yellow);
    painter.end();
    QVERIFY(image.save(path, "JPEG", 100));
    QVERIFY(TQImageOrientationWriter::succeeded(TQImageOrientationWriter::writeOrientation(path, orientation)));
}

// The picture as a viewer shows it (\a upright) or as the file stores it.
QImage decoded(const QString &path, bool upright)
{
    QImageReader reader(path);
    reader.setAutoTransform(upright);
    return reader.read();
}

// The picture as a viewer shows it, reduced to one colour per 16-pixel block.
QList<QRgb> uprightBlocks(const QString &path)
{
    const QImage image = decoded(path, true);
    QList<QRgb> blocks{QRgb(image.width()), QRgb(image.height())};
    for (int y = 8; y < image.height(); y += 16)
        for (int x = 8; x < image.width(); x += 16)
            blocks.append(image.pixel(x, y) & 0xffc0c0c0); // JPEG's small errors set aside
    return blocks;
}

// One copy, move or alias task of intoFolder(); what a row leaves out is a copy of notes.txt.
struct IntoFolder
{
    Kind kind = Kind::Copy;
    QStringList sources{u"notes.txt"_s};
    QString bad; // a hostile entry made for the row, its top added to the sources
    QStringList taken; // in the target already
    QStringList expected{u"notes.txt"_s};
    bool otherFileSystem = false;
    QString warning;
    QStringList leftInSource; // of a move
};

} // namespace

Q_DECLARE_METATYPE(IntoFolder)

class TestQuillboxTasks : public QObject
{
    Q_OBJECT

public:
    // GIO reads the trash's location once per process, so the isolated one is set first;
    // it takes the home trash for files on the home folder's file system, so HOME moves too.
    static void initMain()
    {
        char pattern[] = "/tmp/tst_quillboxtasks-data-XXXXXX";
        dataHome = QFile::decodeName(::mkdtemp(pattern));
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));
        qputenv("HOME", QFile::encodeName(dataHome));
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QTemporaryDir> m_otherFileSystem;
    std::unique_ptr<TQActivityWindowController> m_activity;
    std::unique_ptr<QuillboxTasks> m_tasks;
    QString m_source;
    QString m_target;

    // Starts a task, waits for its result and checks it came on the GUI thread, its row gone.
    QuillboxTaskResult finish(quint64 id)
    {
        std::optional<QuillboxTaskResult> result;
        bool onGuiThread = false;
        const auto connection = connect(m_tasks.get(), &QuillboxTasks::taskFinished, this, [&](const QuillboxTaskResult &r) {
            if (r.id == id) {
                result = r;
                onGuiThread = QThread::currentThread() == qApp->thread();
            }
        }, Qt::DirectConnection);
        const bool arrived = QTest::qWaitFor([&] { return result.has_value(); }, 60000);
        disconnect(connection);
        if (!arrived)
            return {};
        [&] {
            QVERIFY(onGuiThread);
            QVERIFY(m_activity->items().isEmpty());
            QVERIFY(!m_tasks->item(id));
        }();
        return *result;
    }

    QString src(const QString &name) const { return m_source + u'/' + name; }

    // Points the target at a folder on another file system, if there is one.
    bool useOtherFileSystem()
    {
        struct stat here, shm;
        if (::stat("/dev/shm", &shm) != 0 || ::stat(QFile::encodeName(m_target).constData(), &here) != 0 || here.st_dev == shm.st_dev)
            return false;
        m_otherFileSystem = std::make_unique<QTemporaryDir>(u"/dev/shm/tst_quillboxtasks-XXXXXX"_s);
        m_target = m_otherFileSystem->path();
        return true;
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_source = m_dir->filePath(u"src"_s);
        m_target = m_dir->filePath(u"target"_s);
        QVERIFY(QDir().mkpath(m_source + u"/album.2026/sub"_s) && QDir().mkpath(m_target));
        QVERIFY(writeFile(src(u"photo.jpg"_s), noise(3000)));
        QVERIFY(writeFile(src(u"notes.txt"_s), "notes"));
        QVERIFY(writeFile(src(u"scan 7.png"_s), "scan"));
        QVERIFY(writeFile(src(u"album.2026/a.txt"_s), "a"));
        QVERIFY(writeFile(src(u"album.2026/sub/b.txt"_s), noise(2 << 20)));
        QVERIFY(QFile::link(u"a.txt"_s, src(u"album.2026/l"_s)));
        QVERIFY(QFile::link(u"notes.txt"_s, src(u"link.txt"_s)));
        m_activity = std::make_unique<TQActivityWindowController>();
        m_tasks = std::make_unique<QuillboxTasks>(m_activity.get());
    }

    void cleanup()
    {
        m_tasks.reset();
        m_activity.reset();
        m_otherFileSystem.reset();
    }

    void initTestCase()
    {
        // The offscreen platform says, at every window (the activity window shows with each
        // task), what it cannot do; everything else still reaches QTest.
        static QtMessageHandler qtTest = nullptr;
        qtTest = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context, const QString &message) {
            if (!message.startsWith(u"This plugin does not support"))
                qtTest(type, context, message);
        });
    }
    void cleanupTestCase() { QDir(dataHome).removeRecursively(); }

    // Copies, moves and aliases into a folder, some with a hostile entry among the sources
    // (`bad`: made for the row, its top added to the sources): that one is refused and said
    // why, the rest still done.
    void intoFolder_data()
    {
        QTest::addColumn<IntoFolder>("task");
        const QStringList set{u"photo.jpg"_s, u"notes.txt"_s, u"album.2026"_s, u"link.txt"_s};
        QTest::newRow("a set of files, a folder and a link are copied as they are") << IntoFolder{.sources = set, .expected = set};
        QTest::newRow("taken names give copies the next free number, a folder no extension")
            << IntoFolder{.sources = {u"photo.jpg"_s, u"album.2026"_s, u"scan 7.png"_s},
                          .taken = {u"photo.jpg"_s, u"photo 2.jpg"_s, u"album.2026"_s, u"scan 7.png"_s},
                          .expected = {u"photo 3.jpg"_s, u"album.2026 2"_s, u"scan 8.png"_s}};
        QTest::newRow("a move renames on one file system and numbers a clash") << IntoFolder{.kind = Kind::Move, .sources = set,
            .taken = {u"album.2026"_s}, .expected = {u"photo.jpg"_s, u"notes.txt"_s, u"album.2026 2"_s, u"link.txt"_s}};
        QTest::newRow("a move to another file system copies, then removes the sources") << IntoFolder{.kind = Kind::Move,
            .sources = set, .taken = {u"notes.txt"_s}, .expected = {u"photo.jpg"_s, u"notes 2.txt"_s, u"album.2026"_s, u"link.txt"_s},
            .otherFileSystem = true};
        QTest::newRow("a copy to another file system") << IntoFolder{.sources = set, .expected = set, .otherFileSystem = true};
        QTest::newRow("aliases point at the sources, a clash numbered") << IntoFolder{.kind = Kind::Alias,
            .sources = {u"photo.jpg"_s, u"album.2026"_s}, .taken = {u"photo.jpg"_s}, .expected = {u"photo 2.jpg"_s, u"album.2026"_s}};

        const QString pipeWarning = u"Refusing .*/fifo: a named pipe, not a file, folder or link"_s;
        QTest::newRow("a named pipe is refused, the file beside it copied") << IntoFolder{.bad = u"fifo"_s, .warning = pipeWarning};
        QTest::newRow("a socket is refused") << IntoFolder{.bad = u"sock"_s, .warning = u"Refusing .*/sock: a socket"_s};
        QTest::newRow("a vanished source is reported") << IntoFolder{.bad = u"gone"_s};
        // Into its own subfolder, which holds b.txt.
        QTest::newRow("a folder is not copied into itself") << IntoFolder{.bad = u"album.2026"_s, .taken = {u"b.txt"_s}};
        QTest::newRow("a pipe inside a folder is left out of its copy") << IntoFolder{.bad = u"album.2026/sub/fifo"_s,
            .expected = {u"notes.txt"_s, u"album.2026"_s}, .warning = pipeWarning};
        QTest::newRow("a folder moved across file systems keeps what could not be copied") << IntoFolder{.kind = Kind::Move,
            .bad = u"album.2026/sub/fifo"_s, .expected = {u"notes.txt"_s, u"album.2026"_s}, .otherFileSystem = true,
            .warning = pipeWarning, .leftInSource = {u"album.2026"_s, u"album.2026/sub"_s, u"album.2026/sub/fifo"_s}};
    }

    void intoFolder()
    {
        QFETCH(IntoFolder, task);
        const auto &[kind, sources, bad, taken, expected, otherFileSystem, warning, leftInSource] = task;
        if (otherFileSystem && !useOtherFileSystem())
            QSKIP("/dev/shm is missing or on the temporary folder's file system");
        const QString target = bad == u"album.2026" ? src(u"album.2026/sub"_s) : m_target;
        for (const QString &name : taken)
            QVERIFY(writeFile(target + u'/' + name, "old"));
        QStringList paths;
        QList<QMap<QString, QByteArray>> before; // as they are before anything hostile is put among them
        for (const QString &name : sources + QStringList{bad.section(u'/', 0, 0)}) {
            paths.append(src(name));
            before.append(tree(src(name)));
        }
        if (bad.isEmpty())
            paths.removeLast();
        const QByteArray badPath = QFile::encodeName(src(bad));
        if (bad.endsWith(u"fifo")) {
            QCOMPARE(::mkfifo(badPath.constData(), 0600), 0);
        } else if (bad == u"sock") {
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            qstrncpy(address.sun_path, badPath.constData(), sizeof address.sun_path);
            QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
            ::close(fd);
        }
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
        const quint64 id = kind == Kind::Copy ? m_tasks->copy(paths, target)
            : kind == Kind::Move              ? m_tasks->move(paths, target)
                                              : m_tasks->makeAliases(paths, target);
        const TQActivityItemRef item = m_tasks->item(id);
        QVERIFY(item);
        QVERIFY(m_activity->items().contains(item));
        const QuillboxTaskResult result = finish(id);
        QVERIFY(!result.cancelled);
        if (bad.isEmpty()) {
            QVERIFY2(result.succeeded(), qPrintable(result.problems.value(0).message));
            QCOMPARE(item->progress(), 1.0);
            QCOMPARE(result.removed.size(), kind == Kind::Move ? paths.size() : 0);
        } else {
            QCOMPARE(result.problems.size(), 1);
            QCOMPARE(result.problems[0].nativePath, badPath);
            QVERIFY(result.problems[0].message.contains(src(bad)));
        }
        QCOMPARE(fileNames(result.created), expected);
        for (qsizetype i = 0; i < expected.size(); ++i) {
            const qsizetype j = sources.contains(expected[i]) ? sources.indexOf(expected[i]) : i;
            const QString made = target + u'/' + expected[i];
            if (kind == Kind::Alias)
                QCOMPARE(linkText(made), "-> " + QFile::encodeName(paths[j]));
            else
                QCOMPARE(tree(made), before.value(j));
        }
        QStringList all = taken + expected;
        all.sort();
        QCOMPARE(names(target), all); // no temporary left behind
        for (const QString &name : taken)
            QCOMPARE(readFile(target + u'/' + name), QByteArray("old"));
        for (const QString &name : sources)
            QCOMPARE(QFileInfo(src(name)).exists() || QFileInfo(src(name)).isSymLink(), kind != Kind::Move);
        for (const QString &left : leftInSource)
            QVERIFY2(QFileInfo::exists(src(left)), qPrintable(left));
        if (!leftInSource.isEmpty()) // everything that was copied is gone from the source
            QCOMPARE(names(src(u"album.2026"_s)), QStringList{u"sub"_s});
        if (kind == Kind::Copy) // times kept: a copy is no newer than its source
            QCOMPARE(QFileInfo(target + u'/' + expected[0]).lastModified(), QFileInfo(paths[0]).lastModified());
    }

    // A long copy held after its first chunk: either the user presses stop meanwhile, or the
    // sources change under a move to another file system.
    void interrupted_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("otherFileSystem");
        QTest::addColumn<bool>("changed"); // else cancelled
        QTest::newRow("a large file cancelled") << Kind::Copy << u"large.bin"_s << false << false;
        QTest::newRow("a folder with a large file cancelled") << Kind::Copy << u"album.2026"_s << false << false;
        QTest::newRow("a large file moved across file systems, cancelled") << Kind::Move << u"large.bin"_s << true << false;
        QTest::newRow("a folder moved across file systems, cancelled") << Kind::Move << u"album.2026"_s << true << false;
        QTest::newRow("a file changed while moved") << Kind::Move << u"large.bin"_s << true << true;
        QTest::newRow("a folder changed while moved") << Kind::Move << u"album.2026"_s << true << true;
    }

    void interrupted()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, source);
        QFETCH(bool, otherFileSystem);
        QFETCH(bool, changed);
        QVERIFY(writeFile(src(u"large.bin"_s), noise(8 << 20)));
        QVERIFY(writeFile(src(u"album.2026/sub/large.bin"_s), noise(8 << 20)));
        if (otherFileSystem && !useOtherFileSystem())
            QSKIP("/dev/shm is missing or on the temporary folder's file system");
        const QMap<QString, QByteArray> before = tree(src(source));
        QSemaphore reached, released;
        std::atomic<bool> held{false};
        m_tasks->setChunkHook([&](const TQActivityItemRef &, qint64) {
            if (held.exchange(true))
                return;
            if (!changed) {
                reached.release();
                released.acquire();
                return;
            }
            QDirIterator it(m_source, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                QFile file(it.next());
                if (file.open(QIODevice::ReadWrite))
                    file.setFileTime(QDateTime::currentDateTimeUtc().addDays(1), QFileDevice::FileModificationTime);
            }
        });
        const quint64 id = kind == Kind::Move ? m_tasks->move(QStringList{src(source)}, m_target)
                                              : m_tasks->copy(QStringList{src(source)}, m_target);
        if (changed) {
            // A changed file is not deleted: its copy is the older state, so the source stays,
            // and every file is still somewhere.
            const QuillboxTaskResult result = finish(id);
            QCOMPARE(result.problems.size(), 1);
            QVERIFY(result.removed.isEmpty());
            QVERIFY(QFileInfo::exists(src(source)));
            QMap<QString, QByteArray> kept = tree(src(source));
            kept.insert(tree(m_target + u'/' + source));
            for (auto it = before.cbegin(); it != before.cend(); ++it)
                QCOMPARE(kept.value(it.key()), it.value());
            return;
        }
        QVERIFY(QTest::qWaitFor([&] { return reached.tryAcquire(); }, 60000));
        TQActivityRowWidget *row = m_activity->rowWidget(m_tasks->item(id));
        QVERIFY(row);
        QVERIFY(m_tasks->item(id)->progress() > 0.0);
        QVERIFY(m_tasks->item(id)->progress() < 1.0);
        row->cancelButton()->click();
        released.release();
        const QuillboxTaskResult result = finish(id);
        QVERIFY(result.cancelled);
        QVERIFY(result.created.isEmpty());
        QVERIFY(result.removed.isEmpty());
        QCOMPARE(names(m_target), QStringList()); // not even a hidden temporary
        QCOMPARE(tree(src(source)), before);
    }

    void rotation_data()
    {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<QuillboxTasks::Rotation>("rotation");
        QTest::newRow("upright, turned left") << 1 << QuillboxTasks::Rotation::Left;
        QTest::newRow("upright, turned right") << 1 << QuillboxTasks::Rotation::Right;
        QTest::newRow("a quarter right, turned right") << 6 << QuillboxTasks::Rotation::Right;
        QTest::newRow("a quarter left, turned right back upright") << 8 << QuillboxTasks::Rotation::Right;
        QTest::newRow("upside down, turned left") << 3 << QuillboxTasks::Rotation::Left;
        QTest::newRow("mirrored stays mirrored") << 2 << QuillboxTasks::Rotation::Left;
        QTest::newRow("transposed stays mirrored") << 5 << QuillboxTasks::Rotation::Right;
        QTest::newRow("mirrored and turned, turned left") << 7 << QuillboxTasks::Rotation::Left;
    }

    // What the user sees after the turn is what they saw before, turned: checked in the
    // pixels a viewer decodes, for several images in one task, beside a file that is no image.
    void rotation()
    {
        QFETCH(int, orientation);
        QFETCH(QuillboxTasks::Rotation, rotation);
        QStringList images;
        for (int i = 0; i < 3; ++i) {
            images.append(m_dir->filePath(u"image %1.jpg"_s.arg(i)));
            writeJpeg(images.last(), orientation);
        }
        const QImage stored = decoded(images[0], false);
        const QImage before = decoded(images[0], true);
        QVERIFY(!stored.isNull() && !before.isNull());
        const QImage turned = before.transformed(QTransform().rotate(rotation == QuillboxTasks::Rotation::Left ? -90 : 90));
        const QString expectedPath = m_dir->filePath(u"expected.png"_s);
        QVERIFY(turned.save(expectedPath));

        const QuillboxTaskResult result = finish(m_tasks->rotate(QStringList(images) << src(u"notes.txt"_s), rotation));
        QCOMPARE(result.changed.size(), 3);
        QCOMPARE(result.problems.size(), 1);
        QCOMPARE(result.problems[0].nativePath, QFile::encodeName(src(u"notes.txt"_s)));
        QCOMPARE(readFile(src(u"notes.txt"_s)), QByteArray("notes"));
        for (const QString &image : std::as_const(images)) {
            QVERIFY(TQImageOrientationWriter::readOrientation(image) != orientation);
            QCOMPARE(uprightBlocks(image), uprightBlocks(expectedPath));
            QCOMPARE(decoded(image, false), stored); // the stored pixels untouched
        }
    }

    void trash()
    {
        const QStringList paths{src(u"photo.jpg"_s), src(u"album.2026"_s), src(u"gone"_s)};
        const QByteArray photo = readFile(paths[0]);
        const QuillboxTaskResult result = finish(m_tasks->moveToTrash(paths));
        QCOMPARE(result.removed, (QList<QByteArray>{QFile::encodeName(paths[0]), QFile::encodeName(paths[1])}));
        QCOMPARE(result.problems.size(), 1);
        QVERIFY(!QFileInfo::exists(paths[0]) && !QFileInfo::exists(paths[1]));
        const QString trash = dataHome + u"/Trash/"_s;
        QCOMPARE(readFile(trash + u"files/photo.jpg"_s), photo);
        QVERIFY(QFileInfo(trash + u"files/album.2026/sub/b.txt"_s).isFile());
        QVERIFY(readFile(trash + u"info/photo.jpg.trashinfo"_s).contains("Path=" + QUrl::toPercentEncoding(paths[0], "/")));
        QCOMPARE(result.changedFolders(), QList<QByteArray>{QFile::encodeName(m_source)});
    }

    void quickOperations_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("expected"); // empty: refused, nothing changed
        QTest::newRow("rename to a free name") << u"notes.txt"_s << u"memo.txt"_s << u"memo.txt"_s;
        QTest::newRow("rename a folder") << u"album.2026"_s << u"Album"_s << u"Album"_s;
        QTest::newRow("rename onto a taken name is refused") << u"notes.txt"_s << u"photo.jpg"_s << QString();
        QTest::newRow("a name with a slash is refused") << u"notes.txt"_s << u"../x"_s << QString();
        QTest::newRow("dot-dot is refused") << u"notes.txt"_s << u".."_s << QString();
        QTest::newRow("the same name changes nothing") << u"notes.txt"_s << u"notes.txt"_s << u"notes.txt"_s;
    }

    void quickOperations()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(QString, expected);
        const QMap<QString, QByteArray> before = tree(m_source);
        QString error;
        const QString renamed = QuillboxTasks::rename(src(from), to, &error);
        QCOMPARE(renamed, expected.isEmpty() ? QString() : src(expected));
        QCOMPARE(error.isEmpty(), !expected.isEmpty());
        // The renamed entry and all it holds under the new name, everything else as it was.
        QMap<QString, QByteArray> expectedTree;
        for (auto it = before.cbegin(); it != before.cend(); ++it) {
            const bool moved = !expected.isEmpty() && (it.key() == u'/' + from || it.key().startsWith(u'/' + from + u'/'));
            expectedTree.insert(moved ? u'/' + expected + it.key().mid(from.size() + 1) : it.key(), it.value());
        }
        QCOMPARE(tree(m_source), expectedTree);
    }

    void newFolder()
    {
        QString error;
        QCOMPARE(QuillboxTasks::createFolder(m_target, QString(), &error), m_target + u"/untitled folder"_s);
        QCOMPARE(QuillboxTasks::createFolder(m_target, QString(), &error), m_target + u"/untitled folder 2"_s);
        QCOMPARE(QuillboxTasks::createFolder(m_target, u"a/b"_s, &error), QString());
        QVERIFY(!error.isEmpty());
        QCOMPARE(names(m_target), (QStringList{u"untitled folder"_s, u"untitled folder 2"_s}));
    }

    void freeName_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("isFolder");
        QTest::addColumn<QByteArrayList>("taken");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("a free name is kept") << QByteArray("a.jpg") << false << QByteArrayList() << QByteArray("a.jpg");
        QTest::newRow("the number goes before the extension") << QByteArray("a.jpg") << false << QByteArrayList{"a.jpg", "a 2.jpg"} << QByteArray("a 3.jpg");
        QTest::newRow("a numbered name counts on") << QByteArray("a 9.jpg") << false << QByteArrayList{"a 9.jpg"} << QByteArray("a 10.jpg");
        QTest::newRow("a zero is no count") << QByteArray("a 0.jpg") << false << QByteArrayList{"a 0.jpg"} << QByteArray("a 0 2.jpg");
        QTest::newRow("a leading dot is no extension") << QByteArray(".profile") << false << QByteArrayList{".profile"} << QByteArray(".profile 2");
        QTest::newRow("a folder has no extension") << QByteArray("v1.2") << true << QByteArrayList{"v1.2"} << QByteArray("v1.2 2");
        QTest::newRow("a long tail is no extension") << QByteArray("a.b c") << false << QByteArrayList{"a.b c"} << QByteArray("a.b c 2");
        QTest::newRow("bytes that are not UTF-8 are kept") << QByteArray("\xff.jpg") << false << QByteArrayList{"\xff.jpg"} << QByteArray("\xff 2.jpg");
        QTest::newRow("a full-length name is shortened to fit")
            << QByteArray(251, 'x') + ".jpg" << false << QByteArrayList{QByteArray(251, 'x') + ".jpg"} << QByteArray(249, 'x') + " 2.jpg";
        QTest::newRow("a shortened name cuts no character in two")
            << QByteArray(248, 'x') + "\xc3\xa9.jpg" << false << QByteArrayList{QByteArray(248, 'x') + "\xc3\xa9.jpg"} << QByteArray(248, 'x') + " 2.jpg";
    }

    void freeName()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, isFolder);
        QFETCH(QByteArrayList, taken);
        QFETCH(QByteArray, expected);
        const QByteArray folder = QFile::encodeName(m_target);
        for (const QByteArray &entry : taken)
            QCOMPARE(::close(::creat((folder + '/' + entry).constData(), 0600)), 0);
        const QByteArray free = QuillboxTasks::freeName(folder, name, isFolder);
        for (const QByteArray &entry : taken) // Qt cannot name what is not UTF-8 to remove it
            ::unlink((folder + '/' + entry).constData());
        QCOMPARE(free, expected);
    }

    void icons_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("withTheme");
        for (const QString &name : QuillboxIcons::names()) {
            QTest::newRow(qPrintable(name + u", installed theme"_s)) << name << true;
            QTest::newRow(qPrintable(name + u", no theme at all"_s)) << name << false;
        }
    }

    // Offscreen, the platform names no theme: every icon Quillbox asks for still shows.
    void icons()
    {
        QFETCH(QString, name);
        QFETCH(bool, withTheme);
        static const QStringList searchPaths = QIcon::themeSearchPaths();
        static const QStringList fallbackPaths = QIcon::fallbackSearchPaths();
        QIcon::setThemeName(QString());
        QIcon::setFallbackThemeName(QString());
        QIcon::setThemeSearchPaths(withTheme ? searchPaths : QStringList{m_dir->path()});
        QIcon::setFallbackSearchPaths(withTheme ? fallbackPaths : QStringList());
        if (withTheme) {
            const QString theme = QuillboxIcons::install();
            if (theme.isEmpty())
                QSKIP("no freedesktop icon theme installed (scripts/install-deps.sh installs one)");
            QCOMPARE(QIcon::fallbackThemeName(), theme);
        } else {
            QVERIFY(!QuillboxIcons::isThemed(name));
        }
        const QIcon icon = QuillboxIcons::icon(name);
        QVERIFY(!icon.isNull());
        const QImage image = icon.pixmap(32, 32).toImage().convertToFormat(QImage::Format_ARGB32);
        QVERIFY(!image.isNull());
        int opaque = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                opaque += qAlpha(image.pixel(x, y)) > 128;
        QVERIFY2(opaque >= 16, qPrintable(u"%1 visible pixels"_s.arg(opaque)));
    }
};

QTEST_MAIN(TestQuillboxTasks)
#include "tst_quillboxtasks.moc"
