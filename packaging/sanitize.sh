#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs the suite of one sanitizer preset with the options that make a finding a failure.
set -euo pipefail
preset=$1
jobs=$2
shift 2
top=$(cd "$(dirname "$0")/.." && pwd)
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
export ASAN_OPTIONS="detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1:allocator_may_return_null=1"
export UBSAN_OPTIONS="print_stacktrace=1"
export LSAN_OPTIONS="suppressions=$top/packaging/lsan.supp:print_suppressions=0"
export RTSAN_OPTIONS="halt_on_error=1"
# PipeWire's library stays outside: it synchronises by what no sanitizer sees. jackd's is in, and needs no suppression.
bash "$top/packaging/run_tests.sh" "$preset" "$jobs" -LE 'pipewire|soak' "$@"
