# Tagged importers, the import driver with its probe table, and the metrics job.
varo_component(vro_import_tagged SOURCES import/tagged_importers.cpp DEPS vro_import)
varo_component(vro_import_driver SOURCES import/import_driver.cpp
  DEPS vro_import_tagged vro_import vro_logging vro_text_reader)
varo_component(vro_job SOURCES app/metrics_job.cpp
  DEPS vro_import_driver vro_metrics vro_reports vro_app vro_text_writer)

varo_test(vro_import_tests
  SOURCES tests/import_test.cpp tests/field_handlers_test.cpp tests/note_scanner_test.cpp
  DEPS vro_import_driver)

# Throughput and peak memory of a whole import; built, never run by CTest.
add_executable(import_bench bench/import_bench.cpp)
target_link_libraries(import_bench PRIVATE vro_import_driver)
