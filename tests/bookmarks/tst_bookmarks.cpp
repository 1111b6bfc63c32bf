// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQBookmarksController.h"
#include "TQBookmarksModel.h"
#include "TQFile.h"
#include "TQInvalidParameterException.h"
#include "TQUserDefaultsUtilities.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QImage>
#include <QLineEdit>
#include <QListView>
#include <QLoggingCategory>
#include <QMimeData>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Drop = TQBookmarksController::DropOperation;

namespace {

UWStandardFileRef fileOf(const QVariant &entry)
{
    return entry.toMap().value(TQBookmarkFileKey).value<UWStandardFileRef>();
}

// An entry as the tables write it: "sep", "Title=name" for a file, "Title=(placeholder)".
QStringList describe(const QVariantList &list)
{
    QStringList lines;
    for (const QVariant &value : list) {
        const QVariantMap entry = value.toMap();
        const UWStandardFileRef item = fileOf(value);
        if (!item)
            lines.append(entry.contains(TQBookmarkSeparatorKey) ? u"sep"_s : u"?"_s);
        else
            lines.append(entry.value(TQBookmarkTitleKey).toString() + u'='
                         + (item->isPlaceholder() ? u"(placeholder)"_s : item->fileName()));
    }
    return lines;
}

// What a view hears from the model, one change after the other, joined by "; ".
struct ModelLog
{
    QStringList lines;
    QString text() const { return lines.join(u"; "_s); }
    explicit ModelLog(QAbstractItemModel *model)
    {
        const auto range = [](int first, int last) { return u"%1-%2"_s.arg(first).arg(last); };
        QObject::connect(model, &QAbstractItemModel::rowsInserted, model,
                         [=, this](const QModelIndex &, int first, int last) { lines.append(u"insert "_s + range(first, last)); });
        QObject::connect(model, &QAbstractItemModel::rowsRemoved, model,
                         [=, this](const QModelIndex &, int first, int last) { lines.append(u"remove "_s + range(first, last)); });
        QObject::connect(model, &QAbstractItemModel::rowsMoved, model,
                         [this](const QModelIndex &, int first, int, const QModelIndex &, int destination) {
                             lines.append(u"move %1 to %2"_s.arg(first).arg(destination));
                         });
        QObject::connect(model, &QAbstractItemModel::modelReset, model, [this] { lines.append(u"reset"_s); });
        QObject::connect(model, &QAbstractItemModel::dataChanged, model,
                         [=, this](const QModelIndex &from, const QModelIndex &to, const QList<int> &roles) {
                             QStringList names;
                             for (int role : roles)
                                 names.append(QString::fromLatin1(role == Qt::EditRole ? "edit" : model->roleNames().value(role)));
                             names.sort();
                             lines.append(u"data "_s + range(from.row(), to.row()) + u' ' + names.join(u','));
                         });
    }
};

// A value nested levels deep in lists or maps, holding the secret at the bottom.
QVariant nested(int levels, const QString &secret, bool maps = false)
{
    QVariant value = secret;
    for (int i = 0; i < levels; ++i)
        value = maps ? QVariant(QVariantMap{{u"k"_s, value}}) : QVariant(QVariantList{value});
    return value;
}

bool touch(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("text\n") == 5;
}

struct Heard
{
    QtMsgType type;
    QString category, text;
};
QList<Heard> heard;
QtMessageHandler testHandler = nullptr;

// Everything logged, whatever the level, and on to QTest, which checks what it expects.
void listen(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    heard.append({type, QString::fromLatin1(context.category), text});
    testHandler(type, context, text);
}

} // namespace

class TestBookmarks : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QVariantMap archive(const QString &name) const { return TQFile::newFileForPath(path(name))->archiveDictionary(); }

    // A file on a volume that is not mounted now.
    QVariantMap awayArchive() const
    {
        QVariantMap away = archive(u"notes.txt"_s);
        away[u"path"_s] = u"/media/usb-stick/notes.txt"_s;
        away[u"volume"_s] = u"uuid:0000-not-mounted"_s;
        return away;
    }

    // "sep", "cur:NAME:TITLE", "old:NAME", "bare:NAME", "item:NAME", "away:TITLE", "bare:/abs/path", junk.
    QVariant savedToken(const QString &token) const
    {
        const QStringList parts = token.split(u':');
        const QString kind = parts.at(0), name = parts.value(1);
        const QString where = name.startsWith(u'/') ? name : path(name);
        if (kind == u"sep")
            return QVariantMap{{TQBookmarkSeparatorKey, TQBookmarkSeparatorKey}};
        if (kind == u"cur")
            return QVariantMap{{TQBookmarkArchiveKey, archive(name)}, {TQBookmarkTitleKey, parts.value(2)},
                               {TQBookmarkKeyEquivalentKey, u"p"_s}};
        if (kind == u"old")
            return QVariantMap{{TQBookmarkFileKey, archive(name)}};
        if (kind == u"bare")
            return TQFile::newFileForPath(where)->archiveDictionary();
        if (kind == u"item")
            return QVariant::fromValue(UWStandardFile::newFileForPath(where));
        if (kind == u"away")
            return QVariantMap{{TQBookmarkArchiveKey, awayArchive()}, {TQBookmarkTitleKey, name}};
        if (kind == u"number")
            return 42;
        if (kind == u"text-archive")
            return QVariantMap{{TQBookmarkArchiveKey, u"not an archive"_s}, {TQBookmarkTitleKey, u"x"_s}};
        return QVariantList{1, u"two"_s};
    }

    QList<UWStandardFileRef> files(const QStringList &names) const
    {
        QList<UWStandardFileRef> files;
        for (const QString &name : names)
            files.append(TQFile::newFileForPath(path(name)));
        return files;
    }

    QMimeData *filesDrag(const QStringList &names) const
    {
        QList<QUrl> urls;
        for (const QString &name : names)
            urls.append(QUrl::fromLocalFile(path(name)));
        auto *data = new QMimeData;
        data->setUrls(urls);
        return data;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir(m_dir.path()).mkdir(u"Pics"_s));
        QVERIFY(QImage(8, 8, QImage::Format_RGB32).save(path(u"photo.jpg"_s), "JPEG"));
        for (const QString &name : {u"notes.txt"_s, u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s, u"F"_s})
            QVERIFY(touch(path(name)));
    }

    void restoring_data()
    {
        QTest::addColumn<QStringList>("saved");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("current form and separator")
            << QStringList{u"sep"_s, u"cur:Pics:My Pics"_s} << QStringList{u"sep"_s, u"My Pics=Pics"_s};
        QTest::newRow("older form takes the display name")
            << QStringList{u"old:notes.txt"_s} << QStringList{u"notes.txt=notes.txt"_s};
        QTest::newRow("a file away comes back as a placeholder")
            << QStringList{u"away:Stick"_s} << QStringList{u"Stick=(placeholder)"_s};
        QTest::newRow("bare archives and bare items resolve or go")
            << QStringList{u"bare:photo.jpg"_s, u"item:notes.txt"_s, u"item:missing.txt"_s}
            << QStringList{u"photo.jpg=photo.jpg"_s, u"notes.txt=notes.txt"_s};
        // Linux's volumes folders are refused like "/Volumes".
        if (QFileInfo(u"/mnt"_s).isDir())
            QTest::newRow("a volumes folder is no bookmark") << QStringList{u"bare:/mnt"_s, u"item:/mnt/"_s} << QStringList{};
    }
    void restoring()
    {
        QFETCH(QStringList, saved);
        QVariantList list;
        for (const QString &token : saved)
            list.append(savedToken(token));
        TQBookmarksController controller;
        QSignalSpy changed(&controller, &TQBookmarksController::bookmarksChanged);
        QLoggingCategory::setFilterRules(u"tqkit.companion.info=false"_s);
        controller.setBookmarksFromSavableBookmarks(list);
        QLoggingCategory::setFilterRules({});
        QTEST(describe(controller.bookmarks()), "expected");
        QCOMPARE(changed.count(), 1);

        // What comes back saves to records without live items, and those restore alike, also
        // after a trip through the settings.
        const QVariantList savable = controller.savableBookmarks();
        for (const QVariant &record : savable)
            QVERIFY(!record.toMap().contains(TQBookmarkFileKey));
        QSettings settings(m_dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
        QVERIFY(TQUserDefaultsUtilities::setKeyedArchivableObject(settings, savable, u"bookmarks"_s));
        TQBookmarksController again;
        again.setBookmarksFromSavableBookmarks(TQUserDefaultsUtilities::keyedUnarchiveObjectForKey(settings, u"bookmarks"_s).toList());
        QTEST(describe(again.bookmarks()), "expected");
    }

    void savingKeepsThePreviousArchiveOnce()
    {
        TQBookmarksController controller;
        controller.addFiles(files({u"F"_s}));
        const auto saved = [&controller](const QString &key) {
            const QVariant value = controller.savableBookmarks().first().toMap().value(key);
            return key == TQBookmarkTitleKey ? value.toString() : value.toMap().value(u"path"_s).toString();
        };
        QCOMPARE(saved(TQBookmarkTitleKey), u"F"_s);
        QCOMPARE(saved(TQBookmarkArchiveKey), path(u"F"_s));

        // Renamed on disk, the item follows; the next save still writes the archive held before.
        QVERIFY(QFile::rename(path(u"F"_s), path(u"F2"_s)));
        fileOf(controller.bookmarks().first())->updateForEvent({UWFileEvent::Renamed, path(u"F2"_s), {}});
        QCOMPARE(saved(TQBookmarkArchiveKey), path(u"F"_s));
        QCOMPARE(saved(TQBookmarkArchiveKey), path(u"F2"_s));
        QVERIFY(QFile::rename(path(u"F2"_s), path(u"F"_s)));

        // A placeholder keeps its saved description whole.
        controller.setBookmarksFromSavableBookmarks({savedToken(u"away:Stick"_s)});
        QCOMPARE(controller.savableBookmarks().first().toMap().value(TQBookmarkArchiveKey).toMap(), awayArchive());
    }

    void addingAndEquality()
    {
        TQBookmarksController controller;
        QSignalSpy changed(&controller, &TQBookmarksController::bookmarksChanged);
        controller.addFiles(files({u"A"_s, u"B"_s}));
        QList<UWStandardFileRef> more = files({u"C"_s, u"D"_s, u"E"_s});
        more.insert(2, UWStandardFile::arrayOfFilesForPaths({path(u"gone"_s)}, true).first());
        controller.addFiles(more, 1);
        QCOMPARE(describe(controller.bookmarks()), (QStringList{u"A=A"_s, u"C=C"_s, u"D=D"_s, u"E=E"_s, u"B=B"_s}));

        QCOMPARE(changed.count(), 2);
        // Once renamed, its entry differs from a new one of the same file, which may be added again.
        QVERIFY(controller.setTitleAtRow(1, u"Sea"_s));
        controller.addFiles(files({u"C"_s}));
        QCOMPARE(describe(controller.bookmarks()).last(), u"C=C"_s);

        controller.addSeparatorAtIndex(0);
        controller.addSeparatorAtIndex();
        controller.removeItems({controller.bookmarks().at(1), QVariantMap{{TQBookmarkSeparatorKey, TQBookmarkSeparatorKey}}});
        QCOMPARE(describe(controller.bookmarks()), (QStringList{u"Sea=C"_s, u"D=D"_s, u"E=E"_s, u"B=B"_s, u"C=C"_s}));
        QVERIFY_THROWS_EXCEPTION(TQInvalidParameterException, controller.removeItemAtIndex(5));
        QVERIFY_THROWS_EXCEPTION(TQInvalidParameterException, controller.addSeparatorAtIndex(9));

        // A host's value that is a map equals no value that is not, even an empty one.
        QVERIFY(!TQBookmarksController::isEqualRecord({{u"host"_s, QVariantMap()}}, {{u"host"_s, u"x"_s}}));
    }

    void titles_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QVariant>("title");
        QTest::addColumn<QString>("after"); // empty: refused, nothing changed or posted
        QTest::newRow("the first row") << 0 << QVariant(u"Sea"_s) << u"Sea=A B=B C=C"_s;
        QTest::newRow("the last row") << 2 << QVariant(u"Sea"_s) << u"A=A B=B Sea=C"_s;
        QTest::newRow("before the first row") << -1 << QVariant(u"Sea"_s) << QString();
        QTest::newRow("past the last row") << 3 << QVariant(u"Sea"_s) << QString();
        QTest::newRow("a number is no title") << 1 << QVariant(42) << QString();
        QTest::newRow("nor is an empty text") << 1 << QVariant(u""_s) << QString();
    }
    void titles()
    {
        QFETCH(int, row);
        QFETCH(QVariant, title);
        QFETCH(QString, after);
        TQBookmarksController controller;
        controller.addFiles(files({u"A"_s, u"B"_s, u"C"_s}));
        QSignalSpy changed(&controller, &TQBookmarksController::bookmarksChanged);
        QCOMPARE(controller.setTitleAtRow(row, title), !after.isEmpty());
        QCOMPARE(changed.count(), after.isEmpty() ? 0 : 1);
        QCOMPARE(describe(controller.bookmarks()).join(u' '), after.isEmpty() ? u"A=A B=B C=C"_s : after);
    }

    void filterAppliesToFilesNotToSavedSeparators()
    {
        TQBookmarksController controller;
        controller.setAllowedUTIs({u"public.image"_s});
        controller.setBookmarksFromSavableBookmarks({savedToken(u"cur:notes.txt:Notes"_s), savedToken(u"away:Stick"_s),
                                                     savedToken(u"sep"_s), savedToken(u"cur:photo.jpg:Photo"_s)});
        QCOMPARE(describe(controller.bookmarks()), (QStringList{u"Stick=(placeholder)"_s, u"sep"_s, u"Photo=photo.jpg"_s}));
        controller.setBookmarks(controller.bookmarks());
        QCOMPARE(describe(controller.bookmarks()), (QStringList{u"Stick=(placeholder)"_s, u"Photo=photo.jpg"_s}));
        controller.addFiles(files({u"notes.txt"_s}));
        QCOMPARE(controller.bookmarksCount(), 2);
    }

    void dropValidation_data()
    {
        QTest::addColumn<QStringList>("files"); // dropped from outside
        QTest::addColumn<QList<int>>("rows");   // dragged in the table
        QTest::addColumn<int>("row");
        QTest::addColumn<bool>("on");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<int>("finalRow");
        const QStringList none, images{u"photo.jpg"_s}, mixed{u"photo.jpg"_s, u"Pics"_s};
        QTest::newRow("on a row becomes above it") << none << QList<int>{0} << 2 << true << true << 2;
        QTest::newRow("on no row becomes the end") << none << QList<int>{0} << -1 << true << true << 3;
        QTest::newRow("above stays") << none << QList<int>{0} << 1 << false << true << 1;
        QTest::newRow("no rows, no drop") << none << QList<int>{} << 1 << false << false << 1;
        QTest::newRow("images pass the filter") << images << QList<int>{} << 0 << true << true << 0;
        QTest::newRow("one file refused refuses all") << mixed << QList<int>{} << 0 << false << false << 0;
        QTest::newRow("files that are gone are nothing to drop")
            << QStringList{u"missing.jpg"_s} << QList<int>{} << 0 << true << false << 0;
        QTest::newRow("files win over rows") << mixed << QList<int>{0} << 0 << false << false << 0;
    }
    void dropValidation()
    {
        QFETCH(QStringList, files);
        QFETCH(QList<int>, rows);
        QFETCH(int, row);
        QFETCH(bool, on);
        QFETCH(bool, accepted);
        TQBookmarksController controller;
        controller.addFiles(this->files({u"A"_s, u"B"_s, u"C"_s}));
        controller.setAllowedUTIs({u"public.image"_s, u"public.plain-text"_s});
        std::unique_ptr<QMimeData> data(files.isEmpty() ? controller.mimeDataForRows(rows) : filesDrag(files));
        if (!files.isEmpty() && !rows.isEmpty())
            data->setData(TQBookmarksInternalPboardType,
                          std::unique_ptr<QMimeData>(controller.mimeDataForRows(rows))->data(TQBookmarksInternalPboardType));
        Drop operation = on ? Drop::On : Drop::Above;
        QCOMPARE(controller.validateDrop(data.get(), row, operation), accepted);
        if (accepted) {
            QTEST(row, "finalRow");
            QCOMPARE(operation, Drop::Above);
            QVERIFY(!controller.acceptDrop(data.get(), -1)); // nowhere
        }
    }

    void tableThroughAListView()
    {
        TQBookmarksController controller;
        controller.addFiles(files({u"A"_s}));
        controller.addSeparatorAtIndex();
        TQBookmarksModel *model = controller.model();
        QListView view;
        view.setModel(model);
        view.setDragDropMode(QAbstractItemView::DragDrop);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        const QModelIndex separator = model->index(1, 0);
        QCOMPARE(model->data(separator).toString(), controller.separatorString());
        QVERIFY(model->data(separator, Qt::DecorationRole).isNull());
        QVERIFY(!(model->flags(separator) & Qt::ItemIsEditable));
        QVERIFY(model->flags(separator) & Qt::ItemIsDragEnabled);
        QCOMPARE(model->headerData(0, Qt::Horizontal, TQBookmarksModel::ColumnIdentifierRole).toString(), u"bookmarkDict"_s);

        // Renaming by editing in the view; an empty name is refused and nothing is posted.
        QSignalSpy changed(&controller, &TQBookmarksController::bookmarksChanged);
        for (const QString &text : {u"Alpha"_s, QString()}) {
            view.edit(model->index(0, 0));
            auto *editor = view.findChild<QLineEdit *>();
            QVERIFY(editor);
            editor->setText(text);
            QTest::keyClick(editor, Qt::Key_Return); // commits through a queued call
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QCOMPARE(model->data(model->index(0, 0)).toString(), u"Alpha"_s);
            QCOMPARE(changed.count(), 1);
        }
        QVERIFY(!model->removeRows(0, 1)); // a view's move drag never deletes rows afterwards
    }

    void modelNamesEachChange_data()
    {
        QTest::addColumn<QString>("change"); // done to the list A B C D E
        QTest::addColumn<QString>("heard");
        QTest::addColumn<QString>("after"); // the titles, a separator as "-"
        QTest::newRow("files added in the middle") << u"add F photo.jpg at 1"_s << u"insert 1-2"_s << u"A F photo.jpg B C D E"_s;
        QTest::newRow("a file listed already") << u"add C at 0"_s << QString() << u"A B C D E"_s;
        QTest::newRow("a separator, then its text")
            << u"separator at 2 text"_s << u"insert 2-2; data 2-2 bookmarkDict,display"_s << u"A B - C D E"_s;
        QTest::newRow("entries removed in two runs") << u"remove B C E"_s << u"remove 4-4; remove 1-2"_s << u"A D"_s;
        QTest::newRow("an entry removed by index") << u"remove at 0"_s << u"remove 0-0"_s << u"B C D E"_s;
        QTest::newRow("two rows dragged to the end") << u"drag 1 3 to 5"_s << u"move 1 to 5; move 2 to 5"_s << u"A C E B D"_s;
        QTest::newRow("two rows dragged to the top") << u"drag 3 4 to 0"_s << u"move 3 to 0; move 4 to 1"_s << u"D E A B C"_s;
        QTest::newRow("rows given in any order go in row order")
            << u"drag 4 0 to 2"_s << u"move 0 to 2; move 4 to 2"_s << u"B A E C D"_s;
        QTest::newRow("a row that is no longer there is ignored") << u"drag 0 9 to 5"_s << u"move 0 to 5"_s << u"B C D E A"_s;
        QTest::newRow("a row dragged onto its place") << u"drag 2 to 2"_s << QString() << u"A B C D E"_s;
        QTest::newRow("a file dropped on a row lands above it, one that is gone is skipped")
            << u"drop missing.jpg photo.jpg on 0"_s << u"insert 0-0"_s << u"photo.jpg A B C D E"_s;
        QTest::newRow("a file dropped") << u"drop photo.jpg C to 1"_s << u"insert 1-1; move 3 to 2"_s << u"A photo.jpg C B D E"_s;
        QTest::newRow("a row renamed") << u"rename 0 Alpha"_s << u"data 0-0 bookmarkDict,display,edit"_s << u"Alpha B C D E"_s;
        QTest::newRow("the list replaced") << u"set C A"_s << u"reset"_s << u"C A"_s;
        QTest::newRow("a saved list restored") << u"restore"_s << u"reset"_s << u"A B C D E"_s;
    }
    void modelNamesEachChange()
    {
        QFETCH(QString, change);
        QFETCH(QString, heard);
        TQBookmarksController controller;
        controller.addFiles(files({u"A"_s, u"B"_s, u"C"_s, u"D"_s, u"E"_s}));
        TQBookmarksModel *model = controller.model();
        new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::Fatal, &controller);
        QList<QPersistentModelIndex> rows;
        for (int row = 0; row < model->rowCount(); ++row)
            rows.append(model->index(row, 0));
        const QVariantList entries = controller.bookmarks();
        ModelLog log(model);
        QSignalSpy posted(&controller, &TQBookmarksController::bookmarksChanged);

        // The change, spelt as in the table: a verb, titles or numbers, "at N", "to N" or "on N".
        const QStringList words = change.split(u' ');
        const QString verb = words.first();
        const QString preposition = words.size() > 2 ? words.at(words.size() - 2) : QString();
        const int target = preposition == u"at" || preposition == u"to" || preposition == u"on" ? words.last().toInt() : -1;
        const QStringList arguments = target >= 0 ? words.mid(1, words.size() - 3) : words.mid(1);
        QVariantList named; // the entries of the titles given
        for (const QString &title : arguments) {
            if (title.size() == 1 && title.at(0).isLetter())
                named.append(entries.value(title.at(0).unicode() - u'A'));
        }
        if (verb == u"add") {
            controller.addFiles(files(arguments), target);
        } else if (verb == u"separator") {
            controller.addSeparatorAtIndex(words.at(2).toInt());
            if (words.last() == u"text")
                controller.setSeparatorString(u"---"_s);
        } else if (verb == u"remove" && target >= 0) {
            controller.removeItemAtIndex(target);
        } else if (verb == u"remove") {
            controller.removeItems(named);
        } else if (verb == u"drag") {
            QModelIndexList dragged;
            for (const QString &row : arguments)
                dragged.append(model->index(row.toInt(), 0));
            const std::unique_ptr<QMimeData> data(model->mimeData(dragged));
            QVERIFY(model->dropMimeData(data.get(), Qt::MoveAction, target, 0, QModelIndex()));
        } else if (verb == u"drop") {
            const std::unique_ptr<QMimeData> data(filesDrag(arguments));
            const bool onRow = preposition == u"on";
            QVERIFY(model->dropMimeData(data.get(), Qt::CopyAction, onRow ? -1 : target, 0,
                                        onRow ? model->index(target, 0) : QModelIndex()));
        } else if (verb == u"rename") {
            QVERIFY(model->setData(model->index(words.at(1).toInt(), 0), words.at(2)));
        } else if (verb == u"set") {
            controller.setBookmarks(named);
        } else if (verb == u"restore") {
            controller.setBookmarksFromSavableBookmarks(controller.savableBookmarks());
        }

        QCOMPARE(log.text(), heard);
        QCOMPARE(posted.count(), 1);
        QStringList titles;
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, 0);
            titles.append(index.data(TQBookmarksModel::IsSeparatorRole).toBool() ? u"-"_s : index.data().toString());
        }
        QTEST(titles.join(u' '), "after");
        // A view's selection follows its entries: rows that stay keep pointing at their entry,
        // removed ones (and all, after a reset) point nowhere.
        int lost = 0;
        for (int row = 0; row < rows.size(); ++row) {
            if (!rows.at(row).isValid())
                ++lost;
            else
                QCOMPARE(rows.at(row).data(Qt::ToolTipRole).toString(), path(QString(QChar(u'A' + row))));
        }
        int removed = 0;
        for (const QString &line : std::as_const(log.lines)) {
            const QStringList range = line.mid(7).split(u'-');
            removed += line.startsWith(u"remove "_s) ? range.at(1).toInt() - range.at(0).toInt() + 1 : 0;
        }
        QCOMPARE(lost, heard == u"reset" ? int(rows.size()) : removed);
    }

    void entriesChangedInPlaceAreAnnounced_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("heard");
        const QString newItem = u"data 1-1 bookmarkDict,decoration,toolTip"_s;
        QTest::newRow("the list refreshed") << u"refresh"_s << newItem;
        QTest::newRow("the menu built") << u"menu"_s << newItem;
        QTest::newRow("a menu item validated") << u"validate"_s << newItem;
        QTest::newRow("saved after the file was renamed") << u"save renamed"_s << u"data 0-0 bookmarkDict"_s;
        QTest::newRow("saved with nothing new") << u"save"_s << QString();
    }
    // Entries the controller changes without a notification still reach the views.
    void entriesChangedInPlaceAreAnnounced()
    {
        QFETCH(QString, how);
        QTemporaryDir dir;
        QFile file(dir.filePath(u"E"_s));
        QVERIFY(touch(file.fileName()));
        TQBookmarksController controller;
        controller.setBookmarksFromSavableBookmarks(
            {QVariantMap{{TQBookmarkArchiveKey, TQFile::newFileForPath(file.fileName())->archiveDictionary()}}, savedToken(u"away:Stick"_s)});
        QCOMPARE(controller.bookmarksCount(), 2);
        QObject owner;
        const QList<QAction *> items = controller.menuItemsForBookmarks(&owner);
        new QAbstractItemModelTester(controller.model(), QAbstractItemModelTester::FailureReportingMode::Fatal, &controller);
        ModelLog log(controller.model());
        QSignalSpy posted(&controller, &TQBookmarksController::bookmarksChanged);

        if (how == u"refresh") {
            controller.refreshBookmarks();
        } else if (how == u"menu") {
            controller.menuItemsForBookmarks(&owner);
        } else if (how == u"validate") {
            QVERIFY(!controller.validateMenuItem(items.at(1)));
        } else {
            if (how.endsWith(u"renamed")) {
                QVERIFY(file.rename(dir.filePath(u"E2"_s)));
                fileOf(controller.bookmarks().at(0))->updateForEvent({UWFileEvent::Renamed, file.fileName()});
            }
            controller.savableBookmarks();
        }
        QTEST(log.text(), "heard");
        QCOMPARE(posted.count(), 0);
    }

    void menu()
    {
        QFile soonGone(path(u"soon-gone.txt"_s));
        QVERIFY(touch(soonGone.fileName()));
        TQBookmarksController controller;
        controller.setBookmarksFromSavableBookmarks({savedToken(u"cur:Pics:Pics"_s), savedToken(u"sep"_s), savedToken(u"away:Stick"_s)});
        controller.addFiles({TQFile::newFileForPath(soonGone.fileName())});
        QObject owner;
        const QList<QAction *> items = controller.menuItemsForBookmarks(&owner);
        QCOMPARE(items.size(), 4);
        QVERIFY(!items.at(0)->isSeparator() && items.at(1)->isSeparator() && !items.at(2)->isSeparator());
        QCOMPARE(items.at(0)->text(), u"Pics"_s);
        QVERIFY(items.at(0)->shortcut().isEmpty());
        QCOMPARE(items.at(0)->parent(), &owner);
        QVERIFY(TQBookmarksController::isEqualRecord(items.at(0)->data().toMap(), controller.bookmarks().at(0).toMap()));
        if (!items.at(0)->icon().isNull())
            QCOMPARE(items.at(0)->icon().availableSizes(), QList<QSize>{QSize(16, 16)});
        QVERIFY(controller.validateMenuItem(items.at(0)));

        // Away: disabled, and a new item from its archive is kept in the entry for next time.
        const UWStandardFileRef before = fileOf(items.at(2)->data());
        QVERIFY(!controller.validateMenuItem(items.at(2)));
        QVERIFY(!items.at(2)->isEnabled());
        QVERIFY(fileOf(items.at(2)->data()) != before);
        QCOMPARE(fileOf(controller.bookmarks().at(2)), fileOf(items.at(2)->data()));

        // A deleted file leaves its item without a location and its archive finds nothing: the
        // item turns disabled instead of offering a file that is gone.
        QVERIFY(controller.validateMenuItem(items.at(3)));
        QVERIFY(soonGone.remove());
        QVERIFY(!controller.validateMenuItem(items.at(3)));
        QVERIFY(fileOf(items.at(3)->data())->URL().isEmpty());
    }

    void malformedEntriesAreNamedNotShown_data()
    {
        QTest::addColumn<QVariantList>("saved");
        QTest::addColumn<bool>("live"); // handed to setBookmarks() instead of restored
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QStringList>("warnings"); // the only warnings, in order

        const QString secret = u"/home/someone/private"_s;
        const QVariant first = savedToken(u"cur:A:First"_s), sep = savedToken(u"sep"_s);
        const auto withHostKey = [&](const QVariant &value) {
            QVariantMap record = first.toMap();
            record.insert(u"host"_s, value);
            return QVariant(record);
        };
        const auto line = [](int index, const QString &what) { return u"saved bookmarks, entry %1: %2"_s.arg(index).arg(what); };
        const QString tooDeep = u"nested deeper than 256 levels"_s, noArchive = u"not a file archive"_s;
        QVERIFY(touch(path(u"doomed"_s)));
        const QVariantMap goneArchive = archive(u"doomed"_s);
        QVERIFY(QFile::remove(path(u"doomed"_s)));
        const QStringList firstOnly{u"First=A"_s}, firstAndSep{u"First=A"_s, u"sep"_s};

        QTest::newRow("junk is named by its place, the rest kept")
            << QVariantList{savedToken(u"number"_s), first, savedToken(u"text-archive"_s), savedToken(u"list"_s), sep}
            << false << firstAndSep
            << QStringList{line(0, u"not a map"_s), line(2, u"the value under \"BookmarkArchive\" is not a map"_s),
                           line(3, u"not a map"_s)};
        QTest::newRow("an older record whose archive is a number")
            << QVariantList{QVariantMap{{TQBookmarkFileKey, 7}}, first} << false << firstOnly
            << QStringList{line(0, u"the value under \"BookmarkFile\" is not a map"_s)};
        QTest::newRow("an archive nested 30,000 levels deep")
            << QVariantList{first, sep, QVariantMap{{TQBookmarkArchiveKey, nested(30000, secret, true)}, {TQBookmarkTitleKey, u"x"_s}}}
            << false << firstAndSep << QStringList{line(2, tooDeep)};
        QTest::newRow("a bare archive nested 30,000 levels deep")
            << QVariantList{nested(30000, secret, true), first} << false << firstOnly << QStringList{line(0, tooDeep)};
        QTest::newRow("a key of the host's nested 50,000 levels deep")
            << QVariantList{withHostKey(nested(50000, secret)), first} << false << firstOnly << QStringList{line(0, tooDeep)};
        QTest::newRow("an entry exactly as deep as allowed is kept")
            << QVariantList{withHostKey(nested(255, secret))} << false << firstOnly << QStringList{};
        QTest::newRow("one level deeper is not")
            << QVariantList{first, withHostKey(nested(256, secret))} << false << firstOnly << QStringList{line(1, tooDeep)};
        QTest::newRow("records that describe no file are named, a file that is gone is not")
            << QVariantList{first, QVariantMap{{TQBookmarkArchiveKey, QVariantMap{{u"path"_s, u"relative"_s}}}},
                            QVariantMap{{u"path"_s, u"relative"_s}}, QVariantMap{{TQBookmarkArchiveKey, goneArchive}}}
            << false << firstOnly << QStringList{line(1, noArchive), line(2, noArchive)};
        QTest::newRow("a live entry nested 50,000 levels deep is refused too")
            << QVariantList{sep, QVariantMap{{TQBookmarkSeparatorKey, nested(50000, secret)}}} << true << QStringList{u"sep"_s}
            << QStringList{u"bookmarks, entry 1: "_s + tooDeep};
    }
    void malformedEntriesAreNamedNotShown()
    {
        QFETCH(QVariantList, saved);
        QFETCH(bool, live);
        QFETCH(QStringList, expected);
        QFETCH(QStringList, warnings);
        QTest::failOnWarning(QRegularExpression(u".*"_s)); // after the expected ones: no other
        for (const QString &warning : warnings)
            QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
        heard.clear();
        testHandler = qInstallMessageHandler(listen);
        TQBookmarksController controller;
        if (live)
            controller.setBookmarks(saved);
        else
            controller.setBookmarksFromSavableBookmarks(saved);
        const QVariantList restored = controller.bookmarks(); // a deep copy, walked as deep as the entries
        const QVariantList savable = controller.savableBookmarks();
        QVERIFY(TQBookmarksController::isEqualRecord(restored.value(0).toMap(), controller.bookmarks().value(0).toMap()));
        qInstallMessageHandler(testHandler);

        QCOMPARE(describe(restored), expected);
        QCOMPARE(savable.size(), expected.size());
        for (const Heard &message : std::as_const(heard)) {
            QVERIFY2(!message.text.contains(u"someone"_s), qPrintable(message.category + u": "_s + message.text.left(200)));
            QVERIFY2(message.category != u"tqkit.bookmarks" || message.type == QtWarningMsg || message.type == QtDebugMsg,
                     qPrintable(message.text));
        }
    }
};

QTEST_MAIN(TestBookmarks)
#include "tst_bookmarks.moc"
