// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Vitals.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <malloc.h>
#include <unistd.h>

namespace Soak {

namespace {

int entriesOf(const char *directory)
{
    return QDir(QString::fromLatin1(directory))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

qint64 residentMemoryKib()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * (::sysconf(_SC_PAGESIZE) / 1024);
}

qint64 usedHeapKib()
{
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 33)
    const auto info = mallinfo2();
#else
    const auto info = mallinfo();
#endif
    return (qint64(info.uordblks) + qint64(info.hblkhd)) / 1024;
}

} // namespace

Vitals Vitals::ofThisProcess()
{
    return {entriesOf("/proc/self/fd") - 1, // without that of the listing
            entriesOf("/proc/self/task"), residentMemoryKib(), usedHeapKib()};
}

QByteArray Vitals::toWords() const
{
    return QByteArray::number(descriptors) + ' ' + QByteArray::number(threads) + ' '
        + QByteArray::number(residentKib) + ' ' + QByteArray::number(heapKib);
}

Vitals Vitals::fromWords(const QList<QByteArray> &words, int first)
{
    return {words.value(first).toInt(), words.value(first + 1).toInt(),
            words.value(first + 2).toLongLong(), words.value(first + 3).toLongLong()};
}

} // namespace Soak
