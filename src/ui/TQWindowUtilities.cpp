// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQWindowUtilities.h"

#include <QMargins>
#include <QRect>
#include <QScreen>
#include <QWidget>
#include <QWindow>

namespace TQWindowUtilities {

QPointF currentOrigin(const QWidget *window)
{
    if (!window)
        return {};
    window = window->window();
    const QRect frame = window->frameGeometry();
    const QScreen *screen = window->screen();
    const QRect visible = screen ? screen->availableGeometry() : QRect();
    return QPointF(frame.x(), frame.y() - visible.y());
}

float titleBarHeight(const QWidget *window)
{
    if (!window)
        return 0.0f;
    window = window->window();
    // A frameless window may still be given margins by a platform that ignores the hint for
    // its own bookkeeping; the hint is what the host asked for, so it decides.
    if (window->windowFlags().testFlag(Qt::FramelessWindowHint))
        return 0.0f;
    // Creating the native window here would be a side effect a query must not have: an
    // uncreated window simply has no margins yet.
    const QWindow *handle = window->windowHandle();
    if (!handle)
        return 0.0f;
    const QMargins margins = handle->frameMargins();
    return static_cast<float>(margins.top() + margins.bottom());
}

} // namespace TQWindowUtilities
