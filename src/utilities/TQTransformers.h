// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QMetaType>
#include <QVariant>

/*!
    \class TQValueTransformer
    \brief A one-way, stateless conversion of a bound value for display, such as a font to
    its name or a text to whether it is empty.

    A host that binds a control to a model value passes the value through a transformer first.
    "Nothing" on either side is a null QVariant (QVariant::isNull(): an invalid QVariant, a
    std::nullptr_t or a null pointer); a transformer answers nothing for a value it has no
    meaning for. There is no reverse transformation.

    A transformer has no state: one instance may serve any number of bindings, and the
    concrete transformers are reentrant, with one exception: TQFontDescriptionTransformer asks
    the font database and so belongs to the GUI thread. Constant cost, except for printing a
    container (TQUppercaseTransformer), which is proportional to its size.

    \ingroup utilities
*/
class TQKIT_EXPORT TQValueTransformer
{
public:
    virtual ~TQValueTransformer();

    //! The value shown for \a value; a null QVariant for nothing.
    virtual QVariant transformedValue(const QVariant &value) const = 0;
    //! The type of every value transformedValue() gives that is not null.
    virtual QMetaType transformedValueType() const = 0;
};

/*!
    \class TQFontDescriptionTransformer
    \brief A font as "DejaVu Sans Book (12 pt)", for a preference that shows the chosen font.

    The value is a QFont, or a QByteArray holding a font archived the library's way (see
    TQUserDefaultsUtilities), which is how a font kept in settings arrives. Anything else,
    including data that is not an archive or holds something other than a font, gives nothing.

    The name is the family and style of the font the font database really matched (QFontInfo),
    so it names what the user sees: "DejaVu Sans Book" for a request of "DejaVu Sans". The size
    is the point size with no decimals, rounded half to even exactly as C's "%.0f" rounds
    (12.5 reads 12, 13.5 reads 14). A font set in pixels has no point size, and converting it
    would depend on the screen; it reads in its own unit instead: "DejaVu Sans Book (16 px)".
    GUI thread only, with a QGuiApplication; the size and name text is not translated.

    \ingroup utilities
*/
class TQKIT_EXPORT TQFontDescriptionTransformer : public TQValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    //! QString.
    QMetaType transformedValueType() const override;
};

/*!
    \class TQUppercaseTransformer
    \brief The upper-case form of a value's text.

    A QString gives QString::toUpper(), Unicode's full case mapping, the same in every locale
    ("straße" gives "STRASSE"). Any other value gives the upper-case form of its printed form:
    - a list (any sequential container) prints as "(a, b)", a map or hash as "{k = v; k = v}",
      their elements printed by the same rules, a null element as "<null>";
    - a value that converts to text prints as that text (QVariant::toString(): 12 gives "12",
      true "TRUE", a QByteArray its bytes read as UTF-8, a date its ISO 8601 form);
    - anything else prints as Qt's debug form of it (QDebug), when it has one.
    A value with no printed form at all gives nothing, as does nothing itself.

    \ingroup utilities
*/
class TQKIT_EXPORT TQUppercaseTransformer : public TQValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    //! QString.
    QMetaType transformedValueType() const override;
};

/*!
    \class TQIsNotEmptyTransformer
    \brief Whether a value has something in it, as a bool; the exact opposite of TQIsEmptyTransformer.

    Emptiness is decided by length alone, and only text has a length: nothing (a null QVariant)
    and a zero-length QString or QByteArray are empty; a QString that is null counts as
    zero-length text. Every other value is not empty, whatever it holds: the number 0, false, an
    empty list, map or date.

    \ingroup utilities
*/
class TQKIT_EXPORT TQIsNotEmptyTransformer : public TQValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    //! bool.
    QMetaType transformedValueType() const override;
};

/*!
    \class TQIsEmptyTransformer
    \brief Whether a value is empty, as a bool, by the rule of TQIsNotEmptyTransformer.

    \ingroup utilities
*/
class TQKIT_EXPORT TQIsEmptyTransformer : public TQValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    //! bool.
    QMetaType transformedValueType() const override;
};
