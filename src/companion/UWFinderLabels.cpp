// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFinderLabels.h"

#include "UWFinderLabels_p.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QSettings>
#include <QVariantMap>
#include <QtEndian>

#include <sys/xattr.h>

#include <array>
#include <cerrno>

namespace {

constexpr std::array<const char *, 8> englishNames = {
    "", QT_TRANSLATE_NOOP("UWStorageKit", "Gray"), QT_TRANSLATE_NOOP("UWStorageKit", "Green"),
    QT_TRANSLATE_NOOP("UWStorageKit", "Purple"), QT_TRANSLATE_NOOP("UWStorageKit", "Blue"),
    QT_TRANSLATE_NOOP("UWStorageKit", "Yellow"), QT_TRANSLATE_NOOP("UWStorageKit", "Red"),
    QT_TRANSLATE_NOOP("UWStorageKit", "Orange")};

constexpr int finderInfoSize = 32;
constexpr int afpInfoFinderInfoOffset = 16;
constexpr quint32 appleDoubleMagic = 0x00051607;
constexpr quint32 appleDoubleFinderInfoEntry = 9;
constexpr int appleDoubleHeaderSize = 26;  // magic, version, 16 bytes filler, entry count
constexpr int appleDoubleEntrySize = 12;   // id, offset, length

// The offset of the FinderInfo entry of an AppleDouble record; -1 when it has none.
qsizetype finderInfoInAppleDouble(const QByteArray &record)
{
    if (record.size() < appleDoubleHeaderSize)
        return -1;
    const auto *bytes = reinterpret_cast<const uchar *>(record.constData());
    if (qFromBigEndian<quint32>(bytes) != appleDoubleMagic)
        return -1;
    const quint16 entries = qFromBigEndian<quint16>(bytes + 24);
    for (int i = 0; i < entries; ++i) {
        const qsizetype at = appleDoubleHeaderSize + qsizetype(i) * appleDoubleEntrySize;
        if (at + appleDoubleEntrySize > record.size())
            return -1;
        const quint32 id = qFromBigEndian<quint32>(bytes + at);
        const quint32 offset = qFromBigEndian<quint32>(bytes + at + 4);
        const quint32 length = qFromBigEndian<quint32>(bytes + at + 8);
        if (id != appleDoubleFinderInfoEntry)
            continue;
        if (length < finderInfoSize || quint64(offset) + finderInfoSize > quint64(record.size()))
            return -1;
        return offset;
    }
    return -1;
}

constexpr const char *noLabelName = QT_TRANSLATE_NOOP("UWStorageKit", "No Label");
constexpr qint64 preferencesMaxAgeMs = 15'000;

// The user's label names: a copy of the preference domain and the time it was taken. The
// time is a key of the copy, like the domain's own values, and is absent while the domain
// holds nothing (so an empty domain is read again on the next call).
struct LabelNames
{
    QMutex lock;
    QVariantMap preferences;
    QStringList defaults;
    qint64 (*now)() = [] { return QDateTime::currentMSecsSinceEpoch(); };
};

LabelNames &labelNames()
{
    static LabelNames names;
    return names;
}

const QString prefsDateKey = QStringLiteral("PrefsDate");

void refreshPreferences(LabelNames &names)
{
    const qint64 now = names.now();
    const QVariant taken = names.preferences.value(prefsDateKey);
    if (taken.isValid() && now - taken.toLongLong() <= preferencesMaxAgeMs)
        return;
    QSettings domain(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("com.apple.Labels"));
    QVariantMap copy;
    for (const QString &key : domain.allKeys())
        copy.insert(key, domain.value(key));
    if (!copy.isEmpty())
        copy.insert(prefsDateKey, now);
    names.preferences = std::move(copy);
}

} // namespace

void UWFinderLabels_setClockForTesting(qint64 (*now)())
{
    LabelNames &names = labelNames();
    QMutexLocker locker(&names.lock);
    names.now = now ? now : [] { return QDateTime::currentMSecsSinceEpoch(); };
    names.preferences.clear();
}

namespace UWFinderLabelsPrivate {

Attribute readAttribute(const QByteArray &nativePath, const char *name)
{
    // The value may grow between asking for its size and reading it: ask again.
    for (int attempt = 0; attempt < 8; ++attempt) {
        const ssize_t size = ::lgetxattr(nativePath.constData(), name, nullptr, 0);
        if (size < 0)
            return errno == ENODATA ? Attribute{} : Attribute{false, {}, errno};
        QByteArray value(qsizetype(size) + 1, Qt::Uninitialized);
        const ssize_t read = ::lgetxattr(nativePath.constData(), name, value.data(), size_t(value.size()));
        if (read >= 0 && read <= size) {
            value.truncate(read);
            return {true, value, 0};
        }
        if (read < 0 && errno == ENODATA)
            return {};
        if (read < 0 && errno != ERANGE)
            return {false, {}, errno};
    }
    return {false, {}, ERANGE};
}

qsizetype finderInfoOffset(const char *name, const QByteArray &value)
{
    const QByteArrayView attribute(name);
    if (attribute == "user.DosStream.AFP_AfpInfo")
        return value.size() >= afpInfoFinderInfoOffset + finderInfoSize && value.startsWith("AFP")
                   ? afpInfoFinderInfoOffset
                   : -1;
    if (attribute == "user.org.netatalk.Metadata")
        return finderInfoInAppleDouble(value);
    return value.size() >= finderInfoSize ? 0 : -1;
}

const char *englishName(int index)
{
    return index >= 1 && index < int(englishNames.size()) ? englishNames[index] : nullptr;
}

} // namespace UWFinderLabelsPrivate

namespace UWFinderLabels {

QString nameForLabel(int index)
{
    if (index < 0 || index >= int(englishNames.size()))
        return {};
    LabelNames &names = labelNames();
    QMutexLocker locker(&names.lock);
    refreshPreferences(names);
    if (names.defaults.isEmpty()) {
        names.defaults.append(QCoreApplication::translate("UWStorageKit", noLabelName));
        for (int i = 1; i < int(englishNames.size()); ++i)
            names.defaults.append(defaultName(i));
    }
    const QVariant userName = names.preferences.value(QStringLiteral("Label_Name_%1").arg(index));
    if (userName.typeId() == QMetaType::QString)
        return userName.toString();
    return names.defaults.at(index);
}

QStringList defaultNames()
{
    QStringList names;
    for (int i = 0; i < int(englishNames.size()); ++i)
        names.append(defaultName(i));
    return names;
}

QString defaultName(int index)
{
    if (index < 1 || index >= int(englishNames.size()))
        return {};
    return QCoreApplication::translate("UWStorageKit", englishNames[index]);
}

int labelFromFinderInfo(const QByteArray &finderInfo)
{
    if (finderInfo.size() < finderInfoSize)
        return 0;
    return (uchar(finderInfo.at(9)) >> 1) & 7;
}

int labelFromTags(const QByteArray &tags)
{
    const QStringList translated = defaultNames();
    for (const QByteArray &rawTag : tags.split(',')) {
        const QString tag = QString::fromUtf8(rawTag).trimmed();
        if (tag.isEmpty())
            continue;
        for (int i = 1; i < int(englishNames.size()); ++i) {
            if (tag.compare(QLatin1String(englishNames[i]), Qt::CaseInsensitive) == 0
                || tag.compare(translated.at(i), Qt::CaseInsensitive) == 0)
                return i;
        }
    }
    return 0;
}

int labelForPath(const QString &path)
{
    return labelForNativePath(QFile::encodeName(path));
}

int labelForNativePath(const QByteArray &encoded)
{
    using namespace UWFinderLabelsPrivate;
    if (const Attribute tags = readAttribute(encoded, "user.xdg.tags"); !tags.value.isEmpty()) {
        if (const int label = labelFromTags(tags.value))
            return label;
    }
    // The first record that is there decides, even when it says "no label".
    for (const char *name : finderInfoAttributes) {
        const QByteArray value = readAttribute(encoded, name).value;
        if (const qsizetype at = finderInfoOffset(name, value); at >= 0)
            return labelFromFinderInfo(value.mid(at, finderInfoSize));
    }
    return 0;
}

} // namespace UWFinderLabels
