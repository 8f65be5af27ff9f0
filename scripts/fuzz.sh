#!/bin/sh
# usage: ./dev fuzz [NAME [SECONDS] [libFuzzer options]]
#        ./dev fuzz --whole NAME
#        ./dev fuzz --keep NAME
# Build the fuzzing program NAME with clang and run it for 60 or so many seconds, beginning with the stored inputs;
# without a name, list the programs. A finding is left in build/fuzz/findings and goes into fuzz/corpus/NAME as
# hexadecimal text. --whole goes on for 10 minutes and, if that takes longer, until it has made a million executions;
# 100,000 of the two that make a device's files each time. --keep stores the smallest inputs that reach all that the runs
# so far have reached.
set -e
cd "$(dirname "$0")/.."
names=$(ls fuzz/corpus)
if [ $# = 0 ]; then
  echo "$names"
  exit 0
fi
what=
case $1 in --keep | --whole) what=$1; shift ;; esac
name=$1
shift
[ -d "fuzz/corpus/$name" ] || { echo "no fuzzing program '$name'; there are:" $names >&2; exit 2; }
seconds=60
least=0
if [ "$what" = --whole ]; then
  seconds=600
  case $name in store_file | provider_calls) least=100000 ;; *) least=1000000 ;; esac
fi
case ${1:-} in [0-9]*) seconds=$1; shift ;; esac
./dev deps base fuzz
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DWKT_FUZZ=ON -DWKT_TESTS=OFF \
  -DWKT_SANITIZE=ON >build/fuzz-configure.log 2>&1 || { tail -20 build/fuzz-configure.log >&2; exit 1; }
cmake --build build/fuzz --target "fuzz_$name" -j"$(nproc)" >build/fuzz-build.log 2>&1 ||
  { grep -E -A12 'error|FAILED|undefined' build/fuzz-build.log | head -60 >&2; exit 1; }
program=build/fuzz/fuzz/fuzz_$name
work=build/fuzz/inputs/$name
log=build/fuzz/$name.log
findings=build/fuzz/findings
mkdir -p "$findings"
# Devices of the fuzzing programs are made in memory where there is such a file system.
[ ! -d /dev/shm ] || export TMPDIR=/dev/shm
# Handed to the tests by ./dev check, too: what may leak by definition.
export LSAN_OPTIONS="print_suppressions=0:suppressions=$PWD/tests/lsan.supp"
# 16 MB of freed blocks are still those of many executions; the usual 256 MB outgrow the processor's cache. Six callers of an
# allocation tell it apart as well as thirty do.
ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=6:max_malloc_fill_size=256

# Per program: how long inputs may get, after how many runs it starts anew, what else.
runs=20000000
case $name in
  job_packet | type_packet) length=8192 seeds="fuzz/corpus/$name tests/data/packets" ;;
  # A packet without texts makes a text of 1.7 KB.
  packet_text) length=2048 seeds="fuzz/corpus/$name tests/data/packets" ;;
  # Texts with structure; the longer, the slower.
  csv_import | json_import) length=2000 seeds=fuzz/corpus/$name options=-dict=fuzz/$name.dict ;;
  # Several events; files of one or two have less than 400 bytes.
  calendar_import) length=1000 seeds=fuzz/corpus/$name options=-dict=fuzz/$name.dict ;;
  # 1024 units: more pieces than the 100 that a list begins with room for.
  text_scanner) length=2048 seeds=fuzz/corpus/$name ;;
  # 512 units: 23 items of 22 empty lines each.
  item_block) length=1024 seeds=fuzz/corpus/$name ;;
  # It says on stderr what is wrong with each store.
  store_file) length=600 seeds=fuzz/corpus/$name options=-close_fd_mask=2 ;;
  # What the provider keeps by definition is kept here for so many runs.
  provider_calls) length=1000 seeds=fuzz/corpus/$name runs=20000; ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0 ;;
  *) length=8192 seeds=fuzz/corpus/$name ;;
esac
export ASAN_OPTIONS

if [ "$what" = --keep ]; then
  rm -rf "$work.least"
  mkdir -p "$work.least"
  "$program" -merge=1 -max_len="$length" $options "$work.least" "$work" >"$log" 2>&1 || { tail -20 "$log" >&2; exit 1; }
  exec python3 scripts/keep_fuzz_inputs.py "$work.least" "fuzz/corpus/$name/reached.hex"
fi

python3 scripts/make_fuzz_seeds.py $seeds "$work"
: >"$log"
executions() { awk '/^Done [0-9]+ runs/ { runs += $2 } END { print runs + 0 }' "$log"; }
status=0
end=$(($(date +%s) + seconds))
while [ $status = 0 ]; do
  left=$((end - $(date +%s)))
  missing=$((least - $(executions)))
  # Without a time a program goes on until it has made its runs.
  if [ $left -gt 0 ]; then
    some=$runs
  elif [ $missing -gt 0 ]; then
    left=0
    some=$((missing < runs ? missing : runs))
  else
    break
  fi
  # Choosing inputs by the rarity of what they reach took up to half of the time for its own accounts.
  "$program" -max_total_time=$left -runs=$some -max_len="$length" -timeout=20 -print_final_stats=1 -entropic=0 \
    -artifact_prefix="$findings/$name-" $options "$@" "$work" >>"$log" 2>&1 || status=$?
done
[ $status = 0 ] || tail -60 "$log" >&2
awk -v name="$name" '/^Done [0-9]+ runs/ { runs += $2; seconds += $5 } / cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") reached = $(i + 1) }
  END { printf "%s: %d executions in %d s, %d places of the code reached\n", name, runs, seconds, reached }' "$log"
exit $status
