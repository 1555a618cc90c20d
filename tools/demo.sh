#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Renders a real song through a plug-in's node to demo.wav. Argument: the tool that was built.
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
END
