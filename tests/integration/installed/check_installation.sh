# SPDX-License-Identifier: MIT
# What the tests of installations share; sourced by them with their own arguments: the tree and a build of it. A folder to
# work in, which goes with the test, and functions that end it with a word why.
set -euo pipefail
source=$1
build=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

fail() {
  echo "$*" >&2
  exit 1
}

# list_headers PREFIX: all that are installed, in the file headers.
list_headers() {
  [ -f "$1/include/mlox-1/mlox/mlox_manager.h" ] || fail "mlox_manager.h is not under $1"
  (cd "$1/include/mlox-1" && find . -name '*.h' | sort) >headers
}

# check_each_header PREFIX: each compiles alone, from where it is installed.
check_each_header() {
  list_headers "$1"
  xargs -P "$(nproc)" -I '{}' \
    sh -c "echo '#include \"{}\"' | c++ -std=c++20 -fsyntax-only -x c++ -I '$1/include/mlox-1' -" <headers ||
    fail "a header doesn't compile alone"
}

# check_headers PREFIX: all compile in one unit, which finds whatever they include.
check_headers() {
  local place=$1/include/mlox-1 unit
  list_headers "$1"
  unit=all_headers.cpp
  sed 's|^\./\(.*\)|#include <\1>|' headers >$unit
  c++ -std=c++20 -fsyntax-only -I "$place" $unit || fail "the headers don't compile together"
}

# check_pkg_config PREFIX: the shortest example, by the line that stands in its head.
check_pkg_config() {
  local pc
  pc=$(find "$1" -name mlox.pc -printf '%h') || true
  [ -n "$pc" ] || fail "mlox.pc is not under $1"
  export PKG_CONFIG_PATH=$pc
  # shellcheck disable=SC2046
  c++ -std=c++20 "$source/examples/first_pull.cpp" $(pkg-config --cflags --libs mlox) -o first_pull
  LD_LIBRARY_PATH=$(pkg-config --variable=libdir mlox) ./first_pull >printed
  cmp printed "$source/examples/first_pull.expected" || fail "first_pull printed something else"
}

# check_versions PREFIX: pkg-config and CMake know the library under the version that the command tells. After
# check_pkg_config, which tells where mlox.pc is.
check_versions() {
  local version
  version=$(LD_LIBRARY_PATH=$(dirname "$(find "$1" -name 'libmlox.so.1')") "$1/bin/mlox" --version) || fail "mlox doesn't run"
  version=${version#mlox }
  [ "$(pkg-config --modversion mlox)" = "$version" ] || fail "pkg-config knows mlox $(pkg-config --modversion mlox), not $version"
  mkdir exact
  cat >exact/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.25)
project(exact LANGUAGES CXX)
find_package(mlox $version EXACT REQUIRED CONFIG)
END
  cmake -S exact -B exact/build -G Ninja -DCMAKE_PREFIX_PATH="$1" >exact.log 2>&1 || fail "$(cat exact.log)"
  grep -q "^mlox_DIR:PATH=$1/" exact/build/CMakeCache.txt || fail "CMake found another library than that under $1"
  # Another major version is another library.
  sed -i 's/^find_package.*/find_package(mlox 0.9 CONFIG)/' exact/CMakeLists.txt
  cmake -S exact -B exact/older -G Ninja -DCMAKE_PREFIX_PATH="$1" >older.log 2>&1 || fail "$(cat older.log)"
  grep -q '^mlox_DIR:PATH=mlox_DIR-NOTFOUND$' exact/older/CMakeCache.txt || fail "CMake takes version $version for 0.9"
}

# configure_examples PREFIX: the examples as a project of their own, which looks for the library by find_package.
configure_examples() {
  cmake -S "$source/examples" -B examples -G Ninja -DCMAKE_PREFIX_PATH="$1" >configure.log || fail "$(cat configure.log)"
}

# check_find_package PREFIX: the shortest example, found by CMake.
check_find_package() {
  configure_examples "$1"
  grep -q "^mlox_DIR:PATH=$1/" examples/CMakeCache.txt || fail "CMake found another library than that under $1"
  cmake --build examples --target example_first_pull >build.log || fail "$(tail -30 build.log)"
  examples/first_pull >printed
  cmp printed "$source/examples/first_pull.expected" || fail "first_pull printed something else"
}

# check_examples PREFIX: every example, found by CMake, its output compared.
check_examples() {
  configure_examples "$1"
  cmake --build examples >build.log || fail "$(tail -30 build.log)"
  ctest --test-dir examples --output-on-failure >ctest.log || fail "$(cat ctest.log)"
  grep -q '100% tests passed' ctest.log || fail "no example was run"
}

# check_zsh ROOT PREFIX: zsh looks for functions where the completion lies, as seen from the root, and takes it as that of the
# command.
# shellcheck disable=SC2016
check_zsh() {
  local script place
  script=$(find "$1$2" -name _mlox)
  [ -f "$script" ] || fail "zsh's completion isn't under $1$2 once: $script"
  zsh -n "$script"
  place=$(dirname "${script#"$1"}")
  env -u FPATH zsh -fc 'print -l $fpath' >fpath
  grep -qxF "$place" fpath || fail "zsh doesn't look into $place: $(cat fpath)"
  zsh -fc 'fpath=($1 $fpath); autoload -U compinit; compinit -u -D; print -r -- $_comps[mlox]' zsh "$1$place" >completes
  [ "$(cat completes)" = _mlox ] || fail "zsh completes mlox by '$(cat completes)'"
}

# check_tool PREFIX: the command, its manual page and bash's completion.
check_tool() {
  LD_LIBRARY_PATH=$(dirname "$(find "$1" -name 'libmlox.so.1')") "$1/bin/mlox" --version >printed || fail "mlox doesn't run"
  grep -q '[0-9]\.[0-9]' printed || fail "mlox --version prints $(cat printed)"
  gunzip -c "$1/share/man/man1/mlox.1.gz" | grep '^.SS "mlox render' >/dev/null || fail "the manual page doesn't tell of mlox render"
  bash -n "$1/share/bash-completion/completions/mlox"
}

# check_tracing PREFIX: the tracing library lies where the loader finds it beside the library, and has every name that the
# binder wants: lines of the shortest example come out. After check_pkg_config, which builds the example.
check_tracing() {
  local place
  place=$(dirname "$(find "$1" -name 'libmlox.so.1')")
  [ -f "$place/libQuilTrace.so" ] || fail "the tracing library isn't in $place"
  LD_LIBRARY_PATH=$place MLOX_TRACE=02000F27 ./first_pull 2>traced >printed
  cmp printed "$source/examples/first_pull.expected" || fail "first_pull printed something else while it traced"
  [ "$(grep -c ' 02000F27 Mlox_DM_BufferedDelivery alloc ' traced)" -eq 1 ] || fail "first_pull traced $(cat traced)"
}
