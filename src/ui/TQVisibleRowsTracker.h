// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQVisibleRowsTracker.h
    \ingroup ui
    \brief TQVisibleRowsTracker and the debug output of its ranges.
*/

#include "tqkit_export.h"

#include <QDebug>
#include <QList>
#include <QObject>
#include <QPersistentModelIndex>

#include <memory>

class QAbstractItemView;

/*!
    \class TQVisibleRowsTracker
    \brief Which rows of a view's model the viewport shows, kept current as the view changes.

    A model that loads in the background (thumbnails, image properties) asks for the rows on
    screen first; this helper tells it which those are. It watches its view's scroll bars,
    viewport size, model (rows inserted, removed, moved, layout changes, reset) and, for a
    tree, expansion, and recomputes once per turn of the event loop however many of those
    happened: visibleRowsChanged() is emitted at most once per turn, when the rows differ from
    the last answer or the model's rows changed since it (the same row numbers may name other
    items then).

    The answer is a list of ranges of sibling rows in display order. A QListView (list or icon
    mode, any flow) gives one range under its root index; a QTreeView gives one range per run
    of siblings on screen (an expanded folder's children interrupt its siblings). margin()
    rows before the first and after the last visible row, counted in display order, are
    included, so that work for rows about to be scrolled into view starts early.

    Cost: a QListView with Static or Snap movement, and a QTreeView, cost a few look-ups per
    row on screen plus a binary search (list view) whatever the model's size. A QListView with
    Free movement (the default of icon mode), where the user may drag icons anywhere, is checked
    row by row: set Static movement for big folders. Other views are checked row by row under
    their root index.

    GUI thread only, like the view. The tracker is a child of the view by default and stops by
    itself when the view is destroyed. After QAbstractItemView::setModel or setRootIndex, call
    refresh() (neither has a signal).

    \ingroup ui
*/
class TQKIT_EXPORT TQVisibleRowsTracker : public QObject
{
    Q_OBJECT

public:
    /*! A run of sibling rows, \a first to \a last inclusive, under \a parent. */
    struct Range
    {
        QPersistentModelIndex parent; //!< the rows' parent (invalid for top-level rows)
        int first = -1;               //!< the first row of the run
        int last = -1;                //!< the last row of the run

        friend bool operator==(const Range &, const Range &) = default;
    };

    /*! Tracks \a view; a child of \a parent, or of the view when \a parent is null. */
    explicit TQVisibleRowsTracker(QAbstractItemView *view, QObject *parent = nullptr);
    ~TQVisibleRowsTracker() override;

    //! The view tracked (held weakly: null once it is destroyed).
    QAbstractItemView *view() const;

    /*! Rows beyond each end of the visible ones that count as visible (0 by default). */
    int margin() const;
    //! Sets the margin (see margin()) and asks for an update.
    void setMargin(int rows);

    /*! The visible rows (with the margin) as of the last update, in display order. */
    QList<Range> ranges() const;

    /*!
        The first and last rows under the view's root index that ranges() covers, itself or
        through a descendant (a tree's top-level rows); -1 when it covers nothing.
    */
    //!@{
    int firstRow() const;
    int lastRow() const;
    //!@}

    /*! Whether \a index's row is in ranges() (any column). */
    bool isVisible(const QModelIndex &index) const;

    /*! Asks for an update in the next turn of the event loop (coalesced with others). */
    void refresh();

    /*! Recomputes now, emitting visibleRowsChanged() if the answer changed; for tests and hosts. */
    void update();

Q_SIGNALS:
    /*! The visible rows changed; read ranges(). */
    void visibleRowsChanged();

protected:
    //! Watches the view's scrolling, resizing and showing to ask for updates.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Private;
    std::unique_ptr<Private> const d;
};

//! Writes \a range to \a debug, for logging.
TQKIT_EXPORT QDebug operator<<(QDebug debug, const TQVisibleRowsTracker::Range &range);
