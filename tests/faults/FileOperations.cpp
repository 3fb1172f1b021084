// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Operations.h"

#include "files/ZeFileManager.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <utility>

namespace Faults {

namespace {

ZeFileManager &files()
{
    return *ZeFileManager::init();
}

void createService(Trial & /*trial*/)
{
    ZeFileManager::init();
}

QString lastErrorLine(const QString &text)
{
    return "W [warning][setLastError] [ " + text + " ]";
}

/// That the operation has failed for a reason, with one of @p texts as last error.
void requireLastError(Trial &trial, const QStringList &texts)
{
    QStringList lines;
    for (const QString &text : texts)
        lines.append(lastErrorLine(text));
    trial.requireFailure(lines);
    trial.require(texts.contains(ZeFileManager::getLastError()),
                  "the last error is " + ZeFileManager::getLastError());
}

const QByteArray oldContent = "old content\n";

// ---- Single files

Operation md5File()
{
    const QByteArray content(600000, 'm');
    return {"Md5File", [content](Trial &trial) { Trial::put(trial.path("file"), content); },
            [](Trial &trial) { trial.value = files().Md5File(trial.path("file")); },
            [content](Trial &trial) {
                trial.requireUnchanged(trial.path());
                const QByteArray digest = trial.value.toByteArray();
                if (digest.isEmpty())
                    trial.requireReason();
                else
                    trial.require(digest
                                      == QCryptographicHash::hash(content, QCryptographicHash::Md5),
                                  "the digest is wrong");
            },
            createService};
}

/// To an existing file or a new one.
Operation writeFile(const char *name, bool exists)
{
    const QByteArray content(40000, 'w');
    return {
        name,
        [exists](Trial &trial) {
            if (exists)
                Trial::put(trial.path("file"), oldContent);
        },
        [content](Trial &trial) { trial.value = files().writeFile(trial.path("file"), content); },
        [content](Trial &trial) {
            const QString path = trial.path("file");
            if (!trial.value.toBool()) {
                trial.requireFailure({"W [warning][setLastError] [ " + path});
                trial.require(ZeFileManager::getLastError().startsWith(path),
                              "the last error is " + ZeFileManager::getLastError());
                trial.requireUnchanged(path);
            } else if (trial.losesBytes()) {
                // The old content goes when the file is opened, and what becomes of
                // the bytes is not examined: callers rely on true.
                trial.require(("file " + content).startsWith(trial.after().value(path)),
                              "the file has other bytes");
            } else {
                trial.requireContent(path, content);
            }
        },
        createService};
}

Operation readJsonFile()
{
    return {
        "readJsonFile", [](Trial &trial) { Trial::put(trial.path("file"), R"({"a":[1,"two"]})"); },
        [](Trial &trial) { trial.value = files().readJsonFile(trial.path("file")); },
        [](Trial &trial) {
            trial.requireUnchanged(trial.path());
            if (trial.value.isValid())
                trial.require(trial.value.toMap() == QVariantMap{{"a", QVariantList{1.0, "two"}}},
                              "the tree is another one");
            else
                requireLastError(
                    trial,
                    {"Not file: " + trial.path("file"), "illegal value", "unterminated object"});
        },
        createService};
}

Operation writeJsonFile(const char *name, int size)
{
    const QByteArray json = R"({"a":")" + QByteArray(size, 'j') + "\"}";
    return {name, [](Trial &trial) { Trial::put(trial.path("file"), oldContent); },
            [size](Trial &trial) {
                const QVariantMap value{{"a", QString(size, 'j')}};
                trial.value =
                    files().writeJsonFile(trial.path("file"), value, QJsonDocument::Compact);
            },
            [json](Trial &trial) {
                const QString path = trial.path("file");
                if (trial.value.toBool()) {
                    trial.requireContent(path, json);
                    return;
                }
                trial.requireFailure({lastErrorLine("Open file failed:" + path),
                                      "W [warning][setLastError] [ " + path + " : "});
                // The old content goes when the file is opened; whether the new one
                // has come is what the operation tells.
                if (!trial.hasLineWith("flush failed"))
                    trial.requireUnchanged(path);
            },
            createService};
}

Operation removeFile()
{
    return {"removeDirOrFile, a file",
            [](Trial &trial) { Trial::put(trial.path("file"), oldContent); },
            [](Trial &trial) { trial.value = files().removeDirOrFile(trial.path("file")); },
            [](Trial &trial) {
                const QString path = trial.path("file");
                if (trial.value.toBool()) {
                    trial.requireMissing(path);
                    return;
                }
                requireLastError(trial, {"Not Found:" + path, "Remove failed: " + path});
                trial.requireUnchanged(path);
            },
            createService};
}

Operation removeTree()
{
    return {"removeDirOrFile, a directory",
            [](Trial &trial) {
                Trial::put(trial.path("tree/a"), "a");
                Trial::put(trial.path("tree/below/b"), "b");
                Trial::put(trial.path("other/c"), "c");
            },
            [](Trial &trial) { trial.value = files().removeDirOrFile(trial.path("tree/")); },
            [](Trial &trial) {
                const QString path = trial.path("tree/");
                trial.requireUnchanged(trial.path("other"));
                if (trial.value.toBool())
                    trial.requireMissing(trial.path("tree"));
                else // what could be removed is gone
                    requireLastError(
                        trial,
                        {"Not Found:" + path, "Remove failed: " + path, "Remove failed:" + path});
            },
            createService};
}

Operation hasExecutePermission()
{
    return {"hasExecutePermission",
            [](Trial &trial) { Trial::put(trial.path("file"), "#!/bin/sh", 0755); },
            [](Trial &trial) { trial.value = files().hasExecutePermission(trial.path("file")); },
            [](Trial &trial) {
                if (trial.value.toBool())
                    return;
                trial.requireReason();
                // Permission that cannot be asked for is not there, which has no text.
                if (trial.isDisturbedIn(Access) && !trial.lines().isEmpty())
                    requireLastError(trial, {"File does not exist:" + trial.path("file")});
            },
            createService};
}

Operation truncateFile()
{
    QByteArray content;
    for (int i = 0; i < 5000; ++i)
        content += "line " + QByteArray::number(i) + '\n';
    const QByteArray kept = "line 4998\nline 4999\n";
    return {"truncateFile", [content](Trial &trial) { Trial::put(trial.path("file"), content); },
            [](Trial &trial) { trial.value = files().truncateFile(trial.path("file"), 2); },
            [content, kept](Trial &trial) {
                const QString path = trial.path("file");
                if (!trial.value.toBool()) {
                    requireLastError(trial, {"Failed to open file:" + path});
                    trial.requireUnchanged(path);
                } else if (trial.losesBytes() || trial.isDisturbedIn(Truncate)
                           || trial.isDisturbedIn(Seek)) {
                    // The last lines have come to the beginning or not, and nothing has
                    // been cut off before they were there.
                    const QByteArray now = trial.after().value(path);
                    trial.require(now.endsWith(content.right(1000)) || now == "file " + kept,
                                  "lines are lost: " + now.left(100));
                } else {
                    trial.requireContent(path, kept);
                }
            },
            createService};
}

// ---- Lists

void putTree(Trial &trial)
{
    Trial::put(trial.path("tree/a.txt"), "alpha");
    Trial::put(trial.path("tree/b.log"), "beta");
    Trial::put(trial.path("tree/below/c.txt"), "gamma");
    Trial::put(trial.path("tree/below/deep/d.log"), "delta");
    QFile::link("a.txt", trial.path("tree/link.txt"));
}

using Collect = bool (ZeFileManager::*)(const QString &, const QStringList &, QList<QVariant> &);

/// A directory that cannot be listed, and an entry that cannot be looked at, are
/// not there to the collectors; what they find is right and in its order.
Operation collector(const char *name, Collect collect, const QStringList &list,
                    const QStringList &found)
{
    return {name, putTree,
            [collect, list](Trial &trial) {
                QList<QVariant> out{QString("first")};
                const bool result = (files().*collect)(trial.path("tree"), list, out);
                trial.value = QVariantList{result, out};
            },
            [found](Trial &trial) {
                trial.requireUnchanged(trial.path());
                QStringList out = trial.value.toList().at(1).toStringList();
                trial.require(trial.value.toList().at(0).toBool(), "the result is false");
                trial.require(!out.isEmpty() && out.takeFirst() == "first",
                              "the caller's list is not kept");
                QStringList expected;
                for (const QString &file : found)
                    expected.append(trial.path("tree/" + file));
                if (out != expected)
                    trial.requireReason();
                for (const QString &file : expected) {
                    if (!out.isEmpty() && out.constFirst() == file)
                        out.removeFirst();
                }
                trial.require(out.isEmpty(), "wrong or out of order: " + out.join(", "));
            },
            createService};
}

Operation collectOneFile()
{
    return {"getDirectorySuffixFiles, a file", putTree,
            [](Trial &trial) {
                QList<QVariant> out;
                const bool result =
                    files().getDirectorySuffixFiles(trial.path("tree/a.txt"), {"txt"}, out);
                trial.value = QVariantList{result, out};
            },
            [](Trial &trial) {
                const QStringList out = trial.value.toList().at(1).toStringList();
                trial.require(trial.value.toList().at(0).toBool(), "the result is false");
                if (out.isEmpty())
                    trial.requireReason();
                else
                    trial.require(out == QStringList{trial.path("tree/a.txt")}, "wrong file");
            },
            createService};
}

/// Entries that cannot be looked at are left out or have no times.
Operation queryFileList()
{
    return {"queryFileList", putTree,
            [](Trial &trial) { trial.value = files().queryFileList(trial.path("tree"), {}); },
            [](Trial &trial) {
                trial.requireUnchanged(trial.path());
                const QVariantList records = trial.value.toList();
                QStringList names;
                for (const QVariant &record : records) {
                    trial.require(record.toMap().size() == 9, "a record has other keys");
                    names.append(record.toMap().value("name").toString());
                }
                names.sort();
                const QStringList all{"a.txt", "b.log", "below", "link.txt"};
                if (names != all)
                    trial.requireReason();
                for (const QString &name : std::as_const(names))
                    trial.require(all.contains(name), name + " is no entry");
            },
            createService};
}

Operation readAllFiles()
{
    return {
        "readAllFiles",
        [](Trial &trial) {
            Trial::put(trial.path("tree/a"), "content of a");
            Trial::put(trial.path("tree/b"), "content of b");
        },
        [](Trial &trial) {
            trial.value = files().readAllFiles(trial.path("tree"), {}, QDir::Files, QDir::Name);
        },
        [](Trial &trial) {
            const QByteArray content = trial.value.toByteArray();
            trial.requireUnchanged(trial.path());
            if (QDir::currentPath() != trial.programPath())
                trial.require(trial.isDisturbedIn(CurrentDirectory) || trial.isDisturbedIn(Status),
                              "the current directory is " + QDir::currentPath());
            if (content == "content of b")
                return;
            trial.requireReason();
            if (content == "content of a")
                trial.requireFailure(
                    {"W [warning][readAllFiles] [read file faild: " + trial.path("tree/b") + "]"});
            else // a listing or a reading that failed
                trial.require(content.isEmpty(), "other content: " + content);
        },
        createService};
}

Operation moveToListFirst()
{
    return {"moveToListFirst", putTree,
            [](Trial &trial) {
                QFileInfoList list{QFileInfo(trial.path("tree/a.txt")),
                                   QFileInfo(trial.path("tree/b.log")),
                                   QFileInfo(trial.path("tree/below"))};
                files().moveToListFirst(list);
                QStringList names;
                for (const QFileInfo &file : std::as_const(list))
                    names.append(file.fileName());
                trial.value = names;
            },
            [](Trial &trial) {
                QStringList names = trial.value.toStringList();
                names.sort();
                trial.require(names == QStringList{"a.txt", "b.log", "below"},
                              "other entries: " + names.join(", "));
                trial.require(trial.lines().size() == 3, "not a line for each");
            },
            createService};
}

// ---- Copies

const QByteArray &largeContent()
{
    static const QByteArray content = QByteArray(150000, 'L');
    return content;
}

void putSources(Trial &trial)
{
    Trial::put(trial.path("source/a.txt"), "alpha");
    Trial::put(trial.path("source/below/large"), largeContent(), 0444);
    Trial::put(trial.path("source/below/.hidden"), "");
    QFile::link("a.txt", trial.path("source/link.txt"));
    QFile sparse(trial.path("source/sparse"));
    if (!sparse.open(QIODevice::WriteOnly) || !sparse.resize(90000) || !sparse.seek(70000)
        || sparse.write("end") != 3)
        qFatal("cannot write a sparse file");
}

const QStringList copiedFiles{"a.txt", "link.txt", "below/large", "below/.hidden", "sparse"};

void putOldTargets(Trial &trial)
{
    putSources(trial);
    for (const QString &file : copiedFiles)
        Trial::put(trial.path("target/" + file), oldContent);
}

/// What holds for every copy: the source is as it was, and each target is missing, old
/// or complete. An old one may be missing, since it is removed first.
void judgeTargets(Trial &trial, const QString &source, const QString &target,
                  const QStringList &names)
{
    trial.requireUnchanged(trial.path("source"));
    const bool succeeded = trial.value.toBool();
    for (const QString &name : names) {
        const QByteArray wanted = "file " + Trial::get(trial.path(source + name));
        const QString path = trial.path(target + name);
        const QByteArray now = trial.after().value(path);
        if (now == wanted)
            continue;
        // What may not be listed or looked at counts as not there.
        trial.require(!succeeded
                          || ((trial.isDisturbedIn(Listing) || trial.isDisturbedIn(Status))
                              && trial.error() == EACCES),
                      path + " is not what was to be copied");
        trial.require(now.isNull() || now == trial.before().value(path), path + " is torn");
    }
    for (auto entry = trial.after().cbegin(); entry != trial.after().cend(); ++entry) {
        if (!entry.key().startsWith(trial.path(target)) || entry.value() == "directory")
            continue;
        trial.require(trial.before().contains(entry.key())
                          || names.contains(entry.key().mid(trial.path(target).size())),
                      entry.key() + " is no copy");
    }
}

using CopyOne = bool (ZeFileManager::*)(const QString &, const QString &, const QStringList &,
                                        bool);

Operation copyOne(const char *name, CopyOne copy, const char *failure, Operation::Step prepare,
                  const char *file)
{
    return {name, std::move(prepare),
            [copy, file](Trial &trial) {
                trial.value = (files().*copy)(trial.path("source/") + file,
                                              trial.path("target/") + file, {}, true);
            },
            [failure, file](Trial &trial) {
                judgeTargets(trial, "source/", "target/", {file});
                trial.requireUnchanged(trial.path("target/sparse"));
                if (!trial.value.toBool())
                    trial.requireFailure({QString(failure).arg(trial.path("source/") + file,
                                                               trial.path("target/") + file),
                                          "[Failed to delete file when allowed to overwrite:"
                                              + trial.path("target/") + file + "]"});
            },
            createService};
}

using CopyTree = std::function<bool(const QString &source, const QString &target)>;

Operation copyTree(const char *name, const CopyTree &copy, const QString &failure,
                   Operation::Step prepare)
{
    return {
        name, std::move(prepare),
        [copy](Trial &trial) { trial.value = copy(trial.path("source"), trial.path("target")); },
        [failure](Trial &trial) {
            judgeTargets(trial, "source/", "target/", copiedFiles);
            if (!trial.value.toBool())
                trial.requireFailure({failure, "[Failed to delete file when allowed to overwrite:",
                                      "[error:创建" + trial.path("target"),
                                      "[error:copyDirectoryFiles:拷贝 "});
        },
        createService};
}

/// Without overwriting, what is there stays.
Operation copyTreeBeside()
{
    return {"copyDirectoryFiles, some are there",
            [](Trial &trial) {
                putSources(trial);
                Trial::put(trial.path("target/a.txt"), oldContent);
            },
            [](Trial &trial) {
                trial.value = files().copyDirectoryFiles(trial.path("source"), trial.path("target"),
                                                         {}, false);
            },
            [](Trial &trial) {
                trial.requireUnchanged(trial.path("target/a.txt"));
                judgeTargets(trial, "source/", "target/", copiedFiles.mid(1));
            },
            createService};
}

} // namespace

Operations fileOperations()
{
    const CopyTree byName = [](const QString &source, const QString &target) {
        return files().copyDirectoryFiles(source, target, {}, true);
    };
    const CopyTree bySuffix = [](const QString &source, const QString &target) {
        return files().copyDirectoryFilesSuffix(source, target, {}, true);
    };
    const CopyTree same = [](const QString &source, const QString &target) {
        return files().copyDirectorySameFiles(source, target);
    };
    return {
        md5File(),
        writeFile("writeFile, a new one", false),
        writeFile("writeFile, an old one", true),
        readJsonFile(),
        writeJsonFile("ZeFileManager::writeJsonFile", 20),
        writeJsonFile("ZeFileManager::writeJsonFile, large", 50000),
        removeFile(),
        removeTree(),
        hasExecutePermission(),
        truncateFile(),
        collector("getDirectoryFiles", &ZeFileManager::getDirectoryFiles, {"b.log"},
                  {"a.txt", "below/c.txt", "below/deep/d.log", "link.txt"}),
        collector("getDirectorySuffixFiles", &ZeFileManager::getDirectorySuffixFiles, {"log"},
                  {"b.log", "below/deep/d.log"}),
        collector("getDirectoryFilesSuffix", &ZeFileManager::getDirectoryFilesSuffix, {"log"},
                  {"a.txt", "below/c.txt", "link.txt"}),
        collectOneFile(),
        queryFileList(),
        readAllFiles(),
        moveToListFirst(),
        copyOne("copyDirectoryFile", &ZeFileManager::copyDirectoryFile,
                "error:copy[%1] to [%2] failed", putOldTargets, "below/large"),
        copyOne("copyDirectoryFileSuffix", &ZeFileManager::copyDirectoryFileSuffix,
                "[Copy failed:(%1) to (%2)]", putOldTargets, "a.txt"),
        copyTree("copyDirectoryFiles, new", byName, "error:copy[", putSources),
        copyTree("copyDirectoryFiles, over old ones", byName, "error:copy[", putOldTargets),
        copyTree("copyDirectoryFilesSuffix", bySuffix, "[Copy failed:(", putOldTargets),
        copyTree("copyDirectorySameFiles", same, "error:copy[", putOldTargets),
        copyTreeBeside(),
    };
}

} // namespace Faults
