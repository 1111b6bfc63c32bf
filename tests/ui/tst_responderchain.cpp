// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQResponderUtilities.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QTest>

using namespace Qt::StringLiterals;

// A responder that records which of its handlers ran and with which action.
class Handler : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;
    QStringList calls;
    QList<QAction *> senders;

    Q_INVOKABLE void openWithMenuAction(QAction *sender)
    {
        calls << QStringLiteral("openWith");
        senders << sender;
    }
public Q_SLOTS:
    void moveToMenuAction(QAction *sender)
    {
        calls << QStringLiteral("moveTo");
        senders << sender;
    }
Q_SIGNALS:
    // A signal of the right shape is not a handler.
    void copyToMenuAction(QAction *sender);
public:
    // The right name with the wrong argument is not a handler either.
    Q_INVOKABLE void aliasToMenuAction(int) { calls << QStringLiteral("alias(int)"); }
};

class Delegate : public QObject
{
    Q_OBJECT
public:
    QStringList calls;
    Q_INVOKABLE void openWithMenuAction(QAction *) { calls << QStringLiteral("openWith"); }
    Q_INVOKABLE void addToMoveToMenuAction(QAction *) { calls << QStringLiteral("addToMoveTo"); }
};

class TestResponderChain : public QObject
{
    Q_OBJECT

private:
    // A window holding a frame holding a responder that takes the focus and a line edit
    // that responds to nothing.
    struct Window
    {
        Handler window;
        Handler *frame = new Handler(&window);
        Handler *edit = new Handler(frame);
        QLineEdit *plainEdit = new QLineEdit(frame);
        Window() { edit->setFocusPolicy(Qt::StrongFocus); }
    };

    static bool activate(QWidget *window)
    {
        window->show();
        QApplication::setActiveWindow(window);
        return QTest::qWaitForWindowActive(window);
    }

private Q_SLOTS:
    void cleanup()
    {
        TQResponderUtilities::setApplicationDelegate(nullptr);
    }

    void respondsToAction_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<bool>("responds");
        QTest::newRow("invokable, with colon") << QStringLiteral("openWithMenuAction:") << true;
        QTest::newRow("invokable, without colon") << QStringLiteral("openWithMenuAction") << true;
        QTest::newRow("slot") << QStringLiteral("moveToMenuAction:") << true;
        QTest::newRow("signal") << QStringLiteral("copyToMenuAction:") << false;
        QTest::newRow("wrong argument") << QStringLiteral("aliasToMenuAction:") << false;
        QTest::newRow("no such method") << QStringLiteral("addToOpenWithMenuAction:") << false;
        QTest::newRow("empty") << QString() << false;
    }
    void respondsToAction()
    {
        QFETCH(QString, action);
        QFETCH(bool, responds);
        Handler handler;
        QCOMPARE(TQResponderUtilities::respondsToAction(&handler, action), responds);
        QVERIFY(!TQResponderUtilities::respondsToAction(nullptr, action));
    }

    // The chain runs from the key window's focus widget up to the window and its delegate,
    // through the main window's when a dialog is key, and ends with the application and its
    // delegate; the first responder of the chain that has the method gets the action,
    // whatever lies above it.
    void chainAndTarget_data()
    {
        QTest::addColumn<QString>("focus");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("chain");
        const QString fromEdit = u"edit frame window windowDelegate app appDelegate"_s;
        const QString fromDialog = u"dialogEdit dialog "_s + fromEdit;
        QTest::newRow("focus widget") << "edit" << "openWithMenuAction:" << "edit" << fromEdit;
        QTest::newRow("parent of a focus widget that cannot")
            << "plain" << "openWithMenuAction:" << "frame" << u"plain frame window windowDelegate app appDelegate"_s;
        QTest::newRow("window delegate") << "edit" << "addToMoveToMenuAction:" << "windowDelegate" << fromEdit;
        QTest::newRow("nobody") << "edit" << "addToOpenWithMenuAction:" << "" << fromEdit;
        // A dialog is key while the window it belongs to stays main.
        QTest::newRow("dialog: the main window's focus widget") << "dialog" << "openWithMenuAction:" << "edit" << fromDialog;
        QTest::newRow("dialog: the main window's delegate") << "dialog" << "addToMoveToMenuAction:" << "windowDelegate" << fromDialog;
    }

    void chainAndTarget()
    {
        QFETCH(QString, focus);
        QFETCH(QString, action);
        QFETCH(QString, target);
        QFETCH(QString, chain);
        Window w;
        Delegate windowDelegate, appDelegate;
        TQResponderUtilities::setWindowDelegate(&w.window, &windowDelegate);
        TQResponderUtilities::setApplicationDelegate(&appDelegate);
        QVERIFY(activate(&w.window));
        (focus == u"plain" ? static_cast<QWidget *>(w.plainEdit) : w.edit)->setFocus();
        QCOMPARE(TQResponderUtilities::firstResponder(&w.window), focus == u"plain" ? static_cast<QWidget *>(w.plainEdit) : w.edit);
        QDialog dialog(&w.window);
        auto *dialogEdit = new QLineEdit(&dialog);
        if (focus == u"dialog") {
            QVERIFY(activate(&dialog));
            dialogEdit->setFocus();
        }
        QCOMPARE(TQResponderUtilities::keyWindow(), focus == u"dialog" ? static_cast<QWidget *>(&dialog) : &w.window);
        QCOMPARE(TQResponderUtilities::mainWindow(), &w.window);

        const QMap<QObject *, QString> names{{w.edit, u"edit"_s}, {w.plainEdit, u"plain"_s}, {w.frame, u"frame"_s},
                                             {&w.window, u"window"_s}, {&windowDelegate, u"windowDelegate"_s},
                                             {qApp, u"app"_s}, {&appDelegate, u"appDelegate"_s},
                                             {&dialog, u"dialog"_s}, {dialogEdit, u"dialogEdit"_s}};
        QStringList heard;
        for (const QPointer<QObject> &responder : TQResponderUtilities::responderChain())
            heard << names.value(responder, u"?"_s);
        QCOMPARE(heard.join(u' '), chain);
        QObject *found = TQApplicationUtilites::betterSearchForTargetForAction(action);
        QCOMPARE(names.value(found), target);
        QCOMPARE(TQApplicationUtilites::targetForAction(action), found);
    }

    void triggeringDispatches()
    {
        Window w;
        Delegate appDelegate;
        TQResponderUtilities::setApplicationDelegate(&appDelegate);
        QVERIFY(activate(&w.window));
        w.edit->setFocus();

        QAction open;
        TQResponderUtilities::setAction(&open, QStringLiteral("openWithMenuAction:"));
        // Naming an action twice must not connect it twice.
        TQResponderUtilities::setAction(&open, QStringLiteral("openWithMenuAction:"));
        QCOMPARE(TQResponderUtilities::action(&open), QStringLiteral("openWithMenuAction:"));
        open.trigger();
        QCOMPARE(w.edit->calls, QStringList{QStringLiteral("openWith")});
        QCOMPARE(w.edit->senders, QList<QAction *>{&open});

        // Renaming the action sends the new name.
        TQResponderUtilities::setAction(&open, QStringLiteral("moveToMenuAction:"));
        open.trigger();
        QCOMPARE(w.edit->calls, (QStringList{QStringLiteral("openWith"), QStringLiteral("moveTo")}));

        // Only the application's delegate answers this one.
        QAction add;
        TQResponderUtilities::setAction(&add, QStringLiteral("addToMoveToMenuAction:"));
        add.trigger();
        QCOMPARE(appDelegate.calls, QStringList{QStringLiteral("addToMoveTo")});

        // An action nobody handles is dropped quietly; an action without a name is not sent.
        QAction nobody;
        TQResponderUtilities::setAction(&nobody, QStringLiteral("aliasToMenuAction:"));
        QVERIFY(!TQResponderUtilities::sendAction(&nobody));
        QVERIFY(!w.edit->calls.contains(QStringLiteral("alias(int)")));
        QAction unnamed;
        QVERIFY(!TQResponderUtilities::sendAction(&unnamed));
    }

    void delegatesAreHeldWeakly()
    {
        Window w;
        auto *delegate = new Delegate;
        TQResponderUtilities::setWindowDelegate(&w.window, delegate);
        TQResponderUtilities::setApplicationDelegate(delegate);
        QCOMPARE(TQResponderUtilities::windowDelegate(&w.window), delegate);
        QCOMPARE(TQResponderUtilities::applicationDelegate(), delegate);
        delete delegate;
        QCOMPARE(TQResponderUtilities::windowDelegate(&w.window), nullptr);
        QCOMPARE(TQResponderUtilities::applicationDelegate(), nullptr);
        QVERIFY(activate(&w.window));
        for (const QPointer<QObject> &responder : TQResponderUtilities::responderChain())
            QVERIFY(responder);
    }

    void inspectWithoutWindow()
    {
        QApplication::setActiveWindow(nullptr);
        QCOMPARE(TQResponderUtilities::mainWindow(), nullptr);
        QTest::ignoreMessage(QtInfoMsg, "Responder chain:");
        QTest::ignoreMessage(QtInfoMsg, "\t(null)");
        TQResponderUtilities::inspectResponderChain();
    }

};

QTEST_MAIN(TestResponderChain)
#include "tst_responderchain.moc"
