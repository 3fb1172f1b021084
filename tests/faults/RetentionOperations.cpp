// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "support/TestClock.h"
#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <utility>

namespace Faults {

namespace {

ZeFileManager &files()
{
    return *ZeFileManager::init();
}

void createServices(Trial & /*trial*/)
{
    ZeFileManager::init();
    PublicClass::init();
}

void createHttpService(Trial & /*trial*/)
{
    HttpApi::init();
}

/// "1.log" is the newest of five, one second older each.
void putDatedFiles(Trial &trial)
{
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 1; i <= 5; ++i) {
        const QString path = trial.path("logs/" + QString::number(i) + ".log");
        Trial::put(path, "log");
        QFile file(path);
        if (!file.open(QIODevice::ReadWrite)
            || !file.setFileTime(now.addSecs(-i), QFileDevice::FileModificationTime))
            qFatal("cannot set a time");
    }
    Trial::put(trial.path("logs/other.txt"), "other");
    Trial::put(trial.path("logs/below/deep.log"), "deep");
    Trial::put(trial.path("logs.old/1.log"), "not to be touched");
}

QStringList remaining(const Trial &trial)
{
    QStringList names;
    const QString prefix = trial.path("logs/");
    for (auto entry = trial.after().cbegin(); entry != trial.after().cend(); ++entry) {
        if (entry.key().startsWith(prefix) && entry.value() != "directory")
            names.append(entry.key().mid(prefix.size()));
    }
    return names;
}

/// That at most @p condemned are gone; all of them if the operation was not disturbed.
void judgeRemoval(Trial &trial, const QStringList &condemned)
{
    const QStringList rest = remaining(trial);
    const QStringList all{"1.log", "2.log",     "3.log",         "4.log",
                          "5.log", "other.txt", "below/deep.log"};
    for (const QString &name : all) {
        if (condemned.contains(name))
            trial.require(trial.isDisturbed() || !rest.contains(name), name + " stays");
        else
            trial.require(rest.contains(name), name + " is gone");
    }
    trial.requireUnchanged(trial.path("logs/other.txt"));
    trial.requireUnchangedBeside(trial.path("logs"));
}

void judgeCurrentDirectory(Trial &trial)
{
    trial.require(QDir::currentPath() == trial.programPath()
                      || trial.isDisturbedIn(CurrentDirectory) || trial.isDisturbedIn(Status),
                  "the current directory is " + QDir::currentPath());
}

QString lastErrorLine(const QString &text)
{
    return "W [warning][setLastError] [ " + text;
}

Operation removeLastDateTimeFiles()
{
    return {"removeLastDateTimeFiles", putDatedFiles,
            [](Trial &trial) {
                trial.value = files().removeLastDateTimeFiles(trial.path("logs"), {"*.log"}, 2);
            },
            [](Trial &trial) {
                judgeRemoval(trial, {"3.log", "4.log", "5.log"});
                if (!trial.value.toBool())
                    trial.requireReason();
            },
            createServices};
}

/// @p age days after the files have been made, of which one is allowed.
Operation removeFilesByDateOfDay(const char *name, int age, const QStringList &condemned)
{
    return {name, putDatedFiles,
            [age](Trial &trial) {
                const TestClock::Stopped clock(QDateTime::currentDateTime().addDays(age));
                trial.value = files().removeFilesByDateOfDay(trial.path("logs"), {"*.log"}, 1);
            },
            [condemned](Trial &trial) {
                judgeRemoval(trial, condemned);
                if (!trial.value.toBool())
                    trial.requireFailure(
                        {lastErrorLine("remove file faild: " + trial.path("logs/"))});
                trial.require(trial.value.toBool() != trial.isDisturbedIn(Remove),
                              "the result is another one");
            },
            createServices};
}

Operation removeFileByTime()
{
    return {"removeFileByTime", putDatedFiles,
            [](Trial &trial) {
                trial.value = files().removeFileByTime(trial.path("logs"), 6);
                trial.value = files().removeFileByTime(trial.path("logs"), 1);
            },
            [](Trial &trial) {
                judgeCurrentDirectory(trial);
                // other.txt is the newest.
                judgeRemoval(trial, {"1.log", "2.log", "3.log", "4.log", "5.log"});
                if (!trial.value.toBool())
                    trial.requireFailure(
                        {lastErrorLine("dir is not exists : " + trial.path("logs")),
                         lastErrorLine("remove file faild: " + trial.path("logs/"))});
            },
            createServices};
}

Operation removeDirWithFileNames()
{
    return {"removeDirWithFileNames", putDatedFiles,
            [](Trial &trial) {
                trial.value = files().removeDirWithFileNames(trial.path("logs"), {"2.l", "3.l"});
            },
            [](Trial &trial) {
                judgeRemoval(trial, {"2.log", "3.log"});
                trial.require(trial.value.toBool(), "the result is false");
                const bool isRemoved = remaining(trial).size() == 5;
                if (!isRemoved && trial.isDisturbedIn(Remove))
                    trial.requireFailure(
                        {lastErrorLine("Remove file failed:" + trial.path("logs/"))});
            },
            createServices};
}

/// Of the file manager or the HTTP client, which differ in what they look at.
Operation removeContent(const char *name, const std::function<bool(const QString &)> &remove,
                        Operation::Step createService)
{
    return {
        name, putDatedFiles, [remove](Trial &trial) { trial.value = remove(trial.path("logs")); },
        [](Trial &trial) {
            const QStringList rest = remaining(trial);
            if (!rest.isEmpty() || !trial.value.toBool())
                trial.requireReason();
            if (trial.value.toBool())
                judgeCurrentDirectory(trial);
            trial.require(trial.after().contains(trial.path("logs/below")), "a directory is gone");
            trial.requireUnchangedBeside(trial.path("logs"));
            if (!trial.value.toBool()) {
                trial.requireFailure({" dir is not exists ]"});
                trial.requireUnchanged(trial.path());
            } else if (trial.isDisturbedIn(Remove) && !rest.isEmpty()) {
                trial.requireFailure({" file failed ]"});
            }
        },
        std::move(createService)};
}

Operation remakePath(const char *name, const std::function<void(const QString &)> &remake,
                     Operation::Step createService)
{
    return {name, putDatedFiles, [remake](Trial &trial) { remake(trial.path("logs")); },
            [](Trial &trial) {
                if (!remaining(trial).isEmpty() || !trial.after().contains(trial.path("logs")))
                    trial.requireReason();
                trial.requireUnchangedBeside(trial.path("logs"));
            },
            std::move(createService)};
}

Operation getStorageInfo()
{
    return {"getStorageInfo", [](Trial & /*trial*/) {},
            [](Trial &trial) { trial.value = files().getStorageInfo(trial.path()); },
            [](Trial &trial) {
                const QVariantMap record = trial.value.toMap();
                trial.require(record.size() == 12, "not all keys are there");
                if (!record.value("isValid").toBool())
                    trial.requireReason();
            },
            createServices};
}

Operation getDevices()
{
    return {"getDevices",
            [](Trial &trial) {
                Trial::put(trial.path("bin/df"),
                           "#!/bin/sh\n"
                           "echo 'Filesystem Size Used Avail Use% Mounted on'\n"
                           "echo '/dev/a 29G 12G 16G 43% /'\n",
                           0755);
                ::setenv("PATH", QFile::encodeName(trial.path("bin")).constData(), 1);
            },
            [](Trial &trial) { trial.value = files().getDevices(); },
            [](Trial &trial) {
                const QVariantList devices = trial.value.toList();
                if (devices.isEmpty()) {
                    trial.requireReason();
                    return;
                }
                const QVariantMap device = devices.constFirst().toMap();
                trial.require(devices.size() == 1 && device.size() == 17, "not one full record");
                trial.require(device.value("dev") == "/dev/a" && device.value("all") == "29G"
                                  && device.value("percent") == 43,
                              "the record is another one");
            },
            createServices};
}

} // namespace

Operations retentionOperations()
{
    return {
        removeLastDateTimeFiles(),
        removeFilesByDateOfDay("removeFilesByDateOfDay, all new", 0, {}),
        removeFilesByDateOfDay("removeFilesByDateOfDay, all old", 10,
                               {"1.log", "2.log", "3.log", "4.log", "5.log"}),
        removeFileByTime(),
        removeDirWithFileNames(),
        removeContent(
            "ZeFileManager::removeDirWithContent",
            [](const QString &path) { return files().removeDirWithContent(path); }, createServices),
        removeContent(
            "HttpApi::removeDirWithContent",
            [](const QString &path) { return HttpApi::init()->removeDirWithContent(path, {}); },
            createHttpService),
        remakePath(
            "HttpApi::remakePath", [](const QString &path) { HttpApi::init()->remakePath(path); },
            createHttpService),
        remakePath(
            "PublicClass::remakePath",
            [](const QString &path) { PublicClass::init()->remakePath(path); }, createServices),
        getStorageInfo(),
        getDevices(),
    };
}

} // namespace Faults
