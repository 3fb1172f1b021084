// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FUZZ_H
#define FUZZ_H

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/// What the fuzzers share. A target implements runTarget(); messages are caught
/// and standard error is free for its use.
namespace Fuzz {

/// The bytes of one execution, taken piece by piece. Seeds are meant to be written
/// by hand, so everything is text as far as it can be.
class Input
{
public:
    explicit Input(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool atEnd() const { return m_next >= m_bytes.size(); }

    /// The next byte; 0 at the end.
    unsigned char takeByte();
    /// Up to the next line feed, which is dropped, or to the end.
    QByteArray takeLine();
    /// All that is left.
    QByteArray takeRest();

    /// The same as UTF-16, in which every text can be reached: see toText().
    QString takeLineText();
    QString takeRestText();

private:
    QByteArray m_bytes;
    int m_next = 0;
};

/// UTF-8 decoded, except that a byte which is none becomes a lone surrogate.
QString toText(const QByteArray &bytes);

/// Whether @p text is free of lone surrogates.
bool isValidText(const QString &text);

/// The messages since the last call or since the execution began, as "D text", "W text",
/// "C text" or "I text" by severity.
QStringList takeMessages();

/// A directory in memory that ends with the process, without a slash at its end.
QString scratchDirectory();

/// A file in memory with a path. It is a new file to whoever remembers files by path and
/// time, each time that it is filled.
class MemoryFile
{
public:
    MemoryFile();
    ~MemoryFile();
    Q_DISABLE_COPY(MemoryFile)

    QString path() const;
    void fill(const QByteArray &bytes) const;
    QByteArray content() const;
    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

/// Whether two values are the same, by their types as well, at every depth. (Those that
/// QVariant compares may be converted first.)
bool isEqual(const QVariant &one, const QVariant &other);

template <typename Value>
bool isEqual(const Value &one, const Value &other)
{
    return one == other;
}

/// Ends the process as a finding.
[[noreturn]] void fail(const char *file, int line, const QString &text);

/// One value as a report shows it.
template <typename Value>
QString shown(const Value &value)
{
    QString text;
    QDebug(&text) << value;
    return text;
}

template <typename Value>
void checkEqual(const char *file, int line, const char *what, const Value &actual,
                const Value &expected)
{
    if (!isEqual(actual, expected))
        fail(file, line,
             QStringLiteral("%1\n  is     %2\n  not    %3")
                 .arg(QString::fromUtf8(what), shown(actual), shown(expected)));
}

/// The target: checks what the library makes of @p input.
void runTarget(Input &input);

} // namespace Fuzz

/// The property that @p condition holds.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition))                                                                          \
            Fuzz::fail(__FILE__, __LINE__, QStringLiteral(#condition));                            \
    } while (false)

/// The property that @p actual is @p expected.
#define FUZZ_COMPARE(actual, expected)                                                             \
    Fuzz::checkEqual(__FILE__, __LINE__, #actual, actual, expected)

#endif // FUZZ_H
