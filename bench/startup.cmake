corvane_bench(bench_startup bench_startup.cpp)
target_compile_definitions(bench_startup PRIVATE CORVANE_DEMO_FIRMWARES="${CMAKE_SOURCE_DIR}/firmwares")
