// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILETREE_H
#define FILETREE_H

#include <QtCore/QByteArray>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

#include <cstring>

#include <fcntl.h>
#include <ftw.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

/// A temporary directory in which tests build trees. Paths are relative to it;
/// what cannot be made ends the test program.
class FileTree
{
public:
    FileTree()
    {
        check(m_dir.isValid(), "the directory");
        check(::chmod(native(QString()).constData(), 0777) == 0, "its mode");
    }
    ~FileTree()
    {
        // Not through Qt, which does not see names that are not UTF-8.
        m_dir.setAutoRemove(false);
        ::nftw(native(QString()).constData(), &open, 16, FTW_PHYS);
        ::nftw(native(QString()).constData(), &remove, 16, FTW_PHYS | FTW_DEPTH);
    }
    Q_DISABLE_COPY(FileTree)

    QString path(const QString &name = QString()) const
    {
        return name.isEmpty() ? m_dir.path() : m_dir.path() + '/' + name;
    }
    QByteArray native(const QString &name) const { return QFile::encodeName(path(name)); }

    void directory(const QString &name) const { check(QDir().mkpath(path(name)), name); }

    /// Creates the directories above, too.
    void file(const QString &name, const QByteArray &content = "x") const
    {
        const int slash = name.lastIndexOf('/');
        if (slash > 0)
            directory(name.left(slash));
        write(native(name), content);
    }
    /// A file whose name is given in bytes.
    void nativeFile(const QByteArray &name, const QByteArray &content = "x") const
    {
        write(QFile::encodeName(path()) + '/' + name, content);
    }
    void link(const QString &target, const QString &name) const
    {
        check(::symlink(QFile::encodeName(target).constData(), native(name).constData()) == 0,
              name);
    }
    void hardLink(const QString &existing, const QString &name) const
    {
        check(::link(native(existing).constData(), native(name).constData()) == 0, name);
    }
    void fifo(const QString &name) const
    {
        check(::mkfifo(native(name).constData(), 0666) == 0, name);
    }
    void socket(const QString &name) const
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray bytes = native(name);
        check(bytes.size() < int(sizeof address.sun_path), name);
        std::memcpy(address.sun_path, bytes.constData(), std::size_t(bytes.size()));
        const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        check(::bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0,
              name);
        ::close(descriptor);
    }
    void mode(const QString &name, mode_t mode) const
    {
        check(::chmod(native(name).constData(), mode) == 0, name);
    }
    mode_t mode(const QString &name) const { return status(name).st_mode & 07777; }
    void modified(const QString &name, qint64 msecsSinceEpoch) const
    {
        const timespec time{static_cast<time_t>(msecsSinceEpoch / 1000),
                            static_cast<long>(msecsSinceEpoch % 1000 * 1000000)};
        const timespec times[2] = {time, time};
        check(::utimensat(AT_FDCWD, native(name).constData(), times, 0) == 0, name);
    }
    struct stat status(const QString &name) const
    {
        struct stat result = {};
        check(::lstat(native(name).constData(), &result) == 0, name);
        return result;
    }

    /// The content of a file; null if there is none.
    QByteArray content(const QString &name) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::ReadOnly))
            return QByteArray();
        const QByteArray bytes = file.readAll();
        return bytes.isNull() ? QByteArray("") : bytes;
    }
    bool exists(const QString &name) const
    {
        struct stat result = {};
        return ::lstat(native(name).constData(), &result) == 0;
    }
    /// The names in a directory, sorted.
    QStringList names(const QString &name = QString()) const
    {
        return QDir(path(name))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDir::Name);
    }

private:
    static void check(bool done, const QString &what)
    {
        if (!done)
            qFatal("cannot make %s: %s", qPrintable(what), std::strerror(errno));
    }
    static void write(const QByteArray &path, const QByteArray &content)
    {
        const int descriptor =
            ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        check(descriptor >= 0
                  && ::write(descriptor, content.constData(), std::size_t(content.size()))
                      == content.size(),
              QString::fromUtf8(path));
        ::close(descriptor);
    }
    static int open(const char *path, const struct stat *, int type, FTW *)
    {
        if (type == FTW_D || type == FTW_DNR)
            ::chmod(path, 0777);
        return 0;
    }
    static int remove(const char *path, const struct stat *, int, FTW *)
    {
        ::remove(path);
        return 0;
    }

    QTemporaryDir m_dir;
};

/// Few descriptors for this process while it lives: fewer than walks have levels.
class FewDescriptors
{
public:
    FewDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit few = m_before;
        few.rlim_cur = 64;
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    Q_DISABLE_COPY(FewDescriptors)

private:
    rlimit m_before = {};
};

#endif // FILETREE_H
