# Vector searches over the bytes and units of an export (header only).
add_library(vro_unit_scan INTERFACE)
target_sources(vro_unit_scan INTERFACE FILE_SET HEADERS BASE_DIRS ${CMAKE_SOURCE_DIR} FILES foundation/unit_scan.h)
varo_test(vro_unit_scan_tests SOURCES tests/unit_scan_test.cpp DEPS vro_unit_scan)
