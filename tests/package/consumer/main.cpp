// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/BaseObject.h"
#include "core/BaseThread.h"
#include "files/ZeFileManager.h"
#include "log/ZeLog.h"
#include "util/PublicClass.h"

#include <cstdio>

int main()
{
    const BaseObject object;
    const QString digest = ZeFileManager::init()->Md5Encryption(QString());
    const QString colored = ZeLog::setConsoleColor({ZeLog::FORE_GROUND_GREEN}, digest);
    std::printf("%s %d\n", colored.toLatin1().constData(), PublicClass::init()->appPort);
    return object.lastError().isEmpty() ? 0 : 1;
}
