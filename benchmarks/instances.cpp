// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Surroundings.h"

#include "singleapp/QtLocalPeer.h"
#include "singleapp/QtSingleCoreApplication.h"

#include <QtCore/QFile>
#include <QtCore/QSharedMemory>
#include <QtNetwork/QLocalServer>

#include <algorithm>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace Bench {

namespace {

QString applicationId()
{
    return QStringLiteral("zecore-benchmark-instances");
}

int liveInstance(const std::vector<std::string> & /*arguments*/)
{
    int argc = 0;
    const QtSingleCoreApplication application(applicationId(), argc, nullptr);
    return serveEventsUntilParentIsDone();
}

/// Seconds of the constructor, or of the destructor.
int startByLibrary(const std::vector<std::string> &arguments)
{
    int argc = 0;
    const Stopwatch start;
    auto application = std::make_unique<QtSingleCoreApplication>(applicationId(), argc, nullptr);
    const double startSeconds = start.seconds();
    if (!application->isRunning())
        return 1;
    const Stopwatch end;
    application.reset();
    return printResult(arguments.at(0) == "start" ? startSeconds : end.seconds());
}

int startByQt(const std::vector<std::string> &arguments)
{
    int argc = 0;
    const Stopwatch start;
    auto application = std::make_unique<QCoreApplication>(argc, nullptr);
    const double startSeconds = start.seconds();
    const Stopwatch end;
    application.reset();
    return printResult(arguments.at(0) == "start" ? startSeconds : end.seconds());
}

/// The Qt objects that an instance has to have, without its locks.
int startByQtObjects(const std::vector<std::string> &arguments)
{
    int argc = 0;
    const Stopwatch start;
    auto application = std::make_unique<QCoreApplication>(argc, nullptr);
    auto memory = std::make_unique<QSharedMemory>(QStringLiteral("zecore-benchmark-objects"));
    if (!memory->create(1024))
        memory->attach();
    auto server = std::make_unique<QLocalServer>();
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(QStringLiteral("zecore-benchmark-objects")))
        return 1;
    const double startSeconds = start.seconds();
    const Stopwatch end;
    server.reset();
    memory.reset();
    application.reset();
    return printResult(arguments.at(0) == "start" ? startSeconds : end.seconds());
}

/// A file with a write lock, as far as it is free.
class LockedFile
{
public:
    explicit LockedFile(const QString &name)
        : m_path(QFile::encodeName(workDirectory() + QLatin1Char('/') + name))
        , m_descriptor(::open(m_path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0666))
    {
        struct flock record = {};
        record.l_type = F_WRLCK;
        record.l_whence = SEEK_SET;
        m_isLocked = ::fcntl(m_descriptor, F_SETLK, &record) == 0;
    }
    ~LockedFile()
    {
        ::close(m_descriptor);
        if (m_isLocked)
            ::unlink(m_path.constData());
    }
    Q_DISABLE_COPY(LockedFile)

    bool isLocked() const { return m_isLocked; }

private:
    QByteArray m_path;
    int m_descriptor;
    bool m_isLocked;
};

QString lockNameOf(qint64 pid)
{
    return QtLocalPeer::appSessionId(applicationId() + QLatin1Char('-') + QString::number(pid))
        + QStringLiteral("-lockfile");
}

bool isAlive(qint64 pid)
{
    return !LockedFile(lockNameOf(pid)).isLocked();
}

/// The table under its lock: the first live instance, this one's own lock and entry;
/// at the end every live instance.
int startByLocks(const std::vector<std::string> &arguments)
{
    qint64 table[128] = {};
    // What the live instances have in their table, without its memory.
    int count = 0;
    for (const std::string &pid : std::vector<std::string>(arguments.begin() + 1, arguments.end()))
        table[count++] = std::stoll(pid);

    const Stopwatch start;
    std::unique_ptr<LockedFile> own;
    {
        const LockedFile tableLock(QtLocalPeer::appSessionId(applicationId())
                                   + QStringLiteral("-floor"));
        benchmark::DoNotOptimize(std::find_if(table, table + count, &isAlive));
        own = std::make_unique<LockedFile>(lockNameOf(::getpid()));
        table[count] = ::getpid();
    }
    const double startSeconds = start.seconds();
    const Stopwatch end;
    {
        const LockedFile tableLock(QtLocalPeer::appSessionId(applicationId())
                                   + QStringLiteral("-floor"));
        benchmark::DoNotOptimize(
            std::remove_if(table, table + count, [](qint64 pid) { return !isAlive(pid); }));
        own.reset();
    }
    return printResult(arguments.at(0) == "start" ? startSeconds : end.seconds());
}

/// The instances that live meanwhile.
class Instances
{
public:
    explicit Instances(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_children.push_back(std::make_unique<Child>(QStringLiteral("instance")));
            m_children.back()->readLine(); // ready
            m_pids.append(QString::number(m_children.back()->pid()));
        }
    }

    const QStringList &pids() const { return m_pids; }

private:
    std::vector<std::unique_ptr<Child>> m_children;
    QStringList m_pids;
};

} // namespace

void addInstanceCases(Suite &suite)
{
    suite.addRole("instance", &liveInstance);
    suite.addRole("instance-library", &startByLibrary);
    suite.addRole("instance-qt", &startByQt);
    suite.addRole("instance-objects", &startByQtObjects);
    suite.addRole("instance-locks", &startByLocks);

    const auto instances = std::make_shared<std::unique_ptr<Instances>>();
    const int count = suite.scaled(50, 3);
    const auto contestant = [=](const char *role, const QString &moment) {
        return timed([=] {
            if (!*instances)
                *instances = std::make_unique<Instances>(count);
            return resultOfRole(QString::fromLatin1(role),
                                QStringList{moment} + (*instances)->pids());
        });
    };
    for (const QString &moment : {QStringLiteral("start"), QStringLiteral("end")}) {
        Case application;
        application.name = "instances-" + moment.toStdString();
        application.title = "application " + moment.toStdString() + " with 50 live instances";
        application.contestants = {
            {"library", contestant("instance-library", moment)},
            {"locks and table alone", contestant("instance-locks", moment)},
            {"its Qt objects without locks", contestant("instance-objects", moment)},
            {"QCoreApplication alone", contestant("instance-qt", moment)}};
        if (moment == QLatin1String("start"))
            application.goals = {{"locks and table alone", 2}};
        application.ownClock = true;
        application.iterations = 1;
        application.repetitions = 31;
        suite.add(std::move(application));
    }
}

} // namespace Bench
