// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>

#include <cstddef>
#include <unordered_map>

/*!
    \struct FVIntegerKeyCallBacks
    \brief How a map whose keys are bare integers treats its keys: equal when their values
    are, hashed as their own value, described in decimal ("42", "-3").

    FVIntegerKeyDictionaryCallBacks is the one instance; FVIntegerKeyHash and
    FVIntegerKeyEqual are the same rules as function objects, and FVIntegerKeyDictionary<V>
    the map they make. All of them are stateless and may be used from any thread.
*/
struct FVIntegerKeyCallBacks
{
    bool (*equal)(qintptr a, qintptr b);
    size_t (*hash)(qintptr key);
    QString (*copyDescription)(qintptr key);
};

//! The callbacks of integer keys.
extern TQKIT_EXPORT const FVIntegerKeyCallBacks FVIntegerKeyDictionaryCallBacks;

struct FVIntegerKeyHash
{
    size_t operator()(qintptr key) const noexcept { return static_cast<size_t>(key); }
};

struct FVIntegerKeyEqual
{
    bool operator()(qintptr a, qintptr b) const noexcept { return a == b; }
};

//! A map from integers to \c V, keyed the way FVIntegerKeyDictionaryCallBacks describes.
template <class V>
using FVIntegerKeyDictionary = std::unordered_map<qintptr, V, FVIntegerKeyHash, FVIntegerKeyEqual>;
