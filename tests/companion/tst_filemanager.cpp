// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFileLoadOperation.h"
#include "UWFileManager.h"
#include "UWFileManager_p.h"
#include "UWStandardFile.h"

#include <QDataStream>
#include <QFile>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

// Every item of this suite is one of these, so that it can tell which events reached it.
class RecordingFile : public UWStandardFile
{
public:
    static inline QList<std::pair<QString, int>> heard; // the item's name when it heard the event, and the event

    void updateForEvent(const UWFileEvent &event) override
    {
        heard.append({displayName(), event.type});
        UWStandardFile::updateForEvent(event);
    }
};

bool heard(const QString &name, int type = 0) // 0: any event
{
    return std::any_of(RecordingFile::heard.cbegin(), RecordingFile::heard.cend(),
                       [&](const auto &h) { return h.first == name && (!type || h.second == type); });
}

class Announcements : public UWFileObserver
{
public:
    QStringList log;
    void fileWillChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(u"will "_s + key.toString()); }
    void fileDidChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(u"did "_s + key.toString()); }
};

// Changes files the way another program would: a shell command run in the folder.
bool sh(const QString &folder, const QString &command)
{
    return QProcess::execute(u"sh"_s, {u"-c"_s, u"cd \"$0\" && "_s + command, folder}) == 0;
}

QStringList names(const QList<UWStandardFileRef> &files)
{
    QStringList result;
    for (const UWStandardFileRef &file : files)
        result.append(file->displayName());
    result.sort();
    return result;
}

UWStandardFileRef itemNamed(const QList<UWStandardFileRef> &files, const QByteArray &nativeName)
{
    const auto it = std::find_if(files.cbegin(), files.cend(), [&](const UWStandardFileRef &f) { return f->nativeFileName() == nativeName; });
    return it == files.cend() ? UWStandardFileRef() : *it;
}

ino_t inode(const QString &path)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

std::shared_ptr<UWFileSubscription> subscribe(const QString &folder)
{
    return UWFileManager::sharedFileManager()->subscriptionForFile(UWStandardFile::newFileForPath(folder));
}

std::shared_ptr<UWFileSubscription> listed(const QString &folder)
{
    const auto subscription = subscribe(folder);
    subscription->loadImmediately();
    return subscription;
}

// Every batch a subscription reports, in order.
struct Batches
{
    QList<UWFolderChanges> heard;
    explicit Batches(UWFileSubscription *subscription)
    {
        QObject::connect(subscription, &UWFileSubscription::filesChanged, subscription,
                         [this](const UWFolderChanges &changes) { heard.append(changes); });
    }
    // The items of one kind over every batch, by name.
    QStringList all(QList<UWStandardFileRef> UWFolderChanges::*kind) const
    {
        QList<UWStandardFileRef> files;
        for (const UWFolderChanges &changes : heard)
            files += changes.*kind;
        return names(files);
    }
};

// Writes \a size bytes through the system call, as fast as events can be made and under
// names QFile could not spell.
bool touch(const QByteArray &path, int size = 0)
{
    const int fd = ::open(path.constData(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    const bool written = fd >= 0 && ::write(fd, QByteArray(size, 'x').constData(), size_t(size)) == size;
    return ::close(fd) == 0 && written;
}

// Lets the file manager finish what it asked its workers for, and apply the answers.
void settle()
{
    for (int round = 0; round < 3; ++round) {
        QCoreApplication::processEvents();
        UWFileManager::sharedFileManager()->utilityQueue()->waitForDone();
    }
    QCoreApplication::processEvents();
}

} // namespace

class TestFileManager : public QObject
{
    Q_OBJECT

private slots:
    void init() { RecordingFile::heard.clear(); }
    void cleanupTestCase() { UWFileManager::setFileFactory({}); }

    void initTestCase()
    {
        UWFileManager::setFileFactory([] { return UWStandardFileRef(new RecordingFile); });
        // The desktop's theme, as a session would set it; the offscreen platform names none.
        QIcon::setThemeSearchPaths(QIcon::themeSearchPaths() << u"/usr/share/icons"_s);
        QIcon::setThemeName(u"Adwaita"_s);
        QVERIFY(m_dir.isValid());
        QVERIFY(sh(m_dir.path(), u"echo x > plain.txt"_s));
        // Hidden from a host by default; these tests check that the lines are written.
        QLoggingCategory::setFilterRules(u"tqkit.companion.info=true"_s);
    }

    void loadOperationListsFolders() // unreadable ones as empty
    {
        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"touch a.txt .hidden-b c.jpg && mkdir sub && ln -s a.txt link && ln -s sub link-to-sub"_s));
        UWFileLoadOperation load;
        // A link to a folder lists the folder it leads to; what cannot be listed adds nothing.
        for (const QString &folder : {dir.path(), dir.filePath(u"link-to-sub"_s), path(u"plain.txt"_s), path(u"no-such-folder"_s)})
            load.addObjectToQueue(UWStandardFile::newFileForPath(folder));
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(u"cannot list .*plain.txt - Not a directory"_s));
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression(u"cannot list .*no-such-folder - No such file"_s));
        load.main();
        const QList<UWStandardFileRef> results = load.results();
        QCOMPARE(names(results), (QStringList{u".hidden-b"_s, u"a.txt"_s, u"c.jpg"_s, u"link"_s, u"link-to-sub"_s, u"sub"_s}));
        for (const UWStandardFileRef &file : results) {
            QVERIFY(dynamic_cast<RecordingFile *>(file.get())); // made by the installed factory
            QCOMPARE(file->isDirectory(), file->displayName() == u"sub");
            QCOMPARE(file->isRealFile(), !file->displayName().startsWith(u"link"));
            // Before the content is read the icon is guessed from the name: for a folder, already the right one.
            const QIcon guessed = file->fileIcon();
            QVERIFY(!guessed.isNull());
            file->resolvedUTI();
            QVERIFY(!file->isDirectory() || file->fileIcon().name() == guessed.name());
        }
    }

    void relistingReportsChanges()
    {
        // Without an event loop in between, inotify has not spoken yet: the second listing alone
        // must find what changed.
        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"touch keep.txt edit.txt gone.txt old-name.txt"_s));
        const auto subscription = listed(dir.path());
        const UWStandardFileRef gone = itemNamed(subscription->files(), "gone.txt");
        const ino_t freedInode = inode(dir.filePath(u"gone.txt"_s));
        // A new file made right after a removal usually gets the freed inode: it is still not a rename.
        QVERIFY(sh(dir.path(), u"echo more >> edit.txt && rm gone.txt && touch added.txt && mv old-name.txt new-name.txt"_s));

        UWFileManager::sharedFileManager()->changeHappenedInDirectory(UWStandardFile::newFileForPath(dir.path()));
        const QList<UWStandardFileRef> files = subscription->files();
        QCOMPARE(names(files), (QStringList{u"added.txt"_s, u"edit.txt"_s, u"keep.txt"_s, u"new-name.txt"_s}));
        QVERIFY(heard(u"edit.txt"_s, UWFileEvent::ContentChanged));
        QVERIFY(heard(u"gone.txt"_s, UWFileEvent::Removed) && !heard(u"gone.txt"_s, UWFileEvent::Renamed));
        QVERIFY(!files.contains(gone));
        QVERIFY(heard(u"old-name.txt"_s, UWFileEvent::Renamed));
        QVERIFY(!heard(u"keep.txt"_s));
        if (inode(dir.filePath(u"added.txt"_s)) != freedInode)
            QSKIP("the file system gave the new file a fresh inode; inode reuse was not exercised");
    }

    void liveChanges_data()
    {
        QTest::addColumn<QString>("command"); // run in a folder holding a.txt, b.txt and a.txt.saved
        QTest::addColumn<int>("aHears");      // the event item "a.txt" hears; 0 for none
        QTest::addColumn<QString>("aIsNow");  // where item "a.txt" is afterwards; empty when it is gone
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");
        QTest::addColumn<QStringList>("renamed");
        QTest::addColumn<QStringList>("changed");

        const QStringList none, a{u"a.txt"_s}, b{u"b.txt"_s};
        QTest::newRow("a write") << u"echo more >> a.txt"_s << 1 << u"a.txt"_s << none << none << none << a;
        QTest::newRow("a new mode") << u"chmod 600 a.txt"_s << 2 << u"a.txt"_s << none << none << none << a;
        QTest::newRow("a rename keeps the item under its new name")
            << u"mv a.txt renamed.txt"_s << 3 << u"renamed.txt"_s << none << none << QStringList{u"renamed.txt"_s} << none;
        QTest::newRow("a rename, then a write to the new name") << u"mv a.txt r.txt && echo x >> r.txt"_s << 3 << u"r.txt"_s
                                                                << none << none << QStringList{u"r.txt"_s} << QStringList{u"r.txt"_s};
        QTest::newRow("saving over a file keeps the item")
            << u"mv a.txt.saved a.txt"_s << 4 << u"a.txt"_s << none << QStringList{u"a.txt.saved"_s} << none << a;
        QTest::newRow("a deletion") << u"rm a.txt"_s << 5 << QString() << none << a << none << none;
        QTest::newRow("a new file, written") << u"echo new > c.txt"_s << 0 << u"a.txt"_s << QStringList{u"c.txt"_s} << none << none << none;
        QTest::newRow("a file that came and went")
            << u"touch tmp && mv tmp tmp2 && rm tmp2 && chmod 600 b.txt"_s << 0 << u"a.txt"_s << none << none << none << b;
        QTest::newRow("two names swapped through a third") << u"mv a.txt t && mv b.txt a.txt && mv t b.txt"_s << 3 << u"b.txt"_s
                                                           << none << none << QStringList{u"a.txt"_s, u"b.txt"_s} << none;
    }

    void liveChanges()
    {
        QFETCH(QString, command);
        QFETCH(int, aHears);
        QFETCH(QString, aIsNow);

        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"echo first > a.txt && echo second > b.txt && echo saved > a.txt.saved"_s));
        const auto subscription = listed(dir.path());
        QCOMPARE(subscribe(dir.path()), subscription); // one per folder
        QVERIFY(!subscribe(dir.filePath(u"a.txt"_s))); // and only folders
        const UWStandardFileRef a = itemNamed(subscription->files(), "a.txt");
        QVERIFY(a);
        // What each listed item announces, heard the way a view hears it.
        std::map<const UWStandardFile *, Announcements> announced;
        for (const UWStandardFileRef &file : subscription->files())
            file->addObserver(&announced[file.get()]);
        const auto unobserve = qScopeGuard([&] {
            for (const UWStandardFileRef &file : subscription->files())
                file->removeObserver(&announced[file.get()]);
        });
        Batches batches(subscription.get());
        QStringList order;
        QObject listening; // the manager outlives this test
        connect(subscription.get(), &UWFileSubscription::filesChanged, &listening, [&] { order.append(u"subscription"_s); });
        connect(UWFileManager::sharedFileManager(), &UWFileManager::directoryChanged, &listening,
                [&](const QString &path, const UWFolderChanges &changes) {
                    QCOMPARE(path, dir.path());
                    QCOMPARE(changes.nativePath, QFile::encodeName(dir.path()));
                    order.append(u"manager"_s);
                });

        QVERIFY(sh(dir.path(), command)); // one batch: the event loop sleeps while the shell runs
        QTRY_COMPARE(batches.heard.size(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(batches.heard.size(), 1);
        QCOMPARE(order, (QStringList{u"subscription"_s, u"manager"_s}));
        QCOMPARE(names(subscription->files()), QDir(dir.path()).entryList(QDir::Files));
        QVERIFY(!aHears || heard(u"a.txt"_s, aHears));
        QCOMPARE(heard(u"b.txt"_s), command.contains(u"b.txt")); // left alone unless named
        if (!aIsNow.isEmpty()) {
            QVERIFY(subscription->files().contains(a)); // the same item, not a new one
            QCOMPARE(a->path(), dir.filePath(aIsNow));
            QTRY_COMPARE(a->modificationDate(), QFileInfo(a->path()).lastModified().toUTC());
        }
        const UWFolderChanges changes = batches.heard.first();
        QCOMPARE(changes.folder, subscription->folder());
        QTEST(names(changes.added), "added");
        QTEST(names(changes.removed), "removed");
        QTEST(names(changes.renamed), "renamed");
        QTEST(names(changes.changed), "changed");
        for (const UWStandardFileRef &file : changes.added)
            QVERIFY(subscription->files().contains(file));
        for (const UWStandardFileRef &file : changes.removed)
            QVERIFY(!subscription->files().contains(file));
        // The keys named are the ones the item announced, each once.
        for (const UWStandardFileRef &file : changes.removed + changes.renamed + changes.changed) {
            QStringList did;
            for (const QString &line : std::as_const(announced[file.get()].log)) {
                if (line.startsWith(u"did "_s) && !did.contains(line.mid(4)))
                    did.append(line.mid(4));
            }
            QCOMPARE(changes.keysFor(file), did);
        }
        QVERIFY(changes.renamed.isEmpty() || changes.keysFor(changes.renamed.first()).contains(u"displayName"_s));
    }

    // New names are looked up by a worker. Whatever the folder does while the answer is on its
    // way is heard after it and wins: a stale answer never shows, nor a name already gone.
    void lookupsRaceLaterEvents_data()
    {
        QTest::addColumn<QString>("first");     // run, then heard and looked up
        QTest::addColumn<QString>("meanwhile"); // run once the worker has answered, before the answer is applied
        QTest::addColumn<QStringList>("filesAfter");
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");
        QTest::addColumn<QStringList>("folders"); // of filesAfter

        const QStringList none, x{u"x"_s}, old{u"old"_s};
        QTest::newRow("created, deleted") << u"touch x"_s << u"rm x"_s << old << none << none << none;
        QTest::newRow("created, renamed") << u"touch x"_s << u"mv x y"_s << QStringList{u"old"_s, u"y"_s}
                                          << QStringList{u"y"_s} << none << none;
        QTest::newRow("created, replaced by a folder")
            << u"touch x"_s << u"rm x && mkdir x"_s << QStringList{u"old"_s, u"x"_s} << x << none << x;
        QTest::newRow("created, written") << u"touch x"_s << u"echo 12345 > x"_s << QStringList{u"old"_s, u"x"_s} << x << none
                                          << none;
        QTest::newRow("deleted, created again") << u"rm old && touch old"_s << u":"_s << old << old << old << none;
        QTest::newRow("deleted, created, deleted") << u"rm old && touch old"_s << u"rm old"_s << none << none << old << none;
        QTest::newRow("created in a folder deleted") << u"touch x"_s << u"rm x && mkdir x && touch x/in && rm -r x"_s << old
                                                     << none << none << none;
    }

    void lookupsRaceLaterEvents()
    {
        QFETCH(QString, first);
        QFETCH(QString, meanwhile);
        QFETCH(QStringList, filesAfter);
        QFETCH(QStringList, folders);

        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"echo was > old"_s));
        const auto subscription = listed(dir.path());
        const UWStandardFileRef old = subscription->files().value(0);
        Batches batches(subscription.get());

        QVERIFY(sh(dir.path(), first));
        QCoreApplication::processEvents(); // heard: the lookup goes to a worker
        UWFileManager::sharedFileManager()->utilityQueue()->waitForDone(); // answered, not applied yet
        QVERIFY(sh(dir.path(), meanwhile));
        QTRY_COMPARE(names(subscription->files()), filesAfter);
        settle();
        QCOMPARE(names(subscription->files()), filesAfter);
        QTEST(batches.all(&UWFolderChanges::added), "added");
        QTEST(batches.all(&UWFolderChanges::removed), "removed");
        for (const UWStandardFileRef &file : subscription->files()) {
            QCOMPARE(file->isDirectory(), folders.contains(file->displayName()));
            QVERIFY(file->exists());
            if (!file->isDirectory()) // the size of the last write, not of the file looked up
                QCOMPARE(file->byteSize(), QFileInfo(file->path()).size());
        }
        // A name deleted and made again is a new item, never the old one back.
        QCOMPARE(subscription->files().contains(old), !first.contains(u"rm old"));
    }

    // Thousands of renames queued at once: each item follows its own file, and the burst is taken
    // a slice per turn of the event loop, so that a program renaming thousands of files never
    // holds the GUI thread for long.
    void renamesInOneBatchArePaired_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<bool>("acrossFolders");
        QTest::addColumn<bool>("halvesReadApart"); // more events than one wake-up reads, split mid-move

        QTest::newRow("one move between two folders") << 1 << true << false;
        QTest::newRow("5000 renames in one folder") << 5000 << false << false;
        QTest::newRow("8000 renames, the halves of one move read apart") << 8000 << false << true;
        QTest::newRow("3000 moves between two folders") << 3000 << true << false;
    }

    void renamesInOneBatchArePaired()
    {
        QFETCH(int, count);
        QFETCH(bool, acrossFolders);
        QFETCH(bool, halvesReadApart);

        QTemporaryDir dir;
        const QByteArray from = QFile::encodeName(dir.filePath(u"from"_s));
        const QByteArray to = acrossFolders ? QFile::encodeName(dir.filePath(u"to"_s)) : from;
        QVERIFY(::mkdir(from.constData(), 0755) == 0);
        QVERIFY(to == from || ::mkdir(to.constData(), 0755) == 0);
        // Long names make 80-byte events, so that the queue outgrows one wake-up's reads.
        const QByteArray padding(halvesReadApart ? 43 : 0, 'x');
        const auto name = [&](const char *prefix, int i) { return prefix + padding + QByteArray::number(i).rightJustified(5, '0'); };
        for (int i = 0; i < count; ++i)
            QVERIFY(touch(from + '/' + name("f-", i)));
        const auto source = listed(QFile::decodeName(from));
        const auto target = listed(QFile::decodeName(to));
        QHash<QByteArray, UWStandardFileRef> before;
        for (const UWStandardFileRef &file : source->files())
            before.insert(file->nativeFileName(), file);
        QCOMPARE(before.size(), count);
        Batches sourceBatches(source.get()), targetBatches(target.get());

        if (halvesReadApart) // one event before the moves puts a first half last in a read
            QVERIFY(::chmod((from + '/' + name("f-", 0)).constData(), 0600) == 0);
        // Renamed in reverse order, so that pairing by position could not pass by chance.
        for (int i = count - 1; i >= 0; --i)
            QVERIFY(::rename((from + '/' + name("f-", i)).constData(), (to + '/' + name("g-", i)).constData()) == 0);

        QTRY_COMPARE(target->files().size(), count);
        QTRY_VERIFY(std::all_of(target->files().cbegin(), target->files().cend(),
                                [](const UWStandardFileRef &f) { return f->nativeFileName().startsWith("g-"); }));
        for (int i = 0; i < count; ++i) {
            const UWStandardFileRef item = before.value(name("f-", i));
            QCOMPARE(item->nativeFileName(), name("g-", i)); // each item followed its own file
            QVERIFY(item->exists());
        }
        QCOMPARE(QSet<UWStandardFileRef>(target->files().cbegin(), target->files().cend()),
                 QSet<UWStandardFileRef>(before.cbegin(), before.cend()));
        for (const UWFolderChanges &changes : sourceBatches.heard + targetBatches.heard) {
            const qsizetype size = changes.added.size() + changes.removed.size() + changes.renamed.size();
            QVERIFY2(size <= 1000, qPrintable(QString::number(size)));
        }
        const QString first = QFile::decodeName(name("f-", 0));
        QVERIFY(heard(first, UWFileEvent::Renamed) && !heard(first, UWFileEvent::Removed));
        // Across folders the same items leave one listing and join the other; within one, they are renamed.
        const QList<qsizetype> sourceCounts{source->files().size(), sourceBatches.all(&UWFolderChanges::added).size(),
                                            sourceBatches.all(&UWFolderChanges::removed).size(),
                                            sourceBatches.all(&UWFolderChanges::renamed).size()};
        QCOMPARE(sourceCounts, (acrossFolders ? QList<qsizetype>{0, 0, count, 0} : QList<qsizetype>{count, 0, 0, count}));
        QVERIFY(!acrossFolders || targetBatches.all(&UWFolderChanges::added) == names(target->files()));
    }

    // When the kernel drops events, the folders are listed again; what was heard before the drop
    // is still reported, also for a folder whose listing already shows it.
    void overflowStillReportsWhatWasHeard()
    {
        QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
        const int queueLength = limit.open(QIODevice::ReadOnly) ? limit.readAll().trimmed().toInt() : 0;
        if (queueLength <= 0 || queueLength > 100000)
            QSKIP("the event queue's length is unknown or too long to fill here");
        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"mkdir quiet busy"_s));
        const auto quiet = listed(dir.filePath(u"quiet"_s));
        const auto busy = listed(dir.filePath(u"busy"_s));
        Batches quietBatches(quiet.get());
        const QByteArray busyPath = QFile::encodeName(dir.filePath(u"busy"_s));

        // Each file is two events (created, closed); the quiet folder's one file lands near the
        // end of the queue, in the last part read before the drop is noticed.
        const int files = queueLength / 2 + 200;
        for (int i = 0; i < files; ++i) {
            if (i == files * 3 / 4)
                QVERIFY(touch(QFile::encodeName(dir.filePath(u"quiet/heard"_s))));
            QVERIFY(touch(busyPath + "/n-" + QByteArray::number(i)));
        }
        QTRY_COMPARE(busy->files().size(), files);
        QTRY_COMPARE(quietBatches.all(&UWFolderChanges::added), QStringList{u"heard"_s});
        QCOMPARE(names(quiet->files()), QStringList{u"heard"_s});
    }

    void folderLeavingItsPath_data()
    {
        QTest::addColumn<QString>("command"); // run in the parent of "sub", which holds "one"
        QTest::addColumn<QStringList>("filesAfter");
        QTest::addColumn<bool>("oneHearsRemoved");

        QTest::newRow("deleted") << u"rm -r sub"_s << QStringList{} << true;
        QTest::newRow("moved away") << u"mv sub elsewhere"_s << QStringList{} << true;
        QTest::newRow("moved away, another folder in its place")
            << u"mv sub elsewhere && mkdir sub && touch sub/two"_s << QStringList{u"two"_s} << true;
        QTest::newRow("moved away and back") << u"mv sub sub2 && mv sub2 sub"_s << QStringList{u"one"_s} << false;
    }

    void folderLeavingItsPath()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, filesAfter);
        QFETCH(bool, oneHearsRemoved);

        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"mkdir sub && touch sub/one"_s));
        const auto subscription = listed(dir.filePath(u"sub"_s));
        QCOMPARE(subscription->files().size(), 1);
        const UWStandardFileRef one = subscription->files().first();

        if (filesAfter.isEmpty()) // the listing that finds nothing says why
            QTest::ignoreMessage(QtInfoMsg, QRegularExpression(u"cannot list .*/sub - No such file or directory"_s));
        QVERIFY(sh(dir.path(), command));
        QTRY_COMPARE(names(subscription->files()), filesAfter);
        if (oneHearsRemoved)
            QTRY_VERIFY(heard(u"one"_s, UWFileEvent::Removed));
        settle(); // the listing that finds nothing is made by a worker
        if (!oneHearsRemoved) {
            // The folder never left for good: its items stay as they were.
            QVERIFY(!heard(u"one"_s, UWFileEvent::Removed));
            QCOMPARE(subscription->files().first(), one);
        }
        // A folder at the path is followed live, whichever folder it is now.
        if (!filesAfter.isEmpty()) {
            QVERIFY(sh(dir.path(), u"touch sub/later"_s));
            filesAfter.append(u"later"_s);
            filesAfter.sort();
            QTRY_COMPARE(names(subscription->files()), filesAfter);
        }
    }

    // A folder renamed and subscribed again under its new name before the old subscription goes:
    // both follow the same folder, and the old one going must not deafen the new one.
    void folderWatchedUnderTwoPaths()
    {
        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"mkdir old && touch old/one"_s));
        auto before = listed(dir.filePath(u"old"_s));
        QVERIFY(sh(dir.path(), u"mv old new"_s));
        const auto after = listed(dir.filePath(u"new"_s));
        QCOMPARE(names(after->files()), QStringList{u"one"_s});
        before.reset();
        QVERIFY(sh(dir.path(), u"touch new/two"_s));
        QTRY_COMPARE(names(after->files()), (QStringList{u"one"_s, u"two"_s}));
    }

    void archivesFindFilesAgain_data()
    {
        QTest::addColumn<QString>("how"); // how the archive is bent before it is resolved
        QTest::addColumn<bool>("allowPlaceholders");
        QTest::addColumn<QString>("expect");

        QTest::newRow("the file still at its path is found") << u"as-is"_s << true << u"found"_s;
        QTest::newRow("the volume mounted somewhere else is followed") << u"moved-mount"_s << true << u"found"_s;
        QTest::newRow("the volume not mounted gives a placeholder") << u"unknown-volume"_s << true << u"placeholder"_s;
        QTest::newRow("the volume not mounted and no placeholders wanted gives nothing")
            << u"unknown-volume"_s << false << u"nothing"_s;
        QTest::newRow("the volume mounted but the file gone gives nothing") << u"file-gone"_s << true << u"nothing"_s;
        // Refused with one line that says what was refused, never the record: it holds the user's paths.
        QTest::newRow("an empty archive") << u"empty"_s << true << u"refused"_s;
        QTest::newRow("an archive of a future version") << u"future"_s << true << u"refused"_s;
        QTest::newRow("an archive with a relative path") << u"relative"_s << true << u"refused"_s;
        QTest::newRow("an archive with values of the wrong types") << u"wrong types"_s << true << u"refused"_s;
    }

    void archivesFindFilesAgain()
    {
        QFETCH(QString, how);
        QFETCH(bool, allowPlaceholders);
        QFETCH(QString, expect);

        QVariantMap archive = UWStandardFile::newFileForPath(path(u"plain.txt"_s))->archiveDictionary();
        const QString relative = archive.value(u"volumePath"_s).toString();
        QVERIFY(!relative.isEmpty());
        if (how == u"moved-mount") {
            archive[u"path"_s] = u"/media/gone-away"_s + relative;
            archive[u"mountPoint"_s] = u"/media/gone-away"_s;
        } else if (how == u"unknown-volume") {
            archive[u"path"_s] = u"/media/usb-stick/plain.txt"_s;
            archive[u"volume"_s] = u"uuid:0000-not-mounted"_s;
        } else if (how == u"file-gone") {
            archive[u"path"_s] = path(u"never-was.txt"_s);
            archive[u"volumePath"_s] = relative + u".missing"_s;
        } else if (how == u"empty") {
            archive.clear();
        } else if (how == u"future") {
            archive = {{u"version"_s, 99}, {u"path"_s, u"/"_s}};
        } else if (how == u"relative") {
            archive = {{u"version"_s, 1}, {u"path"_s, u"a/b"_s}};
        } else if (how == u"wrong types") {
            archive = {{u"version"_s, u"one"_s}, {u"path"_s, QVariantList{1, 2}}, {u"inode"_s, u"x"_s}};
        }
        const bool refused = expect == u"refused";
        if (refused)
            QTest::ignoreMessage(QtInfoMsg, QRegularExpression(u"^not a file archive: a record of \\d+ keys$"_s));

        QString error;
        const UWStandardFileRef found = UWStandardFile::newFileForArchive(archive, allowPlaceholders, &error);
        QCOMPARE(found ? (found->isPlaceholder() ? u"placeholder"_s : u"found"_s) : u"nothing"_s, refused ? u"nothing"_s : expect);
        if (expect == u"found") {
            QCOMPARE(found->path(), path(u"plain.txt"_s));
        } else if (expect == u"placeholder") {
            QCOMPARE(found->displayName(), u"plain.txt"_s);
            QCOMPARE(found->archiveDictionary(), archive); // nothing of the description is lost
            QVERIFY(found->URL().isEmpty() && found->path().isEmpty() && found->uti().isEmpty());
            QVERIFY(!found->exists() && !found->parentItem());
        } else {
            QCOMPARE(error, refused ? u"not a file archive"_s : error);
            QVERIFY(!error.isEmpty());
        }
    }

    void placeholderComesBack()
    {
        const QString later = path(u"arrives-later.txt"_s);
        QVERIFY(UWStandardFile::newFileForPath(later)->archiveDictionary().isEmpty());
        QCOMPARE(UWStandardFile::arrayOfFilesForPaths({later}, false).size(), 0);
        const QList<UWStandardFileRef> files = UWStandardFile::arrayOfFilesForPaths({later, path(u"plain.txt"_s)}, true);
        QCOMPARE(files.size(), 2);
        const UWStandardFileRef placeholder = files.first();
        QVERIFY(placeholder->isPlaceholder());
        QCOMPARE(placeholder->displayName(), u"arrives-later.txt"_s);
        QVERIFY(placeholder->currentURL().isEmpty());
        // A path that is its own bytes' text needs no second, byte-exact copy in the archive.
        QCOMPARE(placeholder->archiveDictionary().value(u"path"_s).toString(), later);
        QVERIFY(!placeholder->archiveDictionary().contains(u"nativePath"_s));

        Announcements announcements;
        placeholder->addObserver(&announcements);
        QVERIFY(sh(m_dir.path(), u"echo here now > arrives-later.txt"_s));
        QCOMPARE(placeholder->currentURL(), QUrl::fromLocalFile(later));
        QVERIFY(!placeholder->isPlaceholder());
        QCOMPARE(placeholder->uti(), u"public.plain-text"_s);
        QVERIFY(announcements.log.contains(u"did isPlaceholder"_s));
        placeholder->removeObserver(&announcements);
    }

    void permissions()
    {
        QVERIFY(sh(m_dir.path(), u"touch read-only.jpg && chmod 444 read-only.jpg"_s));
        const UWStandardFileRef file = UWStandardFile::newFileForPath(path(u"read-only.jpg"_s));
        QVERIFY(file->isReadable());
        QVERIFY(!file->isWritable()); // also for the superuser: nobody is granted writing
        QVERIFY(sh(m_dir.path(), u"chmod 000 read-only.jpg"_s));
        QVERIFY(!file->isReadable());
        QVERIFY(sh(m_dir.path(), u"chmod 644 read-only.jpg"_s));
        QVERIFY(file->isWritable());
        QVERIFY(!UWStandardFile::newFileForPath(path(u"missing"_s))->isReadable());
    }

    void namesThatAreNotUtf8_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("size"); // each file has its own, so that reaching another one shows
        QTest::addColumn<QString>("how");

        // "\xff.txt" and "\xfe.txt" both show as "\uFFFD.txt": only their bytes tell them apart.
        for (const QString &how : {u"listed"_s, u"by native path"_s, u"by URL"_s, u"by archive"_s, u"parent"_s,
                                   u"renamed, heard live"_s, u"renamed, found by relisting"_s}) {
            QTest::addRow("\\xff, %s", qPrintable(how)) << QByteArray("\xff.txt") << 3 << how;
            QTest::addRow("\\xfe, %s", qPrintable(how)) << QByteArray("\xfe.txt") << 5 << how;
            QTest::addRow("Latin-1, %s", qPrintable(how)) << QByteArray("caf\xe9.txt") << 7 << how;
        }
    }

    void namesThatAreNotUtf8()
    {
        QFETCH(QByteArray, name);
        QFETCH(QString, how);

        QTemporaryDir dir;
        // A folder whose own name is not UTF-8 either: every path below it must keep its bytes.
        const QByteArray folder = QFile::encodeName(dir.path()) + "/\xf0\x28";
        QVERIFY(::mkdir(folder.constData(), 0755) == 0);
        const auto removeFolder = qScopeGuard([&] { QProcess::execute(u"rm"_s, {u"-rf"_s, dir.path()}); });
        QVERIFY(touch(folder + "/\xff.txt", 3) && touch(folder + "/\xfe.txt", 5) && touch(folder + "/caf\xe9.txt", 7));
        const QByteArray path = folder + '/' + name;

        const UWStandardFileRef folderItem = UWStandardFile::newFileForNativePath(folder);
        QVERIFY(folderItem && folderItem->isDirectory());
        const auto subscription = UWFileManager::sharedFileManager()->subscriptionForFile(folderItem);
        subscription->loadImmediately();
        QCOMPARE(subscription->files().size(), 3);
        UWStandardFileRef item = itemNamed(subscription->files(), name);
        if (how == u"by native path") {
            item = UWStandardFile::newFileForNativePath(path);
        } else if (how == u"by URL") {
            QVERIFY(item->URL().toEncoded().contains(QByteArray("/%F0")));
            item = UWStandardFile::newFileForURL(item->URL());
        } else if (how == u"by archive") {
            // Saved and read back as settings would keep it.
            QByteArray saved;
            QDataStream out(&saved, QIODevice::WriteOnly), in(&saved, QIODevice::ReadOnly);
            out << UWStandardFile::newFileForNativePath(path)->archiveDictionary();
            QVariantMap archive;
            in >> archive;
            item = UWStandardFile::newFileForArchive(archive);
        } else if (how == u"parent") {
            const UWStandardFileRef parent = UWStandardFile::newFileForNativePath(path)->parentItem();
            QCOMPARE(parent->nativePath(), folder);
            item = UWStandardFile::newFileForNativePath(parent->nativePath() + '/' + name);
        } else if (how.startsWith(u"renamed")) {
            const QByteArray renamed = "new " + name;
            QVERIFY(::rename(path.constData(), (folder + '/' + renamed).constData()) == 0);
            if (how == u"renamed, heard live")
                QTRY_COMPARE(item->nativeFileName(), renamed);
            else
                UWFileManager::sharedFileManager()->changeHappenedInDirectory(folderItem);
            QCOMPARE(item->nativeFileName(), renamed);
            QCOMPARE(itemNamed(subscription->files(), renamed), item);
            QVERIFY(heard(QFile::decodeName(name), UWFileEvent::Renamed));
            name = renamed;
        }
        QVERIFY(item);
        QCOMPARE(item->nativePath(), folder + '/' + name);
        QVERIFY(item->exists());
        QTEST(int(item->byteSize()), "size");
        QCOMPARE(item->uti(), u"public.plain-text"_s);
        QVERIFY(item->isReadable());
        // Shown with the replacement character; reached through the bytes.
        QCOMPARE(item->displayName(), QFile::decodeName(name));
        QCOMPARE(item->path(), QFile::decodeName(folder + '/' + name));
        QCOMPARE(UWStandardFile::nativePathForURL(item->URL()), folder + '/' + name);
    }

    void lostFileLeavesNoLocation_data()
    {
        QTest::addColumn<QString>("change"); // what a shell does to the file after the item was made
        QTest::addColumn<bool>("found");     // whether currentURL() still finds a file there

        QTest::newRow("left alone") << u":"_s << true;
        QTest::newRow("deleted") << u"rm lost.txt"_s << false;
        QTest::newRow("replaced by another file") << u"rm lost.txt && echo new > lost.txt"_s << true;
        QTest::newRow("replaced by a folder") << u"rm lost.txt && mkdir lost.txt"_s << true;
        QTest::newRow("moved away") << u"mv lost.txt elsewhere.txt"_s << false;
    }

    void lostFileLeavesNoLocation()
    {
        QFETCH(QString, change);
        QFETCH(bool, found);

        QTemporaryDir dir;
        QVERIFY(sh(dir.path(), u"echo old > lost.txt"_s));
        const UWStandardFileRef file = UWStandardFile::newFileForPath(dir.filePath(u"lost.txt"_s));
        const QUrl url = file->URL();
        const QVariantMap archive = file->archiveDictionary();
        Announcements announcements;
        file->addObserver(&announcements);
        const auto unobserve = qScopeGuard([&] { file->removeObserver(&announcements); });
        QVERIFY(sh(dir.path(), change));

        QCOMPARE(file->currentURL().isEmpty(), !found);
        QCOMPARE(file->URL(), found ? url : QUrl());
        QCOMPARE(file->path().isEmpty(), !found);
        QCOMPARE(file->exists(), found);
        QVERIFY(!file->isPlaceholder());
        QCOMPARE(file->displayName(), u"lost.txt"_s);
        const QStringList lostLocation{u"will URL"_s, u"will path"_s, u"did path"_s, u"did URL"_s};
        QCOMPARE(announcements.log, found ? QStringList() : lostLocation);
        // What a bookmark does next: the file is looked for through its archive, which takes the
        // same inode, or an entry of the same kind: a folder in a file's place only when the file
        // system gave it the file's inode back.
        struct stat now;
        const bool sameKind = ::stat(QFile::encodeName(dir.filePath(u"lost.txt"_s)).constData(), &now) == 0
            && (S_ISDIR(now.st_mode) == archive.value(u"isDirectory"_s).toBool()
                || now.st_ino == ino_t(archive.value(u"inode"_s).toULongLong()));
        QCOMPARE(bool(UWStandardFile::newFileForArchive(archive)), found && sameKind);
        if (found)
            return;

        // Asked again, the lost item stays quiet; once something is at the old path again, it is back.
        announcements.log.clear();
        QVERIFY(file->currentURL().isEmpty());
        QVERIFY(announcements.log.isEmpty());
        QVERIFY(sh(dir.path(), u"echo back > lost.txt"_s));
        QCOMPARE(file->currentURL(), url);
        QCOMPARE(file->URL(), url);
        QVERIFY(file->exists());
        QCOMPARE(announcements.log, lostLocation);
    }

    void adoptedListingCatchesUp_data()
    {
        QTest::addColumn<QString>("watch");  // "first", "on a worker" (registered later, on this thread) or "no"
        QTest::addColumn<QString>("before"); // run once watched, before the listing is made
        QTest::addColumn<QString>("after");  // run after the listing, before it is adopted
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");
        QTest::addColumn<QStringList>("changed");
        const QStringList none, added{u"new.txt"_s}, removed{u"gone.txt"_s};
        QTest::newRow("created") << u"first"_s << QString() << u"touch new.txt"_s << added << none << none;
        QTest::newRow("deleted") << u"first"_s << QString() << u"rm gone.txt"_s << none << removed << none;
        QTest::newRow("written") << u"first"_s << QString() << u"echo more >> edit.txt"_s << none << none << QStringList{u"edit.txt"_s};
        QTest::newRow("renamed") << u"first"_s << QString() << u"mv old.txt new.txt"_s << added << QStringList{u"old.txt"_s} << none;
        QTest::newRow("came and went") << u"first"_s << QString() << u"touch tmp.txt && rm tmp.txt"_s << none << none << none;
        QTest::newRow("seen by the listing") << u"first"_s << u"echo more >> edit.txt && touch new.txt && rm gone.txt"_s << QString()
                                             << none << none << none;
        QTest::newRow("not watched first") << u"no"_s << QString() << u"touch new.txt && rm gone.txt"_s << added << removed << none;
        // What is heard of a watch not registered yet waits for it instead of being dropped as a stranger's.
        QTest::newRow("watch added on a worker") << u"on a worker"_s << QString() << u"touch new.txt && rm gone.txt"_s << added
                                                 << removed << none;
        QTest::newRow("folder deleted") << u"first"_s << QString() << u"rm -rf \"$PWD\""_s << none
                                        << QStringList{u"edit.txt"_s, u"gone.txt"_s, u"keep.txt"_s, u"old.txt"_s} << none;
    }

    // A listing made elsewhere and adopted misses nothing that happened after the watch began,
    // and reports nothing the listing saw already.
    void adoptedListingCatchesUp()
    {
        QFETCH(QString, watch);
        QFETCH(QString, before);
        QFETCH(QString, after);

        QTemporaryDir parent;
        const QString folder = parent.filePath(u"f"_s);
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(sh(folder, u"touch keep.txt edit.txt gone.txt old.txt"_s));
        const auto subscription = subscribe(folder);
        Batches batches(subscription.get());
        std::function<void()> addWatch;
        if (watch == u"first") {
            subscription->startWatching();
            QVERIFY(!UWFileManagerInternal::watchLater(subscription.get())); // watched already
        } else if (watch == u"on a worker") {
            addWatch = UWFileManagerInternal::watchLater(subscription.get());
            QVERIFY(addWatch);
            std::thread([&addWatch] { addWatch(); }).join();
        }
        QVERIFY(before.isEmpty() || sh(folder, before));
        QCoreApplication::processEvents();
        QList<UWStandardFileRef> listing;
        for (const QString &name : QDir(folder).entryList(QDir::Files))
            listing.append(UWStandardFile::newFileForPath(folder + u'/' + name));
        QVERIFY(after.isEmpty() || sh(folder, after));
        QCoreApplication::processEvents(); // as a rule the events are heard before the adoption
        if (addWatch) {
            settle(); // heard, but the watch is not registered yet: nothing may be lost
            addWatch = nullptr; // dropped: registered here
            settle();
        }
        if (after.contains(u"rm -rf"))
            QTest::ignoreMessage(QtInfoMsg, QRegularExpression(u"cannot list .* No such file"_s));
        QVERIFY(subscription->adoptListing(listing));
        QVERIFY(!subscription->adoptListing({}));
        QVERIFY(!UWFileManagerInternal::watchLater(subscription.get())); // listed already
        settle(); // the names touched are looked at again by a worker
        QCOMPARE(names(subscription->files()), QDir(folder).entryList(QDir::Files));
        settle(); // events heard late must not report twice
        QTEST(batches.all(&UWFolderChanges::added), "added");
        QTEST(batches.all(&UWFolderChanges::removed), "removed");
        QStringList written = batches.all(&UWFolderChanges::changed);
        written.removeDuplicates();
        QTEST(written, "changed");
    }

    // While a watch is on its way, the last word of a watch this side removed (a view that
    // left its folder) is known not to be the new one's, and does not hold back the others.
    void leftFolderWhileAWatchIsOnItsWay()
    {
        QTemporaryDir left, live, coming;
        auto leaving = listed(left.path());
        const auto shown = listed(live.path());
        Batches batches(shown.get());
        const auto waiting = subscribe(coming.path());
        std::function<void()> watch = UWFileManagerInternal::watchLater(waiting.get());
        QVERIFY(watch);
        std::thread([&watch] { watch(); }).join();
        leaving.reset(); // its watch goes, and the kernel says so
        settle();
        QVERIFY(touch(QFile::encodeName(live.filePath(u"new.txt"_s))));
        QTRY_COMPARE_WITH_TIMEOUT(batches.all(&UWFolderChanges::added), QStringList{u"new.txt"_s}, 5000);
        watch = nullptr;
        settle();
    }

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
};

QTEST_MAIN(TestFileManager)
#include "tst_filemanager.moc"
