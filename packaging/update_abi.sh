#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The binary interface of the library as libabigail describes it: the size, layout, virtual slots and enumerators of every
# class in a public header, and every exported symbol.
# usage: update_abi.sh BUILD                        writes packaging/libmlox.abi for the library in a build folder
#        update_abi.sh --check BUILD                compares the library in a build folder with that file
#        update_abi.sh --describe LIBRARY HEADERS   prints a description; HEADERS is a folder of public headers
#        update_abi.sh --compare OLD NEW            tells what is different between two descriptions; 1 if anything is
#
# One compiler and one set of flags, whatever the library was built with: layouts are what all of them agree upon, their
# debug information isn't. The library itself gives its symbols, the headers give the types.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
compiler=g++-12
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# All classes of the headers in one unit. To the compiler the headers are one file that is called like the unit, and only
# what stands in that file is given with its members: of the standard library no more than names.
compile_types() {
  local headers
  headers=$(cd "$1" && pwd)
  (cd "$headers" && find . -name '*.h' | LC_ALL=C sort | sed 's|^\./\(.*\)|#include "\1"|') >"$work/public.cpp"
  (
    cd "$work"
    $compiler -std=c++20 -E -I "$headers" public.cpp | sed -E "s|^# ([0-9]+) \"$headers/[^\"]*\"|# \1 \"public.h\"|" >public.ii
    $compiler -std=c++20 -O0 -g -fPIC -femit-struct-debug-baseonly -femit-class-debug-always \
      -fno-eliminate-unused-debug-types -c public.ii -o public.o
  )
}

# The library's exported symbols, as empty ones of the same kind and size. Left out are those that every user of a header
# makes anew: whether the library has them too depends on what it happens to call.
stand_ins() {
  echo '.section .note.GNU-stack,"",@progbits'
  nm -D --defined-only -S "$1" | awk '
    $3 == "T" { printf ".text\n.globl %s\n.type %s,@function\n.size %s,1\n%s: .byte 0\n", $4, $4, $4, $4 }
    $3 ~ /^[BDR]$/ { printf ".data\n.globl %s\n.type %s,@object\n.size %s,0x%s\n%s: .byte 0\n", $4, $4, $4, $2, $4 }'
}

describe() {
  compile_types "$2"
  stand_ins "$1" >"$work/symbols.s"
  (
    cd "$work"
    $compiler -shared -nostdlib -Wl,-soname,"$(objdump -p "$1" | sed -n 's/^ *SONAME *//p')" -o described.so public.o symbols.s
    abidw --load-all-types --type-id-style hash --no-show-locs --no-comp-dir-path --no-corpus-path --no-elf-needed \
      --no-parameter-names --out-file all.abi described.so
  )
  python3 "$here/own_abi.py" <"$work/all.abi"
}

describe_build() {
  cmake --install "$1" --component development --prefix "$work/installed" >"$work/install.log" ||
    { cat "$work/install.log" >&2; return 1; }
  describe "$(realpath "$1/libmlox.so")" "$(echo "$work"/installed/include/mlox-*)"
}

# abidiff judges, but passes over some changes, an enumerator's number for one: no other text is the same either.
compare() {
  local status=0
  cmp -s "$1" "$2" && return 0
  abidiff --leaf-changes-only --non-reachable-types --no-show-locs "$1" "$2" || status=$?
  if [ $((status & 3)) -ne 0 ]; then
    echo "abidiff could not compare them"
  elif [ $((status & 8)) -ne 0 ]; then
    echo "The binary interface has changed incompatibly: what was built before can't use it."
  elif [ $((status & 4)) -ne 0 ]; then
    echo "The binary interface has changed. Only if nothing but additions stands above, what was built before can use it."
  else
    diff -U 3 "$1" "$2" | sed -n '3,80p' || true
    echo "The binary interface has changed in what abidiff does not judge."
  fi
  return 1
}

case ${1-} in
  --describe) describe "$(realpath "${2:?a library}")" "${3:?a folder of headers}" ;;
  --compare) compare "${2:?a description}" "${3:?another description}" ;;
  --check)
    describe_build "${2:?a build folder}" >"$work/now.abi"
    compare "$here/libmlox.abi" "$work/now.abi" || {
      echo "If that is meant: packaging/update_abi.sh ${2} (CONTRIBUTING.md tells what goes with it)"
      exit 1
    }
    ;;
  "" | --*)
    sed -n 's/^# usage: /usage: /p; s/^#  *update/       update/p' "$0" >&2
    exit 2
    ;;
  *)
    describe_build "$1" >"$work/now.abi"
    cp "$work/now.abi" "$here/libmlox.abi"
    ;;
esac
