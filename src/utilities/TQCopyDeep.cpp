// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQCopyDeep.h"

#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {

enum class Text { SharedUnlessBorrowed, OwnBuffer };

// A string made by fromRawData or a literal has characters but no allocated buffer: its
// storage belongs to someone else and may go away before the copy does.
template<typename Chars>
bool isBorrowed(const Chars &chars)
{
    return !chars.isEmpty() && chars.capacity() == 0;
}

template<typename Chars>
Chars copyText(const Chars &chars, Text text)
{
    if (chars.isEmpty() || (text == Text::SharedUnlessBorrowed && !isBorrowed(chars)))
        return chars;
    return Chars(chars.constData(), chars.size());
}

// depth: how many containers hold the value being copied.
QVariant copyValue(const QVariant &value, Text text, int depth);

QVariantMap copyMap(const QVariantMap &map, Text text, int depth)
{
    QVariantMap copy;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        copy.insert(copy.cend(), copyText(it.key(), Text::SharedUnlessBorrowed), copyValue(it.value(), text, depth + 1));
    return copy;
}

QVariantHash copyHash(const QVariantHash &hash, Text text, int depth)
{
    QVariantHash copy;
    copy.reserve(hash.size());
    for (auto it = hash.cbegin(); it != hash.cend(); ++it)
        copy.insert(copyText(it.key(), Text::SharedUnlessBorrowed), copyValue(it.value(), text, depth + 1));
    return copy;
}

QVariantList copyList(const QVariantList &list, Text text, int depth)
{
    QVariantList copy;
    copy.reserve(list.size());
    for (const QVariant &element : list)
        copy.append(copyValue(element, text, depth + 1));
    return copy;
}

QStringList copyStringList(const QStringList &list, Text text)
{
    QStringList copy;
    copy.reserve(list.size());
    for (const QString &element : list)
        copy.append(copyText(element, text));
    return copy;
}

// Members keep their text as copyDeep does even in a mutable copy: nothing edits a member
// in place, so there is nothing to gain from a buffer of its own.
QSet<QString> copyStringSet(const QSet<QString> &set)
{
    QSet<QString> copy;
    copy.reserve(set.size());
    for (const QString &member : set)
        copy.insert(copyText(member, Text::SharedUnlessBorrowed));
    return copy;
}

bool isContainer(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return true;
    default:
        return value.metaType() == QMetaType::fromType<QSet<QString>>();
    }
}

QVariant copyValue(const QVariant &value, Text text, int depth)
{
    // Past the bound the tree is shared, not walked: what counts is that no stored value can
    // take the stack down, and Qt's own copy keeps the source safe from the copy's changes.
    if (value.isNull() || (depth >= TQCopyDeep::maximumDepth && isContainer(value)))
        return value;
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return copyMap(value.value<QVariantMap>(), text, depth);
    case QMetaType::QVariantHash:
        return copyHash(value.value<QVariantHash>(), text, depth);
    case QMetaType::QVariantList:
        return copyList(value.value<QVariantList>(), text, depth);
    case QMetaType::QStringList:
        return copyStringList(value.value<QStringList>(), text);
    case QMetaType::QString:
        return copyText(value.value<QString>(), text);
    case QMetaType::QByteArray:
        return copyText(value.value<QByteArray>(), text);
    default:
        if (value.metaType() == QMetaType::fromType<QSet<QString>>())
            return QVariant::fromValue(copyStringSet(value.value<QSet<QString>>()));
        return value;
    }
}

// Only maps, hashes and lists hold values that may nest further.
int depthOf(const QVariant &value, int limit)
{
    const auto deepest = [limit](const auto &children) {
        if (limit <= 0)
            return 1;
        int below = 0;
        for (const QVariant &child : children) {
            below = std::max(below, depthOf(child, limit - 1));
            if (below >= limit)
                break;
        }
        return 1 + below;
    };
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return deepest(value.value<QVariantMap>());
    case QMetaType::QVariantHash:
        return deepest(value.value<QVariantHash>());
    case QMetaType::QVariantList:
        return deepest(value.value<QVariantList>());
    default:
        return isContainer(value) ? 1 : 0;
    }
}

} // namespace

namespace TQCopyDeep {

int nestingDepth(const QVariant &value, int limit)
{
    return depthOf(value, std::max(limit, 0));
}

QVariant copyDeep(const QVariant &value)
{
    return copyValue(value, Text::SharedUnlessBorrowed, 0);
}

QVariant copyDeepMutable(const QVariant &value)
{
    return copyValue(value, Text::OwnBuffer, 0);
}

QVariantMap copyDeep(const QVariantMap &map)
{
    return copyMap(map, Text::SharedUnlessBorrowed, 0);
}

QVariantMap copyDeepMutable(const QVariantMap &map)
{
    return copyMap(map, Text::OwnBuffer, 0);
}

QVariantList copyDeep(const QVariantList &list)
{
    return copyList(list, Text::SharedUnlessBorrowed, 0);
}

QVariantList copyDeepMutable(const QVariantList &list)
{
    return copyList(list, Text::OwnBuffer, 0);
}

} // namespace TQCopyDeep
