// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "HttpServer.h"
#include "http/HttpApi.h"
#include "support/Capture.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QNetworkRequest>
#include <QtNetwork/QSslSocket>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

using TestSupport::Capture;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int manyCalls = 500;
constexpr bool memoryCanBeMeasured = false;
#else
constexpr int manyCalls = 10000;
constexpr bool memoryCanBeMeasured = true;
#endif

/// What Qt makes of an address by itself: the yardstick for bodies and texts.
struct PlainOutcome
{
    bool failed = true;
    QString error;
    QByteArray body;
};

PlainOutcome getPlainly(const QUrl &url)
{
    QNetworkAccessManager manager;
    const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(url)));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    PlainOutcome outcome;
    outcome.failed = reply->error() != QNetworkReply::NoError;
    outcome.error = reply->errorString();
    outcome.body = reply->readAll();
    return outcome;
}

/// Debug lines are checked where they matter; elsewhere they only bury the rest.
void passWarningsOnly(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type != QtDebugMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

/// A client that has a success and a failure behind it, so that a test sees
/// whether either is touched.
class UsedApi : public HttpApi
{
public:
    UsedApi()
    {
        setReq(QByteArray("old body"));
        setIsSuccess(true);
        setLastError(QStringLiteral("old error"));
    }
};

QString requestLine(const QString &url)
{
    return QStringLiteral("D [debug][getUrl] [request.url: %1 ]").arg(url);
}

QString errorLine(const QString &quoted)
{
    return QStringLiteral("D !!!!Error:  ") + quoted;
}

/// @p text as the debug stream quotes it.
QString quoted(const QString &text)
{
    QString result;
    QDebug(&result).nospace() << text;
    return result;
}

/// The bytes of "packed body" in the gzip format.
QByteArray gzipped()
{
    return QByteArray::fromHex("1f8b08000000000002ff2b484cce4e4d5148ca4fa90400795829320b000000");
}

QByteArray chunked(const QByteArray &chunks, const QByteArray &headers = QByteArray())
{
    return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n" + headers + "\r\n" + chunks;
}

/// Resets the connection: the peer sees an error, not an orderly end.
void reset(QTcpSocket *socket)
{
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket->flush();
    socket->abort();
}

/// A server that encrypts with a certificate which nobody vouches for.
class StrangersServer : public QTcpServer
{
public:
    StrangersServer(const QString &certificate, const QString &key)
        : m_certificate(certificate)
        , m_key(key)
    {
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *socket = new QSslSocket(this);
        if (!socket->setSocketDescriptor(descriptor))
            return;
        socket->setLocalCertificate(m_certificate);
        socket->setPrivateKey(m_key);
        QObject::connect(socket, &QSslSocket::readyRead, socket, [socket] {
            socket->readAll();
            socket->write(HttpServer::reply("200 OK", "trust me"));
        });
        QObject::connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
        socket->startServerEncryption();
    }

private:
    QString m_certificate;
    QString m_key;
};

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

} // namespace

class tst_HttpApiGet : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qInstallMessageHandler(passWarningsOnly); }
    void cleanupTestCase() { qInstallMessageHandler(nullptr); }
    void initialState();
    void metaObject();
    void accessors();
    void errorTexts_data();
    void errorTexts();
    void emptyUrlTouchesNothing_data();
    void emptyUrlTouchesNothing();
    void replies_data();
    void replies();
    void knownErrorTexts();
    void brokenReplies_data();
    void brokenReplies();
    void connectionRefused();
    void encryptedToPlainPort();
    void badAddresses_data();
    void badAddresses();
    void addresses_data();
    void addresses();
    void addressWithoutDots();
    void otherSchemes();
    void requestBytes();
    void cookiesAsQtHasThem();
    void successThenFailureThenSuccess();
    void flagIsDownDuringTheWait();
    void whatLivesDuringTheWait();
    void bigBody();
    void manyCallsInARow_data();
    void manyCallsInARow();
    void timeOut();
    void bodyBeyondAnyArray();
    void serversThatNeverEnd();
    void untrustedCertificate();
    void nestedSuccessEndsTheOuterWait();
    void nestedFailureEndsTheOuterWait();
    void nestedEmptyUrlEndsNothing();
    void nestedInTheSignal();
    void emissionByOthersEndsTheWait();
    void outerReplyIsDroppedAtOnce();
    void outerTimeOutIsDroppedAtOnce();
    void destroyedDuringTheWait();
    void threadThatCreatedIt();
    void otherThread();
    void movedObject();
};

void tst_HttpApiGet::initialState()
{
    const HttpApi http;
    QVERIFY(!http.getIsSuccess());
    QVERIFY(!http.getReq().isValid());
    QVERIFY(http.getToken().isEmpty());
    QVERIFY(http.lastError().isEmpty());
    QCOMPARE(http.parent(), nullptr);
    QVERIFY(http.children().isEmpty());

    QObject parent;
    auto *child = new HttpApi(&parent);
    QCOMPARE(parent.children(), QObjectList{child});
}

void tst_HttpApiGet::metaObject()
{
    const QMetaObject &meta = HttpApi::staticMetaObject;
    QCOMPARE(meta.className(), "HttpApi");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount() + 1);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    QCOMPARE(signal.methodSignature(), QByteArray("sigHttpRequstFinished()"));
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), QObject::staticMetaObject.enumeratorCount());
}

void tst_HttpApiGet::accessors()
{
    Capture capture;
    HttpApi http;
    http.setToken(QStringLiteral("secret"));
    http.setIsSuccess(true);
    http.setReq(42);
    QCOMPARE(http.getToken(), QStringLiteral("secret"));
    QVERIFY(http.getIsSuccess());
    QCOMPARE(http.getReq(), QVariant(42));
    http.setIsSuccess(false);
    http.setReq(QVariant());
    QVERIFY(!http.getIsSuccess());
    QVERIFY(!http.getReq().isValid());
    QVERIFY(capture.lines().isEmpty());
}

void tst_HttpApiGet::errorTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    QTest::newRow("plain") << "Timed out"
                           << "\"Timed out\"";
    QTest::newRow("empty") << ""
                           << "\"\"";
    QTest::newRow("quotes and line feeds are escaped") << "a \"b\"\nc\\"
                                                       << "\"a \\\"b\\\"\\nc\\\\\"";
    QTest::newRow("substitution marks") << "%1 of %2"
                                        << "\"%1 of %2\"";
    QTest::newRow("Chinese") << QStringLiteral("超时") << QStringLiteral("\"超时\"");
}

void tst_HttpApiGet::errorTexts()
{
    QFETCH(QString, text);
    QFETCH(QString, line);
    Capture capture;
    HttpApi http;
    http.setLastError(text);
    QCOMPARE(http.lastError(), text);
    QCOMPARE(capture.take(), QStringList{errorLine(line)});
    http.setLastError(http.lastError());
    QCOMPARE(http.lastError(), text);
}

void tst_HttpApiGet::emptyUrlTouchesNothing_data()
{
    QTest::addColumn<bool>("flag");
    QTest::addColumn<QVariant>("req");
    QTest::addColumn<QString>("error");
    QTest::newRow("fresh") << false << QVariant() << QString();
    QTest::newRow("after success") << true << QVariant(QByteArray("body")) << QString();
    QTest::newRow("after failure") << false << QVariant(QByteArray("body")) << "Timed out";
    QTest::newRow("flag set by the caller") << true << QVariant(7) << "x";
}

void tst_HttpApiGet::emptyUrlTouchesNothing()
{
    QFETCH(bool, flag);
    QFETCH(QVariant, req);
    QFETCH(QString, error);
    HttpApi http;
    http.setIsSuccess(flag);
    http.setReq(req);
    http.setLastError(error);
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    Capture capture;
    QVERIFY(!http.getUrl(QString()));
    QVERIFY(!http.getUrl(QLatin1String("")));
    QCOMPARE(http.getIsSuccess(), flag);
    QCOMPARE(http.getReq(), req);
    QCOMPARE(http.lastError(), error);
    QVERIFY(capture.lines().isEmpty());
    QCOMPARE(finished.count(), 0);
}

void tst_HttpApiGet::replies_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("closes");
    QTest::addColumn<QByteArray>("body"); // of a success
    QTest::addColumn<QString>("error");   // exact text; "*" for what Qt says
    const auto status = [](const char *code) { return HttpServer::reply(code, "text"); };
    const QByteArray none;
    const QString empty = QStringLiteral("warning: result is empty");

    QTest::newRow("200") << status("200 OK") << false << QByteArray("text") << "";
    QTest::newRow("200 without reason") << status("200") << false << QByteArray("text") << "";
    QTest::newRow("200 empty") << HttpServer::reply("200 OK", none) << false << none << empty;
    QTest::newRow("200 one zero byte")
        << HttpServer::reply("200 OK", QByteArray(1, '\0')) << false << QByteArray(1, '\0') << "";
    QTest::newRow("200 binary") << HttpServer::reply("200 OK", QByteArray("a\0\xff\r\n\r\nb", 8))
                                << false << QByteArray("a\0\xff\r\n\r\nb", 8) << "";
    QTest::newRow("200 until the end of the connection")
        << QByteArray("HTTP/1.1 200 OK\r\n\r\nto the end") << true << QByteArray("to the end")
        << "";
    QTest::newRow("HTTP/1.0") << QByteArray("HTTP/1.0 200 OK\r\n\r\nold") << true
                              << QByteArray("old") << "";
    QTest::newRow("chunked") << chunked("4\r\nfirs\r\n1\r\nt\r\n6\r\nsecond\r\n0\r\n\r\n") << false
                             << QByteArray("firstsecond") << "";
    QTest::newRow("chunked, empty") << chunked("0\r\n\r\n") << false << none << empty;
    QTest::newRow("gzip") << HttpServer::reply("200 OK", gzipped(), "Content-Encoding: gzip\r\n")
                          << false << QByteArray("packed body") << "";
    QTest::newRow("gzip, chunked")
        << chunked("1f\r\n" + gzipped() + "\r\n0\r\n\r\n", "Content-Encoding: gzip\r\n") << false
        << QByteArray("packed body") << "";
    QTest::newRow("Content-Length too small")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 3\r\nConnection: close\r\n\r\nabcdef")
        << true << QByteArray("abc") << "";
    QTest::newRow("201") << status("201 Created") << false << QByteArray("text") << "";
    QTest::newRow("204") << QByteArray("HTTP/1.1 204 No Content\r\n\r\n") << false << none << empty;
    QTest::newRow("206") << status("206 Partial Content") << false << QByteArray("text") << "";
    for (const char *code :
         {"301 Moved", "302 Found", "303 Other", "307 Temporary", "308 Permanent"}) {
        QTest::newRow(code) << HttpServer::reply(code, "go there", "Location: /elsewhere\r\n")
                            << false << QByteArray("go there") << "";
        QTest::newRow(QByteArray(code) + " without body")
            << HttpServer::reply(code, none, "Location: /elsewhere\r\n") << false << none << empty;
    }
    QTest::newRow("302 to a file")
        << HttpServer::reply("302 Found", "go there", "Location: file:///etc/passwd\r\n") << false
        << QByteArray("go there") << "";
    QTest::newRow("302 to itself")
        << HttpServer::reply("302 Found", "come again", "Location: /\r\n") << false
        << QByteArray("come again") << "";
    QTest::newRow("401 with challenge")
        << HttpServer::reply("401 Unauthorized", "who?", "WWW-Authenticate: Basic realm=\"r\"\r\n")
        << false << none << "*";
    for (const char *code :
         {"400 Bad", "401 Unauthorized", "403 Forbidden", "404 Not Found", "405 No", "409 Conflict",
          "410 Gone", "418 Teapot", "500 Internal", "501 No", "503 Busy", "599 Strange"}) {
        QTest::newRow(code) << status(code) << false << none << "*";
        QTest::newRow(QByteArray(code) + " without body")
            << HttpServer::reply(code, none) << false << none << "*";
    }
}

void tst_HttpApiGet::replies()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, closes);
    QFETCH(QByteArray, body);
    QFETCH(QString, error);
    HttpServer server;
    server.handle("/", [bytes, closes](QTcpSocket *socket) {
        socket->write(bytes);
        if (closes)
            socket->disconnectFromHost();
    });
    server.answer("/elsewhere", HttpServer::reply("200 OK", "followed"));
    if (error == QLatin1String("*"))
        error = getPlainly(server.url()).error;
    server.resetCounts();

    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    Capture capture;
    const bool succeeds = error.isEmpty();
    QCOMPARE(http.getUrl(server.url()), succeeds);
    QCOMPARE(http.getIsSuccess(), succeeds);
    QCOMPARE(http.getReq(), QVariant(succeeds ? body : QByteArray("old body")));
    QCOMPARE(http.getReq().userType(), int(QMetaType::QByteArray));
    QCOMPARE(http.lastError(), succeeds ? QStringLiteral("old error") : error);
    QStringList lines{requestLine(server.url())};
    if (!succeeds)
        lines.append(errorLine(quoted(error)));
    QCOMPARE(capture.lines(), lines);
    QCOMPARE(finished.count(), 1);
    QVERIFY(http.children().isEmpty());
    // Qt asks again if it notices the end of a connection before the reply.
    QVERIFY(server.requests().size() == 1 || (closes && server.requests().size() == 2));
}

void tst_HttpApiGet::knownErrorTexts()
{
    HttpServer server;
    server.answer("/busy", HttpServer::reply("503 So busy", "later"));
    HttpApi http;
    QVERIFY(!http.getUrl(server.url(QStringLiteral("/missing"))));
    QCOMPARE(http.lastError(),
             QStringLiteral("Error transferring %1 - server replied: Not Found")
                 .arg(server.url(QStringLiteral("/missing"))));
    QVERIFY(!http.getUrl(server.url(QStringLiteral("/busy"))));
    QCOMPARE(http.lastError(),
             QStringLiteral("Error transferring %1 - server replied: So busy")
                 .arg(server.url(QStringLiteral("/busy"))));
    // 404 is in the list of status codes that the object keeps; it plays no part.
    QVERIFY(!http.getReq().isValid());
}

void tst_HttpApiGet::brokenReplies_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("resets"); // otherwise an orderly end
    const QByteArray half =
        "HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + QByteArray(50000, 'x');
    QTest::newRow("end before the reply") << QByteArray() << false;
    QTest::newRow("reset before the reply") << QByteArray() << true;
    QTest::newRow("end within the headers") << QByteArray("HTTP/1.1 200 OK\r\nContent-Le") << false;
    QTest::newRow("reset within the headers")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Le") << true;
    QTest::newRow("Content-Length too big") << half << false;
    QTest::newRow("reset half-way through the body") << half << true;
    QTest::newRow("end within a chunk") << chunked("ff\r\nhalf") << false;
    QTest::newRow("reset within a chunk") << chunked("ff\r\nhalf") << true;
    QTest::newRow("end between chunks") << chunked("4\r\nhalf\r\n") << false;
    QTest::newRow("bad chunk size") << chunked("zz\r\nhalf\r\n0\r\n\r\n") << false;
    QTest::newRow("damaged gzip") << HttpServer::reply("200 OK", "no gzip at all",
                                                       "Content-Encoding: gzip\r\n")
                                  << false;
    QTest::newRow("cut gzip") << HttpServer::reply("200 OK", gzipped().left(15),
                                                   "Content-Encoding: gzip\r\n")
                              << false;
    QTest::newRow("negative Content-Length")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nabc") << false;
    QTest::newRow("no number as Content-Length")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nabc") << false;
    QTest::newRow("no HTTP") << QByteArray("SSH-2.0-Something\r\n") << false;
    QTest::newRow("binary rubbish")
        << QByteArray("\x16\x03\x01\0\xff\xfe\r\n\r\n\0\0", 12) << false;
}

// Which row a broken reply ends in is up to the order of Qt's signals; either
// way the outcome must be whole.
void tst_HttpApiGet::brokenReplies()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, resets);
    HttpServer server;
    server.handle("/", [bytes, resets](QTcpSocket *socket) {
        socket->write(bytes);
        if (resets)
            reset(socket);
        else
            socket->disconnectFromHost();
    });
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    Capture capture;
    const bool ok = http.getUrl(server.url());
    QCOMPARE(http.getIsSuccess(), ok);
    QCOMPARE(finished.count(), 1);
    QVERIFY(http.children().isEmpty());
    QStringList lines{requestLine(server.url())};
    if (ok) {
        QVERIFY(http.getReq() != QVariant(QByteArray("old body")));
        QVERIFY(!http.getReq().toByteArray().isEmpty());
        QCOMPARE(http.lastError(), QStringLiteral("old error"));
    } else {
        QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
        QVERIFY(http.lastError() != QLatin1String("old error"));
        QVERIFY(http.lastError() != QLatin1String("Timed out"));
        lines.append(errorLine(quoted(http.lastError())));
    }
    QCOMPARE(capture.lines(), lines);
}

void tst_HttpApiGet::connectionRefused()
{
    QString url;
    {
        const HttpServer server;
        url = server.url();
    }
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    Capture capture;
    QVERIFY(!http.getUrl(url));
    QVERIFY(!http.getIsSuccess());
    QCOMPARE(http.lastError(), QStringLiteral("Connection refused"));
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QCOMPARE(capture.lines(),
             (QStringList{requestLine(url), errorLine(QStringLiteral("\"Connection refused\""))}));
    QCOMPARE(finished.count(), 1);
}

void tst_HttpApiGet::encryptedToPlainPort()
{
    HttpServer server;
    QString url = server.url();
    url.replace(QLatin1String("http:"), QLatin1String("https:"));
    const QString error = getPlainly(QUrl(url)).error;
    UsedApi http;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(!http.getUrl(url));
    QVERIFY(elapsed.elapsed() < 5500);
    QCOMPARE(http.lastError(), error);
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QVERIFY(server.requests().isEmpty());
}

void tst_HttpApiGet::badAddresses_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("a word") << "status";
    QTest::newRow("relative") << "d/b.zip?x=1";
    QTest::newRow("absolute path") << "/status";
    QTest::newRow("a blank") << " ";
    QTest::newRow("no host") << "http://";
    QTest::newRow("no host, but a path") << "http:///status";
    QTest::newRow("scheme only") << "http:";
    QTest::newRow("open bracket") << "http://[::1";
    QTest::newRow("port too big") << "http://127.0.0.1:99999/";
    QTest::newRow("port is no number") << "http://127.0.0.1:port/";
    QTest::newRow("unknown scheme") << "gopher5://127.0.0.1/";
    QTest::newRow("percent signs") << "%%%1%2";
    QTest::newRow("Chinese words") << QStringLiteral("没有地址");
    QTest::newRow("line feeds") << "ht\ntp://127.0.0.1/\r\nX: y";
    QTest::newRow("long") << QString(100000, QLatin1Char('a'));
}

void tst_HttpApiGet::badAddresses()
{
    QFETCH(QString, url);
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(!http.getUrl(url));
    QVERIFY(elapsed.elapsed() < 5500); // not by waiting for the end of the time
    QVERIFY(!http.getIsSuccess());
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    const QUrl normalised(QString::fromLatin1(QUrl(url).toEncoded()));
    QCOMPARE(http.lastError(), getPlainly(normalised).error);
    QCOMPARE(finished.count(), 1);
    QVERIFY(http.children().isEmpty());
}

void tst_HttpApiGet::addresses_data()
{
    QTest::addColumn<QString>("target"); // as the caller writes it
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QString>("shown"); // in the log
    QTest::newRow("plain") << "/a/b.zip" << QByteArray("/a/b.zip") << "/a/b.zip";
    QTest::newRow("marks that are never encoded")
        << "/a-b_c:80/d.e" << QByteArray("/a-b_c:80/d.e") << "/a-b_c:80/d.e";
    QTest::newRow("looks like Punycode") << "/xn--a" << QByteArray("/xn--a") << "/xn--a";
    QTest::newRow("no path") << "" << QByteArray("/") << "";
    QTest::newRow("blank") << "/a b" << QByteArray("/a%20b") << "/a b";
    QTest::newRow("encoded blank") << "/a%20b" << QByteArray("/a%20b") << "/a b";
    QTest::newRow("percent sign alone") << "/100%" << QByteArray("/100%25") << "/100%25";
    QTest::newRow("percent sign before text") << "/5%zz" << QByteArray("/5%25zz") << "/5%25zz";
    QTest::newRow("encoded percent sign") << "/5%25" << QByteArray("/5%25") << "/5%25";
    QTest::newRow("encoded slash") << "/a%2Fb" << QByteArray("/a%2Fb") << "/a%2Fb";
    QTest::newRow("substitution marks") << "/%1/%2" << QByteArray("/%251/%252") << "/%251/%252";
    QTest::newRow("Chinese") << QStringLiteral("/固件 1") << QByteArray("/%E5%9B%BA%E4%BB%B6%201")
                             << QStringLiteral("/固件 1");
    QTest::newRow("encoded Chinese")
        << "/%E5%9B%BA" << QByteArray("/%E5%9B%BA") << QStringLiteral("/固");
    QTest::newRow("query") << QStringLiteral("/q?a=b c&d=件&e=1+2")
                           << QByteArray("/q?a=b%20c&d=%E4%BB%B6&e=1+2")
                           << QStringLiteral("/q?a=b c&d=件&e=1+2");
    QTest::newRow("fragment is not sent") << "/a?x#part" << QByteArray("/a?x") << "/a?x#part";
    QTest::newRow("line feeds make no header")
        << "/a\r\nX-Other: 1" << QByteArray("/a%0D%0AX-Other:%201") << "/a%0D%0AX-Other: 1";
    QTest::newRow("number sign in a fragment") << "/a#b#c" << QByteArray("/a") << "/a#b%23c";
    QTest::newRow("quotes") << "/\"x\"<y>" << QByteArray("/%22x%22%3Cy%3E") << "/%22x%22%3Cy%3E";
}

void tst_HttpApiGet::addresses()
{
    QFETCH(QString, target);
    QFETCH(QByteArray, sent);
    QFETCH(QString, shown);
    HttpServer server;
    server.answer(sent, HttpServer::reply("200 OK", "here"));
    HttpApi http;
    Capture capture;
    const bool ok = http.getUrl(server.url(target));
    QCOMPARE(server.requests().value(0).split('\r').value(0), "GET " + sent + " HTTP/1.1");
    QVERIFY(ok);
    QCOMPARE(capture.lines(), QStringList{requestLine(server.url(shown))});
}

/// Whatever else is in it: an address with other marks is encoded once.
void tst_HttpApiGet::addressWithoutDots()
{
    HttpApi http;
    Capture capture;
    QVERIFY(!http.getUrl(QStringLiteral("nothing:/a#b#c")));
    QCOMPARE(capture.take().constFirst(),
             QStringLiteral("D [debug][getUrl] [request.url: nothing:/a#b%23c ]"));
}

void tst_HttpApiGet::otherSchemes()
{
    HttpApi http;
    QVERIFY(http.getUrl(QStringLiteral("data:,hello")));
    QCOMPARE(http.getReq(), QVariant(QByteArray("hello")));
    QVERIFY(!http.getUrl(QStringLiteral("data:,")));
    QCOMPARE(http.lastError(), QStringLiteral("warning: result is empty"));

    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("页 1%.txt"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("from a file");
    file.close();
    QVERIFY(http.getUrl(QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded)));
    QCOMPARE(http.getReq(), QVariant(QByteArray("from a file")));
}

void tst_HttpApiGet::requestBytes()
{
    HttpServer server;
    server.answer("/status", HttpServer::reply("200 OK", "fine"));
    HttpApi http;
    http.setToken(QStringLiteral("c2VjcmV0"));
    QVERIFY(http.getUrl(server.url(QStringLiteral("/status"))));
    const QByteArray request = server.requests().value(0);
    QVERIFY(!request.contains("c2VjcmV0"));

    QStringList names;
    const QList<QByteArray> lines = request.trimmed().split('\n').mid(1);
    for (const QByteArray &line : lines)
        names.append(QString::fromLatin1(line.split(':').first()));
    names.sort();
    QCOMPARE(names,
             (QStringList{QStringLiteral("Accept-Encoding"), QStringLiteral("Accept-Language"),
                          QStringLiteral("Connection"), QStringLiteral("Host"),
                          QStringLiteral("User-Agent")}));

    QVERIFY(!getPlainly(QUrl(server.url(QStringLiteral("/status")))).failed);
    QCOMPARE(server.requests().size(), 2);
    QCOMPARE(server.requests().value(1), request);
}

void tst_HttpApiGet::cookiesAsQtHasThem()
{
    HttpServer server;
    server.answer("/", HttpServer::reply("200 OK", "x", "Set-Cookie: id=7; Path=/\r\n"));
    HttpApi http;
    QVERIFY(http.getUrl(server.url()));
    QVERIFY(!server.requests().value(0).contains("Cookie"));
    QVERIFY(http.getUrl(server.url()));
    QVERIFY(server.requests().value(1).contains("Cookie: id=7\r\n"));
}

void tst_HttpApiGet::successThenFailureThenSuccess()
{
    HttpServer server;
    server.answer("/1", HttpServer::reply("200 OK", "one"));
    server.answer("/2", HttpServer::reply("200 OK", "two"));
    HttpApi http;
    QVERIFY(http.getUrl(server.url(QStringLiteral("/1"))));
    QVERIFY(http.lastError().isEmpty());
    QVERIFY(!http.getUrl(server.url(QStringLiteral("/none"))));
    QVERIFY(!http.getIsSuccess());
    QCOMPARE(http.getReq(), QVariant(QByteArray("one")));
    const QString error = http.lastError();
    QVERIFY(!error.isEmpty());
    QVERIFY(http.getUrl(server.url(QStringLiteral("/2"))));
    QVERIFY(http.getIsSuccess());
    QCOMPARE(http.getReq(), QVariant(QByteArray("two")));
    QCOMPARE(http.lastError(), error);
    QCOMPARE(server.connections(), 1);
}

void tst_HttpApiGet::flagIsDownDuringTheWait()
{
    HttpServer server;
    UsedApi http;
    bool asked = false;
    server.handle("/", [&](QTcpSocket *socket) {
        asked = true;
        QVERIFY(!http.getIsSuccess());
        QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
        QCOMPARE(http.lastError(), QStringLiteral("old error"));
        socket->write(HttpServer::reply("200 OK", "new"));
    });
    bool flagInSlot = false;
    QVariant reqInSlot;
    // Callers may connect by name.
    // clazy:excludeall=old-style-connect
    connect(&http, SIGNAL(sigHttpRequstFinished()), this, SLOT(deleteLater()));
    disconnect(&http, SIGNAL(sigHttpRequstFinished()), this, SLOT(deleteLater()));
    connect(&http, &HttpApi::sigHttpRequstFinished, this, [&] {
        flagInSlot = http.getIsSuccess();
        reqInSlot = http.getReq();
    });
    QVERIFY(http.getUrl(server.url()));
    QVERIFY(asked);
    QVERIFY(flagInSlot);
    QCOMPARE(reqInSlot, QVariant(QByteArray("new")));
}

void tst_HttpApiGet::whatLivesDuringTheWait()
{
    HttpServer server;
    HttpApi http;
    QPointer<QTimer> timer;
    server.handle("/", [&](QTcpSocket *socket) {
        QCOMPARE(http.findChildren<QTimer *>().size(), 1);
        timer = http.findChild<QTimer *>();
        QVERIFY(timer->isActive());
        QVERIFY(!timer->isSingleShot());
        QCOMPARE(timer->interval(), 6000);
        QCOMPARE(timer->parent(), &http);
        socket->write(HttpServer::reply("200 OK", "x"));
    });
    QVERIFY(http.getUrl(server.url()));
    QVERIFY(timer.isNull());
    QVERIFY(http.children().isEmpty());
}

void tst_HttpApiGet::bigBody()
{
    constexpr int size = 64 * 1024 * 1024;
    QByteArray body(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        body[i] = static_cast<char>((static_cast<unsigned>(i) * 2654435761U) >> 24);
    HttpServer server;
    server.handle("/", [&body](QTcpSocket *socket) {
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size())
                      + "\r\n\r\n");
        socket->write(body);
    });
    HttpApi http;
    QVERIFY2(http.getUrl(server.url()), qPrintable(http.lastError()));
    const QByteArray received = http.getReq().toByteArray();
    QCOMPARE(received.size(), body.size());
    QVERIFY(received == body);
}

void tst_HttpApiGet::manyCallsInARow_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("succeeds");
    QTest::addColumn<int>("calls");
    QTest::newRow("success") << "/" << true << manyCalls;
    QTest::newRow("404") << "/none" << false << manyCalls / 10;
}

// Without an event loop around the calls: nothing may wait for one to be freed.
void tst_HttpApiGet::manyCallsInARow()
{
    QFETCH(QString, target);
    QFETCH(bool, succeeds);
    QFETCH(int, calls);
    HttpServer server;
    int served = 0;
    const auto serve = [&server, &served](const QByteArray &path, const QByteArray &bytes) {
        server.handle(path, [&server, &served, bytes](QTcpSocket *socket) {
            ++served;
            server.resetCounts();
            socket->write(bytes);
        });
    };
    serve("/", HttpServer::reply("200 OK", "body"));
    serve("/none", HttpServer::reply("404 Not Found", "body"));
    HttpApi http;
    const QString url = server.url(target);
    int ok = 0;
    for (int i = 0; i < 200; ++i)
        ok += http.getUrl(url);
    const long residentBefore = residentKiB();
    const int descriptorsBefore = openDescriptors();
    for (int i = 0; i < calls; ++i)
        ok += http.getUrl(url);
    const long residentAfter = residentKiB();

    QCOMPARE(served, calls + 200);
    QCOMPARE(ok, succeeds ? served : 0);
    QTRY_COMPARE(openDescriptors(), descriptorsBefore); // the last ones may still be closing
    QVERIFY(http.children().isEmpty());
    if (memoryCanBeMeasured)
        QVERIFY2(residentAfter - residentBefore < 4096,
                 QByteArray::number(int(residentAfter - residentBefore)));
}

// The reply comes while a slot of the signal runs an event loop of its own: it
// may neither store its body nor be announced. Meanwhile a client on a thread
// that has no event loop waits for a server that sends one byte a second.
void tst_HttpApiGet::timeOut()
{
    HttpServer server;
    QTimer drip;
    server.handle("/drip", [&drip](QTcpSocket *socket) {
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 60\r\n\r\n");
        connect(&drip, &QTimer::timeout, socket, [socket] { socket->write("."); });
        drip.start(1000);
    });
    Capture capture;
    QPointer<QTcpSocket> silent;
    server.handle("/", [&silent](QTcpSocket *socket) {
        silent = socket;
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhal");
    });
    UsedApi http;
    int outcomes = 0;
    connect(&http, &HttpApi::sigHttpRequstFinished, this, [&] {
        if (++outcomes > 1)
            return;
        QVERIFY(!http.findChild<QTimer *>()->isActive());
        QVERIFY(silent);
        silent->write("f late");
        QTest::qWait(300);
    });
    capture.take();
    std::atomic<bool> dripDone{false};
    bool dripOk = true;
    QString dripError;
    std::thread dripClient([&, url = server.url(QStringLiteral("/drip"))] {
        HttpApi dripping;
        dripOk = dripping.getUrl(url);
        dripError = dripping.lastError();
        dripDone = true;
    });

    QElapsedTimer elapsed;
    elapsed.start();
    const bool ok = http.getUrl(server.url());
    const qint64 waited = elapsed.elapsed();
    while (!dripDone && elapsed.elapsed() < 30000)
        QTest::qWait(10);
    QVERIFY(dripDone);
    dripClient.join();
    QVERIFY(!ok);
    QVERIFY(waited >= 5900);
    QVERIFY(waited < 30000);
    QCOMPARE(outcomes, 1);
    QVERIFY(!http.getIsSuccess());
    QCOMPARE(http.lastError(), QStringLiteral("Timed out"));
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    // The other client logs the same, in an order of its own.
    QStringList lines = capture.take();
    const QString timedOut = errorLine(QStringLiteral("\"Timed out\""));
    QVERIFY(lines.removeOne(requestLine(server.url(QStringLiteral("/drip")))));
    QVERIFY(lines.removeOne(timedOut));
    QCOMPARE(lines, (QStringList{requestLine(server.url()), timedOut}));
    QVERIFY(!dripOk);
    QCOMPARE(dripError, QStringLiteral("Timed out"));
    QVERIFY(http.children().isEmpty());
    QTest::qWait(100);
    QCOMPARE(outcomes, 1);
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));

    server.answer("/next", HttpServer::reply("200 OK", "works again"));
    QVERIFY(http.getUrl(server.url(QStringLiteral("/next"))));
}

/// Qt would run out of what an array can hold, and end the program.
void tst_HttpApiGet::bodyBeyondAnyArray()
{
    const QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("sparse")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(qint64(5) << 30));
    file.close();
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    Capture capture;
    const QString url = QUrl::fromLocalFile(file.fileName()).toString();
    QVERIFY(!http.getUrl(url));
    QVERIFY(!http.getIsSuccess());
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QCOMPARE(http.lastError(), QStringLiteral("File too large"));
    QCOMPARE(finished.count(), 1);
    QCOMPARE(capture.lines(),
             (QStringList{requestLine(url), errorLine(QStringLiteral("\"File too large\""))}));
}

/// Whatever a server goes on with: the time is over after six seconds, and nothing stays.
void tst_HttpApiGet::serversThatNeverEnd()
{
    struct Endless
    {
        const char *target;
        QByteArray start;
        QByteArray more;
    };
    const QByteArray piece(4096, 'x');
    const std::vector<Endless> kinds{
        {"/body", "HTTP/1.1 200 OK\r\n\r\n", piece},
        {"/chunks", chunked(QByteArray()), "1000\r\n" + piece + "\r\n"},
        {"/chunk-size", chunked(QByteArray()), QByteArray(4096, '0')},
        {"/status-line", "HTTP/1.1 200 ", piece},
        {"/header", "HTTP/1.1 200 OK\r\nX-Endless: ", piece},
        {"/headers", "HTTP/1.1 200 OK\r\n", "X-More: " + piece + "\r\n"},
        {"/continue", QByteArray(), "HTTP/1.1 100 Continue\r\n\r\n"},
        {"/nothing", QByteArray(), QByteArray()},
    };
    HttpServer server;
    QTimer clock;
    for (const Endless &kind : kinds) {
        server.handle(kind.target, [&clock, kind](QTcpSocket *socket) {
            socket->write(kind.start);
            connect(&clock, &QTimer::timeout, socket, [socket, kind] {
                if (socket->bytesToWrite() < 65536)
                    socket->write(kind.more);
            });
        });
    }
    clock.start(10);
    const int descriptors = openDescriptors();
    std::vector<QString> errors(kinds.size());
    std::vector<std::thread> clients;
    std::atomic<int> running{static_cast<int>(kinds.size())};
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        clients.emplace_back(
            [&running, &error = errors[i], url = server.url(QString::fromLatin1(kinds[i].target))] {
                HttpApi http;
                if (http.getUrl(url) || http.getReq().isValid())
                    error = QStringLiteral("(success)");
                else
                    error = http.lastError();
                --running;
            });
    }
    QElapsedTimer elapsed;
    elapsed.start();
    while (running > 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const qint64 elapsedMs = elapsed.elapsed();
    for (std::thread &client : clients)
        client.join();
    clock.stop();
    for (std::size_t i = 0; i < kinds.size(); ++i)
        QVERIFY2(errors[i] == QLatin1String("Timed out"),
                 QByteArray(kinds[i].target) + ": " + errors[i].toUtf8());
    QVERIFY2(elapsedMs < 30000, QByteArray::number(elapsedMs).constData());
    QTRY_COMPARE(openDescriptors(), descriptors);
}

void tst_HttpApiGet::untrustedCertificate()
{
    const QString openssl = QStandardPaths::findExecutable(QStringLiteral("openssl"));
    if (openssl.isEmpty() || !QSslSocket::supportsSsl())
        QSKIP("needs openssl to make a certificate, and Qt with TLS");
    const QTemporaryDir dir;
    const QString certificate = dir.filePath(QStringLiteral("certificate"));
    const QString key = dir.filePath(QStringLiteral("key"));
    QProcess maker;
    maker.start(openssl,
                {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-nodes"),
                 QStringLiteral("-newkey"), QStringLiteral("rsa:2048"), QStringLiteral("-subj"),
                 QStringLiteral("/CN=127.0.0.1"), QStringLiteral("-keyout"), key,
                 QStringLiteral("-out"), certificate});
    QVERIFY(maker.waitForFinished());
    QCOMPARE(maker.exitCode(), 0);

    StrangersServer server(certificate, key);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    UsedApi http;
    QVERIFY(!http.getUrl(
        QStringLiteral("https://127.0.0.1:%1/").arg(QString::number(server.serverPort()))));
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QVERIFY2(http.lastError().startsWith(QLatin1String("SSL handshake failed")),
             qPrintable(http.lastError()));
}

void tst_HttpApiGet::nestedSuccessEndsTheOuterWait()
{
    HttpServer server;
    QPointer<QTcpSocket> outerSocket;
    server.answer("/inner", HttpServer::reply("200 OK", "inner"));
    server.handle("/outer", [&outerSocket](QTcpSocket *socket) { outerSocket = socket; });
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    bool innerResult = false;
    QTimer::singleShot(100, &http, [&] {
        innerResult = http.getUrl(server.url(QStringLiteral("/inner")));
        QCOMPARE(http.findChildren<QTimer *>().size(), 1); // the outer one's
    });
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(http.getUrl(server.url(QStringLiteral("/outer"))));
    QVERIFY(elapsed.elapsed() < 5500);
    QVERIFY(innerResult);
    QCOMPARE(http.getReq(), QVariant(QByteArray("inner")));
    QCOMPARE(http.lastError(), QStringLiteral("old error"));
    QCOMPARE(finished.count(), 1);
    QVERIFY(http.children().isEmpty());
    // The unfinished request was dropped with its connection.
    QTRY_VERIFY(outerSocket.isNull());
}

void tst_HttpApiGet::nestedFailureEndsTheOuterWait()
{
    HttpServer server;
    server.handle("/outer", [](QTcpSocket * /*never answered*/) {});
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    bool innerResult = true;
    QTimer::singleShot(100, &http,
                       [&] { innerResult = http.getUrl(server.url(QStringLiteral("/none"))); });
    QVERIFY(!http.getUrl(server.url(QStringLiteral("/outer"))));
    QVERIFY(!innerResult);
    QVERIFY(http.lastError().endsWith(QLatin1String("server replied: Not Found")));
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QCOMPARE(finished.count(), 1);
    QVERIFY(http.children().isEmpty());
}

void tst_HttpApiGet::nestedEmptyUrlEndsNothing()
{
    HttpServer server;
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    server.handle("/", [&](QTcpSocket *socket) {
        QVERIFY(!http.getUrl(QString()));
        socket->write(HttpServer::reply("200 OK", "outer"));
    });
    QVERIFY(http.getUrl(server.url()));
    QCOMPARE(http.getReq(), QVariant(QByteArray("outer")));
    QCOMPARE(finished.count(), 1);
}

void tst_HttpApiGet::nestedInTheSignal()
{
    HttpServer server;
    server.answer("/1", HttpServer::reply("200 OK", "one"));
    HttpApi http;
    int outcomes = 0;
    bool innerResult = true;
    connect(&http, &HttpApi::sigHttpRequstFinished, this, [&] {
        if (++outcomes == 1)
            innerResult = http.getUrl(server.url(QStringLiteral("/none")));
    });
    // Both share the one flag, and the inner call was the later one.
    QVERIFY(!http.getUrl(server.url(QStringLiteral("/1"))));
    QVERIFY(!innerResult);
    QCOMPARE(http.getReq(), QVariant(QByteArray("one")));
    QCOMPARE(outcomes, 2);
    QVERIFY(http.children().isEmpty());
}

void tst_HttpApiGet::emissionByOthersEndsTheWait()
{
    HttpServer server;
    QPointer<QTcpSocket> waiting;
    UsedApi http;
    server.handle("/", [&](QTcpSocket *socket) {
        waiting = socket;
        Q_EMIT http.sigHttpRequstFinished();
    });
    QVERIFY(!http.getUrl(server.url()));
    QVERIFY(!http.getIsSuccess());
    QCOMPARE(http.lastError(), QStringLiteral("old error"));
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QVERIFY(http.children().isEmpty());
    QTRY_VERIFY(waiting.isNull());
}

// After the end of the inner call its slot keeps the outer one from returning,
// and the outer reply arrives meanwhile.
void tst_HttpApiGet::outerReplyIsDroppedAtOnce()
{
    HttpServer server;
    QPointer<QTcpSocket> outerSocket;
    server.answer("/inner", HttpServer::reply("200 OK", "inner"));
    server.handle("/outer", [&outerSocket](QTcpSocket *socket) { outerSocket = socket; });
    HttpApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    QTimer::singleShot(100, &http, [&] {
        QVERIFY(http.getUrl(server.url(QStringLiteral("/inner"))));
        QVERIFY(outerSocket);
        outerSocket->write(HttpServer::reply("404 Not Found", "outer"));
        QTest::qWait(300);
    });
    QVERIFY(http.getUrl(server.url(QStringLiteral("/outer"))));
    QCOMPARE(http.getReq(), QVariant(QByteArray("inner")));
    QVERIFY(http.lastError().isEmpty());
    QCOMPARE(finished.count(), 1);
}

// The same with the time-out of the outer call instead of its reply.
void tst_HttpApiGet::outerTimeOutIsDroppedAtOnce()
{
    HttpServer server;
    server.answer("/inner", HttpServer::reply("200 OK", "inner"));
    server.handle("/outer", [](QTcpSocket * /*never answered*/) {});
    HttpApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    QTimer::singleShot(100, &http, [&] {
        const QPointer<QTimer> outerTimer = http.findChild<QTimer *>();
        QVERIFY(outerTimer);
        QVERIFY(http.getUrl(server.url(QStringLiteral("/inner"))));
        outerTimer->start(1);
        QTest::qWait(300);
        QVERIFY(!outerTimer->isActive());
    });
    QVERIFY(http.getUrl(server.url(QStringLiteral("/outer"))));
    QCOMPARE(http.getReq(), QVariant(QByteArray("inner")));
    QVERIFY(http.lastError().isEmpty());
    QCOMPARE(finished.count(), 1);
    QVERIFY(http.children().isEmpty());
}

void tst_HttpApiGet::destroyedDuringTheWait()
{
    HttpServer server;
    auto *http = new HttpApi;
    server.handle("/", [&http](QTcpSocket * /*never answered*/) {
        delete http;
        http = nullptr;
    });
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(!http->getUrl(server.url()));
    QVERIFY(!http);
    QVERIFY(elapsed.elapsed() < 5500);
}

void tst_HttpApiGet::threadThatCreatedIt()
{
    HttpServer server;
    server.answer("/", HttpServer::reply("200 OK", "for the worker"));
    const QString url = server.url();
    std::atomic<bool> done{false};
    bool ok = false;
    QByteArray body;
    Capture capture;
    std::thread worker([&] {
        HttpApi http;
        ok = http.getUrl(url);
        body = http.getReq().toByteArray();
        done = true;
    });
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    worker.join();
    QVERIFY(ok);
    QCOMPARE(body, QByteArray("for the worker"));
    QCOMPARE(capture.lines(), QStringList{requestLine(url)});
}

void tst_HttpApiGet::otherThread()
{
    HttpServer server;
    server.answer("/", HttpServer::reply("200 OK", "x"));
    UsedApi http;
    QSignalSpy finished(&http, &HttpApi::sigHttpRequstFinished);
    const QString url = server.url();
    Capture capture;
    bool ok = true;
    bool emptyOk = true;
    std::thread([&] {
        ok = http.getUrl(url);
        emptyOk = http.getUrl(QString());
    }).join();
    QVERIFY(!ok);
    QVERIFY(!emptyOk);
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][getUrl] [ not the thread of the service ]")});
    QVERIFY(http.getIsSuccess());
    QCOMPARE(http.getReq(), QVariant(QByteArray("old body")));
    QCOMPARE(http.lastError(), QStringLiteral("old error"));
    QCOMPARE(finished.count(), 0);
    QTest::qWait(50);
    QVERIFY(server.requests().isEmpty());
    QVERIFY(http.getUrl(url));
}

void tst_HttpApiGet::movedObject()
{
    // Its manager stays behind, so it works on neither thread until it comes back.
    QThread thread;
    HttpApi http;
    http.moveToThread(&thread);
    Capture capture;
    QVERIFY(!http.getUrl(QStringLiteral("data:,x")));
    QCOMPARE(capture.take(),
             QStringList{QStringLiteral("W [warning][getUrl] [ not the thread of the service ]")});
    std::atomic<bool> ok{true};
    QTimer::singleShot(0, &http, [&] {
        ok = http.getUrl(QStringLiteral("data:,x"));
        http.moveToThread(QCoreApplication::instance()->thread());
        thread.quit();
    });
    thread.start();
    QVERIFY(thread.wait(20000));
    QVERIFY(!ok);
    QCOMPARE(capture.lines().size(), 1);
    QVERIFY(http.getUrl(QStringLiteral("data:,x")));
}

QTEST_GUILESS_MAIN(tst_HttpApiGet)
#include "tst_httpapi_get.moc"
