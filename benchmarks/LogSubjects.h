// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGSUBJECTS_H
#define LOGSUBJECTS_H

#include "Surroundings.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>
#include <QtCore/QThread>

#include <memory>

namespace Bench {

/// The logger as Qt offers it: the same contract, each step in its simplest form.
namespace NaiveLog {

void outputMessage(QtMsgType type, const QMessageLogContext &context, const QString &msg);

/// The writer; it appends to a file in its directory.
class Writer : public QThread
{
public:
    explicit Writer(const QString &directory);
    /// Stops it; what is queued is written first.
    ~Writer() override;

protected:
    void run() override;

private:
    QString m_directory;
};

/// Empties the batch into the file, line by line; false if that cannot be opened.
bool append(QFile &file, QStringList &batch);

} // namespace NaiveLog

/// The library's writer thread on a directory, while the object lives. Queue and
/// permits are empty before and after.
class LibraryWriter
{
public:
    explicit LibraryWriter(const QString &directory);
    ~LibraryWriter();
    Q_DISABLE_COPY(LibraryWriter)

private:
    class Thread;
    std::unique_ptr<Thread> m_thread;
};

/// Forgets what the library has queued and not written.
void dropLibraryQueue();

/// Watches a fresh directory until files of a total size have been closed in it.
class LogDirectory
{
public:
    LogDirectory();
    ~LogDirectory();
    Q_DISABLE_COPY(LogDirectory)

    const QString &path() const { return m_path; }
    void waitForBytes(qint64 size);
    qint64 size() const;
    void removeFiles();

private:
    QString m_path;
    int m_notifier;
};

/// What a measured handler has around it: its own writer, running.
template <typename Writer>
struct LogScene
{
    explicit LogScene(bool zoneIsSet)
        : zone(zoneIsSet)
        , writer(directory.path())
    {
    }
    Q_DISABLE_COPY(LogScene)

    Zone zone;
    SilentStandardError silence;
    LogDirectory directory;
    Writer writer;
};

/// Handler of qDebug() and the like while the object lives.
class Handler
{
public:
    explicit Handler(QtMessageHandler handler)
        : m_before(qInstallMessageHandler(handler))
    {
    }
    ~Handler() { qInstallMessageHandler(m_before); }
    Q_DISABLE_COPY(Handler)

private:
    QtMessageHandler m_before;
};

/// Logs the line "[warning][move] axis 3 soft limit", item by item.
void logFourItems();
/// What it takes in a file, with its stamp and the line feed.
constexpr qint64 fourItemsLineSize = 26 + 33 + 1;

} // namespace Bench

#endif // LOGSUBJECTS_H
