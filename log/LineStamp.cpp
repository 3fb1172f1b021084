// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/LineStamp_p.h"

#include "log/LocalTime_p.h"

#include <cstring>

namespace ZeCore {

namespace {

char16_t *putDigits(char16_t *to, int value, int digits)
{
    for (int i = digits - 1; i >= 0; --i) {
        to[i] = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    }
    return to + digits;
}

constexpr int millisecondsOffset = 15;
constexpr char16_t pattern[] = u"[000000 000000.000][Zemix]";
static_assert(sizeof(pattern) / sizeof(char16_t) - 1 == LineStamp::length,
              "the pattern is the stamp");

} // namespace

void LineStamp::write(QChar *line)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != m_second)
        recompute(now.tv_sec);
    putDigits(m_text + millisecondsOffset, static_cast<int>(now.tv_nsec / 1000000), 3);
    static_assert(sizeof(QChar) == sizeof(char16_t), "QChar is one UTF-16 unit");
    std::memcpy(static_cast<void *>(line), m_text, sizeof(m_text));
}

void LineStamp::recompute(std::time_t second)
{
    const std::tm local = localTime(second);
    std::memcpy(m_text, pattern, sizeof(m_text));
    char16_t *to = m_text + 1;
    to = putDigits(to, (local.tm_year + 1900) % 100, 2);
    to = putDigits(to, local.tm_mon + 1, 2);
    to = putDigits(to, local.tm_mday, 2) + 1;
    to = putDigits(to, local.tm_hour, 2);
    to = putDigits(to, local.tm_min, 2);
    putDigits(to, local.tm_sec, 2);
    m_second = second;
}

} // namespace ZeCore
