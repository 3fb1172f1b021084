// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Unprivileged.h"

#include <QtCore/QDebug>

#include <grp.h>
#include <unistd.h>

namespace TestSupport {

namespace {

constexpr unsigned nobody = 65534;

void check(int result)
{
    if (result != 0)
        qFatal("cannot change the user of the process");
}

} // namespace

Unprivileged::Unprivileged()
    : m_wasRoot(::geteuid() == 0)
{
    if (!m_wasRoot)
        return;
    check(::setgroups(0, nullptr));
    check(::setresgid(nobody, nobody, 0));
    check(::setresuid(nobody, nobody, 0));
}

Unprivileged::~Unprivileged()
{
    if (!m_wasRoot)
        return;
    check(::setresuid(0, 0, 0));
    check(::setresgid(0, 0, 0));
}

} // namespace TestSupport
