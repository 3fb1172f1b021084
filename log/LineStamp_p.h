// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LINESTAMP_P_H
#define LINESTAMP_P_H

#include <QtCore/QString>

#include <ctime>

namespace ZeCore {

/// Writes "[yyMMdd hhmmss.zzz][Zemix]" with the current local time.
///
/// The calendar part is computed when the second differs from the previous
/// call's, in whichever direction the clock went, so a change of time zone or of
/// daylight saving time shows in the next second. Not thread-safe.
class LineStamp
{
public:
    static constexpr int length = 26;

    /// Fills the first #length characters at @p line.
    void write(QChar *line);

private:
    void recompute(std::time_t second);

    std::time_t m_second = -1;
    char16_t m_text[length] = {};
};

} // namespace ZeCore

#endif // LINESTAMP_P_H
