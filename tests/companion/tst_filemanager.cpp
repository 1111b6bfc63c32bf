#include "UWFileLoadOperation.h"
#include "UWFileManager.h"
#include "UWStandardFile.h"

#include <QBuffer>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

struct Heard
{
    QString name; // the item's name when it heard the event
    int type;
    QString newPath;
};

// Every item of this suite is one of these, so that it can tell which events reached it.
class RecordingFile : public UWStandardFile
{
public:
    static inline QList<Heard> heard;

    void updateForEvent(const UWFileEvent &event) override
    {
        heard.append({displayName(), event.type, event.newPath});
        UWStandardFile::updateForEvent(event);
    }
};

class Announcements : public UWFileObserver
{
public:
    QStringList log;
    void fileWillChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(QStringLiteral("will ") + key.toString()); }
    void fileDidChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(QStringLiteral("did ") + key.toString()); }
};

bool writeFile(const QString &path, const QByteArray &content, QIODevice::OpenMode mode = QIODevice::WriteOnly)
{
    QFile file(path);
    return file.open(mode) && file.write(content) == content.size();
}

QStringList names(const QList<UWStandardFileRef> &files)
{
    QStringList result;
    for (const UWStandardFileRef &file : files)
        result.append(file->displayName());
    result.sort();
    return result;
}

bool heardEvent(const QString &name, int type)
{
    return std::any_of(RecordingFile::heard.cbegin(), RecordingFile::heard.cend(),
                       [&](const Heard &h) { return h.name == name && h.type == type; });
}

} // namespace

class TestFileManager : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void loadOperationListsFolders();
    void unreadableFolderListsAsEmpty();
    void subscriptionIsShared();
    void liveEvents_data();
    void liveEvents();
    void relistingReportsChanges();
    void eventsAnnounceTheirKeys();
    void archivesFindFilesAgain_data();
    void archivesFindFilesAgain();
    void archivesRoundTrip();
    void malformedArchivesAreRefused_data();
    void malformedArchivesAreRefused();
    void placeholderComesBack();
    void relatives();
    void permissions();

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
};

void TestFileManager::initTestCase()
{
    UWFileManager::setFileFactory([] { return UWStandardFileRef(new RecordingFile); });
    // The desktop's theme, as a session would set it; the offscreen platform names none.
    QIcon::setThemeSearchPaths(QIcon::themeSearchPaths() << QStringLiteral("/usr/share/icons"));
    QIcon::setThemeName(QStringLiteral("Adwaita"));
    QVERIFY(m_dir.isValid());
}

void TestFileManager::init()
{
    RecordingFile::heard.clear();
}

void TestFileManager::cleanupTestCase()
{
    UWFileManager::setFileFactory({});
}

void TestFileManager::loadOperationListsFolders()
{
    QTemporaryDir dir;
    for (const char *name : {"a.txt", ".hidden-b", "c.jpg"})
        QVERIFY(writeFile(dir.filePath(QString::fromLatin1(name)), "x"));
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("sub")));
    QVERIFY(QFile::link(QStringLiteral("a.txt"), dir.filePath(QStringLiteral("link"))));
    QVERIFY(QFile::link(QStringLiteral("sub"), dir.filePath(QStringLiteral("link-to-sub"))));

    UWFileLoadOperation load;
    load.addObjectToQueue(UWStandardFile::newFileForPath(dir.path()));
    // A link to a folder lists the folder it leads to.
    load.addObjectToQueue(UWStandardFile::newFileForPath(dir.filePath(QStringLiteral("link-to-sub"))));
    load.main();
    const QList<UWStandardFileRef> results = load.results();
    QCOMPARE(names(results), (QStringList{QStringLiteral(".hidden-b"), QStringLiteral("a.txt"), QStringLiteral("c.jpg"),
                                          QStringLiteral("link"), QStringLiteral("link-to-sub"), QStringLiteral("sub")}));
    for (const UWStandardFileRef &file : results) {
        QVERIFY(dynamic_cast<RecordingFile *>(file.get())); // made by the installed factory
        QCOMPARE(file->isDirectory(), file->displayName() == u"sub");
        QCOMPARE(file->isRealFile(), !file->displayName().startsWith(u"link"));
    }
}

void TestFileManager::unreadableFolderListsAsEmpty()
{
    QVERIFY(writeFile(path(QStringLiteral("plain.txt")), "x"));
    UWFileLoadOperation load;
    load.addObjectToQueue(UWStandardFile::newFileForPath(path(QStringLiteral("plain.txt"))));
    load.addObjectToQueue(UWStandardFile::newFileForPath(path(QStringLiteral("no-such-folder"))));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("cannot list .*plain.txt - Not a directory")));
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("cannot list .*no-such-folder - No such file")));
    load.main();
    QVERIFY(load.results().isEmpty());
}

void TestFileManager::subscriptionIsShared()
{
    UWFileManager *manager = UWFileManager::sharedFileManager();
    QCOMPARE(manager, UWFileManager::sharedFileManager());
    QVERIFY(manager->utilityQueue());
    const UWStandardFileRef folder = UWStandardFile::newFileForPath(m_dir.path());
    const auto first = manager->subscriptionForFile(folder);
    const auto second = manager->subscriptionForFile(UWStandardFile::newFileForPath(m_dir.path()));
    QVERIFY(first);
    QCOMPARE(first.get(), second.get());
    QVERIFY(!manager->subscriptionForFile(UWStandardFile::newFileForPath(path(QStringLiteral("plain.txt")))));
    QVERIFY(!manager->subscriptionForFile(nullptr));
}

void TestFileManager::liveEvents_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("type");
    QTest::addColumn<QStringList>("filesAfter");

    const QStringList both{QStringLiteral("a.txt"), QStringLiteral("b.txt")};
    QTest::newRow("writing a file changes its content") << "write" << "a.txt" << 1 << both;
    QTest::newRow("a new mode changes its attributes") << "chmod" << "a.txt" << 2 << both;
    QTest::newRow("renaming keeps the item under its new name") << "rename" << "a.txt" << 3
        << QStringList{QStringLiteral("b.txt"), QStringLiteral("renamed.txt")};
    QTest::newRow("saving over a file replaces it") << "save-over" << "a.txt" << 4 << both;
    QTest::newRow("deleting removes the item") << "delete" << "a.txt" << 5 << QStringList{QStringLiteral("b.txt")};
    QTest::newRow("a new file becomes a new item") << "create" << "" << 0
        << QStringList{QStringLiteral("a.txt"), QStringLiteral("b.txt"), QStringLiteral("c.txt")};
}

void TestFileManager::liveEvents()
{
    QFETCH(QString, change);
    QFETCH(QString, name);
    QFETCH(int, type);
    QFETCH(QStringList, filesAfter);

    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(QStringLiteral("a.txt")), "first"));
    QVERIFY(writeFile(dir.filePath(QStringLiteral("b.txt")), "second"));
    const auto subscription = UWFileManager::sharedFileManager()->subscriptionForFile(UWStandardFile::newFileForPath(dir.path()));
    subscription->loadImmediately();
    QCOMPARE(names(subscription->files()), (QStringList{QStringLiteral("a.txt"), QStringLiteral("b.txt")}));
    const UWStandardFileRef a = subscription->files().at(names(subscription->files()).indexOf(QStringLiteral("a.txt")) == 0
        && subscription->files().at(0)->displayName() == u"a.txt" ? 0 : 1);
    QSignalSpy changed(subscription.get(), &UWFileSubscription::filesChanged);

    const QString aPath = dir.filePath(QStringLiteral("a.txt"));
    if (change == u"write") {
        QVERIFY(writeFile(aPath, " more", QIODevice::Append));
    } else if (change == u"chmod") {
        QVERIFY(::chmod(QFile::encodeName(aPath).constData(), 0600) == 0);
    } else if (change == u"rename") {
        QVERIFY(QFile::rename(aPath, dir.filePath(QStringLiteral("renamed.txt"))));
    } else if (change == u"save-over") {
        QVERIFY(writeFile(dir.filePath(QStringLiteral(".a.txt.tmp")), "replaced"));
        QVERIFY(::rename(QFile::encodeName(dir.filePath(QStringLiteral(".a.txt.tmp"))).constData(),
                         QFile::encodeName(aPath).constData()) == 0);
    } else if (change == u"delete") {
        QVERIFY(QFile::remove(aPath));
    } else if (change == u"create") {
        QVERIFY(writeFile(dir.filePath(QStringLiteral("c.txt")), "third"));
    }

    QTRY_COMPARE(names(subscription->files()), filesAfter);
    if (type)
        QTRY_VERIFY(heardEvent(name, type));
    QVERIFY(changed.count() >= 1);
    // Nothing reached the file that was left alone.
    QVERIFY(!heardEvent(QStringLiteral("b.txt"), UWFileEvent::ContentChanged));
    if (change == u"rename") {
        QCOMPARE(a->path(), dir.filePath(QStringLiteral("renamed.txt")));
        QVERIFY(subscription->files().contains(a));
    }
    if (change == u"save-over" || change == u"write") {
        QVERIFY(subscription->files().contains(a)); // the same item, not a new one
        QTRY_COMPARE(a->modificationDate(), QFileInfo(aPath).lastModified().toUTC());
    }
}

void TestFileManager::relistingReportsChanges()
{
    // Without an event loop in between, inotify has not spoken yet: the second listing alone
    // must find what changed.
    QTemporaryDir dir;
    for (const char *name : {"keep.txt", "edit.txt", "gone.txt", "old-name.txt"})
        QVERIFY(writeFile(dir.filePath(QString::fromLatin1(name)), "x"));
    const auto subscription = UWFileManager::sharedFileManager()->subscriptionForFile(UWStandardFile::newFileForPath(dir.path()));
    subscription->loadImmediately();

    QFile edited(dir.filePath(QStringLiteral("edit.txt")));
    QVERIFY(edited.open(QIODevice::Append));
    edited.write("more");
    QVERIFY(edited.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-3600), QFileDevice::FileModificationTime));
    edited.close();
    QVERIFY(QFile::remove(dir.filePath(QStringLiteral("gone.txt"))));
    QVERIFY(QFile::rename(dir.filePath(QStringLiteral("old-name.txt")), dir.filePath(QStringLiteral("new-name.txt"))));
    QVERIFY(writeFile(dir.filePath(QStringLiteral("added.txt")), "x"));

    RecordingFile::heard.clear();
    UWFileManager::sharedFileManager()->changeHappenedInDirectory(UWStandardFile::newFileForPath(dir.path()));
    QCOMPARE(names(subscription->files()),
             (QStringList{QStringLiteral("added.txt"), QStringLiteral("edit.txt"), QStringLiteral("keep.txt"), QStringLiteral("new-name.txt")}));
    QVERIFY(heardEvent(QStringLiteral("edit.txt"), UWFileEvent::ContentChanged));
    QVERIFY(heardEvent(QStringLiteral("gone.txt"), UWFileEvent::Removed));
    QVERIFY(heardEvent(QStringLiteral("old-name.txt"), UWFileEvent::Renamed));
    QVERIFY(!heardEvent(QStringLiteral("keep.txt"), UWFileEvent::ContentChanged));
    QVERIFY(!heardEvent(QStringLiteral("keep.txt"), UWFileEvent::AttributesChanged));
}

void TestFileManager::eventsAnnounceTheirKeys()
{
    QVERIFY(writeFile(path(QStringLiteral("observed.txt")), "x"));
    const UWStandardFileRef file = UWStandardFile::newFileForPath(path(QStringLiteral("observed.txt")));
    Announcements announcements;
    file->addObserver(&announcements);
    file->updateForEvent({UWFileEvent::Renamed, path(QStringLiteral("elsewhere.txt"))});
    QCOMPARE(announcements.log, (QStringList{QStringLiteral("will URL"), QStringLiteral("will path"), QStringLiteral("will displayName"),
                                             QStringLiteral("did displayName"), QStringLiteral("did path"), QStringLiteral("did URL")}));
    QCOMPARE(file->displayName(), QStringLiteral("elsewhere.txt"));
    file->removeObserver(&announcements);
    announcements.log.clear();
    file->updateForEvent({UWFileEvent::ContentChanged, {}});
    QVERIFY(announcements.log.isEmpty());
    QVERIFY(UWStandardFile::automaticallyNotifiesObserversForKey(u"displayName"));
}

void TestFileManager::archivesFindFilesAgain_data()
{
    QTest::addColumn<QString>("how"); // how the archive is bent before it is resolved
    QTest::addColumn<bool>("allowPlaceholders");
    QTest::addColumn<QString>("expect"); // "found", "placeholder", "nothing"

    QTest::newRow("the file still at its path") << "as-is" << true << "found";
    QTest::newRow("the volume mounted somewhere else") << "moved-mount" << true << "found";
    QTest::newRow("the volume not mounted gives a placeholder") << "unknown-volume" << true << "placeholder";
    QTest::newRow("the volume not mounted and no placeholders wanted") << "unknown-volume" << false << "nothing";
    QTest::newRow("the volume mounted but the file gone") << "file-gone" << true << "nothing";
}

void TestFileManager::archivesFindFilesAgain()
{
    QFETCH(QString, how);
    QFETCH(bool, allowPlaceholders);
    QFETCH(QString, expect);

    QVERIFY(writeFile(path(QStringLiteral("archived.txt")), "x"));
    const UWStandardFileRef original = UWStandardFile::newFileForPath(path(QStringLiteral("archived.txt")));
    QVariantMap archive = original->archiveDictionary();
    QVERIFY(!archive.isEmpty());
    const QString relative = archive.value(QStringLiteral("volumePath")).toString();
    QVERIFY(!relative.isEmpty());

    if (how == u"moved-mount") {
        archive[QStringLiteral("path")] = QStringLiteral("/media/gone-away") + relative;
        archive[QStringLiteral("mountPoint")] = QStringLiteral("/media/gone-away");
    } else if (how == u"unknown-volume") {
        archive[QStringLiteral("path")] = QStringLiteral("/media/usb-stick/archived.txt");
        archive[QStringLiteral("volume")] = QStringLiteral("uuid:0000-not-mounted");
    } else if (how == u"file-gone") {
        archive[QStringLiteral("path")] = path(QStringLiteral("never-was.txt"));
        archive[QStringLiteral("volumePath")] = relative + QStringLiteral(".missing");
    }

    QString error;
    const UWStandardFileRef found = UWStandardFile::newFileForArchive(archive, allowPlaceholders, &error);
    if (expect == u"found") {
        QVERIFY(found);
        QCOMPARE(found->path(), original->path());
        QVERIFY(!found->isPlaceholder());
    } else if (expect == u"placeholder") {
        QVERIFY(found);
        QVERIFY(found->isPlaceholder());
        QVERIFY(found->URL().isEmpty());
        QVERIFY(found->path().isEmpty());
        QCOMPARE(found->displayName(), QStringLiteral("archived.txt"));
        QCOMPARE(found->archiveDictionary(), archive); // nothing of the description is lost
        QVERIFY(!found->exists());
        QVERIFY(found->uti().isEmpty());
        QVERIFY(!found->parentItem());
    } else {
        QVERIFY(!found);
        QVERIFY(!error.isEmpty());
    }
}

void TestFileManager::archivesRoundTrip()
{
    QVERIFY(writeFile(path(QStringLiteral("stored.txt")), "x"));
    const QVariantMap archive = UWStandardFile::newFileForPath(path(QStringLiteral("stored.txt")))->archiveDictionary();
    QByteArray bytes;
    {
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << archive;
    }
    QVariantMap back;
    QDataStream in(bytes);
    in >> back;
    QCOMPARE(back, archive);
    QCOMPARE(UWStandardFile::newFileForArchive(back)->path(), path(QStringLiteral("stored.txt")));
    QVERIFY(UWStandardFile::newFileForPath(path(QStringLiteral("not-here")))->archiveDictionary().isEmpty());
}

void TestFileManager::malformedArchivesAreRefused_data()
{
    QTest::addColumn<QVariantMap>("archive");
    QTest::newRow("empty") << QVariantMap{};
    QTest::newRow("a future version") << QVariantMap{{QStringLiteral("version"), 99}, {QStringLiteral("path"), QStringLiteral("/")}};
    QTest::newRow("a relative path") << QVariantMap{{QStringLiteral("version"), 1}, {QStringLiteral("path"), QStringLiteral("a/b")}};
    QTest::newRow("values of the wrong types") << QVariantMap{{QStringLiteral("version"), QStringLiteral("one")},
                                                              {QStringLiteral("path"), QVariantList{1, 2}},
                                                              {QStringLiteral("inode"), QStringLiteral("x")}};
}

void TestFileManager::malformedArchivesAreRefused()
{
    QFETCH(QVariantMap, archive);
    QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QStringLiteral("not a file archive")));
    QString error;
    QVERIFY(!UWStandardFile::newFileForArchive(archive, true, &error));
    QCOMPARE(error, QStringLiteral("not a file archive"));
}

void TestFileManager::placeholderComesBack()
{
    const QString later = path(QStringLiteral("arrives-later.txt"));
    const QList<UWStandardFileRef> files = UWStandardFile::arrayOfFilesForPaths({later, path(QStringLiteral("plain.txt"))}, true);
    QCOMPARE(files.size(), 2);
    const UWStandardFileRef placeholder = files.first();
    QVERIFY(placeholder->isPlaceholder());
    QCOMPARE(placeholder->displayName(), QStringLiteral("arrives-later.txt"));
    QCOMPARE(UWStandardFile::arrayOfFilesForPaths({later}, false).size(), 0);
    QVERIFY(placeholder->currentURL().isEmpty());

    Announcements announcements;
    placeholder->addObserver(&announcements);
    QVERIFY(writeFile(later, "here now"));
    QCOMPARE(placeholder->currentURL(), QUrl::fromLocalFile(later));
    QVERIFY(!placeholder->isPlaceholder());
    QCOMPARE(placeholder->uti(), QStringLiteral("public.plain-text"));
    QVERIFY(announcements.log.contains(QStringLiteral("did isPlaceholder")));
    placeholder->removeObserver(&announcements);
}

void TestFileManager::relatives()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(QStringLiteral("target.txt")), "x"));
    QVERIFY(QFile::link(QStringLiteral("target.txt"), dir.filePath(QStringLiteral("link"))));
    const UWStandardFileRef link = UWStandardFile::newFileForPath(dir.filePath(QStringLiteral("link")));
    QCOMPARE(link->resolvedFileItem()->path(), dir.filePath(QStringLiteral("target.txt")));
    QVERIFY(link->resolvedFileItem()->isRealFile());
    const UWStandardFileRef target = link->resolvedFileItem();
    QCOMPARE(target->resolvedFileItem().get(), target.get()); // not a link: itself
    QCOMPARE(link->parentItem()->path(), dir.path());
    QVERIFY(link->parentItem()->isDirectory());
    QVERIFY(!UWStandardFile::newFileForPath(QStringLiteral("/"))->parentItem());
    QCOMPARE(link->valueForKey(u"addedDate"), QVariant(link->dateAdded()));
    QVERIFY(link->accessDate().isValid());
    QVERIFY(!link->fileIcon().isNull());
}

void TestFileManager::permissions()
{
    const QString readOnly = path(QStringLiteral("read-only.jpg"));
    QVERIFY(writeFile(readOnly, "x"));
    QVERIFY(::chmod(QFile::encodeName(readOnly).constData(), 0444) == 0);
    const UWStandardFileRef file = UWStandardFile::newFileForPath(readOnly);
    QVERIFY(file->isReadable());
    QVERIFY(!file->isWritable()); // also for the superuser: nobody is granted writing
    QVERIFY(::chmod(QFile::encodeName(readOnly).constData(), 0000) == 0);
    QVERIFY(!file->isReadable());
    QVERIFY(::chmod(QFile::encodeName(readOnly).constData(), 0644) == 0);
    QVERIFY(file->isWritable());
    QVERIFY(!UWStandardFile::newFileForPath(path(QStringLiteral("missing")))->isReadable());
}

QTEST_MAIN(TestFileManager)
#include "tst_filemanager.moc"
