# shellcheck shell=bash
# hiredis 1.0 or later, in a tree of its own, for a system that has an older one: the asan preset builds against it and so
# runs every test of the client with it, at no cost. Where the system's own is new enough, there is nothing to do. Sourced
# by ./dev after dependencies.sh.

readonly newer_hiredis=build/newer-hiredis

# Ends the script when the tree cannot be made.
require_newer_hiredis() {
  [ -z "${TREL_CAP_NO_INSTALL:-}" ] || return 0
  ! pkg-config --atleast-version=1.0 hiredis || return 0
  [ ! -e "$newer_hiredis/pkgconfig/hiredis.pc" ] || return 0
  echo "Fetching a newer hiredis, into $newer_hiredis"
  repeat_until_done "$install_attempts" make_newer_hiredis && return 0
  tail -n 20 "$install_log" >&2
  fail "cannot fetch a newer hiredis; the whole output is in $install_log"
}

make_newer_hiredis() (
  work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT || exit 1
  borrow "$work" newer-hiredis || exit 1
  rm -rf "$newer_hiredis"
  mkdir -p "$newer_hiredis/pkgconfig"
  for file in "$work"/*.deb; do dpkg-deb -x "$file" "$newer_hiredis" || exit 1; done
  described=("$newer_hiredis"/usr/lib/*/pkgconfig/hiredis.pc)
  libraries=$(dirname "$(dirname "${described[0]}")")
  sed "s|^prefix=.*|prefix=$PWD/$newer_hiredis/usr|; s|^libdir=.*|libdir=$PWD/$libraries|
    s|^includedir=.*|includedir=\${prefix}/include|; s|^pkgincludedir=.*|pkgincludedir=\${includedir}/hiredis|" \
    "${described[0]}" >"$newer_hiredis/pkgconfig/hiredis.pc"
)

# What was built with it uses it.
check_hiredis() { # LIBRARY
  readelf -d "$1" | grep -q 'NEEDED.*\[libhiredis\.so\.[1-9]'
}
