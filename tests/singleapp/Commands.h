// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef COMMANDS_H
#define COMMANDS_H

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QCryptographicHash>
#include <QtCore/QSocketNotifier>
#include <QtCore/QString>

#include <functional>

#include <grp.h>
#include <unistd.h>

/// The helper programs' side of a LiveChild.
namespace TestSupport {

inline void writeAllTo(int descriptor, const QByteArray &bytes)
{
    for (int done = 0; done < bytes.size();) {
        const auto count =
            ::write(descriptor, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (count < 0)
            ::_exit(7);
        done += static_cast<int>(count);
    }
}

inline void say(const QByteArray &text)
{
    writeAllTo(STDOUT_FILENO, text + '\n');
}

inline const char *yesNo(bool value)
{
    return value ? "yes" : "no";
}

/// Tells texts of any size apart.
inline QByteArray fingerprint(const QString &text)
{
    return QByteArray::number(text.size()) + ' '
        + QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex();
}

/// Gives root's rights up for good; @returns whether the process had them.
inline bool becomeNobody()
{
    constexpr unsigned nobody = 65534;
    return ::setgroups(0, nullptr) == 0 && ::setresgid(nobody, nobody, nobody) == 0
        && ::setresuid(nobody, nobody, nobody) == 0;
}

/// Blocks until standard input ends, so that no helper outlives its test.
inline void waitForEndOfInput()
{
    char buffer[256];
    while (::read(STDIN_FILENO, buffer, sizeof buffer) > 0) { }
}

/// Calls @p handle for every line of standard input and leaves the event loop at its end.
class CommandReader
{
public:
    explicit CommandReader(const std::function<void(const QList<QByteArray> &words)> &handle)
        : m_notifier(STDIN_FILENO, QSocketNotifier::Read)
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this, handle] {
            char buffer[4096];
            const auto count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count <= 0) {
                m_notifier.setEnabled(false);
                QCoreApplication::quit();
                return;
            }
            m_input.append(buffer, static_cast<int>(count));
            for (int end = 0; (end = m_input.indexOf('\n')) >= 0;) {
                const QByteArray line = m_input.left(end);
                m_input.remove(0, end + 1);
                handle(line.split(' '));
            }
        });
    }
    Q_DISABLE_COPY(CommandReader)

private:
    QSocketNotifier m_notifier;
    QByteArray m_input;
};

} // namespace TestSupport

#endif // COMMANDS_H
