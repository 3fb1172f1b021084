// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef PUBLICCLASS_H
#define PUBLICCLASS_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMutex>
#include <QtCore/QReadWriteLock>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <string>

QT_BEGIN_NAMESPACE
class QTimer;
QT_END_NAMESPACE

/// The utility service: directories, controller identity, shell commands,
/// processes, versions, conversions, data files and a shared buffer, in one
/// process-wide object reached through init().
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
/// fields are unguarded: write them before threads that read them start. That
/// includes the last error: an operation that stores one must not run in two
/// threads at a time. Each group of operations says what else holds for it.
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
    /// Replaces #byteArrayList by @p l.
    ///
    /// @note Not locked, unlike its siblings: callers rely on being able to call it while
    /// they hold #_mutex.
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
    /// Each runs `/bin/bash -c` with @p cmd and blocks until the shell has ended or
    /// @p timeoutMs milliseconds have passed (-1: no limit), without serving the
    /// calling thread's events. Environment and working directory are inherited;
    /// standard input is an open pipe on which nothing arrives, so a command that
    /// reads it waits until the time-out. Text is in the local 8-bit encoding.
    ///
    /// A time-out kills the shell only, not the programs that it has started. One that
    /// waits in the kernel, for a disk for example, cannot be killed; the call waits a
    /// second for it and leaves it. A shell that was killed by a signal counts as finished.
    ///
    /// @p out is always overwritten; it may be the same object as @p cmd. After a
    /// time-out it holds the exit code and the error text of the process.
    ///
    /// Thread-safe: calls share no state. @p cmd is handed to a shell as it is:
    /// never build it from text that others control.
    /// @{

    /// Runs @p cmd; @p out is its standard output, else its standard error, else
    /// the error text of the process.
    ///
    /// @note That text is "Unknown error" for a command that succeeds in silence;
    /// callers rely on it.
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

    /// @name Processes and system
    ///
    /// All of these work on the real machine. They take no lock.
    /// @{

    /// The id of the one running process called @p name; 0 if there is none, if
    /// there are several, or if it cannot be found out. The log tells which.
    ///
    /// Runs "pgrep @p name -x" in a shell and blocks up to 20 s. @p name goes into
    /// that command as it is: pass trusted text only. It is a regular expression
    /// that must match the whole process name, which the system cuts to 15
    /// characters; a longer name matches nothing.
    int getPid(const QString &name);

    /// Kills the process @p pid (signal 9) and returns whether that succeeded.
    ///
    /// An id below 1 is refused before anything is run: kill would take it for a
    /// whole process group. Runs the program "kill" and blocks until it has ended;
    /// what it writes goes to this process's output.
    bool killPid(int pid);

    /// Reboots the machine with "sudo reboot". Returns at once, with whether the
    /// command could be started; the program runs on until the reboot ends it.
    ///
    /// @note The name is spelled so: callers rely on it.
    bool rebootSytem();

    /// Starts @p cmd detached, then asks the program's event loop to exit with 0,
    /// even if the start failed.
    ///
    /// No shell: white space separates the arguments, double quotes hold one
    /// together, three of them in a row are a literal one. Call it on the main
    /// thread; it returns at once.
    void rebootCmd(const QString &cmd);

    /// Starts this program anew, in the application directory, then asks the
    /// event loop to exit with 0, even if the start failed. Call it on the main thread.
    ///
    /// @note The new process gets the whole argument list of this one, the program's
    /// own name included, as its arguments; callers rely on it. The list is thus
    /// one longer after each restart.
    ///
    /// @note It starts before this one has left: it finds this one running, as a
    /// QtSingleCoreApplication does, and has to wait for its end.
    void rebootSelf();

    /// Opens the directory @p dir on the desktop. On this platform it only logs a
    /// warning, which names another one.
    void openDir(QString dir);

    /// Switches the start of the program at log-on on or, with @p on false, off.
    ///
    /// Stores the program's path with backslashes under the application's name, or
    /// removes it, in the settings of that name for the platform. Errors are not
    /// reported. Does nothing without an application name.
    ///
    /// @note Here the settings are an INI file in the current directory whose name is
    /// the registry location
    /// "HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run".
    void setAutoBootSoftware(bool on);
    /// The same as setAutoBootSoftware() with @p on.
    ///
    /// @note Not a question, whatever its name says.
    void autoBootSoftware(bool on);

    /// @}

    /// @name Versions
    ///
    /// Pure functions, thread-safe; nothing is logged. A version is numbers with
    /// dots between them; each lower-case "v" in it is ignored, and a field that
    /// is no number counts as 0. Their asymmetries are relied on by callers.
    /// @{

    /// Whether version @p a is lower than @p b, by the first field that differs.
    ///
    /// Also true if either has no dot, and if they differ, but not in a number
    /// that both have: "1.2" and "1.2.0" are each lower than the other.
    static bool isLowVersion(QString a, QString b);

    /// Whether two labels @p a and @p b such as "GY-1.2" name the same version: the
    /// same text before the first "-" and between it and the second, white space
    /// simplified.
    ///
    /// In @p a alone "_" stands for a dot. False without a "-" or a dot in both.
    static bool isSameGyroVersion(QString a, QString b);

    /// For labels of one prefix: isLowVersion() of @p b and @p a, in this order.
    /// True for labels of different prefixes and for a label without a "-".
    /// In @p a alone "_" stands for a dot.
    static bool isLowGyroVersion(QString a, QString b);

    /// @p name without its last extension, which goes everywhere in the name:
    /// "a.tar.gz" gives "a.tar", "x.gz.gz" gives "x", "a.b." gives "ab".
    QString getSplitFileSubfix(QString name) const;

    /// @}

    /// @name Conversions
    ///
    /// Pure functions, thread-safe except where they say otherwise; nothing is
    /// logged but by remakePath().
    /// @{

    /// @p size bytes as "512.00 B", "1.50 KB", "... MB" or "... GB", which count in
    /// steps of 1024; there is no larger unit. 0 and less give "0.00 ", with the blank.
    QString sizeToString(qint64 size);
    /// @p n in decimal, with a "0" before any number below 10: "07", "12", "0-5".
    QString toTimeString(qint64 n);
    /// @p ms milliseconds as "01day02h03m04s", fractions of a second cut off. Seconds
    /// beyond the 32-bit range wrap around.
    QString getTimeForSec(qint64 ms);
    /// The local time @p secs seconds after the epoch as "yyyy-MM-dd hh:mm:ss".
    QString getDateSTime(const qint64 &secs) const;
    /// The local time @p ms milliseconds after the epoch as "yyyy-MM-dd hh:mm:ss.zzz".
    QString getDateMSTime(const qint64 &ms) const;
    /// The local time now in a @p format of QDateTime::toString().
    QString getCurrentDateTime(const QString &format) const;

    /// @p v millimetres, rounded to whole ones, in metres. Halves are rounded up
    /// (-2.5 to -2). What is beyond the 32-bit range once rounded counts as the
    /// end of that range, and not-a-number as 0.
    double mm2m(double v);
    /// @p v centimetres, rounded to whole ones as in mm2m(), in metres.
    double cm2m(double v);
    /// @p v rounded to three decimals; its thousandths are rounded as in mm2m().
    double q_3(double v);

    /// The number of one bits of @p n.
    ///
    /// @note From 2^31 on it is minus the number of one bits of 2^32 - @p n, which
    /// callers rely on.
    int getCountOneBits(uint n);
    /// Whether @p ip is four decimal fields of 0 to 255 with dots between them and
    /// nothing else. Leading zeros up to three digits are fine.
    bool isValidIP(const QString &ip);
    /// Counts the one bits of a subnet @p mask such as "255.255.255.0" in @p bits;
    /// whether they stand together is not checked. False for text that is no
    /// address: the reason is the last error and @p bits is left untouched.
    bool getMask1Bits(const QString &mask, int &bits);

    /// Whether @p text holds any character beyond U+0080.
    ///
    /// @note Chinese or not: an accented Latin letter counts as well.
    bool isChinese(const QString &text);
    /// What the first group of a QRegExp @p pattern has captured in each match in
    /// @p text, in order; empty texts if it has no group. Matches do not overlap,
    /// and the search ends at the end of @p text or before the first empty match.
    QStringList findRegExp(const QString &pattern, const QString &text);

    /// @p length random characters: @p digits, @p lower case and @p upper case
    /// letters, with a dash in every fourth place if @p dashes. Upper case comes only
    /// along with lower case.
    /// A null string for a length below 1 and if no kind is left.
    ///
    /// Uses rand() of the C library and never seeds it: call srand() first, and do
    /// not use it where somebody might guess. As thread-safe as rand().
    QString randomPassword(const int &length, const bool &digits, const bool &lower,
                           const bool &upper, const bool &dashes);

    /// @p s in GB18030, up to its first NUL.
    std::string qStringtoStdString(const QString &s);
    /// The UTF-8 text @p s in Latin-1; characters that this lacks become "?".
    QByteArray stringToByteArray(const std::string &s) const;
    /// @p s in the local 8-bit encoding. The pointer can be read until the calling
    /// thread's next call or its end; never free it.
    const char *qStringToLPCSTR(const QString &s);

    /// The whole @p path with backslashes for its slashes.
    ///
    /// @note Not the last name of the path, whatever the name says: callers rely on it.
    QString getLastDirName(QString path);
    /// Removes the directory @p path with all that is in it and makes it anew,
    /// with missing parents. A relative path starts at the application directory.
    ///
    /// The application directory, every directory around it and an empty path are
    /// never removed. A removal that failed or was refused is logged; that the
    /// directory could not be made is not.
    ///
    /// @note The current directory of the process is the application directory afterwards.
    void remakePath(const QString &path);
    /// @p title up to its first "]", without it, followed by @p text; the whole
    /// title without @p text if there is no "]". With "*" at the end if @p changed.
    QString setWindowTitleChanged(const QString &title, const QString &text, bool changed);

    /// False: the platforms of the suite are little-endian.
    bool isBigEnd();
    /// Whether #zcType is one of the four ZC760 models.
    bool isZC760();

    /// @}

    /// @name JSON, INI and text files
    ///
    /// They block for the time of the file access. Files are written in place:
    /// links and permissions stay as they are. JSON becomes a tree of QVariantMap
    /// and QVariantList in which every number is a double. Each may be called from
    /// any thread, with its own files, as far as it stores no last error.
    /// @{

    /// Whether @p data is a JSON document that is not empty ("{}" and "[]" are);
    /// if not, the reason is the last error.
    bool isJson(const QByteArray &data);
    /// The JSON document @p data as QVariantMap or QVariantList. Invalid if it
    /// cannot be parsed or is empty; the log has the reason.
    QVariant getJsonVariant(const QByteArray &data);
    /// The same for the contents of the file @p path. A file that is missing or
    /// cannot be read counts as empty.
    QVariant getJsonVariant(const QString &path);
    /// The text of the member with the greatest key of the JSON object @p data.
    /// Empty if that member has no text form, for an array, and for what cannot be
    /// parsed or is empty; the log has the reason.
    QString getValueFromJson(const QByteArray &data) const;
    /// @p v as bytes: text in the local 8-bit encoding, maps and lists as JSON in
    /// the form @p fmt, bytes as they are. Empty for any other type and for null.
    QByteArray qVariantToByteArray(const QVariant &v, const QJsonDocument::JsonFormat &fmt) const;
    /// Writes @p v, a map, a list or a QByteArray of JSON, to the file @p path in the
    /// form @p fmt.
    ///
    /// False if it is no JSON, if it is empty, in which case the file is not
    /// touched, or if the file cannot be opened; the reason is the last error.
    /// Whether all could be written is not examined.
    bool writeJsonFile(const QString &path, const QVariant &v, QJsonDocument::JsonFormat fmt);

    /// The value of @p key in the INI file @p path, invalid if there is none.
    ///
    /// @note A relative path starts at the current directory, unlike in writeIni().
    QVariant readIni(const QString &path, const QString &key);
    /// Stores @p value under @p key in the INI file @p path of the application
    /// directory, even if @p path begins with "/". Errors are not reported; if the disk
    /// has no room for a new file beside the old, the old stays as it is. The room is
    /// estimated from above: four bytes for each that may have to be escaped.
    void writeIni(const QString &path, const QString &key, const QVariant &value);

    /// The lines of the UTF-8 file @p path, each up to its first NUL and without
    /// its end ("\n" or "\r\n"). Empty if the file cannot be opened.
    QStringList readTxt(const QString &path);
    /// A key table from the JSON file @p path that holds for each key of the object
    /// "ShiftForge" the text of the root's member of that name, empty if the root
    /// has no such text. The values within "ShiftForge" are not used. Empty if the
    /// file cannot be read.
    QMap<QString, QString> readKeyComparison(const QString &path);

    /// The file "appInfo/backupFile/ActionHistory.txt" of the application
    /// directory: records that end in "\r\n". Empty if it cannot be opened.
    QByteArray readAllActionHistory();
    /// Appends a record to that file, which is made if need be, in a directory that
    /// must exist: the local time "yyyy-MM-dd hh:mm:ss", a tab, @p text, "\r\n".
    ///
    /// False if the file cannot be opened; the reason is the last error. Records
    /// of several processes stay whole; threads of one process must take turns.
    bool writeActionHistory(const QString &text);

    /// @}

    /// Adds the directories named in @p spec to @p catalogue, whether or not they exist.
    ///
    /// @p spec is entries "name:path" with "|" between them; a path that does not
    /// begin with "/" starts at @p baseDir. Entries of another form are skipped.
    /// White space in an entry is simplified, but a blank beside the ":" stays part
    /// of the name or the path. The key of an entry is the path of the directory,
    /// as written; its value is a QVariantMap:
    ///
    /// - "file_path": QString, the key again
    /// - "dir_name": QString, the name
    /// - "created_date_time": QDateTime, invalid if there is nothing at the path
    ///
    /// An entry for the same path is replaced. The log tells whether each directory
    /// exists. Thread-safe as long as the caller's catalogue is.
    void addLogDirList(QMap<QString, QVariant> &catalogue, const QString &baseDir,
                       const QString &spec);

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
