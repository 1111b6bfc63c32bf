// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// A host window whose file list offers "Open With" and "Drop Locations" in its context menu.
// The menus' items reach the window's handler object through the responder chain.
//
//   menus [FOLDER]     the files of FOLDER (default: the home folder); right-click a file
//   menus --smoke      opens the drop menu, holds Alt, checks the rows turned into copies, exits

#include "TQAlternatesMenu.h"
#include "TQFile.h"
#include "TQMenuUtilities.h"
#include "TQResponderUtilities.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QListWidget>
#include <QMenu>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

using namespace Qt::StringLiterals;

// What the host does with the menus' actions; here it only says so.
class MenuHandler : public QObject
{
    Q_OBJECT
public:
    QStringList done;

    Q_INVOKABLE void openWithMenuAction(QAction *sender) { say(u"open with", sender); }
    Q_INVOKABLE void addToOpenWithMenuAction(QAction *sender) { say(u"edit the Open With list", sender); }
    Q_INVOKABLE void moveToMenuAction(QAction *sender) { say(u"move to", sender); }
    Q_INVOKABLE void copyToMenuAction(QAction *sender) { say(u"copy to", sender); }
    Q_INVOKABLE void aliasToMenuAction(QAction *sender) { say(u"alias in", sender); }
    Q_INVOKABLE void addToMoveToMenuAction(QAction *sender) { say(u"edit the drop locations", sender); }

private:
    void say(QStringView what, QAction *sender)
    {
        const UWStandardFileRef item = TQFile::itemFromValue(sender->data());
        const QString line = what.toString() + u' ' + (item ? item->path() : sender->text());
        done.append(line);
        std::printf("%s\n", qPrintable(line));
    }
};

class BrowserWindow : public QWidget
{
public:
    explicit BrowserWindow(const QString &folder)
    {
        setWindowTitle(folder);
        auto *layout = new QVBoxLayout(this);
        m_list = new QListWidget(this);
        layout->addWidget(m_list);
        const QFileInfoList entries = QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo &entry : entries) {
            auto *row = new QListWidgetItem(entry.fileName(), m_list);
            row->setData(Qt::UserRole, entry.absoluteFilePath());
            if (entry.isDir())
                m_folders.append(TQFile::newFileForPath(entry.absoluteFilePath()));
        }
        m_list->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(m_list, &QWidget::customContextMenuRequested, this, [this](const QPoint &at) {
            std::unique_ptr<QMenu> menu = contextMenu();
            menu->exec(m_list->viewport()->mapToGlobal(at));
        });
        TQResponderUtilities::setWindowDelegate(this, &m_handler);
    }

    std::unique_ptr<QMenu> contextMenu()
    {
        QList<TQFileRef> selected;
        for (const QListWidgetItem *row : m_list->selectedItems())
            selected.append(TQFile::newFileForPath(row->data(Qt::UserRole).toString()));
        auto menu = std::make_unique<QMenu>();
        TQMenuUtilities::addSubmenu(menu.get(), TQMenuUtilities::openWithMenuForFiles(selected, {}));
        TQMenuUtilities::addSubmenu(menu.get(), TQMenuUtilities::dropMenuWithFolders(m_folders.mid(0, 12)));
        return menu;
    }

    QListWidget *list() const { return m_list; }
    MenuHandler &handler() { return m_handler; }

private:
    QListWidget *m_list;
    QList<TQFileRef> m_folders;
    MenuHandler m_handler;
};

static int smoke(BrowserWindow &window, const QString &grabPath)
{
    // The responder chain starts at the key window, as it does when a user clicks in it.
    window.activateWindow();
    for (int wait = 0; wait < 100 && QApplication::activeWindow() != &window; ++wait)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    std::unique_ptr<QMenu> drop = TQMenuUtilities::dropMenuWithFolders(
        {TQFile::newFileForPath(QDir::homePath()), TQFile::newFileForPath(QDir::tempPath())});
    drop->popup(window.mapToGlobal(QPoint(20, 20)));
    QApplication::processEvents();
    QKeyEvent alt(QEvent::KeyPress, Qt::Key_Alt, Qt::AltModifier);
    QApplication::sendEvent(drop.get(), &alt);
    QApplication::processEvents();
    const QList<QList<QAction *>> groups = TQAlternatesMenu::existingForMenu(drop.get())->groups();
    bool copies = !groups.isEmpty();
    for (const QList<QAction *> &group : groups)
        copies = copies && group.at(1)->isVisible() && !group.at(0)->isVisible();
    if (!grabPath.isEmpty())
        drop->grab().save(grabPath);
    // Ctrl+Alt+1 while the menu is open: a copy into the first folder reaches the handler.
    QKeyEvent digit(QEvent::KeyPress, Qt::Key_1, Qt::ControlModifier | Qt::AltModifier);
    QApplication::sendEvent(drop.get(), &digit);
    const bool delivered = window.handler().done == QStringList{u"copy to "_s + QDir::homePath()};
    std::printf("alternates %s, Ctrl+Alt+1 %s\n", copies ? "switched" : "did NOT switch",
                delivered ? "delivered" : "NOT delivered");
    return copies && delivered ? 0 : 1;
}

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList arguments = QApplication::arguments();
    const bool smokeRun = arguments.contains(u"--smoke"_s);
    QString folder = QDir::homePath();
    for (const QString &argument : arguments.mid(1)) {
        if (!argument.startsWith(u"--"))
            folder = argument;
    }
    BrowserWindow window(folder);
    window.resize(420, 320);
    window.show();
    if (smokeRun) {
        const int grab = int(arguments.indexOf(u"--grab"_s));
        return smoke(window, grab > 0 ? arguments.value(grab + 1) : QString());
    }
    return QApplication::exec();
}

#include "main.moc"
