# Runs the built program end to end: golden reports of every format, the
# command-line cases of the job, and every real export beside the project.
varo_test(varometrics_e2e_tests SOURCES tests/end_to_end_test.cpp)
target_compile_definitions(varometrics_e2e_tests PRIVATE VARO_EXE="$<TARGET_FILE:varometrics>")
add_dependencies(varometrics_e2e_tests varometrics)
