// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQAttributedStringUtilities.h"

#include <QFont>
#include <QFontMetricsF>
#include <QTextCursor>
#include <QTextDocument>

namespace {

const QString &ellipsis()
{
    static const QString text(QChar(0x2026));
    return text;
}

// The length of the kept prefix at step i, moved back off the first half of a surrogate pair
// so that no step leaves a lone surrogate before the ellipsis.
template<typename CharAt>
qsizetype keptLength(qsizetype i, CharAt charAt)
{
    return QChar::isHighSurrogate(charAt(i - 1).unicode()) ? i - 1 : i;
}

} // namespace

namespace TQAttributedStringUtilities {

QString truncateForWidth(const QString &self, const QFont &font, float width, bool *fits)
{
    const QFontMetricsF metrics(font);
    const auto tooWide = [&](const QString &text) { return metrics.horizontalAdvance(text) > width; };

    if (!tooWide(self)) {
        if (fits)
            *fits = true;
        return self;
    }
    if (fits)
        *fits = false;

    const qsizetype length = self.size();
    // A real copy, so that a text of one to three characters, which the loop leaves alone,
    // comes back as the copy the rule promises.
    QString copy(self.constData(), length);
    const auto charAt = [&](qsizetype at) { return self.at(at); };
    for (qsizetype i = length - 2; i >= 2; --i) {
        copy = self.left(keptLength(i, charAt)) + ellipsis();
        if (!tooWide(copy))
            break;
    }
    return copy;
}

std::unique_ptr<QTextDocument> truncateForWidth(const QTextDocument *self, float width)
{
    if (!self)
        return nullptr;
    // Measured on a clone so that the caller's document keeps its own layout settings.
    std::unique_ptr<QTextDocument> copy(self->clone());
    copy->setDocumentMargin(0);
    copy->setTextWidth(-1);
    if (copy->idealWidth() <= width)
        return nullptr;

    // The document always ends in one paragraph separator that is not part of the text.
    const qsizetype length = self->characterCount() - 1;
    const auto charAt = [&](qsizetype at) { return self->characterAt(int(at)); };
    QTextCursor cursor(copy.get());
    for (qsizetype i = length - 2; i >= 2; --i) {
        const qsizetype kept = keptLength(i, charAt);
        // The cursor's format is that of the character before it: the first one replaced.
        cursor.setPosition(int(kept + 1));
        const QTextCharFormat format = cursor.charFormat();
        cursor.setPosition(int(kept));
        cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        cursor.insertText(ellipsis(), format);
        if (copy->idealWidth() <= width)
            break;
    }
    copy->setDocumentMargin(self->documentMargin());
    copy->setTextWidth(self->textWidth());
    return copy;
}

} // namespace TQAttributedStringUtilities
