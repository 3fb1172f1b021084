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
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

constexpr std::size_t blockSize = 16;

/// Copies one block of ASCII characters other than NUL; returns false, after having
/// written anything, if there are others in it.
bool copyAsciiBlock(char *to, const QChar *from)
{
#if defined(__SSE2__)
    const auto *const units = reinterpret_cast<const __m128i *>(from);
    // What does not fit a byte becomes 0 or 255, so only the good ones are above 0.
    const __m128i bytes = _mm_packus_epi16(_mm_loadu_si128(units), _mm_loadu_si128(units + 1));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), bytes);
    return _mm_movemask_epi8(_mm_cmpgt_epi8(bytes, _mm_setzero_si128())) == 0xFFFF;
#else
    bool isAscii = true;
    for (std::size_t i = 0; i < blockSize; ++i) {
        isAscii = isAscii && from[i].unicode() - 1U < 0x7FU;
        to[i] = from[i].toLatin1();
    }
    return isAscii;
#endif
}

/// Copies @p text up to the first NUL or character beyond ASCII; returns their number.
std::size_t copyAscii(char *to, const QString &text)
{
    const QChar *const from = text.constData();
    const auto size = static_cast<std::size_t>(text.size());
    std::size_t done = 0;
    while (size - done >= blockSize && copyAsciiBlock(to + done, from + done))
        done += blockSize;
    for (; done < size && from[done].unicode() - 1U < 0x7FU; ++done)
        to[done] = from[done].toLatin1();
    return done;
}

/// A line in the making; on the stack if it is short.
class LineBuffer
{
public:
    explicit LineBuffer(std::size_t room)
        : m_long(room > sizeof(m_short) ? new char[room] : nullptr)
    {
    }
    Q_DISABLE_COPY(LineBuffer)

    char *begin() { return m_long ? m_long.get() : m_short; }

private:
    std::unique_ptr<char[]> m_long;
    char m_short[2048];
};

/// Ends the line whose text ends at @p end, and writes it.
void finishLine(char *begin, char *end, bool isColored)
{
    if (isColored)
        end = append(end, resetSequence, resetSize);
    *end++ = '\n';
    writeToStandardError(begin, static_cast<std::size_t>(end - begin));
}

constexpr std::size_t roomBesideText = sequenceSize + resetSize + 1;

/// Echoes the way most messages can go: without a conversion whose result would
/// have to be allocated, measured and copied. Returns false if this one cannot.
bool echoAscii(const QString &msg, std::optional<int> color)
{
    if (!isLocalTextUtf8())
        return false;
    LineBuffer line(static_cast<std::size_t>(msg.size()) + roomBesideText);
    char *const text = color ? appendColorSequence(line.begin(), *color) : line.begin();
    const std::size_t size = copyAscii(text, msg);
    const bool isWhole = size == static_cast<std::size_t>(msg.size());
    if (!isWhole && !msg.at(static_cast<int>(size)).isNull())
        return false;
    finishLine(line.begin(), text + size, color && isWhole);
    return true;
}

void echoLocal(const QString &msg, std::optional<int> color)
{
    const QByteArray bytes = toLocalBytes(msg);
    const auto byteCount = static_cast<std::size_t>(bytes.size());
    const std::size_t size = ::strnlen(bytes.constData(), byteCount);
    LineBuffer line(size + roomBesideText);
    char *const text = color ? appendColorSequence(line.begin(), *color) : line.begin();
    finishLine(line.begin(), append(text, bytes.constData(), size), color && size == byteCount);
}

} // namespace

void echoToConsole(const QString &msg, std::optional<int> color)
{
    if (!echoAscii(msg, color))
        echoLocal(msg, color);
}

} // namespace ZeCore
