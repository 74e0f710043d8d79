#!/usr/bin/env bash
# porting_test.sh NAME: runs the test function of that name. ctest sets the variables in capitals.
set -euo pipefail

here=$SOURCE_DIR/tests/porting
platform=$WORK/platform # as its maker delivers it: headers, and libraries under names of his own
prefix=$WORK/prefix
warnings=(-std=c11 -Wall -Wextra -Wpedantic -Werror)
read -ra emulator <<<"$EMULATOR"
read -ra target <<<"${SYSROOT:+--sysroot=$SYSROOT}"
unset LD_LIBRARY_PATH

fail() { # MESSAGE...
  echo "$*" >&2
  exit 1
}

compile() { # ARGUMENT...
  "$CC" "${target[@]}" "${warnings[@]}" "$@"
}

# The tree's, where it is another than the machine's.
pkg_config() { # ARGUMENT...
  if [ -z "$SYSROOT" ]; then
    PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig pkg-config "$@"
  else
    PKG_CONFIG_LIBDIR=$prefix/$LIBDIR/pkgconfig:$SYSROOT/usr/lib/arm-linux-gnueabihf/pkgconfig pkg-config "$@"
  fi
}

# One library has a version in its name, one is named without, and one has no name that programs load it by.
make_platform() {
  rm -rf "$platform"
  mkdir -p "$platform/lib"
  cp -r "$here/platform/include" "$platform/include"
  compile -O1 -shared -fPIC -I "$platform/include" -o "$platform/lib/libdepot.so.2" -Wl,-soname,libdepot.so.2 \
    "$here/platform/depot.c" -lprotobuf-c
  ln -s libdepot.so.2 "$platform/lib/libdepot.so"
  compile -O1 -shared -fPIC -I "$platform/include" -o "$platform/lib/libjournal.so" -Wl,-soname,libjournal.so \
    "$here/platform/journal.c"
  compile -O1 -shared -fPIC -I "$platform/include" -o "$platform/lib/libdesk.so" "$here/platform/desk.c"
}

# As docs/porting.md says.
prefix() {
  local options=()
  [ -z "$TOOLCHAIN" ] || options+=(--toolchain "$TOOLCHAIN")
  make_platform
  rm -rf "$prefix"
  "$CMAKE" -S "$SOURCE_DIR" -B "$WORK/build" -G Ninja "${options[@]}" -D CMAKE_C_COMPILER="$CC" \
    -D CMAKE_CXX_COMPILER="$CXX" -D TREL_CAP_PLATFORM_INCLUDE_DIRS="$platform/include" \
    -D TREL_CAP_PLATFORM_LIBRARIES="-L$platform/lib;depot;journal;$platform/lib/libdesk.so"
  "$CMAKE" --build "$WORK/build"
  "$CMAKE" --install "$WORK/build" --prefix "$WORK/elsewhere" >/dev/null
  mv "$WORK/elsewhere" "$prefix"
}

needed() {
  bash "$SOURCE_DIR/tests/support/needed.sh" "$READELF" "$prefix/$LIBDIR/libtrel_cap.so" \
    libdepot.so.2 libjournal.so libdesk.so
}

# Nothing that is installed knows where it was built, nor where the platform lay, nor is any of it the platform's.
no_traces() {
  local found
  found=$(grep -rlF -e "$WORK" -e "$SOURCE_DIR" "$prefix" || true)
  [ -z "$found" ] || fail "places of the machine that builds are in $found"
  # shellcheck disable=SC2016 # the loader's word
  if "$READELF" --dynamic "$prefix/$LIBDIR/libtrel_cap.so" | grep -E 'R(UN)?PATH' | grep -v '\[\$ORIGIN'; then
    fail "libtrel_cap.so looks elsewhere for libraries"
  fi
  for found in ox_mom.h ox_zlog.h quib.h; do
    [ ! -e "$prefix/include/$found" ] || fail "$found was installed"
  done
  found=$(find "$prefix/$LIBDIR" -maxdepth 1 -name '*.so*' ! -name 'libtrel_cap.so*')
  [ -z "$found" ] || fail "$found was installed"
}

# docs/porting.md has an entry for each function that the library takes from the platform, and for no other. They are
# what the library imports without a version: its own platform's would have one, as all others do.
guide() {
  local imported entries
  imported=$("$NM" --dynamic --undefined-only --format=posix "$prefix/$LIBDIR/libtrel_cap.so" | cut -d' ' -f1 |
    grep -vE '@|^_' | sort)
  # shellcheck disable=SC2016 # the backquotes are the page's
  entries=$(sed -n 's/^### `\(.*\)`$/\1/p' "$SOURCE_DIR/docs/porting.md" | sort)
  [ "$(wc -w <<<"$imported")" -gt 10 ] || fail "the library imports $imported"
  [ "$imported" = "$entries" ] || fail "imported (<), and in the guide (>): $(diff <(echo "$imported") <(echo "$entries"))"
}

# What a porter may get wrong is told when he builds, by its name.
mistakes() {
  local poor=$WORK/poor
  rm -rf "$poor" && mkdir "$poor"
  compile -O1 -shared -fPIC -I "$platform/include" -D ox_mom_scan_sync=ox_mom_scan -o "$poor/libdepot.so" \
    "$here/platform/depot.c" -lprotobuf-c
  expect_refusal "undefined reference to .ox_mom_scan_sync" "-L$poor;-L$platform/lib;depot;journal;desk"
  expect_refusal "undefined reference to .quib_lib_init" "-L$platform/lib;depot;journal"
  expect_refusal "by semicolons, not by blanks" "-L$platform/lib;depot journal desk"
  expect_refusal "names another platform's headers" ""
}

expect_refusal() { # WORDS LIBRARIES
  local output
  if output=$("$CMAKE" -S "$SOURCE_DIR" -B "$WORK/mistakes" -G Ninja -D CMAKE_C_COMPILER="$CC" \
    -D CMAKE_CXX_COMPILER="$CXX" -D TREL_CAP_PLATFORM_INCLUDE_DIRS="$platform/include" \
    -D TREL_CAP_PLATFORM_LIBRARIES="$2" 2>&1 && "$CMAKE" --build "$WORK/mistakes" 2>&1); then
    fail "with $2 it was built"
  fi
  grep -q -- "$1" <<<"$output" || fail "with $2 it says: $output"
}

# The contract's programs are built for the platform that is named, here this project's own libraries, and take another
# store. Of the three the smallest will do.
contract() {
  "$CMAKE" -S "$SOURCE_DIR" -B "$WORK/contract" -G Ninja -D CMAKE_C_COMPILER="$CC" -D CMAKE_CXX_COMPILER="$CXX" \
    -D TREL_CAP_BUILD_TESTS=ON -D TREL_CAP_UNITY_TESTS=ON -D TREL_CAP_PLATFORM_INCLUDE_DIRS="$SOURCE_DIR/platform/include" \
    -D TREL_CAP_PLATFORM_LIBRARIES="$OWN_LIBRARIES"
  "$CMAKE" --build "$WORK/contract" --target zlog_contract
  "$WORK/contract/tests/contract/zlog_contract" || fail "this project's logging layer breaks the contract"
}

# The store that is named is the one that is tested.
contract_store() {
  local output
  rm -f "$WORK/resets"
  output=$(TREL_CAP_CONTRACT_STORE='mem:#' "$MOM_CONTRACT" --gtest_filter='*ObjectTest*' --gtest_list_tests)
  [[ $output == */named* && $output != */redis* ]] || fail "$output"
  TREL_CAP_CONTRACT_STORE='mem:#' TREL_CAP_CONTRACT_RESET="echo reset >>'$WORK/resets'" \
    "$MOM_CONTRACT" --gtest_brief=1 --gtest_filter='*ObjectTest*' || fail "the named store breaks the contract"
  grep -qx reset "$WORK/resets" || fail "the store was not emptied"
  if TREL_CAP_CONTRACT_STORE=nowhere: "$MOM_CONTRACT" --gtest_filter='*ObjectTest*' >"$WORK/nowhere" 2>&1; then
    fail "no store passes for one: $(cat "$WORK/nowhere")"
  fi
}

# Runs a program where the platform's libraries are in the loader's path, and the library that was built here.
run() { # [NAME=VALUE...] PROGRAM [ARGUMENT...]
  local settings=("LD_LIBRARY_PATH=$prefix/$LIBDIR:$platform/lib")
  while [[ $1 == *=* ]]; do settings+=("$1") && shift; done
  if [ -z "$EMULATOR" ]; then
    env "${settings[@]}" "$@"
  else
    "${emulator[@]}" -E "$(IFS=, && echo "${settings[*]}")" "$@"
  fi
}

# A program that is compiled with what pkg-config says, and with the places of the platform.
application() {
  local flags output status=0
  read -ra flags <<<"$(pkg_config --cflags --libs trel_cap)"
  compile -I "$platform/include" -o "$WORK/application" "$here/application.c" -L "$platform/lib" \
    -Wl,-rpath-link,"$platform/lib" "${flags[@]}"
  output=$(run "$WORK/application" 2>"$WORK/application.log") || status=$?
  [ "$status" = 0 ] || fail "it ended with $status: $output" "$(cat "$WORK/application.log")"
  [ "$output" = $'event 3\n/ports: 48' ] || fail "it printed '$output'"
  grep -q '^module trel_cap_application$' "$WORK/application.log" || fail "the console has no module"
  [ "$(grep -c '^command ' "$WORK/application.log")" = 14 ] || fail "the console has not 14 commands"
  grep -q '^100 app/trel_cap/src/trel_cap:' "$WORK/application.log" || fail "nothing was logged"
}

# The cases of tests/app that need no process of their own, on the library that was built here. They bring platform
# functions, which stand in front of every platform's.
cases() {
  local loaded output
  loaded=$(run LD_TRACE_LOADED_OBJECTS=1 "$CASES")
  [[ $loaded == *"$prefix/$LIBDIR/libtrel_cap.so.1"* ]] || fail "the cases are not for what was built here: $loaded"
  output=$(run "$CASES" --gtest_brief=1 \
    --gtest_filter='Getters/*:Readers/*:Queries/*:Setters/*:Subscribers/*:*View*:ObjectFree*:Reconnection*') ||
    fail "$output"
  [[ $output =~ PASSED.*\ ([0-9]+)\ tests && ${BASH_REMATCH[1]} -gt 600 ]] || fail "$output"
}

"$1"
