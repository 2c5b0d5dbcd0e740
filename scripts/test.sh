#!/usr/bin/env bash
# Builds every target three times — the shipped configuration (optimised, with
# debug information), the same for Windows (mingw-w64, its tests run under
# Wine) and one under AddressSanitizer + UndefinedBehaviorSanitizer — and runs
# every test of each. Servers the tests need are started by the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

build_and_test() {
  local dir=$1
  shift
  # The deployment the launcher's tests serve on loopback, set explicitly so
  # that a build folder configured earlier with other values is corrected.
  cmake -S "$root" -B "$dir" -G Ninja "$@" -DROTALIS_UPDATE_SERVER=127.0.0.1 \
    -DROTALIS_CLOUD_URL=https://127.0.0.1:8443/functions/v1/regras-por-cnpj \
    -DROTALIS_CLOUD_TOKEN=rotalis-test-token "-DROTALIS_CLOUD_CA_FILE=$root/$dir/test-pki/ca.pem"
  cmake --build "$dir"
  ctest --test-dir "$dir" --output-on-failure --timeout 900 | tee "$dir/ctest.log"
}

build_and_test build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo

# The Windows program and its tests under Wine, against the same kinds of
# servers, started natively on loopback.
bash scripts/test-windows.sh build/windows
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  build_and_test build/asan -DCMAKE_BUILD_TYPE=Debug -DROTALIS_SANITIZE=ON

# The clang build compiles every target, so that clang's warnings are errors too,
# then runs ExtractJsonObject under libFuzzer for a bounded time; a crash, a leak or
# any sanitizer report stops the fuzzer with a non-zero status and fails the script.
fuzz_dir=build/fuzz
CC=clang CXX=clang++ cmake -S "$root" -B "$fuzz_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DROTALIS_FUZZ=ON
cmake --build "$fuzz_dir"
rm -rf "$fuzz_dir/corpus" && mkdir -p "$fuzz_dir/corpus"
cp fuzz/corpus/extract_json_object/* "$fuzz_dir/corpus/"
"$fuzz_dir/fuzz/fuzz_extract_json_object" -max_total_time=45 -rss_limit_mb=2048 \
  -artifact_prefix="$fuzz_dir/" "$fuzz_dir/corpus"

# One closing line for all three test runs (the fuzzer's output would otherwise end the log).
total=$(grep -ho 'tests failed out of [0-9]*' build/release/ctest.log build/asan/ctest.log \
  build/windows/ctest.log | awk '{sum += $5} END {print sum}')
windows=$(grep -ho 'tests failed out of [0-9]*' build/windows/ctest.log | awk '{print $5}')
echo "of them $windows Windows test programs under Wine"
echo "tests: $total passed, 0 failed"
