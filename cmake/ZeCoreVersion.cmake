# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later

# The version has one home, the public header: programs see it in the source
# tree as in an installed one, and the project takes it from there.
set(header "${CMAKE_CURRENT_SOURCE_DIR}/core/ZeCoreGlobal.h")
file(READ "${header}" text)
foreach(part IN ITEMS MAJOR MINOR PATCH)
    if(NOT text MATCHES "#define ZECORE_VERSION_${part} ([0-9]+)\n")
        message(FATAL_ERROR "${header} has no ZECORE_VERSION_${part}")
    endif()
    set(ZECORE_VERSION_${part} "${CMAKE_MATCH_1}")
endforeach()
set(ZECORE_VERSION "${ZECORE_VERSION_MAJOR}.${ZECORE_VERSION_MINOR}.${ZECORE_VERSION_PATCH}")
if(NOT text MATCHES "#define ZECORE_VERSION_STR \"${ZECORE_VERSION}\"\n")
    message(FATAL_ERROR "ZECORE_VERSION_STR in ${header} is not \"${ZECORE_VERSION}\"")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
unset(header)
unset(text)
