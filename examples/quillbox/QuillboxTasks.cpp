// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

#include "QuillboxTasks.h"
#include "QuillboxLogging.h"
#include "QuillboxTasks_p.h"

#include <TQActivityWindowController.h>
#include <TQImageOrientation.h>
#include <TQImageOrientationWriter.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QPointer>
#include <QRandomGenerator>
#include <QThreadPool>
#include <QTransform>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

using Kind = QuillboxTaskResult::Kind;

namespace {

// A copy checks for cancelling after each chunk of this many bytes.
constexpr size_t ChunkSize = 1 << 20;
// Folders nested deeper than this are not copied: a hostile tree must not exhaust descriptors.
constexpr int MaximumDepth = 200;
// How many numbered names a clash tries before it gives up.
constexpr int MaximumNumberedNames = 10000;

class Descriptor
{
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    int get() const { return m_fd; }
    bool isValid() const { return m_fd >= 0; }
    void reset(int fd = -1)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd;
};

QString errorText(int error)
{
    char buffer[256];
    return QString::fromLocal8Bit(::strerror_r(error, buffer, sizeof buffer));
}

QString shown(const QByteArray &path)
{
    return QFile::decodeName(path);
}

QByteArray withoutTrailingSlashes(QByteArray path)
{
    while (path.size() > 1 && path.endsWith('/'))
        path.chop(1);
    return path;
}

QByteArray baseName(const QByteArray &path)
{
    const QByteArray clean = withoutTrailingSlashes(path);
    return clean.mid(clean.lastIndexOf('/') + 1);
}

QByteArray parentFolder(const QByteArray &path)
{
    const QByteArray clean = withoutTrailingSlashes(path);
    const qsizetype slash = clean.lastIndexOf('/');
    if (slash < 0)
        return QByteArray(".");
    return slash == 0 ? QByteArray("/") : clean.left(slash);
}

QByteArray joined(const QByteArray &folder, const QByteArray &name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
}

QByteArray absolute(const QByteArray &path)
{
    if (path.startsWith('/'))
        return withoutTrailingSlashes(path);
    return withoutTrailingSlashes(joined(QFile::encodeName(QDir::currentPath()), path));
}

bool isSpecial(mode_t mode)
{
    return !S_ISREG(mode) && !S_ISDIR(mode) && !S_ISLNK(mode);
}

const char *specialKind(mode_t mode)
{
    if (S_ISFIFO(mode))
        return "a named pipe";
    if (S_ISSOCK(mode))
        return "a socket";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "a device";
    return "not a regular file";
}

// "photo.jpg" is "photo" + ".jpg"; "photo 4.jpg" counts on from 5. A folder has no extension,
// nor has a name whose only dot leads it (".profile") or whose tail is no short word.
struct NameParts
{
    QByteArray stem;
    QByteArray extension;
    int firstNumber = 2;
};

NameParts nameParts(const QByteArray &name, bool isFolder)
{
    NameParts parts{name, {}, 2};
    const qsizetype dot = isFolder ? -1 : name.lastIndexOf('.');
    if (dot > 0 && name.size() - dot - 1 >= 1 && name.size() - dot - 1 <= 10 && !name.mid(dot).contains(' ')) {
        parts.stem = name.left(dot);
        parts.extension = name.mid(dot);
    }
    const qsizetype space = parts.stem.lastIndexOf(' ');
    if (space > 0) {
        const QByteArray digits = parts.stem.mid(space + 1);
        bool ok = false;
        const int number = digits.toInt(&ok);
        if (ok && number >= 1 && number < 1000000 && digits.front() >= '1' && digits.front() <= '9') {
            parts.stem.truncate(space);
            parts.firstNumber = number + 1;
        }
    }
    return parts;
}

QByteArray numberedName(const NameParts &parts, int number)
{
    const QByteArray tail = ' ' + QByteArray::number(number) + parts.extension;
    QByteArray stem = parts.stem;
    if (stem.size() + tail.size() > NAME_MAX) {
        // Shortened on a character boundary when the name is UTF-8, so the result still is.
        qsizetype cut = qMax<qsizetype>(0, NAME_MAX - tail.size());
        while (cut > 0 && (uchar(stem.at(cut)) & 0xC0) == 0x80)
            --cut;
        stem.truncate(cut);
    }
    return stem + tail;
}

// Tries place() with the wanted name, then with numbered ones while the answer is EEXIST.
// place() answers 0 or an errno. Returns the name taken, or empty with *error set.
template<typename Place>
QByteArray claimName(const QByteArray &wanted, bool isFolder, Place place, int *error)
{
    int result = place(wanted);
    if (result == 0)
        return wanted;
    const NameParts parts = nameParts(wanted, isFolder);
    for (int i = 0; result == EEXIST && i < MaximumNumberedNames; ++i) {
        const QByteArray candidate = numberedName(parts, parts.firstNumber + i);
        result = place(candidate);
        if (result == 0)
            return candidate;
    }
    *error = result;
    return {};
}

// rename(2) that never replaces. Where the file system has no such flag, a file is linked
// under the new name (which fails on a clash) and unlinked; a folder is renamed after a
// check, the only case left with a window between look and leap.
int renameNoReplace(int oldFolder, const QByteArray &oldName, int newFolder, const QByteArray &newName, bool isFolder)
{
    if (::renameat2(oldFolder, oldName.constData(), newFolder, newName.constData(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return errno;
    if (!isFolder) {
        if (::linkat(oldFolder, oldName.constData(), newFolder, newName.constData(), 0) == 0) {
            ::unlinkat(oldFolder, oldName.constData(), 0);
            return 0;
        }
        if (errno == EEXIST)
            return EEXIST;
    }
    struct stat existing;
    if (::fstatat(newFolder, newName.constData(), &existing, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    return ::renameat(oldFolder, oldName.constData(), newFolder, newName.constData()) == 0 ? 0 : errno;
}

// A hidden name for work in progress, unique enough to be taken with O_EXCL/mkdir.
QByteArray temporaryName(const QByteArray &name)
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    QByteArray suffix(".quillbox-");
    for (int i = 0; i < 8; ++i)
        suffix += letters[QRandomGenerator::global()->bounded(int(sizeof letters - 1))];
    QByteArray stem = name.left(NAME_MAX - 1 - suffix.size());
    return '.' + stem + suffix;
}

// Removes a tree the task made itself (a temporary folder), never following a link.
void removeOwnTree(int folder, const QByteArray &name, int depth = 0)
{
    Descriptor fd(::openat(folder, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.isValid() || depth > MaximumDepth + 1) {
        ::unlinkat(folder, name.constData(), 0);
        return;
    }
    // A finished read-only subfolder must let its entries go.
    ::fchmod(fd.get(), 0700);
    if (DIR *dir = ::fdopendir(::dup(fd.get()))) {
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray child(entry->d_name);
            if (child == "." || child == "..")
                continue;
            struct stat st;
            if (::fstatat(fd.get(), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode))
                removeOwnTree(fd.get(), child, depth + 1);
            else
                ::unlinkat(fd.get(), entry->d_name, 0);
        }
        ::closedir(dir);
    }
    ::unlinkat(folder, name.constData(), AT_REMOVEDIR);
}

bool sameContentStamp(const struct stat &a, const struct stat &b)
{
    return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

// The orientation that shows an image stored with `orientation` turned a further quarter.
// Composed from the orientation table's transforms, so a mirrored image stays mirrored.
int turnedOrientation(int orientation, QuillboxTasks::Rotation rotation)
{
    const QSizeF unit(1, 1);
    // In Qt's y-down coordinates a positive angle turns clockwise on screen.
    const QTransform turned = TQImageOrientation::transform(orientation, unit)
                              * QTransform().rotate(rotation == QuillboxTasks::Rotation::Right ? 90 : -90);
    for (int candidate = 1; candidate <= 8; ++candidate) {
        const QTransform t = TQImageOrientation::transform(candidate, unit);
        if (qFuzzyCompare(t.m11() + 2, turned.m11() + 2) && qFuzzyCompare(t.m12() + 2, turned.m12() + 2)
            && qFuzzyCompare(t.m21() + 2, turned.m21() + 2) && qFuzzyCompare(t.m22() + 2, turned.m22() + 2))
            return candidate;
    }
    return 1;
}

// The work of one task, on a pool thread. Reports into the item and collects the result.
class Worker
{
    Q_DECLARE_TR_FUNCTIONS(QuillboxTasks)

public:
    Worker(Kind kind, const QList<QByteArray> &sources, const QByteArray &target, TQActivityItemRef item,
           QuillboxTasks::ChunkHook hook)
        : m_item(std::move(item)), m_hook(std::move(hook))
    {
        m_result.kind = kind;
        m_result.sources = sources;
        m_result.targetFolder = target;
    }

    QuillboxTaskResult run()
    {
        switch (m_result.kind) {
        case Kind::Copy:
        case Kind::Move:
        case Kind::Alias:
            intoFolder();
            break;
        case Kind::Trash:
            eachEntry([this](const QByteArray &path) { trash(path); });
            break;
        case Kind::RotateLeft:
        case Kind::RotateRight:
            eachEntry([this](const QByteArray &path) { rotate(path); });
            break;
        }
        return std::move(m_result);
    }

private:
    bool cancelled()
    {
        if (m_item->shouldCancel())
            m_result.cancelled = true;
        return m_result.cancelled;
    }

    void problem(const QByteArray &path, const QString &message)
    {
        qCDebug(lcQuillbox) << "task problem:" << message;
        m_result.problems.append({path, message});
    }

    void refuseSpecial(const QByteArray &path, mode_t mode)
    {
        qCWarning(lcQuillbox, "Refusing %s: %s, not a file, folder or link", path.constData(), specialKind(mode));
        problem(path, tr("“%1” is not a file, folder or link and was left alone.").arg(shown(path)));
    }

    void advance(qint64 units)
    {
        m_done += units;
        if (m_total > 0)
            m_item->setProgress(qMin(1.0, double(m_done) / double(m_total)));
    }

    template<typename Each>
    void eachEntry(Each each)
    {
        m_total = m_result.sources.size();
        m_item->setProgress(0);
        for (const QByteArray &source : std::as_const(m_result.sources)) {
            if (cancelled())
                return;
            each(absolute(source));
            advance(1);
        }
    }

    // ---- trash and rotation

    void trash(const QByteArray &path)
    {
        struct stat st;
        if (::lstat(path.constData(), &st) != 0) {
            problem(path, tr("“%1” could not be moved to the Trash: %2.").arg(shown(path), errorText(errno)));
            return;
        }
        QString reason;
        if (QuillboxTaskTrash::moveToTrash(path, &reason))
            m_result.removed.append(path);
        else
            problem(path, tr("“%1” could not be moved to the Trash: %2").arg(shown(path), reason));
    }

    void rotate(const QByteArray &path)
    {
        // The writer wants the file itself: a link turns the image it points to.
        char resolved[PATH_MAX];
        struct stat st;
        if (!::realpath(path.constData(), resolved) || ::stat(resolved, &st) != 0) {
            problem(path, tr("“%1” could not be rotated: %2.").arg(shown(path), errorText(errno)));
            return;
        }
        if (isSpecial(st.st_mode)) {
            refuseSpecial(path, st.st_mode);
            return;
        }
        const QByteArray file(resolved);
        const int orientation = TQImageOrientationWriter::readOrientation(file);
        if (orientation == 0) {
            problem(path, tr("“%1” is not an image that can be rotated.").arg(shown(path)));
            return;
        }
        const int turned = turnedOrientation(
            orientation,
            m_result.kind == Kind::RotateLeft ? QuillboxTasks::Rotation::Left : QuillboxTasks::Rotation::Right);
        QString reason;
        const auto written = TQImageOrientationWriter::writeOrientation(file, turned, &reason);
        if (written == TQImageOrientationWriter::Result::Written)
            m_result.changed.append(path);
        else if (!TQImageOrientationWriter::succeeded(written))
            problem(path, tr("“%1” could not be rotated: %2").arg(shown(path), reason));
    }

    // ---- copy, move, alias

    struct Source
    {
        QByteArray path;
        struct stat st;
        qint64 weight = 0;
        bool usable = false;
    };

    void intoFolder()
    {
        const QByteArray target = absolute(m_result.targetFolder);
        m_result.targetFolder = target;
        m_target.reset(::open(target.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!m_target.isValid() || ::fstat(m_target.get(), &m_targetStat) != 0) {
            problem(target, tr("The folder “%1” cannot be opened: %2.").arg(shown(target), errorText(errno)));
            return;
        }
        m_item->setProgress(-1);
        QList<Source> sources;
        for (const QByteArray &given : std::as_const(m_result.sources)) {
            if (cancelled())
                return;
            sources.append(examine(absolute(given)));
            m_total += sources.last().weight;
        }
        m_item->setProgress(0);
        for (const Source &source : std::as_const(sources)) {
            if (cancelled())
                return;
            const qint64 end = m_done + source.weight;
            if (source.usable) {
                if (m_result.kind == Kind::Alias)
                    alias(source);
                else if (m_result.kind == Kind::Move)
                    move(source);
                else
                    copy(source);
            }
            if (m_result.cancelled)
                return;
            // Whatever the entry turned out to hold, it counts as what was weighed.
            advance(end - m_done);
        }
    }

    Source examine(const QByteArray &path)
    {
        Source source{path, {}, 0, false};
        if (::lstat(path.constData(), &source.st) != 0) {
            problem(path, tr("“%1” could not be found.").arg(shown(path)));
            return source;
        }
        if (m_result.kind == Kind::Alias) {
            source.usable = true;
            source.weight = 1;
            return source;
        }
        if (isSpecial(source.st.st_mode)) {
            refuseSpecial(path, source.st.st_mode);
            return source;
        }
        if (S_ISDIR(source.st.st_mode) && containsTarget(path)) {
            problem(path, tr("“%1” cannot be put inside itself.").arg(shown(path)));
            return source;
        }
        source.usable = true;
        if (m_result.kind == Kind::Move && source.st.st_dev == m_targetStat.st_dev)
            source.weight = 1; // a rename
        else if (S_ISDIR(source.st.st_mode))
            source.weight = 1 + treeWeight(path);
        else
            source.weight = 1 + (S_ISREG(source.st.st_mode) ? source.st.st_size : 0);
        return source;
    }

    bool containsTarget(const QByteArray &folder) const
    {
        char resolvedFolder[PATH_MAX];
        char resolvedTarget[PATH_MAX];
        if (!::realpath(folder.constData(), resolvedFolder) || !::realpath(m_result.targetFolder.constData(), resolvedTarget))
            return false;
        const QByteArray f(resolvedFolder);
        const QByteArray t(resolvedTarget);
        return t == f || t.startsWith(f == "/" ? f : f + '/');
    }

    // Bytes plus one per entry, for the progress of a folder's copy.
    qint64 treeWeight(const QByteArray &path, int depth = 0)
    {
        if (depth > MaximumDepth || cancelled())
            return 0;
        qint64 weight = 0;
        Descriptor fd(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        DIR *dir = fd.isValid() ? ::fdopendir(::dup(fd.get())) : nullptr;
        if (!dir)
            return 0;
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..")
                continue;
            struct stat st;
            if (::fstatat(fd.get(), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            weight += 1 + (S_ISREG(st.st_mode) ? st.st_size : 0);
            if (S_ISDIR(st.st_mode))
                weight += treeWeight(joined(path, name), depth + 1);
        }
        ::closedir(dir);
        return weight;
    }

    void placed(const QByteArray &name)
    {
        m_result.created.append(joined(m_result.targetFolder, name));
    }

    void alias(const Source &source)
    {
        int error = 0;
        const QByteArray name = claimName(baseName(source.path), false, [&](const QByteArray &candidate) {
            return ::symlinkat(source.path.constData(), m_target.get(), candidate.constData()) == 0 ? 0 : errno;
        }, &error);
        if (name.isEmpty())
            problem(source.path, tr("No alias of “%1” could be made in “%2”: %3.")
                                     .arg(shown(source.path), shown(m_result.targetFolder), errorText(error)));
        else
            placed(name);
    }

    void move(const Source &source)
    {
        struct stat parent;
        if (::stat(parentFolder(source.path).constData(), &parent) == 0 && parent.st_dev == m_targetStat.st_dev
            && parent.st_ino == m_targetStat.st_ino)
            return; // already there
        const bool isFolder = S_ISDIR(source.st.st_mode);
        int error = 0;
        const QByteArray name = claimName(baseName(source.path), isFolder, [&](const QByteArray &candidate) {
            return renameNoReplace(AT_FDCWD, source.path, m_target.get(), candidate, isFolder);
        }, &error);
        if (!name.isEmpty()) {
            placed(name);
            m_result.removed.append(source.path);
            return;
        }
        if (error != EXDEV) {
            problem(source.path, tr("“%1” could not be moved to “%2”: %3.")
                                     .arg(shown(source.path), shown(m_result.targetFolder), errorText(error)));
            return;
        }
        // Another file system: copy, make the copy durable, then let go of what was copied.
        const qsizetype problemsBefore = m_result.problems.size();
        const QByteArray copied = copy(source);
        if (copied.isEmpty())
            return;
        ::syncfs(m_target.get());
        if (removeSource(source, copied))
            m_result.removed.append(source.path);
        else if (m_result.problems.size() == problemsBefore)
            problem(source.path, tr("“%1” was copied to “%2”, but changed meanwhile and was left where it was.")
                                     .arg(shown(source.path), shown(m_result.targetFolder)));
    }

    // Copies one source into the target folder; answers the name it got there, or empty.
    QByteArray copy(const Source &source)
    {
        const QByteArray wanted = baseName(source.path);
        if (S_ISLNK(source.st.st_mode))
            return copyLink(AT_FDCWD, source.path, source.path, wanted);
        if (S_ISDIR(source.st.st_mode))
            return copyFolder(source, wanted);
        return copyFile(source, wanted);
    }

    QByteArray copyLink(int folder, const QByteArray &name, const QByteArray &pathForMessages, const QByteArray &wanted)
    {
        QByteArray linkTarget(PATH_MAX, Qt::Uninitialized);
        const ssize_t length = ::readlinkat(folder, name.constData(), linkTarget.data(), linkTarget.size());
        if (length < 0) {
            problem(pathForMessages, tr("“%1” could not be read: %2.").arg(shown(pathForMessages), errorText(errno)));
            return {};
        }
        linkTarget.truncate(length);
        int error = 0;
        const QByteArray placedName = claimName(wanted, false, [&](const QByteArray &candidate) {
            return ::symlinkat(linkTarget.constData(), m_target.get(), candidate.constData()) == 0 ? 0 : errno;
        }, &error);
        if (placedName.isEmpty())
            writeProblem(pathForMessages, error);
        else
            placed(placedName);
        return placedName;
    }

    void writeProblem(const QByteArray &path, int error)
    {
        problem(path, tr("“%1” could not be copied to “%2”: %3.")
                          .arg(shown(path), shown(m_result.targetFolder), errorText(error)));
    }

    // Opens a source file for reading without blocking on a pipe or following a link, and
    // refuses what is not a regular file (it may have changed since it was looked at).
    Descriptor openSourceFile(int folder, const QByteArray &name, const QByteArray &pathForMessages, struct stat *st)
    {
        Descriptor fd(::openat(folder, name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
        if (!fd.isValid() || ::fstat(fd.get(), st) != 0) {
            problem(pathForMessages, tr("“%1” could not be read: %2.").arg(shown(pathForMessages), errorText(errno)));
            return Descriptor();
        }
        if (!S_ISREG(st->st_mode)) {
            refuseSpecial(pathForMessages, st->st_mode);
            return Descriptor();
        }
        return fd;
    }

    enum class Copied { Done, Cancelled, Failed };

    // Copies the bytes in chunks, letting the kernel move them where it can. On Failed,
    // *error says why.
    Copied copyBytes(int in, int out, int *error)
    {
        bool kernelCopy = true;
        qint64 written = 0;
        QByteArray buffer;
        for (;;) {
            ssize_t count;
            if (kernelCopy) {
                count = ::copy_file_range(in, nullptr, out, nullptr, ChunkSize, 0);
                if (count < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP || errno == EPERM)) {
                    kernelCopy = false; // both offsets are where the last chunk left them
                    continue;
                }
            } else {
                if (buffer.isEmpty())
                    buffer.resize(ChunkSize);
                count = ::read(in, buffer.data(), ChunkSize);
                for (ssize_t put = 0; count > 0 && put < count;) {
                    const ssize_t n = ::write(out, buffer.constData() + put, size_t(count - put));
                    if (n < 0 && errno != EINTR) {
                        count = -1;
                        break;
                    }
                    put += qMax<ssize_t>(n, 0);
                }
            }
            if (count < 0) {
                if (errno == EINTR)
                    continue;
                *error = errno;
                return Copied::Failed;
            }
            if (count == 0)
                return Copied::Done;
            written += count;
            advance(count);
            if (m_hook)
                m_hook(m_item, written);
            if (cancelled())
                return Copied::Cancelled;
        }
    }

    // Mode (less set-id bits), times and the user's extended attributes (labels live there);
    // a file system that keeps no attributes is no reason to fail a copy.
    static void copyMetadata(int in, int out, const struct stat &st)
    {
        ::fchmod(out, st.st_mode & 01777);
        const struct timespec times[2] = {st.st_atim, st.st_mtim};
        ::futimens(out, times);
        const ssize_t size = ::flistxattr(in, nullptr, 0);
        if (size <= 0)
            return;
        QByteArray names(size, Qt::Uninitialized);
        const ssize_t got = ::flistxattr(in, names.data(), names.size());
        for (const QByteArray &name : names.left(qMax<ssize_t>(got, 0)).split('\0')) {
            if (!name.startsWith("user."))
                continue;
            const ssize_t valueSize = ::fgetxattr(in, name.constData(), nullptr, 0);
            if (valueSize < 0 || valueSize > 65536)
                continue;
            QByteArray value(valueSize, Qt::Uninitialized);
            const ssize_t read = ::fgetxattr(in, name.constData(), value.data(), value.size());
            if (read >= 0)
                ::fsetxattr(out, name.constData(), value.constData(), size_t(read), 0);
        }
    }

    QByteArray copyFile(const Source &source, const QByteArray &wanted)
    {
        struct stat st;
        const Descriptor in = openSourceFile(AT_FDCWD, source.path, source.path, &st);
        if (!in.isValid())
            return {};
        // Unnamed while written where the file system allows it, so nothing is ever seen
        // half-written; else under a hidden name that is removed if the copy does not finish.
        static const bool procFds = ::access("/proc/self/fd", X_OK) == 0;
        Descriptor out(procFds ? ::openat(m_target.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600) : -1);
        QByteArray temporary;
        for (int i = 0; !out.isValid() && i < 100; ++i) {
            temporary = temporaryName(wanted);
            out.reset(::openat(m_target.get(), temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
            if (!out.isValid() && errno != EEXIST)
                break;
        }
        if (!out.isValid()) {
            writeProblem(source.path, errno);
            return {};
        }
        const auto discard = [&] {
            if (!temporary.isEmpty())
                ::unlinkat(m_target.get(), temporary.constData(), 0);
        };
        int error = 0;
        const Copied copied = copyBytes(in.get(), out.get(), &error);
        if (copied == Copied::Done) {
            copyMetadata(in.get(), out.get(), st);
            if (::fsync(out.get()) != 0) {
                error = errno;
                discard();
                writeProblem(source.path, error);
                return {};
            }
        }
        if (copied != Copied::Done) {
            discard();
            if (copied == Copied::Failed)
                writeProblem(source.path, error);
            return {};
        }
        const QByteArray fdPath = "/proc/self/fd/" + QByteArray::number(out.get());
        const QByteArray name = claimName(wanted, false, [&](const QByteArray &candidate) {
            if (temporary.isEmpty())
                return ::linkat(AT_FDCWD, fdPath.constData(), m_target.get(), candidate.constData(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
            return renameNoReplace(m_target.get(), temporary, m_target.get(), candidate, false);
        }, &error);
        if (name.isEmpty()) {
            discard();
            writeProblem(source.path, error);
            return {};
        }
        placed(name);
        return name;
    }

    QByteArray copyFolder(const Source &source, const QByteArray &wanted)
    {
        Descriptor in(::open(source.path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!in.isValid()) {
            problem(source.path, tr("“%1” could not be read: %2.").arg(shown(source.path), errorText(errno)));
            return {};
        }
        QByteArray temporary;
        int error = EEXIST;
        for (int i = 0; i < 100 && error == EEXIST; ++i) {
            temporary = temporaryName(wanted);
            error = ::mkdirat(m_target.get(), temporary.constData(), 0700) == 0 ? 0 : errno;
        }
        Descriptor out(error ? -1 : ::openat(m_target.get(), temporary.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!out.isValid()) {
            writeProblem(source.path, error ? error : errno);
            if (!error)
                removeOwnTree(m_target.get(), temporary);
            return {};
        }
        if (copyTree(in.get(), source.path, out.get(), 0) == Copied::Cancelled) {
            removeOwnTree(m_target.get(), temporary);
            return {};
        }
        finishFolder(out.get(), source.st);
        ::fsync(out.get());
        const QByteArray name = claimName(wanted, true, [&](const QByteArray &candidate) {
            return renameNoReplace(m_target.get(), temporary, m_target.get(), candidate, true);
        }, &error);
        if (name.isEmpty()) {
            removeOwnTree(m_target.get(), temporary);
            writeProblem(source.path, error);
            return {};
        }
        placed(name);
        return name;
    }

    static void finishFolder(int folder, const struct stat &st)
    {
        ::fchmod(folder, st.st_mode & 01777);
        const struct timespec times[2] = {st.st_atim, st.st_mtim};
        ::futimens(folder, times);
    }

    // Copies the entries of one folder into another the task made; a failed entry is a
    // problem and the rest goes on. Only cancelling stops the walk.
    Copied copyTree(int in, const QByteArray &inPath, int out, int depth)
    {
        DIR *dir = ::fdopendir(::dup(in));
        if (!dir) {
            problem(inPath, tr("“%1” could not be read: %2.").arg(shown(inPath), errorText(errno)));
            return Copied::Failed;
        }
        Copied result = Copied::Done;
        errno = 0;
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..")
                continue;
            if (cancelled()) {
                result = Copied::Cancelled;
                break;
            }
            const QByteArray path = joined(inPath, name);
            struct stat st;
            if (::fstatat(in, name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
                problem(path, tr("“%1” could not be read: %2.").arg(shown(path), errorText(errno)));
            } else if (S_ISDIR(st.st_mode)) {
                if (copySubfolder(in, out, name, path, st, depth) == Copied::Cancelled) {
                    result = Copied::Cancelled;
                    break;
                }
            } else if (S_ISREG(st.st_mode)) {
                if (copyTreeFile(in, out, name, path) == Copied::Cancelled) {
                    result = Copied::Cancelled;
                    break;
                }
            } else if (S_ISLNK(st.st_mode)) {
                QByteArray linkTarget(PATH_MAX, Qt::Uninitialized);
                const ssize_t length = ::readlinkat(in, name.constData(), linkTarget.data(), linkTarget.size());
                if (length < 0)
                    problem(path, tr("“%1” could not be read: %2.").arg(shown(path), errorText(errno)));
                else if (::symlinkat(linkTarget.left(length).constData(), out, name.constData()) != 0)
                    writeProblem(path, errno);
            } else {
                refuseSpecial(path, st.st_mode);
            }
            advance(1);
            errno = 0;
        }
        if (result == Copied::Done && errno != 0)
            problem(inPath, tr("“%1” could not be read: %2.").arg(shown(inPath), errorText(errno)));
        ::closedir(dir);
        return result;
    }

    Copied copySubfolder(int in, int out, const QByteArray &name, const QByteArray &path, const struct stat &st, int depth)
    {
        if (depth >= MaximumDepth) {
            problem(path, tr("“%1” is nested too deeply to be copied.").arg(shown(path)));
            return Copied::Failed;
        }
        Descriptor subIn(::openat(in, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!subIn.isValid()) {
            problem(path, tr("“%1” could not be read: %2.").arg(shown(path), errorText(errno)));
            return Copied::Failed;
        }
        Descriptor subOut(::mkdirat(out, name.constData(), 0700) == 0
                              ? ::openat(out, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)
                              : -1);
        if (!subOut.isValid()) {
            writeProblem(path, errno);
            return Copied::Failed;
        }
        const Copied copied = copyTree(subIn.get(), path, subOut.get(), depth + 1);
        finishFolder(subOut.get(), st);
        return copied;
    }

    // Inside the task's own temporary folder a file is written under its name at once: the
    // folder as a whole is what appears or not.
    Copied copyTreeFile(int in, int out, const QByteArray &name, const QByteArray &path)
    {
        struct stat st;
        const Descriptor source = openSourceFile(in, name, path, &st);
        if (!source.isValid())
            return Copied::Failed;
        Descriptor copy(::openat(out, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!copy.isValid()) {
            writeProblem(path, errno);
            return Copied::Failed;
        }
        int error = 0;
        const Copied copied = copyBytes(source.get(), copy.get(), &error);
        if (copied == Copied::Done) {
            copyMetadata(source.get(), copy.get(), st);
            if (::fsync(copy.get()) == 0)
                return Copied::Done;
            error = errno;
        }
        ::unlinkat(out, name.constData(), 0);
        if (copied != Copied::Cancelled)
            writeProblem(path, error);
        return copied == Copied::Cancelled ? Copied::Cancelled : Copied::Failed;
    }

    // After a move across file systems: deletes what the copy holds and nothing else, and
    // only what has not changed since it was copied. True when the source is gone entirely.
    bool removeSource(const Source &source, const QByteArray &copiedName)
    {
        struct stat now;
        if (::lstat(source.path.constData(), &now) != 0 || now.st_ino != source.st.st_ino || now.st_dev != source.st.st_dev)
            return false;
        if (S_ISREG(now.st_mode)) {
            struct stat copy;
            if (::fstatat(m_target.get(), copiedName.constData(), &copy, AT_SYMLINK_NOFOLLOW) != 0 || !sameContentStamp(now, copy))
                return false;
            return ::unlink(source.path.constData()) == 0;
        }
        if (S_ISLNK(now.st_mode))
            return ::unlink(source.path.constData()) == 0;
        Descriptor in(::open(source.path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        Descriptor copy(::openat(m_target.get(), copiedName.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!in.isValid() || !copy.isValid())
            return false;
        const bool emptied = removeCopied(in.get(), copy.get(), 0);
        return emptied && ::rmdir(source.path.constData()) == 0;
    }

    static bool removeCopied(int source, int copy, int depth)
    {
        DIR *dir = depth <= MaximumDepth ? ::fdopendir(::dup(copy)) : nullptr;
        if (!dir)
            return false;
        bool all = true;
        while (const dirent *entry = ::readdir(dir)) {
            const char *name = entry->d_name;
            if (!std::strcmp(name, ".") || !std::strcmp(name, ".."))
                continue;
            struct stat original, copied;
            if (::fstatat(copy, name, &copied, AT_SYMLINK_NOFOLLOW) != 0 || ::fstatat(source, name, &original, AT_SYMLINK_NOFOLLOW) != 0) {
                all = false;
                continue;
            }
            if (S_ISDIR(original.st_mode) && S_ISDIR(copied.st_mode)) {
                Descriptor subSource(::openat(source, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
                Descriptor subCopy(::openat(copy, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
                const bool emptied = subSource.isValid() && subCopy.isValid()
                                     && removeCopied(subSource.get(), subCopy.get(), depth + 1);
                all = emptied && ::unlinkat(source, name, AT_REMOVEDIR) == 0 && all;
            } else if ((S_ISREG(original.st_mode) && S_ISREG(copied.st_mode) && sameContentStamp(original, copied))
                       || (S_ISLNK(original.st_mode) && S_ISLNK(copied.st_mode))) {
                all = ::unlinkat(source, name, 0) == 0 && all;
            } else {
                all = false;
            }
        }
        ::closedir(dir);
        return all;
    }

    TQActivityItemRef m_item;
    QuillboxTasks::ChunkHook m_hook;
    QuillboxTaskResult m_result;
    Descriptor m_target;
    struct stat m_targetStat {};
    qint64 m_total = 0;
    qint64 m_done = 0;
};

QList<QByteArray> nativePaths(const QStringList &paths)
{
    QList<QByteArray> native;
    native.reserve(paths.size());
    for (const QString &path : paths)
        native.append(QFile::encodeName(path));
    return native;
}

} // namespace

QList<QByteArray> QuillboxTaskResult::changedFolders() const
{
    QList<QByteArray> folders;
    const auto add = [&folders](const QByteArray &folder) {
        if (!folder.isEmpty() && !folders.contains(folder))
            folders.append(folder);
    };
    add(targetFolder);
    for (const QByteArray &path : removed)
        add(parentFolder(absolute(path)));
    for (const QByteArray &path : changed)
        add(parentFolder(absolute(path)));
    return folders;
}

struct QuillboxTasks::Private
{
    QPointer<TQActivityWindowController> activity;
    QThreadPool pool;
    QHash<quint64, TQActivityItemRef> running;
    quint64 lastId = 0;
    ChunkHook hook;
};

QuillboxTasks::QuillboxTasks(TQActivityWindowController *activity, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    qRegisterMetaType<QuillboxTaskResult>();
    d->activity = activity;
    // Two at once: a long copy does not hold up a quick rotation, and one disk is not
    // asked for more than it can give.
    d->pool.setMaxThreadCount(2);
}

QuillboxTasks::~QuillboxTasks()
{
    cancelAll();
    d->pool.waitForDone();
    if (d->activity) {
        for (const TQActivityItemRef &item : std::as_const(d->running))
            d->activity->removeItem(item);
    }
}

namespace {

QString titleFor(Kind kind, int count, const QByteArray &target)
{
    const QString folder = QFile::decodeName(baseName(absolute(target)));
    switch (kind) {
    case Kind::Copy:
        return QuillboxTasks::tr("Copying %n item(s) to “%1”", nullptr, count).arg(folder);
    case Kind::Move:
        return QuillboxTasks::tr("Moving %n item(s) to “%1”", nullptr, count).arg(folder);
    case Kind::Alias:
        return QuillboxTasks::tr("Making %n alias(es) in “%1”", nullptr, count).arg(folder);
    case Kind::Trash:
        return QuillboxTasks::tr("Moving %n item(s) to the Trash", nullptr, count);
    case Kind::RotateLeft:
    case Kind::RotateRight:
        return QuillboxTasks::tr("Rotating %n image(s)", nullptr, count);
    }
    return {};
}

} // namespace

quint64 QuillboxTasks::start(Kind kind, const QList<QByteArray> &sources, const QByteArray &target)
{
    QuillboxTasks *tasks = this;
    Private *d = this->d.get();
    const quint64 id = ++d->lastId;
    TQActivityItemRef item = d->activity ? d->activity->newItem() : std::make_shared<TQActivityItem>();
    item->setTitle(titleFor(kind, int(sources.size()), target));
    d->running.insert(id, item);
    if (d->activity)
        d->activity->addItem(item);
    qCDebug(lcQuillbox) << "task" << id << "started:" << item->title();
    d->pool.start([tasks, d, id, kind, sources, target, item, hook = d->hook] {
        QuillboxTaskResult result = Worker(kind, sources, target, item, hook).run();
        result.id = id;
        // Delivered only while the object lives: its destructor waits for this lambda, and a
        // queued call to a destroyed context is dropped.
        QMetaObject::invokeMethod(tasks, [tasks, d, result = std::move(result)] {
            const TQActivityItemRef finished = d->running.take(result.id);
            if (d->activity && finished)
                d->activity->removeItem(finished);
            qCDebug(lcQuillbox) << "task" << result.id << (result.cancelled ? "cancelled" : "finished") << "with"
                                << result.problems.size() << "problems";
            Q_EMIT tasks->taskFinished(result);
        }, Qt::QueuedConnection);
    });
    return id;
}

quint64 QuillboxTasks::copy(const QList<QByteArray> &sources, const QByteArray &targetFolder)
{
    return start(Kind::Copy, sources, targetFolder);
}

quint64 QuillboxTasks::copy(const QStringList &sources, const QString &targetFolder)
{
    return copy(nativePaths(sources), QFile::encodeName(targetFolder));
}

quint64 QuillboxTasks::move(const QList<QByteArray> &sources, const QByteArray &targetFolder)
{
    return start(Kind::Move, sources, targetFolder);
}

quint64 QuillboxTasks::move(const QStringList &sources, const QString &targetFolder)
{
    return move(nativePaths(sources), QFile::encodeName(targetFolder));
}

quint64 QuillboxTasks::makeAliases(const QList<QByteArray> &sources, const QByteArray &targetFolder)
{
    return start(Kind::Alias, sources, targetFolder);
}

quint64 QuillboxTasks::makeAliases(const QStringList &sources, const QString &targetFolder)
{
    return makeAliases(nativePaths(sources), QFile::encodeName(targetFolder));
}

quint64 QuillboxTasks::moveToTrash(const QList<QByteArray> &sources)
{
    return start(Kind::Trash, sources, {});
}

quint64 QuillboxTasks::moveToTrash(const QStringList &sources)
{
    return moveToTrash(nativePaths(sources));
}

quint64 QuillboxTasks::rotate(const QList<QByteArray> &images, Rotation rotation)
{
    return start(rotation == Rotation::Left ? Kind::RotateLeft : Kind::RotateRight, images, {});
}

quint64 QuillboxTasks::rotate(const QStringList &images, Rotation rotation)
{
    return rotate(nativePaths(images), rotation);
}

TQActivityItemRef QuillboxTasks::item(quint64 id) const
{
    return d->running.value(id);
}

void QuillboxTasks::cancel(quint64 id)
{
    if (const TQActivityItemRef item = d->running.value(id)) {
        if (d->activity)
            d->activity->cancelItem(item);
        else
            item->setShouldCancel(true);
    }
}

void QuillboxTasks::cancelAll()
{
    for (auto it = d->running.cbegin(); it != d->running.cend(); ++it)
        cancel(it.key());
}

int QuillboxTasks::runningCount() const
{
    return int(d->running.size());
}

void QuillboxTasks::setChunkHook(ChunkHook hook)
{
    d->hook = std::move(hook);
}

QByteArray QuillboxTasks::freeName(const QByteArray &folder, const QByteArray &name, bool isFolder)
{
    int error = 0;
    return claimName(name, isFolder, [&](const QByteArray &candidate) {
        struct stat st;
        return ::lstat(joined(folder, candidate).constData(), &st) == 0 ? EEXIST : 0;
    }, &error);
}

QByteArray QuillboxTasks::createFolder(const QByteArray &parentFolder, const QString &name, QString *error)
{
    const QString wanted = name.isEmpty() ? tr("untitled folder") : name;
    const QByteArray native = QFile::encodeName(wanted);
    if (native.contains('/') || native == "." || native == "..") {
        if (error)
            *error = tr("“%1” cannot be a folder's name.").arg(wanted);
        return {};
    }
    int failure = 0;
    const QByteArray made = claimName(native, true, [&](const QByteArray &candidate) {
        return ::mkdir(joined(parentFolder, candidate).constData(), 0777) == 0 ? 0 : errno;
    }, &failure);
    if (made.isEmpty()) {
        if (error)
            *error = tr("No folder could be made in “%1”: %2.").arg(shown(parentFolder), errorText(failure));
        return {};
    }
    if (error)
        error->clear();
    return joined(parentFolder, made);
}

QString QuillboxTasks::createFolder(const QString &parentFolder, const QString &name, QString *error)
{
    return QFile::decodeName(createFolder(QFile::encodeName(parentFolder), name, error));
}

QByteArray QuillboxTasks::rename(const QByteArray &path, const QString &newName, QString *error)
{
    const QByteArray native = QFile::encodeName(newName);
    const auto refuse = [&](const QString &why) {
        if (error)
            *error = why;
        return QByteArray();
    };
    if (native.isEmpty() || native == "." || native == ".." || native.contains('/') || native.contains('\0'))
        return refuse(tr("“%1” cannot be a name.").arg(newName));
    if (native.size() > NAME_MAX)
        return refuse(tr("“%1” is too long for a name.").arg(newName));
    if (error)
        error->clear();
    const QByteArray from = withoutTrailingSlashes(path);
    if (baseName(from) == native)
        return from;
    const QByteArray to = joined(parentFolder(from), native);
    struct stat st;
    const bool isFolder = ::lstat(from.constData(), &st) == 0 && S_ISDIR(st.st_mode);
    const int failure = renameNoReplace(AT_FDCWD, from, AT_FDCWD, to, isFolder);
    if (failure == EEXIST)
        return refuse(tr("The name “%1” is already taken.").arg(newName));
    if (failure != 0)
        return refuse(tr("“%1” could not be renamed: %2.").arg(shown(from), errorText(failure)));
    return to;
}

QString QuillboxTasks::rename(const QString &path, const QString &newName, QString *error)
{
    return QFile::decodeName(rename(QFile::encodeName(path), newName, error));
}
