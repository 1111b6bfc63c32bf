// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQExiv2_p.h"

#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"

#include <QByteArray>

#include <exiv2/exiv2.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
#include <exception>

#include <mutex>

namespace {

thread_local int complaintsOnThisThread = 0;

void logFromExiv2(int level, const char *message)
{
    if (level >= Exiv2::LogMsg::error)
        ++complaintsOnThisThread;
    QByteArray text(message ? message : "");
    while (text.endsWith('\n'))
        text.chop(1);
    qCDebug(lcPlatform, "exiv2 %s: %s", level >= Exiv2::LogMsg::error ? "error" : "warning", text.constData());
}

void xmpLock(void *mutex, bool lock)
{
    auto *m = static_cast<std::recursive_mutex *>(mutex);
    lock ? m->lock() : m->unlock();
}

} // namespace

namespace TQExiv2 {

namespace {
constexpr qint64 MaxMappedBytes = qint64(1) << 30;
constexpr qint64 PrefixBytes = qint64(16) << 20;

// exiv2's memory input over bytes it does not own (MemIo grows a copy in small steps, which
// costs seconds for a large prefix); the bytes live as long as the input.
struct PrefixBytesHolder
{
    QByteArray bytes;
};
class PrefixIo : private PrefixBytesHolder, public Exiv2::MemIo
{
public:
    explicit PrefixIo(const QByteArray &prefix)
        : PrefixBytesHolder{prefix}
        , Exiv2::MemIo(reinterpret_cast<const Exiv2::byte *>(bytes.constData()), long(bytes.size()))
    {
    }
};
} // namespace

void prepare()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::warn);
        Exiv2::LogMsg::setHandler(logFromExiv2);
        static std::recursive_mutex xmpMutex;
        Exiv2::XmpParser::initialize(xmpLock, &xmpMutex);
    });
}

int &complaints()
{
    return complaintsOnThisThread;
}

std::unique_ptr<Exiv2::Image> open(const TQRegularFile &file, const QString &path, std::initializer_list<int> allowed)
{
    if (!file.isOpen())
        return nullptr;
    prepare();
    try {
        // exiv2 opens by name; the descriptor's own name reaches the file that was checked,
        // whatever has happened to its path since.
        // exiv2 0.27 takes and gives std::auto_ptr, deprecated in C++11; it is kept to these lines.
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        Exiv2::BasicIo::AutoPtr io(new Exiv2::FileIo(file.descriptorPath().toStdString()));
        const int type = Exiv2::ImageFactory::getType(*io);
        if (std::find(allowed.begin(), allowed.end(), type) == allowed.end()) {
            qCDebug(lcPlatform) << "exiv2 is not given" << path << ": its content is of exiv2's type" << type;
            return nullptr;
        }
        // exiv2 maps a TIFF-like file whole and takes its size modulo 4 GiB; a huge one (or a
        // sparse one) is read from a bounded prefix instead, where its IFDs are in practice.
        const bool tiffLike = type == Exiv2::ImageType::tiff || type == Exiv2::ImageType::cr2
                || type == Exiv2::ImageType::orf || type == Exiv2::ImageType::rw2
                || type == Exiv2::ImageType::mrw || type == Exiv2::ImageType::raf
                || type == Exiv2::ImageType::crw;
        if (tiffLike && file.size() > MaxMappedBytes) {
            const QByteArray prefix = file.read(0, PrefixBytes);
            qCDebug(lcPlatform) << "exiv2 reads only the first" << prefix.size() << "bytes of" << path;
            io.reset(new PrefixIo(prefix));
        }
        // open() tries the same formats in the same order as getType(), so it picks the parser
        // just allowed.
        return std::unique_ptr<Exiv2::Image>(Exiv2::ImageFactory::open(io).release());
        QT_WARNING_POP
    } catch (const std::exception &e) { // Exiv2::AnyError, std::bad_alloc, ...
        qCDebug(lcPlatform) << "exiv2 can't open" << path << ":" << e.what();
    }
    return nullptr;
}

int wholeOrientation(double value)
{
    return std::isfinite(value) && value >= 1 && value <= 8 && value == std::floor(value) ? int(value) : 0;
}

namespace {
template<typename T>
T firstOf(const Exiv2::Value &value)
{
    // The stored value itself: exiv2's own toFloat()/toLong() narrow 1e300 or NaN without a
    // defined result.
    const auto *typed = dynamic_cast<const Exiv2::ValueType<T> *>(&value);
    return typed && !typed->value_.empty() ? typed->value_.front() : T{};
}
} // namespace

int statedOrientation(const Exiv2::ExifData &exif)
{
    const auto it = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (it == exif.end() || it->count() != 1)
        return 0;
    const Exiv2::Value &value = it->value();
    switch (value.typeId()) {
    case Exiv2::unsignedByte:
    case Exiv2::unsignedShort:
    case Exiv2::unsignedLong:
    case Exiv2::signedByte:
    case Exiv2::signedShort:
    case Exiv2::signedLong:
        return wholeOrientation(double(value.toLong(0))); // 32 bits at most: a long holds them
    case Exiv2::tiffFloat:
        return wholeOrientation(firstOf<float>(value));
    case Exiv2::tiffDouble:
        return wholeOrientation(firstOf<double>(value));
    case Exiv2::unsignedRational: {
        const Exiv2::URational r = firstOf<Exiv2::URational>(value);
        return r.second == 0 ? 0 : wholeOrientation(double(r.first) / r.second);
    }
    case Exiv2::signedRational: {
        const Exiv2::Rational r = firstOf<Exiv2::Rational>(value);
        return r.second == 0 ? 0 : wholeOrientation(double(r.first) / r.second);
    }
    default:
        return 0;
    }
}

int orientation(const Exiv2::ExifData &exif)
{
    return std::max(1, statedOrientation(exif));
}

} // namespace TQExiv2
