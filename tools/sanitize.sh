#!/usr/bin/env bash
# Builds the whole test suite with AddressSanitizer and UndefinedBehaviorSanitizer and runs it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DCORVANE_SANITIZE=ON
cmake --build build-asan -j"$(nproc)"
cd build-asan
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export LSAN_OPTIONS="suppressions=$PWD/../fuzz/lsan.supp"
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j"$(nproc)"
