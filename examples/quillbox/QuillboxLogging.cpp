// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxLogging.h"

Q_LOGGING_CATEGORY(lcQuillbox, "quillbox", QtWarningMsg)
