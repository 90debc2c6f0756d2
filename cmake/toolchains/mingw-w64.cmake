# SPDX-License-Identifier: MIT
# Windows x86-64 from Linux: mingw-w64 with posix threads, Qt as scripts/setup leaves it in the cache, Wine to run what
# was built.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QCOMM_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER "${QCOMM_MINGW_TRIPLE}-gcc-posix")
set(CMAKE_CXX_COMPILER "${QCOMM_MINGW_TRIPLE}-g++-posix")
set(CMAKE_RC_COMPILER "${QCOMM_MINGW_TRIPLE}-windres")

if(DEFINED ENV{QCOMM_CACHE})
    set(QCOMM_CACHE_DIR "$ENV{QCOMM_CACHE}")
else()
    set(QCOMM_CACHE_DIR "$ENV{HOME}/.cache/orvel-qcomm")
endif()
set(QCOMM_QT_WINDOWS "${QCOMM_CACHE_DIR}/qt-windows")
if(NOT EXISTS "${QCOMM_QT_WINDOWS}/lib/cmake/Qt5/Qt5Config.cmake")
    message(FATAL_ERROR "Qt for Windows is not at ${QCOMM_QT_WINDOWS}. Run scripts/setup first.")
endif()

# Appended, so that -DCMAKE_PREFIX_PATH=... of a project that uses this file still counts.
list(APPEND CMAKE_PREFIX_PATH "${QCOMM_QT_WINDOWS}")
set(CMAKE_FIND_ROOT_PATH "/usr/${QCOMM_MINGW_TRIPLE}" "${QCOMM_QT_WINDOWS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../scripts/wine-run")
