# Character encodings: the encoding objects, their registry, the charset name
# table and the generated code-page and character-property tables.
varo_component(vro_encodings
  SOURCES
    foundation/encodings_utf.cpp
    foundation/encodings_sbcs.cpp
    foundation/encodings_fallback.cpp
    foundation/encodings_registry.cpp
    foundation/encodings_charsets.cpp
    foundation/generated/codepage_tables.cpp
    foundation/generated/char_properties.cpp
  DEPS vro_strings vro_sorted_tables vro_results)

varo_test(vro_encodings_tests
  SOURCES tests/encodings_test.cpp
  DEPS vro_encodings)

# The committed tables must be exactly what the generator writes today. Exit
# code 77 (no Unicode Character Database, or no python3) shows as skipped.
find_program(VARO_PYTHON3 python3)
if(VARO_PYTHON3)
  add_test(NAME vro_encodings_tables_regenerate
    COMMAND ${VARO_PYTHON3} ${CMAKE_SOURCE_DIR}/tools/gen_encoding_tables.py --check
            --out ${CMAKE_SOURCE_DIR}/foundation/generated)
else()
  add_test(NAME vro_encodings_tables_regenerate
    COMMAND sh -c "echo 'SKIPPED: python3 not found'; exit 77")
endif()
set_tests_properties(vro_encodings_tables_regenerate PROPERTIES SKIP_RETURN_CODE 77)

# Decode throughput; built with the rest, never run by CTest.
find_package(benchmark QUIET)
add_executable(encodings_bench bench/encodings_bench.cpp)
target_include_directories(encodings_bench PRIVATE ${CMAKE_SOURCE_DIR})
target_link_libraries(encodings_bench PRIVATE vro_encodings)
if(benchmark_FOUND)
  target_link_libraries(encodings_bench PRIVATE benchmark::benchmark)
  target_compile_definitions(encodings_bench PRIVATE VARO_HAVE_GOOGLE_BENCHMARK=1)
endif()
