// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// File names, paths and titles. Input: the name; a second line is the text of a title.

#include "Fuzz.h"

#include "http/HttpApi.h"
#include "util/PublicClass.h"

namespace {

bool isSlash(QChar c)
{
    return c == QLatin1Char('/') || c == QLatin1Char('\\');
}

/// Backwards from the end: what follows the last slash of either kind.
QString nameAfterSlash(const QString &url)
{
    QString name;
    for (int i = url.size() - 1; i >= 0; --i) {
        if (isSlash(url.at(i)))
            return name;
        name.prepend(url.at(i));
    }
    return QString();
}

/// Left to right: each occurrence of the extension is skipped.
QString withoutExtension(const QString &name)
{
    const QStringList fields = name.split(QLatin1Char('.'));
    if (fields.size() < 2)
        return name;
    const QString extension = QLatin1Char('.') + fields.last();
    QString rest;
    for (int i = 0; i < name.size();) {
        if (name.midRef(i).startsWith(extension))
            i += extension.size();
        else
            rest += name.at(i++);
    }
    return rest;
}

QString withBackslashes(const QString &path)
{
    return path.split(QLatin1Char('/')).join(QLatin1Char('\\'));
}

QString titleOf(const QString &title, const QString &text)
{
    const QStringList fields = title.split(QLatin1Char(']'));
    return fields.size() > 1 ? fields.first() + text : title;
}

} // namespace

void Fuzz::runTarget(Input &input)
{
    const QSharedPointer<PublicClass> &service = PublicClass::init();
    const QString name = input.takeLineText();
    const QString text = input.takeRestText();

    FUZZ_COMPARE(HttpApi::init()->getFileNameByUrl(name), nameAfterSlash(name));
    FUZZ_COMPARE(service->getSplitFileSubfix(name), withoutExtension(name));
    FUZZ_COMPARE(service->getLastDirName(name), withBackslashes(name));
    FUZZ_COMPARE(service->setWindowTitleChanged(name, text, false), titleOf(name, text));
    FUZZ_COMPARE(service->setWindowTitleChanged(name, text, true),
                 titleOf(name, text) + QLatin1Char('*'));
}
