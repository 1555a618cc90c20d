#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: alsa_guest.sh PROGRAM   runs the ALSA benchmark in a guest with virtual time; says so when there is no QEMU
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
program=${1:?usage: alsa_guest.sh PROGRAM}
if ! command -v qemu-system-x86_64 >/dev/null; then
  echo "alsa_guest_bench: left out, there is no qemu-system-x86_64 (packaging/packages.txt)"
  exit 0
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# In the guest's own memory, since virtual time flies while it waits for a file of the host.
cp "$program" "$folder/bench"
bash "$here/../tests/integration/alsa/alsa_guest.sh" -t 600 "$folder" "cp bench /tmp && /tmp/bench"
