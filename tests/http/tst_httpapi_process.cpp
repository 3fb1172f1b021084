// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "HttpServer.h"
#include "support/Child.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QTest>

#include <unistd.h>

using TestSupport::ChildResult;
using TestSupport::helperPath;

namespace {

QStringList linesOf(const QByteArray &text)
{
    QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    lines.removeAll(QString());
    return lines;
}

/// A child that this process serves while it runs.
class ServedChild
{
public:
    explicit ServedChild(const QStringList &arguments)
    {
        m_process.start(helperPath(QStringLiteral("http_child")), arguments);
    }

    ~ServedChild()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.kill();
        m_process.waitForFinished(-1);
    }
    Q_DISABLE_COPY(ServedChild)

    bool endsInPeace()
    {
        const auto ended = [this] { return m_process.state() == QProcess::NotRunning; };
        return QTest::qWaitFor(ended, 40000) && m_process.exitStatus() == QProcess::NormalExit
            && m_process.exitCode() == 0;
    }

    /// What it said.
    QStringList lines()
    {
        m_out += m_process.readAllStandardOutput();
        return linesOf(m_out);
    }

    QByteArray errors() { return m_process.readAllStandardError(); }

private:
    QProcess m_process;
    QByteArray m_out;
};

QString requestLine(const QString &url)
{
    return QStringLiteral("D [debug][getUrl] [request.url: %1 ]").arg(url);
}

void serveSilence(HttpServer &server)
{
    server.handle("/silent", [](QTcpSocket * /*never answered*/) {});
}

} // namespace

/// Whole lives of programs with the service, seen from outside.
class tst_HttpApiProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void releaseWithoutObject();
    void creation();
    void creationInManyThreads();
    void release();
    void exitAfterUse_data();
    void exitAfterUse();
    void exitWithDeferredDeletions();
    void quitDuringTheWait();
    void releaseDuringTheWait_data();
    void releaseDuringTheWait();
    void releaseBySignal_data();
    void releaseBySignal();
    void timeOutEndsNestedWaits();
    void withoutApplication();
    void unknownHostWithoutNetwork();
    void proxyOfTheEnvironment();
    void remakeRefusesTheApplicationDirectory_data();
    void remakeRefusesTheApplicationDirectory();
    void remakeRefusesTheRoot();
    void remakeBesideTheApplicationDirectory();
    void clearsItsOwnDirectory();
    void emptyPathEmptiesNothing_data();
    void emptyPathEmptiesNothing();
};

void tst_HttpApiProcess::releaseWithoutObject()
{
    ServedChild child({QStringLiteral("unused")});
    QVERIFY2(child.endsInPeace(), child.errors());
    QCOMPARE(child.lines(), QStringList());
}

void tst_HttpApiProcess::creation()
{
    ServedChild child({QStringLiteral("create")});
    QVERIFY2(child.endsInPeace(), child.errors());
    QCOMPARE(child.lines(), QStringList());
}

void tst_HttpApiProcess::creationInManyThreads()
{
    ServedChild child({QStringLiteral("create-in-many-threads")});
    QVERIFY2(child.endsInPeace(), child.errors());
    QCOMPARE(child.lines(),
             (QStringList{QStringLiteral("same 1"),
                          QStringLiteral("W [warning][getUrl] [ not the thread of the service ]"),
                          QStringLiteral("result 0")}));
}

void tst_HttpApiProcess::release()
{
    ServedChild child({QStringLiteral("release")});
    QVERIFY2(child.endsInPeace(), child.errors());
    QCOMPARE(
        child.lines(),
        (QStringList{QStringLiteral("gone 1, pointer kept 1"), QStringLiteral("still kept 1")}));
}

void tst_HttpApiProcess::exitAfterUse_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("target");
    for (const char *mode : {"get", "get-and-release"}) {
        for (const char *target : {"/", "/none", "/empty", "/cut"})
            QTest::addRow("%s %s", mode, target) << mode << target;
    }
}

void tst_HttpApiProcess::exitAfterUse()
{
    QFETCH(QString, mode);
    QFETCH(QString, target);
    HttpServer server;
    server.answer("/", HttpServer::reply("200 OK", "body"));
    server.answer("/empty", HttpServer::reply("200 OK", QByteArray()));
    server.handle("/cut", [](QTcpSocket *socket) { socket->disconnectFromHost(); });
    ServedChild child({mode, server.url(target)});
    QVERIFY2(child.endsInPeace(), child.errors());
    const QStringList lines = child.lines();
    QCOMPARE(lines.first(), requestLine(server.url(target)));
    const bool ok = target == QLatin1String("/");
    QVERIFY(lines.contains(QStringLiteral("result %1").arg(ok)));
    QCOMPARE(lines.contains(QStringLiteral("body body")), ok);
    QVERIFY(lines.contains(QStringLiteral("timers 0")));
}

void tst_HttpApiProcess::exitWithDeferredDeletions()
{
    HttpServer server;
    server.answer("/", HttpServer::reply("200 OK", "body"));
    ServedChild child({QStringLiteral("leave-deferred-deletions"), server.url()});
    QVERIFY2(child.endsInPeace(), child.errors());
    QVERIFY(child.lines().contains(QStringLiteral("result 1")));
    QCOMPARE(server.requests().size(), 2);
}

void tst_HttpApiProcess::quitDuringTheWait()
{
    HttpServer server;
    serveSilence(server);
    ServedChild child({QStringLiteral("quit-during-wait"), server.url(QStringLiteral("/silent"))});
    QVERIFY2(child.endsInPeace(), child.errors());
    QCOMPARE(child.lines(),
             (QStringList{QStringLiteral("D !!!!Error:  \"earlier\""),
                          requestLine(server.url(QStringLiteral("/silent"))),
                          QStringLiteral("result 0"), QStringLiteral("body "),
                          QStringLiteral("error earlier"), QStringLiteral("timers 0")}));
}

void tst_HttpApiProcess::releaseDuringTheWait_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("waits");
    QTest::newRow("one wait") << "release-during-wait" << 1;
    QTest::newRow("nested waits") << "release-in-nested-wait" << 2;
}

void tst_HttpApiProcess::releaseDuringTheWait()
{
    QFETCH(QString, mode);
    QFETCH(int, waits);
    HttpServer server;
    serveSilence(server);
    const QString url = server.url(QStringLiteral("/silent"));
    ServedChild child({mode, url});
    QVERIFY2(child.endsInPeace(), child.errors());
    QStringList expected;
    for (int i = 0; i < waits; ++i)
        expected.append(requestLine(url));
    for (int i = 0; i < waits; ++i)
        expected.append(QStringLiteral("result 0"));
    QCOMPARE(child.lines(), expected);
}

void tst_HttpApiProcess::releaseBySignal_data()
{
    QTest::addColumn<QString>("url"); // relative to the server if it begins with a slash
    QTest::newRow("success") << "/";
    QTest::newRow("404") << "/none";
    QTest::newRow("empty") << "/empty";
    QTest::newRow("cut") << "/cut";
    QTest::newRow("no network involved") << "data:,x";
    QTest::newRow("unknown scheme") << "gopher5://x/";
    QTest::newRow("missing file") << "file:///no/such/file";
}

// The object goes while it announces the outcome.
void tst_HttpApiProcess::releaseBySignal()
{
    QFETCH(QString, url);
    HttpServer server;
    server.answer("/", HttpServer::reply("200 OK", "body"));
    server.answer("/empty", HttpServer::reply("200 OK", QByteArray()));
    server.handle("/cut", [](QTcpSocket *socket) { socket->disconnectFromHost(); });
    if (url.startsWith(QLatin1Char('/')))
        url = server.url(url);
    ServedChild child({QStringLiteral("release-by-signal"), url});
    QVERIFY2(child.endsInPeace(), child.errors());
    const QStringList lines = child.lines();
    QCOMPARE(lines.first(), requestLine(url));
    QCOMPARE(lines.last(), QStringLiteral("result 0"));
}

void tst_HttpApiProcess::timeOutEndsNestedWaits()
{
    HttpServer server;
    serveSilence(server);
    const QString url = server.url(QStringLiteral("/silent"));
    ServedChild child({QStringLiteral("nested-get"), url});
    QVERIFY2(child.endsInPeace(), child.errors());
    QCOMPARE(child.lines(),
             (QStringList{requestLine(url), requestLine(url),
                          QStringLiteral("D !!!!Error:  \"Timed out\""), QStringLiteral("result 0"),
                          QStringLiteral("result 0"), QStringLiteral("body "),
                          QStringLiteral("error Timed out"), QStringLiteral("timers 0"),
                          QStringLiteral("outcomes 1")}));
}

void tst_HttpApiProcess::withoutApplication()
{
    const ChildResult child = TestSupport::runChild(
        helperPath(QStringLiteral("http_child")),
        {QStringLiteral("no-application"), QStringLiteral("http://127.0.0.1/")});
    QVERIFY2(child.endedWith(0), child.report());
    QVERIFY2(child.out.startsWith("W [warning][getUrl] [ no application object ]\nresult 0\n"),
             child.report());
}

void tst_HttpApiProcess::unknownHostWithoutNetwork()
{
    QStringList unshare{QStringLiteral("--net")};
    if (::geteuid() != 0)
        unshare.append(QStringLiteral("--map-root-user"));
    const QString program = QStringLiteral("unshare");
    if (!TestSupport::runChild(program, unshare + QStringList{QStringLiteral("true")}).endedWith(0))
        QSKIP("this machine does not let the user leave the network behind");
    const QString url = QStringLiteral("http://no.such.host.invalid/x");
    const ChildResult child = TestSupport::runChild(
        program,
        unshare
            + QStringList{helperPath(QStringLiteral("http_child")), QStringLiteral("get"), url});
    QVERIFY2(child.endedWith(0), child.report());
    QVERIFY2(child.out.contains("result 0\n"), child.report());
    QVERIFY2(child.out.contains("error Host no.such.host.invalid not found\n"), child.report());
}

namespace {

/// A program directory of its own with files that must survive, in a directory
/// with another one.
class Installation
{
public:
    Installation()
    {
        QDir root(m_dir.path());
        root.mkpath(QStringLiteral("outer/app/data"));
        root.mkpath(QStringLiteral("outer/other"));
        write(QStringLiteral("outer/app/keep.txt"));
        write(QStringLiteral("outer/app/data/keep.txt"));
        write(QStringLiteral("outer/other/gone.txt"));
        write(QStringLiteral("outer/keep.txt"));
        QFile::copy(helperPath(QStringLiteral("http_child")), program());
        QFile::link(path(QStringLiteral("outer/app")), path(QStringLiteral("link-to-app")));
    }

    QString path(const QString &name = QString()) const
    {
        return QFileInfo(m_dir.path()).canonicalFilePath()
            + (name.isEmpty() ? QString() : QLatin1Char('/') + name);
    }
    QString program() const { return path(QStringLiteral("outer/app/http_child")); }
    bool has(const QString &name) const { return QFileInfo::exists(path(name)); }

    /// Whether everything that is not in "other" still exists.
    bool isIntact() const
    {
        return has(QStringLiteral("outer/app/keep.txt"))
            && has(QStringLiteral("outer/app/data/keep.txt"))
            && has(QStringLiteral("outer/app/http_child")) && has(QStringLiteral("outer/keep.txt"));
    }

    /// Runs the program in another directory than its own.
    QStringList run(const QStringList &arguments) const
    {
        TestSupport::ChildOptions options;
        options.workingDirectory = path(QStringLiteral("outer/other"));
        const ChildResult child = TestSupport::runChild(program(), arguments, options);
        if (!child.endedWith(0))
            return {QString::fromUtf8(child.report())};
        return linesOf(child.out);
    }

private:
    void write(const QString &name) const
    {
        QFile file(path(name));
        if (file.open(QIODevice::WriteOnly))
            file.write("x");
    }

    QTemporaryDir m_dir;
};

/// What the program says about one failed removal.
QStringList removalLines(const QString &text)
{
    return {QStringLiteral("D !!!!Error:  \"%1\"").arg(text),
            QStringLiteral("W [warning][removeDirWithContent] [ %1 ]").arg(text)};
}

QString directoryLine(const Installation &installation)
{
    return QStringLiteral("directory ") + installation.path(QStringLiteral("outer/app"));
}

} // namespace

/// Qt takes its proxy from the environment, and with it who sees the request.
void tst_HttpApiProcess::proxyOfTheEnvironment()
{
    HttpServer proxy;
    const QString url = QStringLiteral("http://controller.example/status");
    proxy.answer(url.toLatin1(), HttpServer::reply("200 OK", "from the proxy"));
    qputenv("http_proxy", proxy.url().toLatin1());
    ServedChild child({QStringLiteral("get"), url});
    qunsetenv("http_proxy");
    QVERIFY(child.endsInPeace());
    QCOMPARE(child.lines().mid(1),
             (QStringList{"result 1", "body from the proxy", "error ", "timers 0"}));
}

void tst_HttpApiProcess::remakeRefusesTheApplicationDirectory_data()
{
    QTest::addColumn<QString>("path");  // "@" stands for the installation
    QTest::addColumn<QString>("shown"); // in the message
    QTest::newRow("itself") << "@/outer/app"
                            << "@/outer/app";
    QTest::newRow("itself with a slash") << "@/outer/app/"
                                         << "@/outer/app";
    QTest::newRow("itself, relative") << "."
                                      << "@/outer/app";
    QTest::newRow("itself by a detour") << "data/.."
                                        << "@/outer/app";
    QTest::newRow("itself by a link") << "@/link-to-app"
                                      << "@/link-to-app";
    QTest::newRow("parent") << "@/outer"
                            << "@/outer";
    QTest::newRow("parent, relative") << ".."
                                      << "@/outer";
    QTest::newRow("grandparent") << "../.."
                                 << "@";
}

void tst_HttpApiProcess::remakeRefusesTheApplicationDirectory()
{
    QFETCH(QString, path);
    QFETCH(QString, shown);
    const Installation installation;
    path.replace(QLatin1Char('@'), installation.path());
    shown.replace(QLatin1Char('@'), installation.path());
    const QStringList lines = installation.run({QStringLiteral("remake"), path});
    QVERIFY(installation.isIntact());
    QVERIFY(installation.has(QStringLiteral("outer/other/gone.txt")));
    QCOMPARE(lines,
             removalLines(QStringLiteral("remove %1 dir failed").arg(shown))
                 + QStringList{directoryLine(installation)});
}

// In a mount namespace in which nothing can be written: the test must not cost
// the machine if the library is at fault.
void tst_HttpApiProcess::remakeRefusesTheRoot()
{
    const QString everythingReadOnly = QStringLiteral(
        "awk '{print $5}' /proc/self/mountinfo | while read -r m; do\n"
        "  mount -o remount,bind,ro \"$m\" 2>/dev/null || true\n"
        "done\n"
        "! awk '$5 !~ \"^/(proc|sys)\" && $6 ~ \"^rw\"' /proc/self/mountinfo | grep -q .");
    if (!TestSupport::runInPrivateMounts(everythingReadOnly, QStringLiteral("true"), {})
             .endedWith(0))
        QSKIP("this machine has no mount namespaces in which everything is read-only");
    for (const char *root : {"/", "//", "/tmp/.."}) {
        const ChildResult child = TestSupport::runInPrivateMounts(
            everythingReadOnly, helperPath(QStringLiteral("http_child")),
            {QStringLiteral("remake"), QString::fromLatin1(root)});
        QVERIFY2(child.endedWith(0), child.report());
        QCOMPARE(linesOf(child.out),
                 removalLines(QStringLiteral("remove / dir failed"))
                     + QStringList{QStringLiteral("directory ")
                                   + QCoreApplication::applicationDirPath()});
    }
}

void tst_HttpApiProcess::remakeBesideTheApplicationDirectory()
{
    const Installation installation;
    const QStringList lines =
        installation.run({QStringLiteral("remake"), QStringLiteral("../other")});
    QVERIFY(installation.isIntact());
    QVERIFY(!installation.has(QStringLiteral("outer/other/gone.txt")));
    QVERIFY(installation.has(QStringLiteral("outer/other")));
    QCOMPARE(lines.last(), directoryLine(installation));

    installation.run({QStringLiteral("remake"), QStringLiteral("data")});
    QVERIFY(!installation.has(QStringLiteral("outer/app/data/keep.txt")));
    QVERIFY(installation.has(QStringLiteral("outer/app/data")));
    QVERIFY(installation.has(QStringLiteral("outer/app/keep.txt")));

    installation.run({QStringLiteral("remake"), QStringLiteral("new/一/two")});
    QVERIFY(installation.has(QStringLiteral("outer/app/new/一/two")));
    QVERIFY(!installation.has(QStringLiteral("outer/other/new")));
}

void tst_HttpApiProcess::clearsItsOwnDirectory()
{
    const Installation installation;
    const QString app = installation.path(QStringLiteral("outer/app"));
    const QStringList lines = installation.run({QStringLiteral("clear"), app});
    QVERIFY(!installation.has(QStringLiteral("outer/app/keep.txt")));
    QVERIFY(!installation.has(QStringLiteral("outer/app/data/keep.txt")));
    QVERIFY(installation.has(QStringLiteral("outer/app/data")));
    QVERIFY(lines.contains(QStringLiteral("result 1")));
    QCOMPARE(lines.last(), directoryLine(installation));
}

void tst_HttpApiProcess::emptyPathEmptiesNothing_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QStringList>("results");
    // The current directory is the caller's in one and the application's in the other.
    QTest::newRow("removal") << "clear"
                             << "outer/other" << QStringList{QStringLiteral("result 0")};
    QTest::newRow("remake") << "remake"
                            << "outer/app" << QStringList();
}

void tst_HttpApiProcess::emptyPathEmptiesNothing()
{
    QFETCH(QString, mode);
    QFETCH(QString, shown);
    QFETCH(QStringList, results);
    const Installation installation;
    const QStringList lines = installation.run({mode, QString()});
    QVERIFY(installation.isIntact());
    QVERIFY(installation.has(QStringLiteral("outer/other/gone.txt")));
    QCOMPARE(lines,
             removalLines(QStringLiteral("%1 dir is not exists").arg(installation.path(shown)))
                 + results + QStringList{directoryLine(installation)});
}

QTEST_GUILESS_MAIN(tst_HttpApiProcess)
#include "tst_httpapi_process.moc"
