// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// tqkit-make-samples DIR [--manifest]
//
// Writes the sample tree into DIR (created when missing). The build runs it once into
// <build>/sample-data; tests that want a tree of their own call TQSampleData::writeSamples()
// on a temporary folder instead.

#include "TQSampleData.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void printError(const QString &message)
{
    std::fprintf(stderr, "tqkit-make-samples: %s\n", message.toLocal8Bit().constData());
}

} // namespace

int main(int argc, char *argv[])
{
    // QCoreApplication, not QGuiApplication: drawing into a QImage needs no platform plugin,
    // and the build machine has no display.
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"tqkit-make-samples"_s);

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Writes the TQKit sample files into DIR."_s);
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption manifestOption(u"manifest"_s,
            u"Also print the list of samples, and what each promises, as JSON on stdout."_s);
    parser.addOption(manifestOption);
    parser.addPositionalArgument(u"DIR"_s, u"The folder to write into; created when missing."_s);

    if (!parser.parse(QCoreApplication::arguments())) {
        printError(parser.errorText());
        return 1;
    }
    if (parser.isSet(helpOption)) {
        std::fputs(parser.helpText().toLocal8Bit().constData(), stdout);
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 1) {
        printError(u"expected exactly one folder to write into (see --help)"_s);
        return 1;
    }

    const QString dir = positional.first();
    if (!QDir().mkpath(dir)) {
        printError(u"cannot create the folder %1"_s.arg(dir));
        return 1;
    }
    QString error;
    const QList<TQSampleData::Sample> samples = TQSampleData::writeSamples(dir, &error);
    if (samples.isEmpty()) {
        printError(error.isEmpty() ? u"no samples were written"_s : error);
        return 1;
    }

    if (parser.isSet(manifestOption)) {
        QJsonArray list;
        for (const TQSampleData::Sample &s : samples) {
            list.append(QJsonObject{
                {u"path"_s, s.relativePath},
                {u"kind"_s, s.kind},
                {u"expected"_s, QJsonObject::fromVariantMap(s.expected)},
            });
        }
        const QJsonObject manifest{
            {u"root"_s, QDir(dir).absolutePath()},
            {u"samples"_s, list},
        };
        QFile out;
        if (!out.open(stdout, QIODevice::WriteOnly)
            || out.write(QJsonDocument(manifest).toJson(QJsonDocument::Indented)) < 0 || !out.flush()) {
            printError(u"cannot write the manifest to stdout"_s);
            return 1;
        }
    }
    return 0;
}
