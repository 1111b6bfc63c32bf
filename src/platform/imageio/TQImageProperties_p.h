// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

// For tests and fuzz targets only: the EXIF blocks of JPEG, PNG, WebP and HEIF files are read
// by a direct walk of the IFDs the dictionary needs, and by exiv2 when the walk is not sure
// exiv2 would read them the same way. These let a test read a file both ways and compare.

//! With \a exiv2Only, every EXIF block goes to exiv2 (process-wide; set before reading).
TQKIT_EXPORT void TQImageProperties_setExiv2OnlyForTesting(bool exiv2Only);

//! How many EXIF blocks the direct walk has answered for since the process started.
TQKIT_EXPORT int TQImageProperties_directExifReadsForTesting();
