# varoreport: every metric of many exports at once, as CSV, JSON or the
# per-paper table, on the import driver, calculation and foundation of
# varometrics.
include(GNUInstallDirs)
find_package(Threads REQUIRED)

varo_component(vro_report
  SOURCES app/report_options.cpp app/report_inputs.cpp app/report_rows.cpp app/report_buffer.cpp
          app/report_run.cpp
  DEPS vro_import vro_metrics vro_html vro_text_writer vro_app Threads::Threads)

add_executable(varoreport app/varoreport_main.cpp)
target_link_libraries(varoreport PRIVATE vro_report vro_logging)
varo_program_linking(varoreport)
install(TARGETS varoreport RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Runs the built varoreport beside varometrics; the calculation it is checked
# against runs in the test itself.
varo_test(varoreport_tests SOURCES tests/varoreport_test.cpp
  DEPS vro_report vro_import vro_metrics)
target_compile_definitions(varoreport_tests PRIVATE
  VARO_EXE="$<TARGET_FILE:varoreport>" VARO_METRICS_EXE="$<TARGET_FILE:varometrics>")
add_dependencies(varoreport_tests varoreport varometrics)

# JSON, CSV and the per-paper table read back by strict parsers, for file
# names and titles with quotes, backslashes, controls and non-ASCII text.
# Exit code 77 (no python3) shows as skipped.
find_program(VARO_PYTHON3 python3)
if(VARO_PYTHON3)
  add_test(NAME varoreport_strict_parsers
    COMMAND ${VARO_PYTHON3} ${CMAKE_SOURCE_DIR}/tests/varoreport_json_check.py
            $<TARGET_FILE:varoreport> ${CMAKE_SOURCE_DIR}/man/varoreport.1)
else()
  add_test(NAME varoreport_strict_parsers COMMAND sh -c "echo 'SKIPPED: python3 not found'; exit 77")
endif()
set_tests_properties(varoreport_strict_parsers PROPERTIES SKIP_RETURN_CODE 77)
