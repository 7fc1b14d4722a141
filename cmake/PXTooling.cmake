# Style checks as targets: cmake --build --preset dev --target format-check tidy

find_program(CLANG_FORMAT clang-format)
find_program(RUN_CLANG_TIDY run-clang-tidy NAMES run-clang-tidy run-clang-tidy-14)

file(GLOB_RECURSE px_style_sources CONFIGURE_DEPENDS
    Common/*.h Common/*.cpp tests/*.h tests/*.cpp tests/*.c bench/*.h bench/*.cpp fuzz/*.cpp
    tools/*.h tools/*.cpp examples/*.c examples/*.cpp)
if(CLANG_FORMAT)
    add_custom_target(format-check
        COMMAND "${CLANG_FORMAT}" --dry-run -Werror ${px_style_sources} VERBATIM)
    add_custom_target(format
        COMMAND "${CLANG_FORMAT}" -i ${px_style_sources} VERBATIM)
endif()
if(RUN_CLANG_TIDY)
    add_custom_target(tidy
        COMMAND "${RUN_CLANG_TIDY}" -quiet -p "${CMAKE_BINARY_DIR}"
                "${CMAKE_SOURCE_DIR}/(Common|tools)/.*\\.cpp$" VERBATIM)
endif()
