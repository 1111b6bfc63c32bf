// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQPredicate.h"

#include "TQPlatformLogging.h"

class TQPredicateData : public QSharedData
{
public:
    TQPredicate::Type type = TQPredicate::Type::True;
    QList<TQPredicate> subpredicates;
    QString keyPath;
    QVariant value;
    bool equal = true;
};

namespace {

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

bool valuesEqual(const QVariant &found, const QVariant &literal)
{
    if (!found.isValid())
        return false;
    if (isNumber(literal))
        return isNumber(found) && found.toDouble() == literal.toDouble();
    return found.typeId() == QMetaType::QString && found.toString() == literal.toString();
}

QString literalText(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("YES") : QStringLiteral("NO");
    if (isNumber(value))
        return value.toString();
    QString text = value.toString();
    text.replace(u'\\', QStringLiteral("\\\\"));
    text.replace(u'"', QStringLiteral("\\\""));
    return u'"' + text + u'"';
}

// ---- Parsing -------------------------------------------------------------------------------

class Parser
{
public:
    Parser(const QString &format, const QStringList &keys)
        : m_text(format)
        , m_keys(keys)
    {
    }

    std::optional<TQPredicate> parse()
    {
        std::optional<TQPredicate> result = parseOr();
        skipSpace();
        if (result && m_at < m_text.size())
            return fail(QStringLiteral("unexpected text"));
        if (result && m_nextKey != m_keys.size())
            return fail(QStringLiteral("%1 key paths for %2 %K places").arg(m_keys.size()).arg(m_nextKey));
        return result;
    }

    QString error() const { return m_error; }

private:
    std::nullopt_t fail(const QString &reason)
    {
        if (m_error.isEmpty())
            m_error = QStringLiteral("%1 at offset %2").arg(reason).arg(m_at);
        return std::nullopt;
    }

    void skipSpace()
    {
        while (m_at < m_text.size() && m_text.at(m_at).isSpace())
            ++m_at;
    }

    // Consumes \a token (a word only when a non-name character follows it).
    bool take(QStringView token)
    {
        skipSpace();
        if (!QStringView(m_text).mid(m_at).startsWith(token, Qt::CaseInsensitive))
            return false;
        const qsizetype end = m_at + token.size();
        if (token.front().isLetter() && end < m_text.size() && isNameCharacter(m_text.at(end)))
            return false;
        m_at = end;
        return true;
    }

    static bool isNameCharacter(QChar c) { return c.isLetterOrNumber() || c == u'_' || c == u'.' || c == u'@'; }

    std::optional<TQPredicate> parseOr()
    {
        QList<TQPredicate> terms;
        do {
            std::optional<TQPredicate> term = parseAnd();
            if (!term)
                return std::nullopt;
            terms.append(*term);
        } while (take(u"||") || take(u"OR"));
        return terms.size() == 1 ? terms.first() : TQPredicate::orPredicateWithSubpredicates(terms);
    }

    std::optional<TQPredicate> parseAnd()
    {
        QList<TQPredicate> terms;
        do {
            std::optional<TQPredicate> term = parseNot();
            if (!term)
                return std::nullopt;
            terms.append(*term);
        } while (take(u"&&") || take(u"AND"));
        return terms.size() == 1 ? terms.first() : TQPredicate::andPredicateWithSubpredicates(terms);
    }

    std::optional<TQPredicate> parseNot()
    {
        if (take(u"NOT") || (peek(u"!") && !peek(u"!=") && take(u"!"))) {
            std::optional<TQPredicate> inner = parseNot();
            if (!inner)
                return std::nullopt;
            return TQPredicate::notPredicateWithSubpredicate(*inner);
        }
        if (take(u"(")) {
            std::optional<TQPredicate> inner = parseOr();
            if (!inner)
                return std::nullopt;
            if (!take(u")"))
                return fail(QStringLiteral("missing \")\""));
            return inner;
        }
        if (take(u"TRUEPREDICATE"))
            return TQPredicate::predicateWithValue(true);
        if (take(u"FALSEPREDICATE"))
            return TQPredicate::predicateWithValue(false);
        return parseComparison();
    }

    bool peek(QStringView token)
    {
        skipSpace();
        return QStringView(m_text).mid(m_at).startsWith(token);
    }

    std::optional<TQPredicate> parseComparison()
    {
        QString keyPath;
        if (take(u"%K")) {
            if (m_nextKey >= m_keys.size())
                return fail(QStringLiteral("more %K places than key paths"));
            keyPath = m_keys.at(m_nextKey++);
        } else {
            const qsizetype start = m_at;
            while (m_at < m_text.size() && isNameCharacter(m_text.at(m_at)))
                ++m_at;
            keyPath = m_text.mid(start, m_at - start);
            if (keyPath.isEmpty() || !keyPath.front().isLetter())
                return fail(QStringLiteral("expected a key path"));
        }
        bool equal = true;
        if (take(u"==") || take(u"="))
            equal = true;
        else if (take(u"!=") || take(u"<>"))
            equal = false;
        else
            return fail(QStringLiteral("expected \"==\" or \"!=\""));
        std::optional<QVariant> value = parseValue();
        if (!value)
            return std::nullopt;
        return TQPredicate::comparisonPredicate(keyPath, *value, equal);
    }

    std::optional<QVariant> parseValue()
    {
        if (take(u"YES") || take(u"TRUE"))
            return QVariant(true);
        if (take(u"NO") || take(u"FALSE"))
            return QVariant(false);
        skipSpace();
        if (m_at < m_text.size() && m_text.at(m_at) == u'"') {
            QString text;
            for (++m_at; m_at < m_text.size(); ++m_at) {
                QChar c = m_text.at(m_at);
                if (c == u'"') {
                    ++m_at;
                    return QVariant(text);
                }
                if (c == u'\\' && m_at + 1 < m_text.size())
                    c = m_text.at(++m_at);
                text += c;
            }
            return fail(QStringLiteral("unterminated text"));
        }
        const qsizetype start = m_at;
        while (m_at < m_text.size() && (m_text.at(m_at).isDigit() || m_text.at(m_at) == u'.'
                                        || m_text.at(m_at) == u'-' || m_text.at(m_at) == u'+'
                                        || m_text.at(m_at) == u'e' || m_text.at(m_at) == u'E'))
            ++m_at;
        const QString number = m_text.mid(start, m_at - start);
        bool ok = false;
        if (const qlonglong integer = number.toLongLong(&ok); ok)
            return QVariant(integer);
        if (const double real = number.toDouble(&ok); ok)
            return QVariant(real);
        m_at = start;
        return fail(QStringLiteral("expected a value"));
    }

    const QString &m_text;
    const QStringList &m_keys;
    qsizetype m_at = 0;
    qsizetype m_nextKey = 0;
    QString m_error;
};

} // namespace

TQPredicate::TQPredicate(TQPredicateData *data)
    : d(data)
{
}

TQPredicate::TQPredicate(const TQPredicate &other) = default;
TQPredicate &TQPredicate::operator=(const TQPredicate &other) = default;
TQPredicate::~TQPredicate() = default;

std::optional<TQPredicate> TQPredicate::predicateWithFormat(const QString &format, const QStringList &keys)
{
    Parser parser(format, keys);
    std::optional<TQPredicate> predicate = parser.parse();
    if (!predicate)
        qCWarning(lcPlatform, "Cannot read the predicate \"%ls\": %ls", qUtf16Printable(format),
                  qUtf16Printable(parser.error()));
    return predicate;
}

TQPredicate TQPredicate::predicateWithValue(bool value)
{
    auto *data = new TQPredicateData;
    data->type = value ? Type::True : Type::False;
    return TQPredicate(data);
}

TQPredicate TQPredicate::comparisonPredicate(const QString &keyPath, const QVariant &value, bool equal)
{
    auto *data = new TQPredicateData;
    data->type = Type::Comparison;
    data->keyPath = keyPath;
    data->value = value;
    data->equal = equal;
    return TQPredicate(data);
}

TQPredicate TQPredicate::andPredicateWithSubpredicates(const QList<TQPredicate> &subpredicates)
{
    auto *data = new TQPredicateData;
    data->type = Type::And;
    data->subpredicates = subpredicates;
    return TQPredicate(data);
}

TQPredicate TQPredicate::orPredicateWithSubpredicates(const QList<TQPredicate> &subpredicates)
{
    auto *data = new TQPredicateData;
    data->type = Type::Or;
    data->subpredicates = subpredicates;
    return TQPredicate(data);
}

TQPredicate TQPredicate::notPredicateWithSubpredicate(const TQPredicate &subpredicate)
{
    auto *data = new TQPredicateData;
    data->type = Type::Not;
    data->subpredicates = {subpredicate};
    return TQPredicate(data);
}

bool TQPredicate::evaluateWithObject(const TQKeyValueSubject &object) const
{
    switch (d->type) {
    case Type::True:
        return true;
    case Type::False:
        return false;
    case Type::Comparison:
        return valuesEqual(object.valueForKeyPath(d->keyPath), d->value) == d->equal;
    case Type::And:
        for (const TQPredicate &sub : d->subpredicates) {
            if (!sub.evaluateWithObject(object))
                return false;
        }
        return true;
    case Type::Or:
        for (const TQPredicate &sub : d->subpredicates) {
            if (sub.evaluateWithObject(object))
                return true;
        }
        return false;
    case Type::Not:
        return !d->subpredicates.constFirst().evaluateWithObject(object);
    }
    return false;
}

QString TQPredicate::predicateFormat() const
{
    const auto nested = [](const TQPredicate &sub) {
        const bool compound = sub.type() == Type::And || sub.type() == Type::Or;
        return compound ? u'(' + sub.predicateFormat() + u')' : sub.predicateFormat();
    };
    switch (d->type) {
    case Type::True:
        return QStringLiteral("TRUEPREDICATE");
    case Type::False:
        return QStringLiteral("FALSEPREDICATE");
    case Type::Comparison:
        return d->keyPath + (d->equal ? u" == " : u" != ") + literalText(d->value);
    case Type::And:
    case Type::Or: {
        if (d->subpredicates.isEmpty())
            return d->type == Type::And ? QStringLiteral("TRUEPREDICATE") : QStringLiteral("FALSEPREDICATE");
        QStringList parts;
        for (const TQPredicate &sub : d->subpredicates)
            parts.append(nested(sub));
        return parts.join(d->type == Type::And ? u" AND " : u" OR ");
    }
    case Type::Not:
        return QStringLiteral("NOT ") + nested(d->subpredicates.constFirst());
    }
    return {};
}

TQPredicate::Type TQPredicate::type() const
{
    return d->type;
}

QList<TQPredicate> TQPredicate::subpredicates() const
{
    return d->subpredicates;
}

QString TQPredicate::keyPath() const
{
    return d->keyPath;
}

QVariant TQPredicate::value() const
{
    return d->value;
}

bool TQPredicate::isEqualityComparison() const
{
    return d->equal;
}

bool operator==(const TQPredicate &a, const TQPredicate &b)
{
    if (a.d == b.d)
        return true;
    if (a.d->type != b.d->type || a.d->subpredicates != b.d->subpredicates)
        return false;
    if (a.d->type != TQPredicate::Type::Comparison)
        return true;
    return a.d->keyPath == b.d->keyPath && a.d->equal == b.d->equal
        && literalText(a.d->value) == literalText(b.d->value);
}
