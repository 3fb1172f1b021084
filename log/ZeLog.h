// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef ZELOG_H
#define ZELOG_H

#include "core/BaseThread.h"
#include "core/ZeCoreGlobal.h"

#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QSemaphore>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

/// The process-wide logger: a Qt message handler and the thread that writes
/// what it queues to size-limited, pruned log files.
///
/// A program creates one ZeLog after PublicClass::initMember(), starts it and
/// installs the handler; the library never installs it by itself:
/// @code
/// auto *log = new ZeLog;
/// log->start();
/// qInstallMessageHandler(ZeLog::outputMessage);
/// @endcode
///
/// **The clean stop.** The writer sleeps on a semaphore, and destroying a
/// running ZeLog first makes the handler inert, so that nothing can wake the
/// writer any more: `delete` then blocks for ever if no permit is left. Programs
/// therefore wake the writer with one more line:
/// @code
/// log->setNeedStop(true);
/// qDebug() << "end of log"; // wakes the writer
/// log->wait();
/// delete log;
/// @endcode
/// A line that a logging rule filters out ("*.debug=false") wakes nobody; the call
/// `ZeLog::_synSem.release()` in its place wakes without a line.
///
/// A writer that waits writes that line and ends. One that is busy ends after the
/// batch at hand, and lines queued meanwhile stay unwritten: a program that needs
/// its very last lines waits until #_stringList is empty before it begins to stop.
///
/// **Files.** A file is called "ZemixPro_" + local time of creation
/// ("yyyy-MM-dd_hh-mm-ss") + ".log", in the directory PublicClass::logDir. It is
/// UTF-8, one line per message, only ever appended to, and opened and closed for
/// each batch of lines, so that it is complete on disk after each batch. Once a
/// file is larger than 10 MiB the next batch is dropped (deliberately; suite
/// tools count on it), a new name is chosen and all but the 50 newest "*.log"
/// files are removed; that pruning also runs when the thread starts. Two files
/// begun within one second are one file.
///
/// **Queue.** It has no bound: while no writer runs, lines pile up in memory.
/// Write errors are not reported (a full disk loses lines); a file that cannot
/// be opened ends the writer thread for good, after one critical message.
///
/// **Threads.** The handler may be called on any thread. The switches and the
/// colours are read without a lock: set them before other threads log, or
/// accept that a change shows a little later.
///
/// **Process exit.** The static members outlive every other static of the
/// program: lines may be logged from static destructors, and a ZeLog that was
/// neither stopped nor destroyed does no harm. Other threads, though, should have
/// ended by then: Qt's own debug streams are not safe in a thread that goes on
/// logging while the process exits.
class ZECORE_EXPORT ZeLog : public BaseThread
{
    Q_OBJECT

public:
    /// Creates the log directory with all missing parents and logs the outcome;
    /// a failure shows again when the first file cannot be opened. Does not start
    /// the thread. @p parent owns the object, if given.
    ///
    /// PublicClass::initMember() comes first: it names the directory. Without it
    /// nothing is pruned and the files land in the root directory. A relative
    /// directory is made below the current directory here, and taken relative to
    /// the application directory once the thread has pruned.
    explicit ZeLog(QObject *parent = nullptr);

    /// Makes the handler inert, then calls stopThread(). Blocks for ever if the
    /// writer waits and no permit is left; see the clean stop above. Lines that
    /// are still queued are not written.
    ~ZeLog() override;

    /// Qt's message handler: queues the line "[yyMMdd hhmmss.zzz][Zemix]" + @p msg
    /// and echoes @p msg on standard error, in the colour of its severity
    /// @p type and in the local 8-bit encoding. @p context is not used.
    ///
    /// Does nothing at all, console included, while #_isRelease is true or
    /// #_isWriteLogToFile is false. Lines are queued in the order of their times.
    /// The echo is one write per line; it ends at the first NUL of the text, while
    /// the file keeps the whole line. A console that blocks holds up this caller
    /// only. Thread-safe.
    static void outputMessage(QtMsgType type, const QMessageLogContext &context,
                              const QString &msg);

    /// @p text between ESC "[" + @p codes joined by ";" + "m" and ESC "[0m";
    /// @p text unchanged if @p codes is empty. Thread-safe.
    static QString setConsoleColor(const QList<int> &codes, const QString &text);

    /// Switches the logger on or, with @p on false, off, console echo included; see
    /// #_isWriteLogToFile.
    static void setWriteLogToFile(bool on);

    /// Removes all but the 50 newest "*.log" files of the log directory, then makes
    /// the application directory the current directory of the process.
    ///
    /// "Newest" is by modification time; letter case of the ending does not matter
    /// and hidden files take part. Nothing is removed while the log directory is
    /// unknown. Blocks for the time of the removal.
    void removeLogs();

    /// Sets the stop request, asks for the end of the event loop and waits without
    /// limit. A writer that waits for lines sees the request only after the next
    /// line has woken it.
    void stopThread() override;

    /// The writer loop, run by start() on the thread of the object.
    void run() override;

    /// @name Switches
    /// Assigned by the program. @{
    static bool _isRelease;        ///< true: the handler does nothing. Set by the destructor.
    static bool _isWriteLogToFile; ///< false: the handler does nothing, the writer idles.
    /// @}

    /// @name Names of files
    /// @{
    static QString s_LogName;        ///< Name of the current file; empty before the first batch.
    static QString s_SysLogName;     ///< Not used by the library.
    static QString g_currentDateStr; ///< Not used by the library.
    static int g_index;              ///< Not used by the library.
    /// @}

    /// @name Queue
    /// @{
    static QStringList _stringList; ///< Lines that wait for the writer; guarded by #_mutex.
    static QMutex _mutex;           ///< Guards #_stringList.
    static QSemaphore _synSem;      ///< Released once per queued line.
    /// @}

    /// @name Parameters of the ANSI colour sequences
    /// Writable: the handler reads them for every line. @{
    static int DEFAULT;            ///< 0: resets everything; the colour of debug lines.
    static int BOLD;               ///< 1: bold.
    static int UN_BOLD;            ///< 2: faint.
    static int UNDER_LINE;         ///< 4: underlined.
    static int GLINT;              ///< 5: blinking.
    static int INVERSE;            ///< 7: foreground and background exchanged.
    static int BOLD_2;             ///< 21: bold off, on some terminals underlined twice.
    static int NORMAL;             ///< 22: neither bold nor faint.
    static int UN_UNDER_LINE;      ///< 24: underlined off.
    static int STOP_GLINT;         ///< 25: blinking off.
    static int INVERSE_2;          ///< 27: inverse off.
    static int FORE_GROUND_BLACK;  ///< 30: black text.
    static int FORE_GROUND_RED;    ///< 31: red; the colour of critical and fatal messages.
    static int FORE_GROUND_GREEN;  ///< 32: green text.
    static int FORE_GROUND_ORANGE; ///< 33: yellow on most terminals; the colour of warnings.
    static int FORE_GROUND_BLUE;   ///< 34: blue text.
    static int FORE_GROUND_PURPLE; ///< 35: purple text.
    static int FORE_GROUND_CYAN;   ///< 36: cyan text.
    static int FORE_GROUND_WHITE;  ///< 37: white text.
    static int BACK_GROUND_BLACK;  ///< 40: black background.
    static int BACK_GROUND_RED;    ///< 41: red background.
    static int BACK_GROUND_GREEN;  ///< 42: green background.
    static int BACK_GROUND_ORANGE; ///< 43: yellow background on most terminals.
    static int BACK_GROUND_BLUE;   ///< 44: blue background.
    static int BACK_GROUND_PURPLE; ///< 45: purple background.
    static int BACK_GROUND_CYAN;   ///< 46: cyan background.
    static int BACK_GROUND_WHITE;  ///< 47: white background.
    /// @}

private:
    Q_DISABLE_COPY(ZeLog)
};

#endif // ZELOG_H
