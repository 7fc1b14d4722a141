# What Debian's packages are hardened with: checked string functions, stack and branch protection,
# position-independent programs, and tables that are read-only once the loader has filled them. No file
# names the folder it was built in.

add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection
    -Wformat -Werror=format-security "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
add_compile_definitions(_FORTIFY_SOURCE=2)
add_link_options(-Wl,-z,relro -Wl,-z,now)
include(CheckPIESupported)
check_pie_supported()
