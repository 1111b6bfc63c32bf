// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQInvalidParameterException.h"

TQInvalidParameterException::TQInvalidParameterException(const QString &condition, const char *file, int line)
    : m_condition(condition)
    , m_what(QStringLiteral("Invalid parameter not satisfying: %1").arg(condition).toStdString())
    , m_file(file)
    , m_line(line)
{
}

TQInvalidParameterException::~TQInvalidParameterException() = default;

const char *TQInvalidParameterException::what() const noexcept
{
    return m_what.c_str();
}

QString TQInvalidParameterException::condition() const
{
    return m_condition;
}
