#!/usr/bin/env bash
# layers.sh ROOT: no place of the tree ROOT includes what lies above it, or a library that is not its business.
set -euo pipefail
cd "$1"

# The project's places and the libraries that each may include beside its own files and the standard headers.
declare -A allowed=(
  [platform/include]="protobuf-c"
  [platform/base]=""
  [platform/mom/core]="platform/include platform/base protobuf-c"
  [platform/mom/records]="platform/include platform/mom/core protobuf-c"
  [platform/mom/embedded]="platform/include platform/mom/core platform/mom/records"
  [platform/mom/redis]="platform/include platform/base platform/mom/core platform/mom/records hiredis"
  [platform/mom/client]="platform/include platform/base platform/mom/core platform/mom/records protobuf-c"
  [platform/command_line]="platform/base cli11"
  [platform/zlog]="platform/include platform/base zlog"
  [platform/quib]="platform/include platform/base platform/command_line attachment libffi"
  [platform/quib/console]="platform/include platform/base platform/command_line platform/quib libedit cli11 nlohmann-json"
  [app/trel_cap/include]="platform/include records"
  [app/trel_cap/src/log]="app/trel_cap/include platform/include"
  [app/trel_cap/src/trel_cap_sw]="app/trel_cap/include platform/include app/trel_cap/src/log"
  [app/trel_cap/src/trel_cap]="app/trel_cap/include platform/include records app/trel_cap/src/log
    app/trel_cap/src/trel_cap_sw"
  [app/trel_cap/src/trel_cap_dbg]="app/trel_cap/include platform/include records app/trel_cap/src/log
    app/trel_cap/src/trel_cap_sw app/trel_cap/src/trel_cap"
  [tools/record]="app/trel_cap/include platform/base platform/command_line records protobuf-c nlohmann-json"
  [tools/store]="app/trel_cap/include platform/include platform/command_line tools/record"
  [tools/chassis]="app/trel_cap/include platform/command_line tools/record tools/store nlohmann-json"
  [tools/board]="app/trel_cap/include platform/include platform/base platform/command_line tools/record tools/store
    tools/chassis tools/scenario nlohmann-json libmicrohttpd"
  [tools/scenario]="app/trel_cap/include platform/command_line tools/record tools/store tools/chassis yaml-cpp nlohmann-json"
  [tools/trial]="app/trel_cap/include platform/include platform/base platform/command_line tools/record tools/store
    tools/scenario"
  [tools/testing]="app/trel_cap/include platform/include platform/command_line tools/record tools/store tools/chassis
    tools/scenario"
  [tools/verbs]="app/trel_cap/include platform/include platform/base platform/command_line tools/record tools/store tools/chassis
    tools/scenario tools/trial tools/board protobuf-c cli11 nlohmann-json"
  [examples]="app/trel_cap/include platform/include records protobuf-c cli11"
)

# The place that an included name belongs to; nothing for a standard header or a file of the same folder.
place_of() { # NAME INCLUDING_FILE
  case "$1" in
    ../*) echo "another folder" && return ;;
    *.pb-c.h) echo records && return ;;
    protobuf-c/*) echo protobuf-c && return ;;
    hiredis.h | hiredis/* | async.h | read.h) echo hiredis && return ;;
    zlog.h) echo zlog && return ;;
    ffi.h) echo libffi && return ;;
    mom/client/attachment.h) echo attachment && return ;;
    base/*) echo platform/base && return ;;
    command_line/*) echo platform/command_line && return ;;
    histedit.h | editline/*) echo libedit && return ;;
    CLI/*) echo cli11 && return ;;
    microhttpd.h) echo libmicrohttpd && return ;;
    nlohmann/*) echo nlohmann-json && return ;;
    yaml-cpp/*) echo yaml-cpp && return ;;
  esac
  [ ! -e "$(dirname "$2")/$1" ] || return 0
  local place
  for place in app/trel_cap/include platform/include platform/mom platform/zlog platform/quib tools; do
    [ -e "$place/$1" ] || continue
    # These have wings, which an include names.
    [[ $place != platform/mom && $place != tools ]] || place+=/${1%%/*}
    echo "$place" && return
  done
  [ ! -e "app/trel_cap/src/$1" ] || echo "app/trel_cap/src/${1%%/*}"
}

violations=0 files=0
while IFS= read -r -d '' file; do
  files=$((files + 1))
  own=
  for place in "${!allowed[@]}"; do [[ $file != "$place"/* || ${#place} -lt ${#own} ]] || own=$place; done
  [ -n "$own" ] || { echo "$file is in a place that has no rule" && violations=$((violations + 1)) && continue; }
  while read -r name; do
    place=$(place_of "$name" "$file")
    [ -n "$place" ] && [ "$place" != "$own" ] || continue
    [[ " ${allowed[$own]//$'\n'/ } " != *" $place "* ]] || continue
    echo "$file includes $name, of $place"
    violations=$((violations + 1))
  done < <(sed -nE 's/^ *# *include *["<]([^">]+)[">].*/\1/p' "$file")
done < <(find app platform tools examples \( -name '*.h' -o -name '*.c' -o -name '*.cpp' \) -print0 2>/dev/null)

echo "$files files, $violations violations"
[ "$files" -gt 0 ] && [ "$violations" = 0 ]
