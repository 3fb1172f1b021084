// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef RAWSOCKET_H
#define RAWSOCKET_H

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QString>

#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace TestSupport {

/// A client that knows nothing but system calls and need not keep to any protocol.
class RawSocket
{
public:
    explicit RawSocket(const QString &path)
        : m_descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray name = QFile::encodeName(path);
        std::memcpy(address.sun_path, name.constData(),
                    qMin(sizeof(address.sun_path) - 1, static_cast<size_t>(name.size())));
        const auto *generic = reinterpret_cast<const sockaddr *>(&address);
        m_error = ::connect(m_descriptor, generic, sizeof(address)) == 0 ? 0 : errno;
    }
    ~RawSocket() { close(); }
    RawSocket(RawSocket &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
        , m_error(other.m_error)
    {
    }
    Q_DISABLE_COPY(RawSocket)

    /// 0, or the error number of a connection that was refused.
    int error() const { return m_error; }

    /// Writes without waiting; returns how much the other side has room for.
    int write(const QByteArray &bytes) const
    {
        return static_cast<int>(::send(m_descriptor, bytes.constData(),
                                       static_cast<size_t>(bytes.size()),
                                       MSG_NOSIGNAL | MSG_DONTWAIT));
    }

    /// Reads up to the end of the stream or to the limit; "(end)" marks the end.
    QByteArray read(int limitMs) const
    {
        QByteArray bytes;
        pollfd ready{m_descriptor, POLLIN, 0};
        while (::poll(&ready, 1, limitMs) > 0) {
            char buffer[256];
            const auto count = ::recv(m_descriptor, buffer, sizeof buffer, 0);
            if (count <= 0)
                return bytes + "(end)";
            bytes.append(buffer, static_cast<int>(count));
            limitMs = 0;
        }
        return bytes;
    }

    void finishWriting() const { ::shutdown(m_descriptor, SHUT_WR); }

    void close()
    {
        if (m_descriptor >= 0)
            ::close(std::exchange(m_descriptor, -1));
    }

private:
    int m_descriptor;
    int m_error = 0;
};

} // namespace TestSupport

#endif // RAWSOCKET_H
