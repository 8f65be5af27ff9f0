#!/bin/sh
# Record how another implementation answers the questions of scripts/make_foreign_questions.py, in
# tests/data/foreign/answers.txt. Needs wine (wine64) and g++-mingw-w64-x86-64; the tests only read the file.
set -e
cd "$(dirname "$0")/.."
wine=$(command -v wine64 || command -v wine || ls /usr/lib/wine/wine64 2>/dev/null || true)
[ -n "$wine" ] || { echo "wine is not installed: apt-get install wine64" >&2; exit 1; }
work=$(mktemp -d)
trap 'WINEPREFIX=$work/prefix "${wine%64}server" -k 2>/dev/null || true; rm -rf "$work"' EXIT
x86_64-w64-mingw32-g++ -std=c++20 -O1 -static -I. -o "$work/judge.exe" tests/platform/foreign/*.cpp
python3 scripts/make_foreign_questions.py > "$work/questions.txt"
WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=;mshtml=" LC_ALL=C TZ=UTC \
  "$wine" "$work/judge.exe" < "$work/questions.txt" | tr -d '\r' > "$work/answers.txt"
[ -s "$work/answers.txt" ] || { echo "no answers" >&2; exit 1; }
mkdir -p tests/data/foreign
cp "$work/answers.txt" tests/data/foreign/answers.txt
grep -c ' -> ' tests/data/foreign/answers.txt
