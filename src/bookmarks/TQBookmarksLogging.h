// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QLoggingCategory>

// Diagnostics of the bookmarks ("tqkit.bookmarks"). A saved entry that is dropped because it
// is malformed gets one warning line naming its place in the list and what was wrong, never
// its content (a saved list can be large and holds the user's paths); an entry dropped
// because its file is gone is ordinary and logged at debug level.
Q_DECLARE_LOGGING_CATEGORY(lcBookmarks)
