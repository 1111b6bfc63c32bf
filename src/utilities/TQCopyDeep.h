// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

/*!
    \namespace TQCopyDeep
    \brief Copies of value trees that share no container with their source.

    Qt's containers are implicitly shared: copying a QVariantMap copies a pointer, and every
    list and string inside stays shared with the original until one side writes to it. That
    is always safe, but a copy that must not keep its source's memory alive, or whose text
    must survive the buffer it was borrowed from (QString::fromRawData, QByteArray::fromRawData),
    needs the tree rebuilt. These functions rebuild it.

    The containers of a tree are QVariantMap, QVariantHash, QVariantList, QStringList and
    QSet<QString>. Sets hold strings because Qt 6.4 has no qHash() for QVariant, so no set of
    arbitrary values exists; a QVariantList used as a set is a list. Every other value is a
    leaf, including containers the tree does not know (QByteArrayList, QList<int>, user types).

    | value               | copyDeep                                   | copyDeepMutable          |
    |---------------------|--------------------------------------------|--------------------------|
    | map, hash           | new container, same keys, values copyDeep  | values copyDeepMutable   |
    | list, string list   | new container, elements copyDeep, in order | elements copyDeepMutable |
    | set of strings      | new container, members copyDeep            | members copyDeep         |
    | QString, QByteArray | shared, unless borrowed: then copied       | a copy in its own buffer |
    | any other leaf      | a QVariant copy                            | a QVariant copy          |

    The difference between the two is the text. copyDeep treats strings and byte arrays as
    the immutable values they are: one that owns a reference-counted buffer stays shared with
    the source (a write to either side detaches it first), one whose characters are borrowed
    (raw data or a string literal) is copied, so the result never depends on memory it does
    not own. copyDeepMutable gives every string and byte array held in a map, hash or list
    its own buffer, so the tree can be edited in place without a single detach. Set members
    and map keys are kept as copyDeep keeps them, in both: they are only ever compared and
    hashed, never edited in place. Other leaves (numbers, dates, URLs, unknown containers)
    are copied the Qt way and may stay implicitly shared; a change to the copy never reaches
    the source.

    A null QVariant stays null. Empty containers and empty strings have no storage to share.

    Depth: only the outermost maximumDepth levels of containers are rebuilt. A container
    nested deeper (which no archived value and no bookmark entry can hold) is kept as a Qt
    copy, shared with the source, so that a hostile tree cannot exhaust the stack; a change to
    the copy still never reaches the source. nestingDepth() tells such trees apart.

    Reentrant: the source may be read by other threads meanwhile, but not written. The result
    is a new value the caller owns. Cost: one allocation per non-empty container, plus one per
    borrowed string (copyDeep) or per string and byte array (copyDeepMutable); recursion at
    most maximumDepth deep.

    \ingroup utilities
*/
namespace TQCopyDeep {

//! The most levels of containers a copy rebuilds, and the most any stored tree of the
//! library may hold (archived values, bookmark entries).
inline constexpr int maximumDepth = 256;

/*!
    How many containers (maps, hashes, lists, string lists, sets of strings) are nested in
    \a value, counting itself: 0 for a leaf or a null value, 1 for a list of leaves. The walk
    stops below \a limit levels, so any answer above \a limit is \a limit + 1: the tree is
    deeper than that. Reentrant, like the copies.
*/
TQKIT_EXPORT int nestingDepth(const QVariant &value, int limit = maximumDepth);

//! A copy of \a value sharing no container with it; text shared unless borrowed.
TQKIT_EXPORT QVariant copyDeep(const QVariant &value);
//! A copy of \a value sharing no container and no string or byte-array data with it.
TQKIT_EXPORT QVariant copyDeepMutable(const QVariant &value);

//! copyDeep() for a map, keeping the type.
TQKIT_EXPORT QVariantMap copyDeep(const QVariantMap &map);
//! copyDeepMutable() for a map, keeping the type.
TQKIT_EXPORT QVariantMap copyDeepMutable(const QVariantMap &map);
//! copyDeep() for a list, keeping the type.
TQKIT_EXPORT QVariantList copyDeep(const QVariantList &list);
//! copyDeepMutable() for a list, keeping the type.
TQKIT_EXPORT QVariantList copyDeepMutable(const QVariantList &list);

} // namespace TQCopyDeep
