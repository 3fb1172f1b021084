// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/TreeCopy_p.h"

#include "core/LogTag_p.h"
#include "files/DirectoryListing_p.h"
#include "files/FileCopy_p.h"
#include "files/FileNames_p.h"
#include "files/TreeTrail_p.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStringView>

#include <algorithm>
#include <memory>
#include <vector>

namespace ZeCore {

const FileCopyRule copyFileByName{"copyDirectoryFile", false, "[Skip filter files[%1]:%2]",
                                  "[Skip existing file:%2]", "error:copy[%1] to [%2] failed"};
const FileCopyRule copyFileBySuffix{"copyDirectoryFileSuffix", true, "[Skip filter files(%1):%2]",
                                    "[Skip existing file:%1]", "[Copy failed:(%1) to (%2)]"};

namespace {

/// The mirror leaves nothing out and always overwrites, so two texts are never used.
const FileCopyRule copyFileSame{"copyDirectorySameFiles", false, "", "",
                                "error:copy[%1] to [%2] failed"};

} // namespace

const TreeCopyRule copyTreeByName{"copyDirectoryFiles", copyFileByName, true, false, nullptr};
const TreeCopyRule copyTreeBySuffix{"copyDirectoryFilesSuffix", copyFileBySuffix, false, false,
                                    nullptr};
const TreeCopyRule copyTreeSame{"copyDirectorySameFiles", copyFileSame, false, true,
                                &copyTreeByName};

namespace {

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

enum class Outcome {
    Copied,
    Left, ///< skipped, or there already
    Failed
};

/// What a walk over a tree knows of all files of a directory, to ask no more.
struct Known
{
    bool sourcesAreFiles;
    bool targetDirectoryIsNew;
};

/// A file to copy.
struct Source
{
    QString path;
    QStringView name; ///< as skip lists see it; the last part of the path as it was given
    QString shown;    ///< what the failed text names
};

/// Copies single files by one rule.
class FileCopier
{
public:
    FileCopier(const FileCopyRule &rule, const CopyChoice &choice, Known known = {false, false})
        : m_rule(rule)
        , m_choice(choice)
        , m_known(known)
    {
    }

    Outcome copy(const Source &source, const QString &target,
                 Durability durability = Durability::OnReturn) const
    {
        if (contains(m_choice.skip, m_rule.skipsBySuffix ? suffixOf(source.name) : source.name)) {
            logDebug(m_rule.operation)
                << text(m_rule.skipped)
                       .arg(m_choice.skip.join(QLatin1Char(',')), source.name.toString());
            return Outcome::Left;
        }
        // If this fails, the target may be there all the same: on some file systems
        // names that differ in case are one.
        if (m_known.targetDirectoryIsNew) {
            if (copyFile(source.path, target, durability))
                return Outcome::Copied;
            if (!QFile::exists(target))
                return failed(source, target);
        }
        if (QFile::exists(target)) {
            if (!m_choice.overwrite) {
                logDebug(m_rule.operation) << text(m_rule.exists).arg(target);
                return Outcome::Left;
            }
            // A file is never removed to be replaced by itself.
            if (isSameFile(source.path, target))
                return failed(source, target);
            if (!QFile::remove(target)) {
                logWarning(m_rule.operation)
                    << QStringLiteral("[Failed to delete file when allowed to overwrite:%1]")
                           .arg(target);
                return Outcome::Failed;
            }
        }
        // What is no regular file may have no end, or block.
        if (!m_known.sourcesAreFiles && !QFileInfo(source.path).isFile())
            return failed(source, target);
        return copyFile(source.path, target, durability) ? Outcome::Copied : failed(source, target);
    }

private:
    static bool isSameFile(const QString &source, const QString &target)
    {
        const FileId id = fileId(source);
        return id.isKnown() && id == fileId(target) && !QFileInfo(target).isDir();
    }

    Outcome failed(const Source &source, const QString &target) const
    {
        logWarning(m_rule.operation) << text(m_rule.failed).arg(source.shown, target);
        return Outcome::Failed;
    }

    const FileCopyRule &m_rule;
    const CopyChoice &m_choice;
    const Known m_known;
};

/// A single file given to a copier of trees.
bool copyRootFile(const TreeCopyRule &rule, const QString &source, const QString &target,
                  const CopyChoice &choice)
{
    const QFileInfo info(source);
    const QString path = info.absoluteFilePath();
    const QString name = info.fileName();
    // The slash is added whatever the target ends with; callers rely on the path.
    const QString targetPath = target + QLatin1Char('/') + name;
    if (rule.rootFileAsGiven)
        return FileCopier(rule.files, choice).copy({path, name, source}, targetPath)
            != Outcome::Failed;
    // Callers rely on it that the list and the flag do not count here.
    const CopyChoice always{{}, true};
    return FileCopier(rule.files, always).copy({path, name, path}, targetPath) != Outcome::Failed;
}

bool failedToCreate(const TreeCopyRule &rule, const QString &directory)
{
    logWarning(rule.operation) << QStringLiteral("[error:创建%1失败]").arg(directory);
    return false;
}

/// A tree as such, whatever was copied of it.
bool failedToCopy(const TreeCopyRule &rule, const QString &source, const QString &target)
{
    logWarning(rule.files.operation) << text(rule.files.failed).arg(source, target);
    return false;
}

class TreeCopier
{
public:
    explicit TreeCopier(const QString &sourcePrefix)
        : m_trail(sourcePrefix)
    {
    }

    /// Waits until all copies are on the disk.
    bool sync()
    {
        const auto failsToSync = [](const std::unique_ptr<FileSystem> &fileSystem) {
            return !fileSystem->sync();
        };
        // Not any_of(): every file system is to be synced.
        return std::count_if(m_unsynced.begin(), m_unsynced.end(), failsToSync) == 0;
    }

    /// @p shownPrefix is @p prefix as log lines show it.
    bool copyDirectory(const TreeCopyRule &rule, const QString &prefix, const QString &shownPrefix,
                       const QString &target, const CopyChoice &choice)
    {
        DirectoryListing source(prefix);
        if (m_trail.leadsBack(source.id()) || isDestination(source.id()))
            return true;
        const QString sourcePath = directoryPath(prefix);
        // It may have become a file since its parent was listed.
        if (!source.isOpen() && !m_trail.isAtStart() && QFileInfo(sourcePath).isFile())
            return copyRootFile(rule, sourcePath, target, choice);

        const QDir destination(target);
        const QString targetPath = destination.absolutePath();
        const bool isNew = !destination.exists();
        if (isNew && !destination.mkpath(targetPath))
            return failedToCreate(rule, targetPath);
        const FileId targetId = fileId(targetPath);
        if (!m_destination.isKnown())
            m_destination = targetId;

        const TreeTrail::Step step(m_trail, source.id());
        const FileCopier copier(rule.files, choice, {true, isNew});
        const std::vector<DirectoryListing::Entry> entries = source.read();
        if (source.isIncomplete())
            return failedToCopy(rule, sourcePath, targetPath);
        for (const DirectoryListing::Entry &entry : entries) {
            const QString path = pathOf(prefix, entry.name);
            // Two slashes below the root directory; the texts show them.
            const QString entryTarget = pathOf(targetPath + QLatin1Char('/'), entry.name);
            if (entry.isDirectory) {
                const QString below = path + QLatin1Char('/');
                if (!copyDirectory(rule.nested ? *rule.nested : rule, below, below, entryTarget,
                                   choice))
                    return failedBelow(rule, pathOf(shownPrefix, entry.name), targetPath);
                continue;
            }
            const Durability durability = nextDurability();
            const Outcome outcome =
                copier.copy({path, entry.name, rule.namesSourceDirectory ? sourcePath : path},
                            entryTarget, durability);
            if (outcome == Outcome::Failed)
                return false;
            if (outcome == Outcome::Copied)
                noteCopied(durability, targetId, entryTarget);
        }
        return true;
    }

private:
    bool isDestination(FileId directory) const
    {
        return directory.isKnown() && directory == m_destination;
    }

    /// A few files are synced one by one, which does not wait for what other
    /// programs have written; many by one sync of their file system at the end.
    Durability nextDurability() const
    {
        constexpr std::size_t fewFiles = 16;
        return m_copied < fewFiles ? Durability::OnReturn : Durability::BySyncingLater;
    }

    void noteCopied(Durability durability, FileId directory, const QString &file)
    {
        ++m_copied;
        const auto isItsFileSystem = [directory](const std::unique_ptr<FileSystem> &fileSystem) {
            return fileSystem->device() == directory.device;
        };
        if (durability == Durability::BySyncingLater
            && std::none_of(m_unsynced.begin(), m_unsynced.end(), isItsFileSystem))
            m_unsynced.push_back(std::make_unique<FileSystem>(file, directory.device));
    }

    static bool failedBelow(const TreeCopyRule &rule, const QString &source, const QString &target)
    {
        // The text names one operation, whichever it was; readers of the logs rely on it.
        logWarning(rule.operation)
            << QStringLiteral("[error:copyDirectoryFiles:拷贝 %1 to %2 失败.]").arg(source, target);
        return false;
    }

    TreeTrail m_trail;
    FileId m_destination; ///< the walk never enters it, or it would copy its copies
    std::size_t m_copied = 0;
    std::vector<std::unique_ptr<FileSystem>> m_unsynced;
};

} // namespace

bool copyOneFile(const FileCopyRule &rule, const QString &source, const QString &target,
                 const CopyChoice &choice)
{
    const QFileInfo info(source);
    const QString name = info.fileName();
    return FileCopier(rule, choice).copy({info.absoluteFilePath(), name, source}, target)
        != Outcome::Failed;
}

bool copyTree(const TreeCopyRule &rule, const QString &source, const QString &target,
              const CopyChoice &choice)
{
    if (target.isEmpty()) // Qt would take the current directory
        return failedToCreate(rule, target);
    if (QFileInfo(source).isFile())
        return copyRootFile(rule, source, target, choice);
    const QString prefix = listingPrefix(source);
    TreeCopier copier(prefix);
    const bool copied = copier.copyDirectory(rule, prefix, givenPrefix(source), target, choice);
    // What was copied before a failure is to last as well.
    if (copier.sync())
        return copied;
    return failedToCopy(rule, source, target);
}

} // namespace ZeCore
