# SPDX-License-Identifier: MIT
# Installs a build tree into a folder of its own, then configures, builds and runs the consumer against that alone.
#   cmake -DBUILD_DIR=... -DWORK_DIR=... -DSOURCE_DIR=... -DBUILD_TYPE=... [-DTOOLCHAIN=...] [-DEMULATOR=...] -P run.cmake
function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed (${result}): ${ARGN}")
    endif()
endfunction()

set(prefix "${WORK_DIR}/installed")
file(REMOVE_RECURSE "${prefix}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")

set(toolchain "")
if(TOOLCHAIN)
    set(toolchain "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")
endif()
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" -G Ninja
    "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DOrvelQComm_ROOT=${prefix}" ${toolchain})
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")

if(EMULATOR)
    set(ENV{QCOMM_DLL_PATH} "${prefix}/bin")
    run("${EMULATOR}" "${WORK_DIR}/build/consumer.exe")
else()
    run("${WORK_DIR}/build/consumer")
endif()
