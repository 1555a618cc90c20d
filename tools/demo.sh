#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Renders a real song through a plug-in's node to demo.wav, then plays ten seconds of it through a loopback port.
# Argument: the tool that was built.
set -euo pipefail
mlox=${1:?usage: demo.sh PATH-OF-MLOX}
songs=/usr/share/games/openttd/baseset/openmsx
song=$songs/tttheme2.mid
out=demo.wav
if [ ! -r "$song" ]; then
  echo "demo: $song: not there; the package openttd-openmsx has it" >&2
  exit 1
fi

echo "Rendering $(basename "$song") through a plug-in's node:"
echo
"$mlox" render "$song" "$out"
echo
echo "Playing ten seconds of it through a loopback port, in real time:"
echo
# Ports inside this process, and a studio of the demo's own: nothing of yours is touched.
studio=$(mktemp -d)
trap 'rm -rf "$studio"' EXIT
MLOX_MIDI_DRIVERS=loopback MLOX_STUDIO_DB=$studio/studio.db \
  "$mlox" play "$song" --to "mlox loopback" --back "mlox loopback" --seconds 10
cat <<END

$out has the song: 48000 Hz, two channels of 32-bit floats. It went from three writers on
threads of their own through the library to a plug-in that pulls its messages once a block.

What to try next:
  aplay $out   # or any other player
  $mlox render $song direct.wav --through direct --seconds 20
  $mlox render $song none.wav --through none && cmp $out none.wav   # the same to the last bit
  $mlox render $song small.wav --block 16 --json --events fed.txt
  ls $songs/*.mid   # thirty more
  $mlox render --help
  $mlox list      # the MIDI ports of this machine
  $mlox monitor   # what arrives at them
END
