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
QString printable(QString text)
{
    for (QChar &c : text) {
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char('?');
    }
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
    const int type = value.metaType().id();
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
    int width = 0;
    for (const char32_t c : text.toUcs4()) {
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

QByteArray table(const QStringList &keys, const QList<Row> &rows)
{
    QList<QStringList> lines;
    lines.reserve(rows.size() + 1);
    lines.append(QStringList{QStringLiteral("path")} + keys);
    for (const Row &row : rows) {
        QStringList cells{printable(row.path)};
        for (qsizetype i = 0; i < keys.size(); ++i)
            cells.append(cellText(row.values.value(i)));
        lines.append(cells);
    }

    QList<int> widths(keys.size() + 1, 0);
    for (const QStringList &cells : lines) {
        for (qsizetype i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(cells.at(i)));
    }

    QString text;
    for (const QStringList &cells : lines) {
        for (qsizetype i = 0; i < cells.size(); ++i) {
            text += cells.at(i);
            // The last column is not padded, so no line ends in blanks.
            if (i + 1 < cells.size())
                text += QString(widths.at(i) - displayWidth(cells.at(i)) + 2, QLatin1Char(' '));
        }
        text += QLatin1Char('\n');
    }
    return text.toUtf8();
}

} // namespace TQInfo
