# Rows per second of the dataset walk the curve loader does (12 float fields per
# row), next to a plain loop over the same values in memory.
if(TARGET dbaccess)
  add_executable(db_walk_bench ${CMAKE_CURRENT_LIST_DIR}/db_walk_bench.cpp)
  target_link_libraries(db_walk_bench PRIVATE dbaccess Qt6::Core)
endif()
