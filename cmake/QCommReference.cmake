# SPDX-License-Identifier: MIT
# The target api_reference: the reference of the public headers and the guides, as HTML, by Doxygen. It is not part of
# "all"; without Doxygen there is no such target.
find_program(QCOMM_DOXYGEN doxygen)
if(QCOMM_DOXYGEN)
    get_target_property(internal_headers OrvelQComm QCOMM_INTERNAL_HEADERS)
    set(QCOMM_REFERENCE_EXCLUDE "")
    foreach(header IN LISTS internal_headers)
        string(APPEND QCOMM_REFERENCE_EXCLUDE " \"${PROJECT_SOURCE_DIR}/src/base/QComm/${header}\"")
    endforeach()
    configure_file("${PROJECT_SOURCE_DIR}/docs/reference/Doxyfile.in" "${CMAKE_BINARY_DIR}/Doxyfile" @ONLY)
    add_custom_target(api_reference
        COMMAND "${QCOMM_DOXYGEN}" "${CMAKE_BINARY_DIR}/Doxyfile"
        COMMENT "Making the API reference" VERBATIM)
endif()
