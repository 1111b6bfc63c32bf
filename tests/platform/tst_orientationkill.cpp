// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientationWriter.h"
#include "TQSampleData.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// Kills a process that rewrites a picture's orientation in a loop at random moments, and
// after every kill looks at what a user would find: the picture whole (as it was, or with a
// new orientation and the same pixels) and no copy left in its folder, except one linked in
// the last instant before its rename, which the next write of the picture removes.
// TQKIT_KILLS sets the number of kills (a few hundred by default).
class TestOrientationKill : public QObject
{
    Q_OBJECT

private slots:
    void killedWritersLeaveThePictureWhole();
};

namespace {

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QImage storedPixels(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(false);
    return reader.read().convertToFormat(QImage::Format_RGB32);
}

// The child: rewrites for ever, each time to the orientation after the one it wrote last.
[[noreturn]] void rewriteForEver(const QString &path, int from)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    for (int orientation = from;; orientation = orientation % 8 + 1)
        TQImageOrientationWriter::writeOrientation(path, orientation);
}

} // namespace

void TestOrientationKill::killedWritersLeaveThePictureWhole()
{
    const QTemporaryDir root;
    const QString path = root.filePath(u"picture.jpg"_s);
    QVERIFY(TQSampleData::writeImage(path, "JPEG", QSize(64, 48), {{u"Orientation"_s, 1}}));
    const QImage pixels = storedPixels(path);
    const qsizetype size = readAll(path).size();
    QVERIFY(!pixels.isNull());
    const int kills = qEnvironmentVariableIntValue("TQKIT_KILLS") > 0 ? qEnvironmentVariableIntValue("TQKIT_KILLS") : 400;

    int intact = 0, rewritten = 0, litter = 0, litterRemoved = 0;
    QByteArray before = readAll(path);
    int next = 2;
    for (int round = 0; round < kills; ++round) {
        const pid_t child = ::fork();
        QVERIFY(child >= 0);
        if (child == 0)
            rewriteForEver(path, next);
        // A write takes a few milliseconds, mostly flushing; kills land anywhere in the loop.
        ::usleep(useconds_t(QRandomGenerator::global()->bounded(20000)));
        ::kill(child, SIGKILL);
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY(WIFSIGNALED(status));

        const QByteArray now = readAll(path);
        if (now == before) {
            ++intact;
        } else {
            ++rewritten;
            QCOMPARE(now.size(), size);
            QCOMPARE(storedPixels(path), pixels);
        }
        const int orientation = TQImageOrientationWriter::readOrientation(path);
        QVERIFY2(orientation >= 1 && orientation <= 8, qPrintable(u"round %1"_s.arg(round)));
        next = orientation % 8 + 1;

        const QStringList entries = QDir(root.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                                                | QDir::NoDotAndDotDot);
        for (const QString &entry : entries) {
            if (entry == u"picture.jpg")
                continue;
            QVERIFY2(entry.size() == 19 && entry.startsWith(u".picture.jpg."_s), qPrintable(entry));
            ++litter;
            QCOMPARE(TQImageOrientationWriter::writeOrientation(path, next), TQImageOrientationWriter::Result::Written);
            QVERIFY(!QFile::exists(root.filePath(entry)));
            ++litterRemoved;
            next = next % 8 + 1;
        }
        before = readAll(path);
    }
    qInfo("%d kills: %d intact, %d rewritten, %d damaged; %d copies left behind, %d of them removed by the next write",
          kills, intact, rewritten, kills - intact - rewritten, litter, litterRemoved);
    QCOMPARE(intact + rewritten, kills);
    QCOMPARE(litterRemoved, litter);
}

QTEST_GUILESS_MAIN(TestOrientationKill)
#include "tst_orientationkill.moc"
