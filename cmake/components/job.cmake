# The metrics job: import, calculation and report for one command line.
varo_component(vro_job SOURCES app/metrics_job.cpp
  DEPS vro_import vro_metrics vro_reports vro_app vro_text_writer)
