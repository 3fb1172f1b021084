// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef CONSOLEECHO_P_H
#define CONSOLEECHO_P_H

#include <QtCore/QString>

#include <optional>

namespace ZeCore {

/// Writes @p msg and a line feed to standard error in one write, in the local
/// 8-bit encoding, between the SGR sequence of @p color and the reset, or bare
/// without a colour. A text with a NUL ends there, so its reset is missing.
void echoToConsole(const QString &msg, std::optional<int> color);

} // namespace ZeCore

#endif // CONSOLEECHO_P_H
