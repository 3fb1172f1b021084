// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// JSON as text: all readers make the same of it, and what a strict reader of our own
// accepts. Input: the text.

#include "Fuzz.h"

#include "files/ZeFileManager.h"
#include "http/HttpApi.h"
#include "util/PublicClass.h"

#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

/// Reads JSON as RFC 8259 has it, by recursive descent. Whatever the RFC leaves open is
/// no longer "certain".
class StrictReader
{
public:
    explicit StrictReader(const QByteArray &text)
        : m_text(text)
    {
        skipSpace();
        const bool isContainer = peek() == '{' || peek() == '[';
        m_tree = takeValue(0);
        skipSpace();
        m_isValid = m_isValid && isContainer && m_next == m_text.size();
    }

    bool isValid() const { return m_isValid && m_isCertain; }
    const QVariant &tree() const { return m_tree; }

private:
    char peek() const { return m_next < m_text.size() ? m_text.at(m_next) : '\0'; }

    bool take(const char *word)
    {
        const auto size = static_cast<int>(qstrlen(word));
        const bool isThere = m_text.mid(m_next, size) == word;
        m_next += isThere ? size : 0;
        return isThere;
    }

    void expect(const char *word) { m_isValid = take(word) && m_isValid; }

    void skipSpace()
    {
        while (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')
            ++m_next;
    }

    QVariant takeValue(int depth)
    {
        constexpr int deep = 500;
        if (depth > deep)
            m_isCertain = m_isValid = false;
        skipSpace();
        if (!m_isValid)
            return QVariant();
        switch (peek()) {
        case '{':
            return takeObject(depth);
        case '[':
            return takeArray(depth);
        case '"':
            return takeString();
        case 't':
            expect("true");
            return true;
        case 'f':
            expect("false");
            return false;
        case 'n':
            expect("null");
            return QVariant();
        default:
            return takeNumber();
        }
    }

    QVariant takeObject(int depth)
    {
        QVariantMap object;
        expect("{");
        skipSpace();
        if (take("}"))
            return object;
        do {
            skipSpace();
            const QString key = takeString();
            skipSpace();
            expect(":");
            m_isCertain = m_isCertain && !object.contains(key);
            object.insert(key, takeValue(depth + 1));
            skipSpace();
        } while (m_isValid && take(","));
        expect("}");
        return object;
    }

    QVariant takeArray(int depth)
    {
        QVariantList array;
        expect("[");
        skipSpace();
        if (take("]"))
            return array;
        do {
            array.append(takeValue(depth + 1));
            skipSpace();
        } while (m_isValid && take(","));
        expect("]");
        return array;
    }

    int takeDigits()
    {
        int count = 0;
        for (; peek() >= '0' && peek() <= '9'; ++m_next)
            ++count;
        return count;
    }

    QVariant takeNumber()
    {
        const int start = m_next;
        take("-");
        const bool isZero = peek() == '0';
        const int digits = takeDigits();
        m_isValid = m_isValid && digits > 0 && (!isZero || digits == 1);
        if (take("."))
            m_isValid = takeDigits() > 0 && m_isValid;
        if (take("e") || take("E")) {
            if (!take("+"))
                take("-");
            m_isValid = takeDigits() > 0 && m_isValid;
        }
        errno = 0;
        const double value = std::strtod(m_text.mid(start, m_next - start).constData(), nullptr);
        m_isCertain = m_isCertain && errno == 0;
        return value;
    }

    char16_t takeUnit()
    {
        static const char digits[] = "0123456789abcdef0123456789ABCDEF";
        int unit = 0;
        for (int i = 0; i < 4; ++i, ++m_next) {
            const char c = peek();
            const char *const found = c ? std::strchr(digits, c) : nullptr;
            m_isValid = m_isValid && found;
            unit = unit * 16 + static_cast<int>(found ? found - digits : 0) % 16;
        }
        return static_cast<char16_t>(unit);
    }

    void takeEscape(QString &text)
    {
        static const char names[] = "\"\\/bfnrt";
        static const char meant[] = "\"\\/\b\f\n\r\t";
        const char c = peek();
        ++m_next;
        const char *const found = c ? std::strchr(names, c) : nullptr;
        if (found)
            text += QLatin1Char(meant[found - names]);
        else if (c == 'u')
            text += QChar(takeUnit());
        else
            m_isValid = false;
    }

    QString takeString()
    {
        expect("\"");
        QString text;
        int plain = m_next;
        const auto addPlain = [&] {
            const QByteArray bytes = m_text.mid(plain, m_next - plain);
            const QString part = Fuzz::toText(bytes);
            m_isValid = m_isValid && Fuzz::isValidText(part);
            // Qt drops a byte order mark.
            m_isCertain = m_isCertain && !part.startsWith(QChar(QChar::ByteOrderMark));
            text += part;
        };
        while (m_isValid && peek() != '"') {
            if (static_cast<unsigned char>(peek()) < 0x20) {
                m_isValid = false;
            } else if (peek() == '\\') {
                addPlain();
                ++m_next;
                takeEscape(text);
                plain = m_next;
            } else {
                ++m_next;
            }
        }
        addPlain();
        m_isCertain = m_isCertain && Fuzz::isValidText(text);
        expect("\"");
        return text;
    }

    const QByteArray &m_text;
    int m_next = 0;
    bool m_isValid = true;
    bool m_isCertain = true;
    QVariant m_tree;
};

/// Trees as the services hand them out.
bool isTree(const QVariant &node)
{
    switch (node.userType()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = node.toMap();
        return std::all_of(map.begin(), map.end(), isTree);
    }
    case QMetaType::QVariantList: {
        const QVariantList list = node.toList();
        return std::all_of(list.begin(), list.end(), isTree);
    }
    case QMetaType::Double:
    case QMetaType::Bool:
    case QMetaType::QString:
    case QMetaType::UnknownType:
        return true;
    default:
        return false;
    }
}

/// What the services are to say about a text.
struct Verdict
{
    QString problem; ///< the parser's text; empty if there is none
    bool isEmpty = false;

    bool isFailure() const { return isEmpty || !problem.isEmpty(); }
};

Verdict verdictOn(const QByteArray &text)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return {error.errorString(), false};
    const QVariant tree = document.toVariant();
    return {QString(), tree.toMap().isEmpty() && tree.toList().isEmpty()};
}

const QString emptyText = QStringLiteral("jsonDocument.isEmpty()");

QString tagged(const char *operation, const QString &text)
{
    return QStringLiteral("W [warning][%1] ").arg(QLatin1String(operation)) + text;
}

QVariant checkHttp(const QByteArray &text, const Verdict &verdict)
{
    HttpApi &http = *HttpApi::init();
    const QVariant tree = http.getJsonVariant(text);
    QStringList messages;
    if (verdict.isFailure()) {
        const QString reason = verdict.isEmpty ? emptyText : verdict.problem;
        const QString detail =
            verdict.isEmpty ? QLatin1Char('[') + reason + QLatin1Char(']') : reason;
        messages << tagged("getJsonVariant", QStringLiteral("[ ") + detail + QStringLiteral(" ]"))
                 << QStringLiteral("D !!!!Error:  \"") + reason + QLatin1Char('"');
        FUZZ_COMPARE(http.lastError(), reason);
    }
    FUZZ_COMPARE(Fuzz::takeMessages(), messages);
    return tree;
}

QVariant checkUtility(const QByteArray &text, const Verdict &verdict)
{
    PublicClass &service = *PublicClass::init();
    const QVariant tree = service.getJsonVariant(text);
    const QString reason = verdict.isEmpty
        ? QLatin1Char('[') + emptyText + QLatin1Char(']')
        : QStringLiteral("[ ") + verdict.problem + QStringLiteral(" ]");
    const QStringList messages =
        verdict.isFailure() ? QStringList{tagged("getJsonVariant", reason)} : QStringList();
    FUZZ_COMPARE(Fuzz::takeMessages(), messages);

    service.setLastError(QString());
    FUZZ_COMPARE(service.isJson(text), !verdict.isFailure());
    const QString shown = verdict.isEmpty ? QStringLiteral("json:")
            + QString::fromUtf8(text.constData()) + QStringLiteral(" is empty")
        : verdict.problem.isEmpty() ? QString()
                                    : QStringLiteral("isJson:") + verdict.problem;
    FUZZ_COMPARE(service.getLastError(), QStringLiteral("Error:PublicClass::") + shown);
    FUZZ_COMPARE(Fuzz::takeMessages(), QStringList());

    QString value;
    QStringList valueMessages;
    if (verdict.isFailure())
        valueMessages << tagged("getValueFromJson", reason);
    else if (tree.userType() == QMetaType::QVariantList)
        valueMessages << QStringLiteral("D [debug][getValueFromJson] [jsonDocument.isArray]");
    else
        value = tree.toMap().last().toString();
    FUZZ_COMPARE(service.getValueFromJson(text), value);
    FUZZ_COMPARE(Fuzz::takeMessages(), valueMessages);
    return tree;
}

QVariant checkFileManager(const QByteArray &text, const Verdict &verdict)
{
    const QVariant tree = ZeFileManager::init()->jsonToVariant(text);
    QStringList messages;
    if (verdict.isFailure()) {
        const QString reason = verdict.isEmpty ? emptyText : verdict.problem;
        QString detail = reason;
        if (!verdict.isEmpty && text.size() < 1024)
            detail += QStringLiteral(" json: ") + QString::fromUtf8(text.constData(), text.size());
        messages << tagged("jsonToVariant", detail)
                 << tagged("setLastError", QStringLiteral("[ ") + reason + QStringLiteral(" ]"));
        FUZZ_COMPARE(ZeFileManager::getLastError(), reason);
    }
    FUZZ_COMPARE(Fuzz::takeMessages(), messages);
    return tree;
}

/// No document, whatever a parser may overlook.
bool isHopeless(const QByteArray &text)
{
    const QByteArray rest = text.trimmed();
    return rest.isEmpty() || !(rest.endsWith('}') || rest.endsWith(']'));
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QByteArray text = input.takeRest();
    const Verdict verdict = verdictOn(text);
    const QVariant tree = checkHttp(text, verdict);
    FUZZ_COMPARE(checkUtility(text, verdict), tree);
    FUZZ_COMPARE(checkFileManager(text, verdict), tree);

    FUZZ_CHECK(tree.isValid() != verdict.isFailure());
    FUZZ_CHECK(isTree(tree));
    if (isHopeless(text))
        FUZZ_COMPARE(tree, QVariant());
    const StrictReader reader(text);
    if (reader.isValid())
        FUZZ_COMPARE(tree, verdict.isEmpty ? QVariant() : reader.tree());
}

/// Qt 5.15 loses a list or map whose key comes again in the same object.
extern "C" const char *__lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libQt5Core.so\n";
}
