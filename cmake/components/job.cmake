# The metrics job: import, calculation and report for one command line.
varo_component(vro_job SOURCES app/metrics_job.cpp
  DEPS vro_import vro_metrics vro_reports vro_app vro_text_writer)

# Scopus exports known by their columns, old Mac line ends, and the reports of
# the other real exports against their goldens.
varo_test(vro_scopus_columns_tests SOURCES tests/scopus_columns_test.cpp
  DEPS vro_import vro_metrics vro_reports)
