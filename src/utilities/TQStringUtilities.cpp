#include "TQStringUtilities.h"

#include <QCollator>
#include <QDir>
#include <QLocale>

#include <optional>

using namespace Qt::StringLiterals;

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

template <char16_t Code>
const QString &keyString()
{
    static const QString text(QChar{Code});
    return text;
}

} // namespace

namespace TQStringUtilities {

int finderStyleCompare(const QString &self, const QString &other)
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

int finderStyleCompare(const QString &self, const QString *other)
{
    if (!other)
        return -1;
    return finderStyleCompare(self, *other);
}

FinderStyleSortKey::FinderStyleSortKey(QCollatorSortKey key, QString folded, QString string)
    : m_key(std::move(key))
    , m_folded(std::move(folded))
    , m_string(std::move(string))
{
}

int FinderStyleSortKey::compare(const FinderStyleSortKey &other) const
{
    if (const int primary = sign(m_key.compare(other.m_key)))
        return primary;
    if (m_string == other.m_string)
        return 0;
    return breakTie(threadCollators(), m_folded, m_string, other.m_folded, other.m_string);
}

FinderStyleSortKey finderStyleSortKey(const QString &self)
{
    QString folded = foldWidth(self);
    QCollatorSortKey key = threadCollators().insensitive.sortKey(folded);
    return FinderStyleSortKey(std::move(key), std::move(folded), self);
}

int compare(const FinderStyleSortKey &a, const FinderStyleSortKey &b)
{
    return a.compare(b);
}

namespace {

QString standardizedPath(const QString &path)
{
    if (path == u'~' || path.startsWith(u"~/"_s))
        return QDir::cleanPath(QDir::homePath() + QStringView(path).mid(1));
    return QDir::cleanPath(path);
}

// Trailing separators do not make a component, so "/x/y/" has the parent "/x".
QString parentPath(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == u'/')
        --end;
    if (end == 0)
        return {};
    const qsizetype slash = path.lastIndexOf(u'/', end - 1);
    if (slash < 0)
        return {};
    if (slash == 0)
        return u"/"_s;
    return path.left(slash);
}

} // namespace

bool isInDirectory(const QString &self, const QString &directory)
{
    return standardizedPath(parentPath(self)) == standardizedPath(directory);
}

bool isInSubdirectoryOfDirectory(const QString &self, const QString &directory)
{
    return !directory.isEmpty() && self.startsWith(directory, Qt::CaseSensitive);
}

const QString &tabString() { return keyString<0x0009>(); }
const QString &escapeKeyString() { return keyString<0x001B>(); }
const QString &rightKeyString() { return keyString<0xF703>(); }
const QString &leftKeyString() { return keyString<0xF702>(); }
const QString &upKeyString() { return keyString<0xF700>(); }
const QString &downKeyString() { return keyString<0xF701>(); }
// Deliberately ASCII backspace, not DEL (U+007F), although both name a backspace.
const QString &backspaceKeyString() { return keyString<0x0008>(); }
const QString &pageDownKeyString() { return keyString<0xF72D>(); }
const QString &pageUpKeyString() { return keyString<0xF72C>(); }
const QString &homeKeyString() { return keyString<0xF729>(); }
const QString &endKeyString() { return keyString<0xF72B>(); }
const QString &forwardDeleteKeyString() { return keyString<0xF728>(); }
const QString &f1KeyString() { return keyString<0xF704>(); }
const QString &f2KeyString() { return keyString<0xF705>(); }
const QString &f3KeyString() { return keyString<0xF706>(); }
const QString &f4KeyString() { return keyString<0xF707>(); }

} // namespace TQStringUtilities
