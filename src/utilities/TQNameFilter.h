// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>
#include <QStringView>

#include <vector>

/*!
    \class TQNameFilter
    \brief The "name contains" test of a folder view's filter field: case-insensitive and
    diacritics-insensitive.

    A filter is built once per filter text and then asked about every name: the text is folded
    once, and each name is folded as it is read and matched in the same pass (a KMP automaton
    over the folded pattern), so matching allocates nothing for names in the Basic
    Multilingual Plane and reads each name once.

    Folding, applied alike to the text and the names, so that "cafe", "CAFÉ" and "Café" (composed
    or as "e" + U+0301, the form names copied from a Mac often carry) are one word:
    - Decompositions, canonical and compatibility, applied fully: "ﬁ" is "fi", a full-width
      "Ａ" is "A", "①" is "1". Hangul syllables are left whole, so a syllable never matches
      part of another.
    - Marks of the combining diacritical blocks (U+0300..U+036F, U+1AB0..U+1AFF,
      U+1DC0..U+1DFF, U+20D0..U+20FF, U+FE20..U+FE2F) are dropped. Marks of other scripts
      (Indic vowel signs, the kana voicing marks, Hebrew and Arabic points) are part of
      their letters and kept.
    - Unicode case folding, plus the letters that a reader takes for a base letter with a
      stroke or a ligature: "ß"/"ẞ" are "ss" (as Unicode's full case folding has it, and as
      the ASCII alternates of GLib's search matching, used by GNOME's searches, fold it), so
      "strasse" finds "Straße" and "STRASSE" finds "straße"; "æ" is "ae", "œ" is "oe",
      "ø" is "o", "đ" is "d", "ł" is "l", "ħ" is "h", "ı" (dotless i) is "i".

    Matching is a plain substring test on the folded forms; the text is taken as typed
    (spaces count, nothing is trimmed), and an empty text, or one that folds to nothing (only
    accents), matches every name.

    A filter is an immutable value: copies and concurrent matches() from any thread are safe.

    \ingroup utilities
*/
class TQKIT_EXPORT TQNameFilter
{
public:
    /*! The empty filter: matches every name. */
    TQNameFilter() = default;

    /*! Folds \a text once. Cost: linear in the text. */
    explicit TQNameFilter(QStringView text);

    /*! The text the filter was made from, as given. */
    QString text() const { return m_text; }

    /*! True when every name matches (the text was empty or folded to nothing). */
    bool isEmpty() const { return m_pattern.empty(); }

    /*!
        True when the folded \a name contains the folded text. Cost: one pass over the name;
        allocation only for characters outside the BMP that decompose (mathematical letters).
        The first non-ASCII character folded in the process builds a read-only table of the BMP
        (about 300 KB, a few milliseconds, once).
    */
    bool matches(QStringView name) const;

    /*!
        The folded form of \a text, as matches() sees it; for hosts that want to highlight or
        index, and for tests.
    */
    static QString folded(QStringView text);

private:
    QString m_text;
    std::vector<char32_t> m_pattern;
    // m_fallback[i]: the length of the longest proper border of m_pattern[0..i].
    std::vector<int> m_fallback;
};
