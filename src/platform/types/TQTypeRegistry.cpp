// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQTypeRegistry.h"

#include "TQMimeMagic_p.h"
#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QMimeDatabase>
#include <QMutex>
#include <QMutexLocker>
#include <QSet>

#include <sys/stat.h>

#include <cstring>
#include <algorithm>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <optional>

namespace {

struct DeclaredType
{
    const char *identifier;
    const char *conformsTo;
    const char *mimeTypes;
    const char *extensions;
};

constexpr DeclaredType declaredTypeTable[] = {
#include "TQTypeRegistryData.inc"
};

const QString dynamicPrefix = QStringLiteral("dyn.mime.");

QStringList splitList(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// "dyn.mime.application.x-foo" <-> "application/x-foo". Top-level media types never hold a
// '.', so the first '.' after the prefix is always the '/'.
QString dynamicTypeForMime(const QString &mime)
{
    QString id = mime;
    const qsizetype slash = id.indexOf(QLatin1Char('/'));
    if (slash >= 0)
        id[slash] = QLatin1Char('.');
    return dynamicPrefix + id;
}

QString mimeForDynamicType(const QString &type)
{
    QString mime = type.mid(dynamicPrefix.size());
    const qsizetype dot = mime.indexOf(QLatin1Char('.'));
    if (dot < 0)
        return {};
    mime[dot] = QLatin1Char('/');
    return mime;
}

// The declared type a MIME type's top-level media type suggests, for types the registry
// does not know.
QString typeForMediaClass(const QString &mime)
{
    const QStringView media = QStringView(mime).left(mime.indexOf(QLatin1Char('/')));
    if (media == u"image")
        return QStringLiteral("public.image");
    if (media == u"audio")
        return QStringLiteral("public.audio");
    if (media == u"video")
        return QStringLiteral("public.movie");
    if (media == u"text")
        return QStringLiteral("public.plain-text");
    if (media == u"font")
        return QStringLiteral("public.font");
    if (media == u"inode")
        return QStringLiteral("public.item");
    return QStringLiteral("public.data");
}

// The first type to claim a MIME type or an extension keeps it.
void claim(QHash<QString, QString> &table, const QString &key, const QString &type)
{
    if (!table.contains(key))
        table.insert(key, type);
}

// As much of a file's start as the shared MIME database looks at for its magic numbers.
constexpr qint64 contentPrefixSize = 16 * 1024;

// What a file that is neither a folder nor a regular file is, whatever its name claims: a FIFO
// named "photo.jpg" is no picture, and whoever reads a picture would wait on it for ever.
QString specialFileMime(mode_t mode)
{
    if (S_ISFIFO(mode))
        return QStringLiteral("inode/fifo");
    if (S_ISSOCK(mode))
        return QStringLiteral("inode/socket");
    if (S_ISCHR(mode))
        return QStringLiteral("inode/chardevice");
    if (S_ISBLK(mode))
        return QStringLiteral("inode/blockdevice");
    return {};
}

bool isGenericMime(const QMimeType &type)
{
    return !type.isValid() || type.isDefault()
        || type.name() == u"application/x-zerosize";
}

// Image, sound and film formats are never text; a name claiming one for text content lies.
bool isMediaMime(const QMimeType &type)
{
    const QString name = type.name();
    return name.startsWith(u"image/") || name.startsWith(u"audio/") || name.startsWith(u"video/");
}

bool isTextMime(const QMimeType &type)
{
    return type.name() == u"text/plain" || type.inherits(QStringLiteral("text/plain"));
}

} // namespace

struct TQTypeRegistry::Private
{
    struct Entry
    {
        QStringList conformsTo;
        QStringList mimeTypes;
        QStringList extensions;
    };

    QStringList order;
    QHash<QString, Entry> types;
    QHash<QString, QString> typeByMime;      // canonical MIME name -> identifier
    QHash<QString, QString> typeByExtension; // lower-case extension -> identifier
    QStringList audiovisual;

    QMimeDatabase mimeDatabase; // thread-safe: QMimeDatabase locks its shared data itself

    mutable QMutex dynamicLock;
    mutable QHash<QString, QStringList> dynamicSupertypes; // guarded by dynamicLock

    QStringList directSupertypes(const QString &type) const;

    // Every identifier a type conforms to, itself included, made on the type's first
    // question: a listing asks of every item whether it conforms to each of a few dozen
    // types, and walking the graph for each question built a set and a list. Declared types
    // never change and a dynamic type's parents are kept for the process's life, so a
    // closure once made stays true. Guarded by closureLock.
    using Closure = std::shared_ptr<const QSet<QString>>;
    mutable std::shared_mutex closureLock;
    mutable QHash<QString, Closure> closures;
    Closure closure(const QString &type) const;

    QString typeForMime(const QMimeType &mime) const;
    // Sparse and preallocated files begin with zeros, and the database's answer for zeros
    // depends on their number alone. Guarded by zeroLock.
    mutable std::mutex zeroLock;
    mutable QHash<qsizetype, QMimeType> zeroAnswers;
    QMimeType zeroAnswer(qsizetype length) const; // called under zeroLock

    // A listing asks for the descriptions of the same few types over and over, and the
    // database reads each from the type's XML file in the user's languages. They are kept for
    // those languages, and for no longer than Qt goes without looking whether its database
    // changed. Guarded by descriptionLock.
    mutable std::mutex descriptionLock;
    mutable QHash<QString, QString> descriptions;
    mutable QStringList descriptionLanguages;
    // The default locale they were asked in: the same locale is taken to have the same
    // languages until the descriptions expire, since asking the system for the languages
    // (its environment, at every call) cost a listing more than the description itself.
    mutable QLocale descriptionLocale = QLocale::c();
    mutable QElapsedTimer descriptionAge;

    // What the content says when it should override the name (invalid when the name stands),
    // and the name's own MIME type when it had to be looked up.
    struct ContentVerdict
    {
        QMimeType contentWins;
        QMimeType byName;
    };
    ContentVerdict contentVerdict(const QByteArray &path, const struct stat &named, const QString &fileName) const;
    QMimeType mimeTypeForContent(const QByteArray &data) const;
    // QMimeDatabase::mimeTypeForFile(fileName, MatchExtension).
    QMimeType mimeTypeForFileName(const QString &fileName) const;
    // Its answers by the part of a name the database reads. Guarded by byNameLock.
    mutable std::mutex byNameLock;
    mutable QHash<QString, QMimeType> byName;
    mutable quint64 byNameGeneration = 0;
    // The type of a bare file name; \a byName, when valid, is the database's answer for it.
    QString typeForBareName(const QString &name, const QMimeType &byName) const;
};

TQTypeRegistry::TQTypeRegistry()
    : d(std::make_unique<Private>())
{
    for (const DeclaredType &declared : declaredTypeTable) {
        const QString id = QString::fromLatin1(declared.identifier);
        Private::Entry entry{splitList(declared.conformsTo), splitList(declared.mimeTypes),
                             splitList(declared.extensions)};
        for (const QString &mime : std::as_const(entry.mimeTypes)) {
            // Claim both the name as written and the database's canonical name, so that
            // aliases ("audio/x-flac") find the type as well.
            claim(d->typeByMime, mime, id);
            const QMimeType known = d->mimeDatabase.mimeTypeForName(mime);
            if (known.isValid())
                claim(d->typeByMime, known.name(), id);
        }
        for (const QString &ext : std::as_const(entry.extensions))
            claim(d->typeByExtension, ext, id);
        d->order.append(id);
        d->types.insert(id, std::move(entry));
    }
    for (const QString &id : std::as_const(d->order)) {
        if (conformsTo(id, QStringLiteral("public.audiovisual-content")))
            d->audiovisual.append(id);
    }
}

TQTypeRegistry::~TQTypeRegistry() = default;

const TQTypeRegistry &TQTypeRegistry::shared()
{
    static const TQTypeRegistry registry;
    return registry;
}

bool TQTypeRegistry::isDeclared(const QString &type) const
{
    return d->types.contains(type);
}

bool TQTypeRegistry::isDynamic(const QString &type)
{
    return type.startsWith(dynamicPrefix) && type.size() > dynamicPrefix.size();
}

QStringList TQTypeRegistry::Private::directSupertypes(const QString &type) const
{
    const auto declared = types.constFind(type);
    if (declared != types.cend())
        return declared->conformsTo;
    if (!TQTypeRegistry::isDynamic(type))
        return {};

    {
        QMutexLocker locker(&dynamicLock);
        const auto cached = dynamicSupertypes.constFind(type);
        if (cached != dynamicSupertypes.cend())
            return *cached;
    }

    const QString mimeName = mimeForDynamicType(type);
    QStringList supertypes;
    const QMimeType mime = mimeDatabase.mimeTypeForName(mimeName);
    if (mime.isValid()) {
        for (const QString &parent : mime.parentMimeTypes()) {
            const QString parentType = typeForMime(mimeDatabase.mimeTypeForName(parent));
            // "application/octet-stream" is every MIME type's implicit parent; the media
            // class below says more than "public.data" does.
            if (!parentType.isEmpty() && parentType != type && parentType != u"public.data")
                supertypes.append(parentType);
        }
    }
    const QString mediaType = typeForMediaClass(mimeName);
    if (!supertypes.contains(mediaType))
        supertypes.append(mediaType);

    QMutexLocker locker(&dynamicLock);
    dynamicSupertypes.insert(type, supertypes);
    return supertypes;
}

QStringList TQTypeRegistry::directSupertypes(const QString &type) const
{
    return d->directSupertypes(type);
}

QStringList TQTypeRegistry::allSupertypes(const QString &type) const
{
    if (type.isEmpty())
        return {};
    QStringList result{type};
    QSet<QString> seen{type};
    // Breadth-first; 'seen' keeps a cycle in the MIME data from looping.
    for (qsizetype i = 0; i < result.size(); ++i) {
        for (const QString &parent : d->directSupertypes(result.at(i))) {
            if (!seen.contains(parent)) {
                seen.insert(parent);
                result.append(parent);
            }
        }
    }
    return result;
}

TQTypeRegistry::Private::Closure TQTypeRegistry::Private::closure(const QString &type) const
{
    {
        std::shared_lock locker(closureLock);
        const auto found = closures.constFind(type);
        if (found != closures.cend())
            return *found;
    }
    // An identifier the registry does not know has no supertypes; it is not kept, so that
    // callers asking about arbitrary strings do not grow the table.
    if (!types.contains(type) && !TQTypeRegistry::isDynamic(type))
        return std::make_shared<const QSet<QString>>(QSet<QString>{type});
    // Walked outside the lock: directSupertypes() may ask the MIME database. Two threads may
    // both walk; they find the same set.
    QSet<QString> all{type};
    QStringList pending{type};
    while (!pending.isEmpty()) {
        for (const QString &parent : directSupertypes(pending.takeLast())) {
            if (!all.contains(parent)) {
                all.insert(parent);
                pending.append(parent);
            }
        }
    }
    auto made = std::make_shared<const QSet<QString>>(std::move(all));
    std::unique_lock locker(closureLock);
    const auto found = closures.constFind(type);
    if (found != closures.cend())
        return *found;
    closures.insert(type, made);
    return made;
}

bool TQTypeRegistry::conformsTo(const QString &type, const QString &conformsTo) const
{
    if (type.isEmpty() || conformsTo.isEmpty())
        return false;
    if (type == conformsTo)
        return true;
    return d->closure(type)->contains(conformsTo);
}

bool TQTypeRegistry::conformsToAny(const QString &type, const QStringList &types) const
{
    if (type.isEmpty())
        return false;
    const Private::Closure all = d->closure(type);
    return std::any_of(types.cbegin(), types.cend(),
                       [&](const QString &candidate) { return !candidate.isEmpty() && all->contains(candidate); });
}

QStringList TQTypeRegistry::declaredTypes() const
{
    return d->order;
}

QStringList TQTypeRegistry::audiovisualTypes() const
{
    return d->audiovisual;
}

QString TQTypeRegistry::Private::typeForMime(const QMimeType &mime) const
{
    if (!mime.isValid())
        return {};
    const QString found = typeByMime.value(mime.name());
    if (!found.isEmpty())
        return found;
    for (const QString &alias : mime.aliases()) {
        const QString byAlias = typeByMime.value(alias);
        if (!byAlias.isEmpty())
            return byAlias;
    }
    return dynamicTypeForMime(mime.name());
}

QString TQTypeRegistry::typeForMimeType(const QString &mimeType) const
{
    const QString name = mimeType.trimmed();
    if (name.isEmpty())
        return {};
    const QString direct = d->typeByMime.value(name);
    if (!direct.isEmpty())
        return direct;
    const QMimeType mime = d->mimeDatabase.mimeTypeForName(name);
    if (mime.isValid())
        return d->typeForMime(mime);
    if (!name.contains(QLatin1Char('/')))
        return {};
    return dynamicTypeForMime(name.toLower());
}

QString TQTypeRegistry::typeForFilenameExtension(const QString &extension) const
{
    QString ext = extension.trimmed();
    if (ext.startsWith(QLatin1Char('.')))
        ext.remove(0, 1);
    if (ext.isEmpty())
        return {};
    const QString declared = d->typeByExtension.value(ext.toLower());
    if (!declared.isEmpty())
        return declared;
    const QMimeType mime = d->mimeDatabase.mimeTypeForFile(QStringLiteral("file.") + ext,
                                                          QMimeDatabase::MatchExtension);
    return isGenericMime(mime) ? QStringLiteral("public.data") : d->typeForMime(mime);
}

QString TQTypeRegistry::preferredMimeType(const QString &type) const
{
    const QStringList all = mimeTypes(type);
    return all.isEmpty() ? QString() : all.constFirst();
}

QStringList TQTypeRegistry::mimeTypes(const QString &type) const
{
    const auto declared = d->types.constFind(type);
    if (declared != d->types.cend())
        return declared->mimeTypes;
    if (isDynamic(type))
        return {mimeForDynamicType(type)};
    return {};
}

QString TQTypeRegistry::localizedDescription(const QString &type) const
{
    const QLocale locale;
    {
        std::lock_guard locker(d->descriptionLock);
        if (d->descriptionAge.isValid() && !d->descriptionAge.hasExpired(5000) && d->descriptionLocale == locale) {
            const auto known = d->descriptions.constFind(type);
            if (known != d->descriptions.cend())
                return *known;
        }
    }
    const QStringList languages = locale.uiLanguages();
    {
        std::lock_guard locker(d->descriptionLock);
        if (!d->descriptionAge.isValid() || d->descriptionAge.hasExpired(5000) || d->descriptionLanguages != languages) {
            d->descriptions.clear();
            d->descriptionLanguages = languages;
            d->descriptionAge.start();
        }
        d->descriptionLocale = locale;
    }
    const QString description = [&] {
        for (const QString &candidate : allSupertypes(type)) {
            for (const QString &mimeName : mimeTypes(candidate)) {
                const QMimeType mime = d->mimeDatabase.mimeTypeForName(mimeName);
                if (mime.isValid() && !mime.comment().isEmpty())
                    return mime.comment();
            }
        }
        return QString();
    }();
    std::lock_guard locker(d->descriptionLock);
    if (d->descriptionLanguages == languages)
        d->descriptions.insert(type, description);
    return description;
}

QStringList TQTypeRegistry::filenameExtensions(const QString &type) const
{
    const auto declared = d->types.constFind(type);
    if (declared != d->types.cend())
        return declared->extensions;
    if (!isDynamic(type))
        return {};
    QStringList extensions;
    const QMimeType mime = d->mimeDatabase.mimeTypeForName(mimeForDynamicType(type));
    for (const QString &suffix : mime.suffixes())
        extensions.append(suffix);
    return extensions;
}

QString TQTypeRegistry::typeForFileName(const QString &fileName) const
{
    const QString name = fileName.contains(QLatin1Char('/')) ? QFileInfo(fileName).fileName() : fileName;
    return d->typeForBareName(name, QMimeType());
}

QString TQTypeRegistry::Private::typeForBareName(const QString &name, const QMimeType &byName) const
{
    // Extensions the registry declares come first: they are how the identifiers are meant
    // to be found, and they settle names the MIME globs leave ambiguous.
    const qsizetype dot = name.indexOf(QLatin1Char('.'), 1);
    if (dot > 0) {
        // "a.tar.gz" tries "tar.gz" before "gz".
        for (qsizetype at = dot; at >= 0 && at < name.size() - 1;
             at = name.indexOf(QLatin1Char('.'), at + 1)) {
            const QString declared = typeByExtension.value(name.mid(at + 1).toLower());
            if (!declared.isEmpty())
                return declared;
        }
    }
    const QMimeType mime = byName.isValid() ? byName : mimeTypeForFileName(name);
    return isGenericMime(mime) ? QStringLiteral("public.data") : typeForMime(mime);
}

QMimeType TQTypeRegistry::Private::mimeTypeForFileName(const QString &fileName) const
{
    // A name no pattern can match gets the default type; the database would first compile a
    // regular expression for each of its complex patterns ("*.[1-9]", "*.so.[0-9]*").
    const TQMimeMagic::NameVerdict verdict = TQMimeMagic::nameVerdict(fileName);
    if (verdict.matchesNothing)
        return mimeDatabase.mimeTypeForName(QStringLiteral("application/octet-stream"));
    // A name only suffixes can match gets the answer of the last name that ended alike.
    if (!verdict.key.isEmpty()) {
        std::lock_guard locker(byNameLock);
        if (byNameGeneration != verdict.generation) {
            byName.clear();
            byNameGeneration = verdict.generation;
        }
        if (const auto known = byName.constFind(verdict.key); known != byName.cend())
            return *known;
    }
    const QMimeType type = mimeDatabase.mimeTypeForFile(fileName, QMimeDatabase::MatchExtension);
    if (!verdict.key.isEmpty()) {
        std::lock_guard locker(byNameLock);
        if (byNameGeneration == verdict.generation)
            byName.insert(verdict.key, type);
    }
    return type;
}

QMimeType TQTypeRegistry::Private::mimeTypeForContent(const QByteArray &data) const
{
    const bool zeros = !data.isEmpty() && data.front() == '\0'
        && std::memcmp(data.constData(), data.constData() + 1, size_t(data.size() - 1)) == 0;
    if (!zeros) {
        // The same rules from the same cache, searched instead of compared offset by offset.
        if (const std::optional<QString> name = TQMimeMagic::mimeTypeForData(data)) {
            // A type the database does not list is left to the database.
            if (const QMimeType type = mimeDatabase.mimeTypeForName(*name); type.isValid())
                return type;
        }
        return mimeDatabase.mimeTypeForData(data);
    }
    // A magic rule reads bytes at fixed places, so on zeros it can only begin to match as the
    // data grows, never stop; the database takes the first rule in a fixed order that matches.
    // When one byte and the longest prefix read get the same answer, every length between
    // gets it too; otherwise each length is asked for itself.
    std::lock_guard locker(zeroLock);
    const QMimeType shortest = zeroAnswer(1);
    if (data.size() <= contentPrefixSize && shortest == zeroAnswer(contentPrefixSize))
        return shortest;
    return zeroAnswer(data.size());
}

QMimeType TQTypeRegistry::Private::zeroAnswer(qsizetype length) const
{
    auto known = zeroAnswers.constFind(length);
    if (known == zeroAnswers.cend())
        known = zeroAnswers.insert(length, mimeDatabase.mimeTypeForData(QByteArray(length, '\0')));
    return *known;
}

QString TQTypeRegistry::typeForData(const QByteArray &data) const
{
    const QMimeType mime = d->mimeDatabase.mimeTypeForData(data);
    return isGenericMime(mime) ? QStringLiteral("public.data") : d->typeForMime(mime);
}

TQTypeRegistry::Private::ContentVerdict
TQTypeRegistry::Private::contentVerdict(const QByteArray &path, const struct stat &named,
                                        const QString &fileName) const
{
    // Opened without blocking and checked on the descriptor: the file may have been swapped
    // for a FIFO or a device since it was looked at.
    const TQRegularFile file(path, named);
    if (!file.isOpen()) {
        file.warnIfRefused(QFile::decodeName(path), "type detection");
        return {};
    }
    const QMimeType byContent = mimeTypeForContent(file.read(0, contentPrefixSize));
    // Unreadable, empty or unrecognised content: the name is all there is.
    if (isGenericMime(byContent))
        return {};
    const QMimeType byName = mimeTypeForFileName(fileName);
    if (isGenericMime(byName))
        return {byContent, byName};
    if (byName == byContent || byName.inherits(byContent.name()))
        return {QMimeType(), byName};
    if (byContent.inherits(byName.name()))
        return {byContent, byName};
    // Text is recognised from a few characters ("looks like text", "<!--", "#!", "<?xml"): a
    // guess that weak only overrides a name that claims an image, sound or film format. A
    // Markdown file opening with an HTML comment stays Markdown, as the desktop's own
    // detection has it.
    if (isTextMime(byContent) && !isMediaMime(byName))
        return {QMimeType(), byName};
    qCDebug(lcPlatform) << "name and content of" << QFile::decodeName(path) << "disagree:" << byName.name()
                        << "by name," << byContent.name() << "by content; the content wins";
    return {byContent, byName};
}

QString TQTypeRegistry::typeForFile(const QString &path, Detection detection) const
{
    return typeForFile(QFile::encodeName(path), detection);
}

QString TQTypeRegistry::typeForFile(const QByteArray &path, Detection detection) const
{
    struct stat target;
    if (path.isEmpty() || path.contains('\0') || ::stat(path.constData(), &target) != 0)
        return {};
    if (S_ISDIR(target.st_mode)) {
        // A folder on a different device from its parent is the root of a mounted volume.
        struct stat parent;
        const QByteArray parentPath = path + "/..";
        if (::stat(parentPath.constData(), &parent) == 0
            && (parent.st_dev != target.st_dev || parent.st_ino == target.st_ino))
            return QStringLiteral("public.volume");
        return QStringLiteral("public.folder");
    }
    return typeForFile(path, quint32(target.st_mode), qint64(target.st_size), detection);
}

QString TQTypeRegistry::typeForFile(const QByteArray &path, quint32 mode, qint64 size, Detection detection) const
{
    if (S_ISDIR(mode))
        return typeForFile(path, detection);
    if (path.isEmpty() || path.contains('\0'))
        return {};
    struct stat target = {};
    target.st_mode = mode_t(mode);
    target.st_size = off_t(size);
    if (const QString special = specialFileMime(target.st_mode); !special.isEmpty())
        return typeForMimeType(special);
    const QString fileName = QFile::decodeName(path.mid(path.lastIndexOf('/') + 1));
    QMimeType byName;
    if (detection == Detection::ContentAndName && S_ISREG(target.st_mode) && target.st_size > 0) {
        const Private::ContentVerdict verdict = d->contentVerdict(path, target, fileName);
        if (verdict.contentWins.isValid())
            return d->typeForMime(verdict.contentWins);
        byName = verdict.byName;
    }
    return d->typeForBareName(fileName, byName);
}

bool TQUTTypeConformsTo(const QString &type, const QString &conformsTo)
{
    return TQTypeRegistry::shared().conformsTo(type, conformsTo);
}
