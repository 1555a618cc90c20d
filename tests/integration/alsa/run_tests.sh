#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: run_tests.sh PROGRAM [GTEST_OPTION...]   runs the tests of the ALSA driver in a guest, its output passed on. A
# guest that can't run is a failure, with CI set or not: a skipped driver is an untested one.
set -u
here=$(cd "$(dirname "$0")" && pwd)
program=${1:?usage: run_tests.sh PROGRAM [GTEST_OPTION...]}
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

guest() {
  bash "$here/alsa_guest.sh" -t 600 \
    -M "configfs snd-seq snd-seq-dummy snd-hrtimer snd-seq-midi snd-virmidi libcomposite usb_f_midi snd-usb-audio" \
    "$folder" "guest-modprobe dummy_hcd num=2 && $(printf '%q ' "$@")"
  local status=$?
  [ $status -ne 125 ] || echo "mlox: the tests of the ALSA driver could not run: see the line above" >&2
  return $status
}

guest "$program" "$@"
