// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// ZeLog::outputMessage() and setConsoleColor(). Input: a line whose first byte chooses the
// type of the message, whose second the local encoding and the switches, and whose
// others are colours; then the text of the message.

#include "Fuzz.h"

#include "log/ZeLog.h"

#include <QtCore/QDateTime>
#include <QtCore/QMutexLocker>
#include <QtCore/QTextCodec>

#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Standard error as a file; no one else writes to it.
class Console
{
public:
    Console()
    {
        FUZZ_CHECK(::fcntl(m_file.descriptor(), F_SETFL, O_APPEND) == 0);
        FUZZ_CHECK(::dup2(m_file.descriptor(), STDERR_FILENO) == STDERR_FILENO);
    }

    QByteArray take() const
    {
        const QByteArray bytes = m_file.content();
        FUZZ_CHECK(::ftruncate(m_file.descriptor(), 0) == 0);
        return bytes;
    }

private:
    Fuzz::MemoryFile m_file;
};

const QTextCodec *codecOf(unsigned char choice)
{
    static const QTextCodec *const codecs[] = {
        QTextCodec::codecForName("UTF-8"), QTextCodec::codecForName("ISO-8859-1"),
        QTextCodec::codecForName("GB18030"), QTextCodec::codecForName("Shift_JIS")};
    return codecs[choice % std::size(codecs)];
}

/// `"\e[" + codes + "m" + text + "\e[0m"`, or the text alone.
QString colored(const QList<int> &codes, const QString &text)
{
    if (codes.isEmpty())
        return text;
    std::string sequence = "\x1B[" + std::to_string(codes.first());
    for (int i = 1; i < codes.size(); ++i)
        sequence += ';' + std::to_string(codes.at(i));
    return QString::fromStdString(sequence) + QStringLiteral("m") + text
        + QStringLiteral("\x1B[0m");
}

QList<int> colorsOf(QtMsgType type, int defaultColor, int orange, int red)
{
    switch (type) {
    case QtDebugMsg:
        return {defaultColor};
    case QtWarningMsg:
        return {orange};
    case QtCriticalMsg:
    case QtFatalMsg:
        return {red};
    default:
        return {};
    }
}

/// In the local encoding. The codec of UTF-8 keeps half a character at the very end for
/// later, and so loses it; on the console it is a question mark like all the others.
QByteArray localBytes(const QString &text)
{
    constexpr int utf8Mib = 106;
    return QTextCodec::codecForLocale()->mibEnum() == utf8Mib ? text.toUtf8() : text.toLocal8Bit();
}

unsigned char optionAt(const QByteArray &options, int index)
{
    return static_cast<unsigned char>(index < options.size() ? options.at(index) : '0');
}

QString timeText()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyMMdd hhmmss.zzz"));
}

/// The line is "[time][Zemix]text" with a time between the two given.
void checkLine(const QString &line, const QString &text, const QString &before,
               const QString &after)
{
    constexpr int timeLength = 17;
    const QString tag = QStringLiteral("][Zemix]");
    FUZZ_CHECK(line.startsWith(QLatin1Char('[')));
    const QString time = line.mid(1, timeLength);
    FUZZ_CHECK(before <= time && time <= after);
    FUZZ_COMPARE(line.mid(1 + timeLength), tag + text);
}

QStringList takeQueue()
{
    QStringList lines;
    const QMutexLocker lock(&ZeLog::_mutex);
    lines.swap(ZeLog::_stringList);
    return lines;
}

/// Signed numbers of any size from bytes.
QList<int> takeCodes(const QByteArray &bytes)
{
    QList<int> codes;
    for (int i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<signed char>(bytes.at(i));
        codes.append(i % 3 == 2 ? byte * 0x00FFFFFF : byte);
    }
    return codes;
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    static const auto *const console = new Console;
    const QByteArray options = input.takeLine();
    const QString text = input.takeRestText();
    const auto type = static_cast<QtMsgType>(optionAt(options, 0) % 6);
    const unsigned char choice = optionAt(options, 1);
    const QList<int> codes = takeCodes(options.mid(2));

    FUZZ_COMPARE(ZeLog::setConsoleColor(codes, text), colored(codes, text));

    // The colours are what the program has set them to last.
    ZeLog::DEFAULT = codes.value(0, 0);
    ZeLog::FORE_GROUND_ORANGE = codes.value(1, 33);
    ZeLog::FORE_GROUND_RED = codes.value(2, 31);
    QTextCodec::setCodecForLocale(const_cast<QTextCodec *>(codecOf(choice)));
    ZeLog::_isRelease = choice % 16 == 15;
    ZeLog::setWriteLogToFile(choice % 16 != 14);
    const bool isOn = choice % 16 < 14;

    const QString before = timeText();
    ZeLog::outputMessage(type, QMessageLogContext(), text);
    const QString after = timeText();

    const QStringList lines = takeQueue();
    FUZZ_COMPARE(lines.size(), isOn ? 1 : 0);
    FUZZ_COMPARE(ZeLog::_synSem.available(), isOn ? 1 : 0);
    if (!isOn) {
        FUZZ_COMPARE(console->take(), QByteArray());
        return;
    }
    FUZZ_CHECK(ZeLog::_synSem.tryAcquire());
    checkLine(lines.first(), text, before, after);

    // As printf's "%s\n" writes it: up to the first NUL.
    const QByteArray echo = localBytes(colored(
        colorsOf(type, ZeLog::DEFAULT, ZeLog::FORE_GROUND_ORANGE, ZeLog::FORE_GROUND_RED), text));
    FUZZ_COMPARE(console->take(), QByteArray(echo.constData()) + '\n');
}
