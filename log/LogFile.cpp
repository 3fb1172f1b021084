// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/LogFile_p.h"

#include "core/LocalText_p.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ZeCore {

namespace {

/// A batch goes out in one write; only a flood is cut into pieces of about this
/// many characters, to bound the memory of its conversion.
constexpr int pieceLength = 512 * 1024;

void writeAll(int descriptor, const QByteArray &bytes)
{
    const char *data = bytes.constData();
    auto size = static_cast<std::size_t>(bytes.size());
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written >= 0) {
            data += written;
            size -= static_cast<std::size_t>(written);
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace

LogFile::LogFile(const QString &path)
    : m_nativePath(toLocalBytes(path))
{
}

LogFile::~LogFile()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

qint64 LogFile::size() const
{
    struct stat status = {};
    // A path that ends early at a NUL would stand for another file; open() tells about it.
    if (m_nativePath.contains('\0'))
        return 0;
    return ::stat(m_nativePath.constData(), &status) == 0 ? qint64(status.st_size) : 0;
}

bool LogFile::open()
{
    if (m_nativePath.contains('\0')) {
        m_errorString = qt_error_string(EINVAL);
        return false;
    }
    do {
        m_descriptor =
            ::open(m_nativePath.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    } while (m_descriptor < 0 && errno == EINTR);
    if (m_descriptor < 0)
        m_errorString = qt_error_string(errno);
    return m_descriptor >= 0;
}

void LogFile::append(const QStringList &lines)
{
    // Joining first makes one conversion of many short lines.
    QString piece;
    for (const QString &line : lines) {
        if (!piece.isEmpty() && piece.size() + line.size() >= pieceLength) {
            writeAll(m_descriptor, piece.toUtf8());
            piece.resize(0);
        }
        piece += line;
        piece += QLatin1Char('\n');
    }
    writeAll(m_descriptor, piece.toUtf8());
}

} // namespace ZeCore
