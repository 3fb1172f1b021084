// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef PUBLICCLASS_H
#define PUBLICCLASS_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMutex>
#include <QtCore/QReadWriteLock>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QVariant>

QT_BEGIN_NAMESPACE
class QTimer;
QT_END_NAMESPACE

/// The utility service: directories, controller identity, shell commands and a
/// shared buffer, in one process-wide object reached through init().
///
/// A program sets #appDir and calls initMember() once at its start, before it
/// creates a ZeLog:
/// @code
/// auto service = PublicClass::init();
/// service->appDir = QCoreApplication::applicationDirPath();
/// service->initMember();
/// @endcode
///
/// Most fields are public and belong to the program; the library reads only
/// those whose comment says so. The order and the types of the fields are part
/// of the binary interface.
///
/// Thread-safety: init() and the shell commands may be called from any thread.
/// The byte-array list is locked, except in setByteArrayList(). All other
/// fields are unguarded: write them before threads that read them start.
class ZECORE_EXPORT PublicClass
{
public:
    /// The controller models, as held in #zcType. The codes are not in name order.
    enum ZcType {
        ZcUndetermined = -1, ///< only while initMember() runs
        Zc760_1 = 0,         ///< "ZC760.1", also for an unknown name in the model file
        Zc930 = 1,           ///< "ZC930"
        Zc520 = 2,           ///< "ZC520"
        Zc760_2 = 3,         ///< "ZC760.2"
        Zc760_4 = 4,         ///< "ZC760.4"
        Zc760_3 = 5,         ///< "ZC760.3"
        Zc580 = 6,           ///< "ZC580"
        Zc410 = 7            ///< "ZC410"
    };

    /// Fills every field with its default and logs "[new PublicClass()]".
    PublicClass();
    /// Logs one debug line. For the object of init() this happens once, at process end.
    ~PublicClass();

    /// The one object, created on first use. Thread-safe; does not call initMember().
    ///
    /// The constructor logs while the creation lock is held: a message handler
    /// must not call init() from within.
    static QSharedPointer<PublicClass> &init();

    /// Does nothing: this service lives until the process ends. It exists so that
    /// all services can be shut down alike.
    static void releaseThis();

    /// Derives the directories from #appDir and determines the controller model.
    ///
    /// Sets #appInfoDir, #logDir, #zcType and #zcName at every call. The model is
    /// the first line of "/etc/zcname"; where that file cannot be opened, it is
    /// ZC520 if the output of the command "hostname" contains "colibri" and ZC930
    /// otherwise. Text that names no model counts as ZC760.1 and stays in #zcName.
    ///
    /// Blocks up to 20 s if "hostname" hangs; a failure of that command is stored
    /// as last error.
    void initMember();

    /// The last error text; empty if there was none. Successful calls do not clear it.
    QString getLastError();
    /// Stores "Error:PublicClass::" followed by @p s. Logs nothing.
    void setLastError(const QString &s);

    /// The free debug text.
    QString getDebugStr();
    /// Stores @p s as the free debug text.
    void setDebugStr(const QString &s);

    /// Appends @p a to #byteArrayList. Thread-safe.
    void addByteArrayList(QByteArray &a);
    /// Replaces #byteArrayList. Not locked, unlike its siblings: callers rely on
    /// being able to call it while they hold #_mutex.
    void setByteArrayList(const QList<QByteArray> &l);
    /// Removes the element at @p i; an index out of range is ignored. Thread-safe.
    void removeByteArrayList(int i);
    /// A copy of the element at @p i; an empty array if @p i is out of range. Thread-safe.
    QByteArray getByteArrayIndex(int i);
    /// The number of elements. Thread-safe.
    int getByteArrayListSize();

    /// Waits @p s seconds in slices of 100 ms and serves the calling thread's
    /// events after each. Returns at once if @p s is below 1.
    void waitSTime(int s);
    /// Sleeps @p ms milliseconds in one piece, then serves the calling thread's
    /// events once. With 0 or less it only serves the events.
    void waitMSTime(int ms);

    /// Stops and deletes the timer that @p t points at and sets that pointer to
    /// null. Does nothing if @p t or *@p t is null. Call it on the timer's thread.
    void deleteTimer(QTimer **t);

    /// @name Shell commands
    ///
    /// Each runs `/bin/bash -c cmd` and blocks until the shell has ended or
    /// @p timeoutMs milliseconds have passed (-1: no limit), without serving the
    /// calling thread's events. Environment and working directory are inherited;
    /// standard input is an open pipe on which nothing arrives, so a command that
    /// reads it waits until the time-out. Text is in the local 8-bit encoding.
    ///
    /// A time-out kills the shell only, not the programs that it has started. A
    /// shell that was killed by a signal counts as finished.
    ///
    /// @p out is always overwritten; it may be the same object as @p cmd. After a
    /// time-out it holds the exit code and the error text of the process.
    ///
    /// Thread-safe: calls share no state. @p cmd is handed to a shell as it is:
    /// never build it from text that others control.
    /// @{

    /// Runs @p cmd; @p out is its standard output, else its standard error, else
    /// the error text of the process ("Unknown error" for a command that succeeds
    /// in silence; callers rely on it).
    ///
    /// Returns whether the shell finished in time, whatever its exit code. The
    /// result is logged in one line; with @p print false the output of a command
    /// that ended with 0 is kept out of the log.
    bool processCmd(const QString &cmd, QString &out, int timeoutMs, bool print);

    /// As processCmd() with raw, undecoded output. The result is always logged,
    /// shown as UTF-8 with its line feeds.
    bool processCmd2(const QString &cmd, QByteArray &out, int timeoutMs);

    /// As processCmd(), and returns true only if the exit code is 0.
    /// @p exitCode is left untouched after a time-out. @p print controls the log
    /// line of the start only; the result is always logged, with its line feeds.
    bool processCmd3(const QString &cmd, QString &out, int timeoutMs, int &exitCode, bool print);

    /// Runs a hardware script. @p out is its standard output, even if empty.
    ///
    /// Returns false on a time-out or when the output is exactly "failed", without
    /// a line end; the exit code does not matter and no result is logged.
    bool cmdHalSh(const QString &cmd, QString &out, int timeoutMs);

    /// @}

    /// The holder of the one object; use init().
    static QSharedPointer<PublicClass> instance;
    /// Guards the creation of the object and #byteArrayList. Not recursive.
    static QMutex _mutex;

    // The fields called app... carry no meaning for the library: the embedding
    // program owns them. Order, types and defaults are part of the interface.

    QString appText1; ///< Belongs to the program.
    /// Base directory of the program's data; set it before initMember().
    QString appDir;
    QString appInfoDir; ///< #appDir + "/appInfo", set by initMember().
    /// #appDir + "/appInfo/log", set by initMember(). ZeLog makes this directory
    /// and writes and prunes the log files in it.
    QString logDir;
    QString appText2; ///< Belongs to the program.
    QString appText3; ///< Belongs to the program.
    /// Relative path of the Linux settings file (INI); the library does not open it.
    QString linuxConfigPath;
    QMap<QString, QVariant> appMap1; ///< Belongs to the program.
    QString logDirKey;               ///< Key text "ZmxLogDir".
    QString appText4;                ///< Belongs to the program.
    QString appText5;                ///< Belongs to the program.
    QMap<QString, QVariant> appMap2; ///< Belongs to the program.
    QString appText6;                ///< Belongs to the program.
    bool appFlag1 = false;           ///< Belongs to the program.
    bool appFlag2 = false;           ///< Belongs to the program.
    bool appFlag3 = false;           ///< Belongs to the program.
    bool appFlag4 = false;           ///< Belongs to the program.
    bool appFlag5 = false;           ///< Belongs to the program.
    bool appFlag6 = false;           ///< Belongs to the program.
    QString appText7;                ///< Belongs to the program.
    int zcType = 0;                  ///< Controller model, a #ZcType; set by initMember().
    QString zcName;                  ///< Controller model name; set by initMember().
    QString appText8;                ///< Belongs to the program.
    QString appText9;                ///< Belongs to the program.
    int appNumber1 = 0;              ///< Belongs to the program.
    int appNumber2 = 5000;           ///< Belongs to the program.
    QString appText10;               ///< Belongs to the program.
    QMap<QString, QVariant> appMap3; ///< Belongs to the program.
    int appNumber3 = 1;              ///< Belongs to the program.
    QString appText11;               ///< Belongs to the program.
    bool appFlag7 = false;           ///< Belongs to the program.
    bool appFlag8 = false;           ///< Belongs to the program.
    QString appText12;               ///< Belongs to the program.
    QString appText13;               ///< Belongs to the program.
    QString appText14;               ///< Belongs to the program.
    bool appFlag9 = false;           ///< Belongs to the program.
    bool appFlag10 = false;          ///< Belongs to the program.
    quint16 appPort = 7109;          ///< Belongs to the program.
    QString distDir;                 ///< Download directory "./dist/".
    QString upgradeTempDir;          ///< Directory for unpacked upgrades, "./dist/upgradeTemp/".
    /// Shared buffer of the program; see addByteArrayList().
    QList<QByteArray> byteArrayList;
    QReadWriteLock appLock; ///< Belongs to the program.
    QString lastError;      ///< The last error text, with its prefix; see setLastError().
    QString debugStr;       ///< Free debug text; see setDebugStr().

private:
    Q_DISABLE_COPY(PublicClass)
};

#endif // PUBLICCLASS_H
