# The evaluation window on a large run: selection to the first painted frame, next
# to the plain fetch loop and one paint of both charts, measured in the same run.
if(TARGET views)
  add_executable(evaluation_bench ${CMAKE_CURRENT_LIST_DIR}/evaluation_bench.cpp)
  target_link_libraries(evaluation_bench PRIVATE views)
  # The incremental refresh next to the full reload of the same long run.
  add_executable(auto_refresh_bench ${CMAKE_CURRENT_LIST_DIR}/auto_refresh_bench.cpp)
  target_link_libraries(auto_refresh_bench PRIVATE views tools)
endif()
