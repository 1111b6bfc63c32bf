// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQTransformers.h"

#include "TQKeyedArchive_p.h"
#include "TQUtilitiesLogging.h"

#include <QAssociativeIterable>
#include <QDebug>
#include <QFont>
#include <QFontInfo>
#include <QGuiApplication>
#include <QSequentialIterable>
#include <QStringList>

#include <cstdio>
#include <string>

using namespace Qt::StringLiterals;

namespace {

// Qt's own number formatting rounds halves away from zero; a size is to read exactly as C's
// "%.0f" prints it, which rounds the exact binary value half to even.
QString wholeNumber(double value)
{
    const int length = std::snprintf(nullptr, 0, "%.0f", value);
    if (length <= 0)
        return QString();
    std::string digits(size_t(length) + 1, '\0');
    std::snprintf(digits.data(), digits.size(), "%.0f", value);
    digits.resize(size_t(length));
    return QString::fromStdString(digits);
}

QString fontDescription(const QFont &font)
{
    // Without a font database (no QGuiApplication) only the request can be named.
    const bool matched = qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
    const QFontInfo info(font);
    const QString family = matched ? info.family() : font.family();
    const QString style = matched ? info.styleName() : font.styleName();
    const QString name = style.isEmpty() ? family : family + u' ' + style;
    if (font.pointSizeF() > 0)
        return name + u" ("_s + wholeNumber(font.pointSizeF()) + u" pt)"_s;
    return name + u" ("_s + QString::number(font.pixelSize()) + u" px)"_s;
}

bool isNothing(const QVariant &value)
{
    return value.isNull();
}

bool hasZeroLength(const QVariant &value)
{
    if (isNothing(value))
        return true;
    switch (value.typeId()) {
    case QMetaType::QString:
        return value.toString().isEmpty();
    case QMetaType::QByteArray:
        return value.toByteArray().isEmpty();
    default:
        return false;
    }
}

// Text is only a sequence of characters to Qt's iterables in name; it prints as itself.
bool isText(const QVariant &value)
{
    return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray;
}

bool printInto(QString &text, const QVariant &value)
{
    if (isNothing(value)) {
        text += u"<null>"_s;
        return true;
    }
    if (!isText(value) && value.canView<QAssociativeIterable>()) {
        const QAssociativeIterable map = value.value<QAssociativeIterable>();
        text += u'{';
        bool first = true;
        for (auto it = map.begin(); it != map.end(); ++it) {
            if (!first)
                text += u"; "_s;
            first = false;
            if (!printInto(text, it.key()))
                return false;
            text += u" = "_s;
            if (!printInto(text, it.value()))
                return false;
        }
        text += u'}';
        return true;
    }
    if (!isText(value) && value.canView<QSequentialIterable>()) {
        const QSequentialIterable list = value.value<QSequentialIterable>();
        text += u'(';
        bool first = true;
        for (const QVariant &element : list) {
            if (!first)
                text += u", "_s;
            first = false;
            if (!printInto(text, element))
                return false;
        }
        text += u')';
        return true;
    }
    QVariant converted = value;
    if (converted.convert(QMetaType::fromType<QString>())) {
        text += converted.toString();
        return true;
    }
    QMetaType type = value.metaType();
    if (type.hasRegisteredDebugStreamOperator()) {
        QDebug debug(&text);
        debug.nospace();
        return type.debugStream(debug, value.constData());
    }
    return false;
}

} // namespace

TQValueTransformer::~TQValueTransformer() = default;

QVariant TQFontDescriptionTransformer::transformedValue(const QVariant &value) const
{
    if (isNothing(value))
        return QVariant();
    QVariant font = value;
    if (value.typeId() == QMetaType::QByteArray) {
        QString problem;
        font = TQKeyedArchive::unarchive(value.toByteArray(), &problem);
        if (!problem.isEmpty())
            qCDebug(lcUtilities) << "Font description: the data is no archive:" << problem;
    }
    if (font.typeId() != QMetaType::QFont)
        return QVariant();
    return fontDescription(font.value<QFont>());
}

QMetaType TQFontDescriptionTransformer::transformedValueType() const
{
    return QMetaType::fromType<QString>();
}

QVariant TQUppercaseTransformer::transformedValue(const QVariant &value) const
{
    if (isNothing(value))
        return QVariant();
    if (value.typeId() == QMetaType::QString)
        return value.toString().toUpper();
    QString text;
    if (!printInto(text, value))
        return QVariant();
    return text.toUpper();
}

QMetaType TQUppercaseTransformer::transformedValueType() const
{
    return QMetaType::fromType<QString>();
}

QVariant TQIsNotEmptyTransformer::transformedValue(const QVariant &value) const
{
    return !hasZeroLength(value);
}

QMetaType TQIsNotEmptyTransformer::transformedValueType() const
{
    return QMetaType::fromType<bool>();
}

QVariant TQIsEmptyTransformer::transformedValue(const QVariant &value) const
{
    return hasZeroLength(value);
}

QMetaType TQIsEmptyTransformer::transformedValueType() const
{
    return QMetaType::fromType<bool>();
}
