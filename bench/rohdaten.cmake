# The raw data window's exports of a 60,000-row run: text and worksheet, each
# timed a few times over the same open dataset.
if(TARGET views AND TARGET tools)
  add_executable(rohdaten_bench ${CMAKE_CURRENT_LIST_DIR}/rohdaten_bench.cpp)
  target_link_libraries(rohdaten_bench PRIVATE views tools)
endif()
