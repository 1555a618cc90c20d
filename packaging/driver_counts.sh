#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: driver_counts.sh BUILD_FOLDER   after a run of the tests there: prints how many conformance tests ran for each
# driver, and fails when a driver has none
set -euo pipefail
log=${1:?usage: driver_counts.sh BUILD_FOLDER}/Testing/Temporary/LastTest.log
top=$(cd "$(dirname "$0")/.." && pwd)

status=0
for folder in "$top"/platform/directmusic/*/; do
  driver=$(basename "$folder")
  # GoogleTest's own line for each test that ran to its end, whichever process or machine ran it.
  count=$(grep -a -c -E "^\[       OK \] ${driver^}[A-Za-z]*/DriverConformance/" "$log" || true)
  echo "driver $driver: $count conformance tests passed"
  [ "$count" -gt 0 ] || status=1
done
[ "$status" -eq 0 ] || echo "a driver without tests is a driver nobody knows anything of" >&2
exit "$status"
