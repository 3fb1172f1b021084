// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Surroundings.h"

#include "Child.h"

#include <QtCore/QFile>

#include <ctime>
#include <random>

#include <fcntl.h>
#include <unistd.h>

namespace Bench {

QString workDirectory()
{
    return QFile::decodeName(qgetenv("TMPDIR"));
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

} // namespace Bench
