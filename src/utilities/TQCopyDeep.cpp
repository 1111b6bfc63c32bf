#include "TQCopyDeep.h"

#include <QSet>
#include <QStringList>

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

QVariant copyValue(const QVariant &value, Text text);

QVariantMap copyMap(const QVariantMap &map, Text text)
{
    QVariantMap copy;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        copy.insert(copy.cend(), copyText(it.key(), Text::SharedUnlessBorrowed), copyValue(it.value(), text));
    return copy;
}

QVariantHash copyHash(const QVariantHash &hash, Text text)
{
    QVariantHash copy;
    copy.reserve(hash.size());
    for (auto it = hash.cbegin(); it != hash.cend(); ++it)
        copy.insert(copyText(it.key(), Text::SharedUnlessBorrowed), copyValue(it.value(), text));
    return copy;
}

QVariantList copyList(const QVariantList &list, Text text)
{
    QVariantList copy;
    copy.reserve(list.size());
    for (const QVariant &element : list)
        copy.append(copyValue(element, text));
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

QVariant copyValue(const QVariant &value, Text text)
{
    if (value.isNull())
        return value;
    switch (value.metaType().id()) {
    case QMetaType::QVariantMap:
        return copyMap(value.value<QVariantMap>(), text);
    case QMetaType::QVariantHash:
        return copyHash(value.value<QVariantHash>(), text);
    case QMetaType::QVariantList:
        return copyList(value.value<QVariantList>(), text);
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

} // namespace

namespace TQCopyDeep {

QVariant copyDeep(const QVariant &value)
{
    return copyValue(value, Text::SharedUnlessBorrowed);
}

QVariant copyDeepMutable(const QVariant &value)
{
    return copyValue(value, Text::OwnBuffer);
}

QVariantMap copyDeep(const QVariantMap &map)
{
    return copyMap(map, Text::SharedUnlessBorrowed);
}

QVariantMap copyDeepMutable(const QVariantMap &map)
{
    return copyMap(map, Text::OwnBuffer);
}

QVariantList copyDeep(const QVariantList &list)
{
    return copyList(list, Text::SharedUnlessBorrowed);
}

QVariantList copyDeepMutable(const QVariantList &list)
{
    return copyList(list, Text::OwnBuffer);
}

} // namespace TQCopyDeep
