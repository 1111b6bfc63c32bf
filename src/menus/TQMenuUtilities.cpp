// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQMenuUtilities.h"

#include "TQAlternatesMenu.h"
#include "TQApplications.h"
#include "TQResponderUtilities.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QMenu>
#include <QThreadPool>

namespace {

QString localized(const char *englishText)
{
    return QCoreApplication::translate("Quillbox", englishText);
}

// Qt reads "&" as the mark of a mnemonic; a name is shown as it is.
QString menuTitle(const QString &name)
{
    return QString(name).replace(u'&', QStringLiteral("&&"));
}

// A 16×16 copy: the item's own icon stays as it is.
QIcon menuIcon(const TQFileRef &item)
{
    const QPixmap pixmap = item->fileIcon().pixmap(QSize(16, 16));
    return pixmap.isNull() ? QIcon() : QIcon(pixmap);
}

QAction *addItem(QMenu *menu, const QString &title, const QString &actionName)
{
    QAction *action = menu->addAction(title);
    if (!actionName.isEmpty())
        TQResponderUtilities::setAction(action, actionName);
    return action;
}

void setShortcut(QAction *action, const QKeySequence &shortcut)
{
    action->setShortcut(shortcut);
    action->setShortcutVisibleInContextMenu(true);
}

} // namespace

namespace TQMenuUtilities {

const char *const TagProperty = "tag";

int tag(const QAction *action)
{
    return action ? action->property(TagProperty).toInt() : 0;
}

std::unique_ptr<QMenu> openWithMenuForFiles(const QList<TQFileRef> &files, const QList<TQFileRef> &includeItems,
                                            const OpenWithOptions &options)
{
    return menuFromDescription(TQMenuDescriptions::openWithMenuForFiles(files, includeItems, options));
}

std::unique_ptr<QMenu> menuFromDescription(const TQMenuDescription &description)
{
    auto menu = std::make_unique<QMenu>(description.title);
    for (const TQMenuItemDescription &row : description.items) {
        if (row.isSeparator) {
            menu->addSeparator();
            continue;
        }
        QAction *action = addItem(menu.get(), menuTitle(row.title), row.actionName);
        if (!row.keyEquivalent.isEmpty())
            setShortcut(action, row.keyEquivalent);
        if (row.representedObject) {
            action->setData(QVariant::fromValue(row.representedObject));
            action->setIcon(menuIcon(row.representedObject));
        } else if (!row.iconName.isEmpty()) {
            action->setIcon(QDir::isAbsolutePath(row.iconName) ? QIcon(row.iconName) : QIcon::fromTheme(row.iconName));
        }
        if (row.isDefault) {
            QFont font = action->font();
            font.setBold(true);
            action->setFont(font);
        }
    }
    return menu;
}

namespace {

enum class Variant { Move, Copy, Alias };

constexpr Qt::KeyboardModifiers maskOf(Variant variant)
{
    switch (variant) {
    case Variant::Move:
        return Qt::ControlModifier;
    case Variant::Copy:
        return Qt::ControlModifier | Qt::AltModifier;
    case Variant::Alias:
        return Qt::ControlModifier | Qt::MetaModifier;
    }
    return Qt::ControlModifier;
}

QString actionOf(Variant variant)
{
    switch (variant) {
    case Variant::Move:
        return QStringLiteral("moveToMenuAction:");
    case Variant::Copy:
        return QStringLiteral("copyToMenuAction:");
    case Variant::Alias:
        return QStringLiteral("aliasToMenuAction:");
    }
    return {};
}

// What the three variants of one row share.
struct Row
{
    QString title;
    int key = 0; // the shortcut's key, 0 for none
    QVariant data;
    QIcon icon;
    int tag = 0;
    bool variantsMove = false; // every variant sends the move action
    bool defaultMoveMask = false; // the move variant keeps the default mask, left unset
};

void addRow(QMenu *menu, TQAlternatesMenu *alternates, const Row &row)
{
    QList<QAction *> group;
    for (const Variant variant : {Variant::Move, Variant::Copy, Variant::Alias}) {
        QAction *action = addItem(menu, row.title, actionOf(row.variantsMove ? Variant::Move : variant));
        if (variant != Variant::Move || !row.defaultMoveMask)
            TQAlternatesMenu::setModifierMask(action, maskOf(variant));
        TQAlternatesMenu::setAlternate(action, variant != Variant::Move);
        if (row.key)
            setShortcut(action, QKeySequence(QKeyCombination(maskOf(variant), Qt::Key(row.key))));
        if (row.data.isValid())
            action->setData(row.data);
        if (!row.icon.isNull())
            action->setIcon(row.icon);
        if (row.tag)
            action->setProperty(TagProperty, row.tag);
        group.append(action);
    }
    alternates->addGroup(group);
}

void addHeaders(QMenu *menu, TQAlternatesMenu *alternates, const QList<QString> &titles)
{
    QFont font = QApplication::font("QMenu");
    font.setPointSizeF(11);
    QList<QAction *> group;
    const Variant variants[] = {Variant::Move, Variant::Copy, Variant::Alias};
    for (int i = 0; i < titles.size(); ++i) {
        QAction *header = menu->addAction(titles.at(i));
        header->setFont(font);
        header->setEnabled(false);
        if (i < 3) {
            TQAlternatesMenu::setModifierMask(header, maskOf(variants[i]));
            TQAlternatesMenu::setAlternate(header, i > 0);
        }
        group.append(header);
    }
    if (group.size() > 1)
        alternates->addGroup(group);
}

Row folderRow(const TQFileRef &folder)
{
    Row row;
    if (folder) {
        row.title = menuTitle(folder->displayName());
        row.data = QVariant::fromValue(folder);
        row.icon = menuIcon(folder);
    }
    return row;
}

} // namespace

std::unique_ptr<QMenu> dropMenuWithFolders(const QList<TQFileRef> &folders, const DropMenuOptions &options)
{
    auto menu = std::make_unique<QMenu>(localized("Drop Locations"));
    TQAlternatesMenu *alternates = TQAlternatesMenu::forMenu(menu.get());

    addHeaders(menu.get(), alternates, {localized("Move to:"), localized("Copy to:"), localized("Alias in:")});

    for (qsizetype index = 0; index < folders.size(); ++index) {
        const qsizetype position = index + 1;
        Row row = folderRow(folders.at(index));
        if (position <= 9)
            row.key = Qt::Key_0 + int(position);
        else if (position == 10)
            row.key = Qt::Key_0;
        // From the eleventh folder on, every variant moves.
        row.variantsMove = position > 10;
        addRow(menu.get(), alternates, row);
    }
    if (!folders.isEmpty())
        menu->addSeparator();

    if (!options.recentDestinations.isEmpty()) {
        addHeaders(menu.get(), alternates, {localized("Recent Destinations")});
        for (const TQFileRef &folder : options.recentDestinations)
            addRow(menu.get(), alternates, folderRow(folder));
        menu->addSeparator();
    }

    Row newFolder;
    newFolder.title = localized("New Folder");
    newFolder.tag = 98;
    newFolder.defaultMoveMask = true;
    addRow(menu.get(), alternates, newFolder);
    Row otherLocation;
    otherLocation.title = localized("Other Location...");
    otherLocation.tag = 99;
    otherLocation.defaultMoveMask = true;
    addRow(menu.get(), alternates, otherLocation);

    menu->addSeparator();
    addItem(menu.get(), localized("Edit menu..."), QStringLiteral("addToMoveToMenuAction:"));
    return menu;
}

QAction *itemOfMenu(const QMenu *menu)
{
    if (!menu)
        return nullptr;
    QAction *item = menu->menuAction();
    for (QObject *holder : item->associatedObjects()) {
        if (holder != menu && qobject_cast<QMenu *>(holder))
            return item;
    }
    return nullptr;
}

QAction *addSubmenu(QMenu *parent, std::unique_ptr<QMenu> submenu)
{
    if (!parent || !submenu)
        return nullptr;
    QMenu *owned = submenu.release();
    owned->setParent(parent, owned->windowFlags());
    return parent->addMenu(owned);
}

void warmUpApplications()
{
    QThreadPool::globalInstance()->start([] {
        TQApplications::applicationsForMimeType(QStringLiteral("application/octet-stream"));
    });
}

} // namespace TQMenuUtilities
