// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/LocalText_p.h"

#include <QtCore/QTextCodec>

#include <atomic>
#include <unistd.h>

namespace ZeCore {

namespace {

constexpr int utf8Mib = 106;

// All of this is constant-initialised and never destroyed.
std::atomic<bool> s_codecsGone{false};
std::atomic<int> s_codecUsers{0};
std::atomic<const QTextCodec *> s_utf8Codec{nullptr};

/// Its destructor runs during exit before Qt deletes its codecs: it is
/// constructed after them, and statics are destroyed in reverse order.
struct CodecFarewell
{
    CodecFarewell() = default;
    Q_DISABLE_COPY(CodecFarewell)
    ~CodecFarewell()
    {
        s_codecsGone = true;
        // Conversions never block, so this ends as soon as the running ones do. The
        // limit is for a forked child, in which those threads do not exist.
        constexpr int limitMs = 1000;
        for (int waitedMs = 0; s_codecUsers != 0 && waitedMs < limitMs; ++waitedMs)
            ::usleep(1000);
    }
};

/// Keeps Qt's codecs alive for one conversion; codec() is null for "use UTF-8".
class LocaleCodecUse
{
public:
    LocaleCodecUse()
    {
        ++s_codecUsers;
        if (!s_codecsGone)
            m_codec = lookUp();
    }
    ~LocaleCodecUse() { --s_codecUsers; }
    Q_DISABLE_COPY(LocaleCodecUse)

    const QTextCodec *codec() const { return m_codec; }

private:
    static const QTextCodec *lookUp()
    {
        const QTextCodec *const current = QTextCodec::codecForLocale();
        static const CodecFarewell farewell;
        // QString's own conversion is the same as that of the UTF-8 codec and
        // faster; the codec is remembered by address.
        if (current == s_utf8Codec.load(std::memory_order_relaxed))
            return nullptr;
        if (current && current->mibEnum() == utf8Mib) {
            s_utf8Codec.store(current, std::memory_order_relaxed);
            return nullptr;
        }
        return current;
    }

    const QTextCodec *m_codec = nullptr;
};

} // namespace

QByteArray toLocalBytes(const QString &text)
{
    const LocaleCodecUse use;
    return use.codec() ? use.codec()->fromUnicode(text) : text.toUtf8();
}

QString fromLocalBytes(const QByteArray &bytes)
{
    const LocaleCodecUse use;
    return use.codec() ? use.codec()->toUnicode(bytes) : QString::fromUtf8(bytes);
}

bool isLocalTextUtf8()
{
    return !LocaleCodecUse().codec();
}

} // namespace ZeCore
