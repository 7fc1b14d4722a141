# Style checks as targets: cmake --build --preset dev --target format-check tidy

find_program(CLANG_FORMAT clang-format)
find_program(RUN_CLANG_TIDY run-clang-tidy NAMES run-clang-tidy run-clang-tidy-14)

file(GLOB_RECURSE px_style_sources CONFIGURE_DEPENDS
    Common/*.h Common/*.cpp tests/*.h tests/*.cpp tests/*.c bench/*.h bench/*.cpp fuzz/*.cpp
    tools/*.h tools/*.cpp examples/*.c examples/*.cpp)
if(CLANG_FORMAT)
    # A list in a file keeps what is printed of a failure short.
    set(px_style_list "${CMAKE_BINARY_DIR}/style_sources.txt")
    list(JOIN px_style_sources "\n" px_style_lines)
    file(WRITE "${px_style_list}" "${px_style_lines}\n")
    add_custom_target(format-check
        COMMAND xargs -d "\\n" -a "${px_style_list}" "${CLANG_FORMAT}" --dry-run -Werror VERBATIM)
    add_custom_target(format
        COMMAND xargs -d "\\n" -a "${px_style_list}" "${CLANG_FORMAT}" -i VERBATIM)
endif()
if(RUN_CLANG_TIDY)
    add_custom_target(tidy
        COMMAND "${RUN_CLANG_TIDY}" -quiet -p "${CMAKE_BINARY_DIR}"
                "${CMAKE_SOURCE_DIR}/(Common|tools)/.*\\.cpp$" VERBATIM)
endif()
