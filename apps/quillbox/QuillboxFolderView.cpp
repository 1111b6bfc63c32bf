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

// A grid cell: the thumbnail and name as Qt draws them, the name on its label's colour.
class GridCell : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const int label = index.data(TQFolderModel::LabelRole).toInt();
        if (label > 0 && label <= 7) {
            QStyleOptionViewItem opt = option;
            initStyleOption(&opt, index);
            const QWidget *widget = option.widget;
            QStyle *style = widget ? widget->style() : QApplication::style();
            const QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, widget);
            const int width = qMin(text.width(), opt.fontMetrics.horizontalAdvance(opt.text) + 12);
            const QRectF swatch(text.center().x() - width / 2.0, text.top() + 1, width, opt.fontMetrics.height() + 2);
            painter->save();
            FVFinderLabel::drawFinderLabel(label, swatch, painter, true, true);
            painter->restore();
        }
        QStyledItemDelegate::paint(painter, option, index);
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
    d->nameCell = new TQIconAndFilenameCell(this);
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
    d->grid->setWordWrap(true);
    d->grid->setTextElideMode(Qt::ElideMiddle);
    d->grid->setItemDelegate(new GridCell(d->grid));

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
    d->grid->setIconSize(QSize(side, side));
    const int textHeight = d->grid->fontMetrics().height();
    d->grid->setGridSize(QSize(side + 40, side + 2 * textHeight + 16));
    if (changed)
        emit zoomChanged(side);
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
