// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the platform layer ("tqkit.platform"); a host silences or routes them
// through QLoggingCategory's rules like any Qt category.
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
