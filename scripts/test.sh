#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test: the x86-64 and
# the 32-bit x86 (SSE2) builds, the x86-64 build under AddressSanitizer with
# LeakSanitizer and UBSan and under ThreadSanitizer, and the libraries with
# their interface tests built by clang. Set NEX_QUICK=1 to run only the
# x86-64 build, or NEX_STAGES="tsan clang" (say) to run only those builds.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh || echo "test.sh: some packages are missing; building anyway" >&2
jobs=$(nproc)
start=$SECONDS

run() {  # run NAME [--target T ... --] CMAKE-ARGS...
  local name=$1
  shift
  local targets=() filter=()
  if [ "${1:-}" = --target ]; then
    shift
    while [ "$1" != -- ]; do targets+=(--target "$1"); shift; done
    shift
    filter=(-R "${CTEST_FILTER}")
  fi
  case " ${NEX_STAGES:-$name} " in *" $name "*) ;; *) return 0 ;; esac
  echo "=== $name"
  cmake -S . -B "build-$name" -DCMAKE_BUILD_TYPE=Release -DNEX_BUILD_BENCH=OFF \
    -DNEX_BUILD_EXAMPLES=OFF "$@" >/dev/null
  # The build's own status decides; only its warnings and errors are shown.
  local log="build-$name.log"
  if ! cmake --build "build-$name" -j"$jobs" "${targets[@]}" >"$log" 2>&1; then
    grep -E 'error|Error' "$log" | head -50 >&2
    echo "=== $name: build failed" >&2
    exit 1
  fi
  grep -E 'warning: ' "$log" || true
  (cd "build-$name" && ctest -j"$jobs" --no-tests=error --output-on-failure --timeout 900 "${filter[@]}")
  echo "=== $name done at $((SECONDS - start)) s"
}

run x86-64
if [ "${NEX_QUICK:-0}" != 1 ]; then
  run x86-32 -DCMAKE_TOOLCHAIN_FILE=cmake/m32.cmake
  ASAN_OPTIONS=detect_leaks=1 run asan -DNEX_SANITIZE=ON
  # ThreadSanitizer on the code that runs or is shared across threads.
  CTEST_FILTER='Thread|Lock|SetMode|DefaultMode|RngChunks|Threaders|Basic' \
    run tsan --target nex_test_core nex_test_vector nex_test_streams nex_test_statistics -- \
    -DNEX_SANITIZE_THREAD=ON
  # The second compiler: the libraries and the interface tests.
  CTEST_FILTER='Layout|Symbols|SharedLibrary|FunctionList' CC=clang CXX=clang++ \
    run clang --target nex_kernel_shared nex_test_abi --
fi
