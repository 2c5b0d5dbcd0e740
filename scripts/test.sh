#!/usr/bin/env bash
# Builds every target twice — the shipped configuration (optimised, with debug
# information) and one under AddressSanitizer + UndefinedBehaviorSanitizer — and
# runs every test of both. Servers the tests need are started by the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

build_and_test() {
  local dir=$1
  shift
  cmake -S "$root" -B "$dir" -G Ninja "$@"
  cmake --build "$dir"
  ctest --test-dir "$dir" --output-on-failure --timeout 900
}

build_and_test build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  build_and_test build/asan -DCMAKE_BUILD_TYPE=Debug -DROTALIS_SANITIZE=ON
