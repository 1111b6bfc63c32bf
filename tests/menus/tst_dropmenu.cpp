// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAlternatesMenu.h"
#include "TQMenuUtilities.h"
#include "TQResponderUtilities.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QImage>
#include <QKeyEvent>
#include <QMenu>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

// The host's window: where the menu's actions arrive through the responder chain.
class HostWindow : public QWidget
{
    Q_OBJECT
public:
    QStringList received; // "action folder-name"

    Q_INVOKABLE void moveToMenuAction(QAction *sender) { record(u"move"_s, sender); }
    Q_INVOKABLE void copyToMenuAction(QAction *sender) { record(u"copy"_s, sender); }
    Q_INVOKABLE void aliasToMenuAction(QAction *sender) { record(u"alias"_s, sender); }

private:
    void record(const QString &what, QAction *sender)
    {
        const UWStandardFileRef folder = TQFile::itemFromValue(sender->data());
        received.append(what + u' ' + (folder ? folder->displayName() : sender->text()));
    }
};

// One line per item: title, shortcut, action, then tag, mask and alternate where set.
static QString describe(const QAction *action)
{
    if (action->isSeparator())
        return u"---"_s;
    QString line = action->text();
    if (!action->shortcut().isEmpty())
        line += u" ["_s + action->shortcut().toString(QKeySequence::PortableText) + u']';
    if (const QString name = TQResponderUtilities::action(action); !name.isEmpty())
        line += u' ' + name;
    if (const int tag = TQMenuUtilities::tag(action))
        line += u" tag "_s + QString::number(tag);
    if (TQAlternatesMenu::isAlternate(action))
        line += u" alternate"_s;
    return line;
}

static QStringList describe(const QMenu &menu)
{
    QStringList lines;
    for (const QAction *action : menu.actions())
        lines.append(describe(action));
    return lines;
}

static QStringList visibleTitles(const QMenu &menu)
{
    QStringList titles;
    for (const QAction *action : menu.actions()) {
        if (action->isVisible() && !action->isSeparator())
            titles.append(action->text() + u' ' + TQResponderUtilities::action(action));
    }
    return titles;
}

class TestDropMenu : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    HostWindow *m_host = nullptr;

    QList<TQFileRef> folders(int count) const
    {
        QList<TQFileRef> result;
        for (int i = 1; i <= count; ++i)
            result.append(TQFile::newFileForPath(m_root.filePath(u"Folder "_s + QString::number(i))));
        return result;
    }

    std::unique_ptr<QMenu> openMenu(int count)
    {
        std::unique_ptr<QMenu> menu = TQMenuUtilities::dropMenuWithFolders(folders(count));
        menu->popup(m_host->mapToGlobal(QPoint(10, 10)));
        if (!QTest::qWaitForWindowExposed(menu.get()))
            return nullptr;
        return menu;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        for (int i = 1; i <= 12; ++i)
            QVERIFY(QDir(m_root.path()).mkpath(u"Folder "_s + QString::number(i)));
        // A theme of our own with a folder icon: the machine may have none.
        QVERIFY(QDir(m_root.path()).mkpath(u"icons/tqtest/16x16/places"_s));
        QFile index(m_root.filePath(u"icons/tqtest/index.theme"_s));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=tqtest\nDirectories=16x16/places\n\n[16x16/places]\nSize=16\nType=Fixed\n");
        index.close();
        QImage folderIcon(16, 16, QImage::Format_ARGB32);
        folderIcon.fill(Qt::darkYellow);
        QVERIFY(folderIcon.save(m_root.filePath(u"icons/tqtest/16x16/places/folder.png"_s)));
        QIcon::setThemeSearchPaths({m_root.filePath(u"icons"_s)});
        QIcon::setThemeName(u"tqtest"_s);
        m_host = new HostWindow;
        m_host->resize(300, 200);
        m_host->show();
        m_host->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_host));
    }

    void init()
    {
        // Nothing held from the test before: an open menu starts from the keys held.
        QTest::keyRelease(m_host->windowHandle(), Qt::Key_Shift, Qt::NoModifier);
        QCOMPARE(QGuiApplication::queryKeyboardModifiers(), Qt::NoModifier);
    }

    void cleanupTestCase() { delete m_host; }

    void shape_data()
    {
        QTest::addColumn<int>("folders");
        QTest::addColumn<int>("recent");
        QTest::addColumn<int>("from"); // the first item compared; from 0, the whole menu
        QTest::addColumn<QStringList>("expected");

        const QStringList headers{u"Move to:"_s, u"Copy to: alternate"_s, u"Alias in: alternate"_s};
        const QStringList fixed{
            u"New Folder moveToMenuAction: tag 98"_s, u"New Folder copyToMenuAction: tag 98 alternate"_s,
            u"New Folder aliasToMenuAction: tag 98 alternate"_s, u"Other Location... moveToMenuAction: tag 99"_s,
            u"Other Location... copyToMenuAction: tag 99 alternate"_s, u"Other Location... aliasToMenuAction: tag 99 alternate"_s,
            u"---"_s, u"Edit menu... addToMoveToMenuAction:"_s};
        QTest::newRow("no folders: no separator after the headers") << 0 << 0 << 0 << (headers + fixed);
        QTest::newRow("two folders, three variants each, numbered from 1") << 2 << 0 << 0
            << (headers
                + QStringList{u"Folder 1 [Ctrl+1] moveToMenuAction:"_s, u"Folder 1 [Ctrl+Alt+1] copyToMenuAction: alternate"_s,
                              u"Folder 1 [Meta+Ctrl+1] aliasToMenuAction: alternate"_s, u"Folder 2 [Ctrl+2] moveToMenuAction:"_s,
                              u"Folder 2 [Ctrl+Alt+2] copyToMenuAction: alternate"_s,
                              u"Folder 2 [Meta+Ctrl+2] aliasToMenuAction: alternate"_s, u"---"_s}
                + fixed);
        // Three rows a folder after the three headers: the tenth folder's start at 30.
        QTest::newRow("the tenth folder is Ctrl+0, the eleventh has no shortcut and only moves") << 11 << 0 << 30
            << QStringList{u"Folder 10 [Ctrl+0] moveToMenuAction:"_s, u"Folder 10 [Ctrl+Alt+0] copyToMenuAction: alternate"_s,
                           u"Folder 10 [Meta+Ctrl+0] aliasToMenuAction: alternate"_s, u"Folder 11 moveToMenuAction:"_s,
                           u"Folder 11 moveToMenuAction: alternate"_s, u"Folder 11 moveToMenuAction: alternate"_s, u"---"_s};
        QTest::newRow("recent destinations after the folders, without shortcuts") << 1 << 1 << 6
            << QStringList{u"---"_s, u"Recent Destinations"_s, u"Folder 12 moveToMenuAction:"_s,
                           u"Folder 12 copyToMenuAction: alternate"_s, u"Folder 12 aliasToMenuAction: alternate"_s, u"---"_s,
                           u"New Folder moveToMenuAction: tag 98"_s};
    }
    void shape()
    {
        QFETCH(int, folders);
        QFETCH(int, recent);
        QFETCH(int, from);
        QFETCH(QStringList, expected);
        TQMenuUtilities::DropMenuOptions options;
        options.recentDestinations = this->folders(12).mid(12 - recent);
        const std::unique_ptr<QMenu> menu = TQMenuUtilities::dropMenuWithFolders(this->folders(folders), options);
        QCOMPARE(menu->title(), u"Drop Locations"_s);
        QCOMPARE(menu->parent(), nullptr);
        QCOMPARE(describe(*menu).mid(from, from ? expected.size() : -1), expected);
        for (int i = 0; i < 3; ++i)
            QVERIFY2(!menu->actions().at(i)->isEnabled(), "headers have no action and show disabled");
        // Headers, folders and the fixed rows all come in threes with the same three masks.
        const QList<QList<QAction *>> groups = TQAlternatesMenu::existingForMenu(menu.get())->groups();
        QCOMPARE(groups.size(), 3 + folders + recent);
        for (const QList<QAction *> &group : groups) {
            QCOMPARE(group.size(), 3);
            QCOMPARE(TQAlternatesMenu::modifierMask(group.at(0)), Qt::ControlModifier);
            QCOMPARE(TQAlternatesMenu::modifierMask(group.at(1)), Qt::ControlModifier | Qt::AltModifier);
            QCOMPARE(TQAlternatesMenu::modifierMask(group.at(2)), Qt::ControlModifier | Qt::MetaModifier);
        }
    }

    void sharedImagesAndGoneFolders()
    {
        // A folder that is gone still gets its three items; a missing entry in the list too.
        QList<TQFileRef> list = folders(1);
        list.append(TQFileRef());
        const std::unique_ptr<QMenu> menu = TQMenuUtilities::dropMenuWithFolders(list);
        const QList<QAction *> actions = menu->actions();

        const QIcon icon = actions.at(3)->icon();
        QVERIFY(!icon.isNull());
        QCOMPARE(icon.availableSizes(), QList<QSize>{QSize(16, 16)});
        for (int i = 4; i < 6; ++i)
            QCOMPARE(actions.at(i)->icon().cacheKey(), icon.cacheKey());
        QCOMPARE(TQFile::itemFromValue(actions.at(4)->data()).get(), list.first().get());

        for (int i = 6; i < 9; ++i) {
            QCOMPARE(actions.at(i)->text(), QString());
            QVERIFY(actions.at(i)->icon().isNull());
        }
        QCOMPARE(actions.at(6)->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_2));
    }

    void variantsFollowTheModifiersHeld_data()
    {
        QTest::addColumn<QList<int>>("keys"); // pressed in order; a negative key is released
        QTest::addColumn<QStringList>("expected"); // the header and the first folder as shown

        const QStringList move{u"Move to: "_s, u"Folder 1 moveToMenuAction:"_s};
        const QStringList copy{u"Copy to: "_s, u"Folder 1 copyToMenuAction:"_s};
        const QStringList alias{u"Alias in: "_s, u"Folder 1 aliasToMenuAction:"_s};
        QTest::newRow("nothing held: move") << QList<int>{} << move;
        QTest::newRow("Alt alone: copy") << QList<int>{Qt::Key_Alt} << copy;
        QTest::newRow("Meta: alias") << QList<int>{Qt::Key_Meta} << alias;
        QTest::newRow("Alt released: back to move") << QList<int>{Qt::Key_Alt, -Qt::Key_Alt} << move;
        QTest::newRow("Alt released, Meta held: alias") << QList<int>{Qt::Key_Alt, Qt::Key_Meta, -Qt::Key_Alt} << alias;
        QTest::newRow("Alt and Meta together match no variant: move") << QList<int>{Qt::Key_Alt, Qt::Key_Meta} << move;
        QTest::newRow("Shift with Alt still copies") << QList<int>{Qt::Key_Shift, Qt::Key_Alt} << copy;
    }

    void variantsFollowTheModifiersHeld()
    {
        QFETCH(QList<int>, keys);
        const std::unique_ptr<QMenu> menu = openMenu(2);
        QVERIFY(menu);
        Qt::KeyboardModifiers held;
        const auto modifierOf = [](int key) {
            return key == Qt::Key_Alt ? Qt::AltModifier : key == Qt::Key_Meta ? Qt::MetaModifier
                 : key == Qt::Key_Shift ? Qt::ShiftModifier : Qt::ControlModifier;
        };
        for (int key : keys) {
            // A modifier's own press already counts it, its release no longer does.
            if (key > 0) {
                held |= modifierOf(key);
                QTest::keyPress(menu.get(), Qt::Key(key), held);
            } else {
                // QTest would release every modifier of the mask; a platform sends one release
                // with the modifiers still held.
                held &= ~modifierOf(-key);
                QKeyEvent release(QEvent::KeyRelease, -key, held);
                QApplication::sendEvent(menu.get(), &release);
            }
            QVERIFY2(menu->isVisible(), "a modifier key must not close the menu");
        }
        QTEST(visibleTitles(*menu).mid(0, 2), "expected");
        QCOMPARE(visibleTitles(*menu).size(), 1 + 2 + 2 + 1); // one variant per row
        menu->close(); // closed: every variant visible again
        for (const QAction *action : menu->actions())
            QVERIFY(action->isVisible());
    }

    void highlightedRowAndWidthStay()
    {
        const std::unique_ptr<QMenu> menu = openMenu(3);
        QVERIFY(menu);
        const QList<QAction *> actions = menu->actions();
        menu->setActiveAction(actions.at(6)); // Folder 2, move
        const int width = menu->width();
        QCOMPARE(menu->activeAction(), actions.at(6));
        QTest::keyPress(menu.get(), Qt::Key_Meta, Qt::MetaModifier);
        QCOMPARE(menu->activeAction(), actions.at(8)); // Folder 2, alias
        QCOMPARE(menu->width(), width);
        QTest::keyRelease(menu.get(), Qt::Key_Meta, Qt::NoModifier);
        QCOMPARE(menu->activeAction(), actions.at(6));
        QCOMPARE(menu->width(), width);
        // The widest variant ("Ctrl+Meta+3") fits from the start.
        QVERIFY(width >= menu->fontMetrics().horizontalAdvance(u"Folder 3Ctrl+Meta+3"_s));
    }

    void openingTakesTheModifiersAlreadyHeld()
    {
        QTest::keyPress(m_host->windowHandle(), Qt::Key_Alt, Qt::AltModifier);
        QCOMPARE(QGuiApplication::queryKeyboardModifiers(), Qt::AltModifier);
        const std::unique_ptr<QMenu> menu = openMenu(1);
        QVERIFY(menu);
        QCOMPARE(visibleTitles(*menu).mid(0, 2), (QStringList{u"Copy to: "_s, u"Folder 1 copyToMenuAction:"_s}));
        // The open menu hears the release, wherever it was pressed.
        QTest::keyRelease(m_host->windowHandle(), Qt::Key_Alt, Qt::NoModifier);
        QCOMPARE(visibleTitles(*menu).mid(0, 2), (QStringList{u"Move to: "_s, u"Folder 1 moveToMenuAction:"_s}));
    }

    void digitKeysTriggerTheHeldVariant_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QStringList>("received");

        QTest::newRow("Ctrl+1 moves into the first folder") << int(Qt::Key_1) << Qt::KeyboardModifiers(Qt::ControlModifier)
                                                            << QStringList{u"move Folder 1"_s};
        QTest::newRow("Ctrl+Alt+1 copies into it") << int(Qt::Key_1) << (Qt::ControlModifier | Qt::AltModifier)
                                                   << QStringList{u"copy Folder 1"_s};
        QTest::newRow("a digit typed with Shift still counts") << int(Qt::Key_2) << (Qt::ControlModifier | Qt::ShiftModifier)
                                                               << QStringList{u"move Folder 2"_s};
        QTest::newRow("a digit without Ctrl is no shortcut") << int(Qt::Key_1) << Qt::KeyboardModifiers() << QStringList();
    }

    void digitKeysTriggerTheHeldVariant()
    {
        QFETCH(int, key);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(QStringList, received);
        m_host->received.clear();
        const std::unique_ptr<QMenu> menu = openMenu(11);
        QVERIFY(menu);
        QTest::keyClick(menu.get(), Qt::Key(key), modifiers);
        QCOMPARE(m_host->received, received);
        QCOMPARE(menu->isVisible(), received.isEmpty());
    }
};

QTEST_MAIN(TestDropMenu)
#include "tst_dropmenu.moc"
