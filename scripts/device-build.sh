#!/bin/sh
# Build the device libraries for one or both machines and collect them.
#
# usage: scripts/device-build.sh [--twice] [OUT [MACHINE...]]
#
# OUT (build/device by default) gets what is shipped: arm/ and x86/ with the two libraries, and install.json.
# OUT/checks has what only the checks want: the probe library, ELF images, the images linked at another base;
# OUT/work the CMake trees. With --twice each machine is built a second time, from a copy of the sources in
# another place, in another folder and without the compiler cache, and the two must be byte-identical.
# Exit 77: the cross tools are not installed (1 with WKT_DEVICE_REQUIRED=1).
set -eu
cd "$(dirname "$0")/.."
root=$PWD
twice=
[ "${1:-}" != --twice ] || { twice=yes; shift; }
out=${1:-$root/build/device}
[ $# = 0 ] || shift
machines=${*:-arm x86}
mkdir -p "$out"
out=$(cd "$out" && pwd)

missing=
for tool in cmake ninja arm-none-eabi-g++ i686-w64-mingw32-g++ i686-w64-mingw32-windres; do
  command -v "$tool" >/dev/null || missing="$missing $tool"
done
/usr/bin/python3 -c 'import elftools, pefile' 2>/dev/null || missing="$missing python3-pyelftools/pefile"
if [ -n "$missing" ]; then
  echo "The device libraries cannot be built here; missing:$missing. ./dev device installs the tools." >&2
  [ "${WKT_DEVICE_REQUIRED:-}" != 1 ] || exit 1
  exit 77
fi

# One cache for all working copies and build folders.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1

# tree MACHINE FOLDER SOURCES LAUNCHER: configure and build one tree.
tree() {
  mkdir -p "$2"
  {
    cmake -G Ninja -S "$3/device" -B "$2" -DCMAKE_TOOLCHAIN_FILE="$3/device/cmake/ce-$1.cmake" \
      -DCMAKE_CXX_COMPILER_LAUNCHER="$4" && ninja -C "$2"
  } >"$2.log" 2>&1 || {
    grep -E -A6 'error|FAILED|undefined|elf2ce' "$2.log" | head -60 >&2
    echo "The device build for $1 failed; its whole output is in $2.log" >&2
    exit 1
  }
}

# copy_sources FOLDER: what a device build reads, under a path of another length.
copy_sources() {
  mkdir -p "$1/tests/device"
  cp -R CMakeLists.txt platform WktCommon WktDevCommon WktDevSync WktDevLog device "$1/"
  cp -R tests/device/probe "$1/tests/device/"
}

launcher=
! command -v ccache >/dev/null || launcher=ccache
other=
trap '[ -z "$other" ] || rm -rf "$other"' EXIT
for machine in $machines; do
  tree "$machine" "$out/work/$machine" "$root" "$launcher"
  checks=$out/checks/$machine
  mkdir -p "$out/$machine" "$checks"
  rm -f "$out/$machine"/* "$checks"/*
  cp "$out/work/$machine"/*.dll "$checks/"
  [ "$machine" != arm ] || cp "$out/work/$machine"/*.elf "$checks/"
  cp "$checks/WktDevSync.dll" "$checks/WktDevLog.dll" "$out/$machine/"
  [ -n "$twice" ] || continue
  rm -rf "$out/work/$machine-again"
  [ -n "$other" ] || { other=$(mktemp -d) && copy_sources "$other/another-place-for-the-sources"; }
  tree "$machine" "$out/work/$machine-again" "$other/another-place-for-the-sources" ""
  for library in "$checks"/*.dll; do
    cmp "$library" "$out/work/$machine-again/${library##*/}" || {
      echo "Two builds of ${library##*/} for $machine differ" >&2
      exit 1
    }
  done
  rm -rf "$out/work/$machine-again"
done
if [ -d "$out/arm" ] && [ -d "$out/x86" ]; then
  /usr/bin/python3 device/mkinstall.py CMakeLists.txt "$out" >"$out/install.json"
fi
