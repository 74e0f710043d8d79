#!/usr/bin/env bash
# demo_test.sh NAME PROGRAM: runs the test function of that name.
set -euo pipefail

program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset OX_MOM_STORE OX_MOM_TIMEOUT_MS OX_ZLOG_CONF
export QUIB_DIR=$work # and no console of somebody else's

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
    at=$(tail -n "+$((line + 1))" "$work/out" | grep -nEm 1 -- "$pattern" | cut -d : -f 1) ||
      fail "no line '$pattern' after line $line"
    line=$((line + at))
  done
}

# What both ways to run it tell; the publisher is named differently. How it is worded and laid out is the demo's affair.
expect_story() { # PUBLISHER
  expect_lines 'trel_cap_init: 0' "$1 published: .*/l2/vlan/max = 4094" \
    '/device/stack/support +0 .*true' '/l2/vlan/max +0 .*4094' \
    '/device/teleport/support +-22 ' '/l2/vlan/max +-24 ' \
    '/l2/vlan/max +0 .*2048' '/l2/vlan/max +0 .*2048' \
    "$1 published: .*/port/mtu/limit = 1500" 'callback: .*/port/mtu/limit .*1500' \
    "$1 published: .*device is ready" 'the device +ready$' \
    'HPS cards +not ready' 'control modules +not ready' 'fabric cards +not ready' \
    'callback: .*device.* ready' 'callback: .*node 0x11 is ready' \
    'callback: .*node 0x13 is not ready' 'callback: .*node 0x12 is not ready'
  [ ! -s "$work/err" ] || fail "something was said on standard error"
}

embedded() {
  run 0
  expect_story 'another thread'
}

redis() {
  run 0 --redis
  expect_story 'process [0-9]+'
  expect_lines 'server crashes' 'callback: .*device.* ready' 'callback: .*node 0x11 is ready' \
    'callback: .*node 0x11 is not ready'
  local directory
  directory=$(sed -nE 's,.*unix://(.*)/redis\.sock.*,\1,p' "$work/out" | head -n 1)
  [ -n "$directory" ] && [ ! -e "$directory" ] || fail "the server's directory '$directory' is left behind"
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
}

usage() {
  run 2 --nonsense
  run 2 --log-level 5
  run 0 --help
  expect_lines '--redis' '--log-level'
}

"$1"
