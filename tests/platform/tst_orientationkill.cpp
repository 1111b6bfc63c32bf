// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQImageOrientationWriter.h"
#include "TQSampleData.h"

#include <QDir>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace TQImageOrientationWriter;

// Kills a process that rewrites a picture's orientation in a loop at random moments, and
// after every kill looks at what a user would find: the picture whole (as it was, or with a
// new orientation and the same pixels) and no copy left in its folder, except one linked in
// the last instant before its rename, which the next write of the picture removes.
// TQKIT_KILLS sets the number of kills (a few hundred by default).
class TestOrientationKill : public QObject
{
    Q_OBJECT

private slots:
    void killedWritersLeaveThePictureWhole()
    {
        const QTemporaryDir root;
        const QString path = root.filePath(u"picture.jpg"_s);
        QVERIFY(TQSampleData::writeImage(path, "JPEG", QSize(64, 48), {{u"Orientation"_s, 1}}));
        const auto bytes = [&path] {
            QFile f(path);
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        };
        const auto pixels = [&path] {
            QImageReader reader(path);
            reader.setAutoTransform(false);
            return reader.read();
        };
        const QImage original = pixels();
        QVERIFY(!original.isNull());
        QByteArray before = bytes();
        const qsizetype size = before.size();
        const int kills = qEnvironmentVariable("TQKIT_KILLS", u"400"_s).toInt();
        int next = 2;
        for (int round = 0; round < kills; ++round) {
            const pid_t child = ::fork();
            QVERIFY(child >= 0);
            if (child == 0) { // rewrites for ever, each time to the orientation after the last
                qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
                for (int orientation = next;; orientation = orientation % 8 + 1)
                    writeOrientation(path, orientation);
            }
            // A write takes a few milliseconds, mostly flushing; kills land anywhere in the loop.
            ::usleep(useconds_t(QRandomGenerator::global()->bounded(20000)));
            ::kill(child, SIGKILL);
            int status = 0;
            QCOMPARE(::waitpid(child, &status, 0), child);
            QVERIFY(WIFSIGNALED(status));

            if (const QByteArray now = bytes(); now != before) {
                QCOMPARE(now.size(), size);
                QCOMPARE(pixels(), original);
            }
            const int orientation = readOrientation(path);
            QVERIFY2(orientation >= 1 && orientation <= 8, qPrintable(u"round %1"_s.arg(round)));
            next = orientation % 8 + 1;
            const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
            for (const QString &entry : QDir(root.path()).entryList(all)) {
                if (entry == u"picture.jpg")
                    continue;
                QVERIFY2(entry.size() == 19 && entry.startsWith(u".picture.jpg."_s), qPrintable(entry));
                QCOMPARE(writeOrientation(path, next), Result::Written);
                QVERIFY(!QFile::exists(root.filePath(entry)));
                next = next % 8 + 1;
            }
            before = bytes();
        }
    }
};

QTEST_GUILESS_MAIN(TestOrientationKill)
#include "tst_orientationkill.moc"
