#!/bin/sh
# ./dev stress: the same tests as in ./dev check, with big numbers. Takes about two hours on two cores; each part
# prints its own totals, and the first that fails ends the run.
set -e
cd "$(dirname "$0")/.."
./dev deps base
mkdir -p build
cmake --preset dev >build/stress-configure.log
cmake --build --preset dev -j"$(nproc)" >build/stress-build.log

# part TITLE SETTINGS PROGRAM FILTER
part() {
  echo "--- $1"
  program=build/dev/tests/$3
  "$program" --gtest_list_tests --gtest_filter="$4" | grep -q '^  ' || { echo "no test of $3 is called $4"; exit 1; }
  # shellcheck disable=SC2086 # several settings are several words
  env $2 "$program" --gtest_brief=1 --gtest_filter="$4"
}

# Random database scripts on the store and on the model, beyond the 1,000 of every check.
part "10,000 database scripts" WKT_SCRIPTS=10000 platform/test_platform 'DatabaseModelScripts.*'
# Two writers killed at random instants; what was acknowledged is there.
part "200 killed writers" WKT_KILLS=200 host/test_host 'StoreKill.*'
# The same for the registry: two killed at a time.
part "100 pairs of killed registry writers" WKT_KILLS=100 host/test_host 'Processes.KilledWritersLeaveAWholeRegistry'
# Times to the calendar and back.
part "100,000 round trips of times" WKT_ROUND_TRIPS=100000 platform/test_platform 'TimeRoundTrips.*'
# Only synced blocks survive.
part "100 power cuts" WKT_POWER_CUTS=100 host/test_host 'StorePowerCut.*'
# Edits on both sides with two partners, against a simple model.
part "300 two-sided edit scripts" WKT_SCRIPTS=300 desktop/test_desktop '*Model*'
part "300 two-sided edit scripts with kills" "WKT_SCRIPT_KILLS=1 WKT_SCRIPTS=300" desktop/test_desktop '*Model*'
# Whole synchronisations and applications killed at random instants, with edits between; then the command itself.
part "500 kills with two partners and 300 jobs" WKT_KILLS=500 desktop/test_desktop 'SyncKill.*'
part "100 killed commands" WKT_KILLS=100 tools/test_tools 'Kill.*'
# Every platform call and every allocation of the scripts failing, one after the other. With AddressSanitizer, which
# finds leaks too; a process per core.
echo "--- all faults"
cmake --preset asan >>build/stress-configure.log
cmake --build --preset asan -j"$(nproc)" --target test_faults >>build/stress-build.log
workers=
for shard in $(seq 0 $(($(nproc) - 1))); do
  env WKT_FAULTS=all GTEST_TOTAL_SHARDS="$(nproc)" GTEST_SHARD_INDEX="$shard" \
    LSAN_OPTIONS="print_suppressions=0:suppressions=$PWD/tests/lsan.supp" \
    build/asan/tests/sync/faults/test_faults --gtest_brief=1 &
  workers="$workers $!"
done
for worker in $workers; do
  wait "$worker"
done
# Each fuzzing program; WKT_FUZZ_SECONDS for one of them.
for program in $(sh scripts/fuzz.sh); do
  echo "--- fuzzing $program"
  sh scripts/fuzz.sh "$program" "${WKT_FUZZ_SECONDS:-300}"
done
