// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQMenuDescription.h"

#include "TQApplications.h"
#include "TQFilesLogging.h"
#include "TQTypeRegistry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSet>

namespace {

QString localized(const char *englishText)
{
    return QCoreApplication::translate("Quillbox", englishText);
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
void warnOnce(const QString &desktopFilePath, const QString &reason)
{
    static QSet<QString> warned;
    if (warned.contains(desktopFilePath)) {
        qCDebug(lcFiles, "Open With: left out %s: %s", qUtf8Printable(desktopFilePath), qUtf8Printable(reason));
        return;
    }
    warned.insert(desktopFilePath);
    qCWarning(lcFiles, "Open With: left out %s: %s", qUtf8Printable(desktopFilePath), qUtf8Printable(reason));
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

struct SystemApplication
{
    TQApplicationInfo info;
    TQFileRef item;
};

// The applications of the first file's type with items of their desktop entries, in GIO's
// order, and GIO's default when only a [Default Applications] group names it.
QList<SystemApplication> systemApplications(const TQFileRef &file, const QString &mimeType,
                                            const TQApplicationInfo &defaultApplication)
{
    QList<SystemApplication> result;
    if (mimeType.isEmpty())
        return result;
    QList<TQApplicationLeftOut> leftOut;
    QList<TQApplicationInfo> applications = TQApplications::applicationsInGioOrder(mimeType, &leftOut);
    QSet<QString> listed;
    for (const TQApplicationLeftOut &entry : std::as_const(leftOut)) {
        listed.insert(entry.id);
        warnOnce(entry.desktopFilePath, entry.reason);
    }
    for (const TQApplicationInfo &app : std::as_const(applications))
        listed.insert(app.id);
    // (GIO itself drops entries marked Hidden or whose program is missing, without a word.)
    if (defaultApplication.isValid() && !listed.contains(defaultApplication.id))
        applications.append(defaultApplication);

    for (const TQApplicationInfo &app : std::as_const(applications)) {
        if (app.desktopFilePath.isEmpty())
            continue;
        if (TQFileRef item = TQFile::newFileForNativePath(QFile::encodeName(app.desktopFilePath)))
            result.append({app, std::move(item)});
    }
    qCDebug(lcFiles) << "Open With:" << result.size() << "applications for" << mimeType << "of" << file->path();
    return result;
}

TQMenuItemDescription separator()
{
    TQMenuItemDescription item;
    item.isSeparator = true;
    return item;
}

TQMenuItemDescription applicationItem(const TQFileRef &item, const TQApplicationInfo &info)
{
    TQMenuItemDescription row;
    row.title = item->displayName();
    row.iconName = info.iconName;
    row.applicationId = info.id;
    row.representedObject = item;
    row.actionName = QStringLiteral("openWithMenuAction:");
    return row;
}

} // namespace

namespace TQMenuDescriptions {

TQMenuDescription openWithMenuForFiles(const QList<TQFileRef> &files, const QList<TQFileRef> &includeItems,
                                       const OpenWithOptions &options)
{
    TQMenuDescription menu;
    menu.title = localized("Open With");

    bool first = true;
    for (const TQFileRef &include : includeItems) {
        if (!include)
            continue;
        // An include item need not be an entry GIO would name; its own entry says what it is.
        const TQApplicationInfo info =
            include->path().isEmpty() ? TQApplicationInfo() : TQApplications::applicationForDesktopFile(include->path());
        TQMenuItemDescription row = applicationItem(include, info);
        if (first)
            row.keyEquivalent = QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_O);
        menu.items.append(row);
        first = false;
    }
    if (!first)
        menu.items.append(separator());

    const TQFileRef file = files.value(0);
    if (file && !file->isPlaceholder() && !file->URL().isEmpty()) {
        const QString mimeType = mimeTypeOf(file);
        const TQApplicationInfo defaultApplication =
            mimeType.isEmpty() ? TQApplicationInfo() : TQApplications::defaultApplicationForMimeType(mimeType);
        const QString defaultPath = options.markDefaultApplication ? defaultApplication.desktopFilePath : QString();
        const QString host = options.excludeHostApplication ? hostDesktopFileName() : QString();
        bool added = false;
        for (const SystemApplication &application : systemApplications(file, mimeType, defaultApplication)) {
            if (application.item->isPlaceholder() || containsObject(includeItems, application.item))
                continue;
            if (!host.isEmpty() && application.item->fileName() == host)
                continue;
            TQMenuItemDescription row = applicationItem(application.item, application.info);
            row.isDefault = !defaultPath.isEmpty() && QDir::cleanPath(application.item->path()) == defaultPath;
            menu.items.append(row);
            added = true;
        }
        if (added)
            menu.items.append(separator());
    }

    TQMenuItemDescription edit;
    edit.title = localized("Edit menu...");
    edit.actionName = QStringLiteral("addToOpenWithMenuAction:");
    menu.items.append(edit);
    return menu;
}

} // namespace TQMenuDescriptions
