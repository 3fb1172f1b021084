// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/StderrTo.h"

#include <QtCore/QFile>

#include <unistd.h>

namespace TestSupport {

namespace {

int openedHandle(QTemporaryFile &file)
{
    if (!file.open())
        qFatal("no temporary file");
    return file.handle();
}

} // namespace

StderrTo::StderrTo(int descriptor)
    : m_saved(::dup(STDERR_FILENO))
{
    ::dup2(descriptor, STDERR_FILENO);
}

StderrTo::~StderrTo()
{
    ::dup2(m_saved, STDERR_FILENO);
    ::close(m_saved);
}

StderrCapture::StderrCapture()
    : m_redirection(openedHandle(m_file))
{
}

QByteArray StderrCapture::take()
{
    QFile file(m_file.fileName());
    if (!file.open(QIODevice::ReadOnly) || !file.seek(m_taken))
        return QByteArray();
    const QByteArray bytes = file.readAll();
    m_taken += bytes.size();
    return bytes;
}

} // namespace TestSupport
