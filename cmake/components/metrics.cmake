# Publication record and list, metrics record and schema, metrics calculation
# and the fixed-point arithmetic the record and the calculation share.
varo_component(vro_metrics
  SOURCES metrics/publication.cpp metrics/metrics_record.cpp metrics/metrics_calc.cpp metrics/metrics_calc_records.cpp
          metrics/fixed_point.h
  DEPS vro_strings vro_unit_scan vro_results)
varo_test(vro_metrics_tests
  SOURCES tests/publication_test.cpp tests/metrics_calc_test.cpp tests/compact_import_test.cpp
  DEPS vro_metrics)

# Time per publication at 10k, 100k and 1M papers; built, never run by CTest.
add_executable(metrics_bench bench/metrics_bench.cpp)
target_link_libraries(metrics_bench PRIVATE vro_metrics)
