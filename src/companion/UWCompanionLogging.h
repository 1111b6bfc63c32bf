// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the storage layer ("tqkit.companion").
Q_DECLARE_LOGGING_CATEGORY(lcCompanion)
