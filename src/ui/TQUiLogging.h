// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the windows, menus and pickers ("tqkit.ui"). Debug level for what a host
// only wants when it asks; info for the debugging aids a host calls on purpose.
Q_DECLARE_LOGGING_CATEGORY(lcUi)
