#!/bin/bash
# How large the tests are against the product, in cloc code lines (no blank or
# comment lines) of C and C++: the files that hold test cases, the harness
# beside them, and the ratio the team keeps at or under one third.
set -euo pipefail
cd "$(dirname "$0")/.."

code_lines() {
  cloc --quiet --include-lang='C++,C/C++ Header,C' --csv "$@" | awk -F, '$2 == "SUM" { print $5 }'
}

product=$(code_lines launcher config db net rules update crash platform ui)
cases=$(mktemp)
trap 'rm -f "$cases"' EXIT
grep -rlE '^\s*(TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\(' tests | sort > "$cases"
tests=$(code_lines --list-file="$cases")
support=$(($(code_lines tests) - tests))

echo "product code:        $product"
echo "test-case files:     $tests ($(wc -l < "$cases") files)"
echo "test harness:        $support"
awk -v t="$tests" -v p="$product" 'BEGIN {
  printf "tests / product:     %.3f (at most 0.333)\n", t / p
  exit (t * 3 > p)
}'
