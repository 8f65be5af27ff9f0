#!/bin/sh
# usage: run_tests.sh arm|x86 OUT PROGRAM [GTEST_FILTER]
# Run the tests of a runner program, each in a process of its own, as they run on the build machine.
here=$(dirname "$0")
machine=$1 out=$2 program=$3 filter=${4:-*}
# Zone and locale of the devices that the tests make.
export WKT_TEMPLATE_DEVICE="$out/template"
tests=$(sh "$here/run.sh" "$machine" "$out" "$program" --gtest_list_tests "--gtest_filter=$filter" |
  awk '/^[^ ]/ { suite = $1 } /^  / { print suite $1 }')
count=0 failed=0
for test in $tests; do
  count=$((count + 1))
  sh "$here/run.sh" "$machine" "$out" "$program" --gtest_brief=1 "--gtest_filter=$test" >"$out/$program.$machine.log" 2>&1 || {
    failed=$((failed + 1))
    echo "$test"
    cat "$out/$program.$machine.log"
  }
done
echo "$program for $machine: $count tests, $failed failed"
[ "$count" -gt 0 ] && [ "$failed" = 0 ]
