// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef CAPTURE_H
#define CAPTURE_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

namespace TestSupport {

/// Catches every message of the process while it lives, as "D text", "W text",
/// "C text" or "I text" by severity. One at a time; any thread may log.
class Capture
{
public:
    Capture();
    ~Capture();
    Q_DISABLE_COPY(Capture)

    /// The messages so far, in order.
    QStringList lines() const;
    /// The messages so far; forgets them.
    QStringList take();

private:
    QtMessageHandler m_previous;
};

} // namespace TestSupport

#endif // CAPTURE_H
