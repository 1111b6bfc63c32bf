// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tqinfo_output.h"

#include "UWStandardFile.h"

#include <QDate>
#include <QDateTime>
#include <QIcon>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSize>
#include <QSizeF>
#include <QUrl>

#include <algorithm>
#include <cmath>
#include <limits>

namespace TQInfo {

namespace {

QJsonValue sizeValue(double width, double height)
{
    return QJsonObject{{QStringLiteral("width"), width}, {QStringLiteral("height"), height}};
}

QJsonValue integerValue(qint64 value)
{
    return QJsonValue(value);
}

QJsonValue unsignedValue(quint64 value)
{
    // Past qint64 JSON has only doubles left; a rounded number beats one with a wrapped sign.
    if (value > quint64(std::numeric_limits<qint64>::max()))
        return QJsonValue(double(value));
    return QJsonValue(qint64(value));
}

QJsonValue floatingValue(double value)
{
    // NaN and infinity have no JSON spelling; a reader can at least tell null from a number.
    return std::isfinite(value) ? QJsonValue(value) : QJsonValue(QJsonValue::Null);
}

// A file name may hold any byte but '/' and NUL; a newline or an escape sequence in a table
// cell would break the row or play tricks on the terminal, so it shows as '?' the way ls does.
// The control characters are the code points U+0000-001F and U+007F-009F, all in one code
// unit each; a name without them (nearly every name) is returned without a copy.
bool isControl(char16_t c)
{
    return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

QString printable(QString text)
{
    const auto control = std::find_if(text.cbegin(), text.cend(), [](QChar c) { return isControl(c.unicode()); });
    if (control == text.cend())
        return text;
    for (qsizetype i = control - text.cbegin(); i < text.size(); ++i) {
        if (isControl(text.at(i).unicode()))
            text[i] = QLatin1Char('?');
    }
    return text;
}

// \a utc as Qt's ISO form with milliseconds ("2026-11-21T05:27:00.123Z"), written digit by
// digit: Qt's own writer goes through a printf-style format for each date of a big listing.
// Years without four digits of their own are left to Qt.
QString utcText(const QDateTime &utc)
{
    const QDate day = utc.date();
    const QTime time = utc.time();
    if (day.year() < 1 || day.year() > 9999)
        return printable(utc.toString(Qt::ISODateWithMs));
    QString text(24, Qt::Uninitialized);
    QChar *out = text.data();
    const auto put = [&out](int number, int digits) {
        for (int i = digits - 1; i >= 0; --i, number /= 10)
            out[i] = QLatin1Char(char('0' + number % 10));
        out += digits;
    };
    const auto mark = [&out](char c) { *out++ = QLatin1Char(c); };
    put(day.year(), 4), mark('-'), put(day.month(), 2), mark('-'), put(day.day(), 2), mark('T');
    put(time.hour(), 2), mark(':'), put(time.minute(), 2), mark(':'), put(time.second(), 2), mark('.');
    put(time.msec(), 3), mark('Z');
    return text;
}

bool isWide(char32_t c)
{
    // The East Asian wide and fullwidth blocks, and the emoji most names carry: terminals give
    // each of these two cells.
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F)
        || (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF)
        || (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60)
        || (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1F64F)
        || (c >= 0x1F900 && c <= 0x1F9FF) || (c >= 0x20000 && c <= 0x3FFFD);
}

} // namespace

QJsonValue jsonValue(const QVariant &value)
{
    if (!value.isValid())
        return QJsonValue::Null;
    switch (value.metaType().id()) {
    case QMetaType::Nullptr:
        return QJsonValue::Null;
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return integerValue(value.toLongLong());
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return unsignedValue(value.toULongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return floatingValue(value.toDouble());
    case QMetaType::QString:
    case QMetaType::QChar:
        return value.toString();
    case QMetaType::QByteArray:
        return QString::fromUtf8(value.toByteArray());
    case QMetaType::QDateTime: {
        // UTC with milliseconds throughout, so that every date of every key sorts as text.
        const QDateTime date = value.toDateTime();
        return date.isValid() ? QJsonValue(date.toUTC().toString(Qt::ISODateWithMs)) : QJsonValue::Null;
    }
    case QMetaType::QDate: {
        const QDate date = value.toDate();
        return date.isValid() ? QJsonValue(date.toString(Qt::ISODate)) : QJsonValue::Null;
    }
    case QMetaType::QUrl: {
        // Encoded, so that a name with a space or a '#' still gives a URL a parser accepts.
        const QUrl url = value.toUrl();
        return url.isEmpty() ? QJsonValue::Null : QJsonValue(QString::fromUtf8(url.toEncoded()));
    }
    case QMetaType::QSize: {
        // Qt's invalid size (-1 x -1) is how a value says "unknown".
        const QSize size = value.toSize();
        return size.isValid() ? sizeValue(size.width(), size.height()) : QJsonValue::Null;
    }
    case QMetaType::QSizeF: {
        const QSizeF size = value.toSizeF();
        return size.isValid() ? sizeValue(size.width(), size.height()) : QJsonValue::Null;
    }
    case QMetaType::QStringList:
    case QMetaType::QByteArrayList:
    case QMetaType::QVariantList: {
        QJsonArray array;
        for (const QVariant &element : value.toList())
            array.append(jsonValue(element));
        return array;
    }
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            object.insert(it.key(), jsonValue(it.value()));
        return object;
    }
    case QMetaType::QIcon: {
        // An icon is shown by its theme name, the part a script can use.
        const QIcon icon = value.value<QIcon>();
        return icon.name().isEmpty() ? QJsonValue::Null : QJsonValue(icon.name());
    }
    case QMetaType::QVariantHash: {
        QJsonObject object;
        const QVariantHash hash = value.toHash();
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            object.insert(it.key(), jsonValue(it.value()));
        return object;
    }
    default:
        break;
    }
    // An item (an application, say) is shown by the name people know it by.
    if (value.metaType() == QMetaType::fromType<UWStandardFileRef>()) {
        const UWStandardFileRef item = value.value<UWStandardFileRef>();
        return item ? QJsonValue(item->displayName()) : QJsonValue::Null;
    }
    // Registered enumerations and the like still have a readable name.
    QVariant text = value;
    if (text.canConvert<QString>() && text.convert(QMetaType::fromType<QString>()))
        return text.toString();
    return QJsonValue::Null;
}

QByteArray jsonText(const QJsonValue &value)
{
    // QJsonDocument writes only arrays and objects; a one-element array without its brackets
    // gives the value on its own, escaped exactly as Qt escapes it everywhere else.
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

QByteArray valueText(const QVariant &value)
{
    // A size reads width first, the way people say it; QJsonObject would sort the keys.
    const int type = value.metaType().id();
    if (type == QMetaType::QSize || type == QMetaType::QSizeF) {
        const QSizeF size = value.toSizeF();
        if (size.isValid()) {
            return "{\"width\":" + jsonText(floatingValue(size.width())) + ",\"height\":"
                + jsonText(floatingValue(size.height())) + '}';
        }
    }
    return jsonText(jsonValue(value));
}

QByteArray jsonLine(const QStringList &keys, const Row &row)
{
    // Built piece by piece because QJsonObject sorts its keys, and readers of the output
    // rightly expect the order they asked for.
    QByteArray line = "{\"path\":" + jsonText(row.path);
    for (qsizetype i = 0; i < keys.size(); ++i) {
        line += ',' + jsonText(keys.at(i)) + ':';
        line += valueText(row.values.value(i));
    }
    line += '}';
    return line;
}

QString cellText(const QVariant &value)
{
    // The values every listing shows, without the trip through JSON the rest takes.
    const int type = value.metaType().id();
    switch (type) {
    case QMetaType::UnknownType:
        return QStringLiteral("-");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::QString:
        return printable(value.toString());
    case QMetaType::QDateTime: {
        const QDateTime date = value.toDateTime();
        return date.isValid() ? utcText(date.toUTC()) : QStringLiteral("-");
    }
    default:
        break;
    }
    if (type == QMetaType::QSize || type == QMetaType::QSizeF) {
        const QSizeF size = value.toSizeF();
        if (size.isValid()) {
            return QString::number(size.width(), 'g', QLocale::FloatingPointShortest) + QLatin1Char('x')
                + QString::number(size.height(), 'g', QLocale::FloatingPointShortest);
        }
    }
    const QJsonValue json = jsonValue(value);
    switch (json.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return QStringLiteral("-");
    case QJsonValue::String:
        return printable(json.toString());
    default:
        return printable(QString::fromUtf8(jsonText(json)));
    }
}

int displayWidth(QStringView text)
{
    // ASCII takes one column a character, and most names are nothing else.
    if (std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; }))
        return int(text.size());
    int width = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        // A surrogate without its partner counts as the replacement character, as in toUcs4().
        char32_t c = text[i].unicode();
        if (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            c = QChar::surrogateToUcs4(char16_t(c), text[i + 1].unicode());
            ++i;
        } else if (QChar::isSurrogate(c))
            c = QChar::ReplacementCharacter;
        // Names copied from a Mac come decomposed: the accent is a mark of its own that takes
        // no column.
        switch (QChar::category(c)) {
        case QChar::Mark_NonSpacing:
        case QChar::Mark_Enclosing:
        case QChar::Other_Format:
            break;
        default:
            width += isWide(c) ? 2 : 1;
        }
    }
    return width;
}

Table::Table(const QStringList &keys)
    : m_columns(keys.size() + 1)
    , m_widths(size_t(m_columns), 0)
{
    addCell(QStringLiteral("path"));
    for (const QString &key : keys)
        addCell(key);
}

void Table::addCell(const QString &text)
{
    const size_t column = m_ends.size() % size_t(m_columns);
    const int width = displayWidth(text);
    m_bytes += text.toUtf8();
    m_ends.push_back(m_bytes.size());
    m_cellWidths.push_back(width);
    m_widths[column] = std::max(m_widths[column], width);
}

void Table::append(const Row &row)
{
    addCell(printable(row.path));
    for (qsizetype i = 1; i < m_columns; ++i)
        addCell(cellText(row.values.value(i - 1)));
}

template <class Sink>
void Table::print(Sink sink) const
{
    // Written in pieces of some tens of kilobytes: the whole text of a big folder would be
    // as large again as the cells.
    constexpr qsizetype pieceSize = 64 * 1024;
    QByteArray piece;
    piece.reserve(pieceSize + 4096);
    qsizetype start = 0;
    for (size_t cell = 0; cell < m_ends.size();) {
        for (qsizetype column = 0; column < m_columns; ++column, ++cell) {
            piece.append(m_bytes.constData() + start, m_ends[cell] - start);
            start = m_ends[cell];
            // The last column is not padded, so no line ends in blanks.
            if (column + 1 < m_columns)
                piece.append(m_widths[size_t(column)] - m_cellWidths[cell] + 2, ' ');
        }
        piece.append('\n');
        if (piece.size() >= pieceSize) {
            sink(piece);
            piece.truncate(0);
        }
    }
    if (!piece.isEmpty())
        sink(piece);
}

void Table::write(FILE *stream) const
{
    print([stream](const QByteArray &piece) { std::fwrite(piece.constData(), 1, size_t(piece.size()), stream); });
}

QByteArray Table::text() const
{
    QByteArray all;
    print([&all](const QByteArray &piece) { all += piece; });
    return all;
}

} // namespace TQInfo
