#!/bin/sh
# Static reading of all sources: clang-tidy by .clang-tidy, then cppcheck. Takes about an hour on
# two cores. Arguments: files to look at instead (clang-tidy only).
set -eu
cd "$(dirname "$0")/.."
[ -f build/dev/compile_commands.json ] || cmake --preset dev >/dev/null
# clang knows no such option, and needs none.
mkdir -p build/lint
sed 's/-fno-gnu-unique//g' build/dev/compile_commands.json >build/lint/compile_commands.json
if [ $# -gt 0 ]; then
  exec clang-tidy -p build/lint --quiet "$@"
fi
status=0
git ls-files '*.cpp' | grep -v '^bench/\|^device/\|^fuzz/.*Fuzzer' |
  xargs -P "$(nproc)" -n 4 clang-tidy -p build/lint --quiet 2>/dev/null || status=1
cppcheck --enable=warning,performance,portability --std=c++20 --library=googletest --quiet -I. \
  --suppressions-list=scripts/cppcheck.supp --error-exitcode=1 \
  --template='{file}:{line}: {id}: {message}' \
  $(for room in WktCommon WktDevCommon WktDevSync WktDevLog host desktop tools tests fuzz bench; do
      [ ! -d "$room" ] || echo "$room"; done) || status=1
exit $status
