// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "FilesDemo.h"

#include "Demo.h"
#include "Progress.h"
#include "files/ZeFileManager.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QLocale>
#include <QtCore/QThread>

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

constexpr int programs = 20;
constexpr int watchEveryMs = 50;

/// A robot project as the suite keeps it: programs in folders, logs of its runs.
void makeProject(Demo &demo, const QString &project, int logs)
{
    ZeFileManager &files = *ZeFileManager::init();
    QDir().mkpath(project + "/logs");
    for (int i = 0; i < programs; ++i) {
        const QString folder = QString("%1/cell%2").arg(project).arg(i % 4);
        QDir().mkpath(folder);
        files.writeFile(QString("%1/weld%2.prg").arg(folder).arg(i), QByteArray(2000, 'p'));
    }
    Progress progress(demo, "Wrote", logs, "logs");
    for (int i = 0; i < logs; ++i) {
        files.writeFile(QString("%1/logs/run%2.log").arg(project).arg(i, 4, 10, QChar('0')),
                        QByteArray(200, 'l'));
        progress.setDone(i + 1);
    }
}

int filesIn(const QString &directory)
{
    return QDir(directory).entryList(QDir::Files).size();
}

/// Removes all but the @p keep newest logs in another thread, and watches them go.
bool prune(Demo &demo, const QString &directory, int logs, int keep)
{
    std::atomic<bool> hasEnded{false};
    bool pruned = false;
    std::thread pruning([&] {
        pruned =
            ZeFileManager::init()->removeLastDateTimeFiles(directory, QStringList("*.log"), keep);
        hasEnded = true;
    });
    Progress progress(demo, "Pruned", logs - keep, "logs");
    while (!hasEnded) {
        progress.setDone(logs - filesIn(directory));
        QThread::msleep(watchEveryMs);
    }
    pruning.join();
    progress.setDone(logs - filesIn(directory));
    return pruned;
}

int countFiles(const QString &directory, const QStringList &suffixes)
{
    QList<QVariant> found;
    ZeFileManager::init()->getDirectorySuffixFiles(directory, suffixes, found);
    return found.size();
}

QString gibibytes(const QVariant &bytes)
{
    return QLocale::c().toString(bytes.toDouble() / (1 << 30), 'f', 1) + " GiB";
}

/// The beginning of a text, to the width of a column.
QString cell(const QString &text, int width)
{
    return text.left(width - 1).leftJustified(width);
}

} // namespace

void showFiles(Demo &demo)
{
    demo.headline("Files: collect, back up, prune");
    ZeFileManager &files = *ZeFileManager::init();
    const int logs = demo.isQuick() ? 100 : 2000;
    const QString project = demo.directory() + "/project";
    const QString backup = demo.directory() + "/backup";
    makeProject(demo, project, logs);

    QElapsedTimer timer;
    timer.start();
    QList<QVariant> all;
    files.getDirectoryFiles(project, {}, all);
    demo.fact("Collected", QString("%1 files in %2 ms").arg(all.size()).arg(timer.elapsed()));
    demo.check(all.size() == programs + logs, "every file of the tree is in the list");

    timer.restart();
    const bool copied = files.copyDirectoryFilesSuffix(project, backup, {"log"}, true);
    demo.fact("Backed up", QString("%1 ms, without the logs").arg(timer.elapsed()));
    demo.check(copied && countFiles(backup, {"prg"}) == programs, "the programs are copied");
    demo.check(countFiles(backup, {"log"}) == 0, "files with a suffix of the skip list are not");

    constexpr int keep = 5;
    const bool pruned = prune(demo, project + "/logs", logs, keep);
    demo.check(pruned && countFiles(project, {"log"}) == keep, "the newest five logs stay");
    demo.check(!files.removeLastDateTimeFiles(project + "/logs", {"*.log"}, keep),
               "a second time there is nothing to prune");
    demo.addToSummary("Files collected", QString::number(all.size()));
}

void showStorage(Demo &demo)
{
    demo.headline("Storage: what is mounted, and how full is it?");
    ZeFileManager &files = *ZeFileManager::init();
    const QList<QVariant> devices = files.getDevices();
    demo.quote(cell("Device", 16) + cell("Type", 10) + cell("Size", 8) + cell("Free", 8)
               + cell("Used", 7) + "Mounted on");
    for (const QVariant &entry : devices) {
        const QVariantMap device = entry.toMap();
        demo.quote(cell(device.value("dev").toString(), 16)
                   + cell(QString::fromUtf8(device.value("fileSystemType").toByteArray()), 10)
                   + cell(device.value("all").toString(), 8)
                   + cell(device.value("free").toString(), 8)
                   + cell(QString("%1 %").arg(device.value("percent").toInt()), 7)
                   + device.value("rootDir").toString());
    }
    const QVariantMap root = files.getStorageInfo("/");
    demo.fact(
        "Root volume",
        QString("%1 of %2 free")
            .arg(gibibytes(root.value("bytesAvaliable")), gibibytes(root.value("bytesTotal"))));
    demo.check(root.value("isValid").toBool() && root.value("isRoot").toBool(),
               "the root volume is known");
    demo.check(
        std::any_of(devices.begin(), devices.end(),
                    [](const QVariant &device) { return device.toMap().value("isRoot").toBool(); }),
        "it is one of the devices of the table");
}
