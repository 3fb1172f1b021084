// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "http/HttpApi.h"
#include "support/Capture.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QTest>

#include <unistd.h>

using TestSupport::Capture;

namespace {

/// The program; nginx lives where a user's PATH does not look.
QString nginxProgram()
{
    const QString name = QStringLiteral("nginx");
    const QString found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? QStandardPaths::findExecutable(
               name, {QStringLiteral("/usr/sbin"), QStringLiteral("/usr/local/sbin")})
                           : found;
}

/// A port that was free a moment ago.
quint16 freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0;
}

bool answers(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    return socket.waitForConnected(1000);
}

/// %1: the port, %2: the directory of everything.
const char configuration[] = R"(daemon off;
master_process off;
pid "%2/pid";
error_log "%2/error.log";
events { worker_connections 64; }
http {
    access_log "%2/access.log";
    log_format connections "$connection";
    access_log "%2/connections.log" connections;
    client_body_temp_path "%2/body";
    proxy_temp_path "%2/proxy";
    fastcgi_temp_path "%2/fastcgi";
    uwsgi_temp_path "%2/uwsgi";
    scgi_temp_path "%2/scgi";
    default_type text/plain;
    charset utf-8;
    keepalive_requests 100000;
    server {
        listen 127.0.0.1:%1;
        root "%2/root";
        location /packed/ { gzip on; gzip_min_length 1; gzip_types text/plain; }
        location = /empty { return 200; }
        location = /none { return 204; }
        location = /moved { return 301 /hello.txt; }
        location = /found { return 302 /hello.txt; }
        location = /who { add_header WWW-Authenticate "Basic realm=r" always; return 401 "who?"; }
        location = /closed { deny all; }
        location = /broken { return 500 "broken"; }
        location = /drop { return 444; }
    }
}
)";

} // namespace

/// The client against a web server as it is found in the field.
class tst_HttpApiNginx : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void replies_data();
    void replies();
    void bigFile();
    void jsonTree();
    void keepsOneConnection();
    void encryptedToPlainPort();

private:
    bool start();
    void write(const QString &name, const QByteArray &content) const;
    QString url(const QString &target) const;
    QByteArray read(const QString &name) const;

    QTemporaryDir m_dir;
    QProcess m_nginx;
    quint16 m_port = 0;
};

void tst_HttpApiNginx::initTestCase()
{
    if (nginxProgram().isEmpty())
        QSKIP("nginx is not installed (Debian's package: nginx)");
    write(QStringLiteral("root/hello.txt"), "hello");
    write(QStringLiteral("root/empty.txt"), QByteArray());
    write(QStringLiteral("root/固件 100%.txt"), "firmware");
    write(QStringLiteral("root/packed/text.txt"), QByteArray(10000, 'a'));
    write(QStringLiteral("root/status.json"), R"({"model": "ZC930", "axes": [1, 2.5, null]})");
    // The port may be taken between the look and the start.
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (start())
            return;
    }
    QFAIL("nginx does not start: " + m_nginx.readAllStandardError()
          + read(QStringLiteral("error.log")));
}

void tst_HttpApiNginx::cleanupTestCase()
{
    m_nginx.terminate();
    if (m_nginx.state() != QProcess::NotRunning && !m_nginx.waitForFinished(10000)) {
        m_nginx.kill();
        m_nginx.waitForFinished(-1);
    }
}

bool tst_HttpApiNginx::start()
{
    m_port = freePort();
    write(QStringLiteral("nginx.conf"),
          QString::fromLatin1(configuration).arg(QString::number(m_port), m_dir.path()).toUtf8());
    m_nginx.start(nginxProgram(),
                  {QStringLiteral("-p"), m_dir.path(), QStringLiteral("-c"),
                   m_dir.filePath(QStringLiteral("nginx.conf"))});
    if (!m_nginx.waitForStarted(10000))
        return false;
    for (int i = 0; i < 200 && m_nginx.state() == QProcess::Running; ++i) {
        if (answers(m_port))
            return true;
        m_nginx.waitForFinished(50);
    }
    cleanupTestCase();
    return false;
}

void tst_HttpApiNginx::write(const QString &name, const QByteArray &content) const
{
    const QString path = m_dir.filePath(name);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

QByteArray tst_HttpApiNginx::read(const QString &name) const
{
    QFile file(m_dir.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString tst_HttpApiNginx::url(const QString &target) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(QString::number(m_port), target);
}

void tst_HttpApiNginx::replies_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("contains"); // in the body
    QTest::addColumn<QString>("error");    // "*" stands for the address
    QTest::newRow("file") << "/hello.txt"
                          << "hello"
                          << "";
    QTest::newRow("blank, percent sign, Chinese") << QStringLiteral("/固件 100%.txt") << "firmware"
                                                  << "";
    QTest::newRow("gzip") << "/packed/text.txt" << QString(10000, QLatin1Char('a')) << "";
    QTest::newRow("empty file") << "/empty.txt"
                                << ""
                                << "warning: result is empty";
    QTest::newRow("empty 200") << "/empty"
                               << ""
                               << "warning: result is empty";
    QTest::newRow("204") << "/none"
                         << ""
                         << "warning: result is empty";
    QTest::newRow("301") << "/moved"
                         << "301 Moved Permanently"
                         << "";
    QTest::newRow("302") << "/found"
                         << "302 Found"
                         << "";
    QTest::newRow("401") << "/who"
                         << ""
                         << "Host requires authentication";
    QTest::newRow("403") << "/closed"
                         << ""
                         << "Error transferring * - server replied: Forbidden";
    QTest::newRow("404") << "/missing"
                         << ""
                         << "Error transferring * - server replied: Not Found";
    QTest::newRow("500") << "/broken"
                         << ""
                         << "Error transferring * - server replied: Internal Server Error";
    QTest::newRow("closed without reply") << "/drop"
                                          << ""
                                          << "Connection closed";
}

void tst_HttpApiNginx::replies()
{
    QFETCH(QString, target);
    QFETCH(QString, contains);
    QFETCH(QString, error);
    error.replace(QLatin1Char('*'), url(target));
    const Capture capture;
    HttpApi http;
    const bool ok = http.getUrl(url(target));
    QCOMPARE(http.lastError(), error);
    QCOMPARE(ok, error.isEmpty());
    QCOMPARE(http.getReq().isValid(), ok);
    QVERIFY(QString::fromUtf8(http.getReq().toByteArray()).contains(contains));
}

void tst_HttpApiNginx::bigFile()
{
    QByteArray content(64 * 1024 * 1024, Qt::Uninitialized);
    for (int i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>((static_cast<unsigned>(i) * 2654435761U) >> 24);
    write(QStringLiteral("root/big.bin"), content);
    const Capture capture;
    HttpApi http;
    QVERIFY2(http.getUrl(url(QStringLiteral("/big.bin"))), qPrintable(http.lastError()));
    QVERIFY(http.getReq().toByteArray() == content);
    QFile::remove(m_dir.filePath(QStringLiteral("root/big.bin")));
}

void tst_HttpApiNginx::jsonTree()
{
    const Capture capture;
    HttpApi http;
    QVERIFY(http.getUrl(url(QStringLiteral("/status.json"))));
    const QVariantMap tree = http.getJsonVariant(http.getReq().toByteArray()).toMap();
    QCOMPARE(tree.value(QStringLiteral("model")), QVariant(QStringLiteral("ZC930")));
    QCOMPARE(tree.value(QStringLiteral("axes")), QVariant(QVariantList{1.0, 2.5, QVariant()}));
}

void tst_HttpApiNginx::keepsOneConnection()
{
    const auto used = [this] { return read(QStringLiteral("connections.log")).split('\n'); };
    const Capture capture;
    const int before = used().size();
    HttpApi http;
    for (int i = 0; i < 50; ++i)
        QVERIFY(http.getUrl(url(QStringLiteral("/hello.txt"))));
    QTRY_COMPARE(used().size(), before + 50);
    const QList<QByteArray> numbers = used().mid(before - 1, 50);
    QCOMPARE(numbers.count(numbers.first()), 50);
}

void tst_HttpApiNginx::encryptedToPlainPort()
{
    const Capture capture;
    HttpApi http;
    QString address = url(QStringLiteral("/hello.txt"));
    address.replace(QLatin1String("http:"), QLatin1String("https:"));
    QVERIFY(!http.getUrl(address));
    QVERIFY(!http.lastError().isEmpty());
    QVERIFY(http.lastError() != QLatin1String("Timed out"));
    QVERIFY(!http.getReq().isValid());
}

QTEST_GUILESS_MAIN(tst_HttpApiNginx)
#include "tst_httpapi_nginx.moc"
