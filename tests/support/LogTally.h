// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGTALLY_H
#define LOGTALLY_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

namespace TestSupport {

/// The text of the line @p number of thread @p thread, with @p padding more
/// characters. It says by itself whether it is whole.
QString numberedText(int thread, qint64 number, int padding);

/// Accounts for the numbered lines in a directory of log files: each is whole, there
/// once and in the order of its thread. Lines may be missing only where a file has
/// outgrown its limit, since the batch at hand is dropped there; they are counted.
/// Other messages must only have their stamp.
class LogTally
{
public:
    /// The size beyond which a file is not appended to.
    static constexpr qint64 sizeLimit = 10485760;

    LogTally(const QString &directory, int threads, int padding);

    /// What the file @p name has at its start is not looked at.
    void skip(const QString &name, qint64 bytes);

    /// Reads the files that came since the last call, but not the newest one, which
    /// the writer may not be done with. To be called before they are pruned.
    void readFinishedFiles();
    /// Reads the rest, for good. A torn last line counts as not there if it is the
    /// start of a line that may follow.
    void readToTheEnd();

    /// What is wrong, empty if nothing is.
    const QString &fault() const { return m_fault; }

    /// How many lines of thread @p thread are there or have been dropped.
    qint64 reached(int thread) const { return m_next.at(static_cast<std::size_t>(thread)); }
    /// Whether further lines of thread @p thread may have been dropped.
    bool mayMissTheEnd(int thread) const
    {
        return m_previousSize > sizeLimit || m_mayJump.at(static_cast<std::size_t>(thread));
    }

    qint64 written() const { return m_written; }
    qint64 dropped() const { return m_dropped; }
    qint64 others() const { return m_others; }
    int files() const { return m_files; }
    bool wasTorn() const { return m_wasTorn; }

private:
    QStringList unreadFiles() const;
    void read(const QString &name, bool isLast);
    void readLine(const QByteArray &line);
    void count(int thread, qint64 number);
    bool isStartOfALine(const QByteArray &torn) const;
    void complain(const QString &fault);

    QString m_directory;
    int m_padding;
    std::vector<qint64> m_next;
    std::vector<bool> m_mayJump; ///< no line since a file outgrew its limit
    QString m_skippedName;
    qint64 m_skippedBytes = 0;
    QString m_lastRead;
    qint64 m_previousSize = 0;
    qint64 m_written = 0;
    qint64 m_dropped = 0;
    qint64 m_others = 0;
    int m_files = 0;
    bool m_wasTorn = false;
    bool m_isBehindOther = false;
    QString m_fault;
};

} // namespace TestSupport

#endif // LOGTALLY_H
