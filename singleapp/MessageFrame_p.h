// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef MESSAGEFRAME_P_H
#define MESSAGEFRAME_P_H

#include <QtCore/QByteArray>
#include <QtCore/QDataStream>
#include <QtCore/QIODevice>
#include <QtCore/QString>
#include <QtCore/QtEndian>

#include <limits>

/// A message on the wire: the length of its text as a 32-bit big-endian number,
/// then the text in UTF-8. What it arrives from is a parameter, so that it can be
/// read without a socket, too.
namespace ZeCore {

enum class Reception {
    Complete, ///< also if the sender broke off in the middle of the text
    Stale,    ///< the sender left before it said how long its message is
    Failed    ///< the source failed, or the message is longer than a QString can be
};

namespace Frame {

constexpr int lengthWaitMs = 1000;
constexpr int textWaitMs = 2000;

constexpr int headerOfArray = 64; // more than Qt puts before the data of an array
/// What a QByteArray can hold.
constexpr quint32 maxAnnounced = std::numeric_limits<int>::max() - headerOfArray;
/// What may be set aside for a text because its sender announces it.
constexpr quint32 maxRoom = 16 << 20;
/// What QString::fromUtf8() can decode: it makes room for one QChar per byte.
constexpr int maxText = (std::numeric_limits<int>::max() - headerOfArray) / int(sizeof(QChar)) - 1;

/// Waits as long as the sender stays: a server that hurried it would drop it.
template <typename Source>
bool receiveLength(Source &source, quint32 &length)
{
    char bytes[sizeof(length)];
    while (source.bytesAvailable() < qint64(sizeof(bytes))) {
        if (!source.isConnected())
            return false;
        source.waitForReadyRead(lengthWaitMs);
    }
    if (source.read(bytes, sizeof(bytes)) == qint64(sizeof(bytes)))
        length = qFromBigEndian<quint32>(bytes);
    return true;
}

/// Appends what is there of @p missing bytes; returns their number, negative on failure.
template <typename Source>
qint64 readAvailable(Source &source, qint64 missing, QByteArray &bytes)
{
    const qint64 size = qMin(missing, source.bytesAvailable());
    const int before = bytes.size();
    if (size > maxText - before)
        return -1;
    bytes.resize(before + static_cast<int>(size));
    const qint64 count = source.read(bytes.data() + before, size);
    bytes.resize(before + static_cast<int>(qMax(count, qint64(0))));
    return count;
}

/// Receives up to @p length bytes, fewer if the sender stalls or leaves.
template <typename Source>
bool receiveText(Source &source, quint32 length, QByteArray &bytes)
{
    // Room that nobody writes to takes no memory. Growing with each piece instead would
    // have the system hand out the same pages again and again.
    bytes.reserve(static_cast<int>(qMin(length, maxRoom)));
    for (qint64 missing = length; missing > 0;) {
        if (source.bytesAvailable() == 0 && !source.waitForReadyRead(textWaitMs))
            break;
        const qint64 count = readAvailable(source, missing, bytes);
        if (count < 0)
            return false;
        missing -= count;
    }
    return true;
}

} // namespace Frame

/// Receives one message into @p message. Memory grows with what arrives, not with
/// the length that the sender announces.
///
/// @p source has bytesAvailable(), read() and waitForReadyRead() as a QIODevice has
/// them, and isConnected().
template <typename Source>
Reception receiveFrame(Source &source, QString &message)
{
    quint32 length = 0;
    if (!Frame::receiveLength(source, length))
        return Reception::Stale;
    QByteArray bytes;
    if (length > Frame::maxAnnounced || !Frame::receiveText(source, length, bytes))
        return Reception::Failed;
    message = QString::fromUtf8(bytes.constData(), bytes.size()); // with its NULs
    return Reception::Complete;
}

/// Writes @p message to @p device.
inline void writeFrame(QIODevice &device, const QString &message)
{
    const QByteArray text = message.toUtf8();
    // A QByteArray that is null would be streamed as the length 0xFFFFFFFF.
    QDataStream(&device).writeBytes(text.constData(), static_cast<uint>(text.size()));
}

} // namespace ZeCore

#endif // MESSAGEFRAME_P_H
