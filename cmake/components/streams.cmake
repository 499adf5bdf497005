# Byte streams over file descriptors and stdio streams.
varo_component(vro_streams SOURCES foundation/byte_streams.cpp DEPS vro_results)
varo_test(vro_streams_tests SOURCES tests/byte_streams_test.cpp DEPS vro_streams)
