// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/DirectoryListing_p.h"

#include "core/LocalText_p.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace ZeCore {

namespace {

/// Qt's resources begin with a colon; everything else is absolute here.
bool isNative(const QString &prefix)
{
    return prefix.startsWith(QLatin1Char('/'));
}

FileId idOf(const struct stat &status)
{
    FileId id;
    id.device = status.st_dev;
    id.inode = status.st_ino;
    return id;
}

enum class Kind {
    File,
    Directory,
    Other,
};

Kind kindOf(mode_t mode)
{
    return S_ISREG(mode) ? Kind::File : S_ISDIR(mode) ? Kind::Directory : Kind::Other;
}

/// Asks the kernel only if the entry itself does not tell.
Kind kindOf(DIR *stream, const dirent &entry)
{
    switch (entry.d_type) {
    case DT_REG:
        return Kind::File;
    case DT_DIR:
        return Kind::Directory;
    case DT_LNK:
    case DT_UNKNOWN: {
        struct stat status = {};
        return ::fstatat(::dirfd(stream), entry.d_name, &status, 0) == 0 ? kindOf(status.st_mode)
                                                                         : Kind::Other;
    }
    default:
        return Kind::Other;
    }
}

/// What says nothing about the directory: it may be full of files.
bool isObstacle(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == EIO;
}

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

/// Whether @p a sorts before @p b by code unit. For names that begin alike a call
/// into Qt for each comparison costs more than the comparison.
bool precedes(QStringView a, QStringView b)
{
    constexpr qsizetype blockLength = 4;
    const qsizetype common = qMin(a.size(), b.size());
    qsizetype i = 0;
    while (i + blockLength <= common
           && std::memcmp(a.utf16() + i, b.utf16() + i, blockLength * sizeof(QChar)) == 0)
        i += blockLength;
    while (i < common && a[i] == b[i])
        ++i;
    return i < common ? a[i] < b[i] : a.size() < b.size();
}

} // namespace

FileId fileId(const QString &path)
{
    struct stat status = {};
    return ::stat(toLocalBytes(path).constData(), &status) == 0 ? idOf(status) : FileId();
}

QString listingPrefix(const QString &path)
{
    // Qt would take the current directory for an empty path; a path that ends early
    // at a NUL would stand for another one.
    if (path.isEmpty() || path.contains(QChar(QChar::Null)))
        return QString();
    // A file of that directory, without its name: Qt settles what search paths,
    // dots and doubled slashes mean.
    return QFileInfo(QDir(path).filePath(QStringLiteral("x"))).absoluteFilePath().chopped(1);
}

QString givenPrefix(const QString &path)
{
    return QDir(path).filePath(QStringLiteral("x")).chopped(1);
}

QString directoryPath(const QString &prefix)
{
    return prefix.size() > 1 ? prefix.chopped(1) : prefix;
}

DirectoryListing::DirectoryListing(const QString &prefix)
    : m_prefix(prefix)
    , m_stream(nullptr, &::closedir)
{
    if (isNative(prefix))
        openNative();
    else
        m_isOpen = !prefix.isEmpty() && QDir(prefix).exists();
}

void DirectoryListing::openNative()
{
    m_stream.reset(::opendir(toLocalBytes(m_prefix).constData()));
    struct stat status = {};
    m_isOpen = m_stream && ::fstat(::dirfd(m_stream.get()), &status) == 0;
    if (m_isOpen)
        m_id = idOf(status);
    else
        m_isIncomplete = isObstacle(errno);
}

std::vector<DirectoryListing::Entry> DirectoryListing::read()
{
    const std::vector<Item> items = m_stream ? readNative() : readThroughQt();
    std::vector<Entry> entries;
    entries.reserve(items.size());
    for (const Item &item : items)
        entries.push_back(
            {QStringView(m_text.constData() + item.name, item.nameLength), item.isDirectory});
    return entries;
}

/// Null at the end and after an error, which errno tells apart.
const dirent *DirectoryListing::nextEntry()
{
    errno = 0;
    return ::readdir(m_stream.get());
}

std::vector<DirectoryListing::Item> DirectoryListing::readNative()
{
    std::vector<Item> items;
    constexpr int usualCount = 128;
    constexpr int usualLength = 32; // with the key
    items.reserve(usualCount);
    m_text.resize(usualCount * usualLength);
    m_isIncomplete = false;
    while (const dirent *entry = nextEntry()) {
        if (isDotOrDotDot(entry->d_name))
            continue;
        const Kind kind = kindOf(m_stream.get(), *entry);
        if (kind == Kind::Other) {
            m_isIncomplete = m_isIncomplete || isObstacle(errno);
            continue;
        }
        const Item item = addName(entry->d_name, kind == Kind::Directory);
        if (item.nameLength > 0)
            items.push_back(item);
    }
    m_isIncomplete = m_isIncomplete || isObstacle(errno);
    m_stream.reset();
    std::sort(items.begin(), items.end(),
              [this](const Item &a, const Item &b) { return precedes(key(a), key(b)); });
    return items;
}

std::vector<DirectoryListing::Item> DirectoryListing::readThroughQt()
{
    std::vector<Item> items;
    if (!m_isOpen)
        return items;
    const QFileInfoList entries = QDir(m_prefix).entryInfoList(
        QDir::Dirs | QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir() || entry.isFile())
            items.push_back(addName(entry.fileName(), entry.isDir()));
    }
    return items;
}

/// Adds the name and, if it differs, its lower-case form. Empty for a name that
/// does not count.
DirectoryListing::Item DirectoryListing::addName(const char *nativeName, bool isDirectory)
{
    const auto length = static_cast<int>(std::strlen(nativeName));
    QChar *const name = roomFor(2 * length);
    QChar *const lower = name + length;
    unsigned seen = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned c = static_cast<unsigned char>(nativeName[i]);
        const bool isUpper = c - 'A' <= 'Z' - 'A';
        seen |= c;
        name[i] = QChar(c);
        lower[i] = QChar(isUpper ? c + ('a' - 'A') : c);
    }
    if (seen < 0x80)
        return takeRoom(length, length, isDirectory);
    // Behind a slash, or a byte order mark at its beginning would be swallowed.
    const QByteArray bytes = '/' + QByteArray(nativeName, length);
    const QString text = fromLocalBytes(bytes);
    // As Qt lists them: what is no UTF-8 does not count, but other encodings take any bytes.
    if (isLocalTextUtf8() && text.toUtf8() != bytes)
        return Item{};
    return addName(text.mid(1), isDirectory);
}

DirectoryListing::Item DirectoryListing::addName(const QString &name, bool isDirectory)
{
    const QString lower = name.toLower();
    QChar *const room = roomFor(name.size() + lower.size());
    std::copy(lower.begin(), lower.end(), std::copy(name.begin(), name.end(), room));
    return takeRoom(name.size(), lower.size(), isDirectory);
}

QChar *DirectoryListing::roomFor(int length)
{
    if (m_text.size() - m_used < length)
        m_text.resize(2 * m_text.size() + length);
    return m_text.data() + m_used;
}

DirectoryListing::Item DirectoryListing::takeRoom(int nameLength, int keyLength, bool isDirectory)
{
    const int name = m_used;
    m_used += nameLength + keyLength;
    return {name, static_cast<std::int16_t>(nameLength), static_cast<std::int16_t>(keyLength),
            isDirectory};
}

QStringView DirectoryListing::key(const Item &item) const
{
    return {m_text.constData() + item.name + item.nameLength, item.keyLength};
}

} // namespace ZeCore
