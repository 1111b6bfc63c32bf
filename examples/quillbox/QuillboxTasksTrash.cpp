// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// GLib first: one of its structures has a member Qt's "signals" keyword would rename.
#include <gio/gio.h>

#include "QuillboxTasks_p.h"

bool QuillboxTaskTrash::moveToTrash(const QByteArray &nativePath, QString *error)
{
    // GIO finds the trash the desktop uses for the file's volume (the home trash, or the
    // volume's own .Trash-UID) and writes the restore information beside it.
    GFile *file = g_file_new_for_path(nativePath.constData());
    GError *gerror = nullptr;
    const bool trashed = g_file_trash(file, nullptr, &gerror);
    if (!trashed && error)
        *error = gerror ? QString::fromUtf8(gerror->message) : QString();
    if (gerror)
        g_error_free(gerror);
    g_object_unref(file);
    return trashed;
}
