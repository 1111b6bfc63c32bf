// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <QString>

class QPainter;

/*!
    \class FVFinderLabel
    \brief Draws the swatch of a Finder label (0 no label, 1 Gray, 2 Green, 3 Purple, 4 Blue,
    5 Yellow, 6 Red, 7 Orange) and gives its name.

    A swatch is a vertical gradient from the label's upper colour at the top to its lower
    colour at the bottom (see UWFileManagerCategories), optionally with rounded ends. The
    gradient of each label is drawn once into a small image, its layer, which every swatch
    of that label then stretches; a layer is never drawn again, as the colours are constant.

    Threads: the drawing members are meant for the GUI thread. The layer cache is
    process-wide and shared by every painter; it is locked only while it is looked up or
    filled, so painting QImages on other threads is safe too. nameForLabel() may be called
    from any thread.

    A label outside 0..7 makes the drawing members throw TQInvalidParameterException
    ("label >= 0 && label < 8"), and a null painter throws it with "NULL != context", before
    anything is drawn. The class has only static members.

    \ingroup labels
*/
class TQKIT_EXPORT FVFinderLabel
{
public:
    FVFinderLabel() = delete;

    //! The name of label \a label, as UWFinderLabels::nameForLabel() gives it: the user's
    //! name, else the translated default; a null string outside 0..7.
    static QString nameForLabel(int label);

    /*!
        Draws label \a label's swatch into \a rect of \a context.

        \a flipped says that the painter's y axis grows downwards, as it does in Qt's widgets
        and images. A painter turned y-up (say \c translate(0, h) then \c scale(1, -1)) is
        unflipped, and the swatch is mirrored about \a rect's horizontal centre line for it,
        so that it shows the upper colour on top in both. A wrong flag shows it upside down.

        With \a roundEnds every corner is rounded by roundEndsRadius() of \a rect's size,
        antialiased. An empty or non-finite \a rect draws nothing. The painter's state is
        as it was on return.
    */
    static void drawFinderLabel(int label, const QRectF &rect, QPainter *context, bool flipped, bool roundEnds);

    /*!
        As above, with flipped read from \a painter's combined transform: a y scale of zero
        or more is a y-down painter.
    */
    static void drawFinderLabel(int label, const QRectF &rect, QPainter *painter, bool roundEnds);

    /*!
        The corner radius of a swatch with round ends of \a size: half of the smaller side,
        at most 6.5, so that a short swatch ends in half-circles and a tall one does not turn
        into a lozenge. 6.5 when a side is NaN, 0 when a side is negative.
    */
    static qreal roundEndsRadius(const QSizeF &size);

    //! The logical size of a layer: 1 wide, 32 high.
    static QSizeF _layerSize();

    /*!
        The layer of label \a label: a 1×32 image of its gradient
        (QImage::Format_ARGB32_Premultiplied), drawn on first use and kept for the life of
        the process. Every call returns the same shared image (the same QImage::cacheKey()).
        \a context is needed only to draw an uncached layer; a null one then throws
        TQInvalidParameterException ("NULL != context").
    */
    static QImage _layerForLabel(int label, QPainter *context);

    //! Fills \a rect of \a context with label \a label's gradient, upper colour at the
    //! rectangle's top edge (its least y), clipped to \a rect.
    static void _drawLabel(int label, const QRectF &rect, QPainter *context);
};
