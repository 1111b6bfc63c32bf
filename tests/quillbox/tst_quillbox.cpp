// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxApplication.h"
#include "QuillboxDesktopBookmarks.h"
#include "QuillboxFolderView.h"
#include "QuillboxInspector.h"
#include "QuillboxScreenshots.h"
#include "QuillboxSidebar.h"
#include "QuillboxTasks.h"
#include "QuillboxWindow.h"
#include "TQSampleData.h"
#include "TQTestDesktop.h"

#include <FVColorMenuMatrix.h>
#include <FVColorMenuView.h>
#include <TQAlternatesMenu.h>
#include <TQBookmarksController.h>
#include <TQFolderModel.h>
#include <TQResponderUtilities.h>

#include <QApplication>
#include <QScopeGuard>
#include <QLabel>
#include <QSettings>
#include <QStandardPaths>
#include <QListView>
#include <QMenuBar>
#include <QSignalSpy>
#include <QSlider>
#include <QTemporaryDir>
#include <QTimer>
#include <QStatusBar>
#include <QScrollBar>
#include <QInputDialog>
#include <QImageReader>
#include <QTest>
#include <QTreeView>
#include <QHeaderView>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using Places = QList<QuillboxDesktopBookmark>;

namespace {

QByteArray native(const QString &path)
{
    return QFile::encodeName(path);
}

bool waitActive(QWidget *window)
{
    window->show();
    window->activateWindow();
    return QTest::qWaitFor([window] { return QApplication::activeWindow() == window; });
}

// Where the red and the blue corner blocks of a sample picture lie within \a area of
// \a image: their centres, or (-1, -1) when a colour is missing.
QPair<QPointF, QPointF> markers(const QImage &image, const QRect &area)
{
    QPointF sums[2];
    int counts[2] = {0, 0};
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = image.pixelColor(x, y);
            const int which = c.red() > 180 && c.green() < 80 && c.blue() < 80 ? 0
                : c.blue() > 180 && c.red() < 80 && c.green() < 80          ? 1
                                                                            : -1;
            if (which >= 0) {
                sums[which] += QPointF(x, y);
                ++counts[which];
            }
        }
    }
    const auto centre = [&](int i) { return counts[i] > 4 ? sums[i] / counts[i] : QPointF(-1, -1); };
    return {centre(0), centre(1)};
}

// Upright: the red block left of the blue one, both at the same height.
bool upright(const QPair<QPointF, QPointF> &found, qreal tolerance)
{
    return found.first.x() >= 0 && found.second.x() >= 0 && found.first.x() < found.second.x()
        && qAbs(found.first.y() - found.second.y()) <= tolerance;
}

// Opens the context menu's drop submenu with \a key held (0 for none) and gives back the
// variant shown for \a folder, as a user would see it before choosing it.
QAction *dropAction(QuillboxWindow &window, std::unique_ptr<QMenu> &menu, const QString &folder, int key)
{
    menu = window.makeContextMenu();
    menu->popup(window.mapToGlobal(QPoint(100, 100)));
    QMenu *drop = nullptr;
    for (QAction *action : menu->actions()) {
        if (action->menu() && TQAlternatesMenu::existingForMenu(action->menu()))
            drop = action->menu();
    }
    if (!drop)
        return nullptr;
    drop->popup(menu->pos() + QPoint(menu->width(), 0));
    // The keys as the menu hears them (a key let go of for none: an earlier test's keys may
    // still count as held).
    const Qt::KeyboardModifiers held = key == Qt::Key_Alt ? Qt::AltModifier : key == Qt::Key_Meta ? Qt::MetaModifier : Qt::NoModifier;
    QKeyEvent press(key ? QEvent::KeyPress : QEvent::KeyRelease, key ? key : int(Qt::Key_Alt), held);
    QApplication::sendEvent(drop, &press);
    QAction *shown = nullptr;
    for (QAction *action : drop->actions()) {
        const UWStandardFileRef target = TQFile::itemFromValue(action->data());
        if (action->isVisible() && target && target->path() == folder)
            shown = action;
    }
    if (key) {
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
        QApplication::sendEvent(drop, &release);
    }
    return shown;
}

// Answers the next modal input dialog with \a text, as a user typing it and pressing Return.
void answerDialog(const QString &text)
{
    auto *timer = new QTimer;
    QObject::connect(timer, &QTimer::timeout, timer, [timer, text] {
        if (auto *dialog = qobject_cast<QInputDialog *>(QApplication::activeModalWidget())) {
            dialog->setTextValue(text);
            dialog->accept();
            timer->deleteLater();
        }
    });
    timer->start(10);
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The stored pixels, as they are in the file, whatever its orientation says.
QImage storedPixels(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(false);
    return reader.read();
}

} // namespace

class tst_Quillbox : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    int m_trees = 0;

    // A fresh copy of the sample files, for a test that changes them.
    QString samples()
    {
        const QString dir = m_root.filePath(u"samples-%1"_s.arg(++m_trees));
        QDir().mkpath(dir);
        QString error;
        if (TQSampleData::writeSamples(dir, &error).isEmpty())
            qFatal("sample files: %s", qPrintable(error));
        return dir;
    }

private Q_SLOTS:
    void initTestCase()
    {
        // The offscreen window system reports at every window what it cannot do (raise,
        // grab the keyboard); the rest goes on to QtTest, which checks expected warnings.
        static QtMessageHandler qtTest = nullptr;
        qtTest = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context, const QString &message) {
            if (!message.startsWith(u"This plugin does not support"))
                qtTest(type, context, message);
        });
        QVERIFY(m_root.isValid());
        const QString failure = isolateTestDesktop(m_root.filePath(u"desktop"_s));
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        QuillboxApplication::setUp();
        // Each test starts as a first start: no settings left by the one before.
        QSettings().clear();
    }

    void cleanup() { QSettings().clear(); }

    void desktopBookmarks_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<Places>("expected");
        QTest::addColumn<QString>("warning");

        QTest::newRow("GTK lines with and without a title")
            << u"gtk"_s << "file:///home/me/Pictures\nfile:///home/me/My%20Work Work and more\n\n"_ba
            << Places{{"/home/me/Pictures", {}}, {"/home/me/My Work", u"Work and more"_s}} << QString();
        QTest::newRow("GTK keeps names that are not UTF-8 as bytes")
            << u"gtk"_s << "file:///data/caf%E9 Caf\xc3\xa9\n"_ba << Places{{"/data/caf\xe9", u"Café"_s}} << QString();
        QTest::newRow("GTK leaves out remote places and other hosts")
            << u"gtk"_s << "sftp://server/home\nfile://otherhost/x\nfile://localhost/srv/a\nrecent:///\n"_ba
            << Places{{"/srv/a", {}}} << QString();
        QTest::newRow("GTK refuses a NUL inside a path")
            << u"gtk"_s << "file:///tmp/a%00b\nfile:///tmp/ok\n"_ba << Places{{"/tmp/ok", {}}} << QString();
        QTest::newRow("KDE places with titles; system items, separators and app-only ones left out")
            << u"kde"_s
            << QByteArray("<?xml version=\"1.0\"?><xbel>\n"
                          "<bookmark href=\"file:///home/me\"><title>Home</title><info><metadata owner=\"http://www.kde.org\"><isSystemItem>true</isSystemItem></metadata></info></bookmark>\n"
                          "<separator/>\n"
                          "<bookmark href=\"file:///home/me/Music\"><title>My Music</title></bookmark>\n"
                          "<bookmark href=\"trash:/\"><title>Trash</title></bookmark>\n"
                          "<bookmark href=\"file:///home/me/Only\"><title>Only</title><info><metadata owner=\"http://www.kde.org\"><OnlyInApp>kfind</OnlyInApp></metadata></info></bookmark>\n"
                          "<bookmark href=\"file:///home/me/Sp%20ace\"/></xbel>")
            << Places{{"/home/me/Music", u"My Music"_s}, {"/home/me/Sp ace", {}}} << QString();
        QTest::newRow("KDE file broken half-way: the places before the damage")
            << u"kde"_s << "<xbel><bookmark href=\"file:///a\"><title>A</title></bookmark><bookmark <<<"_ba
            << Places{{"/a", u"A"_s}} << u"not a places file"_s;
        QTest::newRow("a file larger than any bookmarks file is refused whole")
            << u"gtk"_s << QByteArray("file:///x\n").repeated(QuillboxDesktopBookmarks::MaximumFileSize / 10 + 1) << Places{}
            << u"more than a bookmarks file holds"_s;
        QTest::newRow("a FIFO under the name is refused, not read")
            << u"fifo"_s << QByteArray() << Places{} << u"not a regular file"_s;
    }

    void desktopBookmarks()
    {
        QFETCH(QString, format);
        QFETCH(QByteArray, contents);
        QFETCH(Places, expected);
        QFETCH(QString, warning);
        QTemporaryDir dir;
        const QString path = dir.filePath(u"bookmarks"_s);
        if (format == u"fifo")
            QCOMPARE(::mkfifo(native(path).constData(), 0600), 0);
        else
            QVERIFY(writeWholeFile(path, contents));
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Desktop bookmarks %1: .*%2"_s.arg(QRegularExpression::escape(path), warning)));
        const Places places = format == u"kde" ? QuillboxDesktopBookmarks::readKdePlaces(path)
                                                : QuillboxDesktopBookmarks::readGtkBookmarks(path);
        QCOMPARE(places, expected);
    }

    // The import takes both files of the user, each existing place once, with its title, and
    // only once however often it is asked.
    void importDesktopBookmarks()
    {
        const QString tree = samples();
        // Places outside the samples, which a first start bookmarks already.
        QTemporaryDir places;
        const QString texts = places.filePath(u"My Texts"_s);
        const QString films = places.filePath(u"Films"_s);
        QVERIFY(QDir().mkpath(texts) && QDir().mkpath(films));
        const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
        const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        QVERIFY(writeWholeFile(config + u"/gtk-3.0/bookmarks"_s,
                               QUrl::fromLocalFile(texts).toEncoded() + " Texts\nfile:///no/such/folder\n"));
        QVERIFY(writeWholeFile(data + u"/user-places.xbel"_s,
                               "<xbel><bookmark href=\"" + QUrl::fromLocalFile(films).toEncoded()
                                   + "\"><title>Films</title></bookmark><bookmark href=\""
                                   + QUrl::fromLocalFile(texts).toEncoded() + "\"/></xbel>"));
        QuillboxSidebar sidebar;
        sidebar.restore(native(tree + u"/images"_s));
        const qsizetype before = sidebar.controller()->bookmarksCount();
        QCOMPARE(sidebar.importDesktopBookmarks(), 2);
        QCOMPARE(sidebar.importDesktopBookmarks(), 0);
        QAbstractItemModel *model = sidebar.view()->model();
        QCOMPARE(model->rowCount(), before + 2);
        QCOMPARE(model->index(int(before), 0).data().toString(), u"Texts"_s);
        QCOMPARE(model->index(int(before) + 1, 0).data().toString(), u"Films"_s);
        QFile::remove(config + u"/gtk-3.0/bookmarks"_s);
        QFile::remove(data + u"/user-places.xbel"_s);
    }

    // What a user does first: browse into a folder, pick an image, see it in the inspector,
    // label it from the context menu, go back and forth, and go to a bookmarked folder.
    void browseAndLabel()
    {
        const QString tree = samples();
        QuillboxWindow window;
        window.restore(native(tree));
        QVERIFY(waitActive(&window));
        QuillboxFolderView *view = window.folderView();
        TQFolderModel *model = view->model();
        QTRY_VERIFY(!model->isLoading() && model->rowCount() > 0);
        // A first start bookmarks the folder and its folders: "empty-folder" is one of them.
        const QString target = tree + u"/empty-folder"_s;
        const QList<TQFileRef> dropFolders = window.dropFolders();
        QVERIFY(std::any_of(dropFolders.cbegin(), dropFolders.cend(), [&](const TQFileRef &f) { return f->path() == target; }));

        // Ctrl+O on the images folder enters it.
        QVERIFY(view->selectItem(UWStandardFile::newFileForPath(tree + u"/images"_s)));
        view->currentView()->setFocus();
        QTest::keyClick(view->currentView(), Qt::Key_O, Qt::ControlModifier);
        QCOMPARE(window.folder()->path(), tree + u"/images"_s);
        const QString photo = tree + u"/images/orientation-6.jpg"_s;
        QTRY_VERIFY(model->indexOfNativePath(native(photo)).isValid());
        QVERIFY(view->selectItem(UWStandardFile::newFileForPath(photo)));

        // The inspector shows the file's values and its picture upright.
        QuillboxInspector *inspector = window.inspector();
        QTRY_VERIFY(inspector->isFilled());
        const TQFileRef file = TQFile::newFileForPath(photo);
        QCOMPARE(inspector->text(QuillboxInspector::Camera), file->cameraModelString());
        QCOMPARE(inspector->text(QuillboxInspector::Dimensions), file->dimensionsString());
        QVERIFY(!inspector->text(QuillboxInspector::DateTaken).isEmpty());
        QTRY_VERIFY(!inspector->preview().isNull());
        QVERIFY2(upright(markers(inspector->preview(), inspector->preview().rect()), 8), "the preview is not upright");

        // The label picker of the context menu outlines the selection's labels and labels it.
        const bool xattrs = TQFile::newFileForPath(tree + u"/empty.dat"_s)->setFinderLabel(0);
        std::unique_ptr<QMenu> menu = window.makeContextMenu();
        menu->popup(window.mapToGlobal(QPoint(100, 100)));
        auto *picker = menu->findChild<FVColorMenuView *>();
        QVERIFY(picker && picker->isVisible() && picker->matrix()->isEnabled());
        QCOMPARE(picker->matrix()->selectedLabels().value_or(QList<int>()), QList<int>{0});
        int row = -1, column = -1;
        picker->matrix()->getRow(&row, &column, 6);
        QTest::mouseClick(picker->matrix(), Qt::LeftButton, {}, picker->matrix()->cellFrameAtRow(row, column).center().toPoint());
        QTRY_VERIFY(!menu->isVisible());
        if (xattrs) {
            QCOMPARE(TQFile::newFileForPath(photo)->finderLabel(), 6);
            const QModelIndex row = model->indexOfNativePath(native(photo));
            QTRY_COMPARE(row.data(TQFolderModel::LabelRole).toInt(), 6);
            // And the row shows it: the label's colour behind the name, in both views.
            const QColor colour = row.data(TQFolderModel::LabelColorRole).value<QColor>();
            for (QAbstractItemView *shown : {static_cast<QAbstractItemView *>(view->listView()), static_cast<QAbstractItemView *>(view->gridView())}) {
                shown->scrollTo(row);
                const QImage picture = shown->viewport()->grab(shown->visualRect(row)).toImage();
                int tinted = 0;
                for (int y = 0; y < picture.height(); ++y) {
                    for (int x = 0; x < picture.width(); ++x) {
                        const QColor c = picture.pixelColor(x, y);
                        tinted += qAbs(c.red() - colour.red()) + qAbs(c.green() - colour.green()) + qAbs(c.blue() - colour.blue()) < 60;
                    }
                }
                QVERIFY2(tinted > 40, shown->objectName().toLatin1());
            }
        } else {
            qInfo("this file system keeps no user extended attributes: labels not checked");
        }

        // Alt+Up goes to the enclosing folder, the one left selected once the listing shows
        // it; Alt+Left and Alt+Right go back and forth in the history, and no further.
        QVERIFY(waitActive(&window));
        view->currentView()->setFocus();
        QTest::keyClick(view->currentView(), Qt::Key_Up, Qt::AltModifier);
        QCOMPARE(window.folder()->path(), tree);
        QTRY_COMPARE(view->selectedItems().size(), 1);
        QCOMPARE(view->selectedItems().first()->path(), tree + u"/images"_s);
        QTest::keyClick(view->currentView(), Qt::Key_Left, Qt::AltModifier);
        QCOMPARE(window.folder()->path(), tree + u"/images"_s);
        QTest::keyClick(view->currentView(), Qt::Key_Right, Qt::AltModifier);
        QCOMPARE(window.folder()->path(), tree);
        QTest::keyClick(view->currentView(), Qt::Key_Right, Qt::AltModifier);
        QCOMPARE(window.folder()->path(), tree);

        // The bookmark leads there.
        window.sidebar()->itemChosen(UWStandardFile::newFileForPath(target));
        QCOMPARE(window.folder()->path(), target);
        QTRY_VERIFY(!model->isLoading() && model->rowCount() == 0);
    }

    // The window's frame, folder, view, zoom, sort order and filter come back at the next start.
    void stateRestoredAtStart()
    {
        const QString tree = samples();
        {
            QuillboxWindow window;
            window.restore(native(tree + u"/text"_s));
            window.show();
            window.folderView()->setMode(QuillboxFolderView::GridMode);
            window.folderView()->setZoom(200);
            window.folderView()->model()->setSortType(TQSortType::FileSize, TQFolderPriority::FoldersLast, false);
            window.folderView()->model()->setFilterType(TQFilterType::VisibleNonFolders);
            window.setFavouriteFolders({tree + u"/media"_s});
            window.close();
        }
        QuillboxWindow window;
        window.restore();
        QCOMPARE(window.folder()->path(), tree + u"/text"_s);
        QCOMPARE(window.folderView()->mode(), QuillboxFolderView::GridMode);
        QCOMPARE(window.folderView()->zoom(), 200);
        const TQFolderModel *model = window.folderView()->model();
        QCOMPARE((QList<int>{model->sortType(), model->folderPriority(), model->isAscending(), model->filterType()}),
                 (QList<int>{int(TQSortType::FileSize), int(TQFolderPriority::FoldersLast), 0, int(TQFilterType::VisibleNonFolders)}));
        QCOMPARE(window.dropFolders().first()->path(), tree + u"/media"_s);
    }

    // The drop menu's three variants carried out for real on two selected files: the key held
    // picks the variant, and the files land in the bookmarked folder as that variant says.
    void dropLocations_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("actionName");
        QTest::addColumn<bool>("sourcesKept");
        QTest::addColumn<bool>("links");
        QTest::newRow("no key held moves") << 0 << u"moveToMenuAction:"_s << false << false;
        QTest::newRow("Option copies") << int(Qt::Key_Alt) << u"copyToMenuAction:"_s << true << false;
        QTest::newRow("Control makes aliases") << int(Qt::Key_Meta) << u"aliasToMenuAction:"_s << true << true;
    }

    void dropLocations()
    {
        QFETCH(int, key);
        QFETCH(QString, actionName);
        QFETCH(bool, sourcesKept);
        QFETCH(bool, links);
        const QString tree = samples();
        const QString target = tree + u"/empty-folder"_s;
        const QStringList names{u"photo.png"_s, u"portrait.jpg"_s};
        QuillboxWindow window;
        window.restore(native(tree + u"/images"_s));
        QVERIFY(waitActive(&window));
        TQFolderModel *model = window.folderView()->model();
        QTRY_VERIFY(!model->isLoading());
        QMap<QString, QByteArray> before;
        for (const QString &name : names) {
            before.insert(name, contents(tree + u"/images/"_s + name));
            const QModelIndex index = model->indexOfNativePath(native(tree + u"/images/"_s + name));
            QVERIFY(index.isValid());
            window.folderView()->selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        std::unique_ptr<QMenu> menu;
        QAction *chosen = dropAction(window, menu, target, key);
        QVERIFY(chosen);
        QCOMPARE(TQResponderUtilities::action(chosen), actionName);
        QSignalSpy finished(window.tasks(), &QuillboxTasks::taskFinished);
        chosen->trigger();
        QTRY_COMPARE(finished.count(), 1);
        QVERIFY(finished.first().first().value<QuillboxTaskResult>().succeeded());
        for (const QString &name : names) {
            const QString source = tree + u"/images/"_s + name;
            const QFileInfo landed(target + u'/' + name);
            QCOMPARE(landed.isSymLink(), links);
            if (links)
                QCOMPARE(landed.symLinkTarget(), source);
            QCOMPARE(contents(landed.filePath()), before.value(name));
            QCOMPARE(QFileInfo::exists(source), sourcesKept);
            // The folder shown follows the disk: a moved file leaves its row.
            QTRY_COMPARE(model->indexOfNativePath(native(source)).isValid(), sourcesKept);
        }
    }

    // The keys of the File menu on the selected file: F2 asks for a name (a taken one changes
    // nothing and says why), Delete moves it to the desktop's trash.
    void fileKeys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("nameAfter"); // empty: in the trash
        QTest::addColumn<bool>("complaint");
        QTest::newRow("F2 to a free name") << int(Qt::Key_F2) << u"memo.png"_s << u"memo.png"_s << false;
        QTest::newRow("F2 to a taken name") << int(Qt::Key_F2) << u"portrait.jpg"_s << u"photo.png"_s << true;
        QTest::newRow("Delete") << int(Qt::Key_Delete) << QString() << QString() << false;
    }

    void fileKeys()
    {
        QFETCH(int, key);
        QFETCH(QString, typed);
        QFETCH(QString, nameAfter);
        QFETCH(bool, complaint);
        const QString folder = samples() + u"/images"_s;
        const QString photo = folder + u"/photo.png"_s;
        const QByteArray photoBytes = contents(photo), portraitBytes = contents(folder + u"/portrait.jpg"_s);
        QuillboxWindow window;
        window.restore(native(folder));
        QVERIFY(waitActive(&window));
        QuillboxFolderView *view = window.folderView();
        QTRY_VERIFY(view->selectItem(UWStandardFile::newFileForPath(photo)));
        view->currentView()->setFocus();
        if (!typed.isEmpty())
            answerDialog(typed);
        QTest::keyClick(view->currentView(), Qt::Key(key));
        QCOMPARE(contents(folder + u"/portrait.jpg"_s), portraitBytes);
        QCOMPARE(window.statusBar()->currentMessage().isEmpty(), !complaint);
        if (nameAfter.isEmpty()) {
            const QString trashed = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash/files/photo.png"_s;
            QTRY_COMPARE(contents(trashed), photoBytes);
            QFile::remove(trashed);
            QTRY_VERIFY(!view->model()->indexOfNativePath(native(photo)).isValid());
        } else {
            QCOMPARE(contents(folder + u'/' + nameAfter), photoBytes);
            QCOMPARE(QFileInfo::exists(photo), nameAfter == u"photo.png");
            // The file keeps its selection under its new name.
            QTRY_COMPARE(view->currentItem() ? view->currentItem()->displayName() : QString(), nameAfter);
        }
    }

    // Rotate Left, then Rotate Right, gives the image back as it was: the orientation it
    // declared and the pixels it stores. The turns themselves are the task tests' concern; here
    // each menu item must turn its own way.
    void rotateThereAndBack()
    {
        const QString folder = samples() + u"/images"_s;
        const QString image = folder + u"/orientation-6.jpg"_s;
        const QImage stored = storedPixels(image);
        QuillboxWindow window;
        window.restore(native(folder));
        window.show();
        QTRY_VERIFY(window.folderView()->selectItem(UWStandardFile::newFileForPath(image)));
        QSignalSpy finished(window.tasks(), &QuillboxTasks::taskFinished);
        window.findChild<QAction *>(u"rotateLeft"_s)->trigger();
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(TQFile::newFileForPath(image)->storedImageOrientation(), 1); // a quarter turn undone
        window.findChild<QAction *>(u"rotateRight"_s)->trigger();
        QTRY_COMPARE(finished.count(), 2);
        QCOMPARE(TQFile::newFileForPath(image)->storedImageOrientation(), 6);
        QCOMPARE(storedPixels(image), stored);
    }

    // The grid as an icon view: it opens at its top, its cells are as large as the zoom asks
    // with a little space between them, the zoom keys resize them, and the arrow keys move
    // along the lines and between them.
    void grid_data()
    {
        QTest::addColumn<int>("zoom");
        QTest::addColumn<int>("key"); // with Ctrl; 0 for none
        QTest::addColumn<int>("zoomAfter");
        QTest::newRow("the smallest") << int(QuillboxFolderView::MinimumZoom) << 0 << int(QuillboxFolderView::MinimumZoom);
        QTest::newRow("the default, zoomed in") << 128 << int(Qt::Key_Plus) << 128 + QuillboxFolderView::ZoomStep;
        QTest::newRow("the default, zoomed out") << 128 << int(Qt::Key_Minus) << 128 - QuillboxFolderView::ZoomStep;
        QTest::newRow("the largest, zoomed in no further")
            << int(QuillboxFolderView::MaximumZoom) << int(Qt::Key_Plus) << int(QuillboxFolderView::MaximumZoom);
    }

    void grid()
    {
        QFETCH(int, zoom);
        QFETCH(int, key);
        QFETCH(int, zoomAfter);
        // The sample images (of several shapes) and a folder among many notes.
        const QString folder = samples() + u"/images"_s;
        QVERIFY(QDir(folder).mkdir(u"A folder"_s));
        for (int i = 0; i < 66; ++i)
            QVERIFY(writeWholeFile(folder + u"/note %1 of the long summer holiday.txt"_s.arg(i, 2, 10, QChar(u'0')), "text"));
        QSettings().setValue(u"View/Zoom"_s, zoom);
        QuillboxWindow window;
        window.restore(native(folder));
        window.resize(1400, 640);
        QVERIFY(waitActive(&window));
        QuillboxFolderView *view = window.folderView();
        QListView *grid = view->gridView();
        const TQFolderModel *model = view->model();
        QTRY_COMPARE(model->rowCount(), 80);
        // Switched to from the list with the first row current, as a user does.
        view->selectionModel()->setCurrentIndex(model->index(0, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        window.findChild<QAction *>(u"asGrid"_s)->trigger();
        QCOMPARE(view->mode(), QuillboxFolderView::GridMode);
        QTRY_VERIFY(grid->visualRect(model->index(79, 0)).isValid());
        QVERIFY(grid->verticalScrollBar()->maximum() > 0);
        QCOMPARE(grid->verticalScrollBar()->value(), 0);
        QVERIFY(grid->viewport()->rect().contains(grid->visualRect(model->index(0, 0))));

        // A zoom keeps the current cell in sight.
        grid->setFocus();
        const QModelIndex current = model->index(50, 0);
        view->selectionModel()->setCurrentIndex(current, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        grid->scrollTo(current, QAbstractItemView::PositionAtTop);
        if (key)
            QTest::keyClick(grid, Qt::Key(key), Qt::ControlModifier);
        QCOMPARE(view->zoom(), zoomAfter);
        QTRY_VERIFY(grid->viewport()->rect().contains(grid->visualRect(current)));
        QCOMPARE(window.findChild<QSlider *>(u"zoom"_s)->value(), zoomAfter);
        const int lineHeight = grid->fontMetrics().height();
        QTRY_VERIFY(grid->visualRect(model->index(0, 0)).height() >= zoomAfter + 2 * lineHeight);
        const QRect first = grid->visualRect(model->index(0, 0));
        const QRect second = grid->visualRect(model->index(1, 0));
        QCOMPARE(second.top(), first.top());
        QVERIFY2(first.width() >= zoomAfter && first.width() <= qMax(zoomAfter, 10 * grid->fontMetrics().averageCharWidth()) + 40,
                 qPrintable(u"a cell %1 wide at zoom %2"_s.arg(first.width()).arg(zoomAfter)));
        const int gap = second.left() - first.right() - 1;
        QVERIFY2(gap > 0 && gap <= 2 * QuillboxFolderView::GridSpacing, qPrintable(u"cells %1 apart"_s.arg(gap)));

        int columns = 1;
        while (grid->visualRect(model->index(columns, 0)).top() == first.top())
            ++columns;
        QVERIFY(columns > 1);
        view->selectionModel()->setCurrentIndex(model->index(0, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        QTest::keyClick(grid, Qt::Key_Right);
        QCOMPARE(view->selectionModel()->currentIndex().row(), 1);
        QTest::keyClick(grid, Qt::Key_Down);
        QCOMPARE(view->selectionModel()->currentIndex().row(), 1 + columns);
        QCOMPARE(view->selectedItems().size(), 1);
        QVERIFY(grid->viewport()->rect().intersects(grid->visualRect(view->selectionModel()->currentIndex())));
    }

    // A name in a grid cell: whole on one or two lines when it fits, else its start on the
    // first line and its middle left out of the second, so its end still shows.
    void gridNameLines_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("widthOf"); // the cell's text is as wide as this text
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("elided");
        QTest::newRow("a short name") << u"a.jpg"_s << u"xxxxxxxxxxxxxxxx"_s << 1 << false;
        QTest::newRow("two words on two lines") << u"summer holiday.jpg"_s << u"holiday.jpgx"_s << 2 << false;
        QTest::newRow("a long name") << u"holiday picture number 4 from the long summer trip.jpg"_s << u"holiday picturex"_s << 2 << true;
        QTest::newRow("no space: broken anywhere") << u"IMG_20260101_1234.jpg"_s << u"IMG_20260101"_s << 2 << false;
        QTest::newRow("no space and too long") << u"IMG_20260101_1234567890123456789.jpg"_s << u"IMG_20260101"_s << 2 << true;
    }

    void gridNameLines()
    {
        QFETCH(QString, name);
        QFETCH(QString, widthOf);
        QFETCH(int, lines);
        QFETCH(bool, elided);
        const QFont font = QApplication::font();
        const QFontMetrics metrics(font);
        const int width = metrics.horizontalAdvance(widthOf);
        const QStringList shown = QuillboxFolderView::gridNameLines(name, font, width);
        QCOMPARE(shown.size(), lines);
        for (const QString &line : shown)
            QVERIFY2(metrics.horizontalAdvance(line) <= width, qPrintable(line));
        QVERIFY(name.startsWith(shown.first()));
        QVERIFY(shown.last().endsWith(name.right(4)));
        QCOMPARE(shown.last().contains(u'…'), elided);
        if (!elided)
            QCOMPARE(shown.join(QString()).remove(u' '), QString(name).remove(u' '));
    }

    // The Sort By menu offers every column of the model under the header's own title, in the
    // language shown, and choosing one sorts the list by that column.
    void sortMenu_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("fileMenu"); // Quillbox's own texts follow the language too
        QTest::newRow("English") << QLocale(QLocale::English) << u"&File"_s;
        QTest::newRow("German") << QLocale(QLocale::German, QLocale::Germany) << u"&Datei"_s;
    }

    void sortMenu()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, fileMenu);
        QVERIFY(QuillboxApplication::installTranslations(locale));
        QuillboxWindow window;
        const auto english = qScopeGuard([] { QuillboxApplication::installTranslations(QLocale(QLocale::English)); });
        window.restore(native(samples() + u"/images"_s));
        const TQFolderModel *model = window.folderView()->model();
        QCOMPARE(window.menuBar()->actions().first()->text(), fileMenu);
        const auto *menu = window.findChild<QMenu *>(u"sortMenu"_s);
        QVERIFY(menu);
        QList<QAction *> choices;
        for (QAction *action : menu->actions()) {
            if (action->isSeparator())
                break;
            choices.append(action);
        }
        QCOMPARE(choices.size(), TQFolderModel::ColumnCount + 1);
        const QString sizeTitle = model->headerData(TQFolderModel::SizeColumn, Qt::Horizontal).toString();
        QCOMPARE(sizeTitle == u"Size", locale.language() == QLocale::English);
        QHeaderView *header = window.folderView()->listView()->header();
        for (int column = TQFolderModel::ColumnCount - 1; column >= 0; --column) {
            QAction *choice = choices.at(column);
            QCOMPARE(choice->text(), model->headerData(column, Qt::Horizontal).toString());
            choice->trigger();
            QCOMPARE(model->sortType(), int(TQFolderModel::sortTypeForColumn(column)));
            QCOMPARE(header->sortIndicatorSection(), column);
        }
        choices.last()->trigger();
        QCOMPARE(model->sortType(), int(TQSortType::Random));
    }

    void emptyFolderMessage_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("nameFilter");
        QTest::addColumn<bool>("boxDrawn");
        QTest::newRow("an empty folder") << u"empty-folder"_s << QString() << true;
        QTest::newRow("a filter that matches nothing") << u"images"_s << u"zzz"_s << true;
        QTest::newRow("a filter that matches one row") << u"images"_s << u"portrait"_s << false;
    }

    void emptyFolderMessage()
    {
        QFETCH(QString, folder);
        QFETCH(QString, nameFilter);
        QFETCH(bool, boxDrawn);
        QuillboxWindow window;
        window.restore(native(samples() + u'/' + folder));
        window.resize(900, 600);
        window.show();
        TQFolderModel *model = window.folderView()->model();
        model->setNameFilter(nameFilter);
        QTRY_VERIFY(!model->isLoading());
        QWidget *viewport = window.folderView()->listView()->viewport();
        const QImage picture = viewport->grab().toImage();
        const QColor base = viewport->palette().color(QPalette::Base);
        int differing = 0;
        const QPoint centre = picture.rect().center();
        for (int dy = -40; dy <= 40; dy += 4) {
            for (int dx = -120; dx <= 120; dx += 4)
                differing += picture.pixelColor(centre + QPoint(dx, dy)) != base;
        }
        QCOMPARE(differing > 100, boxDrawn);
    }

    // The pictures the demo writes: thumbnails present, upright and not blank, the inspector
    // filled with values and its preview, the context menu open with its submenus.
    void screenshots()
    {
        const QString tree = samples();
        QuillboxWindow window;
        window.restore(native(tree + u"/images"_s));
        QTemporaryDir out;
        QString error;
        const QStringList written = QuillboxScreenshots::write(window, out.path(), &error);
        QVERIFY2(written.size() == 4, qPrintable(error));
        const QImage grid(written.at(1));
        QVERIFY(!grid.isNull());
        const qreal ratio = grid.devicePixelRatio();

        QListView *gridView = window.folderView()->gridView();
        const TQFolderModel *model = window.folderView()->model();
        int images = 0;
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, TQFolderModel::NameColumn);
            const TQFileRef file = model->fileAt(index);
            const QRect cell = gridView->visualRect(index);
            if (!file || !file->isImage() || !gridView->viewport()->rect().contains(cell))
                continue;
            ++images;
            const QRect inWindow(gridView->viewport()->mapTo(&window, cell.topLeft()) * ratio, cell.size() * ratio);
            QVERIFY2(upright(markers(grid, inWindow), 6 * ratio), qPrintable(u"thumbnail of %1"_s.arg(file->displayName())));
        }
        QVERIFY(images >= 4);

        QuillboxInspector *inspector = window.inspector();
        QVERIFY(inspector->isFilled());
        for (const auto field : {QuillboxInspector::Dimensions, QuillboxInspector::Megapixels, QuillboxInspector::Camera,
                                 QuillboxInspector::Exposure, QuillboxInspector::ISO, QuillboxInspector::DateTaken})
            QVERIFY2(!inspector->text(field).isEmpty(), QMetaEnum::fromType<QuillboxInspector::Field>().valueToKey(field));
        auto *preview = inspector->findChild<QLabel *>(u"preview"_s);
        const QRect previewArea(preview->mapTo(&window, QPoint(0, 0)) * ratio, preview->size() * ratio);
        QVERIFY2(upright(markers(grid, previewArea), 8 * ratio), "the inspector's preview");

        for (const QString &menuPicture : written.mid(2)) {
            const QImage picture(menuPicture);
            QVERIFY(picture.width() > grid.width() || picture.height() > grid.height() || picture != grid);
        }
    }
};

QTEST_MAIN(tst_Quillbox)
#include "tst_quillbox.moc"
