#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: installed_by_prefix.sh SOURCE BUILD   installs a build into a folder that it wasn't configured for, and uses it
. "$(dirname "$0")/check_installation.sh"

for component in runtime development tools; do
  cmake --install "$build" --prefix "$folder/moved" --component $component >install.log || fail "$(cat install.log)"
done
check_headers "$folder/moved"
check_pkg_config "$folder/moved"
check_tool "$folder/moved"
