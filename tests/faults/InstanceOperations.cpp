// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "singleapp/QtLocalPeer.h"
#include "singleapp/QtLockedFile.h"
#include "singleapp/QtSingleCoreApplication.h"

#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtNetwork/QLocalSocket>

#include <functional>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Faults {

namespace {

const QString id = "zecore-faults";
const QString message = "a message of some length: " + QString(3000, 'm');

/// A process beside the one under test, which ends when it is asked to.
class Companion
{
public:
    /// Runs @p live in a process of its own. It gets the function that tells that all
    /// is ready, and the descriptor that ends when the companion is to.
    using Live = std::function<void(const std::function<void()> &ready, int end)>;

    void start(const Live &live)
    {
        int ready[2];
        if (::pipe2(m_end, O_CLOEXEC) != 0 || ::pipe2(ready, O_CLOEXEC) != 0)
            qFatal("no pipe");
        m_process = ::fork();
        if (m_process == 0) {
            ::close(m_end[1]);
            ::close(ready[0]);
            live([&ready] { ::close(ready[1]); }, m_end[0]);
            ::_exit(0);
        }
        ::close(m_end[0]);
        ::close(ready[1]);
        char byte = 0;
        static_cast<void>(::read(ready[0], &byte, 1));
        ::close(ready[0]);
    }

    /// Lets it read the letter "b".
    void begin() { static_cast<void>(::write(m_end[1], "b", 1)); }

    /// Its exit status.
    int stop()
    {
        ::close(m_end[1]);
        int status = 0;
        ::waitpid(m_process, &status, 0);
        return status;
    }

    pid_t id() const { return m_process; }

private:
    pid_t m_process = 0;
    int m_end[2] = {-1, -1};
};

Companion s_companion;

void stopCompanion(Trial &trial)
{
    trial.require(s_companion.stop() == 0, "the other process has crashed");
}

/// Serves events until @p end ends.
void runUntil(int end)
{
    QSocketNotifier notifier(end, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier,
                     [](int) { QCoreApplication::quit(); });
    QCoreApplication::exec();
}

char *s_arguments[] = {const_cast<char *>("suite"), nullptr};
int s_argumentCount = 1;

// ---- Locks

QString lockPath(const Trial &trial)
{
    return trial.path("lock");
}

Operation lockFile()
{
    return {"QtLockedFile, lock and unlock", [](Trial & /*trial*/) {},
            [](Trial &trial) {
                QtLockedFile file(lockPath(trial));
                QVariantList results{file.open(QIODevice::ReadWrite)};
                results << file.lock(QtLockedFile::WriteLock);
                results << file.lock(QtLockedFile::ReadLock, false);
                results << int(file.lockMode()) << file.unlock();
                trial.value = results;
            },
            [](Trial &trial) {
                const QVariantList results = trial.value.toList();
                if (results == QVariantList{true, true, true, 1, true}) {
                    trial.require(!trial.after().contains(lockPath(trial))
                                      || trial.isDisturbedIn(Remove) || trial.isDisturbedIn(Status)
                                      || trial.isDisturbedIn(Control),
                                  "the file stays");
                    return;
                }
                trial.requireReason();
                if (!results.at(0).toBool()) {
                    trial.require(
                        trial.hasLineWith("W QtLockedFile::lock(): file is not opened")
                            && trial.hasLineWith("W QtLockedFile::unlock(): file is not opened"),
                        "no line tells of it");
                    return;
                }
                // An interrupted wait fails in silence.
                if (trial.isDisturbedIn(Control))
                    trial.require(trial.hasLineWith("W QtLockedFile::lock(): fcntl: ")
                                      || trial.error() == EINTR,
                                  "no line tells of it");
            }};
}

Operation lockHeldByOther()
{
    return {"QtLockedFile, refused",
            [](Trial &trial) {
                s_companion.start([&trial](const std::function<void()> &ready, int end) {
                    QtLockedFile file(lockPath(trial));
                    if (!file.open(QIODevice::ReadWrite) || !file.lock(QtLockedFile::WriteLock))
                        ::_exit(1);
                    ready();
                    char byte = 0;
                    static_cast<void>(::read(end, &byte, 1));
                });
            },
            [](Trial &trial) {
                QtLockedFile file(lockPath(trial));
                const bool opened = file.open(QIODevice::ReadWrite);
                trial.value = QVariantList{opened, file.lock(QtLockedFile::WriteLock, false)};
            },
            [](Trial &trial) {
                trial.require(!trial.value.toList().at(1).toBool(), "two have the lock");
                if (!trial.isDisturbed())
                    trial.require(trial.lines().isEmpty(), "it says " + trial.lines().join(" / "));
            },
            [](Trial & /*trial*/) {},
            stopCompanion};
}

// ---- Peers

Operation becomeServer()
{
    return {"QtLocalPeer, first of its name", [](Trial & /*trial*/) {},
            [](Trial &trial) {
                QtLocalPeer peer(nullptr, id);
                QVariantList results{peer.isClient()};
                results << peer.isClient() << peer.sendMessage("to whom?", 100, false);
                trial.value = results;
            },
            [](Trial &trial) {
                const QVariantList results = trial.value.toList();
                trial.require(!results.at(2).toBool(), "a message was sent to nobody");
                if (results.at(0).toBool()) // the lock could not be had
                    trial.requireReason();
                if (trial.isDisturbedIn(Socket) || trial.isDisturbedIn(Bind)
                    || trial.isDisturbedIn(Listen))
                    trial.requireFailure(
                        {"W QtSingleCoreApplication: listen on local socket failed, "});
            }};
}

void startServer(Trial & /*trial*/)
{
    s_companion.start([](const std::function<void()> &ready, int end) {
        const QCoreApplication application(s_argumentCount, s_arguments);
        QtLocalPeer peer(nullptr, id);
        QObject::connect(&peer, &QtLocalPeer::messageReceived, &peer,
                         [](const QString & /*text*/, QObject *socket) { delete socket; });
        if (peer.isClient())
            ::_exit(1);
        ready();
        runUntil(end);
    });
}

Operation sendMessage()
{
    Operation operation{"QtLocalPeer, send",
                        startServer,
                        [](Trial &trial) {
                            QtLocalPeer peer(nullptr, id);
                            trial.value = peer.sendMessage(message, 2000, false);
                        },
                        [](Trial &trial) {
                            if (!trial.value.toBool())
                                trial.requireReason();
                        },
                        [](Trial & /*trial*/) {},
                        stopCompanion};
    operation.waits = true;
    return operation;
}

std::unique_ptr<QtLocalPeer> s_peer;
QStringList s_received;

/// A server under faults; whether its client is told the truth.
Operation receiveMessage()
{
    Operation operation{
        "QtLocalPeer, receive",
        [](Trial & /*trial*/) {
            s_companion.start([](const std::function<void()> &ready, int end) {
                ready();
                char byte = 0;
                while (::read(end, &byte, 1) > 0 && byte != 'b') { } // until there is a server
                const QCoreApplication application(s_argumentCount, s_arguments);
                QtLocalPeer peer(nullptr, id);
                ::_exit(peer.sendMessage(message, 3000, false) ? 10 : 11);
            });
        },
        [](Trial & /*trial*/) {
            QEventLoop loop;
            QObject::connect(s_peer.get(), &QtLocalPeer::messageReceived, &loop, &QEventLoop::quit);
            QTimer::singleShot(1500, &loop, &QEventLoop::quit);
            loop.exec();
        },
        [](Trial &trial) {
            if (trial.value.toInt() == 11)
                trial.requireReason();
            else
                trial.require(s_received == QStringList{message} || trial.isDisturbed(),
                              "another message: " + s_received.join(" / "));
            trial.require(s_received.isEmpty() || message.startsWith(s_received.constFirst()),
                          "another message: " + s_received.join(" / "));
        },
        [](Trial & /*trial*/) {
            s_peer = std::make_unique<QtLocalPeer>(nullptr, id);
            QObject::connect(s_peer.get(), &QtLocalPeer::messageReceived, s_peer.get(),
                             [](const QString &text, QObject *socket) {
                                 s_received.append(text);
                                 delete socket;
                             });
            s_peer->isClient();
            s_companion.begin();
        },
        [](Trial &trial) {
            const int status = s_companion.stop();
            trial.value = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
            s_peer.reset();
        }};
    operation.waits = true;
    return operation;
}

// ---- Applications

/// What becomes of an instance from its beginning to its end.
void runInstance(Trial &trial)
{
    QtSingleCoreApplication application(id, s_argumentCount, s_arguments);
    const bool isRunning = application.isRunning();
    trial.value = QVariantList{isRunning, application.sendMessage(message, 2000)};
}

const QString noTable = "W Failed to initialize instances shared memory: ";

Operation firstInstance()
{
    Operation operation{"QtSingleCoreApplication, the first", [](Trial & /*trial*/) {}, runInstance,
                        [](Trial &trial) {
                            const QVariantList results = trial.value.toList();
                            trial.require(!results.at(0).toBool() && !results.at(1).toBool(),
                                          "it has found another one");
                            if (trial.isDisturbedIn(SharedMemory) && trial.error() == EACCES
                                && !trial.lines().isEmpty())
                                trial.requireFailure({noTable});
                        }};
    operation.isApplication = true;
    operation.waits = true;
    return operation;
}

Operation secondInstance()
{
    Operation operation{
        "QtSingleCoreApplication, the second",
        [](Trial & /*trial*/) {
            s_companion.start([](const std::function<void()> &ready, int end) {
                QtSingleCoreApplication application(id, s_argumentCount, s_arguments);
                QObject::connect(&application, &QtSingleCoreApplication::messageReceived,
                                 &application,
                                 [](const QString & /*text*/, QObject *socket) { delete socket; });
                ready();
                runUntil(end);
            });
        },
        runInstance,
        [](Trial &trial) {
            const QVariantList results = trial.value.toList();
            if (results == QVariantList{true, true})
                return;
            trial.requireReason();
        },
        [](Trial & /*trial*/) {},
        stopCompanion};
    operation.isApplication = true;
    operation.waits = true;
    return operation;
}

} // namespace

Operations instanceOperations()
{
    return {lockFile(),       lockHeldByOther(), becomeServer(),  sendMessage(),
            receiveMessage(), firstInstance(),   secondInstance()};
}

} // namespace Faults
