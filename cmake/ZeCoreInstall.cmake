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

# Found from where the file itself lies, so that an installed tree can be moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(ZECORE_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(ZECORE_PC_PREFIX "\${pcfiledir}/${up}")
endif()
# pkg-config joins its paths to ${prefix}; an absolute GNUInstallDirs path stands alone.
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
        set(ZECORE_PC_${dir} "${CMAKE_INSTALL_${dir}}")
    else()
        set(ZECORE_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
    endif()
endforeach()
configure_file("${PROJECT_SOURCE_DIR}/cmake/ZeCore.pc.in" "${PROJECT_BINARY_DIR}/ZeCore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/ZeCore.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
