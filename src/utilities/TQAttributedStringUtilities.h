// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QString>

#include <memory>

class QFont;
class QTextDocument;

/*!
    \namespace TQAttributedStringUtilities
    \brief Shortening a text, plain or formatted, to a width with an ellipsis at its end.

    The rule, for a text of L UTF-16 units that is wider than the width W:
    - a text of 1 to 3 units is given back whole (as a copy);
    - otherwise the text is cut to its first i units followed by "…" (U+2026), for i from
      L − 2 down to 2, and the first of these that is no wider than W is the answer; when none
      is, the answer is the first two units and the ellipsis. Each step thus takes one more
      character off before the ellipsis.
    A step never ends a cut on the first half of a surrogate pair: that step drops the whole
    pair instead.

    "Wide" is the advance width of the text laid out on one line (QFontMetricsF::
    horizontalAdvance for a plain text, QTextDocument::idealWidth with no wrapping and no
    margin for a formatted one; a multi-line document measures its widest line).

    The given text is never changed. Each function says whether the text already fitted, in
    which case the answer is the text itself rather than a copy: a caller may then keep what
    it has. Cost: at most L − 3 measurements of a text of at most L units.

    The plain-text function is reentrant (QFontMetricsF may be used from any thread once a
    QGuiApplication exists); the document function is for the thread that owns the document.

    \ingroup utilities
*/
namespace TQAttributedStringUtilities {

/*!
    \a self shortened to \a width in \a font, by the rule above. When \a self fits, the answer
    shares \a self's data (no copy is made) and \a *fits (when given) is set to true;
    otherwise it is false and the answer is a new string.
*/
TQKIT_EXPORT QString truncateForWidth(const QString &self, const QFont &font, float width,
                                      bool *fits = nullptr);

/*!
    \a self shortened to \a width, by the rule above, keeping every character's format; the
    ellipsis takes the format of the first character it replaces. Positions count as in
    QTextDocument (a paragraph break is one character).

    Returns null when \a self already fits (the document itself is the answer) or is null;
    otherwise a new document, owned by the caller, that is a clone of \a self (same default
    font and options) holding the shortened text.
*/
TQKIT_EXPORT std::unique_ptr<QTextDocument> truncateForWidth(const QTextDocument *self, float width);

} // namespace TQAttributedStringUtilities
