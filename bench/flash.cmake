corvane_bench(bench_flash bench_flash.cpp)
