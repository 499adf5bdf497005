# Result codes and messages, the framework's process state (program name,
# application version, start-up count) and the reference-counted object base.
# Every other component links this.
varo_component(vro_results SOURCES foundation/result_codes.cpp foundation/framework.cpp foundation/object.h
  DEPS vro_sorted_tables)
varo_test(vro_results_tests SOURCES tests/result_codes_test.cpp tests/framework_test.cpp DEPS vro_results)
