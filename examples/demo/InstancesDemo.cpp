// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "InstancesDemo.h"

#include "Demo.h"
#include "singleapp/QtLocalPeer.h"
#include "singleapp/QtSingleCoreApplication.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QSharedMemory>
#include <QtCore/QStringList>

#include <cstdio>
#include <cstring>

namespace {

constexpr int maxWaitMs = 30000;
const char instanceOption[] = "--instance";

/// The process ids in the table that all instances share.
QList<qint64> registeredInstances(const QString &applicationId)
{
    QSharedMemory memory(QtLocalPeer::appSessionId(applicationId));
    QList<qint64> ids;
    if (!memory.attach(QSharedMemory::ReadOnly))
        return ids;
    const auto *entries = static_cast<const qint64 *>(memory.constData());
    const auto capacity = memory.size() / static_cast<int>(sizeof(qint64));
    for (int i = 0; i < capacity && entries[i] != 0; ++i)
        ids.append(entries[i]);
    return ids;
}

class OtherInstance
{
public:
    OtherInstance(const char *role, const QtSingleCoreApplication &app)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(
            QCoreApplication::applicationFilePath(),
            {QString::fromLatin1(instanceOption), QString::fromLatin1(role), app.applicationId()});
    }

    qint64 pid() const { return m_process.processId(); }
    bool waitUntilReady() { return m_process.waitForReadyRead(maxWaitMs); }

    /// Serves our own events meanwhile: we may be the one it talks to.
    bool waitForSuccess()
    {
        QElapsedTimer waiting;
        waiting.start();
        while (m_process.state() != QProcess::NotRunning && waiting.elapsed() < maxWaitMs)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents,
                                            50);
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }

    void kill()
    {
        m_process.kill();
        m_process.waitForFinished(maxWaitMs);
    }

private:
    QProcess m_process;
};

} // namespace

void showInstances(Demo &demo, QtSingleCoreApplication &app)
{
    demo.headline("Single instance: later starts find this process");
    const QString id = app.applicationId();
    demo.check(registeredInstances(id) == QList<qint64>{QCoreApplication::applicationPid()},
               "this process stands in the table of instances");

    QString received;
    const auto connection = QObject::connect(&app, &QtSingleCoreApplication::messageReceived, &app,
                                             [&received](const QString &message, QObject *socket) {
                                                 received = message;
                                                 socket->deleteLater();
                                             });
    OtherInstance messenger("messenger", app);
    demo.check(messenger.waitForSuccess() && received == "please open the project",
               "a second instance finds it, hands it a text and leaves");
    demo.fact("Received", received);
    QObject::disconnect(connection);

    OtherInstance waiting("waiting", app);
    const bool isReady = waiting.waitUntilReady();
    const qint64 pid = waiting.pid();
    demo.check(isReady && app.isRunning(pid), "a third instance runs beside it");
    waiting.kill();
    demo.check(!app.isRunning(pid) && registeredInstances(id).contains(pid),
               "killed, it runs no more, but its entry is still there");

    OtherInstance tidy("tidy", app);
    demo.check(tidy.waitForSuccess() && registeredInstances(id).size() == 1,
               "the next instance that ends drops the dead entry");
    demo.addToSummary("Other instances started", QString::number(3));
}

std::optional<int> runAsOtherInstance(int &argc, char **argv)
{
    if (argc != 4 || std::strcmp(argv[1], instanceOption) != 0)
        return std::nullopt;
    QtSingleCoreApplication app(QString::fromLocal8Bit(argv[3]), argc, argv);
    const QString role = QString::fromLatin1(argv[2]);
    if (role == "messenger")
        return app.isRunning() && app.sendMessage("please open the project") ? 0 : 1;
    if (role == "waiting") {
        std::printf("ready\n");
        std::fflush(stdout);
        return QCoreApplication::exec();
    }
    return role == "tidy" ? 0 : 64;
}
