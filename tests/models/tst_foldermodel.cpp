// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folder model against real folders in a temporary directory: its listing, its order
// beside the library's own sort descriptors, its filters beside the library's predicates, and
// real inotify events, all under QAbstractItemModelTester in fatal mode.

#include "TQFile.h"
#include "TQFolderModel.h"
#include "TQNameOrder.h"
#include "TQPredicate.h"
#include "TQSortDescriptor.h"
#include "UWFileManager.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QImage>
#include <QItemSelectionModel>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QScopeGuard>
#include <QTest>
#include <QThreadPool>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A file of \a size bytes (sparse) modified \a age seconds ago; \a name in the file system's bytes.
void makeFile(const QByteArray &path, qint64 size = 0, int age = 0)
{
    const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
    QVERIFY2(fd >= 0, path.constData());
    QCOMPARE(::ftruncate(fd, size), 0);
    const struct timespec times[2] = {{0, UTIME_NOW}, {::time(nullptr) - age, 0}};
    QCOMPARE(::futimens(fd, times), 0);
    ::close(fd);
}

void makeImage(const QString &path, int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QVERIFY(image.save(path));
}

QByteArray native(const QTemporaryDir &dir, const char *name)
{
    return QFile::encodeName(dir.path()) + '/' + name;
}

// The items of the rows, top down.
QList<UWStandardFileRef> rowItems(const TQFolderModel &model)
{
    QList<UWStandardFileRef> items;
    for (int row = 0; row < model.rowCount(); ++row)
        items.append(model.itemAt(model.index(row, 0)));
    return items;
}

QStringList names(const QList<UWStandardFileRef> &items)
{
    QStringList out;
    for (const UWStandardFileRef &item : items)
        out.append(item->displayName());
    return out;
}

// The order the library's descriptors give the model's items, to compare the rows with.
QStringList descriptorOrder(const TQFolderModel &model, int sortType, int priority, bool ascending)
{
    return names(TQSortDescriptor::sortedArray(rowItems(model), TQFile::sortDescriptorsForSortType(sortType, priority, ascending)));
}

bool waitForLoad(TQFolderModel &model)
{
    QSignalSpy finished(&model, &TQFolderModel::loadingFinished);
    return !model.isLoading() || finished.wait(20000);
}

} // namespace

class TestFolderModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    // QDir cannot name an entry that is not UTF-8 to remove it.
    void cleanupTestCase() { ::unlink(native(m_mixed, "bad-\xff-name.txt").constData()); }
    void listing_data();
    void listing();
    void sorting_data();
    void sorting();
    void resortKeepsRows_data();
    void resortKeepsRows();
    void filtering_data();
    void filtering();
    void liveEvents_data();
    void liveEvents();
    void manyFilesWhileLive();
    void churnWhileGoingLive_data();
    void churnWhileGoingLive();
    void unreadableFolder_data();
    void unreadableFolder();
    void folderGoes_data();
    void folderGoes();
    void unknownValuesSortLast();
    void valuesArriveInRuns_data();
    void valuesArriveInRuns();
    void valuesOfEveryEntry_data();
    void valuesOfEveryEntry();
    void thumbnails_data();
    void thumbnails();
    void selection();

private:
    QTemporaryDir m_mixed; // images of several sizes, texts, music, a film, hidden entries, folders
};

void TestFolderModel::initTestCase()
{
    QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
    QVERIFY(m_mixed.isValid());
    const QByteArray root = QFile::encodeName(m_mixed.path()) + '/';
    makeImage(m_mixed.filePath(u"wide.png"_s), 60, 10);
    makeImage(m_mixed.filePath(u"Tall.png"_s), 10, 50);
    makeImage(m_mixed.filePath(u"square 10.png"_s), 30, 30);
    makeImage(m_mixed.filePath(u"square 9.png"_s), 30, 30);
    makeFile(root + "notes.txt", 300, 3600);
    makeFile(root + "b-notes.txt", 300, 60);
    makeFile(root + "song.mp3", 5000, 7200);
    makeFile(root + "clip.mov", 7000, 30);
    makeFile(root + "caf\xc3\xa9.txt", 10);
    makeFile(root + ".hidden.png", 20);
    makeFile(root + "bad-\xff-name.txt", 40);
    QVERIFY(QDir(m_mixed.path()).mkpath(u"Folder"_s));
    QVERIFY(QDir(m_mixed.path()).mkpath(u"album"_s));
    QVERIFY(QDir(m_mixed.path()).mkpath(u".cache"_s));
}

void TestFolderModel::listing_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("hidden"); // hidden names besides, filtered out
    QTest::newRow("empty folder") << 0 << 0;
    QTest::newRow("a few") << 7 << 0;
    QTest::newRow("several batches") << 2600 << 0;
    QTest::newRow("several batches, some filtered out") << 2600 << 1300;
}

// Every entry listed once, in name order, with names that are not UTF-8 kept as bytes; the
// first load is the only reset. Indexes held while batches arrive (the first row, one in the
// middle, the last one just appended) follow their items as the batches move into place, and
// every item knows its row afterwards.
void TestFolderModel::listing()
{
    QFETCH(int, count);
    QFETCH(int, hidden);
    QTemporaryDir dir;
    for (int i = 0; i < count; ++i) {
        makeFile(native(dir, QByteArray("file \xfe" + QByteArray::number(i * 7 % (count + 1))).constData()));
        if (i < hidden)
            makeFile(native(dir, QByteArray(".file " + QByteArray::number(i)).constData()));
    }
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QList<QPair<QPersistentModelIndex, UWStandardFileRef>> held;
    connect(&model, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex &, int, int last) {
        for (const int row : {0, last / 2, last}) {
            const QModelIndex index = model.index(row, row % TQFolderModel::ColumnCount);
            held.append({index, model.itemAt(index)});
            // Found while the listing still runs, before its index of items is handed over.
            QCOMPARE(model.indexOf(model.itemAt(index), index.column()), index);
        }
    });
    model.setFolderPath(dir.path());
    QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
    QVERIFY(waitForLoad(model));
    QCOMPARE(model.rowCount(), count);
    QCOMPARE(resets.count(), 0);
    QCOMPARE(inserted.isEmpty(), count == 0);
    for (const auto &[index, item] : std::as_const(held)) {
        QVERIFY(index.isValid());
        QCOMPARE(model.itemAt(index), item);
        QCOMPARE(model.indexOf(item, index.column()), QModelIndex(index));
    }
    QSet<QByteArray> listed;
    for (int row = 0; row < count; ++row) {
        QCOMPARE(model.indexOf(model.itemAt(model.index(row, 0))).row(), row);
        listed.insert(model.data(model.index(row, 0), TQFolderModel::NativePathRole).toByteArray());
        if (row > 0) {
            QVERIFY(TQNameOrder::compareNames(model.index(row - 1, 0).data().toString(), model.index(row, 0).data().toString()) < 0);
        }
    }
    QCOMPARE(listed.size(), count);
    if (count)
        QVERIFY(listed.contains(native(dir, "file \xfe" "0")));
    for (const QByteArray &path : std::as_const(listed))
        QCOMPARE(::unlink(path.constData()), 0); // QDir cannot name them to remove them
}

void TestFolderModel::sorting_data()
{
    QTest::addColumn<int>("sortType");
    QTest::addColumn<int>("priority");
    QTest::addColumn<bool>("ascending");
    QTest::newRow("name") << 0 << 0 << true;
    QTest::newRow("name, descending, folders first") << 0 << 10 << false;
    QTest::newRow("size, folders last") << 1 << 11 << true;
    QTest::newRow("size, descending") << 1 << 0 << false;
    QTest::newRow("kind") << 3 << 0 << true;
    QTest::newRow("modification date, descending, folders first") << 6 << 10 << false;
    QTest::newRow("width (content)") << 15 << 0 << true;
    QTest::newRow("height (content), descending") << 14 << 10 << false;
    QTest::newRow("megapixels (content)") << 4 << 0 << true;
    QTest::newRow("unknown code sorts by name") << 2 << 0 << false;
}

// The rows come in the order of the library's descriptors for the same code, once every
// background value is in; the same again through the header's sort().
void TestFolderModel::sorting()
{
    QFETCH(int, sortType);
    QFETCH(int, priority);
    QFETCH(bool, ascending);
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setFilterType(TQFilterType::Everything);
    QSignalSpy values(&model, &TQFolderModel::imageInfoFinished);
    model.setFolderPath(m_mixed.path());
    QVERIFY(waitForLoad(model));
    QVERIFY(values.count() > 0 || values.wait(20000));
    model.setSortType(sortType, priority, ascending);
    QCOMPARE(names(rowItems(model)), descriptorOrder(model, sortType, priority, ascending));
    const int column = TQFolderModel::columnForSortType(TQSortType(sortType));
    if (column >= 0) {
        model.sort(column, ascending ? Qt::DescendingOrder : Qt::AscendingOrder);
        QCOMPARE(names(rowItems(model)), descriptorOrder(model, sortType, priority, !ascending));
    }
}

void TestFolderModel::resortKeepsRows_data()
{
    QTest::addColumn<int>("sortType");
    QTest::addColumn<int>("priority");
    QTest::addColumn<bool>("ascending");
    QTest::addColumn<int>("removed"); // files deleted while live before the resort, from the list's start
    QTest::addColumn<int>("count");   // files made; with fewer than all, no folder or hidden file
    QTest::newRow("size, descending, after removals") << 1 << 0 << false << 3 << 9;
    QTest::newRow("size, folders first") << 1 << 10 << true << 0 << 9;
    QTest::newRow("date, descending, folders last, after a removal") << 6 << 11 << false << 1 << 9;
    QTest::newRow("creation date") << 9 << 0 << true << 0 << 9;
    QTest::newRow("name, descending, folders first") << 0 << 10 << false << 0 << 9;
    QTest::newRow("kind, after removals") << 3 << 0 << true << 2 << 9;
    QTest::newRow("random, after removals") << 7 << 0 << true << 2 << 9;
    QTest::newRow("two files, size, descending") << 1 << 0 << false << 0 << 2;
}

// A resort from name order keeps the rows (the filtered-out ones stay out), puts them in the
// descriptors' order, ties broken by name in the direction asked for, and lets indexes held
// on rows follow their items; every item knows its new row. Removals leave the names' ranks
// with gaps, which the resort must cope with.
void TestFolderModel::resortKeepsRows()
{
    QFETCH(int, sortType);
    QFETCH(int, priority);
    QFETCH(bool, ascending);
    QFETCH(int, removed);
    QFETCH(int, count);
    QTemporaryDir dir;
    const QList<QPair<const char *, int>> files = {{"m 10.txt", 700}, {"m 9.txt", 700},  {"A.jpg", 0},
                                                   {"b.mp3", 5000},  {"c.txt", 20},     {"d.pdf", 700},
                                                   {"x.txt", 1},     {"y.md", 3000000}, {"z.jpg", 20}};
    for (qsizetype i = 0; i < count; ++i)
        makeFile(native(dir, files[i].first), files[i].second, int(i % 4) * 1000);
    const bool extras = count == files.size();
    if (extras) {
        makeFile(native(dir, ".hidden.txt"), 100000);
        QVERIFY(QDir(dir.path()).mkpath(u"sub"_s));
    }
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setLoadsImageInfo(false);
    model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    // Ranks made once, the way a host's first sort by another column makes them.
    model.setSortType(TQSortType::FileSize, TQFolderPriority::Mixed, true);
    model.setSortType(TQSortType::Name, TQFolderPriority::Mixed, true);
    for (int i = 0; i < removed; ++i)
        QCOMPARE(::unlink(native(dir, files[i].first).constData()), 0);
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), count + (extras ? 1 : 0) - removed, 10000);
    QStringList before = names(rowItems(model));
    QList<QPair<QPersistentModelIndex, UWStandardFileRef>> held;
    for (const int row : {0, model.rowCount() / 2, model.rowCount() - 1}) {
        const QModelIndex index = model.index(row, row % TQFolderModel::ColumnCount);
        held.append({index, model.itemAt(index)});
    }

    model.setSortType(sortType, priority, ascending);
    QStringList after = names(rowItems(model));
    if (sortType != int(TQSortType::Random))
        QCOMPARE(after, descriptorOrder(model, sortType, priority, ascending));
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    QCOMPARE(after, before);
    for (const auto &[index, item] : std::as_const(held)) {
        QVERIFY(index.isValid());
        QCOMPARE(model.itemAt(index), item);
    }
    for (int row = 0; row < model.rowCount(); ++row)
        QCOMPARE(model.indexOf(model.itemAt(model.index(row, 0))).row(), row);
}

void TestFolderModel::filtering_data()
{
    QTest::addColumn<int>("filterType");
    QTest::addColumn<bool>("excludeFolders");
    for (int type = 0; type < 8; ++type) {
        for (bool exclude : {false, true})
            QTest::addRow("preset %d%s", type, exclude ? ", no folders" : "") << type << exclude;
    }
}

// The rows are the items the library's predicate for the preset accepts.
void TestFolderModel::filtering()
{
    QFETCH(int, filterType);
    QFETCH(bool, excludeFolders);
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setFilterType(TQFilterType::Everything);
    model.setFolderPath(m_mixed.path());
    QVERIFY(waitForLoad(model));
    const QList<UWStandardFileRef> every = rowItems(model);
    QCOMPARE(every.size(), 14);
    QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
    model.setFilterType(filterType);
    model.setExcludeFolders(excludeFolders);
    const TQPredicate predicate = *TQFile::filterPredicateForFilterType(filterType, excludeFolders);
    QStringList expected;
    for (const UWStandardFileRef &item : every) {
        if (predicate.evaluateWithObject(TQKeyValueSubject(static_cast<const TQKeyValueCoding *>(item.get()))))
            expected.append(item->displayName());
    }
    QCOMPARE(names(rowItems(model)), expected);
    QCOMPARE(resets.count(), 0);

    // The name filter narrows the preset; accents and case do not matter.
    model.setNameFilter(u"CAFE"_s);
    QCOMPARE(model.rowCount(), int(expected.contains(u"café.txt"_s)));
    model.setNameFilter({});
    QCOMPARE(names(rowItems(model)), expected);
}

void TestFolderModel::liveEvents_data()
{
    QTest::addColumn<int>("sortType");
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("shown");  // a name that must be a row afterwards
    QTest::addColumn<QString>("absent"); // a name that must not
    QTest::newRow("created") << 0 << u"create c.txt"_s << u"c.txt"_s << QString();
    QTest::newRow("deleted") << 0 << u"delete d.txt"_s << QString() << u"d.txt"_s;
    QTest::newRow("renamed across the order") << 0 << u"rename a.txt z.txt"_s << u"z.txt"_s << u"a.txt"_s;
    QTest::newRow("renamed into hiding") << 0 << u"rename b.txt .b.txt"_s << QString() << u"b.txt"_s;
    QTest::newRow("renamed out of hiding") << 0 << u"rename .e.txt e.txt"_s << u"e.txt"_s << QString();
    QTest::newRow("grown while sorted by size") << 1 << u"grow a.txt"_s << u"a.txt"_s << QString();
    QTest::newRow("written while sorted by date") << 6 << u"touch a.txt"_s << u"a.txt"_s << QString();
}

// A change on disk reaches the rows as inserts, removals, moves and changes, never a reset,
// and leaves them in the descriptors' order, each item knowing its row.
void TestFolderModel::liveEvents()
{
    QFETCH(int, sortType);
    QFETCH(QString, action);
    QFETCH(QString, shown);
    QFETCH(QString, absent);
    QTemporaryDir dir;
    makeFile(native(dir, "a.txt"), 10, 100);
    makeFile(native(dir, "b.txt"), 20, 200);
    makeFile(native(dir, "d.txt"), 30, 300);
    makeFile(native(dir, ".e.txt"), 40, 400);
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setSortType(sortType, 0, true);
    model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);

    const QStringList words = action.split(u' ');
    const QByteArray first = native(dir, words.value(1).toUtf8().constData());
    if (words[0] == u"create")
        makeFile(first);
    else if (words[0] == u"delete")
        QCOMPARE(::unlink(first.constData()), 0);
    else if (words[0] == u"rename")
        QCOMPARE(::rename(first.constData(), native(dir, words.value(2).toUtf8().constData()).constData()), 0);
    else if (words[0] == u"grow")
        makeFile(first, 1000, 100);
    else if (words[0] == u"touch")
        makeFile(first, 10, 0);
    auto rowNames = [&model] { return names(rowItems(model)); };
    if (!shown.isEmpty())
        QTRY_VERIFY_WITH_TIMEOUT(rowNames().contains(shown), 10000);
    if (!absent.isEmpty())
        QTRY_VERIFY_WITH_TIMEOUT(!rowNames().contains(absent), 10000);
    if (words[0] == u"grow" || words[0] == u"touch") {
        // The row shows the new value: a write announces what the row displays even when the
        // item had cached nothing to announce.
        QTRY_VERIFY_WITH_TIMEOUT(!changes.isEmpty(), 10000);
        QCOMPARE(rowNames().constLast(), shown);
    }
    QCOMPARE(rowNames(), descriptorOrder(model, sortType, 0, true));
    QCOMPARE(resets.count(), 0);
    // Every item still knows its row after the rows around it moved.
    for (int row = 0; row < model.rowCount(); ++row)
        QCOMPARE(model.indexOf(model.itemAt(model.index(row, 0))).row(), row);
}

// Ten thousand files come and go while the folder is shown: the rows follow them exactly.
void TestFolderModel::manyFilesWhileLive()
{
    QTemporaryDir dir;
    makeFile(native(dir, "keep.txt"));
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setLoadsImageInfo(false); // not the subject here, and the tester checks every change
    model.setSortType(TQSortType::FileSize, TQFolderPriority::Mixed, false);
    model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
    const int count = 10000;
    for (int i = 0; i < count; ++i)
        makeFile(native(dir, QByteArray("n" + QByteArray::number(i)).constData()), i % 97);
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), count + 1, 60000);
    QCOMPARE(names(rowItems(model)), descriptorOrder(model, 1, 0, false));
    for (int i = 0; i < count; ++i)
        QCOMPARE(::unlink(native(dir, QByteArray("n" + QByteArray::number(i)).constData()).constData()), 0);
    QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 1, 60000);
    QCOMPARE(model.index(0, 0).data().toString(), u"keep.txt"_s);
    QCOMPARE(resets.count(), 0);
}

void TestFolderModel::churnWhileGoingLive_data()
{
    QTest::addColumn<bool>("shownElsewhere"); // another model holds the folder live already
    QTest::newRow("first view") << false;
    QTest::newRow("second view") << true;
}

// Files come and go while the model lists the folder and before it goes live: once they
// stop, the rows are exactly the folder's entries.
void TestFolderModel::churnWhileGoingLive()
{
    QFETCH(bool, shownElsewhere);
    QTemporaryDir dir;
    const int count = 2000;
    for (int i = 0; i < count; ++i)
        makeFile(native(dir, QByteArray("f" + QByteArray::number(i)).constData()));
    TQFolderModel other;
    if (shownElsewhere) {
        other.setFolderPath(dir.path());
        QVERIFY(waitForLoad(other));
    }
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setLoadsImageInfo(false);
    // With every batch the listing delivers, entries all over the folder go, new ones come,
    // and some of those go again.
    int round = 0;
    connect(&model, &QAbstractItemModel::rowsInserted, &model, [&] {
        if (!model.isLoading())
            return;
        for (int i = round; i < count; i += 97)
            ::unlink(native(dir, QByteArray("f" + QByteArray::number(i)).constData()).constData());
        for (int i = 0; i < 50; ++i)
            makeFile(native(dir, QByteArray("r" + QByteArray::number(round) + "-" + QByteArray::number(i)).constData()));
        for (int i = 0; i < 50; i += 2)
            ::unlink(native(dir, QByteArray("r" + QByteArray::number(round) + "-" + QByteArray::number(i)).constData()).constData());
        ++round;
    });
    model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    QVERIFY(round > 0);
    QStringList onDisk = QDir(dir.path()).entryList(QDir::Files);
    onDisk.sort();
    auto shown = [&model] {
        QStringList rows = names(rowItems(model));
        rows.sort();
        return rows;
    };
    QTRY_COMPARE_WITH_TIMEOUT(shown(), onDisk, 20000);
}

void TestFolderModel::unreadableFolder_data()
{
    QTest::addColumn<bool>("whileLive"); // else before the listing
    QTest::addColumn<int>("rows");       // while it cannot be read
    QTest::newRow("before the listing") << false << 0;
    QTest::newRow("while live") << true << 3;
}

// A folder that cannot be read shows what the model had (nothing, or the rows listed before)
// and follows the folder again once it can be read.
void TestFolderModel::unreadableFolder()
{
    QFETCH(bool, whileLive);
    QFETCH(int, rows);
    QTemporaryDir dir;
    for (const char *name : {"a", "b", "c"})
        makeFile(native(dir, name));
    const QByteArray path = QFile::encodeName(dir.path());
    const auto readable = qScopeGuard([&path] { ::chmod(path.constData(), 0700); });
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    if (whileLive) {
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
    }
    QCOMPARE(::chmod(path.constData(), 0), 0);
    if (::access(path.constData(), R_OK) == 0)
        QSKIP("permissions do not bind this user (root)");
    if (!whileLive)
        model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    QCOMPARE(model.rowCount(), rows);
    QCOMPARE(::chmod(path.constData(), 0700), 0);
    makeFile(native(dir, "d"));
    if (whileLive)
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 4, 10000);
    else
        QCOMPARE(model.rowCount(), 0); // not watched: the folder is listed again when shown again
}

void TestFolderModel::folderGoes_data()
{
    QTest::addColumn<bool>("whileListing");
    QTest::newRow("after the listing") << false;
    QTest::newRow("while it is listed") << true;
}

// A folder deleted under the model leaves no rows, and the host hears of it once.
void TestFolderModel::folderGoes()
{
    QFETCH(bool, whileListing);
    QTemporaryDir parent;
    const QString path = parent.filePath(u"going"_s);
    QVERIFY(QDir().mkpath(path));
    for (int i = 0; i < 3000; ++i)
        makeFile(QFile::encodeName(path) + "/f" + QByteArray::number(i));
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy removed(&model, &TQFolderModel::folderRemoved);
    model.setFolderPath(path);
    if (!whileListing)
        QVERIFY(waitForLoad(model));
    QVERIFY(QDir(path).removeRecursively());
    QVERIFY(waitForLoad(model));
    QTRY_COMPARE_WITH_TIMEOUT(removed.count(), 1, 10000);
    QCOMPARE(model.rowCount(), 0);
    QTest::qWait(50);
    QCOMPARE(removed.count(), 1);
}

// Until image values arrive, items sort after every known one; when they arrive the rows
// move with one layout change and persistent indexes stay on their items.
void TestFolderModel::unknownValuesSortLast()
{
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setLoadsImageInfo(false);
    model.setExcludeFolders(true);
    model.setSortType(TQSortType::Width, TQFolderPriority::Mixed, true);
    model.setFolderPath(m_mixed.path());
    QVERIFY(waitForLoad(model));
    QCOMPARE(names(rowItems(model)), descriptorOrder(model, 0, 0, true)); // all unknown: by name
    QVERIFY(model.index(0, TQFolderModel::WidthColumn).data(TQFolderModel::IsPendingRole).toBool());
    QVERIFY(!model.index(0, TQFolderModel::SizeColumn).data(TQFolderModel::IsPendingRole).toBool());
    // Folders first while nothing is known: the folders still lead, each part in name order.
    model.setExcludeFolders(false);
    model.setSortType(TQSortType::Width, TQFolderPriority::FoldersFirst, true);
    QCOMPARE(names(rowItems(model)), descriptorOrder(model, 0, int(TQFolderPriority::FoldersFirst), true));
    model.setExcludeFolders(true);
    model.setSortType(TQSortType::Width, TQFolderPriority::Mixed, true);
    const QPersistentModelIndex wide = model.indexOf(model.allItems().at(names(model.allItems()).indexOf(u"wide.png"_s)));
    QVERIFY(wide.isValid());
    QSignalSpy layouts(&model, &QAbstractItemModel::layoutChanged);
    QSignalSpy finished(&model, &TQFolderModel::imageInfoFinished);
    model.setLoadsImageInfo(true);
    QVERIFY(finished.wait(20000));
    QVERIFY(!layouts.isEmpty());
    QCOMPARE(names(rowItems(model)), descriptorOrder(model, 15, 0, true));
    QCOMPARE(wide.data().toString(), u"wide.png"_s);
    QCOMPARE(wide.row(), model.rowCount() - 1);
    QCOMPARE(model.index(wide.row(), TQFolderModel::WidthColumn).data().toString(), u"60"_s);
}

void TestFolderModel::valuesArriveInRuns_data()
{
    QTest::addColumn<int>("sortType");
    QTest::addColumn<int>("layouts"); // layout changes when the values arrive
    QTest::newRow("by name: nothing moves") << 0 << 0;
    QTest::newRow("by width: one move") << 15 << 1;
    QTest::newRow("by megapixels, descending: one move") << -4 << 1;
}

// Values that arrive together announce one change per run of rows and move the rows once,
// into the descriptors' order.
void TestFolderModel::valuesArriveInRuns()
{
    QFETCH(int, sortType);
    QFETCH(int, layouts);
    QTemporaryDir dir;
    for (int i = 0; i < 30; ++i) {
        makeImage(dir.filePath(u"img%1.png"_s.arg(i)), 1 + i * 7 % 23, 1 + i % 5);
        makeFile(native(dir, QByteArray("text" + QByteArray::number(i)).constData()), i);
    }
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setLoadsImageInfo(false);
    model.setSortType(std::abs(sortType), 0, sortType >= 0);
    model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy moves(&model, &QAbstractItemModel::layoutChanged);
    QSignalSpy finished(&model, &TQFolderModel::imageInfoFinished);
    model.setLoadsImageInfo(true);
    // Every value is read before the model hears of any: they arrive as one delivery.
    UWFileManager::sharedFileManager()->utilityQueue()->waitForDone();
    QVERIFY(finished.count() > 0 || finished.wait(20000));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0).at(0).value<QModelIndex>().row(), 0);
    QCOMPARE(changes.at(0).at(1).value<QModelIndex>().row(), 59);
    QCOMPARE(moves.count(), layouts);
    QCOMPARE(names(rowItems(model)), descriptorOrder(model, std::abs(sortType), 0, sortType >= 0));
}

void TestFolderModel::valuesOfEveryEntry_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("a few") << 40;
    QTest::newRow("more than one turn of the event loop takes") << 5000;
}

// After a listing every entry gets its values, those filtered out too (every tenth name is
// hidden), and the host hears that they are in once.
void TestFolderModel::valuesOfEveryEntry()
{
    QFETCH(int, count);
    QTemporaryDir dir;
    for (int i = 0; i < count; ++i)
        makeFile(native(dir, QByteArray(i % 10 ? "f" : ".h").append(QByteArray::number(i)).constData()));
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setVisibleRows(count / 2, count / 2 + 9);
    QSignalSpy finished(&model, &TQFolderModel::imageInfoFinished);
    model.setFolderPath(dir.path());
    QVERIFY(waitForLoad(model));
    QCOMPARE(model.rowCount(), count - (count + 9) / 10);
    QVERIFY(finished.wait(30000));
    UWFileManager::sharedFileManager()->utilityQueue()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(finished.count(), 1);
    model.setFilterType(1); // hidden names too
    QCOMPARE(model.rowCount(), count);
    for (int row = 0; row < count; ++row)
        QCOMPARE(model.index(row, TQFolderModel::WidthColumn).data(TQFolderModel::IsPendingRole).toBool(), false);
}

void TestFolderModel::thumbnails_data()
{
    QTest::addColumn<qint64>("budget");
    QTest::addColumn<int>("kept"); // thumbnails held afterwards
    QTest::newRow("ample budget") << (qint64(32) << 20) << 4;
    QTest::newRow("nothing fits") << qint64(1) << 0;
}

// Thumbnails of the rows on screen arrive through the thumbnailer and stay within the budget.
void TestFolderModel::thumbnails()
{
    QFETCH(qint64, budget);
    QFETCH(int, kept);
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setFilterType(TQFilterType::VisibleImages);
    model.setThumbnailSize({32, 32});
    model.setThumbnailMemoryBudget(budget);
    model.setFolderPath(m_mixed.path());
    QVERIFY(waitForLoad(model));
    QCOMPARE(model.rowCount(), 4);
    QSignalSpy arrived(&model, &TQFolderModel::thumbnailArrived);
    model.setVisibleRows(0, 3);
    QTRY_COMPARE_WITH_TIMEOUT(arrived.count(), 4, 20000);
    int held = 0;
    for (int row = 0; row < 4; ++row) {
        const QImage thumbnail = model.index(row, 0).data(TQFolderModel::ThumbnailRole).value<QImage>();
        if (thumbnail.isNull())
            continue;
        ++held;
        QVERIFY(thumbnail.width() <= 32 && thumbnail.height() <= 32);
    }
    QCOMPARE(held, kept);
    QVERIFY(model.thumbnailMemoryUsed() <= model.thumbnailMemoryBudget());
}

// What menus and the label picker ask of a selection.
void TestFolderModel::selection()
{
    const QList<UWStandardFileRef> items = {
        UWStandardFile::newFileForPath(m_mixed.filePath(u"Folder"_s)),
        UWStandardFile::newFileForPath(m_mixed.filePath(u"notes.txt"_s)),
        UWStandardFile::newFileForPath(m_mixed.filePath(u"wide.png"_s)),
    };
    TQFolderModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.setItems({items[2], nullptr, items[1], items[0], items[2]});
    QCOMPARE(model.rowCount(), 3);
    QItemSelectionModel selection(&model);
    QCOMPARE(model.firstSelectedFile(&selection), nullptr);
    // The folder and the image, picked in the image's row first and across two columns.
    selection.select(model.indexOf(items[2], 3), QItemSelectionModel::Select);
    selection.select(model.indexOf(items[0]), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QCOMPARE(model.selectedItems(&selection), (QList<UWStandardFileRef>{items[0], items[2]}));
    QCOMPARE(model.firstSelectedFile(&selection), items[2]);
    QCOMPARE(model.selectedFinderLabels(&selection), QList<int>{0});
    if (!items[2]->setFinderLabel(6) || !items[0]->setFinderLabel(2))
        QSKIP("this file system keeps no labels");
    QTRY_COMPARE_WITH_TIMEOUT(model.selectedFinderLabels(&selection), (QList<int>{2, 6}), 5000);
}

QTEST_MAIN(TestFolderModel)
#include "tst_foldermodel.moc"
