#!/usr/bin/env bash
# Sets up the machine, builds and runs every test. With --sanitize: the same with AddressSanitizer
# and UndefinedBehaviorSanitizer, in build-sanitize/. With --windows: the Windows x64 DLL and the
# suite cross-built with mingw-w64 into build-windows/ and run under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${1:-}" = "--windows" ]; then
  scripts/bootstrap.sh --windows
else
  scripts/bootstrap.sh
fi
case "${1:-}" in
  --sanitize)
    export BUILD_DIR=build-sanitize
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    scripts/build.sh -DTOV_SANITIZE=ON -DTOV_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
    ;;
  --windows)
    export BUILD_DIR=build-windows
    scripts/build.sh --toolchain cmake/mingw-w64-x86_64.cmake
    # The suite's Wine server is this build's own: stop it, whatever the outcome.
    trap 'build-windows/wine-run --stop' EXIT
    ;;
  *)
    export BUILD_DIR=build
    scripts/build.sh
    ;;
esac
ctest --test-dir "$BUILD_DIR" -j "$(nproc)" --output-on-failure
