// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Fills a folder with many entries for the benchmarks of folder views: files whose names mix
// digit runs, cases, accents (composed and decomposed), scripts, emoji, hidden names and a few
// bytes that are not UTF-8; sizes from zero to megabytes (sparse, so they cost no disk); dates
// over fifteen years; a share of small real JPEG and PNG images and text files, and some
// folders. The same seed always gives the same entries, names, contents and times, byte for byte.
//
//   make-big-folder [--count N] [--seed S] FOLDER     default 100000 entries, seed 1
//
// FOLDER is made if missing and must be empty: the tool never writes among files it did not make.

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QPainter>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

namespace {

// Draws come from the 64-bit Mersenne Twister, whose sequence the standard fixes; the
// standard's distributions are not fixed across libraries, so ranges are cut by hand.
class Draw
{
public:
    explicit Draw(quint64 seed)
        : m_engine(seed)
    {
    }
    quint64 below(quint64 bound) { return m_engine() % bound; }
    bool chance(int perMille) { return below(1000) < quint64(perMille); }

private:
    std::mt19937_64 m_engine;
};

enum class Kind { Folder, Jpeg, Png, Text, Other };

struct Tally
{
    int folders = 0, jpegs = 0, pngs = 0, texts = 0, others = 0, notUtf8 = 0, failures = 0;
    qint64 bytes = 0;
};

const char *const words[] = {"Report", "IMG", "DSC", "holiday", "Scan", "invoice", "notes", "draft",
                             "Screenshot", "photo", "budget", "README", "readme", "Track", "backup"};

// Names as UTF-8 bytes; each carries the entry's number, so all are distinct.
QByteArray makeName(Draw &draw, int number, Kind kind, bool &notUtf8)
{
    static const char *const imageExtensions[] = {".jpg", ".JPG", ".jpeg"};
    static const char *const otherExtensions[] = {".pdf", ".mp3", ".mov", ".zip", ".heic", ".cpp", ".json", ""};
    QByteArray extension;
    switch (kind) {
    case Kind::Folder: break;
    case Kind::Jpeg: extension = imageExtensions[draw.below(3)]; break;
    case Kind::Png: extension = draw.chance(500) ? ".png" : ".PNG"; break;
    case Kind::Text: extension = draw.chance(700) ? ".txt" : ".md"; break;
    case Kind::Other: extension = otherExtensions[draw.below(8)]; break;
    }
    const QByteArray n = QByteArray::number(number);
    QByteArray stem;
    switch (draw.below(12)) {
    case 0: stem = "IMG_" + n.rightJustified(5, '0'); break;
    case 1: stem = "file" + n; break;
    case 2: {
        // One draw per statement: the order in which operands are evaluated is not fixed.
        const char *word = words[draw.below(15)];
        const int year = 2000 + int(draw.below(26));
        const int month = 1 + int(draw.below(12));
        stem = QByteArray(word) + ' ' + QByteArray::number(year) + '-'
            + QByteArray::number(month).rightJustified(2, '0') + " (" + n + ')';
        break;
    }
    case 3: stem = "Caf\xc3\xa9 cr\xc3\xa8me " + n; break;                       // composed accents
    case 4: stem = "Cafe\xcc\x81 decompose\xcc\x81 " + n; break;                 // e + U+0301
    case 5: stem = "Stra\xc3\x9f" "e " + n; break;                               // ß
    case 6: stem = "\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e " + n; break;           // 日本語
    case 7: stem = "\xce\xa9mega \xf0\x9f\x93\xb7 " + n; break;                  // Ωmega 📷
    case 8: stem = "." + QByteArray(words[draw.below(15)]) + n; break;           // hidden
    case 9: {
        const char *word = words[draw.below(15)];
        const int version = int(draw.below(20));
        stem = QByteArray(word).toUpper() + "_v" + QByteArray::number(version) + "_" + n;
        break;
    }
    case 10: stem = QByteArray(200 - n.size(), 'x') + n; break;                 // long, under 255 bytes
    default: stem = QByteArray(words[draw.below(15)]) + n; break;
    }
    // About one name in two hundred holds bytes that are not UTF-8 (Latin-1 é, a lone 0xFF).
    notUtf8 = draw.chance(5);
    if (notUtf8)
        stem = "latin1-\xe9t\xe9-\xff" + n;
    return stem + extension;
}

QByteArray makeImage(Draw &draw, const char *format)
{
    const int width = 16 + int(draw.below(145));
    const int height = 16 + int(draw.below(145));
    QImage image(width, height, QImage::Format_RGB32);
    int channels[6];
    for (int &channel : channels)
        channel = int(draw.below(256));
    const QColor from = QColor::fromRgb(channels[0], channels[1], channels[2]);
    const QColor to = QColor::fromRgb(channels[3], channels[4], channels[5]);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, width, height);
    gradient.setColorAt(0, from);
    gradient.setColorAt(1, to);
    painter.fillRect(image.rect(), gradient);
    painter.setPen(Qt::white);
    painter.drawEllipse(QRect(width / 4, height / 4, width / 2, height / 2));
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(80);
    writer.write(image);
    return bytes;
}

QByteArray makeText(Draw &draw, int number)
{
    const int lines = int(draw.below(200));
    QByteArray text;
    for (int line = 0; line < lines; ++line)
        text += "Line " + QByteArray::number(line) + " of note " + QByteArray::number(number) + ": "
            + words[draw.below(15)] + '\n';
    return text;
}

bool writeFile(const QByteArray &path, const QByteArray &content, qint64 sparseSize)
{
    const int fd = ::open(path.constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    bool ok = ::write(fd, content.constData(), size_t(content.size())) == content.size();
    if (ok && sparseSize > content.size())
        ok = ::ftruncate(fd, sparseSize) == 0;
    return ::close(fd) == 0 && ok;
}

void setTimes(const QByteArray &path, Draw &draw)
{
    // From 2010 to 2025, to the nanosecond.
    const qint64 seconds = 1262304000 + qint64(draw.below(15ull * 365 * 86400));
    struct timespec times[2];
    times[1].tv_sec = time_t(seconds);
    times[1].tv_nsec = long(draw.below(1000000000));
    times[0] = times[1];
    times[0].tv_sec += time_t(draw.below(86400 * 30));
    ::utimensat(AT_FDCWD, path.constData(), times, AT_SYMLINK_NOFOLLOW);
}

int usage()
{
    std::fprintf(stderr, "usage: make-big-folder [--count N] [--seed S] FOLDER\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    // Painting into a QImage needs no display; the application finds the image plugins.
    QCoreApplication app(argc, argv);

    int count = 100000;
    quint64 seed = 1;
    QByteArray folder;
    for (int i = 1; i < argc; ++i) {
        const QByteArray argument = argv[i];
        bool ok = true;
        if (argument == "--count" && i + 1 < argc)
            count = QByteArray(argv[++i]).toInt(&ok);
        else if (argument == "--seed" && i + 1 < argc)
            seed = QByteArray(argv[++i]).toULongLong(&ok);
        else if (!argument.startsWith('-') && folder.isEmpty())
            folder = argument;
        else
            return usage();
        if (!ok || count < 0)
            return usage();
    }
    if (folder.isEmpty())
        return usage();
    if (::mkdir(folder.constData(), 0755) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "make-big-folder: cannot make %s: %s\n", folder.constData(), std::strerror(errno));
        return 1;
    }
    const QDir dir(QFile::decodeName(folder));
    if (!dir.isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System)) {
        std::fprintf(stderr, "make-big-folder: %s is not empty; give a new or empty folder\n", folder.constData());
        return 1;
    }

    QElapsedTimer timer;
    timer.start();
    Draw draw(seed);
    Tally tally;
    for (int number = 0; number < count; ++number) {
        const quint64 share = draw.below(1000);
        // Per thousand: 20 folders, 50 JPEG, 30 PNG, 200 text, the rest other kinds.
        const Kind kind = share < 20 ? Kind::Folder
            : share < 70             ? Kind::Jpeg
            : share < 100            ? Kind::Png
            : share < 300            ? Kind::Text
                                     : Kind::Other;
        bool notUtf8 = false;
        const QByteArray path = folder + '/' + makeName(draw, number, kind, notUtf8);
        tally.notUtf8 += notUtf8;
        bool ok = true;
        switch (kind) {
        case Kind::Folder:
            ok = ::mkdir(path.constData(), 0755) == 0;
            if (ok && draw.chance(300)) {
                ok = writeFile(path + "/inside.txt", "a file inside a folder\n", 0);
                if (ok)
                    setTimes(path + "/inside.txt", draw);
            }
            ++tally.folders;
            break;
        case Kind::Jpeg:
        case Kind::Png: {
            const QByteArray bytes = makeImage(draw, kind == Kind::Jpeg ? "jpeg" : "png");
            ok = !bytes.isEmpty() && writeFile(path, bytes, 0);
            tally.bytes += bytes.size();
            ++(kind == Kind::Jpeg ? tally.jpegs : tally.pngs);
            break;
        }
        case Kind::Text: {
            const QByteArray text = makeText(draw, number);
            ok = writeFile(path, text, 0);
            tally.bytes += text.size();
            ++tally.texts;
            break;
        }
        case Kind::Other: {
            // Sizes spread over orders of magnitude: most small, some megabytes.
            const int magnitude = int(draw.below(8));
            qint64 size = magnitude == 0 ? 0 : qint64(draw.below(quint64(1) << (3 * magnitude)));
            ok = writeFile(path, QByteArray(), size);
            tally.bytes += size;
            ++tally.others;
            break;
        }
        }
        if (!ok) {
            ++tally.failures;
            continue;
        }
        setTimes(path, draw);
    }

    std::printf("%d entries in %s (seed %llu) in %.1f s: %d folders, %d JPEG, %d PNG, %d text, %d other; "
                "%d names not UTF-8; %lld bytes of content (sparse)%s\n",
                count, folder.constData(), static_cast<unsigned long long>(seed), timer.elapsed() / 1000.0,
                tally.folders, tally.jpegs, tally.pngs, tally.texts, tally.others, tally.notUtf8,
                static_cast<long long>(tally.bytes), tally.failures ? "; some entries failed" : "");
    if (tally.failures)
        std::fprintf(stderr, "make-big-folder: %d entries could not be written\n", tally.failures);
    return tally.failures ? 1 : 0;
}
