# The installed layout and the Debian package. Each program installs itself in
# its own room's CMakeLists.txt; here go the files every program shares a place for:
# man pages (man/*.1), bash completions (completions/<program>), and the
# README with the sample exports as documentation.
file(GLOB varo_man_pages CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/man/*.1")
install(FILES ${varo_man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

file(GLOB varo_completions CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/completions/*")
install(FILES ${varo_completions} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)


set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME varometrics)
# The version the programs print (app/common/product.h.in) is the project's.
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR "The Varo metrics authors")
set(CPACK_PACKAGE_CONTACT "The Varo metrics authors <varometrics@example.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "citation metrics from literature database exports")
set(CPACK_PACKAGE_DESCRIPTION
  "varometrics reads one export of a literature database or reference manager\n"
  "(eight CSV and tagged formats), computes citation metrics such as the h, g,\n"
  "hc, hI, e and hm indices and the age-weighted citation rate, and writes a\n"
  "plain-text report or a CSV line. varoreport computes every metric of many\n"
  "exports at once, as CSV or JSON, with a per-paper table.")
string(JOIN "" CPACK_PACKAGE_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The run-time libraries the programs link come from dpkg-shlibdeps when the
# machine has it; otherwise the ones g++ always links are named by hand.
# simdjson (JSON inputs) is linked as a shared library, as Debian ships it,
# and zlib (gzip inputs) may be: the package names both in any case.
find_program(VARO_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(VARO_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libsimdjson14, zlib1g")
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6, libsimdjson14, zlib1g")
endif()
include(CPack)
