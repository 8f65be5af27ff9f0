#!/bin/sh
# ./dev device: install the cross tools, build the device libraries twice, compare, and print sizes.
set -eu
cd "$(dirname "$0")/.."
./dev deps base device
sh scripts/device-build.sh --twice "$PWD/build/device"
echo "Windows CE libraries in build/device, two builds from two places byte-identical; installer description: build/device/install.json"
for library in build/device/arm/*.dll build/device/x86/*.dll; do
  printf '%9d bytes  %s\n' "$(stat -c %s "$library")" "$library"
done
