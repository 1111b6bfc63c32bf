// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QVariant>
#include <QVariantHash>
#include <QVariantList>

#include <algorithm>

// Same values and the same type at every node of two trees of dictionaries and lists:
// QVariant's own comparison takes 1 and 1LL, or 1 and 1.0, for equal.
inline bool tqSameTree(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType())
        return false;
    if (a.metaType().id() == QMetaType::QVariantList) {
        const QVariantList x = a.toList(), y = b.toList();
        return x.size() == y.size() && std::equal(x.begin(), x.end(), y.begin(), tqSameTree);
    }
    if (a.metaType().id() != QMetaType::QVariantMap && a.metaType().id() != QMetaType::QVariantHash)
        return a == b;
    const QVariantHash x = a.toHash(), y = b.toHash();
    const auto same = [&](const QString &k) { return y.contains(k) && tqSameTree(x[k], y[k]); };
    return x.size() == y.size() && std::all_of(x.keyBegin(), x.keyEnd(), same);
}
