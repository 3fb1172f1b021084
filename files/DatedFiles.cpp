// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/DatedFiles_p.h"

#include "core/LocalText_p.h"

#include <QtCore/QRegExp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ZeCore {

namespace {

using DirectoryStream = std::unique_ptr<DIR, int (*)(DIR *)>;

/// A name that ends early at a NUL would stand for another directory.
bool isPath(const QString &name)
{
    return !name.isEmpty() && !name.contains(QChar(QChar::Null));
}

DirectoryStream openDirectory(const QString &directory)
{
    return {!isPath(directory) ? nullptr : ::opendir(toLocalBytes(directory).constData()),
            &::closedir};
}

/// One wildcard, matched like a QDir name filter.
class NameFilter
{
public:
    explicit NameFilter(const QString &wildcard)
    {
        if (isPlainSuffix(wildcard))
            m_suffix = wildcard.mid(1).toLower();
        else
            m_pattern = std::make_unique<QRegExp>(wildcard, Qt::CaseInsensitive, QRegExp::Wildcard);
    }

    bool matches(const QString &name) const
    {
        return m_pattern ? m_pattern->exactMatch(name) : endsWithSuffix(name);
    }

private:
    /// "*.log" and its like need no regular expression, whose cache Qt destroys
    /// before the last log file may have to be pruned.
    static bool isPlainSuffix(const QString &wildcard)
    {
        return wildcard.startsWith(QLatin1Char('*'))
            && std::all_of(wildcard.begin() + 1, wildcard.end(), [](QChar c) {
                   return c.unicode() < 0x80 && !std::strchr("*?[]\\", c.unicode());
               });
    }

    bool endsWithSuffix(const QString &name) const
    {
        return name.size() >= m_suffix.size()
            && std::equal(m_suffix.begin(), m_suffix.end(), name.end() - m_suffix.size(),
                          [](QChar lower, QChar c) { return lower == c.toLower(); });
    }

    QString m_suffix;
    std::unique_ptr<QRegExp> m_pattern;
};

using NameFilters = std::vector<NameFilter>;

NameFilters compile(const QStringList &wildcards)
{
    NameFilters filters;
    filters.reserve(static_cast<std::size_t>(wildcards.size()));
    for (const QString &wildcard : wildcards)
        filters.emplace_back(wildcard);
    return filters;
}

bool matchesAny(const NameFilters &filters, const QString &name)
{
    return filters.empty()
        || std::any_of(filters.begin(), filters.end(),
                       [&name](const NameFilter &filter) { return filter.matches(name); });
}

qint64 toMilliseconds(const timespec &time)
{
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

bool isNewer(const DatedFile &a, const DatedFile &b)
{
    return a.modifiedMs != b.modifiedMs ? a.modifiedMs > b.modifiedMs : a.name < b.name;
}

/// Names of directory entries as text.
class NameDecoder
{
public:
    /// The name; null if it is not valid in the local encoding.
    QString decode(const char *nativeName) const
    {
        const std::size_t size = std::strlen(nativeName);
        if (m_isUtf8 && isAscii(nativeName, size)) // as most names are
            return QString::fromLatin1(nativeName, static_cast<int>(size));
        // Behind a slash, or a byte order mark at its beginning would be swallowed.
        const QByteArray bytes = '/' + QByteArray(nativeName);
        const QString name = fromLocalBytes(bytes);
        return toLocalBytes(name) == bytes ? name.mid(1) : QString();
    }

private:
    static bool isAscii(const char *text, std::size_t size)
    {
        return std::all_of(text, text + size,
                           [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    }

    bool m_isUtf8 = isLocalTextUtf8();
};

/// Lists through an open directory, so that names need no path.
QVector<DatedFile> list(DIR *stream, const NameFilters &filters)
{
    const NameDecoder decoder;
    const int directory = ::dirfd(stream);
    QVector<DatedFile> files;
    while (const dirent *entry = ::readdir(stream)) {
        if (entry->d_type == DT_DIR)
            continue;
        QString name = decoder.decode(entry->d_name);
        struct stat status = {};
        if (name.isNull() || !matchesAny(filters, name)
            || ::fstatat(directory, entry->d_name, &status, 0) != 0 || !S_ISREG(status.st_mode))
            continue;
        files.append({toMilliseconds(status.st_mtim), std::move(name)});
    }
    return files;
}

} // namespace

QVector<DatedFile> filesNewestFirst(const QString &directory, const QStringList &nameFilters)
{
    const DirectoryStream stream = openDirectory(directory);
    if (!stream)
        return {};
    QVector<DatedFile> files = list(stream.get(), compile(nameFilters));
    std::sort(files.begin(), files.end(), isNewer);
    return files;
}

bool removeAllButNewest(const QString &directory, const QStringList &nameFilters, int keep)
{
    const DirectoryStream stream = openDirectory(directory);
    if (!stream || keep < 0)
        return false;
    QVector<DatedFile> files = list(stream.get(), compile(nameFilters));
    if (files.size() <= keep)
        return false;
    // Which ones are old matters, and that the oldest go first; the order of
    // those that stay does not.
    std::nth_element(files.begin(), files.begin() + keep, files.end(), isNewer);
    std::sort(files.begin() + keep, files.end(), isNewer);
    for (auto file = files.crbegin(), end = file + (files.size() - keep); file != end; ++file)
        ::unlinkat(::dirfd(stream.get()), toLocalBytes(file->name).constData(), 0);
    return true;
}

} // namespace ZeCore
