#!/usr/bin/env bash
# Sets up the machine, builds and runs every test. With --sanitize: the same with AddressSanitizer
# and UndefinedBehaviorSanitizer, in build-sanitize/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/bootstrap.sh
if [ "${1:-}" = "--sanitize" ]; then
  export BUILD_DIR=build-sanitize
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
  scripts/build.sh -DTOV_SANITIZE=ON -DTOV_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
else
  export BUILD_DIR=build
  scripts/build.sh
fi
ctest --test-dir "$BUILD_DIR" -j "$(nproc)" --output-on-failure
