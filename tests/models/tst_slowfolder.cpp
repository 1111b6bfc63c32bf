// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folder model on a folder that answers slowly, as a network share does. Every status
// request for an entry of the folder, and every open of one, waits a little; the requests are
// counted by thread. The
// library (and Qt) reach the status functions defined here before the C library's: an
// executable's own definitions come first in the dynamic linker's search. That is why this is
// a test program of its own.

#include "TQFolderModel.h"
#include "UWFileManager.h"
#include "UWStandardFile.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

// The slow folder (absolute, the file system's bytes); empty while nothing is slow. Set only
// while no listing runs.
char g_slowFolder[PATH_MAX];
std::atomic<bool> g_slow{false};
std::atomic<int> g_delayMicroseconds{2000};
// Requests for the folder's entries by thread, and watches added on the folder itself: the
// kernel takes its time over a big folder's watch, so the GUI thread should not be the one adding it.
std::atomic<int> g_workerCalls{0}, g_guiCalls{0}, g_workerWatches{0}, g_guiWatches{0};

void countAndWait(std::atomic<int> &onGui, std::atomic<int> &onWorker)
{
    const QCoreApplication *app = QCoreApplication::instance();
    ++(app && QThread::currentThread() == app->thread() ? onGui : onWorker);
    std::this_thread::sleep_for(std::chrono::microseconds(g_delayMicroseconds.load()));
}

bool insideSlowFolder(int directoryFd, const char *path)
{
    if (!g_slow.load() || !path)
        return false;
    char full[PATH_MAX * 2];
    if (path[0] == '/' || directoryFd == AT_FDCWD) {
        std::snprintf(full, sizeof full, "%s", path);
    } else {
        char link[64];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", directoryFd);
        char target[PATH_MAX];
        const ssize_t length = ::readlink(link, target, sizeof target - 1);
        if (length <= 0)
            return false;
        target[length] = '\0';
        std::snprintf(full, sizeof full, "%s/%s", target, path);
    }
    // Entries of the folder, not the folder itself: a view may stat the folder it was given.
    const size_t prefix = std::strlen(g_slowFolder);
    return std::strncmp(full, g_slowFolder, prefix) == 0 && full[prefix] == '/' && full[prefix + 1] != '\0';
}

void answerSlowly(int directoryFd, const char *path)
{
    if (insideSlowFolder(directoryFd, path))
        countAndWait(g_guiCalls, g_workerCalls);
}

template <class Function>
Function next(const char *name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

// Each status call waits, then hands on to the C library's: (name, parameters, the folder's fd, the path, arguments).
#define SLOW_STAT(name, parameters, fd, path, ...)                                   \
    Q_DECL_EXPORT int name parameters noexcept                                       \
    {                                                                                \
        static const auto real = next<int(*) parameters>(#name);                     \
        answerSlowly(fd, path);                                                      \
        return real(__VA_ARGS__);                                                    \
    }
SLOW_STAT(statx, (int dirFd, const char *path, int flags, unsigned int mask, struct statx *buffer), dirFd, path,
          dirFd, path, flags, mask, buffer)
SLOW_STAT(stat, (const char *path, struct stat *buffer), AT_FDCWD, path, path, buffer)
SLOW_STAT(lstat, (const char *path, struct stat *buffer), AT_FDCWD, path, path, buffer)
SLOW_STAT(fstatat, (int dirFd, const char *path, struct stat *buffer, int flags), dirFd, path, dirFd, path, buffer, flags)
#undef SLOW_STAT

Q_DECL_EXPORT int inotify_add_watch(int fd, const char *path, uint32_t mask) noexcept
{
    static const auto real = next<int (*)(int, const char *, uint32_t)>("inotify_add_watch");
    if (g_slow.load() && path && std::strcmp(path, g_slowFolder) == 0)
        countAndWait(g_guiWatches, g_workerWatches);
    return real(fd, path, mask);
}

// Reading a file's first bytes to tell its type opens it, under either name.
#define SLOW_OPEN(name)                                                                     \
    Q_DECL_EXPORT int name(const char *path, int flags, ...)                                \
    {                                                                                       \
        static const auto real = next<int (*)(const char *, int, ...)>(#name);              \
        answerSlowly(AT_FDCWD, path);                                                       \
        va_list rest;                                                                       \
        va_start(rest, flags);                                                              \
        const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? mode_t(va_arg(rest, int)) : 0; \
        va_end(rest);                                                                       \
        return real(path, flags, mode);                                                     \
    }
SLOW_OPEN(open)
SLOW_OPEN(open64)
#undef SLOW_OPEN

} // extern "C"

namespace {

void makeFiles(const QTemporaryDir &dir, int count)
{
    for (int i = 0; i < count; ++i) {
        QFile file(dir.filePath(u"photo %1.txt"_s.arg(i, 4, 10, QLatin1Char('0'))));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
}

// Straight to the kernel: the test's own opens and writes are not the library's, and ask no
// status. A PNG header under a name that says nothing of its type changes the file's kind.
int rawOpen(const QByteArray &path, int flags)
{
    return int(::syscall(SYS_openat, AT_FDCWD, path.constData(), flags | O_CLOEXEC, 0644));
}

const QByteArray png("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);

void writePng(const QByteArray &path)
{
    const int fd = rawOpen(path, O_WRONLY);
    QVERIFY(fd >= 0);
    QCOMPARE(::write(fd, png.constData(), png.size()), png.size());
    ::close(fd);
}

// Makes the folder slow for the life of the guard.
struct Slow
{
    explicit Slow(const QString &folder, int delayMicroseconds = 2000)
    {
        std::snprintf(g_slowFolder, sizeof g_slowFolder, "%s", QFile::encodeName(folder).constData());
        g_delayMicroseconds = delayMicroseconds;
        for (std::atomic<int> *counter : {&g_workerCalls, &g_guiCalls, &g_guiWatches, &g_workerWatches})
            *counter = 0;
        g_slow = true;
    }
    ~Slow()
    {
        g_slow = false;
        // Let a listing still under way see the flag before the folder name changes.
        if (UWFileManager *manager = UWFileManager::sharedFileManager())
            manager->utilityQueue()->waitForDone(5000);
    }
};

// A model under the tester that lists names only: no image values, whose reads would be
// status requests of their own.
struct Model : TQFolderModel
{
    QAbstractItemModelTester tester{this, QAbstractItemModelTester::FailureReportingMode::Fatal};
    Model() { setLoadsImageInfo(false); }
};

} // namespace

class TestSlowFolder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The fixture must really be in the path of the library's calls, or nothing below
        // shows anything.
        QTemporaryDir dir;
        makeFiles(dir, 1);
        const Slow slow(dir.path(), 0);
        QVERIFY(UWStandardFile::newFileForPath(dir.filePath(u"photo 0000.txt"_s)));
        QVERIFY(g_guiCalls.load() > 0);
    }

    // Rows come in batches while the folder is still answering, and the GUI thread asks the
    // slow folder nothing: it stays free for the user while the worker waits.
    void showsWhatItHasWithoutWaiting_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("delayMicroseconds");
        QTest::newRow("a few, very slow") << 30 << 20000;
        QTest::newRow("many, slow") << 1500 << 1500;
    }

    void showsWhatItHasWithoutWaiting()
    {
        QFETCH(int, count);
        QFETCH(int, delayMicroseconds);
        QTemporaryDir dir;
        makeFiles(dir, count);
        Model model;
        QList<int> rowsBeforeFinished; // the row count after each batch
        bool finished = false;
        connect(&model, &QAbstractItemModel::rowsInserted, this, [&] {
            if (!finished)
                rowsBeforeFinished.append(model.rowCount());
        });
        QSignalSpy done(&model, &TQFolderModel::loadingFinished);
        connect(&model, &TQFolderModel::loadingFinished, this, [&] { finished = true; });
        {
            const Slow slow(dir.path(), delayMicroseconds);
            model.setFolderPath(dir.path());
            QVERIFY(done.wait(60000));
            QCOMPARE(g_guiCalls.load(), 0);
            QVERIFY(g_workerCalls.load() >= count);
            QCOMPARE(g_guiWatches.load(), 0);
            QCOMPARE(g_workerWatches.load(), 1);
        }
        QCOMPARE(model.rowCount(), count);
        // The first rows showed while the rest were still being asked for.
        QVERIFY2(rowsBeforeFinished.size() > 1, qPrintable(QString::number(rowsBeforeFinished.size())));
        QCOMPARE(rowsBeforeFinished.last(), count);
        QVERIFY(std::is_sorted(rowsBeforeFinished.cbegin(), rowsBeforeFinished.cend()));

        // Live: a file made now shows, and a write to it is seen, without the GUI thread asking
        // the folder's entries.
        const QByteArray latePath = QFile::encodeName(dir.filePath(u"late"_s));
        const Slow slow(dir.path(), delayMicroseconds);
        const int fd = rawOpen(latePath, O_CREAT | O_WRONLY);
        QVERIFY(fd >= 0);
        ::close(fd);
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), count + 1, 10000);
        UWStandardFileRef late;
        for (int row = 0; row < model.rowCount() && !late; ++row) {
            if (const UWStandardFileRef item = model.itemAt(model.index(row, 0)); item->displayName() == u"late")
                late = item;
        }
        QVERIFY(late);
        writePng(latePath);
        QTRY_COMPARE_WITH_TIMEOUT(late->byteSize(), png.size(), 10000);
        QCOMPARE(late->uti(), u"public.png"_s);
        QCOMPARE(g_guiCalls.load(), 0);
    }

    // A view that moves on while the slow listing runs drops it: its rows never show, and
    // the worker stops asking the old folder.
    void leavingASlowFolder()
    {
        QTemporaryDir slowDir, quickDir;
        makeFiles(slowDir, 1500);
        makeFiles(quickDir, 3);
        Model model;
        const Slow slow(slowDir.path(), 2000);
        QSignalSpy firstRows(&model, &QAbstractItemModel::rowsInserted);
        model.setFolderPath(slowDir.path());
        QVERIFY(firstRows.wait(20000));
        model.setFolderPath(quickDir.path());
        QSignalSpy done(&model, &TQFolderModel::loadingFinished);
        QVERIFY(!model.isLoading() || done.wait(20000));
        QCOMPARE(model.rowCount(), 3);
        const int askedWhenLeft = g_workerCalls.load();
        QTest::qWait(200);
        QCOMPARE(model.rowCount(), 3);
        // At most the entry under way when the listing was dropped.
        QVERIFY2(g_workerCalls.load() <= askedWhenLeft + 1, qPrintable(QString::number(g_workerCalls.load())));
        QVERIFY(g_workerCalls.load() < 1500);
        QCOMPARE(g_guiCalls.load(), 0);
    }

    // Entries that go while the slow listing asks for them are not shown, or leave again; the
    // model ends with what is there.
    void entriesGoWhileListed()
    {
        QTemporaryDir dir;
        makeFiles(dir, 1200);
        const QStringList names = QDir(dir.path()).entryList(QDir::Files);
        Model model;
        const Slow slow(dir.path(), 1500);
        QSignalSpy firstRows(&model, &QAbstractItemModel::rowsInserted);
        model.setFolderPath(dir.path());
        QVERIFY(firstRows.wait(20000));
        for (const QString &name : names)
            QCOMPARE(::unlink(QFile::encodeName(dir.filePath(name)).constData()), 0);
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 0, 30000);
        QVERIFY(!model.isLoading());
        // The names the events touched were looked up by a worker.
        QCOMPARE(g_guiCalls.load(), 0);
    }

    // When the kernel drops events every folder is listed again, by a worker: a slow folder
    // that heard nothing itself is asked for each of its entries, never on the GUI thread.
    void lostEventsListAgainOffTheGuiThread()
    {
        QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
        const int queued = limit.open(QIODevice::ReadOnly) ? limit.readAll().trimmed().toInt() : 0;
        if (queued <= 0 || queued > 100000)
            QSKIP("the event queue's length is unknown or too long to fill here");
        QTemporaryDir slowDir, busyDir;
        constexpr int slowCount = 40;
        makeFiles(slowDir, slowCount - 1);
        // A name that says nothing of its type, written while the events are lost: only the
        // new listing shows that it changed kind.
        const QByteArray blankPath = QFile::encodeName(slowDir.filePath(u"blank"_s));
        QVERIFY(QFile(slowDir.filePath(u"blank"_s)).open(QIODevice::WriteOnly));
        Model model;
        QSignalSpy done(&model, &TQFolderModel::loadingFinished);
        model.setFolderPath(slowDir.path());
        QVERIFY(done.wait(20000));
        const auto busy = UWFileManager::sharedFileManager()->subscriptionForFile(UWStandardFile::newFileForPath(busyDir.path()));
        busy->loadImmediately();

        const Slow slow(slowDir.path(), 500);
        // Each file is two events (created, closed): more than the queue holds, heard at once.
        const int files = queued / 2 + 200;
        const QByteArray busyPath = QFile::encodeName(busyDir.path());
        for (int i = 0; i < files; ++i) {
            const int fd = ::open((busyPath + "/n-" + QByteArray::number(i)).constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            QVERIFY(fd >= 0);
            ::close(fd);
        }
        writePng(blankPath);
        QTRY_COMPARE_WITH_TIMEOUT(busy->files().size(), files, 30000);
        QTRY_VERIFY_WITH_TIMEOUT(g_workerCalls.load() >= slowCount, 10000);
        QCOMPARE(model.rowCount(), slowCount);
        const QModelIndex blank = model.match(model.index(0, 0), Qt::DisplayRole, u"blank"_s, 1, Qt::MatchExactly).value(0);
        QVERIFY(blank.isValid());
        QTRY_COMPARE_WITH_TIMEOUT(model.itemAt(blank)->uti(), u"public.png"_s, 10000);
        QCOMPARE(g_guiCalls.load(), 0);
    }
};

QTEST_GUILESS_MAIN(TestSlowFolder)
#include "tst_slowfolder.moc"
