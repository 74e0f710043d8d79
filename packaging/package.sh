# shellcheck shell=bash
# The source tarball, and Debian packages made from it as Debian makes them: from the tarball and packaging/debian, in a
# directory apart. What comes out depends on the sources and on the release of Debian it is made on, and on nothing else.
# Sourced by ./dev after dependencies.sh and arm_tree.sh.

readonly packages_place=build/packages

version_here() {
  sed -n 's/^project(trel_cap VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt
}

# What git knows; in an unpacked tarball, which has no git, all that was not built here.
source_files() {
  if [ -e .git ]; then git ls-files -z; else find . -path ./build -prune -o -type f -printf '%P\0'; fi
}

# Seconds since 1970, of the release: nothing in a package is younger.
release_time() {
  dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp
}

make_tarball() { # FILE
  mkdir -p "$(dirname "$1")"
  source_files | LC_ALL=C sort -z |
    tar --create --null --files-from - --transform "s,^,trel_cap-$(version_here)/,S" --format=ustar --mode=u=rwX,go=rX \
      --owner=0 --group=0 --numeric-owner --mtime="@$(release_time)" |
    xz -2 --threads=1 >"$1"
}

# The packages of one Debian release are not those of another: they need other libraries. Those of a later one are newer.
debian_version() {
  local here
  here=$(. /etc/os-release && [ "$ID" = debian ] && echo "${VERSION_ID:-}") || true
  echo "$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)${here:+~deb$here}"
}

# Leaves DIR/source as Debian has it, with the tarball beside it. Who may read what is the same whoever makes it.
prepare_package() ( # DIR
  umask 022
  version=$(version_here)
  tarball=$1/trel-cap_$version.orig.tar.xz
  rm -rf "$1"
  make_tarball "$tarball"
  tar --extract --file "$tarball" --directory "$1" --no-same-owner
  mv "$1/trel_cap-$version" "$1/source"
  cp -R "$1/source/packaging/debian" "$1/source/debian"
  sed -i "1s/.*/trel-cap ($(debian_version)) $(release_here); urgency=medium/" "$1/source/debian/changelog"
)

# For another processor the libraries come out of the tree for it; only its programs are the machine's own.
build_packages() ( # DIR ARCHITECTURE
  options=(--build=full -sa)
  if [ "$2" != "$(dpkg --print-architecture)" ]; then
    options=(--build=any --host-arch="$2" --no-check-builddeps)
    export CMAKE_TOOLCHAIN_FILE=$PWD/cmake/arm_toolchain.cmake TREL_CAP_ARM_TREE=$PWD/$arm_tree
    export TREL_CAP_LIBRARY_DIRS="$PWD/$arm_tree/usr/lib/arm-linux-gnueabihf $PWD/$arm_tree/lib/arm-linux-gnueabihf"
    export DPKG_ADMINDIR=$PWD/$arm_tree_database
    export DEB_CFLAGS_APPEND=-ffile-prefix-map=$PWD/$arm_tree= DEB_CXXFLAGS_APPEND=-ffile-prefix-map=$PWD/$arm_tree=
  fi
  # debhelper gives the build a home of its own, where ccache would begin with nothing.
  if command -v ccache >/dev/null; then CCACHE_DIR=$(ccache --get-config cache_dir) && export CCACHE_DIR; fi
  export DEB_BUILD_OPTIONS="nocheck parallel=$jobs" LC_ALL=C.UTF-8
  cd "$1/source" && dpkg-buildpackage --unsigned-source --unsigned-changes "${options[@]}"
)

tarball() {
  require_packages "${packages_package[@]}"
  local file
  file=$packages_place/trel_cap-$(version_here).tar.xz
  make_tarball "$file"
  echo "$file"
}

package() { # [--arch ARCHITECTURE] [--check]
  local architecture check=false
  require_packages "${packages_source[@]}" "${packages_package[@]}"
  architecture=$(dpkg --print-architecture)
  while [ $# -gt 0 ]; do
    case "$1" in
      --arch) architecture=${2:?} && shift ;;
      --check) check=true ;;
      *) fail "package takes --arch ARCHITECTURE and --check" ;;
    esac
    shift
  done
  case "$architecture" in
    "$(dpkg --print-architecture)") ;;
    armhf) require_arm ;;
    *) fail "packages can be built here for $(dpkg --print-architecture) and armhf" ;;
  esac

  local place=$packages_place/$architecture
  prepare_package "$place"
  build_packages "$place" "$architecture"
  lintian --fail-on error,warning "$place"/*.changes
  [ "$check" = false ] || check_packages "$place" "$architecture"
  ls "$place"/*.deb
}

# Made once more, elsewhere, with everything compiled anew, they are the same.
check_packages() { # DIR ARCHITECTURE
  local again=$packages_place/again/$2 file
  (
    umask 077
    export CCACHE_DISABLE=1 TZ=Pacific/Kiritimati
    prepare_package "$again"
    build_packages "$again" "$2"
  )
  for file in "$1"/*.deb "$1"/*.tar.* "$1"/*.dsc; do
    cmp "$file" "$again/${file##*/}" || fail "${file##*/} is not the same when it is built again"
  done
  rm -r "$again"
  echo "Built twice, the same."
}
