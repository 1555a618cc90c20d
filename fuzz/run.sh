#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs each fuzz target for a while on a copy of its corpus; a crash, a leak or a hang fails.
set -euo pipefail
build=$1
seconds=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

found=0
for target in "$build"/fuzz/fuzz_*; do
  [ -x "$target" ] && [ -f "$target" ] || continue
  found=1
  name=$(basename "$target")
  corpus=$work/$name
  mkdir -p "$corpus"
  seeds=$here/corpus/${name#fuzz_}
  dictionary=()
  [ -f "$here/${name#fuzz_}.dict" ] && dictionary=("-dict=$here/${name#fuzz_}.dict")
  folders=("$corpus")
  [ -d "$seeds" ] && folders+=("$seeds")
  echo "== $name, $seconds s"
  "$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$build/fuzz/" \
    "${dictionary[@]}" "${folders[@]}" 2>&1 | grep -v -E '^#[0-9]+\s+(NEW|REDUCE|pulse)' | tail -n 40
done
[ "$found" = 1 ] || { echo "no fuzz targets were built" >&2; exit 1; }
