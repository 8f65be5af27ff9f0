#!/bin/sh
# usage: ./dev fuzz [NAME [SECONDS] [libFuzzer options]]
#        ./dev fuzz --keep NAME
# Build the fuzzing program NAME with clang and run it for 60 or so many seconds, beginning with the stored inputs;
# without a name, list the programs. A finding is left in build/fuzz/findings and goes into fuzz/corpus/NAME as
# hexadecimal text. --keep stores the smallest inputs that reach all that the runs so far have reached.
set -e
cd "$(dirname "$0")/.."
names=$(ls fuzz/corpus)
if [ $# = 0 ]; then
  echo "$names"
  exit 0
fi
keep=
[ "$1" != --keep ] || { keep=yes; shift; }
name=$1
shift
[ -d "fuzz/corpus/$name" ] || { echo "no fuzzing program '$name'; there are:" $names >&2; exit 2; }
seconds=60
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

# Per program: how long inputs may get, after how many runs it starts anew, what else.
runs=-1
case $name in
  *_packet) length=8192 seeds="fuzz/corpus/$name tests/data/packets" ;;
  packet_text) length=8192 seeds="fuzz/corpus/$name tests/data/packets" ;;
  # Texts with structure; the longer, the slower.
  csv_import | calendar_import | json_import) length=2000 seeds=fuzz/corpus/$name options=-dict=fuzz/$name.dict ;;
  # It says on stderr what is wrong with each store.
  store_file) length=600 seeds=fuzz/corpus/$name options=-close_fd_mask=2 ;;
  # What the provider keeps by definition is kept here for so many runs.
  provider_calls) length=1000 seeds=fuzz/corpus/$name runs=20000; export ASAN_OPTIONS=detect_leaks=0 ;;
  *) length=8192 seeds=fuzz/corpus/$name ;;
esac

if [ -n "$keep" ]; then
  rm -rf "$work.least"
  mkdir -p "$work.least"
  "$program" -merge=1 -max_len="$length" $options "$work.least" "$work" >"$log" 2>&1 || { tail -20 "$log" >&2; exit 1; }
  exec python3 scripts/keep_fuzz_inputs.py "$work.least" "fuzz/corpus/$name/reached.hex"
fi

python3 scripts/make_fuzz_seeds.py $seeds "$work"
: >"$log"
status=0
end=$(($(date +%s) + seconds))
while [ $status = 0 ] && [ "$(date +%s)" -lt $end ]; do
  "$program" -max_total_time=$((end - $(date +%s))) -runs=$runs -max_len="$length" -timeout=20 \
    -artifact_prefix="$findings/$name-" $options "$@" "$work" >>"$log" 2>&1 || status=$?
done
[ $status = 0 ] || tail -60 "$log" >&2
awk -v name="$name" '/^Done [0-9]+ runs/ { runs += $2; seconds += $5 } / cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") reached = $(i + 1) }
  END { printf "%s: %d executions in %d s, %d places of the code reached\n", name, runs, seconds, reached }' "$log"
exit $status
