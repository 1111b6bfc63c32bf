// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQApplications.h"

#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"
#include "TQTypeRegistry.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHashFunctions>
#include <QMutex>
#include <QMutexLocker>
#include <QSet>

#include <memory>

// GLib's headers name struct members "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#pragma pop_macro("signals")

namespace {

// GLib objects and lists the calls below own; freed on every return path.
struct GObjectUnref
{
    void operator()(gpointer object) const { g_object_unref(object); }
};
template<typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GListUnref
{
    void operator()(GList *list) const { g_list_free_full(list, g_object_unref); }
};
using GObjectList = std::unique_ptr<GList, GListUnref>;

struct GErrorFree
{
    void operator()(GError *error) const { g_error_free(error); }
};

// GIO reports what it dislikes (a desktop-specific mimeapps.list that adds associations,
// a module it loads) through g_log, which prints to stderr unless a handler takes the domain.
// A process-wide handler would also swallow the host's own GLib messages, so the handlers are
// installed only while a call of ours runs; overlapping calls share one installation.
// libgio logs through g_log, never the structured API, so per-domain handlers see everything.
class GLibLogRoute
{
public:
    GLibLogRoute()
    {
        QMutexLocker lock(&state().mutex);
        if (state().users++ == 0) {
            for (int i = 0; i < domainCount; ++i)
                state().handlerIds[i] = g_log_set_handler(domains[i], logLevels, &route, nullptr);
        }
    }
    ~GLibLogRoute()
    {
        QMutexLocker lock(&state().mutex);
        if (--state().users == 0) {
            for (int i = 0; i < domainCount; ++i)
                g_log_remove_handler(domains[i], state().handlerIds[i]);
        }
    }
    GLibLogRoute(const GLibLogRoute &) = delete;
    GLibLogRoute &operator=(const GLibLogRoute &) = delete;

private:
    static constexpr int domainCount = 3;
    static constexpr const char *domains[domainCount] = {"GLib", "GLib-GObject", "GLib-GIO"};
    static constexpr GLogLevelFlags logLevels =
        GLogLevelFlags(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION);

    struct State
    {
        QMutex mutex;
        int users = 0;
        guint handlerIds[domainCount] = {};
    };
    static State &state()
    {
        static State s;
        return s;
    }

    // A critical means a call broke GLib's preconditions, a fault of ours worth a visible
    // line; everything else is GIO talking about the machine's files, which hosts never want
    // on their terminal.
    static void route(const gchar *domain, GLogLevelFlags level, const gchar *message, gpointer)
    {
        if (level & (G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL))
            qCWarning(lcPlatform, "%s: %s", domain ? domain : "GLib", message);
        else
            qCDebug(lcPlatform, "%s: %s", domain ? domain : "GLib", message);
    }
};

QString fromUtf8(const char *text)
{
    return text ? QString::fromUtf8(text) : QString();
}

// Whether an entry GIO hands out can really be started. GIO already drops entries whose
// TryExec or Exec program is missing, but it still names Hidden entries as defaults (Hidden
// means "deleted") and accepts entries without an Exec line.
bool isLaunchable(GDesktopAppInfo *info, QString *reason = nullptr)
{
    if (g_desktop_app_info_get_is_hidden(info)) {
        if (reason)
            *reason = QStringLiteral("the entry is marked Hidden (deleted)");
        return false;
    }
    const char *exec = g_app_info_get_commandline(G_APP_INFO(info));
    if ((exec && *exec) || g_desktop_app_info_get_boolean(info, G_KEY_FILE_DESKTOP_KEY_DBUS_ACTIVATABLE))
        return true;
    if (reason)
        *reason = QStringLiteral("the entry has no Exec line");
    return false;
}

QString iconNameOf(GAppInfo *app)
{
    GIcon *icon = g_app_info_get_icon(app); // owned by the app
    if (icon && G_IS_THEMED_ICON(icon)) {
        const gchar *const *names = g_themed_icon_get_names(G_THEMED_ICON(icon));
        return names && names[0] ? QString::fromUtf8(names[0]) : QString();
    }
    if (icon && G_IS_FILE_ICON(icon)) {
        GFile *file = g_file_icon_get_file(G_FILE_ICON(icon)); // owned by the icon
        std::unique_ptr<char, decltype(&g_free)> path(g_file_get_path(file), &g_free);
        return path ? QFile::decodeName(path.get()) : QString();
    }
    return {};
}

TQApplicationInfo infoFrom(GDesktopAppInfo *desktopInfo)
{
    GAppInfo *app = G_APP_INFO(desktopInfo);
    TQApplicationInfo info;
    if (const char *filename = g_desktop_app_info_get_filename(desktopInfo))
        info.desktopFilePath = QDir::cleanPath(QFileInfo(QFile::decodeName(filename)).absoluteFilePath());
    info.id = fromUtf8(g_app_info_get_id(app));
    // An entry read from a path outside the applications folders may come without an ID.
    if (info.id.isEmpty())
        info.id = QFileInfo(info.desktopFilePath).fileName();
    info.name = fromUtf8(g_app_info_get_name(app));
    info.iconName = iconNameOf(app);
    if (const char **types = g_app_info_get_supported_types(app)) {
        for (const char **type = types; *type; ++type)
            info.mimeTypes.append(QString::fromUtf8(*type));
    }
    return info;
}

// GIO's default for the type as it names it, which may be an entry we refuse.
TQApplicationInfo gioDefaultFor(const QByteArray &mimeType)
{
    GObjectPtr<GAppInfo> app(g_app_info_get_default_for_type(mimeType.constData(), FALSE));
    if (!app || !G_IS_DESKTOP_APP_INFO(app.get()) || !isLaunchable(G_DESKTOP_APP_INFO(app.get())))
        return {};
    return infoFrom(G_DESKTOP_APP_INFO(app.get()));
}

QList<TQApplicationInfo> handlersFor(const QByteArray &mimeType)
{
    QList<TQApplicationInfo> handlers;
    const GObjectList apps(g_app_info_get_all_for_type(mimeType.constData()));
    for (GList *item = apps.get(); item; item = item->next) {
        auto *app = static_cast<GAppInfo *>(item->data);
        if (G_IS_DESKTOP_APP_INFO(app) && isLaunchable(G_DESKTOP_APP_INFO(app)))
            handlers.append(infoFrom(G_DESKTOP_APP_INFO(app)));
    }
    return handlers;
}

bool fail(const TQApplicationInfo &app, const QString &reason, QString *error)
{
    const QString message = QStringLiteral("Cannot launch %1: %2")
                                .arg(app.id.isEmpty() ? QStringLiteral("an invalid application") : app.id, reason);
    qCWarning(lcPlatform).noquote() << message;
    if (error)
        *error = message;
    return false;
}

} // namespace

size_t qHash(const TQApplicationInfo &info, size_t seed) noexcept
{
    return qHashMulti(seed, info.id, info.desktopFilePath);
}

QDebug operator<<(QDebug debug, const TQApplicationInfo &info)
{
    const QDebugStateSaver saver(debug);
    debug.nospace();
    if (!info.isValid())
        return debug << "TQApplicationInfo(invalid)";
    return debug << "TQApplicationInfo(" << info.id << ", " << info.name << ", " << info.desktopFilePath << ')';
}

namespace TQApplications {

TQApplicationInfo defaultApplicationForMimeType(const QString &mimeType)
{
    if (mimeType.isEmpty())
        return {};
    const GLibLogRoute route;
    const QByteArray type = mimeType.toUtf8();
    TQApplicationInfo app = gioDefaultFor(type);
    if (!app.isValid())
        app = handlersFor(type).value(0);
    return app;
}

QList<TQApplicationInfo> applicationsForMimeType(const QString &mimeType)
{
    if (mimeType.isEmpty())
        return {};
    const GLibLogRoute route;
    const QByteArray type = mimeType.toUtf8();
    const QList<TQApplicationInfo> handlers = handlersFor(type);

    // GIO's list is the order of associations; its default may sit anywhere in it, or be
    // missing when only a [Default Applications] group names it.
    QList<TQApplicationInfo> result;
    QSet<QString> seen;
    TQApplicationInfo first = gioDefaultFor(type);
    if (!first.isValid())
        first = handlers.value(0);
    if (first.isValid()) {
        result.append(first);
        seen.insert(first.id);
    }
    for (const TQApplicationInfo &app : handlers) {
        if (!seen.contains(app.id)) {
            seen.insert(app.id);
            result.append(app);
        }
    }
    return result;
}

QList<TQApplicationInfo> applicationsInGioOrder(const QString &mimeType, QList<TQApplicationLeftOut> *leftOut)
{
    QList<TQApplicationInfo> result;
    if (mimeType.isEmpty())
        return result;
    const GLibLogRoute route;
    const GObjectList apps(g_app_info_get_all_for_type(mimeType.toUtf8().constData()));
    for (GList *item = apps.get(); item; item = item->next) {
        auto *app = static_cast<GAppInfo *>(item->data);
        if (!G_IS_DESKTOP_APP_INFO(app))
            continue;
        GDesktopAppInfo *desktop = G_DESKTOP_APP_INFO(app);
        QString reason;
        if (isLaunchable(desktop, &reason) && !g_desktop_app_info_has_key(desktop, G_KEY_FILE_DESKTOP_KEY_NAME))
            reason = QStringLiteral("the entry has no Name");
        TQApplicationInfo info = infoFrom(desktop);
        if (reason.isEmpty())
            result.append(std::move(info));
        else if (leftOut)
            leftOut->append({info.id, info.desktopFilePath, reason});
    }
    return result;
}

QString mimeTypeForFile(const QString &path)
{
    return mimeTypeForFile(QFile::encodeName(path));
}

QString mimeTypeForFile(const QByteArray &nativePath)
{
    if (nativePath.isEmpty())
        return {};
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    const QString type = registry.typeForFile(nativePath);
    if (type.isEmpty())
        return {};
    const QString mime = registry.preferredMimeType(type);
    return mime.isEmpty() ? registry.mimeTypes(type).value(0) : mime;
}

TQApplicationInfo defaultApplicationForFile(const QString &path)
{
    return defaultApplicationForMimeType(mimeTypeForFile(path));
}

TQApplicationInfo defaultApplicationForFile(const QByteArray &nativePath)
{
    return defaultApplicationForMimeType(mimeTypeForFile(nativePath));
}

QList<TQApplicationInfo> applicationsForFile(const QString &path)
{
    return applicationsForMimeType(mimeTypeForFile(path));
}

QList<TQApplicationInfo> applicationsForFile(const QByteArray &nativePath)
{
    return applicationsForMimeType(mimeTypeForFile(nativePath));
}

TQApplicationInfo defaultEditorForFile(const QString &path)
{
    return defaultApplicationForFile(path);
}

TQApplicationInfo defaultEditorForFile(const QByteArray &nativePath)
{
    return defaultApplicationForFile(nativePath);
}

bool launch(const TQApplicationInfo &app, const QStringList &paths, QString *error)
{
    if (!app.isValid() && app.desktopFilePath.isEmpty())
        return fail(app, QStringLiteral("no desktop entry"), error);

    const GLibLogRoute route;
    GObjectPtr<GDesktopAppInfo> entry(
        app.desktopFilePath.isEmpty()
            ? g_desktop_app_info_new(app.id.toUtf8().constData())
            : g_desktop_app_info_new_from_filename(QFile::encodeName(app.desktopFilePath).constData()));
    if (!entry) {
        return fail(app, app.desktopFilePath.isEmpty()
                             ? QStringLiteral("no installed entry has this ID")
                             : QStringLiteral("%1 is not a launchable application entry").arg(app.desktopFilePath),
                    error);
    }
    QString reason;
    if (!isLaunchable(entry.get(), &reason))
        return fail(app, reason, error);

    // GIO takes URIs; a file URI escapes whatever bytes the name holds.
    QList<QByteArray> uris;
    uris.reserve(paths.size());
    for (const QString &path : paths) {
        const QByteArray localPath = QFile::encodeName(QFileInfo(path).absoluteFilePath());
        GError *uriError = nullptr;
        std::unique_ptr<char, decltype(&g_free)> uri(g_filename_to_uri(localPath.constData(), nullptr, &uriError), &g_free);
        if (!uri) {
            const std::unique_ptr<GError, GErrorFree> owned(uriError);
            return fail(app, QStringLiteral("%1: %2").arg(path, fromUtf8(owned->message)), error);
        }
        uris.append(QByteArray(uri.get()));
    }
    GList *uriList = nullptr;
    for (qsizetype i = uris.size() - 1; i >= 0; --i)
        uriList = g_list_prepend(uriList, const_cast<char *>(uris.at(i).constData()));

    GError *launchError = nullptr;
    const bool launched = g_app_info_launch_uris(G_APP_INFO(entry.get()), uriList, nullptr, &launchError);
    g_list_free(uriList);
    if (!launched) {
        const std::unique_ptr<GError, GErrorFree> owned(launchError);
        return fail(app, owned ? fromUtf8(owned->message) : QStringLiteral("GIO gave no reason"), error);
    }
    qCDebug(lcPlatform) << "Launched" << app.id << "with" << paths.size() << "files";
    return true;
}

TQApplicationInfo applicationForDesktopFile(const QString &desktopFilePath)
{
    if (desktopFilePath.isEmpty())
        return {};
    // GLib reads the entry with a blocking open: a FIFO or a device named .desktop would hang
    // it or never end.
    const TQRegularFile file(desktopFilePath);
    if (!file.isOpen()) {
        file.warnIfRefused(desktopFilePath, "its desktop entry");
        return {};
    }
    const GLibLogRoute route;
    GObjectPtr<GDesktopAppInfo> entry(
        g_desktop_app_info_new_from_filename(QFile::encodeName(desktopFilePath).constData()));
    if (!entry || !isLaunchable(entry.get()))
        return {};
    return infoFrom(entry.get());
}

} // namespace TQApplications
