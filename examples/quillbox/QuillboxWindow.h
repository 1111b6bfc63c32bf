// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <TQFile.h>

#include <QMainWindow>
#include <QMenu>

#include <memory>

class QAction;
class QMenu;
class QuillboxFolderView;
class QuillboxInspector;
class QuillboxSidebar;
class QuillboxTasks;
struct QuillboxTaskResult;
class TQActivityWindowController;

/**
    Quillbox's main window: the bookmarks sidebar, the folder as a list or a thumbnail grid,
    the inspector, and the menus of a file browser.

    The menus the library builds ("Open With", "Drop Locations", the label picker) send their
    actions without a target; they reach this window through the library's responder chain
    (the focused view, its parents, the window), which answers them with the Q_INVOKABLE
    handlers below. File operations run as tasks (QuillboxTasks) in the activity window.

    The window keeps its frame, its docks, the folder shown, the view, zoom, sort order and
    filter, the user's Open With applications and favourite drop folders in the application's
    QSettings. Actions are children of the window, named by objectName() ("open", "rename",
    "trash", "rotateLeft", ...), so tests and hosts can find them.

    GUI thread only. The window owns everything it shows, the activity window and the tasks.
*/
class QuillboxWindow : public QMainWindow
{
    Q_OBJECT

public:
    /** A window showing nothing yet; restore() opens a folder. */
    explicit QuillboxWindow(QWidget *parent = nullptr);
    ~QuillboxWindow() override;

    /**
        Restores the settings and opens \a folder (the file system's bytes), or, when it is
        empty, the folder shown last, or else the home folder.
    */
    void restore(const QByteArray &folder = {});

    /** Shows \a folder; with \a remember the folder left goes on the Back list. False for no folder. */
    bool openFolder(const UWStandardFileRef &folder, bool remember = true);
    /** The folder shown. */
    UWStandardFileRef folder() const;

    QuillboxFolderView *folderView() const; ///< the list and grid
    QuillboxSidebar *sidebar() const;       ///< the bookmarks
    QuillboxInspector *inspector() const;   ///< the inspector
    QuillboxTasks *tasks() const;           ///< the file operations
    TQActivityWindowController *activity() const; ///< the activity window

    /** The context menu of the selection, as a right click opens it; the caller owns it. */
    std::unique_ptr<QMenu> makeContextMenu();
    /** The folders the drop menu offers: the favourites, then the bookmarked folders. */
    QList<TQFileRef> dropFolders() const;

    /** The desktop entries the user put on the Open With menu (paths). */
    QStringList openWithApplications() const;
    void setOpenWithApplications(const QStringList &paths);
    /** The user's favourite drop folders (paths). */
    QStringList favouriteFolders() const;
    void setFavouriteFolders(const QStringList &paths);

    /** \name Responder-chain handlers of the library's menus */
    //@{
    Q_INVOKABLE void openWithMenuAction(QAction *sender);
    Q_INVOKABLE void addToOpenWithMenuAction(QAction *sender);
    Q_INVOKABLE void moveToMenuAction(QAction *sender);
    Q_INVOKABLE void copyToMenuAction(QAction *sender);
    Q_INVOKABLE void aliasToMenuAction(QAction *sender);
    Q_INVOKABLE void addToMoveToMenuAction(QAction *sender);
    Q_INVOKABLE void labelMenuAction(QAction *sender);
    /** The labels of the selection, for the label picker's outlines. */
    Q_INVOKABLE QList<int> selectedFinderLabels() const;
    //@}

    void goBack();    ///< the folder before
    void goForward(); ///< the folder after, once gone back
    void goUp();      ///< the enclosing folder, with the folder left selected
    void openSelection();           ///< folders are entered, files opened with their default application
    void rotateSelection(bool left); ///< a lossless quarter turn of each selected image
    void renameSelection();          ///< asks for a new name of the selected item
    void trashSelection();           ///< moves the selection to the desktop's trash
    void newFolder();                ///< makes "untitled folder" in the folder shown and selects it
    void importDesktopBookmarks();   ///< the GTK and KDE bookmarks, once, on request
    void showAbout();                ///< the About box

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    enum class Transfer { Move, Copy, Alias };
    void transfer(QAction *sender, Transfer kind);
    void taskFinished(const QuillboxTaskResult &result);
    void selectionChanged();
    void activateItem(const UWStandardFileRef &item);
    void rebuildFileMenu();
    void rebuildBookmarksMenu();
    void updateActions();
    void travel(QList<QByteArray> &from, QList<QByteArray> &to);
    void saveState();
    QList<QByteArray> selectedPaths() const;

    struct Private;
    std::unique_ptr<Private> const d;
};
