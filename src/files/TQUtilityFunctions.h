#pragma once

#include "tqkit_export.h"

#include <QString>
#include <QStringList>

/*!
    True when \a type conforms to at least one entry of \a types, asked in the list's order;
    false for an empty list. Conformance is the type registry's (TQTypeRegistry).
    Reentrant; may be called from any thread.
*/
TQKIT_EXPORT bool TQUTTypeConformsToArray(const QString &type, const QStringList &types);
