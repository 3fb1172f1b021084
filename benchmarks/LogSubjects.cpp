// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "LogSubjects.h"

#include "Child.h"
#include "Surroundings.h"

#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMutex>
#include <QtCore/QSemaphore>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>

#include <cstdio>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace Bench {

namespace NaiveLog {

namespace {

QMutex s_mutex;
QStringList s_lines;
QSemaphore s_permits;

QString colored(int code, const QString &text)
{
    return QStringLiteral("\x1B[%1m%2\x1B[0m").arg(QString::number(code), text);
}

QString consoleText(QtMsgType type, const QString &msg)
{
    switch (type) {
    case QtDebugMsg:
        return colored(0, msg);
    case QtWarningMsg:
        return colored(33, msg);
    case QtCriticalMsg:
    case QtFatalMsg:
        return colored(31, msg);
    default:
        return msg;
    }
}

} // namespace

void outputMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &msg)
{
    s_mutex.lock();
    const QString time = QDateTime::currentDateTime().toString(QStringLiteral("yyMMdd hhmmss.zzz"));
    s_lines.append(QStringLiteral("[%1][Zemix]%2").arg(time, msg));
    s_mutex.unlock();
    s_permits.release();
    std::fprintf(stderr, "%s\n", consoleText(type, msg).toLocal8Bit().constData());
}

Writer::Writer(const QString &directory)
    : m_directory(directory)
{
    start();
}

Writer::~Writer()
{
    requestInterruption();
    s_permits.release();
    wait();
    s_permits.tryAcquire(s_permits.available());
}

void Writer::run()
{
    QString name;
    while (!isInterruptionRequested()) {
        s_permits.acquire();
        QStringList batch;
        s_mutex.lock();
        batch.swap(s_lines);
        s_mutex.unlock();
        if (batch.isEmpty()) {
            msleep(10);
            continue;
        }
        const QString format = QStringLiteral("yyyy-MM-dd_hh-mm-ss");
        if (name.isEmpty())
            name =
                QStringLiteral("naive_%1.log").arg(QDateTime::currentDateTime().toString(format));
        QFile file(QStringLiteral("%1/%2").arg(m_directory, name));
        if (file.size() > 10485760) {
            name =
                QStringLiteral("naive_%1.log").arg(QDateTime::currentDateTime().toString(format));
            continue;
        }
        if (!append(file, batch))
            return;
    }
}

bool append(QFile &file, QStringList &batch)
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    QTextStream stream(&file);
    stream.setCodec("utf-8");
    while (!batch.isEmpty())
        stream << batch.takeFirst() << "\n";
    stream.flush();
    file.close();
    return true;
}

} // namespace NaiveLog

class LibraryWriter::Thread : public ZeLog
{
public:
    using ZeLog::ZeLog;
};

void dropLibraryQueue()
{
    const QMutexLocker lock(&ZeLog::_mutex);
    ZeLog::_stringList.clear();
    ZeLog::_synSem.tryAcquire(ZeLog::_synSem.available());
}

LibraryWriter::LibraryWriter(const QString &directory)
{
    PublicClass::init()->logDir = directory;
    m_thread = std::make_unique<Thread>();
    dropLibraryQueue();
    ZeLog::s_LogName.clear();
    m_thread->start();
}

LibraryWriter::~LibraryWriter()
{
    m_thread->setNeedStop(true);
    ZeLog::_synSem.release(); // a writer that waits has to be woken
    m_thread->wait();
    m_thread.reset(); // switches the handler off
    ZeLog::_isRelease = false;
    dropLibraryQueue();
}

LogDirectory::LogDirectory()
    : m_path(workDirectory() + QStringLiteral("/log"))
    , m_notifier(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    QDir().mkpath(m_path);
    removeFiles();
    if (::inotify_add_watch(m_notifier, QFile::encodeName(m_path).constData(), IN_CLOSE_WRITE) < 0)
        fail(QStringLiteral("no inotify"));
}

LogDirectory::~LogDirectory()
{
    ::close(m_notifier);
    removeFiles();
}

void LogDirectory::waitForBytes(qint64 size)
{
    while (this->size() < size) {
        pollfd events{m_notifier, POLLIN, 0};
        if (::poll(&events, 1, 60000) <= 0)
            fail(QStringLiteral("%1 of %2 bytes were written").arg(this->size()).arg(size));
        char buffer[4096];
        while (::read(m_notifier, buffer, sizeof(buffer)) > 0) { }
    }
}

qint64 LogDirectory::size() const
{
    qint64 size = 0;
    const QFileInfoList files = QDir(m_path).entryInfoList(QDir::Files);
    for (const QFileInfo &file : files)
        size += file.size();
    return size;
}

void LogDirectory::removeFiles()
{
    const QStringList names = QDir(m_path).entryList(QDir::Files);
    for (const QString &name : names)
        QFile::remove(m_path + QLatin1Char('/') + name);
}

void logFourItems()
{
    qWarning().noquote() << "[warning][move]"
                         << "axis" << 3 << "soft limit";
}

} // namespace Bench
