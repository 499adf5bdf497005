# The plain and CSV metrics report writers and the report columns they share.
varo_component(vro_reports SOURCES metrics/report_writers.cpp metrics/report_columns.cpp DEPS vro_logging vro_text_writer vro_metrics)
varo_test(vro_reports_tests SOURCES tests/report_writers_test.cpp DEPS vro_reports)
