if(benchmark_FOUND AND TARGET chart)
  add_executable(chart_bench ${CMAKE_CURRENT_LIST_DIR}/chart_bench.cpp)
  target_link_libraries(chart_bench PRIVATE chart benchmark::benchmark)
endif()
