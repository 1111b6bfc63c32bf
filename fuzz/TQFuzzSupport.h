// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

// What every fuzz target shares: one process-wide setup and a scratch folder that the input
// is written into, because the surfaces under test read files by path, as the browser does.

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace TQFuzz {

//! Makes the QCoreApplication (a QGuiApplication on the offscreen platform when \a gui),
//! the scratch folder, and silences Qt's logging (refusals of hostile files are expected by
//! the thousand); a qFatal still aborts, so it is a finding. Call from LLVMFuzzerInitialize.
void initialize(int *argc, char ***argv, bool gui = false);

//! The scratch folder, private to this process and removed at exit.
QString scratchFolder();
//! \a name inside the scratch folder.
QString scratchPath(const QString &name);
//! Writes \a data to \a name in the scratch folder, replacing what was there; its path.
QString writeInput(const QString &name, const QByteArray &data);
//! The bytes of \a size at \a data, not copied: valid during LLVMFuzzerTestOneInput only.
QByteArray view(const uint8_t *data, size_t size);
//! The bytes of the file at \a path (empty when unreadable).
QByteArray readBack(const QString &path);

//! A broken promise of the library: prints \a what and \a detail and aborts, which libFuzzer
//! reports as a crash and keeps the input for.
[[noreturn]] void fail(const char *what, const QString &detail = QString());

//! Reads every byte of a buffer the library handed out, so that AddressSanitizer sees a buffer
//! that is freed or shorter than it claims; the sum is returned to keep the reads.
quint64 touch(const uchar *bytes, qsizetype size);

} // namespace TQFuzz
