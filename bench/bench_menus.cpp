// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Building the file menus: the Open With menu of a JPEG with 30 applications registered for
// images (desktop entries in a temporary XDG folder, written before GIO first looks), and the
// Drop Locations menu of 20 folders. Prints milliseconds per menu: the first call (GIO's scan
// of the folders) and the mean of the later ones.
//
//   bench_menus [ROUNDS]   (default 200)

#include "TQFile.h"
#include "TQMenuUtilities.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QMenu>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>

using namespace Qt::StringLiterals;

static void write(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

int main(int argc, char *argv[])
{
    QTemporaryDir root;
    const QString mimeCache = QStandardPaths::locate(QStandardPaths::GenericDataLocation, u"mime/mime.cache"_s);
    QDir(root.path()).mkpath(u"system"_s);
    QFile::link(QFileInfo(mimeCache).path(), root.filePath(u"system/mime"_s));
    qputenv("XDG_DATA_HOME", root.filePath(u"data"_s).toUtf8());
    qputenv("XDG_CONFIG_HOME", root.filePath(u"config"_s).toUtf8());
    qputenv("XDG_DATA_DIRS", root.filePath(u"system"_s).toUtf8());
    qputenv("XDG_CONFIG_DIRS", root.filePath(u"system"_s).toUtf8());
    qputenv("GIO_MODULE_DIR", root.filePath(u"none"_s).toUtf8());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 200;

    QByteArray cache = "[MIME Cache]\nimage/jpeg=";
    for (int i = 0; i < 30; ++i) {
        const QByteArray name = "org.example.Viewer" + QByteArray::number(i);
        write(root.filePath(u"data/applications/"_s + QString::fromLatin1(name) + u".desktop"_s),
              "[Desktop Entry]\nType=Application\nName=Viewer " + QByteArray::number(i) + "\nExec=true %F\nIcon=image-x-generic\n"
              "MimeType=image/jpeg;image/png;\n");
        cache += name + ".desktop;";
    }
    write(root.filePath(u"data/applications/mimeinfo.cache"_s), cache + '\n');
    QImage pixels(8, 8, QImage::Format_RGB32);
    pixels.fill(Qt::blue);
    pixels.save(root.filePath(u"photo.jpg"_s), "JPEG");
    QList<TQFileRef> folders;
    for (int i = 0; i < 20; ++i) {
        QDir(root.path()).mkpath(u"folders/Folder "_s + QString::number(i));
        folders.append(TQFile::newFileForPath(root.filePath(u"folders/Folder "_s + QString::number(i))));
    }

    const auto measure = [rounds](const char *what, const std::function<std::unique_ptr<QMenu>()> &build) {
        QElapsedTimer timer;
        timer.start();
        qsizetype items = build()->actions().size();
        const double first = timer.nsecsElapsed() / 1e6;
        timer.restart();
        for (int i = 0; i < rounds; ++i)
            items = build()->actions().size();
        const double later = timer.nsecsElapsed() / 1e6 / rounds;
        std::printf("%-44s %3lld items  first %7.2f ms  then %6.3f ms per menu (%d rounds)\n", what,
                    static_cast<long long>(items), first, later, rounds);
    };
    // A file item is made per menu, as a host makes one for its selection.
    measure("Open With, JPEG, 30 applications", [&root] {
        return TQMenuUtilities::openWithMenuForFiles({TQFile::newFileForPath(root.filePath(u"photo.jpg"_s))}, {});
    });
    measure("Drop Locations, 20 folders", [&folders] { return TQMenuUtilities::dropMenuWithFolders(folders); });
    return 0;
}
