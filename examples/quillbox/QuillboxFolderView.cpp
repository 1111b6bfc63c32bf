// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxFolderView.h"

#include <FVFinderLabel.h>
#include <TQFolderModel.h>
#include <TQIconAndFilenameCell.h>
#include <TQUtilityFunctions.h>
#include <TQVisibleRowsTracker.h>

#include <QApplication>
#include <QDrag>
#include <QHeaderView>
#include <QListView>
#include <QMimeData>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QTextLayout>
#include <QTimer>
#include <QTreeView>

namespace {

// What both item views add to Qt's: the library's message box when there is nothing to
// show, and rows dragged out as the items' URLs (which keep names that are not UTF-8).
template <class View>
class FolderItemView : public View
{
public:
    FolderItemView(const QuillboxFolderView *owner, QWidget *parent)
        : View(parent)
        , m_owner(owner)
    {
    }

protected:
    void paintEvent(QPaintEvent *event) override
    {
        View::paintEvent(event);
        const TQFolderModel *model = m_owner->model();
        if (model->rowCount() > 0 || model->isLoading() || !model->folder())
            return;
        QPainter painter(this->viewport());
        TQDrawMessageBoxWithFile(m_owner->emptyMessage(), &painter, model->folder(), QRectF(this->viewport()->rect()));
    }

    void startDrag(Qt::DropActions supportedActions) override
    {
        QList<QUrl> urls;
        for (const UWStandardFileRef &item : m_owner->selectedItems()) {
            if (!item->URL().isEmpty())
                urls.append(item->URL());
        }
        if (urls.isEmpty())
            return;
        auto *data = new QMimeData;
        data->setUrls(urls);
        auto *drag = new QDrag(this);
        drag->setMimeData(data);
        const UWStandardFileRef current = m_owner->currentItem();
        if (current)
            drag->setPixmap(current->fileIcon().pixmap(32, 32));
        drag->exec(supportedActions | Qt::CopyAction | Qt::LinkAction, Qt::CopyAction);
    }

private:
    const QuillboxFolderView *m_owner;
};

// The grid's cell, laid out as a file browser's icon view: a square picture area of the zoom's
// side with the thumbnail (or the icon) standing on its bottom edge, so that names line up
// whatever the pictures' shapes, and the name below it on at most two lines.
class GridCell : public QStyledItemDelegate
{
public:
    GridCell(const QuillboxFolderView *owner, QObject *parent)
        : QStyledItemDelegate(parent)
        , m_owner(owner)
    {
    }

    static constexpr int Padding = 6; // around the picture and below the name

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const override
    {
        return QuillboxFolderView::gridCellSize(m_owner->zoom(), option.font);
    }

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        const int side = m_owner->zoom();
        const QRect cell = opt.rect;
        const QRect pictureArea(cell.left() + (cell.width() - side) / 2, cell.top() + Padding, side, side);
        const bool selected = opt.state & QStyle::State_Selected;
        const bool active = opt.state & QStyle::State_Active;
        const QPalette::ColorGroup group = active ? QPalette::Active : QPalette::Inactive;

        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        if (selected) {
            QColor shade = opt.palette.color(group, QPalette::Highlight);
            shade.setAlpha(active ? 60 : 35);
            painter->setPen(Qt::NoPen);
            painter->setBrush(shade);
            painter->drawRoundedRect(QRectF(pictureArea).adjusted(-4, -4, 4, 4), 6, 6);
        }

        const QImage picture = this->picture(index, side, painter->device()->devicePixelRatioF());
        if (!picture.isNull()) {
            const QSizeF shown = QSizeF(picture.size()) / picture.devicePixelRatio();
            const QPointF at(pictureArea.left() + (side - shown.width()) / 2.0, pictureArea.bottom() + 1 - shown.height());
            painter->drawImage(QRectF(at, shown), picture);
        }

        const QFontMetrics metrics = opt.fontMetrics;
        const int textWidth = cell.width() - 2 * Padding;
        const QStringList lines = QuillboxFolderView::gridNameLines(opt.text, opt.font, textWidth);
        int widest = 0;
        for (const QString &line : lines)
            widest = qMax(widest, metrics.horizontalAdvance(line));
        const int lineHeight = metrics.height();
        const QRectF nameBox(cell.left() + (cell.width() - widest) / 2.0 - 5, pictureArea.bottom() + 1 + Padding - 1,
                             widest + 10, lineHeight * lines.size() + 2);
        const int label = index.data(TQFolderModel::LabelRole).toInt();
        if (label > 0 && label <= 7)
            FVFinderLabel::drawFinderLabel(label, nameBox, painter, true, true);
        if (selected) {
            // A labelled name keeps a rim of its label's colour around the selection.
            const QRectF box = label > 0 && label <= 7 ? nameBox.adjusted(2, 2, -2, -2) : nameBox;
            painter->setPen(Qt::NoPen);
            painter->setBrush(opt.palette.color(group, QPalette::Highlight));
            painter->drawRoundedRect(box, qMin(box.height() / 2, 8.0), qMin(box.height() / 2, 8.0));
        }
        painter->setPen(opt.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
        painter->setFont(opt.font);
        for (int i = 0; i < lines.size(); ++i) {
            const QRect line(cell.left() + Padding, int(nameBox.top()) + 1 + i * lineHeight, textWidth, lineHeight);
            painter->drawText(line, Qt::AlignHCenter | Qt::AlignTop, lines.at(i));
        }
        if ((opt.state & QStyle::State_HasFocus) && m_owner->gridView()->hasFocus() && !selected) {
            QStyleOptionFocusRect focus;
            focus.initFrom(opt.widget);
            focus.rect = cell.adjusted(1, 1, -1, -1);
            focus.backgroundColor = opt.palette.color(group, QPalette::Base);
            QStyle *style = opt.widget ? opt.widget->style() : QApplication::style();
            style->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, opt.widget);
        }
        painter->restore();
    }

private:
    // The thumbnail once it has arrived, else whatever the model decorates the row with (an
    // icon, or an image), never larger than the picture area and never blown up past its own
    // size: a small picture looks small, as it is.
    static QImage picture(const QModelIndex &index, int side, qreal ratio)
    {
        QImage image = index.data(TQFolderModel::ThumbnailRole).value<QImage>();
        if (image.isNull()) {
            const QVariant decoration = index.data(Qt::DecorationRole);
            if (decoration.typeId() == QMetaType::QIcon) {
                const QIcon icon = decoration.value<QIcon>();
                const QSize pixels = icon.actualSize(QSize(side, side) * ratio);
                return icon.pixmap(pixels / ratio, ratio).toImage();
            }
            if (decoration.typeId() == QMetaType::QPixmap)
                image = decoration.value<QPixmap>().toImage();
            else if (decoration.typeId() == QMetaType::QImage)
                image = decoration.value<QImage>();
        }
        if (image.isNull())
            return image;
        const QSizeF logical = QSizeF(image.size()) / image.devicePixelRatio();
        if (logical.width() > side || logical.height() > side) {
            image = image.scaled(QSize(side, side) * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
            image.setDevicePixelRatio(ratio);
        }
        return image;
    }

    const QuillboxFolderView *m_owner;
};

// The list's name cell: the library's icon and name, the name on its label's colour as the
// grid shows it, so that a label given from the picker shows on the row it was given to.
class ListNameCell : public TQIconAndFilenameCell
{
public:
    using TQIconAndFilenameCell::TQIconAndFilenameCell;

protected:
    void drawInterior(QPainter *painter, const QStyleOptionViewItem &option) const override
    {
        const int label = option.index.data(TQFolderModel::LabelRole).toInt();
        if (label > 0 && label <= 7) {
            const QRectF title = titleRectForBounds(option.rect, option.font);
            const QFontMetricsF metrics(option.font);
            const qreal width = qMin(title.width(), metrics.horizontalAdvance(option.index.data().toString())) + 8;
            const QRectF swatch(title.left() - 4, option.rect.top() + 1, width, option.rect.height() - 2);
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing);
            FVFinderLabel::drawFinderLabel(label, swatch, painter, true, true);
            painter->restore();
        }
        TQIconAndFilenameCell::drawInterior(painter, option);
    }
};

} // namespace

struct QuillboxFolderView::Private
{
    TQFolderModel *model = nullptr;
    FolderItemView<QTreeView> *list = nullptr;
    FolderItemView<QListView> *grid = nullptr;
    TQIconAndFilenameCell *nameCell = nullptr;
    TQVisibleRowsTracker *listRows = nullptr;
    TQVisibleRowsTracker *gridRows = nullptr;
    int zoom = 128;
};

QuillboxFolderView::QuillboxFolderView(QWidget *parent)
    : QStackedWidget(parent)
    , d(std::make_unique<Private>())
{
    d->model = new TQFolderModel(this);
    d->model->setThumbnailSize(QSize(MaximumZoom, MaximumZoom));

    d->list = new FolderItemView<QTreeView>(this, this);
    d->list->setObjectName(QStringLiteral("list"));
    d->list->setModel(d->model);
    d->list->setRootIsDecorated(false);
    d->list->setItemsExpandable(false);
    d->list->setUniformRowHeights(true);
    d->list->setAllColumnsShowFocus(true);
    d->list->setSelectionBehavior(QAbstractItemView::SelectRows);
    d->nameCell = new ListNameCell(this);
    d->nameCell->setObjectRole(TQFolderModel::ItemRole);
    d->list->setItemDelegateForColumn(TQFolderModel::NameColumn, d->nameCell);
    QHeaderView *header = d->list->header();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setStretchLastSection(false);
    header->resizeSection(TQFolderModel::NameColumn, 220);
    // The header asks the model to sort; the model's own order (restored from the settings)
    // is shown by the indicator, never imposed by the view as setSortingEnabled() would.
    connect(header, &QHeaderView::sectionClicked, this, [this](int column) {
        const bool same = TQFolderModel::columnForSortType(TQSortType(d->model->sortType())) == column;
        d->model->sort(column, same && d->model->isAscending() ? Qt::DescendingOrder : Qt::AscendingOrder);
    });
    auto showSortOrder = [this] {
        const int column = TQFolderModel::columnForSortType(TQSortType(d->model->sortType()));
        QSignalBlocker blocker(d->list->header());
        d->list->header()->setSortIndicator(column, d->model->isAscending() ? Qt::AscendingOrder : Qt::DescendingOrder);
    };
    connect(d->model, &TQFolderModel::sortOrderChanged, this, showSortOrder);
    showSortOrder();

    d->grid = new FolderItemView<QListView>(this, this);
    d->grid->setObjectName(QStringLiteral("grid"));
    d->grid->setModel(d->model);
    d->grid->setSelectionModel(d->list->selectionModel());
    d->grid->setModelColumn(TQFolderModel::NameColumn);
    d->grid->setViewMode(QListView::IconMode);
    d->grid->setMovement(QListView::Static); // big folders: see the row tracker's cost
    d->grid->setResizeMode(QListView::Adjust);
    d->grid->setUniformItemSizes(true);
    d->grid->setFlow(QListView::LeftToRight);
    d->grid->setWrapping(true);
    d->grid->setSpacing(GridSpacing / 2);
    d->grid->setItemDelegate(new GridCell(this, d->grid));

    for (QAbstractItemView *view : {static_cast<QAbstractItemView *>(d->list), static_cast<QAbstractItemView *>(d->grid)}) {
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        view->setEditTriggers(QAbstractItemView::NoEditTriggers);
        view->setDragEnabled(true);
        view->setDragDropMode(QAbstractItemView::DragOnly);
        view->setContextMenuPolicy(Qt::CustomContextMenu);
        view->setFrameShape(QFrame::NoFrame);
        connect(view, &QAbstractItemView::activated, this, [this](const QModelIndex &index) {
            if (const UWStandardFileRef item = d->model->itemAt(index))
                emit itemActivated(item);
        });
        connect(view, &QWidget::customContextMenuRequested, this, [this, view](const QPoint &position) {
            const QModelIndex index = view->indexAt(position);
            if (index.isValid() && !selectionModel()->isRowSelected(index.row()))
                selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
            if (index.isValid())
                selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
            emit contextMenuRequested(view->viewport()->mapToGlobal(position));
        });
        addWidget(view);
    }
    d->list->setAccessibleName(tr("Files as a list"));
    d->grid->setAccessibleName(tr("Files as thumbnails"));

    d->listRows = new TQVisibleRowsTracker(d->list);
    d->gridRows = new TQVisibleRowsTracker(d->grid);
    d->listRows->setMargin(20);
    d->gridRows->setMargin(20);
    connect(d->listRows, &TQVisibleRowsTracker::visibleRowsChanged, this, &QuillboxFolderView::updateVisibleRows);
    connect(d->gridRows, &TQVisibleRowsTracker::visibleRowsChanged, this, &QuillboxFolderView::updateVisibleRows);
    // The empty message depends on the listing being done, which no row change announces.
    connect(d->model, &TQFolderModel::loadingChanged, this, [this] {
        d->list->viewport()->update();
        d->grid->viewport()->update();
    });
    connect(d->model, &TQFolderModel::filterChanged, this, [this] {
        d->list->viewport()->update();
        d->grid->viewport()->update();
    });
    setZoom(d->zoom);
    setCurrentWidget(d->list);
}

QuillboxFolderView::~QuillboxFolderView() = default;

TQFolderModel *QuillboxFolderView::model() const
{
    return d->model;
}

QItemSelectionModel *QuillboxFolderView::selectionModel() const
{
    return d->list->selectionModel();
}

QTreeView *QuillboxFolderView::listView() const
{
    return d->list;
}

QListView *QuillboxFolderView::gridView() const
{
    return d->grid;
}

QAbstractItemView *QuillboxFolderView::currentView() const
{
    return mode() == GridMode ? static_cast<QAbstractItemView *>(d->grid) : d->list;
}

QuillboxFolderView::Mode QuillboxFolderView::mode() const
{
    return currentWidget() == d->grid ? GridMode : ListMode;
}

void QuillboxFolderView::setMode(Mode mode)
{
    if (mode == this->mode())
        return;
    const bool hadFocus = currentView()->hasFocus();
    setCurrentWidget(mode == GridMode ? static_cast<QWidget *>(d->grid) : d->list);
    if (hadFocus)
        currentView()->setFocus();
    // A hidden view scrolled with the selection at a size it did not have: it scrolls again
    // once it is laid out on screen.
    QTimer::singleShot(0, this, [this] {
        currentView()->scrollToTop();
        const QModelIndex current = selectionModel()->currentIndex();
        if (current.isValid())
            currentView()->scrollTo(current);
    });
    (mode == GridMode ? d->gridRows : d->listRows)->refresh();
    emit modeChanged(mode);
}

int QuillboxFolderView::zoom() const
{
    return d->zoom;
}

void QuillboxFolderView::setZoom(int side)
{
    side = qBound(MinimumZoom, side, MaximumZoom);
    const bool changed = side != d->zoom;
    d->zoom = side;
    // The cells follow the zoom through the delegate's size; a new icon size lays them out again.
    d->grid->setIconSize(QSize(side, side));
    if (changed)
        emit zoomChanged(side);
}

QSize QuillboxFolderView::gridCellSize(int side, const QFont &font)
{
    const QFontMetrics metrics(font);
    // Small zooms keep room for a readable name: about a dozen characters a line.
    const int width = qMax(side + 8, 12 * metrics.averageCharWidth()) + 2 * GridCell::Padding;
    return QSize(width, 3 * GridCell::Padding + side + 2 * metrics.height() + 2);
}

QStringList QuillboxFolderView::gridNameLines(const QString &name, const QFont &font, int width)
{
    const QFontMetrics metrics(font);
    if (name.isEmpty() || width <= 0)
        return {name};
    // Wrapped as a paragraph would be (at a space, else anywhere); what does not fit on two
    // lines is taken out of the second line's middle, so the end of the name (its extension,
    // a number) still shows.
    QTextLayout layout(name, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    int consumed = 0;
    while (lines.size() < 1) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width);
        lines.append(name.mid(line.textStart(), line.textLength()).trimmed());
        consumed = line.textStart() + line.textLength();
    }
    layout.endLayout();
    const QString rest = name.mid(consumed);
    if (rest.isEmpty())
        return lines;
    lines.append(metrics.elidedText(rest, Qt::ElideMiddle, width));
    return lines;
}

void QuillboxFolderView::zoomIn()
{
    setZoom(d->zoom + ZoomStep);
}

void QuillboxFolderView::zoomOut()
{
    setZoom(d->zoom - ZoomStep);
}

QList<UWStandardFileRef> QuillboxFolderView::selectedItems() const
{
    return d->model->selectedItems(selectionModel());
}

bool QuillboxFolderView::selectItem(const UWStandardFileRef &item)
{
    const QModelIndex index = item ? d->model->indexOfNativePath(item->nativePath()) : QModelIndex();
    if (!index.isValid())
        return false;
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    currentView()->scrollTo(index);
    return true;
}

UWStandardFileRef QuillboxFolderView::currentItem() const
{
    return d->model->itemAt(selectionModel()->currentIndex());
}

QString QuillboxFolderView::emptyMessage() const
{
    return d->model->allItems().isEmpty() ? tr("This folder is empty.") : tr("No item matches the filter.");
}

void QuillboxFolderView::updateVisibleRows()
{
    const TQVisibleRowsTracker *tracker = mode() == GridMode ? d->gridRows : d->listRows;
    d->model->setVisibleRows(tracker->firstRow(), tracker->lastRow());
}
