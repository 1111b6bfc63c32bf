#include "tqinfo_menus.h"

#include "TQFile.h"
#include "TQMenuUtilities.h"
#include "TQResponderUtilities.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QKeySequence>
#include <QMenu>

#include <cstdio>
#include <cstring>

namespace TQInfo {

QCommandLineOption openWithOption()
{
    return QCommandLineOption(QStringLiteral("open-with"),
                              QStringLiteral("Prints the Open With menu for the FILEs (the first decides the "
                                             "applications): title, shortcut, action and application per line."));
}

std::unique_ptr<QCoreApplication> makeApplication(int &argc, char **argv)
{
    bool menus = false;
    for (int i = 1; i < argc; ++i)
        menus = menus || std::strcmp(argv[i], "--open-with") == 0;
    if (!menus)
        return std::make_unique<QCoreApplication>(argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return std::make_unique<QApplication>(argc, argv);
}

int printOpenWithMenu(const QList<QByteArray> &paths, QString *usageError)
{
    if (paths.isEmpty()) {
        *usageError = QStringLiteral("--open-with needs a file");
        return 2;
    }
    QList<TQFileRef> files;
    for (const QByteArray &path : paths) {
        if (const TQFileRef file = TQFile::newFileForNativePath(path))
            files.append(file);
    }
    if (files.isEmpty() || !files.first()->exists()) {
        const QByteArray line = "tqinfo: " + QFile::decodeName(paths.first()).toUtf8() + ": no such file\n";
        std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
        return 1;
    }

    const std::unique_ptr<QMenu> menu = TQMenuUtilities::openWithMenuForFiles(files, {});
    QByteArray out;
    for (const QAction *action : menu->actions()) {
        if (action->isSeparator()) {
            out += "-\n";
            continue;
        }
        const UWStandardFileRef application = TQFile::itemFromValue(action->data());
        const QString line = QString(action->text()).replace(QStringLiteral("&&"), QStringLiteral("&")) + u'\t'
                           + action->shortcut().toString(QKeySequence::PortableText) + u'\t'
                           + TQResponderUtilities::action(action) + u'\t'
                           + (application ? application->path() : QString());
        out += line.toUtf8() + '\n';
    }
    std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return 0;
}

} // namespace TQInfo
