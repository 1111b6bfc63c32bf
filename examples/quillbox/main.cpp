// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: BSD-3-Clause

// Quillbox, a file browser and image viewer.
//
//   quillbox [FOLDER]                     opens FOLDER (else the folder shown last, or home)
//   quillbox --screenshots DIR [FOLDER]   renders the window and writes its pictures to DIR
//   quillbox --version                    prints the version (the TQKit library's)

#include "QuillboxApplication.h"
#include "QuillboxScreenshots.h"
#include "QuillboxWindow.h"

#include <QApplication>
#include <QFile>
#include <QtMessageHandler>

#include <cstdio>
#include <cstring>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QuillboxApplication::setUp();

    // The folder is taken as the bytes the shell passed: its name need not be UTF-8.
    QByteArray folder;
    QString screenshots;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--screenshots") == 0 && i + 1 < argc) {
            screenshots = QFile::decodeName(argv[++i]);
        } else if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::printf("usage: quillbox [--screenshots DIR] [FOLDER]\n       quillbox --version\n");
            return 0;
        } else if (std::strcmp(argv[i], "--version") == 0 || std::strcmp(argv[i], "-v") == 0) {
            std::printf("quillbox %s\n", qPrintable(QApplication::applicationVersion()));
            return 0;
        } else if (argv[i][0] == '-') {
            std::fprintf(stderr, "quillbox: unknown option %s\nusage: quillbox [--screenshots DIR] [FOLDER]\n", argv[i]);
            return 2;
        } else {
            folder = argv[i];
        }
    }

    if (!screenshots.isEmpty()) {
        // Rendering without a display, the window system says at every window what it cannot
        // do (raise, grab the keyboard, size hints): true, and of no concern to a picture.
        static QtMessageHandler previous = qInstallMessageHandler(nullptr);
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &context, const QString &message) {
            if (!message.startsWith(u"This plugin does not support"))
                previous(type, context, message);
        });
    }
    QuillboxWindow window;
    window.restore(folder);
    if (!screenshots.isEmpty()) {
        QString error;
        const QStringList written = QuillboxScreenshots::write(window, screenshots, &error);
        for (const QString &path : written)
            std::printf("%s\n", qPrintable(path));
        if (!error.isEmpty())
            std::fprintf(stderr, "quillbox: %s\n", qPrintable(error));
        return error.isEmpty() ? 0 : 1;
    }
    window.show();
    return QApplication::exec();
}
