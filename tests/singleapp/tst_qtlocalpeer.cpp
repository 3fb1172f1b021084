// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "LiveChild.h"
#include "RawSocket.h"
#include "Sandbox.h"
#include "singleapp/QtLocalPeer.h"
#include "support/Capture.h"
#include "support/Unprivileged.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>

#include <QtCore/QtEndian>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/un.h>

using TestSupport::Capture;
using TestSupport::LiveChild;
using TestSupport::RawSocket;
using TestSupport::Sandbox;
using TestSupport::Unprivileged;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

const QString peerHelper = QStringLiteral("peer_child");
const QStringList notOpened{QStringLiteral("W QtLockedFile::lock(): file is not opened")};
const QStringList receptionFailed{
    QStringLiteral("W QtLocalPeer: Message reception failed \"Unknown error\"")};

QByteArray announcement(quint32 length)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(length, bytes.data());
    return bytes;
}

QByteArray frame(const QByteArray &text)
{
    return announcement(static_cast<quint32>(text.size())) + text;
}

QStringList sendArguments(const QString &id, const QString &text, int timeoutMs,
                          const char *block = "pass")
{
    return {QStringLiteral("send"), id, QString::number(timeoutMs), QString::fromLatin1(block),
            QString::fromLatin1(text.toUtf8().toHex())};
}

/// Bytes of memory that this process has in use.
qint64 residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    return statm.readAll().split(' ').at(1).toLongLong() * ::sysconf(_SC_PAGESIZE);
}

/// While it lives, this process gets no more than @p room bytes of address space beside
/// what it has: every reservation counts, touched or not.
class AddressSpaceLimit
{
public:
    explicit AddressSpaceLimit(qint64 room)
    {
        QFile statm(QStringLiteral("/proc/self/statm"));
        if (::getrlimit(RLIMIT_AS, &m_previous) != 0 || !statm.open(QIODevice::ReadOnly))
            qFatal("cannot limit the address space");
        const qint64 used = statm.readAll().split(' ').at(0).toLongLong() * ::sysconf(_SC_PAGESIZE);
        rlimit tight = m_previous;
        tight.rlim_cur = static_cast<rlim_t>(used + room);
        ::setrlimit(RLIMIT_AS, &tight);
    }
    ~AddressSpaceLimit() { ::setrlimit(RLIMIT_AS, &m_previous); }
    Q_DISABLE_COPY(AddressSpaceLimit)

private:
    rlimit m_previous = {};
};

int descriptorCount()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
        .size();
}

/// A server in this process that keeps what it receives.
class Server
{
public:
    explicit Server(const QString &id)
        : m_peer(nullptr, id)
        , m_listens(!m_peer.isClient())
    {
        QObject::connect(&m_peer, &QtLocalPeer::messageReceived, &m_peer,
                         [this](const QString &text, QObject *socket) {
                             m_texts.append(text);
                             m_sockets.append(socket);
                             if (m_deletes)
                                 delete m_sockets.takeLast();
                         });
    }

    bool listens() const { return m_listens; }
    QtLocalPeer &peer() { return m_peer; }
    const QStringList &texts() const { return m_texts; }
    const QObjectList &sockets() const { return m_sockets; }
    void deleteSockets(bool on) { m_deletes = on; }

    /// Serves events until there are @p count texts or the limit is over.
    bool waitForTexts(int count, int limitMs = 30000)
    {
        QElapsedTimer timer;
        timer.start();
        while (m_texts.size() < count && timer.elapsed() < limitMs)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents,
                                            50);
        return m_texts.size() >= count;
    }
    QStringList takeTexts()
    {
        QStringList texts;
        texts.swap(m_texts);
        return texts;
    }

private:
    QtLocalPeer m_peer;
    bool m_listens;
    bool m_deletes = false;
    QStringList m_texts;
    QObjectList m_sockets;
};

} // namespace

class tst_QtLocalPeer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void sessionIds_data();
    void sessionIds();
    void metaObject();
    void startsNeutral();
    void emptyIdIsTheProgram();
    void firstPeerBecomesTheServer();
    void nextProcessIsClient();
    void serverGoesWithItsPeer();
    void serverRemovesStaleSocket();
    void nextServerAfterACrash();
    void twoPeersOfOneProcess();
    void socketThatCannotBeMade();
    void temporaryDirectoryMissing();
    void temporaryDirectoryReadOnly();
    void onlyTheUserMayConnect();
    void onlyTheUserMayLock();
    void linkInPlaceOfTheLockFile();
    void lockFileOfAStranger();
    void strangerGetsNoMessage();

    void messages_data();
    void messages();
    void hugeMessage();
    void wireFormat_data();
    void wireFormat();
    void splitAnywhere();
    void brokenText();
    void sendWithoutServerListens();
    void sendTo_data();
    void sendTo();
    void sendWaitsForNobody();
    void announcementOfNobody();
    void sendWaitsForTheReceiver();
    void sendWaitsThoughItFailed();
    void unreceivedMessageKeepsItsConnection();
    void receiverMayDeleteThePeer();

    void senderStalls_data();
    void senderStalls();
    void senderLeaves_data();
    void senderLeaves();
    void lengthBeyondAnyArray_data();
    void lengthBeyondAnyArray();
    void announcedBytesAreNotAllocated();
    void moreThanAnnounced();
    void rubbish();
    void senderThatGoesOn();
    void serverThatGoesOn();
    void silentClientBlocksUntilItLeaves();
    void floodOfConnections();
    void manyMessagesLeaveNothing();

private:
    QString socketPath() const { return m_sandbox.fileOf(m_id); }
    QString lockPath() const { return m_sandbox.fileOf(m_id, "-lockfile"); }

    Sandbox m_sandbox;
    QString m_id;
    std::unique_ptr<Capture> m_capture;
};

void tst_QtLocalPeer::initTestCase()
{
    QVERIFY(m_sandbox.isValid());
}

void tst_QtLocalPeer::init()
{
    m_sandbox.use();
    m_id = QStringLiteral("tst_qtlocalpeer/%1/%2")
               .arg(QString::fromLatin1(QTest::currentTestFunction()),
                    QString::fromLatin1(QTest::currentDataTag()));
    m_capture = std::make_unique<Capture>();
}

/// Neither the library nor Qt may have said more than the test took note of, and
/// nothing may be left in the temporary directory.
void tst_QtLocalPeer::cleanup()
{
    const QStringList unexpected = m_capture->take();
    m_capture.reset();
    QCOMPARE(unexpected, QStringList());
    m_sandbox.use();
    const QStringList left = m_sandbox.entries();
    for (const QString &name : left)
        QFile::remove(m_sandbox.path() + QLatin1Char('/') + name);
    QCOMPARE(left, QStringList());
}

void tst_QtLocalPeer::sessionIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("checksum");
    QTest::newRow("empty") << QString() << "0";
    QTest::newRow("check value of the algorithm") << "123456789"
                                                  << "906e";
    QTest::newRow("one letter") << "a"
                                << "82f7";
    QTest::newRow("UTF-8, not UTF-16") << QString(QChar(0x00e9)) << "d74e";
    QTest::newRow("leading zero left out") << "id6"
                                           << "91f";
}

void tst_QtLocalPeer::sessionIds()
{
    QFETCH(QString, id);
    QFETCH(QString, checksum);
    QCOMPARE(
        QtLocalPeer::appSessionId(id),
        QStringLiteral("qtsingleapplication-%1-%2").arg(checksum, QString::number(::getuid(), 16)));
}

void tst_QtLocalPeer::metaObject()
{
    const QMetaObject &meta = QtLocalPeer::staticMetaObject;
    QCOMPARE(meta.className(), "QtLocalPeer");
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount() + 1);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    QCOMPARE(signal.methodSignature(), QByteArray("messageReceived(QString,QObject*)"));
    QCOMPARE(signal.parameterNames(), (QList<QByteArray>{"message", "socket"}));
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), 0);
}

void tst_QtLocalPeer::startsNeutral()
{
    {
        QObject parent;
        auto *peer = new QtLocalPeer(&parent, m_id);
        QCOMPARE(peer->parent(), &parent);
        QVERIFY(QFileInfo::exists(lockPath()));
        QVERIFY(!QFileInfo::exists(socketPath()));
        LiveChild other(peerHelper, {QStringLiteral("ask"), m_id});
        QCOMPARE(other.line(), QByteArray("client no"));
    }
    // The other one has deleted the file; a neutral peer alone leaves it.
    QVERIFY(!QFileInfo::exists(lockPath()));
    {
        const QtLocalPeer peer(nullptr, m_id);
    }
    QVERIFY(QFile::remove(lockPath()));
}

void tst_QtLocalPeer::emptyIdIsTheProgram()
{
    Server server((QString()));
    QVERIFY(server.listens());
    QVERIFY(QFileInfo::exists(m_sandbox.fileOf(QCoreApplication::applicationFilePath())));
}

void tst_QtLocalPeer::firstPeerBecomesTheServer()
{
    QtLocalPeer peer(nullptr, m_id);
    QVERIFY(!peer.isClient());
    QVERIFY(QFileInfo::exists(socketPath()));
    QVERIFY(QFileInfo::exists(lockPath()));
    QVERIFY(!peer.isClient()); // and asks nobody again
    QVERIFY(QFile::remove(socketPath()));
    QVERIFY(!peer.isClient());
    QVERIFY(!QFileInfo::exists(socketPath()));
}

void tst_QtLocalPeer::nextProcessIsClient()
{
    Server server(m_id);
    LiveChild other(peerHelper, {QStringLiteral("ask"), m_id});
    QCOMPARE(other.line(), QByteArray("client yes"));
    QVERIFY(other.finish());
    QCOMPARE(other.errors(), QByteArray());
    // A client that goes takes nothing of the server's with it.
    QVERIFY(QFileInfo::exists(lockPath()));
    LiveChild third(peerHelper, {QStringLiteral("ask"), m_id});
    QCOMPARE(third.line(), QByteArray("client yes"));
}

void tst_QtLocalPeer::serverGoesWithItsPeer()
{
    LiveChild other(peerHelper, {QStringLiteral("ask"), m_id});
    QCOMPARE(other.line(), QByteArray("client no"));
    QtLocalPeer peer(nullptr, m_id);
    QVERIFY(peer.isClient());
    QVERIFY(other.finish());
    QCOMPARE(other.errors(), QByteArray());
    QVERIFY(!QFileInfo::exists(socketPath()));
    QVERIFY(!QFileInfo::exists(lockPath()));
    QVERIFY(!peer.isClient()); // on the deleted file, which it had opened
    QVERIFY(QFileInfo::exists(socketPath()));
}

void tst_QtLocalPeer::serverRemovesStaleSocket()
{
    QFile stale(socketPath());
    QVERIFY(stale.open(QIODevice::WriteOnly));
    stale.close();
    Server server(m_id);
    QVERIFY(server.listens());
    const RawSocket client(socketPath());
    QCOMPARE(client.error(), 0);
}

void tst_QtLocalPeer::nextServerAfterACrash()
{
    LiveChild other(peerHelper, {QStringLiteral("ask"), m_id});
    QCOMPARE(other.line(), QByteArray("client no"));
    other.kill();
    QVERIFY(QFileInfo::exists(socketPath()));
    QCOMPARE(RawSocket(socketPath()).error(), ECONNREFUSED);
    Server server(m_id);
    QVERIFY(server.listens());
    QCOMPARE(RawSocket(socketPath()).error(), 0);
}

void tst_QtLocalPeer::twoPeersOfOneProcess()
{
    Server first(m_id);
    {
        Server second(m_id);
        QVERIFY(second.listens());
        const RawSocket client(socketPath());
        client.write(frame("whose"));
        QVERIFY(second.waitForTexts(1));
        QCOMPARE(first.texts(), QStringList());
    }
    LiveChild other(peerHelper, {QStringLiteral("ask"), m_id});
    QCOMPARE(other.line(), QByteArray("client no")); // the lock of the first is gone
}

void tst_QtLocalPeer::socketThatCannotBeMade()
{
    QVERIFY(QDir().mkdir(socketPath())); // nothing that can be removed or replaced
    {
        QtLocalPeer peer(nullptr, m_id);
        QVERIFY(!peer.isClient());
        const QStringList warnings = m_capture->take();
        QCOMPARE(warnings.size(), 2);
        QCOMPARE(warnings.at(0),
                 QStringLiteral("W QtSingleCoreApplication: could not cleanup socket"));
        const QString start =
            QStringLiteral("W QtSingleCoreApplication: listen on local socket failed, ");
        QVERIFY2(warnings.at(1).startsWith(start + QLatin1String("QLocalServer::listen: ")),
                 qPrintable(warnings.at(1)));
        QVERIFY(!peer.isClient()); // the server of nobody
        LiveChild other(peerHelper, sendArguments(m_id, QStringLiteral("x"), 100));
        QVERIFY(other.line().startsWith("sent no "));
    }
    QVERIFY(QDir().rmdir(socketPath()));
}

void tst_QtLocalPeer::temporaryDirectoryMissing()
{
    Sandbox::setTemporaryDir(m_sandbox.path() + QLatin1String("/missing"));
    QtLocalPeer peer(nullptr, m_id);
    QVERIFY(peer.isClient());
    QCOMPARE(m_capture->take(), notOpened);
    QVERIFY(!peer.sendMessage(QStringLiteral("x"), 10, false));
    QCOMPARE(m_capture->take(), notOpened);
}

void tst_QtLocalPeer::temporaryDirectoryReadOnly()
{
    const Unprivileged user;
    QTemporaryDir directory(QStringLiteral("/tmp/tst_qtlocalpeer-XXXXXX"));
    QVERIFY(directory.isValid());
    QVERIFY(QFile::setPermissions(directory.path(), QFile::ReadOwner | QFile::ExeOwner));
    Sandbox::setTemporaryDir(directory.path());
    {
        QtLocalPeer peer(nullptr, m_id);
        QVERIFY(peer.isClient());
        QCOMPARE(m_capture->take(), notOpened);
    }
    QVERIFY(QFile::setPermissions(directory.path(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void tst_QtLocalPeer::onlyTheUserMayConnect()
{
    const QString path = socketPath(); // named after the user
    const mode_t previous = ::umask(0);
    Server server(m_id);
    ::umask(previous);
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(path).constData(), &status), 0);
    QVERIFY(S_ISSOCK(status.st_mode));
    QCOMPARE(int(status.st_mode & 07777), 0700);
    QCOMPARE(RawSocket(path).error(), 0);
    if (::geteuid() != 0)
        return; // only root can play another user
    const Unprivileged otherUser;
    QCOMPARE(RawSocket(path).error(), EACCES);
}

/// Whoever may open the file may hold a lock on it.
void tst_QtLocalPeer::onlyTheUserMayLock()
{
    const mode_t previous = ::umask(0);
    Server server(m_id);
    ::umask(previous);
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(lockPath()).constData(), &status), 0);
    QCOMPARE(int(status.st_mode & 07777), 0600);
}

void tst_QtLocalPeer::linkInPlaceOfTheLockFile()
{
    const QString elsewhere = m_sandbox.path() + QLatin1String("/elsewhere");
    QVERIFY(QFile::link(elsewhere, lockPath()));
    {
        QtLocalPeer peer(nullptr, m_id);
        QVERIFY(peer.isClient());
        QCOMPARE(m_capture->take(), notOpened);
    }
    QVERIFY(!QFileInfo::exists(elsewhere)); // nothing was made there
    QVERIFY(QFileInfo(lockPath()).isSymLink());
    QVERIFY(QFile::remove(lockPath()));
}

void tst_QtLocalPeer::lockFileOfAStranger()
{
    if (::geteuid() != 0)
        QSKIP("only root can play another user");
    constexpr unsigned nobody = 65534;
    QFile file(lockPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QCOMPARE(::chown(QFile::encodeName(lockPath()).constData(), nobody, nobody), 0);
    {
        QtLocalPeer peer(nullptr, m_id);
        QVERIFY(peer.isClient()); // as if somebody held it
        QCOMPARE(m_capture->take(), notOpened);
        QVERIFY(!QFileInfo::exists(socketPath()));
    }
    QVERIFY(QFile::remove(lockPath()));
}

void tst_QtLocalPeer::strangerGetsNoMessage()
{
    if (::geteuid() != 0)
        QSKIP("only root can play another user");
    const QByteArray directory = QFile::encodeName(m_sandbox.path());
    QCOMPARE(::chmod(directory.constData(), 0777), 0);
    {
        // It acknowledges whatever it gets.
        LiveChild stranger(
            peerHelper,
            {QStringLiteral("fake"), m_id, QStringLiteral("slow"), QStringLiteral("nobody")});
        QCOMPARE(stranger.line(), QByteArray("ready"));
        QtLocalPeer peer(nullptr, m_id);
        QVERIFY(!peer.sendMessage(QStringLiteral("secret"), 5000, false));
        QCOMPARE(m_capture->take(), notOpened);
        QVERIFY(!peer.sendMessage(QStringLiteral("secret"), 5000, true)); // nor waits for it
        QCOMPARE(m_capture->take(), notOpened);
    }
    QCOMPARE(::chmod(directory.constData(), 0755), 0);
}

void tst_QtLocalPeer::messages_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << "";
    QTest::newRow("1 byte") << "x";
    QTest::newRow("words") << "show window 2";
    QTest::newRow("NUL inside") << QString(QStringLiteral("a") + QChar(0) + QStringLiteral("b"));
    QTest::newRow("only NUL") << QString(3, QChar(0));
    QTest::newRow("line feeds and marks") << "1\n2\r\n%1 %s";
    QTest::newRow("2, 3 and 4 bytes") << QStringLiteral("é 机器人 \U0001F916");
    QTest::newRow("64 KiB") << QString(65536, QLatin1Char('k'));
}

void tst_QtLocalPeer::messages()
{
    QFETCH(QString, text);
    if (text.size() > 60000) {
        Server server(m_id);
        LiveChild client(
            peerHelper,
            {QStringLiteral("fill"), m_id, QStringLiteral("20000"), QString::number(text.size())});
        QVERIFY(server.waitForTexts(1));
        QCOMPARE(server.texts().constFirst(), QString(text.size(), QLatin1Char('x')));
        QCOMPARE(client.line(), QByteArray("sent yes"));
        return;
    }
    Server server(m_id);
    LiveChild client(peerHelper, sendArguments(m_id, text, 20000));
    QVERIFY(server.waitForTexts(1));
    QCOMPARE(server.texts(), QStringList{text});
    QVERIFY(client.line().startsWith("sent yes "));
    QVERIFY(client.finish());
    QCOMPARE(client.errors(), QByteArray());
    QVERIFY(qobject_cast<QLocalSocket *>(server.sockets().constFirst()));
}

void tst_QtLocalPeer::hugeMessage()
{
    constexpr int size = 16 * 1024 * 1024;
    Server server(m_id);
    LiveChild client(
        peerHelper, {QStringLiteral("fill"), m_id, QStringLiteral("30000"), QString::number(size)});
    QVERIFY(server.waitForTexts(1));
    QVERIFY(server.texts().constFirst() == QString(size, QLatin1Char('x')));
    QCOMPARE(client.line(), QByteArray("sent yes"));
}

void tst_QtLocalPeer::wireFormat_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray("\0\0\0\0", 4) << "";
    QTest::newRow("text") << QByteArray("\0\0\0\x02hi", 6) << "hi";
    QTest::newRow("UTF-8") << QByteArray("\0\0\0\x02\xc3\xa9", 6) << QString(QChar(0x00e9));
    QTest::newRow("big-endian") << (QByteArray("\0\0\x01\0", 4) + QByteArray(256, 'y'))
                                << QString(256, QLatin1Char('y'));
}

void tst_QtLocalPeer::wireFormat()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    Server server(m_id);
    const RawSocket client(socketPath());
    QCOMPARE(client.write(bytes), bytes.size());
    QVERIFY(server.waitForTexts(1));
    QCOMPARE(server.texts(), QStringList{text});
    QCOMPARE(client.read(1000), QByteArray("ack"));
    QCOMPARE(client.read(50), QByteArray()); // and stays open until the receiver is done
    delete server.sockets().constFirst();
    QCOMPARE(client.read(1000), QByteArray("(end)"));
}

void tst_QtLocalPeer::splitAnywhere()
{
    const QString text = QStringLiteral("é机\U0001F916.");
    const QByteArray bytes = frame(text.toUtf8());
    Server server(m_id);
    for (int cut = 1; cut < bytes.size(); ++cut) {
        const RawSocket client(socketPath());
        QCOMPARE(client.write(bytes.left(cut)), cut);
        std::thread rest([&client, &bytes, cut] {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            client.write(bytes.mid(cut));
        });
        const bool came = server.waitForTexts(1);
        rest.join();
        QVERIFY(came);
        QCOMPARE(server.takeTexts(), QStringList{text});
        QCOMPARE(client.read(1000), QByteArray("ack"));
    }
}

void tst_QtLocalPeer::brokenText()
{
    Server server(m_id);
    const RawSocket client(socketPath());
    client.write(frame("a\xff\xc3"));
    QVERIFY(server.waitForTexts(1));
    QCOMPARE(server.texts(), QStringList{QStringLiteral("a") + QString(2, QChar(0xfffd))});
}

void tst_QtLocalPeer::sendWithoutServerListens()
{
    QtLocalPeer peer(nullptr, m_id);
    QVERIFY(!peer.sendMessage(QStringLiteral("anybody"), 1000, true));
    QVERIFY(!peer.isClient());
    QSignalSpy received(&peer, &QtLocalPeer::messageReceived);
    LiveChild client(peerHelper, sendArguments(m_id, QStringLiteral("me"), 20000));
    QTRY_COMPARE(received.count(), 1);
    QCOMPARE(received.constFirst().constFirst().toString(), QStringLiteral("me"));
    QVERIFY(client.line().startsWith("sent yes "));
}

void tst_QtLocalPeer::sendTo_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<int>("timeout");
    QTest::addColumn<bool>("sent");
    QTest::addColumn<int>("atLeastMs");
    QTest::addColumn<int>("atMostMs"); // with much room for slow machines
    QTest::newRow("answer in pieces") << "slow" << 10000 << true << 100 << 9000;
    QTest::newRow("no limit for the answer") << "slow" << -1 << true << 100 << 9000;
    QTest::newRow("listens before the second attempt") << "late" << 10000 << true << 250 << 9000;
    QTest::newRow("nobody listens") << "lock" << 10000 << false << 250 << 9000;
    QTest::newRow("nobody listens, no time") << "lock" << 1 << false << 250 << 5000;
    QTest::newRow("no room among those who wait") << "full" << 400 << false << 650 << 5000;
    QTest::newRow("never answers") << "mute" << 400 << false << 400 << 5000;
    QTest::newRow("never reads nor answers") << "greedy" << 400 << false << 400 << 5000;
    QTest::newRow("no time for an answer") << "mute" << 0 << false << 0 << 5000;
    QTest::newRow("wrong answer") << "nak" << 10000 << false << 0 << 9000;
    QTest::newRow("answer breaks off") << "short" << 10000 << false << 0 << 9000;
    QTest::newRow("closes without answer") << "close" << 10000 << false << 0 << 9000;
}

void tst_QtLocalPeer::sendTo()
{
    QFETCH(QString, server);
    QFETCH(int, timeout);
    QFETCH(bool, sent);
    QFETCH(int, atLeastMs);
    QFETCH(int, atMostMs);
    LiveChild other(peerHelper, {QStringLiteral("fake"), m_id, server});
    QCOMPARE(other.line(), QByteArray("ready"));
    QtLocalPeer peer(nullptr, m_id);
    QVERIFY(peer.isClient());
    const QString text(server == QLatin1String("greedy") ? 4 * 1024 * 1024 : 5, QLatin1Char('x'));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(peer.sendMessage(text, timeout, false), sent);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= atLeastMs, QByteArray::number(elapsed).constData());
    QVERIFY2(elapsed <= atMostMs, QByteArray::number(elapsed).constData());
}

/// The receiver may be gone by the time that there is something to wait for.
void tst_QtLocalPeer::sendWaitsForNobody()
{
    LiveChild other(peerHelper, {QStringLiteral("fake"), m_id, QStringLiteral("close")});
    QCOMPARE(other.line(), QByteArray("ready"));
    QtLocalPeer peer(nullptr, m_id);
    QVERIFY(!peer.sendMessage(QStringLiteral("x"), 10000, true));
}

void tst_QtLocalPeer::announcementOfNobody()
{
    Server server(m_id);
    auto *const local = server.peer().findChild<QLocalServer *>();
    QVERIFY(local);
    Q_EMIT local->newConnection();
    QCOMPARE(server.texts(), QStringList());
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_QtLocalPeer::sendWaitsForTheReceiver()
{
    Server server(m_id);
    LiveChild client(peerHelper, sendArguments(m_id, QStringLiteral("wait"), 20000, "block"));
    QVERIFY(server.waitForTexts(1));
    QCOMPARE(client.line(300), QByteArray("(nothing)"));
    delete server.sockets().constFirst();
    QVERIFY(client.line().startsWith("sent yes "));
    QVERIFY(client.finish());
    QCOMPARE(client.errors(), QByteArray());
}

void tst_QtLocalPeer::sendWaitsThoughItFailed()
{
    LiveChild mute(peerHelper, {QStringLiteral("fake"), m_id, QStringLiteral("mute")});
    QCOMPARE(mute.line(), QByteArray("ready"));
    LiveChild client(peerHelper, sendArguments(m_id, QStringLiteral("wait"), 10, "block"));
    QCOMPARE(client.line(500), QByteArray("(nothing)"));
    QVERIFY(mute.finish());
    QVERIFY(client.line().startsWith("sent no "));
    QVERIFY(client.finish());
    QCOMPARE(client.errors(), QByteArray());
}

void tst_QtLocalPeer::unreceivedMessageKeepsItsConnection()
{
    auto peer = std::make_unique<QtLocalPeer>(nullptr, m_id);
    QVERIFY(!peer->isClient());
    const RawSocket client(socketPath());
    client.write(frame("nobody"));
    QByteArray answer;
    const auto answered = [&answer, &client] { return (answer += client.read(0)) == "ack"; };
    QTRY_VERIFY(answered());
    QTest::qWait(50);
    QCOMPARE(client.read(0), QByteArray());

    peer.reset();
    QCOMPARE(client.read(1000), QByteArray("(end)"));
}

void tst_QtLocalPeer::receiverMayDeleteThePeer()
{
    auto *peer = new QtLocalPeer(nullptr, m_id);
    QVERIFY(!peer->isClient());
    const QPointer<QtLocalPeer> watch(peer);
    // With the peer goes its socket, which nobody took.
    connect(peer, &QtLocalPeer::messageReceived, this, [peer] { delete peer; });
    const RawSocket client(socketPath());
    const RawSocket waiting(socketPath());
    client.write(frame("go"));
    QTRY_VERIFY(!watch);
    QCOMPARE(client.read(1000), QByteArray("ack(end)"));
    QCOMPARE(waiting.read(1000), QByteArray("(end)"));
    QVERIFY(!QFileInfo::exists(lockPath()));
}

void tst_QtLocalPeer::senderStalls_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("after the length") << announcement(10) << "";
    QTest::newRow("in a text of a gigabyte") << announcement(1 << 30) + "few"
                                             << "few";
}

void tst_QtLocalPeer::senderStalls()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    Server server(m_id);
    const RawSocket staller(socketPath());
    staller.write(bytes);
    const RawSocket honest(socketPath());
    honest.write(frame("honest"));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(server.waitForTexts(1));
    QVERIFY(timer.elapsed() >= 1900);
    QCOMPARE(server.texts(), QStringList{text});
    QCOMPARE(staller.read(1000), QByteArray("ack"));
    QVERIFY(server.waitForTexts(2));
    QCOMPARE(server.texts().at(1), QStringLiteral("honest"));
}

void tst_QtLocalPeer::senderLeaves_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("texts");
    QTest::newRow("saying nothing") << QByteArray() << QStringList();
    QTest::newRow("in the length") << QByteArray("\0\0\0", 3) << QStringList();
    QTest::newRow("after the length") << announcement(10) << QStringList{QString()};
    QTest::newRow("in the text") << announcement(10) + "half"
                                 << QStringList{QStringLiteral("half")};
    QTest::newRow("announcing much")
        << announcement(0x7fffff00) + "few" << QStringList{QStringLiteral("few")};
    QTest::newRow("without waiting for the answer")
        << frame("whole") << QStringList{QStringLiteral("whole")};
}

void tst_QtLocalPeer::senderLeaves()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, texts);
    for (const bool halfWay : {false, true}) {
        Server server(m_id);
        const int descriptors = descriptorCount();
        RawSocket leaver(socketPath());
        leaver.write(bytes);
        if (halfWay)
            leaver.finishWriting();
        else
            leaver.close();
        const RawSocket honest(socketPath());
        honest.write(frame("honest"));
        QVERIFY(server.waitForTexts(texts.size() + 1));
        QCOMPARE(server.texts(), texts + QStringList{QStringLiteral("honest")});
        leaver.close();
        // What was dropped is closed; what was delivered belongs to the receiver.
        QCOMPARE(server.sockets().size(), texts.size() + 1);
        qDeleteAll(server.sockets());
        QCOMPARE(descriptorCount(), descriptors + 1);
    }
}

void tst_QtLocalPeer::lengthBeyondAnyArray_data()
{
    QTest::addColumn<uint>("length");
    QTest::newRow("all bits") << 0xffffffffU;
    QTest::newRow("sign bit") << 0x80000000U;
    QTest::newRow("largest int") << 0x7fffffffU;
}

void tst_QtLocalPeer::lengthBeyondAnyArray()
{
    QFETCH(uint, length);
    Server server(m_id);
    const RawSocket client(socketPath());
    client.write(announcement(length) + "few");
    const RawSocket honest(socketPath());
    honest.write(frame("honest"));
    QVERIFY(server.waitForTexts(1));
    QCOMPARE(server.texts(), QStringList{QStringLiteral("honest")});
    QCOMPARE(client.read(1000).right(5), QByteArray("(end)")); // no acknowledgement
    QCOMPARE(m_capture->take(), receptionFailed);
}

void tst_QtLocalPeer::announcedBytesAreNotAllocated()
{
    if (isSanitized)
        QSKIP("sanitizers account for memory in their own way");
    Server server(m_id);
    std::vector<RawSocket> clients;
    for (int i = 0; i < 20; ++i) {
        clients.emplace_back(socketPath());
        clients.back().write(announcement(0x7fffff00) + "few");
        clients.back().finishWriting();
    }
    bool came = false;
    {
        const AddressSpaceLimit limit(qint64(64) * 1024 * 1024);
        came = server.waitForTexts(20);
    }
    QVERIFY(came);
    QCOMPARE(server.texts().constLast(), QStringLiteral("few"));
}

void tst_QtLocalPeer::moreThanAnnounced()
{
    Server server(m_id);
    const RawSocket client(socketPath());
    client.write(frame("one") + frame("two")); // one message per connection
    const RawSocket honest(socketPath());
    honest.write(frame("honest"));
    QVERIFY(server.waitForTexts(2));
    QCOMPARE(server.texts(), (QStringList{QStringLiteral("one"), QStringLiteral("honest")}));
    QTest::qWait(50);
    QCOMPARE(server.texts().size(), 2);
    QCOMPARE(client.read(1000), QByteArray("ack"));
}

/// Any bytes at all: each connection gives one text or none, and the server goes on.
void tst_QtLocalPeer::rubbish()
{
    constexpr int count = 300;
    std::minstd_rand random(1); // the same bytes in every run
    Server server(m_id);
    server.deleteSockets(true);
    for (int i = 0; i < count; ++i) {
        QByteArray bytes(static_cast<int>(random() % 600), '\0');
        std::generate(bytes.begin(), bytes.end(),
                      [&random] { return static_cast<char>(random()); });
        if (i % 2 == 0) // short enough to be read to its end
            bytes.prepend(announcement(static_cast<quint32>(random() % 600)));
        RawSocket client(socketPath());
        client.write(bytes);
        client.close();
        QCoreApplication::processEvents();
    }
    const RawSocket honest(socketPath());
    honest.write(frame("honest"));
    QTRY_COMPARE(server.texts().isEmpty() ? QString() : server.texts().constLast(),
                 QStringLiteral("honest"));
    QVERIFY(server.texts().size() <= count + 1);
    const QStringList warnings = m_capture->take();
    for (const QString &warning : warnings)
        QCOMPARE(QStringList{warning}, receptionFailed);
}

/// What follows a message is there for whoever keeps the connection.
void tst_QtLocalPeer::senderThatGoesOn()
{
    Server server(m_id);
    const RawSocket client(socketPath());
    client.write(frame("one"));
    QVERIFY(server.waitForTexts(1));
    auto *const socket = qobject_cast<QLocalSocket *>(server.sockets().constFirst());
    const QByteArray more(65536, 'm');
    constexpr qint64 expected = qint64(2) * 1024 * 1024;
    qint64 sent = 0;
    for (int i = 0; i < 2000 && sent < expected; ++i) {
        sent += qMax(client.write(more), 0);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    QVERIFY2(sent >= expected, QByteArray::number(sent).constData());
    QTRY_COMPARE(socket->bytesAvailable(), sent);
    QCOMPARE(server.texts().size(), 1);
    delete socket;
    QVERIFY(client.read(10000).endsWith("(end)"));
}

/// What a server says beyond the acknowledgement is thrown away by a sender that waits.
void tst_QtLocalPeer::serverThatGoesOn()
{
    if (isSanitized)
        QSKIP("sanitizers account for memory in their own way");
    LiveChild other(peerHelper, {QStringLiteral("fake"), m_id, QStringLiteral("chatter")});
    QCOMPARE(other.line(), QByteArray("ready"));
    QtLocalPeer peer(nullptr, m_id);
    const AddressSpaceLimit limit(qint64(64) * 1024 * 1024);
    QVERIFY(peer.sendMessage(QStringLiteral("x"), 20000, true));
}

void tst_QtLocalPeer::silentClientBlocksUntilItLeaves()
{
    Server server(m_id);
    RawSocket silent(socketPath());
    silent.write("\1");
    const RawSocket honest(socketPath());
    honest.write(frame("honest"));
    std::thread patience([&silent] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        silent.close();
    });
    QElapsedTimer timer;
    timer.start();
    const bool came = server.waitForTexts(1);
    const qint64 elapsed = timer.elapsed();
    patience.join();
    QVERIFY(came);
    QVERIFY(elapsed >= 2400);
    QCOMPARE(server.texts(), QStringList{QStringLiteral("honest")});
}

void tst_QtLocalPeer::floodOfConnections()
{
    constexpr int count = 1000;
    Server server(m_id);
    server.deleteSockets(true);
    const int descriptors = descriptorCount();
    std::atomic<bool> over{false};
    std::thread flood([&over, path = socketPath()] {
        for (int i = 0; i < count; ++i) {
            const RawSocket client(path); // waits while the server has no room for more
            client.write(QByteArray(i % 4, '\0'));
        }
        over = true;
    });
    {
        LiveChild amid(peerHelper, sendArguments(m_id, QStringLiteral("amid"), 30000));
        while (!over)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        flood.join();
        LiveChild after(peerHelper, sendArguments(m_id, QStringLiteral("after"), 30000));
        QVERIFY(server.waitForTexts(2));
        QStringList texts = server.takeTexts();
        texts.sort(); // the one amid the flood may be slow to start
        QCOMPARE(texts, (QStringList{QStringLiteral("after"), QStringLiteral("amid")}));
        QVERIFY(amid.line().startsWith("sent yes "));
        QVERIFY(after.line().startsWith("sent yes "));
        QVERIFY(amid.finish());
        QVERIFY(after.finish());
    }
    QTRY_COMPARE_WITH_TIMEOUT(descriptorCount(), descriptors, 20000);
}

void tst_QtLocalPeer::manyMessagesLeaveNothing()
{
    constexpr int count = isSanitized ? 2000 : 100000;
    constexpr int warmUp = 100;
    Server server(m_id);
    server.deleteSockets(true);
    const auto exchange = [&](int messages) {
        for (int i = 0; i < messages; ++i) {
            const RawSocket client(socketPath());
            client.write(frame("message"));
            if (!server.waitForTexts(1)
                || server.takeTexts() != QStringList{QStringLiteral("message")}
                || client.read(1000) != "ack(end)")
                return false;
        }
        return true;
    };
    QVERIFY(exchange(warmUp));
    const int descriptors = descriptorCount();
    const qint64 memory = residentBytes();
    QVERIFY(exchange(count));
    QCOMPARE(descriptorCount(), descriptors);
    if (!isSanitized) {
        const qint64 grown = residentBytes() - memory;
        QVERIFY2(grown < qint64(1024) * 1024, QByteArray::number(grown).constData());
    }
}

QTEST_GUILESS_MAIN(tst_QtLocalPeer)
#include "tst_qtlocalpeer.moc"
