#!/bin/sh
# usage: expect_instructions.sh: check_instructions.py must find every instruction here that a StrongARM does not have.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# One each of ARMv4T, v5T, v5TE, v6, v6T2 and v7; the check wants more than a hundred instructions to look at.
later='bx lr;blx r3;clz r0, r1;ldrd r0, r1, [r2];strd r0, r1, [r2];smulbb r0, r1, r2;rev r0, r1;uxtb r0, r1;movw r0, #1;dmb'
assemble() {
  printf '%s' ".arch armv7-a;.arm;.rept 120;add r0, r1, r2;.endr;$1" | tr ';' '\n' >"$work/code.s"
  echo >>"$work/code.s"
  arm-none-eabi-g++ -c -o "$work/code.o" "$work/code.s"
}

assemble ""
"$here/check_instructions.py" "$work/code.o"
(IFS=';'; printf '%s\n' $later) >"$work/later"
while read -r instruction; do
  assemble "$instruction"
  if "$here/check_instructions.py" "$work/code.o" >"$work/log"; then
    echo "not noticed: $instruction"
    exit 1
  fi
  grep -q "$(echo "$instruction" | cut -d' ' -f1)" "$work/log" || { cat "$work/log"; exit 1; }
  cat "$work/log"
done <"$work/later"
