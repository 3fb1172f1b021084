// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SURROUNDINGS_H
#define SURROUNDINGS_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Bench {

/// The directory of everything that the benchmarks write; gone when they end.
QString workDirectory();

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

} // namespace Bench

#endif // SURROUNDINGS_H
