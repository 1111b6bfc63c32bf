// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQPropertiesCodec_p.h"

#include "TQFilesLogging.h"

#include <QDataStream>
#include <QHash>
#include <QIODevice>

#include <cstring>
#include <type_traits>
#include <mutex>
#include <vector>

// The bytes never leave the process (the keys' numbers mean nothing to another one), so
// numbers and inline keys are written in the machine's own byte order.

namespace {

enum Tag : quint8 {
    Invalid,
    False,
    True,
    Int,
    LongLong,
    UInt,
    ULongLong,
    Double,
    Text,
    NullText,
    Bytes,
    NullBytes,
    List,
    Map,
    Streamed, // any other type, as QDataStream writes a QVariant
};

constexpr QDataStream::Version StreamVersion = QDataStream::Qt_6_0;
// Keys beyond the pool's bound are written out in full: a stream of files with made-up keys
// costs their bytes, not a pool that grows for the rest of the session.
constexpr qsizetype KeyPoolLimit = 4096;
// The reader bounds its own nesting far below this; a deeper tree is streamed, not recursed.
constexpr int DepthLimit = 32;

struct KeyPool
{
    std::mutex lock;
    QHash<QString, quint32> numbers; // guarded by lock
    std::vector<QString> keys;       // guarded by lock
};

KeyPool &keyPool()
{
    static KeyPool pool;
    return pool;
}

class Writer
{
public:
    explicit Writer(KeyPool &pool)
        : m_pool(pool)
    {
    }

    QByteArray out;

    void number(quint64 v)
    {
        while (v >= 0x80) {
            out.append(char(v | 0x80));
            v >>= 7;
        }
        out.append(char(v));
    }
    void signedNumber(qint64 v) { number((quint64(v) << 1) ^ quint64(v >> 63)); }
    void raw(const void *data, qsizetype size) { out.append(static_cast<const char *>(data), size); }

    void key(const QString &key)
    {
        auto it = m_pool.numbers.constFind(key);
        if (it == m_pool.numbers.cend() && qsizetype(m_pool.keys.size()) < KeyPoolLimit) {
            it = m_pool.numbers.insert(key, quint32(m_pool.keys.size()));
            m_pool.keys.push_back(key);
        }
        if (it != m_pool.numbers.cend()) {
            number(quint64(*it) << 1);
            return;
        }
        number((quint64(key.size()) << 1) | 1);
        raw(key.utf16(), key.size() * qsizetype(sizeof(char16_t)));
    }

    bool value(const QVariant &v, int depth)
    {
        switch (depth < DepthLimit ? v.typeId() : -1) {
        case QMetaType::UnknownType:
            out.append(char(Invalid));
            return true;
        case QMetaType::Bool:
            out.append(char(v.toBool() ? True : False));
            return true;
        case QMetaType::Int:
            out.append(char(Int));
            signedNumber(v.toInt());
            return true;
        case QMetaType::LongLong:
            out.append(char(LongLong));
            signedNumber(v.toLongLong());
            return true;
        case QMetaType::UInt:
            out.append(char(UInt));
            number(v.toUInt());
            return true;
        case QMetaType::ULongLong:
            out.append(char(ULongLong));
            number(v.toULongLong());
            return true;
        case QMetaType::Double: {
            const double d = v.toDouble();
            out.append(char(Double));
            raw(&d, sizeof d);
            return true;
        }
        case QMetaType::QString: {
            const QString &s = *static_cast<const QString *>(v.constData());
            if (s.isNull()) {
                out.append(char(NullText));
                return true;
            }
            // A lone surrogate would not come back from UTF-8.
            if (!s.isValidUtf16())
                break;
            const QByteArray utf8 = s.toUtf8();
            out.append(char(Text));
            number(quint64(utf8.size()));
            out.append(utf8);
            return true;
        }
        case QMetaType::QByteArray: {
            const QByteArray &b = *static_cast<const QByteArray *>(v.constData());
            out.append(char(b.isNull() ? NullBytes : Bytes));
            if (!b.isNull()) {
                number(quint64(b.size()));
                out.append(b);
            }
            return true;
        }
        case QMetaType::QVariantList: {
            const QVariantList &list = *static_cast<const QVariantList *>(v.constData());
            out.append(char(List));
            number(quint64(list.size()));
            for (const QVariant &item : list) {
                if (!value(item, depth + 1))
                    return false;
            }
            return true;
        }
        case QMetaType::QVariantMap:
            return map(*static_cast<const QVariantMap *>(v.constData()), depth);
        default:
            break;
        }
        QByteArray streamed;
        QDataStream stream(&streamed, QIODevice::WriteOnly);
        stream.setVersion(StreamVersion);
        stream << v;
        if (stream.status() != QDataStream::Ok)
            return false;
        out.append(char(Streamed));
        number(quint64(streamed.size()));
        out.append(streamed);
        return true;
    }

    bool map(const QVariantMap &map, int depth)
    {
        out.append(char(Map));
        number(quint64(map.size()));
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            key(it.key());
            if (!value(it.value(), depth + 1))
                return false;
        }
        return true;
    }

private:
    KeyPool &m_pool;
};

// Every read is checked against the end: the bytes are the library's own, but a fault
// elsewhere must not turn into a read past them.
class Reader
{
public:
    Reader(const QByteArray &bytes, const std::vector<QString> &keys)
        : m_at(bytes.constData())
        , m_end(bytes.constData() + bytes.size())
        , m_keys(keys)
    {
    }

    bool atEnd() const { return m_at == m_end; }

    bool number(quint64 *v)
    {
        *v = 0;
        for (int shift = 0; shift < 64 && m_at < m_end; shift += 7) {
            const auto byte = quint8(*m_at++);
            *v |= quint64(byte & 0x7f) << shift;
            if (!(byte & 0x80))
                return true;
        }
        return false;
    }
    // An integer of type T as the writer wrote it (signed ones zigzagged); a value T cannot
    // hold is not one the writer wrote.
    template <class T>
    bool integer(QVariant *v)
    {
        quint64 u;
        if (!number(&u))
            return false;
        if constexpr (std::is_signed_v<T>) {
            const qint64 n = qint64(u >> 1) ^ -qint64(u & 1);
            if (n != qint64(T(n)))
                return false;
            *v = QVariant::fromValue(T(n));
        } else {
            if (u != quint64(T(u)))
                return false;
            *v = QVariant::fromValue(T(u));
        }
        return true;
    }
    bool bytes(quint64 size, QByteArray *b)
    {
        if (size > quint64(m_end - m_at))
            return false;
        *b = QByteArray(m_at, qsizetype(size));
        m_at += size;
        return true;
    }
    // Bytes that follow their count.
    bool sized(QByteArray *b)
    {
        quint64 size;
        return number(&size) && bytes(size, b);
    }
    // A count of items that each take at least a byte cannot exceed the bytes left: a wrong
    // count never reserves memory.
    bool count(qsizetype *n)
    {
        quint64 u;
        if (!number(&u) || u > quint64(m_end - m_at))
            return false;
        *n = qsizetype(u);
        return true;
    }

    bool key(QString *key)
    {
        quint64 u;
        if (!number(&u))
            return false;
        if (!(u & 1)) {
            if ((u >> 1) >= m_keys.size())
                return false;
            *key = m_keys[size_t(u >> 1)];
            return true;
        }
        QByteArray utf16;
        if ((u >> 1) > quint64(m_end - m_at) / sizeof(char16_t) || !bytes((u >> 1) * sizeof(char16_t), &utf16))
            return false;
        key->resize(qsizetype(u >> 1));
        std::memcpy(key->data(), utf16.constData(), size_t(utf16.size()));
        return true;
    }

    bool value(QVariant *v, int depth)
    {
        if (m_at == m_end || depth > DepthLimit)
            return false;
        switch (quint8(*m_at++)) {
        case Invalid:
            *v = QVariant();
            return true;
        case False:
        case True:
            *v = QVariant(quint8(m_at[-1]) == True);
            return true;
        case Int:
            return integer<int>(v);
        case LongLong:
            return integer<qlonglong>(v);
        case UInt:
            return integer<uint>(v);
        case ULongLong:
            return integer<qulonglong>(v);
        case Double: {
            double d;
            if (m_end - m_at < qsizetype(sizeof d))
                return false;
            std::memcpy(&d, m_at, sizeof d);
            m_at += sizeof d;
            *v = QVariant(d);
            return true;
        }
        case Text: {
            QByteArray utf8;
            if (!sized(&utf8))
                return false;
            *v = QVariant(QString::fromUtf8(utf8));
            return true;
        }
        case NullText:
            *v = QVariant(QString());
            return true;
        case Bytes: {
            QByteArray b;
            if (!sized(&b))
                return false;
            *v = QVariant(b);
            return true;
        }
        case NullBytes:
            *v = QVariant(QByteArray());
            return true;
        case List: {
            qsizetype n;
            if (!count(&n))
                return false;
            QVariantList list;
            list.reserve(n);
            for (qsizetype i = 0; i < n; ++i) {
                QVariant item;
                if (!value(&item, depth + 1))
                    return false;
                list.append(std::move(item));
            }
            *v = QVariant(std::move(list));
            return true;
        }
        case Map: {
            --m_at;
            QVariantMap m;
            if (!map(&m, depth))
                return false;
            *v = QVariant(std::move(m));
            return true;
        }
        case Streamed: {
            QByteArray streamed;
            if (!sized(&streamed))
                return false;
            QDataStream stream(streamed);
            stream.setVersion(StreamVersion);
            stream >> *v;
            return stream.status() == QDataStream::Ok;
        }
        default:
            return false;
        }
    }

    bool map(QVariantMap *map, int depth)
    {
        qsizetype n;
        if (m_at == m_end || quint8(*m_at++) != Map || !count(&n))
            return false;
        for (qsizetype i = 0; i < n; ++i) {
            QString k;
            QVariant item;
            if (!key(&k) || !value(&item, depth + 1))
                return false;
            map->insert(k, std::move(item));
        }
        return true;
    }

private:
    const char *m_at;
    const char *m_end;
    const std::vector<QString> &m_keys;
};

} // namespace

QByteArray TQPropertiesCodec::encode(const QVariantMap &properties)
{
    KeyPool &pool = keyPool();
    const std::lock_guard locker(pool.lock);
    Writer writer(pool);
    if (!writer.map(properties, 0))
        return {};
    writer.out.squeeze();
    return writer.out;
}

QVariantMap TQPropertiesCodec::decode(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return {};
    KeyPool &pool = keyPool();
    const std::lock_guard locker(pool.lock);
    Reader reader(bytes, pool.keys);
    QVariantMap properties;
    if (!reader.map(&properties, 0) || !reader.atEnd()) {
        qCWarning(lcFiles) << "kept image properties could not be read back:" << bytes.size() << "bytes";
        return {};
    }
    return properties;
}
