#!/usr/bin/env bash
# install_test.sh NAME: runs the test function of that name. ctest sets the variables in capitals.
set -euo pipefail

prefix=$WORK/prefix
warnings=(-Wall -Wextra -Wpedantic -Werror)
unset LD_LIBRARY_PATH OX_MOM_STORE OX_ZLOG_CONF
export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig
export QUIB_DIR=$WORK/console

fail() { # MESSAGE...
  echo "$*" >&2
  exit 1
}

expect_output() { # EXPECTED COMMAND...
  local expected=$1 output
  shift
  output=$("$@") || fail "$* ended with $?"
  [ "$output" = "$expected" ] || fail "$* printed '$output', not '$expected'"
}

# Moved after it has been installed: the tree must work wherever it lies.
prefix() {
  rm -rf "$WORK"
  mkdir -p "$WORK"
  "$CMAKE" --install "$BUILD_DIR" --prefix "$WORK/elsewhere" >/dev/null
  mv "$WORK/elsewhere" "$prefix"
}

compile_outside() { # PROGRAM SUFFIX COMPILER...
  local program=$WORK/$1 source=$SOURCE_DIR/tests/install/outside.$2 flags
  shift 2
  read -ra flags <<<"$(pkg-config --cflags --libs trel_cap)"
  "$@" "${warnings[@]}" -o "$program" "$source" "${flags[@]}"
}

pkg_config_c() {
  compile_outside by_pkg_config_c c "$CC" -std=c11
  expect_output "48 success" "$WORK/by_pkg_config_c"
}

pkg_config_cxx() {
  compile_outside by_pkg_config_cxx cpp "$CXX" -std=c++17
  expect_output "1 read, 1 delivered" "$WORK/by_pkg_config_cxx"
}

# Until the script ends; sets store.
start_redis() {
  local dir server
  dir=$(mktemp -d)
  redis-server --port 0 --unixsocket "$dir/redis" --databases 32 --save '' --dir "$dir" >"$dir/log" &
  server=$!
  # shellcheck disable=SC2064 # the values of now
  trap "kill $server; wait $server || true; rm -rf '$dir'" EXIT
  for _ in {1..400}; do
    [ ! -S "$dir/redis" ] || break
    sleep 0.1
  done
  store=unix://$dir/redis
}

# What the installed trel_capctl writes into a server, the outside program reads.
pkg_config_redis() {
  compile_outside by_pkg_config_redis c "$CC" -std=c11
  start_redis
  "$prefix/bin/trel_capctl" --store "$store" set "/a b:%" --int -7
  expect_output "-7 success" "$WORK/by_pkg_config_redis" "$store" "/a b:%"
}

# The program of README.md, but for the store's name, compiled and served as it says there.
readme() {
  local flags
  start_redis
  sed -n '/^```c$/,/^```$/p' "$SOURCE_DIR/README.md" |
    sed "/^\`\`\`/d; s,unix:///run/redis/redis.sock,$store," >"$WORK/reader.c"
  grep -qF "$store" "$WORK/reader.c" || fail "README.md's program names another store"
  read -ra flags <<<"$(pkg-config --cflags --libs trel_cap)"
  "$CC" -std=c11 "${warnings[@]}" -o "$WORK/reader" "$WORK/reader.c" "${flags[@]}"
  if "$WORK/reader" >"$WORK/unpublished"; then fail "a capability that nobody has published is read"; fi
  grep -q '(there is no such record)$' "$WORK/unpublished" || fail "$(cat "$WORK/unpublished")"
  "$prefix/bin/trel_capctl" --store "$store" set /l3/arp/capacity --int 4096
  expect_output "4096 (success)" "$WORK/reader"
}

# docs/first-application.md: its program, by its commands, prints what it shows.
first_application() {
  local page dir=$WORK/ten_minutes lines expected printed
  mkdir -p "$dir"
  start_redis
  page=$(sed '/^## Questions$/,$d' "$SOURCE_DIR/docs/first-application.md")
  sed -n '/^```c$/,/^```$/p' <<<"$page" | sed '/^```/d' >"$dir/first_application.c"
  cmp "$dir/first_application.c" "$SOURCE_DIR/examples/first_application.c" || fail "the page shows another program"
  expected=$(sed -n '/^```text$/,/^```$/p' <<<"$page" | sed '/^```/d')
  lines=$(wc -l <<<"$expected")
  # The application runs beside what the other terminal does, which begins once it has loaded what is there.
  {
    echo "trap 'kill \$(jobs -p)' EXIT"
    sed -n '/^```console$/,/^```$/s/^\$ //p' <<<"$page" |
      sed "/^redis-server /d; s,/opt/trel_cap/lib,$prefix/$LIBDIR,; s,/opt/trel_cap,$prefix,
           s,unix:///tmp/chassis.sock,$store,
           /^\.\/first_application /{s/$/ >printed \&/;a until grep -qs tmp_state first_application.log; do sleep 0.02; done
           }"
    echo "for ((i = 0; i < 1000 && \$(wc -l <printed) < $lines; i++)); do sleep 0.02; done"
  } >"$dir/session"
  [ "$(grep -cE '^(cc|\./first_application|trel_capctl) ' "$dir/session")" = 8 ] || fail "$(cat "$dir/session")"
  (cd "$dir" && bash -e session)
  printed=$(<"$dir/printed")
  [ "$printed" = "$expected" ] || fail "$(diff <(echo "$expected") <(echo "$printed"); cat "$dir/first_application.log")"
}

# What README.md has a user install by hand is what ./dev installs, but for what makes builds faster.
readme_packages() {
  local by_hand wanted
  by_hand=$(sed -n '/^apt-get install /,/[^\\]$/p' "$SOURCE_DIR/README.md" | tr -s ' \\\n' '\n' |
    grep -vE '^(apt-get|install)$' | sort)
  # shellcheck disable=SC1091,SC2154 # packages_build is of that file
  wanted=$(. "$SOURCE_DIR/packaging/dependencies.sh" && printf '%s\n' "${packages_build[@]}")
  wanted=$(grep -vxE 'ccache|ninja-build' <<<"$wanted" | sort)
  [ "$by_hand" = "$wanted" ] || fail "$(diff <(echo "$by_hand") <(echo "$wanted"))"
}

# By default a program finds the libraries where they are; on demand that is left to the system's loader.
pkg_config_rpath() {
  local flags
  compile_outside with_rpath c "$CC" -std=c11
  expect_output "48 success" "$WORK/with_rpath"
  read -ra flags <<<"$(pkg-config --define-variable=rpath= --cflags --libs trel_cap)"
  "$CC" -std=c11 "${warnings[@]}" -o "$WORK/without_rpath" "$SOURCE_DIR/tests/install/outside.c" "${flags[@]}"
  if "$WORK/without_rpath" 2>/dev/null; then fail "the libraries are found without being told where"; fi
  LD_LIBRARY_PATH=$prefix/$LIBDIR expect_output "48 success" "$WORK/without_rpath"
}

# The examples, compiled as their README says.
examples() {
  local source program flags output status=0
  read -ra flags <<<"$(pkg-config --cflags --libs trel_cap)"
  for source in "$SOURCE_DIR"/examples/*.c "$SOURCE_DIR"/examples/*.cpp; do
    program=$WORK/$(basename "${source%.*}")
    case $source in
      */unit_test.c)
        local testing_flags
        read -ra testing_flags <<<"$(pkg-config --cflags --libs trel_cap_testing)"
        "$CC" -std=c11 "${warnings[@]}" -o "$program" "$source" "${testing_flags[@]}"
        ;;
      *.c) "$CC" -std=c11 "${warnings[@]}" -o "$program" "$source" "${flags[@]}" ;;
      *) "$CXX" -std=c++17 -pthread "${warnings[@]}" -o "$program" "$source" "${flags[@]}" ;;
    esac
  done
  OX_MOM_STORE=mem: "$WORK/publish" /l3/arp/capacity 4096 || fail "publish ended with $?"
  output=$("$WORK/read_capability" /l3/arp/capacity) || status=$?
  [ "$status $output" = "1 /l3/arp/capacity was never published" ] || fail "read_capability: $status $output"
  "$WORK/unit_test" | grep -qx 'ok   the first one pulled: 1 ready' || fail "unit_test fails"
}

pkg_config_version() {
  expect_output "$VERSION" pkg-config --modversion trel_cap
}

# What the preprocessor knows of the version.
version_header() {
  local flags major minor patch
  IFS=. read -r major minor patch <<<"$VERSION"
  read -ra flags <<<"$(pkg-config --cflags trel_cap)"
  "$CC" -std=c11 "${warnings[@]}" -fsyntax-only -x c "${flags[@]}" - <<END || fail "version.h has another than $VERSION"
#include <trel_cap/trel_cap.h>
_Static_assert(TREL_CAP_VERSION_MAJOR == $major && TREL_CAP_VERSION_MINOR == $minor, "");
_Static_assert(TREL_CAP_VERSION_PATCH == $patch, "");
_Static_assert(__builtin_strcmp(TREL_CAP_VERSION, "$VERSION") == 0, "");
END
}

configure_consumer() { # DIR WANTED_VERSION [ARGUMENT...]
  local dir=$1 wanted=$2
  shift 2
  "$CMAKE" -S "$SOURCE_DIR/tests/install/consumer" -B "$dir" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$CC" \
    -DCMAKE_CXX_COMPILER="$CXX" -DWANTED_VERSION="$wanted" "$@"
}

cmake_package() {
  configure_consumer "$WORK/consumer" "$VERSION"
  "$CMAKE" --build "$WORK/consumer"
  expect_output "48 success" "$WORK/consumer/outside_c"
  expect_output "1 read, 1 delivered" "$WORK/consumer/outside_cxx"
  "$WORK/consumer/unit_test" | grep -qx 'ok   the first one pulled: 1 ready' || fail "unit_test fails"
}

# A later major version is another interface.
cmake_package_version() {
  local later=$((${VERSION%%.*} + 1)) output
  if output=$(configure_consumer "$WORK/later" "$later" 2>&1); then fail "version $VERSION passes for $later"; fi
  [[ $output == *"requested version \"$later\""* ]] || fail "$output"
}

# A console without a command, as a library that has no name of its own.
stub_console() { # DIR
  "$CC" -std=c11 "${warnings[@]}" -shared -fPIC -o "$1/libstub_console.so" -x c - <<'END'
#include <stdint.h>
int32_t quib_lib_init(void *client, const char *module);
int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t reserved, const char *format, void (*f)(void));
int32_t quib_lib_init(void *client, const char *module) { return client && module ? 0 : -1; }
int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t reserved, const char *format, void (*f)(void)) {
    return module && command && reserved == 0 && format && f ? 0 : -1;
}
END
}

# Neither the descriptions for build systems nor the library know where the platform lay.
expect_no_trace_of() { # DIR PREFIX
  local found
  found=$(grep -rlF --include='*.pc' --include='*.cmake' -- "$1" "$2" || true)
  [ -z "$found" ] || fail "$1 is in $found"
  if readelf -d "$2/$LIBDIR/libtrel_cap.so" | grep -F -- "$1"; then fail "libtrel_cap.so looks for $1"; fi
}

# What a system lacks is told at once, with its package and its home.
names_what_is_missing() {
  local output home
  if output=$(PKG_CONFIG_LIBDIR=$WORK PKG_CONFIG_PATH='' "$CMAKE" -S "$SOURCE_DIR" -B "$WORK/missing" -G Ninja \
    -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON 2>&1); then
    fail "it is configured without libraries"
  fi
  for home in "libprotobuf-c-dev, or https://github.com/protobuf-c/protobuf-c" \
    "libhiredis-dev, or https://github.com/redis/hiredis" "libcli11-dev, or https://github.com/CLIUtils/CLI11"; do
    [[ $(tr -s ' \n' ' ' <<<"$output") == *"$home"* ]] || fail "$home is missing in $output"
  done
}

# A build from source takes no GoogleTest, unless the tests are asked for, and stops at no warning.
plain_configuration() {
  local settings=$WORK/plain/CMakeCache.txt output
  "$CMAKE" -S "$SOURCE_DIR" -B "$WORK/plain" -G Ninja -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON >/dev/null
  [ ! -e "$WORK/plain/tests" ] || fail "the tests are configured"
  if grep -q -- -Werror "$WORK/plain/build.ninja"; then fail "warnings are errors"; fi
  if output=$("$CMAKE" -S "$SOURCE_DIR" -B "$WORK/plain" -DTREL_CAP_BUILD_TESTS=ON 2>&1); then fail "tests take no GoogleTest"; fi
  [[ $output == *libgmock-dev* ]] || fail "$output"
  grep -q '^CMAKE_BUILD_TYPE:STRING=RelWithDebInfo$' "$settings" || fail "$(grep CMAKE_BUILD_TYPE "$settings")"
}

# The library, built against a platform that is named from outside: two stand-ins where they are not recognised, the
# second under the name that programs load it by, and a console without a name. Then the platform is moved, as if to
# another machine.
other_platform() {
  local build=$WORK/other_platform there=$WORK/platform_there platform=$WORK/platform_here
  rm -rf "$build" "$WORK/other_prefix" "$there" "$platform"
  mkdir -p "$there/log" "$there/console"
  cp -P "$prefix"/include/{ox_mom,quib}.h "$prefix/$LIBDIR"/libox_mom* "$there"
  cp -P "$prefix"/include/ox_zlog.h "$prefix/$LIBDIR"/libox_zlog* "$there/log"
  stub_console "$there/console"
  "$CMAKE" -S "$SOURCE_DIR" -B "$build" -G Ninja -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_BUILD_TYPE=Debug -DTREL_CAP_PLATFORM_INCLUDE_DIRS="$there;$there/log" \
    -DTREL_CAP_PLATFORM_LIBRARIES="-L$there;ox_mom;$there/log/libox_zlog.so.1;$there/console/libstub_console.so"
  "$CMAKE" --build "$build"
  "$CMAKE" --install "$build" --prefix "$WORK/other_prefix"
  mkdir "$platform"
  find "$there" ! -type d -exec mv -t "$platform" {} +
  local prefix=$WORK/other_prefix
  [ ! -e "$prefix/include/ox_mom.h" ] || fail "a header of the platform's was installed"
  expect_no_trace_of "$there" "$prefix"

  export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig LD_LIBRARY_PATH=$platform
  CPATH=$platform LIBRARY_PATH=$platform compile_outside on_other_platform c "$CC" -std=c11
  expect_output "48 success" "$WORK/on_other_platform"

  configure_consumer "$WORK/consumer_of_other" "$VERSION" -DTREL_CAP_PLATFORM_INCLUDE_DIRS="$platform" \
    -DTREL_CAP_PLATFORM_LIBRARY_DIRS="$platform"
  "$CMAKE" --build "$WORK/consumer_of_other"
  expect_output "48 success" "$WORK/consumer_of_other/outside_c"
}

# Each header by itself, in every language that it is written for.
expect_headers_compile() { # C-COMPILER C++-COMPILER
  local flags header standard count=0
  read -ra flags <<<"$(pkg-config --cflags trel_cap_testing)"
  while read -r header; do
    for standard in c11 c17; do
      "$1" -std=$standard "${warnings[@]}" -fsyntax-only -x c "${flags[@]}" - <<<"#include <$header>"$'\n'"typedef int x;"
    done
    for standard in c++17 c++20; do
      "$2" -std=$standard "${warnings[@]}" -fsyntax-only -x c++ "${flags[@]}" - <<<"#include <$header>"
    done
    count=$((count + 1))
  done < <(cd "$prefix/include" && find . -name '*.h' -printf '%P\n')
  for header in ox_mom.h ox_zlog.h quib.h trel_cap/trel_cap.h trel_cap/version.h trel_cap_testing.h \
    trel_cap/p_libpub.pb-c.h; do
    [ -e "$prefix/include/$header" ] || fail "$header is not installed"
  done
  echo "$count headers"
}

headers() {
  expect_headers_compile "$CC" "$CXX"
}

headers_by_clang() {
  [ -x "$CLANG" ] || { echo "there is no clang here" && exit 77; }
  expect_headers_compile "$CLANG" "$CLANG"
}

programs() {
  local name file option
  for name in quib trel_capctl trel_cap_demo; do
    "$prefix/bin/$name" --help >/dev/null || fail "$name does not start"
    expect_output "$name $VERSION" "$prefix/bin/$name" --version
  done
  for name in quib trel_capctl; do
    for file in man/man1/$name.1 bash-completion/completions/$name zsh/site-functions/_$name; do
      [ -s "$prefix/share/$file" ] || fail "no $file"
    done
  done
  while read -r option; do
    grep -qF -- "${option//-/\\-}" "$prefix/share/man/man1/trel_cap_demo.1" || fail "trel_cap_demo.1 does not tell of $option"
  done < <("$prefix/bin/trel_cap_demo" --help | grep -oE -- '--[a-z-]+' | sort -u)
  [ -L "$prefix/$LIBDIR/libtrel_cap.so.1" ] || fail "no libtrel_cap.so.1"
  grep -qx 'd /run/quib 1777 root root -' "$prefix/lib/tmpfiles.d/trel_cap.conf" || fail "no directory for the console"
}

# The demo finds the console that it was installed with, wherever that is.
demo_stays() {
  local there="$WORK/a place with blanks" pid i
  rm -rf "$there"
  cp -r "$prefix" "$there"
  PATH=/usr/bin:/bin "$there/bin/trel_cap_demo" --stay >"$WORK/stay" 2>&1 &
  pid=$!
  for ((i = 0; i < 800; i++)); do
    if grep -q 'Ctrl-C ends it' "$WORK/stay"; then break; fi
    sleep 0.05
  done
  eval "$(sed -n 's/ dump_node$//p' "$WORK/stay") dump_node" >"$WORK/stay_answer" 2>&1 || true
  kill "$pid" && wait "$pid"
  grep -q 'node:0x00000016' "$WORK/stay_answer" || fail "$(cat "$WORK/stay" "$WORK/stay_answer")"
}

# The licence and the documentation, and what each of them links to.
documentation() {
  local doc=$prefix/share/doc/trel_cap page link file name so
  for file in LICENSE README.md CHANGELOG.md docs/console.md examples/publish.c examples/two_threads.cpp; do
    cmp "$SOURCE_DIR/$file" "$doc/$file" || fail "no $file"
  done
  while read -r page; do
    while read -r link; do
      [ -e "$(dirname "$doc/$page")/$link" ] || fail "$page links to $link, which is not installed"
    done < <(grep -oE '\]\([^)#:]+[)#]' "$doc/$page" | sed 's/^..//; s/.$//')
  done < <(cd "$doc" && find . -name '*.md')
  while read -r name; do
    file=$prefix/share/man/man3/$name.3
    [ -e "$file" ] || fail "no manual page $name(3)"
    read -r so page <"$file"
    [ "$so" != .so ] || file=$prefix/share/man/$page
    sed -n '/^.SH NAME/,/\\-/p' "$file" | grep -qw "$name" || fail "the manual page $name(3) is of another function"
  done < <(grep -oE '^trel_cap_\w+' <(nm -D --defined-only --format=posix "$prefix/$LIBDIR/libtrel_cap.so" |
    awk '$2 == "T" { sub(/@.*/, "", $1); print $1 }'))
  grep -q 'MIT.*(LICENSE)' "$doc/README.md" || fail "README.md does not name the licence"
  head -n 1 "$doc/LICENSE" | grep -qx 'MIT License' || fail "README.md names another licence"
}

elf_files() {
  find "$prefix/bin" "$prefix/$LIBDIR" -type f \( -perm -u+x -o -name '*.so.*' \)
}

# What an attacker would have to get past.
hardening() {
  local file said symbols count=0
  while read -r file; do
    said=$(readelf --wide --file-header --program-headers --dynamic "$file")
    symbols=$(nm -D --undefined-only "$file")
    case $file in
      */bin/*) [[ $said == *"Flags:"*PIE* ]] || fail "$file is not position independent" ;;
    esac
    [[ $said == *GNU_RELRO* ]] || fail "$file has no RELRO"
    [[ $said == *BIND_NOW* ]] || fail "$file is bound lazily, which leaves its table of functions writable"
    [[ $said =~ GNU_STACK[^$'\n']*\ RW\  ]] || fail "the stack of $file can be executed"
    [[ $symbols == *__stack_chk_fail* ]] || fail "$file has no stack protector"
    case $file in
      */libtrel_cap.so*) ;; # its calls of the C library can be answered by the program: plain_calls
      *) [[ $symbols == *_chk@GLIBC* ]] || fail "$file is not fortified" ;;
    esac
    count=$((count + 1))
  done < <(elf_files)
  [ "$count" = 7 ] || fail "$count programs and libraries, not 7"
}

# A program may define these itself, and the library calls it then: under these names only.
plain_calls() {
  local symbols name
  symbols=$(nm -D --undefined-only "$prefix/$LIBDIR/libtrel_cap.so" | sed 's/@.*//; s/.* //')
  for name in close dup dup2 fflush getpid open read readlink snprintf system vsnprintf; do
    grep -qx "$name" <<<"$symbols" || fail "$name is not called"
  done
  if grep '_chk$' <<<"$symbols" | grep -vx __stack_chk_fail; then fail "it calls the fortified functions above"; fi
}

no_source_paths() {
  local found
  found=$(grep -rlF "$SOURCE_DIR" "$prefix" || true)
  [ -z "$found" ] || fail "The source directory's name is in $found"
}

"$1"
