#!/usr/bin/env bash
# interface.sh record LIBRARY BASELINE: writes down the binary interface of a library: its symbols with their versions, and
# the types that its headers show of them.
# interface.sh compare LIBRARY BASELINE: fails when a program that was built against the baseline could tell the difference,
# or when a sealed version has got another name. Names in versions that the baseline does not know are welcome.
#
# The caller sets NM, and HEADERS to the directories of the public headers, with colons between them.
set -euo pipefail
export LC_ALL=C

fail() { # MESSAGE...
  echo "$*" >&2
  exit 1
}

# What is declared elsewhere is nobody's to rely on; so are the places of the machine that builds.
readonly shown=(--exported-interfaces-only --drop-private-types)
readonly placeless=(--no-corpus-path --no-comp-dir-path --short-locs --no-elf-needed --type-id-style hash)

# Sets header_options.
options_of_headers() { # OPTION
  local directory directories
  IFS=: read -ra directories <<<"$HEADERS"
  header_options=()
  for directory in "${directories[@]}"; do header_options+=("$1" "$directory"); done
}

# Of stripped code only the names could be compared, and nobody would notice.
require_debug_information() { # LIBRARY
  readelf --sections --wide "$1" | grep -q ' \.debug_info ' || fail "$1 has no debug information"
}

record() { # LIBRARY BASELINE
  require_debug_information "$1"
  options_of_headers --headers-dir
  mkdir -p "$(dirname "$2")"
  abidw "${shown[@]}" "${placeless[@]}" "${header_options[@]}" --out-file "$2" "$1"
}

compare() { # LIBRARY BASELINE
  require_debug_information "$1"
  options_of_headers --headers-dir2
  abidiff --no-added-syms "${shown[@]}" "${header_options[@]}" "$2" "$1" >&2 ||
    fail "$(basename "$1") is not compatible with what $2 records"
  expect_sealed "$1" "$2"
}

expect_sealed() { # LIBRARY BASELINE
  local difference
  difference=$(diff <(names_in_baseline "$2") <(names_in "$1" | in_versions "$(names_in_baseline "$2" | sed 's/.*@//' | sort -u)")) ||
    fail "a released version of $(basename "$1") never gets or loses a name (>, <):"$'\n'"$(grep '^[<>]' <<<"$difference")"
}

names_in_baseline() { # BASELINE
  sed -n "s/.*<elf-symbol name='\([^']*\)'.* version='\([^']*\)'.*/\1@\2/p" "$1" | sort
}

names_in() { # LIBRARY
  "$NM" --dynamic --defined-only --format=posix "$1" | sed -n 's/^\([^ @]*\)@@*\([^ ]*\) [^A].*/\1@\2/p' | sort
}

in_versions() { # VERSIONS, a line each
  awk -F@ -v versions="$1" 'BEGIN { count = split(versions, list, "\n"); while (count) known[list[count--]] } $2 in known'
}

[ "${BASH_SOURCE[0]}" != "$0" ] || "$@"
