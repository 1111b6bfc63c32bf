// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQModelsLogging.h"

Q_LOGGING_CATEGORY(lcModels, "tqkit.models", QtWarningMsg)
