// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQApplications.h
    \ingroup platform
    \brief Applications that open a type, through GIO: TQApplicationInfo and the TQApplications functions.
*/

#include "tqkit_export.h"

#include <QList>
#include <QString>
#include <QStringList>

class QDebug;

/*!
    \struct TQApplicationInfo
    \brief An installed application, as its freedesktop desktop entry describes it.

    A plain value: copying it copies a few strings, and it holds no handle to the entry, so it
    stays valid (and stale) when the entry changes or is removed. Two infos are equal when all
    their fields are. Any thread may use its own copies.

    \ingroup platform
*/
struct TQKIT_EXPORT TQApplicationInfo
{
    //! The desktop file ID: "org.example.Viewer.desktop"; an entry in a subfolder of an
    //! applications folder gets the folder in its ID ("vendor/tool.desktop" is "vendor-tool.desktop").
    QString id;
    //! The entry's Name, translated for the current language.
    QString name;
    //! The absolute path of the desktop entry that was read; the file item of the application.
    QString desktopFilePath;
    //! A themed icon name ("org.example.Viewer"), or the absolute path of an icon file.
    QString iconName;
    //! The MIME types the entry declares (its MimeType key), in the entry's order.
    QStringList mimeTypes;

    //! False for the empty info that the look-ups return when they find nothing.
    bool isValid() const { return !id.isEmpty(); }

    friend bool operator==(const TQApplicationInfo &, const TQApplicationInfo &) = default;
};

//! Hashes the ID and the entry's path; consistent with operator==.
TQKIT_EXPORT size_t qHash(const TQApplicationInfo &info, size_t seed = 0) noexcept;
//! Writes \a info to \a debug, for logging.
TQKIT_EXPORT QDebug operator<<(QDebug debug, const TQApplicationInfo &info);

/*!
    An entry GIO names for a type that applicationsInGioOrder() leaves out, and why, so that a
    caller can tell the user once which entry to repair. A plain value.

    \ingroup platform
*/
struct TQKIT_EXPORT TQApplicationLeftOut
{
    QString id;              //!< The desktop file ID GIO gave it.
    QString desktopFilePath; //!< The entry's absolute path.
    QString reason;          //!< In words: "the entry has no Name", ...
};

/*!
    \namespace TQApplications
    \brief Which applications open a file type, and launching them (GIO's desktop app info).

    Answers follow the freedesktop MIME-applications rules as GIO implements them: the
    [Default Applications], [Added Associations] and [Removed Associations] groups of every
    mimeapps.list (XDG_CONFIG_HOME, XDG_CONFIG_DIRS, then each applications folder of
    XDG_DATA_HOME and XDG_DATA_DIRS), the desktop-specific lists named after XDG_CURRENT_DESKTOP,
    and the MIME parents of a type ("text/x-csrc" falls back to the handlers of "text/plain").

    Note that GIO learns which types an application declares from the mimeinfo.cache of its
    applications folder, which update-desktop-database writes when a package is installed; the
    MimeType key of an entry added by hand counts only after that cache is rebuilt, or when a
    mimeapps.list names the entry.

    Entries that cannot be launched are left out, although GIO may name them: entries marked
    Hidden (the desktop-entry rules define those as deleted), entries without an Exec line that
    are not D-Bus activatable, and entries whose TryExec program or Exec program is missing.
    Entries marked NoDisplay are kept: that key keeps an application out of menus, not away
    from the files it opens.

    \par Threads
    Every function may be called from any thread, concurrently. GIO serialises its
    application index under one lock and its MIME database under another; the GIO objects each
    call makes are its own. While a call runs, GLib's log messages of the domains "GLib",
    "GLib-GObject" and "GLib-GIO" go to the category "tqkit.platform" (debug level; criticals as
    warnings) instead of stderr, for every thread of the process.

    \par Cost
    The first call of the process lists every applications folder and reads every mimeapps.list
    and mimeinfo.cache; GIO keeps that index and watches the folders from its own worker thread,
    so a later call sees installed or removed entries without a running event loop. Each call
    then reads and parses the desktop entries it returns (a few small files). The functions
    taking a path also type the file, reading up to a few KiB of it. Fine for a menu being
    built; too slow to call per row while painting.

    \ingroup platform
*/
namespace TQApplications {

/*!
    The application that opens files of \a mimeType by default: GIO's default for the type
    (the first installed entry that a [Default Applications] group names for the type, else
    the first associated one; then the same for each MIME parent). When GIO names an entry
    that cannot be launched, the first application of applicationsForMimeType() stands in.
    An invalid info when nothing opens the type.
*/
TQKIT_EXPORT TQApplicationInfo defaultApplicationForMimeType(const QString &mimeType);

/*!
    Every application that opens \a mimeType, the default first, then the others in GIO's
    order: the type's own associations before those of its MIME parents, without the entries
    that a [Removed Associations] group takes away. No ID appears twice.
*/
TQKIT_EXPORT QList<TQApplicationInfo> applicationsForMimeType(const QString &mimeType);

/*!
    The applications GIO names for \a mimeType in GIO's own order (g_app_info_get_all_for_type):
    the type's associations first, in the order the mimeapps lists and mimeinfo caches name
    them, then those of its MIME parents. Unlike applicationsForMimeType() the default is not
    moved to the front, and one that only a [Default Applications] group names is not added.
    Entries that cannot be launched and entries without a Name (GIO would show "Unnamed") are
    left out and, when \a leftOut is given, appended to it.
*/
TQKIT_EXPORT QList<TQApplicationInfo> applicationsInGioOrder(const QString &mimeType,
                                                             QList<TQApplicationLeftOut> *leftOut = nullptr);

/*!
    The MIME type applications are chosen by for the file at \a path: the preferred MIME type
    of the type registry's type for the file (by content and name, following links). Empty when
    the file does not exist or its type has no MIME type.
*/
TQKIT_EXPORT QString mimeTypeForFile(const QString &path);
//! mimeTypeForFile() for a path given in the file system's own bytes (a name need not be UTF-8).
TQKIT_EXPORT QString mimeTypeForFile(const QByteArray &nativePath);

//! defaultApplicationForMimeType() for the MIME type of the file at \a path (mimeTypeForFile()).
TQKIT_EXPORT TQApplicationInfo defaultApplicationForFile(const QString &path);
//! defaultApplicationForFile() for a path in the file system's own bytes.
TQKIT_EXPORT TQApplicationInfo defaultApplicationForFile(const QByteArray &nativePath);

//! applicationsForMimeType() for the MIME type of the file at \a path (mimeTypeForFile()).
TQKIT_EXPORT QList<TQApplicationInfo> applicationsForFile(const QString &path);
//! applicationsForFile() for a path in the file system's own bytes.
TQKIT_EXPORT QList<TQApplicationInfo> applicationsForFile(const QByteArray &nativePath);

/*!
    The application that edits the file at \a path. The freedesktop rules know no viewer and
    editor roles, so this is defaultApplicationForFile().
*/
TQKIT_EXPORT TQApplicationInfo defaultEditorForFile(const QString &path);
//! defaultEditorForFile() for a path in the file system's own bytes.
TQKIT_EXPORT TQApplicationInfo defaultEditorForFile(const QByteArray &nativePath);

/*!
    Starts \a app with the local files \a paths (none starts it alone; relative paths are taken
    from the current folder). The entry is read again from app.desktopFilePath (or found by
    app.id when that is empty), so a launch uses the entry as it is now. Returns once the
    process is spawned, without waiting for it; a D-Bus activatable entry is asked to open the
    files over the session bus, and a failure of that request is not reported. Returns false,
    logs the reason as a warning of "tqkit.platform" and stores it in \a error (when given) when
    the entry is gone, cannot be launched or the program cannot be started.
*/
TQKIT_EXPORT bool launch(const TQApplicationInfo &app, const QStringList &paths, QString *error = nullptr);

/*!
    The application whose desktop entry is the file at \a desktopFilePath, which may lie outside
    the applications folders (its ID is then its file name). An invalid info when the file is
    not an application entry or the entry cannot be launched.
*/
TQKIT_EXPORT TQApplicationInfo applicationForDesktopFile(const QString &desktopFilePath);

} // namespace TQApplications
