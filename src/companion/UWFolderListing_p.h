#pragma once

#include "UWStandardFile.h"

#include <QString>

namespace UWFolderListing {

struct Entry
{
    QString name;
    UWStandardFileRef file;
};

// The entries of \a folder (without "." and ".."), each made into an item with the status the
// listing read; \a error receives the reason when the folder could not be read (then the list
// is empty or holds what was read before the failure). Any thread.
QList<Entry> list(const QString &folder, QString *error);

} // namespace UWFolderListing
