// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Surroundings.h"

#include "Child.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <ctime>
#include <random>

#include <fcntl.h>
#include <unistd.h>

namespace Bench {

namespace {

const char memoryVariable[] = "ZECORE_BENCH_MEMORY";

QString memoryTemplate()
{
    const QString shared = QStringLiteral("/dev/shm");
    const bool isUsable = QFileInfo(shared).isWritable();
    return (isUsable ? shared : QDir::tempPath()) + QStringLiteral("/zecore_bench-XXXXXX");
}

} // namespace

WorkDirectories::WorkDirectories()
    : m_memory(memoryTemplate())
{
    if (!m_disk.isValid() || !m_memory.isValid())
        fail(QStringLiteral("no temporary directory"));
    qputenv("TMPDIR", QFile::encodeName(m_disk.path()));
    qputenv(memoryVariable, QFile::encodeName(m_memory.path()));
}

WorkDirectories::~WorkDirectories() = default;

QString workDirectory()
{
    return QFile::decodeName(qgetenv("TMPDIR"));
}

QString memoryDirectory()
{
    return QFile::decodeName(qgetenv(memoryVariable));
}

SilentStandardError::SilentStandardError()
    : m_saved(::dup(STDERR_FILENO))
{
    const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(null, STDERR_FILENO);
    ::close(null);
}

SilentStandardError::~SilentStandardError()
{
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
}

Zone::Zone(bool isSet)
    : m_saved(qgetenv("TZ"))
    , m_wasSet(qEnvironmentVariableIsSet("TZ"))
{
    if (isSet)
        qputenv("TZ", "Europe/Berlin");
    else
        qunsetenv("TZ");
    tzset();
}

Zone::~Zone()
{
    if (m_wasSet)
        qputenv("TZ", m_saved);
    else
        qunsetenv("TZ");
    tzset();
}

QByteArray randomBytes(int size)
{
    std::mt19937 generator(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable on purpose
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = static_cast<char>(generator());
    return bytes;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        fail(QStringLiteral("cannot write %1").arg(path));
}

void writeRandomFile(const QString &path, qint64 size)
{
    QFile file(path);
    const QByteArray block = randomBytes(1 << 20);
    bool isWritten = file.open(QIODevice::WriteOnly);
    for (qint64 done = 0; isWritten && done < size; done += block.size())
        isWritten = file.write(block) == block.size();
    if (!isWritten)
        fail(QStringLiteral("cannot write %1").arg(path));
}

} // namespace Bench
