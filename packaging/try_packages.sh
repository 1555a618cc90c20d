#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: try_packages.sh [MIRROR]   as root, with the packages of `make package` in build/packages
#
# A Debian 12 made for the purpose, with nothing in it: apt finds what the packages depend on, the command runs, and every
# example is built against them and prints what it should. Takes some minutes and some hundred megabytes from a mirror.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
mirror=${1:-http://deb.debian.org/debian}
[ "$(id -u)" -eq 0 ] || { echo "a root of its own needs root" >&2; exit 1; }
ls "$top"/build/packages/*.deb >/dev/null || { echo "make package first" >&2; exit 1; }

root=$(mktemp -d)
trap 'rm -rf --one-file-system "$root"' EXIT
debootstrap --variant=minbase bookworm "$root" "$mirror" >"$root.log" 2>&1 || { tail "$root.log" >&2; exit 1; }
rm "$root.log"
# The way to the mirror is this machine's.
cp -L /etc/resolv.conf "$root/etc/"
[ ! -d /etc/apt/apt.conf.d ] || cp -r /etc/apt/apt.conf.d/. "$root/etc/apt/apt.conf.d/"
mkdir "$root/try"
cp -r "$top"/build/packages/*.deb "$top/examples" "$root/try/"

chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C DEBIAN_FRONTEND=noninteractive \
  ${http_proxy:+http_proxy="$http_proxy"} ${https_proxy:+https_proxy="$https_proxy"} sh -eu <<'INSIDE'
cd /try
quietly() { "$@" >log 2>&1 || { tail -30 log; exit 1; }; }
quietly apt-get update
quietly apt-get install -y --no-install-recommends ./libmlox1_*.deb ./mlox-tools_*.deb
ldconfig -p | grep libmlox.so.1
mlox --version
mlox list
quietly apt-get install -y --no-install-recommends ./libmlox-dev_*.deb g++ cmake make pkg-config
c++ -std=c++20 examples/first_pull.cpp $(pkg-config --cflags --libs mlox) -o first_pull
./first_pull | cmp - examples/first_pull.expected
quietly cmake -S examples -B build
quietly cmake --build build
ctest --test-dir build --output-on-failure --no-tests=error
quietly dpkg --purge libmlox-dev mlox-tools libmlox1
left=$(find / -xdev -path /proc -prune -o -path /try -prune -o -name '*mlox*' -print | grep -v '^/root/' || true)
[ -z "$left" ] || { echo "still there after the packages were removed: $left"; exit 1; }
INSIDE
echo "The packages hold on an empty Debian 12."
