// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QCollatorSortKey>
#include <QString>

/*!
    \namespace TQNameOrder
    \brief The browser's order of names, for sorting and for the key-value coding's sort keys.

    Every function is reentrant and may be called from any thread. The comparisons use one
    ICU collator per thread, built on a thread's first comparison and rebuilt when the
    default locale (QLocale()) changes. (TQStringUtilities offers the same order under its
    older names, finderStyleCompare() and finderStyleSortKey().)

    \ingroup platform
*/
namespace TQNameOrder {

class SortKey;

/*!
    Orders \a self against \a other the way a file browser lists names, in the collation of
    the current default locale: -1, 0 or +1.

    - Case-insensitive, and digit runs compare by value ("file2" before "file10").
    - Width-insensitive: every character whose Unicode compatibility decomposition is tagged
      \c \<wide\> or \c \<narrow\> is replaced by that decomposition before collating. That is the
      full-width ASCII block U+FF01..U+FF5E, the ideographic space U+3000, the full-width
      brackets and signs (U+FF5F, U+FF60, U+FFE0..U+FFE6) and the half-width katakana,
      Hangul and symbols (U+FF61..U+FFDC, U+FFE8..U+FFEE).
    - Accents count, more weakly than letters: "resume" comes before "résumé", and
      "résumé" before "resumf".
    - Forced: 0 only for identical strings, and compare(a, b) == -compare(b, a). Names equal
      so far are ordered by the locale's case-sensitive collation of the width-folded names
      (in English, lowercase first), then by the same collation of the names as given (a
      character's ordinary form before its wide or narrow variant), then by UTF-16 code
      units (which parts canonically equivalent spellings, numbers with leading zeros and
      names differing only in ignorable characters).

    The "C" locale gets the English collation: Qt compares code units there, without
    numeric order.

    Cost: one collation of both strings, plus up to two more and a code-unit comparison on a
    tie, and a linear scan of each for width folding. For sorting many names, make one
    sortKey() per name instead.
*/
TQKIT_EXPORT int compareNames(const QString &self, const QString &other);

/*!
    As above; a null \a other stands for a missing string and gives -1 without comparing.
*/
TQKIT_EXPORT int compareNames(const QString &self, const QString *other);

/*!
    The sort key of \a self in the current default locale. Cost: one width-folding scan and
    one ICU sort key, a few bytes per character; comparing two keys is then a byte
    comparison, unless they tie.
*/
TQKIT_EXPORT SortKey sortKey(const QString &self);

/*!
    \class TQNameOrder::SortKey
    \brief A name prepared for fast comparisons in compareNames() order.

    compare() orders keys exactly as compareNames() orders their names, provided the
    keys were made and are compared under the same default locale: only the first collation
    level is in the key, and ties are broken with the comparing thread's collator.

    Immutable and implicitly shared: copying is cheap, and keys may be read from any thread.

    \ingroup platform
*/
class TQKIT_EXPORT SortKey
{
public:
    /*! The same sign as compareNames() on the two names; -1, 0 or +1. */
    int compare(const SortKey &other) const;

    /*! The name the key was made from. */
    const QString &string() const { return m_string; }
    /*!
        The collation key of the name's first level: keys that compare unequal order their
        names; keys that compare equal leave the order to compare().
    */
    const QCollatorSortKey &collationKey() const { return m_key; }

    friend bool operator<(const SortKey &a, const SortKey &b)
    {
        return a.compare(b) < 0;
    }

private:
    friend SortKey sortKey(const QString &self);
    SortKey(QCollatorSortKey key, QString folded, QString string);

    QCollatorSortKey m_key;
    QString m_folded;
    QString m_string;
};

/*! \a a.compare(\a b). */
TQKIT_EXPORT int compare(const SortKey &a, const SortKey &b);

} // namespace TQNameOrder

// The older names of the order, which TQStringUtilities has always offered and callers of the
// key-value coding spell. They are declared here, beside what they forward to, so that code
// reaching the key through TQKeyValueCoding compiles without a header from utilities.
namespace TQStringUtilities {

/*!
    \brief The name order's sort key, TQNameOrder::SortKey, under its older name.
*/
using FinderStyleSortKey = TQNameOrder::SortKey;

/*!
    Orders \a self against \a other the way a file browser lists names: -1, 0 or +1. The
    name order of TQNameOrder::compareNames(), which documents it.
*/
inline int finderStyleCompare(const QString &self, const QString &other)
{
    return TQNameOrder::compareNames(self, other);
}

/*! As above; a null \a other stands for a missing string and gives -1 without comparing. */
inline int finderStyleCompare(const QString &self, const QString *other)
{
    return TQNameOrder::compareNames(self, other);
}

/*! The sort key of \a self in the current default locale (TQNameOrder::sortKey()). */
inline FinderStyleSortKey finderStyleSortKey(const QString &self)
{
    return TQNameOrder::sortKey(self);
}

/*! \a a.compare(\a b). */
using TQNameOrder::compare;

} // namespace TQStringUtilities
