// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQKeyValueCoding.h"

#include <QHash>
#include <QReadWriteLock>

#include <utility>

namespace {

struct ReferenceTypes
{
    QReadWriteLock lock;
    QHash<int, TQKeyValueCoding::Extractor> extractors;
};

ReferenceTypes &referenceTypes()
{
    static ReferenceTypes types;
    return types;
}

} // namespace

TQKeyValueCoding::~TQKeyValueCoding() = default;

const TQNameOrder::SortKey *TQKeyValueCoding::nameSortKeyForKey(QStringView key) const
{
    Q_UNUSED(key);
    return nullptr;
}

void TQKeyValueCoding::prefetchValueForKey(QStringView key, int step) const
{
    Q_UNUSED(key);
    Q_UNUSED(step);
}

TQKeyValueCoding::SortNumber TQKeyValueCoding::sortNumberForKey(QStringView key, qint64 *number) const
{
    Q_UNUSED(key);
    Q_UNUSED(number);
    return SortNumber::Unknown;
}

void TQKeyValueCoding::registerReferenceType(QMetaType type, Extractor extract)
{
    ReferenceTypes &types = referenceTypes();
    QWriteLocker locker(&types.lock);
    types.extractors.insert(type.id(), extract);
}

const TQKeyValueCoding *TQKeyValueCoding::objectInValue(const QVariant &value)
{
    if (!value.isValid())
        return nullptr;
    ReferenceTypes &types = referenceTypes();
    QReadLocker locker(&types.lock);
    const auto found = types.extractors.constFind(value.metaType().id());
    return found == types.extractors.cend() ? nullptr : (*found)(value);
}

TQKeyValueSubject::TQKeyValueSubject(const QVariantMap &map)
    : m_holder(map)
{
}

TQKeyValueSubject::TQKeyValueSubject(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QVariantMap>()) {
        m_holder = value;
    } else if (TQKeyValueCoding::objectInValue(value)) {
        m_holder = value;
        m_objectInHolder = true;
        rebind();
    }
}

TQKeyValueSubject::TQKeyValueSubject(const TQKeyValueSubject &other)
    : m_object(other.m_object)
    , m_owner(other.m_owner)
    , m_holder(other.m_holder)
    , m_objectInHolder(other.m_objectInHolder)
{
    rebind();
}

TQKeyValueSubject::TQKeyValueSubject(TQKeyValueSubject &&other) noexcept
    : m_object(std::exchange(other.m_object, nullptr))
    , m_owner(std::move(other.m_owner))
    , m_holder(std::move(other.m_holder))
    , m_objectInHolder(std::exchange(other.m_objectInHolder, false))
{
    rebind();
}

TQKeyValueSubject &TQKeyValueSubject::operator=(const TQKeyValueSubject &other)
{
    if (this != &other) {
        m_object = other.m_object;
        m_owner = other.m_owner;
        m_holder = other.m_holder;
        m_objectInHolder = other.m_objectInHolder;
        rebind();
    }
    return *this;
}

TQKeyValueSubject &TQKeyValueSubject::operator=(TQKeyValueSubject &&other) noexcept
{
    if (this != &other) {
        m_object = std::exchange(other.m_object, nullptr);
        m_owner = std::move(other.m_owner);
        m_holder = std::move(other.m_holder);
        m_objectInHolder = std::exchange(other.m_objectInHolder, false);
        rebind();
    }
    return *this;
}

TQKeyValueSubject::~TQKeyValueSubject() = default;

void TQKeyValueSubject::rebind()
{
    // A QVariant keeps a small value inside itself, so the object of a copied holder may
    // sit at a new address; a shared pointer's object does not move, but asking costs little.
    if (m_objectInHolder)
        m_object = TQKeyValueCoding::objectInValue(m_holder);
}

QVariant TQKeyValueSubject::valueForKey(QStringView key) const
{
    if (m_object)
        return m_object->valueForKey(key);
    if (const QVariantMap *values = map())
        return values->value(key.toString());
    return {};
}

QVariant TQKeyValueSubject::valueForKeyPath(QStringView keyPath) const
{
    const qsizetype dot = keyPath.indexOf(u'.');
    if (dot < 0)
        return valueForKey(keyPath);
    return TQKeyValueSubject(valueForKey(keyPath.left(dot))).valueForKeyPath(keyPath.mid(dot + 1));
}
