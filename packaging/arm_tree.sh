# shellcheck shell=bash
# A system tree of 32-bit ARM to link against and to run on under an emulator, from the same archive as the machine's
# packages. It is apart from the machine: no foreign architecture is added there, and the tree's versions need not be in
# step with the machine's. Sourced by ./dev after dependencies.sh.

readonly arm_tree=build/arm-tree
readonly arm_tree_database=$arm_tree/var/lib/dpkg # what is in it, for dpkg; its packages are not installed here

# Makes the tree unless it is there and holds what is needed; ends the script when that cannot be done.
require_arm_tree() {
  [ -z "${TREL_CAP_NO_INSTALL:-}" ] || return 0
  [ ! -d "$arm_tree_database" ] || [ "$(cat "$arm_tree.packages" 2>/dev/null)" != "${packages_arm_tree[*]}" ] || return 0
  echo "Fetching for ARM, into $arm_tree: ${packages_arm_tree[*]}"
  repeat_until_done "$install_attempts" make_arm_tree && return 0
  tail -n 20 "$install_log" >&2
  fail "cannot fetch the ARM packages; the whole output is in $install_log"
}

make_arm_tree() (
  work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT || exit 1
  chmod go+rx "$work"
  release=$(release_here)
  own=() borrowed=()
  for package in "${packages_arm_tree[@]}"; do
    if borrowed_from "$release" "$package" >/dev/null; then borrowed+=("$package"); else own+=("$package"); fi
  done
  apt_apart "$work/own" "$release" "$release" armhf || exit 1
  # As on a machine that has nothing: what the packages need comes along.
  : >"$work/status"
  apt_options+=(-o Dir::State::status="$work/status" -o Debug::NoLocking=1)
  apt-get "${apt_options[@]}" -q update || exit 1
  apt-get "${apt_options[@]}" -q -y --download-only --no-install-recommends install "${own[@]}" || exit 1
  for package in "${borrowed[@]}"; do borrow "$work/$package" "$package" armhf || exit 1; done

  rm -rf "$arm_tree" "$arm_tree.packages"
  mkdir -p "$arm_tree"
  shopt -s nullglob
  for file in "$work/own/cache/archives"/*.deb "$work"/*/*.deb; do
    dpkg-deb -x "$file" "$arm_tree" && describe_arm_package "$file" || exit 1
  done
  echo "${packages_arm_tree[*]}" >"$arm_tree.packages"
)

# So that what is linked against the tree can be told which packages it needs, in which versions.
describe_arm_package() { # FILE
  local name info=$arm_tree_database/info control=$arm_tree_database/control
  mkdir -p "$info"
  echo 1 >"$info/format"
  # shellcheck disable=SC2016 # the braces are dpkg-deb's
  name=$(dpkg-deb --show --showformat '${Package} ${Multi-Arch} ${Architecture}' "$1")
  name=$(awk '{ print $2 == "same" ? $1 ":" $3 : $1 }' <<<"$name")
  {
    dpkg-deb --field "$1" Package Source Version Architecture Multi-Arch Maintainer Description
    printf 'Status: install ok installed\n\n'
  } >>"$arm_tree_database/status"
  dpkg-deb --fsys-tarfile "$1" | tar --list | sed "s,^\.,$PWD/$arm_tree,; s,/\$,," >"$info/$name.list"
  rm -rf "$control"
  dpkg-deb --control "$1" "$control"
  for file in symbols shlibs; do
    [ ! -e "$control/$file" ] || cp "$control/$file" "$info/$name.$file"
  done
}
