// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/ConsoleEcho_p.h"

#include "core/LocalText_p.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>

#include <poll.h>
#include <unistd.h>

namespace ZeCore {

namespace {

constexpr std::size_t sequenceSize = 16; // ESC [ + any int + m
constexpr char resetSequence[] = "\x1B[0m";
constexpr std::size_t resetSize = sizeof(resetSequence) - 1;

/// Writes all of it, as long as the console takes anything. Errors have no one
/// to be reported to.
void writeToStandardError(const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(STDERR_FILENO, data, size);
        if (written >= 0) {
            data += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN) {
            // Some other process made the shared terminal non-blocking.
            pollfd console{STDERR_FILENO, POLLOUT, 0};
            ::poll(&console, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

char *append(char *to, const char *data, std::size_t size)
{
    std::memcpy(to, data, size);
    return to + size;
}

/// Without std::to_chars(), whose table would become a symbol of this library.
char *appendNumber(char *to, int number)
{
    auto rest = static_cast<unsigned>(number);
    if (number < 0) {
        *to++ = '-';
        rest = 0U - rest;
    }
    char digits[std::numeric_limits<unsigned>::digits10 + 1];
    char *first = std::end(digits);
    do {
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    return append(to, first, static_cast<std::size_t>(std::end(digits) - first));
}

char *appendColorSequence(char *to, int colorCode)
{
    *to++ = '\x1B';
    *to++ = '[';
    to = appendNumber(to, colorCode);
    *to++ = 'm';
    return to;
}

} // namespace

void echoToConsole(const QString &msg, std::optional<int> color)
{
    const QByteArray text = toLocalBytes(msg);
    const std::size_t textSize = ::strnlen(text.constData(), static_cast<std::size_t>(text.size()));
    const bool endsAtNul = textSize < static_cast<std::size_t>(text.size());

    constexpr std::size_t onStack = 2048;
    const std::size_t room = textSize + sequenceSize + resetSize + 1;
    char shortLine[onStack];
    std::unique_ptr<char[]> longLine;
    if (room > onStack)
        longLine.reset(new char[room]);
    char *const line = longLine ? longLine.get() : shortLine;

    char *end = line;
    if (color)
        end = appendColorSequence(end, *color);
    end = append(end, text.constData(), textSize);
    if (color && !endsAtNul)
        end = append(end, resetSequence, resetSize);
    *end++ = '\n';
    writeToStandardError(line, static_cast<std::size_t>(end - line));
}

} // namespace ZeCore
