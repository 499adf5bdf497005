# Decoding line reader over a byte stream, with byte-order-mark detection.
varo_component(vro_text_reader SOURCES foundation/text_reader.cpp
  DEPS vro_encodings vro_streams vro_strings vro_unit_scan vro_results)
varo_test(vro_text_reader_tests SOURCES tests/text_reader_test.cpp DEPS vro_text_reader)
