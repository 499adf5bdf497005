# The process-wide logger: system log, standard error, log file, debugger.
varo_component(vro_logging SOURCES foundation/logging.cpp DEPS vro_text_writer vro_results)
varo_test(vro_logging_tests SOURCES tests/logging_test.cpp DEPS vro_logging)
