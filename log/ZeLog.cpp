// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/ZeLog.h"

#include "core/LocalText_p.h"
#include "core/LogTag_p.h"
#include "core/ServiceHolder_p.h"
#include "core/Sync_p.h"
#include "files/DatedFiles_p.h"
#include "files/ZeFileManager.h"
#include "log/ConsoleEcho_p.h"
#include "log/LineStamp_p.h"
#include "log/LocalTime_p.h"
#include "log/LogFile_p.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>

#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>

#include <unistd.h>

using ZeCore::LineStamp;
using ZeCore::LogFile;
using ZeCore::MutexLock;

bool ZeLog::_isRelease = false;
bool ZeLog::_isWriteLogToFile = true;
int ZeLog::g_index = 0;

int ZeLog::DEFAULT = 0;
int ZeLog::BOLD = 1;
int ZeLog::UN_BOLD = 2;
int ZeLog::UNDER_LINE = 4;
int ZeLog::GLINT = 5;
int ZeLog::INVERSE = 7;
int ZeLog::BOLD_2 = 21;
int ZeLog::NORMAL = 22;
int ZeLog::UN_UNDER_LINE = 24;
int ZeLog::STOP_GLINT = 25;
int ZeLog::INVERSE_2 = 27;
int ZeLog::FORE_GROUND_BLACK = 30;
int ZeLog::FORE_GROUND_RED = 31;
int ZeLog::FORE_GROUND_GREEN = 32;
int ZeLog::FORE_GROUND_ORANGE = 33;
int ZeLog::FORE_GROUND_BLUE = 34;
int ZeLog::FORE_GROUND_PURPLE = 35;
int ZeLog::FORE_GROUND_CYAN = 36;
int ZeLog::FORE_GROUND_WHITE = 37;
int ZeLog::BACK_GROUND_BLACK = 40;
int ZeLog::BACK_GROUND_RED = 41;
int ZeLog::BACK_GROUND_GREEN = 42;
int ZeLog::BACK_GROUND_ORANGE = 43;
int ZeLog::BACK_GROUND_BLUE = 44;
int ZeLog::BACK_GROUND_PURPLE = 45;
int ZeLog::BACK_GROUND_CYAN = 46;
int ZeLog::BACK_GROUND_WHITE = 47;

namespace {

constexpr qint64 maxFileSize = 10485760; // a file of exactly this size is still appended to
constexpr int keptFiles = 50;
constexpr unsigned long idleMs = 10;

/// A text that the writer needs to the very end of the process: the last value
/// that its source gave, kept where no static destructor reaches it.
class LastKnown
{
public:
    template <typename Refresh>
    QString get(Refresh refresh)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        refresh(*m_text);
        return *m_text;
    }

private:
    std::mutex m_mutex;
    QString *m_text = new QString;
};

/// Never destroyed: the writer may outlive every static destructor.
template <typename Tag>
LastKnown &lastKnown()
{
    static auto *const text = new LastKnown;
    return *text;
}

/// The utility service's log directory, as it was last seen once the service is gone.
QString logDirectory()
{
    // The constructor asks first, on the thread that is sure of the service.
    return lastKnown<struct LogDirectory>().get([](QString &directory) {
        ZeCore::ServiceHolder<PublicClass>::withLive(
            [&directory](const PublicClass &service) { directory = service.logDir; });
    });
}

QString applicationDirectory()
{
    return lastKnown<struct ApplicationDirectory>().get([](QString &directory) {
        if (directory.isEmpty() && QCoreApplication::instance())
            directory = QCoreApplication::applicationDirPath();
    });
}

QString newLogName()
{
    // The clock that stamps the lines: time(2) lags behind it at the turn of a second.
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::tm local = ZeCore::localTime(now.tv_sec);
    char name[sizeof("ZemixPro_yyyy-MM-dd_hh-mm-ss.log") + 8];
    std::strftime(name, sizeof(name), "ZemixPro_%Y-%m-%d_%H-%M-%S.log", &local);
    return QString::fromLatin1(name);
}

QStringList takeQueue()
{
    QStringList batch;
    const MutexLock lock(ZeLog::_mutex);
    batch.swap(ZeLog::_stringList);
    return batch;
}

/// Waits for a line to be queued.
void awaitLine()
{
    ZeCore::acquirePermit(ZeLog::_synSem);
    // Lines that were written along with others leave their permits behind. Beyond
    // 2^31, after months in a busy program, the semaphore would block for ever.
    constexpr int manyPermits = 1 << 29;
    if (ZeLog::_synSem.available() > manyPermits)
        ZeLog::_synSem.tryAcquire(manyPermits);
}

/// The colour of a message; none for what is echoed bare.
std::optional<int> colorOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return ZeCore::readShared(ZeLog::DEFAULT);
    case QtWarningMsg:
        return ZeCore::readShared(ZeLog::FORE_GROUND_ORANGE);
    case QtCriticalMsg:
    case QtFatalMsg:
        return ZeCore::readShared(ZeLog::FORE_GROUND_RED);
    default:
        return std::nullopt;
    }
}

/// The line as it goes to the file; its stamp is still to be filled in.
QString lineWithoutStamp(const QString &msg)
{
    QString line(LineStamp::length + msg.size(), Qt::Uninitialized);
    std::memcpy(static_cast<void *>(line.data() + LineStamp::length), msg.constData(),
                static_cast<std::size_t>(msg.size()) * sizeof(QChar));
    return line;
}

LineStamp s_lineStamp; // guarded by ZeLog::_mutex; trivially destructible

} // namespace

ZeLog::ZeLog(QObject *parent)
    : BaseThread(parent)
{
    // Pruning is the file manager's; created here, it lives in this thread and
    // not in the writer's, which does without the object: it may be gone by then.
    ZeFileManager::init();
    PublicClass::init();
    // What the writer may have to do without the application and the services.
    applicationDirectory();
    const QString directory = logDirectory();
    // QDir would print a warning of its own about an empty name.
    if (!directory.isEmpty() && QDir(QString()).mkpath(directory))
        ZeCore::logDebug("ZeLog") << "dir.mkpath success:" << directory;
    else
        ZeCore::logWarning("ZeLog") << "dir.mkpath failed:" << directory;
}

ZeLog::~ZeLog()
{
    // In this order, although it can block for ever: callers rely on nothing
    // being logged once the destruction has begun.
    ZeCore::writeShared(_isRelease, true);
    ZeLog::stopThread();
}

void ZeLog::outputMessage(QtMsgType type, const QMessageLogContext & /*context*/,
                          const QString &msg)
{
    // Both switches silence the console as well: callers rely on it.
    if (ZeCore::readShared(_isRelease) || !ZeCore::readShared(_isWriteLogToFile))
        return;

    QString line = lineWithoutStamp(msg);
    {
        // The clock is read under the lock, so lines are queued in order of time.
        const MutexLock lock(_mutex);
        s_lineStamp.write(line.data());
        _stringList.append(QString());
        _stringList.last().swap(line);
    }
    ZeCore::releasePermit(_synSem);
    ZeCore::echoToConsole(msg, colorOf(type));
}

QString ZeLog::setConsoleColor(const QList<int> &codes, const QString &text)
{
    if (codes.isEmpty())
        return text;
    QString sequence;
    for (const int code : codes) {
        if (!sequence.isEmpty())
            sequence += QLatin1Char(';');
        sequence += QString::number(code);
    }
    return QLatin1String("\x1B[") + sequence + QLatin1Char('m') + text + QLatin1String("\x1B[0m");
}

void ZeLog::setWriteLogToFile(bool on)
{
    ZeCore::writeShared(_isWriteLogToFile, on);
}

void ZeLog::removeLogs()
{
    const QString applicationDir = applicationDirectory();
    const QString directory = logDirectory();
    // An unknown directory, whose name is empty, holds nothing to remove.
    ZeCore::removeAllButNewest(directory, {QStringLiteral("*.log")}, keptFiles);
    // As QDir::setCurrent() does, but without the codecs that Qt deletes during exit.
    // A failure leaves the current directory as it is; there is no one to tell.
    if (::chdir(ZeCore::toLocalBytes(applicationDir).constData()) != 0)
        return;
}

void ZeLog::stopThread()
{
    BaseThread::stopThread();
}

void ZeLog::run()
{
    const ZeCore::ThreadEnd end(this);
    removeLogs();
    while (!isNeedStop()) {
        if (!ZeCore::readShared(_isWriteLogToFile)) {
            msleep(idleMs);
            continue;
        }
        awaitLine();
        const QStringList batch = takeQueue();
        if (batch.isEmpty()) {
            msleep(idleMs); // the permit of a line that an earlier round wrote
            continue;
        }
        if (s_LogName.isEmpty())
            s_LogName = newLogName();

        const QString path = QStringLiteral("%1/%2").arg(logDirectory(), s_LogName);
        LogFile file(path);
        if (file.size() > maxFileSize) {
            // This batch is lost with every change of file; callers rely on the
            // new file beginning with the next one.
            s_LogName = newLogName();
            removeLogs();
            continue;
        }
        if (!file.open()) {
            ZeCore::logError("run")
                << QStringLiteral("Open log file failed[%1]:%2").arg(path, file.errorString());
            return;
        }
        file.append(batch);
    }
}
