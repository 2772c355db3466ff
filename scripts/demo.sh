#!/usr/bin/env bash
# Installs what is missing, builds the library and runs the demo program.
set -euo pipefail
cd "$(dirname "$0")/.."
NEX_SKIP_M32=1 bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DNEX_BUILD_TESTS=OFF -DNEX_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)" --target demo
./build/examples/demo
