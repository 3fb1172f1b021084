// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef UNPRIVILEGED_H
#define UNPRIVILEGED_H

#include <QtCore/qglobal.h>

namespace TestSupport {

/// Takes root's rights away from the process while it lives, so that denied
/// permissions are denied to the tests of root as well. Does nothing for others.
class Unprivileged
{
public:
    Unprivileged();
    ~Unprivileged();
    Q_DISABLE_COPY(Unprivileged)

private:
    bool m_wasRoot;
};

} // namespace TestSupport

#endif // UNPRIVILEGED_H
