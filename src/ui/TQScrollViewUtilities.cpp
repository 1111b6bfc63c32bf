// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQScrollViewUtilities.h"

#include <QAbstractScrollArea>
#include <QScrollBar>

#include <algorithm>

namespace {

void offsetBar(QScrollBar *bar, int offset)
{
    // Computed in 64 bits: an offset near INT_MIN or INT_MAX must clamp, not wrap.
    const qint64 wanted = qint64(bar->value()) - offset;
    bar->setValue(int(std::clamp<qint64>(wanted, bar->minimum(), bar->maximum())));
}

} // namespace

namespace TQScrollViewUtilities {

void offsetXY(QAbstractScrollArea *self, int x, int y)
{
    if (!self)
        return;
    offsetBar(self->horizontalScrollBar(), x);
    offsetBar(self->verticalScrollBar(), y);
}

} // namespace TQScrollViewUtilities
