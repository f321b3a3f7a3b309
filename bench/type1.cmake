corvane_bench(bench_type1 bench_type1.cpp)
