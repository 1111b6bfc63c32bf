// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQUiLogging.h"

Q_LOGGING_CATEGORY(lcUi, "tqkit.ui", QtWarningMsg)
