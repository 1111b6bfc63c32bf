// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QObject>

class QAbstractItemView;
class TQFolderModel;
class TQVisibleRowsTracker;

/*!
    \class TQFolderViewport
    \ingroup ui
    \brief Tells a TQFolderModel which of its rows a view shows, so that their thumbnails and
    image values are loaded first and requests for rows scrolled away are dropped.

    Watches the view with a TQVisibleRowsTracker (a margin of a screenful's worth of rows by
    default) and passes its first and last rows to TQFolderModel::setVisibleRows() whenever
    they change. The view's model must be \a model itself (not a proxy of it).

    GUI thread only. The helper is a child of the view and goes with it; it does not own the
    model. After QAbstractItemView::setModel() call refresh().
*/
class TQKIT_EXPORT TQFolderViewport : public QObject
{
    Q_OBJECT

public:
    /*! Reports \a view's visible rows to \a model (not owned); a child of \a view. */
    TQFolderViewport(QAbstractItemView *view, TQFolderModel *model);
    ~TQFolderViewport() override;

    /*! The tracker that watches the view, to set its margin (rows beyond each end). */
    TQVisibleRowsTracker *tracker() const;

    /*! Computes the visible rows now and tells the model. */
    void refresh();

private:
    void report();

    TQVisibleRowsTracker *m_tracker;
    TQFolderModel *m_model;
};
