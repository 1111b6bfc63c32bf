#include "TQThumbnailers_p.h"

#include "TQPlatformLogging.h"

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

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
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
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > MaxEntryBytes) {
        qCDebug(lcPlatform) << "can't read the thumbnailer entry" << path;
        return std::nullopt;
    }
    QString exec, tryExec, types;
    bool inEntry = false;
    for (const QString &raw : QString::fromUtf8(file.readAll()).split(u'\n')) {
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
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
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
    QImageReader reader(&buffer);
    reader.setAutoTransform(false); // a thumbnailer hands back its picture upright
    const QSize size = reader.size();
    if (!size.isValid() || size.width() > MaxOutputSide || size.height() > MaxOutputSide) {
        *why = size.isValid() ? u"its picture is %1x%2"_s.arg(size.width()).arg(size.height())
                              : u"its output is not a picture: "_s + reader.errorString();
        return {};
    }
    const QSize target = fitted(size, box);
    if (target != size)
        reader.setScaledSize(target);
    QImage image = reader.read();
    if (image.isNull())
        *why = u"its picture can't be decoded: "_s + reader.errorString();
    return image;
}

} // namespace

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
    // Its own process group, so that whatever it starts is killed with it.
    process.setChildProcessModifier([] { ::setpgid(0, 0); });

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
