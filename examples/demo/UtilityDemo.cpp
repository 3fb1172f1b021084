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

/// A window, say, that wants to know what happens elsewhere.
class Receiver : public QObject
{
public:
    Receiver()
    {
        connect(SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsg, this,
                [this](int event, const QVariant &) {
                    m_isInOwnThread = QThread::currentThread() == thread();
                    m_event = event;
                });
    }

    bool hasReceived(int event) const { return m_event == event && m_isInOwnThread; }

    bool waitFor(int event) const
    {
        QElapsedTimer waiting;
        waiting.start();
        while (!hasReceived(event) && waiting.elapsed() < maxWaitMs)
            QThread::msleep(1);
        return hasReceived(event);
    }

private:
    std::atomic<int> m_event{-1};
    std::atomic<bool> m_isInOwnThread{false};
};

} // namespace

void showSignalBus(Demo &demo)
{
    demo.headline("Signal bus: windows tell each other what happened");
    const Receiver here;
    Receiver there; // outlives its thread
    QThread otherThread;
    there.moveToThread(&otherThread);
    otherThread.start();

    const int event = SendGlobalMsg::E_GS_SaveLayout;
    SendGlobalMsg::init()->sendGlobalMsg(event, true);
    demo.check(here.hasReceived(event), "a receiver in this thread has it before the call returns");
    demo.check(there.waitFor(event), "a receiver in another thread has it there");
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
    for (int i = 0; i < records.size() - 1; ++i)
        demo.quote(QString(records.at(i)).replace('\t', "  "));
    if (isOurs)
        ZeFileManager::init()->removeDirOrFile(directory);
}
