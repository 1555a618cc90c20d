#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# clang-format over every tracked file, then clang-tidy over the library, the tool and the examples.
set -euo pipefail
build=$1
jobs=$2
cd "$(dirname "$0")/.."

mapfile -t files < <(git ls-files '*.h' '*.cpp')
clang-format --dry-run --Werror "${files[@]}"
echo "clang-format: ${#files[@]} files in order"

# Tests are left to the compilers' warnings and the sanitizers: clang-tidy over GoogleTest's macros costs most of the
# ten minutes that lint may take and finds nothing but the macros.
mapfile -t sources < <(git ls-files '*.cpp' | grep -v -E '^(tests|bench|fuzz)/')
printf '%s\0' "${sources[@]}" |
  xargs -0 -n 4 -P "$jobs" clang-tidy --quiet -p "$build" 2> >(grep -v -E 'warnings? generated|Suppressed|Use -' >&2)
echo "clang-tidy: ${#sources[@]} files clean"
