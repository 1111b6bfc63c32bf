// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQFuzzSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace TQFuzz {
namespace {

// libFuzzer leaves through exit(), after which Qt's own globals are already going: the
// application is never destroyed (it stays reachable, so it is no leak either). The scratch
// folder is removed at exit.
QCoreApplication *application = nullptr;
std::unique_ptr<QTemporaryDir> scratch;

void quiet(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "qFatal: %s\n", qPrintable(message));
        std::abort();
    }
}

} // namespace

void initialize(int *argc, char ***argv, bool gui)
{
    qInstallMessageHandler(quiet);
    if (gui) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = new QGuiApplication(*argc, *argv);
    } else {
        application = new QCoreApplication(*argc, *argv);
    }
    scratch = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/tqkit-fuzz-XXXXXX"));
    if (!scratch->isValid())
        fail("no scratch folder", scratch->errorString());
}

QString scratchFolder()
{
    return scratch->path();
}

QString scratchPath(const QString &name)
{
    return scratch->filePath(name);
}

QString writeInput(const QString &name, const QByteArray &data)
{
    const QString path = scratchPath(name);
    // A write that fails here is the machine's problem, not a finding about the library.
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(data) != data.size())
        fail("can't write the input to", path);
    return path;
}

QByteArray view(const uint8_t *data, size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
}

QByteArray readBack(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void fail(const char *what, const QString &detail)
{
    std::fprintf(stderr, "TQKit fuzz: %s %s\n", what, qPrintable(detail));
    std::abort();
}

quint64 touch(const uchar *bytes, qsizetype size)
{
    quint64 sum = 0;
    for (qsizetype i = 0; i < size; ++i)
        sum += bytes[i];
    return sum;
}

} // namespace TQFuzz
