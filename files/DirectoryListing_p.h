// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef DIRECTORYLISTING_P_H
#define DIRECTORYLISTING_P_H

#include <QtCore/QString>
#include <QtCore/QStringView>

#include <cstdint>
#include <memory>
#include <vector>

#include <dirent.h>
#include <sys/types.h>

namespace ZeCore {

/// What makes a directory or file the same one under every path. Default-constructed
/// for what has no identity: missing, or inside Qt's resources.
struct FileId
{
    dev_t device = 0;
    ino_t inode = 0;

    bool isKnown() const { return inode != 0; }
    bool operator==(const FileId &other) const
    {
        return inode == other.inode && device == other.device;
    }
};

/// The identity of what is at @p path, behind links.
FileId fileId(const QString &path);

/// The absolute and clean form of @p path with a slash at its end, to which the
/// names of a listing can be appended; empty for what is no path and
/// lists nothing.
QString listingPrefix(const QString &path);

/// The same with the path as it was given, for texts that show it so.
QString givenPrefix(const QString &path);

/// The path of the directory of @p prefix, without the slash that it does not need.
QString directoryPath(const QString &prefix);

/// The files and directories of one directory: what
/// `QDir(path).entryInfoList(Dirs | Files | Hidden | NoDotAndDotDot)` gives, in
/// the same order, several times faster.
///
/// Links count as what they point at. Broken links, devices, FIFOs, sockets and
/// names that are not valid UTF-8 are left out, as Qt leaves them out or as both
/// walks over trees ignore them.
///
/// It holds a descriptor from its construction to the end of read() at most, so
/// that walks need none per level.
class DirectoryListing
{
public:
    struct Entry
    {
        QStringView name; ///< valid while the listing lives
        bool isDirectory = false;
    };

    /// Opens the directory of a prefix that listingPrefix() gave.
    explicit DirectoryListing(const QString &prefix);

    /// False for what is missing, unreadable or no directory: it lists nothing.
    bool isOpen() const { return m_isOpen; }
    /// The identity of the directory, as far as it has one.
    FileId id() const { return m_id; }

    /// Reads the directory, once.
    std::vector<Entry> read();
    /// Whether it lists less than there is, since the system has run out of something or
    /// the disk is broken. What may not be listed is none of that: it counts as empty.
    bool isIncomplete() const { return m_isIncomplete; }

private:
    /// A name and behind it its sort key, both in #m_text. Small, since sorting moves it.
    struct Item
    {
        int name;
        std::int16_t nameLength;
        std::int16_t keyLength;
        bool isDirectory;
    };

    void openNative();
    const dirent *nextEntry();
    std::vector<Item> readNative();
    std::vector<Item> readThroughQt();
    Item addName(const char *nativeName, bool isDirectory);
    Item addName(const QString &name, bool isDirectory);
    /// A place for @p length characters behind the text.
    QChar *roomFor(int length);
    /// The item whose name and key have been put there.
    Item takeRoom(int nameLength, int keyLength, bool isDirectory);
    QStringView key(const Item &item) const;

    QString m_prefix;
    std::unique_ptr<DIR, int (*)(DIR *)> m_stream;
    bool m_isOpen = false;
    bool m_isIncomplete = false;
    FileId m_id;
    QString m_text; ///< names and keys, as far as #m_used
    int m_used = 0;
};

} // namespace ZeCore

#endif // DIRECTORYLISTING_P_H
