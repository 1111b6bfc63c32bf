// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the models ("tqkit.models"): folders that cannot be shown, listings that
// went away, batches applied. Warnings only for what a user should hear of once.
Q_DECLARE_LOGGING_CATEGORY(lcModels)
