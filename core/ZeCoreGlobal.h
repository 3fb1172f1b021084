// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef ZECOREGLOBAL_H
#define ZECOREGLOBAL_H

#include <QtCore/qglobal.h>

/// @file
/// Version and export macro of the library.

/// First part of the version, from which the build takes the project's: another one
/// has another binary interface.
#define ZECORE_VERSION_MAJOR 1
/// Second part of the version: a higher one has more to offer.
#define ZECORE_VERSION_MINOR 0
/// Third part of the version: a higher one has faults removed.
#define ZECORE_VERSION_PATCH 0
/// The version as text, for example for a log line.
#define ZECORE_VERSION_STR "1.0.0"

/// The version as one number, 0xMMNNPP, for comparisons in the preprocessor:
/// `#if ZECORE_VERSION >= QT_VERSION_CHECK(1, 2, 0)`. It is that of the headers
/// which a program is compiled with.
#define ZECORE_VERSION                                                                             \
    ((ZECORE_VERSION_MAJOR << 16) | (ZECORE_VERSION_MINOR << 8) | ZECORE_VERSION_PATCH)

/// @def ZECORE_EXPORT
/// Every exported class carries it, everything else stays inside `libZeCore.so`.
/// Programs that link the static library define ZECORE_STATIC; the CMake,
/// pkg-config and qmake files do it for them.
#if defined(ZECORE_STATIC)
#define ZECORE_EXPORT
#elif defined(ZECORE_BUILDING_LIBRARY)
#define ZECORE_EXPORT Q_DECL_EXPORT
#else
#define ZECORE_EXPORT Q_DECL_IMPORT
#endif

#endif // ZECOREGLOBAL_H
