#!/usr/bin/env bash
# Sets up, builds and starts Corvane.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$(nproc)" --target corvane demo_firmwares
exec build/corvane "$@"
