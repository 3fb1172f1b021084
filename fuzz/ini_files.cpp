// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// readIni() and writeIni(). Input: a line with the key; then "r" and the content of a file
// to read from, or the letter of a type and the value to write.

#include "Fuzz.h"

#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// "a//b/" as "a/b".
QString normalized(const QString &key)
{
    QStringList names = key.split(QLatin1Char('/'));
    names.removeAll(QString());
    return names.join(QLatin1Char('/'));
}

bool isOneOf(char c, const char *others)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || (c != '\0' && std::strchr(others, c));
}

bool consistsOf(const QByteArray &text, const char *others)
{
    return std::all_of(text.begin(), text.end(), [others](char c) { return isOneOf(c, others); });
}

/// A name that Qt takes for that of the group without a name, in another spelling.
bool isOtherGeneral(const QString &name)
{
    const QString general = QStringLiteral("General");
    return name != general && name.compare(general, Qt::CaseInsensitive) == 0;
}

/// A file in which nothing is special: the values by key; nothing if something is.
std::optional<std::map<QString, QString>> plainValues(const QByteArray &content)
{
    std::map<QString, QString> values;
    QString group;
    const QList<QByteArray> lines = content.split('\n');
    for (const QByteArray &line : lines) {
        const QByteArray text = line.trimmed();
        if (line.contains('\r') || line.contains('\v') || line.contains('\f'))
            return std::nullopt;
        if (text.isEmpty())
            continue;
        if (line.startsWith('[') && line.endsWith(']')) {
            const QByteArray name = line.mid(1, line.size() - 2);
            if (name.isEmpty() || !consistsOf(name, "_-."))
                return std::nullopt;
            if (isOtherGeneral(QString::fromLatin1(name)))
                return std::nullopt;
            group = name == "General" ? QString() : QString::fromLatin1(name) + QLatin1Char('/');
            continue;
        }
        const int sign = line.indexOf('=');
        const QByteArray key = line.left(sign);
        const QByteArray value = line.mid(sign + 1);
        if (sign < 1 || !consistsOf(key, "_-.") || !consistsOf(value, "_-./:+= "))
            return std::nullopt;
        values[group + QString::fromLatin1(key)] = QString::fromLatin1(value.trimmed());
    }
    return values;
}

void checkReader(const QString &key, const QByteArray &content)
{
    // Such a value is a QVariant in Qt's binary form, which is Qt's to read.
    if (content.contains("@Variant") || content.contains("@DateTime"))
        return;
    static const auto *const file = new Fuzz::MemoryFile;
    file->fill(content);
    const QVariant value = PublicClass::init()->readIni(file->path(), key);
    FUZZ_COMPARE(file->content(), content);

    const auto values = plainValues(content);
    const QString name = normalized(key);
    if (!values || name.isEmpty())
        return;
    const auto found = values->find(name);
    FUZZ_COMPARE(value, found == values->end() ? QVariant() : QVariant(found->second));
}

/// The file below the application directory, as writeIni() wants it, and by itself.
struct Paths
{
    QString written;
    QString relative;
    QString read;
};

const Paths &paths()
{
    static const auto *const all = [] {
        const QString written = Fuzz::scratchDirectory() + QStringLiteral("/written.ini");
        return new Paths{written,
                         QDir(QCoreApplication::applicationDirPath()).relativeFilePath(written),
                         Fuzz::scratchDirectory() + QStringLiteral("/read.ini")};
    }();
    return *all;
}

/// Qt remembers files by path, size and time; this one is new to it.
void renew(const QString &path)
{
    static time_t second = 0;
    const timespec times[] = {{++second, 0}, {second, 0}};
    FUZZ_CHECK(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0);
}

/// The value as it is written, and the one that is read back.
struct Value
{
    QVariant written;
    QVariant expected;
};

Value valueOf(char type, const QByteArray &bytes)
{
    const QString text = Fuzz::toText(bytes);
    switch (type) {
    case 'l': {
        // One text is read back as such.
        const QStringList list = text.split(QLatin1Char('\n'));
        return {list, list.size() == 1 ? QVariant(text) : QVariant(list)};
    }
    case 'b':
        return {bytes, bytes};
    case 'i':
        return {bytes.toInt(), QString::number(bytes.toInt())};
    case 't':
        return {!bytes.isEmpty(),
                bytes.isEmpty() ? QStringLiteral("false") : QStringLiteral("true")};
    default:
        return {text, text};
    }
}

/// Qt hands a list of texts out in another container if there is a NUL in it.
QVariant readBack(const QString &key)
{
    const QVariant value = PublicClass::init()->readIni(paths().read, key);
    return value.userType() == QMetaType::QVariantList ? QVariant(value.toStringList()) : value;
}

void checkRoundTrip(const QString &key, char type, const QByteArray &bytes)
{
    const QString name = normalized(key);
    if (name.isEmpty() || isOtherGeneral(name.section(QLatin1Char('/'), 0, 0)))
        return;
    const QSharedPointer<PublicClass> &service = PublicClass::init();
    const Value value = valueOf(type, bytes);
    const QString other =
        name == QLatin1String("other") ? QStringLiteral("another") : QStringLiteral("other");
    QFile::remove(paths().written);
    service->writeIni(paths().relative, other, QStringLiteral("value"));
    service->writeIni(paths().relative, key, value.written);

    QFile::remove(paths().read);
    FUZZ_CHECK(QFile::rename(paths().written, paths().read));
    renew(paths().read);
    FUZZ_COMPARE(readBack(key), value.expected);
    FUZZ_COMPARE(readBack(other), QVariant(QStringLiteral("value")));
    FUZZ_COMPARE(QDir(Fuzz::scratchDirectory()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList{QStringLiteral("read.ini")});
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QString key = input.takeLineText();
    const auto type = static_cast<char>(input.takeByte());
    const QByteArray rest = input.takeRest();
    if (type == 'r')
        checkReader(key, rest);
    else
        checkRoundTrip(key, type, rest);
}
