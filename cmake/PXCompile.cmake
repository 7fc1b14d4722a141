# Compile settings shared by everything built here, as one interface target.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(px_compile INTERFACE)
target_compile_options(px_compile INTERFACE
    -Wall -Wextra -Wshadow -Wconversion
    # Bytes are contract: a fused multiply-add would change them.
    -ffp-contract=off
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>
    $<$<BOOL:${PXCORE_WARNINGS_AS_ERRORS}>:-Werror>)
target_include_directories(px_compile INTERFACE
    "${CMAKE_SOURCE_DIR}/Common" "${CMAKE_SOURCE_DIR}/Common/PXCoreFoundation")
if(PXCORE_SANITIZE)
    add_compile_options(-fsanitize=${PXCORE_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${PXCORE_SANITIZE})
endif()
