// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QString>

// A desktop of the test's own for GIO and Qt: XDG_DATA_HOME, XDG_CONFIG_HOME, XDG_DATA_DIRS and
// XDG_CONFIG_DIRS under `root` (folders "data", "config", "system-data", "system-config"), the
// machine's MIME database linked in, no GIO modules of the machine (gvfs, dconf), and a
// desktop name of its own. Call it before anything asks GIO or QStandardPaths, which cache
// their folders. Returns an empty text, or what went wrong.
QString isolateTestDesktop(const QString &root);

// Writes a whole file at once (GIO may read the folder from its worker thread meanwhile),
// making its folder first. Returns whether it was written.
bool writeWholeFile(const QString &path, const QByteArray &contents);
