// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// addLogDirList(). Input: a line with the base directory, then the list of directories.

#include "Fuzz.h"

#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include <vector>

#include <sys/stat.h>

namespace {

struct Entry
{
    QString name;
    QString path;
};

/// One pass over the characters, with the blanks that are due.
class Scanner
{
public:
    void add(QChar c)
    {
        if (c == QLatin1Char('|')) {
            end();
        } else if (c.isSpace()) {
            m_isBlankDue = m_isBegun;
        } else {
            if (m_isBlankDue)
                put(QLatin1Char(' '));
            m_isBlankDue = false;
            put(c);
        }
    }

    void end()
    {
        if (m_colons == 1)
            m_entries.push_back(m_entry);
        m_entry = Entry();
        m_colons = 0;
        m_isBegun = false;
        m_isBlankDue = false;
    }

    const std::vector<Entry> &entries() const { return m_entries; }

private:
    void put(QChar c)
    {
        m_isBegun = true;
        if (c == QLatin1Char(':'))
            ++m_colons;
        else
            (m_colons == 0 ? m_entry.name : m_entry.path) += c;
    }

    std::vector<Entry> m_entries;
    Entry m_entry;
    int m_colons = 0;
    bool m_isBegun = false;
    bool m_isBlankDue = false;
};

enum class Found { Nothing, File, Directory };

Found lookUp(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (path.isEmpty() || name.contains('\0') || ::stat(name.constData(), &status) != 0)
        return Found::Nothing;
    return S_ISDIR(status.st_mode) ? Found::Directory : Found::File;
}

/// What an entry of the catalogue should be, whatever its time.
void checkEntry(const QVariant &value, const QString &path, const QString &name)
{
    const QVariantMap entry = value.toMap();
    FUZZ_COMPARE(entry.size(), 3);
    FUZZ_COMPARE(entry.value(QStringLiteral("file_path")), QVariant(path));
    FUZZ_COMPARE(entry.value(QStringLiteral("dir_name")), QVariant(name));
    const QVariant time = entry.value(QStringLiteral("created_date_time"));
    FUZZ_COMPARE(time.userType(), int(QMetaType::QDateTime));
    FUZZ_COMPARE(time.toDateTime().isValid(), lookUp(path) != Found::Nothing);
}

/// Without what Qt says about a path with a NUL.
QStringList messagesOfLibrary()
{
    QStringList messages = Fuzz::takeMessages();
    messages.removeAll(QStringLiteral("W Broken filename passed to function"));
    return messages;
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QString base = input.takeLineText();
    const QString list = input.takeRestText();

    Scanner scanner;
    for (const QChar c : list)
        scanner.add(c);
    scanner.end();

    QMap<QString, QString> names;
    QStringList messages;
    for (const Entry &entry : scanner.entries()) {
        const QString path = entry.path.startsWith(QLatin1Char('/'))
            ? entry.path
            : base + QLatin1Char('/') + entry.path;
        names[path] = entry.name;
        messages += (lookUp(path) == Found::Directory
                         ? QStringLiteral("D [debug][addLogDirList] [目录存在: ")
                         : QStringLiteral("W [warning][addLogDirList] [目录不存在: "))
            + path + QStringLiteral(" ]");
    }

    const QString otherKey = QStringLiteral("no path");
    QMap<QString, QVariant> catalogue{{otherKey, QVariant(1)}};
    PublicClass::init()->addLogDirList(catalogue, base, list);

    FUZZ_COMPARE(messagesOfLibrary(), messages);
    FUZZ_COMPARE(catalogue.take(otherKey), QVariant(1));
    FUZZ_COMPARE(catalogue.keys(), names.keys());
    for (auto it = names.cbegin(); it != names.cend(); ++it)
        checkEntry(catalogue.value(it.key()), it.key(), it.value());
}
