#!/usr/bin/env bash
# Builds every target three times — the shipped configuration (optimised, with
# debug information), the same for Windows (mingw-w64, its tests run under
# Wine) and one under AddressSanitizer + UndefinedBehaviorSanitizer — and runs
# every test of each. Servers the tests need are started by the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

# A failing test run does not stop the others: the closing lines count them
# all, and the script's status is that of the count. Each run starts without
# the records of an earlier one.
clear_results() {
  rm -f "$1/junit.xml"
  find "$1" -name gtest-results -type d -prune -exec rm -rf {} +
}

# Where a machine can ping (as root, as in CI), a test that needs a ping to
# answer fails rather than skips when it does not.
if [ "$(id -u)" = 0 ]; then
  export ROTALIS_TEST_REQUIRE_PING=1
fi

# The deployment the launcher's tests serve on loopback, given explicitly:
# builds that ship refuse to configure without it, and a build folder
# configured earlier with other values is corrected. Sets `deployment` for
# the build folder $1.
loopback_deployment() {
  deployment=(-DROTALIS_UPDATE_SERVER=127.0.0.1
    -DROTALIS_CLOUD_URL=https://127.0.0.1:8443/functions/v1/regras-por-cnpj
    -DROTALIS_CLOUD_TOKEN=rotalis-test-token "-DROTALIS_CLOUD_CA_FILE=$1/test-pki/ca.pem"
    -DROTALIS_BUGTRACKER_URL=http://127.0.0.1:8080/erros)
}

build_and_test() {
  local dir=$1
  shift
  loopback_deployment "$root/$dir"
  cmake -S "$root" -B "$dir" -G Ninja "$@" "${deployment[@]}"
  cmake --build "$dir"
  clear_results "$dir"
  ctest --test-dir "$dir" --output-on-failure --timeout 900 --output-junit "$root/$dir/junit.xml" |
    tee "$dir/ctest.log" || true
}

build_and_test build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo

# The Windows program and its tests under Wine, against the same kinds of
# servers, started natively on loopback.
# (It writes its own ctest.log.)
[ -d build/windows ] && clear_results build/windows
bash scripts/test-windows.sh build/windows --output-junit "$root/build/windows/junit.xml" || true
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  build_and_test build/asan -DCMAKE_BUILD_TYPE=Debug -DROTALIS_SANITIZE=ON

# The clang build compiles every target, so that clang's warnings are errors too,
# then runs ExtractJsonObject, the signature file parser, the configuration
# file, the rule answer reader and ISO dates under libFuzzer for a bounded time
# each; a crash, a leak or any sanitizer report stops the fuzzer
# with a non-zero status and fails the script.
fuzz_dir=build/fuzz
loopback_deployment "$root/$fuzz_dir"
CC=clang CXX=clang++ cmake -S "$root" -B "$fuzz_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DROTALIS_FUZZ=ON "${deployment[@]}"
cmake --build "$fuzz_dir"
rm -rf "$fuzz_dir/corpus" && mkdir -p "$fuzz_dir/corpus"
cp fuzz/corpus/extract_json_object/* "$fuzz_dir/corpus/"
"$fuzz_dir/fuzz/fuzz_extract_json_object" -max_total_time=45 -rss_limit_mb=2048 \
  -artifact_prefix="$fuzz_dir/" "$fuzz_dir/corpus"
# The same for the parser of installer signature files, which come from the
# update server.
rm -rf "$fuzz_dir/corpus-signature" && mkdir -p "$fuzz_dir/corpus-signature"
cp fuzz/corpus/signature_file/* "$fuzz_dir/corpus-signature/"
"$fuzz_dir/fuzz/fuzz_signature_file" -max_total_time=30 -rss_limit_mb=2048 \
  -artifact_prefix="$fuzz_dir/signature-" "$fuzz_dir/corpus-signature"
# 30 s each: the configuration file's write-and-read-back round trip, the
# one-pass rule answer reader against the parsed tree, and ISO dates against
# the standard library's calendar.
for target in ini_file rule_answer iso_date; do
  rm -rf "$fuzz_dir/corpus-$target" && mkdir -p "$fuzz_dir/corpus-$target"
  cp "fuzz/corpus/$target"/* "$fuzz_dir/corpus-$target/"
  "$fuzz_dir/fuzz/fuzz_$target" -max_total_time=30 -rss_limit_mb=2048 \
    -artifact_prefix="$fuzz_dir/$target-" "$fuzz_dir/corpus-$target"
done

# The size of the tests against the product; a warning, since the team keeps
# it near a third rather than at an exact line count.
bash scripts/test-ratio.sh || echo "warning: the test cases are over a third of the product code"

# The closing lines count every case of the three test runs from their own
# records (the fuzzer's output would otherwise end the log).
python3 scripts/test-summary.py build/release build/asan --windows build/windows
