// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQScreenUtilities.h"

#include "TQUtilitiesLogging.h"

#include <QGuiApplication>
#include <QScreen>

namespace TQScreenUtilities {

QScreen *menubarScreen()
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    if (screens.isEmpty()) {
        qCDebug(lcUtilities) << "menubarScreen: there is no screen";
        return nullptr;
    }
    return screens.first();
}

} // namespace TQScreenUtilities
