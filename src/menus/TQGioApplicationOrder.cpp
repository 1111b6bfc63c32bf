#include "TQGioApplicationOrder_p.h"

#include <memory>

// GLib's headers name struct members "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#pragma pop_macro("signals")

namespace TQGioApplicationOrder {

QList<Entry> applicationsForMimeType(const QString &mimeType)
{
    QList<Entry> entries;
    if (mimeType.isEmpty())
        return entries;
    const std::unique_ptr<GList, void (*)(GList *)> apps(
        g_app_info_get_all_for_type(mimeType.toUtf8().constData()),
        [](GList *list) { g_list_free_full(list, g_object_unref); });
    for (GList *item = apps.get(); item; item = item->next) {
        auto *app = static_cast<GAppInfo *>(item->data);
        if (!G_IS_DESKTOP_APP_INFO(app))
            continue;
        GDesktopAppInfo *desktop = G_DESKTOP_APP_INFO(app);
        const char *filename = g_desktop_app_info_get_filename(desktop);
        if (!filename)
            continue;
        const char *id = g_app_info_get_id(app);
        entries.append({QByteArray(filename), id ? QString::fromUtf8(id) : QString(),
                        g_desktop_app_info_has_key(desktop, G_KEY_FILE_DESKTOP_KEY_NAME) != FALSE});
    }
    return entries;
}

} // namespace TQGioApplicationOrder
