// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Messages between instances: the reader gets arbitrary bytes in arbitrary pieces, and
// reads back what the writer has written. Input: a line with one character for each thing
// that happens, then the bytes.
//
//   0-9 a-z  a piece of 0 to 35 bytes arrives        A-Z  26 times as many
//   .        nothing arrives within the time limit   !    the sender leaves
//   ?        the next reading fails
//
// When the line is used up, the rest arrives and the sender leaves.

#include "Fuzz.h"

#include "singleapp/MessageFrame_p.h"

#include <QtCore/QBuffer>

#include <cstring>
#include <vector>

namespace {

using ZeCore::Reception;

enum class Kind { Piece, Silence, Departure, Failure };

struct Event
{
    Kind kind;
    int size;
};

std::vector<Event> eventsOf(const QByteArray &script)
{
    std::vector<Event> events;
    for (const char c : script) {
        if (c >= '0' && c <= '9')
            events.push_back({Kind::Piece, c - '0'});
        else if (c >= 'a' && c <= 'z')
            events.push_back({Kind::Piece, c - 'a' + 10});
        else if (c >= 'A' && c <= 'Z')
            events.push_back({Kind::Piece, (c - 'A' + 1) * 26});
        else if (c == '.')
            events.push_back({Kind::Silence, 0});
        else if (c == '!')
            events.push_back({Kind::Departure, 0});
        else if (c == '?')
            events.push_back({Kind::Failure, 0});
    }
    events.push_back({Kind::Piece, 1 << 30});
    events.push_back({Kind::Departure, 0});
    return events;
}

/// Stands in for the socket.
class Sender
{
public:
    Sender(std::vector<Event> events, QByteArray bytes)
        : m_events(std::move(events))
        , m_coming(std::move(bytes))
    {
    }

    qint64 bytesAvailable() const { return m_there.size(); }
    bool isConnected() const { return !m_hasLeft; }

    bool waitForReadyRead(int timeoutMs)
    {
        FUZZ_CHECK(timeoutMs == 1000 || timeoutMs == 2000);
        while (!m_hasLeft) {
            const Event event = m_events[m_next++];
            switch (event.kind) {
            case Kind::Piece:
                if (event.size == 0 || m_coming.isEmpty())
                    break;
                m_there += m_coming.left(event.size);
                m_coming.remove(0, event.size);
                return true;
            case Kind::Silence:
                return false;
            case Kind::Departure:
                m_hasLeft = true;
                break;
            case Kind::Failure:
                m_fails = true;
                break;
            }
        }
        return false;
    }

    qint64 read(char *data, qint64 size)
    {
        FUZZ_CHECK(size >= 0 && size <= m_there.size());
        if (m_fails)
            return -1;
        std::memcpy(data, m_there.constData(), static_cast<size_t>(size));
        m_there.remove(0, static_cast<int>(size));
        return size;
    }

private:
    std::vector<Event> m_events;
    QByteArray m_coming;
    QByteArray m_there;
    size_t m_next = 0;
    bool m_hasLeft = false;
    bool m_fails = false;
};

struct Outcome
{
    Reception reception = Reception::Stale;
    QByteArray text;
};

/// What should come of it, seen from the sender's side: which bytes have arrived when
/// the receiver gives up.
Outcome outcomeOf(const std::vector<Event> &events, const QByteArray &bytes)
{
    constexpr int headerSize = 4;
    constexpr qint64 tooLong = 0x7FFFFFFF - 64;
    int arrived = 0;
    qint64 end = headerSize; // of the whole frame, once its header is there
    const auto isComplete = [&] { return arrived >= headerSize && arrived >= end; };
    const auto readEnd = [&] {
        end = headerSize;
        for (int i = 0; i < headerSize; ++i)
            end += qint64(static_cast<unsigned char>(bytes.at(i))) << (8 * (3 - i));
    };
    for (const Event &event : events) {
        if (event.kind == Kind::Departure)
            break;
        if (event.kind == Kind::Silence && arrived >= headerSize)
            break;
        if (event.kind != Kind::Piece)
            continue;
        arrived = static_cast<int>(qMin<qint64>(bytes.size(), qint64(arrived) + event.size));
        if (arrived >= headerSize)
            readEnd();
        if (arrived >= headerSize && end - headerSize > tooLong)
            return {Reception::Failed, QByteArray()};
        if (isComplete())
            break;
    }
    if (arrived < headerSize)
        return {};
    return {Reception::Complete,
            bytes.mid(headerSize, static_cast<int>(qMin<qint64>(end, arrived)) - headerSize)};
}

bool hasFailure(const QByteArray &script)
{
    return script.contains('?');
}

void checkReader(const QByteArray &script, const QByteArray &bytes)
{
    const std::vector<Event> events = eventsOf(script);
    Sender sender(events, bytes);
    QString message = QStringLiteral("untouched");
    const Reception reception = ZeCore::receiveFrame(sender, message);
    if (reception != Reception::Complete)
        FUZZ_COMPARE(message, QStringLiteral("untouched"));
    if (hasFailure(script))
        return;
    const Outcome expected = outcomeOf(events, bytes);
    FUZZ_COMPARE(int(reception), int(expected.reception));
    if (reception == Reception::Complete)
        FUZZ_COMPARE(message, QString::fromUtf8(expected.text.constData(), expected.text.size()));
}

/// A frame that is written is read back, in whatever pieces it comes.
void checkRoundTrip(const QByteArray &script, const QString &text)
{
    QByteArray frame;
    QBuffer buffer(&frame);
    FUZZ_CHECK(buffer.open(QIODevice::WriteOnly));
    ZeCore::writeFrame(buffer, text);
    const QByteArray utf8 = text.toUtf8();
    const auto size = static_cast<uint>(utf8.size());
    const char header[] = {static_cast<char>(size >> 24), static_cast<char>(size >> 16),
                           static_cast<char>(size >> 8), static_cast<char>(size)};
    FUZZ_COMPARE(frame, QByteArray(header, sizeof header) + utf8);

    QByteArray steady = script;
    for (const char c : {'.', '!', '?'})
        steady.replace(c, "");
    Sender sender(eventsOf(steady), frame);
    QString message;
    FUZZ_CHECK(ZeCore::receiveFrame(sender, message) == Reception::Complete);
    FUZZ_COMPARE(message, QString::fromUtf8(utf8.constData(), utf8.size()));
    // Qt drops a byte order mark.
    if (Fuzz::isValidText(text) && !text.startsWith(QChar(QChar::ByteOrderMark)))
        FUZZ_COMPARE(message, text);
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QByteArray script = input.takeLine();
    const QByteArray bytes = input.takeRest();
    checkReader(script, bytes);
    checkRoundTrip(script, toText(bytes));
    FUZZ_COMPARE(takeMessages(), QStringList());
}
