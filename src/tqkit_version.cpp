// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tqkit_version.h"

// Compiled into the library, these answer with the version the library was built as, which is
// what a host that was compiled against older headers needs to know about the one it loaded.
unsigned int TQKit::version()
{
    return TQKIT_VERSION;
}

QString TQKit::versionString()
{
    return QStringLiteral(TQKIT_VERSION_STRING);
}
