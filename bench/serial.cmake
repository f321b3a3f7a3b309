# The monitor against the virtual board at full speed, with pyserial's miniterm beside it.
corvane_bench(bench_serial bench_serial.cpp)
target_link_libraries(bench_serial PRIVATE Qt6::Test util)
target_compile_definitions(bench_serial PRIVATE CORVANE_VIRTUALBOARD="$<TARGET_FILE:virtualboard>")
add_dependencies(bench_serial virtualboard)
