// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "log/LocalTime_p.h"

#include <mutex>

namespace ZeCore {

std::tm localTime(std::time_t second)
{
    static std::mutex zoneMutex;
    const std::lock_guard<std::mutex> lock(zoneMutex);
    tzset(); // localtime_r() alone need not notice a change of zone
    std::tm local{};
    localtime_r(&second, &local);
    return local;
}

} // namespace ZeCore
