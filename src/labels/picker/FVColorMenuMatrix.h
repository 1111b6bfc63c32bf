// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file FVColorMenuMatrix.h
    \ingroup labels
    \brief The label picker's grid of swatches and the notification of the swatch under the mouse.
*/

#include "FVColorMenuCell.h"
#include "tqkit_export.h"

#include <QList>
#include <QString>
#include <QWidget>

#include <optional>

class FVColorMenuMatrix;

//! The name of the notification a picker's matrix posts when the swatch under the mouse (or
//! the keyboard box) changes: "FVColorNameUpdateNotification". It is delivered through
//! FVColorNameUpdateNotifier::instance().
TQKIT_EXPORT extern const char *const FVColorNameUpdateNotification;

/*!
    \class FVColorNameUpdateNotifier
    \brief The one process-wide sender of FVColorNameUpdateNotification.

    Every matrix posts through it with itself as the object; every picker listens and reacts
    only to its own matrix, so that several pickers can be alive at once. GUI thread only.

    \ingroup labels
*/
class TQKIT_EXPORT FVColorNameUpdateNotifier : public QObject
{
    Q_OBJECT
public:
    //! The notifier, made on first use; it lives as long as the process.
    static FVColorNameUpdateNotifier *instance();

signals:
    //! The boxed swatch of \a matrix changed (FVColorNameUpdateNotification).
    void colorNameUpdate(FVColorMenuMatrix *matrix);

private:
    FVColorNameUpdateNotifier() = default;
};

/*!
    \class FVColorMenuMatrix
    \brief The grid of label swatches inside a label picker (FVColorMenuView).

    The grid is described by three properties, set from the picker's Designer file:
    labelOrder (the label indices of the cells, row by row, separated by spaces, e.g.
    "0 6 7 5 2 4 3 1"), columns, and cellSize (in logical pixels). The matrix owns its cells.

    The swatch under the mouse is "boxed": a translucent grey rounded square with a light grey
    rim. The labels that the host's selection carries (fetched with getSelectedRows() when the
    picker is enabled) are outlined in light grey. Clicking a swatch, or keyboard picking
    through the picker, selects it and emits cellActivated().

    Enabling or disabling the widget (QWidget::setEnabled) clears the box and the selected
    cell; disabling also stops the hover tracking and drops the selected labels, enabling
    starts the tracking again. A disabled matrix draws washed-out swatches and reacts to no
    mouse event.

    GUI thread only. Never takes keyboard focus.

    \ingroup labels
*/
class TQKIT_EXPORT FVColorMenuMatrix : public QWidget
{
    Q_OBJECT
    //! The label indices of the cells, row by row, separated by spaces.
    Q_PROPERTY(QString labelOrder READ labelOrder WRITE setLabelOrder)
    //! The number of columns of the grid.
    Q_PROPERTY(int columns READ numberOfColumns WRITE setColumns)
    //! The size of one cell in logical pixels.
    Q_PROPERTY(QSize cellSize READ cellSize WRITE setCellSize)

public:
    //! An empty grid; the Designer file sets its properties.
    explicit FVColorMenuMatrix(QWidget *parent = nullptr);
    ~FVColorMenuMatrix() override;

    //! The label indices of the cells, row by row, separated by spaces. Words that are not a
    //! label index 0..7 are left out (and logged at debug level in "tqkit.ui").
    QString labelOrder() const;
    //! Makes one cell per label index of \a order (see labelOrder()).
    void setLabelOrder(const QString &order);
    //! Lays the cells out in \a columns columns.
    void setColumns(int columns);
    //! The size of one cell in logical pixels.
    QSize cellSize() const { return m_cellSize; }
    //! Sets the size of one cell in logical pixels.
    void setCellSize(const QSize &size);

    //! The number of rows the cells fill.
    int numberOfRows() const;
    //! The number of columns of the grid.
    int numberOfColumns() const { return m_columns; }
    //! The cell at \a row, \a column, or null outside the grid or past the last cell.
    const FVColorMenuCell *cellAtRow(int row, int column) const;
    //! Finds the cell whose tag is \a tag; false if none.
    bool getRow(int *row, int *column, int tag) const;
    //! The cell under \a point (matrix coordinates); false if none.
    bool getRow(int *row, int *column, const QPointF &point) const;
    //! The frame of the cell at \a row, \a column in matrix coordinates.
    QRectF cellFrameAtRow(int row, int column) const;
    //! The box of a cell: the largest square centred in its frame, inset by one logical
    //! pixel, with its edges on device pixels.
    QRectF boxRectForCellAtRow(int row, int column) const;

    //! The row of the boxed cell, -1 for none.
    int boxedRow() const { return m_boxedRow; }
    //! The column of the boxed cell, -1 for none.
    int boxedColumn() const { return m_boxedColumn; }
    //! Boxes the cell at \a row, \a column (-1, -1 for none), repaints and posts
    //! FVColorNameUpdateNotification. Ignored while disabled.
    void setBoxedCell(int row, int column);
    //! Moves the box \a step cells along the cells' order (by rows); from no box, Right
    //! boxes the first cell and Left the last. Returns false, moving nothing, at either end.
    bool moveBox(int step);
    //! The boxed swatch's label name in typographic double quotes (“Red”), or an empty
    //! string when nothing or the no-label swatch is boxed.
    QString boxedLabelName() const;

    //! The selected cell (the one picked last), or null.
    const FVColorMenuCell *selectedCell() const;
    //! The row of the selected cell, -1 for none.
    int selectedRow() const { return m_selectedRow; }
    //! The column of the selected cell, -1 for none.
    int selectedColumn() const { return m_selectedColumn; }
    //! Selects the cell whose tag is \a tag; false (and nothing selected) if none has it.
    bool selectCellWithTag(int tag);
    //! Leaves no cell selected.
    void deselectAllCells();
    //! Picks the cell at \a row, \a column as a click on it would: selects it and emits
    //! cellActivated(). Ignored outside the grid or while disabled.
    void performClickOnCell(int row, int column);
    //! True when the boxed cell is the selected one (both none counts).
    bool _isBoxedCellSelected() const;
    //! True when the cell at row 0, column 0 is the selected one.
    bool _isFirstCellSelected() const;

    /*!
        Asks the host which labels its selection carries: the first object, starting at the
        main window's first responder (TQResponderUtilities::firstResponder()) and going up
        its parents to the window and then to the window's delegate, that has an invokable
        \c selectedFinderLabels() returning QList<int>. Its answer replaces the outlined
        labels; with no such object (or no main window) they stay as they were.
    */
    void getSelectedRows();
    //! Drops the outlined labels.
    void removeSelectedRows();
    //! The outlined labels, or nothing when none were fetched.
    std::optional<QList<int>> selectedLabels() const { return m_selectedLabels; }

    //! Starts hover tracking over every cell; removeTrackingAreas() stops it.
    void rebuildTrackingAreas();
    //! Stops hover tracking.
    void removeTrackingAreas();
    //! True while hover tracking is on.
    bool isTracking() const { return m_tracking; }

    //! The grid's size: columns and rows of cellSize().
    QSize sizeHint() const override;
    //! The same as sizeHint(): the grid does not shrink.
    QSize minimumSizeHint() const override;

signals:
    //! A cell was picked with the mouse (or the keyboard, through the picker).
    void cellActivated(int row, int column);

protected:
    //! \name Reimplemented from QWidget
    //! Painting, hovering and clicking as the class description tells.
    //!@{

    //! Draws the swatches, the outlines of the selected labels and the box.
    void paintEvent(QPaintEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    //!@}

private:
    void postNameUpdate();

    QList<FVColorMenuCell> m_cells;
    int m_columns = 8;
    QSize m_cellSize = QSize(20, 20);
    int m_boxedRow = -1;
    int m_boxedColumn = -1;
    int m_selectedRow = -1;
    int m_selectedColumn = -1;
    bool m_tracking = false;
    std::optional<QList<int>> m_selectedLabels;
};
