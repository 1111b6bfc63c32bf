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
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>
#include <QTest>
#include <QThreadPool>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A file of \a size bytes (sparse) modified \a age seconds ago; \a path in the file system's bytes.
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

QByteArray native(const QTemporaryDir &dir, const QByteArray &name)
{
    return QFile::encodeName(dir.path()) + '/' + name;
}

// Every model here runs under the tester, which fails the test at the first broken promise.
struct Model : TQFolderModel
{
    QAbstractItemModelTester tester{this, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

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

QStringList rowNames(const TQFolderModel &model)
{
    return names(rowItems(model));
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

// Every item finds its way back to its row.
void checkItemsKnowTheirRows(const TQFolderModel &model)
{
    for (int row = 0; row < model.rowCount(); ++row)
        QCOMPARE(model.indexOf(model.itemAt(model.index(row, 0))).row(), row);
}

// Numbers and dates sorted among the folders: read down the rows, the column's sort values
// never go against the direction (the unknown ones, last, aside), and they vary.
void checkSortValues(const TQFolderModel &model, int sortType, int priority, bool ascending)
{
    const int column = TQFolderModel::columnForSortType(TQSortType(sortType));
    const QList<TQSortType> numeric = {TQSortType::FileSize, TQSortType::CreationDate, TQSortType::ModificationDate,
                                       TQSortType::Width, TQSortType::Height, TQSortType::Megapixels};
    if (column < 0 || priority != int(TQFolderPriority::Mixed) || !numeric.contains(TQSortType(sortType)))
        return;
    QVariantList values;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QVariant value = model.index(row, column).data(TQFolderModel::SortValueRole);
        if (value.isValid())
            values.append(value);
    }
    for (qsizetype i = 1; i < values.size(); ++i) {
        const QPartialOrdering order = QVariant::compare(values[i - 1], values[i]);
        QVERIFY2(order == QPartialOrdering::Equivalent || order == (ascending ? QPartialOrdering::Less : QPartialOrdering::Greater),
                 qPrintable(values[i - 1].toString() + u", then "_s + values[i].toString()));
    }
    // Files are made in the same millisecond, and the two-file folder has two of one size.
    if (sortType != int(TQSortType::CreationDate) && model.rowCount() > 2)
        QVERIFY(values.size() > 1 && values.first() != values.last());
}

// Indexes held on the first, a middle and the \a last row, in varied columns, with their items.
using Held = QList<QPair<QPersistentModelIndex, UWStandardFileRef>>;
void hold(Held &held, const TQFolderModel &model, int last)
{
    for (const int row : {0, last / 2, last}) {
        const QModelIndex index = model.index(row, row % TQFolderModel::ColumnCount);
        held.append({index, model.itemAt(index)});
        QCOMPARE(model.indexOf(model.itemAt(index), index.column()), index);
    }
}

void checkHeld(const Held &held, const TQFolderModel &model)
{
    for (const auto &[index, item] : held) {
        QVERIFY(index.isValid());
        QCOMPARE(model.itemAt(index), item);
        QCOMPARE(model.indexOf(item, index.column()), QModelIndex(index));
    }
}

} // namespace

class TestFolderModel : public QObject
{
    Q_OBJECT

    QTemporaryDir m_mixed; // images of several sizes, texts, music, a film, hidden entries, folders

private Q_SLOTS:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(u"tqkit.files.info=false"_s);
        QVERIFY(m_mixed.isValid());
        makeImage(m_mixed.filePath(u"wide.png"_s), 60, 10);
        makeImage(m_mixed.filePath(u"Tall.png"_s), 10, 50);
        makeImage(m_mixed.filePath(u"square 10.png"_s), 30, 30);
        makeImage(m_mixed.filePath(u"square 9.png"_s), 30, 30);
        makeFile(native(m_mixed, "notes.txt"), 300, 3600);
        makeFile(native(m_mixed, "b-notes.txt"), 300, 60);
        makeFile(native(m_mixed, "song.mp3"), 5000, 7200);
        makeFile(native(m_mixed, "clip.mov"), 7000, 30);
        makeFile(native(m_mixed, "caf\xc3\xa9.txt"), 10);
        makeFile(native(m_mixed, ".hidden.png"), 20);
        makeFile(native(m_mixed, "bad-\xff-name.txt"), 40);
        for (const QString &folder : {u"Folder"_s, u"album"_s, u".cache"_s})
            QVERIFY(QDir(m_mixed.path()).mkpath(folder));
    }

    // QDir cannot name an entry that is not UTF-8 to remove it.
    void cleanupTestCase() { ::unlink(native(m_mixed, "bad-\xff-name.txt").constData()); }

    void listing_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("hidden"); // hidden names besides, filtered out
        QTest::newRow("empty folder") << 0 << 0;
        QTest::newRow("a few") << 7 << 0;
        QTest::newRow("several batches") << 2600 << 0;
        QTest::newRow("several batches, some filtered out") << 2600 << 1300;
    }

    // Every entry listed once, in name order, with names that are not UTF-8 kept as bytes; the
    // first load is the only reset. Indexes held while batches arrive follow their items as
    // the batches move into place, and every item knows its row afterwards.
    void listing()
    {
        QFETCH(int, count);
        QFETCH(int, hidden);
        QTemporaryDir dir;
        for (int i = 0; i < count; ++i) {
            makeFile(native(dir, "file \xfe" + QByteArray::number(i * 7 % (count + 1))));
            if (i < hidden)
                makeFile(native(dir, ".file " + QByteArray::number(i)));
        }
        Model model;
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        Held held; // taken while the listing still runs, before its index of items is handed over
        connect(&model, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex &, int, int last) { hold(held, model, last); });
        model.setFolderPath(dir.path());
        QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
        QVERIFY(waitForLoad(model));
        QCOMPARE(model.rowCount(), count);
        QCOMPARE(resets.count(), 0);
        QCOMPARE(inserted.isEmpty(), count == 0);
        checkHeld(held, model);
        checkItemsKnowTheirRows(model);
        QSet<QByteArray> listed;
        for (int row = 0; row < count; ++row) {
            listed.insert(model.data(model.index(row, 0), TQFolderModel::NativePathRole).toByteArray());
            if (row > 0)
                QVERIFY(TQNameOrder::compareNames(model.index(row - 1, 0).data().toString(), model.index(row, 0).data().toString()) < 0);
        }
        QCOMPARE(listed.size(), count);
        QCOMPARE(listed.contains(native(dir, "file \xfe" "0")), count > 0);
        for (const QByteArray &path : std::as_const(listed))
            QCOMPARE(::unlink(path.constData()), 0); // QDir cannot name them to remove them
    }

    // A folder named while the last one's rows are still going in: nothing of the last one
    // shows in the new one, not even rows it had listed and not yet placed.
    void anotherFolderWhileMerging()
    {
        QTemporaryDir big, small;
        for (int i = 0; i < 6000; ++i)
            makeFile(native(big, "big " + QByteArray::number(i)));
        for (int i = 0; i < 5; ++i)
            makeFile(native(small, "small " + QByteArray::number(i)));
        Model model;
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        model.setFolderPath(big.path());
        // The listing is well ahead of the model when the first rows go in: much of it is
        // waiting to be placed when the folder changes.
        QThread::msleep(300);
        QVERIFY(inserted.wait(20000));
        QVERIFY(model.isLoading());
        QVERIFY(model.rowCount() < 6000);
        model.setFolderPath(small.path());
        QVERIFY(waitForLoad(model));
        QTest::qWait(50);
        QCOMPARE(rowNames(model), (QStringList{u"small 0"_s, u"small 1"_s, u"small 2"_s, u"small 3"_s, u"small 4"_s}));
        QCOMPARE(model.allItems().size(), 5);
    }

    void sorting_data()
    {
        QTest::addColumn<int>("sortType");
        QTest::addColumn<int>("priority");
        QTest::addColumn<bool>("ascending");
        QTest::addColumn<int>("removed"); // files deleted while live before the resort, from the list's start
        QTest::addColumn<int>("count");   // files made; with fewer than all, no folder, image or hidden file
        QTest::newRow("name") << 0 << 0 << true << 0 << 9;
        QTest::newRow("name, descending, folders first") << 0 << 10 << false << 0 << 9;
        QTest::newRow("size, folders last") << 1 << 11 << true << 0 << 9;
        QTest::newRow("size, descending, after removals") << 1 << 0 << false << 3 << 9;
        QTest::newRow("size, folders first") << 1 << 10 << true << 0 << 9;
        QTest::newRow("kind, after removals") << 3 << 0 << true << 2 << 9;
        QTest::newRow("date, descending, folders last, after a removal") << 6 << 11 << false << 1 << 9;
        QTest::newRow("date, descending, folders first") << 6 << 10 << false << 0 << 9;
        QTest::newRow("creation date") << 9 << 0 << true << 0 << 9;
        QTest::newRow("width (content)") << 15 << 0 << true << 0 << 9;
        QTest::newRow("height (content), descending, folders first") << 14 << 10 << false << 0 << 9;
        QTest::newRow("megapixels (content), after removals") << 4 << 0 << true << 2 << 9;
        QTest::newRow("random, after removals") << 7 << 0 << true << 2 << 9;
        QTest::newRow("unknown code sorts by name") << 2 << 0 << false << 0 << 9;
        QTest::newRow("two files, size, descending") << 1 << 0 << false << 0 << 2;
    }

    // The rows come in the order of the library's descriptors for the same code once every
    // background value is in, ties broken by name in the direction asked for; the same through
    // the header's sort(). A later resort (once the names' ranks are made, and with gaps in
    // them after removals) keeps the rows, the filtered-out ones out, and lets indexes held on
    // rows follow their items.
    void sorting()
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
            makeImage(dir.filePath(u"wide.png"_s), 60, 10);
            makeImage(dir.filePath(u"Tall.png"_s), 10, 50);
        }
        Model model;
        QSignalSpy values(&model, &TQFolderModel::imageInfoFinished);
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
        QVERIFY(values.count() > 0 || values.wait(20000));
        model.setSortType(sortType, priority, ascending);
        if (sortType != int(TQSortType::Random))
            QCOMPARE(rowNames(model), descriptorOrder(model, sortType, priority, ascending));
        checkSortValues(model, sortType, priority, ascending);
        if (const int column = TQFolderModel::columnForSortType(TQSortType(sortType)); column >= 0) {
            model.sort(column, ascending ? Qt::DescendingOrder : Qt::AscendingOrder);
            QCOMPARE(rowNames(model), descriptorOrder(model, sortType, priority, !ascending));
        }

        // Ranks made once, the way a host's first sort by another column makes them.
        model.setSortType(TQSortType::FileSize, TQFolderPriority::Mixed, true);
        model.setSortType(TQSortType::Name, TQFolderPriority::Mixed, true);
        for (int i = 0; i < removed; ++i)
            QCOMPARE(::unlink(native(dir, files[i].first).constData()), 0);
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), count + (extras ? 3 : 0) - removed, 10000);
        QStringList before = rowNames(model);
        Held held;
        hold(held, model, model.rowCount() - 1);
        model.setSortType(sortType, priority, ascending);
        QStringList after = rowNames(model);
        if (sortType != int(TQSortType::Random))
            QCOMPARE(after, descriptorOrder(model, sortType, priority, ascending));
        std::sort(before.begin(), before.end());
        std::sort(after.begin(), after.end());
        QCOMPARE(after, before);
        checkHeld(held, model);
        checkItemsKnowTheirRows(model);
    }

    void filtering_data()
    {
        QTest::addColumn<int>("filterType");
        QTest::addColumn<bool>("excludeFolders");
        for (int type = 0; type < 8; ++type) {
            for (bool exclude : {false, true})
                QTest::addRow("preset %d%s", type, exclude ? ", no folders" : "") << type << exclude;
        }
    }

    // The rows are the items the library's predicate for the preset accepts.
    void filtering()
    {
        QFETCH(int, filterType);
        QFETCH(bool, excludeFolders);
        Model model;
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
        QCOMPARE(rowNames(model), expected);
        QCOMPARE(resets.count(), 0);

        // The name filter narrows the preset; accents and case do not matter.
        model.setNameFilter(u"CAFE"_s);
        QCOMPARE(model.rowCount(), int(expected.contains(u"café.txt"_s)));
        model.setNameFilter({});
        QCOMPARE(rowNames(model), expected);
    }

    // Each column sorts by a type that leads back to it; a column the model lacks sorts by name.
    void columnsAndSortTypes()
    {
        for (int column = 0; column < TQFolderModel::ColumnCount; ++column)
            QCOMPARE(TQFolderModel::columnForSortType(TQFolderModel::sortTypeForColumn(column)), column);
        for (const int column : {-1, int(TQFolderModel::ColumnCount), 1000})
            QCOMPARE(int(TQFolderModel::sortTypeForColumn(column)), int(TQSortType::Name));
    }

    // Names the folder's ".hidden" file lists are hidden as dot files are, and shown with them.
    void hiddenByTheFolder()
    {
        QTemporaryDir dir;
        makeFile(native(dir, "shown.txt"));
        makeFile(native(dir, "listed.txt"));
        QFile list(dir.filePath(u".hidden"_s));
        QVERIFY(list.open(QIODevice::WriteOnly));
        list.write("listed.txt\r\nnot there\n");
        list.close();
        Model model;
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
        QCOMPARE(rowNames(model), QStringList{u"shown.txt"_s});
        model.setFilterType(TQFilterType::Everything);
        QCOMPARE(rowNames(model), (QStringList{u".hidden"_s, u"listed.txt"_s, u"shown.txt"_s}));
    }

    void liveEvents_data()
    {
        QTest::addColumn<int>("sortType");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("shown");  // a name that must be a row afterwards
        QTest::addColumn<QString>("absent"); // a name that must not
        QTest::newRow("created") << 0 << u"create c.txt"_s << u"c.txt"_s << QString();
        QTest::newRow("deleted") << 0 << u"delete d.txt"_s << QString() << u"d.txt"_s;
        QTest::newRow("neighbours deleted together") << 0 << u"delete a.txt b.txt d.txt"_s << QString() << u"b.txt"_s;
        QTest::newRow("renamed across the order") << 0 << u"rename a.txt z.txt"_s << u"z.txt"_s << u"a.txt"_s;
        QTest::newRow("renamed into hiding") << 0 << u"rename b.txt .b.txt"_s << QString() << u"b.txt"_s;
        QTest::newRow("renamed out of hiding") << 0 << u"rename .e.txt e.txt"_s << u"e.txt"_s << QString();
        QTest::newRow("grown while sorted by size") << 1 << u"grow a.txt"_s << u"a.txt"_s << QString();
        QTest::newRow("written while sorted by date") << 6 << u"touch a.txt"_s << u"a.txt"_s << QString();
    }

    // A change on disk reaches the rows as inserts, removals, moves and changes, never a reset,
    // and leaves them in the descriptors' order, each item knowing its row.
    void liveEvents()
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
        Model model;
        model.setSortType(sortType, 0, true);
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
        QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
        QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy removals(&model, &QAbstractItemModel::rowsRemoved);

        const QStringList words = action.split(u' ');
        const QByteArray first = native(dir, words.value(1).toUtf8());
        if (words[0] == u"create")
            makeFile(first);
        else if (words[0] == u"rename")
            QCOMPARE(::rename(first.constData(), native(dir, words.value(2).toUtf8()).constData()), 0);
        else if (words[0] != u"delete")
            makeFile(first, words[0] == u"grow" ? 1000 : 10, words[0] == u"grow" ? 100 : 0);
        for (qsizetype i = 1; words[0] == u"delete" && i < words.size(); ++i)
            QCOMPARE(::unlink(native(dir, words[i].toUtf8()).constData()), 0);
        if (!shown.isEmpty())
            QTRY_VERIFY_WITH_TIMEOUT(rowNames(model).contains(shown), 10000);
        if (!absent.isEmpty())
            QTRY_VERIFY_WITH_TIMEOUT(!rowNames(model).contains(absent), 10000);
        if (words[0] == u"grow" || words[0] == u"touch") {
            // The row shows the new value: a write announces what the row displays even when
            // the item had cached nothing to announce.
            QTRY_VERIFY_WITH_TIMEOUT(!changes.isEmpty(), 10000);
            // A write may be heard in parts, each reported with the status read after it.
            QTRY_COMPARE_WITH_TIMEOUT(rowNames(model).constLast(), shown, 10000);
        }
        if (words[0] == u"delete") {
            // Deleted before the model next looks, they arrive together: neighbours leave in one run.
            QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 3 - int(words.size() - 1), 10000);
            QCOMPARE(removals.count(), 1);
        }
        QCOMPARE(rowNames(model), descriptorOrder(model, sortType, 0, true));
        QCOMPARE(resets.count(), 0);
        checkItemsKnowTheirRows(model);
    }

    // Thousands of files come and go while the folder is shown: the rows follow them exactly.
    // Enough that removals arrive in several batches, each scattered over the order.
    void manyFilesWhileLive()
    {
        QTemporaryDir dir;
        makeFile(native(dir, "keep.txt"));
        Model model;
        model.setLoadsImageInfo(false); // not the subject here, and the tester checks every change
        model.setSortType(TQSortType::FileSize, TQFolderPriority::Mixed, false);
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
        QSignalSpy resets(&model, &QAbstractItemModel::modelAboutToBeReset);
        const int count = 4000;
        for (int i = 0; i < count; ++i)
            makeFile(native(dir, "n" + QByteArray::number(i)), i % 97);
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), count + 1, 60000);
        QCOMPARE(rowNames(model), descriptorOrder(model, 1, 0, false));

        // Every other file goes: rows leave from all over the order. Indexes held on rows
        // that stay follow them, those on rows that go are let go.
        Held held;
        for (int row = 0; row < model.rowCount(); row += 131) {
            const QModelIndex index = model.index(row, row % TQFolderModel::ColumnCount);
            held.append({index, model.itemAt(index)});
        }
        for (int i = 0; i < count; i += 2)
            QCOMPARE(::unlink(native(dir, "n" + QByteArray::number(i)).constData()), 0);
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), count / 2 + 1, 60000);
        QCOMPARE(rowNames(model), descriptorOrder(model, 1, 0, false));
        checkItemsKnowTheirRows(model);
        for (const auto &[index, item] : held) {
            const QString name = item->displayName();
            if (name != u"keep.txt" && name.mid(1).toInt() % 2 == 0) {
                QVERIFY2(!index.isValid(), qPrintable(name));
            } else {
                QVERIFY2(index.isValid(), qPrintable(name));
                QCOMPARE(model.itemAt(index), item);
            }
        }

        for (int i = 1; i < count; i += 2)
            QCOMPARE(::unlink(native(dir, "n" + QByteArray::number(i)).constData()), 0);
        QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), 1, 60000);
        QCOMPARE(model.index(0, 0).data().toString(), u"keep.txt"_s);
        QCOMPARE(resets.count(), 0);
    }

    void churnWhileGoingLive_data()
    {
        QTest::addColumn<bool>("shownElsewhere"); // another model holds the folder live already
        QTest::newRow("first view") << false;
        QTest::newRow("second view") << true;
    }

    // Files come and go while the model lists the folder and before it goes live: once they
    // stop, the rows are exactly the folder's entries.
    void churnWhileGoingLive()
    {
        QFETCH(bool, shownElsewhere);
        QTemporaryDir dir;
        const int count = 2000;
        for (int i = 0; i < count; ++i)
            makeFile(native(dir, "f" + QByteArray::number(i)));
        TQFolderModel other;
        if (shownElsewhere) {
            other.setFolderPath(dir.path());
            QVERIFY(waitForLoad(other));
        }
        Model model;
        model.setLoadsImageInfo(false);
        // With every batch the listing delivers, entries all over the folder go, new ones
        // come, and some of those go again.
        int round = 0;
        connect(&model, &QAbstractItemModel::rowsInserted, &model, [&] {
            if (!model.isLoading())
                return;
            const QByteArray fresh = "r" + QByteArray::number(round) + "-";
            for (int i = round; i < count; i += 97)
                ::unlink(native(dir, "f" + QByteArray::number(i)).constData());
            for (int i = 0; i < 50; ++i)
                makeFile(native(dir, fresh + QByteArray::number(i)));
            for (int i = 0; i < 50; i += 2)
                ::unlink(native(dir, fresh + QByteArray::number(i)).constData());
            ++round;
        });
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
        QVERIFY(round > 0);
        QStringList onDisk = QDir(dir.path()).entryList(QDir::Files);
        onDisk.sort();
        auto shown = [&model] {
            QStringList rows = rowNames(model);
            rows.sort();
            return rows;
        };
        QTRY_COMPARE_WITH_TIMEOUT(shown(), onDisk, 20000);
    }

    void folderInTrouble_data()
    {
        QTest::addColumn<QString>("trouble");
        QTest::addColumn<bool>("whileLive"); // else before or while the listing runs
        QTest::addColumn<int>("rows");       // while the trouble lasts
        QTest::newRow("unreadable before the listing") << u"unreadable"_s << false << 0;
        QTest::newRow("unreadable while live") << u"unreadable"_s << true << 3;
        QTest::newRow("deleted while it is listed") << u"deleted"_s << false << 0;
        QTest::newRow("deleted after the listing") << u"deleted"_s << true << 0;
    }

    // A folder that cannot be read shows what the model had (nothing, or the rows listed
    // before) and follows the folder again once it can be read. A folder deleted under the
    // model leaves no rows, and the host hears of it once.
    void folderInTrouble()
    {
        QFETCH(QString, trouble);
        QFETCH(bool, whileLive);
        QFETCH(int, rows);
        QTemporaryDir parent;
        const QString path = parent.filePath(u"folder"_s);
        const QByteArray nativePath = QFile::encodeName(path);
        QVERIFY(QDir().mkpath(path));
        const int count = trouble == u"deleted" ? 3000 : 3; // many, to delete it while it is listed
        for (int i = 0; i < count; ++i)
            makeFile(nativePath + "/f" + QByteArray::number(i));
        const auto readable = qScopeGuard([&nativePath] { ::chmod(nativePath.constData(), 0700); });
        Model model;
        QSignalSpy removed(&model, &TQFolderModel::folderRemoved);
        if (whileLive || trouble == u"deleted")
            model.setFolderPath(path);
        if (whileLive)
            QVERIFY(waitForLoad(model));
        if (trouble == u"deleted") {
            QVERIFY(QDir(path).removeRecursively());
            QVERIFY(waitForLoad(model));
            QTRY_COMPARE_WITH_TIMEOUT(removed.count(), 1, 10000);
            QCOMPARE(model.rowCount(), 0);
            QTest::qWait(50);
            QCOMPARE(removed.count(), 1);
            return;
        }
        QCOMPARE(::chmod(nativePath.constData(), 0), 0);
        if (::access(nativePath.constData(), R_OK) == 0)
            QSKIP("permissions do not bind this user (root)");
        if (!whileLive)
            model.setFolderPath(path);
        QVERIFY(waitForLoad(model));
        QCOMPARE(model.rowCount(), rows);
        QCOMPARE(::chmod(nativePath.constData(), 0700), 0);
        makeFile(nativePath + "/new");
        if (whileLive)
            QTRY_COMPARE_WITH_TIMEOUT(model.rowCount(), rows + 1, 10000);
        else
            QCOMPARE(model.rowCount(), 0); // not watched: the folder is listed again when shown again
        QCOMPARE(removed.count(), 0);
    }

    void valuesArrive_data()
    {
        QTest::addColumn<int>("sortType"); // negative: descending
        QTest::addColumn<int>("layouts");  // layout changes when the values arrive
        QTest::newRow("by name: nothing moves") << 0 << 0;
        QTest::newRow("by width: one move") << 15 << 1;
        QTest::newRow("by megapixels, descending: one move") << -4 << 1;
    }

    // Until image values arrive, items sort after every known one (folders still where the
    // priority puts them), among themselves by name. Values that arrive together announce one
    // change per run of rows and move the rows once, into the descriptors' order, persistent
    // indexes staying on their items.
    void valuesArrive()
    {
        QFETCH(int, sortType);
        QFETCH(int, layouts);
        const int type = std::abs(sortType);
        QTemporaryDir dir;
        for (int i = 0; i < 30; ++i) {
            makeImage(dir.filePath(u"img%1.png"_s.arg(i)), 1 + i * 7 % 23, 1 + i % 5);
            makeFile(native(dir, "text" + QByteArray::number(i)), i);
        }
        QVERIFY(QDir(dir.path()).mkpath(u"sub"_s));
        Model model;
        model.setLoadsImageInfo(false);
        model.setExcludeFolders(true);
        model.setSortType(type, 0, sortType >= 0);
        model.setFolderPath(dir.path());
        QVERIFY(waitForLoad(model));
        QCOMPARE(model.rowCount(), 60);
        if (sortType > 0) {
            QCOMPARE(rowNames(model), descriptorOrder(model, 0, 0, true)); // all unknown: by name
            QVERIFY(model.index(0, TQFolderModel::WidthColumn).data(TQFolderModel::IsPendingRole).toBool());
            QVERIFY(!model.index(0, TQFolderModel::SizeColumn).data(TQFolderModel::IsPendingRole).toBool());
            model.setExcludeFolders(false);
            model.setSortType(type, int(TQFolderPriority::FoldersFirst), true);
            QCOMPARE(rowNames(model), descriptorOrder(model, 0, int(TQFolderPriority::FoldersFirst), true));
            model.setExcludeFolders(true);
            model.setSortType(type, 0, true);
        }
        const QPersistentModelIndex img3 = model.indexOf(model.allItems().at(names(model.allItems()).indexOf(u"img3.png"_s)));
        QVERIFY(img3.isValid());
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
        QCOMPARE(rowNames(model), descriptorOrder(model, type, 0, sortType >= 0));
        QCOMPARE(img3.data().toString(), u"img3.png"_s);
        QCOMPARE(model.index(img3.row(), TQFolderModel::WidthColumn).data().toString(), u"22"_s);
        checkItemsKnowTheirRows(model);
    }

    void valuesOfEveryEntry_data()
    {
        QTest::addColumn<int>("count");
        QTest::newRow("a few") << 40;
        QTest::newRow("more than one turn of the event loop takes") << 5000;
    }

    // After a listing every entry gets its values, those filtered out too (every tenth name
    // is hidden), and the host hears that they are in once.
    void valuesOfEveryEntry()
    {
        QFETCH(int, count);
        QTemporaryDir dir;
        for (int i = 0; i < count; ++i)
            makeFile(native(dir, (i % 10 ? "f" : ".h") + QByteArray::number(i)));
        Model model;
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

    void thumbnails_data()
    {
        QTest::addColumn<qint64>("budget");
        QTest::addColumn<int>("kept"); // thumbnails held afterwards
        QTest::newRow("ample budget") << (qint64(32) << 20) << 4;
        QTest::newRow("nothing fits") << qint64(1) << 0;
    }

    // Thumbnails of the rows on screen arrive through the thumbnailer and stay within the budget.
    void thumbnails()
    {
        QFETCH(qint64, budget);
        QFETCH(int, kept);
        Model model;
        QCOMPARE(model.thumbnailMemoryBudget(), qint64(32) << 20);
        model.setFilterType(TQFilterType::VisibleImages);
        model.setThumbnailSize({32, 32});
        model.setThumbnailMemoryBudget(budget);
        // The rows on screen, told before the folder is named, hold for it.
        QSignalSpy arrived(&model, &TQFolderModel::thumbnailArrived);
        model.setVisibleRows(0, 3);
        model.setFolderPath(m_mixed.path());
        QVERIFY(waitForLoad(model));
        QCOMPARE(model.rowCount(), 4);
        QTRY_COMPARE_WITH_TIMEOUT(arrived.count(), 4, 20000);
        int held = 0;
        for (int row = 0; row < 4; ++row) {
            const QImage thumbnail = model.index(row, 0).data(TQFolderModel::ThumbnailRole).value<QImage>();
            held += !thumbnail.isNull();
            QVERIFY(thumbnail.width() <= 32 && thumbnail.height() <= 32);
        }
        QCOMPARE(held, kept);
        QVERIFY(model.thumbnailMemoryUsed() <= model.thumbnailMemoryBudget());
    }

    // What menus and the label picker ask of a selection, and how the rows they pick from show.
    void selection()
    {
        const QList<UWStandardFileRef> items = {
            UWStandardFile::newFileForPath(m_mixed.filePath(u"Folder"_s)),
            UWStandardFile::newFileForPath(m_mixed.filePath(u"notes.txt"_s)),
            UWStandardFile::newFileForPath(m_mixed.filePath(u"wide.png"_s)),
        };
        Model model;
        model.setItems({items[2], nullptr, items[1], items[0], items[2]});
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.indexOf(UWStandardFile::newFileForPath(m_mixed.filePath(u"song.mp3"_s))), QModelIndex());
        // Numbers line up on the right; names, kinds, dates and other texts on the left.
        QList<int> right;
        for (int column = 0; column < TQFolderModel::ColumnCount; ++column) {
            if (model.index(0, column).data(Qt::TextAlignmentRole) == int(Qt::AlignRight | Qt::AlignVCenter))
                right.append(column);
        }
        using M = TQFolderModel;
        QCOMPARE(right, (QList<int>{M::SizeColumn, M::WidthColumn, M::HeightColumn, M::MegapixelsColumn, M::ExposureTimeColumn,
                                    M::FNumberColumn, M::ISOColumn, M::FocalLengthColumn}));
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
};

QTEST_MAIN(TestFolderModel)
#include "tst_foldermodel.moc"
