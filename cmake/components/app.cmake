# The command line and the program entry.
varo_component(vro_app SOURCES app/command_line.cpp DEPS vro_text_writer vro_ascii vro_sorted_tables vro_results)

add_executable(varometrics app/main.cpp)
target_link_libraries(varometrics PRIVATE vro_job vro_app vro_logging)
varo_program_linking(varometrics)

varo_test(vro_app_tests SOURCES tests/command_line_test.cpp DEPS vro_app)

install(TARGETS varometrics RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
