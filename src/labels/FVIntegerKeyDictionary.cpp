#include "FVIntegerKeyDictionary.h"

namespace {

bool equalKeys(qintptr a, qintptr b)
{
    return FVIntegerKeyEqual()(a, b);
}

size_t hashKey(qintptr key)
{
    return FVIntegerKeyHash()(key);
}

QString describeKey(qintptr key)
{
    return QString::number(key);
}

} // namespace

const FVIntegerKeyCallBacks FVIntegerKeyDictionaryCallBacks = {equalKeys, hashKey, describeKey};
