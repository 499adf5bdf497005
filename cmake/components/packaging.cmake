# The installed layout and the Debian package. Each program installs itself in
# its own component file; here go the files every program shares a place for:
# man pages (man/*.1), bash completions (completions/<program>), and the
# README with the sample exports as documentation.
file(GLOB varo_man_pages CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/man/*.1")
install(FILES ${varo_man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

file(GLOB varo_completions CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/completions/*")
install(FILES ${varo_completions} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

# The package carries the version the program prints, read from the one place
# it is written.
file(STRINGS "${CMAKE_SOURCE_DIR}/app/command_line.h" varo_version_line
     REGEX "kApplicationVersion\\[\\] = \"[0-9.]+\"")
string(REGEX MATCH "[0-9][0-9.]*" varo_package_version "${varo_version_line}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME varometrics)
set(CPACK_PACKAGE_VERSION "${varo_package_version}")
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
find_program(VARO_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(VARO_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
endif()
include(CPack)

# Checks of what a user gets: the manual page against the option table and as
# roff, the completion against the option and format tables, every sample
# export, the installed tree and the package. Exit code 77 shows as skipped.
if(BUILD_TESTING)
  set(varo_checks ${CMAKE_SOURCE_DIR}/tests)
  add_test(NAME varometrics_man_options
    COMMAND bash ${varo_checks}/man_page_check.sh options ${CMAKE_SOURCE_DIR}/man/varometrics.1
            ${CMAKE_SOURCE_DIR}/app/command_line.h kLongOptions)
  add_test(NAME varometrics_man_render
    COMMAND bash ${varo_checks}/man_page_check.sh render ${CMAKE_SOURCE_DIR}/man/varometrics.1)
  add_test(NAME varometrics_completion
    COMMAND bash ${varo_checks}/completion_check.sh ${CMAKE_SOURCE_DIR}/completions/varometrics
            ${CMAKE_SOURCE_DIR}/app/command_line.h)
  add_test(NAME varometrics_examples
    COMMAND bash ${varo_checks}/examples_check.sh $<TARGET_FILE:varometrics> ${CMAKE_SOURCE_DIR}/examples)
  add_test(NAME varometrics_install
    COMMAND bash ${varo_checks}/install_check.sh ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
  add_test(NAME varometrics_package
    COMMAND bash ${varo_checks}/package_check.sh ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
  set_tests_properties(varometrics_man_render varometrics_package PROPERTIES SKIP_RETURN_CODE 77)
  # Both install the build tree, which rewrites its install manifest.
  set_tests_properties(varometrics_install varometrics_package PROPERTIES RESOURCE_LOCK varo_build_install)
endif()
