// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "LogSubjects.h"
#include "Surroundings.h"

#include "http/HttpApi.h"
#include "log/ZeLog.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QThread>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <curl/curl.h>

#include <map>
#include <memory>

namespace Bench {

namespace {

/// %1: the port, %2: the directory of everything.
const char configuration[] = R"(daemon off;
master_process off;
pid "%2/pid";
error_log "%2/error.log";
events { worker_connections 64; }
http {
    access_log off;
    client_body_temp_path "%2/body";
    proxy_temp_path "%2/proxy";
    fastcgi_temp_path "%2/fastcgi";
    uwsgi_temp_path "%2/uwsgi";
    scgi_temp_path "%2/scgi";
    default_type application/octet-stream;
    sendfile on;
    keepalive_requests 100000000;
    server {
        listen 127.0.0.1:%1;
        root "%2";
    }
}
)";

/// A web server of our own on a free port.
class Nginx
{
public:
    Nginx();
    ~Nginx();
    Q_DISABLE_COPY(Nginx)

    /// The address of a file of @p size bytes.
    QString addressOf(int size);

private:
    QString m_directory = workDirectory() + QStringLiteral("/nginx");
    quint16 m_port = 0;
    QProcess m_process;
};

Nginx::Nginx()
{
    QDir().mkpath(m_directory);
    {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        m_port = server.serverPort();
    }
    const QString file = m_directory + QStringLiteral("/nginx.conf");
    writeFile(
        file,
        QString::fromLatin1(configuration).arg(QString::number(m_port), m_directory).toUtf8());
    const QString name = QStringLiteral("nginx");
    QString program = QStandardPaths::findExecutable(name);
    if (program.isEmpty())
        program = QStandardPaths::findExecutable(name, {QStringLiteral("/usr/sbin")});
    m_process.start(program,
                    {QStringLiteral("-p"), m_directory, QStringLiteral("-c"), file,
                     QStringLiteral("-e"), m_directory + QStringLiteral("/error.log")});
    for (int attempts = 0; attempts < 100; ++attempts) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_port);
        if (socket.waitForConnected(1000))
            return;
        QThread::msleep(50);
    }
    fail(QStringLiteral("nginx does not answer"));
}

Nginx::~Nginx()
{
    m_process.terminate();
    m_process.waitForFinished();
    QDir(m_directory).removeRecursively();
}

QString Nginx::addressOf(int size)
{
    const QString name = QString::number(size);
    const QString path = m_directory + QLatin1Char('/') + name;
    if (!QFile::exists(path))
        writeFile(path, randomBytes(size));
    return QStringLiteral("http://127.0.0.1:%1/%2").arg(m_port).arg(name);
}

/// Gets an address again and again over connections that it keeps; returns the size
/// of the body.
class Getter
{
public:
    Getter() = default;
    Q_DISABLE_COPY(Getter)
    virtual ~Getter() = default;
    virtual qint64 get(const QString &address) = 0;
};

class LibraryGetter : public Getter
{
public:
    qint64 get(const QString &address) override
    {
        return m_client.getUrl(address) ? m_client.getReq().toByteArray().size() : -1;
    }

private:
    const Handler m_handler{&ZeLog::outputMessage};
    HttpApi m_client;
};

class QtGetter : public Getter
{
public:
    qint64 get(const QString &address) override
    {
        QNetworkReply *const reply = m_manager.get(QNetworkRequest(QUrl(address)));
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        m_body = reply->readAll();
        delete reply;
        return m_body.size();
    }

private:
    QNetworkAccessManager m_manager;
    QByteArray m_body;
};

class CurlGetter : public Getter
{
public:
    CurlGetter()
        : m_curl(curl_easy_init())
    {
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, &CurlGetter::append);
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &m_body);
        curl_easy_setopt(m_curl, CURLOPT_TIMEOUT_MS, 6000L);
    }
    ~CurlGetter() override { curl_easy_cleanup(m_curl); }
    Q_DISABLE_COPY(CurlGetter)

    qint64 get(const QString &address) override
    {
        m_body.clear();
        curl_easy_setopt(m_curl, CURLOPT_URL, address.toUtf8().constData());
        return curl_easy_perform(m_curl) == CURLE_OK ? static_cast<qint64>(m_body.size()) : -1;
    }

private:
    static std::size_t append(char *data, std::size_t size, std::size_t count, void *body)
    {
        static_cast<std::string *>(body)->append(data, size * count);
        return size * count;
    }

    CURL *m_curl;
    std::string m_body;
};

template <typename Client>
Body getting(const std::shared_ptr<std::unique_ptr<Nginx>> &server, int size)
{
    return [=](benchmark::State &state) {
        if (!*server)
            *server = std::make_unique<Nginx>();
        const QString address = (*server)->addressOf(size);
        const SilentStandardError silence;
        Client client;
        if (client.get(address) != size) // connects
            state.SkipWithError("no body");
        for ([[maybe_unused]] auto iteration : state)
            benchmark::DoNotOptimize(client.get(address));
        dropLibraryQueue();
    };
}

template <typename Client>
Role peakOf()
{
    return [](const std::vector<std::string> &arguments) {
        int argc = 0;
        const QCoreApplication application(argc, nullptr);
        const SilentStandardError silence;
        Client client;
        return client.get(QString::fromStdString(arguments.at(0))) > 0
            ? printResult(peakMebibytes())
            : 1;
    };
}

Body peakOfRole(const QString &role, const std::shared_ptr<std::unique_ptr<Nginx>> &server,
                int size)
{
    return [=](benchmark::State &state) {
        if (!*server)
            *server = std::make_unique<Nginx>();
        for ([[maybe_unused]] auto iteration : state)
            setMemory(state, resultOfRole(role, {(*server)->addressOf(size)}));
    };
}

std::string sizeName(int size)
{
    if (size >= 1 << 20)
        return std::to_string(size >> 20) + " MiB";
    return size >= 1024 ? std::to_string(size >> 10) + " KiB" : std::to_string(size) + " B";
}

} // namespace

void addHttpCases(Suite &suite)
{
    suite.addRole("http-library", peakOf<LibraryGetter>());
    suite.addRole("http-qt", peakOf<QtGetter>());
    suite.addRole("http-curl", peakOf<CurlGetter>());
    const auto server = std::make_shared<std::unique_ptr<Nginx>>();
    const auto contestants = [&server](int size) -> std::vector<Contestant> {
        return {{"library", getting<LibraryGetter>(server, size)},
                {"bare QNetworkAccessManager", getting<QtGetter>(server, size)},
                {"libcurl", getting<CurlGetter>(server, size)}};
    };

    Case small;
    small.name = "http-1kib";
    small.title = "getUrl(), body of 1 KiB, keep-alive";
    small.contestants = contestants(1024);
    small.goals = {{"bare QNetworkAccessManager", 1.02}};
    small.iterations = 500;
    small.repetitions = 31;
    suite.add(std::move(small));

    const int size = suite.scaled(64 << 20, 1 << 20);
    Case large;
    large.name = "http-64mib";
    large.title = "getUrl(), body of 64 MiB, keep-alive";
    large.contestants = contestants(size);
    large.goals = {{"bare QNetworkAccessManager", 1.02}};
    large.unit = Unit::Throughput;
    large.bytes = size;
    large.iterations = 2;
    large.repetitions = 21;
    suite.add(std::move(large));

    Case memory;
    memory.name = "http-memory";
    memory.title = "the same, peak memory";
    memory.contestants = {
        {"library", peakOfRole(QStringLiteral("http-library"), server, size)},
        {"bare QNetworkAccessManager", peakOfRole(QStringLiteral("http-qt"), server, size)},
        {"libcurl", peakOfRole(QStringLiteral("http-curl"), server, size)}};
    memory.goals = {{"bare QNetworkAccessManager", 1.0}};
    memory.unit = Unit::Mebibytes;
    memory.iterations = 1;
    memory.repetitions = 11; // it depends on how the body's pieces come
    suite.add(std::move(memory));

    // Without a body the contract knows no success: the curve begins with one byte.
    for (const int bodySize :
         {1, 1 << 10, 16 << 10, 256 << 10, 1 << 20, 4 << 20, 16 << 20, 64 << 20}) {
        Case point;
        point.name = "curve-body-" + std::to_string(bodySize);
        point.title = "getUrl(), body of " + sizeName(bodySize);
        point.contestants = contestants(bodySize);
        point.iterations = bodySize < 1 << 20 ? 100 : 2;
        point.repetitions = 5;
        point.point = {"body", static_cast<double>(bodySize)};
        suite.add(std::move(point));
    }
}

} // namespace Bench
