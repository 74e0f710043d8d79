#!/usr/bin/env bash
# needed.sh READELF LIBRARY PLATFORM_LIBRARY...: the library needs the platform's, protobuf-c and the C run-time, and
# nothing else. Of the C run-time that is the C library, its loader, which thread-local variables are asked of, and on
# 32-bit ARM libgcc_s: the tables for unwinding, through which an application's exceptions pass, name its functions there.
set -euo pipefail
readelf=$1 library=$2
shift 2

dynamic=$("$readelf" --wide --file-header --dynamic "$library")
names=("$@" libprotobuf-c.so.1 libc.so.6)
[[ $dynamic != *"Machine:"*"ARM"[[:space:]]* ]] || names+=(libgcc_s.so.1)

found=$(sed -n 's/.*(NEEDED) .*\[\(.*\)\]$/\1/p' <<<"$dynamic" | grep -v '^ld-linux' | sort)
expected=$(printf '%s\n' "${names[@]}" | sort)
[ "$found" = "$expected" ] || {
  echo "$library needs (>), and should need (<):"
  diff <(echo "$expected") <(echo "$found")
}
