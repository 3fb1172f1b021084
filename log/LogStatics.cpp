// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Storage of the logger's static members.
//
// Messages are logged before main() by static constructors and after it by
// static destructors, and a writer thread that was left running goes on until
// the process is gone. So these objects are constructed before every other
// static of the library (initialisation priority) and never destroyed (a union
// does not destroy its member). Programs use them under their own names and
// types, which a union would change; therefore each is defined here under the
// linker name of the member that ZeLog.h declares, and ZeLog.h is not included.

#include "core/ZeCoreGlobal.h"

#include <QtCore/QMutex>
#include <QtCore/QSemaphore>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ZeCore {

template <typename Object>
union NeverDestroyed {
    Object object;

    NeverDestroyed()
        : object()
    {
    }
    // NOLINTNEXTLINE(modernize-use-equals-default): a defaulted one would be deleted
    ~NeverDestroyed() { }
    Q_DISABLE_COPY(NeverDestroyed)
};

static_assert(sizeof(NeverDestroyed<QStringList>) == sizeof(QStringList), "same storage");
static_assert(sizeof(NeverDestroyed<QMutex>) == sizeof(QMutex), "same storage");
static_assert(sizeof(NeverDestroyed<QSemaphore>) == sizeof(QSemaphore), "same storage");

} // namespace ZeCore

// NOLINTBEGIN(bugprone-macro-parentheses): types and names take none
// 101 is the first initialisation priority that is not reserved.
#define ZELOG_STATIC(Type, variable, linkerName)                                                   \
    extern ZECORE_EXPORT ZeCore::NeverDestroyed<Type> variable __asm__(linkerName);                \
    ZeCore::NeverDestroyed<Type> variable __attribute__((init_priority(101)));
// NOLINTEND(bugprone-macro-parentheses)

// In this order: the names of files, then the queue and what guards it.
ZELOG_STATIC(QString, zeLogLogName, "_ZN5ZeLog9s_LogNameE")
ZELOG_STATIC(QString, zeLogSysLogName, "_ZN5ZeLog12s_SysLogNameE")
ZELOG_STATIC(QString, zeLogCurrentDateStr, "_ZN5ZeLog16g_currentDateStrE")
ZELOG_STATIC(QStringList, zeLogStringList, "_ZN5ZeLog11_stringListE")
ZELOG_STATIC(QMutex, zeLogMutex, "_ZN5ZeLog6_mutexE")
ZELOG_STATIC(QSemaphore, zeLogSynSem, "_ZN5ZeLog7_synSemE")
