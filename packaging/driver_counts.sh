#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: driver_counts.sh BUILD_FOLDER   after a run of the tests there: prints how many conformance tests passed for each
# driver on each other side that it is tried with (JACK: jackd and PipeWire), and fails when one of them has none
set -euo pipefail
log=${1:?usage: driver_counts.sh BUILD_FOLDER}/Testing/Temporary/LastTest.log
top=$(cd "$(dirname "$0")/.." && pwd)

# The sides, as the sources instantiate the suite for them.
sides=$(grep -rhoE --include='*_test.cpp' '^INSTANTIATE_TYPED_TEST_SUITE_P\([A-Za-z]+, DriverConformance,' "$top/tests" |
  sed 's/.*(\(.*\), Driver.*/\1/' | sort)
status=0
for folder in "$top"/platform/directmusic/*/; do
  driver=$(basename "$folder")
  found=0
  for side in $sides; do
    [[ $side == "${driver^}"* ]] || continue
    found=1
    # GoogleTest's own line for each test that ran to its end, whichever process or machine ran it.
    count=$(grep -a -c "^\[       OK \] $side/DriverConformance/" "$log" || true)
    echo "driver $driver as $side: $count conformance tests passed"
    [ "$count" -gt 0 ] || status=1
  done
  [ $found -eq 1 ] || { echo "driver $driver: no conformance tests"; status=1; }
done
[ "$status" -eq 0 ] || echo "a driver without tests is a driver nobody knows anything of" >&2
exit "$status"
