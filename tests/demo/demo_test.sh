#!/usr/bin/env bash
# demo_test.sh NAME PROGRAM [QUIB]: runs the test function of that name.
set -euo pipefail

program=$2
quib=${3:-}
work=$(mktemp -d)
pid= # of a demo that stays
trap '[ -z "$pid" ] || kill "$pid" || true; rm -rf "$work"' EXIT
unset OX_MOM_STORE OX_MOM_TIMEOUT_MS OX_ZLOG_CONF
export QUIB_DIR=$work/console TMPDIR=$work/tmp # nothing else goes there
mkdir "$QUIB_DIR" "$TMPDIR"

fail() { # MESSAGE...
  echo "$*" >&2
  cat "$work/out" "$work/err" >&2
  exit 1
}

run() { # STATUS ARGUMENT...
  local expected=$1 status=0
  shift
  "$program" "$@" >"$work/out" 2>"$work/err" || status=$?
  [ "$status" = "$expected" ] || fail "trel_cap_demo $* ended with $status"
}

# Each pattern is found, behind the one before it.
expect_lines() { # PATTERN...
  local pattern line=0 at
  for pattern; do
    at=$({ grep -nE -- "$pattern" "$work/out" || true; } |
      awk -F : -v after="$line" '$1 > after && !at { at = $1 } END { print at }')
    [ -n "$at" ] || fail "no line '$pattern' after line $line"
    line=$at
  done
}

# What both ways to run it tell; the publisher is named differently. How it is worded and laid out is the demo's affair.
expect_story() { # PUBLISHER
  expect_lines 'trel_cap_init: 0' "$1 published: .*/l2/vlan/max = 4094" \
    '/device/stack/support +0 .*true' '/l2/vlan/max +0 .*4094' \
    '/device/teleport/support +-22 ' '/l2/vlan/max +-24 ' \
    '/l2/vlan/max +0 .*2048' '/l2/vlan/max +0 .*2048' \
    "$1 published: .*/port/speeds = 10G,25G,100G" '/port/speeds +0 .*10G,25G,100G' \
    "$1 published: .*/port/mtu/limit = 1500" 'callback: .*/port/mtu/limit .*1500' \
    "$1 published: .*/fabric/links/max = 48" 'callback: .*/fabric/links/max .*48' \
    "$1 published: .*device is ready" 'callback: .*device.* ready .*event 0' 'the device +ready$' \
    'HPS cards +not ready' 'control modules +not ready' 'fabric cards +not ready' \
    "$1 published: slot 1: .*software is ready" 'callback: .*node 0x11 is ready .*event 1' \
    "$1 published: slot 3: .*denied" 'callback: .*node 0x13 is not ready .*event 1' \
    "$1 published: slot 2: .*gone" 'callback: .*node 0x12 is not ready .*event 1' \
    "$1 published: slot 4: .*software is ready" 'callback: .*node 0x14 is ready .*event 1' \
    'callback: .*node 0x14 is ready .*event 4' 'callback: .*fabric cards.* ready .*event 3' \
    "$1 published: slot 5: .*software is ready" 'callback: .*node 0x15 is ready .*event 5' \
    'callback: .*control modules.* ready .*event 2' \
    "$1 published: slot 6: .*software is ready" 'callback: .*node 0x16 is ready .*event 6' \
    'callback: .*HPS cards.* ready .*event 7'
  expect_silence
}

# Nothing is said on standard error, but by the client when its store crashes and is back.
expect_silence() {
  if grep -vE ' ox_mom (lost|back):[0-9]+ store ' "$work/err"; then fail "something was said on standard error"; fi
}

expect_nothing_left() {
  local left
  left=$(find "$QUIB_DIR" "$TMPDIR" -mindepth 1 ! -name '.lock-*') # what programs of one user take turns by
  [ -z "$left" ] || fail "left behind: $left"
}

embedded() {
  run 0
  expect_story 'another thread'
  expect_nothing_left
}

redis() {
  run 0 --redis
  expect_story 'process [0-9]+'
  expect_lines 'server crashes' 'callback: .*node 0x11 is not ready' 'callback: .*device.* ready' 'callback: .*node 0x11 is ready' \
    'callback: .*node 0x11 is not ready'
  expect_lines "unix://$TMPDIR/"
  grep -q ' ox_mom lost:' "$work/err" || fail "the crash is not told"
  grep -q ' ox_mom back:' "$work/err" || fail "the return is not told"
  expect_nothing_left
}

# The story is the same with the library's log beside it.
log() {
  run 0 --log-level 4
  grep -q ' INFO trel_cap trel_cap_ce_get_g_cap_bool:[0-9]* url /device/stack/support value 1$' "$work/err" ||
    fail "the log is missing"
}

without_server() {
  PATH=$work run 1 --redis
  grep -q '^trel_cap_demo: redis-server ' "$work/err" || fail "another message"
  expect_nothing_left
}

# It ends where it is, as with Ctrl-C.
without_reader() {
  local status=0
  "$program" --redis 2>"$work/err" | head -n 1 >"$work/out" || status=${PIPESTATUS[0]}
  [ "$status" = 141 ] || fail "trel_cap_demo --redis ended with $status"
  expect_nothing_left
}

# The telling has come to the point where it stays.
start_to_stay() { # ARGUMENT...
  "$program" --stay --quib "$quib" "$@" >"$work/out" 2>"$work/err" &
  pid=$!
  local i
  for ((i = 0; i < 800; i++)); do
    if grep -qs 'Ctrl-C ends it' "$work/out"; then return; fi
    kill -0 "$pid" || break
    sleep 0.05
  done
  fail "trel_cap_demo --stay does not get there"
}

end_by() { # SIGNAL
  local status=0
  kill -s "$1" "$pid"
  wait "$pid" || status=$?
  pid=
  [ "$status" = 0 ] || fail "trel_cap_demo --stay ended with $status"
  expect_silence
  expect_nothing_left
}

# As the demo says that it is to be called.
ask() { # COMMAND ARGUMENT...
  local attach
  attach=$(sed -n 's/ dump_node$//p' "$work/out")
  eval "$attach $*" >"$work/answer" 2>&1 || fail "$attach $* failed: $(cat "$work/answer")"
}

expect_answer() { # LINE
  grep -qx -- "$1" "$work/answer" || fail "no line '$1' in: $(cat "$work/answer")"
}

stay() {
  start_to_stay
  expect_story 'another thread'
  ask dump_node
  expect_answer 'node:0x00000016,.* ready 1, node_type 7,.*'
  ask ce_get_g_cap_int32 /l2/vlan/max
  expect_answer 'value 2048'
  end_by TERM
}

stay_redis() {
  start_to_stay --redis
  ask ce_get_fe_cap_str 17 /port/speeds
  expect_answer 'str 10G,25G,100G'
  end_by HUP
}

# Each says how to attach to it, not to the other.
stay_twice() {
  local first
  start_to_stay
  first=$pid
  mv "$work/out" "$work/out_of_first"
  start_to_stay
  ask log-level 3
  grep -q 'dump_node$' "$work/out_of_first" || fail "the first does not say how to attach"
  [ "$(grep 'dump_node$' "$work/out")" != "$(grep 'dump_node$' "$work/out_of_first")" ] || fail "one name for two"
  kill -s TERM "$first"
  wait "$first" || fail "the first ended with $?"
  ask dump_node
  expect_answer 'node:0x00000016,.* ready 1, node_type 7,.*'
  end_by TERM
}

# It tells nothing to nobody, however it is called, and leaves at once rather than at the end.
without_room() {
  local status arguments
  for arguments in '' --redis --stay --help --version; do
    status=0
    # shellcheck disable=SC2086 # none, or one
    "$program" $arguments >/dev/full 2>"$work/err" || status=$?
    [ "$status" = 1 ] || fail "trel_cap_demo $arguments >/dev/full ended with $status"
    [ "$(cat "$work/err")" = 'trel_cap_demo: standard output cannot be written: No space left on device' ] ||
      fail "another message"
    expect_nothing_left
  done
}

# Above all the story is not told to a server, whose connection could have got the number of the closed descriptor.
without_output() {
  local status arguments
  for arguments in '' --redis --version; do
    status=0
    # shellcheck disable=SC2086 # none, or one
    "$program" $arguments >&- 2>"$work/err" || status=$?
    [ "$status" = 1 ] || fail "trel_cap_demo $arguments >&- ended with $status"
    [ "$(cat "$work/err")" = 'trel_cap_demo: standard output cannot be written: Bad file descriptor' ] ||
      fail "another message"
    expect_nothing_left
  done
}

version() {
  run 0 --version
  [ "$(cat "$work/out")" = "trel_cap_demo $VERSION" ] || fail "another version"
}

usage() {
  run 2 --nonsense
  run 2 --log-level 5
  run 0 --help
  expect_lines '--version' '--redis' '--log-level' '--stay'
}

"$1"
