# What `cmake --install` gives: headers, libraries, the tool, the profiles, a CMake package and a
# pkg-config file. All of them find each other by relative paths, so the tree may be moved. Each file
# belongs to a component, of which cmake/PXPackage.cmake makes one Debian package each: foundation,
# library, dev and tools.

include(CMakePackageConfigHelpers)

set(px_include "${CMAKE_INSTALL_INCLUDEDIR}/pxcore-1")
set(px_package "${CMAKE_INSTALL_LIBDIR}/cmake/PXCore")

install(TARGETS PXCoreFoundation EXPORT PXCoreTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT foundation NAMELINK_COMPONENT dev)
install(TARGETS PXCore EXPORT PXCoreTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT dev)
set_target_properties(PXCoreFoundation PROPERTIES EXPORT_NAME CoreFoundation)
install(EXPORT PXCoreTargets NAMESPACE PXCore:: DESTINATION "${px_package}" COMPONENT dev)
configure_package_config_file("${CMAKE_SOURCE_DIR}/cmake/PXCoreConfig.cmake.in"
    "${CMAKE_BINARY_DIR}/PXCoreConfig.cmake" INSTALL_DESTINATION "${px_package}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/PXCoreConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/PXCoreConfig.cmake"
    "${CMAKE_BINARY_DIR}/PXCoreConfigVersion.cmake" DESTINATION "${px_package}" COMPONENT dev)

file(RELATIVE_PATH px_prefix_from_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${CMAKE_SOURCE_DIR}/cmake/pxcore.pc.in" "${CMAKE_BINARY_DIR}/pxcore.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/pxcore.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT dev)

install(DIRECTORY "${CMAKE_SOURCE_DIR}/Common/PXCoreFoundation/CoreFoundation"
    DESTINATION "${px_include}" COMPONENT dev FILES_MATCHING PATTERN "*.h")
foreach(folder Base PXCore PXAccelerate Image)
    file(GLOB px_headers CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/Common/${folder}/PX*.h")
    list(FILTER px_headers EXCLUDE REGEX "_p\\.h$")
    install(FILES ${px_headers} DESTINATION "${px_include}/${folder}" COMPONENT dev)
    list(APPEND px_installed_headers ${px_headers})
endforeach()
foreach(header BaseCore BaseCondition BaseMutex BroadcastConn Connection HTTPMessage Msg MsgBroadcaster
        Ref Server ServerAPI Signal Stream StreamFile StreamMemory StreamSocket StreamSub Task TaskQueue)
    install(FILES "${CMAKE_SOURCE_DIR}/Common/Base/${header}.h" DESTINATION "${px_include}/Base"
        COMPONENT dev)
    list(APPEND px_installed_headers "${CMAKE_SOURCE_DIR}/Common/Base/${header}.h")
endforeach()
install(FILES "${CMAKE_SOURCE_DIR}/Common/Image/BaseTileSet.h" DESTINATION "${px_include}/Image"
    COMPONENT dev)
list(APPEND px_installed_headers "${CMAKE_SOURCE_DIR}/Common/Image/BaseTileSet.h")
install(FILES README.md DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev)
install(DIRECTORY doc examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev
    PATTERN "*.in" EXCLUDE)
# The packages have their own forms of these.
install(FILES LICENSE NOTICE CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT licence)
