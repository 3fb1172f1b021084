// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "UtilityDemo.h"

#include "Demo.h"
#include "core/SendGlobalMsg.h"
#include "files/ZeFileManager.h"
#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QThread>

#include <atomic>

namespace {

constexpr int maxWaitMs = 10000;

bool waitFor(const std::atomic<int> &value, int expected)
{
    QElapsedTimer waiting;
    waiting.start();
    while (value != expected && waiting.elapsed() < maxWaitMs)
        QThread::msleep(1);
    return value == expected;
}

} // namespace

void showSignalBus(Demo &demo)
{
    demo.headline("Signal bus: windows tell each other what happened");
    std::atomic<int> inThisThread{0};
    std::atomic<int> inTheOther{0};
    QThread otherThread;
    QObject here;
    auto *const there = new QObject;
    there->moveToThread(&otherThread);
    QObject::connect(&otherThread, &QThread::finished, there, &QObject::deleteLater);
    otherThread.start();

    SendGlobalMsg *const bus = SendGlobalMsg::init();
    QObject::connect(bus, &SendGlobalMsg::sigSendGlobalMsg, &here,
                     [&inThisThread](int event, const QVariant &) { inThisThread = event; });
    QObject::connect(bus, &SendGlobalMsg::sigSendGlobalMsg, there,
                     [&inTheOther, &otherThread](int event, const QVariant &) {
                         if (QThread::currentThread() == &otherThread)
                             inTheOther = event;
                     });
    bus->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, true);
    demo.check(inThisThread == SendGlobalMsg::E_GS_SaveLayout,
               "a receiver in this thread has it before the call returns");
    demo.check(waitFor(inTheOther, SendGlobalMsg::E_GS_SaveLayout),
               "a receiver in another thread has it there");
    otherThread.quit();
    otherThread.wait();
}

void showVersions(Demo &demo)
{
    demo.headline("Versions: is the one on the left lower?");
    const QStringList versions{"v1.9.2", "1.10", "1.10.0", "2.0"};
    demo.fact(QString(), versions.join("   "));
    for (const QString &left : versions) {
        QString row;
        for (const QString &right : versions)
            row += QString(PublicClass::isLowVersion(left, right) ? "yes" : "no")
                       .leftJustified(right.size() + 3);
        demo.fact(left, row);
    }
    demo.check(PublicClass::isLowVersion("v1.9.2", "1.10")
                   && !PublicClass::isLowVersion("2.0", "1.10"),
               "fields compare as numbers");
    demo.check(PublicClass::isLowVersion("1.10", "1.10.0")
                   && PublicClass::isLowVersion("1.10.0", "1.10"),
               "versions that differ in length only are lower in both directions");
}

void showActionHistory(Demo &demo)
{
    demo.headline("Action history: what the user did");
    // It lies beside the program, in a directory that an installation provides.
    const QString directory = QCoreApplication::applicationDirPath() + "/appInfo";
    const bool isOurs = !QFileInfo::exists(directory);
    QDir().mkpath(directory + "/backupFile");
    PublicClass &service = *PublicClass::init();
    const QByteArray before = service.readAllActionHistory();
    const bool written = service.writeActionHistory("saved the layout")
        && service.writeActionHistory(QStringLiteral("打开项目"));
    const QString added = QString::fromUtf8(service.readAllActionHistory().mid(before.size()));
    const QStringList records = added.split("\r\n");
    demo.check(written && records.size() == 3
                   && records.at(1).endsWith(QStringLiteral("\t打开项目")),
               "two records have been appended:");
    for (const QString &record : records.mid(0, 2))
        demo.quote(QString(record).replace('\t', "  "));
    if (isOurs)
        ZeFileManager::init()->removeDirOrFile(directory);
}
