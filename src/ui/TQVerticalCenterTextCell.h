// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QFont>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStyledItemDelegate>

#include <memory>

/*!
    \class TQVerticalCenterTextCell
    \brief A list or table cell that shows one line of text centred vertically in its row.

    The delegate works the way a table's reusable cell does: it has a state (the text, see
    setStringValue()), and drawing a row is setting that state from the row and drawing it.
    paint() takes the row's display text as the standard delegate formats it; subclasses take
    their state from the row in setUpForRow(). After paint() the cell holds the state of the
    row it drew last.

    The text is drawn on one line in titleRectForBounds() of the row, cut short at the right
    with an ellipsis when it does not fit. The row's background and selection are drawn by the
    style, as for any item, the selection across the whole cell as in a table; the cell draws
    no focus frame and no border. An editor opened on a row covers the title rectangle exactly.

    The font is the one set with setFont(); without one, the row's font (the view's, or the
    model's Qt::FontRole).

    Text is laid out left to right.

    \par Threads
    GUI thread only, like every delegate. paint() changes the cell's state.

    \ingroup ui
*/
class TQKIT_EXPORT TQVerticalCenterTextCell : public QStyledItemDelegate
{
    Q_OBJECT

public:
    //! What lies under a point of a cell (hitTest()).
    enum class Hit {
        None,             //!< nothing the cell reacts to
        ContentArea,      //!< the cell's content other than its text (an icon)
        EditableTextArea, //!< the text, where editing starts
    };
    Q_ENUM(Hit)

    //! A cell with no text and no font of its own.
    explicit TQVerticalCenterTextCell(QObject *parent = nullptr);
    ~TQVerticalCenterTextCell() override;

    //! The text the cell shows; empty by default.
    QString stringValue() const;
    //! Sets what stringValue() answers.
    void setStringValue(const QString &text);

    //! The font set with setFont(); else the application's font, which views use unless told
    //! otherwise.
    QFont font() const;
    //! True when a font was set; paint() then uses it instead of the row's.
    bool hasFont() const;
    //! Draws the text in \a font from now on, whatever the row's font.
    void setFont(const QFont &font);
    //! Goes back to the row's font.
    void resetFont();

    /*!
        Where the text goes in a cell of \a bounds when drawn in \a font: as wide as \a bounds
        and one line of \a font high (QFontMetricsF::height()), moved down from the top of
        \a bounds by half the height left over, rounded down to a whole unit so that the text
        sits on pixel rows. A row lower than the text gives a negative offset: the text then
        overhangs the row evenly at both edges.
    */
    virtual QRectF titleRectForBounds(const QRectF &bounds, const QFont &font) const;
    //! titleRectForBounds() in font().
    QRectF titleRectForBounds(const QRectF &bounds) const;

    //! The size the cell's content needs in \a font: the text's width, rounded up, by one
    //! line's height.
    virtual QSizeF cellSize(const QFont &font) const;
    //! cellSize() in font().
    QSizeF cellSize() const;

    /*!
        What lies at \a position of a cell drawn in \a cellFrame: EditableTextArea inside the
        title rectangle (in font()), else None.
    */
    virtual Hit hitTest(const QPointF &position, const QRectF &cellFrame) const;

    //! Draws the row's text centred vertically in titleRectForBounds() of the row.
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    //! The style's size for an item of the cell's text alone (no decoration, no check box);
    //! the model's Qt::SizeHintRole when it gives one.
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    //! The standard editor, in the cell's font when one is set.
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    //! Places \a editor exactly over titleRectForBounds() of the row (rounded to whole pixels).
    void updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const override;

protected:
    /*!
        Sets the cell's state from row \a index, as paint() does before drawing; \a option is
        the row's, already filled in by initStyleOption(). The base takes the row's display text.
    */
    virtual void setUpForRow(const QStyleOptionViewItem &option, const QModelIndex &index);
    //! Draws the cell's content (not the background) into \a option's rectangle; the base
    //! draws the text.
    virtual void drawInterior(QPainter *painter, const QStyleOptionViewItem &option) const;
    //! The font the cell draws row \a option in.
    QFont fontForRow(const QStyleOptionViewItem &option) const;
    //! The row's option filled in from \a index, with the cell's state set from the row.
    QStyleOptionViewItem preparedOption(const QStyleOptionViewItem &option, const QModelIndex &index) const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
