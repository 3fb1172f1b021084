// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "http/HttpApi.h"
#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QSettings>

#include <utility>

namespace Faults {

namespace {

PublicClass &utility()
{
    return *PublicClass::init();
}

void createService(Trial & /*trial*/)
{
    PublicClass::init();
}

const QByteArray json = R"({"ShiftForge":{"x":1,"y":2},"x":"A"})";

void putJson(Trial &trial)
{
    Trial::put(trial.path("file"), json);
}

/// Two services read files alike.
Operation getJsonVariant(const char *name, const std::function<QVariant(const QString &)> &read,
                         Operation::Step create)
{
    return {name, putJson, [read](Trial &trial) { trial.value = read(trial.path("file")); },
            [](Trial &trial) {
                trial.requireUnchanged(trial.path());
                if (trial.value.isValid())
                    trial.require(trial.value.toMap().value("x") == "A", "the tree is another one");
                else
                    trial.requireFailure({"W [warning][getJsonVariant] [ "});
            },
            std::move(create)};
}

Operation writeJsonFile()
{
    return {"PublicClass::writeJsonFile",
            [](Trial &trial) { Trial::put(trial.path("file"), "old content"); },
            [](Trial &trial) {
                trial.value =
                    utility().writeJsonFile(trial.path("file"), json, QJsonDocument::Compact);
            },
            [](Trial &trial) {
                const QString path = trial.path("file");
                if (!trial.value.toBool()) {
                    trial.requireReason();
                    trial.require(utility().getLastError()
                                      == "Error:PublicClass::Fail to open file:" + path,
                                  "the last error is " + utility().getLastError());
                    trial.requireUnchanged(path);
                } else if (trial.losesBytes()) {
                    // Not looked at: callers rely on true for a file that opened, which
                    // is when the old content goes.
                    trial.require(("file " + json).startsWith(trial.after().value(path)),
                                  "the file has other bytes");
                } else {
                    trial.requireContent(path, json);
                }
            },
            createService};
}

const QByteArray settings = "[General]\nother=kept\nvalue=old\n\n[Group]\nmore=kept as well\n";

Operation readIni()
{
    return {"readIni", [](Trial &trial) { Trial::put(trial.path("set.ini"), settings); },
            [](Trial &trial) { trial.value = utility().readIni(trial.path("set.ini"), "value"); },
            [](Trial &trial) {
                trial.requireUnchanged(trial.path());
                if (trial.value != "old") {
                    trial.requireReason();
                    trial.require(!trial.value.isValid(), "another value");
                }
            },
            createService};
}

Operation writeIni(const char *name, bool exists)
{
    return {name,
            [exists](Trial &trial) {
                if (exists)
                    Trial::put(trial.programPath("set.ini"), settings);
            },
            [](Trial & /*trial*/) { utility().writeIni("set.ini", "value", "new"); },
            [exists](Trial &trial) {
                QByteArray content = exists ? settings : "[General]\nvalue=new\n";
                content.replace("old", "new");
                requireSettings(trial, trial.programPath("set.ini"), content);
                const QStringList files = QDir(trial.programPath()).entryList(QDir::Files);
                trial.require(files == QStringList{"set.ini"} || files.isEmpty()
                                  || trial.isDisturbedIn(Remove),
                              "files are left: " + files.join(", "));
            },
            createService};
}

Operation readTxt()
{
    QByteArray text;
    QStringList lines;
    for (int i = 0; i < 300; ++i) {
        lines.append("line " + QString::number(i));
        text += lines.last().toUtf8() + "\r\n";
    }
    return {"readTxt", [text](Trial &trial) { Trial::put(trial.path("file"), text); },
            [](Trial &trial) { trial.value = utility().readTxt(trial.path("file")); },
            [lines](Trial &trial) {
                const QStringList read = trial.value.toStringList();
                trial.requireUnchanged(trial.path());
                if (read == lines)
                    return;
                trial.requireReason();
                // A file that cannot be read to its end gives the lines until there.
                trial.require(read == lines.mid(0, read.size()), "other lines");
            },
            createService};
}

Operation readKeyComparison()
{
    return {"readKeyComparison", putJson,
            [](Trial &trial) {
                const QMap<QString, QString> table =
                    utility().readKeyComparison(trial.path("file"));
                QStringList pairs;
                for (auto pair = table.cbegin(); pair != table.cend(); ++pair)
                    pairs.append(pair.key() + '=' + pair.value());
                trial.value = pairs;
            },
            [](Trial &trial) {
                trial.requireUnchanged(trial.path());
                const QStringList pairs = trial.value.toStringList();
                if (pairs.isEmpty())
                    trial.requireReason();
                else
                    trial.require(pairs == QStringList{"x=A", "y="}, "other pairs");
            },
            createService};
}

const QByteArray history = "2026-01-15 08:30:12\tbegin\r\n";

void putHistory(Trial &trial)
{
    Trial::put(trial.programPath("appInfo/backupFile/ActionHistory.txt"), history);
}

Operation readAllActionHistory()
{
    return {"readAllActionHistory", putHistory,
            [](Trial &trial) { trial.value = utility().readAllActionHistory(); },
            [](Trial &trial) {
                trial.requireUnchanged(trial.path());
                if (trial.value.toByteArray() == history)
                    return;
                trial.requireReason();
                trial.require(trial.value.toByteArray().isEmpty(), "other bytes");
            },
            createService};
}

Operation writeActionHistory()
{
    return {"writeActionHistory", putHistory,
            [](Trial &trial) { trial.value = utility().writeActionHistory("an action"); },
            [](Trial &trial) {
                const QString path = trial.programPath("appInfo/backupFile/ActionHistory.txt");
                const QByteArray now = trial.after().value(path);
                const QByteArray old = "file " + history;
                trial.require(now.startsWith(old), "older records are gone");
                if (!trial.value.toBool()) {
                    trial.requireReason();
                    trial.require(utility().getLastError().startsWith("Error:PublicClass::"),
                                  "no last error");
                    trial.requireUnchanged(path);
                } else if (trial.losesBytes()) {
                    trial.require(now.size() < old.size() + 32, "more than a record");
                } else {
                    trial.require(now.size() == old.size() + 31 && now.endsWith("\tan action\r\n"),
                                  "no record is added: " + now);
                }
            },
            createService};
}

Operation addLogDirList()
{
    return {"addLogDirList", [](Trial &trial) { QDir().mkpath(trial.path("logs")); },
            [](Trial &trial) {
                QMap<QString, QVariant> catalogue;
                utility().addLogDirList(catalogue, trial.path(), "log:logs|none:missing");
                trial.value = QVariantMap(catalogue);
            },
            [](Trial &trial) {
                const QVariantMap catalogue = trial.value.toMap();
                trial.require(catalogue.size() == 2, "not two entries");
                trial.require(catalogue.value(trial.path("logs")).toMap().size() == 3,
                              "no full entry");
                if (!trial.hasLineWith("[目录存在: " + trial.path("logs") + " ]"))
                    trial.requireFailure({"[目录不存在: " + trial.path("logs") + " ]"});
                trial.require(trial.hasLineWith("[目录不存在: " + trial.path("missing") + " ]"),
                              "what is not there is not reported");
            },
            createService};
}

} // namespace

void requireSettings(Trial &trial, const QString &path, const QByteArray &content)
{
    const QByteArray now = trial.after().value(path);
    if (now == "file " + content)
        return;
    trial.requireReason();
    const bool isUnread =
        trial.isDisturbedIn(Read) || trial.isDisturbedIn(Status) || trial.isDisturbedIn(Access);
    if (!isUnread && !trial.losesBytes())
        trial.requireOldOr(path, content);
}

Operations dataFileOperations()
{
    return {
        getJsonVariant(
            "PublicClass::getJsonVariant",
            [](const QString &path) { return utility().getJsonVariant(path); }, createService),
        getJsonVariant(
            "HttpApi::getJsonVariant",
            [](const QString &path) { return HttpApi::init()->getJsonVariant(path); },
            [](Trial & /*trial*/) { HttpApi::init(); }),
        writeJsonFile(),
        readIni(),
        writeIni("writeIni, a new file", false),
        writeIni("writeIni, an old file", true),
        readTxt(),
        readKeyComparison(),
        readAllActionHistory(),
        writeActionHistory(),
        addLogDirList(),
    };
}

} // namespace Faults
