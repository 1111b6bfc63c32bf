#pragma once

#include "tqkit_export.h"

#include <QStringView>
#include <QVariant>

/*!
    \class TQKeyValueCoding
    \brief An object whose values can be asked for by name.

    Sorting, filtering, table cells and the command-line tool read values of file items (and
    of the records that hold them) by key, the way the host's bindings do: "displayName",
    "modificationDate", "isInvisible". An object that takes part implements valueForKey().
    A key the object does not know answers a null QVariant.

    Thread-safety is that of the implementing object.
*/
class TQKIT_EXPORT TQKeyValueCoding
{
public:
    virtual ~TQKeyValueCoding();

    //! The value named \a key; a null QVariant when the key is unknown or the value missing.
    virtual QVariant valueForKey(QStringView key) const = 0;

protected:
    TQKeyValueCoding() = default;
    TQKeyValueCoding(const TQKeyValueCoding &) = default;
    TQKeyValueCoding &operator=(const TQKeyValueCoding &) = default;
};
