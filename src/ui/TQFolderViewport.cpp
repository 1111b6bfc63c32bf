// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFolderViewport.h"

#include "TQFolderModel.h"
#include "TQVisibleRowsTracker.h"

#include <QAbstractItemView>
#include <QPointer>

TQFolderViewport::TQFolderViewport(QAbstractItemView *view, TQFolderModel *model)
    : QObject(view), m_tracker(new TQVisibleRowsTracker(view, this)), m_model(model)
{
    // Work for rows about to come into view starts a little early; a scroll of one wheel
    // notch then finds their thumbnails under way.
    m_tracker->setMargin(8);
    connect(m_tracker, &TQVisibleRowsTracker::visibleRowsChanged, this, &TQFolderViewport::report);
    // A model that filled up after the view was shown has new rows on screen.
    connect(model, &QAbstractItemModel::rowsInserted, m_tracker, &TQVisibleRowsTracker::refresh);
    connect(model, &QAbstractItemModel::modelReset, m_tracker, &TQVisibleRowsTracker::refresh);
    m_tracker->refresh();
}

TQFolderViewport::~TQFolderViewport() = default;

TQVisibleRowsTracker *TQFolderViewport::tracker() const
{
    return m_tracker;
}

void TQFolderViewport::refresh()
{
    m_tracker->update();
    report();
}

void TQFolderViewport::report()
{
    if (m_tracker->view() && m_tracker->view()->model() == m_model)
        m_model->setVisibleRows(m_tracker->firstRow(), m_tracker->lastRow());
}
