// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "FVIntegerKeyDictionary.h"

namespace {

bool equalKeys(qintptr a, qintptr b)
{
    return FVIntegerKeyEqual()(a, b);
}

size_t hashKey(qintptr key)
{
    return FVIntegerKeyHash()(key);
}

QString describeKey(qintptr key)
{
    return QString::number(key);
}

} // namespace

const FVIntegerKeyCallBacks FVIntegerKeyDictionaryCallBacks = {equalKeys, hashKey, describeKey};
