// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQActivityWindowController.h"
#include "TQActivityItemsModel.h"
#include "TQActivityRowWidget.h"
#include "TQResponderUtilities.h"
#include "TQUiLogging.h"
#include "TQWindowUtilities.h"

#include "ui_ActivityWindow.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QEvent>
#include <QListView>
#include <QPointer>
#include <QSettings>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QWindow>

const QString TQActivityWindowController::FrameAutosaveName = QStringLiteral("QuillboxActivityWindow");

namespace {

const QString LauncherInterface = QStringLiteral("com.canonical.Unity.LauncherEntry");

QString launcherUri(const QString &desktopId)
{
    return QStringLiteral("application://") + desktopId;
}

// Listeners match the launcher signal by interface and application URI; the object path only
// has to be valid and the same for one application, so it is derived from the URI.
QString launcherPath(const QString &uri)
{
    quint32 hash = 2166136261u;
    for (const char byte : uri.toUtf8()) {
        hash ^= quint8(byte);
        hash *= 16777619u;
    }
    return QStringLiteral("/com/canonical/unity/launcherentry/") + QString::number(hash);
}

// Under row widgets the view still paints each row: its background (the alternating colours
// show through the transparent rows) but not the title, which the row widget shows itself.
class RowBackgroundDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        background.icon = QIcon();
        background.features &= ~(QStyleOptionViewItem::HasDisplay | QStyleOptionViewItem::HasDecoration);
        const QWidget *widget = option.widget;
        QStyle *style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);
    }
};

} // namespace

struct TQActivityWindowController::Private
{
    explicit Private(TQActivityWindowController *controller)
        : q(controller)
    {
    }

    TQActivityWindowController *const q;
    // Declared before the window, so the window (and the view over the model) goes first.
    std::unique_ptr<TQActivityItemsModel> model = std::make_unique<TQActivityItemsModel>();
    std::unique_ptr<QWidget> window;
    Ui::ActivityWindow ui;
    QPointer<QObject> delegate;

    QTimer showTimer;
    bool showWithoutActivating = false;

    RowWidgetFactory rowFactory = [](QWidget *parent) { return new TQActivityRowWidget(parent); };

    QString launcherDesktopId;
    bool launcherUpdatePending = false;
    bool launcherBusMissingLogged = false;
    // A maximise is undone and replaced by a zoom once, from the event loop.
    bool zoomPending = false;

    QRect clientRectForFrame(const QRectF &frame) const
    {
        const QWindow *handle = window->windowHandle();
        const QMargins margins = handle ? handle->frameMargins() : QMargins();
        return QRectF(frame.x() + margins.left(), frame.y() + margins.top(),
                      frame.width() - margins.left() - margins.right(),
                      frame.height() - margins.top() - margins.bottom())
            .toRect();
    }

    void applyFrame(const QRectF &frame) { window->setGeometry(clientRectForFrame(frame)); }

    void saveFrame() const
    {
        QSettings settings;
        settings.setValue(FrameAutosaveName, window->saveGeometry());
    }

    void restoreFrame()
    {
        const QByteArray saved = QSettings().value(FrameAutosaveName).toByteArray();
        if (!saved.isEmpty() && !window->restoreGeometry(saved))
            qCDebug(lcUi) << "Activity window: the saved frame under" << FrameAutosaveName << "is unreadable";
    }

    void sendLauncherUpdate(const QString &desktopId, bool visible);

    // Changes of the list and of progress are sent to the launcher once per turn of the
    // event loop, however many came in.
    void scheduleLauncherUpdate()
    {
        if (launcherDesktopId.isEmpty() || launcherUpdatePending)
            return;
        launcherUpdatePending = true;
        QMetaObject::invokeMethod(q, [this] {
            launcherUpdatePending = false;
            if (!launcherDesktopId.isEmpty())
                sendLauncherUpdate(launcherDesktopId, true);
        }, Qt::QueuedConnection);
    }

    void makeRowWidgets(int first, int last)
    {
        if (!rowFactory)
            return;
        for (int row = first; row <= last; ++row) {
            const TQActivityItemRef item = model->itemAt(row);
            TQActivityRowWidget *rowWidget = rowFactory(ui.listView->viewport());
            if (!item || !rowWidget)
                continue;
            rowWidget->setItem(item);
            std::weak_ptr<TQActivityItem> weak = item;
            QObject::connect(rowWidget, &TQActivityRowWidget::cancelRequested, q, [this, weak] {
                if (const TQActivityItemRef item = weak.lock())
                    q->cancelItem(item);
            });
            ui.listView->setIndexWidget(model->index(row), rowWidget);
            // The view fills index widgets by default, which would hide its alternating rows.
            rowWidget->setAutoFillBackground(false);
        }
    }

    void showNow()
    {
        // The delay may run out after the last task went: then there is nothing to show.
        if (model->rowCount() == 0)
            return;
        window->setAttribute(Qt::WA_ShowWithoutActivating, showWithoutActivating);
        // Qt hands the attribute to the native window only when it makes one, and this window
        // was made with the controller; the window systems read this property of it.
        if (QWindow *handle = window->windowHandle())
            handle->setProperty("_q_showWithoutActivating", showWithoutActivating);
        window->show();
        window->raise();
        if (!showWithoutActivating)
            window->activateWindow();
        emit q->windowShown();
    }
};

void TQActivityWindowController::Private::sendLauncherUpdate(const QString &desktopId, bool visible)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        if (!launcherBusMissingLogged)
            qCDebug(lcUi) << "Activity window: no session bus for the launcher progress:" << bus.lastError().message();
        launcherBusMissingLogged = true;
        return;
    }
    const QList<TQActivityItemRef> items = model->content();
    double done = 0.0;
    int known = 0;
    for (const TQActivityItemRef &item : items) {
        const double fraction = item->progress();
        if (fraction >= 0.0) {
            done += qMin(fraction, 1.0);
            ++known;
        }
    }
    const bool shown = visible && !items.isEmpty();
    QVariantMap properties;
    properties.insert(QStringLiteral("progress"), known ? done / known : 0.0);
    properties.insert(QStringLiteral("progress-visible"), shown);
    properties.insert(QStringLiteral("count"), qint64(visible ? items.size() : 0));
    properties.insert(QStringLiteral("count-visible"), shown && items.size() > 1);

    const QString uri = launcherUri(desktopId);
    QDBusMessage message = QDBusMessage::createSignal(launcherPath(uri), LauncherInterface, QStringLiteral("Update"));
    message << uri << properties;
    if (!bus.send(message))
        qCDebug(lcUi) << "Activity window: the launcher progress was not sent:" << bus.lastError().message();
}

TQActivityWindowController::TQActivityWindowController(QObject *delegate, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
    d->delegate = delegate;
    d->window = std::make_unique<QWidget>(nullptr, Qt::Window);
    d->ui.setupUi(d->window.get());
    // A window that reports work must not decide when the application ends.
    d->window->setAttribute(Qt::WA_QuitOnClose, false);
    d->ui.listView->setModel(d->model.get());
    d->ui.listView->setItemDelegate(new RowBackgroundDelegate(d->ui.listView));
    d->window->installEventFilter(this);
    TQResponderUtilities::setWindowDelegate(d->window.get(), this);

    connect(d->model.get(), &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex &, int first, int last) {
        d->makeRowWidgets(first, last);
        d->scheduleLauncherUpdate();
    });
    connect(d->model.get(), &QAbstractItemModel::rowsRemoved, this, [this] { d->scheduleLauncherUpdate(); });
    connect(d->model.get(), &QAbstractItemModel::modelReset, this, [this] {
        d->makeRowWidgets(0, d->model->rowCount() - 1);
        d->scheduleLauncherUpdate();
    });
    connect(d->model.get(), &QAbstractItemModel::dataChanged, this, [this](const QModelIndex &top, const QModelIndex &bottom) {
        for (int row = top.row(); row <= bottom.row(); ++row) {
            if (auto *rowWidget = qobject_cast<TQActivityRowWidget *>(d->ui.listView->indexWidget(d->model->index(row))))
                rowWidget->refresh();
        }
        d->scheduleLauncherUpdate();
    });

    d->showTimer.setSingleShot(true);
    connect(&d->showTimer, &QTimer::timeout, this, [this] { d->showNow(); });

    // The native window is made now, so that the frame margins the window system reports
    // (and with them the title bar's height) count from the first frame on.
    d->window->winId();
    // Resize steps of a whole row when the user drags the window's edge. Set once the native
    // window exists: making it does not carry an increment set before over to it.
    d->window->setSizeIncrement(1, int(RowHeight));
    d->restoreFrame();
    d->applyFrame(newFrameForItemsCount());
}

TQActivityWindowController::~TQActivityWindowController()
{
    d->window->removeEventFilter(this);
    if (!d->launcherDesktopId.isEmpty())
        d->sendLauncherUpdate(d->launcherDesktopId, false);
}

QObject *TQActivityWindowController::delegate() const
{
    return d->delegate;
}

void TQActivityWindowController::setDelegate(QObject *delegate)
{
    d->delegate = delegate;
}

QList<TQActivityItemRef> TQActivityWindowController::items() const
{
    return d->model->content();
}

void TQActivityWindowController::setItems(const QList<TQActivityItemRef> &items)
{
    d->model->setContent(items);
}

TQActivityItemsModel *TQActivityWindowController::controller() const
{
    return d->model.get();
}

QWidget *TQActivityWindowController::window() const
{
    return d->window.get();
}

QListView *TQActivityWindowController::listView() const
{
    return d->ui.listView;
}

TQActivityItemRef TQActivityWindowController::newItem() const
{
    return d->model->newObject();
}

void TQActivityWindowController::addItem(const TQActivityItemRef &item)
{
    if (!item) {
        qCDebug(lcUi) << "Activity window: no item to add";
        return;
    }
    d->model->addObject(item);

    if (d->window->isVisible()) {
        d->window->raise();
        if (!d->showWithoutActivating)
            d->window->activateWindow();
        emit windowShown();
    } else if (d->showTimer.interval() > 0) {
        // A stream of new tasks must not keep postponing the window: the first one starts
        // the clock.
        if (!d->showTimer.isActive())
            d->showTimer.start();
    } else {
        d->showNow();
    }
    reframe();
}

void TQActivityWindowController::cancelItem(const TQActivityItemRef &item)
{
    if (item)
        item->setShouldCancel(true);
}

void TQActivityWindowController::removeItem(const TQActivityItemRef &item)
{
    d->model->removeObject(item);
    if (d->model->rowCount() > 0) {
        reframe();
        return;
    }
    d->showTimer.stop();
    if (d->window->isVisible()) {
        d->window->close();
        emit windowClosed();
    }
}

void TQActivityWindowController::reframe()
{
    const QRectF frame = newFrameForItemsCount();
    // Qt keeps a window within its maximum size, so the limit is raised before a frame that
    // grows is applied; the end state is the frame and then the limit, as intended.
    d->window->setMaximumSize(d->window->maximumWidth(), qRound(frame.height()));
    d->applyFrame(frame);
}

QRectF TQActivityWindowController::newFrameForItemsCount() const
{
    const QRectF frame = d->window ? QRectF(d->window->frameGeometry()) : QRectF();
    return frameForItemsCount(frame, d->model->rowCount(), titleBarHeight());
}

QRectF TQActivityWindowController::frameForItemsCount(const QRectF &frame, qsizetype itemsCount, float titleBarHeight)
{
    const double rowsHeight = itemsCount > 0 ? double(itemsCount) * RowHeight : RowHeight;
    double height = rowsHeight + double(titleBarHeight);
    if (height > MaximumRowsHeight)
        height = double(titleBarHeight + float(MaximumRowsHeight));
    // Qt's y axis points down: the top edge stays put by keeping y, and the bottom moves.
    return QRectF(frame.x(), frame.y(), frame.width(), height);
}

QRectF TQActivityWindowController::windowWillUseStandardFrame(const QRectF &defaultFrame) const
{
    Q_UNUSED(defaultFrame);
    return newFrameForItemsCount();
}

void TQActivityWindowController::zoom()
{
    d->applyFrame(windowWillUseStandardFrame(QRectF()));
}

QString TQActivityWindowController::windowFrameAutosaveName() const
{
    return FrameAutosaveName;
}

float TQActivityWindowController::titleBarHeight() const
{
    return TQWindowUtilities::titleBarHeight(d->window.get());
}

std::chrono::milliseconds TQActivityWindowController::showDelay() const
{
    return d->showTimer.intervalAsDuration();
}

void TQActivityWindowController::setShowDelay(std::chrono::milliseconds delay)
{
    d->showTimer.setInterval(qMax(delay, std::chrono::milliseconds(0)));
}

bool TQActivityWindowController::showWithoutActivating() const
{
    return d->showWithoutActivating;
}

void TQActivityWindowController::setShowWithoutActivating(bool withoutActivating)
{
    d->showWithoutActivating = withoutActivating;
}

QString TQActivityWindowController::launcherDesktopId() const
{
    return d->launcherDesktopId;
}

void TQActivityWindowController::setLauncherDesktopId(const QString &desktopId)
{
    QString id = desktopId;
    if (!id.isEmpty() && !id.endsWith(QLatin1String(".desktop")))
        id += QLatin1String(".desktop");
    if (id == d->launcherDesktopId)
        return;
    if (!d->launcherDesktopId.isEmpty())
        d->sendLauncherUpdate(d->launcherDesktopId, false);
    d->launcherDesktopId = id;
    if (!id.isEmpty())
        d->sendLauncherUpdate(id, true);
}

void TQActivityWindowController::setRowWidgetFactory(RowWidgetFactory factory)
{
    const bool hadRows = bool(d->rowFactory);
    d->rowFactory = std::move(factory);
    if (hadRows != bool(d->rowFactory)) {
        QAbstractItemDelegate *old = d->ui.listView->itemDelegate();
        d->ui.listView->setItemDelegate(d->rowFactory ? new RowBackgroundDelegate(d->ui.listView)
                                                      : new QStyledItemDelegate(d->ui.listView));
        delete old;
    }
    const int rows = d->model->rowCount();
    for (int row = 0; row < rows; ++row)
        d->ui.listView->setIndexWidget(d->model->index(row), nullptr);
    d->makeRowWidgets(0, rows - 1);
}

TQActivityRowWidget *TQActivityWindowController::rowWidget(const TQActivityItemRef &item) const
{
    const int row = d->model->rowOf(item.get());
    if (row < 0)
        return nullptr;
    return qobject_cast<TQActivityRowWidget *>(d->ui.listView->indexWidget(d->model->index(row)));
}

bool TQActivityWindowController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != d->window.get())
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
        // Every frame the user sees is the one to come back to; a hidden window's frame
        // changes only by the controller's own sizing, which the next run redoes.
        if (d->window->isVisible())
            d->saveFrame();
        break;
    case QEvent::WindowStateChange:
        // The maximise button zooms: the window snaps to fit its rows instead of filling
        // the screen.
        if (d->window->windowState().testFlag(Qt::WindowMaximized) && !d->zoomPending) {
            d->zoomPending = true;
            QMetaObject::invokeMethod(this, [this] {
                d->zoomPending = false;
                d->window->setWindowState(d->window->windowState() & ~Qt::WindowMaximized);
                zoom();
            }, Qt::QueuedConnection);
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
