// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// JSON trees: what any writer of the services writes, every reader reads back. Input: a
// line whose first character is "c" for the compact form; then a tree in which a letter
// says what follows:
//
//   [ ... ]   a list          { KEY line, node ... }   a map
//   " line    a text          L lines, empty line      a list of texts
//   # line    a double        i line   an integer      u line   an unsigned one
//   t f n     true, false, null

#include "Fuzz.h"

#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "util/PublicClass.h"

#include <cmath>

namespace {

/// A tree as a program would make it, and the one that readers give for it.
struct Tree
{
    QVariant made;
    QVariant read;
};

/// JSON has no lone surrogates, and Qt drops byte order marks.
QString validText(const QByteArray &bytes)
{
    QString text = QString::fromUtf8(bytes.constData(), bytes.size());
    while (text.startsWith(QChar(QChar::ByteOrderMark)))
        text.remove(0, 1);
    return text;
}

class TreeBuilder
{
public:
    explicit TreeBuilder(Fuzz::Input &input)
        : m_input(input)
    {
    }

    Tree take(int depth = 0)
    {
        constexpr int deep = 40;
        const auto kind = static_cast<char>(m_input.takeByte());
        switch (depth > deep ? 'n' : kind) {
        case '[':
            return takeList(depth);
        case '{':
            return takeMap(depth);
        case '#':
            return takeDouble();
        case 'i':
            return takeNumber(m_input.takeLine().toLongLong());
        case 'u':
            return takeNumber(m_input.takeLine().toULongLong());
        case 'L':
            return takeTexts();
        case 't':
            return {true, true};
        case 'f':
            return {false, false};
        case '"': {
            const QString text = validText(m_input.takeLine());
            return {text, text};
        }
        default:
            m_isEnded = kind == ']' || kind == '}';
            return {};
        }
    }

private:
    /// Whether the container goes on; the mark of its end has been taken otherwise.
    bool goesOn()
    {
        const bool isEnded = m_isEnded || m_input.atEnd();
        m_isEnded = false;
        return !isEnded;
    }

    Tree takeList(int depth)
    {
        QVariantList made;
        QVariantList read;
        while (!m_input.atEnd()) {
            const Tree child = take(depth + 1);
            if (!goesOn())
                break;
            made.append(child.made);
            read.append(child.read);
        }
        return {made, read};
    }

    Tree takeMap(int depth)
    {
        QVariantMap made;
        QVariantMap read;
        while (!m_input.atEnd()) {
            const QString key = validText(m_input.takeLine());
            const Tree child = take(depth + 1);
            if (!goesOn())
                break;
            made.insert(key, child.made);
            read.insert(key, child.read);
        }
        return {made, read};
    }

    Tree takeDouble()
    {
        const double value = m_input.takeLine().toDouble();
        return {value, std::isfinite(value) ? QVariant(value) : QVariant()};
    }

    template <typename Number>
    Tree takeNumber(Number value)
    {
        return {value, static_cast<double>(value)};
    }

    Tree takeTexts()
    {
        QStringList made;
        QVariantList read;
        for (QByteArray line = m_input.takeLine(); !line.isEmpty(); line = m_input.takeLine()) {
            made.append(validText(line));
            read.append(made.last());
        }
        return {made, read};
    }

    Fuzz::Input &m_input;
    bool m_isEnded = false;
};

bool isEmpty(const QVariant &read)
{
    return read.toMap().isEmpty() && read.toList().isEmpty();
}

struct Services
{
    HttpApi &http = *HttpApi::init();
    PublicClass &utility = *PublicClass::init();
    ZeFileManager &files = *ZeFileManager::init();
    Fuzz::MemoryFile file;
    QString path = file.path();
};

/// Readers give nothing for an empty tree.
void checkReaders(const Services &to, const QByteArray &bytes, const QVariant &read)
{
    const QVariant expected = isEmpty(read) ? QVariant() : read;
    FUZZ_COMPARE(to.http.getJsonVariant(bytes), expected);
    FUZZ_COMPARE(to.utility.getJsonVariant(bytes), expected);
    FUZZ_COMPARE(to.files.jsonToVariant(bytes), expected);
}

void checkFileReaders(const Services &to, const QVariant &read)
{
    FUZZ_COMPARE(to.http.getJsonVariant(to.path), read);
    FUZZ_COMPARE(to.utility.getJsonVariant(to.path), read);
    FUZZ_COMPARE(to.files.readJsonFile(to.path), read);
}

void checkFiles(const Services &to, const Tree &tree, QJsonDocument::JsonFormat format)
{
    const QByteArray before = "before";
    const bool isWritten = !isEmpty(tree.read);
    to.file.fill(before);
    FUZZ_COMPARE(to.utility.writeJsonFile(to.path, tree.made, format), isWritten);
    if (isWritten)
        checkFileReaders(to, tree.read);
    else
        FUZZ_COMPARE(to.utility.getLastError(),
                     QStringLiteral("Error:PublicClass::json format is incorrect"));
    const QByteArray byUtility = to.file.content();

    to.file.fill(before);
    FUZZ_COMPARE(to.files.writeJsonFile(to.path, tree.made, format), isWritten);
    if (!isWritten)
        FUZZ_COMPARE(ZeFileManager::getLastError(), QStringLiteral("Json format error:") + to.path);
    FUZZ_COMPARE(to.file.content(), isWritten ? byUtility : before);

    // From text instead of a tree, perhaps with the members in another order.
    const QVariant text = to.http.getJsonBytes(tree.made);
    const auto checkContent = [&] {
        if (isWritten)
            checkFileReaders(to, tree.read);
        FUZZ_COMPARE(to.file.content().size(), isWritten ? byUtility.size() : before.size());
    };
    to.file.fill(before);
    FUZZ_COMPARE(to.files.writeJsonFile(to.path, text, format), isWritten);
    checkContent();
    to.file.fill(before);
    FUZZ_COMPARE(to.utility.writeJsonFile(to.path, text, format), isWritten);
    checkContent();
}

/// The keys are those of the inner map, the texts those of the outer one.
void checkKeyTable(const Services &to, const QVariant &read)
{
    QMap<QString, QString> expected;
    const QVariantMap root = read.toMap();
    const QVariantMap inner = root.value(QStringLiteral("ShiftForge")).toMap();
    for (auto it = inner.begin(); it != inner.end(); ++it) {
        const QVariant text = root.value(it.key());
        expected[it.key()] = text.userType() == QMetaType::QString ? text.toString() : QString();
    }
    to.file.fill(to.http.getJsonBytes(read));
    FUZZ_COMPARE(to.utility.readKeyComparison(to.path), expected);
}

void checkBytes(const Services &to, const Tree &tree, QJsonDocument::JsonFormat format)
{
    const QByteArray bytes = to.utility.qVariantToByteArray(tree.made, format);
    switch (tree.made.userType()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
        checkReaders(to, bytes, tree.read);
        break;
    case QMetaType::QString:
        FUZZ_COMPARE(bytes, tree.made.toString().toUtf8());
        break;
    default:
        FUZZ_COMPARE(bytes, QByteArray());
        break;
    }
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    static const auto *const services = new Services;
    const auto format =
        input.takeLine().startsWith('c') ? QJsonDocument::Compact : QJsonDocument::Indented;
    const Tree tree = TreeBuilder(input).take();

    checkReaders(*services, services->http.getJsonBytes(tree.made), tree.read);
    checkBytes(*services, tree, format);
    checkFiles(*services, tree, format);
    checkKeyTable(*services, tree.read);
}
