// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/TrialProcess.h"

#include "faults/Injection.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Faults {

namespace {

template <typename Function>
Function *preloaded(const char *name)
{
    return reinterpret_cast<Function *>(::dlsym(RTLD_DEFAULT, name));
}

std::mutex s_linesMutex;
QStringList *s_lines = nullptr;

void catchLine(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    static const char letters[] = {'D', 'W', 'C', 'F', 'I'};
    if (type == QtFatalMsg)
        std::fprintf(stderr, "fatal: %s\n", qPrintable(text));
    const std::lock_guard<std::mutex> lock(s_linesMutex);
    s_lines->append(QString(QLatin1Char(letters[type])) + QLatin1Char(' ') + text);
}

QStringList takeLines()
{
    const std::lock_guard<std::mutex> lock(s_linesMutex);
    QStringList lines;
    lines.swap(*s_lines);
    return lines;
}

/// "5 -> /path of the file" for each descriptor.
QStringList openFiles()
{
    QStringList files;
    DIR *const directory = ::opendir("/proc/self/fd");
    while (const dirent *entry = ::readdir(directory)) {
        const int file = std::atoi(entry->d_name);
        char target[PATH_MAX] = {};
        if (entry->d_name[0] == '.' || file == ::dirfd(directory))
            continue;
        const QByteArray link = QByteArray("/proc/self/fd/") + entry->d_name;
        static_cast<void>(::readlink(link.constData(), target, sizeof target - 1));
        files.append(QString::number(file) + " -> " + QFile::decodeName(target));
    }
    ::closedir(directory);
    files.sort();
    return files;
}

void requireSameFiles(Trial &trial, const QStringList &before, bool mayKeepEvents)
{
    QStringList more;
    // Threads of Qt's own may have something open for a moment.
    constexpr int attempts = 50;
    for (int i = 0; i < attempts; ++i) {
        more = openFiles();
        for (const QString &file : before)
            more.removeOne(file);
        if (mayKeepEvents)
            more = more.filter(QRegularExpression("^(?!.*(eventfd|pipe:))"));
        if (more.isEmpty())
            return;
        ::usleep(10000);
    }
    trial.require(false, "it leaves open: " + more.join(", "));
}

void requireNoChildren(Trial &trial)
{
    siginfo_t info = {};
    const bool none =
        ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
    // Qt asks fcntl() whether a process can be waited for, which cannot fail for the
    // descriptor of one.
    trial.require(none || (info.si_pid != 0 && trial.isDisturbedIn(Control)),
                  info.si_pid == 0 ? QStringLiteral("it leaves a child running")
                                   : QStringLiteral("it leaves a zombie"));
}

void enter(const QString &directory)
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a runner that is killed leaves nothing
    const QString temporary = directory + "/tmp";
    const QString programs = directory + "/home/program";
    if (!QDir().mkpath(temporary) || !QDir().mkpath(programs))
        qFatal("cannot make %s", qPrintable(directory));
    ::setenv("TMPDIR", QFile::encodeName(temporary).constData(), 1);
    ::setenv("HOME", QFile::encodeName(directory + "/home").constData(), 1);
    QDir::setCurrent(directory + "/home");
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::dup2(null, STDIN_FILENO);
    ::close(null);
    const QByteArray console = QFile::encodeName(directory + "/console");
    const int file = ::open(console.constData(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    ::dup2(file, STDOUT_FILENO);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
}

/// An application object that takes the program for one in the trial's directory.
std::unique_ptr<QCoreApplication> makeApplication(QByteArray &name)
{
    static int argc = 1;
    static char *argv[] = {name.data(), nullptr};
    return std::make_unique<QCoreApplication>(argc, argv);
}

void report(TrialMemory &memory, const QByteArray &complaints)
{
    std::snprintf(memory.complaints, TrialMemory::room, "%s", complaints.constData());
}

} // namespace

void runTrial(const Operation &operation, const QString &directory, TrialMemory &memory)
{
    enter(directory);
    Trial trial(directory, memory.state);
    QByteArray program = QFile::encodeName(trial.programPath("suite"));
    std::snprintf(memory.state.program, State::callSize, "%s", program.constData());
    preloaded<FaultsAttach>("zecoreFaultsAttach")(&memory.state);
    QStringList lines;
    s_lines = &lines;
    qInstallMessageHandler(catchLine);

    operation.prepare(trial);
    std::unique_ptr<QCoreApplication> application;
    if (!operation.isApplication) {
        application = makeApplication(program);
        QCoreApplication::applicationDirPath();
    }
    if (operation.warmUp)
        operation.warmUp(trial);
    trial.noteBefore();
    const QStringList files = openFiles();
    takeLines();

    preloaded<FaultsStart>("zecoreFaultsStart")();
    operation.act(trial);
    preloaded<FaultsStop>("zecoreFaultsStop")();

    trial.setLines(takeLines());
    if (operation.tidyUp)
        operation.tidyUp(trial);
    // Qt keeps what wakes the event loops of a thread.
    requireSameFiles(trial, files, operation.isApplication);
    if (!operation.detaches)
        requireNoChildren(trial);
    trial.noteAfter();
    operation.judge(trial);
    report(memory, trial.complaints());
    application.reset();
    std::exit(0); // with all static destructors
}

bool isPreloaded()
{
    return preloaded<FaultsAttach>("zecoreFaultsAttach") != nullptr;
}

namespace {

/// What write() gives, and its errors, call by call under @p plan.
QByteArray writesUnder(const Plan &plan)
{
    State state;
    state.plan = plan;
    preloaded<FaultsAttach>("zecoreFaultsAttach")(&state);
    const int file = ::memfd_create("written", MFD_CLOEXEC);
    QByteArray results;
    preloaded<FaultsStart>("zecoreFaultsStart")();
    for (int i = 0; i < 3; ++i) {
        const ssize_t result = ::write(file, "0123456789", 10);
        results += QByteArray::number(static_cast<int>(result));
        results += result < 0 ? " (" + QByteArray(::strerror(errno)) + ") " : QByteArray(" ");
    }
    preloaded<FaultsStop>("zecoreFaultsStop")();
    ::close(file);
    preloaded<FaultsAttach>("zecoreFaultsAttach")(nullptr);
    results += QByteArray::number(state.counts[Write]);
    return results;
}

bool expect(const Plan &plan, const QByteArray &results)
{
    const QByteArray seen = writesUnder(plan);
    if (seen != results)
        std::printf("%s: %s instead of %s\n", describe(plan).constData(), seen.constData(),
                    results.constData());
    return seen == results;
}

} // namespace

bool checkFaults()
{
    bool good = expect({Kind::None, Write, 0, 0, false}, "10 10 10 3");
    good &= expect({Kind::Error, Write, 2, EIO, false}, "10 -1 (Input/output error) 10 3");
    good &= expect({Kind::Error, Read, 2, EIO, false}, "10 10 10 3");
    good &= expect({Kind::Short, Write, 1, 0, false}, "5 10 10 3");
    good &= expect({Kind::FullDisk, Write, 2, 0, false}, "10 5 -1 (No space left on device) 3");
    return good;
}

} // namespace Faults
