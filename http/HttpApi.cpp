// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "http/HttpApi.h"

#include "core/DirectoryGuard_p.h"
#include "core/JsonTree_p.h"
#include "core/LogTag_p.h"
#include "core/ServiceHolder_p.h"
#include "files/TreeSweep_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QNetworkRequest>

#include <algorithm>
#include <cerrno>
#include <limits>

using ZeCore::logDebug;
using ZeCore::logWarning;

QSharedPointer<HttpApi> HttpApi::instance;
QMutex HttpApi::_mutex;

namespace {

/// What a QByteArray can hold, and a bit less. Beyond it Qt gives up on memory.
constexpr qint64 maxBody = std::numeric_limits<int>::max() - 64;

QString bodyTooLarge()
{
    return qt_error_string(EFBIG);
}

/// Whether @p address has only characters that are spelled alike in every form of an
/// address. A host in Punycode is not: it is shown in Unicode.
bool hasOneSpelling(const QString &address)
{
    return !address.contains(QLatin1String("xn--"))
        && std::all_of(address.begin(), address.end(), [](QChar c) {
               return c.unicode() < 0x80
                   && (c.isLetterOrNumber() || c == QLatin1Char('/') || c == QLatin1Char(':')
                       || c == QLatin1Char('.') || c == QLatin1Char('-') || c == QLatin1Char('_'));
           });
}

/// The address of a request, and how it is shown.
struct Target
{
    QUrl url;
    QString text;
};

/// The target of an address as people write it, with blanks and characters of any
/// language: encoded in full once, so that every spelling of it is sent alike.
Target targetOf(const QString &address)
{
    const QUrl url(address, QUrl::TolerantMode);
    const QString text = url.toString();
    // Most addresses are encoded already and need neither this nor a second look.
    if (text == address && hasOneSpelling(address))
        return {url, text};
    const QString encoded = QString::fromLatin1(url.toEncoded(QUrl::FullyEncoded));
    const QUrl target = encoded == address ? url : QUrl(encoded, QUrl::TolerantMode);
    return {target, target.toString()};
}

} // namespace

HttpApi::HttpApi(QObject *parent)
    : QObject(parent)
    , m_statusCodes{QStringLiteral("201"), QStringLiteral("401"), QStringLiteral("403"),
                    QStringLiteral("404")}
{
    Q_UNUSED(m_reservedNumber);
}

HttpApi::~HttpApi() = default;

QSharedPointer<HttpApi> &HttpApi::init()
{
    return ZeCore::ServiceHolder<HttpApi>::init(instance, _mutex);
}

void HttpApi::releaseThis()
{
    ZeCore::ServiceHolder<HttpApi>::release();
}

bool HttpApi::getUrl(const QString &url)
{
    if (url.isEmpty())
        return false;
    if (const char *obstacle = obstacleToWaiting()) {
        logWarning("getUrl") << "[" << obstacle << "]";
        return false;
    }
    m_isSuccess = false;
    const Target target = targetOf(url);
    logDebug("getUrl") << "[request.url:" << target.text << "]";

    const QPointer<HttpApi> self(this);
    await(QNetworkRequest(target.url));
    return self && m_isSuccess;
}

/// Why this call cannot run an event loop for the manager; null if it can.
const char *HttpApi::obstacleToWaiting() const
{
    if (!QCoreApplication::instance())
        return "no application object"; // an event loop would spin for ever
    // The manager is a member without parent: it stays behind if a program moves
    // the object to another thread.
    const QThread *const caller = QThread::currentThread();
    if (thread() != caller || m_manager.thread() != caller)
        return "not the thread of the service";
    return nullptr;
}

/// Sends @p request and waits for its outcome. The object may be gone afterwards.
void HttpApi::await(const QNetworkRequest &request)
{
    // First of all, since on a thread that Qt did not start it is the event loop
    // that makes timers work.
    QEventLoop loop;
    const QEventLoop *const wait = &loop;
    QNetworkReply *const reply = m_manager.get(request);
    auto *const timer = new QTimer(this);
    const QPointer<QNetworkReply> replyWatch(reply);
    const QPointer<QTimer> timerWatch(timer);

    // A request has one outcome. Slots of the signal may run an event loop of their
    // own, in which neither the reply nor the timer may speak up once more; and the
    // end of a nested request, which quits this loop, ends this one as well.
    const auto giveUp = [this, reply, timer, wait](const QString &error) {
        timer->stop();
        disconnect(reply, nullptr, this, nullptr);
        if (!wait->isRunning())
            return;
        setLastError(error);
        Q_EMIT sigHttpRequstFinished();
    };
    connect(timer, &QTimer::timeout, this, [giveUp] { giveUp(QStringLiteral("Timed out")); });
    // There is no progress to show; but a server may never stop.
    connect(reply, &QNetworkReply::downloadProgress, this, [giveUp, reply](qint64 received) {
        if (received <= maxBody)
            return;
        reply->setParent(nullptr); // Qt still uses it, as below
        giveUp(bodyTooLarge());
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, timer, wait] {
        timer->stop();
        // Qt still uses the reply after this signal, even if a slot of ours releases
        // the service and with it the manager that would delete its replies.
        reply->setParent(nullptr);
        if (!wait->isRunning())
            return;
        takeResult(reply);
        Q_EMIT sigHttpRequstFinished();
    });
    timer->start(m_requestTimeoutMs);
    connect(this, &HttpApi::sigHttpRequstFinished, &loop, &QEventLoop::quit);
    connect(this, &QObject::destroyed, &loop, &QEventLoop::quit);
    loop.exec();
    // Either may have gone with the object.
    delete timerWatch;
    delete replyWatch;
}

void HttpApi::takeResult(QNetworkReply *reply)
{
    if (reply->error() != QNetworkReply::NoError) {
        setLastError(reply->errorString());
        return;
    }
    if (reply->bytesAvailable() > maxBody) {
        setLastError(bodyTooLarge());
        return;
    }
    // All at once at its own size; readAll() alone grows its result chunk by chunk.
    QByteArray body = reply->read(reply->bytesAvailable());
    if (reply->bytesAvailable() > 0)
        body += reply->readAll();
    if (body.isEmpty()) {
        setLastError(QStringLiteral("warning: result is empty"));
        return;
    }
    m_isSuccess = true;
    setReq(body);
}

bool HttpApi::getIsSuccess() const
{
    return m_isSuccess;
}

void HttpApi::setIsSuccess(bool isSuccess)
{
    m_isSuccess = isSuccess;
}

QVariant HttpApi::getReq() const
{
    return m_req;
}

void HttpApi::setReq(const QVariant &req)
{
    m_req = req;
}

QString HttpApi::getToken() const
{
    return m_token;
}

void HttpApi::setToken(const QString &token)
{
    m_token = token;
}

QString HttpApi::lastError() const
{
    return m_lastError;
}

void HttpApi::setLastError(const QString &text)
{
    m_lastError = text;
    qDebug() << "!!!!Error: " << text;
}

QVariant HttpApi::getJsonVariant(const QByteArray &data)
{
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        reportJson(parseError.errorString(), parseError.errorString());
        return QVariant();
    }
    if (ZeCore::isEmptyDocument(document)) {
        const QString text = QStringLiteral("jsonDocument.isEmpty()");
        // The line shows brackets twice, and callers rely on it.
        reportJson(QLatin1Char('[') + text + QLatin1Char(']'), text);
        return QVariant();
    }
    return ZeCore::toVariantTree(document);
}

QVariant HttpApi::getJsonVariant(const QString &filePath)
{
    QByteArray data;
    const QFileInfo info(filePath);
    if (!info.isFile()) {
        setLastError(QStringLiteral("Not file: %1").arg(info.filePath()));
    } else {
        QFile file(info.absoluteFilePath());
        if (file.open(QIODevice::ReadOnly))
            data = file.readAll();
    }
    return getJsonVariant(data);
}

QByteArray HttpApi::getJsonBytes(const QVariant &value)
{
    return QJsonDocument::fromVariant(value).toJson();
}

QString HttpApi::getFileNameByUrl(const QString &url)
{
    QString path = url;
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : path.mid(slash + 1);
}

bool HttpApi::removeDirWithContent(const QString &path, const QStringList &excludedNames)
{
    const QString applicationDir = QCoreApplication::applicationDirPath();
    // The current directory of the call: the log's writer may change it at any time.
    const QDir dir(QDir::currentPath());
    // Not cleaned: what ".." behind a link leads to is the system's to say.
    const QString root = QDir::isAbsolutePath(path) ? path : dir.path() + QLatin1Char('/') + path;
    // QDir takes an empty path for the current directory, which must not be emptied.
    const bool exists = !path.isEmpty() && dir.exists(root);
    if (exists)
        ZeCore::sweepTree(root, path, excludedNames,
                          [this](const QString &text) { reportRemoval(text); });
    else
        reportRemoval(QStringLiteral("%1 dir is not exists").arg(dir.absolutePath()));
    QDir::setCurrent(applicationDir);
    return exists;
}

void HttpApi::remakePath(const QString &path)
{
    const QString applicationDir = QCoreApplication::applicationDirPath();
    QDir::setCurrent(applicationDir);
    if (ZeCore::containsDirectory(path, applicationDir)) {
        reportRemoval(QStringLiteral("remove %1 dir failed").arg(QDir(path).absolutePath()));
        return;
    }
    removeDirWithContent(path, {});
    if (!path.isEmpty())
        QDir().mkpath(path);
    QDir::setCurrent(applicationDir);
}

/// Writes @p detail as a warning first and then stores @p text. Removals do it the
/// other way round, and readers of the logs rely on either order.
void HttpApi::reportJson(const QString &detail, const QString &text)
{
    logWarning("getJsonVariant") << "[" << detail << "]";
    setLastError(text);
}

void HttpApi::reportRemoval(const QString &text)
{
    setLastError(text);
    logWarning("removeDirWithContent") << "[" << text << "]";
}
