# Serial monitor: the port list, the session and the terminal, over real pseudo-terminals.
# The virtual board is a plain program with no Qt at all: tests, the benchmark and demos use it.
add_executable(virtualboard ${CMAKE_SOURCE_DIR}/tools/virtualboard.cpp)
target_link_libraries(virtualboard PRIVATE util)
set_target_properties(virtualboard PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

foreach(test tst_ports tst_session tst_terminal)
    corvane_test(${test} ${test}.cpp SerialSupport.h)
    target_compile_definitions(${test} PRIVATE CORVANE_VIRTUALBOARD="$<TARGET_FILE:virtualboard>")
    add_dependencies(${test} virtualboard)
endforeach()
corvane_test(tst_monitorrules tst_monitorrules.cpp)
