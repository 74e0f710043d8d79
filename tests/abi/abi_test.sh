#!/usr/bin/env bash
# abi_test.sh NAME [ARGUMENT...]: runs the test function of that name. ctest sets NM, HEADERS and, for the test of the tests,
# CC and SOURCE_DIR.
. "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/interface.sh"

compatible() { # LIBRARY BASELINE
  [ -e "$2" ] || { echo "no baseline is recorded for this processor" && exit 77; }
  compare "$1" "$2"
}

# Packages depend on the version that brought a name, so their list has each.
listed() { # LIBRARY LIST
  local difference
  difference=$(diff <(sed -n 's/^ \([^ ]*\) [0-9].*/\1/p' "$2" | grep -v '^\(.*\)@\1$' | sort) <(names_in "$1")) ||
    fail "$2 has names too many (<) or too few (>):"$'\n'"$(grep '^[<>]' <<<"$difference")"
}

# Each change that a program could tell is told, and a later version's names are not.
notices() {
  local place
  place=$(mktemp -d)
  # shellcheck disable=SC2064 # the place of now
  trap "rm -rf '$place'" EXIT
  cd "$place"
  HEADERS=$place
  cat >public.h <<'END'
struct pair { int first, second; };
int sum(struct pair *);
int twice(int);
END
  cp public.h later.h
  echo 'SMALL_1 { global: sum; twice; local: *; };' >small.map

  library
  record libsmall.so small.abi
  compare libsmall.so small.abi || fail "a library is not compatible with itself"

  library 's/int twice(int);//' 's/^int twice.*//'
  expect_refusal "twice" "a name that is gone"
  library 's/int second/long second/; s/first,/first; int more;int/'
  expect_refusal "pair" "a structure that has changed"
  library 's/twice(int)/twice(long)/' 's/twice(int/twice(long/'
  expect_refusal "twice" "an argument that has changed"
  echo 'SMALL_1 { global: sum; twice; thrice; local: *; };' >small.map
  library 's/$//' 's/^int twice/int thrice(int n) { return 3 * n; }\n&/'
  expect_refusal "> thrice@SMALL_1" "a new name in a sealed version"
  echo 'SMALL_1 { global: sum; local: *; }; SMALL_2 { global: twice; } SMALL_1;' >small.map
  library
  expect_refusal "twice" "a name that has moved"

  echo 'SMALL_1 { global: sum; twice; local: *; }; SMALL_2 { global: thrice; } SMALL_1;' >small.map
  library 's/$//' 's/^int twice/int thrice(int n) { return 3 * n; }\n&/'
  compare libsmall.so small.abi || fail "a new version is refused"
}

library() { # [EDIT-OF-HEADER [EDIT-OF-SOURCE]]
  cat >small.c <<'END'
#include "public.h"
int sum(struct pair *p) { return p->first + (int)p->second; }
int twice(int n) { return (int)(2 * n); }
END
  sed "${1:-}" later.h >public.h
  sed -i "${2:-}" small.c
  "$CC" -g -shared -fPIC -Wl,--version-script=small.map -Wl,--undefined-version -o libsmall.so small.c
}

expect_refusal() { # WORDS CHANGE
  local text
  if text=$(compare libsmall.so small.abi 2>&1); then fail "$2 is not noticed"; fi
  [[ $text == *"$1"* ]] || fail "$2 is told as: $text"
}

"$@"
