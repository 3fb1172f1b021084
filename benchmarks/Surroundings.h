// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SURROUNDINGS_H
#define SURROUNDINGS_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

namespace Bench {

/// The directories of everything that the benchmarks write; gone with the object.
/// The first one is also that of temporary files, for child processes as well.
class WorkDirectories
{
public:
    WorkDirectories();
    ~WorkDirectories();
    Q_DISABLE_COPY(WorkDirectories)

private:
    QTemporaryDir m_disk;
    QTemporaryDir m_memory;
};

/// On the disk of the temporary directory.
QString workDirectory();
/// In memory (tmpfs), where the system has such a place.
QString memoryDirectory();

/// Standard error leads to /dev/null while the object lives.
class SilentStandardError
{
public:
    SilentStandardError();
    ~SilentStandardError();
    Q_DISABLE_COPY(SilentStandardError)

private:
    int m_saved;
};

/// The variable TZ names a zone, or is not there, while the object lives: without
/// it the C library looks at /etc/localtime again and again.
class Zone
{
public:
    explicit Zone(bool isSet);
    ~Zone();
    Q_DISABLE_COPY(Zone)

private:
    QByteArray m_saved;
    bool m_wasSet;
};

/// Incompressible bytes, the same in every run.
QByteArray randomBytes(int size);

void writeFile(const QString &path, const QByteArray &content);
/// A file of @p size bytes, a multiple of a MiB.
void writeRandomFile(const QString &path, qint64 size);

} // namespace Bench

#endif // SURROUNDINGS_H
