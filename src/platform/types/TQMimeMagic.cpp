// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQMimeMagic_p.h"

#include "TQPlatformLogging.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringList>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

// The cache's layout (shared-mime-info, "The mime.cache files"): big-endian 32-bit numbers;
// the header's seventh number is where the magic list starts. The list holds, in order of
// priority, one entry per rule: priority, MIME name, number of matchlets, first matchlet.
// A matchlet is eight numbers: range start, range length, word size, value length, value,
// mask (0 for none), number of children, first child. A rule matches when one of its
// matchlets does; a matchlet matches when its value is found at one of the offsets of its
// range, and one of its children matches (when it has any).

namespace TQMimeMagic {

namespace {

// As often as Qt looks whether a MIME cache changed.
constexpr qint64 recheckMSecs = 5000;
// Deeper than any real rule, and a limit a cache whose children point back at their parent
// cannot loop past.
constexpr int maxDepth = 32;

struct Matchlet
{
    qint64 rangeStart = 0;
    qint64 rangeLength = 0;
    QByteArray value;
    QByteArray mask; // empty: every bit counts
    quint32 firstChild = 0;
    quint32 children = 0;
};

struct Rule
{
    QString mimeType;
    quint32 firstMatchlet = 0;
    quint32 matchlets = 0;
};

// The magic list of one cache file, copied out of it once and checked while copied, so that
// matching never reads past what was checked.
// One node of the tree of name suffixes ("*.txt" is t, x, t, '.'), walked from a name's end.
struct SuffixNode
{
    char16_t character = 0; // as Qt compares it: the stored character's low 16 bits
    bool leaf = false;      // a pattern ends here
    quint32 firstChild = 0;
    quint32 children = 0;
};

class Rules
{
public:
    static std::unique_ptr<const Rules> load(const QByteArray &bytes);
    QString firstMatch(QByteArrayView data) const;
    NameVerdict nameVerdict(const QString &name) const;
    quint64 generation() const { return m_generation; }

private:
    bool matches(quint32 first, quint32 count, QByteArrayView data) const;
    static bool found(const Matchlet &matchlet, QByteArrayView data);
    // What a walk of the suffix tree from a name's end found.
    struct SuffixWalk
    {
        bool patternEnds = false; // a suffix pattern ends along the walk
        bool ambiguous = false;   // the walk could go two ways
        qsizetype read = 0;       // characters read from the end
    };
    SuffixWalk walkSuffixes(QStringView name) const;

    std::vector<Rule> m_rules;
    std::vector<Matchlet> m_matchlets;
    QStringList m_literals;                  // whole names in lower case ("makefile")
    QRegularExpression m_globs; // the other patterns ("readme*", "*.[1-9]"), any of them
    std::vector<SuffixNode> m_suffixes;
    quint32 m_suffixRoots = 0;
    quint64 m_generation = 0; // counts the readings of caches in this process
};

class Reader
{
public:
    explicit Reader(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }
    bool ok() const { return m_ok; }
    quint32 number(quint64 offset)
    {
        if (offset + 4 > quint64(m_bytes.size())) {
            m_ok = false;
            return 0;
        }
        const auto *p = reinterpret_cast<const uchar *>(m_bytes.constData() + offset);
        return quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | quint32(p[3]);
    }
    QByteArray bytes(quint64 offset, quint64 length)
    {
        if (offset + length > quint64(m_bytes.size())) {
            m_ok = false;
            return {};
        }
        return m_bytes.mid(qsizetype(offset), qsizetype(length));
    }
    QString text(quint64 offset)
    {
        const qsizetype end = offset < quint64(m_bytes.size()) ? m_bytes.indexOf('\0', qsizetype(offset)) : -1;
        if (end < 0) {
            m_ok = false;
            return {};
        }
        return QString::fromLatin1(m_bytes.constData() + offset, end - qsizetype(offset));
    }

private:
    const QByteArray &m_bytes;
    bool m_ok = true;
};

// Both trees of the cache keep a node's children as (count, offset): the nodes from \a first on
// learn where their children will start in \a into, and \a read appends them there, depth first.
template<typename Node, typename Read>
bool readChildren(std::vector<Node> &into, size_t first, const std::vector<std::pair<quint32, quint32>> &children,
                  Read read)
{
    for (size_t i = 0; i < children.size(); ++i) {
        const auto [number, at] = children[i];
        into[first + i].firstChild = quint32(into.size());
        into[first + i].children = number;
        if (number > 0 && !read(at, number))
            return false;
    }
    return true;
}

// Reads \a count matchlets from \a offset into \a into, their children after them.
bool readMatchlets(Reader &reader, quint64 offset, quint32 count, std::vector<Matchlet> &into, int depth)
{
    if (depth > maxDepth || count > 4096)
        return false;
    const size_t first = into.size();
    into.resize(first + count);
    std::vector<std::pair<quint32, quint32>> children(count);
    for (quint32 i = 0; i < count; ++i) {
        const quint64 at = offset + 32 * quint64(i);
        Matchlet &m = into[first + i];
        m.rangeStart = reader.number(at);
        m.rangeLength = reader.number(at + 4);
        const quint32 valueLength = reader.number(at + 12);
        m.value = reader.bytes(reader.number(at + 16), valueLength);
        if (const quint32 mask = reader.number(at + 20))
            m.mask = reader.bytes(mask, valueLength);
        children[i] = {reader.number(at + 24), reader.number(at + 28)};
        if (!reader.ok())
            return false;
    }
    return readChildren(into, first, children, [&](quint64 at, quint32 number) {
        return readMatchlets(reader, at, number, into, depth + 1);
    });
}

// Reads \a count nodes of the suffix tree from \a offset into \a into, their children after them.
bool readSuffixes(Reader &reader, quint64 offset, quint32 count, std::vector<SuffixNode> &into, int depth)
{
    if (depth > 256 || count > 65536)
        return false;
    const size_t first = into.size();
    into.resize(first + count);
    std::vector<std::pair<quint32, quint32>> children(count);
    for (quint32 i = 0; i < count; ++i) {
        const quint64 at = offset + 12 * quint64(i);
        const quint32 character = reader.number(at);
        into[first + i].character = char16_t(character & 0xffff);
        into[first + i].leaf = character == 0;
        // A leaf's other two numbers are its MIME type and flags, not children.
        if (character != 0)
            children[i] = {reader.number(at + 4), reader.number(at + 8)};
        if (!reader.ok())
            return false;
    }
    return readChildren(into, first, children, [&](quint64 at, quint32 number) {
        return readSuffixes(reader, at, number, into, depth + 1);
    });
}

std::unique_ptr<const Rules> Rules::load(const QByteArray &bytes)
{
    Reader reader(bytes);
    // The versions Qt reads.
    const quint32 version = reader.number(0);
    if (!reader.ok() || version >> 16 != 1 || (version & 0xffff) < 1 || (version & 0xffff) > 2)
        return nullptr;
    static std::atomic<quint64> readings{0};
    auto rules = std::unique_ptr<Rules>(new Rules);
    rules->m_generation = ++readings;
    const quint32 list = reader.number(24);
    const quint32 count = reader.number(list);
    const quint32 first = reader.number(quint64(list) + 8);
    if (!reader.ok() || count > 65536)
        return nullptr;
    rules->m_rules.resize(count);
    for (quint32 i = 0; i < count; ++i) {
        const quint64 at = first + 16 * quint64(i);
        Rule &rule = rules->m_rules[i];
        rule.mimeType = reader.text(reader.number(at + 4));
        rule.matchlets = reader.number(at + 8);
        rule.firstMatchlet = quint32(rules->m_matchlets.size());
        if (!reader.ok() || !readMatchlets(reader, reader.number(at + 12), rule.matchlets, rules->m_matchlets, 0))
            return nullptr;
    }
    // The name patterns: whole names at 12, other globs at 20, each a pattern, a MIME type
    // and flags; the suffix tree at 16.
    QStringList globs;
    for (const quint32 header : {12u, 20u}) {
        const quint32 list = reader.number(header);
        const quint32 patterns = reader.number(list);
        if (!reader.ok() || patterns > 65536)
            return nullptr;
        for (quint32 i = 0; i < patterns; ++i) {
            const QString pattern = reader.text(reader.number(list + 4 + 12 * quint64(i)));
            if (header == 12)
                rules->m_literals.append(pattern.toLower());
            else
                globs.append(u"(?:" + QRegularExpression::wildcardToRegularExpression(pattern) + u')');
        }
    }
    // One expression for all, each part anchored as Qt anchors it; without any, one that
    // matches nothing.
    rules->m_globs = QRegularExpression(globs.isEmpty() ? QStringLiteral("(?!)") : globs.join(u'|'),
                                        QRegularExpression::CaseInsensitiveOption);
    if (!rules->m_globs.isValid())
        return nullptr;
    const quint32 tree = reader.number(16);
    rules->m_suffixRoots = reader.number(tree);
    if (!reader.ok() || !readSuffixes(reader, reader.number(quint64(tree) + 4), rules->m_suffixRoots, rules->m_suffixes, 0))
        return nullptr;
    return rules;
}

bool Rules::found(const Matchlet &matchlet, QByteArrayView data)
{
    // Offsets from the range's start to its last one that still leaves room for the whole
    // value in the data.
    const qsizetype length = matchlet.value.size();
    const qint64 last = std::min<qint64>(matchlet.rangeStart + matchlet.rangeLength - 1, qint64(data.size()) - length);
    if (last < matchlet.rangeStart)
        return false;
    const char *from = data.data() + matchlet.rangeStart;
    const char *value = matchlet.value.constData();
    if (matchlet.mask.isEmpty()) {
        if (length == 0)
            return true;
        if (last == matchlet.rangeStart)
            return *from == *value && std::memcmp(from + 1, value + 1, size_t(length - 1)) == 0;
        // The value's first byte searched for along the range, where Qt compares the whole
        // value at each offset in turn: the first byte is rare enough in most data that the
        // vector search of memchr skips far.
        const char *const end = data.data() + last;
        for (const char *at = from; at <= end; ++at) {
            at = static_cast<const char *>(std::memchr(at, value[0], size_t(end - at + 1)));
            if (!at)
                return false;
            if (std::memcmp(at + 1, value + 1, size_t(length - 1)) == 0)
                return true;
        }
        return false;
    }
    const char *mask = matchlet.mask.constData();
    for (const char *at = from; at <= data.data() + last; ++at) {
        qsizetype i = 0;
        while (i < length && ((at[i] ^ value[i]) & mask[i]) == 0)
            ++i;
        if (i == length)
            return true;
    }
    return false;
}

bool Rules::matches(quint32 first, quint32 count, QByteArrayView data) const
{
    for (quint32 i = first; i < first + count; ++i) {
        const Matchlet &matchlet = m_matchlets[i];
        if (found(matchlet, data) && (matchlet.children == 0 || matches(matchlet.firstChild, matchlet.children, data)))
            return true;
    }
    return false;
}

QString Rules::firstMatch(QByteArrayView data) const
{
    for (const Rule &rule : m_rules) {
        if (matches(rule.firstMatchlet, rule.matchlets, data))
            return rule.mimeType;
    }
    return QString();
}

// What QMimeDatabase calls text when no magic matched: a UTF-16 byte order mark, or a start
// without control characters other than tab, line feed and carriage return.
bool looksLikeText(QByteArrayView data)
{
    if (data.startsWith("\xFE\xFF") || data.startsWith("\xFF\xFE"))
        return true;
    const QByteArrayView start = data.first(std::min<qsizetype>(data.size(), 128));
    return std::none_of(start.begin(), start.end(), [](char c) {
        const uchar u = uchar(c);
        return u < 32 && u != '\t' && u != '\n' && u != '\r';
    });
}

Rules::SuffixWalk Rules::walkSuffixes(QStringView name) const
{
    // Every node whose character matches is looked at, not only the one a binary search
    // would find, and a pattern ending anywhere along the way counts: the walk finds all
    // Qt's walk can, and reads at least the characters Qt's reads.
    SuffixWalk walk;
    quint32 first = 0, count = m_suffixRoots;
    for (qsizetype at = name.size() - 1; at >= 0 && count > 0; --at) {
        ++walk.read;
        const char16_t c = name[at].unicode();
        const SuffixNode *next = nullptr;
        for (quint32 i = first; i < first + count; ++i) {
            if (m_suffixes[i].leaf || m_suffixes[i].character != c)
                continue;
            // Two nodes for one character (their characters differ above 16 bits): too odd
            // a cache to follow both.
            if (next) {
                walk.ambiguous = true;
                return walk;
            }
            next = &m_suffixes[i];
        }
        if (!next)
            return walk;
        for (quint32 i = next->firstChild; i < next->firstChild + next->children; ++i)
            walk.patternEnds = walk.patternEnds || m_suffixes[i].leaf;
        first = next->firstChild;
        count = next->children;
    }
    return walk;
}

NameVerdict Rules::nameVerdict(const QString &name) const
{
    if (name.isEmpty())
        return {};
    const QString lower = name.toLower();
    const SuffixWalk lowerWalk = walkSuffixes(lower), nameWalk = walkSuffixes(name);
    if (lowerWalk.ambiguous || nameWalk.ambiguous)
        return {};
    for (const QString &literal : m_literals) {
        if (lower == literal || name.compare(literal, Qt::CaseInsensitive) == 0)
            return {};
    }
    if (m_globs.match(name).hasMatch() || m_globs.match(lower).hasMatch())
        return {};
    if (!lowerWalk.patternEnds && !nameWalk.patternEnds)
        return {true, {}, 0};
    // Only suffixes can match, so the answer depends on the characters the walks read, from
    // the end (the same number of them in both cases when lower case keeps the length).
    const qsizetype read = std::max(lowerWalk.read, nameWalk.read);
    if (lower.size() != name.size() || read >= name.size())
        return {};
    return {false, name.right(read) + QLatin1Char('/') + lower.right(read), 0};
}

// The cache in use and what it was loaded from.
struct State
{
    std::mutex lock;
    QElapsedTimer lastCheck;                // guarded by lock
    struct stat loadedFrom = {};            // guarded by lock
    std::shared_ptr<const Rules> rules;     // guarded by lock; null: ask QMimeDatabase
};

State &state()
{
    static State shared;
    return shared;
}

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size
        && a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

// The cache QMimeDatabase reads alone, or null when it reads more than one source.
std::shared_ptr<const Rules> currentRules(State &s)
{
    if (!qEnvironmentVariableIsEmpty("QT_NO_MIME_CACHE"))
        return nullptr;
    const QStringList folders =
        QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("mime"), QStandardPaths::LocateDirectory);
    if (folders.size() != 1 || !QFile::exists(folders.first() + QStringLiteral("/packages/freedesktop.org.xml")))
        return nullptr;
    const QByteArray path = QFile::encodeName(folders.first() + QStringLiteral("/mime.cache"));
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return nullptr;
    struct stat status;
    std::shared_ptr<const Rules> rules;
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        if (s.rules && sameFile(status, s.loadedFrom)) {
            rules = s.rules;
        } else if (status.st_size > 0 && status.st_size < 64 * 1024 * 1024) {
            QByteArray bytes(qsizetype(status.st_size), Qt::Uninitialized);
            if (::pread(fd, bytes.data(), size_t(bytes.size()), 0) == status.st_size)
                rules = Rules::load(bytes);
            if (!rules)
                qCDebug(lcPlatform) << "the MIME cache" << QFile::decodeName(path) << "is not one this reader knows; content goes to QMimeDatabase";
            s.loadedFrom = status;
        }
    }
    ::close(fd);
    return rules;
}

} // namespace

namespace {

std::shared_ptr<const Rules> sharedRules()
{
    State &s = state();
    std::lock_guard locker(s.lock);
    if (!s.lastCheck.isValid() || s.lastCheck.hasExpired(recheckMSecs)) {
        s.rules = currentRules(s);
        s.lastCheck.start();
    }
    return s.rules;
}

} // namespace

NameVerdict nameVerdict(const QString &fileName)
{
    const std::shared_ptr<const Rules> rules = sharedRules();
    if (!rules)
        return {};
    NameVerdict verdict = rules->nameVerdict(fileName);
    verdict.generation = rules->generation();
    return verdict;
}

std::optional<QString> mimeTypeForData(QByteArrayView data)
{
    if (data.isEmpty())
        return std::nullopt;
    const std::shared_ptr<const Rules> rules = sharedRules();
    if (!rules)
        return std::nullopt;
    if (QString magic = rules->firstMatch(data); !magic.isEmpty())
        return magic;
    return looksLikeText(data) ? QStringLiteral("text/plain") : QStringLiteral("application/octet-stream");
}

} // namespace TQMimeMagic
