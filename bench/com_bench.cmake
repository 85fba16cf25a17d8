# Ordinary-mode cost of a Direct3D hook: `cmake --build <dir> --target com_bench`.
add_library(com_bench_baseline SHARED com_baseline.cpp)
target_link_libraries(com_bench_baseline PRIVATE tov_platform_headers journal)

add_executable(com_hook_bench com_bench.cpp)
target_link_libraries(com_hook_bench PRIVATE testhost layer_headers com_api_headers
                      com_bench_baseline benchmark::benchmark)
set_target_properties(com_hook_bench PROPERTIES ENABLE_EXPORTS ON)

add_custom_target(com_bench
  COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/bench/ratios.py ${TOV_BENCH_RUNNER}
          $<TARGET_FILE:com_hook_bench>
  DEPENDS com_hook_bench logging_layer USES_TERMINAL)
