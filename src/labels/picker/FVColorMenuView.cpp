// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVColorMenuView.h"

#include "FVColorMenuMatrix.h"
#include "TQInvalidParameterException.h"
#include "TQUiLogging.h"
#include "ui_FVColorMenuView.h"
#include "ui_FVColorMenuViewSmall.h"

#include <QApplication>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>

namespace {

template<typename Form>
void setUpForm(QWidget *view)
{
    Form form;
    form.setupUi(view);
}

} // namespace

FVColorMenuView::FVColorMenuView(QWidget *parent)
    : QWidget(parent)
{
    setFocusPolicy(Qt::NoFocus);
}

FVColorMenuView::~FVColorMenuView() = default;

std::unique_ptr<FVColorMenuView> FVColorMenuView::menuView()
{
    return fromInterface(setUpForm<Ui::FVColorMenuView>);
}

std::unique_ptr<FVColorMenuView> FVColorMenuView::menuViewSmall()
{
    return fromInterface(setUpForm<Ui::FVColorMenuViewSmall>);
}

std::unique_ptr<FVColorMenuView> FVColorMenuView::fromInterface(const std::function<void(QWidget *)> &setupUi)
{
    auto view = std::make_unique<FVColorMenuView>();
    if (setupUi)
        setupUi(view.get());
    if (view->children().isEmpty())
        throw TQInvalidParameterException(QStringLiteral("[objects count] > 0"), __FILE__, __LINE__);
    view->awakeFromNib();
    return view;
}

void FVColorMenuView::awakeFromNib()
{
    _matrix = findChild<FVColorMenuMatrix *>(QStringLiteral("_matrix"));
    _labelField = findChild<QLabel *>(QStringLiteral("_labelField"));
    _labelNameField = findChild<QLabel *>(QStringLiteral("_labelNameField"));

    connect(FVColorNameUpdateNotifier::instance(), &FVColorNameUpdateNotifier::colorNameUpdate, this,
            &FVColorMenuView::_handleColorNameUpdate);

    const QFont menuFont = QApplication::font("QMenu");
    if (_labelNameField) {
        _labelNameField->clear();
        _labelNameField->setFont(menuFont);
        // An empty name must not make the picker shorter, or the menu would jump on hover.
        _labelNameField->setMinimumHeight(_labelNameField->fontMetrics().height());
    }
    if (_labelField) {
        _labelField->setFont(menuFont);
        _labelField->setText(QCoreApplication::translate("UWStorageKit", "Label:"));
        _labelField->adjustSize();
    }
    if (_matrix)
        connect(_matrix, &FVColorMenuMatrix::cellActivated, this, &FVColorMenuView::fvLabelColorAction);
    else
        qCDebug(lcUi) << "label picker made without a matrix";

    // Not in a window yet: disabled until shown.
    viewWillMoveToWindow(false);
}

void FVColorMenuView::selectLabel(int label)
{
    if (!_matrix)
        throw TQInvalidParameterException(QStringLiteral("nil != _matrix"), __FILE__, __LINE__);
    _matrix->selectCellWithTag(label);
}

int FVColorMenuView::selectedTag() const
{
    const FVColorMenuCell *cell = _matrix ? _matrix->selectedCell() : nullptr;
    if (!cell)
        throw TQInvalidParameterException(QStringLiteral("nil != [_matrix selectedCell]"), __FILE__, __LINE__);
    return cell->tag();
}

QWidgetAction *FVColorMenuView::menuAction() const
{
    if (m_menuAction)
        return m_menuAction;
    if (const QMenu *menu = enclosingMenu()) {
        const QList<QAction *> actions = menu->actions();
        for (QAction *action : actions) {
            auto *widgetAction = qobject_cast<QWidgetAction *>(action);
            if (widgetAction && widgetAction->defaultWidget() == this)
                return widgetAction;
        }
    }
    return nullptr;
}

void FVColorMenuView::setMenuAction(QWidgetAction *action)
{
    m_menuAction = action;
}

QMenu *FVColorMenuView::enclosingMenu() const
{
    for (QWidget *widget = parentWidget(); widget; widget = widget->parentWidget()) {
        if (auto *menu = qobject_cast<QMenu *>(widget))
            return menu;
    }
    return nullptr;
}

void FVColorMenuView::fvLabelColorAction()
{
    const int label = selectedTag();
    QWidgetAction *action = menuAction();
    if (auto *colorAction = qobject_cast<FVColorMenuAction *>(action))
        colorAction->m_tag = label;
    emit labelPicked(label);

    // The action runs while the picker still holds its selection, so that a host reading
    // tag() gets it; then the menus close, which disables the picker and clears it.
    QPointer<FVColorMenuView> self(this);
    if (action && action->isEnabled())
        action->trigger();
    if (!self || !self->enclosingMenu())
        return;
    while (QWidget *popup = QApplication::activePopupWidget()) {
        popup->close();
        if (QApplication::activePopupWidget() == popup)
            break;
    }
}

void FVColorMenuView::_handleColorNameUpdate(FVColorMenuMatrix *matrix)
{
    if (matrix == _matrix && _labelNameField)
        _labelNameField->setText(_matrix->boxedLabelName());
}

void FVColorMenuView::viewWillMoveToWindow(bool intoWindow)
{
    const QWidgetAction *action = menuAction();
    const bool enabled = intoWindow && (!action || action->isEnabled());
    if (_labelNameField)
        _labelNameField->setEnabled(enabled);
    if (_labelField)
        _labelField->setEnabled(enabled);
    if (_matrix) {
        _matrix->setEnabled(enabled);
        if (enabled && _matrix->isEnabled())
            _matrix->getSelectedRows();
    }
}

void FVColorMenuView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    viewWillMoveToWindow(true);
    if (QMenu *menu = enclosingMenu(); menu && menu != m_watchedMenu) {
        if (m_watchedMenu) {
            m_watchedMenu->removeEventFilter(this);
            disconnect(m_watchedMenu, nullptr, this, nullptr);
        }
        m_watchedMenu = menu;
        menu->installEventFilter(this);
        // A box the keyboard left behind goes when the menu's own navigation moves on.
        connect(menu, &QMenu::hovered, this, [this](QAction *hovered) {
            if (_matrix && hovered != menuAction() && _matrix->boxedRow() >= 0)
                _matrix->setBoxedCell(-1, -1);
        });
    }
}

void FVColorMenuView::hideEvent(QHideEvent *event)
{
    viewWillMoveToWindow(false);
    QWidget::hideEvent(event);
}

bool FVColorMenuView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_watchedMenu || event->type() != QEvent::KeyPress || !_matrix || !_matrix->isEnabled())
        return QWidget::eventFilter(watched, event);
    QAction *action = menuAction();
    const auto *menu = qobject_cast<QMenu *>(watched);
    if (!action || !menu || menu->activeAction() != action)
        return QWidget::eventFilter(watched, event);

    const auto *key = static_cast<QKeyEvent *>(event);
    switch (key->key()) {
    case Qt::Key_Left:
        return _matrix->moveBox(-1);
    case Qt::Key_Right:
        return _matrix->moveBox(1);
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Without a box there is nothing to pick; the menu must not trigger the action
        // with a stale label either.
        if (_matrix->boxedRow() >= 0)
            _matrix->performClickOnCell(_matrix->boxedRow(), _matrix->boxedColumn());
        return true;
    default:
        return QWidget::eventFilter(watched, event);
    }
}

FVColorMenuAction::FVColorMenuAction(QObject *parent, Variant variant)
    : QWidgetAction(parent)
    , m_variant(variant)
{
}

FVColorMenuAction::~FVColorMenuAction() = default;

QWidget *FVColorMenuAction::createWidget(QWidget *parent)
{
    std::unique_ptr<FVColorMenuView> view = m_variant == Small ? FVColorMenuView::menuViewSmall() : FVColorMenuView::menuView();
    view->setMenuAction(this);
    view->setParent(parent);
    // The action's enabled state reaches its pickers through QWidgetAction; a new one
    // starts in step with it.
    view->setEnabled(isEnabled());
    return view.release();
}
