# The HTML page of metrics records: escaped markup text, inline SVG charts and
# the page's sections.
varo_component(vro_html
  SOURCES metrics/markup_text.cpp metrics/svg_charts.cpp metrics/html_page.cpp
  DEPS vro_text_writer vro_metrics)
varo_test(vro_html_tests SOURCES tests/html_page_test.cpp DEPS vro_html)

# The page of varoreport as headless chromium and tidy see it, for the golden
# export of every format and a hostile one; pages and 600-pixel screenshots
# stay in html-pages/ of the build folder for a person to look at. Exit code
# 77 (no python3, chromium or tidy) shows as skipped.
find_program(VARO_PYTHON3 python3)
if(VARO_PYTHON3)
  add_test(NAME varoreport_html_page
    COMMAND ${VARO_PYTHON3} ${CMAKE_SOURCE_DIR}/tests/html_page_check.py $<TARGET_FILE:varoreport>
            ${CMAKE_SOURCE_DIR}/tests/data ${CMAKE_BINARY_DIR}/html-pages)
else()
  add_test(NAME varoreport_html_page COMMAND sh -c "echo 'SKIPPED: python3 not found'; exit 77")
endif()
set_tests_properties(varoreport_html_page PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 600)
