# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later

include(CMakePackageConfigHelpers)

set(ZECORE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ZeCore")
set(ZECORE_TRANSLATIONS_DIR "${CMAKE_INSTALL_DATADIR}/ZeCore/translations")

install(TARGETS ZeCore EXPORT ZeCoreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
)

# The installed tree has the folders of the source tree, so that
# #include "log/ZeLog.h" is spelled alike in both.
foreach(header IN LISTS ZECORE_PUBLIC_HEADERS)
    get_filename_component(folder "${header}" DIRECTORY)
    install(FILES "${PROJECT_SOURCE_DIR}/${header}"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ZeCore/${folder}")
endforeach()

install(EXPORT ZeCoreTargets NAMESPACE ZeCore:: DESTINATION "${ZECORE_CMAKE_DIR}")
configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/ZeCoreConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/ZeCoreConfig.cmake"
    INSTALL_DESTINATION "${ZECORE_CMAKE_DIR}"
    PATH_VARS ZECORE_TRANSLATIONS_DIR
)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/ZeCoreConfigVersion.cmake"
    VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMajorVersion
)
install(FILES
    "${PROJECT_BINARY_DIR}/ZeCoreConfig.cmake"
    "${PROJECT_BINARY_DIR}/ZeCoreConfigVersion.cmake"
    DESTINATION "${ZECORE_CMAKE_DIR}"
)

# The pkg-config and the qmake file find the tree from where they lie themselves, so
# that it can be moved. BASE is how the file spells its own directory.
function(zecore_prefix_from base dir result)
    if(IS_ABSOLUTE "${dir}")
        set(${result} "${CMAKE_INSTALL_PREFIX}" PARENT_SCOPE)
    else()
        file(RELATIVE_PATH up "/${dir}" "/")
        string(REGEX REPLACE "/$" "" up "${up}")
        set(${result} "${base}/${up}" PARENT_SCOPE)
    endif()
endfunction()

# An absolute path of GNUInstallDirs stands alone, others follow the prefix.
function(zecore_join prefix dir result)
    if(IS_ABSOLUTE "${dir}")
        set(${result} "${dir}" PARENT_SCOPE)
    else()
        set(${result} "${prefix}/${dir}" PARENT_SCOPE)
    endif()
endfunction()

set(ZECORE_PC_LIBS)
set(ZECORE_PC_CFLAGS)
set(ZECORE_PRI_CONFIG "v2")
set(ZECORE_PRI_DEFINES)
if(NOT BUILD_SHARED_LIBS)
    set(ZECORE_PC_LIBS " -pthread")
    set(ZECORE_PC_CFLAGS " -DZECORE_STATIC")
    set(ZECORE_PRI_CONFIG "v2 staticlib")
    set(ZECORE_PRI_DEFINES "ZECORE_STATIC")
endif()

set(ZECORE_PC_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
zecore_prefix_from("\${pcfiledir}" "${ZECORE_PC_DIR}" ZECORE_PC_PREFIX)
zecore_join("\${prefix}" "${CMAKE_INSTALL_LIBDIR}" ZECORE_PC_LIBDIR)
zecore_join("\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}" ZECORE_PC_INCLUDEDIR)
configure_file("${PROJECT_SOURCE_DIR}/cmake/ZeCore.pc.in" "${PROJECT_BINARY_DIR}/ZeCore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ZeCore.pc" DESTINATION "${ZECORE_PC_DIR}")

# Where Qt itself is installed to the same prefix the way distributions do it, this
# is the directory in which its qmake looks; elsewhere QMAKEPATH names LIBDIR/qt5.
set(ZECORE_MKSPECS_DIR "${CMAKE_INSTALL_LIBDIR}/qt5/mkspecs" CACHE STRING
    "Where the qmake module file goes: a directory mkspecs of Qt's or of one's own")
set(ZECORE_PRI_DIR "${ZECORE_MKSPECS_DIR}/modules")
zecore_prefix_from("\$\$PWD" "${ZECORE_PRI_DIR}" prefix)
zecore_join("${prefix}" "${CMAKE_INSTALL_LIBDIR}" ZECORE_PRI_LIBDIR)
zecore_join("${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}" ZECORE_PRI_INCLUDEDIR)
configure_file("${PROJECT_SOURCE_DIR}/cmake/qt_lib_ZeCore.pri.in"
    "${PROJECT_BINARY_DIR}/qt_lib_ZeCore.pri" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/qt_lib_ZeCore.pri" DESTINATION "${ZECORE_PRI_DIR}")
