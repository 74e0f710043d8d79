#!/usr/bin/env bash
# dev_test.sh NAME: runs the test function of that name. ctest sets SOURCE_DIR, PROJECT and CTEST.
set -euo pipefail

unset CI TREL_CAP_NO_INSTALL
# shellcheck source=../../dev
. "$SOURCE_DIR/dev"

place=$(mktemp -d) results=$place/results
trap 'rm -rf "$place"' EXIT

expect() { # EXPECTED ACTUAL
  [ "$2" = "$1" ] || { printf 'Expected:\n%s\nInstead of:\n%s\n' "$1" "$2" >&2 && exit 1; }
}

run_project() { # REGEX
  (cd "$PROJECT" && "$CTEST" --tests-regex "$1" --output-junit "$results" >/dev/null 2>&1) || true
}

outcomes() {
  run_project .
  expect 'failed crashes
failed fails
failed is_missing
passed passes
skipped by_status: the first line
skipped is_disabled: Disabled
skipped says_why: no <namespace> & "room"' "$(verdicts "$results" | sort)"
}

# The status of report() after some outcomes, and what it printed.
reported() { # PASSED FAILED SKIPPED
  passed=$1 failed=$2 skipped=$3
  remarks=("skipped: release a test: its reason")
  report
}

skips_are_told() {
  local text
  text=$(reported 5 0 1) || { echo "a skipped test has failed" >&2 && exit 1; }
  expect "
skipped: release a test: its reason
5 passed, 0 failed, 1 skipped" "$text"
}

skips_fail_in_ci() {
  local text
  if text=$(CI=true reported 5 0 1); then echo "a skipped test has passed" >&2 && exit 1; fi
  expect "
failed: skipped: release a test: its reason
5 passed, 1 failed" "$text"
}

success() {
  local text
  remarks=()
  text=$(passed=3 && report) || { echo "success is told as failure" >&2 && exit 1; }
  expect "
3 passed, 0 failed" "$text"
  if (passed=3 failed=1 && report >/dev/null); then echo "failure is told as success" >&2 && exit 1; fi
}

# CI needs to say nothing for that.
ci_is_ci() {
  mkdir "$place/.ci"
  cp "$SOURCE_DIR/.ci/run" "$place/.ci"
  printf '#!/usr/bin/env bash\necho "$CI $PWD $*"\n' >"$place/dev"
  chmod +x "$place/dev"
  expect "true $place test --all" "$(cd / && "$place/.ci/run")"
}

# A step that fails is counted, and does not end the run.
steps() {
  step one true >/dev/null
  step two false >/dev/null || true
  step three true >/dev/null
  expect "2 1 failed: two" "$passed $failed ${remarks[*]}"
}

# Every build, but nothing is built.
whole_run() { # WHETHER_ARM_CAN_BE_SET_UP [WHETHER_THERE_IS_STYLE] [ARGUMENT]
  (
    require_packages() { :; }
    offer_packages() { :; }
    local arm=$1 style=${2:-true} argument=${3---all}
    require_arm() { "$arm" || fail "no ARM" 2>&1; }
    require_newer_hiredis() { :; }
    check_hiredis() { echo "hiredis of $1"; }
    has_style() { "$style"; }
    build_preset() { [[ ${configure_options[*]} != *BENCH=ON* ]] || echo "with benchmarks"; }
    run_tests() { echo "tests $1"; }
    make_docs() { echo "the site"; }
    check_format() { :; }
    check_tidy() { build_preset tidy; }
    # shellcheck disable=SC2086 # nothing when it is empty
    run_all_tests $argument
  )
}

everything() {
  expect "== set up a newer hiredis
== build release
with benchmarks
tests release
== build asan
tests asan
== build tsan
tests tsan
== a newer hiredis in asan
hiredis of build/asan/platform/mom/libox_mom.so
== set up arm
== build arm
tests arm
== docs
the site
== format
== tidy

10 passed, 0 failed" "$(whole_run true)"
}

# What CI tests besides takes longer than somebody waits.
release_only() {
  expect "== build release
tests release

1 passed, 0 failed" "$(whole_run true true "")"
  local status=0
  (run_all_tests nonsense >/dev/null 2>&1) || status=$?
  expect 1 "$status"
}

# Other versions would format and warn otherwise, so without these nothing is checked, and that is told.
without_style() {
  local text
  text=$(whole_run true false) || { echo "a style that is not checked fails" >&2 && exit 1; }
  expect "== format: not here, takes clang-format and clang-tidy of version 14
== tidy: not here, takes clang-format and clang-tidy of version 14

skipped: format: takes clang-format and clang-tidy of version 14
skipped: tidy: takes clang-format and clang-tidy of version 14
8 passed, 0 failed, 2 skipped" "$(sed -n '/^== format/,$p' <<<"$text")"
}

# The rest is tested nevertheless.
without_arm() {
  local status=0 text
  text=$(whole_run false) || status=$?
  expect "1 == set up arm
dev: no ARM
== docs
the site
== format
== tidy

failed: set up arm
8 passed, 1 failed" "$status $(sed -n '/^== set up arm/,$p' <<<"$text")"
}

# From here on the machine is pretended: what dpkg and apt would say, who we are, and an empty place to log to.
pretend() { # USER_ID MISSING_PACKAGE...
  user=$1 pretended_missing=" ${*:2} "
  cd "$place"
}
id() { echo "$user"; }
sudo() { echo "sudo $*" >>"$place/done" && "$@"; }
sleep() { :; }
dpkg-query() {
  local package
  for package in "${@:4}"; do
    [[ $pretended_missing == *" $package "* ]] || echo "$package installed"
  done
}
apt-cache() { echo "  Candidate: 1.0"; }
apt-get() { echo "apt-get $*" >>"$place/done"; }
install_without_services() { echo "install $*" >>"$place/done"; }

installs_what_is_missing() {
  local text
  pretend 0 cmake ninja-build
  text=$(require_packages ccache cmake redis-server ninja-build) || { echo "$text" >&2 && exit 1; }
  expect "Installing cmake ninja-build" "$text"
  expect "apt-get -qq update
install cmake ninja-build" "$(cat "$place/done")"
}

installs_nothing_twice() {
  pretend 0
  expect "" "$(require_packages "${packages_build[@]}" "${packages_redis[@]}")"
  [ ! -e "$place/done" ] || expect "" "$(cat "$place/done")"
}

installs_through_sudo() {
  pretend 1000 cmake
  expect "Installing cmake" "$(require_packages ccache cmake)"
  expect "sudo apt-get -qq update" "$(head -n 1 "$place/done")"
}

needs_root_or_sudo() {
  local status=0 text
  pretend 1000 cmake
  command() { [ "$*" != "-v sudo" ] && builtin command "$@"; }
  text=$(require_packages ccache cmake 2>&1) || status=$?
  expect "1 Installing cmake
dev: installing cmake takes root or sudo" "$status $text"
}

# A mirror that is being updated is tried again; then it is said why there is no package.
cannot_install() {
  local status=0 text
  pretend 0 cmake
  apt-get() { echo again >>"$place/done" && echo "no such mirror" && return 100; }
  text=$(require_packages cmake 2>&1) || status=$?
  expect "1 Installing cmake
no such mirror
dev: cannot install cmake; the whole output is in build/install.log" "$status $text"
  expect "$install_attempts" "$(wc -l <"$place/done")"
}

# On a system that is not Debian's, it is said where things are to be had.
tells_homes() {
  local status=0 text
  pretend 1000 libhiredis-dev libzlog-dev
  command() { [ "$*" != "-v apt-get" ] && builtin command "$@"; }
  text=$(require_packages cmake libhiredis-dev libzlog-dev 2>&1) || status=$?
  expect "1   libhiredis-dev: https://github.com/redis/hiredis, 0.14 or later
  libzlog-dev: https://github.com/HardySimpson/zlog, 1.2.18 or later, with libzlog.a
dev: this is not a Debian system, so nothing can be installed here. Install what these Debian packages contain, then set\
 TREL_CAP_NO_INSTALL=1." "$status $text"
}

# So it is on a release that lacks something.
tells_homes_on_other_releases() {
  local text
  pretend 0 libzlog-dev
  apt-get() { return 100; }
  release_here() { echo noble; }
  text=$(require_packages libzlog-dev 2>&1) && { echo "it is installed" >&2 && exit 1; }
  [[ $text == *"  libzlog-dev: https://github.com/HardySimpson/zlog"* ]] || { echo "$text" >&2 && exit 1; }
}

# A tree from the next release, unless the system's own is new enough.
fetches_newer_hiredis_once() {
  pretend 1000
  pkg-config() { false; }
  make_newer_hiredis() { echo made >>"$place/done" && mkdir -p build/newer-hiredis/pkgconfig && touch "$_/hiredis.pc"; }
  require_newer_hiredis >/dev/null
  require_newer_hiredis >/dev/null
  expect made "$(cat "$place/done")"
  rm -r build
  pkg-config() { true; }
  require_newer_hiredis
  [ ! -e build ] || { echo "a tree nobody needs" >&2 && exit 1; }
}

# The tree for ARM comes from mirrors, too.
cannot_fetch_for_arm() {
  local status=0 text
  pretend 1000
  make_arm_tree() { echo again >>"$place/done" && echo "no such index" && return 100; }
  text=$(require_arm_tree 2>&1) || status=$?
  expect "1 Fetching for ARM, into build/arm-tree: ${packages_arm_tree[*]}
no such index
dev: cannot fetch the ARM packages; the whole output is in build/install.log" "$status $text"
  expect "$install_attempts" "$(wc -l <"$place/done")"
}

# A tree of other packages is made anew.
fetches_for_arm_once() {
  pretend 1000
  make_arm_tree() {
    echo made >>"$place/done" && mkdir -p "$arm_tree_database" && echo "${packages_arm_tree[*]}" >build/arm-tree.packages
  }
  mkdir build
  echo "${packages_arm_tree[0]}" >build/arm-tree.packages
  require_arm_tree >/dev/null
  require_arm_tree >/dev/null
  expect made "$(cat "$place/done")"
}

# What a command asks for, and that it asks before it builds.
needs_of() { # COMMAND ARGUMENT...
  (
    cd "$place"
    require_packages() { printf '%s\n' "$@"; }
    offer_packages() { :; }
    build_preset() { echo "builds $1" && exit 0; }
    "$@"
  )
}

commands_need() {
  expect "$(printf '%s\n' "${packages_build[@]}")
builds demo" "$(needs_of demo)"
  expect "$(printf '%s\n' "${packages_source[@]}")" "$(needs_of install_dependencies)"
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_test[@]}" "${packages_redis[@]}")
builds release" "$(needs_of test_release | grep -v '^==')"
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_redis[@]}")
builds demo" "$(needs_of demo --redis)"
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_test[@]}" "${packages_redis[@]}")
builds release" "$(needs_of quick)"
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_test[@]}")
builds asan" "$(needs_of build asan)"
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_bench[@]}" "${packages_redis[@]}")
builds bench" "$(needs_of bench)"
  require_arm_tree() { echo "the tree"; }
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_test[@]}" "${packages_arm[@]}")
the tree
builds arm" "$(needs_of arm)"
  expect "$(printf '%s\n' "${packages_build[@]}" "${packages_test[@]}" "${packages_arm[@]}")
the tree
builds release" "$(needs_of seal)"
}

# What takes a night is told part by part, and a part that there is not before anything is done.
torture_parts() {
  local text
  text=$(
    require_packages() { :; }
    offer_packages() { :; }
    build_preset() { echo "builds $1"; }
    step() { echo "== $1"; }
    run_tests() { echo "long $TREL_CAP_TORTURE, tests $1"; }
    cd "$SOURCE_DIR"
    passed=1
    torture long released histories
  )
  expect "== build asan
long 1, tests asan
== build release
== an hour among changes, losses and operators
== each allocation of each verb
== build asan
== 1000 histories of each kind, trel_cap_property_test
== 1000 histories of each kind, trel_cap_store_property_test
== 1000 histories of each kind, reliability_histories_test

1 passed, 0 failed" "$text"
  ! text=$(torture long nonsense 2>&1) || { echo "nonsense is taken" >&2 && exit 1; }
  expect "dev: torture takes histories, long, released or fuzz" "$text"
}

unknown_command() {
  local status=0 text
  text=$("$SOURCE_DIR/dev" nonsense 2>&1 >/dev/null) || status=$?
  expect 2 "$status"
  [[ $text == Usage:* ]] || { echo "$text" >&2 && exit 1; }
  [[ $("$SOURCE_DIR/dev" help) == *"demo [--redis]"*"test "*"build "*"quick "*"fmt "*"bench "* ]]
}

"$1"
