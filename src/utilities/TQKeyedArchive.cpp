// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQKeyedArchive_p.h"

#include <QColor>
#include <QFont>
#include <QDataStream>
#include <QIODevice>
#include <QSet>
#include <QTimeZone>
#include <QtEndian>
#include <QStringList>

#include <cstring>
#include <limits>

namespace {

constexpr char magic[4] = {'T', 'Q', 'K', 'A'};
constexpr quint8 formatVersion = 1;
// Deep enough for any settings tree; shallow enough that a crafted archive cannot exhaust
// the stack of the recursive reader.
constexpr int maximumDepth = 256;

enum Tag : quint8 {
    Invalid = 0,
    Value = 1,
    List = 2,
    Map = 3,
    Hash = 4,
    StringList = 5,
    StringSet = 6,
    // A font as its own fields, each checked on reading: Qt's font reader trusts the count of
    // its family list and reserves it, and its setters complain on stderr about values out
    // of range, so neither Qt's record nor its text form is read from an archive.
    Font = 7,
};

// Leaves are streamed by Qt's own operators, which is only safe for types whose reader
// cannot be made to allocate by a length field (Qt's container readers reserve whatever
// count they read) and that need no running GUI (QPixmap, QCursor): fixed-size values and
// text, which Qt reads in bounded chunks.
bool isPlainValueType(int id)
{
    switch (id) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::QChar:
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::QDate:
    case QMetaType::QTime:
    case QMetaType::QDateTime:
    case QMetaType::QUrl:
    case QMetaType::QUuid:
    case QMetaType::QSize:
    case QMetaType::QSizeF:
    case QMetaType::QPoint:
    case QMetaType::QPointF:
    case QMetaType::QRect:
    case QMetaType::QRectF:
    case QMetaType::QColor:
        return true;
    default:
        return false;
    }
}

QDataStream &setUp(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_6_4);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.setFloatingPointPrecision(QDataStream::DoublePrecision);
    return stream;
}

class Writer
{
public:
    Writer() : m_out(&m_data, QIODevice::WriteOnly) { setUp(m_out); }

    QByteArray run(const QVariant &value, QString *problem)
    {
        m_out.writeRawData(magic, sizeof magic);
        m_out << formatVersion;
        if (write(value, 0))
            return m_data;
        *problem = m_problem;
        return {};
    }

private:
    bool fail(const QString &why)
    {
        m_problem = why;
        return false;
    }

    bool writeCount(qsizetype count)
    {
        if (count > qsizetype(std::numeric_limits<quint32>::max()))
            return fail(QStringLiteral("a container of %1 elements is too large").arg(count));
        m_out << quint32(count);
        return true;
    }

    template<typename Strings>
    bool writeStrings(Tag tag, const Strings &strings)
    {
        m_out << quint8(tag);
        if (!writeCount(strings.size()))
            return false;
        for (const QString &string : strings)
            m_out << string;
        return true;
    }

    template<typename Keyed>
    bool writeKeyed(Tag tag, const Keyed &keyed, int depth)
    {
        m_out << quint8(tag);
        if (!writeCount(keyed.size()))
            return false;
        for (auto it = keyed.cbegin(); it != keyed.cend(); ++it) {
            m_out << it.key();
            if (!write(it.value(), depth + 1))
                return false;
        }
        return true;
    }

    bool write(const QVariant &value, int depth)
    {
        if (depth > maximumDepth)
            return fail(QStringLiteral("values nested deeper than %1 levels").arg(maximumDepth));
        const QMetaType type = value.metaType();
        switch (type.id()) {
        case QMetaType::UnknownType:
            m_out << quint8(Invalid);
            return true;
        case QMetaType::QVariantList: {
            const QVariantList list = value.value<QVariantList>();
            m_out << quint8(List);
            if (!writeCount(list.size()))
                return false;
            for (const QVariant &element : list) {
                if (!write(element, depth + 1))
                    return false;
            }
            return true;
        }
        case QMetaType::QVariantMap:
            return writeKeyed(Map, value.value<QVariantMap>(), depth);
        case QMetaType::QVariantHash:
            return writeKeyed(Hash, value.value<QVariantHash>(), depth);
        case QMetaType::QStringList:
            return writeStrings(StringList, value.value<QStringList>());
        case QMetaType::QFont: {
            const QFont font = value.value<QFont>();
            const quint8 flags = (font.underline() ? 1 : 0) | (font.strikeOut() ? 2 : 0) | (font.fixedPitch() ? 4 : 0);
            m_out << quint8(Font) << font.family() << font.styleName() << font.pointSizeF() << qint32(font.pixelSize())
                  << qint32(font.weight()) << quint8(font.style()) << flags << qint32(font.stretch());
            return true;
        }
        default:
            if (type == QMetaType::fromType<QSet<QString>>())
                return writeStrings(StringSet, value.value<QSet<QString>>());
            // Checked first: Qt's own writer warns on stderr about a type it cannot stream.
            if (!isPlainValueType(type.id()))
                return fail(QStringLiteral("a value of type %1 cannot be archived").arg(QString::fromLatin1(type.name())));
            m_out << quint8(Value) << quint32(type.id());
            return type.save(m_out, value.constData());
        }
    }

    QByteArray m_data;
    QDataStream m_out;
    QString m_problem;
};

class Reader
{
public:
    explicit Reader(const QByteArray &data) : m_in(data) { setUp(m_in); }

    QVariant run(QString *problem)
    {
        QVariant value;
        if (readHeader() && read(value, 0) && (m_in.atEnd() || fail(QStringLiteral("bytes follow the archived value"))))
            return value;
        *problem = m_problem;
        return {};
    }

private:
    bool fail(const QString &why)
    {
        if (m_problem.isEmpty())
            m_problem = why;
        return false;
    }

    bool streamOk()
    {
        return m_in.status() == QDataStream::Ok || fail(QStringLiteral("the archive is cut short or damaged"));
    }

    bool readHeader()
    {
        char head[sizeof magic];
        if (m_in.readRawData(head, sizeof head) != sizeof head || std::memcmp(head, magic, sizeof magic) != 0)
            return fail(QStringLiteral("not an archive of this library"));
        quint8 version = 0;
        m_in >> version;
        if (!streamOk())
            return false;
        if (version != formatVersion)
            return fail(QStringLiteral("archive format %1 is unknown").arg(version));
        return true;
    }

    // A count is believed only if the bytes left could hold that many of the smallest
    // element; that bounds every reservation by the size of the archive itself.
    bool readCount(quint32 *count, qint64 smallestElement)
    {
        m_in >> *count;
        if (!streamOk())
            return false;
        const qint64 left = m_in.device()->bytesAvailable();
        if (qint64(*count) * smallestElement > left)
            return fail(QStringLiteral("a container claims %1 elements in %2 bytes").arg(*count).arg(left));
        return true;
    }

    template<typename Strings>
    bool readStrings(Strings *strings)
    {
        quint32 count = 0;
        if (!readCount(&count, sizeof(quint32)))
            return false;
        strings->reserve(count);
        for (quint32 i = 0; i < count; ++i) {
            QString string;
            m_in >> string;
            if (!streamOk())
                return false;
            strings->insert(strings->end(), string);
        }
        return true;
    }

    template<typename Keyed>
    bool readKeyed(Keyed *keyed, int depth)
    {
        quint32 count = 0;
        if (!readCount(&count, sizeof(quint32) + 1))
            return false;
        for (quint32 i = 0; i < count; ++i) {
            QString key;
            m_in >> key;
            QVariant element;
            if (!streamOk() || !read(element, depth + 1))
                return false;
            keyed->insert(key, element);
        }
        return true;
    }

    bool readPlainValue(QVariant &value)
    {
        quint32 id = 0;
        m_in >> id;
        if (!streamOk())
            return false;
        if (id > quint32(std::numeric_limits<int>::max()) || !isPlainValueType(int(id)))
            return fail(QStringLiteral("value type %1 is not accepted").arg(id));
        const QMetaType type{int(id)};
        if (!type.isValid())
            return fail(QStringLiteral("value type %1 is not available").arg(id));
        if (!leafBytesAcceptable(int(id)))
            return false;
        value = QVariant(type);
        return type.load(m_in, value.data()) && streamOk();
    }

    // Qt's readers of colours and dates turn a stored byte into an enum without a check (any
    // other value is undefined behaviour from then on), and a date's time zone is looked up
    // by the stored name as a file below the zone folder: "../" reaches any file, and a FIFO
    // hangs the reader for ever. So those bytes are read here first, before Qt's reader runs.
    bool leafBytesAcceptable(int id)
    {
        if (id == QMetaType::QColor) {
            const QByteArray head = m_in.device()->peek(1);
            if (head.size() < 1)
                return fail(QStringLiteral("the archive is cut short or damaged"));
            const qint8 spec = qint8(head.at(0));
            if (spec < qint8(QColor::Invalid) || spec > qint8(QColor::ExtendedRgb))
                return fail(QStringLiteral("a colour of unknown model %1").arg(int(spec)));
            return true;
        }
        if (id != QMetaType::QDateTime)
            return true;
        // A date and time: qint64 Julian day, quint32 milliseconds, qint8 time spec, then the
        // offset or the zone; the zone as its name (QString), or a custom zone under the name
        // "OffsetFromUtc" with fields that name no file.
        constexpr qint64 specAt = 12;
        constexpr qint64 zoneAt = specAt + 1;
        QByteArray head = m_in.device()->peek(zoneAt + 4);
        if (head.size() < zoneAt)
            return fail(QStringLiteral("the archive is cut short or damaged"));
        const qint8 spec = qint8(head.at(specAt));
        if (spec < qint8(Qt::LocalTime) || spec > qint8(Qt::TimeZone))
            return fail(QStringLiteral("a date and time of unknown time spec %1").arg(int(spec)));
        if (spec != qint8(Qt::TimeZone))
            return true;
        if (head.size() < zoneAt + 4)
            return fail(QStringLiteral("the archive is cut short or damaged"));
        const quint32 bytes = qFromBigEndian<quint32>(head.constData() + zoneAt);
        if (bytes == 0xffffffff)
            return true; // no name: the system's own zone
        // Zone names are short; a longer one is no zone, whatever it names.
        constexpr quint32 longestZoneName = 256;
        if (bytes > longestZoneName || bytes % 2 != 0)
            return fail(QStringLiteral("a date and time in a time zone this system does not know"));
        head = m_in.device()->peek(zoneAt + 4 + bytes);
        if (head.size() < zoneAt + 4 + qint64(bytes))
            return fail(QStringLiteral("the archive is cut short or damaged"));
        QString name(int(bytes / 2), Qt::Uninitialized);
        qFromBigEndian<char16_t>(head.constData() + zoneAt + 4, bytes / 2, name.data());
        if (name.isEmpty() || name == u"OffsetFromUtc" || QTimeZone::isTimeZoneIdAvailable(name.toUtf8()))
            return true;
        return fail(QStringLiteral("a date and time in a time zone this system does not know"));
    }

    bool readFont(QVariant &value)
    {
        QString family, styleName;
        double pointSize = 0;
        qint32 pixelSize = 0, weight = 0, stretch = 0;
        quint8 style = 0, flags = 0;
        m_in >> family >> styleName >> pointSize >> pixelSize >> weight >> style >> flags >> stretch;
        if (!streamOk())
            return false;
        // The ranges QFont's setters accept without a warning; a size beyond any screen's is no font.
        constexpr double largestSize = 10000;
        const bool sized = (pointSize > 0 && pointSize <= largestSize) || (pixelSize > 0 && pixelSize <= largestSize);
        if (!sized || weight < 1 || weight > 1000 || style > QFont::StyleOblique || flags > 7 || stretch < 0
            || stretch > 4000)
            return fail(QStringLiteral("not a font"));
        QFont font(family);
        if (!styleName.isEmpty())
            font.setStyleName(styleName);
        if (pixelSize > 0)
            font.setPixelSize(pixelSize);
        else
            font.setPointSizeF(pointSize);
        // Only what differs from a new font is set: a font compares by what was asked of it,
        // and asking for the default pitch is not the same as asking for nothing.
        font.setWeight(QFont::Weight(weight));
        if (style != QFont::StyleNormal)
            font.setStyle(QFont::Style(style));
        if (flags & 1)
            font.setUnderline(true);
        if (flags & 2)
            font.setStrikeOut(true);
        if (flags & 4)
            font.setFixedPitch(true);
        if (stretch != 0)
            font.setStretch(stretch);
        value = font;
        return true;
    }

    bool read(QVariant &value, int depth)
    {
        if (depth > maximumDepth)
            return fail(QStringLiteral("values nested deeper than %1 levels").arg(maximumDepth));
        quint8 tag = 0;
        m_in >> tag;
        if (!streamOk())
            return false;
        switch (tag) {
        case Invalid:
            value = QVariant();
            return true;
        case Value:
            return readPlainValue(value);
        case List: {
            quint32 count = 0;
            if (!readCount(&count, 1))
                return false;
            QVariantList list;
            list.reserve(count);
            for (quint32 i = 0; i < count; ++i) {
                QVariant element;
                if (!read(element, depth + 1))
                    return false;
                list.append(element);
            }
            value = list;
            return true;
        }
        case Map: {
            QVariantMap map;
            if (!readKeyed(&map, depth))
                return false;
            value = map;
            return true;
        }
        case Hash: {
            QVariantHash hash;
            if (!readKeyed(&hash, depth))
                return false;
            value = hash;
            return true;
        }
        case StringList: {
            QStringList list;
            if (!readStrings(&list))
                return false;
            value = list;
            return true;
        }
        case StringSet: {
            QSet<QString> set;
            if (!readStrings(&set))
                return false;
            value = QVariant::fromValue(set);
            return true;
        }
        case Font:
            return readFont(value);
        default:
            return fail(QStringLiteral("unknown tag %1").arg(tag));
        }
    }

    QDataStream m_in;
    QString m_problem;
};

} // namespace

namespace TQKeyedArchive {

QByteArray archive(const QVariant &value, QString *problem)
{
    if (!value.isValid())
        return {};
    return Writer().run(value, problem);
}

QVariant unarchive(const QByteArray &data, QString *problem)
{
    return Reader(data).run(problem);
}

} // namespace TQKeyedArchive
