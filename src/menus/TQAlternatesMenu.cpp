// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAlternatesMenu.h"

#include "TQUiLogging.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>

namespace {

constexpr const char *ModifierMaskProperty = "modifierMask";
constexpr const char *AlternateProperty = "alternate";

constexpr Qt::KeyboardModifiers relevantModifiers =
    Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier;

// The modifier a modifier key stands for; none for any other key.
Qt::KeyboardModifier modifierOfKey(int key)
{
    switch (key) {
    case Qt::Key_Control:
        return Qt::ControlModifier;
    case Qt::Key_Alt:
        return Qt::AltModifier;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
        return Qt::MetaModifier;
    case Qt::Key_Shift:
        return Qt::ShiftModifier;
    default:
        return Qt::NoModifier;
    }
}

QAction *exactVariant(const QList<QAction *> &group, Qt::KeyboardModifiers held)
{
    const Qt::KeyboardModifiers base = TQAlternatesMenu::modifierMask(group.first());
    const Qt::KeyboardModifiers extra = held & ~base;
    if (!extra)
        return group.first();
    for (QAction *variant : group.sliced(1)) {
        if ((TQAlternatesMenu::modifierMask(variant) & ~base) == extra)
            return variant;
    }
    return nullptr;
}

QAction *variantWithShortcut(const QList<QAction *> &group, Qt::KeyboardModifiers held, int key)
{
    const QKeySequence wanted(QKeyCombination(held, Qt::Key(key)));
    for (QAction *variant : group) {
        if (variant->shortcut() == wanted)
            return variant;
    }
    return nullptr;
}

} // namespace

TQAlternatesMenu::TQAlternatesMenu(QMenu *menu)
    : QObject(menu), m_menu(menu)
{
    setObjectName(QStringLiteral("TQAlternatesMenu"));
    menu->installEventFilter(this);
    connect(menu, &QMenu::aboutToShow, this, &TQAlternatesMenu::menuAboutToShow);
}

TQAlternatesMenu *TQAlternatesMenu::forMenu(QMenu *menu)
{
    if (!menu)
        return nullptr;
    if (TQAlternatesMenu *existing = existingForMenu(menu))
        return existing;
    return new TQAlternatesMenu(menu);
}

TQAlternatesMenu *TQAlternatesMenu::existingForMenu(const QMenu *menu)
{
    return menu ? menu->findChild<TQAlternatesMenu *>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
}

void TQAlternatesMenu::addGroup(const QList<QAction *> &variants)
{
    QList<QPointer<QAction>> group;
    for (QAction *action : variants) {
        if (action)
            group.append(action);
    }
    if (!group.isEmpty())
        m_groups.append(group);
}

QList<QList<QAction *>> TQAlternatesMenu::groups() const
{
    QList<QList<QAction *>> result;
    for (const QList<QPointer<QAction>> &group : m_groups) {
        QList<QAction *> live;
        for (const QPointer<QAction> &action : group) {
            if (action)
                live.append(action);
        }
        if (!live.isEmpty())
            result.append(live);
    }
    return result;
}

Qt::KeyboardModifiers TQAlternatesMenu::heldModifiers() const
{
    return m_held;
}

QAction *TQAlternatesMenu::variantForModifiers(const QList<QAction *> &group, Qt::KeyboardModifiers held)
{
    if (group.isEmpty())
        return nullptr;
    held &= relevantModifiers;
    if (QAction *variant = exactVariant(group, held))
        return variant;
    if (held & Qt::ShiftModifier) {
        if (QAction *variant = exactVariant(group, held & ~Qt::ShiftModifier))
            return variant;
    }
    return group.first();
}

void TQAlternatesMenu::setModifierMask(QAction *action, Qt::KeyboardModifiers mask)
{
    if (action)
        action->setProperty(ModifierMaskProperty, int(mask.toInt()));
}

Qt::KeyboardModifiers TQAlternatesMenu::modifierMask(const QAction *action)
{
    const QVariant mask = action ? action->property(ModifierMaskProperty) : QVariant();
    return mask.isValid() ? Qt::KeyboardModifiers::fromInt(mask.toInt()) : Qt::KeyboardModifiers(Qt::ControlModifier);
}

void TQAlternatesMenu::setAlternate(QAction *action, bool alternate)
{
    if (action)
        action->setProperty(AlternateProperty, alternate);
}

bool TQAlternatesMenu::isAlternate(const QAction *action)
{
    return action && action->property(AlternateProperty).toBool();
}

void TQAlternatesMenu::menuAboutToShow()
{
    // The width of the widest variant set, measured with the rows the open menu will have
    // (one per group): measuring every variant at once could push a long menu into columns.
    const QList<QList<QAction *>> all = groups();
    qsizetype variants = 0;
    for (const QList<QAction *> &group : all)
        variants = std::max(variants, group.size());
    if (!m_open)
        m_hostMinimumWidth = m_menu->minimumWidth();
    m_menu->setMinimumWidth(m_hostMinimumWidth);
    int width = m_hostMinimumWidth;
    for (qsizetype k = 0; k < variants; ++k) {
        for (const QList<QAction *> &group : all) {
            QAction *shown = group.value(k, group.first());
            for (QAction *action : group)
                action->setVisible(action == shown);
        }
        width = std::max(width, m_menu->sizeHint().width());
    }
    m_menu->setMinimumWidth(width);
    m_open = true;
    showVariants(QGuiApplication::queryKeyboardModifiers());
    qCDebug(lcUi) << "Alternates of" << m_menu->title() << "open for" << m_held << "at width" << width;
}

void TQAlternatesMenu::showVariants(Qt::KeyboardModifiers held)
{
    m_held = held & relevantModifiers;
    QAction *active = m_menu->activeAction();
    QAction *newActive = nullptr;
    for (const QList<QAction *> &group : groups()) {
        QAction *shown = variantForModifiers(group, m_held);
        for (QAction *action : group) {
            if (action->isVisible() != (action == shown))
                action->setVisible(action == shown);
        }
        if (active && group.contains(active))
            newActive = shown;
    }
    if (newActive && newActive != m_menu->activeAction())
        m_menu->setActiveAction(newActive);
}

void TQAlternatesMenu::showEveryVariant()
{
    for (const QList<QAction *> &group : groups()) {
        for (QAction *action : group)
            action->setVisible(true);
    }
}

bool TQAlternatesMenu::triggerForKey(int key, Qt::KeyboardModifiers held)
{
    held &= relevantModifiers;
    for (const QList<QAction *> &group : groups()) {
        QAction *variant = variantWithShortcut(group, held, key);
        if (!variant && (held & Qt::ShiftModifier))
            variant = variantWithShortcut(group, held & ~Qt::ShiftModifier, key);
        if (!variant)
            continue;
        // Qt disables a hidden action; the variant the keys name is the one shown.
        showVariants(held);
        // As a click does: the open menus close first, then the action goes out.
        const QPointer<QAction> target(variant);
        for (int guard = 0; guard < 32; ++guard) {
            QWidget *popup = QApplication::activePopupWidget();
            if (!popup)
                break;
            popup->close();
        }
        if (target && target->isEnabled())
            target->trigger();
        return true;
    }
    return false;
}

bool TQAlternatesMenu::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_menu)
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
        auto *keyEvent = static_cast<QKeyEvent *>(event);
        if (!m_open)
            break;
        const Qt::KeyboardModifier modifier = modifierOfKey(keyEvent->key());
        if (modifier != Qt::NoModifier) {
            // Whether a modifier's own event already counts it differs between platforms.
            Qt::KeyboardModifiers held = keyEvent->modifiers();
            if (event->type() == QEvent::KeyPress)
                held |= modifier;
            else
                held &= ~modifier;
            showVariants(held);
            return true;
        }
        if (event->type() == QEvent::KeyPress && triggerForKey(keyEvent->key(), keyEvent->modifiers()))
            return true;
        break;
    }
    case QEvent::ShortcutOverride: {
        // Claims the group keys for the open menu, so a window shortcut does not take them.
        auto *keyEvent = static_cast<QKeyEvent *>(event);
        if (!m_open)
            break;
        const Qt::KeyboardModifiers held = keyEvent->modifiers() & relevantModifiers;
        for (const QList<QAction *> &group : groups()) {
            if (variantWithShortcut(group, held, keyEvent->key())
                || ((held & Qt::ShiftModifier)
                    && variantWithShortcut(group, held & ~Qt::ShiftModifier, keyEvent->key()))) {
                event->accept();
                return true;
            }
        }
        break;
    }
    case QEvent::MouseMove: {
        // A modifier the menu never heard of (pressed in another window) shows on the next move.
        const Qt::KeyboardModifiers held = static_cast<QMouseEvent *>(event)->modifiers() & relevantModifiers;
        if (m_open && held != m_held)
            showVariants(held);
        break;
    }
    case QEvent::Hide:
        m_open = false;
        showEveryVariant();
        m_menu->setMinimumWidth(m_hostMinimumWidth);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
