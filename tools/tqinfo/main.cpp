// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// tqinfo: what the file browser knows about files, for people (a table) and scripts (JSON).

#include "TQFile.h"
#include "TQUtilityFunctions.h"
#include "UWStandardFile.h"
#include "tqinfo_labels.h"
#include "tqinfo_listing.h"
#include "tqinfo_menus.h"
#include "tqinfo_output.h"
#include "tqinfo_thumbnails.h"
#include "tqkit_version.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

// Scripts branch on these, so they never change meaning.
enum ExitStatus {
    Success = 0,
    Failure = 1,    // a path or the folder could not be read; everything else was printed
    UsageError = 2, // nothing was looked at
};

// Without --keys a table of every key is too wide to read: it shows the items' summary keys.
// JSON is for programs and gets all.
const QStringList tableKeys = UWStandardFile::summaryKeys();

const QString pathKey = QStringLiteral("path");

// Runs work(0) ... work(count - 1) on every core, this thread among them, in blocks taken in
// turn: each piece is a few system calls on one file (items are thread-safe), and a listing
// of a big folder would otherwise leave all but one core idle.
template <class Work>
void onEveryCore(qsizetype count, const Work &work)
{
    constexpr qsizetype block = 64;
    std::atomic<qsizetype> next{0};
    const auto run = [&] {
        for (qsizetype first; (first = next.fetch_add(block)) < count;) {
            for (qsizetype i = first; i < std::min(first + block, count); ++i)
                work(i);
        }
    };
    const int helpers = count > block ? std::clamp(int(std::thread::hardware_concurrency()) - 1, 0, 7) : 0;
    std::vector<std::jthread> threads;
    threads.reserve(size_t(helpers));
    for (int i = 0; i < helpers; ++i)
        threads.emplace_back(run);
    run();
}

void write(FILE *stream, const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

void reportError(const QString &message)
{
    write(stderr, "tqinfo: " + message.toUtf8() + '\n');
}

int usageError(const QString &message)
{
    reportError(message);
    write(stderr, "Try 'tqinfo --help' for more information.\n");
    return UsageError;
}

void dropMessages(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    // Qt and the library warn about things a script can neither act on nor filter out of
    // stderr (a collator feature the platform lacks, a quirk of the MIME database); only
    // what stops the program is worth a line.
    if (type == QtCriticalMsg || type == QtFatalMsg)
        reportError(message);
}

QStringList defaultKeys(bool json)
{
    QStringList keys = json ? TQFile::keys() : tableKeys;
    keys.removeAll(pathKey);
    return keys;
}

// The keys --keys names, in its order; an empty error when all of them are known.
QStringList requestedKeys(const QStringList &values, QString *error)
{
    const QStringList known = TQFile::keys();
    QStringList keys;
    for (const QString &value : values) {
        for (const QString &part : value.split(QLatin1Char(','))) {
            const QString key = part.trimmed();
            if (key.isEmpty()) {
                *error = QStringLiteral("--keys needs a comma-separated list of keys without empty entries");
                return {};
            }
            if (!known.contains(key)) {
                // Keys are camel-case, and "displayname" is the likeliest slip.
                QString hint;
                for (const QString &candidate : known) {
                    if (candidate.compare(key, Qt::CaseInsensitive) == 0)
                        hint = QStringLiteral(" (did you mean '%1'?)").arg(candidate);
                }
                *error = QStringLiteral("unknown key '%1'%2; known keys: %3")
                             .arg(key, hint, known.join(QStringLiteral(", ")));
                return {};
            }
            // "path" already leads every row, and a JSON object has no room for a key twice.
            if (key != pathKey && !keys.contains(key))
                keys.append(key);
        }
    }
    return keys;
}

// Arguments are bytes, and a file name among them need not be UTF-8: each is handed to the
// parser as Latin-1, one character per byte, so that the bytes come back unchanged.
QStringList argumentsAsLatin1(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLatin1(argv[i]));
    return arguments;
}

QByteArray bytesOf(const QString &argument)
{
    return argument.toLatin1();
}

QList<QByteArray> bytesOf(const QStringList &arguments)
{
    QList<QByteArray> all;
    for (const QString &argument : arguments)
        all.append(argument.toLatin1());
    return all;
}

// An argument as people read it, with U+FFFD for the bytes that do not decode.
QString textOf(const QByteArray &argument)
{
    return QFile::decodeName(argument);
}

// The item for a path named on the command line; reports why there is none and marks the run failed.
TQFileRef fileItem(const QByteArray &path, int *status)
{
    const TQInfo::Lookup found = TQInfo::lookUp(path);
    const TQFileRef file = TQFile::fromItem(found.item);
    if (!file) {
        reportError(textOf(path) + QStringLiteral(": ") + found.error);
        *status = Failure;
    }
    return file;
}

// --set-orientation and --rotate: one line on stderr for each file that was not written.
int writeOrientations(const QList<QByteArray> &paths, int value, bool rotate)
{
    int status = Success;
    for (const QByteArray &path : paths) {
        const TQFileRef file = fileItem(path, &status);
        if (!file)
            continue;
        const int orientation = rotate ? TQChangeRotationByDegrees(file->storedImageOrientation(), value) : value;
        QString reason;
        if (!file->setImageOrientation(orientation, &reason)) {
            reportError(textOf(path) + QStringLiteral(": ") + reason);
            status = Failure;
        }
    }
    return status;
}

// --properties: the dictionary the file item reads, "path" first.
int printProperties(const QList<QByteArray> &paths)
{
    int status = Success;
    for (const QByteArray &path : paths) {
        const TQFileRef file = fileItem(path, &status);
        if (!file)
            continue;
        const QVariantMap properties = file->imageProperties();
        TQInfo::Row row{file->path(), {properties.isEmpty() ? QVariant() : QVariant(properties)}};
        write(stdout, TQInfo::jsonLine({QStringLiteral("properties")}, row) + '\n');
    }
    return status;
}

bool toInteger(const QString &text, int *value)
{
    bool ok = false;
    *value = text.toInt(&ok);
    return ok;
}

QString description()
{
    return QStringLiteral(
               "Shows what the file browser knows about files: a table with one row per file, or "
               "with --json one JSON object per line, \"path\" (made absolute) first and then the "
               "keys in the order asked for. Dates are UTC (2026-11-21T05:27:00.123Z), a missing value is "
               "null (\"-\" in the table).\n\n"
               "Without --keys the table shows %1; --json shows every key.\n"
               "Known keys: %2.\n\n"
               "Exit status: 0 when every file was shown, 1 when a path or the folder could not "
               "be read (the rest is still shown), 2 for a usage error.")
        .arg(tableKeys.join(QStringLiteral(", ")), TQFile::keys().join(QStringLiteral(", ")));
}

} // namespace

int main(int argc, char *argv[])
{
    qInstallMessageHandler(dropMessages);
    const std::unique_ptr<QCoreApplication> app = TQInfo::makeApplication(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tqinfo"));
    // The version of the library that answers, which is what a bug report needs.
    QCoreApplication::setApplicationVersion(TQKit::versionString());

    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    // A help option of our own: Qt's adds --help-all, which only process() understands, and
    // process() exits with 1 on a usage error where scripts are promised 2.
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Displays this help."));
    const QCommandLineOption versionOption = parser.addVersionOption();
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("One JSON object per line instead of a table."));
    const QCommandLineOption keysOption(QStringLiteral("keys"),
                                        QStringLiteral("The keys to show, comma-separated, in this order."),
                                        QStringLiteral("KEY,..."));
    const QCommandLineOption listOption(QStringLiteral("list"),
                                        QStringLiteral("Shows the folder's entries (hidden ones too) "
                                                       "instead of PATH arguments."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption setOrientationOption(
        QStringLiteral("set-orientation"),
        QStringLiteral("Writes the EXIF orientation N (1-8) into each FILE, changing nothing else."),
        QStringLiteral("N"));
    const QCommandLineOption rotateOption(
        QStringLiteral("rotate"),
        QStringLiteral("Turns each FILE by DEGREES counter-clockwise (a multiple of 90) by "
                       "rewriting its EXIF orientation; mirroring is dropped."),
        QStringLiteral("DEGREES"));
    const QCommandLineOption propertiesOption(
        QStringLiteral("properties"),
        QStringLiteral("Prints each FILE's image property dictionary as one JSON object per line "
                       "(null when the file is not a readable image)."));
    const QCommandLineOption thumbnailsOption(
        QStringLiteral("thumbnails"),
        QStringLiteral("Makes a thumbnail of each FILE through the library's thumbnail queue and writes "
                       "it as OUTDIR/<name>.png; files that get none are listed on stderr (exit status 1)."),
        QStringLiteral("OUTDIR"));
    const QCommandLineOption sizeOption(QStringLiteral("size"),
                                        QStringLiteral("With --thumbnails: the largest side, in pixels (default 256)."),
                                        QStringLiteral("N"));
    const QCommandLineOption sortOption(
        QStringLiteral("sort"),
        QStringLiteral("With --list: sorts the entries by column TYPE (0 name, 1 size, 3 kind, 4 megapixels, "
                       "5 depth, 6 modification date, 7 random, 8 colour profile, 9 creation date, 13 label, "
                       "14 height, 15 width, 16 date taken, 17 shape, 18 exposure, 19 f-number, 20 ISO, "
                       "21 focal length, 22 camera, 23 date added; others by name)."),
        QStringLiteral("TYPE"));
    const QCommandLineOption foldersOption(QStringLiteral("folders"),
                                           QStringLiteral("With --sort: folders \"first\" or \"last\"."),
                                           QStringLiteral("first|last"));
    const QCommandLineOption descendingOption(QStringLiteral("descending"),
                                              QStringLiteral("With --sort: the other direction."));
    const QCommandLineOption filterOption(
        QStringLiteral("filter"),
        QStringLiteral("With --list: keeps the entries of preset TYPE (0 visible, 1 everything, 2 visible "
                       "images, 3 visible media, 4 visible images and folders, 5 visible media and folders, "
                       "6 visible folders, 7 visible non-folders; 8 and above: no filter)."),
        QStringLiteral("TYPE"));
    const QCommandLineOption excludeFoldersOption(QStringLiteral("exclude-folders"),
                                                  QStringLiteral("With --filter 0 to 7: drops folders too "
                                                                 "(preset 6 keeps its folders)."));
    parser.addOptions({helpOption, jsonOption, keysOption, listOption, sortOption, foldersOption, descendingOption,
                       filterOption, excludeFoldersOption, setOrientationOption, rotateOption, propertiesOption,
                       thumbnailsOption, sizeOption});
    const QCommandLineOption setLabelOption = TQInfo::setLabelOption();
    parser.addOption(setLabelOption);
    const QCommandLineOption openWithOption = TQInfo::openWithOption();
    parser.addOption(openWithOption);
    parser.addPositionalArgument(QStringLiteral("PATH"), QStringLiteral("The files to show."),
                                 QStringLiteral("PATH..."));

    if (!parser.parse(argumentsAsLatin1(argc, argv)))
        return usageError(parser.errorText());
    if (parser.isSet(helpOption))
        parser.showHelp(Success);
    if (parser.isSet(versionOption))
        parser.showVersion();

    if (parser.isSet(openWithOption)) {
        QString error;
        const int status = TQInfo::printOpenWithMenu(bytesOf(parser.positionalArguments()), &error);
        return error.isEmpty() ? status : usageError(error);
    }

    if (parser.isSet(setLabelOption)) {
        QString error;
        const int status = TQInfo::setLabels(parser, setLabelOption, bytesOf(parser.positionalArguments()), &error);
        return error.isEmpty() ? status : usageError(error);
    }

    if (parser.isSet(setOrientationOption) || parser.isSet(rotateOption)) {
        if (parser.isSet(setOrientationOption) && parser.isSet(rotateOption))
            return usageError(QStringLiteral("--set-orientation and --rotate exclude each other"));
        if (parser.isSet(listOption) || parser.isSet(jsonOption) || parser.isSet(keysOption))
            return usageError(QStringLiteral("--set-orientation and --rotate take files only"));
        const bool rotate = parser.isSet(rotateOption);
        bool ok = false;
        const int value = (rotate ? parser.value(rotateOption) : parser.value(setOrientationOption)).toInt(&ok);
        if (!ok || (!rotate && (value < 1 || value > 8)))
            return usageError(rotate ? QStringLiteral("--rotate needs a number of degrees")
                                     : QStringLiteral("--set-orientation needs an orientation from 1 to 8"));
        if (rotate && value % 90 != 0)
            return usageError(QStringLiteral("--rotate needs a multiple of 90 degrees"));
        if (parser.positionalArguments().isEmpty())
            return usageError(QStringLiteral("no file given"));
        return writeOrientations(bytesOf(parser.positionalArguments()), value, rotate);
    }

    if (parser.isSet(sizeOption) && !parser.isSet(thumbnailsOption))
        return usageError(QStringLiteral("--size needs --thumbnails"));
    if (parser.isSet(thumbnailsOption)) {
        if (parser.isSet(listOption) || parser.isSet(keysOption) || parser.isSet(jsonOption) || parser.isSet(propertiesOption))
            return usageError(QStringLiteral("--thumbnails takes files only"));
        int size = 256;
        if (parser.isSet(sizeOption) && (!toInteger(parser.value(sizeOption), &size) || size < 1 || size > 4096))
            return usageError(QStringLiteral("--size needs a number of pixels from 1 to 4096"));
        if (parser.positionalArguments().isEmpty())
            return usageError(QStringLiteral("no file given"));
        const QString output = textOf(bytesOf(parser.value(thumbnailsOption)));
        if (!QDir().mkpath(output)) {
            reportError(output + QStringLiteral(": cannot make the folder"));
            return Failure;
        }
        int status = Success;
        QList<UWStandardFileRef> files;
        for (const QByteArray &path : bytesOf(parser.positionalArguments())) {
            if (const TQFileRef file = fileItem(path, &status))
                files.append(file);
        }
        TQInfo::ThumbnailWriter writer(output, size);
        return writer.run(files) == 0 ? status : Failure;
    }

    if (parser.isSet(propertiesOption)) {
        if (parser.isSet(listOption) || parser.isSet(keysOption))
            return usageError(QStringLiteral("--properties takes files only"));
        if (parser.positionalArguments().isEmpty())
            return usageError(QStringLiteral("no file given"));
        return printProperties(bytesOf(parser.positionalArguments()));
    }

    const bool json = parser.isSet(jsonOption);
    QStringList keys = defaultKeys(json);
    if (parser.isSet(keysOption)) {
        QString error;
        QStringList values;
        for (const QString &value : parser.values(keysOption))
            values.append(textOf(bytesOf(value)));
        keys = requestedKeys(values, &error);
        if (!error.isEmpty())
            return usageError(error);
    }

    const QStringList folders = parser.values(listOption);
    const bool sorting = parser.isSet(sortOption);
    int sortType = 0, folderPriority = 0, filterType = 0;
    if ((sorting || parser.isSet(filterOption) || parser.isSet(foldersOption) || parser.isSet(descendingOption)
         || parser.isSet(excludeFoldersOption))
        && folders.isEmpty())
        return usageError(QStringLiteral("--sort, --filter and their options need --list"));
    if ((parser.isSet(foldersOption) || parser.isSet(descendingOption)) && !sorting)
        return usageError(QStringLiteral("--folders and --descending need --sort"));
    if (sorting && !toInteger(parser.value(sortOption), &sortType))
        return usageError(QStringLiteral("--sort needs a number"));
    if (parser.isSet(foldersOption)) {
        const QString where = parser.value(foldersOption);
        if (where != u"first" && where != u"last")
            return usageError(QStringLiteral("--folders takes \"first\" or \"last\""));
        folderPriority = where == u"first" ? 10 : 11;
    }
    if (parser.isSet(filterOption) && !toInteger(parser.value(filterOption), &filterType))
        return usageError(QStringLiteral("--filter needs a number"));
    const bool excludeFolders = parser.isSet(excludeFoldersOption);
    // A preset without a filter has nothing to add the folder rule to.
    if (excludeFolders && (!parser.isSet(filterOption) || filterType < 0 || filterType > 7))
        return usageError(QStringLiteral("--exclude-folders needs --filter 0 to 7"));
    QList<QByteArray> paths = bytesOf(parser.positionalArguments());
    if (folders.size() > 1)
        return usageError(QStringLiteral("--list takes one folder"));
    if (!folders.isEmpty() && !paths.isEmpty())
        return usageError(QStringLiteral("--list takes one folder and no other paths"));
    if (folders.isEmpty() && paths.isEmpty())
        return usageError(QStringLiteral("no path given"));

    int status = Success;
    if (!folders.isEmpty()) {
        const QByteArray folder = bytesOf(folders.first());
        const TQInfo::Listing listing = TQInfo::listFolder(folder);
        if (!listing.error.isEmpty()) {
            reportError(textOf(folder) + QStringLiteral(": ") + listing.error);
            status = Failure;
        }
        paths = listing.paths;
    }

    // Looked up on every core, reported in the order given.
    std::vector<TQInfo::Lookup> found(size_t(paths.size()));
    onEveryCore(paths.size(), [&](qsizetype i) { found[size_t(i)] = TQInfo::lookUp(paths.at(i)); });
    QList<UWStandardFileRef> items;
    items.reserve(paths.size());
    for (qsizetype i = 0; i < paths.size(); ++i) {
        if (!found[size_t(i)].item) {
            reportError(textOf(paths.at(i)) + QStringLiteral(": ") + found[size_t(i)].error);
            status = Failure;
            continue;
        }
        items.append(std::move(found[size_t(i)].item));
    }
    found.clear();
    if (parser.isSet(filterOption)) {
        if (const std::optional<TQPredicate> filter = TQFile::filterPredicateForFilterType(filterType, excludeFolders))
            items.removeIf([&filter](const UWStandardFileRef &item) { return !filter->evaluateWithObject(item); });
    }
    if (sorting)
        TQSortDescriptor::sort(items, TQFile::sortDescriptorsForSortType(sortType, folderPriority,
                                                                          !parser.isSet(descendingOption)));

    TQInfo::Table table(keys);
    // Rows are read on every core a window at a time and written in order: JSON goes out a
    // window at a time, so a pipe sees the first items of a large folder before the values
    // of the whole folder are read; the table has to wait for its widest cell anyway. An
    // item's icon belongs to the main thread, so a row that shows it is read there.
    const bool anyThread = !keys.contains(QStringLiteral("fileIcon"));
    constexpr qsizetype window = 4096;
    std::vector<TQInfo::Row> rows;
    for (qsizetype first = 0; first < items.size(); first += window) {
        rows.assign(size_t(std::min(window, items.size() - first)), {});
        const auto read = [&](qsizetype i) {
            const UWStandardFileRef &item = items.at(first + i);
            TQInfo::Row &row = rows[size_t(i)];
            row.path = item->path();
            row.values.reserve(keys.size());
            for (const QString &key : std::as_const(keys))
                row.values.append(item->valueForKey(key));
        };
        if (anyThread) {
            onEveryCore(qsizetype(rows.size()), read);
        } else {
            for (qsizetype i = 0; i < qsizetype(rows.size()); ++i)
                read(i);
        }
        for (const TQInfo::Row &row : rows) {
            if (json)
                write(stdout, TQInfo::jsonLine(keys, row) + '\n');
            else
                table.append(row);
        }
    }
    // A heading over nothing, after an error, would read as an empty folder.
    if (!json && !(items.isEmpty() && status == Failure))
        table.write(stdout);

    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        reportError(QStringLiteral("cannot write the output"));
        return Failure;
    }
    return status;
}
