# shellcheck shell=bash disable=SC2154 # the packages are those of dependencies.sh
# The long programme of tests, for a night: sourced by ./dev.

readonly torture_seeds=${TREL_CAP_TORTURE_SEEDS:-1000}
readonly torture_fuzz_seconds=${TREL_CAP_TORTURE_FUZZ_SECONDS:-1800} # a target

# Goes on after a failure, so that one run shows them all.
torture() { # [PART...]
  local part
  [ "$#" != 0 ] || set -- histories long released fuzz
  for part; do
    case "$part" in
      histories | long | released | fuzz) ;;
      *) fail "torture takes histories, long, released or fuzz" ;;
    esac
  done
  require_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_redis[@]}"
  offer_packages "${packages_valkey[@]}"
  for part; do "torture_$part"; done
  report
}

# The library against its model: on a scripted platform, and over every store while servers come and go. And what it says
# to an application, under faults of the network and the server.
torture_histories() {
  step "build asan" build_preset asan || return 0
  local program
  for program in property/trel_cap_property_test property/trel_cap_store_property_test \
    reliability/histories/reliability_histories_test; do
    TREL_CAP_SEED=$((RANDOM * 32768 + RANDOM)) TREL_CAP_SEEDS=$torture_seeds \
      step "$torture_seeds histories of each kind, ${program##*/}" \
      "build/asan/tests/$program" --gtest_filter='*EndAsTheModelSays*:*HoldTheirProperties*' --gtest_brief=1 || true
  done
}

# Everything once more with the memory checked, and what is long in full.
torture_long() {
  step "build asan" build_preset asan || return 0
  TREL_CAP_TORTURE=1 run_tests asan
}

# As it is shipped: an application for an hour, and each verb of the tool with each of its allocations failing.
torture_released() {
  step "build release" build_preset release || return 0
  local tests=build/release/tests
  TREL_CAP_TORTURE=1 step "an hour among changes, losses and operators" \
    "$tests/reliability/soak/reliability_soak_test" --gtest_brief=1 || true
  TREL_CAP_TORTURE=1 step "each allocation of each verb" \
    "$tests/tools/capctl_test" --gtest_filter='Verbs/Memory.*' --gtest_brief=1 || true
}

torture_fuzz() {
  require_packages "${packages_fuzz[@]}"
  step "build fuzz" build_preset fuzz || return 0
  local target
  for target in tests/fuzz/corpus/*; do
    step "fuzz ${target##*/} for $torture_fuzz_seconds s" fuzz_target "${target##*/}" || true
  done
}

# What the fuzzer comes to is kept in build/fuzz/corpus for the next time, what it crashes with in build/fuzz/found.
fuzz_target() { # TARGET
  local own=build/fuzz/corpus/$1 log=build/fuzz/$1.log
  mkdir -p "$own" build/fuzz/found
  "build/fuzz/tests/fuzz/fuzz_$1" -max_total_time="$torture_fuzz_seconds" -max_len=2048 -rss_limit_mb=2048 \
    -timeout=10 -print_final_stats=1 -artifact_prefix="build/fuzz/found/$1-" "$own" "tests/fuzz/corpus/$1" \
    >"$log" 2>&1 || {
    grep -aE 'does not hold|^==|SUMMARY' "$log" | tail -5
    return 1
  }
  grep -a 'number_of_executed_units' "$log"
}
