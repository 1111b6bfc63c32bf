#include "TQImageUtilities.h"

#include "TQCopyDeep.h"
#include "TQImageProperties.h"

namespace TQImageUtilities {

bool addPropertiesofFile(const UWStandardFileRef &file, QVariantMap &dictionary)
{
    if (!file || file->URL().isEmpty())
        return false;
    const QVariantMap properties = TQImageProperties::propertiesOfFile(file->URL().toLocalFile(), file->uti());
    if (properties.isEmpty())
        return false;
    const QVariantMap copy = TQCopyDeep::copyDeepMutable(properties);
    for (auto it = copy.cbegin(); it != copy.cend(); ++it)
        dictionary.insert(it.key(), it.value());
    for (const char *group : {"{Exif}", "{IPTC}", "{TIFF}", "{CIFF}", "{MakerCanon}", "{MakerNikon}"}) {
        const QString key = QString::fromLatin1(group);
        if (!dictionary.contains(key))
            dictionary.insert(key, QVariantMap());
    }
    return true;
}

} // namespace TQImageUtilities
