// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQEventUtilities.h"

#include <QGuiApplication>
#include <QSettings>
#include <QStyleHints>

namespace {

bool modifierDown(Qt::KeyboardModifier modifier)
{
    return QGuiApplication::queryKeyboardModifiers().testFlag(modifier);
}

} // namespace

namespace TQEventUtilities {

const char *const DoubleClickThresholdKey = "com.apple.mouse.doubleClickThreshold";

bool isControlKeyDown()
{
    return modifierDown(Qt::MetaModifier);
}

bool isOptionKeyDown()
{
    return modifierDown(Qt::AltModifier);
}

bool isCommandKeyDown()
{
    return modifierDown(Qt::ControlModifier);
}

bool isShiftKeyDown()
{
    return modifierDown(Qt::ShiftModifier);
}

double doubleClickDelay()
{
    const QSettings settings;
    const QVariant stored = settings.value(QLatin1StringView(DoubleClickThresholdKey));
    // The stored value is taken at single precision, as the setting has always been kept:
    // 0.3 reads as 0.300000011920929, not 0.3.
    const double threshold = stored.isValid()
        ? double(stored.toFloat())
        : QGuiApplication::styleHints()->mouseDoubleClickInterval() / 1000.0;
    if (threshold >= 2.0 || threshold <= 0.25)
        return 1.0;
    return threshold;
}

} // namespace TQEventUtilities
