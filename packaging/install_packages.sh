#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the packages of packages.txt that are missing. Quiet and quick when all are there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

missing=()
while read -r package; do
  dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done < <(grep -v -E '^(#|$)' "$here/packages.txt")
[ ${#missing[@]} -eq 0 ] && exit 0

command -v apt-get >/dev/null || {
  echo "mlox: these packages are missing and there is no apt-get here to install them: ${missing[*]}" >&2
  exit 1
}
sudo=
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "mlox: run as root, or install sudo, or install these packages by hand: ${missing[*]}" >&2
    exit 1
  }
  sudo=sudo
fi
echo "mlox: installing ${#missing[@]} packages: ${missing[*]}"
$sudo apt-get update -q
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
