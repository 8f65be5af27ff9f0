#!/bin/sh
# usage: expect_failure.sh relocations|entries|import arm|x86 OUT
# Spoil the probe library and hold every check that must notice against it.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
fault=$1 machine=$2 out=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
good=$out/checks/$machine/Probe.dll
bad=$work/Probe.dll
"$here/break_image.py" "$fault" "$good" "$bad"

image() {
  "$here/check_image.py" "$1" --machine "$machine" \
    --exports ProbeAttachCount,ProbeCall,ProbeConstructed,ProbeCreate,ProbeName,ProbeUnaligned \
    --functions "$here/../../device/coredll-functions.txt" --column probe --version "$version"
}
version=$(sed -n 's/^project(Worktally VERSION \([0-9.]*\).*/\1/p' "$here/../../CMakeLists.txt")

# must WORD COMMAND...: the command fails, and says WORD.
must() {
  word=$1
  shift
  status=0
  # qemu writes a core of its own when the program crashes.
  (ulimit -c 0; "$@") >"$work/log" 2>&1 || status=$?
  cat "$work/log"
  [ "$status" != 0 ] || { echo "not noticed: $*"; exit 1; }
  grep -q -- "$word" "$work/log" || [ "$status" = "$word" ] || { echo "failed with $status, but without '$word': $*"; exit 1; }
}

image "$good"
case $fault in
  relocations)
    must 'no base relocations' image "$bad"
    must 'after the relocations' "$here/check_rebase.py" "$bad" "$out/checks/$machine/Probe.other.dll"
    must 'has no relocations' sh "$here/run.sh" "$machine" "$out" run_probe "$bad"
    ;;
  entries)
    must 'after the relocations' "$here/check_rebase.py" "$bad" "$out/checks/$machine/Probe.other.dll"
    # Unmoved pointers lead to where nothing is mapped: killed by signal 11.
    must 139 sh "$here/run.sh" "$machine" "$out" run_probe "$bad"
    ;;
  import)
    must 'not in the list' image "$bad"
    must 'coredll.dll has no function X' sh "$here/run.sh" "$machine" "$out" run_probe "$bad"
    ;;
esac
