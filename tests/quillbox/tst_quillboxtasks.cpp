// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxIcons.h"
#include "QuillboxTasks.h"

#include <TQActivityRowWidget.h>
#include <TQActivityWindowController.h>
#include <TQImageOrientationWriter.h>

#include <QApplication>
#include <QCryptographicHash>
#include <QDirIterator>
#include <QImageReader>
#include <QPainter>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>

using Kind = QuillboxTaskResult::Kind;
Q_DECLARE_METATYPE(Kind)

namespace {

QString dataHome;

// The offscreen platform says, on every window, that it cannot raise one or pass size hints
// on; the activity window shows with each task, and everything else still reaches QTest.
QtMessageHandler previousHandler = nullptr;
void quietPlatformNotes(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message == QLatin1String("This plugin does not support raise()")
        || message == QLatin1String("This plugin does not support propagateSizeHints()"))
        return;
    previousHandler(type, context, message);
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
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

// The picture as a viewer shows it, reduced to one colour per 16-pixel block.
QList<QRgb> uprightBlocks(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    QList<QRgb> blocks{QRgb(image.width()), QRgb(image.height())};
    for (int y = 8; y < image.height(); y += 16)
        for (int x = 8; x < image.width(); x += 16)
            blocks.append(image.pixel(x, y) & 0xffc0c0c0); // JPEG's small errors set aside
    return blocks;
}

} // namespace

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

    QString src(const QString &name) const { return m_source + QLatin1Char('/') + name; }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_source = m_dir->filePath(QStringLiteral("src"));
        m_target = m_dir->filePath(QStringLiteral("target"));
        QVERIFY(QDir().mkpath(m_source + QStringLiteral("/album.2026/sub")) && QDir().mkpath(m_target));
        writeFile(src(QStringLiteral("photo.jpg")), noise(3000));
        writeFile(src(QStringLiteral("notes.txt")), "notes");
        writeFile(src(QStringLiteral("scan 7.png")), "scan");
        writeFile(src(QStringLiteral("album.2026/a.txt")), "a");
        writeFile(src(QStringLiteral("album.2026/sub/b.txt")), noise(2 << 20));
        QVERIFY(QFile::link(QStringLiteral("a.txt"), src(QStringLiteral("album.2026/l"))));
        QVERIFY(QFile::link(QStringLiteral("notes.txt"), src(QStringLiteral("link.txt"))));
        m_activity = std::make_unique<TQActivityWindowController>();
        m_tasks = std::make_unique<QuillboxTasks>(m_activity.get());
    }

    void cleanup()
    {
        m_tasks.reset();
        m_activity.reset();
        m_otherFileSystem.reset();
    }

    void initTestCase() { previousHandler = qInstallMessageHandler(quietPlatformNotes); }
    void cleanupTestCase() { QDir(dataHome).removeRecursively(); }

    void intoFolder_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QStringList>("sources");
        QTest::addColumn<QStringList>("taken");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("otherFileSystem");

        const QStringList set{QStringLiteral("photo.jpg"), QStringLiteral("notes.txt"), QStringLiteral("album.2026"), QStringLiteral("link.txt")};
        QTest::newRow("a set of files, a folder and a link are copied as they are") << Kind::Copy << set << QStringList() << set << false;
        QTest::newRow("taken names give copies the next free number, a folder no extension")
            << Kind::Copy << QStringList{QStringLiteral("photo.jpg"), QStringLiteral("album.2026"), QStringLiteral("scan 7.png")}
            << QStringList{QStringLiteral("photo.jpg"), QStringLiteral("photo 2.jpg"), QStringLiteral("album.2026"), QStringLiteral("scan 7.png")}
            << QStringList{QStringLiteral("photo 3.jpg"), QStringLiteral("album.2026 2"), QStringLiteral("scan 8.png")} << false;
        QTest::newRow("a move renames on one file system and numbers a clash")
            << Kind::Move << set << QStringList{QStringLiteral("album.2026")}
            << QStringList{QStringLiteral("photo.jpg"), QStringLiteral("notes.txt"), QStringLiteral("album.2026 2"), QStringLiteral("link.txt")} << false;
        QTest::newRow("a move to another file system copies, then removes the sources") << Kind::Move << set << QStringList{QStringLiteral("notes.txt")}
            << QStringList{QStringLiteral("photo.jpg"), QStringLiteral("notes 2.txt"), QStringLiteral("album.2026"), QStringLiteral("link.txt")} << true;
        QTest::newRow("a copy to another file system") << Kind::Copy << set << QStringList() << set << true;
        QTest::newRow("aliases point at the sources, a clash numbered")
            << Kind::Alias << QStringList{QStringLiteral("photo.jpg"), QStringLiteral("album.2026")} << QStringList{QStringLiteral("photo.jpg")}
            << QStringList{QStringLiteral("photo 2.jpg"), QStringLiteral("album.2026")} << false;
    }

    void intoFolder()
    {
        QFETCH(Kind, kind);
        QFETCH(QStringList, sources);
        QFETCH(QStringList, taken);
        QFETCH(QStringList, expected);
        QFETCH(bool, otherFileSystem);
        if (otherFileSystem) {
            struct stat here, shm;
            if (::stat("/dev/shm", &shm) != 0 || ::stat(QFile::encodeName(m_target).constData(), &here) != 0 || here.st_dev == shm.st_dev)
                QSKIP("/dev/shm is missing or on the temporary folder's file system");
            m_otherFileSystem = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/tst_quillboxtasks-XXXXXX"));
            m_target = m_otherFileSystem->path();
        }
        for (const QString &name : taken)
            writeFile(m_target + QLatin1Char('/') + name, "old");
        QStringList paths;
        QList<QMap<QString, QByteArray>> before;
        for (const QString &name : sources) {
            paths.append(src(name));
            before.append(tree(src(name)));
        }
        const quint64 id = kind == Kind::Copy ? m_tasks->copy(paths, m_target)
                         : kind == Kind::Move ? m_tasks->move(paths, m_target)
                                              : m_tasks->makeAliases(paths, m_target);
        const TQActivityItemRef item = m_tasks->item(id);
        QVERIFY(item);
        QVERIFY(m_activity->items().contains(item));
        const QuillboxTaskResult result = finish(id);
        QVERIFY2(result.succeeded(), qPrintable(result.problems.value(0).message));
        QCOMPARE(item->progress(), 1.0);

        QStringList created;
        for (const QByteArray &path : result.created)
            created.append(QFileInfo(QFile::decodeName(path)).fileName());
        QCOMPARE(created, expected);
        for (qsizetype i = 0; i < expected.size(); ++i) {
            const QString made = m_target + QLatin1Char('/') + expected[i];
            if (kind == Kind::Alias)
                QCOMPARE(linkText(made), "-> " + QFile::encodeName(paths[i]));
            else
                QCOMPARE(tree(made), before[i]);
        }
        QStringList all = taken + expected;
        all.sort();
        QCOMPARE(names(m_target), all); // no temporary left behind
        for (const QString &name : taken)
            QCOMPARE(readFile(m_target + QLatin1Char('/') + name), QByteArray("old"));
        for (const QString &path : paths)
            QCOMPARE(QFileInfo(path).exists() || QFileInfo(path).isSymLink(), kind != Kind::Move);
        QCOMPARE(result.removed.size(), kind == Kind::Move ? paths.size() : 0);
        if (kind == Kind::Copy) // times kept: a photo's copy is no newer than the photo
            QCOMPARE(QFileInfo(m_target + QStringLiteral("/") + expected[0]).lastModified(), QFileInfo(paths[0]).lastModified());
    }

    void hostileEntries_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("bad");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QStringList>("leftInSource");

        const QString pipeWarning = QStringLiteral("Refusing .*/fifo: a named pipe, not a file, folder or link");
        QTest::newRow("a named pipe is refused, the file beside it copied")
            << Kind::Copy << QStringLiteral("fifo") << pipeWarning << QStringList{QStringLiteral("notes.txt")} << QStringList();
        QTest::newRow("a socket is refused")
            << Kind::Copy << QStringLiteral("sock") << QStringLiteral("Refusing .*/sock: a socket") << QStringList{QStringLiteral("notes.txt")} << QStringList();
        QTest::newRow("a vanished source is reported") << Kind::Copy << QStringLiteral("gone") << QString() << QStringList{QStringLiteral("notes.txt")} << QStringList();
        QTest::newRow("a folder is not copied into itself") << Kind::Copy << QStringLiteral("album.2026") << QString() << QStringList{QStringLiteral("notes.txt")} << QStringList();
        QTest::newRow("a pipe inside a folder is left out of its copy")
            << Kind::Copy << QStringLiteral("album.2026/sub/fifo") << pipeWarning << QStringList{QStringLiteral("notes.txt"), QStringLiteral("album.2026")} << QStringList();
        QTest::newRow("a folder moved across file systems keeps what could not be copied")
            << Kind::Move << QStringLiteral("album.2026/sub/fifo") << pipeWarning << QStringList{QStringLiteral("notes.txt"), QStringLiteral("album.2026")}
            << QStringList{QStringLiteral("album.2026"), QStringLiteral("album.2026/sub"), QStringLiteral("album.2026/sub/fifo")};
    }

    void hostileEntries()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, bad);
        QFETCH(QString, warning);
        QFETCH(QStringList, expected);
        QFETCH(QStringList, leftInSource);
        const QByteArray badPath = QFile::encodeName(src(bad));
        QStringList sources{src(QStringLiteral("notes.txt"))};
        QString target = m_target;
        if (bad == QLatin1String("fifo") || bad.endsWith(QLatin1String("/fifo"))) {
            QCOMPARE(::mkfifo(badPath.constData(), 0600), 0);
        } else if (bad == QLatin1String("sock")) {
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            qstrncpy(address.sun_path, badPath.constData(), sizeof address.sun_path);
            QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
            ::close(fd);
        } else if (bad == QLatin1String("album.2026")) {
            target = src(QStringLiteral("album.2026/sub"));
        }
        if (kind == Kind::Move) {
            if (!QFileInfo(QStringLiteral("/dev/shm")).isDir())
                QSKIP("no /dev/shm");
            m_otherFileSystem = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/tst_quillboxtasks-XXXXXX"));
            target = m_otherFileSystem->path();
        }
        sources.append(bad.contains(QLatin1Char('/')) ? src(bad.section(QLatin1Char('/'), 0, 0)) : src(bad));
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
        const quint64 id = kind == Kind::Move ? m_tasks->move(sources, target) : m_tasks->copy(sources, target);
        const QuillboxTaskResult result = finish(id);
        QVERIFY(!result.cancelled);
        QCOMPARE(result.problems.size(), 1);
        QCOMPARE(result.problems[0].nativePath, badPath);
        QVERIFY(result.problems[0].message.contains(src(bad)));
        QStringList created;
        for (const QByteArray &path : result.created)
            created.append(QFileInfo(QFile::decodeName(path)).fileName());
        QCOMPARE(created, expected);
        if (expected.contains(QStringLiteral("album.2026")))
            QCOMPARE(names(target + QStringLiteral("/album.2026/sub")), QStringList{QStringLiteral("b.txt")});
        for (const QString &left : leftInSource)
            QVERIFY2(QFileInfo::exists(src(left)), qPrintable(left));
        if (!leftInSource.isEmpty()) // everything that was copied is gone from the source
            QCOMPARE(names(src(QStringLiteral("album.2026"))), QStringList{QStringLiteral("sub")});
    }

    void cancelLongCopy_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("otherFileSystem");
        QTest::newRow("a large file") << Kind::Copy << QStringLiteral("large.bin") << false;
        QTest::newRow("a folder with a large file") << Kind::Copy << QStringLiteral("album.2026") << false;
        QTest::newRow("a large file moved across file systems") << Kind::Move << QStringLiteral("large.bin") << true;
        QTest::newRow("a folder moved across file systems") << Kind::Move << QStringLiteral("album.2026") << true;
    }

    void cancelLongCopy()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, source);
        QFETCH(bool, otherFileSystem);
        writeFile(src(QStringLiteral("large.bin")), noise(8 << 20));
        writeFile(src(QStringLiteral("album.2026/sub/large.bin")), noise(8 << 20));
        if (otherFileSystem) {
            if (!QFileInfo(QStringLiteral("/dev/shm")).isDir())
                QSKIP("no /dev/shm");
            m_otherFileSystem = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/tst_quillboxtasks-XXXXXX"));
            m_target = m_otherFileSystem->path();
        }
        const QMap<QString, QByteArray> before = tree(src(source));
        // The copy is held after its first chunk until the user has pressed stop.
        QSemaphore reached, released;
        std::atomic<bool> held{false};
        m_tasks->setChunkHook([&](const TQActivityItemRef &, qint64) {
            if (!held.exchange(true)) {
                reached.release();
                released.acquire();
            }
        });
        const quint64 id = kind == Kind::Move ? m_tasks->move(QStringList{src(source)}, m_target)
                                              : m_tasks->copy(QStringList{src(source)}, m_target);
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

    void changedDuringMove_data()
    {
        QTest::addColumn<QString>("source");
        QTest::newRow("a file") << QStringLiteral("large.bin");
        QTest::newRow("a folder") << QStringLiteral("album.2026");
    }

    // A file changed while it is copied to another file system is not deleted: its copy is
    // the older state, so the source stays, and every file is still somewhere.
    void changedDuringMove()
    {
        QFETCH(QString, source);
        if (!QFileInfo(QStringLiteral("/dev/shm")).isDir())
            QSKIP("no /dev/shm");
        m_otherFileSystem = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/tst_quillboxtasks-XXXXXX"));
        writeFile(src(QStringLiteral("large.bin")), noise(3 << 20));
        const QMap<QString, QByteArray> before = tree(src(source));
        std::atomic<bool> touched{false};
        m_tasks->setChunkHook([&](const TQActivityItemRef &, qint64) {
            if (touched.exchange(true))
                return;
            QDirIterator it(m_source, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                QFile file(it.next());
                if (file.open(QIODevice::ReadWrite))
                    file.setFileTime(QDateTime::currentDateTimeUtc().addDays(1), QFileDevice::FileModificationTime);
            }
        });
        const QuillboxTaskResult result = finish(m_tasks->move(QStringList{src(source)}, m_otherFileSystem->path()));
        QCOMPARE(result.problems.size(), 1);
        QVERIFY(result.removed.isEmpty());
        QVERIFY(QFileInfo::exists(src(source)));
        QMap<QString, QByteArray> kept = tree(src(source));
        kept.insert(tree(m_otherFileSystem->path() + QLatin1Char('/') + source));
        for (auto it = before.cbegin(); it != before.cend(); ++it)
            QCOMPARE(kept.value(it.key()), it.value());
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
            images.append(m_dir->filePath(QStringLiteral("image %1.jpg").arg(i)));
            writeJpeg(images.last(), orientation);
        }
        QImageReader stored(images[0]);
        stored.setAutoTransform(false);
        const QImage shown = stored.read();
        QImageReader reader(images[0]);
        reader.setAutoTransform(true);
        const QImage before = reader.read();
        QVERIFY(!shown.isNull() && !before.isNull());
        const QImage turned = before.transformed(QTransform().rotate(rotation == QuillboxTasks::Rotation::Left ? -90 : 90));
        const QString expectedPath = m_dir->filePath(QStringLiteral("expected.png"));
        QVERIFY(turned.save(expectedPath));

        const QuillboxTaskResult result = finish(m_tasks->rotate(QStringList(images) << src(QStringLiteral("notes.txt")), rotation));
        QCOMPARE(result.changed.size(), 3);
        QCOMPARE(result.problems.size(), 1);
        QCOMPARE(result.problems[0].nativePath, QFile::encodeName(src(QStringLiteral("notes.txt"))));
        QCOMPARE(readFile(src(QStringLiteral("notes.txt"))), QByteArray("notes"));
        for (const QString &image : std::as_const(images)) {
            QVERIFY(TQImageOrientationWriter::readOrientation(image) != orientation);
            QCOMPARE(uprightBlocks(image), uprightBlocks(expectedPath));
            QImageReader after(image);
            after.setAutoTransform(false);
            QCOMPARE(after.read(), shown); // the stored pixels untouched
        }
    }

    void trash()
    {
        const QStringList paths{src(QStringLiteral("photo.jpg")), src(QStringLiteral("album.2026")), src(QStringLiteral("gone"))};
        const QByteArray photo = readFile(paths[0]);
        const QuillboxTaskResult result = finish(m_tasks->moveToTrash(paths));
        QCOMPARE(result.removed, (QList<QByteArray>{QFile::encodeName(paths[0]), QFile::encodeName(paths[1])}));
        QCOMPARE(result.problems.size(), 1);
        QVERIFY(!QFileInfo::exists(paths[0]) && !QFileInfo::exists(paths[1]));
        const QString trash = dataHome + QStringLiteral("/Trash/");
        QCOMPARE(readFile(trash + QStringLiteral("files/photo.jpg")), photo);
        QVERIFY(QFileInfo(trash + QStringLiteral("files/album.2026/sub/b.txt")).isFile());
        QVERIFY(readFile(trash + QStringLiteral("info/photo.jpg.trashinfo")).contains("Path=" + QUrl::toPercentEncoding(paths[0], "/")));
        QCOMPARE(result.changedFolders(), QList<QByteArray>{QFile::encodeName(m_source)});
    }

    void quickOperations_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("expected"); // empty: refused, nothing changed
        QTest::newRow("rename to a free name") << QStringLiteral("notes.txt") << QStringLiteral("memo.txt") << QStringLiteral("memo.txt");
        QTest::newRow("rename a folder") << QStringLiteral("album.2026") << QStringLiteral("Album") << QStringLiteral("Album");
        QTest::newRow("rename onto a taken name is refused") << QStringLiteral("notes.txt") << QStringLiteral("photo.jpg") << QString();
        QTest::newRow("a name with a slash is refused") << QStringLiteral("notes.txt") << QStringLiteral("../x") << QString();
        QTest::newRow("dot-dot is refused") << QStringLiteral("notes.txt") << QStringLiteral("..") << QString();
        QTest::newRow("the same name changes nothing") << QStringLiteral("notes.txt") << QStringLiteral("notes.txt") << QStringLiteral("notes.txt");
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
        QMap<QString, QByteArray> after = tree(m_source);
        if (!expected.isEmpty() && expected != from) {
            for (auto it = before.cbegin(); it != before.cend(); ++it) {
                if (it.key() == QLatin1Char('/') + from || it.key().startsWith(QLatin1Char('/') + from + QLatin1Char('/')))
                    QCOMPARE(after.take(QLatin1Char('/') + expected + it.key().mid(from.size() + 1)), it.value());
                else
                    QCOMPARE(after.take(it.key()), it.value());
            }
            QVERIFY(after.isEmpty());
        } else {
            QCOMPARE(after, before);
        }
    }

    void newFolder()
    {
        QString error;
        QCOMPARE(QuillboxTasks::createFolder(m_target, QString(), &error), m_target + QStringLiteral("/untitled folder"));
        QCOMPARE(QuillboxTasks::createFolder(m_target, QString(), &error), m_target + QStringLiteral("/untitled folder 2"));
        QCOMPARE(QuillboxTasks::createFolder(m_target, QStringLiteral("a/b"), &error), QString());
        QVERIFY(!error.isEmpty());
        QCOMPARE(names(m_target), (QStringList{QStringLiteral("untitled folder"), QStringLiteral("untitled folder 2")}));
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
            QTest::newRow(qPrintable(name + QStringLiteral(", installed theme"))) << name << true;
            QTest::newRow(qPrintable(name + QStringLiteral(", no theme at all"))) << name << false;
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
        QVERIFY2(opaque >= 16, qPrintable(QStringLiteral("%1 visible pixels").arg(opaque)));
    }
};

QTEST_MAIN(TestQuillboxTasks)
#include "tst_quillboxtasks.moc"
