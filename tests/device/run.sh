#!/bin/sh
# usage: run.sh arm|x86 OUT PROGRAM ARGUMENT...: run one of the runner programs, ARM ones under qemu.
machine=$1
program=$2/runners-$machine/$3
shift 3
case $machine in
  # A processor that a Linux of ARMv5 expects; the library itself needs less.
  arm) exec qemu-arm -cpu arm926 "$program" "$@" ;;
  x86) exec "$program" "$@" ;;
esac
