// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFile.h"
#include "TQImageMetadata.h"
#include "TQSampleData.h"
#include "UWFileManager.h"

#include <QDir>
#include <QLoggingCategory>
#include <QProcess>
#include <QScopeGuard>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

class Announcements : public UWFileObserver
{
public:
    QStringList log;
    void fileWillChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(QStringLiteral("will ") + key.toString()); }
    void fileDidChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(QStringLiteral("did ") + key.toString()); }
};

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyItemIsAFileOfTheBrowser();
    void kinds_data();
    void kinds();
    void folderIsNoImageAndSaysSo();
    void placeholdersHaveNothing();
    void sizes_data();
    void sizes();
    void dateTexts();
    void eventsEmptyTheirCaches_data();
    void eventsEmptyTheirCaches();
    void editableMetadata_data();
    void editableMetadata();
    void imageMetadataComesFromTheFile();
    void rotationWritesTheFile();
    void rotationOfAVanishedFileWritesNothing();
    void nameThatIsNotUtf8_data();
    void nameThatIsNotUtf8();
    void peeksAnswerOnlyWhatIsKnown_data();
    void peeksAnswerOnlyWhatIsKnown();
    void iconFollowsTheContentType_data();
    void iconFollowsTheContentType();

private:
    QTemporaryDir m_dir;
    QString sample(const char *relative) const { return m_dir.filePath(QString::fromUtf8(relative)); }
};

void TestFile::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(!TQSampleData::writeSamples(m_dir.path()).isEmpty());
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    // The "not an image" lines are wanted in a host's log, not in this test's output.
    QLoggingCategory::setFilterRules(QStringLiteral("tqkit.files.info=false"));
}

void TestFile::everyItemIsAFileOfTheBrowser()
{
    // Made through the storage layer's own operations, not TQFile's.
    QVERIFY(TQFile::fromItem(UWStandardFile::newFileForPath(sample("images/orientation-1.jpg"))));
    QVERIFY(TQFile::fromItem(UWStandardFile::newFileForPath(sample("links/link-to-photo.jpg"))->resolvedFileItem()));
    QVERIFY(TQFile::fromItem(UWStandardFile::newFileForPath(sample("images"))->parentItem()));
}

void TestFile::kinds_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("image");
    QTest::addColumn<bool>("music");
    QTest::addColumn<bool>("text");
    QTest::addColumn<bool>("movie");
    QTest::addColumn<bool>("media");
    QTest::addColumn<bool>("previewable");

    QTest::newRow("a JPEG") << "images/orientation-3.jpg" << true << false << false << false << true << true;
    QTest::newRow("a PNG") << "images/photo.png" << true << false << false << false << true << true;
    QTest::newRow("a TIFF") << "images/photo.tiff" << true << false << false << false << true << true;
    QTest::newRow("a WebP") << "images/photo.webp" << true << false << false << false << true << true;
    QTest::newRow("a PNG named like a JPEG") << "lying/photo.jpg" << true << false << false << false << true << true;
    QTest::newRow("text named like a JPEG is text") << "lying/image.jpg" << false << false << true << false << true << true;
    QTest::newRow("a text file is media and previewable") << "text/notes.txt" << false << false << true << false << true << true;
    QTest::newRow("source code is text") << "text/main.cpp" << false << false << true << false << true << true;
    QTest::newRow("an MP3 is music and, being audiovisual, a movie") << "media/song.mp3" << false << true << false << true << true << true;
    QTest::newRow("a FLAC is music") << "media/track.flac" << false << true << false << true << true << true;
    QTest::newRow("an MP4 is a movie") << "media/clip.mp4" << false << false << false << true << true << true;
    QTest::newRow("a Matroska film is a movie") << "media/movie.mkv" << false << false << false << true << true << true;
    QTest::newRow("a folder is nothing") << "images" << false << false << false << false << false << false;
    QTest::newRow("an empty file is data only") << "empty.dat" << false << false << false << false << false << false;
    // Kinds look through links, except "movie", which asks the link's own type.
    QTest::newRow("a link to a JPEG is an image") << "links/link-to-photo.jpg" << true << false << false << false << true << true;
    QTest::newRow("a dangling link is nothing") << "links/dangling.jpg" << false << false << false << false << false << false;
}

void TestFile::kinds()
{
    QFETCH(QString, file);
    QFETCH(bool, image);
    QFETCH(bool, music);
    QFETCH(bool, text);
    QFETCH(bool, movie);
    QFETCH(bool, media);
    QFETCH(bool, previewable);

    const TQFileRef item = TQFile::newFileForPath(m_dir.filePath(file));
    QVERIFY(item);
    QCOMPARE(item->isImage(), image);
    QCOMPARE(item->isMusic(), music);
    QCOMPARE(item->isText(), text);
    QCOMPARE(item->isMovie(), movie);
    QCOMPARE(item->isMedia(), media);
    QCOMPARE(item->isPreviewable(), previewable);
    QCOMPARE(item->valueForKey(u"isImage"), QVariant(image));
}

void TestFile::folderIsNoImageAndSaysSo()
{
    QLoggingCategory::setFilterRules(QStringLiteral("tqkit.files.debug=true"));
    const TQFileRef folder = TQFile::newFileForPath(sample("images"));
    QTest::ignoreMessage(QtDebugMsg, "UTI public.folder for images not an image");
    QVERIFY(!folder->isImage());
    // Cached: the line is written once per evaluation, not per question.
    QVERIFY(!folder->isImage());
    QLoggingCategory::setFilterRules(QStringLiteral("tqkit.files.info=false"));
}

void TestFile::placeholdersHaveNothing()
{
    const QList<UWStandardFileRef> items = UWStandardFile::arrayOfFilesForPaths({sample("not-yet.jpg")}, true);
    QCOMPARE(items.size(), 1);
    const TQFileRef placeholder = TQFile::fromItem(items.first());
    QVERIFY(placeholder && placeholder->isPlaceholder());
    QVERIFY(!placeholder->isImage() && !placeholder->isMusic() && !placeholder->isText() && !placeholder->isMovie());
    QCOMPARE(placeholder->fileSize(), 0);
    QCOMPARE(placeholder->fileSizeString(), QString());
    QCOMPARE(placeholder->modificationDateString(), QString());
    QCOMPARE(placeholder->creationDateString(), QString());
    QVERIFY(!placeholder->preferredApplication());
    QVERIFY(!placeholder->editorApplication());
    QVERIFY(!placeholder->hasEditableImageMetadata());
}

void TestFile::sizes_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QString>("text");

    QTest::newRow("an empty file") << "empty.dat" << qint64(0) << "Zero KB";
    QTest::newRow("a plain folder has no size") << "images" << qint64(0) << "";
    QTest::newRow("a link has its own size") << "links/link-to-text" << qint64(7) << "7 bytes";
    QTest::newRow("a file gone since the item was made") << "gone" << qint64(0) << "Zero KB";
}

void TestFile::sizes()
{
    QFETCH(QString, file);
    QFETCH(qint64, size);
    QFETCH(QString, text);

    const QString path = m_dir.filePath(file);
    if (file == u"gone") {
        QFile created(path);
        QVERIFY(created.open(QIODevice::WriteOnly));
        created.close();
    }
    const TQFileRef item = TQFile::newFileForPath(path);
    if (file == u"gone") {
        QVERIFY(QFile::remove(path));
        item->updateForEvent({UWFileEvent::Removed, {}});
        QLoggingCategory::setFilterRules(QStringLiteral("tqkit.files.info=true"));
        QTest::ignoreMessage(QtInfoMsg, qPrintable(QStringLiteral("Error getting file size for file ") + path));
    }
    QCOMPARE(item->fileSizeString(), text); // asks the size first
    QCOMPARE(item->fileSize(), size);
    QLoggingCategory::setFilterRules(QStringLiteral("tqkit.files.info=false"));

    const TQFileRef real = TQFile::newFileForPath(sample("images/photo.png"));
    QCOMPARE(real->fileSize(), QFileInfo(sample("images/photo.png")).size());
}

void TestFile::dateTexts()
{
    const QString path = sample("text/notes.txt");
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(QDateTime(QDate(2026, 11, 21), QTime(5, 27), Qt::UTC), QFileDevice::FileModificationTime));
    file.close();
    const TQFileRef item = TQFile::newFileForPath(path);
    QCOMPARE(item->modificationDateString(), QStringLiteral("Nov 21, 2026, 5:27 AM"));
    QCOMPARE(item->valueForKey(u"modificationDateString"), QVariant(QStringLiteral("Nov 21, 2026, 5:27 AM")));
    QVERIFY(!item->dateAddedString().isEmpty());
    // The access date's text is the creation date's, once that has been asked for.
    QCOMPARE(item->accessDateString(), QString());
    const QString created = item->creationDateString();
    QVERIFY(!created.isEmpty());
    QCOMPARE(item->accessDateString(), created);
}

void TestFile::eventsEmptyTheirCaches_data()
{
    QTest::addColumn<int>("event"); // 0: the placeholder state changed
    QTest::addColumn<QStringList>("emptied");

    // A write leaves the label alone, a change of attributes the content type.
    const QStringList caches{QStringLiteral("creationDateString"), QStringLiteral("fileSize"), QStringLiteral("isImage"),
                             QStringLiteral("imageProperties")};
    const QStringList date{QStringLiteral("modificationDateString")};
    const QStringList label{QStringLiteral("finderLabel")}, type{QStringLiteral("uti")};
    QTest::newRow("content") << int(UWFileEvent::ContentChanged) << date + caches + type;
    QTest::newRow("attributes") << int(UWFileEvent::AttributesChanged) << date + caches + label;
    QTest::newRow("renamed") << int(UWFileEvent::Renamed) << date;
    QTest::newRow("created or replaced") << int(UWFileEvent::CreatedOrReplaced) << date + caches + label + type;
    QTest::newRow("removed") << int(UWFileEvent::Removed) << date + label + type;
    QTest::newRow("placeholder state") << 0 << caches;
}

void TestFile::eventsEmptyTheirCaches()
{
    QFETCH(int, event);
    QFETCH(QStringList, emptied);

    const QString path = sample("images/orientation-2.jpg");
    const TQFileRef item = TQFile::newFileForPath(path);
    const QStringList watched{QStringLiteral("modificationDateString"), QStringLiteral("creationDateString"),
                              QStringLiteral("fileSize"), QStringLiteral("isImage"), QStringLiteral("imageProperties"),
                              QStringLiteral("finderLabel"), QStringLiteral("uti")};
    for (const QString &key : watched)
        item->valueForKey(key);
    Announcements announcements;
    item->addObserver(&announcements);
    if (event == 0)
        item->placeholderStatusChanged();
    else
        item->updateForEvent({UWFileEvent::Type(event), path});
    item->removeObserver(&announcements);

    // The announcements nest: each "did" closes the latest "will" still open.
    QStringList open;
    for (const QString &line : std::as_const(announcements.log)) {
        const QString key = line.section(u' ', 1);
        if (line.startsWith(u"will ")) {
            open.append(key);
        } else {
            QVERIFY2(!open.isEmpty(), qPrintable(line));
            QCOMPARE(open.takeLast(), key);
        }
    }
    QVERIFY(open.isEmpty());
    QStringList found;
    for (const QString &key : watched) {
        if (announcements.log.contains(QStringLiteral("did ") + key))
            found.append(key);
    }
    QCOMPARE(found, emptied);
    // An emptied cache is computed afresh and gives the same answer, but for a file said gone.
    QVERIFY(item->isImage() || event == UWFileEvent::Removed);
}

void TestFile::editableMetadata_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("editable");

    QTest::newRow("a writable JPEG") << "images/orientation-1.jpg" << 0644 << true;
    QTest::newRow("a writable PNG") << "images/photo.png" << 0644 << true;
    QTest::newRow("a writable TIFF") << "images/photo.tiff" << 0644 << true;
    QTest::newRow("a WebP is not editable") << "images/photo.webp" << 0644 << false;
    QTest::newRow("a read-only JPEG") << "images/orientation-4.jpg" << 0444 << false;
    QTest::newRow("a link is not an editable type itself") << "links/link-to-photo.jpg" << 0 << false;
    QTest::newRow("text is not an image") << "text/notes.txt" << 0644 << false;
}

void TestFile::editableMetadata()
{
    QFETCH(QString, file);
    QFETCH(int, mode);
    QFETCH(bool, editable);
    const QString path = m_dir.filePath(file);
    if (mode)
        QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(mode)) == 0);
    const TQFileRef item = TQFile::newFileForPath(path);
    QCOMPARE(item->hasEditableImageMetadata(), editable);
    if (!editable && item->isImage()) {
        const QByteArray before = contents(path);
        QVERIFY(!item->setImageOrientation(6));
        QCOMPARE(contents(path), before);
    }
}

void TestFile::imageMetadataComesFromTheFile()
{
    const QString path = sample("camera.jpg");
    QVERIFY(TQSampleData::writeImage(path, "JPEG", QSize(64, 48),
                                     {{QStringLiteral("Orientation"), 6}, {QStringLiteral("Model"), QStringLiteral("TQ-1")},
                                      {QStringLiteral("ISO"), 800}, {QStringLiteral("ExposureTime"), 0.004},
                                      {QStringLiteral("FNumber"), 2.8}, {QStringLiteral("FocalLength"), 35.0},
                                      {QStringLiteral("DateTimeOriginal"), QStringLiteral("2026:11:21 05:27:31")}}));
    const TQFileRef item = TQFile::newFileForPath(path);
    QCOMPARE(item->orientation(), 6);
    // The generator draws 64x48 upright, so a quarter turn is stored as 48x64.
    QCOMPARE(item->trueDimensions(), QSizeF(48, 64));
    QCOMPARE(item->dimensionsString(), QStringLiteral("64x48"));
    QCOMPARE(item->generalOrientationString(), QStringLiteral("Landscape"));
    QCOMPARE(item->ISOString(), QStringLiteral("ISO 800"));
    QCOMPARE(item->exposureTimeString(), QStringLiteral("1/250"));
    QCOMPARE(item->fNumberString(), QStringLiteral("f2.8"));
    QCOMPARE(item->focalLengthString(), QStringLiteral("35mm"));
    QCOMPARE(item->cameraModelString(), QStringLiteral("TQ-1"));
    QCOMPARE(item->EXIFDateString(), QStringLiteral("Nov 21, 2026, 5:27 AM"));
    QCOMPARE(item->imageDepthString(), QStringLiteral("8-bit RGB"));

    // Cached: the values stay what they were read as until an event resets them.
    QVERIFY(TQSampleData::writeImage(path, "JPEG", QSize(64, 48), {{QStringLiteral("ISO"), 100}}));
    QCOMPARE(item->ISOString(), QStringLiteral("ISO 800"));
    item->updateForEvent({UWFileEvent::CreatedOrReplaced, {}});
    QCOMPARE(item->ISOString(), QStringLiteral("ISO 100"));
    QCOMPARE(item->orientation(), 1);

    // Not an image: an empty dictionary and the missing forms.
    const TQFileRef text = TQFile::newFileForPath(sample("text/notes.txt"));
    QVERIFY(!text->findAllImageInfo());
    QVERIFY(text->imageProperties().isEmpty());
    QCOMPARE(text->megapixels(), 0.0);
    QCOMPARE(text->EXIFDate(), TQDistantPast());
    QCOMPARE(text->dimensionsString(), QString());
}

void TestFile::rotationWritesTheFile()
{
    const QString path = sample("images/orientation-3.jpg");
    const auto subscription = UWFileManager::sharedFileManager()->subscriptionForFile(TQFile::newFileForPath(sample("images")));
    subscription->loadImmediately();
    QSignalSpy listingChanged(subscription.get(), &UWFileSubscription::filesChanged);

    const TQFileRef item = TQFile::newFileForPath(path);
    QVERIFY(item->setImageOrientation(8));
    // The folder was told at once, without waiting for the kernel's events.
    QVERIFY(listingChanged.count() >= 1);
    QProcess exiftool;
    exiftool.start(QStringLiteral("exiftool"), {QStringLiteral("-s3"), QStringLiteral("-n"), QStringLiteral("-Orientation"), path});
    if (!exiftool.waitForFinished() || exiftool.exitCode() != 0)
        QSKIP("exiftool is not installed");
    QCOMPARE(exiftool.readAllStandardOutput().trimmed(), QByteArray("8"));
}

void TestFile::rotationOfAVanishedFileWritesNothing()
{
    const QString path = sample("images/orientation-5.jpg");
    const TQFileRef item = TQFile::newFileForPath(path);
    QVERIFY(item->hasEditableImageMetadata()); // checked, and cached, while the file was there
    QVERIFY(QFile::remove(path));
    QString reason;
    QVERIFY(!item->setImageOrientation(1, &reason));
    QVERIFY(!reason.isEmpty());
    QVERIFY(!QFileInfo::exists(path));
    // Nothing was left behind in the folder either.
    QVERIFY(QDir(sample("images")).entryList(QDir::Hidden | QDir::Files).filter(QStringLiteral("orientation-5")).isEmpty());
}

void TestFile::peeksAnswerOnlyWhatIsKnown_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("asked"); // the key asked for first; empty for none
    QTest::addColumn<QString>("peeked");
    QTest::addColumn<bool>("known");

    QTest::newRow("the content type, before") << "images/photo.png" << "" << "resolvedUTI" << false;
    QTest::newRow("the content type, once asked") << "images/photo.png" << "uti" << "resolvedUTI" << true;
    QTest::newRow("the icon reads no content") << "images/photo.png" << "fileIcon" << "resolvedUTI" << false;
    QTest::newRow("the status is always at hand") << "images/photo.png" << "" << "modificationDate" << true;
    QTest::newRow("one size read gives both") << "empty.dat" << "fileSizeString" << "fileSize" << true;
    QTest::newRow("image values, before") << "images/photo.png" << "" << "megapixels" << false;
    QTest::newRow("image values come together") << "images/photo.png" << "dimensionsString" << "megapixels" << true;
    QTest::newRow("media follows a known kind") << "images/photo.png" << "isImage" << "isMedia" << true;
    QTest::newRow("media waits for the kinds") << "text/notes.txt" << "isImage" << "isMedia" << false;
    QTest::newRow("readability is asked each time") << "images/photo.png" << "isReadable" << "isReadable" << false;
    QTest::newRow("a hidden name needs no hidden list") << "text/.secret" << "" << "isInvisible" << true;
}

void TestFile::peeksAnswerOnlyWhatIsKnown()
{
    QFETCH(QString, file);
    QFETCH(QString, asked);
    QFETCH(QString, peeked);
    QFETCH(bool, known);

    const QString path = m_dir.filePath(file);
    if (!QFileInfo::exists(path)) {
        QFile created(path);
        QVERIFY(created.open(QIODevice::WriteOnly));
    }
    const TQFileRef item = TQFile::newFileForPath(path);
    if (!asked.isEmpty())
        item->valueForKey(asked);
    const std::optional<QVariant> peek = item->cachedValueForKey(peeked);
    QCOMPARE(peek.has_value(), known);
    QCOMPARE(item->isValueCached(peeked), known);
    if (known)
        QCOMPARE(*peek, item->valueForKey(peeked));
    QVERIFY(!item->cachedValueForKey(u"noSuchKey"));
}

void TestFile::iconFollowsTheContentType_data()
{
    QTest::addColumn<QString>("copyOf");
    QTest::addColumn<bool>("announced");

    QTest::newRow("a picture named like text") << "images/photo.png" << true;
    QTest::newRow("text named like text") << "text/notes.txt" << false;
}

void TestFile::iconFollowsTheContentType()
{
    QFETCH(QString, copyOf);
    QFETCH(bool, announced);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("named.txt"));
    QVERIFY(QFile::copy(sample(copyOf.toUtf8().constData()), path));
    const TQFileRef item = TQFile::newFileForPath(path);
    Announcements announcements;
    item->addObserver(&announcements);

    item->fileIcon(); // null without an icon theme; drawn from the name either way
    QVERIFY(!item->isValueCached(u"resolvedUTI"));
    std::thread worker([&item] { item->resolveContentType(); });
    worker.join();
    QVERIFY(item->isValueCached(u"resolvedUTI"));
    // Told on the main thread, once its events run; and only once.
    QVERIFY(announcements.log.isEmpty());
    QStringList expected;
    if (announced) {
        const QStringList keys = UWStandardFile::keysAnnouncedBy(UWStandardFile::Announcement::ContentTypeResolved);
        for (const QString &key : keys)
            expected.append(QStringLiteral("will ") + key);
        for (auto key = keys.crbegin(); key != keys.crend(); ++key)
            expected.append(QStringLiteral("did ") + *key);
    }
    QCoreApplication::processEvents();
    item->resolveContentType();
    item->fileIcon();
    QCoreApplication::processEvents();
    QCOMPARE(announcements.log, expected);
    item->removeObserver(&announcements);
}

QTEST_MAIN(TestFile)
void TestFile::nameThatIsNotUtf8_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("throughListing"); // the item comes from a folder's listing, else from the path's bytes

    for (const bool listed : {false, true}) {
        const char *from = listed ? "listed" : "by path";
        QTest::addRow("rotation, %s", from) << QStringLiteral("rotation") << listed;
        QTest::addRow("properties, %s", from) << QStringLiteral("properties") << listed;
        QTest::addRow("label, %s", from) << QStringLiteral("label") << listed;
        QTest::addRow("kind, %s", from) << QStringLiteral("kind") << listed;
    }
}

void TestFile::nameThatIsNotUtf8()
{
    QFETCH(QString, operation);
    QFETCH(bool, throughListing);

    // A copy of a picture under a name with a byte that is not UTF-8, in a folder of its own.
    QTemporaryDir dir;
    const QByteArray path = QFile::encodeName(dir.path()) + "/\xff-photo.jpg";
    QFile original(sample("images/orientation-1.jpg"));
    QVERIFY(original.open(QIODevice::ReadOnly));
    const QByteArray bytes = original.readAll();
    const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
    QVERIFY(fd >= 0);
    const bool written = ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
    ::close(fd);
    QVERIFY(written);
    // QTemporaryDir cannot remove what it cannot name.
    const auto removeCopy = qScopeGuard([&] { ::unlink(path.constData()); });

    TQFileRef file;
    if (throughListing) {
        const auto subscription = UWFileManager::sharedFileManager()->subscriptionForFile(TQFile::newFileForPath(dir.path()));
        subscription->loadImmediately();
        QCOMPARE(subscription->files().size(), 1);
        file = TQFile::fromItem(subscription->files().constFirst());
    } else {
        file = TQFile::newFileForNativePath(path);
    }
    QVERIFY(file && file->exists());
    QCOMPARE(file->nativePath(), path);
    QCOMPARE(file->displayName(), QStringLiteral(u"\uFFFD-photo.jpg"));

    if (operation == u"rotation") {
        QCOMPARE(file->storedImageOrientation(), 1);
        QString reason;
        QVERIFY2(file->setImageOrientation(6, &reason), qPrintable(reason));
        QCOMPARE(TQFile::newFileForNativePath(path)->storedImageOrientation(), 6);
    } else if (operation == u"properties") {
        QCOMPARE(file->imageProperties().value(QStringLiteral("PixelWidth")).toInt(), 64);
    } else if (operation == u"label") {
        QVERIFY(::setxattr(path.constData(), "user.xdg.tags", "Red", 3, 0) == 0);
        QCOMPARE(file->finderLabel(), 6);
    } else {
        QVERIFY(file->isImage());
        QCOMPARE(file->kindString(), QStringLiteral("JPEG image"));
    }
    // Whatever was done, it was done to this file: nothing appeared under the name as text.
    // (QDir skips names that are not UTF-8, so the folder is read as the system gives it.)
    QByteArrayList names;
    if (DIR *folder = ::opendir(QFile::encodeName(dir.path()).constData())) {
        while (const dirent *entry = ::readdir(folder)) {
            if (qstrcmp(entry->d_name, ".") != 0 && qstrcmp(entry->d_name, "..") != 0)
                names.append(entry->d_name);
        }
        ::closedir(folder);
    }
    QCOMPARE(names, QByteArrayList{"\xff-photo.jpg"});
}

#include "tst_file.moc"
