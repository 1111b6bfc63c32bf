#include "TQUtilityFunctions.h"

#include "TQTypeRegistry.h"

#include <algorithm>

bool TQUTTypeConformsToArray(const QString &type, const QStringList &types)
{
    const TQTypeRegistry &registry = TQTypeRegistry::shared();
    return std::any_of(types.cbegin(), types.cend(),
                       [&](const QString &candidate) { return registry.conformsTo(type, candidate); });
}
