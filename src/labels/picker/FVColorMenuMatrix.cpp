// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVColorMenuMatrix.h"

#include "FVFinderLabel.h"
#include "TQResponderUtilities.h"
#include "TQUiLogging.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QMetaMethod>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>

#include <cmath>

const char *const FVColorNameUpdateNotification = "FVColorNameUpdateNotification";

namespace {

constexpr qreal boxRadius = 2;
constexpr qreal boxLineWidth = 1.5;

QColor lightGray() { return QColor::fromRgbF(2.0 / 3, 2.0 / 3, 2.0 / 3); }

// Edges on device pixels, so that a 1.5 pixel rim looks the same in every cell at any scale.
QRectF alignedToDevicePixels(const QRectF &rect, qreal dpr)
{
    const auto snap = [dpr](qreal v) { return std::round(v * dpr) / dpr; };
    const QPointF topLeft(snap(rect.left()), snap(rect.top()));
    const QPointF bottomRight(snap(rect.right()), snap(rect.bottom()));
    return QRectF(topLeft, bottomRight);
}

// The object that answers for the host's selection: the chain of the main window from its
// first responder up to the window, then the window's delegate. A controller that owns the
// view can answer for it without subclassing the view.
QObject *selectedLabelsResponder(QMetaMethod *method)
{
    QWidget *window = TQResponderUtilities::mainWindow();
    if (!window)
        return nullptr;
    QList<QObject *> candidates;
    for (QWidget *widget = TQResponderUtilities::firstResponder(window); widget; widget = widget->parentWidget()) {
        candidates.append(widget);
        if (widget == window)
            break;
    }
    candidates.append(TQResponderUtilities::windowDelegate(window));
    for (QObject *candidate : std::as_const(candidates)) {
        if (!candidate)
            continue;
        const QMetaObject *meta = candidate->metaObject();
        const int index = meta->indexOfMethod("selectedFinderLabels()");
        if (index < 0)
            continue;
        const QMetaMethod found = meta->method(index);
        if (found.returnMetaType() != QMetaType::fromType<QList<int>>()) {
            qCDebug(lcUi) << "selectedFinderLabels() of" << candidate << "does not return QList<int>; ignored";
            continue;
        }
        *method = found;
        return candidate;
    }
    return nullptr;
}

// Each swatch is announced as a button named after its label, so that a screen reader reads
// "Red" rather than a picture. Swatches are not objects; they live in the accessibility
// cache, registered by their matrix's interface, which removes them again.
class SwatchAccessible : public QAccessibleInterface, public QAccessibleActionInterface
{
public:
    SwatchAccessible(FVColorMenuMatrix *matrix, int index) : m_matrix(matrix), m_index(index) {}

    bool isValid() const override { return m_matrix && m_index < m_matrix->numberOfRows() * m_matrix->numberOfColumns() && cell(); }
    QObject *object() const override { return nullptr; }
    QWindow *window() const override { return m_matrix ? m_matrix->window()->windowHandle() : nullptr; }
    QAccessibleInterface *parent() const override { return QAccessible::queryAccessibleInterface(m_matrix.data()); }
    QAccessibleInterface *child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    void setText(QAccessible::Text, const QString &) override {}
    QAccessible::Role role() const override { return QAccessible::Button; }

    QString text(QAccessible::Text type) const override
    {
        if (!isValid() || type != QAccessible::Name)
            return QString();
        return FVFinderLabel::nameForLabel(cell()->tag());
    }

    QRect rect() const override
    {
        if (!isValid())
            return QRect();
        const QRect frame = m_matrix->cellFrameAtRow(row(), column()).toAlignedRect();
        return QRect(m_matrix->mapToGlobal(frame.topLeft()), frame.size());
    }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.disabled = !m_matrix->isEnabled();
        state.invisible = !m_matrix->isVisible();
        state.focusable = true;
        state.focused = state.hotTracked = m_matrix->boxedRow() == row() && m_matrix->boxedColumn() == column();
        state.checkable = true;
        state.checked = m_matrix->selectedLabels().value_or(QList<int>()).contains(cell()->tag());
        return state;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface *>(this) : nullptr;
    }

    QStringList actionNames() const override { return {pressAction()}; }
    QStringList keyBindingsForAction(const QString &) const override { return {}; }
    void doAction(const QString &name) override
    {
        if (name == pressAction() && isValid() && m_matrix->isEnabled())
            m_matrix->performClickOnCell(row(), column());
    }

private:
    int row() const { return m_index / m_matrix->numberOfColumns(); }
    int column() const { return m_index % m_matrix->numberOfColumns(); }
    const FVColorMenuCell *cell() const { return m_matrix->cellAtRow(row(), column()); }

    QPointer<FVColorMenuMatrix> m_matrix;
    int m_index;
};

class MatrixAccessible : public QAccessibleWidget
{
public:
    explicit MatrixAccessible(FVColorMenuMatrix *matrix) : QAccessibleWidget(matrix, QAccessible::Grouping) {}
    ~MatrixAccessible() override
    {
        for (const QAccessible::Id id : std::as_const(m_children))
            QAccessible::deleteAccessibleInterface(id);
    }

    int childCount() const override
    {
        int count = 0;
        const FVColorMenuMatrix *m = matrix();
        for (int row = 0; row < m->numberOfRows(); ++row) {
            for (int column = 0; column < m->numberOfColumns(); ++column)
                count += m->cellAtRow(row, column) ? 1 : 0;
        }
        return count;
    }

    QAccessibleInterface *child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        while (m_children.size() <= index)
            m_children.append(QAccessible::registerAccessibleInterface(new SwatchAccessible(matrix(), int(m_children.size()))));
        return QAccessible::accessibleInterface(m_children.at(index));
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const QAccessible::Id id = QAccessible::uniqueId(const_cast<QAccessibleInterface *>(child));
        return int(m_children.indexOf(id));
    }

    QAccessibleInterface *childAt(int x, int y) const override
    {
        int row = -1;
        int column = -1;
        const FVColorMenuMatrix *m = matrix();
        if (!m->getRow(&row, &column, QPointF(m->mapFromGlobal(QPoint(x, y)))))
            return nullptr;
        return child(row * m->numberOfColumns() + column);
    }

    QAccessibleInterface *focusChild() const override
    {
        const FVColorMenuMatrix *m = matrix();
        if (m->boxedRow() < 0)
            return nullptr;
        return child(m->boxedRow() * m->numberOfColumns() + m->boxedColumn());
    }

private:
    FVColorMenuMatrix *matrix() const { return static_cast<FVColorMenuMatrix *>(widget()); }
    mutable QList<QAccessible::Id> m_children;
};

QAccessibleInterface *matrixAccessibleFactory(const QString &className, QObject *object)
{
    if (className == QLatin1String("FVColorMenuMatrix") && object && object->isWidgetType())
        return new MatrixAccessible(static_cast<FVColorMenuMatrix *>(object));
    return nullptr;
}

} // namespace

FVColorNameUpdateNotifier *FVColorNameUpdateNotifier::instance()
{
    static FVColorNameUpdateNotifier notifier;
    return &notifier;
}

FVColorMenuMatrix::FVColorMenuMatrix(QWidget *parent)
    : QWidget(parent)
{
    static const bool factoryInstalled = (QAccessible::installFactory(matrixAccessibleFactory), true);
    Q_UNUSED(factoryInstalled);
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setLabelOrder(QStringLiteral("0 6 7 5 2 4 3 1"));
}

FVColorMenuMatrix::~FVColorMenuMatrix() = default;

QString FVColorMenuMatrix::labelOrder() const
{
    QStringList words;
    for (const FVColorMenuCell &cell : m_cells)
        words.append(QString::number(cell.tag()));
    return words.join(QLatin1Char(' '));
}

void FVColorMenuMatrix::setLabelOrder(const QString &order)
{
    m_cells.clear();
    const QStringList words = order.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &word : words) {
        bool ok = false;
        const int tag = word.toInt(&ok);
        if (!ok || tag < 0 || tag > 7) {
            qCDebug(lcUi) << "label picker: no label" << word << "in the cell order; left out";
            continue;
        }
        m_cells.append(FVColorMenuCell(tag));
    }
    m_boxedRow = m_boxedColumn = m_selectedRow = m_selectedColumn = -1;
    updateGeometry();
    update();
}

void FVColorMenuMatrix::setColumns(int columns)
{
    m_columns = std::max(columns, 1);
    updateGeometry();
    update();
}

void FVColorMenuMatrix::setCellSize(const QSize &size)
{
    m_cellSize = size.expandedTo(QSize(1, 1));
    updateGeometry();
    update();
}

int FVColorMenuMatrix::numberOfRows() const
{
    return int((m_cells.size() + m_columns - 1) / m_columns);
}

const FVColorMenuCell *FVColorMenuMatrix::cellAtRow(int row, int column) const
{
    if (row < 0 || column < 0 || column >= m_columns)
        return nullptr;
    const qsizetype index = qsizetype(row) * m_columns + column;
    return index < m_cells.size() ? &m_cells.at(index) : nullptr;
}

bool FVColorMenuMatrix::getRow(int *row, int *column, int tag) const
{
    for (qsizetype i = 0; i < m_cells.size(); ++i) {
        if (m_cells.at(i).tag() == tag) {
            *row = int(i / m_columns);
            *column = int(i % m_columns);
            return true;
        }
    }
    return false;
}

bool FVColorMenuMatrix::getRow(int *row, int *column, const QPointF &point) const
{
    if (point.x() < 0 || point.y() < 0)
        return false;
    const int r = int(point.y() / m_cellSize.height());
    const int c = int(point.x() / m_cellSize.width());
    if (!cellAtRow(r, c))
        return false;
    *row = r;
    *column = c;
    return true;
}

QRectF FVColorMenuMatrix::cellFrameAtRow(int row, int column) const
{
    return QRectF(QPointF(column * m_cellSize.width(), row * m_cellSize.height()), QSizeF(m_cellSize));
}

QRectF FVColorMenuMatrix::boxRectForCellAtRow(int row, int column) const
{
    const QRectF frame = cellFrameAtRow(row, column);
    const qreal side = std::min(frame.width(), frame.height());
    const QRectF square(frame.x() + (frame.width() - side) / 2, frame.y() + (frame.height() - side) / 2, side, side);
    return alignedToDevicePixels(square.adjusted(1, 1, -1, -1), devicePixelRatioF());
}

void FVColorMenuMatrix::setBoxedCell(int row, int column)
{
    if (!isEnabled())
        return;
    if (!cellAtRow(row, column))
        row = column = -1;
    const bool changed = row != m_boxedRow || column != m_boxedColumn;
    m_boxedRow = row;
    m_boxedColumn = column;
    update();
    postNameUpdate();
    if (changed && row >= 0 && QAccessible::isActive()) {
        if (QAccessibleInterface *parent = QAccessible::queryAccessibleInterface(this)) {
            if (QAccessibleInterface *swatch = parent->child(row * m_columns + column)) {
                QAccessibleEvent event(swatch, QAccessible::Focus);
                QAccessible::updateAccessibility(&event);
            }
        }
    }
}

bool FVColorMenuMatrix::moveBox(int step)
{
    const int count = int(m_cells.size());
    if (!isEnabled() || count == 0 || step == 0)
        return false;
    int index;
    if (m_boxedRow < 0)
        index = step > 0 ? step - 1 : count + step;
    else
        index = m_boxedRow * m_columns + m_boxedColumn + step;
    if (index < 0 || index >= count)
        return false;
    setBoxedCell(index / m_columns, index % m_columns);
    return true;
}

QString FVColorMenuMatrix::boxedLabelName() const
{
    const FVColorMenuCell *cell = cellAtRow(m_boxedRow, m_boxedColumn);
    if (!cell || cell->tag() == 0)
        return QString();
    return QChar(0x201C) + FVFinderLabel::nameForLabel(cell->tag()) + QChar(0x201D);
}

const FVColorMenuCell *FVColorMenuMatrix::selectedCell() const
{
    return cellAtRow(m_selectedRow, m_selectedColumn);
}

bool FVColorMenuMatrix::selectCellWithTag(int tag)
{
    int row = -1;
    int column = -1;
    const bool found = getRow(&row, &column, tag);
    m_selectedRow = row;
    m_selectedColumn = column;
    return found;
}

void FVColorMenuMatrix::deselectAllCells()
{
    m_selectedRow = m_selectedColumn = -1;
}

bool FVColorMenuMatrix::_isBoxedCellSelected() const
{
    return m_selectedRow == m_boxedRow && m_selectedColumn == m_boxedColumn;
}

bool FVColorMenuMatrix::_isFirstCellSelected() const
{
    return m_selectedRow == 0 && m_selectedColumn == 0;
}

void FVColorMenuMatrix::getSelectedRows()
{
    QMetaMethod method;
    QObject *responder = selectedLabelsResponder(&method);
    if (!responder)
        return;
    QList<int> labels;
    if (method.invoke(responder, Qt::DirectConnection, Q_RETURN_ARG(QList<int>, labels))) {
        m_selectedLabels = labels;
        update();
    }
}

void FVColorMenuMatrix::removeSelectedRows()
{
    m_selectedLabels.reset();
    update();
}

void FVColorMenuMatrix::rebuildTrackingAreas()
{
    m_tracking = true;
    setMouseTracking(true);
}

void FVColorMenuMatrix::removeTrackingAreas()
{
    m_tracking = false;
    setMouseTracking(false);
}

QSize FVColorMenuMatrix::sizeHint() const
{
    return QSize(m_columns * m_cellSize.width(), numberOfRows() * m_cellSize.height());
}

QSize FVColorMenuMatrix::minimumSizeHint() const
{
    return sizeHint();
}

void FVColorMenuMatrix::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    for (int row = 0; row < numberOfRows(); ++row) {
        for (int column = 0; column < m_columns; ++column) {
            if (const FVColorMenuCell *cell = cellAtRow(row, column))
                cell->drawInteriorWithFrame(&painter, cellFrameAtRow(row, column), this);
        }
    }

    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(lightGray(), boxLineWidth));
    painter.setBrush(Qt::NoBrush);
    for (const int label : m_selectedLabels.value_or(QList<int>())) {
        int row = -1;
        int column = -1;
        if (getRow(&row, &column, label))
            painter.drawRoundedRect(boxRectForCellAtRow(row, column), boxRadius, boxRadius);
    }
    if (m_boxedRow >= 0 && m_boxedColumn >= 0) {
        painter.setBrush(QColor::fromRgbF(0.5, 0.5, 0.5, 0.3));
        painter.drawRoundedRect(boxRectForCellAtRow(m_boxedRow, m_boxedColumn), boxRadius, boxRadius);
    }
}

void FVColorMenuMatrix::mouseMoveEvent(QMouseEvent *event)
{
    if (m_tracking && isEnabled()) {
        int row = -1;
        int column = -1;
        getRow(&row, &column, event->position());
        if (row != m_boxedRow || column != m_boxedColumn)
            setBoxedCell(row, column);
    }
    QWidget::mouseMoveEvent(event);
}

void FVColorMenuMatrix::mousePressEvent(QMouseEvent *event)
{
    // Taken, so that the menu under the picker does not close on a press between swatches.
    event->accept();
}

void FVColorMenuMatrix::mouseReleaseEvent(QMouseEvent *event)
{
    int row = -1;
    int column = -1;
    if (event->button() == Qt::LeftButton && isEnabled() && getRow(&row, &column, event->position()))
        performClickOnCell(row, column);
    event->accept();
}

void FVColorMenuMatrix::leaveEvent(QEvent *event)
{
    if (m_tracking)
        setBoxedCell(-1, -1);
    QWidget::leaveEvent(event);
}

void FVColorMenuMatrix::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::EnabledChange) {
        m_boxedRow = m_boxedColumn = -1;
        deselectAllCells();
        if (isEnabled()) {
            rebuildTrackingAreas();
        } else {
            removeTrackingAreas();
            removeSelectedRows();
        }
        update();
        postNameUpdate();
    }
    QWidget::changeEvent(event);
}

void FVColorMenuMatrix::performClickOnCell(int row, int column)
{
    if (!isEnabled() || !cellAtRow(row, column))
        return;
    m_selectedRow = row;
    m_selectedColumn = column;
    emit cellActivated(row, column);
}

void FVColorMenuMatrix::postNameUpdate()
{
    emit FVColorNameUpdateNotifier::instance()->colorNameUpdate(this);
}
