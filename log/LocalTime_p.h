// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef LOCALTIME_P_H
#define LOCALTIME_P_H

#include <ctime>

namespace ZeCore {

/// The calendar fields of @p second in the time zone that is set now: a change of
/// TZ or of the system's zone is noticed. Thread-safe.
std::tm localTime(std::time_t second);

} // namespace ZeCore

#endif // LOCALTIME_P_H
