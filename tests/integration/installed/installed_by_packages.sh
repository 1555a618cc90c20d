#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: installed_by_packages.sh SOURCE BUILD   makes the Debian packages, installs them into an empty root, and uses them
set -euo pipefail
source=$1
build=$2
. "$(dirname "$0")/check_installation.sh"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$folder/packages" >cpack.log 2>&1 || fail "$(tail -30 cpack.log)"
for package in libmlox1 libmlox-dev mlox-tools; do
  [ "$(find packages -maxdepth 1 -name "${package}_*.deb" | wc -l)" -eq 1 ] || fail "there is no package $package"
done
depends() { dpkg-deb --field "packages/$1"_*.deb Depends; }
[[ "$(depends libmlox1)" == *libexpat1* ]] || fail "libmlox1 depends on $(depends libmlox1)"
[[ "$(depends libmlox-dev)" == "libmlox1 (= "* ]] || fail "libmlox-dev depends on $(depends libmlox-dev)"
[[ "$(depends mlox-tools)" == *libfluidsynth* ]] || fail "mlox-tools depends on $(depends mlox-tools)"

# A root of its own. What the packages depend on is that of this machine, and the script that tells the loader of a new
# library has no shell in there: they are unpacked, not configured.
root=$folder/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
dpkg --root="$root" --force-not-root --force-depends --log=/dev/null --unpack packages/*.deb >dpkg.log 2>&1 ||
  fail "$(cat dpkg.log)"

check_headers "$root/usr"
check_pkg_config "$root/usr" "$source"
check_examples "$root/usr" "$source"
check_tool "$root/usr"
