// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Fuzz.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Fuzz {

namespace {

int s_terminal = STDERR_FILENO; // standard error as the process got it

QStringList &messages()
{
    static auto *const list = new QStringList;
    return *list;
}

void report(const QByteArray &text)
{
    // There is nothing to be done about a report that cannot be written.
    if (::write(s_terminal, text.constData(), static_cast<size_t>(text.size())) < 0)
        return;
}

void catchMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtFatalMsg) // Qt ends the process, and an assertion says why
        report(text.toUtf8() + '\n');
    if (text.endsWith(QLatin1String(" [new PublicClass()]"))) // whenever it is used first
        return;
    static const char letters[] = {'D', 'W', 'C', 'F', 'I'};
    messages().append(QLatin1Char(letters[type]) + QLatin1String(" ") + text);
}

/// The length of the UTF-8 sequence at @p bytes, of which there are @p size; 0 if it is none.
int sequenceLength(const unsigned char *bytes, int size)
{
    const unsigned char first = bytes[0];
    const int length = first < 0x80 ? 1
        : first < 0xC2              ? 0
        : first < 0xE0              ? 2
        : first < 0xF0              ? 3
        : first < 0xF5              ? 4
                                    : 0;
    if (length > size)
        return 0;
    for (int i = 1; i < length; ++i) {
        if ((bytes[i] & 0xC0) != 0x80)
            return 0;
    }
    const bool isOverlong =
        (first == 0xE0 && bytes[1] < 0xA0) || (first == 0xF0 && bytes[1] < 0x90);
    const bool isSurrogate = first == 0xED && bytes[1] > 0x9F;
    const bool isBeyond = first == 0xF4 && bytes[1] > 0x8F;
    return isOverlong || isSurrogate || isBeyond ? 0 : length;
}

/// The character of a sequence of @p length.
char32_t characterOf(const unsigned char *bytes, int length)
{
    char32_t character = length == 1 ? bytes[0] : bytes[0] & (0x7F >> length);
    for (int i = 1; i < length; ++i)
        character = character << 6 | (bytes[i] & 0x3F);
    return character;
}

void appendCharacter(QString &text, char32_t character)
{
    if (QChar::requiresSurrogates(character)) {
        text += QChar(QChar::highSurrogate(character));
        text += QChar(QChar::lowSurrogate(character));
    } else {
        text += QChar(static_cast<ushort>(character));
    }
}

void removeScratch()
{
    QDir(scratchDirectory()).removeRecursively();
}

QString makeScratch()
{
    const char *const base = std::getenv("TMPDIR");
    QByteArray name = QByteArray(base ? base : "/dev/shm") + "/zecore-fuzz-XXXXXX";
    if (!::mkdtemp(name.data()))
        fail(__FILE__, __LINE__, QStringLiteral("no scratch directory"));
    std::atexit(removeScratch);
    return QString::fromLocal8Bit(name);
}

} // namespace

unsigned char Input::takeByte()
{
    return atEnd() ? 0 : static_cast<unsigned char>(m_bytes.at(m_next++));
}

QByteArray Input::takeLine()
{
    if (atEnd())
        return QByteArray();
    const int found = m_bytes.indexOf('\n', m_next);
    const int end = found < 0 ? m_bytes.size() : found;
    const QByteArray line = m_bytes.mid(m_next, end - m_next);
    m_next = end + 1;
    return line;
}

QByteArray Input::takeRest()
{
    const QByteArray rest = m_bytes.mid(m_next);
    m_next = m_bytes.size();
    return rest;
}

QString Input::takeLineText()
{
    return toText(takeLine());
}

QString Input::takeRestText()
{
    return toText(takeRest());
}

QString toText(const QByteArray &bytes)
{
    QString text;
    text.reserve(bytes.size());
    const auto *const data = reinterpret_cast<const unsigned char *>(bytes.constData());
    for (int i = 0; i < bytes.size();) {
        const int length = sequenceLength(data + i, bytes.size() - i);
        if (length == 0)
            text += QChar(0xDC00 + data[i++]);
        else {
            // Not by QString::fromUtf8(), which drops byte order marks.
            appendCharacter(text, characterOf(data + i, length));
            i += length;
        }
    }
    return text;
}

bool isValidText(const QString &text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (!text.at(i).isSurrogate())
            continue;
        if (!text.at(i).isHighSurrogate() || i + 1 == text.size() || !text.at(++i).isLowSurrogate())
            return false;
    }
    return true;
}

QStringList takeMessages()
{
    QStringList taken;
    taken.swap(messages());
    return taken;
}

QString scratchDirectory()
{
    static const auto *const directory = new QString(makeScratch());
    return *directory;
}

MemoryFile::MemoryFile()
    : m_descriptor(::memfd_create("zecore-fuzz", MFD_CLOEXEC))
{
    FUZZ_CHECK(m_descriptor >= 0);
}

MemoryFile::~MemoryFile()
{
    ::close(m_descriptor);
}

QString MemoryFile::path() const
{
    return QStringLiteral("/proc/self/fd/%1").arg(m_descriptor);
}

void MemoryFile::fill(const QByteArray &bytes) const
{
    FUZZ_CHECK(::ftruncate(m_descriptor, 0) == 0);
    FUZZ_CHECK(::pwrite(m_descriptor, bytes.constData(), static_cast<size_t>(bytes.size()), 0)
               == bytes.size());
    static time_t second = 0;
    const timespec times[] = {{++second, 0}, {second, 0}};
    FUZZ_CHECK(::futimens(m_descriptor, times) == 0);
}

QByteArray MemoryFile::content() const
{
    struct stat status = {};
    FUZZ_CHECK(::fstat(m_descriptor, &status) == 0);
    QByteArray bytes(static_cast<int>(status.st_size), Qt::Uninitialized);
    FUZZ_CHECK(::pread(m_descriptor, bytes.data(), static_cast<size_t>(bytes.size()), 0)
               == bytes.size());
    return bytes;
}

bool isEqual(const QVariant &one, const QVariant &other)
{
    if (one.userType() != other.userType())
        return false;
    switch (one.userType()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = one.toMap();
        const QVariantMap otherMap = other.toMap();
        return std::equal(map.keyValueBegin(), map.keyValueEnd(), otherMap.keyValueBegin(),
                          otherMap.keyValueEnd(), [](const auto &a, const auto &b) {
                              return a.first == b.first && isEqual(a.second, b.second);
                          });
    }
    case QMetaType::QVariantList: {
        const QVariantList list = one.toList();
        const QVariantList otherList = other.toList();
        return std::equal(list.begin(), list.end(), otherList.begin(), otherList.end(),
                          [](const QVariant &a, const QVariant &b) { return isEqual(a, b); });
    }
    default:
        return one == other;
    }
}

void fail(const char *file, int line, const QString &text)
{
    report(QByteArray(file) + ':' + QByteArray::number(line) + ": " + text.toUtf8() + '\n');
    std::abort();
}

} // namespace Fuzz

// libFuzzer calls these.
extern "C" {

int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    Fuzz::s_terminal = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    ::setenv("TZ", "UTC", 1);
    ::setenv("LC_ALL", "C.UTF-8", 1);

    // libFuzzer and the sanitizers go on writing to the terminal; everybody else's
    // standard error is closed.
    static char option[] = "-close_fd_mask=2";
    static std::vector<char *> arguments(*argv, *argv + *argc);
    arguments.push_back(option);
    *argc = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    *argv = arguments.data();

    static int count = 1;
    static const auto *const application = new QCoreApplication(count, *argv);
    Q_UNUSED(application)
    qInstallMessageHandler(Fuzz::catchMessage);
    return 0;
}

int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    Fuzz::Input input(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    Fuzz::takeMessages();
    Fuzz::runTarget(input);
    return 0;
}

} // extern "C"
