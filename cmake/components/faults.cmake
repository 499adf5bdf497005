# Runs the built program under faults: closed standard descriptors, a reader
# that went away, a file-size limit, concurrent appends and log rotations.
varo_test(varometrics_fault_tests SOURCES tests/faults_test.cpp)
target_compile_definitions(varometrics_fault_tests PRIVATE VARO_EXE="$<TARGET_FILE:varometrics>")
add_dependencies(varometrics_fault_tests varometrics)
