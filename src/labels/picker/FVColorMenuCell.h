// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QRectF>

class QPainter;
class QWidget;

/*!
    \class FVColorMenuCell
    \brief One swatch of the label picker: a small value that knows its label and how to
    draw itself into a frame of its matrix (FVColorMenuMatrix).

    The tag is the label index (0 no label, 1 Gray, ... 7 Orange); tag 0 is drawn as a cross.
    A cell is not a widget: the matrix owns its cells and hands each its frame when painting.
    GUI thread only, like the drawing of FVFinderLabel it uses.

    \ingroup labels
*/
class TQKIT_EXPORT FVColorMenuCell
{
public:
    //! A cell for label \a tag.
    explicit FVColorMenuCell(int tag = 0) : m_tag(tag) {}

    //! The label index the cell stands for.
    int tag() const { return m_tag; }
    //! Makes the cell stand for label \a tag.
    void setTag(int tag) { m_tag = tag; }

    /*!
        The rectangle the swatch fills inside \a frame: the largest square centred in the
        frame, inset by a fifth of its side on every side. A frame wider than high (or the
        other way round) still gets a square swatch in its middle.
    */
    static QRectF swatchRect(const QRectF &frame);

    /*!
        Draws the swatch into \a frame of \a painter: the label's gradient with a soft shadow
        below it, or for tag 0 a dark grey cross. When \a controlView is disabled the swatch
        is washed out under white at 70 % opacity. A null \a controlView counts as enabled.
        The painter's state is as it was on return.

        A tag outside 0..7 throws TQInvalidParameterException ("label >= 0 && label < 8").
    */
    void drawInteriorWithFrame(QPainter *painter, const QRectF &frame, const QWidget *controlView) const;

private:
    int m_tag;
};
