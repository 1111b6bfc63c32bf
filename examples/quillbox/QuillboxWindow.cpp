// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxWindow.h"
#include "QuillboxFolderView.h"
#include "QuillboxIcons.h"
#include "QuillboxInspector.h"
#include "QuillboxListEditor.h"
#include "QuillboxLogging.h"
#include "QuillboxSidebar.h"
#include "QuillboxTasks.h"

#include <FVColorMenuView.h>
#include <TQActivityWindowController.h>
#include <TQApplications.h>
#include <TQBookmarksController.h>
#include <TQFolderModel.h>
#include <TQMenuUtilities.h>
#include <TQResponderUtilities.h>
#include <TQUtilityFunctions.h>
#include <tqkit_version.h>

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QFileDialog>
#include <QInputDialog>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QSlider>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>

using namespace std::chrono_literals;

namespace {

const QString GeometryKey = QStringLiteral("Window/Geometry");
const QString StateKey = QStringLiteral("Window/State");
const QString LastFolderKey = QStringLiteral("Window/LastFolder");
const QString ModeKey = QStringLiteral("View/Mode");
const QString ZoomKey = QStringLiteral("View/Zoom");
const QString SortTypeKey = QStringLiteral("View/SortType");
const QString FolderPriorityKey = QStringLiteral("View/FolderPriority");
const QString AscendingKey = QStringLiteral("View/Ascending");
const QString FilterKey = QStringLiteral("View/Filter");
const QString ExcludeFoldersKey = QStringLiteral("View/ExcludeFolders");
const QString OpenWithKey = QStringLiteral("Menus/OpenWithApplications");
const QString FavouritesKey = QStringLiteral("Menus/FavouriteFolders");

struct Choice
{
    int code;
    const char *title;
};

const Choice FolderChoices[] = {
    {int(TQFolderPriority::FoldersFirst), QT_TRANSLATE_NOOP("QuillboxWindow", "Folders First")},
    {int(TQFolderPriority::FoldersLast), QT_TRANSLATE_NOOP("QuillboxWindow", "Folders Last")},
    {int(TQFolderPriority::Mixed), QT_TRANSLATE_NOOP("QuillboxWindow", "Folders Among Files")},
};

// Every filter preset of the library.
const Choice FilterChoices[] = {
    {int(TQFilterType::Visible), QT_TRANSLATE_NOOP("QuillboxWindow", "Visible Items")},
    {int(TQFilterType::Everything), QT_TRANSLATE_NOOP("QuillboxWindow", "Everything, Hidden Items Too")},
    {int(TQFilterType::VisibleImages), QT_TRANSLATE_NOOP("QuillboxWindow", "Images")},
    {int(TQFilterType::VisibleMedia), QT_TRANSLATE_NOOP("QuillboxWindow", "Images, Music and Movies")},
    {int(TQFilterType::VisibleImagesAndFolders), QT_TRANSLATE_NOOP("QuillboxWindow", "Images and Folders")},
    {int(TQFilterType::VisibleMediaAndFolders), QT_TRANSLATE_NOOP("QuillboxWindow", "Media and Folders")},
    {int(TQFilterType::VisibleFolders), QT_TRANSLATE_NOOP("QuillboxWindow", "Folders")},
    {int(TQFilterType::VisibleNonFolders), QT_TRANSLATE_NOOP("QuillboxWindow", "Files")},
};

QIcon themed(const char *name)
{
    return QuillboxIcons::icon(QString::fromLatin1(name));
}

} // namespace

struct QuillboxWindow::Private
{
    QuillboxSidebar *sidebar = nullptr;
    QuillboxFolderView *view = nullptr;
    QuillboxInspector *inspector = nullptr;
    TQActivityWindowController *activity = nullptr;
    QuillboxTasks *tasks = nullptr;
    UWStandardFileRef folder;
    QList<QByteArray> back;
    QList<QByteArray> forward;
    QByteArray selectWhenListed; // a row to select once the listing shows it
    QList<TQFileRef> recentDestinations;
    QStringList openWith;
    QStringList favourites;

    QMenu *fileMenu = nullptr;
    QMenu *bookmarksMenu = nullptr;
    QMenu *sortMenu = nullptr;
    QMenu *filterMenu = nullptr;
    QActionGroup *sortGroup = nullptr;
    QActionGroup *folderGroup = nullptr;
    QActionGroup *directionGroup = nullptr;
    QActionGroup *filterGroup = nullptr;
    QActionGroup *modeGroup = nullptr;
    QAction *excludeFolders = nullptr;
    FVColorMenuAction *contextPicker = nullptr;
    FVColorMenuAction *filePicker = nullptr;
    QLineEdit *nameFilter = nullptr;
    QSlider *zoom = nullptr;
    QLabel *count = nullptr;
    QHash<QString, QAction *> actions;

    QAction *action(const char *name) const { return actions.value(QString::fromLatin1(name)); }
};

QuillboxWindow::QuillboxWindow(QWidget *parent)
    : QMainWindow(parent)
    , d(std::make_unique<Private>())
{
    setObjectName(QStringLiteral("QuillboxWindow"));
    d->activity = new TQActivityWindowController(this, this);
    // Quick tasks never flash a window, and the window never takes the keyboard.
    d->activity->setShowDelay(400ms);
    d->activity->setShowWithoutActivating(true);
    d->activity->setLauncherDesktopId(QGuiApplication::desktopFileName());
    d->tasks = new QuillboxTasks(d->activity, this);
    connect(d->tasks, &QuillboxTasks::taskFinished, this, &QuillboxWindow::taskFinished);

    d->view = new QuillboxFolderView(this);
    setCentralWidget(d->view);
    d->sidebar = new QuillboxSidebar(this);
    auto *sidebarDock = new QDockWidget(tr("Bookmarks"), this);
    sidebarDock->setObjectName(QStringLiteral("sidebarDock"));
    sidebarDock->setWidget(d->sidebar);
    sidebarDock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
    addDockWidget(Qt::LeftDockWidgetArea, sidebarDock);
    d->inspector = new QuillboxInspector(this);
    auto *inspectorDock = new QDockWidget(tr("Inspector"), this);
    inspectorDock->setObjectName(QStringLiteral("inspectorDock"));
    inspectorDock->setWidget(d->inspector);
    inspectorDock->setFeatures(QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable);
    addDockWidget(Qt::RightDockWidgetArea, inspectorDock);
    resizeDocks({sidebarDock, inspectorDock}, {190, 300}, Qt::Horizontal);

    auto add = [this](const char *name, const QString &text, const QKeySequence &keys, auto slot, const char *icon = nullptr) {
        auto *action = new QAction(text, this);
        action->setObjectName(QString::fromLatin1(name));
        action->setShortcut(keys);
        if (icon)
            action->setIcon(themed(icon));
        connect(action, &QAction::triggered, this, slot);
        d->actions.insert(action->objectName(), action);
        return action;
    };
    add("open", tr("&Open"), QKeySequence::Open, &QuillboxWindow::openSelection, "document-open");
    add("showInFileManager", tr("Show in File &Manager"), {}, [] { TQOpenNewFinderWindow(); }, "system-file-manager");
    add("newFolder", tr("&New Folder"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N), &QuillboxWindow::newFolder, "folder-new");
    add("rename", tr("&Rename..."), QKeySequence(Qt::Key_F2), &QuillboxWindow::renameSelection, "edit-rename");
    add("trash", tr("Move to &Trash"), QKeySequence(Qt::Key_Delete), &QuillboxWindow::trashSelection, "user-trash");
    add("rotateLeft", tr("Rotate &Left"), QKeySequence(Qt::CTRL | Qt::Key_L), [this] { rotateSelection(true); }, "object-rotate-left");
    add("rotateRight", tr("Rotate R&ight"), QKeySequence(Qt::CTRL | Qt::Key_R), [this] { rotateSelection(false); }, "object-rotate-right");
    add("quit", tr("&Quit"), QKeySequence::Quit, &QWidget::close, "application-exit");
    add("selectAll", tr("Select &All"), QKeySequence::SelectAll, [this] { d->view->currentView()->selectAll(); }, "edit-select-all");
    add("back", tr("&Back"), QKeySequence(Qt::ALT | Qt::Key_Left), &QuillboxWindow::goBack, "go-previous");
    add("forward", tr("&Forward"), QKeySequence(Qt::ALT | Qt::Key_Right), &QuillboxWindow::goForward, "go-next");
    add("up", tr("&Enclosing Folder"), QKeySequence(Qt::ALT | Qt::Key_Up), &QuillboxWindow::goUp, "go-up");
    add("home", tr("&Home"), QKeySequence(Qt::ALT | Qt::Key_Home), [this] { openFolder(UWStandardFile::newFileForPath(QDir::homePath())); }, "go-home");
    add("zoomIn", tr("Zoom &In"), QKeySequence::ZoomIn, [this] { d->view->zoomIn(); }, "zoom-in");
    add("zoomOut", tr("Zoom &Out"), QKeySequence::ZoomOut, [this] { d->view->zoomOut(); }, "zoom-out");
    add("addBookmark", tr("&Add Bookmark"), QKeySequence(Qt::CTRL | Qt::Key_D), [this] {
        QList<UWStandardFileRef> items = d->view->selectedItems();
        if (items.isEmpty() && d->folder)
            items.append(d->folder);
        d->sidebar->controller()->addFiles(items);
    }, "bookmark-new");
    add("importBookmarks", tr("&Import Desktop Bookmarks"), {}, &QuillboxWindow::importDesktopBookmarks);
    add("about", tr("&About Quillbox"), {}, &QuillboxWindow::showAbout, "help-about");
    add("asList", tr("As &List"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L), [this] { d->view->setMode(QuillboxFolderView::ListMode); }, "view-list");
    add("asGrid", tr("As &Thumbnails"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_T), [this] { d->view->setMode(QuillboxFolderView::GridMode); }, "view-grid");
    d->modeGroup = new QActionGroup(this);
    for (const char *name : {"asList", "asGrid"}) {
        d->action(name)->setCheckable(true);
        d->modeGroup->addAction(d->action(name));
    }

    // The label picker: one action per kind of menu, both sending the same action name.
    d->contextPicker = new FVColorMenuAction(this, FVColorMenuAction::Normal);
    d->filePicker = new FVColorMenuAction(this, FVColorMenuAction::Small);
    for (FVColorMenuAction *picker : {d->contextPicker, d->filePicker})
        TQResponderUtilities::setAction(picker, QStringLiteral("labelMenuAction:"));

    // Sort and filter menus, shared by the View menu and the toolbar.
    d->sortMenu = new QMenu(tr("&Sort By"), this);
    d->sortMenu->setObjectName(QStringLiteral("sortMenu"));
    d->sortGroup = new QActionGroup(this);
    // One row per column of the model, under the column's own title (translated where the
    // model's titles are), so that the menu and the list's header always say the same; then
    // the one order without a column.
    const TQFolderModel *folderModel = d->view->model();
    auto addSortChoice = [this](const QString &title, TQSortType type) {
        QAction *action = d->sortMenu->addAction(title);
        action->setCheckable(true);
        action->setData(int(type));
        d->sortGroup->addAction(action);
    };
    for (int column = 0; column < TQFolderModel::ColumnCount; ++column)
        addSortChoice(folderModel->headerData(column, Qt::Horizontal).toString(), TQFolderModel::sortTypeForColumn(column));
    addSortChoice(tr("Random"), TQSortType::Random);
    d->sortMenu->addSeparator();
    d->folderGroup = new QActionGroup(this);
    for (const Choice &choice : FolderChoices) {
        QAction *action = d->sortMenu->addAction(tr(choice.title));
        action->setCheckable(true);
        action->setData(choice.code);
        d->folderGroup->addAction(action);
    }
    d->sortMenu->addSeparator();
    d->directionGroup = new QActionGroup(this);
    for (const bool ascending : {true, false}) {
        QAction *action = d->sortMenu->addAction(ascending ? tr("Ascending") : tr("Descending"));
        action->setCheckable(true);
        action->setData(ascending);
        d->directionGroup->addAction(action);
    }
    auto applySort = [this] {
        TQFolderModel *model = d->view->model();
        const QAction *type = d->sortGroup->checkedAction();
        const QAction *folders = d->folderGroup->checkedAction();
        const QAction *direction = d->directionGroup->checkedAction();
        model->setSortType(type ? type->data().toInt() : model->sortType(), folders ? folders->data().toInt() : model->folderPriority(),
                           direction ? direction->data().toBool() : model->isAscending());
    };
    for (QActionGroup *group : {d->sortGroup, d->folderGroup, d->directionGroup})
        connect(group, &QActionGroup::triggered, this, applySort);
    d->filterMenu = new QMenu(tr("&Show"), this);
    d->filterGroup = new QActionGroup(this);
    for (const Choice &choice : FilterChoices) {
        QAction *action = d->filterMenu->addAction(tr(choice.title));
        action->setCheckable(true);
        action->setData(choice.code);
        d->filterGroup->addAction(action);
    }
    d->filterMenu->addSeparator();
    d->excludeFolders = d->filterMenu->addAction(tr("Leave Out Folders"));
    d->excludeFolders->setCheckable(true);
    connect(d->filterGroup, &QActionGroup::triggered, this, [this](QAction *action) { d->view->model()->setFilterType(action->data().toInt()); });
    connect(d->excludeFolders, &QAction::toggled, this, [this](bool on) { d->view->model()->setExcludeFolders(on); });

    // Menu bar.
    d->fileMenu = menuBar()->addMenu(tr("&File"));
    connect(d->fileMenu, &QMenu::aboutToShow, this, &QuillboxWindow::rebuildFileMenu);
    QMenu *edit = menuBar()->addMenu(tr("&Edit"));
    edit->addAction(d->action("selectAll"));
    QMenu *viewMenu = menuBar()->addMenu(tr("&View"));
    viewMenu->addAction(d->action("asList"));
    viewMenu->addAction(d->action("asGrid"));
    viewMenu->addSeparator();
    viewMenu->addAction(d->action("zoomIn"));
    viewMenu->addAction(d->action("zoomOut"));
    viewMenu->addSeparator();
    viewMenu->addMenu(d->sortMenu);
    viewMenu->addMenu(d->filterMenu);
    viewMenu->addSeparator();
    QAction *showSidebar = sidebarDock->toggleViewAction();
    showSidebar->setText(tr("Show &Bookmarks"));
    viewMenu->addAction(showSidebar);
    QAction *showInspector = inspectorDock->toggleViewAction();
    showInspector->setText(tr("Show &Inspector"));
    showInspector->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_I));
    viewMenu->addAction(showInspector);
    QMenu *go = menuBar()->addMenu(tr("&Go"));
    for (const char *name : {"back", "forward", "up", "home"})
        go->addAction(d->action(name));
    d->bookmarksMenu = menuBar()->addMenu(tr("&Bookmarks"));
    connect(d->bookmarksMenu, &QMenu::aboutToShow, this, &QuillboxWindow::rebuildBookmarksMenu);
    QMenu *help = menuBar()->addMenu(tr("&Help"));
    help->addAction(d->action("about"));

    // Toolbar.
    QToolBar *toolbar = addToolBar(tr("Toolbar"));
    toolbar->setObjectName(QStringLiteral("toolbar"));
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonFollowStyle);
    for (const char *name : {"back", "forward", "up"})
        toolbar->addAction(d->action(name));
    toolbar->addSeparator();
    toolbar->addAction(d->action("asList"));
    toolbar->addAction(d->action("asGrid"));
    d->zoom = new QSlider(Qt::Horizontal, toolbar);
    d->zoom->setObjectName(QStringLiteral("zoom"));
    d->zoom->setRange(QuillboxFolderView::MinimumZoom, QuillboxFolderView::MaximumZoom);
    d->zoom->setSingleStep(8);
    d->zoom->setPageStep(QuillboxFolderView::ZoomStep);
    d->zoom->setMaximumWidth(120);
    d->zoom->setToolTip(tr("Thumbnail size"));
    d->zoom->setValue(d->view->zoom());
    toolbar->addWidget(d->zoom);
    connect(d->zoom, &QSlider::valueChanged, d->view, &QuillboxFolderView::setZoom);
    connect(d->view, &QuillboxFolderView::zoomChanged, d->zoom, &QSlider::setValue);
    toolbar->addSeparator();
    for (QMenu *menu : {d->sortMenu, d->filterMenu}) {
        auto *button = new QToolButton(toolbar);
        button->setText(menu->title());
        button->setMenu(menu);
        button->setPopupMode(QToolButton::InstantPopup);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        toolbar->addWidget(button);
    }
    auto *spacer = new QWidget(toolbar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    d->nameFilter = new QLineEdit(toolbar);
    d->nameFilter->setObjectName(QStringLiteral("nameFilter"));
    d->nameFilter->setPlaceholderText(tr("Filter by name"));
    d->nameFilter->setClearButtonEnabled(true);
    d->nameFilter->setMaximumWidth(200);
    toolbar->addWidget(d->nameFilter);
    connect(d->nameFilter, &QLineEdit::textChanged, d->view->model(), &TQFolderModel::setNameFilter);

    d->count = new QLabel(this);
    statusBar()->addPermanentWidget(d->count);

    // The view's state in the menus.
    auto showModel = [this] {
        const TQFolderModel *model = d->view->model();
        for (QAction *action : d->sortGroup->actions())
            action->setChecked(action->data().toInt() == model->sortType());
        for (QAction *action : d->folderGroup->actions())
            action->setChecked(action->data().toInt() == model->folderPriority());
        for (QAction *action : d->directionGroup->actions())
            action->setChecked(action->data().toBool() == model->isAscending());
        for (QAction *action : d->filterGroup->actions())
            action->setChecked(action->data().toInt() == model->filterType());
        d->excludeFolders->setChecked(model->excludeFolders());
    };
    connect(d->view->model(), &TQFolderModel::sortOrderChanged, this, showModel);
    connect(d->view->model(), &TQFolderModel::filterChanged, this, showModel);
    showModel();
    auto showMode = [this] {
        d->action(d->view->mode() == QuillboxFolderView::GridMode ? "asGrid" : "asList")->setChecked(true);
        d->zoom->setEnabled(d->view->mode() == QuillboxFolderView::GridMode);
    };
    connect(d->view, &QuillboxFolderView::modeChanged, this, showMode);
    showMode();

    connect(d->view, &QuillboxFolderView::itemActivated, this, &QuillboxWindow::activateItem);
    connect(d->view, &QuillboxFolderView::contextMenuRequested, this, [this](const QPoint &at) {
        std::unique_ptr<QMenu> menu = makeContextMenu();
        menu->exec(at);
    });
    connect(d->view->selectionModel(), &QItemSelectionModel::selectionChanged, this, &QuillboxWindow::selectionChanged);
    connect(d->view->selectionModel(), &QItemSelectionModel::currentChanged, this, &QuillboxWindow::selectionChanged);
    TQFolderModel *model = d->view->model();
    auto rowsChanged = [this] {
        const int shown = d->view->model()->rowCount();
        d->count->setText(tr("%n item(s)", nullptr, shown));
        if (!d->selectWhenListed.isEmpty()) {
            const QModelIndex index = d->view->model()->indexOfNativePath(d->selectWhenListed);
            if (index.isValid()) {
                d->selectWhenListed.clear();
                d->view->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
                d->view->currentView()->scrollTo(index);
            }
        }
    };
    connect(model, &QAbstractItemModel::rowsInserted, this, rowsChanged);
    connect(model, &QAbstractItemModel::rowsRemoved, this, rowsChanged);
    connect(model, &QAbstractItemModel::modelReset, this, rowsChanged);
    connect(model, &QAbstractItemModel::layoutChanged, this, rowsChanged);
    connect(model, &TQFolderModel::folderRemoved, this, [this] {
        // The folder shown went away: show the nearest folder that is still there.
        QDir dir(QFile::decodeName(d->folder ? d->folder->nativePath() : QByteArray()));
        while (!dir.exists() && dir.cdUp()) {
        }
        openFolder(UWStandardFile::newFileForNativePath(QFile::encodeName(dir.absolutePath())), false);
    });
    connect(d->sidebar, &QuillboxSidebar::itemChosen, this, [this](const UWStandardFileRef &item) {
        if (item->isDirectory()) {
            openFolder(item);
        } else if (const UWStandardFileRef parent = item->parentItem()) {
            d->selectWhenListed = item->nativePath();
            openFolder(parent);
        }
    });
    // The drop menu lists the bookmarked folders: its shortcuts follow the list.
    connect(d->sidebar->controller(), &TQBookmarksController::bookmarksChanged, this, &QuillboxWindow::rebuildFileMenu);
    updateActions();
}

QuillboxWindow::~QuillboxWindow() = default;

QuillboxFolderView *QuillboxWindow::folderView() const
{
    return d->view;
}

QuillboxSidebar *QuillboxWindow::sidebar() const
{
    return d->sidebar;
}

QuillboxInspector *QuillboxWindow::inspector() const
{
    return d->inspector;
}

QuillboxTasks *QuillboxWindow::tasks() const
{
    return d->tasks;
}

TQActivityWindowController *QuillboxWindow::activity() const
{
    return d->activity;
}

UWStandardFileRef QuillboxWindow::folder() const
{
    return d->folder;
}

void QuillboxWindow::restore(const QByteArray &folder)
{
    QSettings settings;
    restoreGeometry(settings.value(GeometryKey).toByteArray());
    restoreState(settings.value(StateKey).toByteArray());
    d->openWith = settings.value(OpenWithKey).toStringList();
    d->favourites = settings.value(FavouritesKey).toStringList();
    d->view->setZoom(settings.value(ZoomKey, 128).toInt());
    d->view->setMode(QuillboxFolderView::Mode(qBound(0, settings.value(ModeKey, 0).toInt(), 1)));
    TQFolderModel *model = d->view->model();
    model->setSortType(settings.value(SortTypeKey, int(TQSortType::Name)).toInt(),
                       settings.value(FolderPriorityKey, int(TQFolderPriority::FoldersFirst)).toInt(),
                       settings.value(AscendingKey, true).toBool());
    model->setFilterType(qBound(0, settings.value(FilterKey, 0).toInt(), 7));
    model->setExcludeFolders(settings.value(ExcludeFoldersKey, false).toBool());

    QByteArray path = folder.isEmpty() ? settings.value(LastFolderKey).toByteArray() : folder;
    UWStandardFileRef item = path.isEmpty() ? nullptr : UWStandardFile::newFileForNativePath(path);
    if (!item || !item->isDirectory()) {
        if (!path.isEmpty())
            qCDebug(lcQuillbox) << "not a folder, showing the home folder instead:" << QFile::decodeName(path);
        item = UWStandardFile::newFileForPath(QDir::homePath());
    }
    d->sidebar->restore(item->nativePath());
    openFolder(item, false);
    rebuildFileMenu();
}

bool QuillboxWindow::openFolder(const UWStandardFileRef &folder, bool remember)
{
    if (!folder || !folder->isDirectory())
        return false;
    if (remember && d->folder && d->folder->nativePath() != folder->nativePath()) {
        d->back.append(d->folder->nativePath());
        d->forward.clear();
    }
    d->folder = folder;
    d->view->model()->setFolder(folder);
    setWindowTitle(folder->displayName());
    setWindowFilePath(folder->path());
    QSettings().setValue(LastFolderKey, folder->nativePath());
    d->inspector->setFile(nullptr);
    updateActions();
    return true;
}

void QuillboxWindow::goBack()
{
    travel(d->back, d->forward);
}

void QuillboxWindow::goForward()
{
    travel(d->forward, d->back);
}

// Back and forward are mirror images: the folder left goes onto the other history.
void QuillboxWindow::travel(QList<QByteArray> &from, QList<QByteArray> &to)
{
    if (from.isEmpty())
        return;
    const QByteArray left = d->folder ? d->folder->nativePath() : QByteArray();
    const QByteArray path = from.takeLast();
    if (openFolder(UWStandardFile::newFileForNativePath(path), false) && !left.isEmpty())
        to.append(left);
    updateActions();
}

void QuillboxWindow::goUp()
{
    const UWStandardFileRef parent = d->folder ? d->folder->parentItem() : nullptr;
    if (!parent || parent->nativePath() == d->folder->nativePath())
        return;
    d->selectWhenListed = d->folder->nativePath();
    openFolder(parent);
}

void QuillboxWindow::activateItem(const UWStandardFileRef &item)
{
    if (item->isDirectory()) {
        openFolder(item);
        return;
    }
    const TQApplicationInfo app = TQApplications::defaultApplicationForFile(item->nativePath());
    QString error;
    if (!app.isValid())
        statusBar()->showMessage(tr("No application opens “%1”.").arg(item->displayName()), 5000);
    else if (!TQApplications::launch(app, {QFile::decodeName(item->nativePath())}, &error))
        statusBar()->showMessage(error, 5000);
}

void QuillboxWindow::openSelection()
{
    const QList<UWStandardFileRef> items = d->view->selectedItems();
    // Entering a folder replaces the listing, so it is done once, after the files.
    UWStandardFileRef folder;
    for (const UWStandardFileRef &item : items) {
        if (item->isDirectory())
            folder = folder ? folder : item;
        else
            activateItem(item);
    }
    if (folder)
        openFolder(folder);
}

QList<QByteArray> QuillboxWindow::selectedPaths() const
{
    QList<QByteArray> paths;
    for (const UWStandardFileRef &item : d->view->selectedItems())
        paths.append(item->nativePath());
    return paths;
}

void QuillboxWindow::rotateSelection(bool left)
{
    QList<QByteArray> images;
    for (const UWStandardFileRef &item : d->view->selectedItems()) {
        const TQFileRef file = TQFile::fromItem(item);
        if (file && file->isImage())
            images.append(item->nativePath());
    }
    if (!images.isEmpty())
        d->tasks->rotate(images, left ? QuillboxTasks::Rotation::Left : QuillboxTasks::Rotation::Right);
}

void QuillboxWindow::renameSelection()
{
    // F2 in the sidebar renames the bookmark, as the table's own edit key would.
    if (d->sidebar->view()->hasFocus()) {
        d->sidebar->view()->edit(d->sidebar->view()->currentIndex());
        return;
    }
    const QList<UWStandardFileRef> items = d->view->selectedItems();
    if (items.size() != 1)
        return;
    const UWStandardFileRef item = items.first();
    bool ok = false;
    const QString name = QInputDialog::getText(this, tr("Rename"), tr("New name for “%1”:").arg(item->displayName()),
                                               QLineEdit::Normal, item->displayName(), &ok);
    if (!ok || name == item->displayName())
        return;
    QString error;
    const QByteArray renamed = QuillboxTasks::rename(item->nativePath(), name, &error);
    if (renamed.isEmpty())
        statusBar()->showMessage(error, 5000);
    else
        d->selectWhenListed = renamed;
}

void QuillboxWindow::trashSelection()
{
    const QList<QByteArray> paths = selectedPaths();
    if (!paths.isEmpty())
        d->tasks->moveToTrash(paths);
}

void QuillboxWindow::newFolder()
{
    if (!d->folder)
        return;
    QString error;
    const QByteArray made = QuillboxTasks::createFolder(d->folder->nativePath(), QString(), &error);
    if (made.isEmpty())
        statusBar()->showMessage(error, 5000);
    else
        d->selectWhenListed = made;
}

void QuillboxWindow::importDesktopBookmarks()
{
    const int added = d->sidebar->importDesktopBookmarks();
    statusBar()->showMessage(tr("%n bookmark(s) imported from the desktop.", nullptr, added), 5000);
}

void QuillboxWindow::showAbout()
{
    QMessageBox::about(this, tr("About Quillbox"),
                       tr("<h3>Quillbox %1</h3><p>A file browser and image viewer built on the TQKit library: "
                          "live folders, thumbnails, image metadata, labels, bookmarks and lossless rotation.</p>"
                          "<p>Licensed under the BSD 3-Clause licence; TQKit under the LGPL 2.1 or later.</p>")
                           .arg(TQKit::versionString()));
}

std::unique_ptr<QMenu> QuillboxWindow::makeContextMenu()
{
    auto menu = std::make_unique<QMenu>(this);
    menu->setObjectName(QStringLiteral("contextMenu"));
    QList<TQFileRef> files;
    for (const UWStandardFileRef &item : d->view->selectedItems()) {
        const TQFileRef file = TQFile::fromItem(item);
        if (file && !file->isDirectory())
            files.append(file);
    }
    QList<TQFileRef> include;
    for (const QString &path : std::as_const(d->openWith))
        include.append(TQFile::newFileForPath(path));
    menu->addAction(d->action("open"));
    TQMenuUtilities::OpenWithOptions options;
    options.markDefaultApplication = true;
    options.excludeHostApplication = true;
    TQMenuUtilities::addSubmenu(menu.get(), TQMenuUtilities::openWithMenuForFiles(files, include, options));
    menu->addSeparator();
    TQMenuUtilities::DropMenuOptions dropOptions;
    dropOptions.recentDestinations = d->recentDestinations;
    std::unique_ptr<QMenu> drop = TQMenuUtilities::dropMenuWithFolders(dropFolders(), dropOptions);
    drop->setTitle(tr("Drop Locations"));
    TQMenuUtilities::addSubmenu(menu.get(), std::move(drop));
    menu->addSeparator();
    menu->addAction(d->contextPicker);
    menu->addSeparator();
    menu->addAction(d->action("rotateLeft"));
    menu->addAction(d->action("rotateRight"));
    menu->addSeparator();
    menu->addAction(d->action("rename"));
    menu->addAction(d->action("trash"));
    menu->addAction(d->action("showInFileManager"));
    return menu;
}

void QuillboxWindow::rebuildFileMenu()
{
    QMenu *menu = d->fileMenu;
    // The submenus are the menu's children: they go with the rows that open them.
    const QList<QMenu *> old = menu->findChildren<QMenu *>(Qt::FindDirectChildrenOnly);
    menu->clear();
    qDeleteAll(old);
    menu->addAction(d->action("open"));
    QList<TQFileRef> files;
    for (const UWStandardFileRef &item : d->view->selectedItems()) {
        const TQFileRef file = TQFile::fromItem(item);
        if (file && !file->isDirectory())
            files.append(file);
    }
    QList<TQFileRef> include;
    for (const QString &path : std::as_const(d->openWith))
        include.append(TQFile::newFileForPath(path));
    TQMenuUtilities::addSubmenu(menu, TQMenuUtilities::openWithMenuForFiles(files, include));
    menu->addAction(d->action("showInFileManager"));
    menu->addSeparator();
    menu->addAction(d->action("newFolder"));
    menu->addAction(d->action("rename"));
    menu->addAction(d->action("trash"));
    menu->addSeparator();
    TQMenuUtilities::DropMenuOptions options;
    options.recentDestinations = d->recentDestinations;
    std::unique_ptr<QMenu> drop = TQMenuUtilities::dropMenuWithFolders(dropFolders(), options);
    drop->setTitle(tr("Drop Locations"));
    TQMenuUtilities::addSubmenu(menu, std::move(drop));
    menu->addAction(d->filePicker);
    menu->addAction(d->action("rotateLeft"));
    menu->addAction(d->action("rotateRight"));
    menu->addSeparator();
    menu->addAction(d->action("quit"));
}

void QuillboxWindow::rebuildBookmarksMenu()
{
    QMenu *menu = d->bookmarksMenu;
    menu->clear();
    menu->addAction(d->action("addBookmark"));
    menu->addAction(d->action("importBookmarks"));
    menu->addSeparator();
    const QList<QAction *> items = d->sidebar->controller()->menuItemsForBookmarks(menu);
    for (QAction *item : items) {
        d->sidebar->controller()->validateMenuItem(item);
        connect(item, &QAction::triggered, this, [this, item] {
            const UWStandardFileRef file = TQFile::itemFromValue(item->data().toMap().value(TQBookmarkFileKey));
            if (file)
                emit d->sidebar->itemChosen(file);
        });
        menu->addAction(item);
    }
}

QList<TQFileRef> QuillboxWindow::dropFolders() const
{
    QList<TQFileRef> folders;
    QSet<QByteArray> listed;
    auto take = [&](const UWStandardFileRef &item) {
        const TQFileRef folder = TQFile::fromItem(item);
        if (folder && folder->isDirectory() && !listed.contains(folder->nativePath())) {
            listed.insert(folder->nativePath());
            folders.append(folder);
        }
    };
    for (const QString &path : d->favourites)
        take(UWStandardFile::newFileForPath(path));
    for (const UWStandardFileRef &item : d->sidebar->bookmarkedFolders())
        take(item);
    return folders;
}

QStringList QuillboxWindow::openWithApplications() const
{
    return d->openWith;
}

void QuillboxWindow::setOpenWithApplications(const QStringList &paths)
{
    d->openWith = paths;
    QSettings().setValue(OpenWithKey, paths);
    rebuildFileMenu();
}

QStringList QuillboxWindow::favouriteFolders() const
{
    return d->favourites;
}

void QuillboxWindow::setFavouriteFolders(const QStringList &paths)
{
    d->favourites = paths;
    QSettings().setValue(FavouritesKey, paths);
    rebuildFileMenu();
}

void QuillboxWindow::openWithMenuAction(QAction *sender)
{
    const UWStandardFileRef application = TQFile::itemFromValue(sender->data());
    if (!application)
        return;
    QStringList paths;
    for (const UWStandardFileRef &item : d->view->selectedItems()) {
        if (!item->isDirectory())
            paths.append(QFile::decodeName(item->nativePath()));
    }
    const TQApplicationInfo info = TQApplications::applicationForDesktopFile(QFile::decodeName(application->nativePath()));
    QString error;
    if (!info.isValid())
        statusBar()->showMessage(tr("“%1” cannot be started.").arg(application->displayName()), 5000);
    else if (!TQApplications::launch(info, paths, &error))
        statusBar()->showMessage(error, 5000);
}

void QuillboxWindow::addToOpenWithMenuAction(QAction *)
{
    QuillboxListEditor editor(QuillboxListEditor::Applications, tr("Applications in the Open With Menu"), d->openWith, this);
    if (editor.exec() == QDialog::Accepted)
        setOpenWithApplications(editor.paths());
}

void QuillboxWindow::addToMoveToMenuAction(QAction *)
{
    QuillboxListEditor editor(QuillboxListEditor::Folders, tr("Favourite Drop Locations"), d->favourites, this);
    if (editor.exec() == QDialog::Accepted)
        setFavouriteFolders(editor.paths());
}

void QuillboxWindow::moveToMenuAction(QAction *sender)
{
    transfer(sender, Transfer::Move);
}

void QuillboxWindow::copyToMenuAction(QAction *sender)
{
    transfer(sender, Transfer::Copy);
}

void QuillboxWindow::aliasToMenuAction(QAction *sender)
{
    transfer(sender, Transfer::Alias);
}

void QuillboxWindow::transfer(QAction *sender, Transfer kind)
{
    const QList<QByteArray> sources = selectedPaths();
    if (sources.isEmpty())
        return;
    QByteArray target;
    QString error;
    switch (TQMenuUtilities::tag(sender)) {
    case 98: // "New Folder": made in the folder shown, and the selection goes into it
        if (d->folder)
            target = QuillboxTasks::createFolder(d->folder->nativePath(), QString(), &error);
        break;
    case 99: { // "Other Location..."
        const QString chosen = QFileDialog::getExistingDirectory(this, tr("Choose a Folder"));
        if (chosen.isEmpty())
            return;
        target = QFile::encodeName(chosen);
        break;
    }
    default:
        if (const UWStandardFileRef folder = TQFile::itemFromValue(sender->data()))
            target = folder->nativePath();
        break;
    }
    if (target.isEmpty()) {
        if (!error.isEmpty())
            statusBar()->showMessage(error, 5000);
        return;
    }
    switch (kind) {
    case Transfer::Move: d->tasks->move(sources, target); break;
    case Transfer::Copy: d->tasks->copy(sources, target); break;
    case Transfer::Alias: d->tasks->makeAliases(sources, target); break;
    }
    // The last few places, newest first, for the drop menu's "Recent Destinations".
    const TQFileRef destination = TQFile::newFileForNativePath(target);
    if (destination) {
        d->recentDestinations.erase(std::remove_if(d->recentDestinations.begin(), d->recentDestinations.end(),
                                                   [&](const TQFileRef &f) { return f->nativePath() == target; }),
                                    d->recentDestinations.end());
        d->recentDestinations.prepend(destination);
        d->recentDestinations = d->recentDestinations.mid(0, 5);
    }
}

void QuillboxWindow::labelMenuAction(QAction *sender)
{
    const int label = static_cast<FVColorMenuAction *>(sender)->tag();
    if (label < 0 || label > 7)
        return;
    int failed = 0;
    QString reason;
    for (const UWStandardFileRef &item : d->view->selectedItems()) {
        if (!item->setFinderLabel(label, &reason))
            ++failed;
    }
    if (failed > 0)
        statusBar()->showMessage(tr("%n item(s) could not be labelled: %1", nullptr, failed).arg(reason), 5000);
}

QList<int> QuillboxWindow::selectedFinderLabels() const
{
    return d->view->model()->selectedFinderLabels(d->view->selectionModel());
}

void QuillboxWindow::taskFinished(const QuillboxTaskResult &result)
{
    if (!result.problems.isEmpty()) {
        statusBar()->showMessage(result.problems.size() == 1
                                     ? result.problems.first().message
                                     : tr("%1 (and %n more problem(s))", nullptr, int(result.problems.size() - 1))
                                           .arg(result.problems.first().message),
                                 8000);
    }
    // A rotated image shows its new values.
    const TQFileRef shown = d->inspector->file();
    if (shown && result.changed.contains(shown->nativePath())) {
        d->inspector->setFile(nullptr);
        d->inspector->setFile(shown);
    }
}

void QuillboxWindow::selectionChanged()
{
    const QList<UWStandardFileRef> items = d->view->selectedItems();
    UWStandardFileRef shown = items.size() == 1 ? items.first() : nullptr;
    if (!shown && items.size() > 1)
        shown = d->view->currentItem();
    d->inspector->setFile(TQFile::fromItem(shown));
    updateActions();
}

void QuillboxWindow::updateActions()
{
    const QList<UWStandardFileRef> items = d->view->selectedItems();
    bool images = false;
    for (const UWStandardFileRef &item : items) {
        const TQFileRef file = TQFile::fromItem(item);
        images = images || (file && file->isImage());
    }
    d->action("open")->setEnabled(!items.isEmpty());
    d->action("rename")->setEnabled(items.size() == 1);
    d->action("trash")->setEnabled(!items.isEmpty());
    d->action("rotateLeft")->setEnabled(images);
    d->action("rotateRight")->setEnabled(images);
    d->contextPicker->setEnabled(!items.isEmpty());
    d->filePicker->setEnabled(!items.isEmpty());
    d->action("back")->setEnabled(!d->back.isEmpty());
    d->action("forward")->setEnabled(!d->forward.isEmpty());
    d->action("up")->setEnabled(d->folder && d->folder->parentItem() && d->folder->parentItem()->nativePath() != d->folder->nativePath());
}

void QuillboxWindow::saveState()
{
    QSettings settings;
    settings.setValue(GeometryKey, saveGeometry());
    settings.setValue(StateKey, QMainWindow::saveState());
    settings.setValue(ModeKey, int(d->view->mode()));
    settings.setValue(ZoomKey, d->view->zoom());
    const TQFolderModel *model = d->view->model();
    settings.setValue(SortTypeKey, model->sortType());
    settings.setValue(FolderPriorityKey, model->folderPriority());
    settings.setValue(AscendingKey, model->isAscending());
    settings.setValue(FilterKey, model->filterType());
    settings.setValue(ExcludeFoldersKey, model->excludeFolders());
    if (d->folder)
        settings.setValue(LastFolderKey, d->folder->nativePath());
}

void QuillboxWindow::closeEvent(QCloseEvent *event)
{
    saveState();
    d->activity->window()->close();
    QMainWindow::closeEvent(event);
}
