#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test: the x86-64 and
# the 32-bit x86 (SSE2) builds, and the x86-64 build under AddressSanitizer
# with LeakSanitizer and UBSan, and under ThreadSanitizer. Set NEX_QUICK=1 to
# run only the x86-64 build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh || echo "test.sh: some packages are missing; building anyway" >&2
jobs=$(nproc)
start=$SECONDS

run() {  # run NAME CMAKE-ARGS...
  local name=$1
  shift
  echo "=== $name"
  cmake -S . -B "build-$name" -DCMAKE_BUILD_TYPE=Release -DNEX_BUILD_BENCH=OFF \
    -DNEX_BUILD_EXAMPLES=OFF "$@" >/dev/null
  cmake --build "build-$name" -j"$jobs" 2>&1 | grep -E 'error|warning: |Error' || true
  (cd "build-$name" && ctest -j"$jobs" --output-on-failure --timeout 900)
  echo "=== $name done at $((SECONDS - start)) s"
}

run x86-64
if [ "${NEX_QUICK:-0}" != 1 ]; then
  run x86-32 -DCMAKE_TOOLCHAIN_FILE=cmake/m32.cmake
  ASAN_OPTIONS=detect_leaks=1 run asan -DNEX_SANITIZE=ON
  run tsan -DNEX_SANITIZE_THREAD=ON
fi
