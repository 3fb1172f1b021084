// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include <QtCore/QStringList>

namespace {

constexpr QLatin1Char dot('.');
constexpr QLatin1Char versionLetter('v');

/// Hands out the fields between the dots of a text one by one, without copies.
class Fields
{
public:
    explicit Fields(const QString &text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_next > m_text.size(); }

    /// The next field as a number; 0 if it is none.
    int next()
    {
        const int found = m_text.indexOf(dot, m_next);
        const int end = found < 0 ? m_text.size() : found;
        const int value = m_text.midRef(m_next, end - m_next).toInt();
        m_next = end + 1;
        return value;
    }

private:
    const QString &m_text;
    int m_next = 0;
};

/// A label such as "GY-1_2_3".
struct GyroLabel
{
    QString prefix;
    QString version;
};

/// Takes @p label apart; false if there is no "-" in it.
bool splitGyroLabel(const QString &label, GyroLabel &parts)
{
    const QStringList fields = label.split(QLatin1Char('-'));
    if (fields.size() < 2)
        return false;
    parts.prefix = fields.at(0);
    parts.version = fields.at(1);
    return true;
}

/// "_" may stand for "." in the first label of a comparison only: callers rely
/// on the second one being taken as it is.
bool splitGyroLabels(const QString &a, const QString &b, GyroLabel &first, GyroLabel &second)
{
    if (!splitGyroLabel(a, first) || !splitGyroLabel(b, second))
        return false;
    first.version.replace(QLatin1Char('_'), dot);
    return true;
}

void simplify(GyroLabel &label)
{
    label.prefix = label.prefix.simplified();
    label.version = label.version.simplified();
}

} // namespace

bool PublicClass::isLowVersion(QString a, QString b)
{
    a.remove(versionLetter);
    b.remove(versionLetter);
    if (!a.contains(dot) || !b.contains(dot))
        return true;
    if (a == b)
        return false;
    Fields fieldsOfA(a);
    Fields fieldsOfB(b);
    while (!fieldsOfA.atEnd() && !fieldsOfB.atEnd()) {
        const int fieldOfA = fieldsOfA.next();
        const int fieldOfB = fieldsOfB.next();
        if (fieldOfA != fieldOfB)
            return fieldOfA < fieldOfB;
    }
    // Texts that differ, but not in a common number, are lower in both
    // directions; callers rely on it.
    return true;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers are built against it
bool PublicClass::isSameGyroVersion(QString a, QString b)
{
    GyroLabel first;
    GyroLabel second;
    if (!splitGyroLabels(a, b, first, second))
        return false;
    simplify(first);
    simplify(second);
    if (first.prefix != second.prefix)
        return false;
    first.version.remove(versionLetter);
    second.version.remove(versionLetter);
    return first.version.contains(dot) && first.version == second.version;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers are built against it
bool PublicClass::isLowGyroVersion(QString a, QString b)
{
    GyroLabel first;
    GyroLabel second;
    if (!splitGyroLabels(a, b, first, second) || first.prefix != second.prefix)
        return true;
    // The other way round than the name says; callers rely on it.
    return isLowVersion(second.version, first.version);
}

QString PublicClass::getSplitFileSubfix(QString name) const
{
    const int lastDot = name.lastIndexOf(dot);
    if (lastDot < 0)
        return name;
    // Everywhere in the name, not only at its end; callers rely on it.
    const QString extension = name.mid(lastDot);
    return name.remove(extension);
}
