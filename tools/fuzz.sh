#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for the given seconds (default 10)
# on a copy of the seed corpus. Usage: tools/fuzz.sh [seconds-per-target] [target...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh clang libclang-rt-14-dev
seconds=${1:-10}
shift || true
targets=("$@")
((${#targets[@]})) || targets=(checkjsontype type0 type1 flashsh installsettings binpackage command)
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_FUZZ=ON
cmake --build build-fuzz -j"$(nproc)" --target $(printf 'fuzz_%s ' "${targets[@]}")
export LSAN_OPTIONS="suppressions=$PWD/fuzz/lsan.supp"
for t in "${targets[@]}"; do
    work=build-fuzz/corpus/$t
    mkdir -p "$work"
    cp -r fuzz/corpus/"$t"/. "$work"/
    echo "== fuzz_$t for ${seconds}s"
    rc=0
    (cd build-fuzz && ./fuzz/fuzz_"$t" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=4096 \
        -print_final_stats=1 corpus/"$t" > "fuzz_$t.log" 2>&1) || rc=$?
    grep -E '^(#[0-9]+ +DONE|stat::number_of_executed_units|stat::peak_rss_mb|==[0-9]+==ERROR|SUMMARY|Done)' \
        build-fuzz/"fuzz_$t.log" || true
    if [ "$rc" -ne 0 ]; then
        tail -n 60 build-fuzz/"fuzz_$t.log"
        exit "$rc"
    fi
done
