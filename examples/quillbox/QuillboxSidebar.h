// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <UWStandardFile.h>

#include <QWidget>

#include <memory>

class QListView;
class QSettings;
class TQBookmarksController;

/**
    The window's sidebar: the user's bookmarks as the library's bookmarks table, drawn by its
    file cell. Rows are dragged to reorder, folders dropped from the file views are bookmarked,
    titles are edited in place (F2 or a click on a selected row), separators come from the
    context menu. A bookmark on a volume that is not mounted stays listed, disabled, until the
    volume returns.

    The list is kept in the application's QSettings under SettingsKey in the bookmarks' saved
    form, written whenever it changes. GUI thread only; the sidebar owns its controller.
*/
class QuillboxSidebar : public QWidget
{
    Q_OBJECT

public:
    /** The settings key of the saved list: "Bookmarks". */
    static const QString SettingsKey;

    /** An empty sidebar; restore() fills it. */
    explicit QuillboxSidebar(QWidget *parent = nullptr);
    ~QuillboxSidebar() override;

    /**
        Reads the saved list. When there is none (a first start), bookmarks \a startFolder (its
        parent, when it holds no folders) and, below a separator, up to eight of the folders
        in it, and saves that.
    */
    void restore(const QByteArray &startFolder);

    /**
        Adds the GTK and KDE bookmarks of this user that name existing places and are not
        bookmarked yet, with their titles; returns how many were added. Runs only when asked.
    */
    int importDesktopBookmarks();

    /** The controller of the list (owned by the sidebar). */
    TQBookmarksController *controller() const;
    /** The table. */
    QListView *view() const;
    /** The bookmarked folders that can be reached now, in list order. */
    QList<UWStandardFileRef> bookmarkedFolders() const;

Q_SIGNALS:
    /** The user chose a bookmark: \a item is the folder or file it names. */
    void itemChosen(const UWStandardFileRef &item);

private:
    void showContextMenu(const QPoint &position);
    void save();

    struct Private;
    std::unique_ptr<Private> const d;
};
