// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/ZeFileManager.h"

#include "core/CreatedTime_p.h"
#include "core/JsonTree_p.h"
#include "core/LogTag_p.h"
#include "core/ServiceHolder_p.h"
#include "files/DatedFiles_p.h"
#include "files/DiskFree_p.h"
#include "files/FileCollector_p.h"
#include "files/TimeOrder_p.h"
#include "files/TreeCopy_p.h"
#include "files/TreeSweep_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QCryptographicHash>
#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStorageInfo>
#include <QtCore/QTextStream>
#include <QtCore/QVector>

#include <memory>
#include <mutex>

using ZeCore::DatedFile;
using ZeCore::logDebug;
using ZeCore::logWarning;

QSharedPointer<ZeFileManager> ZeFileManager::instance;
QMutex ZeFileManager::_mutex;
QString ZeFileManager::_lastError;

namespace {

std::mutex s_lastErrorMutex;

/// Reports a failure of the removal operations: last error first, then a warning
/// of their own. The operations on single files do it the other way round, and
/// readers of the logs rely on either order.
void reportRemoval(const char *operation, const QString &text)
{
    ZeFileManager::setLastError(text);
    logWarning(operation) << "[" << text << "]";
}

/// The path without what makes a link look like the directory behind it.
QString withoutTrailingSlashes(const QString &path)
{
    QString bare = path;
    for (;;) {
        if (bare.size() > 1 && bare.endsWith(QLatin1Char('/')))
            bare.chop(1);
        else if (bare.size() > 2 && bare.endsWith(QLatin1String("/.")))
            bare.chop(2);
        else
            return bare;
    }
}

QVector<QString> readLines(QTextStream &stream)
{
    QVector<QString> lines;
    QString line;
    while (stream.readLineInto(&line))
        lines.append(line);
    return lines;
}

/// The lines from @p first on in the encoding that @p stream has found.
QByteArray encodedLines(const QTextStream &stream, const QVector<QString> &lines, int first)
{
    QByteArray bytes;
    QTextStream writer(&bytes, QIODevice::WriteOnly);
    writer.setCodec(stream.codec());
    for (int i = first; i < lines.size(); ++i)
        writer << lines.at(i) << QLatin1Char('\n');
    writer.flush();
    return bytes;
}

/// Puts @p bytes at the start of the file and cuts the rest off afterwards: a crash or
/// a full disk in between loses the least. Returns false if nothing could be begun.
bool replaceContent(QFile &file, const QByteArray &bytes)
{
    if (!file.seek(0))
        return false;
    // Not examined: callers rely on true once the lines are on their way.
    if (file.write(bytes) == bytes.size() && file.flush())
        file.resize(bytes.size());
    return true;
}

QVariantMap fileRecord(const QFileInfo &info)
{
    constexpr double kibPerByte = 1.0 / 1024;
    const QString name = info.fileName();
    return {
        {QStringLiteral("is_dir"), info.isDir()},
        {QStringLiteral("name"), name},
        {QStringLiteral("file_path"), name}, // no path: callers join it with their own
        {QStringLiteral("size"), static_cast<double>(info.size()) * kibPerByte},
        {QStringLiteral("lastModified"), info.lastModified()},
        {QStringLiteral("lastRead"), info.lastRead()},
        {QStringLiteral("birthTime"), info.birthTime()},
        {QStringLiteral("metadataChangeTime"), info.metadataChangeTime()},
        {QStringLiteral("created_date_time"), ZeCore::createdTime(info)},
    };
}

} // namespace

ZeFileManager::ZeFileManager(QObject *parent)
    : QObject(parent)
{
}

ZeFileManager::~ZeFileManager()
{
    logDebug("~ZeFileManager");
}

QSharedPointer<ZeFileManager> &ZeFileManager::init()
{
    return ZeCore::ServiceHolder<ZeFileManager>::init(instance, _mutex);
}

void ZeFileManager::releaseThis()
{
    ZeCore::ServiceHolder<ZeFileManager>::release();
}

QString ZeFileManager::getLastError()
{
    const std::lock_guard<std::mutex> lock(s_lastErrorMutex);
    return _lastError;
}

void ZeFileManager::setLastError(const QString &text)
{
    const QString given = text; // the caller may pass _lastError itself
    {
        const std::lock_guard<std::mutex> lock(s_lastErrorMutex);
        _lastError = given;
    }
    logWarning("setLastError") << "[" << given << "]";
}

QString ZeFileManager::Md5Encryption(const QString &text) const
{
    return QString::fromLatin1(Md5Encryption(text.toLatin1()).toHex());
}

QByteArray ZeFileManager::Md5Encryption(const QByteArray &data) const
{
    return QCryptographicHash::hash(data, QCryptographicHash::Md5);
}

QByteArray ZeFileManager::Md5File(const QString &path) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return QByteArray();
    // QCryptographicHash::addData(QIODevice *) reads 1 KiB at a time.
    constexpr int blockSize = 256 * 1024;
    QCryptographicHash hash(QCryptographicHash::Md5);
    const std::unique_ptr<char[]> block(new char[blockSize]);
    qint64 size = 0;
    while ((size = file.read(block.get(), blockSize)) > 0)
        hash.addData(block.get(), static_cast<int>(size));
    // The digest of a part would pass for that of the file.
    return size < 0 ? QByteArray() : hash.result();
}

bool ZeFileManager::writeFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setLastError(path + file.errorString());
        return false;
    }
    file.write(data); // not examined: callers rely on true once the file is open
    return true;
}

QVariant ZeFileManager::readJsonFile(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isFile()) {
        setLastError(QStringLiteral("Not file: %1").arg(info.filePath()));
        return QVariant();
    }
    QByteArray bytes;
    QFile file(info.absoluteFilePath());
    if (file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    return jsonToVariant(bytes);
}

QVariant ZeFileManager::jsonToVariant(const QByteArray &json)
{
    constexpr auto operation = "jsonToVariant";
    constexpr int loggedBelow = 1024;

    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        if (json.size() < loggedBelow)
            logWarning(operation) << error.errorString()
                                  << "json:" << QString::fromUtf8(json.constData(), json.size());
        else
            logWarning(operation) << error.errorString();
        setLastError(error.errorString());
        return QVariant();
    }
    if (ZeCore::isEmptyDocument(document)) {
        const QString text = QStringLiteral("jsonDocument.isEmpty()");
        logWarning(operation) << text;
        setLastError(text);
        return QVariant();
    }
    return ZeCore::toVariantTree(document);
}

bool ZeFileManager::writeJsonFile(const QString &path, const QVariant &value,
                                  QJsonDocument::JsonFormat format)
{
    const QJsonDocument document = ZeCore::documentFromVariant(value);
    if (ZeCore::isEmptyDocument(document)) {
        setLastError(tr("Json format error:%1").arg(path));
        return false;
    }
    const QByteArray json = document.toJson(format);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setLastError(tr("Open file failed:%1").arg(path));
        return false;
    }
    // Beyond the size of the buffer flush() alone reports success on a full disk.
    const bool written = file.write(json) == json.size();
    if (!file.flush() || !written) {
        logWarning("writeJsonFile") << "flush failed:" << path;
        setLastError(path + QLatin1String(" : ") + file.errorString());
        return false;
    }
    return true;
}

bool ZeFileManager::removeDirOrFile(const QString &path)
{
    if (!QFileInfo::exists(path)) {
        setLastError(QStringLiteral("Not Found:%1").arg(path));
        return false;
    }
    const QString bare = withoutTrailingSlashes(path);
    const QFileInfo info(bare);
    if (info.isSymLink() || !info.isDir()) {
        if (!QFile::remove(bare)) {
            setLastError(QStringLiteral("Remove failed: %1").arg(path));
            return false;
        }
        // For Qt what it cannot look at is not there, which is a success.
    } else if (!QDir(bare).removeRecursively() || QFileInfo::exists(bare)) {
        setLastError(QStringLiteral("Remove failed:%1").arg(path));
        return false;
    }
    return true;
}

bool ZeFileManager::hasExecutePermission(const QString &path)
{
    if (!QFile::exists(path)) {
        setLastError(QStringLiteral("File does not exist:%1").arg(path));
        return false;
    }
    return QFileInfo(path).isExecutable();
}

bool ZeFileManager::truncateFile(const QString &path, int lines)
{
    if (lines < 0)
        return false;
    const auto failed = [&path] {
        setLastError(QStringLiteral("Failed to open file:%1").arg(path));
        return false;
    };
    // Devices may have no end and pipes may have no writer.
    const QFileInfo info(path);
    QFile file(path);
    if ((info.exists() && !info.isFile()) || !file.open(QIODevice::ReadWrite))
        return failed();
    QTextStream stream(&file);
    const QVector<QString> all = readLines(stream);
    // The last lines of a part are others than those of the file.
    if (file.error() != QFileDevice::NoError)
        return failed();
    if (lines < all.size() && !replaceContent(file, encodedLines(stream, all, all.size() - lines)))
        return failed();
    return true;
}

bool ZeFileManager::getDirectoryFiles(const QString &path, const QStringList &excludedNames,
                                      QList<QVariant> &out)
{
    return ZeCore::collectFiles(ZeCore::collectOtherNames, path, excludedNames, out);
}

bool ZeFileManager::getDirectorySuffixFiles(const QString &path, const QStringList &suffixes,
                                            QList<QVariant> &out)
{
    return ZeCore::collectFiles(ZeCore::collectListedSuffixes, path, suffixes, out);
}

bool ZeFileManager::getDirectoryFilesSuffix(const QString &path, const QStringList &suffixes,
                                            QList<QVariant> &out)
{
    return ZeCore::collectFiles(ZeCore::collectOtherSuffixes, path, suffixes, out);
}

QList<QVariant> ZeFileManager::queryFileList(const QString &dirPath, const QStringList &nameFilters)
{
    QList<QVariant> directories;
    QList<QVariant> files;
    if (dirPath.isEmpty()) // QDir would take the current directory
        return files;
    const QFileInfoList entries = ZeCore::newestFirst(QDir(dirPath).entryInfoList(
        nameFilters, QDir::Dirs | QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot,
        QDir::Unsorted));
    for (const QFileInfo &entry : entries) {
        if (entry.isDir())
            directories.prepend(fileRecord(entry)); // oldest first; callers rely on it
        else
            files.append(fileRecord(entry));
    }
    return directories + files;
}

QByteArray ZeFileManager::readAllFiles(const QString &dirPath, const QStringList &nameFilters,
                                       QDir::Filters filters, QDir::SortFlags sort)
{
    const QString applicationDir = QCoreApplication::applicationDirPath();
    const QFileInfoList entries = dirPath.isEmpty()
        ? QFileInfoList() // QDir would take the current directory
        : QDir(dirPath).entryInfoList(nameFilters, filters, sort);

    // Only the last file counts, so the content of the others is never read.
    std::unique_ptr<QFile> last;
    for (const QFileInfo &entry : entries) {
        const QString path = entry.absoluteFilePath();
        auto file = std::make_unique<QFile>(path);
        if (entry.isFile() && file->open(QIODevice::ReadOnly))
            last = std::move(file);
        else
            logWarning("readAllFiles") << QStringLiteral("[read file faild: %1]").arg(path);
    }
    QByteArray content;
    if (last)
        content = last->readAll();
    QDir::setCurrent(applicationDir);
    return content;
}

void ZeFileManager::moveToListFirst(QList<QFileInfo> &list)
{
    const QVector<ZeCore::CreatedFile> files = ZeCore::sortByCreation(list);
    for (const ZeCore::CreatedFile &file : files)
        logDebug("moveToListFirst") << "[" << file.time << file.timeMs << "]";
}

bool ZeFileManager::copyDirectoryFile(const QString &src, const QString &dst,
                                      const QStringList &skipNames, bool overwrite)
{
    return ZeCore::copyOneFile(ZeCore::copyFileByName, src, dst, {skipNames, overwrite});
}

bool ZeFileManager::copyDirectoryFileSuffix(const QString &src, const QString &dst,
                                            const QStringList &skipSuffixes, bool overwrite)
{
    return ZeCore::copyOneFile(ZeCore::copyFileBySuffix, src, dst, {skipSuffixes, overwrite});
}

bool ZeFileManager::copyDirectoryFiles(const QString &src, const QString &dstDir,
                                       const QStringList &skipNames, bool overwrite)
{
    return ZeCore::copyTree(ZeCore::copyTreeByName, src, dstDir, {skipNames, overwrite});
}

bool ZeFileManager::copyDirectoryFilesSuffix(const QString &src, const QString &dstDir,
                                             const QStringList &skipSuffixes, bool overwrite)
{
    return ZeCore::copyTree(ZeCore::copyTreeBySuffix, src, dstDir, {skipSuffixes, overwrite});
}

bool ZeFileManager::copyDirectorySameFiles(const QString &src, const QString &dstDir)
{
    return ZeCore::copyTree(ZeCore::copyTreeSame, src, dstDir, {{}, true});
}

QVariantMap ZeFileManager::getStorageInfo(const QString &path)
{
    QStorageInfo storage;
    storage.setPath(path);
    return {
        {QStringLiteral("name"), storage.name()},
        {QStringLiteral("device"), QString::fromUtf8(storage.device())},
        {QStringLiteral("rootDir"), storage.rootPath()},
        {QStringLiteral("isValid"), storage.isValid()},
        {QStringLiteral("blockSize"), storage.blockSize()},
        {QStringLiteral("bytesAvaliable"), storage.bytesAvailable()}, // spelled so by all callers
        {QStringLiteral("bytesFree"), storage.bytesFree()},
        {QStringLiteral("bytesTotal"), storage.bytesTotal()},
        {QStringLiteral("displayName"), storage.displayName()},
        {QStringLiteral("fileSystemType"), storage.fileSystemType()},
        {QStringLiteral("isReadOnly"), storage.isReadOnly()},
        {QStringLiteral("isRoot"), storage.isRoot()},
    };
}

QList<QVariant> ZeFileManager::getDevices()
{
    QList<QVariant> devices;
    const QVector<ZeCore::DiskFreeLine> lines = ZeCore::parseDiskFree(ZeCore::runDiskFree());
    for (const ZeCore::DiskFreeLine &line : lines) {
        QVariantMap device = getStorageInfo(line.mountPoint);
        device.insert(QStringLiteral("dev"), line.device);
        device.insert(QStringLiteral("all"), line.size);
        device.insert(QStringLiteral("use"), line.used);
        device.insert(QStringLiteral("free"), line.available);
        device.insert(QStringLiteral("percent"), line.usedPercent);
        devices.append(device);
    }
    return devices;
}

bool ZeFileManager::removeDirWithContent(const QString &path)
{
    constexpr auto operation = "removeDirWithContent";
    const QString applicationDir = QCoreApplication::applicationDirPath();
    const QDir dir(applicationDir);
    if (path.isEmpty() || !dir.exists(path)) {
        reportRemoval(operation, QStringLiteral("%1 dir is not exists").arg(dir.absolutePath()));
        return false;
    }

    const QString root = dir.absoluteFilePath(path);
    ZeCore::sweepTree(root, root, {}, [](const QString &text) { reportRemoval(operation, text); });
    QDir::setCurrent(applicationDir);
    return true;
}

bool ZeFileManager::removeDirWithFileNames(const QString &dirPath, const QStringList &words)
{
    if (dirPath.isEmpty()) // QDir would take the current directory
        return true;
    const QFileInfoList files =
        QDir(dirPath).entryInfoList(QDir::Files | QDir::Hidden, QDir::Unsorted);
    for (const QFileInfo &file : files) {
        // No break: the second word of a name fails on the file that the first
        // one removed, and callers rely on its message.
        for (const QString &word : words) {
            if (file.fileName().contains(word) && !QFile::remove(file.filePath()))
                reportRemoval("removeDirWithFileNames",
                              QStringLiteral("Remove file failed:%1").arg(file.filePath()));
        }
    }
    return true;
}

bool ZeFileManager::removeLastDateTimeFiles(const QString &dirPath, const QStringList &nameFilters,
                                            int keep)
{
    return ZeCore::removeAllButNewest(dirPath, nameFilters, keep);
}

bool ZeFileManager::removeFilesByDateOfDay(const QString &dirPath, const QStringList &nameFilters,
                                           int days)
{
    if (days < 0)
        return false;
    const QDir dir(dirPath);
    const QDateTime now = QDateTime::currentDateTime();
    const QVector<DatedFile> files = ZeCore::filesNewestFirst(dirPath, nameFilters);
    for (const DatedFile &file : files) {
        const QFileInfo info(dir, file.name);
        if (qAbs(now.daysTo(ZeCore::createdTime(info))) <= days)
            continue;
        const QString path = info.absoluteFilePath();
        if (!QFile::remove(path)) {
            setLastError(QStringLiteral("remove file faild: %1").arg(path));
            return false;
        }
    }
    return true;
}

bool ZeFileManager::removeFileByTime(const QString &dirPath, int keep)
{
    if (keep < 0)
        return false;
    const QString applicationDir = QCoreApplication::applicationDirPath();
    const QDir dir(dirPath);
    const QString absolutePath = dir.absolutePath();
    if (dirPath.isEmpty() || !dir.exists()) {
        QDir::setCurrent(applicationDir);
        setLastError(QStringLiteral("dir is not exists : %1").arg(absolutePath));
        return false;
    }
    const QVector<DatedFile> files = ZeCore::filesNewestFirst(dirPath, {});
    for (int i = keep; i < files.size(); ++i) {
        const QString path = QFileInfo(dir, files.at(i).name).absoluteFilePath();
        if (!QFile::remove(path)) {
            QDir::setCurrent(applicationDir);
            setLastError(QStringLiteral("remove file faild: %1").arg(path));
            return false;
        }
    }
    QDir::setCurrent(applicationDir);
    return true;
}
