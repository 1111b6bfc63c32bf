#include "TQMenuUtilities.h"

#include "TQAlternatesMenu.h"
#include "TQApplications.h"
#include "TQGioApplicationOrder_p.h"
#include "TQResponderUtilities.h"
#include "TQTypeRegistry.h"
#include "TQUiLogging.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QSet>
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

QString mimeTypeOf(const TQFileRef &file)
{
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    const QString type = file->resolvedUTI();
    if (type.isEmpty())
        return {};
    const QString mime = registry.preferredMimeType(type);
    return mime.isEmpty() ? registry.mimeTypes(type).value(0) : mime;
}

// A broken entry stays broken until someone repairs it: one line per entry and process is
// enough, not one per right click. Menus are built on the GUI thread only.
void warnOnce(const QString &desktopFilePath, const char *what)
{
    static QSet<QString> warned;
    if (warned.contains(desktopFilePath)) {
        qCDebug(lcUi, "Open With: left out %s: %s", qUtf8Printable(desktopFilePath), what);
        return;
    }
    warned.insert(desktopFilePath);
    qCWarning(lcUi, "Open With: left out %s: %s", qUtf8Printable(desktopFilePath), what);
}

QString hostDesktopFileName()
{
    QString name = QGuiApplication::desktopFileName();
    if (!name.isEmpty() && !name.endsWith(u".desktop"))
        name += u".desktop";
    return name;
}

bool containsObject(const QList<TQFileRef> &items, const TQFileRef &item)
{
    for (const TQFileRef &candidate : items) {
        if (candidate.get() == item.get())
            return true;
    }
    return false;
}

// The applications of the first file's type as items of their desktop entries, in GIO's
// order. TQApplications decides which entries can be launched; GIO alone knows its order.
QList<TQFileRef> systemApplications(const TQFileRef &file, const QString &mimeType)
{
    QList<TQFileRef> result;
    if (mimeType.isEmpty())
        return result;
    const QList<TQApplicationInfo> applications = TQApplications::applicationsForMimeType(mimeType);
    QSet<QString> launchable;
    for (const TQApplicationInfo &app : applications)
        launchable.insert(app.id);

    QSet<QString> listed;
    for (const TQGioApplicationOrder::Entry &entry : TQGioApplicationOrder::applicationsForMimeType(mimeType)) {
        const QString path = QFile::decodeName(entry.desktopFilePath);
        listed.insert(entry.id);
        if (!launchable.contains(entry.id)) {
            warnOnce(path, "the entry cannot be launched (deleted, or no program to run)");
            continue;
        }
        if (!entry.hasName) {
            warnOnce(path, "the entry has no Name");
            continue;
        }
        if (TQFileRef item = TQFile::newFileForNativePath(entry.desktopFilePath))
            result.append(item);
    }
    // GIO's default may be named only by a [Default Applications] group, outside its list.
    // (GIO itself drops entries marked Hidden or whose program is missing, without a word.)
    for (const TQApplicationInfo &app : applications) {
        if (!listed.contains(app.id)) {
            if (TQFileRef item = TQFile::newFileForPath(app.desktopFilePath))
                result.append(item);
        }
    }
    qCDebug(lcUi) << "Open With:" << result.size() << "applications for" << mimeType << "of" << file->path();
    return result;
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
    auto menu = std::make_unique<QMenu>(localized("Open With"));
    const auto addApplication = [&menu](const TQFileRef &item) {
        QAction *action = addItem(menu.get(), menuTitle(item->displayName()), QStringLiteral("openWithMenuAction:"));
        action->setData(QVariant::fromValue(item));
        action->setIcon(menuIcon(item));
        return action;
    };

    bool first = true;
    for (const TQFileRef &include : includeItems) {
        if (!include)
            continue;
        QAction *action = addApplication(include);
        if (first)
            setShortcut(action, QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_O));
        first = false;
    }
    if (!first)
        menu->addSeparator();

    const TQFileRef file = files.value(0);
    if (file && !file->isPlaceholder() && !file->URL().isEmpty()) {
        const QString mimeType = mimeTypeOf(file);
        const QList<TQFileRef> applications = systemApplications(file, mimeType);
        QString defaultPath;
        if (options.markDefaultApplication)
            defaultPath = TQApplications::defaultApplicationForMimeType(mimeType).desktopFilePath;
        const QString host = options.excludeHostApplication ? hostDesktopFileName() : QString();
        bool added = false;
        for (const TQFileRef &application : applications) {
            if (application->isPlaceholder() || containsObject(includeItems, application))
                continue;
            if (!host.isEmpty() && application->fileName() == host)
                continue;
            QAction *action = addApplication(application);
            if (!defaultPath.isEmpty() && QDir::cleanPath(application->path()) == defaultPath) {
                QFont font = action->font();
                font.setBold(true);
                action->setFont(font);
            }
            added = true;
        }
        if (added)
            menu->addSeparator();
    }

    addItem(menu.get(), localized("Edit menu..."), QStringLiteral("addToOpenWithMenuAction:"));
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
