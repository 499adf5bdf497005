# Runs the built program as a user does: the scenarios of tests/data/program
# (command lines, golden reports of every format, failures) and every real
# export beside the project.
varo_test(varometrics_program_tests SOURCES tests/program_test.cpp)
target_compile_definitions(varometrics_program_tests PRIVATE VARO_EXE="$<TARGET_FILE:varometrics>")
add_dependencies(varometrics_program_tests varometrics)
