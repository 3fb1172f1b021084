// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef ZEFILEMANAGER_H
#define ZEFILEMANAGER_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/// The file-manager service: digests, whole-file reads and writes, JSON files,
/// file lists, copies, removal and retention, storage devices, in one process-wide
/// object reached through init().
///
/// **Errors.** A failed operation returns its failure value and, where its
/// comment says so, stores a text that getLastError() returns; the text is also
/// logged as a warning. The text is shared by the whole class and never cleared
/// by a success: of failures in several threads the last one wins.
///
/// **Threads.** init() and the last error are thread-safe. The operations lock
/// nothing and may run in several threads at once on different files. Some leave
/// the current directory of the process, which all threads share, at the
/// application directory; their comments say so.
///
/// **Blocking.** Every operation blocks for the time that the file system needs
/// and reads or writes whole files in memory.
///
/// Paths are relative to the current directory unless an operation says otherwise.
class ZECORE_EXPORT ZeFileManager : public QObject
{
    Q_OBJECT

public:
    /// Creates an object, owned by @p parent if there is one; programs use that of init().
    explicit ZeFileManager(QObject *parent = nullptr);
    /// Logs one debug line.
    ~ZeFileManager() override;

    /// The one object, created on first use. Thread-safe.
    static QSharedPointer<ZeFileManager> &init();

    /// Destroys the object for the shutdown of the process; a second call does no
    /// harm. Does nothing if the object was never created.
    ///
    /// @note #instance still points at the object afterwards, which callers rely on:
    /// the service must not be used any more.
    static void releaseThis();

    /// A copy of the last failure text of any operation; empty if there was none. Thread-safe.
    static QString getLastError();
    /// Stores @p text and logs it as a warning. Thread-safe.
    static void setLastError(const QString &text);

    /// @name Digests
    /// @{

    /// The MD5 digest of @p text in Latin-1, as 32 lower-case hexadecimal digits.
    /// Characters outside Latin-1 count as question marks, not as UTF-8.
    QString Md5Encryption(const QString &text) const;
    /// The MD5 digest of @p data as 16 raw bytes.
    ///
    /// @note Bytes, unlike the overload for text.
    QByteArray Md5Encryption(const QByteArray &data) const;
    /// The MD5 digest of the content of @p path as 16 raw bytes; an empty array, without
    /// a last error, if it cannot be opened. Memory use does not depend on its
    /// size; a device without an end is read for ever.
    QByteArray Md5File(const QString &path) const;

    /// @}

    /// @name Whole files
    /// @{

    /// Replaces the content of @p path by @p data, creating the file if needed.
    ///
    /// Returns whether the file could be opened; if not, the last error is the path
    /// directly followed by the system's text.
    ///
    /// @note What happens to the bytes afterwards is not checked: a full disk gives true.
    bool writeFile(const QString &path, const QByteArray &data);

    /// Reads a JSON file into a tree as jsonToVariant() does.
    ///
    /// An invalid QVariant is returned with "Not file: " and the path if @p path is
    /// no regular file; a file that cannot be opened counts as empty text.
    QVariant readJsonFile(const QString &path);

    /// Writes @p value to @p path in the given @p format, replacing the content.
    ///
    /// @p value is a map or list, or a QByteArray that holds JSON text. Returns
    /// false and sets the last error to
    /// - "Json format error:" and the path for anything else, an empty map or list
    ///   included; the file is not touched then;
    /// - "Open file failed:" and the path if the file cannot be opened;
    /// - the path, " : " and the system's text if the bytes could not be written.
    ///
    /// The first two texts are translatable. The file is written in place: links
    /// stay links and its mode stays.
    bool writeJsonFile(const QString &path, const QVariant &value,
                       QJsonDocument::JsonFormat format);

    /// Turns JSON text into a tree: a QVariantMap or a QVariantList, every number a
    /// `double`, `null` an invalid QVariant.
    ///
    /// Returns an invalid QVariant with the parser's text as last error if @p json
    /// is no JSON, and with "jsonDocument.isEmpty()" for `{}` and `[]`. Input of
    /// fewer than 1024 bytes that cannot be parsed is shown in the log.
    QVariant jsonToVariant(const QByteArray &json);

    /// Removes the file or the directory @p path, the latter with all its content.
    ///
    /// A link is removed as a link, whatever it points at; FIFOs and sockets are
    /// removed like files. Returns true only if the path is gone. Otherwise the
    /// last error is "Not Found:", "Remove failed: " (a file) or "Remove failed:"
    /// (a directory) and the path; a dangling link is "Not Found". A directory that
    /// cannot be removed entirely is left without what could be removed.
    bool removeDirOrFile(const QString &path);

    /// Whether this process may execute @p path. A missing path sets the last error
    /// to "File does not exist:" and the path.
    bool hasExecutePermission(const QString &path);

    /// Keeps the last @p lines lines of the text file @p path.
    ///
    /// A file with at most that many lines keeps its bytes exactly. Otherwise every
    /// kept line ends with a line feed afterwards, and bytes that the local encoding
    /// cannot decode become U+FFFD. A missing file is created. The kept lines are
    /// written from the start of the file, which is cut only afterwards.
    ///
    /// Returns false with "Failed to open file:" and the path if the file cannot be
    /// opened for reading and writing or is no regular file; false, touching nothing,
    /// if @p lines is negative.
    bool truncateFile(const QString &path, int lines);

    /// @}

    /// @name File lists
    ///
    /// Hidden entries take part. Links count as what they point at, and links to
    /// directories are followed, but never to a directory that the walk is already
    /// in or below. Broken links, devices, FIFOs, sockets and names that are not
    /// valid UTF-8 are left out. Within a directory the order is by name, ignoring
    /// letter case. Comparisons with a list are exact and case-sensitive; a suffix
    /// is what follows the last dot of a name, without the dot.
    ///
    /// A path that is empty, missing or unreadable is an empty directory. None of
    /// these sets the last error.
    /// @{

    /// Appends the absolute paths of all files below @p path to @p out but those
    /// with one of the names in @p excludedNames. @p out is not cleared.
    ///
    /// @p path may also name one file. If it is excluded, the result is false and a
    /// debug line says so; excluded files of a directory are left out in silence.
    bool getDirectoryFiles(const QString &path, const QStringList &excludedNames,
                           QList<QVariant> &out);

    /// As getDirectoryFiles(): appends to @p out the files below @p path that have one
    /// of @p suffixes. Every other file gives one debug line, "[跳过的过滤文件[" list "]:" name
    /// "]".
    bool getDirectorySuffixFiles(const QString &path, const QStringList &suffixes,
                                 QList<QVariant> &out);

    /// As getDirectoryFiles(): appends to @p out the files below @p path that have none
    /// of @p suffixes. Every other file gives one debug line, "[跳过的过滤文件[" list "]:" name
    /// "]".
    bool getDirectoryFilesSuffix(const QString &path, const QStringList &suffixes,
                                 QList<QVariant> &out);

    /// Describes the entries of @p dirPath that match one of the wildcards in
    /// @p nameFilters (all of them if there are none; directories, too), not those
    /// of its subdirectories.
    ///
    /// First come the directories, the least recently modified first, then the
    /// files, the most recently modified first. Each is a QVariantMap with "is_dir"
    /// (bool), "name" and "file_path" (both the bare name, deliberately), "size"
    /// (double, in KiB), and as QDateTime "lastModified", "lastRead", "birthTime"
    /// (invalid where the file system keeps none), "metadataChangeTime" and
    /// "created_date_time" (birth, else change of status).
    QList<QVariant> queryFileList(const QString &dirPath, const QStringList &nameFilters);

    /// The whole content of the last file in @p dirPath that can be read, of those that
    /// QDir::entryInfoList() lists with @p nameFilters, @p filters and @p sort.
    ///
    /// @note Deliberately one file, not all of them joined.
    ///
    /// Every entry that cannot be read gives a warning "[read file faild: " path
    /// "]"; what is no regular file is not opened, since it might block. The
    /// current directory of the process is the application directory afterwards.
    QByteArray readAllFiles(const QString &dirPath, const QStringList &nameFilters,
                            QDir::Filters filters, QDir::SortFlags sort);

    /// Sorts @p list by creation time, the oldest first, and logs one debug line per
    /// element. Elements of the same time may change places.
    ///
    /// The time grows with the square of the number of elements if two of them were
    /// created at the same time.
    void moveToListFirst(QList<QFileInfo> &list);

    /// @}

    /// @name Copies
    ///
    /// A copy has the permissions of its source, its content is on the disk when the
    /// operation returns, and it appears under its name only when it is complete. Files of the
    /// skip list and existing targets without @p overwrite are left out with a
    /// debug line and count as success. Everything else that is not copied gives
    /// a warning line and false; none of these sets the last error.
    ///
    /// With @p overwrite an existing target is removed before the copy: if the copy
    /// fails then, the old file is gone. A file is never copied onto itself. Only
    /// regular files, and links to such, are copied; links become files.
    ///
    /// Copies of trees walk as the file lists do and stop at the first failure;
    /// what was copied stays. They never enter their own destination. A missing
    /// source gives an empty destination and true, an empty destination path
    /// nothing and false.
    /// @{

    /// Copies the file @p src to the file path @p dst, whose directory must exist,
    /// unless its name is one of @p skipNames.
    bool copyDirectoryFile(const QString &src, const QString &dst, const QStringList &skipNames,
                           bool overwrite);

    /// Copies the file @p src to the file path @p dst, whose directory must exist,
    /// unless its suffix is one of @p skipSuffixes.
    bool copyDirectoryFileSuffix(const QString &src, const QString &dst,
                                 const QStringList &skipSuffixes, bool overwrite);

    /// Copies what is in the directory @p src to the directory @p dstDir, creating
    /// it as needed, or the file @p src into it (then it must exist). Files whose
    /// names are in @p skipNames are left out at every depth.
    bool copyDirectoryFiles(const QString &src, const QString &dstDir, const QStringList &skipNames,
                            bool overwrite);

    /// As copyDirectoryFiles() from @p src to @p dstDir with a list of suffixes,
    /// @p skipSuffixes, but a single file @p src is always copied and always
    /// overwrites, whatever the list and @p overwrite.
    bool copyDirectoryFilesSuffix(const QString &src, const QString &dstDir,
                                  const QStringList &skipSuffixes, bool overwrite);

    /// As copyDirectoryFiles() to @p dstDir without a list, always overwriting. A failed file of
    /// @p src itself is reported with the path of @p src, not with its own.
    bool copyDirectorySameFiles(const QString &src, const QString &dstDir);

    /// @}

    /// @name Storage
    ///
    /// Neither operation sets the last error or logs.
    /// @{

    /// Describes the volume that holds @p path.
    ///
    /// The keys are "name", "device", "rootDir" and "displayName" (QString),
    /// "isValid", "isReadOnly" and "isRoot" (bool), "blockSize" (int, bytes),
    /// "bytesAvaliable" (spelled so), "bytesFree" and "bytesTotal" (qint64) and
    /// "fileSystemType" (QByteArray). They are all there also if @p path is on no
    /// volume; "isValid" is false then.
    QVariantMap getStorageInfo(const QString &path);

    /// Describes every mounted file system: the map of getStorageInfo() for its
    /// mount point and, as `df -h` prints them, "dev", "all", "use", "free"
    /// (QString) and "percent" (int).
    ///
    /// Blocks while df runs, up to 31 seconds. The list is empty if df cannot be
    /// started. Of a mount point with blanks only the last word is looked at.
    QList<QVariant> getDevices();

    /// @}

    /// @name Removal and retention
    ///
    /// "Newest" is by modification time, as a point in time with milliseconds;
    /// files of the same time are ordered by name. Hidden files take part, links to
    /// files are removed as links. Name filters are wildcards that ignore letter
    /// case; an empty list matches all files. An empty path names no directory, and
    /// negative counts touch nothing and return false.
    /// @{

    /// Removes every file of the tree below @p path; its directories stay.
    ///
    /// A relative @p path is taken against the application directory. The operation
    /// also asks for the removal of each directory by the entry "." in it, which
    /// POSIX systems refuse: each directory gives one "remove %1 dir failed". The
    /// directories stay and callers rely on it; removeDirOrFile() removes a tree.
    /// A link to a directory is reported the same way and never entered.
    ///
    /// Goes on after failures ("remove %1 file failed") and returns true if @p path
    /// exists; otherwise false with "%1 dir is not exists", which names the
    /// application directory and not @p path.
    ///
    /// @note Unless @p path is missing, the current directory of the process is the
    /// application directory afterwards.
    bool removeDirWithContent(const QString &path);

    /// Removes the files of @p dirPath whose names contain one of @p words
    /// (case-sensitive). Always returns true.
    ///
    /// A file that cannot be removed sets the last error to "Remove file failed:"
    /// and its path; so does a name with two of the words, which is gone at the second.
    bool removeDirWithFileNames(const QString &dirPath, const QStringList &words);

    /// Removes all but the @p keep newest files of @p dirPath that match @p nameFilters.
    ///
    /// Returns false if nothing had to be removed (a missing directory included).
    /// Removals that fail are not reported.
    bool removeLastDateTimeFiles(const QString &dirPath, const QStringList &nameFilters, int keep);

    /// Removes the files of @p dirPath that match @p nameFilters and were created more
    /// than @p days calendar days from today, in the past or in the future.
    ///
    /// The creation time is the time of the last status change where the file
    /// system records no birth. Stops at the first failure with false and
    /// "remove file faild: " and the path; a missing directory gives true.
    bool removeFilesByDateOfDay(const QString &dirPath, const QStringList &nameFilters, int days);

    /// Removes all but the @p keep most recently modified files of @p dirPath.
    ///
    /// Stops at the first failure with false and "remove file faild: " and the
    /// path; a missing directory gives false and "dir is not exists : " and its
    /// absolute path.
    ///
    /// @note Unless @p keep is negative, the current directory of the process is the
    /// application directory afterwards.
    bool removeFileByTime(const QString &dirPath, int keep);

    /// @}

    /// The holder of the one object; use init().
    static QSharedPointer<ZeFileManager> instance;
    /// Guards the creation of the object.
    static QMutex _mutex;
    /// The last failure text; use getLastError(), which is thread-safe.
    static QString _lastError;

private:
    Q_DISABLE_COPY(ZeFileManager)
};

#endif // ZEFILEMANAGER_H
