// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef HTTPAPI_H
#define HTTPAPI_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtNetwork/QNetworkAccessManager>

QT_BEGIN_NAMESPACE
class QNetworkReply;
class QNetworkRequest;
QT_END_NAMESPACE

/// The HTTP client: one blocking GET at a time, and what callers need around a
/// download, in one process-wide object reached through init().
/// @code
/// auto http = HttpApi::init();
/// if (http->getUrl(QStringLiteral("http://127.0.0.1:8080/status")))
///     show(http->getJsonVariant(http->getReq().toByteArray()));
/// else
///     complain(http->lastError());
/// @endcode
///
/// **Errors.** A failed operation returns its failure value and stores a text that
/// lastError() returns; the text is also logged. A success never clears it.
///
/// **Threads.** init() is thread-safe. The object belongs to the thread that
/// created it, and its operations are for that thread only; getUrl() checks this.
///
/// **Logging.** The address of each request is logged as it stands, with a password
/// that it may contain.
class ZECORE_EXPORT HttpApi : public QObject
{
    Q_OBJECT

public:
    /// Creates a client with an empty last error and no body; @p parent owns it, if
    /// given. Programs use the one of init().
    explicit HttpApi(QObject *parent = nullptr);
    /// Ends a getUrl() that is still waiting on this object, which returns false.
    ~HttpApi() override;

    /// The one object, created on first use. Thread-safe; the calling thread becomes
    /// the one that may use it.
    static QSharedPointer<HttpApi> &init();

    /// Destroys the object for the shutdown of the process; a second call does no
    /// harm. Does nothing if the object was never created. To be called on the thread
    /// of the object.
    ///
    /// @note #instance still points at the object afterwards, which callers rely on:
    /// the service must not be used any more.
    static void releaseThis();

    /// @name The request
    /// @{

    /// Gets @p url and returns whether a reply without error and with a body came.
    ///
    /// Blocks for up to 6000 ms in a local event loop: timers, queued signals and
    /// other slots of the thread go on meanwhile. The whole body is held in memory
    /// and is what getReq() returns afterwards, if the call succeeded. Otherwise
    /// getReq() keeps the body of the last success, and the last error is
    /// - "Timed out" if the reply was not complete within 6000 ms, whatever part of
    ///   it had come;
    /// - Qt's text for a network error or an HTTP status of 400 and above;
    /// - "File too large" for a body of 2 GiB and more, which no QByteArray can hold;
    /// - "warning: result is empty" for a reply without error and without a body,
    ///   whatever its status.
    ///
    /// Redirects are not followed: such a reply counts by its own body. The request
    /// carries the headers that Qt sets by itself and no others; the token is not sent.
    ///
    /// These calls return false and change nothing, the last error included: an empty
    /// @p url; a call from another thread or without a QCoreApplication, which logs a
    /// warning. The last error also stays if the wait ends without an outcome, because
    /// the application quits or the object is destroyed.
    ///
    /// A call may run inside the wait of another one. Both share the flag and the
    /// signal: the end of either ends both waits, and the request that is not
    /// finished then is dropped.
    bool getUrl(const QString &url);

    /// Whether the latest getUrl() succeeded; false while it runs.
    bool getIsSuccess() const;
    /// Sets the flag that getIsSuccess() returns to @p isSuccess.
    void setIsSuccess(bool isSuccess);

    /// The body of the latest success, as a QByteArray; invalid if there was none.
    QVariant getReq() const;
    /// Sets the value that getReq() returns to @p req, of any type.
    void setReq(const QVariant &req);

    /// The token of setToken(); empty at first.
    QString getToken() const;
    /// Keeps @p token for getToken().
    ///
    /// @note No request carries it.
    void setToken(const QString &token);

    /// @}

    /// The most recent failure text of any operation; empty if there was none.
    QString lastError() const;
    /// Stores @p text and logs it as a debug line, as a quoted string.
    void setLastError(const QString &text);

    /// @name JSON
    /// @{

    /// Turns JSON text into a tree: a QVariantMap or a QVariantList, every number a
    /// `double`, `null` an invalid QVariant.
    ///
    /// Returns an invalid QVariant with the parser's text as last error if @p data is
    /// no JSON document, and with "jsonDocument.isEmpty()" for `{}` and `[]`.
    QVariant getJsonVariant(const QByteArray &data);

    /// The same for the content of a file; a relative @p filePath is taken against
    /// the current directory.
    ///
    /// A path that is no regular file logs "Not file: " and the path, and then counts
    /// as empty text, like a file that cannot be opened.
    ///
    /// @note The last error is the parser's text in the end, and callers rely on it.
    QVariant getJsonVariant(const QString &filePath);

    /// @p value, a map, hash, list or string list, as indented JSON text in UTF-8;
    /// empty for anything else.
    QByteArray getJsonBytes(const QVariant &value);

    /// @}

    /// @name Paths
    /// @{

    /// What follows the last slash or backslash of @p url, query and fragment included.
    ///
    /// @note Empty without any slash: a bare file name gives nothing.
    QString getFileNameByUrl(const QString &url);

    /// Removes every file of the tree below @p path, except the files and
    /// directories called like one of @p excludedNames (whole names, case-sensitive);
    /// an excluded directory stays with all that is in it.
    ///
    /// A relative @p path is taken against the current directory. The operation also
    /// asks for the removal of each directory by the entry "." in it, which POSIX
    /// systems refuse: each directory gives one "remove %1 dir failed". The
    /// directories stay and callers rely on it. A link to a directory is reported the
    /// same way and never entered.
    ///
    /// Goes on after failures ("remove %1 file failed") and returns true if @p path
    /// exists; otherwise, as for an empty path, false with "%1 dir is not exists",
    /// which names the current directory and not @p path.
    ///
    /// @note The current directory of the process is the application directory afterwards.
    bool removeDirWithContent(const QString &path, const QStringList &excludedNames);

    /// Empties the directory @p path as removeDirWithContent() does, with nothing
    /// excluded, and creates it with all missing parents.
    ///
    /// A relative @p path is taken against the application directory, which is the
    /// current directory of the process afterwards. The application directory itself
    /// and its parents are refused: nothing is removed, and "remove %1 dir failed" is
    /// reported once. A directory that cannot be created is not reported.
    void remakePath(const QString &path);

    /// @}

    /// The holder of the one object; use init().
    static QSharedPointer<HttpApi> instance;
    /// Guards the creation of the object.
    static QMutex _mutex;

Q_SIGNALS:
    /// A request finished, failed or timed out; the outcome can be read. Emitted once
    /// per request, before its getUrl() returns. Callers connect to it by this name.
    void sigHttpRequstFinished();

private:
    Q_DISABLE_COPY(HttpApi)

    const char *obstacleToWaiting() const;
    void await(const QNetworkRequest &request);
    void takeResult(QNetworkReply *reply);
    void reportJson(const QString &detail, const QString &text);
    void reportRemoval(const QString &text);

    // The order and the types of the members are part of the binary interface; the
    // reserved ones are used by no operation.
    QMap<QString, QVariant> m_reservedMap;
    QString m_reservedText1;
    QString m_reservedText2;
    QString m_token;
    QString m_lastError;
    QVariant m_req;
    bool m_isSuccess = false;
    QStringList m_statusCodes; // consulted by no operation
    QNetworkAccessManager m_manager;
    qint64 m_reservedNumber = 0;
    int m_requestTimeoutMs = 6000;
    QString m_reservedText3;
};

#endif // HTTPAPI_H
