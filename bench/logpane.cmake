corvane_bench(bench_logpane bench_logpane.cpp)
