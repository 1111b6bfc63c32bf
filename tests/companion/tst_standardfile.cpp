// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFileLoadOperation.h"
#include "UWFinderLabels.h"
#include "TQTypeRegistry.h"
#include "UWStandardFile.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray finderInfoWithLabel(int label)
{
    QByteArray info(32, '\0');
    info[8] = char(0x01);          // an unrelated Finder flag that must not leak into the label
    info[9] = char(label << 1 | 1); // bit 0 is another flag, not part of the colour
    return info;
}

QByteArray afpInfoWithLabel(int label)
{
    return QByteArray("AFP\0\0\1\0\0", 8) + QByteArray(8, '\0') + finderInfoWithLabel(label) + QByteArray(12, '\0');
}

QByteArray appleDoubleWithLabel(int label)
{
    // Magic, version, filler, two entries: a comment (4) at 50, 9 bytes long, then the FinderInfo
    // (9) at 59, 32 bytes long; then their data.
    return QByteArray::fromHex("0005160700020000") + QByteArray(16, '\0')
        + QByteArray::fromHex("0002" "00000004" "00000032" "00000009" "00000009" "0000003b" "00000020") + "a comment"
        + finderInfoWithLabel(label);
}

} // namespace

class TestStandardFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QImage image(8, 6, QImage::Format_RGB32);
        image.fill(Qt::red);
        QVERIFY(image.save(path("photo.jpg"), "JPEG"));
        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("folder")));
        QFile text(path("notes.txt"));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("text\n") == 5);
        text.close();

        QVERIFY(QFile::link(QStringLiteral("photo.jpg"), path("link-to-photo")));
        QVERIFY(QFile::link(QStringLiteral("link-to-photo"), path("link-to-link")));
        QVERIFY(QFile::link(QStringLiteral("folder"), path("link-to-folder")));
        QVERIFY(QFile::link(QStringLiteral("nowhere"), path("dangling")));
        QVERIFY(QFile::link(QStringLiteral("loop-b"), path("loop-a")));
        QVERIFY(QFile::link(QStringLiteral("loop-a"), path("loop-b")));
    }

    void itemsForFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("uti");
        QTest::addColumn<QString>("resolvedUTI");
        QTest::addColumn<QString>("resolvesTo"); // name of the resolved file
        QTest::addColumn<bool>("isDirectory");
        QTest::addColumn<bool>("isRealFile"); // what is invisible shows in hiddenNames()

        QTest::newRow("a JPEG") << "photo.jpg" << "public.jpeg" << "public.jpeg" << "photo.jpg" << false << true;
        QTest::newRow("a folder") << "folder" << "public.folder" << "public.folder" << "folder" << true << true;
        QTest::newRow("text") << "notes.txt" << "public.plain-text" << "public.plain-text" << "notes.txt" << false << true;
        QTest::newRow("a link resolves to its target") << "link-to-photo" << "public.symlink" << "public.jpeg" << "photo.jpg" << false << false;
        QTest::newRow("a chain of links resolves to its end") << "link-to-link" << "public.symlink" << "public.jpeg" << "photo.jpg" << false << false;
        QTest::newRow("a link to a folder is not a folder") << "link-to-folder" << "public.symlink" << "public.folder" << "folder" << false << false;
        QTest::newRow("a dangling link resolves to itself") << "dangling" << "public.symlink" << "public.symlink" << "dangling" << false << false;
        QTest::newRow("a link loop resolves to itself") << "loop-a" << "public.symlink" << "public.symlink" << "loop-a" << false << false;
        QTest::newRow("a missing file has no type") << "missing.jpg" << "" << "" << "missing.jpg" << false << false;
    }

    void itemsForFiles()
    {
        QFETCH(QString, name);
        QFETCH(QString, resolvedUTI);
        QFETCH(QString, resolvesTo);
        QFETCH(bool, isDirectory);

        const UWStandardFileRef file = UWStandardFile::newFileForPath(m_dir.filePath(name));
        QVERIFY(file);
        QCOMPARE(file->displayName(), name);
        QCOMPARE(file->path(), m_dir.filePath(name));
        QCOMPARE(file->parentItem()->path(), m_dir.path());
        QCOMPARE(file->URL(), QUrl::fromLocalFile(m_dir.filePath(name)));
        QTEST(file->uti(), "uti");
        QCOMPARE(file->resolvedUTI(), resolvedUTI);
        QCOMPARE(file->resolvedURL(), QUrl::fromLocalFile(m_dir.filePath(resolvesTo)));
        QCOMPARE(file->resolvedFileItem()->path(), m_dir.filePath(resolvesTo));
        QCOMPARE(file->isDirectory(), isDirectory);
        QCOMPARE(file->isBasicDirectory(), isDirectory);
        QTEST(file->isRealFile(), "isRealFile");
        QVERIFY(!file->isPlaceholder());
        QCOMPARE(file->kindString().isEmpty(), resolvedUTI.isEmpty());
        // A missing file has no dates, and answers their keys with nothing.
        const bool exists = !resolvedUTI.isEmpty();
        QCOMPARE(file->exists(), exists);
        QCOMPARE(file->creationDate().isValid(), exists);
        QCOMPARE(file->valueForKey(u"modificationDate").typeId(), exists ? QMetaType::QDateTime : QMetaType::UnknownType);
    }

    void datesComeFromTheFile()
    {
        const QDateTime past = QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC);
        QFile file(path("notes.txt"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(past, QFileDevice::FileModificationTime));
        file.close();

        const UWStandardFileRef item = UWStandardFile::newFileForPath(file.fileName());
        QCOMPARE(item->modificationDate(), past);
        QCOMPARE(item->modificationDate().timeSpec(), Qt::UTC);
        // Birth time, or the last status change where the file system keeps none: either way
        // it is the moment this test made the file, not the modification date set above.
        QVERIFY(item->creationDate().isValid());
        QVERIFY(qAbs(item->creationDate().secsTo(QDateTime::currentDateTimeUtc())) < 3600);
    }

    void keysAnswerTheirValues()
    {
        const UWStandardFileRef link = UWStandardFile::newFileForPath(path("link-to-photo"));
        for (const QString &key : UWStandardFile::keys())
            QVERIFY2(link->valueForKey(key).isValid(), qPrintable(key));
        QCOMPARE(link->valueForKey(u"displayName"), QVariant(QStringLiteral("link-to-photo")));
        QCOMPARE(link->valueForKey(u"resolvedUTI"), QVariant(QStringLiteral("public.jpeg")));
        QCOMPARE(link->valueForKey(u"isRealFile"), QVariant(false));
        QVERIFY(link->valueForKey(u"noSuchKey").isNull());
    }

    void rejectsWhatIsNotALocalFile()
    {
        QVERIFY(!UWStandardFile::newFileForURL(QUrl(QStringLiteral("https://example.com/a.jpg"))));
        QVERIFY(!UWStandardFile::newFileForURL(QUrl()));
        QVERIFY(!UWStandardFile::newFileForPath(QString()));
        const UWStandardFileRef root = UWStandardFile::newFileForPath(QStringLiteral("/"));
        QCOMPARE(root->displayName(), QStringLiteral("/"));
        QCOMPARE(root->uti(), QStringLiteral("public.volume"));
        QVERIFY(!root->parentItem());
        QCOMPARE(UWStandardFile::newFileForPath(u"/tmp"_s)->parentItem()->path(), u"/"_s);
    }

    void pathsAreCleaned_data()
    {
        QTest::addColumn<QString>("written"); // after the temporary folder
        QTest::addColumn<QString>("clean");
        QTest::newRow("a step back") << "/folder/../photo.jpg" << "/photo.jpg";
        QTest::newRow("a double slash") << "//photo.jpg" << "/photo.jpg";
        QTest::newRow("a dot") << "/./photo.jpg" << "/photo.jpg";
        QTest::newRow("a trailing slash") << "/folder/" << "/folder";
        QTest::newRow("a trailing dot") << "/folder/." << "/folder";
        QTest::newRow("a trailing step back") << "/folder/.." << "";
        QTest::newRow("dots inside a name stay") << "/..photo.jpg." << "/..photo.jpg.";
    }

    void pathsAreCleaned()
    {
        QFETCH(QString, written);
        QFETCH(QString, clean);
        const UWStandardFileRef item = UWStandardFile::newFileForPath(m_dir.path() + written);
        QCOMPARE(item->path(), m_dir.path() + clean);
        QCOMPARE(item->URL(), QUrl::fromLocalFile(m_dir.path() + clean));
    }

    void finderLabelFromAttributes_data()
    {
        QTest::addColumn<QByteArrayList>("attributes"); // name, value, name, value, ...
        QTest::addColumn<int>("label");
        QTest::addColumn<QString>("title");

        QTest::newRow("no attributes, no label") << QByteArrayList{} << 0 << "";
        QTest::newRow("a tag that names a label") << QByteArrayList{"user.xdg.tags", "Red"} << 6 << "Red";
        QTest::newRow("the first tag that names a label wins") << QByteArrayList{"user.xdg.tags", "work, green,Blue"} << 2 << "Green";
        QTest::newRow("tags that name no label") << QByteArrayList{"user.xdg.tags", "work,2026"} << 0 << "";
        QTest::newRow("a FinderInfo record") << QByteArrayList{"user.com.apple.FinderInfo", finderInfoWithLabel(4)} << 4 << "Blue";
        QTest::newRow("a short FinderInfo record is no label") << QByteArrayList{"user.com.apple.FinderInfo", finderInfoWithLabel(4).left(20)} << 0 << "";
        QTest::newRow("nor is one a byte short") << QByteArrayList{"user.com.apple.FinderInfo", finderInfoWithLabel(4).left(31)} << 0 << "";
        QTest::newRow("nor an AFP stream a byte short") << QByteArrayList{"user.DosStream.AFP_AfpInfo", afpInfoWithLabel(5).left(16 + 31)} << 0 << "";
        QTest::newRow("tags come before FinderInfo") << QByteArrayList{"user.xdg.tags", "orange", "user.com.apple.FinderInfo", finderInfoWithLabel(1)} << 7 << "Orange";
        QTest::newRow("FinderInfo answers when the tags name no label") << QByteArrayList{"user.xdg.tags", "work", "user.com.apple.FinderInfo", finderInfoWithLabel(1)} << 1 << "Gray";
        QTest::newRow("Samba's AFP stream") << QByteArrayList{"user.DosStream.AFP_AfpInfo", afpInfoWithLabel(5)} << 5 << "Yellow";
        QTest::newRow("an AFP stream without its header is ignored") << QByteArrayList{"user.DosStream.AFP_AfpInfo", QByteArray(16, 'x') + finderInfoWithLabel(5)} << 0 << "";
        QTest::newRow("Netatalk's AppleDouble record") << QByteArrayList{"user.org.netatalk.Metadata", appleDoubleWithLabel(3)} << 3 << "Purple";
        QTest::newRow("a truncated AppleDouble record is no label") << QByteArrayList{"user.org.netatalk.Metadata", appleDoubleWithLabel(3).left(60)} << 0 << "";
    }

    void finderLabelFromAttributes()
    {
        QFETCH(QByteArrayList, attributes);
        QFETCH(int, label);

        const QString file = m_dir.filePath(QStringLiteral("labelled-%1").arg(QString::fromUtf8(QTest::currentDataTag())));
        QFile created(file);
        QVERIFY(created.open(QIODevice::WriteOnly));
        created.close();
        for (qsizetype i = 0; i + 1 < attributes.size(); i += 2) {
            const QByteArray &value = attributes.at(i + 1);
            if (::setxattr(QFile::encodeName(file).constData(), attributes.at(i).constData(),
                           value.constData(), value.size(), 0) != 0)
                QSKIP("this file system keeps no user extended attributes");
        }

        const UWStandardFileRef item = UWStandardFile::newFileForPath(file);
        QCOMPARE(item->finderLabel(), label);
        QTEST(item->finderLabelTitle(), "title");
        QCOMPARE(UWFinderLabels::labelForPath(file), label);
    }

    // Reading a FIFO without a writer blocks for ever: the answers come without touching it,
    // and silently: a FIFO handed on to be read would at best be refused further down.
    void fifoIsNotRead()
    {
        QTemporaryDir dir;
        QVERIFY(::mkfifo(QFile::encodeName(dir.filePath(u"app.desktop"_s)).constData(), 0644) == 0);
        const UWStandardFileRef file = UWStandardFile::newFileForPath(dir.filePath(u"app.desktop"_s));
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QVERIFY(!file->isInvisible());
        QCOMPARE(file->displayName(), u"app.desktop"_s);
        QCOMPARE(file->resolvedUTI(), TQTypeRegistry::shared().typeForMimeType(u"inode/fifo"_s));
    }

    // A folder's ".hidden" file hides the names it lists. A listing reads it once for all its
    // entries, an item made from a path reads it itself: both must give the same answer.
    void hiddenNames_data()
    {
        QTest::addColumn<QByteArray>("list"); // the ".hidden" file's bytes; null: no such file
        QTest::addColumn<bool>("fifo");       // ".hidden" is a named pipe instead
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("invisible");

        QTest::newRow("no list") << QByteArray() << false << QByteArray("a.txt") << false;
        QTest::newRow("dot name, no list") << QByteArray() << false << QByteArray(".a") << true;
        QTest::newRow("listed") << QByteArray("b.txt\na.txt\n") << false << QByteArray("a.txt") << true;
        QTest::newRow("listed, last line") << QByteArray("b.txt\na.txt") << false << QByteArray("a.txt") << true;
        QTest::newRow("CRLF lines") << QByteArray("a.txt\r\nb.txt\r\n") << false << QByteArray("a.txt") << true;
        QTest::newRow("not listed") << QByteArray("b.txt\n") << false << QByteArray("a.txt") << false;
        QTest::newRow("only a prefix listed") << QByteArray("a.tx\n") << false << QByteArray("a.txt") << false;
        QTest::newRow("name not UTF-8") << QByteArray("\xff.txt\n") << false << QByteArray("\xff.txt") << true;
        QTest::newRow("list is a pipe") << QByteArray() << true << QByteArray("a.txt") << false;
    }

    void hiddenNames()
    {
        QFETCH(QByteArray, list);
        QFETCH(bool, fifo);
        QFETCH(QByteArray, name);

        QTemporaryDir dir;
        const QByteArray folder = QFile::encodeName(dir.path());
        const QByteArray path = folder + '/' + name;
        // By bytes: a name that is not UTF-8 does not survive a trip through QString.
        for (const QByteArray &made : {path, folder + "/b.txt"}) {
            const int fd = ::open(made.constData(), O_WRONLY | O_CREAT | O_EXCL, 0644);
            QVERIFY(fd >= 0 && ::close(fd) == 0);
        }
        QFile hidden(dir.filePath(u".hidden"_s));
        QVERIFY(list.isNull() || (hidden.open(QIODevice::WriteOnly) && hidden.write(list) == list.size()));
        hidden.close();
        if (fifo) {
            QCOMPARE(::mkfifo(folder + "/.hidden", 0600), 0);
            // Refused without blocking, once for the listing and once for the lone item.
            const QRegularExpression refusal(u"Not reading .*/\\.hidden for the hidden names: it is a named pipe"_s);
            QTest::ignoreMessage(QtWarningMsg, refusal);
            QTest::ignoreMessage(QtWarningMsg, refusal);
        }
        UWFileLoadOperation listing;
        listing.addObjectToQueue(UWStandardFile::newFileForNativePath(folder));
        listing.main();
        const QList<UWStandardFileRef> results = listing.results();
        const auto listed = std::find_if(results.cbegin(), results.cend(), [&](const auto &f) { return f->nativePath() == path; });
        QVERIFY(listed != results.cend());
        QTEST((*listed)->isInvisible(), "invisible");
        const UWStandardFileRef alone = UWStandardFile::newFileForNativePath(path);
        QVERIFY(alone && alone->exists());
        QTEST(alone->isInvisible(), "invisible");
    }

private:
    QTemporaryDir m_dir;
    QString path(const char *name) const { return m_dir.filePath(QString::fromUtf8(name)); }
};

QTEST_GUILESS_MAIN(TestStandardFile)
#include "tst_standardfile.moc"
