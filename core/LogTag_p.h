// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOGTAG_P_H
#define LOGTAG_P_H

#include <QtCore/QDebug>
#include <QtCore/QLatin1String>
#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

/// Streams that begin with the library's level tag, for example
/// `logWarning("setLastError") << "[" << text << "]"`.
///
/// Every item is streamed on its own and followed by one blank, without quotes:
/// programs of the suite parse these lines, so items are never joined first.
namespace ZeCore {

/// One line, which goes to Qt's message handler when the object does.
///
/// It has the text that a QDebug without quotes would give, several times faster:
/// most items are texts, which need no text stream. A line that the logging rules of
/// the program drop is not even composed.
class LogLine
{
public:
    LogLine(QtMsgType type, QLatin1String tagStart, const char *operation)
        : m_type(type)
        , m_isWanted(isWanted(type))
    {
        if (!m_isWanted)
            return;
        constexpr int usualLength = 120;
        m_text.reserve(usualLength);
        m_text += tagStart;
        m_text += QLatin1String(operation);
        m_text += QLatin1Char(']');
    }
    ~LogLine()
    {
        if (m_isWanted)
            qt_message_output(m_type, QMessageLogContext(nullptr, 0, nullptr, category), m_text);
    }
    Q_DISABLE_COPY(LogLine)

    LogLine &operator<<(const QString &text)
    {
        if (!m_isWanted)
            return *this;
        m_text += QLatin1Char(' ');
        m_text += text;
        return *this;
    }

    /// @p text is UTF-8.
    LogLine &operator<<(const char *text) { return *this << QString::fromUtf8(text); }

    /// Anything else as QDebug writes it.
    template <typename Item>
    LogLine &operator<<(const Item &item)
    {
        if (!m_isWanted)
            return *this;
        QString text;
        QDebug(&text).nospace().noquote() << item;
        return *this << text;
    }

private:
    static constexpr const char *category = "default";

    /// The default category is gone at the very end of the process.
    static bool isWanted(QtMsgType type)
    {
        const QLoggingCategory *const rules = QLoggingCategory::defaultCategory();
        return !rules || rules->isEnabled(type);
    }

    QtMsgType m_type;
    bool m_isWanted;
    QString m_text;
};

inline LogLine logDebug(const char *operation)
{
    return {QtDebugMsg, QLatin1String("[debug]["), operation};
}

inline LogLine logWarning(const char *operation)
{
    return {QtWarningMsg, QLatin1String("[warning]["), operation};
}

inline LogLine logError(const char *operation)
{
    return {QtCriticalMsg, QLatin1String("[error]["), operation};
}

} // namespace ZeCore

#endif // LOGTAG_P_H
