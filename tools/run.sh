#!/usr/bin/env bash
# Sets up, builds and starts Corvane.
set -euo pipefail
cd "$(dirname "$0")/.."
# The menu captions are Japanese: a desktop without a Japanese font shows them as boxes.
bash tools/setup.sh fonts-ipafont-gothic
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$(nproc)" --target corvane demo_firmwares
exec build/corvane "$@"
