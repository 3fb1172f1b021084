// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef ZECOREGLOBAL_H
#define ZECOREGLOBAL_H

#include <QtCore/qglobal.h>

/// @file
/// Export macro of the library: every exported class carries it, everything
/// else stays inside `libZeCore.so`.

/// Exports a class from the shared library; nothing in a static one.
#if defined(ZECORE_STATIC)
#define ZECORE_EXPORT
#elif defined(ZECORE_BUILDING_LIBRARY)
#define ZECORE_EXPORT Q_DECL_EXPORT
#else
#define ZECORE_EXPORT Q_DECL_IMPORT
#endif

#endif // ZECOREGLOBAL_H
