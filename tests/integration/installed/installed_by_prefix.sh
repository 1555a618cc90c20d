#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: installed_by_prefix.sh SOURCE BUILD   installs a build into a folder that it wasn't configured for, and uses it
. "$(dirname "$0")/check_installation.sh"

for component in runtime development tools; do
  cmake --install "$build" --prefix "$folder/moved" --component $component >install.log || fail "$(cat install.log)"
done
check_each_header "$folder/moved"
check_headers "$folder/moved"
check_pkg_config "$folder/moved"
check_versions "$folder/moved"
check_find_package "$folder/moved"
check_tool "$folder/moved"
# Of the prefixes besides /usr it is the one that zsh knows.
DESTDIR=$folder/root cmake --install "$build" --prefix /usr/local --component tools >install.log || fail "$(cat install.log)"
check_zsh "$folder/root" /usr/local

# The tracing library, where spdlog is there to build it.
[ -z "$(find moved -name 'libQuilTrace*')" ] || fail "the tracing library came with another component"
if ! grep -q '^spdlog_DIR:PATH=.*-NOTFOUND$' "$build/CMakeCache.txt"; then
  cmake --install "$build" --prefix "$folder/moved" --component tracing >install.log || fail "$(cat install.log)"
  check_tracing "$folder/moved"
fi
