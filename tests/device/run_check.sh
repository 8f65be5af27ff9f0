#!/bin/sh
# usage: run_check.sh NEEDED... -- COMMAND...: run the check, or skip it (77) when what it looks at was not built or
# what runs it is not installed. A NEEDED with a "/" is a file, one without is a program in PATH.
while [ "$1" != -- ]; do
  case $1 in
    */*) [ -e "$1" ] || missing="$1 was not built" ;;
    *) command -v "$1" >/dev/null || missing="$1 is not installed" ;;
  esac
  if [ -n "${missing:-}" ]; then
    echo "skipped: $missing" >&2
    [ "${WKT_DEVICE_REQUIRED:-}" != 1 ] || exit 1
    exit 77
  fi
  shift
done
shift
exec "$@"
