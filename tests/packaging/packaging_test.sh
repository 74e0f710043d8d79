#!/usr/bin/env bash
# packaging_test.sh NAME: runs the test function of that name. ctest sets the variables in capitals.
set -euo pipefail
# shellcheck source=../../dev
. "$SOURCE_DIR/dev"
cd "$SOURCE_DIR"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expect() { # EXPECTED ACTUAL
  [ "$2" = "$1" ] || { printf 'Expected:\n%s\nInstead of:\n%s\n' "$1" "$2" >&2 && exit 1; }
}

# CMakeLists.txt says it; the latest release in both changelogs is that one, unless the next one is under way.
one_version() {
  local version date
  expect "$VERSION" "$(version_here)"
  read -r version date < <(sed -n 's/^## \([0-9][0-9.]*\) - \([0-9-]*\)$/\1 \2/p' CHANGELOG.md | head -n 1) ||
    fail "CHANGELOG.md has no release"
  expect "$version-1 $date" \
    "$(dpkg-parsechangelog -l packaging/debian/changelog -S Version) $(date -u -d "@$(release_time)" +%Y-%m-%d)"
  grep -qx '## Unreleased' CHANGELOG.md || expect "$VERSION" "$version"
  [[ $(debian_version) == "$version-1"* ]] || fail "a package of $(debian_version)"
}

# What a build takes is listed for Debian as it is for ./dev.
build_dependencies() {
  expect "$(printf '%s\n' "${packages_source[@]}" debhelper-compat | grep -vx build-essential | sort)" \
    "$(sed -n '/^Build-Depends:/,/^[^ ]/s/^ \([a-z0-9+-]*\).*/\1/p' packaging/debian/control | sort)"
}

# What packaging/debian names is installed, and what is installed is in one package.
every_file_has_its_package() {
  local list pattern found
  for list in packaging/debian/*.install packaging/debian/not-installed; do
    while read -r pattern _; do
      pattern=${pattern/#usr\/lib\/\*\//$LIBDIR/} pattern=${pattern#usr/}
      # shellcheck disable=SC2086 # a pattern
      found=$(cd "$INSTALL_TEST/prefix" && find $pattern ! -type d) || fail "$list: nothing is installed as $pattern"
      echo "$found"
    done < <(grep -v '^#' "$list")
  done | sort >"$work/packaged"
  expect "" "$(uniq -d "$work/packaged")"
  expect "$(cd "$INSTALL_TEST/prefix" && find . ! -type d -printf '%P\n' | sort)" "$(cat "$work/packaged")"
}

# The same bytes every time, made in a clone or, where nothing knows of git, of an unpacked one.
tarball() {
  (umask 077 && make_tarball "$work/first")
  tar --extract --file "$work/first" --directory "$work"
  cd "$work/trel_cap-$VERSION"
  mkdir build && touch build/left_over
  chmod -R go= .
  TZ=Pacific/Kiritimati make_tarball "$work/second"
  cmp "$work/first" "$work/second"
  [ -x dev ] || fail "./dev cannot be run"
}

architectures() {
  local text
  if text=$(require_packages() { :; } && package --arch riscv64 2>&1); then fail "packages for anything"; fi
  expect "dev: packages can be built here for $(dpkg --print-architecture) and armhf" "$text"
  if text=$(require_packages() { :; } && package --nonsense 2>&1); then fail "nonsense is taken"; fi
  expect "dev: package takes --arch ARCHITECTURE and --check" "$text"
}

"$1"
