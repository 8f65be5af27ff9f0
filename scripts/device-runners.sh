#!/bin/sh
# Build the programs that load device libraries on Linux, into OUT/runners-arm and OUT/runners-x86.
#
# usage: scripts/device-runners.sh [OUT]
# Exit 77: the cross compilers or SQLite's source are missing (1 with WKT_DEVICE_REQUIRED=1).
set -eu
cd "$(dirname "$0")/.."
out=${1:-$PWD/build/device}
mkdir -p "$out"
out=$(cd "$out" && pwd)
missing=
for tool in cmake ninja arm-linux-gnueabi-g++ i686-linux-gnu-g++ qemu-arm; do
  command -v "$tool" >/dev/null || missing="$missing $tool"
done
if [ -n "$missing" ]; then
  echo "The runners of device libraries cannot be built here; missing:$missing. ./dev device installs the tools." >&2
  [ "${WKT_DEVICE_REQUIRED:-}" != 1 ] || exit 1
  exit 77
fi
sh scripts/fetch-sqlite.sh
# One cache for all working copies and build folders.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
# It holds compiled headers back unless it may overlook times and macros of theirs that were not used; what a source
# includes it learns from the compilation, instead of preprocessing everything first.
export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime CCACHE_DEPEND=1
launcher=
! command -v ccache >/dev/null || launcher=ccache
for machine in arm x86; do
  tree=$out/runners-$machine
  # Where a runner looks for the libraries to install.
  for library in WktDevSync WktDevLog; do
    mkdir -p "$tree/libraries/$library"
    ln -sfn "$out/$machine/$library.dll" "$tree/libraries/$library/$library.dll"
  done
  {
    cmake -G Ninja -S tests/device/runner -B "$tree" -DCMAKE_TOOLCHAIN_FILE="$PWD/tests/device/runner/linux-$machine.cmake" \
      -DCMAKE_C_COMPILER_LAUNCHER=$launcher -DCMAKE_CXX_COMPILER_LAUNCHER=$launcher && ninja -C "$tree"
  } >"$tree.log" 2>&1 || {
    grep -E -A6 'error|FAILED|undefined' "$tree.log" | head -60 >&2
    echo "The runners for $machine failed to build; the whole output is in $tree.log" >&2
    exit 1
  }
done
