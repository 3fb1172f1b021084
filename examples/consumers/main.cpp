// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/SendGlobalMsg.h"
#include "core/ZeCoreGlobal.h"
#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "log/ZeLog.h"

#include <cstdio>

#if ZECORE_VERSION < QT_VERSION_CHECK(1, 0, 0)
#error "this program needs libZeCore 1.0"
#endif

/// A program of its own that uses libZeCore: it needs the public headers, the
/// library and the Qt modules behind it, nothing else.
int main()
{
    const QString digest = ZeFileManager::init()->Md5Encryption(QString());
    const QString green = ZeLog::setConsoleColor({ZeLog::FORE_GROUND_GREEN}, digest);
    const bool services = HttpApi::init() && SendGlobalMsg::init();
    std::printf("libZeCore %s: %s %s\n", ZECORE_VERSION_STR, green.toLatin1().constData(),
                services ? "ready" : "not ready");
    return services ? 0 : 1;
}
