# SPDX-License-Identifier: MIT
# How our own code is compiled: the language, the warnings, the Qt hardening and the sanitizers, as INTERFACE targets
# that each of our targets links privately.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(qcomm_warnings INTERFACE)
if(MSVC)
    # C4251, C4275: members and bases without dllexport. The launcher is built with the same compiler and Qt.
    target_compile_options(qcomm_warnings INTERFACE /W4 /WX /wd4251 /wd4275 /utf-8 /permissive- /Zc:__cplusplus)
else()
    target_compile_options(qcomm_warnings INTERFACE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
endif()

# Log records carry the source path relative to the project, whatever folder it was built in.
if(NOT MSVC)
    target_compile_options(qcomm_warnings INTERFACE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
endif()

add_library(qcomm_qt_hardening INTERFACE)
target_compile_definitions(qcomm_qt_hardening INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_FOREACH
    QT_STRICT_ITERATORS
    QT_DEPRECATED_WARNINGS)
if(WIN32)
    target_compile_definitions(qcomm_qt_hardening INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
endif()

add_library(qcomm_build INTERFACE)
target_link_libraries(qcomm_build INTERFACE qcomm_warnings qcomm_qt_hardening)

if(QCOMM_SANITIZE)
    add_compile_options("-fsanitize=${QCOMM_SANITIZE}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options("-fsanitize=${QCOMM_SANITIZE}")
endif()

# The name of a shared library of ours on each platform: OrvelQComm.dll, libOrvelQComm.so.1.
function(qcomm_shared_library_properties target)
    set_target_properties(${target} PROPERTIES
        VERSION "${PROJECT_VERSION}"
        SOVERSION "${PROJECT_VERSION_MAJOR}")
    if(WIN32)
        # No version suffix: the launcher looks for OrvelQComm.dll.
        set_target_properties(${target} PROPERTIES PREFIX "" DLL_NAME_WITH_SOVERSION OFF)
    else()
        set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
        if(NOT QCOMM_SANITIZE)
            target_link_options(${target} PRIVATE LINKER:--no-undefined)
        endif()
    endif()
endfunction()

# A version resource, shown by the file properties of the DLL.
function(qcomm_version_resource target description)
    if(NOT WIN32)
        return()
    endif()
    set(QCOMM_RC_DESCRIPTION "${description}")
    set(QCOMM_RC_NAME "${target}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/version.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc" @ONLY)
    target_sources(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc")
endfunction()
