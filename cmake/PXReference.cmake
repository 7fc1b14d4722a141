# The reference by Doxygen, of the headers that are installed:
# cmake --build --preset dev --target reference

find_program(DOXYGEN doxygen)
if(NOT DOXYGEN)
    return()
endif()

file(GLOB px_reference CONFIGURE_DEPENDS
    "${CMAKE_SOURCE_DIR}/Common/PXCoreFoundation/CoreFoundation/*.h")
foreach(header IN LISTS px_installed_headers px_reference)
    string(APPEND px_reference_inputs " \\\n                         \"${header}\"")
endforeach()
configure_file("${CMAKE_SOURCE_DIR}/doc/Doxyfile.in" "${CMAKE_BINARY_DIR}/Doxyfile" @ONLY)
add_custom_target(reference COMMAND "${DOXYGEN}" "${CMAKE_BINARY_DIR}/Doxyfile" VERBATIM)

if(PXCORE_TESTS AND NOT PXCORE_SANITIZE)
    add_test(NAME reference.builds COMMAND "${DOXYGEN}" "${CMAKE_BINARY_DIR}/Doxyfile")
    add_test(NAME reference.describes_what_is_exported
        COMMAND Python3::Interpreter -B "${CMAKE_SOURCE_DIR}/tests/docs_check.py" reference
                "${CMAKE_SOURCE_DIR}" "${CMAKE_BINARY_DIR}/reference/xml")
    set_tests_properties(reference.builds PROPERTIES FIXTURES_SETUP reference TIMEOUT 300)
    set_tests_properties(reference.describes_what_is_exported PROPERTIES FIXTURES_REQUIRED reference)
endif()
