// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFile.h"
#include "TQInvalidParameterException.h"
#include "TQSampleData.h"
#include "UWFileManager.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

using namespace Qt::StringLiterals;

namespace {

QString names(const QList<UWStandardFileRef> &items)
{
    QStringList result;
    for (const UWStandardFileRef &item : items)
        result.append(item->fileName());
    return result.join(u' ');
}

} // namespace

class TestFileSorting : public QObject
{
    Q_OBJECT

private slots:
    // .config/ (hidden folder), Folder/ (with a file inside), .hidden.jpg, a9.png, a10.jpg,
    // data.bin and notes.txt, with sizes and modification times chosen so that every order differs.
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QDir dir(m_dir.path());
        QVERIFY(dir.mkdir(u".config"_s) && dir.mkdir(u"Folder"_s));
        const auto write = [&](const QString &name, QByteArray bytes, qint64 size) {
            bytes.append(QByteArray(size - bytes.size(), '\0'));
            QFile file(dir.filePath(name));
            return file.open(QIODevice::WriteOnly) && file.write(bytes) == size;
        };
        const auto image = [&](const QString &name, const char *format, qint64 size) {
            QFile file(dir.filePath(name));
            return TQSampleData::writeImage(file.fileName(), format, QSize(8, 8), {}) && file.open(QIODevice::ReadOnly)
                && write(name, file.readAll(), size);
        };
        QVERIFY(image(u".hidden.jpg"_s, "JPEG", 2000) && image(u"a9.png"_s, "PNG", 3000) && image(u"a10.jpg"_s, "JPEG", 4000));
        QVERIFY(write(u"notes.txt"_s, "plain words\n", 300) && write(u"data.bin"_s, QByteArray("\xfe\xed\x00\x10\x20\x99", 6), 50));
        QVERIFY(write(u"Folder/inner.txt"_s, "inside\n", 7));
        const QStringList byAge{u"notes.txt"_s, u"a10.jpg"_s, u"a9.png"_s, u"data.bin"_s, u".hidden.jpg"_s, u".config"_s, u"Folder"_s};
        for (qsizetype i = 0; i < byAge.size(); ++i) {
            const timespec when[2] = {{0, UTIME_OMIT}, {time_t(1767268800 + std::min<qsizetype>(i, 5)), 0}};
            QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(dir.filePath(byAge.at(i))).constData(), when, 0), 0);
        }
        m_labelled = ::setxattr(QFile::encodeName(dir.filePath(u"notes.txt"_s)).constData(), "user.xdg.tags", "Red", 3, 0) == 0
            && ::setxattr(QFile::encodeName(dir.filePath(u"data.bin"_s)).constData(), "user.xdg.tags", "Blue", 4, 0) == 0;
    }

    void descriptors_data()
    {
        QTest::addColumn<int>("sortType");
        QTest::addColumn<int>("folderPriority");
        QTest::addColumn<bool>("ascending");
        QTest::addColumn<QString>("itemKeyPath");
        QTest::addColumn<QString>("expected");

        // One row per rule; what each column sorts by shows in sortsAFolder().
        const QString name = u"(displayName, ascending, name order)"_s;
        QTest::newRow("by name, not repeated") << 0 << 0 << true << QString() << name;
        QTest::newRow("a numeric column, folders last")
            << 1 << 11 << true << QString() << u"(isDirectory, ascending, natural order) (fileSize, ascending, natural order) "_s + name;
        QTest::newRow("a text column, folders first, descending, under a key path")
            << 22 << 10 << false << u"file"_s
            << u"(file.isDirectory, descending, natural order) (file.cameraModelString, descending, name order) "
               "(file.displayName, descending, name order)"_s;
        QTest::newRow("the date added") << 23 << 0 << true << QString() << u"(addedDate, ascending, natural order) "_s + name;
        QTest::newRow("at random") << 7 << 0 << true << QString() << u"(displayName, ascending, comparator) "_s + name;
        for (int alone : {2, 10, 11, 12, 24, -1})
            QTest::addRow("%d sorts by name alone", alone) << alone << 1 << true << QString() << name;
    }

    void descriptors()
    {
        QFETCH(int, sortType);
        QFETCH(int, folderPriority);
        QFETCH(bool, ascending);
        QFETCH(QString, itemKeyPath);

        QStringList described;
        for (const TQSortDescriptor &descriptor : TQFile::sortDescriptorsForSortType(sortType, folderPriority, ascending, itemKeyPath))
            described.append(descriptor.description());
        QTEST(described.join(u' '), "expected");
    }

    void sortsAFolder_data()
    {
        QTest::addColumn<int>("sortType");
        QTest::addColumn<int>("folderPriority");
        QTest::addColumn<bool>("ascending");
        QTest::addColumn<QString>("expected");

        QTest::newRow("by name") << 0 << 0 << true << ".config .hidden.jpg a9.png a10.jpg data.bin Folder notes.txt";
        QTest::newRow("a column without a key sorts by name, descending")
            << 2 << 0 << false << "notes.txt Folder data.bin a10.jpg a9.png .hidden.jpg .config";
        QTest::newRow("by size, folders first") << 1 << 10 << true << ".config Folder data.bin notes.txt .hidden.jpg a9.png a10.jpg";
        QTest::newRow("by size descending, folders last, ties by name descending")
            << 1 << 11 << false << "a10.jpg a9.png .hidden.jpg notes.txt data.bin Folder .config";
        QTest::newRow("by modification date") << 6 << 0 << true << "notes.txt a10.jpg a9.png data.bin .hidden.jpg .config Folder";
        QTest::newRow("by label name, unlabelled first")
            << 13 << 0 << true << ".config .hidden.jpg a9.png a10.jpg Folder data.bin notes.txt";
    }

    void sortsAFolder()
    {
        QFETCH(int, sortType);
        QFETCH(int, folderPriority);
        QFETCH(bool, ascending);
        QFETCH(QString, expected);
        if (sortType == 13 && !m_labelled)
            QSKIP("this file system keeps no user extended attributes");

        QList<UWStandardFileRef> items = listing();
        std::reverse(items.begin(), items.end());
        TQSortDescriptor::sort(items, TQFile::sortDescriptorsForSortType(sortType, folderPriority, ascending));
        QCOMPARE(names(items), expected);

        // The same order for rows that hold the items under a key path.
        QVariantList rows;
        for (const UWStandardFileRef &item : listing())
            rows.append(QVariantMap{{u"file"_s, QVariant::fromValue(item)}});
        TQSortDescriptor::sort(rows, TQFile::sortDescriptorsForSortType(sortType, folderPriority, ascending, u"file"_s));
        items.clear();
        for (const QVariant &row : rows)
            items.append(row.toMap().value(u"file"_s).value<UWStandardFileRef>());
        QCOMPARE(names(items), expected);
    }

    void keptNameKeysFollowRenamesAndLocale()
    {
        QTemporaryDir dir;
        QList<UWStandardFileRef> items;
        for (const QString &name : {u"z.txt"_s, u"b.txt"_s, u"\u00f6.txt"_s}) {
            QVERIFY(QFile(dir.filePath(name)).open(QIODevice::WriteOnly));
            items.append(TQFile::newFileForPath(dir.filePath(name)));
        }
        const QList<TQSortDescriptor> byName = TQFile::sortDescriptorsForSortType(0, 0, true);
        TQSortDescriptor::sort(items, byName);
        QCOMPARE(names(items), u"b.txt \u00f6.txt z.txt"_s);

        // Renamed on disk: the item takes the new name, and its kept key goes with the old one.
        QVERIFY(QFile::rename(dir.filePath(u"b.txt"_s), dir.filePath(u"zz.txt"_s)));
        items.first()->updateForEvent({UWFileEvent::Renamed, dir.filePath(u"zz.txt"_s)});
        TQSortDescriptor::sort(items, byName);
        QCOMPARE(names(items), u"\u00f6.txt z.txt zz.txt"_s);

        // In Swedish, o with diaeresis is a letter after z.
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::Swedish, QLocale::Sweden));
        TQSortDescriptor::sort(items, byName);
        QLocale::setDefault(before);
        QCOMPARE(names(items), u"z.txt zz.txt \u00f6.txt"_s);
    }

    void randomOrderChangesAndKeepsEveryItem()
    {
        QList<UWStandardFileRef> items;
        for (int i = 0; i < 200; ++i)
            items.append(TQFile::newFileForPath(m_dir.filePath(u"f%1"_s.arg(i, 3, 10, QChar(u'0')))));
        const QList<TQSortDescriptor> random = TQFile::sortDescriptorsForSortType(7, 0, true, {});
        const QList<UWStandardFileRef> first = TQSortDescriptor::sortedArray(items, random);
        QVERIFY(names(first) != names(TQSortDescriptor::sortedArray(items, random)));
        QStringList sorted = names(first).split(u' ');
        sorted.sort();
        QCOMPARE(sorted.join(u' '), names(items));
        for (int i = 0; i < 100; ++i)
            QVERIFY(random.first().comparator()(QVariant(), QVariant()) != 0);
    }

    void filters_data()
    {
        QTest::addColumn<int>("filterType");
        QTest::addColumn<bool>("excludeFolders");
        QTest::addColumn<QString>("kept");

        const char *all = ".config .hidden.jpg a10.jpg a9.png data.bin Folder notes.txt";
        QTest::newRow("0 visible") << 0 << false << "a10.jpg a9.png data.bin Folder notes.txt";
        QTest::newRow("1 everything") << 1 << false << all;
        QTest::newRow("1 without folders") << 1 << true << ".hidden.jpg a10.jpg a9.png data.bin notes.txt";
        QTest::newRow("2 images") << 2 << false << "a10.jpg a9.png";
        QTest::newRow("3 media") << 3 << false << "a10.jpg a9.png notes.txt";
        QTest::newRow("4 images and folders") << 4 << false << "a10.jpg a9.png Folder";
        QTest::newRow("4 without folders") << 4 << true << "a10.jpg a9.png";
        QTest::newRow("5 media and folders") << 5 << false << "a10.jpg a9.png Folder notes.txt";
        QTest::newRow("6 folders") << 6 << false << "Folder";
        QTest::newRow("6 keeps its folders when told to exclude them") << 6 << true << "Folder";
        QTest::newRow("7 non-folders") << 7 << false << "a10.jpg a9.png data.bin notes.txt";
        QTest::newRow("9 has no filter") << 9 << false << all;
    }

    void filters()
    {
        QFETCH(int, filterType);
        QFETCH(bool, excludeFolders);

        const std::optional<TQPredicate> filter = TQFile::filterPredicateForFilterType(filterType, excludeFolders, {});
        QCOMPARE(filter.has_value(), filterType < 8);
        QList<UWStandardFileRef> found;
        for (const UWStandardFileRef &item : listing()) {
            if (!filter || filter->evaluateWithObject(item))
                found.append(item);
        }
        QStringList sorted = names(found).split(u' ', Qt::SkipEmptyParts);
        sorted.sort(Qt::CaseInsensitive);
        QTEST(sorted.join(u' '), "kept");
    }

    void filterEdges()
    {
        // The platform writes its conjunction after the preset, with the key path in every place.
        const std::optional<TQPredicate> filter = TQFile::filterPredicateForFilterType(4, true, u"file"_s);
        QVERIFY(filter);
        QCOMPARE(filter->predicateFormat(),
                 u"(file.isInvisible == NO AND (file.isImage == YES OR file.isDirectory == YES)) AND file.isDirectory == NO"_s);

        // An image package is an image and a folder: images keep it unless folders are excluded.
        const QVariantMap package{{u"file"_s, QVariantMap{{u"isInvisible"_s, false}, {u"isImage"_s, true}, {u"isDirectory"_s, true}}}};
        QVERIFY(TQFile::filterPredicateForFilterType(2, false, u"file"_s)->evaluateWithObject(package));
        QVERIFY(!TQFile::filterPredicateForFilterType(2, true, u"file"_s)->evaluateWithObject(package));

        try {
            TQFile::filterPredicateForFilterType(8, true, {});
            QFAIL("a preset without a filter cannot exclude folders");
        } catch (const TQInvalidParameterException &error) {
            QCOMPARE(QString::fromUtf8(error.what()), u"Invalid parameter not satisfying: nil != predicate"_s);
        }
    }

    void counting_data()
    {
        QTest::addColumn<int>("fileFilter"); // a preset, -1 for none, 8 for one that rejects everything
        QTest::addColumn<int>("directoryFilter");
        QTest::addColumn<bool>("throughSubscription");
        QTest::addColumn<QList<uint>>("expected");

        for (bool subscription : {true, false}) {
            const char *via = subscription ? "subscription" : "load";
            QTest::addRow("no filters, %s", via) << -1 << -1 << subscription << QList<uint>{5, 2, 7};
            QTest::addRow("folders rejected, %s", via) << -1 << 8 << subscription << QList<uint>{5, 0, 5};
            QTest::addRow("visible files, %s", via) << 0 << -1 << subscription << QList<uint>{4, 2, 6};
            QTest::addRow("visible only, %s", via) << 0 << 0 << subscription << QList<uint>{4, 1, 5};
            QTest::addRow("images and visible folders, %s", via) << 2 << 6 << subscription << QList<uint>{2, 1, 3};
        }
    }

    void counting()
    {
        QFETCH(int, fileFilter);
        QFETCH(int, directoryFilter);
        QFETCH(bool, throughSubscription);
        QFETCH(QList<uint>, expected);

        const auto preset = [](int type) -> std::optional<TQPredicate> {
            if (type == 8)
                return TQPredicate::predicateWithValue(false);
            return type < 0 ? std::nullopt : TQFile::filterPredicateForFilterType(type, false, {});
        };
        const std::optional<TQPredicate> files = preset(fileFilter), folders = preset(directoryFilter);
        const TQPredicate *fileFilterPointer = files ? &*files : nullptr, *folderFilterPointer = folders ? &*folders : nullptr;
        const TQFileRef folder = TQFile::newFileForPath(m_dir.path());
        QList<uint> counts{99, 99, 99};
        QVERIFY(throughSubscription
                    ? folder->countOfFiles(&counts[0], &counts[1], &counts[2], fileFilterPointer, folderFilterPointer)
                    : folder->countOfFiles(&counts[0], &counts[1], &counts[2], nullptr, fileFilterPointer, folderFilterPointer));
        QCOMPARE(counts, expected);

        // Each count is optional; a file is no folder to count.
        uint total = 0;
        QVERIFY(folder->countOfFiles(nullptr, nullptr, &total));
        QCOMPARE(total, 7u);
        QVERIFY(folder->countOfFiles(nullptr, nullptr, nullptr));
        QVERIFY(!TQFile::newFileForPath(m_dir.filePath(u"notes.txt"_s))->countOfFiles(&counts[0], nullptr, nullptr));
        QCOMPARE(counts[0], expected.at(0));
    }

    void handAnnouncedKeys()
    {
        // Every key announced by hand is one the item answers, except the trash state, which the
        // library never fills; every other key is announced automatically.
        const QStringList byHand = TQFile::keysAnnouncedByHand();
        for (const QString &key : byHand)
            QVERIFY2(!TQFile::automaticallyNotifiesObserversForKey(key) && (TQFile::keys().contains(key) || key == u"isInTrash"),
                     qPrintable(key));
        for (const QString &key : TQFile::keys() + QStringList{u"unknownKey"_s})
            QVERIFY2(byHand.contains(key) || TQFile::automaticallyNotifiesObserversForKey(key), qPrintable(key));
    }

    void comparisonValues()
    {
        const TQFileRef item = TQFile::newFileForPath(m_dir.filePath(u"notes.txt"_s));
        QCOMPARE(item->comparisonValueForType(1), QVariant(qint64(300)));
        QCOMPARE(item->comparisonValueForType(23), item->valueForKey(u"dateAdded"));
        QCOMPARE(item->comparisonValueForType(6), item->valueForKey(u"modificationDate"));
        QCOMPARE(item->comparisonValueForType(0), QVariant(u"notes.txt"_s));
        QCOMPARE(item->comparisonValueForType(99), QVariant(u"notes.txt"_s));
        QCOMPARE(item->comparisonValueForType(13), QVariant(m_labelled ? u"Red"_s : u""_s));
        QCOMPARE(TQFile::newFileForPath(m_dir.filePath(u"a9.png"_s))->finderLabelSortValue(), u""_s);
        QSet<uint> randoms;
        for (int i = 0; i < 20; ++i)
            randoms.insert(item->comparisonValueForType(7).toUInt());
        QVERIFY(randoms.size() > 1);
    }

    void sortNumbersAreTheValues_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("a file") << u"notes.txt"_s;
        QTest::newRow("a folder") << u"Folder"_s;
        QTest::newRow("a missing file") << u"missing.txt"_s;
    }

    void sortNumbersAreTheValues()
    {
        QFETCH(QString, name);

        // Sorting reads sizes and dates as numbers, not through valueForKey(): they must agree,
        // to the millisecond of a time given in nanoseconds.
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(u"Folder"_s));
        QFile text(dir.filePath(u"notes.txt"_s));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("words\n") == 6);
        text.close();
        const QString path = dir.filePath(name);
        const timespec when[2] = {{0, UTIME_OMIT}, {1767268800, 123456789}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), when, 0) == 0, name != u"missing.txt");
        const TQFileRef item = TQFile::newFileForPath(path);
        QStringList asNumbers;
        for (const QString &key : TQFile::keys() + QStringList{u"addedDate"_s}) {
            qint64 number = -1;
            const QVariant value = item->valueForKey(key);
            switch (item->sortNumberForKey(key, &number)) {
            case TQKeyValueCoding::SortNumber::Integer:
                asNumbers.append(key);
                QCOMPARE(value.typeId() == QMetaType::QDateTime ? value.toDateTime().toMSecsSinceEpoch() : value.toLongLong(), number);
                break;
            case TQKeyValueCoding::SortNumber::Missing:
                asNumbers.append(key);
                QVERIFY2(value.isNull(), qPrintable(key));
                break;
            case TQKeyValueCoding::SortNumber::Unknown:
                break;
            }
        }
        for (const char *column : {"fileSize", "modificationDate", "creationDate", "addedDate"})
            QVERIFY2(asNumbers.contains(QLatin1String(column)), column);
    }

private:
    QList<UWStandardFileRef> listing() const
    {
        QList<UWStandardFileRef> items;
        for (const QString &name : QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot))
            items.append(TQFile::newFileForPath(m_dir.filePath(name)));
        return items;
    }

    QTemporaryDir m_dir;
    bool m_labelled = false;
};

QTEST_GUILESS_MAIN(TestFileSorting)
#include "tst_filesorting.moc"
