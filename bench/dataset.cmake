# The cached dataset over the measurement query: open, fetch all and walk twelve
# float fields, next to a plain fetch loop over the same query in the same run.
if(TARGET dbaccess)
  add_executable(dataset_bench ${CMAKE_CURRENT_LIST_DIR}/dataset_bench.cpp)
  target_link_libraries(dataset_bench PRIVATE dbaccess Qt6::Core)
endif()
