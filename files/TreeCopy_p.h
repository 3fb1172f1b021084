// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef TREECOPY_P_H
#define TREECOPY_P_H

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ZeCore {

/// What the copiers of single files differ in. The texts are UTF-8.
struct FileCopyRule
{
    const char *operation; ///< as log lines name it
    bool skipsBySuffix;    ///< the skip list holds suffixes, not names
    const char *skipped;
    const char *exists;
    const char *failed;
};

/// What the copiers of trees differ in.
struct TreeCopyRule
{
    const char *operation;
    const FileCopyRule &files;
    bool rootFileAsGiven;       ///< a single file: with the caller's path, list and flag
    bool namesSourceDirectory;  ///< in its failed text, instead of the file in it
    const TreeCopyRule *nested; ///< for the directories below; null: the same
};

extern const FileCopyRule copyFileByName;
extern const FileCopyRule copyFileBySuffix;
extern const TreeCopyRule copyTreeByName;
extern const TreeCopyRule copyTreeBySuffix;
extern const TreeCopyRule copyTreeSame;

/// Which files a copy leaves out, and what becomes of existing targets.
struct CopyChoice
{
    QStringList skip;
    bool overwrite = false;
};

/// Copies one file to the file path @p target.
bool copyOneFile(const FileCopyRule &rule, const QString &source, const QString &target,
                 const CopyChoice &choice);

/// Copies the tree @p source to the directory @p target, or one file into it.
bool copyTree(const TreeCopyRule &rule, const QString &source, const QString &target,
              const CopyChoice &choice);

} // namespace ZeCore

#endif // TREECOPY_P_H
