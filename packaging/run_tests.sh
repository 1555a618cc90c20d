#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs the tests of one preset: run_tests.sh PRESET JOBS [CTEST_OPTION...]. On a terminal with a line of progress,
# elsewhere silently. What failed is told at the very end, each test with the end of its output: whoever sees the last
# lines of a log alone sees what is wrong. The whole log stays in the build folder.
set -euo pipefail
preset=$1
jobs=$2
shift 2
top=$(cd "$(dirname "$0")/.." && pwd)
log=$top/build/$preset/tests.log
lines_of_a_test=60
tests_in_full=8

display=--quiet
[ ! -t 1 ] || display=--progress
cd "$top"
status=0
ctest --preset "$preset" -j "$jobs" "$display" --output-on-failure --no-tests=error --output-log "$log" "$@" || status=$?
grep -E '^[0-9]+% tests passed|^Total Test time|^No tests were found' "$log" || true
[ "$status" -ne 0 ] || exit 0

# A failed test's output stands behind its line of result, up to the next line of ctest's own.
awk -v lines="$lines_of_a_test" -v tests="$tests_in_full" '
  function tell(  i) {
    if (count > 0 && ++told <= tests) {
      print ""
      print output[1]
      if (count > lines + 1) print "[" count - 1 - lines " lines left out]"
      for (i = count > lines + 1 ? count - lines + 1 : 2; i <= count; ++i) print output[i]
    }
    count = 0
  }
  /^ *[0-9]+\/[0-9]+ Test +#[0-9]+: / { tell(); if ($0 !~ / Passed +[0-9.]+ sec$/) output[++count] = $0; next }
  /^ *Start +[0-9]+: / || /^[0-9]+% tests passed/ { tell(); next }
  count > 0 { output[++count] = $0 }
  END { tell(); if (told > tests) print "\n[the output of " told - tests " more is in the log]" }
' "$log"
echo
sed -n '/^The following tests FAILED:/,$ { /FAILED:/p; /^\t/p }' "$log"
echo "The whole log: ${log#"$top"/}"
exit "$status"
