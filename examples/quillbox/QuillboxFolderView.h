// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <UWStandardFile.h>

#include <QStackedWidget>

#include <memory>

class QAbstractItemView;
class QItemSelectionModel;
class QListView;
class QTreeView;
class TQFolderModel;

/**
    The folder shown in the window, two ways over one TQFolderModel and one selection: a
    detail list (every column of the model, the name drawn by the library's icon-and-name
    cell) and a grid of thumbnails whose size zooms. An empty folder shows the library's
    message box with the folder's icon and name. Rows are dragged out as file URLs (a folder
    dropped on the sidebar is bookmarked).

    GUI thread only. The view owns its model and both item views.
*/
class QuillboxFolderView : public QStackedWidget
{
    Q_OBJECT

public:
    /** The two ways of showing the folder. */
    enum Mode {
        ListMode = 0, ///< the detail list
        GridMode = 1, ///< the thumbnail grid
    };
    Q_ENUM(Mode)

    static constexpr int MinimumZoom = 48;  ///< the smallest thumbnail side of the grid
    static constexpr int MaximumZoom = 256; ///< the largest; thumbnails are made this large
    static constexpr int ZoomStep = 32;     ///< one step of zoomIn() and zoomOut()
    static constexpr int GridSpacing = 8;   ///< the space between two cells of the grid

    /** The size of a grid cell at the thumbnail side \a side, its name in \a font. */
    static QSize gridCellSize(int side, const QFont &font);
    /**
        The lines a grid cell shows \a name on, at most \a width pixels each in \a font: wrapped
        at a space (else anywhere), and beyond two lines elided in the middle of the second.
    */
    static QStringList gridNameLines(const QString &name, const QFont &font, int width);

    /** A view in list mode at a zoom of 128, showing nothing. */
    explicit QuillboxFolderView(QWidget *parent = nullptr);
    ~QuillboxFolderView() override;

    /** The model of both views (owned). */
    TQFolderModel *model() const;
    /** The selection both views share. */
    QItemSelectionModel *selectionModel() const;
    /** The detail list. */
    QTreeView *listView() const;
    /** The thumbnail grid. */
    QListView *gridView() const;
    /** The view of the current mode. */
    QAbstractItemView *currentView() const;

    Mode mode() const;
    /** Shows the folder as \a mode; the selection and the current row stay. */
    void setMode(Mode mode);

    /** The thumbnail side of the grid in pixels. */
    int zoom() const;
    /** Sets the thumbnail side, kept within MinimumZoom to MaximumZoom. */
    void setZoom(int side);
    void zoomIn();  ///< one ZoomStep larger
    void zoomOut(); ///< one ZoomStep smaller

    /** The selected items in row order. */
    QList<UWStandardFileRef> selectedItems() const;
    /** Selects the row of \a item's file alone and makes it current; false when it is not shown. */
    bool selectItem(const UWStandardFileRef &item);
    /** The item of the current row, selected or not; null when none. */
    UWStandardFileRef currentItem() const;

    /** The text the empty view shows in its message box. */
    QString emptyMessage() const;

Q_SIGNALS:
    /** A row was opened (double click, or Return). */
    void itemActivated(const UWStandardFileRef &item);
    /** The context menu is asked for at \a globalPosition, over the selection. */
    void contextMenuRequested(const QPoint &globalPosition);
    /** The mode changed. */
    void modeChanged(QuillboxFolderView::Mode mode);
    /** The zoom changed. */
    void zoomChanged(int side);

private:
    void updateVisibleRows();

    struct Private;
    std::unique_ptr<Private> const d;
};
