#!/bin/sh
# Put SQLite's source, one file as its authors ship it (public domain), into .deps/sqlite: the device library
# checks compile it for i386 and ARM, for which this machine has no SQLite. It is taken out of an npm package
# that carries it; name, version and hash are fixed.
#
# Exit 77: it is not there and cannot be fetched (no npm, no network).
set -eu
cd "$(dirname "$0")/.."
package=better-sqlite3
version=12.11.1
hash=ebf0ed75a7a59dbcb3b24bbd014ef49d9f15bc328e4adcbf516f2a8fadfa2835
target=.deps/sqlite
mark=$target/$version
[ ! -f "$mark" ] || exit 0

fail() {
  echo "SQLite's source cannot be fetched: $1" >&2
  [ "${WKT_DEVICE_REQUIRED:-}" != 1 ] || exit 1
  exit 77
}
command -v npm >/dev/null || fail "npm is not installed"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$work" && npm pack --silent "$package@$version" >/dev/null 2>npm.log) || fail "$(tail -1 "$work/npm.log")"
archive=$work/$package-$version.tgz
echo "$hash  $archive" | sha256sum -c --quiet - >&2 || { echo "$package $version is not the file it was" >&2; exit 1; }
tar -xzf "$archive" -C "$work" package/deps/sqlite3/sqlite3.c package/deps/sqlite3/sqlite3.h
mkdir -p "$target"
mv "$work"/package/deps/sqlite3/sqlite3.[ch] "$target/"
touch "$mark"
