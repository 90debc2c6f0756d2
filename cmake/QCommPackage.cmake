# SPDX-License-Identifier: MIT
# What a launcher team takes: the CMake packages of both libraries, and the archive made by CPack.

foreach(package IN ITEMS OrvelCommon OrvelQComm)
    set(QCOMM_CONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")
    configure_package_config_file("cmake/${package}Config.cmake.in" "${CMAKE_BINARY_DIR}/${package}Config.cmake"
        INSTALL_DESTINATION "${QCOMM_CONFIG_DIR}")
    write_basic_package_version_file("${CMAKE_BINARY_DIR}/${package}ConfigVersion.cmake"
        VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMajorVersion)
    install(FILES "${CMAKE_BINARY_DIR}/${package}Config.cmake" "${CMAKE_BINARY_DIR}/${package}ConfigVersion.cmake"
        DESTINATION "${QCOMM_CONFIG_DIR}" COMPONENT Development)
    install(EXPORT ${package}Targets NAMESPACE ${package}:: FILE ${package}Targets.cmake
        DESTINATION "${QCOMM_CONFIG_DIR}" COMPONENT Development)
endforeach()

if(WIN32 AND NOT MSVC)
    # The compiler's run-time libraries ship beside ours.
    foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
        execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${name}"
            OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
        if(IS_ABSOLUTE "${runtime}")
            install(FILES "${runtime}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime)
        endif()
    endforeach()
endif()

set(CPACK_PACKAGE_NAME OrvelQComm)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR "OrvelQComm")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_SYSTEM_NAME windows-x64)
else()
    set(CPACK_GENERATOR TGZ)
    set(CPACK_SYSTEM_NAME linux-x64)
endif()
include(CPack)
