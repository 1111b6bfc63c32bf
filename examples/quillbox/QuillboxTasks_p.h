// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QString>

namespace QuillboxTaskTrash {

// Moves the entry at nativePath to the desktop's trash (GIO, in a file of its own because
// GLib's headers and Qt's keywords do not mix). False with the reason in error otherwise.
// Blocking; any thread.
bool moveToTrash(const QByteArray &nativePath, QString *error);

} // namespace QuillboxTaskTrash
