#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: run.sh BUILD_FOLDER   runs every benchmark program that lies in the build; tables on standard output, and JSON beside
# the programs from all but readerspath_bench and alsa_guest_bench, which write none. All are run; the exit status tells
# whether one failed. A goal that is missed isn't failing.
set -euo pipefail
folder=${1:?usage: run.sh BUILD_FOLDER}/bench
failed=()
for program in "$folder"/*_bench; do
  case "$program" in
    */readerspath_bench) "$program" ;;
    */alsa_guest_bench) bash "$(dirname "$0")/alsa_guest.sh" "$program" ;;
    *) "$program" --out="$folder" ;;
  esac || failed+=("$(basename "$program")")
  echo
done
[ ${#failed[@]} -eq 0 ] || { echo "failed: ${failed[*]}" >&2 && exit 1; }
