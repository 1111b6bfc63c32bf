// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

class QAbstractScrollArea;

/*!
    \namespace TQScrollViewUtilities
    \brief Scrolling a scroll area by a distance. GUI thread only.

    \ingroup ui
*/
namespace TQScrollViewUtilities {

/*!
    Moves what \a self shows by (\a x, \a y): positive offsets bring the content's smaller
    coordinates into view (the scroll bars' values go down by \a x and \a y), each kept within
    what its scroll bar allows (its minimum to maximum). The scroll bars are the area's
    position, so the viewport and the bars follow at once.

    The offsets are in the scroll bars' units: pixels for a QScrollArea, but lines for the
    vertical bar of a QPlainTextEdit, and rows or columns for a QAbstractItemView that scrolls
    per item (QAbstractItemView::ScrollPerItem). A null area is ignored.
*/
TQKIT_EXPORT void offsetXY(QAbstractScrollArea *self, int x, int y);

} // namespace TQScrollViewUtilities
