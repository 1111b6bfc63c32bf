// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QWidget>

/*!
    \class TQFlippedView
    \brief A plain container whose coordinates start at its top-left corner and grow downward.

    The view exists so that an interface description written for a platform whose views count
    upward from the bottom keeps its container class. A QWidget already counts from the top
    left, so the view changes nothing of QWidget's drawing or layout: it only says so, through
    isFlipped() and the read-only property "flipped", for code that asks a container which way
    its coordinates run. GUI thread only, like every widget; owned by its parent.

    \ingroup ui
*/
class TQKIT_EXPORT TQFlippedView : public QWidget
{
    Q_OBJECT
    //! The property of isFlipped().
    Q_PROPERTY(bool flipped READ isFlipped CONSTANT)

public:
    //! An empty container, owned by \a parent.
    explicit TQFlippedView(QWidget *parent = nullptr);
    ~TQFlippedView() override;

    //! Always true: y grows downward from the top edge.
    bool isFlipped() const;
};
