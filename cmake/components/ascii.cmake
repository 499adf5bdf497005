# ASCII white space, letter case and four-character codes, shared by import,
# the command line and the strings; header only.
add_library(vro_ascii INTERFACE)
target_sources(vro_ascii INTERFACE FILE_SET HEADERS BASE_DIRS ${CMAKE_SOURCE_DIR} FILES foundation/ascii.h)
varo_test(vro_ascii_tests SOURCES tests/ascii_test.cpp DEPS vro_ascii vro_sorted_tables)
