#pragma once

#include "tqkit_export.h"

#include <QCollatorSortKey>
#include <QString>

/*!
    \namespace TQStringUtilities
    \brief Free functions over a string: the browser's name order, path tests and key texts.

    Every function is reentrant and may be called from any thread. The comparisons use one
    ICU collator per thread, built on a thread's first comparison and rebuilt when the
    default locale (QLocale()) changes.
*/
namespace TQStringUtilities {

class FinderStyleSortKey;

/*!
    Orders \a self against \a other the way a file browser lists names, in the collation of
    the current default locale: -1, 0 or +1.

    - Case-insensitive, and digit runs compare by value ("file2" before "file10").
    - Width-insensitive: every character whose Unicode compatibility decomposition is tagged
      \c <wide> or \c <narrow> is replaced by that decomposition before collating. That is the
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
    finderStyleSortKey() per name instead.
*/
TQKIT_EXPORT int finderStyleCompare(const QString &self, const QString &other);

/*!
    As above; a null \a other stands for a missing string and gives -1 without comparing.
*/
TQKIT_EXPORT int finderStyleCompare(const QString &self, const QString *other);

/*!
    The sort key of \a self in the current default locale. Cost: one width-folding scan and
    one ICU sort key, a few bytes per character; comparing two keys is then a byte
    comparison, unless they tie.
*/
TQKIT_EXPORT FinderStyleSortKey finderStyleSortKey(const QString &self);

/*!
    \class TQStringUtilities::FinderStyleSortKey
    \brief A name prepared for fast comparisons in finderStyleCompare() order.

    compare() orders keys exactly as finderStyleCompare() orders their names, provided the
    keys were made and are compared under the same default locale: only the first collation
    level is in the key, and ties are broken with the comparing thread's collator.

    Immutable and implicitly shared: copying is cheap, and keys may be read from any thread.
*/
class TQKIT_EXPORT FinderStyleSortKey
{
public:
    /*! The same sign as finderStyleCompare() on the two names; -1, 0 or +1. */
    int compare(const FinderStyleSortKey &other) const;

    /*! The name the key was made from. */
    const QString &string() const { return m_string; }
    /*!
        The collation key of the name's first level: keys that compare unequal order their
        names; keys that compare equal leave the order to compare().
    */
    const QCollatorSortKey &collationKey() const { return m_key; }

    friend bool operator<(const FinderStyleSortKey &a, const FinderStyleSortKey &b)
    {
        return a.compare(b) < 0;
    }

private:
    friend FinderStyleSortKey finderStyleSortKey(const QString &self);
    FinderStyleSortKey(QCollatorSortKey key, QString folded, QString string);

    QCollatorSortKey m_key;
    QString m_folded;
    QString m_string;
};

/*! \a a.compare(\a b). */
TQKIT_EXPORT int compare(const FinderStyleSortKey &a, const FinderStyleSortKey &b);

/*!
    True when \a self's parent path (its last component removed, trailing separators
    ignored) and \a directory are the same path once both are standardised: a leading "~" or
    "~/" becomes the home folder ("~user" is left as it is), "." components go, ".."
    components take away the component before them, repeated and trailing separators go.
    Purely textual: symbolic links are not followed and nothing is read from the disk.
    Cost: linear in the lengths.
*/
TQKIT_EXPORT bool isInDirectory(const QString &self, const QString &directory);

/*!
    True when \a self begins with \a directory, compared as plain case-sensitive text: no
    standardisation and no check for a separator after the prefix, so "/x/y" is inside
    "/x/y" and "/x/yz/a" is inside "/x/y". An empty \a directory contains nothing.
    Constant setup, linear in the length of \a directory.
*/
TQKIT_EXPORT bool isInSubdirectoryOfDirectory(const QString &self, const QString &directory);

/*!
    \name Key texts
    One-character strings of the codes a key press reports (the function keys use the
    private-use codes of the Mac key events). Each is built once per process, on first use,
    and returned by reference to that one instance, which lives until the process exits.
    Constant cost; any thread.
*/
///@{
TQKIT_EXPORT const QString &tabString();              //!< U+0009
TQKIT_EXPORT const QString &escapeKeyString();        //!< U+001B
TQKIT_EXPORT const QString &rightKeyString();         //!< U+F703
TQKIT_EXPORT const QString &leftKeyString();          //!< U+F702
TQKIT_EXPORT const QString &upKeyString();            //!< U+F700
TQKIT_EXPORT const QString &downKeyString();          //!< U+F701
TQKIT_EXPORT const QString &backspaceKeyString();     //!< U+0008, ASCII backspace, not DEL
TQKIT_EXPORT const QString &pageDownKeyString();      //!< U+F72D
TQKIT_EXPORT const QString &pageUpKeyString();        //!< U+F72C
TQKIT_EXPORT const QString &homeKeyString();          //!< U+F729
TQKIT_EXPORT const QString &endKeyString();           //!< U+F72B
TQKIT_EXPORT const QString &forwardDeleteKeyString(); //!< U+F728
TQKIT_EXPORT const QString &f1KeyString();            //!< U+F704
TQKIT_EXPORT const QString &f2KeyString();            //!< U+F705
TQKIT_EXPORT const QString &f3KeyString();            //!< U+F706
TQKIT_EXPORT const QString &f4KeyString();            //!< U+F707
///@}

} // namespace TQStringUtilities
