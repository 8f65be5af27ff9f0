#!/bin/sh
# usage: expect_requirement.sh: what cannot be checked for want of a file or a program is skipped (77), and fails (1)
# where checks are required.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
: >"$work/there"

# ends CODE REQUIRED COMMAND...
ends() {
  wanted=$1 required=$2 code=0
  shift 2
  WKT_DEVICE_REQUIRED=$required "$@" >"$work/log" 2>&1 || code=$?
  [ "$code" = "$wanted" ] || { echo "ended with $code, not $wanted: $*"; cat "$work/log"; exit 1; }
}

ends 0 1 sh "$here/run_check.sh" "$work/there" sh -- true
ends 3 1 sh "$here/run_check.sh" "$work/there" sh -- sh -c 'exit 3'
for missing in "$work/runner" no-such-program; do
  ends 77 "" sh "$here/run_check.sh" "$work/there" sh "$missing" -- true
  ends 1 1 sh "$here/run_check.sh" "$work/there" sh "$missing" -- true
done
# Nothing is in PATH, no compiler either.
ends 77 "" env PATH="$work" /usr/bin/python3 "$here/../../scripts/check_symbols.py"
ends 1 1 env PATH="$work" /usr/bin/python3 "$here/../../scripts/check_symbols.py"
