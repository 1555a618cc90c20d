# SPDX-License-Identifier: MIT
# Functions for the tests of installations; sourced. Each ends the test with a word why.

fail() {
  echo "$*" >&2
  exit 1
}

# check_headers PREFIX: each header that is installed finds all that it includes, and all of them compile in one unit.
check_headers() {
  local folder=$1/include/mlox-1 unit
  [ -f "$folder/mlox/mlox_manager.h" ] || fail "mlox_manager.h is not under $folder"
  (cd "$folder" && find . -name '*.h' | sort) >headers
  xargs -P "$(nproc)" -I '{}' sh -c "echo '#include \"{}\"' | c++ -std=c++20 -x c++ -M -I '$folder' - >/dev/null" <headers ||
    fail "a header needs one that isn't installed"
  unit=all_headers.cpp
  sed 's|^\./\(.*\)|#include <\1>|' headers >$unit
  c++ -std=c++20 -fsyntax-only -I "$folder" $unit || fail "the headers don't compile together"
}

# check_pkg_config PREFIX SOURCE: the shortest example, by the line that stands in its head.
check_pkg_config() {
  local pc
  pc=$(find "$1" -name mlox.pc -printf '%h') || true
  [ -n "$pc" ] || fail "mlox.pc is not under $1"
  export PKG_CONFIG_PATH=$pc
  # shellcheck disable=SC2046
  c++ -std=c++20 "$2/examples/first_pull.cpp" $(pkg-config --cflags --libs mlox) -o first_pull
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir mlox) ./first_pull >printed
  cmp printed "$2/examples/first_pull.expected" || fail "first_pull printed something else"
}

# check_examples PREFIX SOURCE: every example, found by CMake, its output compared.
check_examples() {
  cmake -S "$2/examples" -B examples -G Ninja -DCMAKE_PREFIX_PATH="$1" >configure.log || fail "$(cat configure.log)"
  cmake --build examples >build.log || fail "$(tail -30 build.log)"
  ctest --test-dir examples --output-on-failure >ctest.log || fail "$(cat ctest.log)"
  grep -q '100% tests passed' ctest.log || fail "no example was run"
}

# check_tool PREFIX: the command, its manual page and its completions.
check_tool() {
  LD_LIBRARY_PATH=$(dirname "$(find "$1" -name 'libmlox.so.1')") "$1/bin/mlox" --version >printed || fail "mlox doesn't run"
  grep -q '[0-9]\.[0-9]' printed || fail "mlox --version prints $(cat printed)"
  grep -q '^.SS "mlox render' "$1/share/man/man1/mlox.1" || fail "the manual page doesn't tell of mlox render"
  bash -n "$1/share/bash-completion/completions/mlox"
  zsh -n "$1/share/zsh/site-functions/_mlox"
}
