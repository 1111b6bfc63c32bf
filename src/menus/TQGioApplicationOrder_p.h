#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// GIO's own list of the applications for a MIME type, in the order GIO gives it
// (g_app_info_get_all_for_type): associations first, in the order the mimeapps lists and
// mimeinfo caches name them, then those of the type's parents. The default is not moved
// to the front, which TQApplications::applicationsForMimeType() does for its callers.
// Any thread; reads the entries GIO names.
namespace TQGioApplicationOrder {

struct Entry
{
    QByteArray desktopFilePath; // as GIO read it, in the file system's bytes
    QString id;
    bool hasName = false; // the entry has a Name key (GIO calls a nameless one "Unnamed")
};

QList<Entry> applicationsForMimeType(const QString &mimeType);

} // namespace TQGioApplicationOrder
