#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: run_tests.sh PROGRAM [GTEST_OPTION...]   runs the tests of the ALSA driver in a guest, its output passed on. A
# guest that can't run is a failure, with CI set or not: a skipped driver is an untested one. Without options the guest
# is booted a second time, to see that the ports' ids are those of the first.
set -u
here=$(cd "$(dirname "$0")" && pwd)
program=${1:?usage: run_tests.sh PROGRAM [GTEST_OPTION...]}
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# Virtual time flies while the guest waits for a file of the host, so what the tests use lies in the guest's memory.
cp "$program" "$folder/test_alsa_guest"

modules="configfs snd-seq snd-seq-dummy snd-hrtimer snd-seq-midi libcomposite usb_f_midi snd-usb-audio"
guest() {  # $1: further modules, then options of the program
  local more=$1 status
  shift
  bash "$here/alsa_guest.sh" -t 800 -M "$modules $more" -e MLOX_TEST_IDS="$folder/ids" "$folder" \
    "guest-modprobe dummy_hcd num=2 && cp test_alsa_guest /tmp && exec /tmp/test_alsa_guest $(printf '%q ' "$@")"
  status=$?
  [ $status -ne 125 ] || echo "mlox: the tests of the ALSA driver could not run: see the line above" >&2
  return $status
}

if [ $# -gt 0 ]; then
  guest snd-virmidi "$@"
  exit
fi
guest snd-virmidi --gtest_filter=-AlsaIdentity.IdsAreThoseOfTheRunBefore || exit
# Without virmidi all cards have other numbers.
guest "" --gtest_filter=AlsaIdentity.IdsAreThoseOfTheRunBefore
