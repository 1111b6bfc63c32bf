// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

// Not part of the library's interface.

#include "tqkit_export.h"

#include <QByteArray>
#include <QVariantMap>

/*!
    An image's property dictionary as the few bytes a file item keeps of it, and back.

    A folder of images keeps one dictionary per image, and most of each dictionary is its keys
    ("PixelWidth", "{Exif}"), the same few dozen in every image. The keys are kept once for
    the process and written as their number; numbers are written in as few bytes as they
    need, texts as UTF-8. Every value keeps its type (an int stays an int, a list a list); a
    value of a type the reader never gives is kept as QDataStream writes it. A small JPEG's
    dictionary, which QDataStream writes in 430 bytes, takes about 50.

    Any thread.
*/
namespace TQPropertiesCodec {

TQKIT_EXPORT QByteArray encode(const QVariantMap &properties); // exported for the tests
//! Empty for bytes that encode() did not make.
TQKIT_EXPORT QVariantMap decode(const QByteArray &bytes);

} // namespace TQPropertiesCodec
