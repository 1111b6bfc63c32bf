// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Several threads read every key of many items while the main thread resets them with events,
// as a folder view that loads values in the background would. Run under ThreadSanitizer by
// `scripts/test --tsan`; in an ordinary build it checks that every value read is one the file
// had.
//
// A program of its own rather than a QtTest suite: QtTest's watchdog thread is not
// instrumented, and ThreadSanitizer reports its shutdown, which is no fault of the items.

#include "TQFile.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QCoreApplication>

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The keys whose value depends on the file's content or name and nothing else (dates change
// with every write, applications with the desktop's settings).
const QStringList comparedKeys = {u"uti"_s, u"resolvedUTI"_s, u"kindString"_s, u"isImage"_s, u"isText"_s,
                                  u"isMedia"_s, u"isPreviewable"_s, u"fileSize"_s, u"fileSizeString"_s,
                                  u"dimensionsWidth"_s, u"dimensionsString"_s, u"megapixels"_s,
                                  u"imageDepthString"_s, u"orientation"_s, u"displayName"_s, u"path"_s};

// Each file switches between two contents: a picture and a text.
struct Shape
{
    QString name;
    QByteArray picture;
    QByteArray text;
};

QByteArray encoded(const QSize &size, const char *format)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, format) ? bytes : QByteArray();
}

bool writeReplacing(const QString &path, const QByteArray &bytes)
{
    // Replaced by a rename, as editors save: a reader sees the old file or the new one whole.
    QFile file(path + u".new"_s);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush()
        && (file.close(), ::rename(QFile::encodeName(path + u".new"_s).constData(), QFile::encodeName(path).constData()) == 0);
}

#define CHECK(condition)                                                                   \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "FAIL: %s (line %d)\n", #condition, __LINE__);            \
            return false;                                                                  \
        }                                                                                  \
    } while (false)

bool readersSeeOnlyValuesTheFileHad()
{
    QTemporaryDir dir;
    CHECK(dir.isValid());
    CHECK(QDir(dir.path()).mkdir(u"reference"_s));

    std::vector<Shape> shapes;
    for (int i = 0; i < 12; ++i) {
        const bool png = i % 2;
        shapes.push_back({u"item-%1.%2"_s.arg(i).arg(png ? u"png"_s : u"jpg"_s),
                          encoded(QSize(16 + i, 9 + i), png ? "PNG" : "JPEG"), QByteArray("words ").repeated(i + 1)});
    }

    // What each key answers for each content and each of the two names an item takes, from
    // items made fresh for files that never change.
    using Answers = std::map<QString, QList<QVariant>>;
    std::vector<Answers> expected(shapes.size());
    for (size_t i = 0; i < shapes.size(); ++i) {
        for (const QByteArray &contents : {shapes[i].picture, shapes[i].text}) {
            for (const QString &name : {shapes[i].name, u"renamed-"_s + shapes[i].name}) {
                const QString reference = dir.filePath(u"reference/"_s + name);
                CHECK(writeReplacing(reference, contents));
                const TQFileRef item = TQFile::newFileForPath(reference);
                for (const QString &key : comparedKeys) {
                    QVariant value = item->valueForKey(key);
                    if (key == u"path")
                        value = QVariant(dir.filePath(name));
                    expected[i][key].append(value);
                }
            }
        }
    }

    std::vector<TQFileRef> items;
    for (const Shape &shape : shapes) {
        CHECK(!shape.picture.isEmpty());
        CHECK(writeReplacing(dir.filePath(shape.name), shape.picture));
        items.push_back(TQFile::newFileForPath(dir.filePath(shape.name)));
    }

    // Every key but the icon, which belongs to the main thread.
    QStringList keys = TQFile::keys();
    keys.removeAll(u"fileIcon"_s);

    std::atomic<bool> done{false};
    std::mutex failuresLock;
    QStringList failures; // guarded by failuresLock
    std::atomic<int> reads{0};
    const auto reader = [&](int seed) {
        size_t index = size_t(seed);
        while (!done.load()) {
            index = (index * 7 + 3) % items.size();
            const TQFileRef item = items[index];
            for (const QString &key : keys) {
                const QVariant value = item->valueForKey(key);
                item->cachedValueForKey(key);
                const auto allowed = expected[index].find(key);
                if (allowed != expected[index].end() && !allowed->second.contains(value)) {
                    std::lock_guard locker(failuresLock);
                    failures.append(u"%1 of %2: %3"_s.arg(key, shapes[index].name, value.toString()));
                }
            }
            item->nameSortKeyForKey(u"displayName");
            reads.fetch_add(1);
        }
    };
    std::vector<std::thread> readers;
    for (int seed = 0; seed < 4; ++seed)
        readers.emplace_back(reader, seed);

    // The main thread changes the files and tells the items, as the file manager does.
    for (int round = 0; round < 240; ++round) {
        const size_t i = size_t(round) % items.size();
        const TQFileRef &item = items[i];
        const Shape &shape = shapes[i];
        switch (round / int(items.size()) % 3) {
        case 0:
            CHECK(writeReplacing(item->path(), round % 2 ? shape.text : shape.picture));
            item->updateForEvent({UWFileEvent::CreatedOrReplaced});
            break;
        case 1: {
            // The old name stays as a second link: a reader that still holds the old record
            // reads the same file there, as it would have an instant earlier.
            const QString other = dir.filePath(item->fileName() == shape.name ? u"renamed-"_s + shape.name : shape.name);
            const QByteArray staging = QFile::encodeName(other + u".link"_s);
            CHECK(::link(QFile::encodeName(item->path()).constData(), staging.constData()) == 0);
            CHECK(::rename(staging.constData(), QFile::encodeName(other).constData()) == 0);
            item->updateForEvent({UWFileEvent::Renamed, other});
            break;
        }
        default:
            item->setMarks({{u"round"_s, round}});
            item->updateForEvent({UWFileEvent::AttributesChanged});
            item->placeholderStatusChanged();
            break;
        }
        item->fileIcon();
        QCoreApplication::processEvents();
    }
    // Let the readers see the last state too.
    const int before = reads.load();
    while (reads.load() < before + 8)
        std::this_thread::yield();
    done = true;
    for (std::thread &thread : readers)
        thread.join();

    std::lock_guard locker(failuresLock);
    if (!failures.isEmpty()) {
        std::fprintf(stderr, "FAIL: values the files never had:\n%s\n", qPrintable(failures.mid(0, 10).join(u'\n')));
        return false;
    }
    // And the items answer their files' last state, once the events are all in.
    for (size_t i = 0; i < items.size(); ++i)
        CHECK(expected[i][u"displayName"_s].contains(items[i]->valueForKey(u"displayName")));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    // The items log a line per non-image; not wanted in this test's output.
    QLoggingCategory::setFilterRules(u"tqkit.*.debug=false\ntqkit.*.info=false"_s);
    if (!readersSeeOnlyValuesTheFileHad())
        return 1;
    std::printf("PASS: readers saw only values the files had\n");
    return 0;
}
