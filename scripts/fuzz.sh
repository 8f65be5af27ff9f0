#!/bin/sh
# ./dev fuzz NAME [libFuzzer options]: builds the fuzzing programs with clang and runs one of them,
# beginning with the stored inputs. A finding goes into fuzz/corpus/NAME as hexadecimal text.
set -e
cd "$(dirname "$0")/.."
names=$(ls fuzz/corpus)
if [ $# = 0 ]; then
  echo "$names"
  exit 0
fi
name=$1
shift
[ -d "fuzz/corpus/$name" ] || { echo "no fuzzing program '$name'; there are:" $names >&2; exit 2; }
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DWKT_FUZZ=ON -DWKT_TESTS=OFF \
  -DWKT_SANITIZE=ON >build/fuzz-configure.log 2>&1 || { tail -20 build/fuzz-configure.log >&2; exit 1; }
cmake --build build/fuzz --target "fuzz_$name" -j"$(nproc)"
work=build/fuzz/inputs/$name
case $name in
  *_packet) python3 scripts/make_fuzz_seeds.py "fuzz/corpus/$name" tests/data/packets "$work" ;;
  *) python3 scripts/make_fuzz_seeds.py "fuzz/corpus/$name" "$work" ;;
esac
exec "build/fuzz/fuzz/fuzz_$name" -max_total_time=60 -max_len=8192 "$@" "$work"
