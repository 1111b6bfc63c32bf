// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the background loaders ("tqkit.loading"): files that could not be read and
// delegates that do not implement their interface. Debug level only, so a host sees them
// when it asks for them and never otherwise.
Q_DECLARE_LOGGING_CATEGORY(lcLoading)
