// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QLoggingCategory>

// Quillbox's own lines: "quillbox". Refusals of what the user's files hold are one warning
// naming the path; everything else is debug.
Q_DECLARE_LOGGING_CATEGORY(lcQuillbox)
