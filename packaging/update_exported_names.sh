#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Writes the classes and functions that the built library exports to packaging/exported_names.txt.
# usage: update_exported_names.sh [--print] LIBRARY      --print writes to standard output instead
#
# One name a line, sorted: a class for all its operations, tables and type information, and a free function with "()".
# Whoever changes the list changes the binary interface; the test of it fails until the list is renewed.
set -euo pipefail
print=no
if [ "${1-}" = --print ]; then
  print=yes
  shift
fi
library=${1:?usage: update_exported_names.sh [--print] LIBRARY}

# nm prints address, type and demangled name. Left out is what comes and goes with compiler and sanitizer: constants inside
# a lambda, AddressSanitizer's own marks, and tables and type information of our classes that every user of a header makes
# anew (V). Those of others stay in: they must not be there.
names() {
  nm -D --defined-only -C "$library" |
    awk '/\{lambda/ || / __odr_asan/ { next }
         / V (vtable|VTT|typeinfo|typeinfo name) for / && !/ for (std|fmt|__gnu_cxx)::/ { next }
         { print }' |
    sed -E 's/^[0-9a-f]* +[A-Za-z] //; s/\[abi:[a-z0-9]+\]//g'
}

# A class's own records name it; anything else is a member or a function, whose own name is cut off.
classes() {
  awk '
    function plain(text,    i, c, depth, out) {  # without template arguments, up to the parameter list
      gsub(/\(anonymous namespace\)/, "{anonymous}", text)
      for (i = 1; i <= length(text); ++i) {
        c = substr(text, i, 1)
        if (c == "<") ++depth
        else if (c == ">") --depth
        else if (c == "(" && depth == 0) { isFunction = 1; break }
        else if (depth == 0) out = out c
      }
      sub(/^.* /, "", out)  # a template function has its result in front
      return out
    }
    {
      isFunction = 0
      if (sub(/^(construction vtable|vtable|VTT|typeinfo name|typeinfo) for /, "")) { print plain($0); next }
      sub(/^(guard variable for|non-virtual thunk to|virtual thunk to|covariant return thunk to) /, "")
      sub(/^(TLS init function for|TLS wrapper function for|reference temporary #[0-9]* for) /, "")
      if (match($0, /^operator[^A-Za-z0-9_]/)) { sub(/\(.*/, "()"); print; next }
      if (match($0, /::operator[^A-Za-z0-9_]/)) {
        print plain(substr($0, 1, RSTART - 1))
        next
      }
      name = plain($0)
      if (sub(/::[^:]*$/, "", name)) print name
      else print name (isFunction ? "()" : "")
    }' | LC_ALL=C sort -u
}

if [ $print = yes ]; then
  names | classes
else
  names | classes >"$(dirname "$0")/exported_names.txt"
fi
