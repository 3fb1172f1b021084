// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// A program as an integrator would write it: one application object, the utility
// service, the logger with its handler, and a save that fails.
//   eventroad_child ID BASE-DIRECTORY TARGET
// Standard error is the console. Standard output tells what the caller learned.

#include "Commands.h"
#include "files/ZeFileManager.h"
#include "log/ZeLog.h"
#include "singleapp/QtSingleCoreApplication.h"
#include "util/PublicClass.h"

#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QThread>

namespace {

void saveAndTell(const QString &target)
{
    const QVariantMap settings{{QStringLiteral("speed"), 12.5}};
    const bool saved =
        ZeFileManager::init()->writeJsonFile(target, settings, QJsonDocument::Compact);
    TestSupport::say(QByteArray("result ") + (saved ? "true" : "false"));
    TestSupport::say("lastError " + ZeFileManager::getLastError().toUtf8());
}

/// Waits until the writer has put the event on disk. A writer that is asked to stop
/// before it has begun leaves without writing.
void waitForLog(const QString &directory)
{
    const QByteArray end = " [ " + ZeFileManager::getLastError().toUtf8() + " ]\n";
    QByteArray content;
    while (!content.endsWith(end)) {
        QThread::msleep(1);
        const QFileInfoList files = QDir(directory).entryInfoList(QDir::Files);
        QFile file(files.value(0).absoluteFilePath());
        content =
            !files.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
}

} // namespace

int main(int argc, char **argv)
{
    const QtSingleCoreApplication app(QString::fromUtf8(argv[1]), argc, argv);
    const QStringList arguments = QCoreApplication::arguments();

    // What the services say about their start is not the event's.
    ZeLog::setWriteLogToFile(false);
    qInstallMessageHandler(ZeLog::outputMessage);
    const auto service = PublicClass::init();
    service->appDir = arguments.at(2);
    service->initMember();
    auto *log = new ZeLog;
    ZeLog::setWriteLogToFile(true);
    log->start();

    saveAndTell(arguments.at(3));
    waitForLog(service->logDir);

    log->setNeedStop(true);
    qDebug() << "end of log"; // wakes the writer
    log->wait();
    delete log;
    ZeFileManager::releaseThis();
    return 0;
}
