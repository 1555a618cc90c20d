#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: installed_by_packages.sh SOURCE BUILD   makes the Debian packages, installs them into an empty root, and uses them
. "$(dirname "$0")/check_installation.sh"
. "$source/tests/integration/installed/check_packages.sh"

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$folder/packages" >cpack.log 2>&1 || fail "$(tail -30 cpack.log)"
for package in libmlox1 libmlox-dev mlox-tools; do
  [ "$(find packages -maxdepth 1 -name "${package}_*.deb" | wc -l)" -eq 1 ] || fail "there is no package $package"
done
check_fields libmlox1 "MIDI services library"
check_fields libmlox-dev "MIDI services library: development files"
check_fields mlox-tools "MIDI services: the command mlox"
version=$(field libmlox1 Version)
[ "$(field libmlox-dev Depends)" = "libmlox1 (= $version)" ] || fail "libmlox-dev needs $(field libmlox-dev Depends)"
[[ "$(field mlox-tools Depends)" == *"libmlox1 (= $version)"* ]] || fail "mlox-tools needs $(field mlox-tools Depends)"

# A root of its own. What the packages depend on is that of this machine, and the script that tells the loader of a new
# library has no shell in there: they are unpacked, not configured.
root=$folder/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
dpkg --root="$root" --force-not-root --force-depends --log=/dev/null --unpack packages/*.deb >dpkg.log 2>&1 ||
  fail "$(cat dpkg.log)"

for package in libmlox1 libmlox-dev mlox-tools; do
  check_files $package "$version"
done
check_library "$version"
check_trigger
check_needs libmlox1 "$(find "$root/usr/lib" -type f -name 'libmlox.so.1*')"
check_needs mlox-tools "$root/usr/bin/mlox"
check_no_build_paths

check_headers "$root/usr"
check_pkg_config "$root/usr"
check_versions "$root/usr"
check_examples "$root/usr"
check_tool "$root/usr"
check_zsh "$root" /usr
