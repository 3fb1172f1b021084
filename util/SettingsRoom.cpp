// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/SettingsRoom_p.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

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

} // namespace

bool hasRoomForSettings(const QString &path, qint64 added)
{
    // A character takes at most that many bytes; what was edited by hand grows as well.
    constexpr qint64 bytesOfCharacter = 8;
    constexpr qint64 growth = 2;
    constexpr qint64 reserve = 16384;
    const QString target = QFileInfo(path).canonicalFilePath(); // of a link
    const QFileInfo file(target.isEmpty() ? path : target);
    const qint64 size = growth * file.size() + bytesOfCharacter * added + reserve;
    // Where such files cannot be made nothing is known, and Qt decides.
    const int error = UnnamedFile(file.path()).allocate(size);
    return error != ENOSPC && error != EDQUOT;
}

} // namespace ZeCore
