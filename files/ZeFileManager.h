// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef ZEFILEMANAGER_H
#define ZEFILEMANAGER_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QSharedPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/// The file-manager service: digests, whole-file reads and writes, JSON files,
/// removal and retention, in one process-wide object reached through init().
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
    /// Creates an object; programs use the one of init().
    explicit ZeFileManager(QObject *parent = nullptr);
    /// Logs one debug line.
    ~ZeFileManager() override;

    /// The one object, created on first use. Thread-safe.
    static QSharedPointer<ZeFileManager> &init();

    /// Destroys the object for the shutdown of the process. #instance still points
    /// at it afterwards, so the service must not be used any more; a second call
    /// does no harm. Does nothing if the object was never created.
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
    /// The MD5 digest of @p data as 16 raw bytes, unlike the overload for text.
    QByteArray Md5Encryption(const QByteArray &data) const;
    /// The MD5 digest of the file's content as 16 raw bytes; an empty array, without
    /// a last error, if the file cannot be opened. Memory use does not depend on its
    /// size; a device without an end is read for ever.
    QByteArray Md5File(const QString &path) const;

    /// @}

    /// @name Whole files
    /// @{

    /// Replaces the content of @p path by @p data, creating the file if needed.
    ///
    /// Returns whether the file could be opened; if not, the last error is the path
    /// directly followed by the system's text. What happens to the bytes afterwards
    /// is not checked: a full disk gives true.
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

    /// Removes one file or one directory with all its content.
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

    /// Keeps the last @p lines lines of a text file.
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
    /// application directory and not @p path. Except in that case the current
    /// directory of the process is the application directory afterwards.
    bool removeDirWithContent(const QString &path);

    /// Removes the files of @p dirPath whose names contain one of @p words
    /// (case-sensitive). Always returns true.
    ///
    /// A file that cannot be removed sets the last error to "Remove file failed:"
    /// and its path; so does a name with two of the words, which is gone at the second.
    bool removeDirWithFileNames(const QString &dirPath, const QStringList &words);

    /// Removes all but the @p keep newest files that match @p nameFilters.
    ///
    /// Returns false if nothing had to be removed (a missing directory included).
    /// Removals that fail are not reported.
    bool removeLastDateTimeFiles(const QString &dirPath, const QStringList &nameFilters, int keep);

    /// Removes the files that match @p nameFilters and were created more than
    /// @p days calendar days from today, in the past or in the future.
    ///
    /// The creation time is the time of the last status change where the file
    /// system records no birth. Stops at the first failure with false and
    /// "remove file faild: " and the path; a missing directory gives true.
    bool removeFilesByDateOfDay(const QString &dirPath, const QStringList &nameFilters, int days);

    /// Removes all but the @p keep most recently modified files of @p dirPath.
    ///
    /// Stops at the first failure with false and "remove file faild: " and the
    /// path; a missing directory gives false and "dir is not exists : " and its
    /// absolute path. Unless @p keep is negative the current directory of the
    /// process is the application directory afterwards.
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
