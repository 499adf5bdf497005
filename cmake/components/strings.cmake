# UTF transforms, the framework strings in three widths and the string sinks
# through which the printf engine writes.
varo_component(vro_strings
  SOURCES foundation/utf.cpp foundation/strings.cpp foundation/string_sinks.cpp
  DEPS vro_ascii vro_results)
varo_test(vro_strings_tests
  SOURCES tests/utf_test.cpp tests/strings_test.cpp tests/string_sinks_test.cpp
  DEPS vro_strings)
