// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQStringUtilities.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace {

template <char16_t Code>
const QString &keyString()
{
    static const QString text(QChar{Code});
    return text;
}

} // namespace

namespace TQStringUtilities {

namespace {

QString standardizedPath(const QString &path)
{
    if (path == u'~' || path.startsWith(u"~/"_s))
        return QDir::cleanPath(QDir::homePath() + QStringView(path).mid(1));
    return QDir::cleanPath(path);
}

// Trailing separators do not make a component, so "/x/y/" has the parent "/x".
QString parentPath(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == u'/')
        --end;
    if (end == 0)
        return {};
    const qsizetype slash = path.lastIndexOf(u'/', end - 1);
    if (slash < 0)
        return {};
    if (slash == 0)
        return u"/"_s;
    return path.left(slash);
}

} // namespace

bool isInDirectory(const QString &self, const QString &directory)
{
    return standardizedPath(parentPath(self)) == standardizedPath(directory);
}

bool isInSubdirectoryOfDirectory(const QString &self, const QString &directory)
{
    return !directory.isEmpty() && self.startsWith(directory, Qt::CaseSensitive);
}

const QString &tabString() { return keyString<0x0009>(); }
const QString &escapeKeyString() { return keyString<0x001B>(); }
const QString &rightKeyString() { return keyString<0xF703>(); }
const QString &leftKeyString() { return keyString<0xF702>(); }
const QString &upKeyString() { return keyString<0xF700>(); }
const QString &downKeyString() { return keyString<0xF701>(); }
// Deliberately ASCII backspace, not DEL (U+007F), although both name a backspace.
const QString &backspaceKeyString() { return keyString<0x0008>(); }
const QString &pageDownKeyString() { return keyString<0xF72D>(); }
const QString &pageUpKeyString() { return keyString<0xF72C>(); }
const QString &homeKeyString() { return keyString<0xF729>(); }
const QString &endKeyString() { return keyString<0xF72B>(); }
const QString &forwardDeleteKeyString() { return keyString<0xF728>(); }
const QString &f1KeyString() { return keyString<0xF704>(); }
const QString &f2KeyString() { return keyString<0xF705>(); }
const QString &f3KeyString() { return keyString<0xF706>(); }
const QString &f4KeyString() { return keyString<0xF707>(); }

} // namespace TQStringUtilities
