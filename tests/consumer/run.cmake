# SPDX-License-Identifier: MIT
# Packs a build tree into the archive that a launcher team gets, unpacks it into a folder of its own, looks whether all
# is in it, then configures, builds and runs the consumer against that folder alone.
#   cmake -DBUILD_DIR=... -DWORK_DIR=... -DSOURCE_DIR=... -DBUILD_TYPE=... [-DTOOLCHAIN=...] [-DEMULATOR=...] -P run.cmake
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed (${result}): ${ARGN}")
    endif()
endfunction()

function(expect_files prefix)
    foreach(name IN LISTS ARGN)
        if(NOT EXISTS "${prefix}/${name}")
            message(FATAL_ERROR "not in the package: ${name}")
        endif()
    endforeach()
endfunction()

cmake_path(GET CMAKE_COMMAND PARENT_PATH tools)
file(REMOVE_RECURSE "${WORK_DIR}/package")
run("${tools}/cpack" --config "${BUILD_DIR}/CPackConfig.cmake" -B "${WORK_DIR}/package")
file(GLOB archive "${WORK_DIR}/package/OrvelQComm-*.zip" "${WORK_DIR}/package/OrvelQComm-*.tar.gz")
list(LENGTH archive count)
if(NOT count EQUAL 1)
    message(FATAL_ERROR "one archive expected, not: ${archive}")
endif()
file(ARCHIVE_EXTRACT INPUT "${archive}" DESTINATION "${WORK_DIR}/package/unpacked")
cmake_path(GET archive FILENAME folder)
string(REGEX REPLACE "\\.(zip|tar\\.gz)$" "" folder "${folder}")
set(prefix "${WORK_DIR}/package/unpacked/${folder}")

expect_files("${prefix}"
    include/OrvelQComm/OrvelQComm.h include/OrvelQComm/Manager/DownloadController.h include/OrvelCommon/Logger.h
    lib/cmake/OrvelQComm/OrvelQCommConfig.cmake lib/cmake/OrvelCommon/OrvelCommonConfig.cmake
    share/licenses/OrvelQComm/LICENSE share/licenses/OrvelQComm/LGPL-3.0.txt share/doc/OrvelQComm/README.md
    share/doc/OrvelQComm/docs/errors.md share/doc/OrvelQComm/engine/README.md)
if(EMULATOR)
    expect_files("${prefix}"
        bin/OrvelQComm.dll bin/OrvelCommon.dll bin/libstdc++-6.dll bin/libgcc_s_seh-1.dll bin/libwinpthread-1.dll
        lib/libOrvelQComm.dll.a lib/libOrvelCommon.dll.a bin/engine/vantor.dll
        examples/launcher/launcher.exe examples/launcher/run-launcher.cmd)
else()
    expect_files("${prefix}"
        lib/libOrvelQComm.so lib/libOrvelQComm.so.1 lib/libOrvelCommon.so bin/engine/libvantor.so
        examples/launcher/launcher examples/launcher/run-launcher)
endif()

set(toolchain "")
if(TOOLCHAIN)
    set(toolchain "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
endif()
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" -G Ninja
    "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DCMAKE_PREFIX_PATH=${prefix}" ${toolchain})
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")

if(EMULATOR)
    set(ENV{QCOMM_DLL_PATH} "${prefix}/bin")
    run("${EMULATOR}" "${WORK_DIR}/build/consumer.exe")
    run("${EMULATOR}" "${prefix}/examples/launcher/launcher.exe" --version)
else()
    run("${WORK_DIR}/build/consumer")
    run("${prefix}/examples/launcher/run-launcher" --version)
endif()
