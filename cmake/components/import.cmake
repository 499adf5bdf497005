# Publication import: importer base, field handlers with their note scanner,
# the delimited-text and tagged record readers, the format table and the
# import driver that asks it.
varo_component(vro_import
  SOURCES import/importer.cpp import/note_scanner.cpp import/field_handlers.cpp
          import/csv_importer.cpp import/tagged_importers.cpp import/import_formats.cpp
          import/import_driver.cpp
  DEPS vro_text_reader vro_metrics vro_logging vro_strings vro_ascii vro_unit_scan vro_sorted_tables vro_results)

varo_test(vro_import_tests
  SOURCES tests/import_test.cpp tests/field_handlers_test.cpp
  DEPS vro_import)

# Throughput and peak memory of a whole import; built, never run by CTest.
add_executable(import_bench bench/import_bench.cpp)
target_link_libraries(import_bench PRIVATE vro_import)
