// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file FVIntegerKeyDictionary.h
    \ingroup labels
    \brief Maps keyed by bare integers, as the label tables keep them.
*/

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

    \ingroup labels
*/
struct FVIntegerKeyCallBacks
{
    bool (*equal)(qintptr a, qintptr b);     //!< true when \a a and \a b are the same integer
    size_t (*hash)(qintptr key);             //!< the key's own value
    QString (*copyDescription)(qintptr key); //!< the key in decimal
};

//! The callbacks of integer keys.
extern TQKIT_EXPORT const FVIntegerKeyCallBacks FVIntegerKeyDictionaryCallBacks;

//! The hash of integer keys, as a function object for standard containers.
struct FVIntegerKeyHash
{
    //! The key's own value.
    size_t operator()(qintptr key) const noexcept { return static_cast<size_t>(key); }
};

//! The equality of integer keys, as a function object for standard containers.
struct FVIntegerKeyEqual
{
    //! True when the two keys are the same integer.
    bool operator()(qintptr a, qintptr b) const noexcept { return a == b; }
};

//! A map from integers to \c V, keyed the way FVIntegerKeyDictionaryCallBacks describes.
template <class V>
using FVIntegerKeyDictionary = std::unordered_map<qintptr, V, FVIntegerKeyHash, FVIntegerKeyEqual>;
