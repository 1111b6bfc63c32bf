// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QPointF>

class QWidget;

/*!
    \namespace TQWindowUtilities
    \brief Free functions over a top-level window (a QWidget that is a window).

    GUI thread only. A widget that is not itself a window stands for the window it lies in.

    \ingroup ui
*/
namespace TQWindowUtilities {

/*!
    The window's position as a top-left point: x is the frame's x unchanged (in global
    coordinates), y is the distance from the top of the available area of the window's screen
    (QScreen::availableGeometry(), which leaves out panels and docks) down to the frame's top
    edge. Only y is measured from the available area; x is not. A window on no screen (there
    are none) measures y from 0. The frame is QWidget::frameGeometry(), so the title bar counts
    once the window system has told its size. A null window gives (0, 0).
*/
TQKIT_EXPORT QPointF currentOrigin(const QWidget *window);

/*!
    The height the window system adds to the window's content: the frame's height minus the
    content's height, that is the top frame margin (the title bar) plus the bottom one, as the
    window system reports them for this window (QWindow::frameMargins()). A content height
    plus this value gives the frame height.

    - A frameless window (Qt::FramelessWindowHint) gives 0, as does a null window.
    - The margins are known only once the window has a native window and, on most window
      systems, once it has been shown and decorated; before that this gives 0. Ask again
      after showing when the exact figure matters.
    - The offscreen platform draws no title bar but reports a 2-pixel frame on each side of
      a decorated top-level window, so there this gives 4 once the window is created.
*/
TQKIT_EXPORT float titleBarHeight(const QWidget *window);

} // namespace TQWindowUtilities
