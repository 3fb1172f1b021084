// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// A program that uses the library to some extent, logs some lines, sees to it that
// they are on disk and ends in one of many ways:
//   ending_child SERVICES LOG ENDING DIR
// SERVICES  unused, used, released
// LOG       none, handler (only), running (left so), stopped (handler left), removed (both)
// ENDING    see main()

#include "core/SendGlobalMsg.h"
#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "log/ZeLog.h"
#include "support/LogQueue.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QSocketNotifier>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int status = 3;
constexpr int lineCount = 20;

int s_endRequests = -1;

/// Shows whether the statics of the program were destroyed.
struct LogsAtExit
{
    LogsAtExit() = default;
    Q_DISABLE_COPY(LogsAtExit)
    ~LogsAtExit() { qWarning("static destructor"); }
};

void useServices()
{
    PublicClass::init()->setDebugStr(QStringLiteral("used"));
    ZeFileManager::init()->Md5Encryption(QByteArray("used"));
    HttpApi::init()->setToken(QStringLiteral("used"));
    SendGlobalMsg::init()->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, true);
}

void releaseServices()
{
    HttpApi::releaseThis();
    ZeFileManager::releaseThis();
    PublicClass::releaseThis();
}

/// Leaves no file behind for a death by signal.
void forbidCoreDumps()
{
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);
}

void tell(const char *text)
{
    if (::write(STDOUT_FILENO, text, std::strlen(text)) < 0)
        ::_exit(7);
}

/// Serves events until the signal has been turned into the end of the loop.
int quitBySignal(QCoreApplication &app)
{
    s_endRequests = eventfd(0, EFD_CLOEXEC);
    std::signal(SIGTERM, [](int) { eventfd_write(s_endRequests, 1); });
    QSocketNotifier notifier(s_endRequests, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &app,
                     [] { QCoreApplication::exit(status); });
    std::raise(SIGTERM);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5)
        return 64;
    forbidCoreDumps();
    static const LogsAtExit logsAtExit;
    QCoreApplication app(argc, argv);
    const std::string services = argv[1];
    const std::string logging = argv[2];
    const bool hasWriter = logging != "none" && logging != "handler";

    std::unique_ptr<ZeLog> log;
    if (hasWriter) {
        PublicClass::init()->logDir = QString::fromLocal8Bit(argv[4]);
        log = std::make_unique<ZeLog>();
        log->start();
    }
    if (logging != "none")
        qInstallMessageHandler(ZeLog::outputMessage);
    if (services != "unused")
        useServices();
    for (int i = 0; i < lineCount; ++i)
        qWarning("line %d of %d", i, lineCount);
    if (hasWriter)
        TestSupport::waitUntilWritten();
    if (services == "released")
        releaseServices();
    if (logging == "stopped" || logging == "removed") {
        TestSupport::stopCleanly(*log);
        log.reset();
    }
    if (logging == "removed")
        qInstallMessageHandler(nullptr);
    // Left running: nothing may wait for it, and a leak checker still finds it.
    static ZeLog *const left = log.release();
    (void)left;

    tell("ending\n");
    const std::map<std::string, std::function<int()>> endings{
        {"return", [] { return status; }},
        {"exit", []() -> int { std::exit(status); }},
        {"quick_exit", []() -> int { std::quick_exit(status); }},
        {"_exit", []() -> int { ::_exit(status); }},
        {"abort", []() -> int { std::abort(); }},
        {"exception", []() -> int { throw std::runtime_error("nobody catches this"); }},
        {"sigterm", []() -> int { return std::raise(SIGTERM); }},
        {"sigterm-quit", [&app] { return quitBySignal(app); }},
        {"sigterm-exit",
         []() -> int {
             std::signal(SIGTERM, [](int) { std::exit(status); });
             return std::raise(SIGTERM);
         }},
    };
    return endings.at(argv[3])();
}
