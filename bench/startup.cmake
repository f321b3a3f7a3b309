# The start-up benchmark spawns the real program and an empty Qt window beside it; it needs
# neither Corvane's code nor widgets itself, only Qt Core and xcb.
add_executable(bench_emptywindow bench_emptywindow.cpp)
target_link_libraries(bench_emptywindow PRIVATE Qt6::Widgets)
set_target_properties(bench_emptywindow PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/bench_emptywindow)

find_library(XCB_LIBRARY xcb)
add_executable(bench_startup bench_startup.cpp)
target_link_libraries(bench_startup PRIVATE Qt6::Core ${XCB_LIBRARY})
set_target_properties(bench_startup PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/bench_startup)
add_dependencies(bench_startup corvane bench_emptywindow)
target_compile_definitions(bench_startup PRIVATE CORVANE_DEMO_FIRMWARES="${CMAKE_SOURCE_DIR}/firmwares"
    CORVANE_EXECUTABLE="$<TARGET_FILE:corvane>" CORVANE_EMPTY_WINDOW="$<TARGET_FILE:bench_emptywindow>")
