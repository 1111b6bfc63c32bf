// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQResponderUtilities.h"

#include "TQUiLogging.h"

#include <QAction>
#include <QApplication>
#include <QMetaMethod>
#include <QWidget>

namespace {

// Delegates are kept in dynamic properties as QPointers (held in a QVariant through a small
// holder) so that they need no bookkeeping of their own and vanish with their window.
constexpr const char *WindowDelegateProperty = "_tqkit_windowDelegate";

struct DelegateHolder
{
    QPointer<QObject> object;
};

QPointer<QObject> &applicationDelegateSlot()
{
    static QPointer<QObject> delegate;
    return delegate;
}

QByteArray methodNameForAction(const QString &action)
{
    QByteArray name = action.toLatin1();
    if (name.endsWith(':'))
        name.chop(1);
    return name;
}

// Dialogs and tool windows become key without becoming main, as panels do: the window a
// panel belongs to stays the main window.
bool isPanel(const QWidget *window)
{
    const Qt::WindowType type = window->windowType();
    return type == Qt::Dialog || type == Qt::Tool || type == Qt::Sheet || type == Qt::Popup;
}

void appendOnce(QList<QPointer<QObject>> &chain, QObject *object)
{
    if (!object)
        return;
    for (const QPointer<QObject> &existing : std::as_const(chain)) {
        if (existing == object)
            return;
    }
    chain.append(object);
}

void appendWindowChain(QList<QPointer<QObject>> &chain, QWidget *window)
{
    if (!window)
        return;
    for (QWidget *widget = TQResponderUtilities::firstResponder(window); widget;
         widget = widget->parentWidget()) {
        appendOnce(chain, widget);
        if (widget == window)
            break;
    }
    appendOnce(chain, TQResponderUtilities::windowDelegate(window));
}

} // namespace

Q_DECLARE_METATYPE(DelegateHolder)

namespace TQResponderUtilities {

const char *const ActionProperty = "action";

void setAction(QAction *menuAction, const QString &action)
{
    if (!menuAction)
        return;
    const bool alreadyConnected = !TQResponderUtilities::action(menuAction).isEmpty();
    menuAction->setProperty(ActionProperty, action);
    if (!alreadyConnected) {
        QObject::connect(menuAction, &QAction::triggered, menuAction,
                         [menuAction] { sendAction(menuAction); });
    }
}

QString action(const QAction *menuAction)
{
    return menuAction ? menuAction->property(ActionProperty).toString() : QString();
}

bool respondsToAction(const QObject *target, const QString &action)
{
    if (!target || action.isEmpty())
        return false;
    const QByteArray signature = methodNameForAction(action) + "(QAction*)";
    const int index = target->metaObject()->indexOfMethod(signature.constData());
    if (index < 0)
        return false;
    const QMetaMethod method = target->metaObject()->method(index);
    // Signals share the method table but are not handlers.
    return method.methodType() == QMetaMethod::Slot || method.methodType() == QMetaMethod::Method;
}

bool sendAction(QAction *menuAction)
{
    const QString name = action(menuAction);
    if (name.isEmpty())
        return false;
    QObject *target = TQApplicationUtilites::betterSearchForTargetForAction(name);
    if (!target) {
        qCDebug(lcUi) << "No target responds to" << name;
        return false;
    }
    return QMetaObject::invokeMethod(target, methodNameForAction(name).constData(),
                                     Qt::DirectConnection, Q_ARG(QAction *, menuAction));
}

void setWindowDelegate(QWidget *window, QObject *delegate)
{
    if (!window)
        return;
    window->setProperty(WindowDelegateProperty,
                        delegate ? QVariant::fromValue(DelegateHolder{delegate}) : QVariant());
}

QObject *windowDelegate(const QWidget *window)
{
    if (!window)
        return nullptr;
    return window->property(WindowDelegateProperty).value<DelegateHolder>().object.data();
}

void setApplicationDelegate(QObject *delegate)
{
    applicationDelegateSlot() = delegate;
}

QObject *applicationDelegate()
{
    return applicationDelegateSlot().data();
}

QWidget *keyWindow()
{
    return QApplication::activeWindow();
}

QWidget *mainWindow()
{
    QWidget *window = keyWindow();
    while (window && isPanel(window) && window->parentWidget())
        window = window->parentWidget()->window();
    return window;
}

QWidget *firstResponder(QWidget *window)
{
    if (!window)
        return nullptr;
    QWidget *focus = window->focusWidget();
    return focus && focus->window() == window ? focus : window;
}

QList<QPointer<QObject>> responderChain()
{
    QList<QPointer<QObject>> chain;
    QWidget *key = keyWindow();
    appendWindowChain(chain, key);
    QWidget *main = mainWindow();
    if (main != key)
        appendWindowChain(chain, main);
    appendOnce(chain, QCoreApplication::instance());
    appendOnce(chain, applicationDelegate());
    return chain;
}

void inspectResponderChain()
{
    // Asked for by name while debugging, so it prints whatever the categories are set to.
    qInfo().noquote() << "Responder chain:";
    QWidget *main = mainWindow();
    if (!main) {
        qInfo().noquote() << "\t(null)";
        return;
    }
    QList<QPointer<QObject>> chain;
    // Only the main window's own chain, as a window's responders lead to its delegate and
    // end there; the application is reached by action dispatch, not by that chain.
    appendWindowChain(chain, main);
    for (const QPointer<QObject> &responder : std::as_const(chain)) {
        QString description;
        QDebug(&description).nospace() << responder.data();
        qInfo().noquote() << QString(QLatin1Char('\t') + description);
    }
}

} // namespace TQResponderUtilities

namespace TQApplicationUtilites {

QObject *targetForAction(const QString &action)
{
    const QList<QPointer<QObject>> chain = TQResponderUtilities::responderChain();
    for (const QPointer<QObject> &responder : chain) {
        if (TQResponderUtilities::respondsToAction(responder, action))
            return responder;
    }
    return nullptr;
}

QObject *betterSearchForTargetForAction(const QString &action)
{
    using namespace TQResponderUtilities;
    QObject *target = targetForAction(action);
    if (!target)
        target = windowDelegate(keyWindow());
    if (target && respondsToAction(target, action))
        return target;
    QObject *mainDelegate = windowDelegate(mainWindow());
    return respondsToAction(mainDelegate, action) ? mainDelegate : nullptr;
}

} // namespace TQApplicationUtilites
