// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/FileCopy_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ZeCore {

namespace {

/// Up to this size copying through memory costs less than asking the kernel.
constexpr std::size_t blockSize = std::size_t{64} * 1024;

class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    ~FileDescriptor() { close(); }
    Q_DISABLE_COPY(FileDescriptor)

    bool isOpen() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    void close()
    {
        if (isOpen())
            ::close(std::exchange(m_descriptor, -1));
    }

private:
    int m_descriptor;
};

/// A file that does not bear its name before it is complete.
class NewFile
{
public:
    enum class Way {
        Unnamed, ///< linked when complete: after a crash nothing is left
        Named    ///< for file systems without unnamed files: removed if it is not completed
    };
    enum class Result { Done, Failed, NotSupported };

    NewFile(const QByteArray &path, Way way)
        : m_path(path)
        , m_way(way)
        , m_file(way == Way::Unnamed ? openUnnamed() : openNamed())
        , m_isSupported(isOpen() || !meansNotSupported(errno))
    {
    }
    ~NewFile()
    {
        if (isOpen() && m_way == Way::Named && !m_isComplete)
            ::unlink(m_path.constData());
    }
    Q_DISABLE_COPY(NewFile)

    bool isOpen() const { return m_file.isOpen(); }
    bool isSupported() const { return m_isSupported; }
    int descriptor() const { return m_file.get(); }

    Result complete()
    {
        if (m_way == Way::Unnamed && !link()) {
            // Without /proc there is no road from a descriptor to a name.
            return errno == ENOENT ? Result::NotSupported : Result::Failed;
        }
        m_isComplete = true;
        return Result::Done;
    }

private:
    static bool meansNotSupported(int error)
    {
        return error == EOPNOTSUPP || error == EISDIR || error == EINVAL || error == ENOSYS;
    }

    int openUnnamed() const
    {
        const int slash = m_path.lastIndexOf('/');
        const QByteArray directory = slash < 0 ? QByteArrayLiteral(".") : m_path.left(slash + 1);
        return ::open(directory.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    }

    int openNamed() const
    {
        return ::open(m_path.constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    }

    bool link() const
    {
        // By descriptor where the kernel allows it to this process, else by the
        // name that it has in /proc.
        if (::linkat(descriptor(), "", AT_FDCWD, m_path.constData(), AT_EMPTY_PATH) == 0)
            return true;
        if (errno != ENOENT && errno != EPERM && errno != EINVAL)
            return false;
        char name[32];
        std::snprintf(name, sizeof name, "/proc/self/fd/%d", descriptor());
        return ::linkat(AT_FDCWD, name, AT_FDCWD, m_path.constData(), AT_SYMLINK_FOLLOW) == 0;
    }

    const QByteArray m_path;
    const Way m_way;
    FileDescriptor m_file;
    const bool m_isSupported;
    bool m_isComplete = false;
};

ssize_t readSome(int file, char *buffer, std::size_t size)
{
    ssize_t count = 0;
    do {
        count = ::read(file, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool writeAll(int file, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = ::write(file, data, size);
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

/// A length that no file has: to the end.
constexpr off_t everything = std::numeric_limits<off_t>::max();

std::size_t atMost(off_t length, std::size_t limit)
{
    return length < static_cast<off_t>(limit) ? static_cast<std::size_t>(length) : limit;
}

/// Copies at most @p length bytes from where both files stand. A block that
/// reaches @p size ends the source; without it, as for the kernel's own files,
/// which announce none, only an empty block does.
bool copyThroughMemory(int from, int to, off_t length, off_t size = 0)
{
    char block[blockSize];
    for (off_t copied = 0; length > 0;) {
        const ssize_t count = readSome(from, block, atMost(length, sizeof block));
        if (count <= 0)
            return count == 0;
        if (!writeAll(to, block, static_cast<std::size_t>(count)))
            return false;
        length -= count;
        copied += count;
        if (copied == size && static_cast<std::size_t>(count) < sizeof block)
            return true;
    }
    return true;
}

bool cannotCopyInKernel(int error)
{
    return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP
        || error == EPERM;
}

/// Copies at most @p length bytes from where both files stand.
bool copyRange(int from, int to, off_t length)
{
    constexpr std::size_t limit = 1 << 30;
    while (length > 0) {
        const ssize_t count =
            ::copy_file_range(from, nullptr, to, nullptr, atMost(length, limit), 0);
        if (count > 0)
            length -= count;
        else if (count == 0 || cannotCopyInKernel(errno)) // some file systems end too early
            return copyThroughMemory(from, to, length);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

/// Copies only what is no hole.
bool copySparse(int from, int to, off_t size)
{
    for (off_t data = 0, hole = 0; hole < size;) {
        data = ::lseek(from, hole, SEEK_DATA);
        if (data < 0 && errno == ENXIO)
            break;                                    // nothing but a hole is left
        if (data < 0 && errno == EINVAL && hole == 0) // it does not tell
            return copyRange(from, to, everything);
        hole = data < 0 ? size : ::lseek(from, data, SEEK_HOLE);
        if (data < 0 || hole < 0 || ::lseek(from, data, SEEK_SET) < 0
            || ::lseek(to, data, SEEK_SET) < 0 || !copyRange(from, to, hole - data))
            return false;
    }
    return ::ftruncate(to, size) == 0;
}

bool copyContent(int from, int to, const struct stat &status)
{
    if (status.st_size <= static_cast<off_t>(blockSize))
        return copyThroughMemory(from, to, everything, status.st_size);
    if (::ioctl(to, FICLONE, from) == 0)
        return true;
    constexpr off_t unit = 512; // of st_blocks, on every file system
    if (status.st_blocks < status.st_size / unit)
        return copySparse(from, to, status.st_size);
    return copyRange(from, to, everything);
}

/// The bits that QFile::copy() sets: those of the source, and for the owner also
/// what this process may do with the source.
mode_t copiedPermissions(const QByteArray &source, mode_t mode)
{
    constexpr mode_t anyExecute = S_IXUSR | S_IXGRP | S_IXOTH;
    mode_t bits = (mode & (S_IRWXU | S_IRWXG | S_IRWXO)) | S_IRUSR;
    if (!(bits & S_IWUSR) && ::access(source.constData(), W_OK) == 0)
        bits |= S_IWUSR;
    if (!(bits & S_IXUSR) && (bits & anyExecute) && ::access(source.constData(), X_OK) == 0)
        bits |= S_IXUSR;
    return bits;
}

/// Whether the result of a sync leaves hope: not all file systems can sync, but
/// some notice only then that they are full or broken.
bool keepsData(int result)
{
    return result == 0 || (errno != EIO && errno != ENOSPC && errno != EDQUOT);
}

/// Opens a source, without waiting for the other end of what may have become a FIFO, but
/// waiting, as QFile does, for a program that holds a lease on the file, as file servers do.
int openSource(const QByteArray &path)
{
    constexpr int flags = O_RDONLY | O_CLOEXEC;
    const int file = ::open(path.constData(), flags | O_NONBLOCK);
    struct stat status = {};
    if (file >= 0 || errno != EWOULDBLOCK || ::stat(path.constData(), &status) != 0
        || !S_ISREG(status.st_mode))
        return file;
    return ::open(path.constData(), flags);
}

NewFile::Result copyInto(const QByteArray &source, const QByteArray &target, NewFile::Way way,
                         Durability durability)
{
    const FileDescriptor from(openSource(source));
    struct stat status = {};
    if (!from.isOpen() || ::fstat(from.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return NewFile::Result::Failed;
    NewFile to(target, way);
    if (!to.isOpen())
        return to.isSupported() ? NewFile::Result::Failed : NewFile::Result::NotSupported;
    if (!copyContent(from.get(), to.descriptor(), status))
        return NewFile::Result::Failed;
    // Best effort, as in QFile::copy(): FAT keeps no modes and refuses to set them.
    static_cast<void>(::fchmod(to.descriptor(), copiedPermissions(source, status.st_mode)));
    if (durability == Durability::OnReturn && !keepsData(::fdatasync(to.descriptor())))
        return NewFile::Result::Failed;
    return to.complete();
}

/// A name that ends early at a NUL would stand for another file.
bool isPath(const QString &text)
{
    return !text.isEmpty() && !text.contains(QChar(QChar::Null));
}

} // namespace

bool copyFile(const QString &source, const QString &target, Durability durability)
{
    if (!isPath(source) || !isPath(target))
        return false;
    if (source.startsWith(QLatin1Char(':')))
        return QFile::copy(source, target);
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(target);
    NewFile::Result result = copyInto(from, to, NewFile::Way::Unnamed, durability);
    if (result == NewFile::Result::NotSupported)
        result = copyInto(from, to, NewFile::Way::Named, durability);
    return result == NewFile::Result::Done;
}

FileSystem::FileSystem(const QString &file, dev_t device)
    : m_descriptor(
        ::open(QFile::encodeName(file).constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC))
    , m_device(device)
{
}

FileSystem::~FileSystem()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool FileSystem::sync()
{
    if (m_descriptor >= 0)
        return keepsData(::syncfs(m_descriptor));
    ::sync(); // this file system with all others: the copy has gone
    return true;
}

} // namespace ZeCore
