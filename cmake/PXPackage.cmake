# Debian packages of the installed tree, one a component: cpack -G DEB in a build of the preset
# "package", or tools/packaging/make-packages, which builds and checks them.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pxcore)
set(CPACK_PACKAGE_VENDOR "PXCore")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "PXCore maintainers <maintainers@pxcore.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL foundation library dev tools)
# Folders of a package are 0755 whatever the umask of the one who builds it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# A revision below -1 is the convention for packages that others than Debian make.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0pxcore1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(px_packaging "${CMAKE_SOURCE_DIR}/tools/packaging")
set(px_this "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# px_package(COMPONENT NAME SECTION DEPENDS SUMMARY) describes one package; its longer description and
# the files that go to dpkg as they are lie in the folder NAME.
function(px_package component name section depends summary)
    string(TOUPPER "${component}" upper)
    file(READ "${px_packaging}/${name}/description" description)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME "${name}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION "${section}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)

    install(FILES "${CMAKE_BINARY_DIR}/packaging/copyright"
        "${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz"
        "${CMAKE_BINARY_DIR}/packaging/changelog.gz"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}"
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

px_package(foundation libpxcorefoundation1 libs ""
    "CoreFoundation-compatible values for photo software")
px_package(library libpxcore1 libs "libpxcorefoundation1 ${px_this}"
    "shared core of photo-editing applications")
px_package(dev libpxcore-dev libdevel
    "libpxcore1 ${px_this}, libpxcorefoundation1 ${px_this}"
    "shared core of photo-editing applications (development files)")
px_package(tools pxcore-tools graphics "libpxcore1 ${px_this}, libpxcorefoundation1 ${px_this}"
    "command-line tool of the photo-editing core")

# The licence of what is built, which the plug-in decides.
if(PXCORE_FAST_FLOAT)
    set(px_licence_file copyright-with-plugin)
else()
    set(px_licence_file copyright-without-plugin)
endif()
configure_file("tools/packaging/${px_licence_file}" "${CMAKE_BINARY_DIR}/packaging/copyright" COPYONLY)
find_program(GZIP gzip REQUIRED)
file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/packaging")
foreach(changes "${px_packaging}/changelog:changelog.Debian.gz" "CHANGELOG.md:changelog.gz")
    string(REPLACE ":" ";" changes "${changes}")
    list(POP_FRONT changes from to)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${from}")
    execute_process(COMMAND "${GZIP}" -9nc "${from}" WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}"
        OUTPUT_FILE "${CMAKE_BINARY_DIR}/packaging/${to}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# What dpkg keeps of a library: its symbols, which dpkg's own tool lists before the packages are closed
# (a symbol that is missing stops the packaging), and the call of ldconfig.
foreach(component foundation library)
    string(TOUPPER "${component}" upper)
    set(name "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA "${px_packaging}/${name}/shlibs"
        "${px_packaging}/${name}/triggers" "${CMAKE_BINARY_DIR}/packaging/${name}/symbols")
    install(FILES "${px_packaging}/${name}/lintian-overrides" RENAME "${name}"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
configure_file(cmake/PXSymbols.cmake.in "${CMAKE_BINARY_DIR}/packaging/symbols.cmake" @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_BINARY_DIR}/packaging/symbols.cmake")

include(CPack)
