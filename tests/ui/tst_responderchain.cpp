// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQResponderUtilities.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QRegularExpression>
#include <QTest>
#include <QVBoxLayout>

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
    // A window holding a frame holding a line edit that has the focus.
    struct Window
    {
        Handler window;
        Handler *frame = nullptr;
        Handler *edit = nullptr;
        QLineEdit *plainEdit = nullptr;

        Window()
        {
            auto *layout = new QVBoxLayout(&window);
            frame = new Handler(&window);
            layout->addWidget(frame);
            auto *inner = new QVBoxLayout(frame);
            edit = new Handler(frame);
            edit->setFocusPolicy(Qt::StrongFocus);
            inner->addWidget(edit);
            plainEdit = new QLineEdit(frame);
            inner->addWidget(plainEdit);
        }
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

    void chainOrder()
    {
        Window w;
        Delegate windowDelegate;
        Delegate appDelegate;
        TQResponderUtilities::setWindowDelegate(&w.window, &windowDelegate);
        TQResponderUtilities::setApplicationDelegate(&appDelegate);
        QVERIFY(activate(&w.window));
        w.edit->setFocus();
        QCOMPARE(TQResponderUtilities::firstResponder(&w.window), w.edit);

        const QList<QPointer<QObject>> chain = TQResponderUtilities::responderChain();
        const QList<QObject *> expected{w.edit, w.frame, &w.window, &windowDelegate, qApp,
                                        &appDelegate};
        QCOMPARE(chain.size(), expected.size());
        for (int i = 0; i < chain.size(); ++i)
            QCOMPARE(chain.at(i).data(), expected.at(i));
    }

    // The first responder of the chain that has the method gets it, whatever lies above it.
    void targetIsFirstThatResponds_data()
    {
        QTest::addColumn<QString>("focus");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("target");
        QTest::newRow("focus widget") << "edit" << "openWithMenuAction:" << "edit";
        QTest::newRow("parent of a focus widget that cannot") << "plain" << "openWithMenuAction:" << "frame";
        QTest::newRow("window delegate") << "edit" << "addToMoveToMenuAction:" << "windowDelegate";
        QTest::newRow("nobody") << "edit" << "addToOpenWithMenuAction:" << "";
    }
    void targetIsFirstThatResponds()
    {
        QFETCH(QString, focus);
        QFETCH(QString, action);
        QFETCH(QString, target);
        Window w;
        Delegate windowDelegate;
        TQResponderUtilities::setWindowDelegate(&w.window, &windowDelegate);
        QVERIFY(activate(&w.window));
        if (focus == QLatin1String("edit"))
            w.edit->setFocus();
        else
            w.plainEdit->setFocus();
        const QMap<QString, QObject *> names{{QStringLiteral("edit"), w.edit},
                                             {QStringLiteral("frame"), w.frame},
                                             {QStringLiteral("windowDelegate"), &windowDelegate}};
        QObject *found = TQApplicationUtilites::betterSearchForTargetForAction(action);
        QCOMPARE(found, names.value(target));
        QCOMPARE(TQApplicationUtilites::targetForAction(action), names.value(target));
    }

    // A dialog is key while the window it belongs to stays main: the dialog's chain is asked
    // first, then the main window's, then the application's.
    void panelKeepsMainWindow()
    {
        Window w;
        Delegate mainDelegate;
        TQResponderUtilities::setWindowDelegate(&w.window, &mainDelegate);
        QVERIFY(activate(&w.window));
        w.edit->setFocus();
        QDialog dialog(&w.window);
        auto *dialogEdit = new QLineEdit(&dialog);
        QVERIFY(activate(&dialog));
        dialogEdit->setFocus();

        QCOMPARE(TQResponderUtilities::keyWindow(), &dialog);
        QCOMPARE(TQResponderUtilities::mainWindow(), &w.window);
        const QList<QPointer<QObject>> chain = TQResponderUtilities::responderChain();
        QVERIFY(chain.size() >= 5);
        QCOMPARE(chain.at(0).data(), dialogEdit);
        QCOMPARE(chain.at(1).data(), &dialog);
        QCOMPARE(chain.at(2).data(), w.edit);
        QCOMPARE(TQApplicationUtilites::betterSearchForTargetForAction(
                     QStringLiteral("openWithMenuAction:")), w.edit);
        QCOMPARE(TQApplicationUtilites::betterSearchForTargetForAction(
                     QStringLiteral("addToMoveToMenuAction:")), &mainDelegate);
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
