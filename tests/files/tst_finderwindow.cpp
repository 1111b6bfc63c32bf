// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQTestDesktop.h"
#include "TQUtilityFunctions.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.FileManager1"_s;

// A file manager on the test's own bus: it records each call and answers or refuses it.
class FileManagerStub : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QList<QStringList> folders;
    QStringList startupIds;
    bool refuse = false;

public slots:
    void ShowFolders(const QStringList &uris, const QString &startupId)
    {
        folders.append(uris);
        startupIds.append(startupId);
        if (refuse)
            sendErrorReply(QDBusError::Failed, u"refused by the test"_s);
    }
};

// The address of the private bus main() starts.
QString busAddress;

} // namespace

class TestFinderWindow : public QObject
{
    Q_OBJECT

public slots:
    // Stands for the desktop's handler of file URLs.
    void open(const QUrl &url) { m_opened.append(url); }

private slots:
    void initTestCase()
    {
        QVERIFY(QDBusConnection::sessionBus().isConnected());
        QVERIFY(m_home.isValid());
        QDesktopServices::setUrlHandler(u"file"_s, this, "open");
    }

    void showsTheHomeFolder_data()
    {
        QTest::addColumn<QString>("fileManager"); // "stub", "refusing stub", "none"
        QTest::addColumn<QByteArray>("homeName");  // below the test's folder, as bytes
        QTest::addColumn<QByteArray>("uriEnd");    // what the URI ends with after that folder

        QTest::newRow("a file manager shows the folder") << u"stub"_s << QByteArray("home") << QByteArray("/home");
        QTest::newRow("a name that is not UTF-8 reaches it intact")
            << u"stub"_s << QByteArray("Caf\xc3\xa9 \xff") << QByteArray("/Caf%C3%A9%20%FF");
        QTest::newRow("a file manager that refuses: the desktop opens the folder")
            << u"refusing stub"_s << QByteArray("home") << QByteArray("/home");
        // Any error answer falls back alike; a file manager that cannot start answers as none does.
        QTest::newRow("no file manager on the bus: the desktop opens the folder")
            << u"none"_s << QByteArray("home") << QByteArray("/home");
    }

    void showsTheHomeFolder()
    {
        QFETCH(QString, fileManager);
        QFETCH(QByteArray, homeName);
        QFETCH(QByteArray, uriEnd);

        const QByteArray home = QFile::encodeName(m_home.path()) + '/' + homeName;
        const QByteArray oldHome = qgetenv("HOME");
        qputenv("HOME", home);
        auto restoreHome = qScopeGuard([&] { qputenv("HOME", oldHome); });
        const QByteArray uri = "file://" + QFile::encodeName(m_home.path()) + uriEnd;

        // The stub has a connection of its own: a call within one connection would not cross the bus.
        FileManagerStub stub;
        QDBusConnection stubBus = QDBusConnection::connectToBus(busAddress, u"stub"_s);
        auto disconnect = qScopeGuard([&] {
            stubBus.unregisterService(service);
            stubBus.unregisterObject(u"/org/freedesktop/FileManager1"_s);
            QDBusConnection::disconnectFromBus(u"stub"_s);
        });
        const bool withStub = fileManager.endsWith(u"stub");
        if (withStub) {
            stub.refuse = fileManager.startsWith(u"refusing");
            QVERIFY(stubBus.registerObject(u"/org/freedesktop/FileManager1"_s, &stub, QDBusConnection::ExportAllSlots));
            QVERIFY(stubBus.registerService(service));
        }
        m_opened.clear();

        TQOpenNewFinderWindow();
        if (withStub)
            QTRY_COMPARE(stub.folders.size(), 1);
        // Then a call that certainly falls back: replies come back in order, so once it has fallen
        // back the first call's answer has been dealt with too.
        const int expected = fileManager == u"stub" ? 0 : 1;
        stub.refuse = true;
        TQOpenNewFinderWindow();
        QTRY_COMPARE_WITH_TIMEOUT(m_opened.size(), expected + 1, 30000);
        for (const QUrl &url : std::as_const(m_opened))
            QCOMPARE(url.toEncoded(), uri);
        if (withStub) {
            QCOMPARE(stub.folders, QList<QStringList>(2, QStringList{QString::fromLatin1(uri)}));
            QCOMPARE(stub.startupIds, QStringList(2, QString()));
        }
    }

    void cleanupTestCase()
    {
        QDesktopServices::unsetUrlHandler(u"file"_s);
    }


private:
    QList<QUrl> m_opened;
    QTemporaryDir m_home;
};

int main(int argc, char **argv)
{
    // A bus of the test's own, in place before anything connects to a session bus. Nothing on
    // it can be started on demand.
    QTemporaryDir folder;
    if (!folder.isValid())
        qFatal("no folder for the test's bus");
    const QString config = folder.filePath(u"bus.conf"_s);
    if (!writeWholeFile(config, "<busconfig><type>session</type><listen>unix:dir=" + QFile::encodeName(folder.path())
                                    + "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                                      "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n"))
        qFatal("cannot write the test bus's configuration");

    QProcess daemon;
    daemon.setStandardErrorFile(QProcess::nullDevice());
    daemon.start(u"dbus-daemon"_s, {u"--nofork"_s, u"--print-address"_s, u"--config-file="_s + config});
    if (!daemon.waitForStarted())
        qFatal("dbus-daemon did not start");
    auto stopDaemon = qScopeGuard([&] {
        daemon.terminate();
        daemon.waitForFinished();
    });
    while (!daemon.canReadLine() && daemon.waitForReadyRead(10000)) {
    }
    busAddress = QString::fromUtf8(daemon.readLine().trimmed());
    if (busAddress.isEmpty())
        qFatal("dbus-daemon gave no address");
    qputenv("DBUS_SESSION_BUS_ADDRESS", busAddress.toUtf8());

    QGuiApplication application(argc, argv);
    TestFinderWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_finderwindow.moc"
