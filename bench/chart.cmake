if(benchmark_FOUND AND TARGET chart)
  add_executable(chart_bench ${CMAKE_CURRENT_LIST_DIR}/chart_bench.cpp)
  target_link_libraries(chart_bench PRIVATE chart benchmark::benchmark)
endif()

# A whole chart of twelve synthetic curves rendered to PNG (no benchmark library needed).
if(TARGET chart)
  add_executable(chart_demo ${CMAKE_CURRENT_LIST_DIR}/chart_demo.cpp)
  target_link_libraries(chart_demo PRIVATE chart)
endif()

# Milliseconds per paint of 12 curves of 100,000 and 1,000,000 points.
if(TARGET chart)
  add_executable(chart_paint_bench ${CMAKE_CURRENT_LIST_DIR}/chart_paint_bench.cpp)
  target_link_libraries(chart_paint_bench PRIVATE chart)
endif()
