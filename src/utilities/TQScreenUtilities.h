// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

class QScreen;

/*!
    \namespace TQScreenUtilities
    \brief The screen that holds the desktop's main panel. GUI thread only.

    \ingroup utilities
*/
namespace TQScreenUtilities {

/*!
    The first screen of QGuiApplication::screens(), which Qt keeps as the primary screen
    (where the desktop puts its main panel). Null when there is no screen at all (no
    QGuiApplication yet, or every screen unplugged), logged at debug level in
    "tqkit.utilities"; a caller that places windows must be ready for that.
*/
TQKIT_EXPORT QScreen *menubarScreen();

} // namespace TQScreenUtilities
