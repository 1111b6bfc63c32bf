#include "TQKeyValueCoding.h"

#include <QHash>
#include <QReadWriteLock>

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

const TQStringUtilities::FinderStyleSortKey *TQKeyValueCoding::nameSortKeyForKey(QStringView key) const
{
    Q_UNUSED(key);
    return nullptr;
}

void TQKeyValueCoding::prefetchValueForKey(QStringView key) const
{
    Q_UNUSED(key);
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

TQKeyValueSubject::TQKeyValueSubject(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        m_map = static_cast<const QVariantMap *>(value.constData());
    else
        m_object = TQKeyValueCoding::objectInValue(value);
}

QVariant TQKeyValueSubject::valueForKey(QStringView key) const
{
    if (m_object)
        return m_object->valueForKey(key);
    if (m_map)
        return m_map->value(key.toString());
    return {};
}

QVariant TQKeyValueSubject::valueForKeyPath(QStringView keyPath) const
{
    const qsizetype dot = keyPath.indexOf(u'.');
    if (dot < 0)
        return valueForKey(keyPath);
    // The step's value must outlive the subject made from it.
    const QVariant step = valueForKey(keyPath.left(dot));
    return TQKeyValueSubject(step).valueForKeyPath(keyPath.mid(dot + 1));
}
