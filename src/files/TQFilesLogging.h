// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the file items ("tqkit.files"), in the words hosts grep their logs for.
Q_DECLARE_LOGGING_CATEGORY(lcFiles)
