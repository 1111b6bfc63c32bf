// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <libheif/heif.h>

#include <cstdint>

class TQRegularFile;

// libheif reads a file through the library's checked descriptor (never by name), with pread so
// that no descriptor offset is shared, and learns the file's real size from it: a box that
// claims more than the file holds ends the parse instead of a read past the end.
struct TQHeifInput
{
    const TQRegularFile *file = nullptr;
    int64_t position = 0;

    // The callbacks for heif_context_read_from_reader(context, &TQHeifInput::reader, &input, ...).
    static const heif_reader reader;
};
