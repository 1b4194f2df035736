#!/usr/bin/env bash
# Builds with AddressSanitizer and UndefinedBehaviorSanitizer and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/deps.sh
build=${BUILD_DIR:-build-asan}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DNASHAL_SANITIZE=ON -DNASHAL_BUILD_TESTS=ON \
      -DNASHAL_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cd "$build"
ctest --output-on-failure -j"$(nproc)" --timeout 600
