// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGFILE_P_H
#define LOGFILE_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ZeCore {

/// One log file, opened for one batch of lines and closed by the destructor.
///
/// It works on the descriptor itself, since the writer may still run while Qt's
/// own statics are being destroyed.
class LogFile
{
public:
    explicit LogFile(const QString &path);
    ~LogFile();

    /// Current size in bytes; 0 if the file does not exist.
    qint64 size() const;

    /// Opens the file for appending, creating it if needed. On failure
    /// errorString() tells why.
    bool open();
    QString errorString() const { return m_errorString; }

    /// Appends each line and a line feed, as UTF-8. Write errors are dropped.
    void append(const QStringList &lines);

private:
    Q_DISABLE_COPY(LogFile)

    QByteArray m_nativePath;
    QString m_errorString;
    int m_descriptor = -1;
};

} // namespace ZeCore

#endif // LOGFILE_P_H
