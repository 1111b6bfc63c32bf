// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

/*!
    \file TQNotFound.h
    \ingroup platform
    \brief TQNotFound, the index that stands for no index.
*/

#include <QtGlobal>

#include <limits>

/*!
    The index that stands for "no index": an operation that takes an index reads it as "at
    the end", one that answers an index answers it for "not found".
*/
inline constexpr qsizetype TQNotFound = std::numeric_limits<qsizetype>::max();
