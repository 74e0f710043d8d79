# shellcheck shell=bash
# What the project needs of the machine, and how it is got. Sourced by ./dev; needs bash and, to install, Debian's apt.

# The packages, by what needs them. On another system, install what these contain and set TREL_CAP_NO_INSTALL=1.
packages_source=( # a build from source
  build-essential cmake pkgconf
  libprotobuf-c-dev libprotobuf-dev protobuf-c-compiler # record types
  libhiredis-dev                                        # object-store client
  libzlog-dev                                           # logging layer, 1.2.18
  libffi-dev libedit-dev                                # console
  libcli11-dev nlohmann-json3-dev libyaml-cpp-dev       # trel_capctl
  libmicrohttpd-dev                                     # its board
)
packages_build=("${packages_source[@]}" ccache ninja-build) # and the presets
packages_test=(
  libgmock-dev libgtest-dev
  zsh           # completes as trel_capctl tells it
  abigail-tools # the binary interface
  python3 python3-redis mandoc man-db # the docs, and what they show
)
packages_docs=(cmark-gfm codespell doxygen graphviz mandoc python3)
packages_redis=(redis-server)
packages_valkey=(valkey-server)
packages_browser=(chromium chromium-driver) # half a gigabyte: for ./dev test --all and ./dev picture alone
packages_style=(clang-format-14 clang-tidy-14) # of one version: others format and warn differently
packages_fuzz=(clang-14 libclang-rt-14-dev)
packages_bench=(libbenchmark-dev valgrind)
packages_package=(debhelper dpkg-dev fakeroot lintian xz-utils)
packages_arm=(crossbuild-essential-armhf qemu-user)
# What is linked on ARM, in a system tree of its own; the rest of packages_build runs on the machine that builds.
packages_arm_tree=(
  libc6-dev libstdc++6
  libprotobuf-c-dev libhiredis-dev libzlog-dev libffi-dev libedit-dev
  libcli11-dev nlohmann-json3-dev libmicrohttpd-dev libyaml-cpp-dev libgmock-dev libgtest-dev
)

# What a release of Debian lacks, and the suite that has it: prints the suite and the packages to take from there.
borrowed_from() { # RELEASE PACKAGE
  case "$1 $2" in
    "bookworm libzlog-dev") echo trixie libzlog1 libzlog-dev ;;
    "bookworm newer-hiredis") echo trixie libhiredis1.1.0 libhiredis-dev ;;
    "bookworm valkey-server") echo bookworm-backports valkey-tools valkey-server ;;
    *) return 1 ;;
  esac
}

readonly install_log=build/install.log
readonly install_attempts=4

# Installs what is missing of PACKAGE...; ends the script when that cannot be done.
require_packages() { # PACKAGE...
  local missing
  missing=$(missing_packages "$@")
  [ -n "$missing" ] || return 0
  # shellcheck disable=SC2086 # a list of words
  set -- $missing
  command -v apt-get >/dev/null || {
    tell_homes "$@" >&2
    fail "this is not a Debian system, so nothing can be installed here." \
      "Install what these Debian packages contain, then set TREL_CAP_NO_INSTALL=1."
  }
  echo "Installing $*"
  try_install "$install_attempts" "$@" && return 0
  tail -n 20 "$install_log" >&2
  [[ $(release_here) =~ ^(bookworm|trixie)$ ]] || tell_homes "$@" >&2
  fail "cannot install $*; the whole output is in $install_log"
}

# Where those are at home that a system may not have.
tell_homes() { # PACKAGE...
  local package
  for package; do echo "  $package: $(home_of "$package")"; done
}

home_of() { # PACKAGE
  case "$1" in
    *protobuf-c*) echo https://github.com/protobuf-c/protobuf-c ;;
    libprotobuf-dev) echo https://github.com/protocolbuffers/protobuf ;;
    libhiredis-dev) echo "https://github.com/redis/hiredis, 0.14 or later" ;;
    libzlog-dev) echo "https://github.com/HardySimpson/zlog, 1.2.18 or later, with libzlog.a" ;;
    libffi-dev) echo https://sourceware.org/libffi ;;
    libedit-dev) echo https://thrysoee.dk/editline ;;
    libcli11-dev) echo "https://github.com/CLIUtils/CLI11, 2.1 or later" ;;
    nlohmann-json3-dev) echo "https://json.nlohmann.me, 3.7 or later" ;;
    libmicrohttpd-dev) echo "https://www.gnu.org/software/libmicrohttpd, 0.9.75 or later" ;;
    libyaml-cpp-dev) echo "https://github.com/jbeder/yaml-cpp, 0.6.2 or later" ;;
    libgmock-dev | libgtest-dev) echo https://github.com/google/googletest ;;
    libbenchmark-dev) echo https://github.com/google/benchmark ;;
    redis-server) echo https://redis.io ;;
    valkey-server) echo https://valkey.io ;;
    zsh) echo https://www.zsh.org ;;
    build-essential) echo "https://gcc.gnu.org, 12 or later, or https://clang.llvm.org, 14 or later; https://www.gnu.org/software/make" ;;
    cmake) echo "https://cmake.org, 3.25 or later" ;;
    *) echo "https://packages.debian.org/$1" ;;
  esac
}

# As require_packages, for what can be done without: says so and goes on.
offer_packages() { # PACKAGE...
  local missing
  missing=$(missing_packages "$@")
  [ -n "$missing" ] || return 0
  # shellcheck disable=SC2086 # a list of words
  set -- $missing
  echo "Installing $*"
  command -v apt-get >/dev/null && try_install 1 "$@" && return 0
  echo "Going on without $*, which cannot be installed here"
}

missing_packages() { # PACKAGE...
  [ -z "${TREL_CAP_NO_INSTALL:-}" ] || return 0
  local installed package
  # shellcheck disable=SC2016 # the braces are dpkg-query's
  installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null) || true
  for package; do
    [[ $'\n'$installed$'\n' == *$'\n'"$package installed"$'\n'* ]] || echo "$package"
  done
}

# A mirror that is just being updated hands out an index and packages that do not fit; a little later they do.
try_install() { # ATTEMPTS PACKAGE...
  local attempts=$1
  shift
  [ "$(id -u)" = 0 ] || command -v sudo >/dev/null || fail "installing $* takes root or sudo"
  repeat_until_done "$attempts" install_packages "$@"
}

repeat_until_done() { # ATTEMPTS COMMAND...
  local attempts=$1 attempt
  shift
  mkdir -p "$(dirname "$install_log")"
  for ((attempt = 1; attempt <= attempts; attempt++)); do
    [ "$attempt" = 1 ] || sleep $((attempt * 5))
    "$@" >"$install_log" 2>&1 && return 0
  done
  return 1
}

install_packages() ( # PACKAGE...
  work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT && as_root apt-get -qq update || exit 1
  wanted=()
  for package; do
    if has_candidate "$package"; then
      wanted+=("$package")
    else
      borrow "$work" "$package" || exit 1
    fi
  done
  shopt -s nullglob
  install_without_services "${wanted[@]}" "$work"/*.deb
)

has_candidate() { # PACKAGE
  [[ $(LC_ALL=C apt-cache policy "$1") =~ Candidate:\ [^\(] ]]
}

# Downloads a package of a neighbouring suite into DIR.
borrow() { # DIR PACKAGE [ARCHITECTURE]
  local release from suite
  release=$(release_here)
  from=$(borrowed_from "$release" "$2") || { echo "No package $2 is known for $release" && return 1; }
  read -r suite from <<<"$from"
  apt_apart "$1" "$release" "$suite" "${3:-}" || return 1
  # shellcheck disable=SC2086 # a list of words
  (cd "$1" && apt-get "${apt_options[@]}" -qq update && apt-get "${apt_options[@]}" -qq download $from)
}

release_here() {
  (. /etc/os-release 2>/dev/null && echo "${VERSION_CODENAME:-unknown}")
}

# Sets apt_options to a configuration under DIR that knows SUITE only, of the mirror that has RELEASE: the machine's
# sources, preferences and lists stay as they are, and nothing else can come from there.
apt_apart() { # DIR RELEASE SUITE [ARCHITECTURE]
  local dir=$1
  mkdir -p "$dir/sources" "$dir/lists/partial" "$dir/cache/archives/partial"
  rm -f "$dir"/sources/*
  source_of_suite "$2" "$3" "$dir/sources" || { echo "No apt source holds $2" && return 1; }
  chmod -R go+rX "$dir"
  apt_options=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$dir/sources"
    -o Dir::Etc::preferences=/dev/null -o Dir::Etc::preferencesparts=/dev/null
    -o Dir::State::lists="$dir/lists" -o Dir::Cache="$dir/cache" -o APT::Update::Error-Mode=any)
  [ -z "${4:-}" ] || apt_options+=(-o APT::Architecture="$4" -o APT::Architectures="$4")
}

# Writes the machine's own source of RELEASE, with its mirror and its key, into DIR as a source of SUITE.
source_of_suite() { # RELEASE SUITE DIR
  as_deb822_source_of "$1" "$2" >"$3/suite.sources"
  as_line_source_of "$1" "$2" >"$3/suite.list"
  if [ -s "$3/suite.sources" ]; then : >"$3/suite.list"; else [ -s "$3/suite.list" ]; fi
}

as_deb822_source_of() { # RELEASE SUITE
  local file
  for file in /etc/apt/sources.list.d/*.sources; do
    [ ! -r "$file" ] || { grep -v '^#' "$file" && echo; }
  done | awk -v RS= -v release="$1" -v suite="$2" '
    /(^|\n)Enabled: *no/ || !match($0, /(^|\n)Suites:[^\n]*/) { next }
    index(substr($0, RSTART, RLENGTH) " ", " " release " ") {
      gsub(/(^|\n)Suites:[^\n]*/, "\nSuites: " suite)
      gsub(/(^|\n)Types:[^\n]*/, "\nTypes: deb")
      print
      exit
    }'
}

as_line_source_of() { # RELEASE SUITE
  local blank='[[:space:]]' word='[^[:space:]]'
  cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
    sed -nE "s/^$blank*deb$blank+(\\[[^]]*\\]$blank+)?($word+)$blank+$1$blank/deb \\1\\2 $2 /p" | head -n 1
}

# Tests start servers of their own; the ones that come as services neither start now nor with the machine.
install_without_services() { # PACKAGE-OR-FILE...
  as_root env DEBIAN_FRONTEND=noninteractive bash -c '
    set -eu
    policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
      trap "rm -f $policy" EXIT
      trap "exit 1" INT TERM
      printf "#!/bin/sh\ncase \" \$*\" in *\" redis-server\"* | *\" valkey-server\"*) exit 101 ;; esac\n" >"$policy"
      chmod 755 "$policy"
    fi
    apt-get -q -y -o DPkg::Lock::Timeout=300 install --no-install-recommends "$@"
    for package; do
      case "$(basename "$package")" in
        redis-server*) update-rc.d redis-server disable ;;
        valkey-server*) update-rc.d valkey-server disable ;;
      esac
    done' install "$@" </dev/null
}

as_root() { # COMMAND...
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}
