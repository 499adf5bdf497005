# The printf engine and the text writer: formatted, encoded, buffered output
# over byte streams, into framework strings and into fixed buffers.
varo_component(vro_text_writer
  SOURCES foundation/printf_engine.cpp foundation/text_writer.cpp
  DEPS vro_streams vro_encodings vro_strings vro_results)
varo_test(vro_text_writer_tests
  SOURCES tests/printf_engine_test.cpp tests/text_writer_test.cpp
  DEPS vro_text_writer)
