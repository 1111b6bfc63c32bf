// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQHeifInput_p.h"

#include "TQRegularFile_p.h"

namespace {

int64_t positionOf(void *input)
{
    return static_cast<TQHeifInput *>(input)->position;
}

int readInto(void *data, size_t size, void *input)
{
    auto *in = static_cast<TQHeifInput *>(input);
    if (size > uint64_t(in->file->size()) || in->position > in->file->size() - int64_t(size))
        return 1;
    // libheif asks for zero bytes into no buffer for an empty box; there is nothing to copy.
    if (size > 0 && !in->file->readExactly(in->position, data, size))
        return 1;
    in->position += int64_t(size);
    return 0;
}

int seekTo(int64_t position, void *input)
{
    auto *in = static_cast<TQHeifInput *>(input);
    if (position < 0 || position > in->file->size())
        return 1;
    in->position = position;
    return 0;
}

heif_reader_grow_status waitForFileSize(int64_t target, void *input)
{
    return target <= static_cast<TQHeifInput *>(input)->file->size() ? heif_reader_grow_status_size_reached
                                                                      : heif_reader_grow_status_size_beyond_eof;
}

} // namespace

const heif_reader TQHeifInput::reader{1, positionOf, readInto, seekTo, waitForFileSize};
