// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"
#include "TQKeyValueCoding.h"

#include <QList>
#include <QSharedDataPointer>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

class TQPredicateData;

/*!
    \class TQPredicate
    \brief A condition on the values of an object, read by key path: "isInvisible == NO",
    and conditions combined with AND, OR and NOT.

    Made from a format text with predicateWithFormat(), whose "%K" places take key paths
    from a list, or put together from other predicates. The format language is the small
    part of the platform's that filtering uses:
    \code
        condition := or
        or        := and ( ("OR" | "||") and )*
        and       := not ( ("AND" | "&&") not )*
        not       := ("NOT" | "!") not | "(" or ")" | "TRUEPREDICATE" | "FALSEPREDICATE"
                   | keyPath ("==" | "=" | "!=" | "<>") value
        keyPath   := "%K" | name ( "." name )*
        value     := "YES" | "NO" | "TRUE" | "FALSE" | a number | a text in double quotes
    \endcode
    Words are matched without regard to case. evaluateWithObject() compares the value at
    the key path with the literal: booleans and numbers by numeric value, texts as text. A
    missing value equals nothing (and so is unequal to everything).

    predicateFormat() writes the predicate back in the same language with its key paths in
    place ("isInvisible == NO AND (isImage == YES OR isDirectory == YES)"); reading that
    text gives an equal predicate.

    A value type, implicitly shared; evaluation is reentrant.

    \ingroup platform
*/
class TQKIT_EXPORT TQPredicate
{
public:
    //! What kind of predicate it is.
    enum class Type {
        True,       //!< always true (TRUEPREDICATE)
        False,      //!< always false (FALSEPREDICATE)
        Comparison, //!< a key path compared with a literal
        And,        //!< all of its subpredicates
        Or,         //!< one of its subpredicates
        Not,        //!< the opposite of its one subpredicate
    };

    /*!
        The predicate written in \a format, with the key paths of \a keys in its "%K" places
        in order. nullopt for a text that does not parse or whose "%K" places and keys differ
        in number; the reason is logged in "tqkit.platform".
    */
    static std::optional<TQPredicate> predicateWithFormat(const QString &format, const QStringList &keys = {});
    //! TRUEPREDICATE or FALSEPREDICATE.
    static TQPredicate predicateWithValue(bool value);
    //! "keyPath == value" (or "!=" when \a equal is false).
    static TQPredicate comparisonPredicate(const QString &keyPath, const QVariant &value, bool equal = true);
    //! True when every one of \a subpredicates is (an empty list is true).
    static TQPredicate andPredicateWithSubpredicates(const QList<TQPredicate> &subpredicates);
    //! True when one of \a subpredicates is (an empty list is false).
    static TQPredicate orPredicateWithSubpredicates(const QList<TQPredicate> &subpredicates);
    //! True when \a subpredicate is false.
    static TQPredicate notPredicateWithSubpredicate(const TQPredicate &subpredicate);

    //! A copy sharing \a other's data.
    TQPredicate(const TQPredicate &other);
    //! Shares \a other's data.
    TQPredicate &operator=(const TQPredicate &other);
    ~TQPredicate();

    //! Whether \a object satisfies the predicate (see above for how values compare).
    bool evaluateWithObject(const TQKeyValueSubject &object) const;
    //! The predicate as text in its own language, which predicateWithFormat() reads back.
    QString predicateFormat() const;

    //! What kind of predicate it is.
    Type type() const;
    //! Of And, Or and Not.
    QList<TQPredicate> subpredicates() const;
    //! Of Comparison: the key path, the literal, and whether it asks for equality.
    //!@{
    QString keyPath() const;
    QVariant value() const;
    bool isEqualityComparison() const;
    //!@}

    friend TQKIT_EXPORT bool operator==(const TQPredicate &a, const TQPredicate &b);

private:
    explicit TQPredicate(TQPredicateData *data);
    QSharedDataPointer<TQPredicateData> d;
};
