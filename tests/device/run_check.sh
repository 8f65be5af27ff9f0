#!/bin/sh
# usage: run_check.sh NEEDED COMMAND...: run the check, or skip it (77) when what it looks at was not built.
if [ ! -e "$1" ]; then
  echo "skipped: $1 was not built" >&2
  [ "${WKT_DEVICE_REQUIRED:-}" != 1 ] || exit 1
  exit 77
fi
shift
exec "$@"
