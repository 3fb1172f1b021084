// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef STDERRTO_H
#define STDERRTO_H

#include <QtCore/QByteArray>
#include <QtCore/QTemporaryFile>

namespace TestSupport {

/// Points the standard error of the process at another descriptor while it lives.
class StderrTo
{
public:
    explicit StderrTo(int descriptor);
    ~StderrTo();
    Q_DISABLE_COPY(StderrTo)

private:
    int m_saved;
};

/// Collects what the process writes to standard error while it lives.
class StderrCapture
{
public:
    StderrCapture();

    /// The bytes so far; forgets them.
    QByteArray take();

private:
    QTemporaryFile m_file;
    StderrTo m_redirection;
    qint64 m_taken = 0;
};

} // namespace TestSupport

#endif // STDERRTO_H
