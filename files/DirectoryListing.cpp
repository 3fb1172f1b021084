// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/DirectoryListing_p.h"

#include "core/LocalText_p.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QTextCodec>

#include <algorithm>
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

bool isDotOrDotDot(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool isValidUtf8(const QByteArray &bytes)
{
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

struct NameTraits
{
    bool isAscii;
    bool hasUpper;
};

NameTraits traitsOf(const char *name, std::size_t length)
{
    NameTraits traits{true, false};
    for (std::size_t i = 0; i < length; ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        traits.isAscii &= c < 0x80;
        traits.hasUpper |= c >= 'A' && c <= 'Z';
    }
    return traits;
}

QChar asciiToLower(char c)
{
    return QLatin1Char(static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c));
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

std::vector<DirectoryListing::Item> DirectoryListing::readNative()
{
    std::vector<Item> items;
    constexpr int usualCount = 128;
    constexpr int usualLength = 16;
    items.reserve(usualCount);
    m_text.reserve(usualCount * usualLength);
    while (const dirent *entry = ::readdir(m_stream.get())) {
        if (isDotOrDotDot(entry->d_name))
            continue;
        const Kind kind = kindOf(m_stream.get(), *entry);
        if (kind == Kind::Other)
            continue;
        const Item item = addName(entry->d_name, kind == Kind::Directory);
        if (item.nameLength > 0)
            items.push_back(item);
    }
    m_stream.reset();
    std::sort(items.begin(), items.end(),
              [this](const Item &a, const Item &b) { return key(a) < key(b); });
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
    const std::size_t length = std::strlen(nativeName);
    const NameTraits traits = traitsOf(nativeName, length);
    if (!traits.isAscii) {
        const QByteArray bytes(nativeName, static_cast<int>(length));
        // Behind a slash, or a byte order mark at its beginning would be swallowed.
        return isValidUtf8(bytes) ? addName(fromLocalBytes('/' + bytes).mid(1), isDirectory)
                                  : Item{};
    }
    const int size = static_cast<int>(length);
    Item item = itemAtEnd(size, isDirectory);
    std::transform(nativeName, nativeName + length, grow(size),
                   [](char c) { return QChar(QLatin1Char(c)); });
    if (traits.hasUpper) {
        item.key = m_text.size();
        std::transform(nativeName, nativeName + length, grow(size), asciiToLower);
    }
    return item;
}

DirectoryListing::Item DirectoryListing::addName(const QString &name, bool isDirectory)
{
    const QString lower = name.toLower();
    Item item = itemAtEnd(name.size(), isDirectory);
    item.key = item.name + name.size();
    item.keyLength = static_cast<std::int16_t>(lower.size());
    m_text += name;
    m_text += lower;
    return item;
}

/// An item whose name and key are the next @p length characters of the text.
DirectoryListing::Item DirectoryListing::itemAtEnd(int length, bool isDirectory) const
{
    const int place = m_text.size();
    const auto size = static_cast<std::int16_t>(length);
    return {place, place, size, size, isDirectory};
}

QChar *DirectoryListing::grow(int length)
{
    const int end = m_text.size();
    m_text.resize(end + length);
    return m_text.data() + end;
}

QStringView DirectoryListing::key(const Item &item) const
{
    return {m_text.constData() + item.key, item.keyLength};
}

} // namespace ZeCore
