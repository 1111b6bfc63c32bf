// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQNameFilter.h"

#include <QChar>
#include <QList>

#include <string>

namespace {

constexpr char32_t asciiLower(char32_t c)
{
    return (c >= U'A' && c <= U'Z') ? c + (U'a' - U'A') : c;
}

bool isDroppedMark(char32_t c)
{
    return (c >= 0x0300 && c <= 0x036F) || (c >= 0x1AB0 && c <= 0x1AFF) || (c >= 0x1DC0 && c <= 0x1DFF)
        || (c >= 0x20D0 && c <= 0x20FF) || (c >= 0xFE20 && c <= 0xFE2F);
}

bool isHangulSyllable(char32_t c)
{
    return c >= 0xAC00 && c <= 0xD7A3;
}

// Letters with no decomposition that readers still take for a base letter (a stroke through
// it) or for two letters (a ligature); both cases, since these come before case folding.
const char32_t *letterFolding(char32_t c)
{
    switch (c) {
    case 0x00DF: // ß
    case 0x1E9E: // ẞ
        return U"ss";
    case 0x00C6: case 0x00E6: return U"ae";
    case 0x0152: case 0x0153: return U"oe";
    case 0x00D8: case 0x00F8: return U"o";
    case 0x0110: case 0x0111: return U"d";
    case 0x0141: case 0x0142: return U"l";
    case 0x0126: case 0x0127: return U"h";
    case 0x0131: return U"i";
    default: return nullptr;
    }
}

// The reference folding, one code point at a time. It allocates (QChar::decomposition gives a
// QString), so the BMP goes through the table below and this runs per name only for
// characters beyond it.
void foldCodePoint(char32_t c, std::u32string &out, int depth = 0)
{
    if (c < 0x80) {
        out.push_back(asciiLower(c));
        return;
    }
    if (const char32_t *letters = letterFolding(c)) {
        out.append(letters);
        return;
    }
    if (isDroppedMark(c))
        return;
    // Depth only guards against a cycle in data we do not control; real chains are short.
    if (depth < 8 && !isHangulSyllable(c) && QChar::decompositionTag(c) != QChar::NoDecomposition) {
        const QString parts = QChar::decomposition(c);
        for (const char32_t part : parts.toUcs4())
            foldCodePoint(part, out, depth + 1);
        return;
    }
    const char32_t caseFolded = QChar::toCaseFolded(c);
    if (caseFolded != c && depth < 8) {
        foldCodePoint(caseFolded, out, depth + 1);
        return;
    }
    out.push_back(c);
}

// The folded form of every BMP unit: entry = length << 24 | payload, where the payload is the
// code point itself for length 1 and an offset into the pool otherwise. Built once, then only
// read, from any thread.
class FoldTable
{
public:
    FoldTable()
        : m_entries(0x10000)
    {
        std::u32string folded;
        for (char32_t c = 0; c < 0x10000; ++c) {
            if (c >= 0xD800 && c <= 0xDFFF) {
                m_entries[c] = 1u << 24 | c;
                continue;
            }
            folded.clear();
            foldCodePoint(c, folded);
            if (folded.size() == 1) {
                m_entries[c] = 1u << 24 | folded.front();
            } else {
                m_entries[c] = quint32(folded.size()) << 24 | quint32(m_pool.size());
                m_pool.append(folded);
            }
        }
    }

    template<typename Sink>
    bool feed(char16_t unit, Sink &&sink) const
    {
        const quint32 entry = m_entries[unit];
        const quint32 length = entry >> 24;
        const quint32 payload = entry & 0xFFFFFF;
        if (length == 1)
            return sink(char32_t(payload));
        for (quint32 i = 0; i < length; ++i) {
            if (sink(m_pool[payload + i]))
                return true;
        }
        return false;
    }

private:
    std::vector<quint32> m_entries;
    std::u32string m_pool;
};

const FoldTable &foldTable()
{
    static const FoldTable table;
    return table;
}

// Feeds the folded code points of \a text to \a sink until it answers true; returns whether it did.
template<typename Sink>
bool foldEach(QStringView text, Sink &&sink)
{
    const FoldTable *table = nullptr;
    const qsizetype size = text.size();
    const char16_t *units = text.utf16();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = units[i];
        if (unit < 0x80) {
            if (sink(asciiLower(unit)))
                return true;
            continue;
        }
        if (QChar::isHighSurrogate(unit) && i + 1 < size && QChar::isLowSurrogate(units[i + 1])) {
            std::u32string folded;
            foldCodePoint(QChar::surrogateToUcs4(unit, units[i + 1]), folded);
            ++i;
            for (const char32_t c : folded) {
                if (sink(c))
                    return true;
            }
            continue;
        }
        if (!table)
            table = &foldTable();
        if (table->feed(unit, sink))
            return true;
    }
    return false;
}

} // namespace

TQNameFilter::TQNameFilter(QStringView text)
    : m_text(text.toString())
{
    foldEach(text, [this](char32_t c) {
        m_pattern.push_back(c);
        return false;
    });
    m_fallback.assign(m_pattern.size(), 0);
    int border = 0;
    for (size_t i = 1; i < m_pattern.size(); ++i) {
        while (border > 0 && m_pattern[i] != m_pattern[size_t(border)])
            border = m_fallback[size_t(border) - 1];
        if (m_pattern[i] == m_pattern[size_t(border)])
            ++border;
        m_fallback[i] = border;
    }
}

bool TQNameFilter::matches(QStringView name) const
{
    if (m_pattern.empty())
        return true;
    const size_t length = m_pattern.size();
    size_t matched = 0;
    return foldEach(name, [&](char32_t c) {
        while (matched > 0 && m_pattern[matched] != c)
            matched = size_t(m_fallback[matched - 1]);
        if (m_pattern[matched] == c)
            ++matched;
        return matched == length;
    });
}

QString TQNameFilter::folded(QStringView text)
{
    std::u32string folded;
    foldEach(text, [&folded](char32_t c) {
        folded.push_back(c);
        return false;
    });
    return QString::fromUcs4(folded.data(), qsizetype(folded.size()));
}
