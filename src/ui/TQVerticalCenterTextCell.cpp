// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQVerticalCenterTextCell.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>

#include <cmath>
#include <optional>

struct TQVerticalCenterTextCell::Private
{
    QString text;
    std::optional<QFont> font;
};

namespace {

QStyle *styleFor(const QStyleOptionViewItem &option)
{
    return option.widget ? option.widget->style() : QApplication::style();
}

QPalette::ColorGroup colorGroupFor(const QStyleOptionViewItem &option)
{
    if (!(option.state & QStyle::State_Enabled))
        return QPalette::Disabled;
    return (option.state & QStyle::State_Active) ? QPalette::Normal : QPalette::Inactive;
}

} // namespace

TQVerticalCenterTextCell::TQVerticalCenterTextCell(QObject *parent)
    : QStyledItemDelegate(parent)
    , d(std::make_unique<Private>())
{
}

TQVerticalCenterTextCell::~TQVerticalCenterTextCell() = default;

QString TQVerticalCenterTextCell::stringValue() const
{
    return d->text;
}

void TQVerticalCenterTextCell::setStringValue(const QString &text)
{
    d->text = text;
}

QFont TQVerticalCenterTextCell::font() const
{
    return d->font.value_or(QFont());
}

bool TQVerticalCenterTextCell::hasFont() const
{
    return d->font.has_value();
}

void TQVerticalCenterTextCell::setFont(const QFont &font)
{
    d->font = font;
}

void TQVerticalCenterTextCell::resetFont()
{
    d->font.reset();
}

QRectF TQVerticalCenterTextCell::titleRectForBounds(const QRectF &bounds, const QFont &font) const
{
    const qreal textHeight = QFontMetricsF(font).height();
    const qreal offset = std::floor((bounds.height() - textHeight) * 0.5);
    return QRectF(bounds.x(), bounds.y() + offset, bounds.width(), textHeight);
}

QRectF TQVerticalCenterTextCell::titleRectForBounds(const QRectF &bounds) const
{
    return titleRectForBounds(bounds, font());
}

QSizeF TQVerticalCenterTextCell::cellSize(const QFont &font) const
{
    const QFontMetricsF metrics(font);
    return QSizeF(std::ceil(metrics.horizontalAdvance(d->text)), metrics.height());
}

QSizeF TQVerticalCenterTextCell::cellSize() const
{
    return cellSize(font());
}

TQVerticalCenterTextCell::Hit TQVerticalCenterTextCell::hitTest(const QPointF &position, const QRectF &cellFrame) const
{
    return titleRectForBounds(cellFrame).contains(position) ? Hit::EditableTextArea : Hit::None;
}

void TQVerticalCenterTextCell::setUpForRow(const QStyleOptionViewItem &option, const QModelIndex &)
{
    d->text = option.text;
}

QFont TQVerticalCenterTextCell::fontForRow(const QStyleOptionViewItem &option) const
{
    return d->font.value_or(option.font);
}

QStyleOptionViewItem TQVerticalCenterTextCell::preparedOption(const QStyleOptionViewItem &option,
                                                              const QModelIndex &index) const
{
    QStyleOptionViewItem prepared(option);
    initStyleOption(&prepared, index);
    // Qt hands the delegate a const this, but this cell is a reusable one whose state is the
    // row's: taking it is what drawing or measuring a row means.
    const_cast<TQVerticalCenterTextCell *>(this)->setUpForRow(prepared, index);
    return prepared;
}

void TQVerticalCenterTextCell::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                     const QModelIndex &index) const
{
    if (!painter)
        return;
    const QStyleOptionViewItem row = preparedOption(option, index);

    // The style draws only the panel: the cell draws its own content, and no focus frame. A
    // style that highlights only an item's text would highlight where it would have put the
    // text, not where the cell puts it, so the selection covers the whole cell, as in a table.
    QStyleOptionViewItem panel(row);
    panel.text.clear();
    panel.icon = QIcon();
    panel.features &= ~(QStyleOptionViewItem::HasDisplay | QStyleOptionViewItem::HasDecoration
                        | QStyleOptionViewItem::HasCheckIndicator);
    panel.state &= ~QStyle::State_HasFocus;
    panel.showDecorationSelected = true;
    styleFor(row)->drawPrimitive(QStyle::PE_PanelItemViewItem, &panel, painter, row.widget);

    drawInterior(painter, row);
}

void TQVerticalCenterTextCell::drawInterior(QPainter *painter, const QStyleOptionViewItem &option) const
{
    const QFont font = fontForRow(option);
    const QRectF rect = titleRectForBounds(option.rect, font);
    if (d->text.isEmpty() || !(rect.width() > 0))
        return;
    const QString shown = QFontMetricsF(font).elidedText(d->text, Qt::ElideRight, rect.width());
    const bool selected = option.state & QStyle::State_Selected;

    painter->save();
    painter->setFont(font);
    painter->setPen(option.palette.color(colorGroupFor(option), selected ? QPalette::HighlightedText : QPalette::Text));
    const int flags = int(option.displayAlignment & Qt::AlignHorizontal_Mask) | Qt::AlignVCenter | Qt::TextSingleLine;
    painter->drawText(rect, flags, shown);
    painter->restore();
}

QSize TQVerticalCenterTextCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    if (const QVariant given = index.data(Qt::SizeHintRole); given.isValid())
        return given.toSize();
    QStyleOptionViewItem row = preparedOption(option, index);
    row.font = fontForRow(row);
    row.fontMetrics = QFontMetrics(row.font);
    row.text = d->text;
    row.icon = QIcon();
    row.features |= QStyleOptionViewItem::HasDisplay;
    row.features &= ~(QStyleOptionViewItem::HasDecoration | QStyleOptionViewItem::HasCheckIndicator);
    return styleFor(row)->sizeFromContents(QStyle::CT_ItemViewItem, &row, QSize(), row.widget);
}

QWidget *TQVerticalCenterTextCell::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                                const QModelIndex &index) const
{
    QWidget *editor = QStyledItemDelegate::createEditor(parent, option, index);
    if (editor && d->font)
        editor->setFont(*d->font);
    return editor;
}

void TQVerticalCenterTextCell::updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                                                    const QModelIndex &index) const
{
    if (!editor)
        return;
    const QStyleOptionViewItem row = preparedOption(option, index);
    editor->setGeometry(titleRectForBounds(row.rect, fontForRow(row)).toRect());
}
