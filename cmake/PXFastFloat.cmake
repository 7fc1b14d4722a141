# The fast-float plug-in of Little CMS as target PXFastFloat. It is GPL-3, and so is what links it;
# -DPXCORE_FAST_FLOAT=OFF leaves it out, and the library then works the same but slower.

find_library(PX_FAST_FLOAT_LIBRARY lcms2_fast_float
    PATHS "${PXCORE_FAST_FLOAT_DIR}/lib" NO_DEFAULT_PATH)
find_path(PX_FAST_FLOAT_INCLUDE lcms2_fast_float.h
    PATHS "${PXCORE_FAST_FLOAT_DIR}/include" NO_DEFAULT_PATH)
if(NOT PX_FAST_FLOAT_LIBRARY OR NOT PX_FAST_FLOAT_INCLUDE)
    message(FATAL_ERROR "The fast-float plug-in is not in ${PXCORE_FAST_FLOAT_DIR}. "
        "Run tools/setup/build-fast-float, or configure with -DPXCORE_FAST_FLOAT=OFF.")
endif()
add_library(PXFastFloat INTERFACE)
target_link_libraries(PXFastFloat INTERFACE "${PX_FAST_FLOAT_LIBRARY}" PkgConfig::LCMS)
target_include_directories(PXFastFloat SYSTEM INTERFACE "${PX_FAST_FLOAT_INCLUDE}")
target_compile_definitions(PXFastFloat INTERFACE PX_FAST_FLOAT=1)
