// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQThumbnailers_p.h"

#include "TQPlatformLogging.h"
#include "TQRegularFile_p.h"

#include <QBuffer>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QImageReader>
#include <QMimeDatabase>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace TQThumbnailers {
namespace {

// What a thumbnailer may hand back: a picture file and its decoded size. Anything larger is
// a broken or hostile thumbnailer, and decoding it would cost more than the thumbnail is worth.
constexpr qint64 MaxOutputBytes = 50 << 20;
constexpr int MaxOutputSide = 16384;
constexpr qint64 MaxEntryBytes = 64 << 10;
constexpr int ProbeTimeoutMs = 5000;

QString unescaped(QStringView value)
{
    QString out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != u'\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        const QChar next = value[++i];
        switch (next.unicode()) {
        case 's': out += u' '; break;
        case 'n': out += u'\n'; break;
        case 't': out += u'\t'; break;
        case 'r': out += u'\r'; break;
        case '\\': out += u'\\'; break;
        default: out += u'\\'; out += next; break; // not an escape: kept for the Exec quoting
        }
    }
    return out;
}

QString executable(const QString &name)
{
    if (name.startsWith(u'/')) {
        const QFileInfo info(name);
        return info.isFile() && info.isExecutable() ? name : QString();
    }
    return name.contains(u'/') ? QString() : QStandardPaths::findExecutable(name);
}

std::optional<Entry> parse(const QString &path)
{
    const TQRegularFile file(path);
    file.warnIfRefused(path, "a thumbnailer entry");
    const QByteArray text = file.readAll(MaxEntryBytes);
    if (text.isNull()) {
        qCDebug(lcPlatform) << "can't read the thumbnailer entry" << path;
        return std::nullopt;
    }
    QString exec, tryExec, types;
    bool inEntry = false;
    for (const QString &raw : QString::fromUtf8(text).split(u'\n')) {
        const QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'[')) {
            inEntry = line == u"[Thumbnailer Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (!inEntry || equals < 0)
            continue;
        const QString key = line.left(equals).trimmed();
        const QString value = unescaped(QStringView(line).mid(equals + 1).trimmed());
        if (key == u"Exec")
            exec = value;
        else if (key == u"TryExec")
            tryExec = value;
        else if (key == u"MimeType")
            types = value;
    }
    if (exec.isEmpty() || types.isEmpty()) {
        qCDebug(lcPlatform) << "the thumbnailer entry" << path << "has no Exec or no MimeType";
        return std::nullopt;
    }
    if (!tryExec.isEmpty() && executable(tryExec).isEmpty()) {
        qCDebug(lcPlatform) << "the thumbnailer entry" << path << "is left out: no program" << tryExec;
        return std::nullopt;
    }
    Entry entry{path, exec, {}};
    const QMimeDatabase db;
    for (const QString &type : types.split(u';', Qt::SkipEmptyParts)) {
        const QMimeType known = db.mimeTypeForName(type.trimmed());
        entry.mimeTypes.append(known.isValid() ? known.name() : type.trimmed());
    }
    return entry;
}

QStringList folders()
{
    QStringList out;
    for (const QString &data : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        out.append(data + u"/thumbnailers"_s);
    out.removeDuplicates();
    return out;
}

struct Registry
{
    bool built = false;
    QByteArray signature;
    QHash<QString, Entry> byType;
};

// Names, inodes, sizes and times of every entry file: the registry is rebuilt only when
// this changes (an entry replaced by a rename gets a new inode even within one clock tick).
QByteArray signatureOf(const QStringList &folders, QStringList *files)
{
    QByteArray signature;
    for (const QString &folder : folders) {
        const QStringList names = QDir(folder).entryList({u"*.thumbnailer"_s}, QDir::Files, QDir::Name);
        for (const QString &name : names) {
            const QString path = folder + u'/' + name;
            struct stat st = {};
            if (::stat(QFile::encodeName(path).constData(), &st) != 0)
                continue;
            signature += QFile::encodeName(path) + '\0'
                    + QByteArray::number(quint64(st.st_ino)) + ' ' + QByteArray::number(qint64(st.st_size)) + ' '
                    + QByteArray::number(qint64(st.st_mtim.tv_sec)) + '.' + QByteArray::number(qint64(st.st_mtim.tv_nsec))
                    + '\n';
            files->append(path);
        }
    }
    return signature;
}

// The value of field code `code`; nothing for a code the thumbnailer rules don't have.
// Deprecated codes stand for nothing at all, as the desktop-entry rules say.
std::optional<QString> fieldValue(QChar code, const Fields &fields, bool *deprecated)
{
    *deprecated = false;
    switch (code.unicode()) {
    case 'u': return QString::fromLatin1(fields.uri);
    case 'i': return fields.input;
    case 'o': return fields.output;
    case 's': return QString::number(fields.size);
    case '%': return u"%"_s;
    default: break;
    }
    if (!QStringView(u"dDnNvm").contains(code))
        return std::nullopt;
    *deprecated = true;
    return QString();
}

// ---------------------------------------------------------------------------------------------
// The sandbox: the system read-only, the input file read-only at its own path, the private
// output folder writable, and nothing else of the user's files; no network, own process tree.

const QStringList &systemArguments()
{
    static const QStringList arguments = [] {
        QStringList out;
        for (const char *name : {"/usr", "/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32", "/etc"}) {
            const QByteArray native(name);
            struct stat st = {};
            if (::lstat(native.constData(), &st) != 0)
                continue;
            if (S_ISLNK(st.st_mode)) { // merged /usr: /bin -> usr/bin
                char target[4096];
                const ssize_t n = ::readlink(native.constData(), target, sizeof target - 1);
                if (n > 0)
                    out << u"--symlink"_s << QFile::decodeName(QByteArray(target, n)) << QString::fromLatin1(name);
            } else if (S_ISDIR(st.st_mode)) {
                out << u"--ro-bind"_s << QString::fromLatin1(name) << QString::fromLatin1(name);
            }
        }
        out << u"--proc"_s << u"/proc"_s << u"--dev"_s << u"/dev"_s << u"--tmpfs"_s << u"/tmp"_s
            << u"--unshare-all"_s << u"--unshare-net"_s << u"--die-with-parent"_s << u"--new-session"_s;
        return out;
    }();
    return arguments;
}

bool isSystemPath(const QString &canonical)
{
    for (const char *name : {"/usr/", "/bin/", "/sbin/", "/lib/", "/lib32/", "/lib64/", "/libx32/", "/etc/"}) {
        if (canonical.startsWith(QLatin1StringView(name)))
            return true;
    }
    return false;
}

QString bwrapProgram()
{
    static const QString program = QStandardPaths::findExecutable(u"bwrap"_s);
    return program;
}

void quieten(QProcess &process)
{
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
}

bool probeSandbox()
{
    const QString bwrap = bwrapProgram();
    const QString truth = QStandardPaths::findExecutable(u"true"_s);
    if (bwrap.isEmpty() || truth.isEmpty()) {
        qCDebug(lcPlatform) << "thumbnailers run without a sandbox: bwrap is not installed";
        return false;
    }
    QProcess probe;
    quieten(probe);
    probe.start(bwrap, systemArguments() + QStringList{u"--"_s, truth});
    const bool finished = probe.waitForFinished(ProbeTimeoutMs);
    if (!finished) {
        probe.kill();
        probe.waitForFinished(ProbeTimeoutMs);
    }
    const bool ok = finished && probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0;
    qCDebug(lcPlatform) << (ok ? "thumbnailers run inside bwrap" : "thumbnailers run without a sandbox: bwrap does not work here");
    return ok;
}

QImage readOutput(const QString &path, const QSize &box, QString *why)
{
    // Not followed if it is a link, and not waited on if it is a FIFO the program left there.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat st = {};
    if (fd < 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        *why = u"it wrote no picture file"_s;
        if (fd >= 0)
            ::close(fd);
        return {};
    }
    if (st.st_size <= 0 || st.st_size > MaxOutputBytes) {
        *why = u"its picture file has %1 bytes"_s.arg(st.st_size);
        ::close(fd);
        return {};
    }
    QByteArray bytes(qsizetype(st.st_size), Qt::Uninitialized);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::read(fd, bytes.data() + done, size_t(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += n;
    }
    ::close(fd);
    bytes.truncate(done);
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    const QSize size = QImageReader(&buffer).size();
    if (size.isValid() && (size.width() > MaxOutputSide || size.height() > MaxOutputSide)) {
        *why = u"its picture is %1x%2"_s.arg(size.width()).arg(size.height());
        return {};
    }
    // A thumbnailer hands back its picture upright; it is read as carefully as any file.
    Decoded decoded = decode(&buffer, box);
    if (decoded.image.isNull())
        *why = u"its picture can't be used: "_s + decoded.why;
    return decoded.image;
}

// Pictures larger than this are not walked for their layout; no picture has this many parts.
constexpr int MaxPngChunks = 1 << 18;
constexpr int MaxJpegMarkers = 10000;
// How much of a JPEG's end is searched for its end-of-image marker. Some files carry data
// after the picture (a second picture, a maker's trailer); a cut-off one has none at all.
constexpr qint64 JpegTail = 1 << 20;

QByteArray readAt(QIODevice *device, qint64 offset, qint64 length)
{
    if (offset < 0 || length <= 0 || !device->seek(offset))
        return {};
    return device->read(length);
}

// Descriptor device: Unbuffered, so pos() is where the next readData() starts. Qt's JPEG
// reader asks for 4 KiB at a time; the device reads ahead in windows of its own, so that a
// 10 MB picture costs a few dozen system calls instead of thousands.
class DescriptorDevice : public QIODevice
{
public:
    explicit DescriptorDevice(const TQRegularFile &file)
        : m_file(file)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return false; }
    qint64 size() const override { return m_file.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 at = pos();
        maxSize = std::max<qint64>(0, std::min(maxSize, m_file.size() - at));
        if (maxSize >= Window)
            return readAt(data, at, maxSize);
        if (at < m_windowStart || at + maxSize > m_windowStart + m_window.size()) {
            m_window.resize(Window);
            const qint64 n = readAt(m_window.data(), at, std::min(Window, m_file.size() - at));
            m_window.resize(std::max<qint64>(n, 0));
            m_windowStart = at;
            if (n < 0)
                return -1;
        }
        const qint64 n = std::min(maxSize, m_windowStart + m_window.size() - at);
        std::memcpy(data, m_window.constData() + (at - m_windowStart), size_t(n));
        return n;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    static constexpr qint64 Window = 256 << 10;

    qint64 readAt(char *data, qint64 at, qint64 length) const
    {
        qint64 done = 0;
        while (done < length) {
            const ssize_t n = ::pread(m_file.fd(), data + done, size_t(length - done), at + done);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0)
                return done > 0 ? done : -1;
            if (n == 0)
                break;
            done += n;
        }
        return done;
    }

    const TQRegularFile &m_file;
    QByteArray m_window;
    qint64 m_windowStart = 0;
};

bool isSof(uchar marker)
{
    // C4 (Huffman tables), C8 (reserved) and CC (arithmetic conditioning) share the range.
    return marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
}

qint64 roundedUp(qint64 value, qint64 multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

} // namespace

std::unique_ptr<QIODevice> deviceFor(const TQRegularFile &file)
{
    return std::make_unique<DescriptorDevice>(file);
}

QString pngLayoutProblem(QIODevice *device)
{
    const qint64 size = device->size();
    qint64 at = 8; // the signature
    for (int chunk = 0; chunk < MaxPngChunks; ++chunk) {
        const QByteArray header = readAt(device, at, 8);
        if (header.size() < 8)
            return {}; // cut short: the decoder says so itself
        const quint32 length = qFromBigEndian<quint32>(header.constData());
        for (int i = 4; i < 8; ++i) {
            const uchar c = uchar(header[i]) | 0x20;
            if (c < 'a' || c > 'z')
                return u"chunk %1 has no type"_s.arg(chunk);
        }
        if (length > 0x7fffffffu || qint64(length) + 12 > size - at)
            return u"its %1 chunk declares %2 bytes, more than the file holds"_s.arg(QString::fromLatin1(header.mid(4)))
                    .arg(length);
        if (header.mid(4) == "IEND")
            return {};
        at += qint64(length) + 12;
    }
    return u"it has more than %1 chunks"_s.arg(MaxPngChunks);
}

std::optional<JpegLayout> jpegLayout(QIODevice *device, QString *why)
{
    const qint64 size = device->size();
    JpegLayout out;
    int components = 0;
    bool progressive = false;
    qint64 at = 2;
    for (int markers = 0;; ++markers) {
        if (markers == MaxJpegMarkers) {
            *why = u"more than %1 markers before its picture data"_s.arg(MaxJpegMarkers);
            return std::nullopt;
        }
        const QByteArray m = readAt(device, at, 4);
        if (m.size() < 2 || uchar(m[0]) != 0xff) {
            *why = m.size() < 2 ? u"it ends before its picture data"_s : u"no marker where one belongs"_s;
            return std::nullopt;
        }
        const uchar marker = uchar(m[1]);
        if (marker == 0xff) { // fill byte
            ++at;
            continue;
        }
        if (marker == 0x01 || (marker >= 0xd0 && marker <= 0xd7)) {
            at += 2;
            continue;
        }
        const qint64 length = m.size() < 4 ? 0 : qint64(qFromBigEndian<quint16>(m.constData() + 2));
        if (marker == 0xd8 || marker == 0xd9 || length < 2) {
            *why = u"it ends before its picture data"_s;
            return std::nullopt;
        }
        if (isSof(marker)) {
            const QByteArray frame = readAt(device, at + 4, length - 2);
            components = frame.size() >= 6 ? uchar(frame[5]) : 0;
            if (components == 0 || frame.size() < 6 + 3 * components) {
                *why = u"its frame header is malformed"_s;
                return std::nullopt;
            }
            out.size = QSize(qFromBigEndian<quint16>(frame.constData() + 3), qFromBigEndian<quint16>(frame.constData() + 1));
            if (out.size.isEmpty()) {
                *why = u"it states a size of %1x%2"_s.arg(out.size.width()).arg(out.size.height());
                return std::nullopt;
            }
            progressive = marker == 0xc2 || marker == 0xc6 || marker == 0xca || marker == 0xce;
            int maxH = 1, maxV = 1;
            for (int c = 0; c < components; ++c) {
                const uchar sampling = uchar(frame[6 + 3 * c + 1]);
                maxH = std::max(maxH, sampling >> 4);
                maxV = std::max(maxV, sampling & 15);
            }
            // libjpeg's full-image coefficient arrays: per component, its blocks rounded up to
            // its sampling factors, 64 two-byte coefficients each.
            out.coefficientBytes = 0;
            for (int c = 0; c < components; ++c) {
                const uchar sampling = uchar(frame[6 + 3 * c + 1]);
                const int h = std::max(sampling >> 4, 1), v = std::max(sampling & 15, 1);
                const qint64 wide = (qint64(out.size.width()) * h + qint64(maxH) * 8 - 1) / (qint64(maxH) * 8);
                const qint64 high = (qint64(out.size.height()) * v + qint64(maxV) * 8 - 1) / (qint64(maxV) * 8);
                out.coefficientBytes += roundedUp(wide, h) * roundedUp(high, v) * 128;
            }
        }
        if (marker == 0xda) {
            const QByteArray scan = readAt(device, at + 4, 1);
            if (components == 0 || scan.isEmpty()) {
                *why = u"its picture data comes before its frame header"_s;
                return std::nullopt;
            }
            out.wholeCoefficients = progressive || int(uchar(scan[0])) < components;
            const qint64 scanStart = at + 2 + length;
            const qint64 from = std::max(scanStart, size - JpegTail);
            out.complete = readAt(device, from, size - from).contains("\xff\xd9");
            return out;
        }
        at += 2 + length;
    }
}

qint64 jpegDecodeCost(const JpegLayout &layout, const QSize &target)
{
    // The DCT scale libjpeg can decode at: the smallest picture still at least the target.
    const qint64 w = layout.size.width(), h = layout.size.height();
    qint64 scale = 8;
    while (scale > 1 && ((w + scale - 1) / scale < target.width() || (h + scale - 1) / scale < target.height()))
        scale /= 2;
    const qint64 output = ((w + scale - 1) / scale) * ((h + scale - 1) / scale) * 4;
    return output + (layout.wholeCoefficients ? layout.coefficientBytes : 0);
}

Decoded decode(QIODevice *device, const QSize &box)
{
    Decoded out;
    const QByteArray head = readAt(device, 0, 8);
    std::optional<JpegLayout> jpeg;
    if (head.startsWith("\x89PNG\r\n\x1a\n")) {
        out.why = pngLayoutProblem(device);
        if (!out.why.isEmpty()) {
            out.refused = true;
            out.format = "png";
            return out;
        }
    } else if (head.startsWith("\xff\xd8")) {
        out.format = "jpeg";
        jpeg = jpegLayout(device, &out.why);
        if (!jpeg)
            return out;
    }
    device->seek(0);
    QImageReader reader(device);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(false); // the one orientation table turns it, nothing else
    reader.setQuality(75);          // smooth scaling after the DCT step, as a thumbnail deserves
    out.format = reader.format();
    const QSize size = jpeg ? jpeg->size : reader.size();
    if (!size.isValid() || size.isEmpty()) {
        out.why = out.format.isEmpty() ? u"not a picture Qt reads"_s : u"its reader states no size"_s;
        return out;
    }
    const QSize target = fitted(size, box);
    // Every other format decodes at full size, whatever the thumbnail's.
    const qint64 cost = jpeg ? jpegDecodeCost(*jpeg, target) : qint64(size.width()) * size.height() * 4;
    if (cost > DecodeBudgetBytes) {
        out.refused = true;
        out.why = u"%1x%2 pixels%3 take %4 MB to decode, more than the budget of %5 MB"_s.arg(size.width())
                          .arg(size.height())
                          .arg(jpeg && jpeg->wholeCoefficients ? u" (progressive or in several scans)"_s : QString())
                          .arg(cost / 1000000)
                          .arg(DecodeBudgetBytes / 1000000);
        return out;
    }
    if (jpeg && !jpeg->complete) {
        out.why = u"the JPEG data is cut short"_s;
        return out;
    }
    if (target != size)
        reader.setScaledSize(target);
    out.image = reader.read();
    if (out.image.isNull()) {
        out.why = reader.errorString();
        return out;
    }
    if (out.image.size() != fitted(out.image.size(), box)) // a reader that can't scale while decoding
        out.image = out.image.scaled(fitted(out.image.size(), box), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return out;
}

QSize fitted(const QSize &size, const QSize &box)
{
    if (size.isEmpty() || box.isEmpty())
        return {};
    if (size.width() <= box.width() && size.height() <= box.height())
        return size;
    return size.scaled(box, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

std::optional<Entry> entryFor(const QMimeType &mimeType)
{
    static QMutex mutex;
    static Registry registry;
    const QStringList searched = folders();
    QStringList files;
    const QByteArray signature = signatureOf(searched, &files);

    const QMutexLocker lock(&mutex);
    if (!registry.built || signature != registry.signature) {
        registry = Registry{true, signature, {}};
        for (const QString &file : std::as_const(files)) {
            const std::optional<Entry> entry = parse(file);
            for (const QString &type : entry ? entry->mimeTypes : QStringList()) {
                if (!registry.byType.contains(type))
                    registry.byType.insert(type, *entry);
            }
        }
    }
    for (const QString &type : QStringList{mimeType.name()} + mimeType.allAncestors()) {
        const auto it = registry.byType.constFind(type);
        if (it != registry.byType.cend())
            return *it;
    }
    return std::nullopt;
}

std::optional<QStringList> commandLine(const QString &exec, const Fields &fields, QString *why)
{
    // Split first: a field's value is never split again, whatever it holds.
    QList<QString> raw;
    QString current;
    bool inArgument = false;
    QChar quote;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quote == u'"') {
            if (c == u'\\' && i + 1 < exec.size() && QStringView(u"\"`$\\").contains(exec[i + 1]))
                current += exec[++i];
            else if (c == u'"')
                quote = QChar();
            else
                current += c;
        } else if (quote == u'\'') { // not in the desktop-entry rules, but common and unambiguous
            if (c == u'\'')
                quote = QChar();
            else
                current += c;
        } else if (c == u' ' || c == u'\t' || c == u'\n') {
            if (inArgument)
                raw.append(current);
            current.clear();
            inArgument = false;
        } else if (c == u'"' || c == u'\'') {
            quote = c;
            inArgument = true;
        } else if (c == u'\\' && i + 1 < exec.size()) {
            current += exec[++i];
            inArgument = true;
        } else {
            current += c;
            inArgument = true;
        }
    }
    if (!quote.isNull()) {
        *why = u"unbalanced quotes"_s;
        return std::nullopt;
    }
    if (inArgument)
        raw.append(current);

    QStringList out;
    for (const QString &argument : std::as_const(raw)) {
        QString expanded;
        bool onlyDeprecated = !argument.isEmpty(); // such an argument goes altogether
        for (qsizetype i = 0; i < argument.size(); ++i) {
            if (argument[i] != u'%') {
                expanded += argument[i];
                onlyDeprecated = false;
                continue;
            }
            const QChar code = i + 1 < argument.size() ? argument[++i] : QChar();
            bool deprecated = false;
            const std::optional<QString> value = fieldValue(code, fields, &deprecated);
            if (!value) {
                *why = u"unknown field code %"_s + code;
                return std::nullopt;
            }
            expanded += *value;
            onlyDeprecated = onlyDeprecated && deprecated;
        }
        if (!onlyDeprecated)
            out.append(expanded);
    }
    if (out.isEmpty()) {
        *why = u"no program"_s;
        return std::nullopt;
    }
    return out;
}

QImage run(const Entry &entry, const QString &input, const QByteArray &uri, int size, const QSize &box,
           int timeoutMs, Outcome *outcome)
{
    *outcome = Outcome::NotRun;
    QTemporaryDir folder(QDir::tempPath() + u"/tqkit-thumbnailer-XXXXXX"_s);
    if (!folder.isValid()) {
        qCDebug(lcPlatform) << "no private folder for a thumbnailer:" << folder.errorString();
        return {};
    }
    const Fields fields{uri, input, folder.filePath(u"thumbnail.png"_s), size};
    QString why;
    std::optional<QStringList> arguments = commandLine(entry.exec, fields, &why);
    const QString program = arguments ? executable(arguments->takeFirst()) : QString();
    if (!arguments || program.isEmpty()) {
        qCDebug(lcPlatform) << "can't run the thumbnailer of" << entry.file << ":"
                            << (arguments ? u"its program is not installed"_s : why);
        return {};
    }

    QProcess process;
    quieten(process);
    if (sandboxed()) {
        QStringList wrapped = systemArguments();
        const QString canonicalInput = QFileInfo(input).canonicalFilePath();
        wrapped << u"--ro-bind"_s << (canonicalInput.isEmpty() ? input : canonicalInput) << input;
        wrapped << u"--bind"_s << folder.path() << folder.path() << u"--chdir"_s << folder.path();
        const QString canonicalProgram = QFileInfo(program).canonicalFilePath();
        if (!isSystemPath(canonicalProgram))
            wrapped << u"--ro-bind"_s << canonicalProgram << program;
        process.setProgram(bwrapProgram());
        process.setArguments(wrapped + QStringList{u"--"_s, program} + *arguments);
    } else {
        process.setProgram(program);
        process.setArguments(*arguments);
        process.setWorkingDirectory(folder.path());
    }
    // Its own process group, so that whatever it starts is killed with it, and limits that keep
    // a hostile file from taking the machine down through it. The modifier runs between fork
    // and exec: only async-signal-safe calls, on values made here.
    struct Limits
    {
        struct rlimit addressSpace, cpu, fileSize, core;
    };
    const rlim_t seconds = rlim_t((qMax(timeoutMs, 1) + 999) / 1000);
    const Limits limits{{rlim_t(MaxAddressSpace), rlim_t(MaxAddressSpace)},
                        {seconds, seconds + 1}, // SIGXCPU, then SIGKILL a second later
                        {rlim_t(MaxOutputFileSize), rlim_t(MaxOutputFileSize)},
                        {0, 0}};
    process.setChildProcessModifier([limits] {
        ::setpgid(0, 0);
        ::setrlimit(RLIMIT_AS, &limits.addressSpace);
        ::setrlimit(RLIMIT_CPU, &limits.cpu);
        ::setrlimit(RLIMIT_FSIZE, &limits.fileSize);
        ::setrlimit(RLIMIT_CORE, &limits.core);
    });

    const QDeadlineTimer deadline(timeoutMs);
    process.start();
    if (!process.waitForStarted(int(qMax<qint64>(deadline.remainingTime(), 1)))) {
        qCDebug(lcPlatform) << "the thumbnailer" << program << "did not start:" << process.errorString();
        process.kill();
        process.waitForFinished(ProbeTimeoutMs);
        return {};
    }
    if (!process.waitForFinished(int(qMax<qint64>(deadline.remainingTime(), 1))) && process.state() != QProcess::NotRunning) {
        const qint64 pid = process.processId();
        if (pid > 0)
            ::kill(-pid_t(pid), SIGKILL);
        process.kill();
        process.waitForFinished(ProbeTimeoutMs);
        qCDebug(lcPlatform) << "killed the thumbnailer" << program << "for" << input << "after" << timeoutMs << "ms";
        *outcome = Outcome::TimedOut;
        return {};
    }
    *outcome = Outcome::Failed;
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        qCDebug(lcPlatform) << "the thumbnailer" << program << "failed on" << input << "with exit code"
                            << process.exitCode() << process.exitStatus();
        return {};
    }
    QImage image = readOutput(fields.output, box, &why);
    if (image.isNull()) {
        qCDebug(lcPlatform) << "the thumbnailer" << program << "gave nothing usable for" << input << ":" << why;
        return {};
    }
    *outcome = Outcome::Made;
    return image;
}

namespace {
std::atomic<bool> sandboxAllowed{true};
}

bool sandboxed()
{
    if (!sandboxAllowed.load())
        return false;
    static const bool usable = probeSandbox();
    return usable;
}

void allowSandbox(bool allowed)
{
    sandboxAllowed.store(allowed);
}

} // namespace TQThumbnailers
