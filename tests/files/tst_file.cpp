// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFile.h"
#include "TQImageMetadata.h"
#include "TQImageProperties.h"
#include "TQSameTree.h"
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

using namespace Qt::StringLiterals;

namespace {

struct Announcements : UWFileObserver
{
    QStringList log;
    void fileWillChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(u"will "_s + key.toString()); }
    void fileDidChangeValueForKey(UWStandardFile *, QStringView key) override { log.append(u"did "_s + key.toString()); }
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
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(!TQSampleData::writeSamples(m_dir.path()).isEmpty());
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        // The "not an image" lines are wanted in a host's log, not in this test's output.
        QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
        // Items the storage layer makes itself are files of the browser too.
        QVERIFY(TQFile::fromItem(UWStandardFile::newFileForPath(sample(u"links/link-to-photo.jpg"_s))->resolvedFileItem()));
        QVERIFY(TQFile::fromItem(UWStandardFile::newFileForPath(sample(u"images"_s))->parentItem()));
    }

    void kinds_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("kinds");

        QTest::newRow("a JPEG") << "images/orientation-3.jpg" << "image media previewable";
        QTest::newRow("a WebP") << "images/photo.webp" << "image media previewable";
        QTest::newRow("a PNG named like a JPEG") << "lying/photo.jpg" << "image media previewable";
        QTest::newRow("text named like a JPEG is text") << "lying/image.jpg" << "text media previewable";
        QTest::newRow("an MP3 is music and, being audiovisual, a movie") << "media/song.mp3" << "music movie media previewable";
        QTest::newRow("an MP4 is a movie") << "media/clip.mp4" << "movie media previewable";
        QTest::newRow("a Matroska film is a movie") << "media/movie.mkv" << "movie media previewable";
        QTest::newRow("a folder is nothing") << "images" << "";
        QTest::newRow("an empty file is data only") << "empty.dat" << "";
        QTest::newRow("a link to a JPEG is an image") << "links/link-to-photo.jpg" << "image media previewable";
        QTest::newRow("a dangling link is nothing") << "links/dangling.jpg" << "";
    }

    void kinds()
    {
        QFETCH(QString, file);
        QFETCH(QString, kinds);

        const TQFileRef item = TQFile::newFileForPath(sample(file));
        QVERIFY(item);
        QStringList found;
        const std::pair<const char *, bool> answers[] = {{"image", item->isImage()}, {"text", item->isText()},
                                                         {"music", item->isMusic()}, {"movie", item->isMovie()},
                                                         {"media", item->isMedia()}, {"previewable", item->isPreviewable()}};
        for (const auto &[name, yes] : answers) {
            if (yes)
                found.append(QString::fromLatin1(name));
        }
        QCOMPARE(found.join(u' '), kinds);
        QCOMPARE(item->valueForKey(u"isImage"), QVariant(kinds.startsWith(u"image")));
    }

    void placeholdersHaveNothing()
    {
        const QList<UWStandardFileRef> items = UWStandardFile::arrayOfFilesForPaths({sample(u"not-yet.jpg"_s)}, true);
        QCOMPARE(items.size(), 1);
        const TQFileRef placeholder = TQFile::fromItem(items.first());
        QVERIFY(placeholder && placeholder->isPlaceholder());
        QVERIFY(!placeholder->isImage() && !placeholder->isMusic() && !placeholder->isText() && !placeholder->isMovie());
        QCOMPARE(placeholder->fileSize(), 0);
        QCOMPARE(placeholder->fileSizeString() + placeholder->modificationDateString() + placeholder->creationDateString(), QString());
        QVERIFY(!placeholder->preferredApplication() && !placeholder->editorApplication());
        QVERIFY(!placeholder->hasEditableImageMetadata());
    }

    void sizes_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("text");

        QTest::newRow("an empty file") << "empty.dat" << qint64(0) << "Zero KB";
        QTest::newRow("a picture") << "images/photo.png" << QFileInfo(sample(u"images/photo.png"_s)).size() << QString();
        QTest::newRow("a plain folder has no size") << "images" << qint64(0) << "";
        QTest::newRow("a link has its own size") << "links/link-to-text" << qint64(7) << "7 bytes";
        QTest::newRow("a file gone since the item was made") << "gone" << qint64(0) << "Zero KB";
    }

    void sizes()
    {
        QFETCH(QString, file);
        QFETCH(qint64, size);
        QFETCH(QString, text);

        const QString path = sample(file);
        const bool gone = file == u"gone";
        if (gone)
            QVERIFY(QFile(path).open(QIODevice::WriteOnly));
        const TQFileRef item = TQFile::newFileForPath(path);
        if (gone) {
            QVERIFY(QFile::remove(path));
            item->updateForEvent({UWFileEvent::Removed, {}});
            QLoggingCategory::setFilterRules(u"tqkit.files.info=true"_s);
            QTest::ignoreMessage(QtInfoMsg, qPrintable(u"Error getting file size for file "_s + path));
        }
        const QString sizeText = item->fileSizeString(); // asks the size first
        if (!text.isNull()) // a null text: not compared
            QCOMPARE(sizeText, text);
        QCOMPARE(item->fileSize(), size);
        QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
    }

    void dateTexts()
    {
        const QString path = sample(u"text/notes.txt"_s);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime(QDate(2026, 11, 21), QTime(5, 27), Qt::UTC), QFileDevice::FileModificationTime));
        file.close();
        const TQFileRef item = TQFile::newFileForPath(path);
        QCOMPARE(item->valueForKey(u"modificationDateString"), QVariant(u"Nov 21, 2026, 5:27 AM"_s));
        QVERIFY(!item->dateAddedString().isEmpty());
        // The access date's text is the creation date's, once that has been asked for.
        QCOMPARE(item->accessDateString(), QString());
        const QString created = item->creationDateString();
        QVERIFY(!created.isEmpty());
        QCOMPARE(item->accessDateString(), created);
    }

    void eventsEmptyTheirCaches_data()
    {
        QTest::addColumn<int>("event"); // 0: the placeholder state changed
        QTest::addColumn<QString>("emptied");

        // A write leaves the label alone, a change of attributes the content type.
        QTest::newRow("content") << int(UWFileEvent::ContentChanged) << "date created size image properties uti";
        QTest::newRow("attributes") << int(UWFileEvent::AttributesChanged) << "date created size image properties label";
        QTest::newRow("renamed") << int(UWFileEvent::Renamed) << "date";
        QTest::newRow("created or replaced") << int(UWFileEvent::CreatedOrReplaced) << "date created size image properties label uti";
        QTest::newRow("removed") << int(UWFileEvent::Removed) << "date label uti";
        QTest::newRow("placeholder state") << 0 << "created size image properties";
    }

    void eventsEmptyTheirCaches()
    {
        QFETCH(int, event);
        QFETCH(QString, emptied);

        const QString path = sample(u"images/orientation-2.jpg"_s);
        const TQFileRef item = TQFile::newFileForPath(path);
        const std::pair<QString, QString> watched[] = {
            {u"date"_s, u"modificationDateString"_s}, {u"created"_s, u"creationDateString"_s}, {u"size"_s, u"fileSize"_s},
            {u"image"_s, u"isImage"_s}, {u"properties"_s, u"imageProperties"_s}, {u"label"_s, u"finderLabel"_s}, {u"uti"_s, u"uti"_s}};
        for (const auto &[shortName, key] : watched)
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
            if (line.startsWith(u"will "))
                open.append(line.section(u' ', 1));
            else
                QVERIFY2(!open.isEmpty() && open.takeLast() == line.section(u' ', 1), qPrintable(line));
        }
        QVERIFY(open.isEmpty());
        QStringList found;
        for (const auto &[shortName, key] : watched) {
            if (announcements.log.contains(u"did "_s + key))
                found.append(shortName);
        }
        QCOMPARE(found.join(u' '), emptied);
        // An emptied cache is computed afresh and gives the same answer, but for a file said gone.
        QVERIFY(item->isImage() || event == UWFileEvent::Removed);
    }

    void editableMetadata_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("editable");

        QTest::newRow("a writable JPEG") << "images/orientation-3.jpg" << 0644 << true;
        QTest::newRow("a writable PNG") << "images/photo.png" << 0644 << true;
        QTest::newRow("a writable TIFF") << "images/photo.tiff" << 0644 << true;
        QTest::newRow("a WebP is not editable") << "images/photo.webp" << 0644 << false;
        QTest::newRow("a read-only JPEG") << "images/orientation-4.jpg" << 0444 << false;
        QTest::newRow("a link is not an editable type itself") << "links/link-to-photo.jpg" << 0 << false;
        QTest::newRow("text is not an image") << "text/notes.txt" << 0644 << false;
    }

    void editableMetadata()
    {
        QFETCH(QString, file);
        QFETCH(int, mode);
        QFETCH(bool, editable);
        const QString path = sample(file);
        if (mode)
            QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(mode)) == 0);
        const TQFileRef item = TQFile::newFileForPath(path);
        QCOMPARE(item->hasEditableImageMetadata(), editable);
        if (!item->isImage())
            return;
        const QByteArray before = contents(path);
        const auto subscription =
            UWFileManager::sharedFileManager()->subscriptionForFile(TQFile::newFileForPath(QFileInfo(path).path()));
        subscription->loadImmediately();
        QSignalSpy listingChanged(subscription.get(), &UWFileSubscription::filesChanged);
        QCOMPARE(item->setImageOrientation(8), editable);
        if (!editable) {
            QCOMPARE(contents(path), before);
            return;
        }
        // The folder was told at once, without waiting for the kernel's events.
        QVERIFY(listingChanged.count() >= 1);
        QProcess exiftool;
        exiftool.start(u"exiftool"_s, {u"-s3"_s, u"-n"_s, u"-Orientation"_s, path});
        if (!exiftool.waitForFinished() || exiftool.exitCode() != 0)
            QSKIP("exiftool is not installed");
        QCOMPARE(exiftool.readAllStandardOutput().trimmed(), QByteArray("8"));
    }

    void imageMetadataComesFromTheFile()
    {
        const QString path = sample(u"camera.jpg"_s);
        QVERIFY(TQSampleData::writeImage(path, "JPEG", QSize(64, 48),
                                         {{u"Orientation"_s, 6}, {u"Model"_s, u"TQ-1"_s}, {u"ISO"_s, 800}, {u"ExposureTime"_s, 0.004},
                                          {u"FNumber"_s, 2.8}, {u"FocalLength"_s, 35.0}, {u"DateTimeOriginal"_s, u"2026:11:21 05:27:31"_s}}));
        const TQFileRef item = TQFile::newFileForPath(path);
        QCOMPARE(item->orientation(), 6);
        // The dictionary the item keeps is the reader's, nested dictionaries, lists and types too.
        const QVariantMap read = TQImageProperties::propertiesOfFile(path);
        QVERIFY(read.value(u"{Exif}"_s).toMap().contains(u"ISOSpeedRatings"_s));
        QVERIFY(tqSameTree(item->imageProperties(), read));
        // The generator draws 64x48 upright, so a quarter turn is stored as 48x64.
        QCOMPARE(item->trueDimensions(), QSizeF(48, 64));
        QCOMPARE((QStringList{item->dimensionsString(), item->generalOrientationString(), item->ISOString(), item->exposureTimeString(),
                              item->fNumberString(), item->focalLengthString(), item->cameraModelString(), item->EXIFDateString(),
                              item->imageDepthString()}),
                 (QStringList{u"64x48"_s, u"Landscape"_s, u"ISO 800"_s, u"1/250"_s, u"f2.8"_s, u"35mm"_s, u"TQ-1"_s,
                              u"Nov 21, 2026, 5:27 AM"_s, u"8-bit RGB"_s}));

        // Cached: the values stay what they were read as until an event resets them.
        QVERIFY(TQSampleData::writeImage(path, "JPEG", QSize(64, 48), {{u"ISO"_s, 100}}));
        QCOMPARE(item->ISOString(), u"ISO 800"_s);
        item->updateForEvent({UWFileEvent::CreatedOrReplaced, {}});
        QCOMPARE(item->ISOString(), u"ISO 100"_s);
        QCOMPARE(item->orientation(), 1);

        // Not an image: an empty dictionary and the missing forms.
        const TQFileRef text = TQFile::newFileForPath(sample(u"text/notes.txt"_s));
        QVERIFY(!text->findAllImageInfo());
        QVERIFY(text->imageProperties().isEmpty());
        QCOMPARE(text->megapixels(), 0.0);
        QCOMPARE(text->EXIFDate(), TQDistantPast());
        QCOMPARE(text->dimensionsString(), QString());
    }

    void rotationOfAVanishedFileWritesNothing()
    {
        const QString path = sample(u"images/orientation-5.jpg"_s);
        const TQFileRef item = TQFile::newFileForPath(path);
        QVERIFY(item->hasEditableImageMetadata()); // checked, and cached, while the file was there
        QVERIFY(QFile::remove(path));
        QString reason;
        QVERIFY(!item->setImageOrientation(1, &reason));
        QVERIFY(!reason.isEmpty());
        // Nothing was left behind in the folder either.
        QVERIFY(QDir(sample(u"images"_s)).entryList(QDir::Hidden | QDir::Files).filter(u"orientation-5"_s).isEmpty());
    }

    void nameThatIsNotUtf8_data()
    {
        // Listed items of such names keep their bytes too (tst_filemanager); what they do is the same.
        QTest::addColumn<QString>("operation");
        for (const char *operation : {"rotation", "properties", "label", "kind"})
            QTest::newRow(operation) << QString::fromLatin1(operation);
    }

    void nameThatIsNotUtf8()
    {
        QFETCH(QString, operation);

        // A copy of a picture under a name with a byte that is not UTF-8, in a folder of its own.
        QTemporaryDir dir;
        const QByteArray path = QFile::encodeName(dir.path()) + "/\xff-photo.jpg";
        const QByteArray bytes = contents(sample(u"images/orientation-1.jpg"_s));
        const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        QVERIFY(fd >= 0);
        const bool written = ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
        ::close(fd);
        QVERIFY(written);
        // QTemporaryDir cannot remove what it cannot name.
        const auto removeCopy = qScopeGuard([&] { ::unlink(path.constData()); });

        const TQFileRef file = TQFile::newFileForNativePath(path);
        QVERIFY(file && file->exists());
        QCOMPARE(file->nativePath(), path);
        QCOMPARE(file->displayName(), QStringLiteral(u"\uFFFD-photo.jpg"));

        if (operation == u"rotation") {
            QCOMPARE(file->storedImageOrientation(), 1);
            QString reason;
            QVERIFY2(file->setImageOrientation(6, &reason), qPrintable(reason));
            QCOMPARE(TQFile::newFileForNativePath(path)->storedImageOrientation(), 6);
        } else if (operation == u"properties") {
            QCOMPARE(file->imageProperties().value(u"PixelWidth"_s).toInt(), 64);
        } else if (operation == u"label") {
            QVERIFY(::setxattr(path.constData(), "user.xdg.tags", "Red", 3, 0) == 0);
            QCOMPARE(file->finderLabel(), 6);
        } else {
            QVERIFY(file->isImage());
            QCOMPARE(file->kindString(), u"JPEG image"_s);
        }
        // Whatever was done, it was done to this file: nothing appeared under the name as text.
        // (QDir skips names that are not UTF-8, so the folder is read as the system gives it.)
        QByteArrayList names;
        DIR *folder = ::opendir(QFile::encodeName(dir.path()).constData());
        QVERIFY(folder);
        while (const dirent *entry = ::readdir(folder)) {
            if (qstrcmp(entry->d_name, ".") != 0 && qstrcmp(entry->d_name, "..") != 0)
                names.append(entry->d_name);
        }
        ::closedir(folder);
        QCOMPARE(names, QByteArrayList{"\xff-photo.jpg"});
    }

    void peeksAnswerOnlyWhatIsKnown_data()
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

    void peeksAnswerOnlyWhatIsKnown()
    {
        QFETCH(QString, file);
        QFETCH(QString, asked);
        QFETCH(QString, peeked);
        QFETCH(bool, known);

        if (!QFileInfo::exists(sample(file)))
            QVERIFY(QFile(sample(file)).open(QIODevice::WriteOnly));
        const TQFileRef item = TQFile::newFileForPath(sample(file));
        if (!asked.isEmpty())
            item->valueForKey(asked);
        const std::optional<QVariant> peek = item->cachedValueForKey(peeked);
        QCOMPARE(peek.has_value(), known);
        QCOMPARE(item->isValueCached(peeked), known);
        if (known)
            QCOMPARE(*peek, item->valueForKey(peeked));
        QVERIFY(!item->cachedValueForKey(u"noSuchKey"));
    }

    void iconFollowsTheContentType_data()
    {
        QTest::addColumn<QString>("copyOf");
        QTest::addColumn<bool>("announced");

        QTest::newRow("a picture named like text") << "images/photo.png" << true;
        QTest::newRow("text named like text") << "text/notes.txt" << false;
    }

    void iconFollowsTheContentType()
    {
        QFETCH(QString, copyOf);
        QFETCH(bool, announced);

        QTemporaryDir dir;
        const QString path = dir.filePath(u"named.txt"_s);
        QVERIFY(QFile::copy(sample(copyOf), path));
        const TQFileRef item = TQFile::newFileForPath(path);
        Announcements announcements;
        item->addObserver(&announcements);

        item->fileIcon(); // null without an icon theme; drawn from the name either way
        QVERIFY(!item->isValueCached(u"resolvedUTI"));
        std::thread([&item] { item->resolveContentType(); }).join();
        QVERIFY(item->isValueCached(u"resolvedUTI"));
        // Told on the main thread, once its events run; and only once.
        QVERIFY(announcements.log.isEmpty());
        QStringList expected;
        const QStringList keys = UWStandardFile::keysAnnouncedBy(UWStandardFile::Announcement::ContentTypeResolved);
        for (qsizetype i = 0; announced && i < keys.size(); ++i) {
            expected.insert(i, u"will "_s + keys.at(i));
            expected.insert(i + 1, u"did "_s + keys.at(i));
        }
        QCoreApplication::processEvents();
        item->resolveContentType();
        item->fileIcon();
        QCoreApplication::processEvents();
        QCOMPARE(announcements.log, expected);
        item->removeObserver(&announcements);
    }

private:
    QTemporaryDir m_dir;
    QString sample(const QString &relative) const { return m_dir.filePath(relative); }
};

QTEST_MAIN(TestFile)
#include "tst_file.moc"
