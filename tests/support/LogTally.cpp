// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/LogTally.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>
#include <cstdlib>

namespace TestSupport {

namespace {

constexpr char stampForm[] = "[000000 000000.000][Zemix]"; // 0 stands for a digit
constexpr int stampLength = sizeof(stampForm) - 1;
constexpr char tag[] = "numbered ";
constexpr int tagLength = sizeof(tag) - 1;

/// Whether @p line begins with a stamp or, if it is shorter, is the start of one.
bool fitsStamp(const QByteArray &line)
{
    const int length = std::min(line.size(), stampLength);
    for (int i = 0; i < length; ++i) {
        const bool isDigit = line.at(i) >= '0' && line.at(i) <= '9';
        if (stampForm[i] == '0' ? !isDigit : line.at(i) != stampForm[i])
            return false;
    }
    return true;
}

} // namespace

QString numberedText(int thread, qint64 number, int padding)
{
    // The characters of one byte, two, three and four; a different end for each number.
    const QString end = QStringLiteral(" aéж终😀 ") + QString::number(number % 7);
    return QLatin1String(tag) + QString::number(thread) + QLatin1Char(' ') + QString::number(number)
        + QLatin1Char(' ') + QString(padding, QLatin1Char(static_cast<char>('a' + number % 26)))
        + end;
}

LogTally::LogTally(const QString &directory, int threads, int padding)
    : m_directory(directory)
    , m_padding(padding)
    , m_next(static_cast<std::size_t>(threads), 0)
    , m_mayJump(static_cast<std::size_t>(threads), false)
{
}

void LogTally::skip(const QString &name, qint64 bytes)
{
    m_skippedName = name;
    m_skippedBytes = bytes;
}

void LogTally::readFinishedFiles()
{
    QStringList names = unreadFiles();
    if (!names.isEmpty())
        names.removeLast();
    for (const QString &name : qAsConst(names))
        read(name, false);
}

void LogTally::readToTheEnd()
{
    const QStringList names = unreadFiles();
    for (const QString &name : names)
        read(name, name == names.last());
}

QStringList LogTally::unreadFiles() const
{
    // The names have the time in them, the most significant digits first.
    QStringList names =
        QDir(m_directory).entryList({QStringLiteral("ZemixPro_*.log")}, QDir::Files, QDir::Name);
    names.erase(std::remove_if(names.begin(), names.end(),
                               [this](const QString &name) { return name <= m_lastRead; }),
                names.end());
    return names;
}

void LogTally::read(const QString &name, bool isLast)
{
    QFile file(m_directory + QLatin1Char('/') + name);
    if (!file.open(QIODevice::ReadOnly)) {
        complain(name + QLatin1String(" went before it was counted"));
        return;
    }
    if (m_previousSize > sizeLimit)
        m_mayJump.assign(m_mayJump.size(), true);
    if (name == m_skippedName)
        file.seek(m_skippedBytes);
    while (!file.atEnd()) {
        QByteArray line = file.readLine();
        if (line.endsWith('\n')) {
            line.chop(1);
            readLine(line);
        } else {
            m_wasTorn = true;
            if (!isLast || !isStartOfALine(line))
                complain(QStringLiteral("torn line at the end of %1: ").arg(name)
                         + QString::fromUtf8(line));
        }
    }
    m_previousSize = file.size();
    m_lastRead = name;
    ++m_files;
}

void LogTally::readLine(const QByteArray &line)
{
    if (line.size() < stampLength || !fitsStamp(line)) {
        // Other messages may have several lines.
        if (!m_isBehindOther || line.contains(tag))
            complain(QLatin1String("no stamp: ") + QString::fromUtf8(line));
        return;
    }
    const QByteArray text = line.mid(stampLength);
    m_isBehindOther = !text.startsWith(tag);
    if (m_isBehindOther) {
        ++m_others;
        return;
    }
    char *end = nullptr;
    const auto thread = static_cast<int>(std::strtol(text.constData() + tagLength, &end, 10));
    const auto number = static_cast<qint64>(std::strtoll(end, nullptr, 10));
    if (thread < 0 || static_cast<std::size_t>(thread) >= m_next.size()
        || text != numberedText(thread, number, m_padding).toUtf8())
        complain(QLatin1String("not as it was logged: ") + QString::fromUtf8(line));
    else
        count(thread, number);
}

void LogTally::count(int thread, qint64 number)
{
    const auto index = static_cast<std::size_t>(thread);
    const qint64 missing = number - m_next.at(index);
    if (missing != 0 && !(missing > 0 && m_mayJump.at(index)))
        complain(QStringLiteral("thread %1 has line %2 where %3 belongs")
                     .arg(QString::number(thread), QString::number(number),
                          QString::number(m_next.at(index))));
    m_dropped += std::max<qint64>(missing, 0);
    m_mayJump.at(index) = false;
    m_next.at(index) = number + 1;
    ++m_written;
}

bool LogTally::isStartOfALine(const QByteArray &torn) const
{
    if (!fitsStamp(torn))
        return false;
    const QByteArray text = torn.mid(stampLength);
    for (std::size_t thread = 0; thread < m_next.size(); ++thread) {
        // Behind a dropped batch the number is not known.
        if (m_mayJump.at(thread)
            || numberedText(static_cast<int>(thread), m_next.at(thread), m_padding)
                   .toUtf8()
                   .startsWith(text))
            return true;
    }
    return false;
}

void LogTally::complain(const QString &fault)
{
    if (m_fault.isEmpty())
        m_fault = fault.left(1000);
}

} // namespace TestSupport
