# Fetch speed of the statement layer over a measurement-like table (no benchmark library needed).
if(TARGET dbaccess)
  add_executable(fetch_bench ${CMAKE_CURRENT_LIST_DIR}/fetch_bench.cpp)
  target_link_libraries(fetch_bench PRIVATE dbaccess Qt6::Core)
endif()
