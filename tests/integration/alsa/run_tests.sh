#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: run_tests.sh PROGRAM TOOL [GTEST_OPTION...]   runs the tests of the ALSA driver in a guest, its output passed on. A
# guest that can't run is a failure, with CI set or not: a skipped driver is an untested one. Without options all tests
# run but what takes an hour of virtual time, and the guest is booted twice more, to see that the ports' ids are
# those of the first time, and that saved references lead where they did.
set -u
here=$(cd "$(dirname "$0")" && pwd)
program=${1:?usage: run_tests.sh PROGRAM TOOL [GTEST_OPTION...]}
tool=${2:?usage: run_tests.sh PROGRAM TOOL [GTEST_OPTION...]}
shift 2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# Virtual time flies while the guest waits for a file of the host, so what the tests use lies in the guest's memory.
cp "$program" "$folder/test_alsa_guest"
cp "$tool" "$folder/mlox"
library=$(ldd "$tool" | sed -n 's/^\tlibmlox[^ ]* => \(\/[^ ]*\).*/\1/p')
[ -z "$library" ] || cp "$library" "$folder/"

modules="configfs snd-seq snd-seq-dummy snd-hrtimer snd-seq-midi libcomposite usb_f_midi snd-usb-audio"
limit=${MLOX_GUEST_LIMIT:-1300}  # seconds of this machine's time, which may be a busy one
guest() {  # $1: further modules, then options of the program
  local more=$1 status
  shift
  bash "$here/alsa_guest.sh" -t "$limit" -M "$modules $more" -e MLOX_TEST_IDS="$folder/ids" \
    -e MLOX_TEST_TOOL=/tmp/mlox -e LD_LIBRARY_PATH=/tmp "$folder" \
    "guest-modprobe dummy_hcd num=2 && find . -maxdepth 1 -type f ! -name 'ids*' -exec cp {} /tmp \; && exec /tmp/test_alsa_guest $(printf '%q ' "$@")"
  status=$?
  [ $status -ne 125 ] || echo "mlox: the tests of the ALSA driver could not run: see the line above" >&2
  return $status
}

if [ $# -gt 0 ]; then
  guest snd-virmidi "$@"
  exit
fi
guest snd-virmidi '--gtest_filter=-*OfTheRunBefore:*OverAnHour*' || exit
# Without virmidi all cards have other numbers.
guest "" '--gtest_filter=*OfTheRunBefore:-AlsaSavedReferences*' || exit
# Apart: what this one plugs and keeps would be known to the others.
guest "" '--gtest_filter=AlsaSavedReferences*OfTheRunBefore'
