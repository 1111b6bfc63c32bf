// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "UWFileLoadOperation.h"
#include "UWStandardFile.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// A folder's ".hidden" file hides the names it lists. A listing reads it once for all its
// entries, an item made from a path reads it itself: both must give the same answer.
class tst_HiddenNames : public QObject
{
    Q_OBJECT

private slots:
    void listedNames_data()
    {
        QTest::addColumn<QByteArray>("list"); // the ".hidden" file's bytes; null: no such file
        QTest::addColumn<bool>("fifo");       // ".hidden" is a named pipe instead
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("invisible");

        QTest::newRow("no list") << QByteArray() << false << QByteArray("a.txt") << false;
        QTest::newRow("dot name, no list") << QByteArray() << false << QByteArray(".a") << true;
        QTest::newRow("listed") << QByteArray("b.txt\na.txt\n") << false << QByteArray("a.txt") << true;
        QTest::newRow("listed, last line") << QByteArray("b.txt\na.txt") << false << QByteArray("a.txt") << true;
        QTest::newRow("CRLF lines") << QByteArray("a.txt\r\nb.txt\r\n") << false << QByteArray("a.txt") << true;
        QTest::newRow("not listed") << QByteArray("b.txt\n") << false << QByteArray("a.txt") << false;
        QTest::newRow("only a prefix listed") << QByteArray("a.tx\n") << false << QByteArray("a.txt") << false;
        QTest::newRow("name not UTF-8") << QByteArray("\xff.txt\n") << false << QByteArray("\xff.txt") << true;
        QTest::newRow("list is a pipe") << QByteArray() << true << QByteArray("a.txt") << false;
    }

    void listedNames()
    {
        QFETCH(QByteArray, list);
        QFETCH(bool, fifo);
        QFETCH(QByteArray, name);
        QFETCH(bool, invisible);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QByteArray folder = QFile::encodeName(dir.path());
        const QByteArray path = folder + '/' + name;
        // By bytes: a name that is not UTF-8 does not survive a trip through QString.
        for (const QByteArray &made : {path, folder + "/b.txt"}) {
            const int fd = ::open(made.constData(), O_WRONLY | O_CREAT | O_EXCL, 0644);
            QVERIFY(fd >= 0);
            ::close(fd);
        }
        if (fifo)
            QCOMPARE(::mkfifo(folder + "/.hidden", 0600), 0);
        if (!list.isNull()) {
            QFile hidden(dir.filePath(u".hidden"_s));
            QVERIFY(hidden.open(QIODevice::WriteOnly));
            QCOMPARE(hidden.write(list), list.size());
        }

        // A pipe is refused without blocking, once for the listing and once for the lone item.
        const QRegularExpression refusal(u"\\.hidden.*named pipe"_s);
        if (fifo) {
            QTest::ignoreMessage(QtWarningMsg, refusal);
            QTest::ignoreMessage(QtWarningMsg, refusal);
        }
        UWFileLoadOperation listing;
        listing.addObjectToQueue(UWStandardFile::newFileForNativePath(folder));
        listing.main();
        UWStandardFileRef listed;
        for (const UWStandardFileRef &item : listing.results()) {
            if (item->nativePath() == path)
                listed = item;
        }
        QVERIFY(listed);
        QCOMPARE(listed->isInvisible(), invisible);

        const UWStandardFileRef alone = UWStandardFile::newFileForNativePath(path);
        QVERIFY(alone && alone->exists());
        QCOMPARE(alone->isInvisible(), invisible);
    }
};

QTEST_GUILESS_MAIN(tst_HiddenNames)
#include "tst_hiddennames.moc"
