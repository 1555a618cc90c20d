# SPDX-License-Identifier: MIT
# Functions for the test of the Debian packages, after check_installation.sh; sourced. They look at $folder/packages and
# at the root into which these were unpacked, $root.

# field PACKAGE NAME: what the package says of itself.
field() { dpkg-deb --field "$folder/packages/$1"_*.deb "$2"; }

# check_fields PACKAGE TITLE: each package introduces itself.
check_fields() {
  local name
  for name in Architecture Installed-Size Maintainer Priority Section Version; do
    [ -n "$(field "$1" $name)" ] || fail "$1 has no $name"
  done
  [ "$(field "$1" Description | sed -n 1p)" = "$2" ] || fail "$1 is called $(field "$1" Description)"
  [ "$(field "$1" Description | grep -c '^ [A-Za-z]')" -ge 2 ] || fail "$1 is described by nothing but its title"
}

# check_files PACKAGE VERSION: what Debian wants to lie beside the files, and that these can be checked by md5sums.
check_files() {
  local documents=$root/usr/share/doc/$1
  grep -q '^License: Expat' "$documents/copyright" || fail "$1 doesn't tell its licence"
  diff <(gunzip -c "$documents/changelog.gz" | head -1) <(echo "mlox ($2) unstable; urgency=medium") ||
    fail "the list of changes of $1 tells of another version"
  (cd "$root" && md5sum --quiet --check "var/lib/dpkg/info/$1.md5sums") || fail "$1 was unpacked otherwise than packed"
}

# check_library VERSION: the names of the library, what others shall depend on, and no symbols but those for the loader.
check_library() {
  local library
  library=$(find "$root/usr/lib" -type f -name 'libmlox.so*')
  [ "$(basename "$library")" = "libmlox.so.$1" ] || fail "version $1 has the library $library"
  [ "$(objdump -p "$library" | sed -n 's/^ *SONAME *//p')" = libmlox.so.1 ] || fail "$library is called otherwise"
  [ "$(readlink "${library%"$1"}1")" = "libmlox.so.$1" ] || fail "libmlox.so.1 doesn't lead to the library"
  [ "$(readlink "${library%".$1"}")" = libmlox.so.1 ] || fail "libmlox.so doesn't lead to libmlox.so.1"
  [ "$(cat "$root/var/lib/dpkg/info/libmlox1.shlibs")" = "libmlox 1 libmlox1 (>= $1)" ] ||
    fail "others learn to depend on $(cat "$root/var/lib/dpkg/info/libmlox1.shlibs")"
  [ -z "$(nm "$library" 2>/dev/null)" ] || fail "$library isn't stripped"
}

# check_trigger: dpkg renews the loader's cache when the library comes or goes.
check_trigger() {
  dpkg-deb --ctrl-tarfile "$folder"/packages/libmlox1_*.deb | tar -xO ./triggers >triggers 2>tar.log ||
    fail "libmlox1 has no triggers: $(cat tar.log)"
  grep -qx 'activate-noawait ldconfig' triggers || fail "libmlox1 has the triggers $(cat triggers)"
}

# check_needs PACKAGE FILE: the package depends on every package of this machine that has a library the file is linked
# with, and on none without reason. Of alternatives the first is the one that is here.
check_needs() {
  local place library owner
  place=lib/$(c++ -print-multiarch)
  field "$1" Depends | tr , '\n' | sed 's/[(|].*//; s/ //g' | sort -u >needs_said
  objdump -p "$2" | sed -n 's/^ *NEEDED *//p' | while read -r library; do
    if [ "$library" = libmlox.so.1 ]; then
      echo libmlox1
      continue
    fi
    # Packages know their files under /lib or under /usr/lib, which are one.
    owner=$( (dpkg-query -S "/$place/$library" "/usr/$place/$library" 2>/dev/null || true) | sed 's/:.*//' | sort -u)
    [ -n "$owner" ] || fail "$library belongs to no package"
    echo "$owner"
  done | sort -u >needs_found
  diff needs_found needs_said || fail "$1 depends on more or less than its files need"
}

# check_no_build_paths: nothing tells where it was built.
check_no_build_paths() {
  local found
  found=$(grep -rlF -e "$source/" -e "$build/" "$root/usr" || true)
  [ -z "$found" ] || fail "the folders of the build stand in $found"
}
