// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFlippedView.h"

TQFlippedView::TQFlippedView(QWidget *parent) : QWidget(parent) {}

TQFlippedView::~TQFlippedView() = default;

bool TQFlippedView::isFlipped() const
{
    return true;
}
