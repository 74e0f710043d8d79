#!/usr/bin/env bash
# dev_test.sh NAME: runs the test function of that name. ctest sets SOURCE_DIR, PROJECT and CTEST.
set -euo pipefail

unset CI
# shellcheck source=../../dev
. "$SOURCE_DIR/dev"

results=$(mktemp)
trap 'rm -f "$results"' EXIT

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
skipped: release a test: its reason
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

# A step that fails is counted, and does not end the run.
steps() {
  step one true >/dev/null
  step two false >/dev/null || true
  step three true >/dev/null
  expect "2 1 failed: two" "$passed $failed ${remarks[*]}"
}

unknown_command() {
  local status=0 text
  text=$("$SOURCE_DIR/dev" nonsense 2>&1 >/dev/null) || status=$?
  expect 2 "$status"
  [[ $text == Usage:* ]] || { echo "$text" >&2 && exit 1; }
  [[ $("$SOURCE_DIR/dev" help) == *"demo [--redis]"*"test "*"build "*"quick "*"fmt "*"bench "* ]]
}

"$1"
