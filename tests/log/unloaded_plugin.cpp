// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Brings the library into a program that is not linked with it; see unloading_child.

#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "log/ZeLog.h"
#include "support/LogQueue.h"
#include "util/PublicClass.h"

#include <QtCore/QDebug>

#include <string>

extern "C" {

/// What unloading_child calls.
__attribute__((visibility("default"))) void useLibrary(const char *logging, const char *directory)
{
    PublicClass::init()->logDir = QString::fromLocal8Bit(directory);
    ZeFileManager::init();
    HttpApi::init();
    auto *log = new ZeLog;
    log->start();
    qInstallMessageHandler(ZeLog::outputMessage);
    qWarning("a line of the plugin");
    TestSupport::waitUntilWritten();
    if (std::string(logging) == "running")
        return;
    TestSupport::stopCleanly(*log);
    delete log;
}

} // extern "C"
