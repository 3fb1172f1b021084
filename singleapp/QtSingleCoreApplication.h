// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef QTSINGLECOREAPPLICATION_H
#define QTSINGLECOREAPPLICATION_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QString>
#include <QtCore/QVector>

QT_BEGIN_NAMESPACE
class QSharedMemory;
QT_END_NAMESPACE

class QtLocalPeer;

/// An application object that knows the other running processes of its user with
/// the same application id, and that passes text messages to and from them.
///
/// @code
/// QtSingleCoreApplication app(QStringLiteral("org.example.panel"), argc, argv);
/// if (app.isRunning()) // an earlier instance lives: hand over and leave
///     return app.sendMessage(QStringLiteral("show")) ? 0 : 1;
/// QObject::connect(&app, &QtSingleCoreApplication::messageReceived,
///                  [](const QString &text, QObject *socket) {
///                      handle(text);
///                      socket->deleteLater();
///                  });
/// return app.exec();
/// @endcode
///
/// Nothing keeps a second instance from running: the program decides. Every
/// instance is entered in a table of process ids in shared memory and listens as
/// the QtLocalPeer "id-pid". One that crashed is skipped by later ones; its entry
/// goes when another instance ends.
///
/// **Limits.** The table holds 127 ids; an instance beyond them works but is not
/// found by later ones. Under heavy contention two processes can be in the table at
/// once and an entry can get lost. All programs with an empty id share one table.
///
/// **Without the table.** If the table cannot be made, "Failed to initialize
/// instances shared memory: " and the reason are logged as a warning, and the object
/// works as a plain application that no other instance finds. If the temporary
/// directory is missing or cannot be written, every other process counts as running.
///
/// **Threads.** Everything belongs to the main thread. The constructor and the
/// destructor wait without limit while another process of this user or root holds the
/// lock of the table, which programs of this class do for moments only.
class ZECORE_EXPORT QtSingleCoreApplication : public QCoreApplication
{
    Q_OBJECT

public:
    /// Enters this process in the table of @p appId and starts to listen for messages.
    ///
    /// The first live instance that was entered earlier becomes the default target of
    /// isRunning() and sendMessage(), for good: a later one does not take its place.
    /// @p argc and @p argv must live as long as the object, as for QCoreApplication.
    QtSingleCoreApplication(const QString &appId, int &argc, char **argv);

    /// Takes this process, and those that no longer run, out of the table and stops
    /// listening.
    ~QtSingleCoreApplication() override;

    /// Whether the instance with the process id @p pid runs; -1 stands for the default
    /// target. False for this process itself and if there is no default target.
    bool isRunning(qint64 pid = -1);

    /// Sends @p message to the instance @p pid; -1 stands for the default target.
    /// Returns whether it was acknowledged. False for this process itself and if there
    /// is no default target.
    ///
    /// Blocks without serving events, @p timeout in milliseconds for each step; see
    /// QtLocalPeer::sendMessage(). After setBlock(true) it then waits without limit
    /// until the receiver closes the connection.
    bool sendMessage(const QString &message, int timeout = 5000, qint64 pid = -1);

    /// The application id that was given to the constructor.
    QString applicationId() const;

    /// With @p value true sendMessage() waits until the receiver closes the connection
    /// (false at first).
    void setBlock(bool value);

Q_SIGNALS:
    /// The text @p message from another instance has arrived and was acknowledged.
    ///
    /// The receiver owns @p socket, the QLocalSocket of the sender, and deletes it
    /// when it is done; see QtLocalPeer::messageReceived().
    void messageReceived(const QString &message, QObject *socket);

private:
    Q_DISABLE_COPY(QtSingleCoreApplication)

    void findFirstPeer(const QVector<qint64> &ids);
    void leaveTable();
    bool isOtherAlive(qint64 pid) const;

    qint64 m_firstPeer = -1;
    QSharedMemory *m_instances = nullptr;
    QtLocalPeer *m_pidPeer = nullptr;
    QString m_appId;
    bool m_block = false;
};

#endif // QTSINGLECOREAPPLICATION_H
