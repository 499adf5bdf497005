# The constexpr order check every binary-searched constant table states
# beside its definition; header only.
add_library(vro_sorted_tables INTERFACE)
target_sources(vro_sorted_tables INTERFACE FILE_SET HEADERS BASE_DIRS ${CMAKE_SOURCE_DIR} FILES foundation/sorted_tables.h)
