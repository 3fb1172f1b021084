// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Trial.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/stat.h>

namespace Faults {

namespace {

Tree treeBelow(const QString &directory)
{
    constexpr qint64 large = 1000000;
    Tree tree;
    QDirIterator entries(directory,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        const QFileInfo info = entries.fileInfo();
        if (info.isSymLink())
            tree.insert(path, "link to " + info.symLinkTarget().toUtf8());
        else if (info.isDir())
            tree.insert(path, "directory");
        else if (info.isFile())
            tree.insert(path, info.size() > large ? "large" : "file " + Trial::get(path));
        else
            tree.insert(path, "special");
    }
    return tree;
}

bool isAtOrBelow(const QString &path, const QString &other)
{
    return other == path || other.startsWith(path + '/');
}

QString shown(const QByteArray &content)
{
    constexpr int most = 60;
    return QString::fromUtf8(content.left(most)) + (content.size() > most ? "..." : "");
}

} // namespace

Trial::Trial(QString directory, const State &state)
    : m_directory(std::move(directory))
    , m_state(state)
{
}

QString Trial::path(const QString &relative) const
{
    return relative.isEmpty() ? m_directory + "/home" : m_directory + "/home/" + relative;
}

QString Trial::programPath(const QString &relative) const
{
    return relative.isEmpty() ? m_directory + "/home/program"
                              : m_directory + "/home/program/" + relative;
}

QString Trial::temporaryPath() const
{
    return m_directory + "/tmp";
}

void Trial::put(const QString &path, const QByteArray &content, unsigned mode)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    file.close();
    ::chmod(QFile::encodeName(path).constData(), mode);
}

QByteArray Trial::get(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    const QByteArray content = file.readAll();
    return content.isNull() ? QByteArray("") : content;
}

bool Trial::losesBytes() const
{
    return (isDisturbedIn(Write) || isDisturbedIn(KernelCopy))
        && (m_state.plan.kind == Kind::FullDisk
            || (m_state.plan.kind == Kind::Error && m_state.plan.error != EINTR));
}

bool Trial::hasLineWith(const QString &part) const
{
    return std::any_of(m_lines.begin(), m_lines.end(),
                       [&part](const QString &line) { return line.contains(part); });
}

void Trial::require(bool condition, const QString &complaint)
{
    if (!condition)
        m_complaints += "    " + complaint.toUtf8() + '\n';
}

void Trial::requireFailure(const QStringList &parts)
{
    requireReason();
    const bool told = std::any_of(parts.begin(), parts.end(),
                                  [this](const QString &part) { return hasLineWith(part); });
    require(told,
            "it failed without any of the texts [" + parts.join(" / ") + "] but with ["
                + m_lines.join(" / ") + "]");
}

void Trial::requireReason()
{
    require(isDisturbed(), "it failed for no reason: " + m_lines.join(" / "));
}

void Trial::requireUnchanged(const QString &path)
{
    requireUnchanged([&path](const QString &other) { return isAtOrBelow(path, other); });
}

void Trial::requireUnchangedBeside(const QString &path)
{
    requireUnchanged([&path](const QString &other) { return !isAtOrBelow(path, other); });
}

void Trial::requireUnchanged(const std::function<bool(const QString &)> &concerns)
{
    for (auto old = m_before.cbegin(); old != m_before.cend(); ++old) {
        if (concerns(old.key()))
            require(m_after.value(old.key()) == old.value(),
                    old.key() + " was [" + shown(old.value()) + "], is ["
                        + shown(m_after.value(old.key())) + "]");
    }
    for (auto now = m_after.cbegin(); now != m_after.cend(); ++now) {
        if (concerns(now.key()))
            require(m_before.contains(now.key()),
                    now.key() + " is new: [" + shown(now.value()) + "]");
    }
}

void Trial::requireOldOr(const QString &path, const QByteArray &content)
{
    const QByteArray now = m_after.value(path);
    require(now == m_before.value(path) || now == "file " + content,
            path + " is neither old nor new: [" + shown(now) + "]");
}

void Trial::requireContent(const QString &path, const QByteArray &content)
{
    require(m_after.value(path) == "file " + content,
            path + " should be [" + shown(content) + "], is [" + shown(m_after.value(path)) + "]");
}

void Trial::requireMissing(const QString &path)
{
    require(!m_after.contains(path), path + " is there");
}

void Trial::noteBefore()
{
    m_before = treeBelow(path());
}

void Trial::noteAfter()
{
    m_after = treeBelow(path());
}

} // namespace Faults
