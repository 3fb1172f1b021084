// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/SettingsRoom_p.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace ZeCore {

namespace {

/// A file without a name that goes with the object.
class UnnamedFile
{
public:
    explicit UnnamedFile(const QString &directory)
        : m_descriptor(::open(QFile::encodeName(directory).constData(),
                              O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600))
    {
    }
    ~UnnamedFile()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Q_DISABLE_COPY(UnnamedFile)

    /// Takes @p size bytes of the disk; 0, or the error number.
    int allocate(qint64 size) const { return ::posix_fallocate(m_descriptor, 0, size); }

private:
    int m_descriptor;
};

bool isWrittenAsItIs(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'
        || c == '-' || c == '.' || c == '\n';
}

/// What the settings of a file may take when they are written again: those edited by
/// hand have characters in them that QSettings escapes, by "\xe6" or "%E6" a byte.
qint64 sizeWrittenAgain(const QString &path)
{
    constexpr qint64 bytesOfEscape = 4;
    constexpr qint64 blockSize = 65536;
    qint64 size = 0;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return bytesOfEscape * file.size();
    for (QByteArray block = file.read(blockSize); !block.isEmpty(); block = file.read(blockSize)) {
        const auto plain = std::count_if(block.cbegin(), block.cend(), isWrittenAsItIs);
        size += plain + bytesOfEscape * (block.size() - plain);
    }
    return size;
}

} // namespace

bool hasRoomForSettings(const QString &path, qint64 added)
{
    constexpr qint64 bytesOfCharacter = 8;                      // no escape takes more
    constexpr qint64 reserve = 4096;                            // for the lock file of QSettings
    const QString target = QFileInfo(path).canonicalFilePath(); // of a link
    const QFileInfo file(target.isEmpty() ? path : target);
    const qint64 size = sizeWrittenAgain(file.filePath()) + bytesOfCharacter * added + reserve;
    // Where such files cannot be made nothing is known, and Qt decides.
    const int error = UnnamedFile(file.path()).allocate(size);
    return error != ENOSPC && error != EDQUOT;
}

} // namespace ZeCore
