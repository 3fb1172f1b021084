// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/BaseObject.h"

#include "core/LogTag_p.h"

BaseObject::BaseObject(QObject *parent)
    : QObject(parent)
{
}

const QString &BaseObject::lastError() const
{
    return m_lastError;
}

void BaseObject::setLastError(const QString &error)
{
    // The caller may pass lastError() itself; the log still shows it as given.
    const QString given = error;
    m_lastError = given;
    m_lastError.remove(QLatin1Char('\n'));
    ZeCore::logWarning("setLastError") << "[" << given << "]";
}
