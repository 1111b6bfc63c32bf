// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

// The stored form of archived values; its layout is described in TQUserDefaultsUtilities.h,
// because settings files outlive the program that wrote them.
namespace TQKeyedArchive {

// The archive of value; empty, with the reason in *problem, when a value of the tree cannot
// be archived. An invalid QVariant archives to nothing, without a problem.
QByteArray archive(const QVariant &value, QString *problem);

// The value archived in data; invalid, with the reason in *problem, when data is not a
// complete archive of this format. Never allocates much more than data's own size.
QVariant unarchive(const QByteArray &data, QString *problem);

} // namespace TQKeyedArchive
