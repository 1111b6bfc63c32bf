// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// A bookmarks window: the controller's model in a list view, drawn by the file cell, kept in
// the settings. Drag files in from a file manager, drag rows to reorder, double-click to rename.
//
//   bookmarks-window [--smoke]     --smoke: show the window and quit at once (for the tests)

#include <TQBookmarksController.h>
#include <TQBookmarksModel.h>
#include <TQIconAndFilenameCell.h>
#include <TQUserDefaultsUtilities.h>

#include <QApplication>
#include <QDir>
#include <QListView>
#include <QSettings>
#include <QTimer>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QSettings settings(QStringLiteral("Quillbox"), QStringLiteral("BookmarksExample"));
    const QString key = QStringLiteral("Bookmarks");

    TQBookmarksController bookmarks;
    bookmarks.setBookmarksFromSavableBookmarks(TQUserDefaultsUtilities::keyedUnarchiveObjectForKey(settings, key).toList());
    if (bookmarks.bookmarksCount() == 0)
        bookmarks.addFiles(UWStandardFile::arrayOfFilesForPaths({QDir::homePath(), QDir::tempPath()}, false));
    QObject::connect(&bookmarks, &TQBookmarksController::bookmarksChanged, [&] {
        TQUserDefaultsUtilities::setKeyedArchivableObject(settings, bookmarks.savableBookmarks(), key);
    });

    TQIconAndFilenameCell cell;
    cell.setObjectRole(TQBookmarksModel::BookmarkDictRole);
    cell.setFileKeyPath(TQBookmarkFileKey);
    cell.setTextKeyPath(TQBookmarkTitleKey);
    cell.setImageKeyPath(TQBookmarkFileKey + QStringLiteral(".fileIcon"));

    QListView window;
    window.setModel(bookmarks.model());
    window.setItemDelegate(&cell);
    window.setDragDropMode(QAbstractItemView::DragDrop);
    window.setWindowTitle(QStringLiteral("Bookmarks"));
    window.show();

    if (app.arguments().contains(QStringLiteral("--smoke"))) {
        QTimer::singleShot(0, &app, [&] {
            const bool drawn = !window.grab().isNull(); // paints every row through the cell
            app.exit(drawn && bookmarks.bookmarksCount() > 0 ? 0 : 1);
        });
    }
    return app.exec();
}
