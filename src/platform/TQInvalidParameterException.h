// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>

#include <exception>
#include <string>

/*!
    \class TQInvalidParameterException
    \brief Thrown when a caller breaks a precondition of the library: a programming error,
    not a condition of the files or of the user's data.

    what() reads "Invalid parameter not satisfying: " followed by the condition that failed
    ("NULL != context"); file() and line() name the place that checked it. Functions that
    can throw it say so, with the condition, in their documentation. A plain value, thrown
    and caught on the thread that broke the precondition.

    \ingroup platform
*/
class TQKIT_EXPORT TQInvalidParameterException : public std::exception
{
public:
    //! The exception for \a condition, checked at \a file (a string literal, not copied) and \a line.
    TQInvalidParameterException(const QString &condition, const char *file, int line);
    ~TQInvalidParameterException() override;

    //! "Invalid parameter not satisfying: " and the condition, in UTF-8.
    const char *what() const noexcept override;
    //! The condition that did not hold, as written at the check.
    QString condition() const;
    //! The source file that checked the condition.
    const char *file() const noexcept { return m_file; }
    //! The line of file() that checked the condition.
    int line() const noexcept { return m_line; }

private:
    QString m_condition;
    std::string m_what;
    const char *m_file;
    int m_line;
};
