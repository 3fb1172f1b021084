// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTextCodec>
#include <QTextStream>

#include <unistd.h>

namespace {

void report(bool isFine, const QString &what, const QString &found)
{
    QTextStream(stdout) << (isFine ? "ok       " : "ATTENTION") << "  " << what << ": " << found
                        << '\n';
}

} // namespace

/// What to look at before a program goes to a board.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto service = PublicClass::init();
    service->appDir = app.applicationDirPath();
    service->initMember();
    report(service->getLastError().isEmpty(), "controller", service->zcName);

    QDir().mkpath(service->logDir);
    const QStorageInfo logs(service->logDir);
    report(QFileInfo(service->logDir).isWritable(), "log directory", service->logDir);
    const QByteArray type = logs.fileSystemType();
    report(type != "overlay" && !logs.isReadOnly(), "file system of the logs", type);
    const qint64 most = 51LL * 10 * 1024 * 1024; // 50 files and the one that is being written
    report(logs.bytesAvailable() > most, "free for logs",
           service->sizeToString(logs.bytesAvailable()));

    const QFileInfo temporary(QDir::tempPath());
    const bool isPrivate =
        temporary.ownerId() == geteuid() && !temporary.permission(QFile::WriteOther);
    report(temporary.isWritable(), "temporary directory", temporary.absoluteFilePath());
    report(isPrivate, "temporary directory belongs to", temporary.owner());

    const QString encoding = QTextCodec::codecForLocale()->name();
    report(encoding == "UTF-8", "encoding of the locale", encoding);
    report(QFileInfo("/bin/bash").isExecutable(), "shell commands run in", "/bin/bash");
    return 0;
}
