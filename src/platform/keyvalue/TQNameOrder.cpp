// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQNameOrder.h"

#include <QCollator>
#include <QLocale>

#include <optional>

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

// Below U+3000 no character has a <wide> or <narrow> decomposition, so most names never
// reach the table look-up.
bool isWidthVariant(char16_t unit)
{
    if (unit < 0x3000)
        return false;
    const QChar::Decomposition tag = QChar::decompositionTag(unit);
    return tag == QChar::Wide || tag == QChar::Narrow;
}

// Returns the argument itself (sharing its buffer) when nothing folds, which is nearly always.
QString foldWidth(const QString &text)
{
    const qsizetype size = text.size();
    qsizetype i = 0;
    while (i < size && !isWidthVariant(text.at(i).unicode()))
        ++i;
    if (i == size)
        return text;
    QString folded;
    folded.reserve(size);
    folded.append(text.constData(), i);
    for (; i < size; ++i) {
        const char16_t unit = text.at(i).unicode();
        if (isWidthVariant(unit))
            folded += QChar::decomposition(unit);
        else
            folded += QChar(unit);
    }
    return folded;
}

// QCollator short-cuts the "C" locale to a code-unit comparison that ignores numeric mode;
// English is ICU's root order, which is what a user without a locale expects to see.
QLocale collationLocale(const QLocale &locale)
{
    if (locale.language() == QLocale::C)
        return QLocale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

struct Collators
{
    explicit Collators(const QLocale &locale)
        : locale(locale)
        , insensitive(collationLocale(locale))
        , sensitive(collationLocale(locale))
    {
        insensitive.setCaseSensitivity(Qt::CaseInsensitive);
        insensitive.setNumericMode(true);
        sensitive.setCaseSensitivity(Qt::CaseSensitive);
        sensitive.setNumericMode(true);
    }

    QLocale locale;
    QCollator insensitive;
    QCollator sensitive;
};

// A QCollator must not be used by two threads at once, and building one opens an ICU
// collator, so each thread keeps its own until the default locale changes. QLocale's
// equality compares its shared data, which costs no allocation per comparison.
Collators &threadCollators()
{
    thread_local std::optional<Collators> collators;
    const QLocale current;
    if (!collators || !(collators->locale == current))
        collators.emplace(current);
    return *collators;
}

int breakTie(Collators &collators, const QString &foldedA, const QString &a,
             const QString &foldedB, const QString &b)
{
    if (const int byCase = sign(collators.sensitive.compare(foldedA, foldedB)))
        return byCase;
    if (const int byWidth = sign(collators.sensitive.compare(a, b)))
        return byWidth;
    return sign(QString::compare(a, b, Qt::CaseSensitive));
}

} // namespace

namespace TQNameOrder {

int compareNames(const QString &self, const QString &other)
{
    if (self == other)
        return 0;
    Collators &collators = threadCollators();
    const QString foldedSelf = foldWidth(self);
    const QString foldedOther = foldWidth(other);
    if (const int primary = sign(collators.insensitive.compare(foldedSelf, foldedOther)))
        return primary;
    return breakTie(collators, foldedSelf, self, foldedOther, other);
}

int compareNames(const QString &self, const QString *other)
{
    if (!other)
        return -1;
    return compareNames(self, *other);
}

SortKey::SortKey(QCollatorSortKey key, QString folded, QString string)
    : m_key(std::move(key))
    , m_folded(std::move(folded))
    , m_string(std::move(string))
{
}

int SortKey::compare(const SortKey &other) const
{
    if (const int primary = sign(m_key.compare(other.m_key)))
        return primary;
    if (m_string == other.m_string)
        return 0;
    return breakTie(threadCollators(), m_folded, m_string, other.m_folded, other.m_string);
}

SortKey sortKey(const QString &self)
{
    QString folded = foldWidth(self);
    QCollatorSortKey key = threadCollators().insensitive.sortKey(folded);
    return SortKey(std::move(key), std::move(folded), self);
}

int compare(const SortKey &a, const SortKey &b)
{
    return a.compare(b);
}

} // namespace TQNameOrder
