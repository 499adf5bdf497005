# One libFuzzer entry per surface: the import path from bytes to both reports,
# the text reader in every encoding, the report writers. The fuzz preset builds
# fuzz_<surface> with the engine (tools/fuzz runs them); every other build
# links each entry to a replay main and CTest runs it over fuzz/corpus/<surface>.
foreach(surface import text_reader report_writers)
  if(VARO_FUZZ)
    set(target fuzz_${surface})
    add_executable(${target} fuzz/fuzz_${surface}.cpp)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
  else()
    set(target fuzz_${surface}_replay)
    add_executable(${target} fuzz/fuzz_${surface}.cpp fuzz/replay_main.cpp)
    add_test(NAME fuzz_${surface}_corpus COMMAND ${target} ${CMAKE_SOURCE_DIR}/fuzz/corpus/${surface})
  endif()
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE vro_import vro_reports vro_text_reader vro_test_support)
endforeach()
