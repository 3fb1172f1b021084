// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "LiveChild.h"
#include "Sandbox.h"
#include "singleapp/QtSingleCoreApplication.h"
#include "support/Child.h"
#include "support/Unprivileged.h"

#include <QtCore/QFileInfo>
#include <QtCore/QMetaMethod>
#include <QtCore/QVector>
#include <QtTest/QTest>

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

using TestSupport::LiveChild;
using TestSupport::Sandbox;
using TestSupport::Unprivileged;

namespace {

const QString instanceHelper = QStringLiteral("instance_child");
constexpr int tableSize = 1024;
constexpr int tableSlots = tableSize / int(sizeof(qint64));

// Above any process id that the system gives.
constexpr qint64 deadPid = (1 << 22) + 1000;

using Instance = std::unique_ptr<LiveChild>;

/// Qt's races can cost a semaphore its key file, so that nobody finds it any more.
/// Removes those that one of @p pids was the last to use.
void removeOrphanedSemaphores(const QVector<qint64> &pids)
{
    QFile list(QStringLiteral("/proc/sysvipc/sem"));
    if (!list.open(QIODevice::ReadOnly))
        return;
    const QList<QByteArray> lines = list.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const int id = line.simplified().split(' ').value(1).toInt();
        if (pids.contains(::semctl(id, 0, GETPID)))
            ::semctl(id, 0, IPC_RMID);
    }
}

} // namespace

class tst_QtSingleCoreApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void metaObject();
    void firstInstance();
    void applicationIds_data();
    void applicationIds();
    void secondFindsFirstAndSends();
    void sendToAnyInstance();
    void ownProcessIsNeverATarget();
    void firstPeerIsSettledAtTheStart();
    void blockWaitsForTheReceiver();
    void tableLayout();
    void crashedInstanceIsSkippedAndDropped();
    void lastInstanceCrashed();
    void processIdUsedAgain();
    void twentyOneAfterAnother();
    void fiftyAtOnce_data();
    void fiftyAtOnce();
    void fullTable_data();
    void fullTable();
    void tableWithoutEnd();
    void tableTooSmall_data();
    void tableTooSmall();
    void nothingBeyondTheTableIsTouched();
    void tableThatCannotBeMade();
    void temporaryDirectoryLost();
    void strangersCannotReachTheTable();
    void strangerMakesTheTable();
    void strangerHoldsTheTableLock();
    void strangerHoldsAPeerLock();
    void cleanerTakesTheFiles();

private:
    Instance start(const QString &extra = QString()) const;
    QVector<qint64> table() const;
    QVector<qint64> twinsOf(qint64 pid, const QVector<qint64> &ids) const;
    void plantTable(QSharedMemory &memory, const QVector<qint64> &ids, int size = tableSize) const;
    QString key() const { return QtLocalPeer::appSessionId(m_id); }
    QString tableLockPath() const { return m_sandbox.fileOf(m_id, "-instances"); }

    Sandbox m_sandbox;
    QString m_id;
};

void tst_QtSingleCoreApplication::initTestCase()
{
    QVERIFY(m_sandbox.isValid());
}

void tst_QtSingleCoreApplication::init()
{
    m_id = QStringLiteral("tst_qtsinglecoreapplication.%1.%2")
               .arg(QString::fromLatin1(QTest::currentTestFunction()),
                    QString::fromLatin1(QTest::currentDataTag())
                        .replace(QLatin1Char(' '), QLatin1Char('_')));
}

/// Nothing may be left: neither files nor what they stand for in the system.
void tst_QtSingleCoreApplication::cleanup()
{
    m_sandbox.use();
    const QStringList left = m_sandbox.entries();
    Sandbox::removeTable(m_id);
    for (const QString &name : left)
        QFile::remove(m_sandbox.path() + QLatin1Char('/') + name);
    QCOMPARE(left, QStringList());
}

Instance tst_QtSingleCoreApplication::start(const QString &extra) const
{
    QStringList arguments{m_id};
    if (!extra.isEmpty())
        arguments.append(extra);
    return std::make_unique<LiveChild>(instanceHelper, arguments);
}

/// What the table holds up to the first 0; a single -1 if there is none.
QVector<qint64> tst_QtSingleCoreApplication::table() const
{
    QSharedMemory memory(key());
    if (!memory.attach(QSharedMemory::ReadOnly))
        return {-1};
    const auto *entries = static_cast<const qint64 *>(memory.constData());
    QVector<qint64> ids;
    for (int i = 0; i < memory.size() / int(sizeof(qint64)) && entries[i] != 0; ++i)
        ids.append(entries[i]);
    return ids;
}

/// Those of @p ids whose peers have the checksum of the peer of @p pid: while that one
/// lives, they live.
QVector<qint64> tst_QtSingleCoreApplication::twinsOf(qint64 pid, const QVector<qint64> &ids) const
{
    const QString prefix = m_id + QLatin1Char('-');
    const QString name = QtLocalPeer::appSessionId(prefix + QString::number(pid));
    QVector<qint64> twins;
    std::copy_if(ids.cbegin(), ids.cend(), std::back_inserter(twins), [&](qint64 id) {
        return QtLocalPeer::appSessionId(prefix + QString::number(id)) == name;
    });
    return twins;
}

/// Makes the table, as an earlier instance left it that crashed.
void tst_QtSingleCoreApplication::plantTable(QSharedMemory &memory, const QVector<qint64> &ids,
                                             int size) const
{
    memory.setKey(key());
    QVERIFY2(memory.create(size), qPrintable(memory.errorString()));
    std::copy(ids.cbegin(), ids.cend(), static_cast<qint64 *>(memory.data()));
}

void tst_QtSingleCoreApplication::metaObject()
{
    const QMetaObject &meta = QtSingleCoreApplication::staticMetaObject;
    QCOMPARE(meta.className(), "QtSingleCoreApplication");
    QCOMPARE(meta.superClass(), &QCoreApplication::staticMetaObject);
    QCOMPARE(meta.methodCount(), QCoreApplication::staticMetaObject.methodCount() + 1);
    const QMetaMethod signal = meta.method(meta.methodOffset());
    QCOMPARE(signal.methodType(), QMetaMethod::Signal);
    QCOMPARE(signal.methodSignature(), QByteArray("messageReceived(QString,QObject*)"));
    QCOMPARE(signal.parameterNames(), (QList<QByteArray>{"message", "socket"}));
    QCOMPARE(meta.propertyCount(), QCoreApplication::staticMetaObject.propertyCount());
}

void tst_QtSingleCoreApplication::firstInstance()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    QCOMPARE(table(), QVector<qint64>{first->pid()});
    QCOMPARE(first->ask("running"), QByteArray("running no"));
    QCOMPARE(first->ask("send 1000 -1 x"), QByteArray("sent no"));
    QCOMPARE(first->ask("running 0"), QByteArray("running no"));
    QCOMPARE(first->ask("running -7"), QByteArray("running no"));
    QCOMPARE(first->ask("peers"), QByteArray("1"));
    QVERIFY(!QFileInfo::exists(tableLockPath()));
    QVERIFY(first->finish());
    QCOMPARE(first->line(), QByteArray("(nothing)"));
    QCOMPARE(first->errors(), QByteArray());
    QCOMPARE(table(), QVector<qint64>{-1}); // the segment goes with the last instance
}

void tst_QtSingleCoreApplication::applicationIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("plain") << "org.example.panel";
    QTest::newRow("empty") << "";
    QTest::newRow("Chinese") << QStringLiteral("机器人");
    QTest::newRow("marks and slashes") << "%1/%2";
}

void tst_QtSingleCoreApplication::applicationIds()
{
    QFETCH(QString, id);
    m_id = id;
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    QCOMPARE(first->ask("id"), id.toUtf8());
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    QCOMPARE(second->ask("running"), QByteArray("running yes"));
    const QString peer = id + QLatin1Char('-') + QString::number(first->pid());
    QVERIFY(QFileInfo::exists(m_sandbox.fileOf(peer)));
    QVERIFY(QFileInfo::exists(m_sandbox.fileOf(peer, "-lockfile")));
}

void tst_QtSingleCoreApplication::secondFindsFirstAndSends()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    QCOMPARE(second->ask("running"), QByteArray("running yes"));
    second->tell("send 20000 -1 show");
    QCOMPARE(first->line(), QByteArray("message show"));
    QCOMPARE(second->line(), QByteArray("sent yes"));
    QVERIFY(second->finish());
    QCOMPARE(second->errors(), QByteArray());
    QCOMPARE(table(), QVector<qint64>{first->pid()});
    QVERIFY(first->finish());
    QCOMPARE(first->errors(), QByteArray());
}

void tst_QtSingleCoreApplication::sendToAnyInstance()
{
    std::vector<Instance> instances;
    for (int i = 0; i < 3; ++i) {
        instances.push_back(start());
        QCOMPARE(instances.back()->line(), QByteArray("ready"));
    }
    for (const Instance &from : instances) {
        for (const Instance &to : instances) {
            if (from == to)
                continue;
            const QByteArray pid = QByteArray::number(to->pid());
            QCOMPARE(from->ask("running " + pid), QByteArray("running yes"));
            from->tell("send 20000 " + pid + " hello");
            QCOMPARE(to->line(), QByteArray("message hello"));
            QCOMPARE(from->line(), QByteArray("sent yes"));
        }
    }
    const QByteArray nobody = QByteArray::number(deadPid);
    QCOMPARE(instances.front()->ask("running " + nobody), QByteArray("running no"));
    QCOMPARE(instances.front()->ask("send 20000 " + nobody + " x"), QByteArray("sent no"));
}

void tst_QtSingleCoreApplication::ownProcessIsNeverATarget()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const QByteArray own = QByteArray::number(first->pid());
    QCOMPARE(first->ask("running " + own), QByteArray("running no"));
    QCOMPARE(first->ask("send 1000 " + own + " x"), QByteArray("sent no"));
    // Nor is an id that its peer could not be told apart from.
    const QString prefix = m_id + QLatin1Char('-');
    const QString name = QtLocalPeer::appSessionId(prefix + QString::fromLatin1(own));
    qint64 twin = deadPid;
    while (QtLocalPeer::appSessionId(prefix + QString::number(twin)) != name)
        ++twin;
    QCOMPARE(first->ask("running " + QByteArray::number(twin)), QByteArray("running no"));
    QCOMPARE(first->ask("send 1000 " + QByteArray::number(twin) + " x"), QByteArray("sent no"));
    // Its lock and its peer are as good as before.
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    QCOMPARE(second->ask("running " + own), QByteArray("running yes"));
    second->tell("send 20000 " + own + " still");
    QCOMPARE(first->line(), QByteArray("message still"));
    QCOMPARE(second->line(), QByteArray("sent yes"));
}

void tst_QtSingleCoreApplication::firstPeerIsSettledAtTheStart()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    const Instance third = start();
    QCOMPARE(third->line(), QByteArray("ready"));
    QVERIFY(first->finish());
    QCOMPARE(third->ask("running"), QByteArray("running no"));
    QCOMPARE(third->ask("send 1000 -1 x"), QByteArray("sent no"));
    QCOMPARE(third->ask("running " + QByteArray::number(second->pid())), QByteArray("running yes"));
}

void tst_QtSingleCoreApplication::blockWaitsForTheReceiver()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    first->tell("keep");
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    second->tell("send 20000 -1 before");
    QCOMPARE(first->line(), QByteArray("message before"));
    QCOMPARE(second->line(), QByteArray("sent yes"));
    second->tell("block");
    second->tell("send 20000 -1 wait");
    QCOMPARE(first->line(), QByteArray("message wait"));
    QCOMPARE(second->line(300), QByteArray("(nothing)"));
    first->tell("drop");
    QCOMPARE(second->line(), QByteArray("sent yes"));
}

void tst_QtSingleCoreApplication::tableLayout()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    QSharedMemory memory(QStringLiteral("qtsingleapplication-")
                         + key().section(QLatin1Char('-'), 1));
    QVERIFY(memory.attach(QSharedMemory::ReadOnly));
    QCOMPARE(memory.size(), tableSize);
    const qint64 expected[] = {first->pid(), second->pid(), 0, 0};
    QCOMPARE(QByteArray(static_cast<const char *>(memory.constData()), sizeof expected),
             QByteArray(reinterpret_cast<const char *>(expected), sizeof expected));
}

void tst_QtSingleCoreApplication::crashedInstanceIsSkippedAndDropped()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    first->kill();
    QCOMPARE(second->ask("running"), QByteArray("running no"));
    const Instance third = start();
    QCOMPARE(third->line(), QByteArray("ready"));
    QCOMPARE(table(), (QVector<qint64>{first->pid(), second->pid(), third->pid()}));
    third->tell("send 20000 -1 found");
    QCOMPARE(second->line(), QByteArray("message found"));
    QCOMPARE(third->line(), QByteArray("sent yes"));
    QVERIFY(third->finish());
    QCOMPARE(third->errors(), QByteArray());
    QCOMPARE(table(), QVector<qint64>{second->pid()});
}

void tst_QtSingleCoreApplication::lastInstanceCrashed()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    first->kill();
    QCOMPARE(table().size(), 1); // attaching and leaving removes it: so plant it again
    QSharedMemory memory;
    plantTable(memory, {first->pid()});
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    QCOMPARE(second->ask("running"), QByteArray("running no"));
    QCOMPARE(table(), (QVector<qint64>{first->pid(), second->pid()}));
    QVERIFY(second->finish());
    QCOMPARE(second->errors(), QByteArray());
    QCOMPARE(table(), QVector<qint64>());
    Sandbox::removeTable(m_id);
}

void tst_QtSingleCoreApplication::processIdUsedAgain()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    QSharedMemory memory(key());
    QVERIFY(memory.attach());
    auto *entries = static_cast<qint64 *>(memory.data());
    entries[1] = deadPid;
    entries[2] = first->pid(); // as if entered before it was this process's
    QVERIFY(first->finish());
    QCOMPARE(first->errors(), QByteArray());
    QCOMPARE(entries[0], 0);
}

void tst_QtSingleCoreApplication::twentyOneAfterAnother()
{
    constexpr int count = 20;
    std::vector<Instance> instances;
    QVector<qint64> pids;
    for (int i = 0; i < count; ++i) {
        instances.push_back(start());
        QCOMPARE(instances.back()->line(), QByteArray("ready"));
        pids.append(instances.back()->pid());
        QCOMPARE(table(), pids);
    }
    while (!instances.empty()) {
        const auto leaving = instances.begin() + int(instances.size() / 2);
        pids.removeOne((*leaving)->pid());
        QVERIFY((*leaving)->finish());
        QCOMPARE((*leaving)->errors(), QByteArray());
        instances.erase(leaving);
        if (!pids.isEmpty())
            QCOMPARE(table(), pids);
    }
    QCOMPARE(table(), QVector<qint64>{-1});
}

void tst_QtSingleCoreApplication::fiftyAtOnce_data()
{
    QTest::addColumn<bool>("tableStays");
    QTest::newRow("in a table that is there") << true;
    QTest::newRow("in a table that comes and goes") << false;
}

void tst_QtSingleCoreApplication::fiftyAtOnce()
{
    QFETCH(bool, tableStays);
    constexpr int count = 50;
    auto memory = std::make_unique<QSharedMemory>();
    if (tableStays)
        plantTable(*memory, {deadPid});
    QVector<qint64> pids;
    {
        std::vector<Instance> crowd;
        for (int i = 0; i < count; ++i) {
            crowd.push_back(start(i % 2 == 0 ? QStringLiteral("brief") : QString()));
            pids.append(crowd.back()->pid());
        }
        for (const Instance &instance : crowd)
            QCOMPARE(instance->line(60000), QByteArray("ready"));
        for (const Instance &instance : crowd) {
            QVERIFY(instance->finish());
            const QByteArray errors = instance->errors();
            // Qt's key files and semaphores of the segment have races of their own; who
            // loses one is a plain application.
            if (!errors.startsWith("Failed to initialize instances shared memory: "))
                QCOMPARE(errors, QByteArray());
        }
    }
    // Two may have been in the table at once; whoever ends next puts it in order.
    {
        const Instance next = start();
        QCOMPARE(next->line(), QByteArray("ready"));
        QCOMPARE(next->ask("running"), QByteArray("running no"));
        QVERIFY(next->finish());
        QCOMPARE(next->errors(), QByteArray());
    }
    QCOMPARE(table(), tableStays ? QVector<qint64>() : QVector<qint64>{-1});
    memory.reset();
    Sandbox::removeTable(m_id);
    removeOrphanedSemaphores(pids);
    const QStringList left = m_sandbox.entries();
    QCOMPARE(left, QStringList());
}

void tst_QtSingleCoreApplication::fullTable_data()
{
    QTest::addColumn<int>("entered");
    QTest::addColumn<bool>("finds");
    QTest::newRow("room for one") << tableSlots - 2 << true;
    QTest::newRow("full") << tableSlots - 1 << false;
}

void tst_QtSingleCoreApplication::fullTable()
{
    QFETCH(int, entered);
    QFETCH(bool, finds);
    QVector<qint64> ids;
    for (int i = 0; i < entered; ++i)
        ids.append(deadPid + i);
    QSharedMemory memory;
    plantTable(memory, ids);
    const Instance instance = start();
    QCOMPARE(instance->line(), QByteArray("ready"));
    QCOMPARE(table(), finds ? ids + QVector<qint64>{instance->pid()} : ids);
    QCOMPARE(static_cast<const qint64 *>(memory.constData())[tableSlots - 1], 0);

    // Found or not, its peer works.
    const Instance other = start();
    QCOMPARE(other->line(), QByteArray("ready"));
    const bool found = finds || !twinsOf(instance->pid(), ids).isEmpty();
    QCOMPARE(other->ask("running"), found ? QByteArray("running yes") : QByteArray("running no"));
    other->tell("send 20000 " + QByteArray::number(instance->pid()) + " hello");
    QCOMPARE(instance->line(), QByteArray("message hello"));
    QCOMPARE(other->line(), QByteArray("sent yes"));

    QVERIFY(instance->finish());
    QCOMPARE(instance->errors(), QByteArray());
    QCOMPARE(table(), twinsOf(other->pid(), ids));
}

void tst_QtSingleCoreApplication::tableWithoutEnd()
{
    QVector<qint64> ids;
    for (int i = 0; i < tableSlots; ++i)
        ids.append(i % 2 == 0 ? deadPid + i : -1 - i);
    QSharedMemory memory;
    plantTable(memory, ids);
    const Instance instance = start();
    QCOMPARE(instance->line(), QByteArray("ready"));
    QCOMPARE(table(), ids);
    QVERIFY(instance->finish());
    QCOMPARE(instance->errors(), QByteArray());
    QCOMPARE(table(), QVector<qint64>());
}

void tst_QtSingleCoreApplication::tableTooSmall_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("entered");
    QTest::newRow("no entry") << 4 << 0;
    QTest::newRow("only the end") << 8 << 0;
    QTest::newRow("one entry") << 16 << 1;
    QTest::newRow("one entry and a half") << 20 << 1;
}

void tst_QtSingleCoreApplication::tableTooSmall()
{
    QFETCH(int, size);
    QFETCH(int, entered);
    QSharedMemory memory;
    plantTable(memory, {}, size);
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    QCOMPARE(table(), QVector<qint64>{first->pid()}.mid(0, entered));
    QCOMPARE(second->ask("running"),
             entered ? QByteArray("running yes") : QByteArray("running no"));
    QVERIFY(first->finish());
    QVERIFY(second->finish());
    QCOMPARE(first->errors() + second->errors(), QByteArray());
    QCOMPARE(table(), QVector<qint64>());
}

/// The page behind the segment belongs to it, too; it shows what was written there.
void tst_QtSingleCoreApplication::nothingBeyondTheTableIsTouched()
{
    QVector<qint64> ids;
    for (int i = 0; i < tableSlots; ++i)
        ids.append(deadPid + i);
    QSharedMemory memory;
    plantTable(memory, ids);
    auto *beyond = static_cast<char *>(memory.data()) + tableSize;
    const int rest = int(::sysconf(_SC_PAGESIZE)) - tableSize;
    std::fill_n(beyond, rest, '\x5a');
    for (int i = 0; i < 2; ++i) {
        const Instance instance = start();
        QCOMPARE(instance->line(), QByteArray("ready"));
        QVERIFY(instance->finish());
        QCOMPARE(QByteArray(beyond, rest), QByteArray(rest, '\x5a'));
    }
}

void tst_QtSingleCoreApplication::tableThatCannotBeMade()
{
    // The name of the key file that Qt makes for the segment is taken.
    const Instance probe = start();
    QCOMPARE(probe->line(), QByteArray("ready"));
    const QStringList names =
        QDir(m_sandbox.path()).entryList({QStringLiteral("qipc_sharedmemory_*")}, QDir::Files);
    QVERIFY(probe->finish());
    if (names.size() != 1)
        QSKIP("this Qt makes shared memory without key files");
    const QString taken = m_sandbox.path() + QLatin1Char('/') + names.constFirst();
    QVERIFY(QFile::link(QStringLiteral("/nonexistent/target"), taken));

    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    QCOMPARE(first->ask("running"), QByteArray("running no"));
    QCOMPARE(first->ask("running " + QByteArray::number(first->pid())), QByteArray("running no"));
    QCOMPARE(first->ask("send 100 -1 x"), QByteArray("sent no"));
    QCOMPARE(first->ask("peers"), QByteArray("0"));
    const QByteArray start = "Failed to initialize instances shared memory:  \"QSharedMemory::";
    // It cannot be found, though it can find others.
    QVERIFY(QFile::remove(taken));
    {
        const Instance second = this->start();
        QCOMPARE(second->line(), QByteArray("ready"));
        QCOMPARE(second->ask("running"), QByteArray("running no"));
        QCOMPARE(first->ask("running " + QByteArray::number(second->pid())),
                 QByteArray("running yes"));
        QCOMPARE(table(), QVector<qint64>{second->pid()});
        // At its end it touches neither the table nor its lock.
        QVERIFY(QFile::link(QStringLiteral("/nonexistent/target"), tableLockPath()));
        QVERIFY(first->finish());
        QVERIFY(QFile::remove(tableLockPath()));
        QCOMPARE(table(), QVector<qint64>{second->pid()});
    }
    const QByteArray errors = first->errors();
    QVERIFY2(errors.startsWith(start) && errors.endsWith("\"\n"), errors.constData());
    QCOMPARE(errors.count('\n'), 1);
}

void tst_QtSingleCoreApplication::temporaryDirectoryLost()
{
    QTemporaryDir directory;
    QVERIFY(directory.isValid());
    const QString path = directory.filePath(QStringLiteral("t"));
    QVERIFY(QDir().mkdir(path));
    Sandbox::setTemporaryDir(path);
    QSharedMemory memory;
    plantTable(memory, {deadPid});
    const Instance instance = start();
    QCOMPARE(instance->line(), QByteArray("ready"));
    QCOMPARE(table(), (QVector<qint64>{deadPid, instance->pid()}));
    // Everything keeps its name, but nothing finds the directory any more.
    const QString moved = directory.filePath(QStringLiteral("moved"));
    QVERIFY(QDir().rename(path, moved));
    QCOMPARE(instance->ask("running " + QByteArray::number(deadPid)), QByteArray("running yes"));
    QCOMPARE(instance->ask("send 10 " + QByteArray::number(deadPid) + " x"), QByteArray("sent no"));
    const QByteArray notOpened = "QtLockedFile::lock(): file is not opened\n";
    QCOMPARE(instance->errors(), notOpened + notOpened);
    QVERIFY(instance->finish());
    const auto *entries = static_cast<const qint64 *>(memory.constData());
    QCOMPARE(entries[0], deadPid);
    QCOMPARE(entries[1], 0);
    QCOMPARE(instance->errors(),
             notOpened + notOpened + "QtLockedFile::unlock(): file is not opened\n");
    QVERIFY(QDir().rename(moved, path));
    memory.detach();
    Sandbox::removeTable(m_id);
}

void tst_QtSingleCoreApplication::strangersCannotReachTheTable()
{
    if (::geteuid() != 0)
        QSKIP("only root can play another user");
    const Instance instance = start();
    QCOMPARE(instance->line(), QByteArray("ready"));
    const QString name = key(); // named after the user
    {
        const Unprivileged stranger;
        QSharedMemory memory(name);
        QVERIFY(!memory.attach(QSharedMemory::ReadOnly));
        QVERIFY(!memory.attach(QSharedMemory::ReadWrite));
    }
    QVERIFY(instance->finish());
}

void tst_QtSingleCoreApplication::strangerMakesTheTable()
{
    if (::geteuid() != 0)
        QSKIP("only root can play other users");
    QCOMPARE(::chmod(QFile::encodeName(m_sandbox.path()).constData(), 0777), 0);
    // The instance runs as one user, and the table of its name belongs to another.
    constexpr unsigned user = 65534;
    constexpr unsigned stranger = 65533;
    const QString name =
        key().section(QLatin1Char('-'), 0, -2) + QLatin1Char('-') + QString::number(user, 16);
    QSharedMemory memory(name);
    QCOMPARE(::setresuid(stranger, stranger, 0), 0);
    const bool isMade = memory.create(tableSize);
    QCOMPARE(::setresuid(0, 0, 0), 0);
    QVERIFY(isMade);

    const Instance instance = start(QStringLiteral("nobody"));
    QCOMPARE(instance->line(), QByteArray("ready"));
    QCOMPARE(instance->ask("running"), QByteArray("running no"));
    QVERIFY(instance->finish());
    const QByteArray errors = instance->errors();
    QVERIFY2(errors.startsWith("Failed to initialize instances shared memory: "),
             errors.constData());
    // gcov complains if this user's program is not to write what it has counted.
    QCOMPARE(errors.count('\n') - errors.count("profiling:"), 1);

    QVERIFY(memory.detach());
    const QSystemSemaphore ownedNow(name, 1, QSystemSemaphore::Create);
    QCOMPARE(::chmod(QFile::encodeName(m_sandbox.path()).constData(), 0755), 0);
}

void tst_QtSingleCoreApplication::strangerHoldsTheTableLock()
{
    if (::geteuid() != 0)
        QSKIP("only root can play another user");
    // Writable for all, without the sticky bit, which newer kernels watch.
    QCOMPARE(::chmod(QFile::encodeName(m_sandbox.path()).constData(), 0777), 0);
    LiveChild stranger(QStringLiteral("lock_child"),
                       {tableLockPath(), QStringLiteral("write"), QStringLiteral("wait"),
                        QStringLiteral("nobody")});
    QCOMPARE(stranger.line(), QByteArray("waiting"));
    QCOMPARE(stranger.line(), QByteArray("locked"));
    // It holds up nobody: the program goes on without the lock.
    const Instance instance = start();
    QCOMPARE(instance->line(), QByteArray("ready"));
    QCOMPARE(table(), QVector<qint64>{instance->pid()});
    QVERIFY(instance->finish());
    const QByteArray warnings = "QtLockedFile::lock(): file is not opened\n"
                                "QtLockedFile::unlock(): file is not opened\n";
    QCOMPARE(instance->errors(), warnings + warnings); // at the start and at the end
    QVERIFY(stranger.finish());
    QCOMPARE(::chmod(QFile::encodeName(m_sandbox.path()).constData(), 0755), 0);
}

void tst_QtSingleCoreApplication::strangerHoldsAPeerLock()
{
    if (::geteuid() != 0)
        QSKIP("only root can play another user");
    QCOMPARE(::chmod(QFile::encodeName(m_sandbox.path()).constData(), 0777), 0);
    const QString peer = m_id + QLatin1Char('-') + QString::number(deadPid);
    const Instance instance = start();
    QCOMPARE(instance->line(), QByteArray("ready"));
    LiveChild stranger(QStringLiteral("lock_child"),
                       {m_sandbox.fileOf(peer, "-lockfile"), QStringLiteral("write"),
                        QStringLiteral("wait"), QStringLiteral("nobody")});
    QCOMPARE(stranger.line(), QByteArray("waiting"));
    QCOMPARE(stranger.line(), QByteArray("locked"));
    const QByteArray dead = QByteArray::number(deadPid);
    QCOMPARE(instance->ask("running " + dead), QByteArray("running yes"));
    QCOMPARE(instance->ask("send 100 " + dead + " x"), QByteArray("sent no"));
    QVERIFY(stranger.finish());
    QCOMPARE(instance->ask("running " + dead), QByteArray("running no"));
    QVERIFY(instance->finish());
    const QByteArray warning = "QtLockedFile::lock(): file is not opened\n";
    QCOMPARE(instance->errors(), warning + warning);
    QCOMPARE(::chmod(QFile::encodeName(m_sandbox.path()).constData(), 0755), 0);
}

void tst_QtSingleCoreApplication::cleanerTakesTheFiles()
{
    const Instance first = start();
    QCOMPARE(first->line(), QByteArray("ready"));
    const QString peer = m_id + QLatin1Char('-') + QString::number(first->pid());
    QVERIFY(QFile::remove(m_sandbox.fileOf(peer, "-lockfile")));
    const Instance second = start();
    QCOMPARE(second->line(), QByteArray("ready"));
    // It lives, but whoever asks locks a new file and takes its socket away.
    QCOMPARE(second->ask("running"), QByteArray("running no"));
    QCOMPARE(second->ask("send 100 " + QByteArray::number(first->pid()) + " x"),
             QByteArray("sent no"));
    QVERIFY(!QFileInfo::exists(m_sandbox.fileOf(peer)));
    QVERIFY(second->finish());
    QVERIFY(first->finish());
    QCOMPARE(first->errors() + second->errors(), QByteArray());
}

QTEST_GUILESS_MAIN(tst_QtSingleCoreApplication)
#include "tst_qtsinglecoreapplication.moc"
