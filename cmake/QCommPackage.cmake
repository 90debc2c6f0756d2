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

option(QCOMM_PACKAGE_QT "Put the Qt DLLs that ours run with into the package (Windows)" OFF)
if(WIN32 AND QCOMM_PACKAGE_QT)
    foreach(module IN ITEMS Core Network Gui Widgets)
        get_target_property(dll Qt5::${module} IMPORTED_LOCATION_RELEASE)
        install(FILES "${dll}" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Qt)
    endforeach()
    # Qt looks for its plugins in folders beside the program; see run-launcher.cmd for a program elsewhere.
    get_target_property(dll Qt5::QWindowsIntegrationPlugin IMPORTED_LOCATION_RELEASE)
    install(FILES "${dll}" DESTINATION "${CMAKE_INSTALL_BINDIR}/platforms" COMPONENT Qt)
endif()

install(FILES README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT Documentation)
install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/docs" COMPONENT Documentation
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN licenses EXCLUDE PATTERN reference EXCLUDE)
if(QCOMM_BUILD_ENGINE)
    install(FILES engine/README.md DESTINATION "${CMAKE_INSTALL_DOCDIR}/engine" COMPONENT Documentation)
endif()
# Made by the target api_reference; without Doxygen, or when nobody has built it, the package goes without.
install(DIRECTORY "${CMAKE_BINARY_DIR}/api-reference/html/" DESTINATION "${CMAKE_INSTALL_DOCDIR}/api" OPTIONAL
    COMPONENT Documentation)

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
set(CPACK_PACKAGE_FILE_NAME "${CPACK_PACKAGE_NAME}-${CPACK_PACKAGE_VERSION}-${CPACK_SYSTEM_NAME}")
set(CPACK_PACKAGE_CHECKSUM SHA256)
include(CPack)
