# The HTML page of metrics records: escaped markup text, inline SVG charts and
# the page's sections.
varo_component(vro_html
  SOURCES metrics/markup_text.cpp metrics/svg_charts.cpp metrics/html_page.cpp
  DEPS vro_text_writer vro_metrics)
varo_test(vro_html_tests SOURCES tests/html_page_test.cpp DEPS vro_html)
