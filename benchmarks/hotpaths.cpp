// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// The hot paths whose instructions check.py counts under callgrind. Everything but
// the path itself, preparation and checks, is left out of the count.

#include "Child.h"
#include "LogSubjects.h"
#include "Surroundings.h"

#include "files/ZeFileManager.h"
#include "log/ZeLog.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMutex>
#include <QtCore/QSemaphore>

#include <cstdio>
#include <cstring>

#include <valgrind/callgrind.h>

namespace {

/// Instructions are counted while the object lives.
class Counted
{
public:
    Counted() { CALLGRIND_START_INSTRUMENTATION; }
    ~Counted() { CALLGRIND_STOP_INSTRUMENTATION; }
    Q_DISABLE_COPY(Counted)
};

QString message80()
{
    return QString(80, QLatin1Char('x'));
}

/// outputMessage() of 80 characters.
void handler()
{
    constexpr int calls = 2000;
    const Bench::SilentStandardError silence;
    const QString text = message80();
    const QMessageLogContext context;
    ZeLog::outputMessage(QtWarningMsg, context, text);
    const Counted counted;
    for (int i = 0; i < calls; ++i)
        ZeLog::outputMessage(QtWarningMsg, context, text);
}

/// A line of the library itself, through the stream and the handler.
void line()
{
    constexpr int calls = 1000;
    const Bench::SilentStandardError silence;
    const Bench::Handler handler(&ZeLog::outputMessage);
    const QString text = QStringLiteral("Open file failed:/somewhere/file.json");
    ZeFileManager::setLastError(text);
    const Counted counted;
    for (int i = 0; i < calls; ++i)
        ZeFileManager::setLastError(text);
}

/// The writer with a batch of many lines.
void writer()
{
    constexpr int lines = 10000;
    Bench::LogDirectory directory;
    const Bench::LibraryWriter running(directory.path());
    QStringList batch;
    for (int i = 0; i < lines; ++i)
        batch.append(message80());
    const Counted counted;
    ZeLog::_mutex.lock();
    ZeLog::_stringList.swap(batch);
    ZeLog::_mutex.unlock();
    ZeLog::_synSem.release();
    directory.waitForBytes(qint64(lines) * 81);
}

/// A document of many numbers to its tree.
void json()
{
    constexpr int records = 1000;
    QByteArray text = "[";
    for (int i = 0; i < records; ++i)
        text += R"({"id":)" + QByteArray::number(i) + R"(,"axes":[1,2,3.5,4,5,6],"name":"point"},)";
    text += "null]";
    const Counted counted;
    if (ZeFileManager::init()->jsonToVariant(text).toList().size() != records + 1)
        Bench::fail(QStringLiteral("no tree"));
}

/// The retention of a directory of 500 log files.
void retention()
{
    constexpr int files = 500;
    constexpr int kept = 50;
    const QString path = Bench::workDirectory() + QStringLiteral("/retention");
    QDir().mkpath(path);
    for (int i = 0; i < files; ++i) {
        const QString name = QStringLiteral("%1/ZemixPro_%2.log").arg(path).arg(10000 + i);
        Bench::writeFile(name, "x");
        // Equal times would be compared by name as well, as often as chance has it.
        QFile file(name);
        file.open(QIODevice::ReadWrite);
        file.setFileTime(QDateTime::fromMSecsSinceEpoch((qint64(1700000000) + i) * 1000),
                         QFileDevice::FileModificationTime);
    }
    const auto manager = ZeFileManager::init();
    const Counted counted;
    manager->removeLastDateTimeFiles(path, {QStringLiteral("*.log")}, kept);
}

/// The digest of a file.
void md5()
{
    constexpr int size = 1 << 20;
    const QString path = Bench::workDirectory() + QStringLiteral("/md5");
    Bench::writeFile(path, Bench::randomBytes(size));
    const auto manager = ZeFileManager::init();
    const Counted counted;
    if (manager->Md5File(path).size() != 16)
        Bench::fail(QStringLiteral("no digest"));
}

struct Path
{
    const char *name;
    void (*run)();
};

const Path paths[] = {{"handler", &handler}, {"line", &line},           {"writer", &writer},
                      {"json", &json},       {"retention", &retention}, {"md5", &md5}};

void dropLines(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*text*/)
{
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(&dropLines); // the services tell when they come and go
    const Bench::WorkDirectories directories;
    const QCoreApplication application(argc, argv);
    for (const Path &path : paths) {
        if (argc == 2 && std::strcmp(argv[1], path.name) == 0) {
            path.run();
            return 0;
        }
    }
    std::fputs("Usage: zecore_hotpaths PATH, as check.py calls it\n", stderr);
    return 2;
}
