# Fills the dispatch table of the accelerated blitter from Intel IPP (headers, ippi, ipps, ippcore) when
# it is found; else our own primitives stay, and the configuration says so. IPPROOT names its folder.

find_path(PX_IPP_INCLUDE ippi.h HINTS "$ENV{IPPROOT}/include" PATH_SUFFIXES ipp)
set(px_ipp_libraries)
foreach(part ippi ipps ippcore)
    find_library(PX_IPP_${part} ${part} HINTS "$ENV{IPPROOT}/lib" "$ENV{IPPROOT}/lib/intel64")
    list(APPEND px_ipp_libraries "${PX_IPP_${part}}")
endforeach()
if(PX_IPP_INCLUDE AND NOT "${px_ipp_libraries}" MATCHES "NOTFOUND")
    target_sources(px_core PRIVATE "${CMAKE_SOURCE_DIR}/Common/PXAccelerate/vendor/VendorResize.cpp")
    target_include_directories(px_core SYSTEM PRIVATE "${PX_IPP_INCLUDE}")
    target_link_libraries(px_core PUBLIC ${px_ipp_libraries})
    target_compile_definitions(px_core PRIVATE PX_VENDOR_RESIZE=1)
else()
    message(WARNING "Intel IPP is not found; the accelerated blitter uses our own primitives.")
endif()
